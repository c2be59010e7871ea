#include <memory>
#include <string>
#include <vector>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include "particle_layout_editor/ple_export_handler.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"

namespace
{

using path = boost::filesystem::path;

// A project on disk whose effects the preview holds through a group of its own.
struct Host : Ple::ExportHandlerHost
{
    QTemporaryDir dir;
    std::unique_ptr<Plm::Project> project;
    unsigned int group = 0;
    std::vector<std::string> calls;

    Host()
    {
        const path root = dir.path().toStdString();
        project = Plm::Project::create(
            root / "p.sxproj", std::make_unique<Plm::ProjectSettings>(root, "effects", "textures"));
        group = *project->aquireGroupMask();
    }
    Plm::Project& modelProject() override { return *project; }
    void openPreviewResource(const path& file) override
    {
        calls.push_back("open " + file.filename().string());
        project->markResourceFixed(file, group);
        project->updateAllResourcesLoadState();
    }
    void closePreviewResource(const path& file) override
    {
        calls.push_back("close " + file.filename().string());
        project->markResourceReleased(file, group);
        project->updateAllResourcesLoadState();
    }
    Plm::System& system(const path& file)
    {
        return project->getResourceHandlerByPath(file)
            .getLoadedResource()
            .castToSystemResourceChecked()
            .getResource();
    }
};

TEST(PleExportHandler, KeepsOneCompilationPerEffectUpToDate)
{
    Host host;
    const path file =
        host.project->createSystem("fire", host.project->settings().getResourcesPath())->getPath();
    host.project->getResourceHandlerByPath(file).unloadSavedLoadedResource();
    Ple::ExportHandler handler(host);
    QSignalSpy rebuilt(&handler, &Ple::ExportHandler::resourceRebuilt);

    std::shared_ptr<Ple::ExportedResource> shown = handler.startHandleResourceExport(file);
    EXPECT_EQ(host.calls, std::vector<std::string>{"open fire.sxed"});
    ASSERT_TRUE(shown->data());
    ASSERT_TRUE(shown->data()->shell);
    EXPECT_EQ(shown->data()->shell->getSystem().getNumEmitters(), 1u);
    EXPECT_EQ(shown->data()->compilers.size(), 1u);  // no text target enabled
    EXPECT_EQ(handler.startHandleResourceExport(file), shown);

    // A change of the view alone compiles nothing; a change of what export makes does.
    host.system(file).getEmitter(0).setName("flame");
    handler.updateView();
    EXPECT_EQ(rebuilt.count(), 0);
    const auto before = shown->data()->shell;
    host.system(file).getEmitter(0).setEnabled(false);
    handler.updateView();
    ASSERT_EQ(rebuilt.count(), 1);
    EXPECT_EQ(rebuilt.takeFirst().at(0).toString().toStdString(), file.string());
    EXPECT_NE(shown->data()->shell, before);
    EXPECT_EQ(shown->data()->shell->getSystem().getNumEmitters(), 0u);

    // Nobody holds it any more: the preview lets the effect go, and once saved, so does the project.
    shown.reset();
    ASSERT_TRUE(host.project->getResourceHandlerByPath(file).saveUnsavedLoadedResource());
    handler.updateView();
    EXPECT_EQ(host.calls, (std::vector<std::string>{"open fire.sxed", "close fire.sxed"}));
    EXPECT_FALSE(host.project->getResourceHandlerByPath(file).isLoaded());
    QTest::qWait(1);  // the pass scheduled after a release finds nothing to do
    EXPECT_EQ(host.calls.size(), 2u);
}

TEST(PleExportHandler, EnabledTextTargetsAddTheirCompilers)
{
    Host host;
    Plm::ProjectSettings settings = host.project->settings();
    Plm::ExportSettingsJs js = settings.getExportSettingsJs();
    js.setEnabled(true);
    settings.setExportSettingsJs(js);
    Plm::ExportSettingsUnity unity = settings.getExportSettingsUnity();
    unity.setEnabled(true);
    settings.setExportSettingsUnity(unity);
    host.project->applySettings(settings);
    host.project->updateFoldersAndResourceLoadState();
    const path file =
        host.project->createSystem("smoke", host.project->settings().getResourcesPath())->getPath();

    Ple::ExportHandler handler(host);
    const auto shown = handler.startHandleResourceExport(file);
    ASSERT_TRUE(shown->data());
    ASSERT_EQ(shown->data()->compilers.size(), 3u);
    EXPECT_EQ(shown->data()->compilers[0], shown->data()->binCompiler);

    // An effect that goes from the project is forgotten.
    ASSERT_TRUE(host.project->removeButNotRefresh(file));
    handler.updateView();
    EXPECT_EQ(host.calls, std::vector<std::string>{"open smoke.sxed"});
}

}  // namespace
