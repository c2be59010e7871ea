#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_mesh.h"
#include "ps_test_effect_writer.h"
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

} // namespace
