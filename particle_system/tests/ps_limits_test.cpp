// The runtime's bounds: effects beyond them are refused at load, calls beyond them when they are
// made, each with a LimitException that says in words what is wrong; effects within them run as
// before, up to the edge of each bound.

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system_factory.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"
#include "revision_saveload/sl_loader_bin_array.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;
using Kind = Ps::LimitException::Kind;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// One emitter shooting `rate` particles a second that live a second.
std::vector<uint8_t> effectAt(float fps, float presim = 0.0f, float rate = 10.0f)
{
    EffectWriter effect;
    effect.fps(fps).presim(presim).fixedSeed(3);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(rate));
    const uint8_t life = emitter.parameterLifetime();
    emitter.terminatorLess(In{life, 0}, Ext(1.0f));
    emitter.updateChain({life}).maxParticles(64);
    return effect.bytes();
}

// Runs `call` and checks that it throws a LimitException of `kind` whose text holds each of
// `words`.
void expectLimit(const std::function<void()>& call, Kind kind, std::vector<std::string> words,
                 const std::string& label)
{
    try
    {
        call();
        ADD_FAILURE() << label << ": not refused";
    }
    catch (const Ps::LimitException& e)
    {
        EXPECT_EQ(kind, e.getKind()) << label << ": " << e.what();
        for (const std::string& word : words)
            EXPECT_NE(std::string(e.what()).find(word), std::string::npos)
                << label << ": \"" << e.what() << "\" lacks \"" << word << "\"";
    }
}

// The first loading pass alone, which sizes the pool before anything is allocated.
uint32_t firstPass(const std::vector<uint8_t>& bytes)
{
    Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
    return Ps::SystemFactory::computePoolSize(loader, PsTest::context());
}

TEST(PsLimits, FrameRateOutsideItsRangeIsRefusedByBothLoadingPasses)
{
    const float refused[] = {0.0f, -5.0f, kNaN, kInf, -kInf, 0.999f, 1000.01f, 1e9f, 1.7e-7f};
    for (float fps : refused)
    {
        const std::vector<uint8_t> bytes = effectAt(fps);
        const std::string label = "fps " + std::to_string(fps);
        expectLimit([&] { firstPass(bytes); }, Ps::LimitException::LK_FrameRate,
                    {"frame rate", "1 to 1000"}, label);
        expectLimit([&] { PsTest::load(bytes); }, Ps::LimitException::LK_FrameRate, {"frame rate"},
                    label);
    }
    for (float fps : {1.0f, 30.0f, 1000.0f})
    {
        PsTest::Running r = PsTest::run(effectAt(fps));
        EXPECT_EQ(1.0f / fps, r.get().getSystem().getFrameTime());
        r.get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity);
        EXPECT_EQ(1.0f / fps, r.get().getTime());
    }
}

TEST(PsLimits, PresimulationMustBeFiniteAndHoldAtMostTheFramesOfOneUpdate)
{
    struct Row
    {
        float fps;
        float presim;
        const char* word;
    };
    const Row refused[] = {
        {30.0f, kNaN, "not a finite"},
        {30.0f, kInf, "not a finite"},
        {30.0f, -1.0f, "not a finite"},
        {30.0f, 120.1f, "3603 frames"},
        {1.0f, 3601.0f, "3601 frames"},
        {1000.0f, 3.61f, "3610 frames"},
        {30.0f, 2.6e6f, "more than the allowed 3600"},
    };
    for (const Row& row : refused)
    {
        const std::vector<uint8_t> bytes = effectAt(row.fps, row.presim);
        const std::string label =
            "presim " + std::to_string(row.presim) + " at " + std::to_string(row.fps);
        expectLimit([&] { firstPass(bytes); }, Ps::LimitException::LK_PresimTime,
                    {"presimulation", row.word}, label);
        expectLimit([&] { PsTest::load(bytes); }, Ps::LimitException::LK_PresimTime,
                    {"presimulation"}, label);
    }
    // The longest presimulations run their frames inside the constructor, as any other.
    const Row accepted[] = {
        {30.0f, 120.0f, ""}, {1.0f, 3600.0f, ""}, {4.0f, 900.0f, ""}, {30.0f, 1e-39f, ""}};
    for (const Row& row : accepted)
    {
        PsTest::Running r = PsTest::run(effectAt(row.fps, row.presim));
        EXPECT_EQ(row.presim, r.get().getSystem().getPresimTime());
        EXPECT_LE(r.get().getSubFrameTime(), r.get().getSystem().getFrameTime());
        if (row.presim > 1.0f)
        {
            EXPECT_NEAR(row.presim, r.get().getTime() + r.get().getSubFrameTime(),
                        row.presim * 1e-4f);
        }
    }
}

