#pragma once

#include <cstdint>
#include <string>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A sprite per particle, facing the camera or turned freely, square or rectangular, drawing
// the whole texture or one cell of a grid.
class BlockConstructQuads : public BlockConstruct
{
    PLM_BLOCK_KIND(BlockConstructQuads, "construct_quads")

public:
    enum EnumSizeType : uint8_t
    {
        ST_Quad = 1,
        ST_Rect = 2,
    };

    static std::unique_ptr<BlockConstructQuads> create();

    // BlockConstruct
    bool areMeshFactoriesTheSame(const BlockConstruct& other) const override
    {
        return other.castToBlockConstructQuads() != nullptr;
    }
    const BlockConstructQuads* castToBlockConstructQuads() const override { return this; }
    void doMeshExport(Sl::Saver& saver) const override;

    PLM_PROP_ACCESSORS(Origin, glm::vec2, origin_)
    PLM_EXTERNAL_ACCESSORS(Origin, origin_)
    Ps::EnumConstructorQuadsRotationOp getRotationType() const { return rotationType_.get(); }
    void setRotationType(const boost::optional<Ps::EnumConstructorQuadsRotationOp>& value);
    PLM_PROP_ACCESSORS(FacedRotation, float, facedRotation_)
    PLM_EXTERNAL_ACCESSORS(FacedRotation, facedRotation_)
    EnumSizeType getSizeType() const { return sizeType_.get(); }
    void setSizeType(const boost::optional<EnumSizeType>& value);
    // The size of a square, used with ST_Quad.
    PLM_PROP_ACCESSORS(Size, float, size_)
    PLM_EXTERNAL_ACCESSORS(Size, size_)
    // The size of a rectangle, used with ST_Rect.
    PLM_PROP_ACCESSORS(SizeRect, glm::vec2, sizeRect_)
    PLM_EXTERNAL_ACCESSORS(SizeRect, sizeRect_)
    PLM_PROP_ACCESSORS(Color, glm::vec3, color_)
    PLM_EXTERNAL_ACCESSORS(Color, color_)
    PropBaseTyped<glm::vec3>& colorProp() { return color_; }
    PLM_PROP_ACCESSORS(Alpha, float, alpha_)
    PLM_EXTERNAL_ACCESSORS(Alpha, alpha_)
    PropBaseTyped<float>& alphaProp() { return alpha_; }
    Ps::EnumConstructorQuadsTexOp getTexOp() const { return texOp_.get(); }
    void setTexOp(const boost::optional<Ps::EnumConstructorQuadsTexOp>& value);
    PLM_PROP_ACCESSORS(TexOpGridCols, unsigned int, texOpGridCols_)
    PLM_PROP_ACCESSORS(TexOpGridRows, unsigned int, texOpGridRows_)
    PropBaseTyped<unsigned int>& texOpGridColsProp() { return texOpGridCols_; }
    PropBaseTyped<unsigned int>& texOpGridRowsProp() { return texOpGridRows_; }

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockConstructQuads();
    explicit BlockConstructQuads(LoadFlag flag);
    BlockConstructQuads(const BlockConstructQuads& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<glm::vec2> origin_;
    SharedProp<Ps::EnumConstructorQuadsRotationOp> rotationType_;
    Prop<float> facedRotation_;
    SharedProp<EnumSizeType> sizeType_;
    Prop<float> size_;
    Prop<glm::vec2> sizeRect_;
    Prop<glm::vec3> color_;
    Prop<float> alpha_;
    SharedProp<Ps::EnumConstructorQuadsTexOp> texOp_;
    Prop<unsigned int> texOpGridCols_;
    Prop<unsigned int> texOpGridRows_;
};

template <>
struct PropEnumRange<BlockConstructQuads::EnumSizeType>
{
    static constexpr uint8_t first = BlockConstructQuads::ST_Quad,
                             last = BlockConstructQuads::ST_Rect;
};

}  // namespace Plm
