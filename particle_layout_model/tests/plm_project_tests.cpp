#include <algorithm>
#include <cstring>
#include <ctime>
#include <functional>
#include <ostream>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_path.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "plm_test_support/plm_temp_dir.h"

namespace
{

using namespace Plm;
namespace bfs = boost::filesystem;
using Bytes = std::vector<uint8_t>;
using PlmTest::readBytes;
using PlmTest::TempDir;
using PlmTest::writeBytes;
using Names = std::vector<std::string>;

// The stream format written out by hand, so that the project file is checked against the
// layout itself and not against the saver that wrote it.
struct Stream
{
    Bytes bytes;

    Stream& u(uint64_t value)
    {
        do
        {
            bytes.push_back(static_cast<uint8_t>((value & 0x7f) | (value >= 0x80 ? 0x80 : 0)));
            value >>= 7;
        } while (value);
        return *this;
    }
    Stream& byte(uint8_t value)
    {
        bytes.push_back(value);
        return *this;
    }
    Stream& f32(float value)
    {
        uint8_t raw[4];
        std::memcpy(raw, &value, 4);
        bytes.insert(bytes.end(), raw, raw + 4);
        return *this;
    }
    Stream& str(const std::string& value)
    {
        u(value.size());
        bytes.insert(bytes.end(), value.begin(), value.end());
        return *this;
    }
    // A group: its size word (content size doubled, plus one when a version follows), the
    // version, the content.
    Stream& group(uint32_t version, const Stream& content)
    {
        Stream inner;
        if (version)
            inner.u(version);
        inner.bytes.insert(inner.bytes.end(), content.bytes.begin(), content.bytes.end());
        u((inner.bytes.size() << 1) | (version ? 1 : 0));
        bytes.insert(bytes.end(), inner.bytes.begin(), inner.bytes.end());
        return *this;
    }
};

// A project file around a "project_settings" group of the given version and content.
Bytes projectFile(uint32_t settingsVersion, const Stream& settings, uint32_t magic = 0xABCDEF98)
{
    Stream file;
    file.byte(0x04).u(magic).group(0, Stream().group(settingsVersion, settings));
    return file.bytes;
}

// The fields before the export settings, as a new project has them.
Stream settingsHead(const std::string& resources)
{
    Stream s;
    s.byte(0).f32(45.0f).byte(0).byte(1).byte(0).str(resources);
    return s;
}

std::unique_ptr<Project> newProject(const TempDir& dir)
{
    return Project::create(dir / "p.sxproj",
                           std::make_unique<ProjectSettings>(dir.path(), "effects", "textures"));
}

std::unique_ptr<ProjectResource> newEffect()
{
    return std::make_unique<ProjectResourceSystem>(Generation::simpleSystem());
}

// An effect file whose head names the given sources (relative to its directory). Nothing
// but reflection makes sources in the model, so the head is written here as the format has it.
void writeEffectWithSources(const bfs::path& file, const Names& sources)
{
    bfs::create_directories(file.parent_path());
    auto handler = ProjectResourceHandler::createNewStandalone(file, newEffect());
    const Bytes original = readBytes(file);
    Sl::LoaderBinArray loader(original.data(), static_cast<uint32_t>(original.size()));
    handler->readHeaderOnlyFromLoader(loader);
    const size_t contentStart = static_cast<size_t>(loader.position());

    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_On);
    out.write(nullptr, ProjectResourceHandler::kMagic, Sl::PH_Packed);
    {
        Sl::ScopedSaverGroup head("res_handler", out, 0);
        Sl::write("id", out, handler->getId());
        out.write("type", static_cast<uint8_t>(handler->getType()));
        Sl::write("revision", out, handler->getRevision());
        Sl::write("export_revision", out, handler->getExportRevision());
        Sl::ScopedSaverGroup externals("externals", out, 2);
        out.write("count", static_cast<uint32_t>(sources.size()), Sl::PH_Packed);
        for (const std::string& source : sources)
        {
            Sl::ScopedSaverGroup item("external", out, 0);
            Sl::write("path", out, bfs::path(source));
            Sl::ScopedSaverGroup rev("rev", out, 0);
            out.write(nullptr, false);
        }
        for (int set = 0; set < 2; ++set)
        {
            Sl::ScopedSaverGroup paths(nullptr, out, 0);
            out.write("num_items", uint32_t(0), Sl::PH_Packed);
        }
    }
    Bytes bytes = out.dataAsVector();
    bytes.insert(bytes.end(), original.begin() + contentStart, original.end());
    writeBytes(file, bytes);
}

