#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm {

void registerFunctionBlocks(BlocksFactory& factory) {
  factory.addFactory<BlockFuncLerp<float>>();
  factory.addFactory<BlockFuncLerp<glm::vec2>>();
  factory.addFactory<BlockFuncLerp<glm::vec3>>();
}

}  // namespace Plm
