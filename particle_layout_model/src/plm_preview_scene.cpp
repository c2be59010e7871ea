#include "particle_layout_model/plm_preview_scene.h"

#include <utility>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Preview2
{

namespace
{

// The state of a resource in the stream; a missing one is a broken file, not a broken program.
std::shared_ptr<Sl::RevisionLoader> beginLoad(Sl::RevisionLoader& loader,
                                              const boost::uuids::uuid& id,
                                              const boost::uuids::uuid& revision)
{
    std::shared_ptr<Sl::RevisionLoader> loaderInner = loader.beginLoadResource(id, revision);
    if (!loaderInner.get())
        throw Sl::CorruptedDataException();
    return loaderInner;
}

// A count read from a file: every element takes at least one byte.
void checkCount(const Sl::Loader& loader, uint32_t count)
{
    if (count > loader.maxDataLeft())
        throw Sl::CorruptedDataException();
}

}  // namespace

// ---- SceneObject

SceneObject::SceneObject(EnumType type)
    : type_(type), id_(BoostExt::generateUuid()), revision_(BoostExt::generateUuid())
{
}

SceneObject::~SceneObject() = default;

void SceneObject::notifyDeepChanged()
{
    revision_ = BoostExt::generateUuid();
    if (scene_)
        scene_->notifyDeepChanged(false);
}

void SceneObject::setPosition(const glm::vec3& position)
{
    position_ = position;
    notifyDeepChanged();
}

void SceneObject::setVisible(bool visible)
{
    visible_ = visible;
    notifyDeepChanged();
}

void SceneObject::setRotationAngle(float angle)
{
    rotationAngle_ = angle;
    notifyDeepChanged();
}

void SceneObject::setMagnetLocation(bool magnet)
{
    magnetLocation_ = magnet;
    notifyDeepChanged();
}

void SceneObject::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("scene_object_factory", saver, 0);
    saver.write("type", static_cast<uint8_t>(type_));
    Sl::write("id", saver, id_);
    Sl::write("revision", saver, revision_);
    if (std::shared_ptr<Sl::RevisionSaver> inner = saver.beginSaveResource(id_, revision_))
        saveImpl(*inner);
}

std::unique_ptr<SceneObject> SceneObject::createFromLoader(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    uint8_t type = 0;
    loader.read(type);
    Uuid id, revision;
    Sl::read(loader, id);
    Sl::read(loader, revision);
    std::shared_ptr<Sl::RevisionLoader> inner = beginLoad(loader, id, revision);

    std::unique_ptr<SceneObject> object;
    switch (type)
    {
    case T_Picture:
        object = std::make_unique<ScenePicture>();
        break;
    case T_Particles:
        object = std::make_unique<SceneParticles>();
        break;
    case T_CurrentParticles:
        object = std::make_unique<SceneCurrentParticles>();
        break;
    default:
        throw Sl::CorruptedDataException();
    }
    object->id_ = id;
    object->revision_ = revision;
    object->loadImpl(*inner);
    return object;
}

void SceneObject::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("scene_object", saver, 3);
    Sl::write("position", saver, position_);
    saver.write(nullptr, visible_);
    saver.write(nullptr, rotationAngle_);
    saver.write(nullptr, magnetLocation_);
}

void SceneObject::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 3);
    const uint32_t version = group.version();
    Sl::read(loader, position_);
    // Each version added one field at the end; older files keep the defaults.
    visible_ = true;
    rotationAngle_ = 0.0f;
    magnetLocation_ = false;
    if (version >= 1)
        loader.read(visible_);
    if (version >= 2)
        loader.read(rotationAngle_);
    if (version >= 3)
        loader.read(magnetLocation_);
}

// ---- SceneCurrentParticles

void SceneCurrentParticles::saveImpl(Sl::RevisionSaver& saver) const
{
    SceneObject::saveImpl(saver);
    Sl::ScopedSaverGroup group("current_particles", saver, 0);
}

void SceneCurrentParticles::loadImpl(Sl::RevisionLoader& loader)
{
    SceneObject::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
}

// ---- SceneParticles

void SceneParticles::setPath(const boost::filesystem::path& path)
{
    path_ = path;
    notifyDeepChanged();
}

void SceneParticles::saveImpl(Sl::RevisionSaver& saver) const
{
    SceneObject::saveImpl(saver);
    Sl::ScopedSaverGroup group("particles", saver, 0);
    Sl::write("path", saver, path_);
}

