#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "debug/debug_check.h"

namespace Plm
{

BlockConstruct::BlockConstruct()
    : exportable_(*this, false, true),
      material_(*this, false, Ps::MAT_Normal),
      texture_(*this, false, std::string("default.png"))
{
}

BlockConstruct::BlockConstruct(LoadFlag flag)
    : Block(flag), exportable_(*this), material_(*this), texture_(*this)
{
}

BlockConstruct::BlockConstruct(const BlockConstruct& other)
    : Block(),
      exportable_(*this, other.exportable_),
      material_(*this, other.material_),
      texture_(*this, other.texture_)
{
}

size_t BlockConstruct::numExternalTextures() const
{
    return getReflSourceRef() && !texture_.isOverridden() ? 0 : 1;
}

std::string BlockConstruct::externalTexture(size_t index) const
{
    DEBUG_EXPECT(index == 0);
    return index == 0 ? texture_.get() : std::string();
}

void BlockConstruct::replaceExternalTexture(size_t index, const std::string& path)
{
    const size_t numTextures = numExternalTextures();
    DEBUG_EXPECT(numTextures > 0);
    DEBUG_EXPECT(index < numTextures);
    if (index < numTextures)
        setTexture(path);
}

void BlockConstruct::saveCommonProps(Sl::RevisionSaver& saver) const
{
    exportable_.save("exportable", saver);
    material_.save("material", saver);
    texture_.save("texture", saver);
}

void BlockConstruct::loadCommonProps(Sl::RevisionLoader& loader, uint32_t groupVersion)
{
    exportable_.load(loader);
    material_.load(loader);
    texture_.load(loader);
    if (groupVersion == 0)
    {
        // Read as the property it was, outside the block's own list.
        PropsOwner scratch;
        Prop<glm::vec3> position(scratch);
        position.load(loader);
        obsoletePosition_ = position.get();
    }
}

void BlockConstruct::syncCommonProps(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockConstruct::exportable_);
    syncer.syncProp(&BlockConstruct::material_);
    syncer.syncProp(&BlockConstruct::texture_);
}

}  // namespace Plm
