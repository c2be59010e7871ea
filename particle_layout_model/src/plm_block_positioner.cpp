#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockPositioner::BlockPositioner() : position_(*this, true, glm::vec3(0.0f)) {}

BlockPositioner::BlockPositioner(LoadFlag flag) : Block(flag), position_(*this) {}

BlockPositioner::BlockPositioner(const BlockPositioner& other)
    : Block(), position_(*this, other.position_)
{
}

std::unique_ptr<BlockPositioner> BlockPositioner::create()
{
    std::unique_ptr<BlockPositioner> block(new BlockPositioner());
    block->updateConnectors();
    return block;
}

void BlockPositioner::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    addInputIfExternal(descs, position_, CT_Vec3, 0);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockPositioner::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockPositioner(*this));
}

void BlockPositioner::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("positioner", saver, 0);
    position_.save("position", saver);
}

void BlockPositioner::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    position_.load(loader);
}

void BlockPositioner::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    const ExportBin::OperationScope operation(compiler, Ps::OF_ParameterPositionUpdater);
    compiler.writeInput(*this, "position", position_, 0);
}

void BlockPositioner::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockPositioner::position_);
}

}  // namespace Plm