void makeEffect(const bfs::path& file)
{
    bfs::create_directories(file.parent_path());
    ProjectResourceHandler::createNewStandalone(file, newEffect());
}

// Pushes the write time on, so that a change within the same second is seen.
void touchLater(const bfs::path& file)
{
    bfs::last_write_time(file, bfs::last_write_time(file) + 10);
}

void editInMemory(ProjectResourceHandler& handler, const std::string& comment)
{
    ASSERT_TRUE(handler.load());
    handler.getLoadedResource().castToSystemResourceChecked().setComment(comment);
    ASSERT_TRUE(handler.doesLoadedResourceNeedSave());
}

const std::string& commentOf(const ProjectResourceHandler& handler)
{
    return handler.getLoadedResource().castToSystemResourceChecked().getComment();
}

std::string relative(const Project& project, const bfs::path& file)
{
    return BoostExt::makeRelativePath(project.settings().getResourcesPath(), file)
        .value_or(file)
        .generic_string();
}

// The effect files of the project, relative to its resources path, in order.
Names resourceNames(const Project& project)
{
    Names names;
    for (const auto& entry : project.resources())
        names.push_back(relative(project, entry.first));
    return names;
}

Names relativeAll(const Project& project, const std::vector<bfs::path>& files)
{
    Names names;
    for (const bfs::path& file : files)
        names.push_back(relative(project, file));
    std::sort(names.begin(), names.end());
    return names;
}

// The folders of the tree below the root, depth first.
void collectFolders(const Project& project, const ProjectFolder& folder, Names& names)
{
    for (unsigned int i = 0; i < folder.getNumFolders(); ++i)
    {
        names.push_back(relative(project, folder.getFolder(i).getPath()));
        collectFolders(project, folder.getFolder(i), names);
    }
}


// The project file.

TEST(ProjectFile, NewProjectBytesAreTheDocumentedLayout)
{
    TempDir dir;
    newProject(dir);
    Stream settings = settingsHead("effects");
    settings.group(2, Stream().byte(0).str("export_js").byte(0))
        .group(0, Stream().byte(0).str("export_cs"))
        .group(0, Stream().byte(0).str("export_unity"))
        .str("textures");
    EXPECT_EQ(readBytes(dir / "p.sxproj"), projectFile(2, settings));
    EXPECT_TRUE(bfs::is_directory(dir / "effects"));
    EXPECT_TRUE(bfs::is_directory(dir / "textures"));
}

struct OldSettingsCase
{
    const char* name;
    uint32_t version;
    std::function<void(Stream&)> exportSettings;
    const char* jsRoot;
    bool jsEnabled;
    ExportSettingsJs::Type jsType;
    const char* csRoot;
    const char* unityRoot;
};

void PrintTo(const OldSettingsCase& c, std::ostream* os) { *os << c.name; }

class ProjectFileVersions : public testing::TestWithParam<OldSettingsCase>
{
};

TEST_P(ProjectFileVersions, OpensWithDefaultsForWhatItLacks)
{
    const OldSettingsCase& c = GetParam();
    TempDir dir;
    Stream settings = settingsHead("fx");
    c.exportSettings(settings);
    settings.str("tex");
    writeBytes(dir / "old.sxproj", projectFile(c.version, settings));

    auto project = Project::open(dir / "old.sxproj");
    const ProjectSettings& s = project->settings();
    EXPECT_EQ(s.getResourcesPath(), dir / "fx");
    EXPECT_EQ(s.getTexturesPath(), dir / "tex");
    EXPECT_EQ(s.getExportSettingsJs().getRelativeRootPath(), bfs::path(c.jsRoot));
    EXPECT_EQ(s.getExportSettingsJs().isEnabled(), c.jsEnabled);
    EXPECT_EQ(s.getExportSettingsJs().getType(), c.jsType);
    EXPECT_EQ(s.getExportSettingsCs().getRelativeRootPath(), bfs::path(c.csRoot));
    EXPECT_EQ(s.getExportSettingsUnity().getRelativeRootPath(), bfs::path(c.unityRoot));
    EXPECT_FALSE(project->doesProjectFileNeedSave());
    EXPECT_FALSE(project->isProjectFileUpdatedOnDisk());
}

