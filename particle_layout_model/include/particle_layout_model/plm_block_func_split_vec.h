#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Splits a vector into its components, one float output each.
template <class T>
class BlockFuncSplitVec : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncSplitVec, factoryNameText())

public:
    static constexpr unsigned int kNumComponents = sizeof(T) / sizeof(float);

    static const char* factoryNameText();
    static std::unique_ptr<BlockFuncSplitVec> create();

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncSplitVec() = default;
    explicit BlockFuncSplitVec(LoadFlag flag) : BlockFunc(flag) {}
    BlockFuncSplitVec(const BlockFuncSplitVec& other) = default;

    // Nothing of its own to keep: only the function block's group is written.
    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
};

using BlockFuncSplitVec2 = BlockFuncSplitVec<glm::vec2>;
using BlockFuncSplitVec3 = BlockFuncSplitVec<glm::vec3>;

}  // namespace Plm
