#pragma once

#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

// The particle's normalised age, on output 0. It has nothing to save.
class BlockParamLifetime : public BlockParam
{
    PLM_BLOCK_KIND(BlockParamLifetime, "param_lifetime")

public:
    static std::unique_ptr<BlockParamLifetime> create();

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockParamLifetime() = default;
    explicit BlockParamLifetime(LoadFlag flag) : BlockParam(flag) {}
    BlockParamLifetime(const BlockParamLifetime& other) : BlockParam(other) {}

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override {}
    void loadImpl(Sl::RevisionLoader& loader) override {}
};

}  // namespace Plm