INSTANTIATE_TEST_SUITE_P(
    Project, ProjectFileVersions,
    testing::Values(OldSettingsCase{"v0_one_js_root", 0, [](Stream& s) { s.str("web"); }, "web",
                                    false, ExportSettingsJs::T_Umd, "export_cs", "export_unity"},
                    OldSettingsCase{"v1_no_unity_js_v1_bool_type", 1,
                                    [](Stream& s) {
                                        s.group(1, Stream().byte(1).str("web").byte(1))
                                            .group(0, Stream().byte(1).str("cs"));
                                    },
                                    "web", true, ExportSettingsJs::T_Xhr, "cs", "export_unity"},
                    OldSettingsCase{"v1_js_v0_no_type", 1,
                                    [](Stream& s) {
                                        s.group(0, Stream().byte(0).str("web"))
                                            .group(0, Stream().byte(0).str("cs"));
                                    },
                                    "web", false, ExportSettingsJs::T_Umd, "cs", "export_unity"},
                    OldSettingsCase{"v2_all_three", 2,
                                    [](Stream& s)
                                    {
                                        s.group(2, Stream().byte(1).str("web").byte(1))
                                            .group(0, Stream().byte(0).str("cs"))
                                            .group(0, Stream().byte(1).str("u"));
                                    },
                                    "web", true, ExportSettingsJs::T_Xhr, "cs", "u"}),
    [](const testing::TestParamInfo<OldSettingsCase>& info) { return info.param.name; });

TEST(ProjectFile, RefusedFilesRaiseAndNameTheFault)
{
    TempDir dir;
    const Bytes good = projectFile(0, settingsHead("fx").str("web").str("tex"));
    struct Case
    {
        const char* name;
        Bytes bytes;
        std::function<void(const bfs::path&)> expectRefused;
    };
    auto raises = [](auto exceptionTag)
    {
        return [](const bfs::path& file)
        { EXPECT_THROW(Project::open(file), decltype(exceptionTag)); };
    };
    const std::vector<Case> cases = {
        {"another magic", projectFile(0, settingsHead("fx").str("web").str("tex"), 0xABCDEF33),
         raises(Sl::CorruptedDataException())},
        {"newer settings", projectFile(3, settingsHead("fx").str("web").str("tex")),
         raises(Sl::OldLoaderVersionException())},
        {"cut short", Bytes(good.begin(), good.end() - 3), raises(Sl::Exception())},
        {"empty", Bytes(), raises(Sl::Exception())},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        writeBytes(dir / "bad.sxproj", c.bytes);
        c.expectRefused(dir / "bad.sxproj");
    }
    try
    {
        Project::open(dir / "missing.sxproj");
        ADD_FAILURE() << "a missing project file opened";
    }
    catch (const Project::Exception& e)
    {
        EXPECT_NE(std::string(e.what()).find("missing.sxproj"), std::string::npos);
    }
}

TEST(ProjectFile, ChangedSettingsNeedSavingAndOtherResourcesPathResetsTheTree)
{
    TempDir dir;
    auto project = newProject(dir);
    project->createSystem("a", project->settings().getResourcesPath());
    EXPECT_FALSE(project->doesProjectFileNeedSave());

    ProjectSettings flipped = project->settings();
    flipped.setFlippedY(false);
    project->applySettings(flipped);
    EXPECT_TRUE(project->doesProjectFileNeedSave());
    EXPECT_EQ(resourceNames(*project), Names{"a.sxed"});
    ASSERT_TRUE(project->saveProjectFile());
    EXPECT_FALSE(project->doesProjectFileNeedSave());
    EXPECT_FALSE(Project::open(dir / "p.sxproj")->settings().isFlippedY());
    EXPECT_FALSE(project->isProjectFileUpdatedOnDisk());
    touchLater(dir / "p.sxproj");
    EXPECT_TRUE(project->isProjectFileUpdatedOnDisk());
    ASSERT_TRUE(project->loadForcedProjectFileFromDisk());
    EXPECT_FALSE(project->isProjectFileUpdatedOnDisk());

    ProjectSettings moved = project->settings();
    moved.setRelativeResourcesPath("elsewhere");
    project->applySettings(moved);
    EXPECT_TRUE(project->resources().empty());
    EXPECT_EQ(project->getRootFolder().getPath(), dir / "elsewhere");
}

// Groups and load state.

