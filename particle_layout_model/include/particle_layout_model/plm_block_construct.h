#pragma once

#include <string>

#include <boost/optional/optional.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_ps_enums.h"
#include "revision_saveload/sl_saver.h"

namespace Plm
{

class BlockConstructQuads;
class BlockConstructStrip;

// What geometry particles become. Each kind names the texture it draws with, a file of the
// project's textures folder.
class BlockConstruct : public Block
{
public:
    BlockConstruct* castToBlockConstruct() override { return this; }

    // Whether geometry is generated at all.
    virtual bool isExportable() const = 0;
    virtual Ps::EnumMaterial getMaterial() const = 0;
    virtual const std::string& getTexture() const = 0;
    // Emitters whose constructors are of the same kind can share a mesh at export.
    virtual bool areMeshFactoriesTheSame(const BlockConstruct& other) const = 0;
    virtual const BlockConstructQuads* castToBlockConstructQuads() const { return nullptr; }
    virtual const BlockConstructStrip* castToBlockConstructStrip() const { return nullptr; }
    // The mesh factory's description for the compiled effect: its number, whether it has
    // normals, whether it has colours.
    virtual void doMeshExport(Sl::Saver& saver) const = 0;

    // The position of particles at birth, which older files kept here; the emitter moves it to
    // its positioner after loading.
    const boost::optional<glm::vec3>& getObsoletePosition() const { return obsoletePosition_; }

protected:
    BlockConstruct() = default;
    explicit BlockConstruct(LoadFlag flag) : Block(flag) {}

    // The external texture of both kinds: the file belongs to the reflection source unless the
    // texture is overridden here.
    size_t countExternalTextures(const PropBase& texture) const;
    std::string externalTextureOf(const PropBaseTyped<std::string>& texture, size_t index) const;
    // Whether the texture may be replaced at that index; logs why not.
    bool canReplaceExternalTexture(size_t index) const;

    // Reads what older files stored after the texture, the position of particles at birth.
    void loadObsoletePosition(Sl::RevisionLoader& loader);

private:
    boost::optional<glm::vec3> obsoletePosition_;
};

}  // namespace Plm
