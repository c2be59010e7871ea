#pragma once

#include <memory>
#include <vector>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_prop_changer.h"
#include "plot/plot.h"

namespace Plm
{

// Reads one to three curves at the input's time: a float, vec2 or vec3 for 1, 2 or 3 tracks.
class BlockFuncCurves : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncCurves, "func_curves")

public:
    static constexpr uint32_t kInputConnector = 0;
    static constexpr uint32_t kOutputConnector = 1;
    static constexpr unsigned int kMaxTracks = 3;

    static std::unique_ptr<BlockFuncCurves> create();

    unsigned int getNumTracks() const { return numTracks_.get(); }
    // Between 1 and kMaxTracks: new tracks are empty curves, extra ones go from the last.
    void setNumTracks(const boost::optional<unsigned int>& value);

    const Plot& getTrack(unsigned int index) const { return track(index).get(); }
    const Prop<Plot>& track(unsigned int index) const
    {
        DEBUG_ASSERT(index < tracks_.size());
        return *tracks_[index];
    }
    Prop<Plot>& track(unsigned int index)
    {
        DEBUG_ASSERT(index < tracks_.size());
        return *tracks_[index];
    }
    void setTrack(unsigned int index, const boost::optional<Plot>& value);
    std::unique_ptr<PropChanger<Plot>> trackChanger(unsigned int index);

    // The graph editor's view state: the block only keeps it.
    const std::vector<unsigned char>& getCurveEdSaveData() const { return curveEdSaveData_; }
    void setCurveEdSaveData(const std::vector<unsigned char>& data);

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncCurves();
    explicit BlockFuncCurves(LoadFlag flag);
    BlockFuncCurves(const BlockFuncCurves& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    SharedProp<unsigned int> numTracks_;
    // On the heap: each registers with the block on construction.
    std::vector<std::unique_ptr<Prop<Plot>>> tracks_;
    std::vector<unsigned char> curveEdSaveData_;
};

}  // namespace Plm