TEST(ProjectGroups, ThirtyOneMasksThenNone)
{
    TempDir dir;
    auto project = newProject(dir);
    for (unsigned int bit = 0; bit < 31; ++bit)
        EXPECT_EQ(project->aquireGroupMask(), boost::make_optional(1u << bit));
    EXPECT_EQ(project->aquireGroupMask(), boost::none);
    project->releaseGroup(1);
    EXPECT_EQ(project->aquireGroupMask(), boost::make_optional(1u));
}

TEST(ProjectLoadState, HeldFilesAndTheirSourcesOfSourcesAreLoaded)
{
    TempDir dir;
    auto project = newProject(dir);
    const bfs::path res = project->settings().getResourcesPath();
    // a reflects sub/b, which reflects c, which reflects a: a cycle through a folder.
    writeEffectWithSources(res / "a.sxed", {"sub/b.sxed"});
    writeEffectWithSources(res / "sub/b.sxed", {"../c.sxed", "gone.sxed"});
    writeEffectWithSources(res / "c.sxed", {"a.sxed"});
    makeEffect(res / "d.sxed");
    project->updateFoldersAndResourceLoadState();
    ASSERT_EQ(resourceNames(*project), (Names{"a.sxed", "c.sxed", "d.sxed", "sub/b.sxed"}));

    const unsigned int group = *project->aquireGroupMask();
    struct Step
    {
        Names fixed;
        Names loaded;
    };
    const std::vector<Step> steps = {
        {{"a.sxed"}, {"a.sxed", "c.sxed", "sub/b.sxed"}},
        {{"sub/b.sxed"}, {"a.sxed", "c.sxed", "sub/b.sxed"}},
        {{"d.sxed"}, {"d.sxed"}},
        {{}, {}},
    };
    for (const Step& step : steps)
    {
        project->markAllResourcesReleased(group);
        for (const std::string& name : step.fixed)
            project->markResourceFixed(res / name, group);
        project->updateAllResourcesLoadState();
        Names loaded;
        for (const auto& entry : project->resources())
        {
            EXPECT_FALSE(entry.second.handler->loadError()) << entry.first;
            if (entry.second.handler->isLoaded())
                loaded.push_back(relative(*project, entry.first));
        }
        EXPECT_EQ(loaded, step.loaded) << "fixed: " << testing::PrintToString(step.fixed);
    }
}

TEST(ProjectLoadState, UnsavedStaysLoadedWithNoGroup)
{
    TempDir dir;
    auto project = newProject(dir);
    const bfs::path res = project->settings().getResourcesPath();
    auto a = project->createSystem("a", res);
    auto b = project->createSystem("b", res);
    const unsigned int editor = *project->aquireGroupMask();
    const unsigned int preview = *project->aquireGroupMask();
    project->markResourceFixed(a->getPath(), editor | preview);
    project->markResourceFixed(b->getPath(), editor);
    project->updateAllResourcesLoadState();
    ASSERT_TRUE(a->isLoaded() && b->isLoaded());

    editInMemory(*a, "edited");
    project->markResourceReleased(a->getPath(), editor);
    project->markAllResourcesReleased(editor);
    project->updateAllResourcesLoadState();
    EXPECT_TRUE(a->isLoaded()) << "held by the preview";
    EXPECT_FALSE(b->isLoaded());
    project->markAllResourcesReleased(preview);
    project->updateAllResourcesLoadState();
    EXPECT_TRUE(a->isLoaded()) << "unsaved";
    EXPECT_EQ(project->getFirstUnsavedResource(), a);

    ASSERT_TRUE(project->saveAllUnsavedResources());
    EXPECT_FALSE(project->getFirstUnsavedResource());
    project->updateAllResourcesLoadState();
    EXPECT_FALSE(a->isLoaded());
    ASSERT_TRUE(a->load());
    EXPECT_EQ(commentOf(*a), "edited");
}

// Refresh.

struct RefreshCase
{
    const char* name;
    Names before;   // effect files when the project is opened
    Names unsaved;  // of those, edited in memory
    std::function<void(const bfs::path& resources)> changeOnDisk;
    Names after;  // effect files of the project after a refresh
    Names folders = {};
    Names resourcesToDelete = {};
    Names resourcesToUpdate = {};
    Names foldersToDelete = {};
};

void PrintTo(const RefreshCase& c, std::ostream* os) { *os << c.name; }

class ProjectRefresh : public testing::TestWithParam<RefreshCase>
{
};

