#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <glm/vec2.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_preview_scene.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_std.h"
#include "plm_test_support/plm_temp_dir.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using Bytes = std::vector<uint8_t>;
using Handler = std::shared_ptr<ProjectResourceHandler>;
using PlmTest::readBytes;
using PlmTest::writeBytes;

struct EffectFile : ::testing::Test
{
    PlmTest::TempDir dir;
    boost::filesystem::path file = dir / "fire.sxed";

    Handler createNew()
    {
        return ProjectResourceHandler::createNewStandalone(
            file, std::make_unique<ProjectResourceSystem>(Generation::simpleSystem()));
    }
    static ProjectResourceSystem& effect(const Handler& handler)
    {
        return handler->getLoadedResource().castToSystemResourceChecked();
    }
    static Emitter& emitter(const Handler& handler)
    {
        return effect(handler).getResource().getEmitter(0);
    }
    static BlockConstruct& constructOf(Emitter& e)
    {
        for (Block& block : e.allBlocks())
            if (auto* construct = dynamic_cast<BlockConstruct*>(&block))
                return *construct;
        throw std::logic_error("no constructor");
    }
};

// The bytes of a file read back by hand, in the order and with the versions it must have.
TEST_F(EffectFile, LayoutOfTheFile)
{
    Handler handler = createNew();
    constructOf(emitter(handler)).setTexture(std::string("fx/flame.png"));
    effect(handler).getPreview().addObject(
        std::make_unique<Preview2::ScenePicture>("pics/bg.png", glm::vec2(4, 3)));
    const uint8_t view[] = {7, 8, 9};
    handler->getLoadedResource().setViewData(view, sizeof view);
    ASSERT_TRUE(handler->doesLoadedResourceNeedSave());
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());

    const Bytes bytes = readBytes(file);
    EXPECT_EQ(bytes, handler->saveLoadedResourceToBuffer());
    Sl::LoaderBinArray in(bytes.data(), static_cast<uint32_t>(bytes.size()));
    EXPECT_TRUE(in.hasTypeTags());
    uint32_t magic = 0;
    in.read(magic, Sl::PH_Packed);
    EXPECT_EQ(magic, 0xABCDEF33u);
    {
        EXPECT_EQ(in.startGroup(9), 0u);  // "res_handler"
        boost::uuids::uuid id, revision, exportRevision;
        uint8_t type = 0;
        Sl::read(in, id);
        in.read(type);
        Sl::read(in, revision);
        Sl::read(in, exportRevision);
        EXPECT_EQ(id, handler->getId());
        EXPECT_EQ(id, effect(handler).getResource().getId());
        EXPECT_EQ(type, PRT_System);
        EXPECT_EQ(revision, handler->getRevision());
        EXPECT_EQ(exportRevision, handler->getExportRevision());
        EXPECT_EQ(in.startGroup(9), 2u);  // "externals"
        uint32_t count = 9;
        in.read(count, Sl::PH_Packed);
        EXPECT_EQ(count, 0u);
        for (const char* expected : {"fx/flame.png", "pics/bg.png"})
        {
            EXPECT_EQ(in.startGroup(9), 0u);
            in.read(count, Sl::PH_Packed);
            ASSERT_EQ(count, 1u);
            boost::filesystem::path item;
            Sl::read(in, item);
            EXPECT_EQ(item, expected);
            in.endGroup();
        }
        in.endGroup();
        in.endGroup();
    }
    EXPECT_EQ(in.startGroup(9), 0u);  // "resource"
    uint32_t type = 0;
    in.read(type, Sl::PH_Packed);
    EXPECT_EQ(type, 2u);
    EXPECT_EQ(in.startGroup(9), 0u);  // "proj_resource"
    boost::uuids::uuid id;
    Sl::read(in, id);
    EXPECT_EQ(id, handler->getId());
    Bytes viewData(in.readBinarySize());
    in.readBinaryData(viewData.data());
    EXPECT_EQ(viewData, Bytes(view, view + sizeof view));
    in.endGroup();
    EXPECT_EQ(in.startGroup(9), 1u);  // "proj_res_system"
    in.skipGroup();                   // the effect
    in.skipGroup();                   // the scene
    std::string comment = "?", videoUrl = "?";
    Sl::read(in, comment);
    Sl::read(in, videoUrl);
    EXPECT_EQ(comment, "");
    EXPECT_EQ(videoUrl, "");
    in.endGroup();
    in.endGroup();
    EXPECT_EQ(in.maxDataLeft(), 0u);
}

