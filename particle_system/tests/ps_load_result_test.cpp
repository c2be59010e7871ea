// The host's calls that report refusals as values (ps_system_factory.h): each refuses what its
// throwing form throws for, with the kind, the words and, for damaged data, the byte; nothing
// escapes them.

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_system/ps_system_factory.h"
#include "ps_test_runtime.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// Quads shot upwards, living one second, at `fps`; `meshType` is the kind of its one mesh.
std::vector<uint8_t> fountain(float fps = 30.0f, uint8_t meshType = Ps::MF_Quads)
{
    EffectWriter effect;
    effect.fps(fps).fixedSeed(3);
    effect.material(Ps::MAT_Normal);
    effect.renderStyle(0, {});
    effect.mesh(64, meshType, false, true);
    effect.renderCalls(1);
    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(40.0f));
    const uint8_t velocity =
        e.parameterVelocityIniter(Ext(glm::vec3(0.0f, 5.0f, 0.0f)), false, false);
    const uint8_t position = e.parameterPositionIniter(false, Ext(glm::vec3(0.0f)));
    const uint8_t place = e.parameterPositionUpdater(Ext(In{position, 0}));
    const uint8_t life = e.parameterLifetime();
    e.terminatorLess(In{life, 0}, Ext(1.0f));
    PsTest::constructorQuads(e, PsTest::QuadsFields{});
    e.initBoth({velocity, position}).updateChain({place, life}).maxParticles(64);
    return effect.bytes();
}

std::vector<uint8_t> cut(std::vector<uint8_t> bytes, size_t size)
{
    bytes.resize(size);
    return bytes;
}

struct RefusedCase
{
    const char* name;
    std::vector<uint8_t> bytes;
    uint64_t budget;  // of the context
    Ps::HostErrorKind kind;
    const char* message;  // the start of the message
    bool hasOffset;
};

std::vector<RefusedCase> refusedCases()
{
    const std::vector<uint8_t> good = fountain();
    const uint64_t budget = Ps::Limits::kDefaultMemoryBudget;
    return {
        {"empty",
         {},
         budget,
         Ps::HostErrorKind::DataEndsEarly,
         "the data ends too early at byte 0",
         true},
        {"cut_in_half", cut(good, good.size() / 2), budget, Ps::HostErrorKind::DataEndsEarly,
         "the data ends too early at byte ", true},
        {"cut_by_one", cut(good, good.size() - 1), budget, Ps::HostErrorKind::DataEndsEarly,
         "the data ends too early at byte ", true},
        {"unknown_mesh_kind", fountain(30.0f, 7), budget, Ps::HostErrorKind::Damaged,
         "the effect is damaged at byte ", true},
        {"frame_rate_zero", fountain(0.0f), budget, Ps::HostErrorKind::Limit,
         "the effect's frame rate of 0 frames a second", false},
        {"frame_rate_too_high", fountain(5000.0f), budget, Ps::HostErrorKind::Limit,
         "the effect's frame rate of 5000 frames a second", false},
        {"beyond_the_budget", good, 64, Ps::HostErrorKind::Limit, "", false},
    };
}

TEST(PsLoadResult, AValidEffectLoadsRunsAndBuildsWithoutError)
{
    const std::vector<uint8_t> bytes = fountain();
    Ps::LoadResult loaded = Ps::loadSystem(bytes.data(), bytes.size(), PsTest::context());
    ASSERT_TRUE(loaded.ok()) << loaded.error.message;
    EXPECT_FALSE(loaded.error.failed());
    EXPECT_TRUE(loaded.error.message.empty());
    EXPECT_EQ(loaded.shell->getUsedPoolSize(), loaded.shell->getPoolSize());

    Ps::InstResult made =
        Ps::createSystemInst(loaded.shell->getSystem(), glm::vec3(0.0f), PsTest::kIdentity);
    ASSERT_TRUE(made.ok()) << made.error.message;
    Ps::SystemInst& inst = made.inst->get();
    for (int i = 0; i < 30; ++i)
        EXPECT_FALSE(
            Ps::updateSystemInst(inst, glm::vec3(0.0f), PsTest::kIdentity, 1.0f / 30.0f).failed());
    EXPECT_FALSE(Ps::constructSystemInst(inst, glm::vec3(0.0f, 0.0f, -1.0f),
                                         glm::vec3(0.0f, 1.0f, 0.0f), glm::vec3(1.0f, 0.0f, 0.0f),
                                         std::nullopt)
                     .failed());
    EXPECT_GT(inst.getStats().numParticles, 20u);
    EXPECT_EQ(inst.getStats().numPolygons, 2 * inst.getStats().numParticles);
    EXPECT_EQ(inst.getNumRenderCalls(), 1u);
}

