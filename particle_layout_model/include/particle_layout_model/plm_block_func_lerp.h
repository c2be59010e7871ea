#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Linear interpolation between "from" and "to" by "interp".
template <class T>
class BlockFuncLerp : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncLerp, factoryNameText())

public:
    static const char* factoryNameText();
    static std::unique_ptr<BlockFuncLerp> create();

    PLM_PROP_ACCESSORS(From, T, from_)
    PLM_EXTERNAL_ACCESSORS(From, from_)
    PLM_PROP_ACCESSORS(To, T, to_)
    PLM_EXTERNAL_ACCESSORS(To, to_)
    PLM_PROP_ACCESSORS(Interp, float, interp_)
    PLM_EXTERNAL_ACCESSORS(Interp, interp_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncLerp();
    explicit BlockFuncLerp(LoadFlag flag);
    BlockFuncLerp(const BlockFuncLerp& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<T> from_;
    Prop<T> to_;
    Prop<float> interp_;
};

using BlockFuncLerpFloat = BlockFuncLerp<float>;
using BlockFuncLerpVec2 = BlockFuncLerp<glm::vec2>;
using BlockFuncLerpVec3 = BlockFuncLerp<glm::vec3>;

}  // namespace Plm
