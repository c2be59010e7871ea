// A project as the editor meets one: 500 effect files in ten folders, opened (the project file
// and the head of every file), and refreshed after ten of the files changed on disk.
#include <cstdlib>
#include <ctime>
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

constexpr int kFolders = 10;
constexpr int kFilesPerFolder = 50;
constexpr int kChangedFiles = 10;

// The project on disk, made once for the whole run and removed at its end.
class ProjectOnDisk
{
public:
    ProjectOnDisk()
    {
        std::string pattern = (bfs::temp_directory_path() / "bench_project_XXXXXX").string();
        if (!mkdtemp(&pattern[0]))
            std::abort();
        dir_ = pattern;
        Plm::Project::create(projectFile(),
                             std::make_unique<Plm::ProjectSettings>(dir_, "effects", "textures"));
        for (int f = 0; f < kFolders; ++f)
        {
            const bfs::path folder = dir_ / "effects" / ("folder" + std::to_string(f));
            bfs::create_directories(folder);
            for (int i = 0; i < kFilesPerFolder; ++i)
                makeEffect(folder / ("effect" + std::to_string(i) + ".sxed"));
        }
        // The content the changed files get: another effect, of other revisions.
        makeEffect(dir_ / "other.sxed");
    }
    ~ProjectOnDisk()
    {
        boost::system::error_code ignored;
        bfs::remove_all(dir_, ignored);
    }

    bfs::path projectFile() const { return dir_ / "bench.sxproj"; }
    bfs::path changedFile(int index) const
    {
        return dir_ / "effects" / ("folder" + std::to_string(index % kFolders)) /
               ("effect" + std::to_string(index) + ".sxed");
    }
    // Writes new content into the ten files, with a write time the project hasn't seen.
    void changeFiles(std::time_t time) const
    {
        for (int i = 0; i < kChangedFiles; ++i)
        {
            bfs::copy_file(dir_ / "other.sxed", changedFile(i),
                           bfs::copy_option::overwrite_if_exists);
            bfs::last_write_time(changedFile(i), time);
        }
    }

private:
    static void makeEffect(const bfs::path& file)
    {
        Plm::ProjectResourceHandler::createNewStandalone(
            file, std::make_unique<Plm::ProjectResourceSystem>(Plm::Generation::simpleSystem()));
    }

    bfs::path dir_;
};

const ProjectOnDisk& projectOnDisk()
{
    static ProjectOnDisk project;
    return project;
}

void BM_ProjectOpen500Files(benchmark::State& state)
{
    const ProjectOnDisk& disk = projectOnDisk();
    for (auto _ : state)
    {
        std::unique_ptr<Plm::Project> project = Plm::Project::open(disk.projectFile());
        project->updateFoldersAndResourceLoadState();
        if (project->resources().size() != kFolders * kFilesPerFolder)
            state.SkipWithError("not every file was read");
        benchmark::DoNotOptimize(project.get());
    }
}
BENCHMARK(BM_ProjectOpen500Files)->Unit(benchmark::kMillisecond);

void BM_ProjectRefreshAfter10Changes(benchmark::State& state)
{
    const ProjectOnDisk& disk = projectOnDisk();
    std::unique_ptr<Plm::Project> project = Plm::Project::open(disk.projectFile());
    project->updateFoldersAndResourceLoadState();
    std::time_t time = std::time(nullptr) + 100;
    for (auto _ : state)
    {
        state.PauseTiming();
        disk.changeFiles(++time);
        state.ResumeTiming();
        Plm::ProjectRefreshResult result;
        project->refresh(result);
        benchmark::DoNotOptimize(result);
        state.PauseTiming();
        // Each changed file must have been read again, so that the next pass sees no change.
        for (int i = 0; i < kChangedFiles; ++i)
        {
            if (project->getResourceHandlerByPath(disk.changedFile(i)).wasFileChangedOutside())
                state.SkipWithError("a changed file wasn't read again");
        }
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ProjectRefreshAfter10Changes)->Unit(benchmark::kMillisecond);

// The same refresh when nothing changed: the cost of looking at the disk alone.
void BM_ProjectRefreshUnchanged(benchmark::State& state)
{
    const ProjectOnDisk& disk = projectOnDisk();
    std::unique_ptr<Plm::Project> project = Plm::Project::open(disk.projectFile());
    project->updateFoldersAndResourceLoadState();
    for (auto _ : state)
    {
        Plm::ProjectRefreshResult result;
        project->refresh(result);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(BM_ProjectRefreshUnchanged)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
