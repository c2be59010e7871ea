#pragma once

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_ps_enums.h"

namespace Plm
{

// The rotation whose axes, as "type" names them, point along "firstAxis" and "secondAxis".
class BlockFuncRotationFromAxes : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncRotationFromAxes, "func_rotation_from_axes")

public:
    static std::unique_ptr<BlockFuncRotationFromAxes> create();

    PLM_PROP_ACCESSORS(Type, Ps::EnumRotationFromAxesType, type_)
    PLM_PROP_ACCESSORS(FirstAxis, glm::vec3, firstAxis_)
    PLM_EXTERNAL_ACCESSORS(FirstAxis, firstAxis_)
    PLM_PROP_ACCESSORS(SecondAxis, glm::vec3, secondAxis_)
    PLM_EXTERNAL_ACCESSORS(SecondAxis, secondAxis_)
    PropBaseTyped<Ps::EnumRotationFromAxesType>& typeProp() { return type_; }
    PropBaseTyped<glm::vec3>& secondAxisProp() { return secondAxis_; }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncRotationFromAxes();
    explicit BlockFuncRotationFromAxes(LoadFlag flag);
    BlockFuncRotationFromAxes(const BlockFuncRotationFromAxes& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<Ps::EnumRotationFromAxesType> type_;
    Prop<glm::vec3> firstAxis_;
    Prop<glm::vec3> secondAxis_;
};

}  // namespace Plm
