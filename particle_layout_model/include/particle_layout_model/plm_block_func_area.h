#pragma once

#include <cstdint>
#include <vector>

#include "particle_layout_model/plm_area.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A random point on a painted area, picked with a probability that follows the paint, and
// the area's measure as a constant output.
class BlockFuncArea : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncArea, "func_area")

public:
    // Version 1 replaced the editor's old state group by "ed_data".
    static constexpr uint32_t kVersion = 1;

    enum EnumConnectorId : uint32_t
    {
        CI_Input = 0,
        CI_OutputPosition = 1,
        CI_OutputSquare = 2,
    };

    static std::unique_ptr<BlockFuncArea> create();

    PLM_PROP_ACCESSORS(Area, Area, area_)
    const PropBaseTyped<Area>& areaProp() const { return area_; }
    PLM_PROP_ACCESSORS(OptPixelSize, unsigned int, optPixelSize_)
    // The measure of the paint in square units of the plane: a cell is one unit, and full
    // paint counts the whole cell. The constant of the square output.
    float getExportSquare() const;

    // The painted area editor's own view state: the block only keeps it.
    const std::vector<uint8_t>& getAreaEdSaveData() const { return edData_; }
    void setAreaEdSaveData(const std::vector<uint8_t>& data);

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncArea();
    explicit BlockFuncArea(LoadFlag flag);
    BlockFuncArea(const BlockFuncArea& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<Area> area_;
    Prop<unsigned int> optPixelSize_;
    std::vector<uint8_t> edData_;
};

}  // namespace Plm
