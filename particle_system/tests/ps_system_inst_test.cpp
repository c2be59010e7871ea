#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_interpolation.h"
#include "particle_system/ps_mesh.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// One emitter whose generator never shoots: its instance's time counts the simulated frames.
std::vector<uint8_t> idleEffect(float fps, float presim = 0.0f)
{
    EffectWriter effect;
    effect.fps(fps).presim(presim).fixedSeed(1);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(0.0f));
    emitter.maxParticles(4);
    return effect.bytes();
}

// The emitter instance's time after n frames of frameTime, as the generator adds them up.
float timeAfterFrames(int n, float frameTime)
{
    float t = 0.0f;
    for (int i = 0; i < n; ++i)
        t = t + frameTime;
    return t;
}

TEST(PsAllocator, AlignsAndBumps)
{
    EXPECT_EQ(Ps::Allocator::aligned(0), 0u);
    EXPECT_EQ(Ps::Allocator::aligned(1), Ps::Allocator::kAlignment);
    EXPECT_EQ(Ps::Allocator::aligned(Ps::Allocator::kAlignment), Ps::Allocator::kAlignment);
    EXPECT_EQ(Ps::Allocator::aligned(Ps::Allocator::kAlignment + 1), 2 * Ps::Allocator::kAlignment);
    EXPECT_EQ(Ps::Allocator::kAlignment % 4, 0u);

    alignas(8) uint8_t pool[32];
    Ps::Allocator allocator(pool, sizeof(pool));
    uint8_t* a = allocator.alloc(3);
    uint8_t* b = allocator.alloc(0);
    uint8_t* c = allocator.alloc(5);
    EXPECT_EQ(a, pool);
    EXPECT_EQ(b, pool + Ps::Allocator::kAlignment);
    EXPECT_EQ(c, b);
    EXPECT_EQ(allocator.getUsedSize(), 2 * Ps::Allocator::kAlignment);
}

TEST(PsAllocator, ExhaustionIsAnAssertion)
{
    alignas(8) uint8_t pool[16];
    Ps::Allocator allocator(pool, sizeof(pool));
    allocator.alloc(16);
    EXPECT_THROW(allocator.alloc(1), Debug::CheckException);
    EXPECT_THROW(Ps::Allocator::aligned(0xFFFFFFFFull), Debug::CheckException);
}

TEST(PsContext, PoolIsUsedExactly)
{
    Ps::MemManagedContext context;
    EXPECT_EQ(context.getPoolSize(), Ps::Context::poolSizeToCreate());
    EXPECT_NO_THROW(context.get().getOperFactory(Ps::OF_Count - 1));
    EXPECT_THROW(context.get().getOperFactory(Ps::OF_Count), Debug::CheckException);
    // The random source is seeded from the clock: two values differ.
    EXPECT_NE(context.get().getRandomValue(), context.get().getRandomValue());
}

TEST(PsSystemInstUpdate, HalfFrameStepsSimulateEverySecondCall)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f));
    Ps::SystemInst& inst = r.get();
    const float frameTime = inst.getSystem().getFrameTime();
    ASSERT_EQ(frameTime, 1.0f / 30.0f);
    const float half = frameTime * 0.5f;
    std::vector<int> framesPerCall;
    float lastTime = 0.0f;
    for (int call = 0; call < 8; ++call)
    {
        inst.update(glm::vec3(0.0f), PsTest::kIdentity, half);
        const float t = r.emitter().getTime();
        framesPerCall.push_back(t > lastTime ? 1 : 0);
        lastTime = t;
    }
    // The sum after the second call equals the frame time and runs nothing.
    EXPECT_EQ(framesPerCall, (std::vector<int>{0, 0, 1, 0, 1, 0, 1, 0}));
}

