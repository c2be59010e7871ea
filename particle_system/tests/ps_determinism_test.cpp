// A fixed-seed effect gives the same particles and meshes whatever the optimiser did: the
// effect runs here, against the optimised runtime, and in ps_determinism_runner, which is built
// from the same sources without optimisation; the two records are compared byte for byte.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "ps_determinism_dump.h"
#include "ps_functions_effect.h"
#include "ps_test_runtime.h"

namespace
{

constexpr uint32_t kFrames = 360;
constexpr uint32_t kEvery = 45;

std::string writeFile(const std::string& name, const std::vector<uint8_t>& bytes)
{
    const std::string path = testing::TempDir() + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
}

struct RunnerResult
{
    int code = -1;
    std::string out;
    std::vector<uint8_t> record;
};

RunnerResult runRunner(const std::vector<uint8_t>& effect, const std::string& tag)
{
    RunnerResult result;
    const std::string effectPath = writeFile("ps_determinism_" + tag + ".bin", effect);
    const std::string recordPath = testing::TempDir() + "ps_determinism_" + tag + ".record";
    std::remove(recordPath.c_str());
    const std::string command = std::string(PS_DETERMINISM_RUNNER) + " " + effectPath + " " +
                                std::to_string(kFrames) + " " + std::to_string(kEvery) + " " +
                                recordPath;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return result;
    char buffer[1024];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0)
        result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.record = readFile(recordPath);
    return result;
}

std::vector<uint8_t> runHere(const std::vector<uint8_t>& effect, PsDeterminism::Summary& summary)
{
    std::unique_ptr<Ps::MemManagedSystemShell> shell = PsTest::load(effect);
    return PsDeterminism::runAndRecord(shell->getSystem(), kFrames, kEvery, &summary);
}

// The first offset at which two records differ, for the failure message.
std::string firstDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    const size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i)
        if (a[i] != b[i])
            return "first difference at byte " + std::to_string(i) + " of " + std::to_string(n);
    return "sizes " + std::to_string(a.size()) + " and " + std::to_string(b.size());
}

class PsDeterminism : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (access(PS_DETERMINISM_RUNNER, X_OK) != 0)
            GTEST_SKIP() << "ps_determinism_runner isn't built";
    }
};

TEST_F(PsDeterminism, UnoptimisedRuntimeGivesTheSameParticlesAndMeshes)
{
    for (uint32_t seed : {7u, 90210u})
    {
        const std::vector<uint8_t> effect = PsTest::functionsEffect(seed);
        ::PsDeterminism::Summary summary;
        const std::vector<uint8_t> here = runHere(effect, summary);
        // The record is worth comparing: particles alive, quads built.
        EXPECT_GT(summary.maxParticles, 50u) << seed;
        EXPECT_GT(summary.finalVertices, 200u) << seed;
        EXPECT_GT(summary.finalRenderCalls, 0u) << seed;

        const RunnerResult there = runRunner(effect, std::to_string(seed));
        ASSERT_EQ(0, there.code) << there.out;
        // The runner really is the unoptimised build.
        EXPECT_NE(std::string::npos, there.out.find("optimised 0\n")) << there.out;
        ASSERT_EQ(here.size(), there.record.size()) << firstDifference(here, there.record);
        EXPECT_TRUE(here == there.record) << seed << ": " << firstDifference(here, there.record);
    }
}

TEST_F(PsDeterminism, TheRecordTellsSeedsApart)
{
    // A record that two seeds can't tell apart would compare equal for nothing.
    ::PsDeterminism::Summary a, b;
    const std::vector<uint8_t> first = runHere(PsTest::functionsEffect(7), a);
    const std::vector<uint8_t> second = runHere(PsTest::functionsEffect(8), b);
    EXPECT_NE(first, second);
    // And the same seed twice in one build gives the same record.
    EXPECT_EQ(first, runHere(PsTest::functionsEffect(7), a));
}

TEST_F(PsDeterminism, RunnerRefusesAMissingFile)
{
    const std::string command = std::string(PS_DETERMINISM_RUNNER) + " " + testing::TempDir() +
                                "no_such_effect.bin 10 5 " + testing::TempDir() +
                                "unused.record 2>/dev/null";
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(2, WEXITSTATUS(status));
}

}  // namespace
