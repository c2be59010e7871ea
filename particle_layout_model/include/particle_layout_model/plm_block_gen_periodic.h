#pragma once

#include "particle_layout_model/plm_block_generator.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Bursts at a rate, optionally for a fixed time or a fixed number of bursts.
class BlockGenPeriodic : public BlockGenerator
{
    PLM_BLOCK_KIND(BlockGenPeriodic, "gen_periodic")

public:
    static std::unique_ptr<BlockGenPeriodic> create();

    PLM_PROP_ACCESSORS(FixedTimeEnabled, bool, fixedTimeEnabled_)
    PLM_PROP_ACCESSORS(FixedTime, float, fixedTime_)
    PLM_PROP_ACCESSORS(FixedShotsEnabled, bool, fixedShotsEnabled_)
    PLM_PROP_ACCESSORS(FixedShots, unsigned int, fixedShots_)
    PLM_PROP_ACCESSORS(Rate, float, rate_)
    PLM_EXTERNAL_ACCESSORS(Rate, rate_)
    PropBaseTyped<float>& rateProp() { return rate_; }
    PLM_PROP_ACCESSORS(StartPhase, float, startPhase_)
    PLM_PROP_ACCESSORS(Burst, unsigned int, burst_)

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockGenPeriodic();
    explicit BlockGenPeriodic(LoadFlag flag);
    BlockGenPeriodic(const BlockGenPeriodic& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<bool> fixedTimeEnabled_;
    Prop<float> fixedTime_;
    Prop<bool> fixedShotsEnabled_;
    Prop<unsigned int> fixedShots_;
    Prop<float> rate_;
    Prop<float> startPhase_;
    Prop<unsigned int> burst_;
};

}  // namespace Plm