TEST(PsSystemInstUpdate, ZeroStepKeepsTheAccumulator)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f));
    Ps::SystemInst& inst = r.get();
    const float part = inst.getSystem().getFrameTime() * 0.25f;
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, part);
    EXPECT_EQ(inst.getSubFrameTime(), part);
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, 0.0f);
    EXPECT_EQ(inst.getSubFrameTime(), part);
    EXPECT_EQ(r.emitter().getTime(), 0.0f);
    EXPECT_EQ(inst.getTime(), 0.0f);
}

TEST(PsSystemInstUpdate, AccumulatedEqualToFrameTimeRunsNoFrameYet)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f));
    Ps::SystemInst& inst = r.get();
    const float frameTime = inst.getSystem().getFrameTime();
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, frameTime);
    EXPECT_EQ(r.emitter().getTime(), 0.0f);
    EXPECT_EQ(inst.getSubFrameTime(), frameTime);
    // The smallest further step runs it. The frame consumes frameTime - subFrameTime of this
    // call's step, here nothing, and the system time grows by that; the new step stays.
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, 1e-6f);
    EXPECT_EQ(r.emitter().getTime(), frameTime);
    EXPECT_EQ(inst.getTime(), 0.0f);
    EXPECT_EQ(inst.getSubFrameTime(), 1e-6f);
}

TEST(PsSystemInstUpdate, LongStepRunsAllItsFramesAndKeepsTheRest)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f));
    Ps::SystemInst& inst = r.get();
    const float frameTime = inst.getSystem().getFrameTime();
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, 0.02f);
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, 0.05f);
    // 0.07 s hold two frames and 0.07 - 2/30 of a third.
    EXPECT_EQ(r.emitter().getTime(), timeAfterFrames(2, frameTime));
    EXPECT_NEAR(inst.getSubFrameTime(), 0.07f - 2.0f * frameTime, 1e-6f);
    EXPECT_LE(inst.getSubFrameTime(), frameTime);
    // The system time grows by what each frame consumed of the last call's step: the first
    // frame took only frameTime - 0.02 of it.
    EXPECT_EQ(inst.getTime(), (frameTime - 0.02f) + frameTime);
}

TEST(PsSystemInstUpdate, PresimulationRunsInTheConstructor)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f, 2.0f));
    Ps::SystemInst& inst = r.get();
    const float frameTime = inst.getSystem().getFrameTime();
    const float t = r.emitter().getTime();
    EXPECT_TRUE(t == timeAfterFrames(59, frameTime) || t == timeAfterFrames(60, frameTime)) << t;
    EXPECT_GT(inst.getSubFrameTime(), 0.0f);
    EXPECT_LE(inst.getSubFrameTime(), frameTime);
    EXPECT_NEAR(inst.getTime() + inst.getSubFrameTime(), 2.0f, 1e-4f);
}

TEST(PsSystemInstUpdate, NoPresimulationBelowTheSmallestNormalFloat)
{
    PsTest::Running r = PsTest::run(idleEffect(30.0f, 1e-39f));
    EXPECT_EQ(r.get().getSubFrameTime(), 0.0f);
    EXPECT_EQ(r.emitter().getTime(), 0.0f);
}

TEST(PsSystemInstUpdate, EffectWithoutEmittersAdvancesTime)
{
    EffectWriter effect;
    effect.fps(10.0f);
    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::SystemInst& inst = r.get();
    EXPECT_EQ(inst.getNumEmitterInsts(), 0u);
    inst.update(glm::vec3(0.0f), PsTest::kIdentity, 0.35f);
    EXPECT_NEAR(inst.getTime(), 0.3f, 1e-6f);
    EXPECT_NEAR(inst.getSubFrameTime(), 0.05f, 1e-6f);
    const float sub = inst.getSubFrameTime();
    EXPECT_EQ(inst.updateFrame(glm::vec3(0.0f), PsTest::kIdentity),
              inst.getSystem().getFrameTime() - sub);
    EXPECT_EQ(inst.getSubFrameTime(), 0.0f);
}