TEST_P(ProjectRefresh, FollowsTheDiskAndReportsUnsavedConflicts)
{
    const RefreshCase& c = GetParam();
    TempDir dir;
    newProject(dir);
    for (const std::string& name : c.before)
        makeEffect(dir / "effects" / name);
    auto project = Project::open(dir / "p.sxproj");
    project->updateFoldersAndResourceLoadState();
    ASSERT_EQ(resourceNames(*project), c.before);
    for (const std::string& name : c.unsaved)
        editInMemory(project->getResourceHandlerByPath(dir / "effects" / name), "mine");

    c.changeOnDisk(dir / "effects");
    ProjectRefreshResult result;
    project->refresh(result);

    EXPECT_EQ(resourceNames(*project), c.after);
    Names folders;
    collectFolders(*project, project->getRootFolder(), folders);
    EXPECT_EQ(folders, c.folders);
    EXPECT_EQ(relativeAll(*project, result.resourcesToDelete_), c.resourcesToDelete);
    EXPECT_EQ(relativeAll(*project, result.resourcesToUpdate_), c.resourcesToUpdate);
    EXPECT_EQ(relativeAll(*project, result.foldersToDelete_), c.foldersToDelete);
    for (const std::string& name : c.unsaved)
    {
        if (auto handler = project->findResourceHandlerByPath(dir / "effects" / name))
        {
            EXPECT_EQ(commentOf(*handler), "mine") << "unsaved edits are kept";
        }
    }
    // Every file of the project is also in its folder of the tree.
    for (const auto& entry : project->resources())
        EXPECT_EQ(project->getRootFolder().findDeepResourceByPath(entry.first),
                  entry.second.handler);
}

INSTANTIATE_TEST_SUITE_P(
    Project, ProjectRefresh,
    testing::Values(RefreshCase{"added",
                                {"a.sxed"},
                                {},
                                [](const bfs::path& r)
                                {
                                    makeEffect(r / "b.sxed");
                                    makeEffect(r / "sub/c.sxed");
                                    writeBytes(r / "notes.txt", {1, 2});
                                },
                                {"a.sxed", "b.sxed", "sub/c.sxed"},
                                {"sub"}},
                    RefreshCase{"removed_saved",
                                {"a.sxed", "b.sxed"},
                                {},
                                [](const bfs::path& r) { bfs::remove(r / "b.sxed"); },
                                {"a.sxed"}},
                    RefreshCase{"removed_unsaved",
                                {"a.sxed", "b.sxed"},
                                {"b.sxed"},
                                [](const bfs::path& r) { bfs::remove(r / "b.sxed"); },
                                {"a.sxed", "b.sxed"},
                                {},
                                {"b.sxed"}},
                    RefreshCase{"changed_unsaved",
                                {"a.sxed"},
                                {"a.sxed"},
                                [](const bfs::path& r)
                                {
                                    bfs::remove(r / "a.sxed");
                                    makeEffect(r / "a.sxed");
                                    touchLater(r / "a.sxed");
                                },
                                {"a.sxed"},
                                {},
                                {},
                                {"a.sxed"}},
                    RefreshCase{"case_only_rename",
                                {"a.sxed", "b.sxed"},
                                {"b.sxed"},
                                [](const bfs::path& r)
                                {
                                    bfs::rename(r / "a.sxed", r / "A.sxed");
                                    bfs::rename(r / "b.sxed", r / "B.sxed");
                                },
                                {"A.sxed", "B.sxed", "b.sxed"},
                                {},
                                {"b.sxed"}},
                    RefreshCase{"folder_case_only_rename",
                                {"sub/a.sxed"},
                                {},
                                [](const bfs::path& r) { bfs::rename(r / "sub", r / "Sub"); },
                                {"Sub/a.sxed"},
                                {"Sub"}},
                    RefreshCase{"folder_deleted_with_unsaved",
                                {"sub/a.sxed", "sub/deep/b.sxed", "sub/other/c.sxed"},
                                {"sub/deep/b.sxed"},
                                [](const bfs::path& r) { bfs::remove_all(r / "sub"); },
                                {"sub/deep/b.sxed"},
                                {"sub", "sub/deep"},
                                {"sub/deep/b.sxed"},
                                {},
                                {"sub"}},
                    RefreshCase{"folder_deleted_saved",
                                {"sub/a.sxed", "z.sxed"},
                                {},
                                [](const bfs::path& r) { bfs::remove_all(r / "sub"); },
                                {"z.sxed"}},
                    RefreshCase{"resources_folder_deleted",
                                {"a.sxed", "b.sxed"},
                                {"a.sxed"},
                                [](const bfs::path& r) { bfs::remove_all(r); },
                                {"a.sxed"},
                                {},
                                {"a.sxed"}},
                    RefreshCase{"unreadable_head_skipped",
                                {"a.sxed"},
                                {},
                                [](const bfs::path& r)
                                {
                                    writeBytes(r / "bad.sxed", {0x04, 1, 2, 3});
                                    writeBytes(r / "empty.sxed", {});
                                },
                                {"a.sxed"}}),
    [](const testing::TestParamInfo<RefreshCase>& info) { return info.param.name; });

