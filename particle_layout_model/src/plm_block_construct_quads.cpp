#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockConstructQuads::BlockConstructQuads()
    : origin_(*this, false, glm::vec2(0.5f, 0.5f)),
      rotationType_(*this, false, Ps::CGO_Faced),
      facedRotation_(*this, false, 0.0f),
      sizeType_(*this, false, ST_Quad),
      size_(*this, false, 30.0f),
      sizeRect_(*this, false, glm::vec2(30.0f, 30.0f)),
      color_(*this, false, glm::vec3(1.0f)),
      alpha_(*this, false, 1.0f),
      texOp_(*this, false, Ps::CTO_Rect),
      texOpGridCols_(*this, false, 1u),
      texOpGridRows_(*this, false, 1u)
{
}

BlockConstructQuads::BlockConstructQuads(LoadFlag flag)
    : BlockConstruct(flag),
      origin_(*this),
      rotationType_(*this),
      facedRotation_(*this),
      sizeType_(*this),
      size_(*this),
      sizeRect_(*this),
      color_(*this),
      alpha_(*this),
      texOp_(*this),
      texOpGridCols_(*this),
      texOpGridRows_(*this)
{
}

BlockConstructQuads::BlockConstructQuads(const BlockConstructQuads& other)
    : BlockConstruct(other),
      origin_(*this, other.origin_),
      rotationType_(*this, other.rotationType_),
      facedRotation_(*this, other.facedRotation_),
      sizeType_(*this, other.sizeType_),
      size_(*this, other.size_),
      sizeRect_(*this, other.sizeRect_),
      color_(*this, other.color_),
      alpha_(*this, other.alpha_),
      texOp_(*this, other.texOp_),
      texOpGridCols_(*this, other.texOpGridCols_),
      texOpGridRows_(*this, other.texOpGridRows_)
{
}

std::unique_ptr<BlockConstructQuads> BlockConstructQuads::create()
{
    std::unique_ptr<BlockConstructQuads> block(new BlockConstructQuads());
    block->updateConnectors();
    return block;
}

void BlockConstructQuads::doMeshExport(Sl::Saver& saver) const
{
    saver.write("mesh_factory", static_cast<uint8_t>(0));
    saver.write("has_normals", true);
    saver.write("has_colors", true);
}

void BlockConstructQuads::setRotationType(
    const boost::optional<Ps::EnumConstructorQuadsRotationOp>& value)
{
    if (!wouldPropChange(rotationType_, value))
        return;
    rotationType_.set(value);
    updateConnectors();
    notifyPropChanged(true);
}

void BlockConstructQuads::setSizeType(const boost::optional<EnumSizeType>& value)
{
    if (!wouldPropChange(sizeType_, value))
        return;
    sizeType_.set(value);
    updateConnectors();
    notifyPropChanged(true);
}

void BlockConstructQuads::setTexOp(const boost::optional<Ps::EnumConstructorQuadsTexOp>& value)
{
    if (!wouldPropChange(texOp_, value))
        return;
    texOp_.set(value);
    updateConnectors();
    notifyPropChanged(true);
}

void BlockConstructQuads::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    const Ps::EnumConstructorQuadsRotationOp rotationOp = rotationType_.get();
    if (rotationOp == Ps::CGO_Faced)
    {
        addInputIfExternal(descs, facedRotation_, CT_Float, 1);
    }
    else
    {
        DEBUG_ASSERT(rotationOp == Ps::CGO_Free);
        // A free rotation always comes from a link: it has no constant form.
        descs.push_back(inputDesc(CT_Quat, 2));
    }
    addInputIfExternal(descs, origin_, CT_Vec2, 7);
    const EnumSizeType sizeType = sizeType_.get();
    if (sizeType == ST_Quad)
    {
        addInputIfExternal(descs, size_, CT_Float, 3);
    }
    else
    {
        DEBUG_ASSERT(sizeType == ST_Rect);
        addInputIfExternal(descs, sizeRect_, CT_Vec2, 8);
    }
    addInputIfExternal(descs, color_, CT_Vec3, 4);
    addInputIfExternal(descs, alpha_, CT_Float, 5);
    const Ps::EnumConstructorQuadsTexOp texOp = texOp_.get();
    if (texOp != Ps::CTO_Rect)
    {
        DEBUG_ASSERT(texOp == Ps::CTO_Grid);
        // The index of the texture cell.
        descs.push_back(inputDesc(CT_Float, 6));
    }
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockConstructQuads::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockConstructQuads(*this));
}

