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
    virtual bool isExportable() const { return exportable_.get(); }
    virtual Ps::EnumMaterial getMaterial() const { return material_.get(); }
    virtual const std::string& getTexture() const { return texture_.get(); }
    // Emitters whose constructors are of the same kind can share a mesh at export.
    virtual bool areMeshFactoriesTheSame(const BlockConstruct& other) const = 0;
    virtual const BlockConstructQuads* castToBlockConstructQuads() const { return nullptr; }
    virtual const BlockConstructStrip* castToBlockConstructStrip() const { return nullptr; }
    // The mesh factory's description for the compiled effect: its number, whether it has
    // normals, whether it has colours.
    virtual void doMeshExport(Sl::Saver& saver) const = 0;

    // ExternalDependencyHolder: the texture, unless it belongs to the reflection source (it
    // isn't overridden here).
    size_t numExternalTextures() const override;
    std::string externalTexture(size_t index) const override;
    void replaceExternalTexture(size_t index, const std::string& path) override;

    void setExportable(const boost::optional<bool>& value) { setPropAndNotify(exportable_, value); }
    void setMaterial(const boost::optional<Ps::EnumMaterial>& value)
    {
        setPropAndNotify(material_, value);
    }
    void setTexture(const boost::optional<std::string>& value)
    {
        setPropAndNotify(texture_, value);
    }

    // The position of particles at birth, which older files kept here; the emitter moves it to
    // its positioner after loading.
    const boost::optional<glm::vec3>& getObsoletePosition() const { return obsoletePosition_; }

protected:
    // The properties both kinds start with: "exportable", "material", "texture".
    BlockConstruct();
    explicit BlockConstruct(LoadFlag flag);
    BlockConstruct(const BlockConstruct& other);

    // Those three properties, inside the kind's group. Group version 0 stored the position of
    // particles at birth after them.
    void saveCommonProps(Sl::RevisionSaver& saver) const;
    void loadCommonProps(Sl::RevisionLoader& loader, uint32_t groupVersion);
    // "exportable", "material", "texture". The position of older files isn't followed: the
    // emitter moves it to its positioner when loading.
    void syncCommonProps(const BlockSyncer& syncer);

private:
    Prop<bool> exportable_;
    Prop<Ps::EnumMaterial> material_;
    Prop<std::string> texture_;
    boost::optional<glm::vec3> obsoletePosition_;
};

}  // namespace Plm
