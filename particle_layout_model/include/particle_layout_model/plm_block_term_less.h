#pragma once

#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_block_terminator.h"

namespace Plm
{

// Ends a particle once "lesser" is below "greater".
class BlockTermLess : public BlockTerminator
{
    PLM_BLOCK_KIND(BlockTermLess, "term_less")

public:
    static std::unique_ptr<BlockTermLess> create();

    PLM_PROP_ACCESSORS(LesserValue, float, lesser_)
    PLM_EXTERNAL_ACCESSORS(LesserValue, lesser_)
    PLM_PROP_ACCESSORS(GreaterValue, float, greater_)
    PLM_EXTERNAL_ACCESSORS(GreaterValue, greater_)

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockTermLess();
    explicit BlockTermLess(LoadFlag flag);
    BlockTermLess(const BlockTermLess& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> lesser_;
    Prop<float> greater_;
};

}  // namespace Plm
