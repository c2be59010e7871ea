#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "revision_saveload/sl_write_read.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockGenPeriodic::BlockGenPeriodic()
    : fixedTimeEnabled_(*this, false, false),
      fixedTime_(*this, false, 2.0f),
      fixedShotsEnabled_(*this, false, false),
      fixedShots_(*this, false, 5u),
      rate_(*this, false, 5.0f),
      startPhase_(*this, false, 1.0f),
      burst_(*this, false, 1u)
{
}

BlockGenPeriodic::BlockGenPeriodic(LoadFlag flag)
    : BlockGenerator(flag),
      fixedTimeEnabled_(*this),
      fixedTime_(*this),
      fixedShotsEnabled_(*this),
      fixedShots_(*this),
      rate_(*this),
      startPhase_(*this),
      burst_(*this)
{
}

BlockGenPeriodic::BlockGenPeriodic(const BlockGenPeriodic& other)
    : BlockGenerator(),
      fixedTimeEnabled_(*this, other.fixedTimeEnabled_),
      fixedTime_(*this, other.fixedTime_),
      fixedShotsEnabled_(*this, other.fixedShotsEnabled_),
      fixedShots_(*this, other.fixedShots_),
      rate_(*this, other.rate_),
      startPhase_(*this, other.startPhase_),
      burst_(*this, other.burst_)
{
}

std::unique_ptr<BlockGenPeriodic> BlockGenPeriodic::create()
{
    std::unique_ptr<BlockGenPeriodic> block(new BlockGenPeriodic());
    block->updateConnectors();
    return block;
}

void BlockGenPeriodic::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Float, 1), outputDesc(CT_Float, 2)};
    addInputIfExternal(descs, rate_, CT_Float, 0);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockGenPeriodic::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockGenPeriodic(*this));
}

void BlockGenPeriodic::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("gen_periodic", saver, 1);
    fixedTimeEnabled_.save("fixed_time_enabled", saver);
    fixedTime_.save("fixed_time", saver);
    fixedShotsEnabled_.save("fixed_shots_enabled", saver);
    fixedShots_.save("fixed_shots", saver);
    rate_.save("fixed_rate", saver);
    startPhase_.save("start_phase", saver);
    burst_.save("burst", saver);
}

void BlockGenPeriodic::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 1);
    if (group.version() == 0)
    {
        // Older files held one mode (1: fixed time, 2: fixed shots) where the two flags stand.
        PropsOwner scratch;
        Prop<unsigned char> mode(scratch);
        mode.load(loader);
        fixedTime_.load(loader);
        fixedShots_.load(loader);
        fixedTimeEnabled_.reset(mode.get() == 1);
        fixedShotsEnabled_.reset(mode.get() == 2);
    }
    else
    {
        fixedTimeEnabled_.load(loader);
        fixedTime_.load(loader);
        fixedShotsEnabled_.load(loader);
        fixedShots_.load(loader);
    }
    rate_.load(loader);
    startPhase_.load(loader);
    burst_.load(loader);
}

void BlockGenPeriodic::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(1, 0);  // burst position
    compiler.registerOpOutput(2, 1);  // burst size
    const ExportBin::OperationScope operation(compiler, Ps::OF_GeneratorPeriodic);
    Sl::Saver& saver = operation.saver();
    // A limit that isn't enabled is absent: the runtime then runs without it.
    const boost::optional<float> fixedTime =
        getFixedTimeEnabled() ? boost::make_optional(getFixedTime()) : boost::none;
    const boost::optional<uint32_t> fixedShots =
        getFixedShotsEnabled() ? boost::make_optional(static_cast<uint32_t>(getFixedShots()))
                               : boost::none;
    Sl::write("fixed_time", saver, fixedTime);
    Sl::write("fixed_shots", saver, fixedShots);
    compiler.writeInput(*this, "rate", rate_, 0);
    saver.write("start_phase", getStartPhase());
    saver.write("burst", static_cast<uint32_t>(getBurst()));
}

void BlockGenPeriodic::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockGenPeriodic::fixedTimeEnabled_);
    syncer.syncProp(&BlockGenPeriodic::fixedTime_);
    syncer.syncProp(&BlockGenPeriodic::fixedShotsEnabled_);
    syncer.syncProp(&BlockGenPeriodic::fixedShots_);
    syncer.syncProp(&BlockGenPeriodic::rate_);
    syncer.syncProp(&BlockGenPeriodic::startPhase_);
    syncer.syncProp(&BlockGenPeriodic::burst_);
}

}  // namespace Plm