void SceneParticles::loadImpl(Sl::RevisionLoader& loader)
{
    SceneObject::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, path_);
}

// ---- ScenePicture

ScenePicture::ScenePicture(const boost::filesystem::path& path, const glm::vec2& size)
    : SceneObject(T_Picture), size_(size), path_(path)
{
}

void ScenePicture::setSize(const glm::vec2& size)
{
    size_ = size;
    notifyDeepChanged();
}

void ScenePicture::setPath(const boost::filesystem::path& path)
{
    path_ = path;
    notifyDeepChanged();
}

void ScenePicture::setRectOnly(bool rectOnly)
{
    rectOnly_ = rectOnly;
    notifyDeepChanged();
}

std::string ScenePicture::externalPicture(size_t index) const
{
    DEBUG_EXPECT(numExternalPictures() > 0);
    DEBUG_EXPECT(index == 0);
    return path_.string();
}

void ScenePicture::replaceExternalPicture(size_t index, const std::string& path)
{
    DEBUG_EXPECT(numExternalPictures() > 0);
    DEBUG_EXPECT(index == 0);
    setPath(path);
}

void ScenePicture::saveImpl(Sl::RevisionSaver& saver) const
{
    SceneObject::saveImpl(saver);
    Sl::ScopedSaverGroup group("picture", saver, 0);
    Sl::write("size", saver, size_);
    Sl::write("path", saver, path_);
    saver.write("rect_only", rectOnly_);
}

void ScenePicture::loadImpl(Sl::RevisionLoader& loader)
{
    SceneObject::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, size_);
    Sl::read(loader, path_);
    loader.read(rectOnly_);
}

// ---- Scene

Scene::Scene()
    : id_(BoostExt::generateUuid()),
      revision_(BoostExt::generateUuid()),
      orderClient_(order_, [this](const Uuid& id) -> SceneObject& { return objectById(id); }),
      picturesClient_(pictures_,
                      [this](const Uuid& id) -> ScenePicture&
                      { return *objectById(id).castToScenePicture(); }),
      particlesClient_(particles_,
                       [this](const Uuid& id) -> SceneParticles&
                       { return *objectById(id).castToSceneParticles(); })
{
}

Scene::Scene(Sl::RevisionLoader& loader) : Scene() { load(loader); }

Scene::~Scene() = default;

ProjectResource* Scene::getProjectResource() const
{
    return owner_ ? owner_->getProjectResource() : nullptr;
}

SceneObject& Scene::objectById(const Uuid& id) const
{
    auto it = objects_.find(id);
    DEBUG_ASSERT(it != objects_.end());
    return *it->second;
}

SceneObject* Scene::findObject(const Uuid& id) const
{
    auto it = objects_.find(id);
    return it == objects_.end() ? nullptr : it->second.get();
}

void Scene::notifySoftChanged() { revision_ = BoostExt::generateUuid(); }

void Scene::notifyDeepChanged(bool affectsExport)
{
    notifySoftChanged();
    if (owner_)
        owner_->notifyDeepChanged(affectsExport);
}

void Scene::setViewPos(const glm::vec2& pos)
{
    viewPos_ = pos;
    notifySoftChanged();
}

void Scene::setViewScale(float scale)
{
    viewScale_ = scale;
    notifySoftChanged();
}

void Scene::setShowGrid(bool show)
{
    showGrid_ = show;
    notifySoftChanged();
}

void Scene::enableSnap(bool enable)
{
    snap_ = enable;
    notifySoftChanged();
}

void Scene::setStatsVisible(bool visible)
{
    if (statsVisible_ == visible)
        return;
    statsVisible_ = visible;
    notifySoftChanged();
}

void Scene::setBackColor(unsigned int color)
{
    backColor_ = color;
    notifyDeepChanged(false);
}

SceneObject& Scene::addObject(std::unique_ptr<SceneObject> object)
{
    DEBUG_ASSERT(object);
    SceneObject& added = *object;
    const bool inserted = objects_.emplace(added.getId(), std::move(object)).second;
    DEBUG_ASSERT(inserted);
    filterAndDispatchObjects();
    added.connectWithScene(*this);
    notifyDeepChanged(false);
    return added;
}

void Scene::removeObject(const Uuid& id)
{
    auto it = objects_.find(id);
    DEBUG_ASSERT(it != objects_.end());
    objects_.erase(it);
    filterAndDispatchObjects();
    notifyDeepChanged(false);
}

