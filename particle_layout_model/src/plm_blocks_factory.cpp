#include "particle_layout_model/plm_blocks_factory.h"

#include "particle_layout_model/plm_block_func_lerp.h"

namespace Plm {

const BlocksFactory& BlocksFactory::instance() {
  static const BlocksFactory factory;
  return factory;
}

template <class T>
void BlocksFactory::addFactory() {
  const CrcString& name = T::getStaticFactoryName();
  DEBUG_ASSERT(factories_.count(name) == 0);
  factories_.emplace(name, &T::createForLoad);
  names_.push_back(name);
}

BlocksFactory::BlocksFactory() {
  addFactory<BlockFuncLerp<float>>();
  addFactory<BlockFuncLerp<glm::vec2>>();
  addFactory<BlockFuncLerp<glm::vec3>>();
}

std::unique_ptr<Block> BlocksFactory::createForLoadByName(const CrcString& name) const {
  auto it = factories_.find(name);
  return it == factories_.end() ? nullptr : it->second();
}

}  // namespace Plm
