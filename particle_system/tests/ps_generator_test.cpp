#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_generator_distance.h"
#include "particle_system/ps_generator_periodic.h"
#include "particle_system/ps_parameter.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// The value of a float parameter (operation `op`) of particle i.
float floatParam(const PsTest::Running& r, uint32_t op, uint32_t i, uint32_t emitter = 0)
{
    const Ps::EmitterInst& inst = r.emitter(emitter);
    const Ps::Operation& operation = inst.getEmitter().getOperation(op);
    float v = 0.0f;
    std::memcpy(&v, inst.getParticleDynamicDataAt(i) + operation.getParticleDataOffset(),
                sizeof(v));
    return v;
}

std::vector<float> floatParams(const PsTest::Running& r, uint32_t op, uint32_t emitter = 0)
{
    std::vector<float> values;
    for (uint32_t i : PsTest::activeParticles(r.emitter(emitter)))
        values.push_back(floatParam(r, op, i, emitter));
    return values;
}

Ps::GeneratorPeriodic::Data& periodicData(const PsTest::Running& r, uint32_t op = 0)
{
    const Ps::EmitterInst& inst = r.emitter();
    return *static_cast<Ps::GeneratorPeriodic::Data*>(
        inst.getVoidPtrStaticData(inst.getEmitter().getOperation(op)));
}

void frame(PsTest::Running& r, const glm::vec3& position = glm::vec3(0.0f),
           const glm::quat& rotation = PsTest::kIdentity)
{
    r.get().updateFrame(position, rotation);
}

// An emitter whose init chains store the emitter's time at each birth (operation 2) and the
// burst position (operation 3).
struct BirthEffect
{
    EffectWriter effect;
    EmitterWriter* emitter;

    BirthEffect(float fps, const Ext& rate, float startPhase = 0.0f, uint32_t burst = 1,
                std::optional<float> fixedTime = std::nullopt,
                std::optional<uint32_t> fixedShots = std::nullopt)
    {
        effect.fps(fps).fixedSeed(5);
        emitter = &effect.emitter();
        emitter->generatorPeriodic(rate, startPhase, burst, fixedTime, fixedShots);  // 0
        const uint8_t time = emitter->globTime();                                    // 1
        emitter->parameter(In{time, 0}, Ps::VT_Float);                               // 2
        emitter->parameter(In{0, 0}, Ps::VT_Float);                                  // 3
        emitter->initBoth({1, 2, 3});
        emitter->maxParticles(1000);
    }
};

TEST(PsGeneratorPeriodic, ShootsAtItsRateAndKeepsThePhase)
{
    BirthEffect e(4.0f, Ext(10.0f));  // dt 0.25
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 2u);  // total 2.5
    EXPECT_FLOAT_EQ(periodicData(r).phase, 0.5f);
    // Births at 0.1 and 0.2 of the emitter's clock; after the step it stands at its end.
    EXPECT_EQ(floatParams(r, 2), (std::vector<float>{0.2f, 0.1f}));
    EXPECT_EQ(r.emitter().getTime(), 0.25f);
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 5u);  // total 3.0
    EXPECT_NEAR(periodicData(r).phase, 0.0f, 1e-6f);
}

TEST(PsGeneratorPeriodic, BirthsAreFrameExactOverManyFrames)
{
    // 10 shots per second at 30 frames per second: one birth in every third frame.
    BirthEffect e(30.0f, Ext(10.0f));
    PsTest::Running r = PsTest::run(e.effect.bytes());
    uint32_t last = 0;
    for (int f = 1; f <= 300; ++f)
    {
        frame(r);
        const uint32_t now = r.emitter().getNumActiveParticles();
        EXPECT_EQ(now - last, f % 3 == 0 ? 1u : 0u) << "frame " << f;
        last = now;
    }
    EXPECT_EQ(last, 100u);

    // 7 per second: 70 births in 10 s, never two in a frame, 4 or 5 frames apart.
    BirthEffect e7(30.0f, Ext(7.0f));
    PsTest::Running r7 = PsTest::run(e7.effect.bytes());
    last = 0;
    int lastBirthFrame = 0;
    for (int f = 1; f <= 300; ++f)
    {
        frame(r7);
        const uint32_t now = r7.emitter().getNumActiveParticles();
        ASSERT_LE(now - last, 1u);
        if (now != last)
        {
            if (lastBirthFrame)
            {
                EXPECT_TRUE(f - lastBirthFrame == 4 || f - lastBirthFrame == 5) << f;
            }
            lastBirthFrame = f;
        }
        last = now;
    }
    EXPECT_GE(last, 69u);
    EXPECT_LE(last, 70u);
}

TEST(PsGeneratorPeriodic, StartPhaseOneShootsAtOnce)
{
    BirthEffect e(4.0f, Ext(1.0f), 1.0f);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    ASSERT_EQ(r.emitter().getNumActiveParticles(), 1u);
    EXPECT_EQ(floatParams(r, 2), (std::vector<float>{0.0f}));
}

