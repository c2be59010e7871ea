#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_param_velocity.h"
#include "particle_layout_model/plm_blocks_factory.h"

namespace Plm
{

void registerParameterBlocks(BlocksFactory& factory)
{
    factory.addFactory<BlockParamLifetime>();
    factory.addFactory<BlockParamUserTyped<float>>();
    factory.addFactory<BlockParamUserTyped<glm::vec2>>();
    factory.addFactory<BlockParamUserTyped<glm::vec3>>();
    factory.addFactory<BlockParamUserTyped<glm::quat>>();
    factory.addFactory<BlockParamPosition>();
    factory.addFactory<BlockParamVelocity>();
    // An updater needs a parameter to update: a fresh float one stands in for it.
    factory.addFactory<BlockParamUserUpdater>(
        []() -> std::unique_ptr<Block>
        { return BlockParamUserUpdater::create(*BlockParamUserTyped<float>::create()); });
    factory.addFactory<BlockParamEmitter>();
    factory.addFactory<BlockGlobEmitterPos>();
    factory.addFactory<BlockGlobEmitterDir>();
    factory.addFactory<BlockGlobEmitterRot>();
    factory.addFactory<BlockGlobNumParticles>();
    factory.addFactory<BlockGlobTime>();
    factory.addFactory<BlockGlobSystemTime>();
    factory.addFactory<BlockGlobParamTyped<float>>();
    factory.addFactory<BlockGlobParamTyped<glm::vec2>>();
    factory.addFactory<BlockGlobParamTyped<glm::vec3>>();
    factory.addFactory<BlockGlobParamTyped<glm::quat>>();
}

}  // namespace Plm
