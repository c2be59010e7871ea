#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The angle of a 2D vector.
class BlockFuncVec2Rot : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncVec2Rot, "func_vec2rot")

public:
    static std::unique_ptr<BlockFuncVec2Rot> create();

    PLM_PROP_ACCESSORS(Input, glm::vec2, input_)
    PLM_EXTERNAL_ACCESSORS(Input, input_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncVec2Rot();
    explicit BlockFuncVec2Rot(LoadFlag flag);
    BlockFuncVec2Rot(const BlockFuncVec2Rot& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<glm::vec2> input_;
};

}  // namespace Plm
