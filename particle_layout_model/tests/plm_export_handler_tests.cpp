#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_handler.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_temp_dir.h"

namespace
{

using namespace Plm;
using path = boost::filesystem::path;
using Handler = std::shared_ptr<ProjectResourceHandler>;

std::string text(const path& file)
{
    const std::vector<uint8_t> bytes = PlmTest::readBytes(file);
    return std::string(bytes.begin(), bytes.end());
}

void writeText(const path& file, const std::string& content)
{
    boost::filesystem::create_directories(file.parent_path());
    std::ofstream(file.string()) << content;
}

struct ExportHandlers : ::testing::Test
{
    PlmTest::TempDir dir;
    std::unique_ptr<Project> project = Project::create(
        dir / "p.sxproj", std::make_unique<ProjectSettings>(dir.path(), "effects", "textures"));
    ExportHandler& cs = project->exportHandlerCs();
    ExportHandler& js = project->exportHandler(EH_Js);
    ExportHandler& unity = project->exportHandlerUnity();

    // A new effect at a path below the resources folder, known to every target.
    Handler effect(const std::string& relative)
    {
        const path file = project->settings().getResourcesPath() / relative;
        boost::filesystem::create_directories(file.parent_path());
        project->updateFoldersAndResourceLoadState();
        Handler handler = project->createSystem(file.stem().string(), file.parent_path());
        EXPECT_EQ(handler->getPath(), file);
        return handler;
    }
    void enable(bool js, bool cs, bool unity)
    {
        ProjectSettings settings = project->settings();
        ExportSettingsJs j = settings.getExportSettingsJs();
        ExportSettingsCs c = settings.getExportSettingsCs();
        ExportSettingsUnity u = settings.getExportSettingsUnity();
        j.setEnabled(js);
        c.setEnabled(cs);
        u.setEnabled(unity);
        settings.setExportSettingsJs(j);
        settings.setExportSettingsCs(c);
        settings.setExportSettingsUnity(u);
        project->applySettings(settings);
    }
};

// Where each target puts an effect, the class name, and what the service is told.
TEST_F(ExportHandlers, PathsNamesAndParameters)
{
    struct Case
    {
        const char* effect;
        const char* js;
        const char* jsClass;
        const char* cs;
        const char* csClass;
    };
    const Case cases[] = {
        {"smoke.sxed", "smoke.js", "smoke", "Effect_smoke.cs", "Effect_smoke"},
        {"fx/smoke.sxed", "fx/smoke.js", "fx_smoke", "Effect_fx_smoke.cs", "Effect_fx_smoke"},
        {"big fx/hot-fire.sxed", "big fx/hot-fire.js", "big_fx_hot_fire",
         "Effect_big_fx_hot_fire.cs", "Effect_big_fx_hot_fire"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.effect);
        const Handler h = effect(c.effect);
        EXPECT_EQ(js.getExportRelativePath(*h), c.js);
        EXPECT_EQ(js.getResourceClassName(*h), c.jsClass);
        EXPECT_EQ(cs.getExportRelativePath(*h), c.cs);
        EXPECT_EQ(cs.getResourceClassName(*h), c.csClass);
        EXPECT_EQ(unity.getExportRelativePath(*h), path(c.js).replace_extension("cs"));
        EXPECT_EQ(js.getExportPath(*h), dir.path() / Const::exportJsRelativeRootPath / c.js);
        EXPECT_EQ(cs.getExportServerParamsList(*h),
                  (ExportHandler::Params{{"className", c.csClass}, {"type", "generic"}}));
        EXPECT_EQ(unity.getExportServerParamsList(*h)[1].second, "unity");
        EXPECT_EQ(js.getExportServerParamsList(*h),
                  (ExportHandler::Params{{"className", c.jsClass}}));
    }
    // Two effects that flatten to one name share the generic C# file.
    EXPECT_EQ(cs.getExportRelativePath(*effect("a/b.sxed")),
              cs.getExportRelativePath(*effect("a_b.sxed")));

    ExportSettingsJs xhr = project->settings().getExportSettingsJs();
    xhr.setType(ExportSettingsJs::T_Xhr);
    ProjectSettings settings = project->settings();
    settings.setExportSettingsJs(xhr);
    project->applySettings(settings);
    EXPECT_TRUE(js.getExportServerParamsList(*effect("x.sxed")).empty());
    EXPECT_EQ(js.getExportServerTarget(), "JS");
    EXPECT_EQ(cs.getExportServerTarget(), "CS");
    EXPECT_EQ(unity.getExportServerTargetVersion(), "1.0.0");
}

// The version in the exported file's head decides whether an effect needs export.
TEST_F(ExportHandlers, ExportStateFollowsTheFileHead)
{
    const Handler h = effect("fx/fire.sxed");
    js.updateExportStatus(*h);
    EXPECT_TRUE(js.doesNeedExport(*h));  // never exported

    boost::optional<ExportHandler::FormatErr> error;
    js.updateExportedResource(*h, {'a', 'b'}, error);
    ASSERT_FALSE(error);
    std::ostringstream head;
    head << "// " << h->getExportRevision() << "\n\nab";
    EXPECT_EQ(text(js.getExportPath(*h)), head.str());
    EXPECT_FALSE(js.doesNeedExport(*h));  // at once

    // A change of the view alone doesn't need export; a change of what export makes does.
    ProjectResourceSystem& resource = h->getLoadedResource().castToSystemResourceChecked();
    resource.getResource().getEmitter(0).setName("renamed");
    EXPECT_FALSE(js.doesNeedExport(*h));
    resource.getResource().setFps(60.0f);
    EXPECT_TRUE(js.doesNeedExport(*h));

    // A file without a head, or deleted by hand, has no version.
    js.updateExportedResource(*h, {}, error);
    EXPECT_FALSE(js.doesNeedExport(*h));
    // (A file rewritten by hand within the same second shows no new time: set one.)
    writeText(js.getExportPath(*h), "export default {}\n");
    boost::filesystem::last_write_time(
        js.getExportPath(*h), boost::filesystem::last_write_time(js.getExportPath(*h)) - 10);
    js.updateExportStatus(*h);
    EXPECT_TRUE(js.doesNeedExport(*h));
    js.updateExportedResource(*h, {}, error);
    boost::filesystem::remove(js.getExportPath(*h));
    js.updateExportStatus(*h);
    EXPECT_TRUE(js.doesNeedExport(*h));
    js.removeExportedFileIfExists(*h);  // nothing there: no harm

    // A file that can't be written (a folder stands in its place): the error names it, and
    // nothing is left beside it.
    boost::filesystem::create_directories(unity.getExportPath(*h));
    unity.updateExportedResource(*h, {'x'}, error);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ExportHandler::ER_CannotOpenFile);
    EXPECT_EQ(error->params, std::vector<std::string>{unity.getExportPath(*h).string()});
    EXPECT_EQ(std::distance(boost::filesystem::directory_iterator(unity.rootPath() / "fx"),
                            boost::filesystem::directory_iterator()),
              1);
    error = boost::none;