TEST_F(EffectFile, RevisionsAndTheHeadAlone)
{
    Handler handler = createNew();
    EXPECT_FALSE(handler->doesLoadedResourceNeedSave());
    EXPECT_TRUE(boost::filesystem::exists(file));
    EXPECT_THROW(createNew(), ProjectResourceHandler::Exception);

    // Which changes reach the export revision.
    struct Change
    {
        const char* what;
        std::function<void(ProjectResourceSystem&)> apply;
        bool revision;
        bool exportRevision;
    };
    const Change changes[] = {
        {"emitter name", [](auto& r) { r.getResource().getEmitter(0).setName("x"); }, true, false},
        {"emitter enabled", [](auto& r) { r.getResource().getEmitter(0).setEnabled(false); }, true,
         true},
        {"comment", [](auto& r) { r.setComment("hot"); }, true, false},
        {"same comment", [](auto& r) { r.setComment("hot"); }, false, false},
        {"video url", [](auto& r) { r.setVideoUrl("https://example.org/v"); }, true, false},
        {"fps", [](auto& r) { r.getResource().setFps(60.0f); }, true, true},
        {"background", [](auto& r) { r.getPreview().setBackColor(0x202020); }, true, false},
        {"panning", [](auto& r) { r.getPreview().setViewPos(glm::vec2(3, 4)); }, false, false},
    };
    for (const Change& change : changes)
    {
        SCOPED_TRACE(change.what);
        const auto revision = handler->getRevision();
        const auto exportRevision = handler->getExportRevision();
        change.apply(effect(handler));
        EXPECT_EQ(handler->getRevision() != revision, change.revision);
        EXPECT_EQ(handler->getExportRevision() != exportRevision, change.exportRevision);
    }
    EXPECT_TRUE(handler->doesLoadedResourceNeedSave());
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());

    Handler reopened = ProjectResourceHandler::openStandalone(file);
    EXPECT_FALSE(reopened->isLoaded());
    EXPECT_EQ(reopened->getName(), "fire");
    EXPECT_EQ(reopened->getId(), handler->getId());
    EXPECT_EQ(reopened->getRevision(), handler->getRevision());
    EXPECT_EQ(reopened->getExportRevision(), handler->getExportRevision());
    EXPECT_FALSE(reopened->wasFileChangedOutside());
    ASSERT_TRUE(reopened->load());
    EXPECT_FALSE(reopened->doesLoadedResourceNeedSave());
    EXPECT_EQ(effect(reopened).getComment(), "hot");
    EXPECT_EQ(effect(reopened).getVideoUrl(), "https://example.org/v");
    EXPECT_EQ(emitter(reopened).getName(), "x");
    EXPECT_FALSE(emitter(reopened).isEnabled());
    EXPECT_EQ(effect(reopened).getPreview().getBackColor(), 0x202020u);
    EXPECT_EQ(reopened->saveLoadedResourceToBuffer(), readBytes(file));
}

TEST_F(EffectFile, DependenciesAreListedOnce)
{
    Handler handler = createNew();
    Emitter& e = emitter(handler);
    constructOf(e).setTexture(std::string("fx/spark.png"));
    auto& second =
        static_cast<BlockConstruct&>(e.addBlock(PlmTest::createByName("construct_quads")));
    second.setTexture(std::string("fx/spark.png"));
    const std::set<boost::filesystem::path> expected = {"fx/spark.png"};
    EXPECT_EQ(handler->externalDependencies().textures, expected);
    EXPECT_EQ(handler->getNumExternalSources(), 0u);
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());
    EXPECT_EQ(ProjectResourceHandler::openStandalone(file)->externalDependencies().textures,
              expected);
}