// The effect of the reports, as the program's samples: a spark shower whose last byte, the top
// byte of the presimulation time, is set, or whose frame rate is nearly 0.
TEST(PsLimits, DamagedSampleEffectIsRefusedWithWords)
{
    std::vector<uint8_t> bytes = effectAt(30.0f, 0.0f, 50.0f);
    float presim = 0.0f;
    std::memcpy(&presim, bytes.data() + bytes.size() - 4, 4);
    ASSERT_EQ(0.0f, presim) << "the presimulation time is the last field";
    bytes.back() = 0x4a;
    std::memcpy(&presim, bytes.data() + bytes.size() - 4, 4);
    EXPECT_GT(presim, 1e6f);
    expectLimit([&] { PsTest::load(bytes); }, Ps::LimitException::LK_PresimTime,
                {"presimulation of 2.09715e+06 seconds"}, "presim byte");

    expectLimit([&] { PsTest::load(effectAt(1.0f / 6e6f)); }, Ps::LimitException::LK_FrameRate,
                {"1.66667e-07 frames a second"}, "frame of 6e6 s");
}

TEST(PsLimits, UpdateRefusesStepsBeyondItsBoundsAndKeepsTheInstance)
{
    const float refused[] = {
        kNaN, kInf, -kInf, -0.5f, -1e-30f, 1e30f, std::numeric_limits<float>::max(), 900.26f};
    for (float dt : refused)
    {
        PsTest::Running r = PsTest::run(effectAt(4.0f, 0.0f, 10.0f));
        PsTest::Running twin = PsTest::run(effectAt(4.0f, 0.0f, 10.0f));
        Ps::SystemInst& inst = r.get();
        inst.update(glm::vec3(1.0f), PsTest::kIdentity, 1.1f);
        twin.get().update(glm::vec3(1.0f), PsTest::kIdentity, 1.1f);
        const float time = inst.getTime();
        const float subFrame = inst.getSubFrameTime();
        const uint32_t particles = r.emitter().getNumActiveParticles();
        ASSERT_GT(particles, 0u);
        expectLimit([&] { inst.update(glm::vec3(5.0f), glm::quat(0.0f, 1.0f, 0.0f, 0.0f), dt); },
                    Ps::LimitException::LK_UpdateTime, {"update step"}, "dt " + std::to_string(dt));
        EXPECT_EQ(time, inst.getTime());
        EXPECT_EQ(subFrame, inst.getSubFrameTime());
        EXPECT_EQ(glm::vec3(1.0f), inst.getLastPosition());
        EXPECT_EQ(PsTest::kIdentity, inst.getLastRotation());
        EXPECT_EQ(particles, r.emitter().getNumActiveParticles());
        // It goes on as if the refused call hadn't been made.
        inst.update(glm::vec3(2.0f), PsTest::kIdentity, 0.7f);
        twin.get().update(glm::vec3(2.0f), PsTest::kIdentity, 0.7f);
        EXPECT_EQ(twin.get().getTime(), inst.getTime());
        EXPECT_EQ(twin.get().getSubFrameTime(), inst.getSubFrameTime());
        EXPECT_EQ(PsTest::activePositions(twin.emitter()), PsTest::activePositions(r.emitter()));
    }
    // The held sub-frame counts: 3599.6 frames of dt and 0.6 held make more than 3600.
    PsTest::Running r = PsTest::run(effectAt(4.0f));
    r.get().update(glm::vec3(0.0f), PsTest::kIdentity, 0.15f);
    expectLimit([&] { r.get().update(glm::vec3(0.0f), PsTest::kIdentity, 899.9f); },
                Ps::LimitException::LK_UpdateTime, {"3600"}, "with the sub-frame");
    // A step of exactly 3600 frames is allowed, and dt 0 is no step at all.
    PsTest::Running edge = PsTest::run(effectAt(4.0f));
    edge.get().update(glm::vec3(0.0f), PsTest::kIdentity, 0.0f);
    EXPECT_EQ(0.0f, edge.get().getTime());
    edge.get().update(glm::vec3(0.0f), PsTest::kIdentity, 900.0f);
    EXPECT_EQ(899.75f, edge.get().getTime());
    EXPECT_EQ(0.25f, edge.get().getSubFrameTime());
}

