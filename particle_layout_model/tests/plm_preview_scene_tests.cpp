#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_preview_scene.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_core.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_saver_loader_manager.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace
{

using namespace Plm::Preview2;
using Uuid = boost::uuids::uuid;
using Bytes = std::vector<uint8_t>;

// Records what the scene tells its owner.
struct TestOwner : SceneOwner
{
    std::vector<bool> notes;
    Plm::ProjectResource* getProjectResource() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override { notes.push_back(affectsExport); }
};

Bytes writeWith(const std::function<void(Sl::RevisionSaver&)>& f)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        f(saver);
    }
    return flex.dataAsVector();
}

Bytes saveScene(const Scene& scene)
{
    return writeWith([&](Sl::RevisionSaver& s) { scene.save(s); });
}

std::unique_ptr<Scene> loadScene(const Bytes& bytes)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    return std::make_unique<Scene>(loader);
}

std::vector<Uuid> ids(const Plm::OrderedIdListClientBase& list) { return list.ids(); }

// A scene with one object of each kind, in the order current, picture, particles.
struct Filled
{
    Scene scene;
    TestOwner owner;
    SceneObject* current;
    ScenePicture* picture;
    SceneParticles* particles;
    Filled()
    {
        scene.connectWithOwner(owner);
        current = &scene.addObject(std::make_unique<SceneCurrentParticles>());
        picture = scene.addObject(std::make_unique<ScenePicture>("pics/bg.png", glm::vec2(4, 3)))
                      .castToScenePicture();
        particles = scene.addObject(std::make_unique<SceneParticles>()).castToSceneParticles();
        owner.notes.clear();
    }
};

TEST(PreviewScene, DefaultsOfANewScene)
{
    Scene scene;
    EXPECT_EQ(scene.getViewPos(), glm::vec2(0, 0));
    EXPECT_EQ(scene.getViewScale(), 1.0f);
    EXPECT_TRUE(scene.doesGridShow());
    EXPECT_EQ(scene.getBackColor(), 0u);
    EXPECT_FALSE(scene.isSnapEnabled());
    EXPECT_TRUE(scene.isStatsVisible());
    EXPECT_EQ(scene.numObjects(), 0u);
    EXPECT_EQ(scene.getProjectResource(), nullptr);
    EXPECT_NE(scene.getId(), scene.getRevision());

    ScenePicture picture;
    EXPECT_EQ(picture.getType(), SceneObject::T_Picture);
    EXPECT_EQ(picture.getPosition(), glm::vec3(0, 0, 0));
    EXPECT_TRUE(picture.visible());
    EXPECT_EQ(picture.rotationAngle(), 0.0f);
    EXPECT_FALSE(picture.magnetLocation());
    EXPECT_FALSE(picture.isRectOnly());
    EXPECT_EQ(SceneParticles().getType(), SceneObject::T_Particles);
    EXPECT_EQ(SceneCurrentParticles().getType(), SceneObject::T_CurrentParticles);
}

