// The rule a game relies on: a loaded system is immutable and may be shared by instances on
// different threads; one instance is used by one thread at a time. Four threads run instances of
// one loaded system at once here, and each must give, byte for byte, what the same instance gives
// when it runs alone. scripts/tsan.sh runs these tests under ThreadSanitizer, which also reports
// any unordered access to shared state on the way.

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "particle_system/ps_system_factory.h"
#include "ps_determinism_dump.h"
#include "ps_func_test_bytes.h"
#include "ps_functions_effect.h"
#include "ps_test_runtime.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

constexpr int kThreads = 4;
constexpr uint32_t kSteps = 150;

// Sparks that each drag a trail of connected particles. Without a fixed seed every instance
// draws its own seed from the context as it is made.
std::vector<uint8_t> trailsEffect(bool fixedSeed)
{
    EffectWriter effect;
    effect.fps(60.0f).renderCalls(4);
    if (fixedSeed)
        effect.fixedSeed(5);
    else
        effect.noSeed();
    effect.material(Ps::MAT_Add);
    effect.renderStyle(0, {});
    effect.mesh(200, Ps::MF_Quads, false, true);

    EmitterWriter& trail = effect.emitter();  // 0: the trail, made by the sparks
    trail.generatorDistance(Ext(0.5f), 0.0f, 1);
    const uint8_t trailLife = trail.parameterLifetime();
    trail.terminatorLess(In{trailLife, 0}, Ext(0.25f));
    trail.updateChain({trailLife}).maxParticles(8).standalone(false);

    EmitterWriter& e = effect.emitter();  // 1: the sparks
    e.generatorPeriodic(Ext(90.0f));
    const uint8_t direction = e.op(Ps::OF_FuncRandomVec3,
                                   [](Sl::Saver& s) { PsTest::writeExt(s, "radius", Ext(20.0f)); });
    const uint8_t velocity = e.parameterVelocityIniter(Ext(In{direction, 0}), true, true);
    const uint8_t position = e.parameterPositionIniter(true, Ext(glm::vec3(0.0f)));
    const uint8_t moved = e.op(Ps::OF_FuncMoveVec3,
                               [=](Sl::Saver& s)
                               {
                                   PsTest::writeIn(s, "input", In{position, 0});
                                   PsTest::writeExt(s, "speed", Ext(In{velocity, 0}));
                               });
    const uint8_t keep = e.parameterUpdater(Ps::VT_Vec3, position, In{moved, 0});
    const uint8_t place = e.parameterPositionUpdater(Ext(In{position, 0}));
    const uint8_t life = e.parameterLifetime();
    const uint8_t trailStart = e.parameterEmitterIniter(0, false);
    const uint8_t trailRun = e.parameterEmitter(0, false);
    e.terminatorLess(In{life, 0}, Ext(1.5f));
    PsTest::QuadsFields quads;
    quads.size = Ext(2.0f);
    quads.alpha = Ext(0.5f);
    PsTest::constructorQuads(e, quads);
    e.initBoth({direction, velocity, position, trailStart})
        .updateChain({moved, keep, place, life, trailRun})
        .maxParticles(200)
        .connect(0);
    return effect.bytes();
}

std::vector<uint8_t> functionsEffect() { return PsTest::functionsEffect(11); }
std::vector<uint8_t> trailsFixed() { return trailsEffect(true); }
std::vector<uint8_t> trailsFromContext() { return trailsEffect(false); }

