#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A 2D vector with "z" as its third component.
class BlockFuncConv2to3 : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncConv2to3, "func_conv2to3")

public:
    static std::unique_ptr<BlockFuncConv2to3> create();

    PLM_PROP_ACCESSORS(Z, float, z_)
    PLM_EXTERNAL_ACCESSORS(Z, z_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncConv2to3();
    explicit BlockFuncConv2to3(LoadFlag flag);
    BlockFuncConv2to3(const BlockFuncConv2to3& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> z_;
};

}  // namespace Plm
