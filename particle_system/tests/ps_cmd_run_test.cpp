// Runs `scintari run` (built beside this test program) on effects written by the test writer.

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <string>

#include <gtest/gtest.h>

#include "test_support/ps_test_effect_writer.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

std::string toolPath()
{
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    if (n <= 0)
        return {};
    std::string self(buffer, static_cast<size_t>(n));
    return self.substr(0, self.rfind('/') + 1) + "scintari";
}

struct Result
{
    int code = -1;
    std::string out;
};

Result runTool(const std::string& arguments)
{
    Result result;
    FILE* pipe = popen((toolPath() + " " + arguments + " 2>/dev/null").c_str(), "r");
    if (!pipe)
        return result;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0)
        result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string writeFile(const std::string& name, const std::vector<uint8_t>& bytes)
{
    const std::string path = testing::TempDir() + name;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return path;
}

class PsCmdRun : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (access(toolPath().c_str(), X_OK) != 0)
            GTEST_SKIP() << "scintari isn't built beside the tests";
    }
};

std::vector<uint8_t> sample(bool seeded)
{
    EffectWriter effect;
    effect.fps(10.0f);
    if (seeded)
        effect.fixedSeed(11);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(10.0f));
    const uint8_t life = emitter.parameterLifetime();
    emitter.terminatorLess(In{life, 0}, Ext(0.35f));
    emitter.updateChain({life}).maxParticles(10);
    return effect.bytes();
}

TEST_F(PsCmdRun, PrintsStatisticsAndParticles)
{
    const std::string path = writeFile("ps_cmd_run_sample.bin", sample(true));
    const Result r = runTool("run " + path + " --frames 8 --every 4 --dump-particles");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("pool computed "), std::string::npos);
    EXPECT_NE(r.out.find("fps 10 frame_time 0.1 presim 0 seed fixed 11\n"), std::string::npos)
        << r.out;
    EXPECT_NE(
        r.out.find(
            "emitter 0 max_particles 10 deep 10 operations 3 standalone 1 sorting 0 connected 0\n"),
        std::string::npos);
    EXPECT_NE(r.out.find("frame 4 time 0.4 particles 4 polygons 0\n"), std::string::npos) << r.out;
    EXPECT_NE(
        r.out.find("end steps 8 time 0.8 sub_frame 0 particles 4 polygons 0 render_calls 0\n"),
        std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("instance 0 emitter 0 particles 3\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("particle "), std::string::npos);
    // The computed pool and the used one agree.
    const size_t at = r.out.find("pool computed ");
    std::istringstream line(r.out.substr(at + 14));
    unsigned computed = 0, used = 0;
    std::string word;
    line >> computed >> word >> used;
    EXPECT_EQ(word, "used");
    EXPECT_EQ(computed, used);
}

TEST_F(PsCmdRun, UpdateStepsAndSeconds)
{
    const std::string path = writeFile("ps_cmd_run_seconds.bin", sample(true));
    // 0.25 s steps: the accumulator keeps a whole frame while the sum only equals it, and the
    // system time grows only by what each frame consumed of the current call's step: 4 calls
    // (1 s) run 9 frames, the time reads 0.7 and 0.1 stays in the accumulator.
    const Result r = runTool("run " + path + " --update-dt 0.25 --frames 4");
    ASSERT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("end steps 4 time 0.7 sub_frame 0.1 "), std::string::npos) << r.out;
    const Result s = runTool("run " + path + " --seconds 1");
    EXPECT_NE(s.out.find("end steps 10 "), std::string::npos) << s.out;
}

TEST_F(PsCmdRun, SeedMakesRunsRepeat)
{
    const std::string path = writeFile("ps_cmd_run_free.bin", sample(false));
    const Result a = runTool("run " + path + " --seed 5 --frames 3");
    EXPECT_EQ(a.code, 0);
    EXPECT_NE(a.out.find("seed context 5"), std::string::npos);
    EXPECT_EQ(a.out, runTool("run " + path + " --seed 5 --frames 3").out);
}

TEST_F(PsCmdRun, RefusesBadInputAndUsage)
{
    std::vector<uint8_t> bytes = sample(true);
    bytes.resize(bytes.size() / 2);
    EXPECT_EQ(runTool("run " + writeFile("ps_cmd_run_cut.bin", bytes)).code, 2);
    EXPECT_EQ(runTool("run /nonexistent/effect.bin").code, 2);
    EXPECT_EQ(runTool("run").code, 1);
    EXPECT_EQ(runTool("run x --frames -3").code, 1);
    EXPECT_EQ(runTool("run x --bogus").code, 1);
}

}  // namespace