// The operations that read data of their own from the effect's pool: a painted area, curves, a
// path and both kinds of noise over the shared noise image.
std::vector<uint8_t> sharedDataEffect()
{
    using glm::vec3;
    EffectWriter effect;
    effect.fps(30.0f).fixedSeed(21).renderCalls(4);
    effect.material(Ps::MAT_Normal);
    effect.renderStyle(0, {});
    effect.mesh(150, Ps::MF_Quads, false, true);
    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(60.0f));
    const uint8_t life = e.parameterLifetime();
    const uint8_t pick = e.op(Ps::OF_FuncRandom,
                              [](Sl::Saver& s)
                              {
                                  PsTest::writeExt(s, "min", 0.0f);
                                  PsTest::writeExt(s, "max", 1.0f);
                              });
    const uint8_t area = e.op(Ps::OF_FuncArea,
                              [pick](Sl::Saver& s)
                              {
                                  PsTest::writeIn(s, "input", In{pick, 0});
                                  PsFuncTest::writeArea(s, {-4, -2, 8, 4, 3, 1, {1, 0, 3}});
                              });
    const uint8_t start = e.parameter(In{area, 0}, Ps::VT_Vec2);
    const uint8_t along =
        e.op(Ps::OF_FuncCurvesFloat,
             [life](Sl::Saver& s)
             {
                 PsTest::writeIn(s, "input", In{life, 0});
                 PsFuncTest::writeCurve(
                     s, {0.0f, 2.0f, false, false, {{0.0f, 2.0f, {0.0f, 0.5f, 1.0f}}}});
             });
    const uint8_t path =
        e.op(Ps::OF_FuncPathVec3,
             [along](Sl::Saver& s)
             {
                 PsTest::writeIn(s, "input", In{along, 0});
                 PsFuncTest::writePath<vec3>(
                     s, {{0.0f, 1.0f, {vec3(0, 0, 0), vec3(3, 4, 0), vec3(6, 2, 1)}}}, 9.0f);
             });
    const uint8_t birth = e.op(Ps::OF_FuncConv2to3,
                               [start](Sl::Saver& s)
                               {
                                   PsTest::writeIn(s, "input", In{start, 0});
                                   PsTest::writeExt(s, "z", Ext(0.5f));
                               });
    auto noise = [&](In input, uint8_t type, bool additive)
    {
        return e.op(Ps::OF_FuncNoise3,
                    [=](Sl::Saver& s)
                    {
                        PsTest::writeIn(s, "input", input);
                        PsTest::writeExt(s, "smoothness", 3.0f);
                        PsTest::writeU8(s, "type", type);
                        PsTest::writeExt(s, "range_scale", Ext(2.0f));
                        PsTest::writeValue(s, "range_low", vec3(-1.0f));
                        PsTest::writeValue(s, "range_high", vec3(1.0f));
                        PsTest::writeValue(s, "animation", vec3(0.3f, 0.1f, 0.0f));
                        PsTest::writeBool(s, "additive", additive);
                    });
    };
    const uint8_t linear = noise(In{path, 0}, 0, false);
    const uint8_t cubic = noise(In{birth, 0}, 1, true);
    const uint8_t moveTo = e.parameterPositionUpdater(In{cubic, 0});
    e.terminatorLess(In{life, 0}, Ext(2.0f));
    PsTest::QuadsFields quads;
    quads.color = Ext(In{linear, 0});
    PsTest::constructorQuads(e, quads);
    e.initBoth({pick, area, start});
    e.updateChain({life, along, path, birth, linear, cubic, moveTo});
    e.maxParticles(150);
    return effect.bytes();
}

// Drives an instance as a game with a varying frame time does, and writes down its particles
// every 30 steps and its geometry at the end. Returns the record; `particles` gets the most
// particles alive at a snapshot.
std::vector<uint8_t> play(Ps::SystemInst& inst, uint32_t* particles)
{
    static const float kFrameTimes[] = {0.016f, 0.033f, 0.007f, 0.05f, 0.021f, 0.0125f};
    PsDeterminism::Record record;
    PsDeterminism::Summary summary;
    uint32_t most = 0;
    for (uint32_t f = 1; f <= kSteps; ++f)
    {
        const glm::vec3 position(0.5f * static_cast<float>(f % 20), 0.0f, -1.0f);
        inst.update(position, PsTest::kIdentity, kFrameTimes[f % 6]);
        if (f % 30 == 0)
        {
            const uint32_t n = PsDeterminism::writeParticles(record, inst);
            most = n > most ? n : most;
        }
    }
    inst.construct(glm::vec3(0.0f, 0.0f, -1.0f), glm::vec3(0.0f, 1.0f, 0.0f),
                   glm::vec3(1.0f, 0.0f, 0.0f), std::nullopt);
    PsDeterminism::writeMeshes(record, inst, summary);
    if (particles)
        *particles = most;
    return record.data();
}