TEST(PsLoadResult, RefusalsComeAsValuesWithKindWordsAndByte)
{
    for (const RefusedCase& c : refusedCases())
    {
        SCOPED_TRACE(c.name);
        Ps::MemManagedContext context;
        context.get().setMemoryBudget(c.budget);
        Ps::LoadResult loaded = Ps::loadSystem(c.bytes.data(), c.bytes.size(), context.get());
        EXPECT_FALSE(loaded.ok());
        EXPECT_EQ(loaded.error.kind, c.kind);
        EXPECT_EQ(loaded.error.message.rfind(c.message, 0), 0u) << loaded.error.message;
        EXPECT_FALSE(loaded.error.message.empty());
        EXPECT_EQ(loaded.error.offset.has_value(), c.hasOffset);
        if (loaded.error.offset)
        {
            EXPECT_LE(*loaded.error.offset, c.bytes.size());
            EXPECT_NE(loaded.error.message.find(std::to_string(*loaded.error.offset)),
                      std::string::npos);
        }
        // The throwing form refuses the same bytes.
        EXPECT_ANY_THROW(Ps::MemManagedSystemShell(
            c.bytes.data(), static_cast<uint32_t>(c.bytes.size()), context.get()));
    }
}

TEST(PsLoadResult, AnInstanceBeyondTheBudgetIsRefused)
{
    Ps::MemManagedContext context;
    const std::vector<uint8_t> bytes = fountain();
    Ps::LoadResult loaded = Ps::loadSystem(bytes.data(), bytes.size(), context.get());
    ASSERT_TRUE(loaded.ok());
    context.get().setMemoryBudget(loaded.shell->getPoolSize());
    Ps::InstResult made =
        Ps::createSystemInst(loaded.shell->getSystem(), glm::vec3(0.0f), PsTest::kIdentity);
    EXPECT_FALSE(made.ok());
    EXPECT_EQ(made.error.kind, Ps::HostErrorKind::Limit);
    EXPECT_NE(made.error.message.find("one instance of the effect"), std::string::npos)
        << made.error.message;
}

TEST(PsLoadResult, ARefusedFrameTimeLeavesTheInstanceAsItWas)
{
    PsTest::Running running = PsTest::run(fountain());
    Ps::SystemInst& inst = running.get();
    ASSERT_FALSE(Ps::updateSystemInst(inst, glm::vec3(0.0f), PsTest::kIdentity, 0.5f).failed());
    const float time = inst.getTime();
    const uint32_t particles = inst.getStats().numParticles;
    const float refused[] = {-0.1f, std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(), 1.0e6f};
    for (float dt : refused)
    {
        const Ps::HostError error =
            Ps::updateSystemInst(inst, glm::vec3(0.0f), PsTest::kIdentity, dt);
        EXPECT_EQ(error.kind, Ps::HostErrorKind::UpdateTime) << dt;
        EXPECT_FALSE(error.message.empty());
        EXPECT_EQ(inst.getTime(), time);
        EXPECT_EQ(inst.getStats().numParticles, particles);
    }
    EXPECT_FALSE(Ps::updateSystemInst(inst, glm::vec3(0.0f), PsTest::kIdentity, 0.1f).failed());
    EXPECT_GT(inst.getTime(), time);
}

}  // namespace