TEST(ProjectRefresh, ChangedSkippedAndBrokenFiles)
{
    TempDir dir;
    auto project = newProject(dir);
    const bfs::path res = project->settings().getResourcesPath();
    auto a = project->createSystem("a", res);
    auto loaded = project->createSystem("loaded", res);
    writeBytes(res / "late.sxed", {0x04, 1, 2, 3});
    project->updateFoldersAndResourceLoadState();
    ASSERT_EQ(resourceNames(*project), (Names{"a.sxed", "loaded.sxed"}));
    const unsigned int group = *project->aquireGroupMask();
    project->markResourceFixed(loaded->getPath(), group);
    project->updateAllResourcesLoadState();
    ASSERT_TRUE(loaded->isLoaded() && !a->isLoaded());

    for (const char* name : {"a.sxed", "loaded.sxed", "late.sxed"})
    {
        bfs::remove(res / name);
        makeEffect(res / name);
        touchLater(res / name);
    }
    const auto onDisk = [&](const char* name)
    { return ProjectResourceHandler::openStandalone(res / name)->getRevision(); };
    ProjectRefreshResult result;
    project->refresh(result);
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(resourceNames(*project), (Names{"a.sxed", "late.sxed", "loaded.sxed"}));
    EXPECT_EQ(a->getRevision(), onDisk("a.sxed"));
    EXPECT_EQ(loaded->getRevision(), onDisk("loaded.sxed"));
    EXPECT_TRUE(loaded->isLoaded());
    EXPECT_FALSE(loaded->doesLoadedResourceNeedSave());

    // A known file that can no longer be read stays, with its error; the rest goes on.
    writeBytes(res / "a.sxed", {0x04, 1, 2, 3});
    bfs::last_write_time(res / "a.sxed", std::time(nullptr) + 30);
    project->refresh(result);
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(project->findResourceHandlerByPath(res / "a.sxed"), a);
    EXPECT_EQ(a->loadError(), boost::make_optional(RLE_Corrupted));
    EXPECT_FALSE(a->load());
    EXPECT_TRUE(loaded->isLoaded());
}

// Files and folders.

TEST(ProjectFolder, UniqueNamesAskTheDisk)
{
    struct Case
    {
        Names existing;
        const char* name;
        const char* expected;
    };
    const std::vector<Case> cases = {
        {{}, "x", "x.sxed"},
        {{"x.sxed"}, "x", "x (1).sxed"},
        {{"x.sxed", "x (1).sxed"}, "x", "x (2).sxed"},
        {{"x.sxed", "x (2).sxed"}, "x", "x (1).sxed"},
        {{"X.sxed", "x.txt"}, "x", "x.sxed"},
    };
    for (const Case& c : cases)
    {
        TempDir dir;
        auto project = newProject(dir);
        for (const std::string& name : c.existing)
            writeBytes(dir / "effects" / name, {1});
        EXPECT_EQ(project->getRootFolder().getUniqueResourceName(c.name, ".sxed"), c.expected)
            << testing::PrintToString(c.existing);
    }
}

