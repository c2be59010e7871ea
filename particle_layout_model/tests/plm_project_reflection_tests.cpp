// Effect files of a project that reflect other effect files: making them, following their
// sources across passes and reopenings, moves on disk, sources that can't be followed, cycles
// and failed synchronisations.
#include <algorithm>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_path.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_crc_string.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_temp_dir.h"

namespace
{

using namespace Plm;
namespace bfs = boost::filesystem;
using Bytes = std::vector<uint8_t>;
using PlmTest::readBytes;
using PlmTest::TempDir;
using PlmTest::writeBytes;

// What an effect file holds on disk, read apart from the project.
struct OnDisk
{
    std::shared_ptr<ProjectResourceHandler> handler;
    System& system() const
    {
        return handler->getLoadedResource().castToSystemResourceChecked().getResource();
    }
};

OnDisk readEffect(const bfs::path& file)
{
    OnDisk disk{ProjectResourceHandler::openStandalone(file)};
    EXPECT_TRUE(disk.handler->load()) << file;
    return disk;
}

// A write time that no file the test writes has: a refresh sees the file as changed.
constexpr std::time_t kOtherTime = 1000000000;

bool mentions(const std::vector<std::string>& problems, const std::string& part)
{
    for (const std::string& problem : problems)
        if (problem.find(part) != std::string::npos)
            return true;
    return false;
}

// A project with the folders "sub", "other" and "a", and a group that stands for the editor.
class ProjectReflection : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Project::create(dir / "p.sxproj",
                        std::make_unique<ProjectSettings>(dir.path(), "effects", "textures"));
        for (const char* folder : {"sub", "other", "a"})
            bfs::create_directories(dir / "effects" / folder);
        reopen();
    }

    void reopen()
    {
        project.reset();
        project = Project::open(dir / "p.sxproj");
        project->updateFoldersAndResourceLoadState();
        editor = *project->aquireGroupMask();
    }

    bfs::path res(const std::string& relative) const { return dir / "effects" / relative; }

    bfs::path effect(const std::string& name, const std::string& folder = std::string())
    {
        return project->createSystem(name, res(folder))->getPath();
    }

    bfs::path reflect(const bfs::path& source, const std::string& name,
                      const std::string& folder = std::string())
    {
        ReflectionSyncReport report;
        const bfs::path file =
            project->addReflectedSystem(res(folder), source, name, &report)->getPath();
        EXPECT_TRUE(report.problems.empty()) << report.problems.front();
        return file;
    }

    // The effect as the editor holds it.
    ProjectResourceHandler& open(const bfs::path& file)
    {
        project->markResourceFixed(file, editor);
        project->updateAllResourcesLoadState();
        return project->getResourceHandlerByPath(file);
    }
    static System& systemOf(const ProjectResourceHandler& handler)
    {
        return handler.getLoadedResource().castToSystemResourceChecked().getResource();
    }
    void close(const bfs::path& file)
    {
        project->markResourceReleased(file, editor);
        project->updateAllResourcesLoadState();
    }

    // An edit of the source in the editor, saved.
    void editAndSave(const bfs::path& source, float fps)
    {
        ProjectResourceHandler& handler = open(source);
        systemOf(handler).setFps(fps);
        ASSERT_TRUE(handler.saveUnsavedLoadedResource());
        close(source);
    }

    ReflectionSyncReport syncAll()
    {
        ReflectionSyncReport report;
        project->syncAllReflections(&report);
        return report;
    }

    TempDir dir;
    std::unique_ptr<Project> project;
    unsigned int editor = 0;
};

TEST_F(ProjectReflection, NewReflectionIsNamedFromItsSourceAndFilledAtOnce)
{
    const bfs::path source = effect("fire");
    editAndSave(source, 50.0f);
    struct Case
    {
        std::string folder, fileName, relPath;
    };
    for (const Case& c :
         {Case{"", "fire (1).sxed", "fire.sxed"}, Case{"sub", "fire.sxed", "../fire.sxed"}})
    {
        SCOPED_TRACE(c.folder);
        ReflectionSyncReport report;
        const ProjectResourceHandlerPtr made =
            project->addReflectedSystem(res(c.folder), source, std::string(), &report);
        EXPECT_EQ(res(c.folder) / c.fileName, made->getPath());
        EXPECT_EQ(std::vector<bfs::path>{made->getPath()}, report.changed);
        // Saved filled (a new reflection has no emitter before), in step with the source, and
        // unloaded once the operation ends.
        EXPECT_FALSE(made->isLoaded());
        const OnDisk disk = readEffect(made->getPath());
        EXPECT_EQ(bfs::path(c.relPath), disk.system().getReflSourcePath());
        EXPECT_EQ(1u, disk.system().getNumEmitters());
        EXPECT_EQ(50.0f, disk.system().getFps());
        ASSERT_EQ(1u, disk.handler->externals().size());
        EXPECT_EQ(project->getResourceHandlerByPath(source).getRevision(),
                  disk.handler->externals()[0].revision);
    }
    EXPECT_TRUE(project->syncAllReflections());
}

