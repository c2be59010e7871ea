#include "particle_layout_model/plm_block_func_rot2vec.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncRot2Vec::BlockFuncRot2Vec() : angle_(*this, true, 0.0f), length_(*this, false, 1.0f) {}

BlockFuncRot2Vec::BlockFuncRot2Vec(LoadFlag flag) : BlockFunc(flag), angle_(*this), length_(*this)
{
}

BlockFuncRot2Vec::BlockFuncRot2Vec(const BlockFuncRot2Vec& other)
    : BlockFunc(other), angle_(*this, other.angle_), length_(*this, other.length_)
{
}

std::unique_ptr<BlockFuncRot2Vec> BlockFuncRot2Vec::create()
{
    std::unique_ptr<BlockFuncRot2Vec> block(new BlockFuncRot2Vec());
    block->updateConnectors();
    return block;
}

void BlockFuncRot2Vec::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Vec2, 2)};
    addInputIfExternal(descs, angle_, CT_Float, 0);
    addInputIfExternal(descs, length_, CT_Float, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncRot2Vec::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncRot2Vec(*this));
}

void BlockFuncRot2Vec::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    angle_.save("angle", saver);
    length_.save("length", saver);
}

void BlockFuncRot2Vec::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    angle_.load(loader);
    length_.load(loader);
}

void BlockFuncRot2Vec::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncRot2Vec);
    compiler.writeInput(*this, "angle", angle_, 0);
    compiler.writeInput(*this, "length", length_, 1);
}

void BlockFuncRot2Vec::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncRot2Vec::angle_);
    syncer.syncProp(&BlockFuncRot2Vec::length_);
}

}  // namespace Plm