void Scene::changeObjectIndex(unsigned int index, const boost::optional<Uuid>& after)
{
    orderClient_.changeItemIndexAfter(index, after);
    notifyDeepChanged(false);
}

void Scene::filterAndDispatchObjects()
{
    auto dispatch =
        [this](OrderedIdListClientBase& list, const std::function<bool(SceneObject&)>& predicate)
    {
        list.syncRemove(
            [&](const Uuid& id)
            {
                auto it = objects_.find(id);
                return it != objects_.end() && predicate(*it->second);
            });
        for (const auto& entry : objects_)
            if (predicate(*entry.second))
                list.syncAdd(entry.first);
    };
    dispatch(orderClient_, [](SceneObject&) { return true; });
    dispatch(picturesClient_, [](SceneObject& o) { return o.castToScenePicture() != nullptr; });
    dispatch(particlesClient_, [](SceneObject& o) { return o.castToSceneParticles() != nullptr; });
}

void Scene::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("p2scene", saver, 2);
    Sl::write("id", saver, id_);
    Sl::write("rev", saver, revision_);
    std::shared_ptr<Sl::RevisionSaver> inner = saver.beginSaveResource(id_, revision_);
    if (!inner)
        return;
    Sl::RevisionSaver& out = *inner;
    Sl::write("view_pos", out, viewPos_);
    out.write("view_scale", viewScale_);
    out.write("show_grid", showGrid_);
    out.write("back_color", backColor_, Sl::PH_Packed);
    out.write("snap", snap_);
    out.write(nullptr, statsVisible_);
    {
        Sl::ScopedSaverGroup objects("objects", out, 0);
        out.write("num_objects", static_cast<uint32_t>(objects_.size()), Sl::PH_Packed);
        for (const auto& entry : objects_)
            entry.second->save(out);
    }
    {
        Sl::ScopedSaverGroup order("order", out, 0);
        out.write("num_items", static_cast<uint32_t>(order_.size()), Sl::PH_Packed);
        for (const Uuid& id : order_)
            Sl::write(nullptr, out, id);
    }
}

void Scene::load(Sl::RevisionLoader& loader)
{
    // Everything is read into locals first: a broken stream leaves the scene as it was.
    Sl::ScopedLoaderGroup group(loader, 2);
    const uint32_t version = group.version();
    Uuid id, revision;
    Sl::read(loader, id);
    Sl::read(loader, revision);
    std::shared_ptr<Sl::RevisionLoader> inner = beginLoad(loader, id, revision);
    Sl::RevisionLoader& in = *inner;

    glm::vec2 viewPos;
    float viewScale = 1.0f;
    bool showGrid = true, snap = false, statsVisible = true;
    uint32_t backColor = 0;
    Sl::read(in, viewPos);
    in.read(viewScale);
    in.read(showGrid);
    in.read(backColor, Sl::PH_Packed);
    in.read(snap);
    // Older files kept a flag that is no longer used behind the snap.
    if (version < 2)
        in.skipBool();
    if (version >= 1)
        in.read(statsVisible);

    std::map<Uuid, std::unique_ptr<SceneObject>> objects;
    {
        Sl::ScopedLoaderGroup objectsGroup(in, 0);
        uint32_t count = 0;
        in.read(count, Sl::PH_Packed);
        checkCount(in, count);
        for (uint32_t i = 0; i < count; ++i)
        {
            std::unique_ptr<SceneObject> object = SceneObject::createFromLoader(in);
            const Uuid objectId = object->getId();
            if (!objects.emplace(objectId, std::move(object)).second)
                throw Sl::CorruptedDataException();
        }
    }
    std::vector<Uuid> order;
    {
        Sl::ScopedLoaderGroup orderGroup(in, 0);
        uint32_t count = 0;
        in.read(count, Sl::PH_Packed);
        checkCount(in, count);
        order.reserve(count);
        for (uint32_t i = 0; i < count; ++i)
        {
            Uuid item;
            Sl::read(in, item);
            order.push_back(item);
        }
    }

    id_ = id;
    revision_ = revision;
    viewPos_ = viewPos;
    viewScale_ = viewScale;
    showGrid_ = showGrid;
    backColor_ = backColor;
    snap_ = snap;
    statsVisible_ = statsVisible;
    objects_ = std::move(objects);
    for (auto& entry : objects_)
        entry.second->connectWithScene(*this);
    order_ = std::move(order);
    pictures_.clear();
    particles_.clear();
    filterAndDispatchObjects();
}

}  // namespace Preview2
}  // namespace Plm