// Which changes reach the owner: view changes move the revision only, content changes tell the
// owner without affecting export, and a repeated statistics flag changes nothing.
TEST(PreviewScene, ChangesMoveTheRevisionAndNotifyOnlyForContent)
{
    struct Case
    {
        const char* name;
        std::function<void(Filled&)> change;
        bool revisionMoves;
        bool ownerHears;
    } cases[] = {
        {"view pos",
         [](Filled& f) {
             f.scene.setViewPos({3, 4});
         },
         true, false},
        {"view scale", [](Filled& f) { f.scene.setViewScale(2); }, true, false},
        {"grid", [](Filled& f) { f.scene.setShowGrid(false); }, true, false},
        {"snap", [](Filled& f) { f.scene.enableSnap(true); }, true, false},
        {"stats", [](Filled& f) { f.scene.setStatsVisible(false); }, true, false},
        {"stats same", [](Filled& f) { f.scene.setStatsVisible(true); }, false, false},
        {"back color", [](Filled& f) { f.scene.setBackColor(0xff00ff00); }, true, true},
        {"add", [](Filled& f) { f.scene.addObject(std::make_unique<ScenePicture>()); }, true, true},
        {"remove", [](Filled& f) { f.scene.removeObject(f.picture->getId()); }, true, true},
        {"reorder", [](Filled& f) { f.scene.changeObjectIndex(2, boost::none); }, true, true},
        {"position",
         [](Filled& f) {
             f.current->setPosition({1, 2, 3});
         },
         true, true},
        {"visible", [](Filled& f) { f.current->setVisible(false); }, true, true},
        {"angle", [](Filled& f) { f.current->setRotationAngle(1.5f); }, true, true},
        {"magnet", [](Filled& f) { f.current->setMagnetLocation(true); }, true, true},
        {"picture size",
         [](Filled& f) {
             f.picture->setSize({1, 1});
         },
         true, true},
        {"picture path", [](Filled& f) { f.picture->setPath("x.png"); }, true, true},
        {"rect only", [](Filled& f) { f.picture->setRectOnly(true); }, true, true},
        {"particles path", [](Filled& f) { f.particles->setPath("b.ptc"); }, true, true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        Filled f;
        const Uuid before = f.scene.getRevision();
        c.change(f);
        EXPECT_EQ(f.scene.getRevision() != before, c.revisionMoves);
        EXPECT_EQ(f.owner.notes, c.ownerHears ? std::vector<bool>{false} : std::vector<bool>{});
    }
}

TEST(PreviewScene, ObjectSetterStoresTheValueAndRenewsTheObjectRevision)
{
    Filled f;
    const Uuid before = f.particles->getRevision();
    f.particles->setPath("other.ptc");
    EXPECT_EQ(f.particles->getPath(), boost::filesystem::path("other.ptc"));
    EXPECT_NE(f.particles->getRevision(), before);
}

TEST(PreviewScene, ListsFollowAddRemoveAndReorder)
{
    Filled f;
    const Uuid c = f.current->getId(), p = f.picture->getId(), q = f.particles->getId();
    EXPECT_EQ(ids(f.scene.order()), (std::vector<Uuid>{c, p, q}));
    EXPECT_EQ(f.scene.order().size(), 3u);
    EXPECT_EQ(ids(f.scene.pictures()), std::vector<Uuid>{p});
    EXPECT_EQ(ids(f.scene.particles()), std::vector<Uuid>{q});
    EXPECT_EQ(&f.scene.pictures()[0], f.picture);

    ScenePicture& second =
        *f.scene.addObject(std::make_unique<ScenePicture>()).castToScenePicture();
    EXPECT_EQ(f.scene.pictures().size(), 2u);
    EXPECT_EQ(f.scene.order().getId(3), second.getId());

    // Move the new picture to the front, then behind the particles.
    f.scene.changeObjectIndex(3, boost::none);
    EXPECT_EQ(f.scene.order().getId(0), second.getId());
    f.scene.changeObjectIndex(0, q);
    EXPECT_EQ(f.scene.order().getIndex(second.getId()), f.scene.order().getIndex(q) + 1);

    f.scene.removeObject(p);
    EXPECT_EQ(ids(f.scene.pictures()), std::vector<Uuid>{second.getId()});
    EXPECT_FALSE(f.scene.order().findIndex(p));
    EXPECT_EQ(f.scene.findObject(p), nullptr);
    EXPECT_EQ(f.scene.numObjects(), 3u);
    f.scene.removeObject(q);
    EXPECT_TRUE(f.scene.particles().empty());
}

TEST(PreviewScene, RectanglePictureHasNoExternalPicture)
{
    ScenePicture picture("a.png", {2, 2});
    picture.setRectOnly(true);
    EXPECT_EQ(picture.numExternalPictures(), 0u);
    // A misuse is only warned about: the caller still gets the path.
    EXPECT_EQ(picture.externalPicture(0), "a.png");
    picture.setRectOnly(false);
    ASSERT_EQ(picture.numExternalPictures(), 1u);
    EXPECT_EQ(picture.externalPicture(0), "a.png");
    picture.replaceExternalPicture(0, "b.png");
    EXPECT_EQ(picture.getPath(), boost::filesystem::path("b.png"));
}

TEST(PreviewScene, RoundTripGivesEqualBytesAndEqualState)
{
    Filled f;
    f.scene.setViewPos({1.5f, -2});
    f.scene.setViewScale(0.25f);
    f.scene.setShowGrid(false);
    f.scene.setBackColor(0x80402010);
    f.scene.enableSnap(true);
    f.scene.setStatsVisible(false);
    f.current->setPosition({1, 2, 3});
    f.current->setVisible(false);
    f.current->setRotationAngle(0.5f);
    f.current->setMagnetLocation(true);
    f.picture->setRectOnly(true);
    f.particles->setPath("dir/other.ptc");
    f.scene.changeObjectIndex(0, f.particles->getId());

    const Bytes bytes = saveScene(f.scene);
    std::unique_ptr<Scene> loaded = loadScene(bytes);
    EXPECT_EQ(saveScene(*loaded), bytes);
    EXPECT_EQ(loaded->getId(), f.scene.getId());
    EXPECT_EQ(loaded->getRevision(), f.scene.getRevision());
    EXPECT_EQ(loaded->getViewPos(), glm::vec2(1.5f, -2));
    EXPECT_EQ(loaded->getViewScale(), 0.25f);
    EXPECT_FALSE(loaded->doesGridShow());
    EXPECT_EQ(loaded->getBackColor(), 0x80402010u);
    EXPECT_TRUE(loaded->isSnapEnabled());
    EXPECT_FALSE(loaded->isStatsVisible());
    EXPECT_EQ(ids(loaded->order()), ids(f.scene.order()));
    EXPECT_EQ(ids(loaded->pictures()), ids(f.scene.pictures()));
    EXPECT_EQ(ids(loaded->particles()), ids(f.scene.particles()));
    const SceneObject& current = *loaded->findObject(f.current->getId());
    EXPECT_EQ(current.getType(), SceneObject::T_CurrentParticles);
    EXPECT_EQ(current.getPosition(), glm::vec3(1, 2, 3));
    EXPECT_FALSE(current.visible());
    EXPECT_EQ(current.rotationAngle(), 0.5f);
    EXPECT_TRUE(current.magnetLocation());
    EXPECT_TRUE(loaded->pictures()[0].isRectOnly());
    EXPECT_EQ(loaded->pictures()[0].getSize(), glm::vec2(4, 3));
    EXPECT_EQ(loaded->particles()[0].getPath(), boost::filesystem::path("dir/other.ptc"));

    // A loaded object reports its changes to the loaded scene.
    TestOwner owner;
    loaded->connectWithOwner(owner);
    loaded->findObject(f.current->getId())->setVisible(true);
    EXPECT_EQ(owner.notes, std::vector<bool>{false});
}

// An object as a writer of the given version laid it out.
struct ObjectRecord
{
    uint8_t type = SceneObject::T_Picture;
    uint32_t version = 3;
    Uuid id = BoostExt::generateUuid();
    glm::vec3 position{1, 2, 3};
    bool visible = false;
    float angle = 0.75f;
    bool magnet = true;
};

void writeObject(Sl::RevisionSaver& s, const ObjectRecord& o)
{
    Sl::ScopedSaverGroup factory("scene_object_factory", s, 0);
    s.write("type", o.type);
    Sl::write("id", s, o.id);
    Sl::write("revision", s, BoostExt::generateUuid());
    {
        Sl::ScopedSaverGroup base("scene_object", s, o.version);
        Sl::write("position", s, o.position);
        if (o.version >= 1)
            s.write(nullptr, o.visible);
        if (o.version >= 2)
            s.write(nullptr, o.angle);
        if (o.version >= 3)
            s.write(nullptr, o.magnet);
    }
    Sl::ScopedSaverGroup own(s, 0);
    if (o.type == SceneObject::T_Picture)
    {
        Sl::write("size", s, glm::vec2(5, 6));
        Sl::write("path", s, boost::filesystem::path("p.png"));
        s.write("rect_only", false);
    }
    else if (o.type == SceneObject::T_Particles)
        Sl::write("path", s, boost::filesystem::path("q.ptc"));
}

// A scene as a writer of the given version laid it out; `stats` is written from version 1.
Bytes writeSceneRecord(uint32_t version, bool stats, const std::vector<ObjectRecord>& objects,
                       std::vector<Uuid> order)
{
    return writeWith(
        [&](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group("p2scene", s, version);
            Sl::write("id", s, BoostExt::generateUuid());
            Sl::write("rev", s, BoostExt::generateUuid());
            Sl::write("view_pos", s, glm::vec2(7, 8));
            s.write("view_scale", 3.0f);
            s.write("show_grid", false);
            s.write("back_color", uint32_t(0x123456), Sl::PH_Packed);
            s.write("snap", true);
            if (version < 2)
                s.write(nullptr, true);  // the flag that is skipped
            if (version >= 1)
                s.write(nullptr, stats);
            {
                Sl::ScopedSaverGroup g("objects", s, 0);
                s.write("num_objects", static_cast<uint32_t>(objects.size()), Sl::PH_Packed);
                for (const ObjectRecord& o : objects)
                    writeObject(s, o);
            }
            Sl::ScopedSaverGroup g("order", s, 0);
            s.write("num_items", static_cast<uint32_t>(order.size()), Sl::PH_Packed);
            for (const Uuid& id : order)
                Sl::write(nullptr, s, id);
        });
}

TEST(PreviewScene, OldSceneVersionsReadTheStatisticsFlag)
{
    struct Case
    {
        uint32_t version;
        bool written;
        bool expected;
    } cases[] = {
        {0, false, true}, {1, false, false}, {1, true, true}, {2, false, false}, {2, true, true}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.version);
        std::unique_ptr<Scene> scene = loadScene(writeSceneRecord(c.version, c.written, {}, {}));
        EXPECT_EQ(scene->isStatsVisible(), c.expected);
        EXPECT_TRUE(scene->isSnapEnabled());
        EXPECT_EQ(scene->getBackColor(), 0x123456u);
        EXPECT_EQ(scene->getViewScale(), 3.0f);
    }
}

