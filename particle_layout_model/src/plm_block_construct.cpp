#include "particle_layout_model/plm_block_construct.h"

#include "debug/debug_check.h"

namespace Plm
{

size_t BlockConstruct::countExternalTextures(const PropBase& texture) const
{
    return getReflSourceRef() && !texture.isOverridden() ? 0 : 1;
}

std::string BlockConstruct::externalTextureOf(const PropBaseTyped<std::string>& texture,
                                              size_t index) const
{
    DEBUG_EXPECT(index == 0);
    return index == 0 ? texture.get() : std::string();
}

bool BlockConstruct::canReplaceExternalTexture(size_t index) const
{
    const size_t numTextures = numExternalTextures();
    DEBUG_EXPECT(numTextures > 0);
    if (numTextures == 0)
        return false;
    DEBUG_EXPECT(index < numTextures);
    return index < numTextures;
}

void BlockConstruct::loadObsoletePosition(Sl::RevisionLoader& loader)
{
    // Read as the property it was, outside the block's own list.
    PropsOwner scratch;
    Prop<glm::vec3> position(scratch);
    position.load(loader);
    obsoletePosition_ = position.get();
}

}  // namespace Plm