void BlockConstructQuads::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("construct_quads", saver, 1);
    saveCommonProps(saver);
    origin_.save("origin", saver);
    rotationType_.save("rotation_type", saver);
    facedRotation_.save("faced_rotation", saver);
    sizeType_.save("size_type", saver);
    size_.save("size", saver);
    sizeRect_.save("size", saver);
    color_.save("color", saver);
    alpha_.save("alpha", saver);
    texOp_.save("tex_op", saver);
    texOpGridCols_.save("tex_op_grid_cols", saver);
    texOpGridRows_.save("tex_op_grid_rows", saver);
}

void BlockConstructQuads::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 1);
    loadCommonProps(loader, group.version());
    origin_.load(loader);
    rotationType_.load(loader);
    facedRotation_.load(loader);
    sizeType_.load(loader);
    size_.load(loader);
    sizeRect_.load(loader);
    color_.load(loader);
    alpha_.load(loader);
    texOp_.load(loader);
    texOpGridCols_.load(loader);
    texOpGridRows_.load(loader);
}

void BlockConstructQuads::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    const SystemExportCompilerBin& system = compiler.getSystemExporterBin();
    const unsigned int meshIndex = system.getMeshIndexOfConstructor(*this);
    const unsigned int styleIndex = system.getRenderStyleIndexOfConstructor(*this);
    DEBUG_ASSERT(meshIndex < 256 && styleIndex < 256);

    const ExportBin::OperationScope operation(compiler, Ps::OF_ConstructorQuads);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "origin", origin_, 7);
    const Ps::EnumConstructorQuadsRotationOp rotationOp = getRotationType();
    saver.write("rotation_op", static_cast<uint8_t>(rotationOp));
    if (rotationOp == Ps::CGO_Faced)
        compiler.writeInput(*this, "rotation", facedRotation_, 1);
    else
        compiler.writeInput(*this, "rotation", 2);  // a free rotation is always linked
    const EnumSizeType sizeType = getSizeType();
    saver.write("size_type", static_cast<uint8_t>(sizeType));
    if (sizeType == ST_Quad)
        compiler.writeInput(*this, "size", size_, 3);
    else
        compiler.writeInput(*this, "size", sizeRect_, 8);
    compiler.writeInput(*this, "color", color_, 4);
    compiler.writeInput(*this, "alpha", alpha_, 5);
    saver.write("vis_mesh_index", static_cast<uint8_t>(meshIndex));
    saver.write("rend_style_index", static_cast<uint8_t>(styleIndex));
    const Ps::EnumConstructorQuadsTexOp texOp = getTexOp();
    saver.write("tex_op", static_cast<uint8_t>(texOp));
    if (texOp == Ps::CTO_Grid)
    {
        // The runtime keeps a grid of at most 255 by 255 cells, and at least one.
        const unsigned int cols = getTexOpGridCols();
        const unsigned int rows = getTexOpGridRows();
        DEBUG_ASSERT(cols > 0 && cols < 256 && rows > 0 && rows < 256);
        saver.write("tex_op_grid_cols", static_cast<uint8_t>(cols));
        saver.write("tex_op_grid_rows", static_cast<uint8_t>(rows));
        compiler.writeInput(*this, "tex_op_grid_index", 6);
    }
}

void BlockConstructQuads::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncCommonProps(syncer);
    syncer.syncProp(&BlockConstructQuads::origin_);
    syncer.syncProp(&BlockConstructQuads::rotationType_);
    syncer.syncProp(&BlockConstructQuads::facedRotation_);
    syncer.syncProp(&BlockConstructQuads::sizeType_);
    syncer.syncProp(&BlockConstructQuads::size_);
    syncer.syncProp(&BlockConstructQuads::sizeRect_);
    syncer.syncProp(&BlockConstructQuads::color_);
    syncer.syncProp(&BlockConstructQuads::alpha_);
    syncer.syncProp(&BlockConstructQuads::texOp_);
    syncer.syncProp(&BlockConstructQuads::texOpGridCols_);
    syncer.syncProp(&BlockConstructQuads::texOpGridRows_);
}

}  // namespace Plm