TEST(PsSystemInstUpdate, FramesStartAtTheOldPositionAndInterpolate)
{
    // One shot at the start of each frame (start phase 1, one shot per frame).
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(3);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(10.0f), 1.0f);
    emitter.maxParticles(10);
    PsTest::Running r = PsTest::run(effect.bytes(), glm::vec3(0.0f));
    Ps::SystemInst& inst = r.get();
    // Two frames in one call of 0.25 s: from (0,0,0) to (5,0,0); the second frame starts at
    // 0.1 / 0.25 of the way.
    inst.update(glm::vec3(5.0f, 0.0f, 0.0f), PsTest::kIdentity, 0.25f);
    std::vector<glm::vec3> positions = PsTest::activePositions(r.emitter());
    ASSERT_EQ(positions.size(), 3u);
    // Newest first: the second frame shot at its end (where it stands), the first frame shot at
    // its start and at its end, both at the old position.
    EXPECT_EQ(positions[0], glm::vec3(2.0f, 0.0f, 0.0f));
    EXPECT_EQ(positions[1], glm::vec3(0.0f, 0.0f, 0.0f));
    EXPECT_EQ(positions[2], glm::vec3(0.0f, 0.0f, 0.0f));
    EXPECT_EQ(inst.getLastPosition(), glm::vec3(5.0f, 0.0f, 0.0f));
    EXPECT_NEAR(inst.getSubFrameTime(), 0.05f, 1e-6f);
}

// Render calls merge while mesh and style stay the same.
TEST(PsSystemInstRender, PushRenderCallMerges)
{
    EffectWriter effect;
    effect.renderCalls(3).mesh(10, 0, true, true);
    effect.renderStyle(0, {0});
    effect.renderStyle(0, {0});
    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::SystemInst& inst = r.get();
    Ps::Mesh& mesh = inst.getMesh(0);
    mesh.setNumIndices(6);
    inst.pushRenderCall(0, 0, 2, std::nullopt);
    mesh.setNumIndices(12);
    inst.pushRenderCall(0, 0, 2, std::nullopt);
    ASSERT_EQ(inst.getNumRenderCalls(), 1u);
    EXPECT_EQ(inst.getRenderCall(0).startPolygon, 0u);
    EXPECT_EQ(inst.getRenderCall(0).numPolygons, 4u);
    mesh.setNumIndices(18);
    inst.pushRenderCall(0, 1, 2, std::nullopt);
    ASSERT_EQ(inst.getNumRenderCalls(), 2u);
    EXPECT_EQ(inst.getRenderCall(1).startPolygon, 4u);
    EXPECT_EQ(inst.getRenderCall(1).numPolygons, 2u);
    EXPECT_THROW(inst.pushRenderCall(0, 1, 0, std::nullopt), Debug::CheckException);
}

TEST(PsSystemInstRender, RenderCallCapacityIsAnAssertion)
{
    EffectWriter effect;
    effect.renderCalls(1).mesh(10, 0, true, true);
    effect.renderStyle(0, {0});
    effect.renderStyle(0, {0});
    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::SystemInst& inst = r.get();
    inst.getMesh(0).setNumIndices(6);
    inst.pushRenderCall(0, 0, 2, std::nullopt);
    EXPECT_THROW(inst.pushRenderCall(0, 1, 2, std::nullopt), Debug::CheckException);
}

