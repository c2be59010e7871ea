#include "particle_layout_model/plm_block_param_velocity.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockParamVelocity::BlockParamVelocity()
    : addVel_(*this, false, true), applyRot_(*this, false, true)
{
}

BlockParamVelocity::BlockParamVelocity(LoadFlag flag)
    : BlockParamUserTyped<glm::vec3>(flag), addVel_(*this), applyRot_(*this)
{
}

BlockParamVelocity::BlockParamVelocity(const BlockParamVelocity& other)
    : BlockParamUserTyped<glm::vec3>(other),
      addVel_(*this, other.addVel_),
      applyRot_(*this, other.applyRot_)
{
}

std::unique_ptr<BlockParamVelocity> BlockParamVelocity::create()
{
    std::unique_ptr<BlockParamVelocity> block(new BlockParamVelocity());
    block->updateConnectors();
    return block;
}

std::unique_ptr<Block> BlockParamVelocity::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamVelocity(*this));
}

void BlockParamVelocity::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockParamUserTyped<glm::vec3>::saveImpl(saver);
    Sl::ScopedSaverGroup group("param_velocity", saver, 0);
    addVel_.save("add_vel", saver);
    applyRot_.save("apply_rot", saver);
}

void BlockParamVelocity::loadImpl(Sl::RevisionLoader& loader)
{
    BlockParamUserTyped<glm::vec3>::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    addVel_.load(loader);
    applyRot_.load(loader);
}

void BlockParamVelocity::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(1, 0);
    const ExportBin::OperationScope operation(compiler, Ps::OF_ParameterVelocityIniter);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "init", valueProp(), 0);
    saver.write("add_emitter_velocity", getAddEmitterVelocity());
    saver.write("apply_rotation", getApplyEmitterRotation());
}

void BlockParamVelocity::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockParamUserTyped<glm::vec3>::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockParamVelocity::addVel_);
    syncer.syncProp(&BlockParamVelocity::applyRot_);
}

}  // namespace Plm
