#pragma once

#include "particle_layout_model/plm_block_param_user_typed.h"

namespace Plm
{

// The particle's velocity: a vec3 parameter whose start value may take the emitter's own
// velocity and rotation.
class BlockParamVelocity : public BlockParamUserTyped<glm::vec3>
{
    PLM_BLOCK_KIND(BlockParamVelocity, "param_velocity")

public:
    static std::unique_ptr<BlockParamVelocity> create();

    bool getAddEmitterVelocity() const { return addVel_.get(); }
    void setAddEmitterVelocity(const boost::optional<bool>& value)
    {
        setPropAndNotify(addVel_, value);
    }
    const PropBaseTyped<bool>& addEmitterVelocityProp() const { return addVel_; }
    bool getApplyEmitterRotation() const { return applyRot_.get(); }
    void setApplyEmitterRotation(const boost::optional<bool>& value)
    {
        setPropAndNotify(applyRot_, value);
    }
    const PropBaseTyped<bool>& applyEmitterRotationProp() const { return applyRot_; }

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockParamVelocity();
    explicit BlockParamVelocity(LoadFlag flag);
    BlockParamVelocity(const BlockParamVelocity& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<bool> addVel_;
    Prop<bool> applyRot_;
};

}  // namespace Plm