TEST(PreviewScene, OldObjectVersionsKeepTheDefaultsOfLaterFields)
{
    struct Case
    {
        uint32_t version;
        bool visible;
        float angle;
        bool magnet;
    } cases[] = {{0, true, 0.0f, false},
                 {1, false, 0.0f, false},
                 {2, false, 0.75f, false},
                 {3, false, 0.75f, true}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.version);
        ObjectRecord o;
        o.version = c.version;
        std::unique_ptr<Scene> scene = loadScene(writeSceneRecord(2, true, {o}, {o.id}));
        const SceneObject& object = *scene->findObject(o.id);
        EXPECT_EQ(object.getPosition(), glm::vec3(1, 2, 3));
        EXPECT_EQ(object.visible(), c.visible);
        EXPECT_EQ(object.rotationAngle(), c.angle);
        EXPECT_EQ(object.magnetLocation(), c.magnet);
        EXPECT_EQ(scene->pictures()[0].getSize(), glm::vec2(5, 6));
    }
}

TEST(PreviewScene, LoadRepairsTheOrderAndDerivesTheLists)
{
    ObjectRecord a, b, c;
    b.type = SceneObject::T_Particles;
    c.type = SceneObject::T_CurrentParticles;
    // The order names an unknown id and misses `a`.
    const Uuid stranger = BoostExt::generateUuid();
    std::unique_ptr<Scene> scene =
        loadScene(writeSceneRecord(2, true, {a, b, c}, {c.id, stranger, b.id}));
    EXPECT_EQ(ids(scene->order()), (std::vector<Uuid>{c.id, b.id, a.id}));
    EXPECT_EQ(ids(scene->pictures()), std::vector<Uuid>{a.id});
    EXPECT_EQ(ids(scene->particles()), std::vector<Uuid>{b.id});
}