    // A root that can't be made: the error names the folder.
    writeText(dir.path() / "blocked", "a file in the way");
    ExportSettingsCs blocked = project->settings().getExportSettingsCs();
    blocked.setRelativeRootPath("blocked/cs");
    ProjectSettings settings = project->settings();
    settings.setExportSettingsCs(blocked);
    project->applySettings(settings);
    cs.updateExportedResource(*h, {}, error);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ExportHandler::ER_CannotCreateDirectory);
    EXPECT_EQ(error->params, std::vector<std::string>{(dir.path() / "blocked/cs").string()});
}

// A clean removes only the target's files that belong to no known effect, and keeps folders.
TEST_F(ExportHandlers, CleanRemovesOnlyUnknownFilesOfItsExtension)
{
    const Handler kept = effect("fx/kept.sxed");
    boost::optional<ExportHandler::FormatErr> error;
    js.updateExportedResource(*kept, {}, error);
    const path root = js.rootPath();
    for (const char* stray : {"old.js", "fx/gone.js", "deep/er/stale.js"})
        writeText(root / stray, "x");
    for (const char* other : {"notes.txt", "fx/kept.json", "script.jsx"})
        writeText(root / other, "x");

    EXPECT_EQ(js.cleanExportDirectory(), 3u);
    EXPECT_TRUE(boost::filesystem::exists(js.getExportPath(*kept)));
    for (const char* other : {"notes.txt", "fx/kept.json", "script.jsx"})
        EXPECT_TRUE(boost::filesystem::exists(root / other)) << other;
    EXPECT_TRUE(boost::filesystem::is_directory(root / "deep/er"));
    EXPECT_EQ(js.cleanExportDirectory(), 0u);
    EXPECT_EQ(cs.cleanExportDirectory(), 0u);  // no folder at all

    js.removeResource(kept->getPath());
    EXPECT_EQ(js.cleanExportDirectory(), 1u);
}

