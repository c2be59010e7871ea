#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The X, Y and Z axes of a rotation.
class BlockFuncAxisFromRotation : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncAxisFromRotation, "func_axis_from_rotation")

public:
    static std::unique_ptr<BlockFuncAxisFromRotation> create();

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncAxisFromRotation() = default;
    explicit BlockFuncAxisFromRotation(LoadFlag flag) : BlockFunc(flag) {}
    BlockFuncAxisFromRotation(const BlockFuncAxisFromRotation& other) = default;

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;
};

}  // namespace Plm
