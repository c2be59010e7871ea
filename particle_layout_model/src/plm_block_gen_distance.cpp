#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockGenDistance::BlockGenDistance()
    : distance_(*this, false, 10.0f), startPhase_(*this, false, 1.0f), burst_(*this, false, 1u)
{
}

BlockGenDistance::BlockGenDistance(LoadFlag flag)
    : BlockGenerator(flag), distance_(*this), startPhase_(*this), burst_(*this)
{
}

BlockGenDistance::BlockGenDistance(const BlockGenDistance& other)
    : BlockGenerator(),
      distance_(*this, other.distance_),
      startPhase_(*this, other.startPhase_),
      burst_(*this, other.burst_)
{
}

std::unique_ptr<BlockGenDistance> BlockGenDistance::create()
{
    std::unique_ptr<BlockGenDistance> block(new BlockGenDistance());
    block->updateConnectors();
    return block;
}

void BlockGenDistance::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Float, 1), outputDesc(CT_Float, 2)};
    addInputIfExternal(descs, distance_, CT_Float, 0);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockGenDistance::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockGenDistance(*this));
}

void BlockGenDistance::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("gen_distance", saver, 0);
    distance_.save("distance", saver);
    startPhase_.save("start_phase", saver);
    burst_.save("burst", saver);
}

void BlockGenDistance::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    distance_.load(loader);
    startPhase_.load(loader);
    burst_.load(loader);
}

void BlockGenDistance::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(1, 0);  // burst position
    compiler.registerOpOutput(2, 1);  // burst size
    const ExportBin::OperationScope operation(compiler, Ps::OF_GeneratorDistance);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "distance", distance_, 0);
    saver.write("start_phase", getStartPhase());
    saver.write("burst", static_cast<uint32_t>(getBurst()));
}

void BlockGenDistance::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockGenDistance::distance_);
    syncer.syncProp(&BlockGenDistance::startPhase_);
    syncer.syncProp(&BlockGenDistance::burst_);
}

}  // namespace Plm
