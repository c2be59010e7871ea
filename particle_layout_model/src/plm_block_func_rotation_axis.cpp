#include "particle_layout_model/plm_block_func_rotation_axis.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncRotationAxis::BlockFuncRotationAxis()
    : axis_(*this, false, glm::vec3(0.0f, 0.0f, 1.0f)), angle_(*this, false, 1.0f)
{
}

BlockFuncRotationAxis::BlockFuncRotationAxis(LoadFlag flag)
    : BlockFunc(flag), axis_(*this), angle_(*this)
{
}

BlockFuncRotationAxis::BlockFuncRotationAxis(const BlockFuncRotationAxis& other)
    : BlockFunc(other), axis_(*this, other.axis_), angle_(*this, other.angle_)
{
}

std::unique_ptr<BlockFuncRotationAxis> BlockFuncRotationAxis::create()
{
    std::unique_ptr<BlockFuncRotationAxis> block(new BlockFuncRotationAxis());
    block->updateConnectors();
    return block;
}

void BlockFuncRotationAxis::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Quat, 2)};
    addInputIfExternal(descs, axis_, CT_Vec3, 0);
    addInputIfExternal(descs, angle_, CT_Float, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncRotationAxis::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncRotationAxis(*this));
}

void BlockFuncRotationAxis::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    axis_.save("axis", saver);
    angle_.save("angle", saver);
}

void BlockFuncRotationAxis::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    axis_.load(loader);
    angle_.load(loader);
}

void BlockFuncRotationAxis::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncRotationAxis);
    compiler.writeInput(*this, "axis", axis_, 0);
    compiler.writeInput(*this, "angle", angle_, 1);
}

void BlockFuncRotationAxis::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncRotationAxis::axis_);
    syncer.syncProp(&BlockFuncRotationAxis::angle_);
}

}  // namespace Plm