TEST(PsSystemInstRender, WireframeCopiesTheTrianglesAsLines)
{
    EffectWriter effect;
    effect.renderCalls(2).mesh(2, 0, true, true);
    effect.renderStyle(0, {0});
    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::SystemInst& inst = r.get();
    Ps::Mesh& mesh = inst.getMesh(0);
    // The second quad of the mesh: vertices 4 to 7, indices 6 to 11.
    for (uint32_t v = 0; v < 8; ++v)
    {
        const float p[3] = {float(v), 0.0f, 0.0f};
        std::memcpy(mesh.getVertex(v), p, sizeof(p));
    }
    mesh.setNumVertices(8);
    mesh.setNumIndices(12);
    inst.pushRenderCall(0, 0, 2, 77u);
    const Ps::Mesh& wire = inst.getWireframeMesh();
    ASSERT_EQ(wire.getNumVertices(), 4u);
    ASSERT_EQ(wire.getNumIndices(), 12u);
    float x = 0.0f;
    std::memcpy(&x, wire.getVertex(0), sizeof(float));
    EXPECT_EQ(x, 4.0f);
    uint32_t id = 0;
    std::memcpy(&id, wire.getVertex(3) + wire.getColorOffset(), sizeof(uint32_t));
    EXPECT_EQ(id, 77u);
    // Quad pattern 0, 3, 1: lines 0-3, 3-1, 1-0.
    const uint32_t* lines = wire.getIndices();
    EXPECT_EQ(std::vector<uint32_t>(lines, lines + 6), (std::vector<uint32_t>{0, 3, 3, 1, 1, 0}));
}

}  // namespace

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// Every frame of one call is placed on the straight way from where the emitter stood at the
// call's start to where the call puts it, by the time already simulated: the frames of a long
// call are spread evenly, not drawn towards the end.
TEST(PsSystemInstUpdate, FramesOfOneCallAreSpreadEvenlyAlongTheWay)
{
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(3);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(10.0f), 1.0f);
    emitter.maxParticles(10);
    PsTest::Running r = PsTest::run(effect.bytes(), glm::vec3(0.0f));
    Ps::SystemInst& inst = r.get();
    // Three frames (t = 0, 0.1 / 0.35, 0.2 / 0.35) from (0,0,0) to (7,0,0); 0.05 s stays.
    inst.update(glm::vec3(7.0f, 0.0f, 0.0f), PsTest::kIdentity, 0.35f);
    const std::vector<glm::vec3> positions = PsTest::activePositions(r.emitter());
    ASSERT_EQ(positions.size(), 4u);
    // Newest first: each frame shot once at its end, where the frame put the emitter.
    EXPECT_NEAR(positions[0].x, 4.0f, 1e-5f);
    EXPECT_NEAR(positions[1].x, 2.0f, 1e-5f);
    EXPECT_EQ(positions[2].x, 0.0f);
    EXPECT_EQ(positions[3].x, 0.0f);
    EXPECT_NEAR(inst.getSubFrameTime(), 0.05f, 1e-6f);
    EXPECT_EQ(inst.getLastPosition(), glm::vec3(7.0f, 0.0f, 0.0f));
}

// The rotation of each frame of a call is the spherical interpolation from the call's start.
TEST(PsSystemInstUpdate, FrameRotationsAreInterpolatedFromTheCallsStart)
{
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(3);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(10.0f), 1.0f);   // 0
    const uint8_t rot = emitter.globEmitterRot();  // 1
    emitter.parameter(In{rot, 0}, Ps::VT_Quat);    // 2
    emitter.initBoth({1, 2});
    emitter.maxParticles(10);
    PsTest::Running r = PsTest::run(effect.bytes());
    // A quarter turn around z over 0.4 s, given with the opposite sign: its dot product with
    // the identity is negative, so it is negated before the interpolation (the short way).
    // Three frames run, starting at 0, 1/4 and 1/2 of the way; 0.1 s minus rounding stays.
    const glm::quat target(-std::cos(0.7853982f), 0.0f, 0.0f, -std::sin(0.7853982f));
    r.get().update(glm::vec3(0.0f), target, 0.4f);
    const Ps::Operation& op = r.emitter().getEmitter().getOperation(2);
    std::vector<glm::quat> rotations;
    for (uint32_t i : PsTest::activeParticles(r.emitter()))
    {
        glm::quat q;
        std::memcpy(&q, r.emitter().getParticleDynamicDataAt(i) + op.getParticleDataOffset(),
                    sizeof(q));
        rotations.push_back(q);
    }
    // Newest first: each frame shot at its end, with that frame's rotation; the first frame
    // also at its start.
    ASSERT_EQ(rotations.size(), 4u);
    const float halfAngles[4] = {0.3926991f, 0.1963495f, 0.0f, 0.0f};
    for (size_t n = 0; n < 4; ++n)
    {
        EXPECT_NEAR(rotations[n].w, std::cos(halfAngles[n]), 1e-5f) << n;
        EXPECT_NEAR(rotations[n].z, std::sin(halfAngles[n]), 1e-5f) << n;
    }
}

