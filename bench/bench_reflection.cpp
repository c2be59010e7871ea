// Reflected effects in a project of 50 effect files: ten of them reflect one source of 20
// emitters. One setting of the source is edited and saved, then every reflection follows it
// (syncAllReflections), each written at once. Measured with the reflections on disk only (the
// pass loads and unloads them) and with the editor holding them open.
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/filesystem/operations.hpp>

#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"

namespace
{

namespace bfs = boost::filesystem;

constexpr int kEffects = 50;
constexpr int kReflections = 10;
constexpr int kSourceEmitters = 20;

class ReflectingProject
{
public:
    ReflectingProject()
    {
        std::string pattern = (bfs::temp_directory_path() / "bench_reflection_XXXXXX").string();
        if (!mkdtemp(&pattern[0]))
            std::abort();
        dir_ = pattern;
        project_ = Plm::Project::create(
            dir_ / "bench.sxproj",
            std::make_unique<Plm::ProjectSettings>(dir_, "effects", "textures"));
        const bfs::path effects = project_->settings().getResourcesPath();

        std::unique_ptr<Plm::System> system = Plm::Generation::simpleSystem();
        for (int i = 1; i < kSourceEmitters; ++i)
            system->addEmitter(Plm::Generation::simpleEmitter("Emitter" + std::to_string(i)));
        source_ = project_->getRootFolder()
                      .createResource(
                          "source", std::make_unique<Plm::ProjectResourceSystem>(std::move(system)))
                      ->getPath();
        project_->syncResourcesWithFolders();
        for (int i = 0; i < kReflections; ++i)
            reflections_.push_back(
                project_->addReflectedSystem(effects, source_, "variant" + std::to_string(i))
                    ->getPath());
        for (int i = 1 + kReflections; i < kEffects; ++i)
            project_->createSystem("plain" + std::to_string(i), effects);
        project_->updateAllResourcesLoadState();
        editor_ = *project_->aquireGroupMask();
        project_->markResourceFixed(source_, editor_);
        project_->updateAllResourcesLoadState();
    }
    ~ReflectingProject()
    {
        project_.reset();
        boost::system::error_code ignored;
        bfs::remove_all(dir_, ignored);
    }

    Plm::Project& project() const { return *project_; }
    // The editor holds the reflections open too, or lets them go.
    void holdReflections(bool hold) const
    {
        for (const bfs::path& file : reflections_)
        {
            if (hold)
                project_->markResourceFixed(file, editor_);
            else
                project_->markResourceReleased(file, editor_);
        }
        project_->updateAllResourcesLoadState();
    }
    // One setting of the source, edited in the editor and saved.
    void editSource(float fps) const
    {
        Plm::ProjectResourceHandler& handler = project_->getResourceHandlerByPath(source_);
        handler.getLoadedResource().castToSystemResourceChecked().getResource().setFps(fps);
        handler.saveUnsavedLoadedResource();
    }
    float reflectionFps(int index) const
    {
        auto file = Plm::ProjectResourceHandler::openStandalone(reflections_[index]);
        file->load();
        return file->getLoadedResource().castToSystemResourceChecked().getResource().getFps();
    }

private:
    bfs::path dir_;
    std::unique_ptr<Plm::Project> project_;
    bfs::path source_;
    std::vector<bfs::path> reflections_;
    unsigned int editor_ = 0;
};

ReflectingProject& reflectingProject()
{
    static ReflectingProject project;
    return project;
}

void syncAfterEdit(benchmark::State& state, bool held)
{
    ReflectingProject& project = reflectingProject();
    project.holdReflections(held);
    float fps = 30.0f;
    for (auto _ : state)
    {
        state.PauseTiming();
        fps = fps == 30.0f ? 31.0f : 30.0f;
        project.editSource(fps);
        state.ResumeTiming();
        Plm::ReflectionSyncReport report;
        project.project().syncAllReflections(&report);
        state.PauseTiming();
        if (report.changed.size() != kReflections || !report.problems.empty())
            state.SkipWithError("not every reflection followed its source");
        state.ResumeTiming();
    }
    if (project.reflectionFps(kReflections - 1) != fps)
        state.SkipWithError("the last reflection on disk doesn't have the source's setting");
}

void BM_SyncTenReflectionsOnDisk(benchmark::State& state) { syncAfterEdit(state, false); }
BENCHMARK(BM_SyncTenReflectionsOnDisk)->Unit(benchmark::kMillisecond);

void BM_SyncTenReflectionsHeldOpen(benchmark::State& state) { syncAfterEdit(state, true); }
BENCHMARK(BM_SyncTenReflectionsHeldOpen)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