TEST(PsGeneratorPeriodic, ZeroRateKeepsThePhaseAndMovesTheEmitter)
{
    BirthEffect e(4.0f, Ext(0.0f), 0.75f);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r, glm::vec3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 0u);
    EXPECT_EQ(periodicData(r).phase, 0.75f);
    EXPECT_EQ(r.emitter().getEmitterPosition(), glm::vec3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(r.emitter().getTime(), 0.25f);
}

TEST(PsGeneratorPeriodic, FixedShotsStopWithinOneStep)
{
    BirthEffect e(10.0f, Ext(100.0f), 0.0f, 1, std::nullopt, 5u);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 5u);
    EXPECT_FALSE(r.emitter().isActive());
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 5u);
    // The instance's clock runs on while it doesn't generate.
    EXPECT_FLOAT_EQ(r.emitter().getTime(), 0.2f);
}

TEST(PsGeneratorPeriodic, FixedTimeAllowsAShotAtExactlyThatTime)
{
    BirthEffect e(1.0f, Ext(1.0f), 0.0f, 1, 2.0f);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    frame(r);
    EXPECT_EQ(floatParams(r, 2), (std::vector<float>{2.0f, 1.0f}));
    EXPECT_TRUE(r.emitter().isActive());
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 2u);
    EXPECT_FALSE(r.emitter().isActive());
}

TEST(PsGeneratorPeriodic, BurstPositions)
{
    BirthEffect four(4.0f, Ext(1.0f), 1.0f, 4);
    PsTest::Running r = PsTest::run(four.effect.bytes());
    frame(r);
    // Newest first: the last of the burst stands at the head.
    EXPECT_EQ(floatParams(r, 3), (std::vector<float>{1.0f, 2.0f / 3.0f, 1.0f / 3.0f, 0.0f}));
    EXPECT_EQ(periodicData(r).burstSize, 4.0f);

    BirthEffect one(4.0f, Ext(1.0f), 1.0f, 1);
    PsTest::Running r1 = PsTest::run(one.effect.bytes());
    frame(r1);
    EXPECT_EQ(floatParams(r1, 3), (std::vector<float>{1.0f}));
}

TEST(PsGeneratorPeriodic, FullPoolDropsTheRestOfTheBurst)
{
    BirthEffect e(4.0f, Ext(1.0f), 1.0f, 10);
    e.emitter->maxParticles(3);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 3u);
    // The positions in the burst run as if all ten had come.
    EXPECT_EQ(floatParams(r, 3), (std::vector<float>{2.0f / 9.0f, 1.0f / 9.0f, 0.0f}));
}

TEST(PsGeneratorPeriodic, MovingEmitterPlacesBirthsAlongTheStep)
{
    // Two shots in the step, at 0.5 and 1.0 of it.
    BirthEffect e(2.0f, Ext(4.0f));  // dt 0.5, total 2
    PsTest::Running r = PsTest::run(e.effect.bytes(), glm::vec3(0.0f));
    frame(r, glm::vec3(8.0f, 0.0f, 0.0f));
    const std::vector<glm::vec3> positions = PsTest::activePositions(r.emitter());
    ASSERT_EQ(positions.size(), 2u);
    EXPECT_EQ(positions[0], glm::vec3(8.0f, 0.0f, 0.0f));
    EXPECT_EQ(positions[1], glm::vec3(4.0f, 0.0f, 0.0f));
    EXPECT_EQ(floatParams(r, 2), (std::vector<float>{0.5f, 0.25f}));
    EXPECT_EQ(r.emitter().getEmitterVelocity(), glm::vec3(16.0f, 0.0f, 0.0f));
    EXPECT_EQ(r.emitter().getTraveledDistance(), 8.0f);
}

TEST(PsGeneratorPeriodic, RotationIsInterpolatedAlongTheStep)
{
    BirthEffect e(2.0f, Ext(4.0f));
    const uint8_t rot = e.emitter->globEmitterRot();  // 4
    e.emitter->parameter(In{rot, 0}, Ps::VT_Quat);    // 5
    e.emitter->initBoth({1, 2, 3, 4, 5});
    PsTest::Running r = PsTest::run(e.effect.bytes());
    // A quarter turn around z in one step: the first birth halfway.
    const glm::quat quarter(std::cos(0.7853982f), 0.0f, 0.0f, std::sin(0.7853982f));
    frame(r, glm::vec3(0.0f), quarter);
    const Ps::Operation& op = r.emitter().getEmitter().getOperation(5);
    std::vector<glm::quat> rotations;
    for (uint32_t i : PsTest::activeParticles(r.emitter()))
    {
        glm::quat q;
        std::memcpy(&q, r.emitter().getParticleDynamicDataAt(i) + op.getParticleDataOffset(),
                    sizeof(q));
        rotations.push_back(q);
    }
    ASSERT_EQ(rotations.size(), 2u);
    EXPECT_NEAR(rotations[0].w, quarter.w, 1e-6f);
    EXPECT_NEAR(rotations[0].z, quarter.z, 1e-6f);
    EXPECT_NEAR(rotations[1].w, std::cos(0.3926991f), 1e-6f);
    EXPECT_NEAR(rotations[1].z, std::sin(0.3926991f), 1e-6f);
}