// Generators move the system time to each birth; every standalone instance of a frame starts
// again from the frame's time, and the frame then ends one frame time later.
TEST(PsSystemInstUpdate, EachEmitterOfAFrameSeesTheFramesTime)
{
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(3);
    for (int e = 0; e < 2; ++e)
    {
        EmitterWriter& emitter = effect.emitter();
        emitter.generatorPeriodic(Ext(10.0f), 0.5f);    // 0: a birth at 0.05 s
        const uint8_t time = emitter.globSystemTime();  // 1
        emitter.parameter(In{time, 0}, Ps::VT_Float);   // 2
        emitter.initBoth({1, 2});
        emitter.maxParticles(4);
    }
    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::SystemInst& inst = r.get();
    for (int f = 0; f < 2; ++f)
        inst.updateFrame(glm::vec3(0.0f), PsTest::kIdentity);
    for (uint32_t e = 0; e < 2; ++e)
    {
        const Ps::EmitterInst& emitter = inst.getEmitterInst(e);
        const Ps::Operation& op = emitter.getEmitter().getOperation(2);
        std::vector<float> births;
        for (uint32_t i : PsTest::activeParticles(emitter))
        {
            float v = 0.0f;
            std::memcpy(&v, emitter.getParticleDynamicDataAt(i) + op.getParticleDataOffset(),
                        sizeof(v));
            births.push_back(v);
        }
        ASSERT_EQ(births.size(), 2u) << e;
        EXPECT_NEAR(births[0], 0.15f, 1e-6f) << e;
        EXPECT_NEAR(births[1], 0.05f, 1e-6f) << e;
    }
    EXPECT_EQ(inst.getTime(), 0.1f + 0.1f);
}

// The spherical interpolation's three rules.
TEST(PsInterpolation, SlerpRules)
{
    const glm::quat p(1.0f, 0.0f, 0.0f, 0.0f);
    // Nearly equal: the component-wise blend p + (q - p) * k, not renormalised.
    const glm::quat q(0.99999994f, 0.0f, 0.0f, 3.0e-4f);
    const glm::quat near = Ps::slerpQuat(p, q, 0.5f);
    EXPECT_EQ(near.w, p.w + (q.w - p.w) * 0.5f);
    EXPECT_EQ(near.z, p.z + (q.z - p.z) * 0.5f);
    // The same for a negative dot product, after negating q: the blend of p and -p is p.
    const glm::quat opposite = Ps::slerpQuat(p, -p, 0.25f);
    EXPECT_EQ(opposite.w, 1.0f);
    EXPECT_EQ(opposite.x, 0.0f);
    // Otherwise the sine weights: (sin((1 - k) a) p + sin(k a) q) / sin(a), a = acos(dot).
    const glm::quat r(0.6f, 0.0f, 0.0f, 0.8f);
    const float k = 0.3f;
    const float a = std::acos(0.6f);
    const glm::quat s = Ps::slerpQuat(p, r, k);
    EXPECT_EQ(s.w, (std::sin((1.0f - k) * a) * 1.0f + std::sin(k * a) * 0.6f) / std::sin(a));
    EXPECT_EQ(s.z, (std::sin((1.0f - k) * a) * 0.0f + std::sin(k * a) * 0.8f) / std::sin(a));
    // And a negative dot product takes the short way.
    const glm::quat t = Ps::slerpQuat(p, -r, k);
    EXPECT_EQ(t.w, s.w);
    EXPECT_EQ(t.z, s.z);
}

}  // namespace