TEST_F(EffectFile, UndoKeepsTheViewOneStepBehind)
{
    Handler handler = createNew();
    ProjectResource& resource = handler->getLoadedResource();
    EXPECT_FALSE(resource.hasUndoRevisions());
    EXPECT_TRUE(resource.getUndoDataWithCurrentRevisionOnly().empty());
    auto step = [&](uint8_t view, const char* name)
    {
        resource.setViewData(&view, 1);
        if (name)
            emitter(handler).setName(name);
        resource.createUndoRevision();
    };
    auto view = [&] { return (*resource.getViewData())[0]; };
    step(1, nullptr);  // the saved state
    step(2, "b");
    step(3, "c");
    EXPECT_TRUE(handler->doesLoadedResourceNeedSave());

    resource.undo();
    EXPECT_EQ(emitter(handler).getName(), "b");
    EXPECT_EQ(view(), 3);  // the view stays as the user has it
    resource.undo();
    EXPECT_EQ(emitter(handler).getName(), "DefaultEmitter");
    EXPECT_EQ(view(), 2);  // the view of the step before
    EXPECT_FALSE(resource.isUndoPossible());
    EXPECT_FALSE(handler->doesLoadedResourceNeedSave());
    resource.redo();
    EXPECT_EQ(emitter(handler).getName(), "b");
    EXPECT_EQ(view(), 2);
    EXPECT_TRUE(handler->doesLoadedResourceNeedSave());
    resource.redo();
    EXPECT_EQ(emitter(handler).getName(), "c");
    EXPECT_EQ(view(), 3);
    EXPECT_FALSE(resource.isRedoPossible());
}

TEST_F(EffectFile, AutoSaveHoldsThePresentStateUntilSaved)
{
    Handler handler = createNew();
    ProjectResource& resource = handler->getLoadedResource();
    resource.createUndoRevision();
    handler->autoSaveUndoStackIfPossible();  // nothing to keep: the file has it all
    EXPECT_FALSE(boost::filesystem::exists(handler->getAutoSavePath()));

    emitter(handler).setName("edited");
    resource.createUndoRevision();
    handler->autoSaveUndoStackIfPossible();
    ASSERT_TRUE(boost::filesystem::exists(handler->getAutoSavePath()));
    EXPECT_EQ(handler->getAutoSavePath(), dir / "fire.autosave");
    const Bytes autoSave = readBytes(handler->getAutoSavePath());
    EXPECT_EQ(autoSave, resource.getUndoDataWithCurrentRevisionOnly());

    // Recovery on top of the file as it stands on disk.
    Handler other = ProjectResourceHandler::openStandalone(file);
    ASSERT_TRUE(other->load());
    other->getLoadedResource().setUndoData(autoSave);
    EXPECT_EQ(emitter(other).getName(), "edited");
    EXPECT_TRUE(other->doesLoadedResourceNeedSave());
    EXPECT_FALSE(other->getLoadedResource().hasUndoRevisions());

    // An auto-save that can't be read leaves the resource as it was.
    Handler third = ProjectResourceHandler::openStandalone(file);
    ASSERT_TRUE(third->load());
    EXPECT_THROW(
        third->getLoadedResource().setUndoData(Bytes(autoSave.begin(), autoSave.begin() + 20)),
        Sl::Exception);

    ASSERT_TRUE(handler->saveUnsavedLoadedResource());
    EXPECT_FALSE(boost::filesystem::exists(handler->getAutoSavePath()));
}