TEST(PsGeneratorDistance, ShootsAlongTheWay)
{
    EffectWriter effect;
    effect.fps(10.0f);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorDistance(Ext(1.0f), 1.0f, 1);
    emitter.maxParticles(100);
    PsTest::Running r = PsTest::run(effect.bytes(), glm::vec3(0.0f));
    // 2.5 segments with a phase of 1: fractions 0, 0.4 and 0.8 of the way.
    frame(r, glm::vec3(2.5f, 0.0f, 0.0f));
    const std::vector<glm::vec3> positions = PsTest::activePositions(r.emitter());
    ASSERT_EQ(positions.size(), 3u);
    EXPECT_FLOAT_EQ(positions[0].x, 2.0f);
    EXPECT_FLOAT_EQ(positions[1].x, 1.0f);
    EXPECT_FLOAT_EQ(positions[2].x, 0.0f);
    EXPECT_EQ(r.emitter().getEmitterPosition(), glm::vec3(2.5f, 0.0f, 0.0f));
    EXPECT_FLOAT_EQ(r.emitter().getTime(), 0.1f);
    // Standing still shoots nothing more.
    frame(r, glm::vec3(2.5f, 0.0f, 0.0f));
    frame(r, glm::vec3(2.5f, 0.0f, 0.0f));
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 3u);
    // The phase (0.5 left) carries over: half a segment further gives the next shot.
    frame(r, glm::vec3(3.0f, 0.0f, 0.0f));
    EXPECT_EQ(r.emitter().getNumActiveParticles(), 4u);
}

// Shots per step are bounded: beyond 2^24 a float count no longer drops by one per shot and
// the loop would never end, so such a step is refused with an assertion instead.
TEST(PsGeneratorPeriodic, RateTooHighForOneStepIsRefused)
{
    for (float rate :
         {1e9f, 7e7f, std::numeric_limits<float>::max(), std::numeric_limits<float>::infinity()})
    {
        BirthEffect e(4.0f, Ext(rate));
        PsTest::Running r = PsTest::run(e.effect.bytes());
        EXPECT_THROW(frame(r), Debug::CheckException) << rate;
    }
    // A huge start phase counts as well.
    BirthEffect phase(4.0f, Ext(1.0f), 1e30f);
    PsTest::Running r = PsTest::run(phase.effect.bytes());
    EXPECT_THROW(frame(r), Debug::CheckException);
}

TEST(PsGeneratorPeriodic, HighRateBelowTheBoundFinishesTheStep)
{
    // 250000 shots in one step into a pool of 1000: the step ends, the pool is full and the
    // fraction left over stays below one shot.
    BirthEffect e(4.0f, Ext(1000002.0f));
    PsTest::Running r = PsTest::run(e.effect.bytes());
    frame(r);
    EXPECT_EQ(1000u, r.emitter().getNumActiveParticles());
    EXPECT_GE(periodicData(r).phase, 0.0f);
    EXPECT_LT(periodicData(r).phase, 1.0f);
    // The clock advanced shot by shot: the step's end, up to the rounding of 250000 sums.
    EXPECT_NEAR(0.25f, r.emitter().getTime(), 1e-4f);
}

PsTest::Running distanceEffect(EffectWriter& effect, float segment, float startPhase = 0.0f)
{
    effect.fps(10.0f);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorDistance(Ext(segment), startPhase, 1);
    emitter.maxParticles(100);
    return PsTest::run(effect.bytes(), glm::vec3(0.0f));
}

TEST(PsGeneratorDistance, TinyDistanceOrLongWayIsRefused)
{
    {
        // 100 units in segments of 1e-6: 1e8 shots in one step.
        EffectWriter effect;
        PsTest::Running r = distanceEffect(effect, 1e-6f);
        EXPECT_THROW(frame(r, glm::vec3(100.0f, 0.0f, 0.0f)), Debug::CheckException);
    }
    {
        // The smallest distance that is taken at all, over a short way.
        EffectWriter effect;
        PsTest::Running r = distanceEffect(effect, 2.0f * Ps::kEpsilon);
        EXPECT_THROW(frame(r, glm::vec3(10.0f, 0.0f, 0.0f)), Debug::CheckException);
    }
    {
        // A way of infinite length.
        EffectWriter effect;
        PsTest::Running r = distanceEffect(effect, 1.0f);
        EXPECT_THROW(frame(r, glm::vec3(std::numeric_limits<float>::infinity(), 0.0f, 0.0f)),
                     Debug::CheckException);
    }
    {
        // A huge start phase.
        EffectWriter effect;
        PsTest::Running r = distanceEffect(effect, 1.0f, 1e30f);
        EXPECT_THROW(frame(r, glm::vec3(1.0f, 0.0f, 0.0f)), Debug::CheckException);
    }
}

