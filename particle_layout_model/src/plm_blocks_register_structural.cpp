#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_block_term_path.h"
#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm
{

void registerStructuralBlocks(BlocksFactory& factory)
{
    factory.addFactory<BlockGenPeriodic>();
    factory.addFactory<BlockGenDistance>();
    factory.addFactory<BlockTermLess>();
    factory.addFactory<BlockTermPath>();
    factory.addFactory<BlockPositioner>();
    factory.addFactory<BlockConstructQuads>();
    factory.addFactory<BlockConstructStrip>();
}

}  // namespace Plm