TEST_F(ProjectReflection, ReflectionsFollowEditsAndStayStableAcrossReopening)
{
    const bfs::path source = effect("src");
    const bfs::path reflection = reflect(source, "refl", "sub");
    // A reflection of the reflection follows in the same pass.
    const bfs::path second = reflect(reflection, "second", "other");
    {
        ProjectResourceHandler& handler = open(source);
        systemOf(handler).addEmitter(Generation::simpleEmitter("Smoke"));
        systemOf(handler).setFps(24.0f);
        ASSERT_TRUE(handler.saveUnsavedLoadedResource());
        close(source);
    }
    const ReflectionSyncReport report = syncAll();
    EXPECT_TRUE(report.problems.empty());
    EXPECT_EQ((std::vector<bfs::path>{reflection, second}), report.changed);
    for (const bfs::path& file : {reflection, second})
    {
        const OnDisk disk = readEffect(file);
        EXPECT_EQ(24.0f, disk.system().getFps()) << file;
        EXPECT_EQ(2u, disk.system().getNumEmitters()) << file;
    }

    const Bytes bytes[] = {readBytes(source), readBytes(reflection), readBytes(second)};
    for (int round = 0; round < 2; ++round)
    {
        reopen();
        ReflectionSyncReport again;
        EXPECT_TRUE(project->syncAllReflections(&again));
        EXPECT_TRUE(again.changed.empty());
        EXPECT_EQ(bytes[0], readBytes(source));
        EXPECT_EQ(bytes[1], readBytes(reflection));
        EXPECT_EQ(bytes[2], readBytes(second));
    }
}

TEST_F(ProjectReflection, CleanReflectionIsSavedAtOnceAndEditedOneStaysUnsaved)
{
    for (const bool editedBefore : {false, true})
    {
        SCOPED_TRACE(editedBefore ? "edited" : "clean");
        const bfs::path source = effect("src");
        const bfs::path reflection = reflect(source, "refl");
        ProjectResourceHandler& held = open(reflection);
        if (editedBefore)
            held.getLoadedResource().castToSystemResourceChecked().setComment("mine");
        const Bytes before = readBytes(reflection);

        editAndSave(source, 33.0f);
        const ReflectionSyncReport report = syncAll();
        EXPECT_EQ(std::vector<bfs::path>{reflection}, report.changed);
        EXPECT_EQ(33.0f, systemOf(held).getFps());
        EXPECT_EQ(editedBefore, held.doesLoadedResourceNeedSave());
        EXPECT_EQ(editedBefore, before == readBytes(reflection));
        EXPECT_EQ(editedBefore ? 30.0f : 33.0f, readEffect(reflection).system().getFps());
        if (held.doesLoadedResourceNeedSave())
            held.saveUnsavedLoadedResource();
        close(reflection);
        ASSERT_TRUE(project->removeButNotRefresh(source));
        ASSERT_TRUE(project->removeButNotRefresh(reflection));
    }
}

TEST_F(ProjectReflection, LoadedReflectionsFollowAnUnsavedSource)
{
    const bfs::path source = effect("src");
    const bfs::path shown = reflect(source, "shown");
    const bfs::path hidden = reflect(source, "hidden");
    const Bytes hiddenBefore = readBytes(hidden);
    ProjectResourceHandler& sourceHandler = open(source);
    ProjectResourceHandler& shownHandler = open(shown);
    systemOf(sourceHandler).setFps(12.0f);

    ReflectionSyncReport report;
    project->syncLoadedReflections(source, &report);
    EXPECT_EQ(std::vector<bfs::path>{shown}, report.changed);
    EXPECT_EQ(12.0f, systemOf(shownHandler).getFps());
    // Not written ahead of its source, and nothing else loaded.
    EXPECT_TRUE(shownHandler.doesLoadedResourceNeedSave());
    EXPECT_FALSE(project->getResourceHandlerByPath(hidden).isLoaded());
    EXPECT_EQ(hiddenBefore, readBytes(hidden));
}

struct Move
{
    bool folder;
    std::string from, to;
};

struct MoveCase
{
    const char* name;
    std::string sourceFolder, reflectionFolder;
    std::vector<Move> moves;
    // Where the two files are at the end.
    std::string source, reflection;
};

class ProjectReflectionMoves : public ProjectReflection,
                               public ::testing::WithParamInterface<MoveCase>
{
};

