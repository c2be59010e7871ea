#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockParamPosition::BlockParamPosition() : applyRot_(*this, false, true) {}

BlockParamPosition::BlockParamPosition(LoadFlag flag)
    : BlockParamUserTyped<glm::vec3>(flag), applyRot_(*this)
{
}

BlockParamPosition::BlockParamPosition(const BlockParamPosition& other)
    : BlockParamUserTyped<glm::vec3>(other), applyRot_(*this, other.applyRot_)
{
}

std::unique_ptr<BlockParamPosition> BlockParamPosition::create()
{
    std::unique_ptr<BlockParamPosition> block(new BlockParamPosition());
    block->updateConnectors();
    return block;
}

std::unique_ptr<Block> BlockParamPosition::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamPosition(*this));
}

void BlockParamPosition::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockParamUserTyped<glm::vec3>::saveImpl(saver);
    Sl::ScopedSaverGroup group("param_position", saver, 1);
    applyRot_.save("apply_rot", saver);
}

void BlockParamPosition::loadImpl(Sl::RevisionLoader& loader)
{
    BlockParamUserTyped<glm::vec3>::loadImpl(loader);
    // Files whose typed group is older than this group have none: the rotation applied.
    if (typedGroupVersion() == 0)
    {
        applyRot_.reset(true);
        return;
    }
    Sl::ScopedLoaderGroup group(loader, 1);
    applyRot_.load(loader);
}

void BlockParamPosition::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(1, 0);
    const ExportBin::OperationScope operation(compiler, Ps::OF_ParameterPositionIniter);
    Sl::Saver& saver = operation.saver();
    saver.write("apply_rotation", getApplyEmitterRotation());
    compiler.writeInput(*this, "init", valueProp(), 0);
}

void BlockParamPosition::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockParamUserTyped<glm::vec3>::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockParamPosition::applyRot_);
}

}  // namespace Plm