Bytes newerHead()
{
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_On);
    out.write(nullptr, ProjectResourceHandler::kMagic, Sl::PH_Packed);
    Sl::ScopedSaverGroup group("res_handler", out, 1);
    out.write("id", uint8_t(0));
    return out.dataAsVector();
}

// A damaged, cut or newer file is refused with its error; the handler stays usable and the
// file on disk isn't touched.
TEST_F(EffectFile, DamagedFilesGiveLoadErrors)
{
    Handler handler = createNew();
    emitter(handler).setName("kept");
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());
    const Bytes good = readBytes(file);
    Handler reader = ProjectResourceHandler::openStandalone(file);

    const Bytes wrongMagic = {0x11, 0x22, 0x33, 0x44};
    const Bytes cut(good.begin(), good.begin() + good.size() / 2);
    struct Case
    {
        const char* what;
        Bytes bytes;
        EnumResourceLoadError error;
    };
    const Case cases[] = {
        {"wrong magic", wrongMagic, RLE_Corrupted},
        {"cut in half", cut, RLE_Corrupted},
        {"empty", Bytes(), RLE_Corrupted},
        {"newer head", newerHead(), RLE_OldEditor},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        writeBytes(file, c.bytes);
        EXPECT_FALSE(reader->load());
        ASSERT_TRUE(reader->loadError());
        EXPECT_EQ(*reader->loadError(), c.error);
        EXPECT_FALSE(reader->isLoaded());
        EXPECT_EQ(readBytes(file), c.bytes);
        if (c.what != std::string("cut in half"))
        {
            try
            {
                ProjectResourceHandler::openStandalone(file);
                ADD_FAILURE() << "the head was taken";
            }
            catch (const Sl::Exception& error)
            {
                EXPECT_EQ(ProjectResourceHandler::loadErrorOf(error), c.error);
            }
        }
        writeBytes(file, good);
        EXPECT_TRUE(reader->load());
        EXPECT_FALSE(reader->loadError());
        EXPECT_EQ(emitter(reader).getName(), "kept");
        reader->unloadLoadedResource();
    }
    EXPECT_STREQ(resourceLoadErrorText(RLE_Corrupted), "File is corrupted");
    EXPECT_STREQ(resourceLoadErrorText(RLE_OldEditor),
                 "Resource is created with newer version of the editor");
    EXPECT_THROW(ProjectResourceHandler::openStandalone(dir / "missing.sxed"),
                 ProjectResourceHandler::Exception);
}

TEST_F(EffectFile, ChangesOnDisk)
{
    Handler handler = createNew();
    Handler reader = ProjectResourceHandler::openStandalone(file);
    EXPECT_FALSE(reader->wasFileChangedOutside());
    emitter(handler).setName("renamed");
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());
    // Write times have a resolution of a second: make the change visible.
    boost::filesystem::last_write_time(file, boost::filesystem::last_write_time(file) + 5);
    EXPECT_TRUE(reader->wasFileChangedOutside());
    reader->updateFromFile();
    EXPECT_FALSE(reader->wasFileChangedOutside());
    EXPECT_EQ(reader->getRevision(), handler->getRevision());
    EXPECT_FALSE(reader->isLoaded());

    // A loaded file reads its content again, and its auto-save goes.
    ASSERT_TRUE(reader->load());
    emitter(reader).setName("local");
    reader->getLoadedResource().createUndoRevision();
    reader->autoSaveUndoStackIfPossible();
    ASSERT_TRUE(boost::filesystem::exists(reader->getAutoSavePath()));
    reader->updateFromFile();
    EXPECT_EQ(emitter(reader).getName(), "renamed");
    EXPECT_FALSE(boost::filesystem::exists(reader->getAutoSavePath()));

    EXPECT_TRUE(reader->forceResaveLoadedResource());
    reader->unloadSavedLoadedResource();
    EXPECT_TRUE(reader->forceResaveLoadedResource());
    EXPECT_FALSE(reader->isLoaded());
}

}  // namespace
