#pragma once

#include "particle_layout_model/plm_block_param_user_typed.h"

namespace Plm
{

// The particle's position: a vec3 parameter whose start value the emitter's rotation may turn.
class BlockParamPosition : public BlockParamUserTyped<glm::vec3>
{
    PLM_BLOCK_KIND(BlockParamPosition, "param_position")

public:
    static std::unique_ptr<BlockParamPosition> create();

    bool getApplyEmitterRotation() const { return applyRot_.get(); }
    void setApplyEmitterRotation(const boost::optional<bool>& value)
    {
        setPropAndNotify(applyRot_, value);
    }
    const PropBaseTyped<bool>& applyEmitterRotationProp() const { return applyRot_; }

    // The start position, relative to the emitter's position at birth.
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockParamPosition();
    explicit BlockParamPosition(LoadFlag flag);
    BlockParamPosition(const BlockParamPosition& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<bool> applyRot_;
};

}  // namespace Plm