TEST(PsGeneratorDistance, DistanceAtOrBelowEpsilonShootsNothing)
{
    for (float segment : {Ps::kEpsilon, 0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()})
    {
        EffectWriter effect;
        PsTest::Running r = distanceEffect(effect, segment);
        frame(r, glm::vec3(1e6f, 0.0f, 0.0f));
        EXPECT_EQ(0u, r.emitter().getNumActiveParticles()) << segment;
        EXPECT_EQ(glm::vec3(1e6f, 0.0f, 0.0f), r.emitter().getEmitterPosition());
    }
}

TEST(PsGeneratorDistance, ManyShotsBelowTheBoundFinishTheStep)
{
    // 2e6 segments in one step into a pool of 100.
    EffectWriter effect;
    PsTest::Running r = distanceEffect(effect, 0.5f);
    frame(r, glm::vec3(1e6f, 0.0f, 0.0f));
    EXPECT_EQ(100u, r.emitter().getNumActiveParticles());
    EXPECT_EQ(glm::vec3(1e6f, 0.0f, 0.0f), r.emitter().getEmitterPosition());
}

// The birth moments over many frames, bit for bit: each shot advances the clock by
// (1 - current) / rate from the last one, and the phase carries the fraction of a shot over.
TEST(PsGeneratorPeriodic, BirthMomentsFollowTheStepArithmeticExactly)
{
    BirthEffect e(30.0f, Ext(7.0f), 0.25f);
    PsTest::Running r = PsTest::run(e.effect.bytes());
    const float dt = r.get().getSystem().getFrameTime();
    const float rate = 7.0f;
    float time = 0.0f;
    float phase = 0.25f;
    std::vector<float> expected;
    for (int f = 0; f < 90; ++f)
    {
        frame(r);
        float t = time;
        float remaining = dt;
        float total = dt * rate + phase;
        float current = phase;
        while (total >= 1.0f)
        {
            const float step = (1.0f - current) / rate;
            remaining -= step;
            t += step;
            expected.insert(expected.begin(), t);
            total -= 1.0f;
            current = 0.0f;
        }
        phase = total;
        time = t + remaining;
        ASSERT_EQ(r.emitter().getTime(), time) << f;
        ASSERT_EQ(periodicData(r).phase, phase) << f;
    }
    ASSERT_EQ(expected.size(), 21u);
    EXPECT_EQ(floatParams(r, 2), expected);
}

// The distance generator places its shots at k = (1 - phase) / increment and every
// 1 / increment after, and dates them t + dt * k.
TEST(PsGeneratorDistance, ShotsFollowTheStepArithmeticExactly)
{
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(2);
    EmitterWriter& emitter = effect.emitter();
    emitter.generatorDistance(Ext(0.5f), 0.3f, 1);  // 0
    const uint8_t time = emitter.globTime();        // 1
    emitter.parameter(In{time, 0}, Ps::VT_Float);   // 2
    emitter.initBoth({1, 2});
    emitter.maxParticles(100);
    PsTest::Running r = PsTest::run(effect.bytes(), glm::vec3(0.0f));
    const float dt = r.get().getSystem().getFrameTime();
    float t = 0.0f;
    float phase = 0.3f;
    glm::vec3 p0(0.0f);
    std::vector<float> times;
    std::vector<glm::vec3> positions;
    for (int f = 1; f <= 12; ++f)
    {
        const glm::vec3 position(0.37f * static_cast<float>(f), 0.11f * static_cast<float>(f),
                                 0.0f);
        frame(r, position);
        const glm::vec3 way = position - p0;
        const float d = std::sqrt(way.x * way.x + way.y * way.y + way.z * way.z);
        const float increment = d / 0.5f;
        float total = increment + phase;
        float k = (1.0f - phase) / increment;
        while (total >= 1.0f)
        {
            positions.insert(positions.begin(), p0 + (position - p0) * k);
            times.insert(times.begin(), t + dt * k);
            total -= 1.0f;
            k += 1.0f / increment;
        }
        phase = total;
        t = t + dt;
        p0 = position;
    }
    ASSERT_GT(times.size(), 8u);
    EXPECT_EQ(floatParams(r, 2), times);
    EXPECT_EQ(PsTest::activePositions(r.emitter()), positions);
}

}  // namespace
