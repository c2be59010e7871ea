#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncRandom::BlockFuncRandom() : start_(*this, false, 0.0f), end_(*this, false, 1.0f) {}

BlockFuncRandom::BlockFuncRandom(LoadFlag flag) : BlockFunc(flag), start_(*this), end_(*this) {}

BlockFuncRandom::BlockFuncRandom(const BlockFuncRandom& other)
    : BlockFunc(other), start_(*this, other.start_), end_(*this, other.end_)
{
}

std::unique_ptr<BlockFuncRandom> BlockFuncRandom::create()
{
    std::unique_ptr<BlockFuncRandom> block(new BlockFuncRandom());
    block->updateConnectors();
    return block;
}

void BlockFuncRandom::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Float, 2)};
    addInputIfExternal(descs, start_, CT_Float, 0);
    addInputIfExternal(descs, end_, CT_Float, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncRandom::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncRandom(*this));
}

void BlockFuncRandom::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    start_.save("start", saver);
    end_.save("end", saver);
}

void BlockFuncRandom::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    start_.load(loader);
    end_.load(loader);
}

void BlockFuncRandom::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncRandom);
    compiler.writeInput(*this, "start", start_, 0);
    compiler.writeInput(*this, "end", end_, 1);
}

void BlockFuncRandom::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncRandom::start_);
    syncer.syncProp(&BlockFuncRandom::end_);
}

}  // namespace Plm