struct ThreadCase
{
    const char* name;
    std::vector<uint8_t> (*effect)();
    bool fixedSeed;
};

void PrintTo(const ThreadCase& c, std::ostream* out) { *out << c.name; }

class PsThreads : public testing::TestWithParam<ThreadCase>
{
};

// Runs `body(i)` on kThreads threads that start together.
template <typename Body>
void onThreads(Body body)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(
            [&, i]
            {
                ++ready;
                while (ready.load() < kThreads)
                    std::this_thread::yield();
                body(i);
            });
    for (std::thread& t : threads)
        t.join();
}

TEST_P(PsThreads, InstancesOfOneSystemOnFourThreadsRunAsTheyRunAlone)
{
    const ThreadCase& c = GetParam();
    Ps::MemManagedContext context;
    const std::vector<uint8_t> bytes = c.effect();
    Ps::LoadResult loaded = Ps::loadSystem(bytes.data(), bytes.size(), context.get());
    ASSERT_TRUE(loaded.ok()) << loaded.error.message;
    const Ps::System& system = loaded.shell->getSystem();
    ASSERT_EQ(system.retrieveSeed().has_value(), c.fixedSeed);

    // Instances of an effect without a fixed seed take their seeds from the context as they are
    // made: they are made on this thread, one after the other, from a seeded context.
    auto makeAll = [&]
    {
        context.get().seedRandom(2024);
        std::vector<std::unique_ptr<Ps::MemManagedSystemInst>> insts;
        for (int i = 0; i < kThreads; ++i)
            insts.push_back(std::make_unique<Ps::MemManagedSystemInst>(system, glm::vec3(0.0f),
                                                                       PsTest::kIdentity));
        return insts;
    };

    // Alone: one instance after the other on this thread.
    std::vector<std::vector<uint8_t>> alone;
    uint32_t particles = 0;
    {
        std::vector<std::unique_ptr<Ps::MemManagedSystemInst>> insts = makeAll();
        for (int i = 0; i < kThreads; ++i)
            alone.push_back(play(insts[i]->get(), i == 0 ? &particles : nullptr));
    }
    EXPECT_GT(particles, 20u);
    for (int i = 1; i < kThreads; ++i)
    {
        // A fixed seed makes every instance the same; seeds from the context make them differ.
        if (c.fixedSeed)
            EXPECT_EQ(alone[i], alone[0]);
        else
            EXPECT_NE(alone[i], alone[0]);
    }

    // Together: the four run at once. With a fixed seed each thread also makes its own instance,
    // since making one then reads the shared system and context only.
    std::vector<std::vector<uint8_t>> together(kThreads);
    if (c.fixedSeed)
    {
        onThreads(
            [&](int i)
            {
                Ps::InstResult made =
                    Ps::createSystemInst(system, glm::vec3(0.0f), PsTest::kIdentity);
                if (made.ok())
                    together[i] = play(made.inst->get(), nullptr);
            });
    }
    else
    {
        std::vector<std::unique_ptr<Ps::MemManagedSystemInst>> insts = makeAll();
        onThreads([&](int i) { together[i] = play(insts[i]->get(), nullptr); });
    }
    for (int i = 0; i < kThreads; ++i)
        EXPECT_EQ(together[i], alone[i]) << "thread " << i;
}

const ThreadCase kThreadCases[] = {
    {"shared_data_fixed_seed", &sharedDataEffect, true},
    {"trails_fixed_seed", &trailsFixed, true},
    {"trails_seeds_from_context", &trailsFromContext, false},
    {"functions_with_expressions", &functionsEffect, true},
};

INSTANTIATE_TEST_SUITE_P(Effects, PsThreads, testing::ValuesIn(kThreadCases),
                         [](const testing::TestParamInfo<ThreadCase>& info)
                         { return std::string(info.param.name); });

}  // namespace
