#pragma once

#include <cstdint>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// The kind of vector a block yields.
enum EnumVectorTypes : uint8_t
{
    VT_Vec2 = 0,
    VT_Vec3 = 1,
};

template <>
struct PropEnumRange<EnumVectorTypes>
{
    static constexpr uint8_t first = VT_Vec2, last = VT_Vec3;
};

// A random vector of a length up to "radius"; "type" chooses 2D or 3D.
class BlockFuncRandomVec : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncRandomVec, "func_random_vec")

public:
    static std::unique_ptr<BlockFuncRandomVec> create(EnumVectorTypes type);

    // The type of the output connector.
    EnumConnectorType getOutputType() const { return type_.get() == VT_Vec2 ? CT_Vec2 : CT_Vec3; }

    const EnumVectorTypes& getType() const { return type_.get(); }
    // Changes the output's type: its links go.
    void setType(const boost::optional<EnumVectorTypes>& type);
    PLM_PROP_ACCESSORS(Radius, float, radius_)
    PLM_EXTERNAL_ACCESSORS(Radius, radius_)
    const PropBaseTyped<float>& radiusProp() const { return radius_; }
    PropBaseTyped<float>& radiusProp() { return radius_; }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    explicit BlockFuncRandomVec(EnumVectorTypes type);
    explicit BlockFuncRandomVec(LoadFlag flag);
    BlockFuncRandomVec(const BlockFuncRandomVec& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    SharedProp<EnumVectorTypes> type_;
    Prop<float> radius_;
};

}  // namespace Plm
