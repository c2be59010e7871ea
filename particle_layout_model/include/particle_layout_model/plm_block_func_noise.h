#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_ps_enums.h"

namespace Plm
{

// 3D noise of a position, mapped into the output range and moving over time by "animation".
class BlockFuncNoise : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncNoise, "func_noise")

public:
    // Version 1 added "animation".
    static constexpr uint32_t kVersion = 1;

    static std::unique_ptr<BlockFuncNoise> create();

    PLM_PROP_ACCESSORS(Smoothness, float, smoothness_)
    PLM_EXTERNAL_ACCESSORS(Smoothness, smoothness_)
    const PropBaseTyped<float>& smoothnessProp() const { return smoothness_; }
    PLM_PROP_ACCESSORS(Type, Ps::EnumFuncNoise3Type, type_)
    PLM_PROP_ACCESSORS(OutputRangeScale, float, outputScale_)
    PLM_EXTERNAL_ACCESSORS(OutputRangeScale, outputScale_)
    PropBaseTyped<float>& outputRangeScaleProp() { return outputScale_; }
    PLM_PROP_ACCESSORS(OutputRangeLow, glm::vec3, outputLow_)
    PLM_PROP_ACCESSORS(OutputRangeHigh, glm::vec3, outputHigh_)
    PLM_PROP_ACCESSORS(Animation, glm::vec3, animation_)
    PLM_PROP_ACCESSORS(Additive, bool, additive_)

    bool isAnimationOverridden() const { return animation_.isOverridden(); }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncNoise();
    explicit BlockFuncNoise(LoadFlag flag);
    BlockFuncNoise(const BlockFuncNoise& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<float> smoothness_;
    Prop<Ps::EnumFuncNoise3Type> type_;
    Prop<float> outputScale_;
    Prop<glm::vec3> outputLow_;
    Prop<glm::vec3> outputHigh_;
    Prop<glm::vec3> animation_;
    Prop<bool> additive_;
};

}  // namespace Plm
