#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_ordered_id_list_client.h"

namespace Sl
{
class RevisionSaver;
class RevisionLoader;
}  // namespace Sl

namespace Plm
{

class ProjectResource;

// What stands around an effect in its preview. It lives in the effect's file but never reaches
// export.
namespace Preview2
{

class Scene;
class ScenePicture;
class SceneParticles;
class SceneCurrentParticles;

class SceneOwner
{
public:
    virtual ~SceneOwner() = default;
    virtual ProjectResource* getProjectResource() = 0;
    virtual void notifyDeepChanged(bool affectsExport) = 0;
};

class SceneObject
{
public:
    using Uuid = boost::uuids::uuid;
    enum EnumType : uint8_t
    {
        T_Picture = 0,
        T_Particles = 1,
        T_CurrentParticles = 2,
    };

    virtual ~SceneObject();
    SceneObject(const SceneObject&) = delete;
    SceneObject& operator=(const SceneObject&) = delete;

    virtual ScenePicture* castToScenePicture() { return nullptr; }
    virtual SceneParticles* castToSceneParticles() { return nullptr; }
    virtual SceneCurrentParticles* castToSceneCurrentParticles() { return nullptr; }

    // Reads an object written by save(); a broken stream raises an Sl exception.
    static std::unique_ptr<SceneObject> createFromLoader(Sl::RevisionLoader& loader);
    void save(Sl::RevisionSaver& saver) const;

    void connectWithScene(Scene& scene) { scene_ = &scene; }
    Scene* getScene() const { return scene_; }
    EnumType getType() const { return type_; }
    const Uuid& getId() const { return id_; }
    const Uuid& getRevision() const { return revision_; }

    const glm::vec3& getPosition() const { return position_; }
    void setPosition(const glm::vec3& position);
    bool visible() const { return visible_; }
    void setVisible(bool visible);
    float rotationAngle() const { return rotationAngle_; }
    void setRotationAngle(float angle);
    bool magnetLocation() const { return magnetLocation_; }
    void setMagnetLocation(bool magnet);

protected:
    explicit SceneObject(EnumType type);
    // Each class writes the base part first, then a group of its own.
    virtual void saveImpl(Sl::RevisionSaver& saver) const;
    virtual void loadImpl(Sl::RevisionLoader& loader);
    void notifyDeepChanged();

private:
    Scene* scene_ = nullptr;
    EnumType type_;
    Uuid id_;
    Uuid revision_;
    glm::vec3 position_ = glm::vec3(0.0f);
    bool visible_ = true;
    float rotationAngle_ = 0.0f;
    bool magnetLocation_ = false;
};

// Marks where the effect of this file stands.
class SceneCurrentParticles : public SceneObject
{
public:
    SceneCurrentParticles() : SceneObject(T_CurrentParticles) {}
    SceneCurrentParticles* castToSceneCurrentParticles() override { return this; }

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;
};

// Another effect file shown beside this one.
class SceneParticles : public SceneObject
{
public:
    SceneParticles() : SceneObject(T_Particles) {}
    SceneParticles* castToSceneParticles() override { return this; }

    const boost::filesystem::path& getPath() const { return path_; }
    void setPath(const boost::filesystem::path& path);

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    boost::filesystem::path path_;
};

// A picture file, or a plain rectangle that needs no file.
class ScenePicture : public SceneObject, public ExternalDependencyHolder
{
public:
    ScenePicture() : SceneObject(T_Picture) {}
    ScenePicture(const boost::filesystem::path& path, const glm::vec2& size);
    ScenePicture* castToScenePicture() override { return this; }

    const glm::vec2& getSize() const { return size_; }
    void setSize(const glm::vec2& size);
    const boost::filesystem::path& getPath() const { return path_; }
    void setPath(const boost::filesystem::path& path);
    bool isRectOnly() const { return rectOnly_; }
    void setRectOnly(bool rectOnly);

    size_t numExternalPictures() const override { return rectOnly_ ? 0 : 1; }
    std::string externalPicture(size_t index) const override;
    void replaceExternalPicture(size_t index, const std::string& path) override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    glm::vec2 size_ = glm::vec2(0.0f);
    boost::filesystem::path path_;
    bool rectOnly_ = false;
};

class Scene
{
public:
    using Uuid = boost::uuids::uuid;

    Scene();
    explicit Scene(Sl::RevisionLoader& loader);
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    void connectWithOwner(SceneOwner& owner) { owner_ = &owner; }
    ProjectResource* getProjectResource() const;
    const Uuid& getId() const { return id_; }
    const Uuid& getRevision() const { return revision_; }

    const glm::vec2& getViewPos() const { return viewPos_; }
    float getViewScale() const { return viewScale_; }
    bool doesGridShow() const { return showGrid_; }
    unsigned int getBackColor() const { return backColor_; }
    bool isSnapEnabled() const { return snap_; }
    bool isStatsVisible() const { return statsVisible_; }

    // View settings: they change the revision only, the file doesn't count as changed.
    void setViewPos(const glm::vec2& pos);
    void setViewScale(float scale);
    void setShowGrid(bool show);
    void enableSnap(bool enable);
    void setStatsVisible(bool visible);
    void setBackColor(unsigned int color);

    SceneObject& addObject(std::unique_ptr<SceneObject> object);
    void removeObject(const Uuid& id);
    void changeObjectIndex(unsigned int index, const boost::optional<Uuid>& after);

    unsigned int numObjects() const { return static_cast<unsigned int>(objects_.size()); }
    SceneObject* findObject(const Uuid& id) const;
    // Every object in drawing order, the pictures and the other effects in the same order.
    const OrderedIdListClient<SceneObject>& order() const { return orderClient_; }
    const OrderedIdListClient<ScenePicture>& pictures() const { return picturesClient_; }
    const OrderedIdListClient<SceneParticles>& particles() const { return particlesClient_; }

    void save(Sl::RevisionSaver& saver) const;
    void load(Sl::RevisionLoader& loader);

    // Called by the objects.
    void notifyDeepChanged(bool affectsExport);

private:
    void notifySoftChanged();
    void filterAndDispatchObjects();
    SceneObject& objectById(const Uuid& id) const;

    SceneOwner* owner_ = nullptr;
    Uuid id_;
    Uuid revision_;
    glm::vec2 viewPos_ = glm::vec2(0.0f);
    float viewScale_ = 1.0f;
    bool showGrid_ = true;
    uint32_t backColor_ = 0;
    bool snap_ = false;
    bool statsVisible_ = true;
    std::map<Uuid, std::unique_ptr<SceneObject>> objects_;
    std::vector<Uuid> order_;
    OrderedIdListClient<SceneObject> orderClient_;
    std::vector<Uuid> pictures_;
    OrderedIdListClient<ScenePicture> picturesClient_;
    std::vector<Uuid> particles_;
    OrderedIdListClient<SceneParticles> particlesClient_;
};

}  // namespace Preview2
}  // namespace Plm