TEST(PreviewScene, BrokenInputRaisesOnlySlExceptions)
{
    ObjectRecord wrongType;
    wrongType.type = 3;
    ObjectRecord a;
    EXPECT_THROW(loadScene(writeSceneRecord(2, true, {wrongType}, {})), Sl::CorruptedDataException);
    EXPECT_THROW(loadScene(writeSceneRecord(2, true, {a, a}, {})), Sl::CorruptedDataException);
    EXPECT_THROW(loadScene(writeSceneRecord(3, true, {}, {})), Sl::OldLoaderVersionException);
    ObjectRecord newer;
    newer.version = 4;
    EXPECT_THROW(loadScene(writeSceneRecord(2, true, {newer}, {})), Sl::OldLoaderVersionException);
    // A count far beyond the data.
    const Bytes huge = writeWith(
        [](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group("p2scene", s, 2);
            Sl::write("id", s, BoostExt::generateUuid());
            Sl::write("rev", s, BoostExt::generateUuid());
            Sl::write("view_pos", s, glm::vec2(0, 0));
            s.write("view_scale", 1.0f);
            s.write("show_grid", true);
            s.write("back_color", uint32_t(0), Sl::PH_Packed);
            s.write("snap", false);
            s.write(nullptr, true);
            Sl::ScopedSaverGroup g("objects", s, 0);
            s.write("num_objects", uint32_t(0xFFFFFFF0), Sl::PH_Packed);
        });
    EXPECT_THROW(loadScene(huge), Sl::Exception);
}

