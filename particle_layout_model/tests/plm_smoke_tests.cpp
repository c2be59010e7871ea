#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_stream.h"

TEST(PlmSmoke, LerpRoundTrip) {
  auto lerp = Plm::BlockFuncLerp<float>::create();
  EXPECT_EQ(lerp->getNumConnectors(), 4u);
  lerp->setTo(2.5f);
  lerp->setInterpExternal(false);
  std::vector<uint8_t> bytes = Plm::saveBlockPlain(*lerp);
  std::unique_ptr<Plm::Block> loaded = Plm::loadBlockPlain(bytes.data(), bytes.size());
  ASSERT_TRUE(loaded);
  auto& l = static_cast<Plm::BlockFuncLerp<float>&>(*loaded);
  EXPECT_EQ(l.getTo(), 2.5f);
  EXPECT_FALSE(l.isInterpExternal());
  EXPECT_EQ(l.getId(), lerp->getId());
}
