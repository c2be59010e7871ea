#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A random float between "start" and "end".
class BlockFuncRandom : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncRandom, "func_random")

public:
    static std::unique_ptr<BlockFuncRandom> create();

    PLM_PROP_ACCESSORS(Start, float, start_)
    PLM_EXTERNAL_ACCESSORS(Start, start_)
    PLM_PROP_ACCESSORS(End, float, end_)
    PLM_EXTERNAL_ACCESSORS(End, end_)
    const PropBaseTyped<float>& startProp() const { return start_; }
    PropBaseTyped<float>& startProp() { return start_; }
    const PropBaseTyped<float>& endProp() const { return end_; }
    PropBaseTyped<float>& endProp() { return end_; }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncRandom();
    explicit BlockFuncRandom(LoadFlag flag);
    BlockFuncRandom(const BlockFuncRandom& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> start_;
    Prop<float> end_;
};

}  // namespace Plm