TEST(Project, CreateMoveRenameAndRemove)
{
    TempDir dir;
    auto project = newProject(dir);
    const bfs::path res = project->settings().getResourcesPath();
    EXPECT_EQ(project->createSystem("x", res)->getPath(), res / "x.sxed");
    EXPECT_EQ(project->createSystem("x", res)->getPath(), res / "x (1).sxed");
    bfs::create_directories(res / "sub/deep");
    EXPECT_THROW(project->createSystem("y", res / "sub"), ProjectResourceHandler::Exception);
    project->updateFoldersAndResourceLoadState();
    project->createSystem("y", res / "sub/deep");
    EXPECT_EQ(resourceNames(*project), (Names{"sub/deep/y.sxed", "x (1).sxed", "x.sxed"}));

    // A rename never replaces another file.
    EXPECT_FALSE(project->moveRenameResourceButNotRefresh(res / "x.sxed", res / "x (1).sxed"));
    EXPECT_TRUE(project->moveRenameResourceButNotRefresh(res / "x.sxed", res / "z.sxed"));
    EXPECT_TRUE(project->moveRenameFolderButNotRefresh(res / "sub", res / "x (1).sxed").empty());
    const std::map<bfs::path, bfs::path> moved =
        project->moveRenameFolderButNotRefresh(res / "sub", res / "moved");
    EXPECT_EQ(moved, (std::map<bfs::path, bfs::path>{
                         {res / "sub/deep/y.sxed", res / "moved/deep/y.sxed"}}));
    project->updateFoldersAndResourceLoadState();
    EXPECT_EQ(resourceNames(*project), (Names{"moved/deep/y.sxed", "x (1).sxed", "z.sxed"}));

    // Removal takes the tree along at once.
    EXPECT_TRUE(project->removeButNotRefresh(res / "moved"));
    EXPECT_TRUE(project->removeButNotRefresh(res / "z.sxed"));
    EXPECT_FALSE(project->removeButNotRefresh(res / "never.sxed"));
    EXPECT_EQ(resourceNames(*project), Names{"x (1).sxed"});
    EXPECT_EQ(project->getRootFolder().getNumFolders(), 0u);
    EXPECT_FALSE(bfs::exists(res / "moved"));
    EXPECT_FALSE(bfs::exists(res / "z.sxed"));
}

TEST(Project, DiscardedChangesAreReadBackFromTheFile)
{
    TempDir dir;
    auto project = newProject(dir);
    auto a = project->createSystem("a", project->settings().getResourcesPath());
    editInMemory(*a, "draft");
    project->discardLoadedResourceChanges(a->getPath());
    ASSERT_TRUE(a->isLoaded());
    EXPECT_FALSE(a->doesLoadedResourceNeedSave());
    EXPECT_EQ(commentOf(*a), "");
    EXPECT_TRUE(project->forceResaveAll());
}

TEST(Project, AutoSavesArePutOnTopOfTheirEffects)
{
    TempDir dir;
    const bfs::path res = dir / "effects";
    {
        auto project = newProject(dir);
        auto a = project->createSystem("a", res);
        project->createSystem("broken", res);
        ProjectResource& resource = a->getLoadedResource();
        resource.createUndoRevision();
        resource.castToSystemResourceChecked().setComment("recovered");
        resource.createUndoRevision();
        a->autoSaveUndoStackIfPossible();
        ASSERT_TRUE(bfs::exists(res / "a.autosave"));
        bfs::create_directories(res / "sub");
        bfs::copy_file(res / "a.autosave", res / "sub/ghost.autosave");
        writeBytes(res / "broken.autosave", {0x04, 9, 9});
        // Beside a file whose head can't be read: kept for when the file can be read.
        writeBytes(res / "unread.sxed", {0x04, 1, 2, 3});
        bfs::copy_file(res / "a.autosave", res / "unread.autosave");
    }
    auto project = Project::open(dir / "p.sxproj");
    project->updateFoldersAndResourceLoadState();
    project->loadAllAutoSavesOnTop();

    struct Expect
    {
        const char* name;
        bool loaded;
        const char* comment;
    };
    for (const Expect& e :
         {Expect{"a.sxed", true, "recovered"}, Expect{"sub/ghost.sxed", true, "recovered"},
          Expect{"broken.sxed", false, ""}})
    {
        SCOPED_TRACE(e.name);
        auto handler = project->findResourceHandlerByPath(res / e.name);
        ASSERT_TRUE(handler);
        ASSERT_EQ(handler->isLoaded(), e.loaded);
        if (e.loaded)
        {
            EXPECT_TRUE(handler->doesLoadedResourceNeedSave());
            EXPECT_EQ(commentOf(*handler), e.comment);
        }
    }
    EXPECT_FALSE(bfs::exists(res / "broken.autosave"));
    EXPECT_TRUE(bfs::exists(res / "unread.autosave"));
    EXPECT_EQ(resourceNames(*project), (Names{"a.sxed", "broken.sxed", "sub/ghost.sxed"}));
}

}  // namespace
