#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockTermLess::BlockTermLess() : lesser_(*this, true, 0.0f), greater_(*this, false, 1.0f) {}

BlockTermLess::BlockTermLess(LoadFlag flag) : BlockTerminator(flag), lesser_(*this), greater_(*this)
{
}

BlockTermLess::BlockTermLess(const BlockTermLess& other)
    : BlockTerminator(), lesser_(*this, other.lesser_), greater_(*this, other.greater_)
{
}

std::unique_ptr<BlockTermLess> BlockTermLess::create()
{
    std::unique_ptr<BlockTermLess> block(new BlockTermLess());
    block->updateConnectors();
    return block;
}

void BlockTermLess::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    addInputIfExternal(descs, lesser_, CT_Float, 0);
    addInputIfExternal(descs, greater_, CT_Float, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockTermLess::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockTermLess(*this));
}

void BlockTermLess::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("term_less", saver, 0);
    lesser_.save("lesser", saver);
    greater_.save("greater", saver);
}

void BlockTermLess::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    lesser_.load(loader);
    greater_.load(loader);
}

void BlockTermLess::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    const ExportBin::OperationScope operation(compiler, Ps::OF_TerminatorLess);
    compiler.writeInput(*this, "lesser", lesser_, 0);
    compiler.writeInput(*this, "greater", greater_, 1);
}

void BlockTermLess::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockTermLess::lesser_);
    syncer.syncProp(&BlockTermLess::greater_);
}

}  // namespace Plm
