#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The 2D vector of "length" at "angle".
class BlockFuncRot2Vec : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncRot2Vec, "func_rot2vec")

public:
    static std::unique_ptr<BlockFuncRot2Vec> create();

    PLM_PROP_ACCESSORS(Angle, float, angle_)
    PLM_EXTERNAL_ACCESSORS(Angle, angle_)
    PLM_PROP_ACCESSORS(Length, float, length_)
    PLM_EXTERNAL_ACCESSORS(Length, length_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncRot2Vec();
    explicit BlockFuncRot2Vec(LoadFlag flag);
    BlockFuncRot2Vec(const BlockFuncRot2Vec& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> angle_;
    Prop<float> length_;
};

}  // namespace Plm
