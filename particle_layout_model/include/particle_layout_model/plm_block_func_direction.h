#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The direction from "from" to "to", scaled to "length".
template <class T>
class BlockFuncDirection : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncDirection, factoryNameText())

public:
    static const char* factoryNameText();
    static std::unique_ptr<BlockFuncDirection> create();

    PLM_PROP_ACCESSORS(From, T, from_)
    PLM_EXTERNAL_ACCESSORS(From, from_)
    PLM_PROP_ACCESSORS(To, T, to_)
    PLM_EXTERNAL_ACCESSORS(To, to_)
    PLM_PROP_ACCESSORS(Length, float, length_)
    PLM_EXTERNAL_ACCESSORS(Length, length_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncDirection();
    explicit BlockFuncDirection(LoadFlag flag);
    BlockFuncDirection(const BlockFuncDirection& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<T> from_;
    Prop<T> to_;
    Prop<float> length_;
};

using BlockFuncDirectionVec2 = BlockFuncDirection<glm::vec2>;
using BlockFuncDirectionVec3 = BlockFuncDirection<glm::vec3>;

}  // namespace Plm
