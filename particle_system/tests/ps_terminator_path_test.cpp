#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "particle_system/glm_ext_intersect.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_terminator_path.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

const glm::vec2 kDiag(std::sqrt(0.5f), std::sqrt(0.5f));

// The box of centre (0, 0) and half extents (1, 1): the lines from (-1, -1) to (1, 1) (rising)
// and from (-1, 1) to (1, -1) (falling).
bool box(glm::vec2 a, glm::vec2 b)
{
    const glm::vec2 d = b - a;
    return GlmExt::intersectAabbSegment(glm::vec2(0.0f), kDiag, std::sqrt(2.0f), a, b,
                                        std::sqrt(d.x * d.x + d.y * d.y));
}

bool diagonal(glm::vec2 a, glm::vec2 b, bool rising)
{
    const glm::vec2 d = b - a;
    return GlmExt::intersectAabbDiagonalSegment(glm::vec2(0.0f), kDiag, std::sqrt(2.0f), a, b,
                                                std::sqrt(d.x * d.x + d.y * d.y), rising);
}

TEST(PsGlmExtIntersect, Box)
{
    // Both ends beyond one side.
    EXPECT_FALSE(box({2.0f, -5.0f}, {3.0f, 5.0f}));
    EXPECT_FALSE(box({-5.0f, 1.5f}, {5.0f, 1.5f}));
    // A start inside the box.
    EXPECT_TRUE(box({0.5f, 0.9f}, {3.0f, 3.0f}));
    // An end inside.
    EXPECT_TRUE(box({3.0f, 0.5f}, {0.5f, 0.5f}));
    // Passing through, both ends outside.
    EXPECT_TRUE(box({-3.0f, 0.1f}, {3.0f, 0.1f}));
    // A zero-length segment outside.
    EXPECT_FALSE(box({3.0f, 0.0f}, {3.0f, 0.0f}));
}

TEST(PsGlmExtIntersect, Diagonals)
{
    // Across the rising diagonal above the centre.
    EXPECT_TRUE(diagonal({0.0f, 0.9f}, {0.9f, 0.0f}, true));
    // Beside the rising diagonal, without reaching it.
    EXPECT_FALSE(diagonal({-0.9f, 0.0f}, {-0.2f, 0.7f}, true));
    // Along the falling one: both ends on it.
    EXPECT_TRUE(diagonal({-0.5f, 0.5f}, {0.5f, -0.5f}, false));
    // Far away in the same direction.
    EXPECT_FALSE(diagonal({5.0f, 0.0f}, {6.0f, 1.0f}, false));
    EXPECT_FALSE(diagonal({0.0f, 0.5f}, {0.0f, 0.5f}, true));
}

// A particle that follows the emitter's position (update chain: emitter position, position
// updater), ended by a path tree of one box with a rising and a falling leaf.
std::vector<uint8_t> pathEffect()
{
    EffectWriter effect;
    effect.fps(10.0f);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(1.0f), 1.0f, 1, std::nullopt, 1u);   // 0
    const uint8_t pos = emitter.globEmitterPos();                      // 1
    const uint8_t upd = emitter.parameterPositionUpdater(In{pos, 0});  // 2
    const float l = std::sqrt(2.0f);
    emitter.terminatorPath(
        {{{0, glm::vec2(0.0f), kDiag, 2.0f * l}},
         {{1, glm::vec2(-1.0f, -1.0f), kDiag, l}, {2, glm::vec2(1.0f, -1.0f), kDiag, l}}});  // 3
    emitter.updateChain({pos, upd}).maxParticles(1);
    return effect.bytes();
}

Ps::TerminatorPath::DynData pathData(const PsTest::Running& r)
{
    const Ps::EmitterInst& inst = r.emitter();
    Ps::TerminatorPath::DynData data;
    std::memcpy(&data,
                inst.getParticleDynamicDataAt(*inst.getHead()) +
                    inst.getEmitter().getOperation(3).getParticleDataOffset(),
                sizeof(data));
    return data;
}

TEST(PsTerminatorPath, EndsAParticleThatCrossesALine)
{
    PsTest::Running r = PsTest::run(pathEffect(), glm::vec3(-3.0f, 1.0f, 0.0f));
    Ps::SystemInst& inst = r.get();
    inst.updateFrame(glm::vec3(-3.0f, 1.0f, 0.0f), PsTest::kIdentity);
    ASSERT_EQ(r.emitter().getNumActiveParticles(), 1u);
    EXPECT_EQ(pathData(r).started, 1u);
    // Towards the rising line without reaching it.
    inst.updateFrame(glm::vec3(-1.5f, -0.5f, 0.0f), PsTest::kIdentity);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 1u);
    // Inside the boxes, beside the line.
    inst.updateFrame(glm::vec3(-1.5f, 0.5f, 0.0f), PsTest::kIdentity);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 1u);
    // Across it between two frames.
    inst.updateFrame(glm::vec3(-0.5f, -1.5f, 0.0f), PsTest::kIdentity);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 0u);
}

TEST(PsTerminatorPath, SlowMovementAccumulates)
{
    PsTest::Running r = PsTest::run(pathEffect(), glm::vec3(5.0f, 5.0f, 0.0f));
    Ps::SystemInst& inst = r.get();
    inst.updateFrame(glm::vec3(5.0f, 5.0f, 0.0f), PsTest::kIdentity);
    float x = 5.0f;
    for (int i = 0; i < 3; ++i)
    {
        x += 0.0004f;
        inst.updateFrame(glm::vec3(x, 5.0f, 0.0f), PsTest::kIdentity);
    }
    // 0.0012 from the stored point (beyond 0.001): tested, and the point moves on.
    EXPECT_EQ(pathData(r).lastPosition, glm::vec2(x, 5.0f));
    x += 0.0004f;
    inst.updateFrame(glm::vec3(x, 5.0f, 0.0f), PsTest::kIdentity);
    EXPECT_NE(pathData(r).lastPosition, glm::vec2(x, 5.0f));
}

TEST(PsTerminatorPath, LoaderChecksTheTree)
{
    EffectWriter effect;
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(Ext(1.0f));
    // A box without a level of children.
    emitter.terminatorPath({{{0, glm::vec2(0.0f), kDiag, 1.0f}}});
    const std::vector<uint8_t> bytes = effect.bytes();
    EXPECT_THROW(Ps::MemManagedSystemShell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                           PsTest::context()),
                 Debug::CheckException);
}

}  // namespace
