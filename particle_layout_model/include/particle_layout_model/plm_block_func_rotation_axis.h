#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The rotation by "angle" about "axis".
class BlockFuncRotationAxis : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncRotationAxis, "func_rotation_axis")

public:
    static std::unique_ptr<BlockFuncRotationAxis> create();

    PLM_PROP_ACCESSORS(Axis, glm::vec3, axis_)
    PLM_EXTERNAL_ACCESSORS(Axis, axis_)
    PLM_PROP_ACCESSORS(Angle, float, angle_)
    PLM_EXTERNAL_ACCESSORS(Angle, angle_)

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncRotationAxis();
    explicit BlockFuncRotationAxis(LoadFlag flag);
    BlockFuncRotationAxis(const BlockFuncRotationAxis& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<glm::vec3> axis_;
    Prop<float> angle_;
};

}  // namespace Plm
