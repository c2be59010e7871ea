// The samples project as the build writes it: every effect loads, compiles without an error,
// plays and draws something, with textures that are there. The tool is run as a user runs it.
#include <cstdlib>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <sys/wait.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <gtest/gtest.h>
#include <QtGui/QImage>

#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"

namespace
{

namespace bfs = boost::filesystem;

const bfs::path kSamples = SAMPLES_DIR;
const bfs::path kEffects = kSamples / "effects";
const bfs::path kTextures = kSamples / "textures";

// The effects the generator writes; a test below checks that the folder holds these and no more.
const char* const kEffectFiles[] = {
    "fire.sxed", "smoke.sxed", "sparks.sxed",       "trail.sxed",           "fireworks.sxed",
    "dust.sxed", "path.sxed",  "painted_area.sxed", "expression_ring.sxed", "curves.sxed",
};

struct Output
{
    int code = -1;
    std::string out;
    std::string err;
};

std::string readFile(const bfs::path& file)
{
    std::ifstream stream(file.string(), std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// A folder of this run's own for what the tool writes, removed at the end.
const bfs::path& scratch()
{
    struct Folder
    {
        bfs::path path = bfs::temp_directory_path() / bfs::unique_path("samples_test-%%%%%%%%");
        Folder() { bfs::create_directories(path); }
        ~Folder()
        {
            boost::system::error_code error;
            bfs::remove_all(path, error);
        }
    };
    static const Folder folder;
    return folder.path;
}

// Runs the tool with the arguments (each quoted); its output goes to files named by `name`.
Output runTool(const std::string& name, const std::string& arguments)
{
    const bfs::path& folder = scratch();
    const bfs::path out = folder / (name + ".out");
    const bfs::path err = folder / (name + ".err");
    const std::string command = std::string("\"") + SAMPLES_TOOL + "\" " + arguments + " >\"" +
                                out.string() + "\" 2>\"" + err.string() + "\"";
    Output result;
    const int status = std::system(command.c_str());
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = readFile(out);
    result.err = readFile(err);
    return result;
}

std::string quoted(const bfs::path& path) { return "\"" + path.string() + "\""; }

class SampleEffect : public ::testing::TestWithParam<const char*>
{
protected:
    bfs::path file() const { return kEffects / GetParam(); }
    std::string stem() const { return bfs::path(GetParam()).stem().string(); }
};

TEST_P(SampleEffect, LoadsAndCompilesWithoutAnError)
{
    std::shared_ptr<Plm::ProjectResourceHandler> handler =
        Plm::ProjectResourceHandler::openStandalone(file());
    ASSERT_TRUE(handler->load()) << file();
    const Plm::System& system =
        handler->getLoadedResource().castToSystemResourceChecked().getResource();
    ASSERT_GT(system.getNumEmitters(), 0u);
    EXPECT_EQ(system.getSeedType(), Ps::SST_Fixed) << "a sample plays the same each time";
    const auto compiler = Plm::SystemExportCompilerBin::create(system);
    EXPECT_TRUE(compiler->getErrorEmitterExporters().empty());

    // The tool says nothing on standard error when every emitter compiles.
    const bfs::path compiled = scratch() / (stem() + ".bin");
    const Output tool =
        runTool(stem() + "_compile", "compile " + quoted(file()) + " -o " + quoted(compiled));
    EXPECT_EQ(tool.code, 0) << tool.err;
    EXPECT_EQ(tool.err, "");
    EXPECT_GT(bfs::file_size(compiled), 0u);
}

TEST_P(SampleEffect, PlaysParticlesAfterASecond)
{
    const Output run = runTool(stem() + "_run", "run " + quoted(file()) + " --seconds 1");
    ASSERT_EQ(run.code, 0) << run.err;
    std::smatch match;
    ASSERT_TRUE(
        std::regex_search(run.out, match, std::regex("\nend steps [0-9]+ .* particles ([0-9]+) ")))
        << run.out;
    EXPECT_GT(std::stoul(match[1]), 0u);
}

TEST_P(SampleEffect, DrawsAFrameWithItsTextures)
{
    const bfs::path image = scratch() / (stem() + ".png");
    bfs::remove(image);
    const Output render = runTool(
        stem() + "_render", "render " + quoted(file()) + " --time 1.5 --size 96x96" +
                                " --textures " + quoted(kTextures) + " --out " + quoted(image));
    ASSERT_EQ(render.code, 0) << render.err;
    // A texture that can't be loaded is drawn as a checkerboard and told as a warning.
    EXPECT_EQ(render.err.find("warning: texture"), std::string::npos) << render.err;

    QImage drawn(QString::fromStdString(image.string()));
    ASSERT_FALSE(drawn.isNull());
    // The background is black; the effect lights a good number of pixels.
    int lit = 0;
    for (int y = 0; y < drawn.height(); ++y)
        for (int x = 0; x < drawn.width(); ++x)
            if ((drawn.pixel(x, y) & 0xffffffu) != 0u)
                ++lit;
    EXPECT_GT(lit, 50) << image;
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleEffect, ::testing::ValuesIn(kEffectFiles),
                         [](const ::testing::TestParamInfo<const char*>& info)
                         { return bfs::path(info.param).stem().string(); });

// The table above is the whole folder, and the project file stands beside it.
TEST(SamplesProject, HoldsTheEffectsTested)
{
    EXPECT_TRUE(bfs::is_regular_file(kSamples / "Samples.sxproj"));
    std::set<std::string> found;
    for (const bfs::directory_entry& entry : bfs::directory_iterator(kEffects))
        found.insert(entry.path().filename().string());
    EXPECT_EQ(found, std::set<std::string>(std::begin(kEffectFiles), std::end(kEffectFiles)));
}

}  // namespace
