#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_func_axis_from_rotation.h"
#include "particle_layout_model/plm_block_func_conv2to3.h"
#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_direction.h"
#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_func_rot2vec.h"
#include "particle_layout_model/plm_block_func_rotation_axis.h"
#include "particle_layout_model/plm_block_func_rotation_from_axes.h"
#include "particle_layout_model/plm_block_func_split_vec.h"
#include "particle_layout_model/plm_block_func_transform.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_func_vec2rot.h"
#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm
{

void registerFunctionBlocks(BlocksFactory& factory)
{
    factory.addFactory<BlockFuncLerp<float>>();
    factory.addFactory<BlockFuncLerp<glm::vec2>>();
    factory.addFactory<BlockFuncLerp<glm::vec3>>();
    factory.addFactory<BlockFuncDirection<glm::vec2>>();
    factory.addFactory<BlockFuncDirection<glm::vec3>>();
    factory.addFactory<BlockFuncDistrib<float>>();
    factory.addFactory<BlockFuncDistrib<glm::vec2>>();
    factory.addFactory<BlockFuncDistrib<glm::vec3>>();
    factory.addFactory<BlockFuncSplitVec<glm::vec2>>();
    factory.addFactory<BlockFuncSplitVec<glm::vec3>>();
    factory.addFactory<BlockFuncConv2to3>();
    factory.addFactory<BlockFuncAxisFromRotation>();
    factory.addFactory<BlockFuncRotationAxis>();
    factory.addFactory<BlockFuncRotationFromAxes>();
    factory.addFactory<BlockFuncRot2Vec>();
    factory.addFactory<BlockFuncVec2Rot>();
    factory.addFactory<BlockFuncRandom>();
    factory.addFactory<BlockFuncRandomVec>([]() -> std::unique_ptr<Block>
                                           { return BlockFuncRandomVec::create(VT_Vec3); });
    factory.addFactory<BlockFuncMove>([]() -> std::unique_ptr<Block>
                                      { return BlockFuncMove::create(CT_Vec3); });
    factory.addFactory<BlockFuncForceMove<glm::vec2>>();
    factory.addFactory<BlockFuncForceMove<glm::vec3>>();
    factory.addFactory<BlockFuncNoise>();
    factory.addFactory<BlockFuncTransform>([]() -> std::unique_ptr<Block>
                                           { return BlockFuncTransform::create(false); });
    factory.addFactory<BlockFuncTransform3>();
    factory.addFactory<BlockFuncCurves>();
    factory.addFactory<BlockFuncArea>();
    factory.addFactory<BlockFuncPath>();
    factory.addFactory<BlockFuncExpression>();
}

}  // namespace Plm