// The project over its targets: only enabled ones count, and exported files follow moves.
TEST_F(ExportHandlers, ProjectAsksTheEnabledTargets)
{
    const Handler fire = effect("fire.sxed");
    EXPECT_FALSE(project->doesResourceNeedExport(*fire));
    EXPECT_TRUE(project->makeUnexportedResourcesList().empty());
    EXPECT_EQ(project->cleanExportDirectories(), 0u);

    enable(true, false, true);
    project->updateAllResourcesExportStatus();
    EXPECT_EQ(*project->doesResourceNeedExport(*fire),
              (std::vector<EnumExportHandlers>{EH_Js, EH_Unity}));
    const auto list = project->makeUnexportedResourcesList();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1], std::make_pair(EH_Unity, fire->getPath()));

    boost::optional<ExportHandler::FormatErr> error;
    for (ExportHandler* target : {&js, &unity, &cs})
        target->updateExportedResource(*fire, {}, error);
    EXPECT_FALSE(project->doesResourceNeedExport(*fire));
    const path oldJs = js.getExportPath(*fire), oldCs = cs.getExportPath(*fire);

    // Moved into a folder: the enabled targets' files go at once; the disabled target's stay.
    boost::filesystem::create_directories(project->settings().getResourcesPath() / "fx");
    ASSERT_TRUE(project->moveRenameResourceButNotRefresh(
        fire->getPath(), project->settings().getResourcesPath() / "fx/fire.sxed"));
    EXPECT_FALSE(boost::filesystem::exists(oldJs));
    EXPECT_TRUE(boost::filesystem::exists(oldCs));
    project->updateFoldersAndResourceLoadState();
    const Handler moved =
        project->findResourceHandlerByPath(project->settings().getResourcesPath() / "fx/fire.sxed");
    ASSERT_TRUE(moved);
    EXPECT_EQ(js.getExportRelativePath(*moved), "fx/fire.js");
    EXPECT_EQ(*project->doesResourceNeedExport(*moved),
              (std::vector<EnumExportHandlers>{EH_Js, EH_Unity}));
    // The disabled target's file of the old name is no one's any more, but only enabled
    // targets clean.
    EXPECT_EQ(project->cleanExportDirectories(), 0u);
    enable(true, true, true);
    EXPECT_EQ(project->cleanExportDirectories(), 1u);
}

TEST(ExportNames, String2NameKeepsOnlyClassicLettersAndDigits)
{
    EXPECT_EQ(string2Name("a/b c-d.e_9"), "a_b_c_d_e_9");
    EXPECT_EQ(string2Name("\xc3\xa9t\xc3\xa9"), "__t__");
}

}  // namespace
