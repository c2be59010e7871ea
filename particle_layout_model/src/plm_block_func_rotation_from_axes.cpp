#include "particle_layout_model/plm_block_func_rotation_from_axes.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncRotationFromAxes::BlockFuncRotationFromAxes()
    : type_(*this, false, Ps::RFA_XY),
      firstAxis_(*this, false, glm::vec3(1.0f, 0.0f, 0.0f)),
      secondAxis_(*this, false, glm::vec3(0.0f, 1.0f, 0.0f))
{
}

BlockFuncRotationFromAxes::BlockFuncRotationFromAxes(LoadFlag flag)
    : BlockFunc(flag), type_(*this), firstAxis_(*this), secondAxis_(*this)
{
}

BlockFuncRotationFromAxes::BlockFuncRotationFromAxes(const BlockFuncRotationFromAxes& other)
    : BlockFunc(other),
      type_(*this, other.type_),
      firstAxis_(*this, other.firstAxis_),
      secondAxis_(*this, other.secondAxis_)
{
}

std::unique_ptr<BlockFuncRotationFromAxes> BlockFuncRotationFromAxes::create()
{
    std::unique_ptr<BlockFuncRotationFromAxes> block(new BlockFuncRotationFromAxes());
    block->updateConnectors();
    return block;
}

void BlockFuncRotationFromAxes::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Quat, 2)};
    addInputIfExternal(descs, firstAxis_, CT_Vec3, 0);
    addInputIfExternal(descs, secondAxis_, CT_Vec3, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncRotationFromAxes::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncRotationFromAxes(*this));
}

void BlockFuncRotationFromAxes::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    type_.save("type", saver);
    firstAxis_.save("firstAxis", saver);
    secondAxis_.save("secondAxis", saver);
}

void BlockFuncRotationFromAxes::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    type_.load(loader);
    firstAxis_.load(loader);
    secondAxis_.load(loader);
}

void BlockFuncRotationFromAxes::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncRotationFromAxes);
    operation.saver().write("type", static_cast<uint8_t>(type_.get()));
    compiler.writeInput(*this, "firstAxis", firstAxis_, 0);
    compiler.writeInput(*this, "secondAxis", secondAxis_, 1);
}

void BlockFuncRotationFromAxes::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncRotationFromAxes::type_);
    syncer.syncProp(&BlockFuncRotationFromAxes::firstAxis_);
    syncer.syncProp(&BlockFuncRotationFromAxes::secondAxis_);
}

}  // namespace Plm