// A step of whole frames stops one frame short: the last frame's time stays in the accumulator,
// as a sum that equals the frame time runs no frame. The frame time here is exact (1/4 s).
TEST(PsSystemInstUpdate, StepOfWholeFramesKeepsTheLastOneInTheAccumulator)
{
    const struct
    {
        float dt;
        float time;
        float subFrame;
    } rows[] = {
        {0.5f, 0.25f, 0.25f}, {0.75f, 0.5f, 0.25f}, {1.25f, 1.0f, 0.25f}, {0.6f, 0.5f, 0.1f}};
    for (const auto& row : rows)
    {
        PsTest::Running r = PsTest::run(effectAt(4.0f));
        r.get().update(glm::vec3(0.0f), PsTest::kIdentity, row.dt);
        EXPECT_EQ(row.time, r.get().getTime()) << row.dt;
        EXPECT_FLOAT_EQ(row.subFrame, r.get().getSubFrameTime()) << row.dt;
        // dt 0 adds nothing, so the held frame stays held.
        r.get().update(glm::vec3(0.0f), PsTest::kIdentity, 0.0f);
        EXPECT_EQ(row.time, r.get().getTime()) << row.dt;
        EXPECT_FLOAT_EQ(row.subFrame, r.get().getSubFrameTime()) << row.dt;
    }
    // The presimulation of 2 s at 4 fps: 7 frames, the eighth held.
    PsTest::Running presim = PsTest::run(effectAt(4.0f, 2.0f));
    EXPECT_EQ(1.75f, presim.get().getTime());
    EXPECT_EQ(0.25f, presim.get().getSubFrameTime());
}

TEST(PsLimits, ShotsOfOneCallAreBounded)
{
    const float cap = static_cast<float>(Ps::Limits::kMaxShotsPerCall);
    {
        // At 1 fps a rate of the cap makes exactly the cap's shots in each frame, most of them
        // into a full pool.
        PsTest::Running r = PsTest::run(effectAt(1.0f, 0.0f, cap));
        for (int frame = 1; frame <= 2; ++frame)
        {
            r.get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity);
            EXPECT_EQ(static_cast<float>(frame), r.get().getTime());
        }
    }
    {
        PsTest::Running r = PsTest::run(effectAt(1.0f, 0.0f, cap + 1.0f));
        expectLimit([&] { r.get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity); },
                    Ps::LimitException::LK_ShotsPerFrame, {"4194304 times in one update"},
                    "one more");
    }
    {
        // The shots of all emitters count together, and those of every frame of one update().
        EffectWriter effect;
        effect.fps(1.0f);
        for (int i = 0; i < 2; ++i)
        {
            EmitterWriter& emitter = effect.emitter();
            emitter.generatorPeriodic(Ext(cap * 0.75f));
            emitter.maxParticles(8);
        }
        PsTest::Running two = PsTest::run(effect.bytes());
        expectLimit([&] { two.get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity); },
                    Ps::LimitException::LK_ShotsPerFrame, {"one update"}, "two emitters");
        PsTest::Running frames = PsTest::run(effectAt(4.0f, 0.0f, cap * 2.0f));
        frames.get().update(glm::vec3(0.0f), PsTest::kIdentity, 0.26f);
        expectLimit([&] { frames.get().update(glm::vec3(0.0f), PsTest::kIdentity, 0.76f); },
                    Ps::LimitException::LK_ShotsPerFrame, {"one update"}, "three frames");
    }
}

// The memory of one instance: its block and its two debug meshes.
uint64_t instanceMemory(const Ps::MemManagedSystemInst& holder)
{
    auto debugMesh = [](const Ps::Mesh& mesh)
    {
        return Ps::Mesh::computePoolSizeWithMeshObject(mesh.getMaxVertices(), 3, false, true,
                                                       nullptr, 0, mesh.getMaxIndices());
    };
    const Ps::SystemInst& inst = holder.get();
    return static_cast<uint64_t>(holder.getBlockSize()) + debugMesh(inst.getWireframeMesh()) +
           debugMesh(inst.getPositionsMesh());
}

