#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm {

void registerParameterBlocks(BlocksFactory& factory) {}

}  // namespace Plm
