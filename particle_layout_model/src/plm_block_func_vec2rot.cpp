#include "particle_layout_model/plm_block_func_vec2rot.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncVec2Rot::BlockFuncVec2Rot() : input_(*this, true, glm::vec2(0.0f)) {}

BlockFuncVec2Rot::BlockFuncVec2Rot(LoadFlag flag) : BlockFunc(flag), input_(*this) {}

BlockFuncVec2Rot::BlockFuncVec2Rot(const BlockFuncVec2Rot& other)
    : BlockFunc(other), input_(*this, other.input_)
{
}

std::unique_ptr<BlockFuncVec2Rot> BlockFuncVec2Rot::create()
{
    std::unique_ptr<BlockFuncVec2Rot> block(new BlockFuncVec2Rot());
    block->updateConnectors();
    return block;
}

void BlockFuncVec2Rot::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Float, 1)};
    addInputIfExternal(descs, input_, CT_Vec2, 0);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncVec2Rot::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncVec2Rot(*this));
}

void BlockFuncVec2Rot::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    input_.save("input", saver);
}

void BlockFuncVec2Rot::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    input_.load(loader);
}

void BlockFuncVec2Rot::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(1, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncVec2Rot);
    compiler.writeInput(*this, "input", input_, 0);
}

void BlockFuncVec2Rot::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncVec2Rot::input_);
}

}  // namespace Plm
