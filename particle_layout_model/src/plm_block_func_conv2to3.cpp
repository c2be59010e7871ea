#include "particle_layout_model/plm_block_func_conv2to3.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncConv2to3::BlockFuncConv2to3() : z_(*this, false, 0.0f) {}

BlockFuncConv2to3::BlockFuncConv2to3(LoadFlag flag) : BlockFunc(flag), z_(*this) {}

BlockFuncConv2to3::BlockFuncConv2to3(const BlockFuncConv2to3& other)
    : BlockFunc(other), z_(*this, other.z_)
{
}

std::unique_ptr<BlockFuncConv2to3> BlockFuncConv2to3::create()
{
    std::unique_ptr<BlockFuncConv2to3> block(new BlockFuncConv2to3());
    block->updateConnectors();
    return block;
}

void BlockFuncConv2to3::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Vec3, 2), inputDesc(CT_Vec2, 0)};
    addInputIfExternal(descs, z_, CT_Float, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncConv2to3::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncConv2to3(*this));
}

void BlockFuncConv2to3::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    z_.save("z", saver);
}

void BlockFuncConv2to3::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    z_.load(loader);
}

void BlockFuncConv2to3::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncConv2to3);
    compiler.writeInput(*this, "input", 0);
    compiler.writeInput(*this, "z", z_, 1);
}

void BlockFuncConv2to3::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncConv2to3::z_);
}

}  // namespace Plm