TEST(PreviewScene, EveryTruncationRaisesAnSlException)
{
    Filled f;
    f.scene.addObject(std::make_unique<ScenePicture>("x.png", glm::vec2(1, 1)));
    const Bytes bytes = saveScene(f.scene);
    for (size_t n = 0; n < bytes.size(); ++n)
    {
        SCOPED_TRACE(n);
        const Bytes cut(bytes.begin(), bytes.begin() + n);
        EXPECT_THROW(loadScene(cut), Sl::Exception);
    }
}

TEST(PreviewScene, FailedLoadLeavesTheSceneAsItWas)
{
    Filled f;
    const Bytes bytes = saveScene(f.scene);
    ObjectRecord wrongType;
    wrongType.type = 7;
    const Bytes broken = writeSceneRecord(2, false, {wrongType}, {});
    Sl::LoaderBinArray array(broken.data(), static_cast<uint32_t>(broken.size()));
    Sl::RevisionLoader loader(nullptr, array);
    EXPECT_THROW(f.scene.load(loader), Sl::CorruptedDataException);
    EXPECT_EQ(saveScene(f.scene), bytes);
}

// The undo store keeps one state per scene revision: an unchanged scene is stored once.
TEST(PreviewScene, UnchangedSceneIsStoredOnceInTheUndoHistory)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core{manager};
    Filled f;
    auto picture = [&]
    {
        std::shared_ptr<Sl::RevisionSaver> saver = core.createRevision();
        f.scene.save(*saver);
    };
    picture();
    const size_t states = core.numResourceStates();
    picture();
    EXPECT_EQ(core.numResourceStates(), states);
    f.scene.setViewPos({1, 1});
    picture();
    EXPECT_GT(core.numResourceStates(), states);

    // Undo reads the earlier picture back.
    std::shared_ptr<Sl::RevisionLoader> loader = core.undo();
    ASSERT_TRUE(loader);
    Scene restored(*loader);
    EXPECT_EQ(restored.getViewPos(), glm::vec2(0, 0));
    EXPECT_EQ(restored.numObjects(), 3u);
}

}  // namespace
