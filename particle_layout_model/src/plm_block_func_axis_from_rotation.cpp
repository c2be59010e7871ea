#include "particle_layout_model/plm_block_func_axis_from_rotation.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

std::unique_ptr<BlockFuncAxisFromRotation> BlockFuncAxisFromRotation::create()
{
    std::unique_ptr<BlockFuncAxisFromRotation> block(new BlockFuncAxisFromRotation());
    block->updateConnectors();
    return block;
}

void BlockFuncAxisFromRotation::updateConnectors()
{
    const BlockConnectorDesc descs[] = {outputDesc(CT_Vec3, 1), outputDesc(CT_Vec3, 2),
                                        outputDesc(CT_Vec3, 3), inputDesc(CT_Quat, 0)};
    resetConnectors(descs, 4);
}

std::unique_ptr<Block> BlockFuncAxisFromRotation::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncAxisFromRotation(*this));
}

// No properties, but the group is there, so that a later version can add some.
void BlockFuncAxisFromRotation::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
}

void BlockFuncAxisFromRotation::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
}

// Outputs 0, 1 and 2 of the operation are the axes X, Y and Z.
void BlockFuncAxisFromRotation::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    for (uint8_t axis = 0; axis < 3; ++axis)
        compiler.registerOpOutput(axis + 1u, axis);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncAxisFromRotation);
    compiler.writeInput(*this, "rotation", 0);
}

void BlockFuncAxisFromRotation::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
}

}  // namespace Plm