TEST(PsLimits, MemoryBudgetOfTheContextBoundsTheEffectAndEachInstance)
{
    // The report's effect: a mesh and an emitter of 4194304 particles, some 840 MB.
    {
        EffectWriter effect;
        effect.mesh(4194304, Ps::MF_Quads, true, true);
        EmitterWriter& emitter = effect.emitter();
        emitter.generatorPeriodic(Ext(1.0f));
        emitter.maxParticles(4194304);
        const auto shell = PsTest::load(effect.bytes());
        EXPECT_EQ(Ps::Limits::kDefaultMemoryBudget, PsTest::context().getMemoryBudget());
        expectLimit(
            [&]
            { Ps::MemManagedSystemInst(shell->getSystem(), glm::vec3(0.0f), PsTest::kIdentity); },
            Ps::LimitException::LK_MemoryBudget,
            {"one instance of the effect", "budget of 268435456 bytes (256.0 MiB)", "raise"},
            "840 MB");
    }

    // Exactly the need passes; a byte less is refused, before any block is made.
    Ps::MemManagedContext holder;
    Ps::Context& context = holder.get();
    const std::vector<uint8_t> bytes = effectAt(30.0f, 1.0f);
    const Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                          context);
    const Ps::System& system = shell.getSystem();
    const uint64_t need = Ps::SystemInst::computeMemoryNeed(system);
    {
        context.setMemoryBudget(need);
        const Ps::MemManagedSystemInst inst(system, glm::vec3(0.0f), PsTest::kIdentity);
        EXPECT_EQ(need, instanceMemory(inst));
    }
    context.setMemoryBudget(need - 1);
    expectLimit(
        [&] { Ps::MemManagedSystemInst(system, glm::vec3(0.0f), PsTest::kIdentity); },
        Ps::LimitException::LK_MemoryBudget,
        {"needs " + std::to_string(need) + " bytes", "budget of " + std::to_string(need - 1)},
        "instance");
    // A host that gives the pool itself is held to the budget too.
    std::vector<uint64_t> pool(Ps::SystemInst::computePoolSize(system) / 8 + 1);
    expectLimit(
        [&]
        {
            Ps::SystemInst(reinterpret_cast<uint8_t*>(pool.data()), system, glm::vec3(0.0f),
                           PsTest::kIdentity);
        },
        Ps::LimitException::LK_MemoryBudget, {"one instance"}, "own pool");

    // The compiled effect's pool, against the budget right after the first pass.
    context.setMemoryBudget(shell.getPoolSize() - 1);
    expectLimit(
        [&]
        { Ps::MemManagedSystemShell(bytes.data(), static_cast<uint32_t>(bytes.size()), context); },
        Ps::LimitException::LK_MemoryBudget, {"the compiled effect"}, "effect");
    context.setMemoryBudget(shell.getPoolSize());
    EXPECT_NO_THROW(
        Ps::MemManagedSystemShell(bytes.data(), static_cast<uint32_t>(bytes.size()), context));
}

// A misaligned cell in an expression's byte code is refused when the effect is loaded.
TEST(PsLimits, ExpressionCellsMustBeAligned)
{
    const Expr::InputDesc dt{"dt", Expr::VT_Float};
    const Expr::Parser parser("dt * 2", &dt, 1);
    ASSERT_TRUE(parser.isOk());
    const std::vector<unsigned char> good(parser.getOutputBuffer(),
                                          parser.getOutputBuffer() + parser.getOutputBufferSize());
    // The constant's offset field follows the header (7), the input (3), the command (9) and the
    // constant count (2): dt at 0, the constant at 4, the product at 8.
    const unsigned constantOffset = 7 + 3 + 9 + 2;
    ASSERT_EQ(4, good[constantOffset]);
    for (unsigned char offset : {4, 6})
    {
        std::vector<unsigned char> code = good;
        code[constantOffset] = offset;
        EffectWriter effect;
        effect.fps(10.0f);
        EmitterWriter& e = effect.emitter();
        const uint8_t generator = e.generatorPeriodic(Ext(0.0f));
        const uint8_t expr =
            e.op(Ps::OF_FuncExpression,
                 [code](Sl::Saver& s)
                 {
                     const uint32_t size = static_cast<uint32_t>(code.size());
                     PsTest::writeU32(s, "expr_data_size", size);
                     s.writeBinary("expr_data", code.data(), size);
                     PsTest::writeU32(s, "expr_pool_size",
                                      Expr::Executor::computePoolSizeNoObj(code.data(), size));
                     PsTest::writeU32(s, "num_inputs", 0);
                 });
        e.generatorChain({expr, generator});
        if (offset == 4)
            EXPECT_NO_THROW(
                PsTest::run(effect.bytes()).get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity));
        else
            EXPECT_THROW(PsTest::load(effect.bytes()), Debug::CheckException);
    }
}

}  // namespace
