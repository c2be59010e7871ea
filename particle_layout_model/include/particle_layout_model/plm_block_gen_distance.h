#pragma once

#include "particle_layout_model/plm_block_generator.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Bursts each time the emitter has moved by a distance.
class BlockGenDistance : public BlockGenerator
{
    PLM_BLOCK_KIND(BlockGenDistance, "gen_distance")

public:
    static std::unique_ptr<BlockGenDistance> create();

    PLM_PROP_ACCESSORS(Distance, float, distance_)
    PLM_EXTERNAL_ACCESSORS(Distance, distance_)
    PropBaseTyped<float>& distanceProp() { return distance_; }
    PLM_PROP_ACCESSORS(StartPhase, float, startPhase_)
    PLM_PROP_ACCESSORS(Burst, unsigned int, burst_)

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockGenDistance();
    explicit BlockGenDistance(LoadFlag flag);
    BlockGenDistance(const BlockGenDistance& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> distance_;
    Prop<float> startPhase_;
    Prop<unsigned int> burst_;
};

}  // namespace Plm
