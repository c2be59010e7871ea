#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm {

void registerStructuralBlocks(BlocksFactory& factory) {}

}  // namespace Plm