TEST_P(ProjectReflectionMoves, PathsAreRewrittenAndTheReflectionStillFollows)
{
    const MoveCase& c = GetParam();
    reflect(effect("src", c.sourceFolder), "refl", c.reflectionFolder);
    for (const Move& move : c.moves)
    {
        if (move.folder)
            ASSERT_FALSE(
                project->moveRenameFolderButNotRefresh(res(move.from), res(move.to)).empty());
        else
            ASSERT_TRUE(project->moveRenameResourceButNotRefresh(res(move.from), res(move.to)));
        project->updateFoldersAndResourceLoadState();
    }
    const bfs::path source = res(c.source);
    const bfs::path reflection = res(c.reflection);
    ASSERT_TRUE(project->findResourceHandlerByPath(source));
    ASSERT_TRUE(project->findResourceHandlerByPath(reflection));
    // Written at once, and still in step: the file moved, it didn't change.
    EXPECT_EQ(BoostExt::makeRelativePath(reflection.parent_path(), source),
              readEffect(reflection).system().getReflSourcePath());
    EXPECT_TRUE(project->syncAllReflections());

    editAndSave(source, 75.0f);
    const ReflectionSyncReport report = syncAll();
    EXPECT_TRUE(report.problems.empty());
    EXPECT_EQ(std::vector<bfs::path>{reflection}, report.changed);
    EXPECT_EQ(75.0f, readEffect(reflection).system().getFps());
}

INSTANTIATE_TEST_SUITE_P(
    Moves, ProjectReflectionMoves,
    ::testing::Values(
        MoveCase{"SourceFile",
                 "",
                 "",
                 {{false, "src.sxed", "sub/src.sxed"}},
                 "sub/src.sxed",
                 "refl.sxed"},
        MoveCase{"ReflectionFile",
                 "",
                 "",
                 {{false, "refl.sxed", "sub/refl.sxed"}},
                 "src.sxed",
                 "sub/refl.sxed"},
        MoveCase{"BothFiles",
                 "sub",
                 "",
                 {{false, "sub/src.sxed", "other/src2.sxed"}, {false, "refl.sxed", "a/refl.sxed"}},
                 "other/src2.sxed",
                 "a/refl.sxed"},
        MoveCase{
            "FolderOfTheSource", "a", "", {{true, "a", "sub/b"}}, "sub/b/src.sxed", "refl.sxed"},
        MoveCase{"FolderOfBoth",
                 "a",
                 "a",
                 {{true, "a", "other/a"}},
                 "other/a/src.sxed",
                 "other/a/refl.sxed"},
        MoveCase{"FolderOfBothApart",
                 "a",
                 "sub",
                 {{true, "sub", "a/deep"}, {true, "a", "other/x"}},
                 "other/x/src.sxed",
                 "other/x/deep/refl.sxed"}),
    [](const ::testing::TestParamInfo<MoveCase>& info) { return std::string(info.param.name); });

