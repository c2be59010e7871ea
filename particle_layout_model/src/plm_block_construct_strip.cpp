#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockConstructStrip::BlockConstructStrip()
    : hasFreeRotation_(*this, false, false),
      size_(*this, false, 30.0f),
      color_(*this, false, glm::vec3(1.0f)),
      alpha_(*this, false, 1.0f),
      texRep_(*this, false, 30.0f)
{
}

BlockConstructStrip::BlockConstructStrip(LoadFlag flag)
    : BlockConstruct(flag),
      hasFreeRotation_(*this),
      size_(*this),
      color_(*this),
      alpha_(*this),
      texRep_(*this)
{
}

BlockConstructStrip::BlockConstructStrip(const BlockConstructStrip& other)
    : BlockConstruct(other),
      hasFreeRotation_(*this, other.hasFreeRotation_),
      size_(*this, other.size_),
      color_(*this, other.color_),
      alpha_(*this, other.alpha_),
      texRep_(*this, other.texRep_)
{
}

std::unique_ptr<BlockConstructStrip> BlockConstructStrip::create()
{
    std::unique_ptr<BlockConstructStrip> block(new BlockConstructStrip());
    block->updateConnectors();
    return block;
}

void BlockConstructStrip::doMeshExport(Sl::Saver& saver) const
{
    saver.write("mesh_factory", static_cast<uint8_t>(1));
    saver.write("has_normals", false);
    saver.write("has_colors", true);
}

void BlockConstructStrip::setHasFreeRotation(const boost::optional<bool>& value)
{
    if (!wouldPropChange(hasFreeRotation_, value))
        return;
    hasFreeRotation_.set(value);
    updateConnectors();
    notifyPropChanged(true);
}

void BlockConstructStrip::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    // A free rotation always comes from a link: it has no constant form.
    if (hasFreeRotation_.get())
        descs.push_back(inputDesc(CT_Quat, 2));
    addInputIfExternal(descs, size_, CT_Float, 3);
    addInputIfExternal(descs, color_, CT_Vec3, 4);
    addInputIfExternal(descs, alpha_, CT_Float, 5);
    addInputIfExternal(descs, texRep_, CT_Float, 7);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockConstructStrip::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockConstructStrip(*this));
}

void BlockConstructStrip::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("construct_strip", saver, 1);
    saveCommonProps(saver);
    hasFreeRotation_.save("has_free_rotation", saver);
    size_.save("size", saver);
    color_.save("color", saver);
    alpha_.save("alpha", saver);
    texRep_.save("tex_rep", saver);
}

void BlockConstructStrip::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 1);
    loadCommonProps(loader, group.version());
    hasFreeRotation_.load(loader);
    size_.load(loader);
    color_.load(loader);
    alpha_.load(loader);
    texRep_.load(loader);
}

void BlockConstructStrip::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    const SystemExportCompilerBin& system = compiler.getSystemExporterBin();
    const unsigned int meshIndex = system.getMeshIndexOfConstructor(*this);
    const unsigned int styleIndex = system.getRenderStyleIndexOfConstructor(*this);
    DEBUG_ASSERT(meshIndex < 256 && styleIndex < 256);

    const ExportBin::OperationScope operation(compiler, Ps::OF_ConstructorStrip);
    Sl::Saver& saver = operation.saver();
    saver.write("has_free_rotation", hasFreeRotation());
    if (hasFreeRotation())
        compiler.writeInput(*this, "rotation", 2);
    compiler.writeInput(*this, "size", size_, 3);
    compiler.writeInput(*this, "color", color_, 4);
    compiler.writeInput(*this, "alpha", alpha_, 5);
    compiler.writeInput(*this, "tex_rep", texRep_, 7);
    saver.write("vis_mesh_index", static_cast<uint8_t>(meshIndex));
    saver.write("rend_style_index", static_cast<uint8_t>(styleIndex));
}

void BlockConstructStrip::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncCommonProps(syncer);
    syncer.syncProp(&BlockConstructStrip::hasFreeRotation_);
    syncer.syncProp(&BlockConstructStrip::size_);
    syncer.syncProp(&BlockConstructStrip::color_);
    syncer.syncProp(&BlockConstructStrip::alpha_);
    syncer.syncProp(&BlockConstructStrip::texRep_);
}

}  // namespace Plm