TEST_F(ProjectReflection, SourcesThatCantBeFollowedLeaveTheReflectionAsItIs)
{
    struct Case
    {
        const char* name;
        std::function<void(const bfs::path& source)> breakSource;
        const char* problem;
    };
    const Case cases[] = {
        {"missing", [](const bfs::path& source) { bfs::remove(source); },
         "its source src.sxed is not in the project"},
        {"damaged",
         [](const bfs::path& source)
         {
             Bytes bytes = readBytes(source);
             bytes.resize(bytes.size() - 8);
             writeBytes(source, bytes);
             bfs::last_write_time(source, kOtherTime);
         },
         "the source file can't be loaded"},
        {"block file",
         [&](const bfs::path& source)
         {
             const bfs::path block = dir / "block.sxed";
             ProjectResourceHandler::createNewStandalone(
                 block,
                 std::make_unique<ProjectResourceBlock>(
                     BlocksFactory::instance().createDefaultByName(CrcString("func_lerp_float"))));
             bfs::copy_file(block, source, bfs::copy_option::overwrite_if_exists);
             bfs::remove(block);
             bfs::last_write_time(source, kOtherTime);
         },
         "the source file holds no effect"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const bfs::path source = effect("src");
        const bfs::path reflection = reflect(source, "refl");
        // A new revision, which the reflection has yet to follow.
        editAndSave(source, 90.0f);
        c.breakSource(source);
        project->updateFoldersAndResourceLoadState();
        const Bytes before = readBytes(reflection);
        for (int pass = 0; pass < 2; ++pass)
        {
            const ReflectionSyncReport report = syncAll();
            EXPECT_TRUE(report.changed.empty());
            EXPECT_TRUE(mentions(report.problems, c.problem)) << report.problems.size();
            EXPECT_EQ(before, readBytes(reflection));
        }
        bfs::remove(source);
        ASSERT_TRUE(project->removeButNotRefresh(reflection));
        project->updateFoldersAndResourceLoadState();
    }
}

TEST_F(ProjectReflection, CyclesAreRefusedWithTheirChain)
{
    struct Case
    {
        const char* name;
        // Files made by reflection, each of the one before, and the renames that close the
        // circle behind the project's back.
        std::vector<std::string> chain;
        std::vector<std::pair<std::string, std::string>> renames;
        const char* text;
    };
    const Case cases[] = {
        {"itself", {"x"}, {{"x.sxed", "src.sxed"}}, "reflection cycle: src.sxed -> src.sxed"},
        {"two files",
         {"b", "a2"},
         {{"a2.sxed", "src.sxed"}},
         "reflection cycle: b.sxed -> src.sxed -> b.sxed"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        bfs::path last = effect("src");
        for (const std::string& name : c.chain)
            last = reflect(last, name);
        for (const auto& rename : c.renames)
        {
            bfs::remove(res(rename.second));
            bfs::rename(res(rename.first), res(rename.second));
            bfs::last_write_time(res(rename.second), kOtherTime);
        }
        project->updateFoldersAndResourceLoadState();
        std::vector<Bytes> before;
        for (const auto& entry : project->resources())
            before.push_back(readBytes(entry.first));

        const ReflectionSyncReport report = syncAll();
        EXPECT_TRUE(mentions(report.problems, c.text)) << report.problems.size();
        EXPECT_TRUE(report.changed.empty());
        std::vector<Bytes> after;
        for (const auto& entry : project->resources())
            after.push_back(readBytes(entry.first));
        EXPECT_EQ(before, after);
        for (const auto& entry : std::map<bfs::path, Project::ResourceWrap>(project->resources()))
            bfs::remove(entry.first);
        project->updateFoldersAndResourceLoadState();
    }
}

TEST_F(ProjectReflection, FailedSynchronisationRestoresTheFileAndTheOthersGoOn)
{
    // The state from before comes from the file when there was nothing to save, from memory
    // when there was.
    for (const bool editedBefore : {false, true})
    {
        SCOPED_TRACE(editedBefore ? "edited" : "clean");
        const bfs::path source = effect("src");
        const bfs::path other = effect("other");
        const bfs::path broken = reflect(source, "broken");
        const bfs::path fine = reflect(other, "fine");
        ProjectResourceHandler& held = open(broken);
        if (editedBefore)
            held.getLoadedResource().castToSystemResourceChecked().setComment("mine");
        const Bytes heldBefore = held.saveLoadedResourceToBuffer();
        const Bytes fileBefore = readBytes(broken);

        // An emitter of the source that reflects an emitter of another file: an effect that
        // can't serve as a source, which the model refuses in the middle of a synchronisation.
        {
            ProjectResourceHandler& sourceHandler = open(source);
            ProjectResourceHandler& otherHandler = open(other);
            systemOf(sourceHandler)
                .addEmitterReflection(systemOf(otherHandler).getEmitter(0), ExternalResourcesMap());
            ASSERT_TRUE(sourceHandler.saveUnsavedLoadedResource());
            close(source);
        }
        editAndSave(other, 20.0f);

        const ReflectionSyncReport report = syncAll();
        EXPECT_TRUE(mentions(report.problems, broken.string() + ": it can't follow its sources"));
        EXPECT_EQ(heldBefore, held.saveLoadedResourceToBuffer());
        EXPECT_EQ(editedBefore, held.doesLoadedResourceNeedSave());
        EXPECT_EQ(fileBefore, readBytes(broken));
        EXPECT_EQ(20.0f, readEffect(fine).system().getFps());
        EXPECT_TRUE(std::find(report.changed.begin(), report.changed.end(), fine) !=
                    report.changed.end());

        project->markAllResourcesReleased(editor);
        for (const bfs::path& file : {source, other, broken, fine})
            bfs::remove(file);
        held.unloadLoadedResource();
        project->updateFoldersAndResourceLoadState();
    }
}

TEST_F(ProjectReflection, SeparatedReflectionNoLongerFollows)
{
    const bfs::path source = effect("src");
    const bfs::path reflection = reflect(source, "refl");
    ProjectResourceHandler& handler = open(reflection);
    std::string why;
    EXPECT_FALSE(project->separateLoadedResource(source, &why));
    EXPECT_NE(std::string::npos, why.find("it reflects no other file"));

    ASSERT_TRUE(project->separateLoadedResource(reflection, &why));
    EXPECT_FALSE(systemOf(handler).getReflSourcePath());
    EXPECT_TRUE(handler.externals().empty());
    EXPECT_EQ(1u, systemOf(handler).getNumEmitters());
    ASSERT_TRUE(handler.saveUnsavedLoadedResource());

    editAndSave(source, 99.0f);
    EXPECT_TRUE(project->syncAllReflections());
    EXPECT_EQ(30.0f, systemOf(handler).getFps());
}

}  // namespace
