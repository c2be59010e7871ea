// The function operations run inside small compiled effects: written with the
// test writer, loaded with the exact pool, run for whole frames. The
// operations sit in the generator chain, which runs once per frame, and their
// outputs are read from the instance's emitter data afterwards.

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"
#include "particle_system/functions/ps_func_curves.h"
#include "particle_system/functions/ps_func_expression.h"
#include "particle_system/functions/ps_func_force_move.h"
#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_func_noise3_eval.h"
#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_random_generator.h"
#include "ps_func_test_bytes.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using glm::quat;
using glm::vec2;
using glm::vec3;
using PsTest::Ext;
using PsTest::In;

constexpr float kFps = 10.0f;
constexpr float kFrame = 1.0f / kFps;

// An effect of one emitter whose generator never fires, with `build` adding
// the operations under test; returns the operations' indices through `build`.
struct Effect
{
    PsTest::EffectWriter writer;
    PsTest::EmitterWriter* emitter;
    uint8_t generator;

    explicit Effect(uint32_t seed = 1234)
    {
        writer.fps(kFps).fixedSeed(seed);
        emitter = &writer.emitter();
        generator = emitter->generatorPeriodic(Ext(0.0f));
        emitter->maxParticles(4);
    }
    PsTest::EmitterWriter& e() { return *emitter; }

    // Runs `frames` frames with the given operations in the generator chain.
    PsTest::Running run(std::vector<uint8_t> chain, int frames = 1)
    {
        chain.push_back(generator);
        emitter->generatorChain(chain);
        PsTest::Running r = PsTest::run(writer.bytes());
        for (int i = 0; i < frames; ++i)
            r.get().updateFrame(vec3(0.0f), PsTest::kIdentity);
        return r;
    }
};

// Output `output` of operation `op` as T, from the instance's emitter data.
template <class T>
T output(const PsTest::Running& r, uint8_t op, uint32_t index = 0)
{
    Ps::EmitterInst& inst = r.emitter();
    const Ps::Operation& operation = inst.getEmitter().getOperation(op);
    const auto& desc = static_cast<const Ps::InputDesc<T>&>(operation.getOutput(index));
    EXPECT_EQ(Ps::ValueTypeOf<T>::value, operation.getOutput(index).getValueType());
    return *desc.getPtr(inst);
}

uint8_t opOfExts(PsTest::EmitterWriter& e, uint8_t factory, std::initializer_list<Ext> exts)
{
    std::vector<Ext> copy(exts);
    return e.op(factory,
                [copy](Sl::Saver& s)
                {
                    for (const Ext& x : copy)
                        PsTest::writeExt(s, "input", x);
                });
}

// ---- Plain arithmetic --------------------------------------------------------

TEST(PsFuncOps, LerpDirectionMoveStore)
{
    Effect fx;
    const uint8_t lerp =
        opOfExts(fx.e(), Ps::OF_FuncLerpVec3, {vec3(1, 2, 3), vec3(3, 2, 1), 1.5f});
    const uint8_t dir = opOfExts(fx.e(), Ps::OF_FuncDirectionVec2, {vec2(1, 1), vec2(4, 5), 10.0f});
    const uint8_t move = fx.e().op(Ps::OF_FuncMoveVec3,
                                   [lerp](Sl::Saver& s)
                                   {
                                       PsTest::writeIn(s, "input", In{lerp, 0});
                                       PsTest::writeExt(s, "speed", vec3(10, 0, -10));
                                   });
    const uint8_t store = opOfExts(fx.e(), Ps::OF_FuncStoreQuat, {quat(0.5f, 0.5f, 0.5f, 0.5f)});
    const uint8_t lerpF = opOfExts(fx.e(), Ps::OF_FuncLerpFloat, {2.0f, 4.0f, -0.5f});
    auto r = fx.run({lerp, dir, move, store, lerpF});
    EXPECT_EQ(vec3(1, 2, 3) + (vec3(3, 2, 1) - vec3(1, 2, 3)) * 1.5f, output<vec3>(r, lerp));
    EXPECT_EQ(vec2(3, 4) * (1.0f / 5.0f) * 10.0f, output<vec2>(r, dir));
    const vec3 l = output<vec3>(r, lerp);
    EXPECT_EQ(l + kFrame * vec3(10, 0, -10), output<vec3>(r, move));
    EXPECT_EQ(quat(0.5f, 0.5f, 0.5f, 0.5f), output<quat>(r, store));
    EXPECT_EQ(1.0f, output<float>(r, lerpF));  // extrapolates
}

TEST(PsFuncOps, SplitJoinConvertAndAngles)
{
    Effect fx;
    const uint8_t join3 = opOfExts(fx.e(), Ps::OF_FuncJoinVec3, {1.0f, -2.0f, 3.0f});
    const uint8_t split3 = fx.e().op(Ps::OF_FuncSplitVec3,
                                     [join3](Sl::Saver& s) {
                                         PsTest::writeIn(s, "input", In{join3, 0});
                                     });
    const uint8_t join2 = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {In{split3, 2}, In{split3, 1}});
    const uint8_t split2 = fx.e().op(Ps::OF_FuncSplitVec2,
                                     [join2](Sl::Saver& s) {
                                         PsTest::writeIn(s, "input", In{join2, 0});
                                     });
    const uint8_t conv = fx.e().op(Ps::OF_FuncConv2to3,
                                   [join2](Sl::Saver& s)
                                   {
                                       PsTest::writeIn(s, "input", In{join2, 0});
                                       PsTest::writeExt(s, "z", 7.0f);
                                   });
    const uint8_t rot2vec = opOfExts(fx.e(), Ps::OF_FuncRot2Vec, {90.0f, 2.0f});
    const uint8_t vec2rot = opOfExts(fx.e(), Ps::OF_FuncVec2Rot, {vec2(0, 1)});
    const uint8_t vec2rot0 = opOfExts(fx.e(), Ps::OF_FuncVec2Rot, {vec2(0, 0)});
    auto r = fx.run({join3, split3, join2, split2, conv, rot2vec, vec2rot, vec2rot0});
    EXPECT_EQ(vec3(1, -2, 3), output<vec3>(r, join3));
    EXPECT_EQ(1.0f, output<float>(r, split3, 0));
    EXPECT_EQ(-2.0f, output<float>(r, split3, 1));
    EXPECT_EQ(3.0f, output<float>(r, split3, 2));
    EXPECT_EQ(vec2(3, -2), output<vec2>(r, join2));
    EXPECT_EQ(3.0f, output<float>(r, split2, 0));
    EXPECT_EQ(-2.0f, output<float>(r, split2, 1));
    EXPECT_EQ(vec3(3, -2, 7), output<vec3>(r, conv));
    const vec2 v = output<vec2>(r, rot2vec);
    EXPECT_NEAR(0.0f, v.x, 1e-6f);
    EXPECT_FLOAT_EQ(2.0f, v.y);
    EXPECT_FLOAT_EQ(90.0f, output<float>(r, vec2rot));
    EXPECT_EQ(0.0f, output<float>(r, vec2rot0));
}

TEST(PsFuncOps, RotationsAndTransforms)
{
    Effect fx;
    const uint8_t axis = opOfExts(fx.e(), Ps::OF_FuncRotationAxis, {vec3(0, 0, 2), 90.0f});
    const uint8_t fromAxes = fx.e().op(Ps::OF_FuncRotationFromAxes,
                                       [](Sl::Saver& s)
                                       {
                                           PsTest::writeU8(s, "type", Ps::RFA_XY);
                                           PsTest::writeExt(s, "firstAxis", vec3(0, 3, 0));
                                           PsTest::writeExt(s, "secondAxis", vec3(-1, 0, 0.5f));
                                       });
    const uint8_t axes = fx.e().op(Ps::OF_FuncAxisFromRotation,
                                   [axis](Sl::Saver& s) {
                                       PsTest::writeIn(s, "rotation", In{axis, 0});
                                   });
    const uint8_t rotate = opOfExts(fx.e(), Ps::OF_FuncRotate3, {In{axis, 0}, In{axis, 0}});
    const uint8_t transfer =
        opOfExts(fx.e(), Ps::OF_FuncTransfer3, {vec3(1, 1, 1), In{axis, 0}, vec3(2, 0, 0)});
    glm::mat3 m(1.0f);
    m[0][0] = 2.0f;
    m[1][0] = 1.0f;
    m[2][0] = 5.0f;
    m[2][1] = -3.0f;
    const uint8_t join = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {1.0f, 2.0f});
    const uint8_t transform = fx.e().op(Ps::OF_FuncTransform,
                                        [join, m](Sl::Saver& s)
                                        {
                                            PsTest::writeIn(s, "input", In{join, 0});
                                            PsTest::writeValue(s, "transform", m);
                                        });
    auto r = fx.run({axis, fromAxes, axes, rotate, transfer, join, transform});

    const quat q = output<quat>(r, axis);
    EXPECT_EQ(Ps::funcRotationAxis(vec3(0, 0, 2), 90.0f), q);
    const quat f = output<quat>(r, fromAxes);
    const vec3 x = Ps::rotateVector(f, vec3(1, 0, 0));
    EXPECT_NEAR(0.0f, x.x, 1e-6f);
    EXPECT_NEAR(1.0f, x.y, 1e-6f);
    EXPECT_EQ(Ps::funcRotationFromAxes(Ps::RFA_XY, vec3(0, 3, 0), vec3(-1, 0, 0.5f)), f);
    const glm::mat3 cols = Ps::funcAxisFromRotation(q);
    EXPECT_EQ(cols[0], output<vec3>(r, axes, 0));
    EXPECT_EQ(cols[1], output<vec3>(r, axes, 1));
    EXPECT_EQ(cols[2], output<vec3>(r, axes, 2));
    EXPECT_EQ(q * q, output<quat>(r, rotate));
    EXPECT_EQ(vec3(1, 1, 1) + Ps::rotateVector(q, vec3(2, 0, 0)), output<vec3>(r, transfer));
    EXPECT_EQ(vec2(2 * 1 + 1 * 2 + 5, 2 - 3), output<vec2>(r, transform));
}

// ---- Random ------------------------------------------------------------------

TEST(PsFuncOps, RandomDrawsFromTheInstanceGeneratorInChainOrder)
{
    const uint32_t seed = 4242;
    Effect fx(seed);
    const uint8_t a = opOfExts(fx.e(), Ps::OF_FuncRandom, {10.0f, 20.0f});
    const uint8_t same = opOfExts(fx.e(), Ps::OF_FuncRandom, {3.0f, 3.0f});
    const uint8_t b = opOfExts(fx.e(), Ps::OF_FuncRandom, {0.0f, 1.0f});
    const uint8_t v2 = opOfExts(fx.e(), Ps::OF_FuncRandomVec2, {2.0f});
    const uint8_t v3 = opOfExts(fx.e(), Ps::OF_FuncRandomVec3, {3.0f});
    auto r = fx.run({a, same, b, v2, v3});
    // The instance's generator as it stands now, and a replay of its last five
    // draws' worth of steps from the outputs.
    const float ra = output<float>(r, a);
    EXPECT_GE(ra, 10.0f);
    EXPECT_LT(ra, 20.0f);
    EXPECT_EQ(3.0f, output<float>(r, same));
    EXPECT_NEAR(2.0f, glm::length(output<vec2>(r, v2)), 1e-5f);
    EXPECT_NEAR(3.0f, glm::length(output<vec3>(r, v3)), 1e-5f);

    // The same effect again gives the same numbers: the fixed seed reproduces everything.
    Effect again(seed);
    const uint8_t a2 = opOfExts(again.e(), Ps::OF_FuncRandom, {10.0f, 20.0f});
    const uint8_t same2 = opOfExts(again.e(), Ps::OF_FuncRandom, {3.0f, 3.0f});
    const uint8_t b2 = opOfExts(again.e(), Ps::OF_FuncRandom, {0.0f, 1.0f});
    auto r2 = again.run({a2, same2, b2});
    EXPECT_EQ(ra, output<float>(r2, a2));
    EXPECT_EQ(output<float>(r, b), output<float>(r2, b2));

    // Without the equal-bounds draw in between, b takes the value that the
    // draw of `same` got: equal bounds still advance the generator.
    Effect skip(seed);
    const uint8_t a3 = opOfExts(skip.e(), Ps::OF_FuncRandom, {10.0f, 20.0f});
    const uint8_t b3 = opOfExts(skip.e(), Ps::OF_FuncRandom, {0.0f, 1.0f});
    const uint8_t c3 = opOfExts(skip.e(), Ps::OF_FuncRandom, {0.0f, 1.0f});
    auto r3 = skip.run({a3, b3, c3});
    EXPECT_EQ(ra, output<float>(r3, a3));
    EXPECT_EQ(output<float>(r, b), output<float>(r3, c3));
    EXPECT_NE(output<float>(r, b), output<float>(r3, b3));
}

// ---- Curves, paths, areas -------------------------------------------------------

TEST(PsFuncOps, CurvesReadEachComponentAtTheInput)
{
    Effect fx;
    const uint8_t time = fx.e().globTime();
    const PsFuncTest::CurveData cx{0.0f, 1.0f, false, true, {{0.0f, 1.0f, {0.0f, 10.0f}}}};
    const PsFuncTest::CurveData cy{0.0f, 1.0f, false, false, {{0.0f, 1.0f, {5.0f, 5.0f, 6.0f}}}};
    const uint8_t curves = fx.e().op(Ps::OF_FuncCurvesVec2,
                                     [time, cx, cy](Sl::Saver& s)
                                     {
                                         PsTest::writeIn(s, "input", In{time, 0});
                                         PsFuncTest::writeCurve(s, cx);
                                         PsFuncTest::writeCurve(s, cy);
                                     });
    auto r = fx.run({time, curves}, 3);
    const float t = output<float>(r, time);
    const auto& op =
        static_cast<const Ps::FuncCurves<vec2>&>(r.emitter().getEmitter().getOperation(curves));
    EXPECT_EQ(op.evaluate(t), output<vec2>(r, curves));
    EXPECT_EQ(op.getCurve(0).evaluate(t), output<vec2>(r, curves).x);
    EXPECT_TRUE(op.getCurve(0).loopAfter);
    EXPECT_FALSE(op.getCurve(1).loopAfter);
}

TEST(PsFuncOps, CurvesVec3CarriesThreeCurveGroups)
{
    Effect fx;
    const uint8_t t = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {0.5f, 0.0f});
    const uint8_t split = fx.e().op(Ps::OF_FuncSplitVec2,
                                    [t](Sl::Saver& s) {
                                        PsTest::writeIn(s, "input", In{t, 0});
                                    });
    const uint8_t curves = fx.e().op(
        Ps::OF_FuncCurvesVec3,
        [split](Sl::Saver& s)
        {
            PsTest::writeIn(s, "input", In{split, 0});
            for (float k : {1.0f, 2.0f, 3.0f})
                PsFuncTest::writeCurve(s, {0.0f, 1.0f, false, false, {{0.0f, 1.0f, {0.0f, k}}}});
        });
    const uint8_t curve1 = fx.e().op(
        Ps::OF_FuncCurvesFloat,
        [split](Sl::Saver& s)
        {
            PsTest::writeIn(s, "input", In{split, 0});
            PsFuncTest::writeCurve(s, {0.0f, 1.0f, false, false, {{0.0f, 1.0f, {4.0f, 8.0f}}}});
        });
    auto r = fx.run({t, split, curves, curve1});
    EXPECT_EQ(vec3(0.5f, 1.0f, 1.5f), output<vec3>(r, curves));
    EXPECT_EQ(6.0f, output<float>(r, curve1));
}

TEST(PsFuncOps, PathGivesPositionAndDirection)
{
    Effect fx;
    const uint8_t in = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {2.0f, 0.25f});
    const uint8_t split = fx.e().op(Ps::OF_FuncSplitVec2,
                                    [in](Sl::Saver& s) {
                                        PsTest::writeIn(s, "input", In{in, 0});
                                    });
    auto writePath = [](Sl::Saver& s)
    {
        PsFuncTest::writePath<vec3>(
            s, {{0.0f, 1.0f, {vec3(0, 0, 0), vec3(0, 2, 0), vec3(2, 2, 0)}}}, 4.0f);
    };
    const uint8_t beyond = fx.e().op(Ps::OF_FuncPathVec3,
                                     [split, writePath](Sl::Saver& s)
                                     {
                                         PsTest::writeIn(s, "input", In{split, 0});
                                         writePath(s);
                                     });
    const uint8_t quarter = fx.e().op(Ps::OF_FuncPathVec3,
                                      [split, writePath](Sl::Saver& s)
                                      {
                                          PsTest::writeIn(s, "input", In{split, 1});
                                          writePath(s);
                                      });
    const uint8_t path2 = fx.e().op(
        Ps::OF_FuncPathVec2,
        [split](Sl::Saver& s)
        {
            PsTest::writeIn(s, "input", In{split, 1});
            PsFuncTest::writePath<vec2>(s, {{0.0f, 1.0f, {vec2(0, 0), vec2(8, 0)}}}, 8.0f);
        });
    auto r = fx.run({in, split, beyond, quarter, path2});
    EXPECT_EQ(vec3(2, 2, 0), output<vec3>(r, beyond, 0));
    EXPECT_EQ(vec3(1, 0, 0), output<vec3>(r, beyond, 1));
    // Halfway along the first line; the direction halfway between the lines'.
    EXPECT_EQ(vec3(0, 1, 0), output<vec3>(r, quarter, 0));
    EXPECT_EQ(vec3(0.5f, 0.5f, 0), output<vec3>(r, quarter, 1));
    EXPECT_EQ(vec2(2, 0), output<vec2>(r, path2, 0));
    EXPECT_EQ(vec2(1, 0), output<vec2>(r, path2, 1));
}

TEST(PsFuncOps, AreaPlacesPointsInPaintedCells)
{
    Effect fx(99);
    const uint8_t random = opOfExts(fx.e(), Ps::OF_FuncRandom, {0.0f, 1.0f});
    const uint8_t area =
        fx.e().op(Ps::OF_FuncArea,
                  [random](Sl::Saver& s)
                  {
                      PsTest::writeIn(s, "input", In{random, 0});
                      // 2 x 2 cells of 5 x 5 over (10, 20): only the lower right one painted.
                      PsFuncTest::writeArea(s, {10, 20, 10, 10, 2, 2, {0, 0, 0, 9}});
                  });
    const uint8_t empty =
        fx.e().op(Ps::OF_FuncArea,
                  [random](Sl::Saver& s)
                  {
                      PsTest::writeIn(s, "input", In{random, 0});
                      PsFuncTest::writeArea(s, {-3, 4, 10, 10, 2, 2, {0, 0, 0, 0}});
                  });
    auto r = fx.run({random, area, empty}, 1);
    for (int frame = 0; frame < 50; ++frame)
    {
        const vec2 p = output<vec2>(r, area);
        EXPECT_GE(p.x, 15.0f);
        EXPECT_LT(p.x, 20.0f);
        EXPECT_GE(p.y, 25.0f);
        EXPECT_LT(p.y, 30.0f);
        EXPECT_EQ(vec2(-3, 4), output<vec2>(r, empty));
        r.get().updateFrame(vec3(0.0f), PsTest::kIdentity);
    }
}

// ---- Noise ---------------------------------------------------------------------

uint8_t noiseOp(PsTest::EmitterWriter& e, uint8_t input, uint8_t type, float smoothness,
                float scale, vec3 low, vec3 high, vec3 animation, bool additive)
{
    return e.op(Ps::OF_FuncNoise3,
                [=](Sl::Saver& s)
                {
                    PsTest::writeIn(s, "input", In{input, 0});
                    PsTest::writeExt(s, "smoothness", smoothness);
                    PsTest::writeU8(s, "type", type);
                    PsTest::writeExt(s, "range_scale", scale);
                    PsTest::writeValue(s, "range_low", low);
                    PsTest::writeValue(s, "range_high", high);
                    PsTest::writeValue(s, "animation", animation);
                    PsTest::writeBool(s, "additive", additive);
                });
}

TEST(PsFuncOps, NoiseFollowsTheSharedImage)
{
    Effect fx;
    const uint8_t point = opOfExts(fx.e(), Ps::OF_FuncJoinVec3, {3.7f, -12.25f, 40.5f});
    const uint8_t linear =
        noiseOp(fx.e(), point, 0, 20.0f, 2.0f, vec3(-1), vec3(1), vec3(0.5f, 0, 0), false);
    const uint8_t cubic =
        noiseOp(fx.e(), point, 7, 20.0f, 2.0f, vec3(-1), vec3(1), vec3(0.5f, 0, 0), true);
    const uint8_t time = fx.e().globSystemTime();
    auto r = fx.run({time, point, linear, cubic}, 4);
    // The system time as the chain saw it.
    const float systemTime = output<float>(r, time);
    EXPECT_GT(systemTime, 0.0f);
    const Ps::ImageNoise3& image = PsTest::context().getNoiseImage();
    Ps::FuncNoise3Params lin{0, vec3(-1), vec3(1), vec3(0.5f, 0, 0), false};
    Ps::FuncNoise3Params cub{7, vec3(-1), vec3(1), vec3(0.5f, 0, 0), true};
    const vec3 p(3.7f, -12.25f, 40.5f);
    EXPECT_EQ(lin.evaluate(image, p, 20.0f, 2.0f, systemTime), output<vec3>(r, linear));
    EXPECT_EQ(cub.evaluate(image, p, 20.0f, 2.0f, systemTime), output<vec3>(r, cubic));
    // Written out for the linear case.
    const vec3 moved = p + systemTime * vec3(0.5f, 0, 0);
    const vec3 s = image.getPixelLinearNorm(moved / 20.0f);
    EXPECT_EQ(vec3(-2.0f) + (vec3(2.0f) - vec3(-2.0f)) * ((s + 1.0f) * 0.5f),
              output<vec3>(r, linear));
}

TEST(PsFuncOps, NoiseRangeExampleStaysBelowFiveInX)
{
    const Ps::ImageNoise3& image = PsTest::context().getNoiseImage();
    Ps::FuncNoise3Params params{0, vec3(-1), vec3(1), vec3(0), false};
    float highest = -100.0f, lowest = 100.0f;
    for (int i = 0; i < 20000; ++i)
    {
        const vec3 p(i * 0.731f, i * 0.377f, i * 0.119f);
        const vec3 out = params.evaluate(image, p, 7.0f, 10.0f, 0.0f);
        highest = std::max(highest, out.x);
        lowest = std::min(lowest, out.x);
        ASSERT_LE(out.y, 7.0f + 1e-5f);
    }
    EXPECT_LE(highest, 5.0f);
    EXPECT_GT(highest, 4.9f);
    EXPECT_GE(lowest, -10.0f);
    EXPECT_LT(lowest, -9.0f);
}

TEST(PsFuncOps, NoiseRepeatsEverySmoothnessUnits)
{
    const Ps::ImageNoise3& image = PsTest::context().getNoiseImage();
    for (uint8_t type : {uint8_t(0), uint8_t(1)})
    {
        Ps::FuncNoise3Params params{type, vec3(-1), vec3(1), vec3(0), false};
        for (int i = 0; i < 200; ++i)
        {
            const vec3 p(i * 13.7f, i * -5.3f, i * 2.9f);
            const vec3 a = params.evaluate(image, p, 1000.0f, 1.0f, 0.0f);
            for (const vec3& shift : {vec3(1000, 0, 0), vec3(0, 1000, 0), vec3(0, 0, -1000)})
            {
                const vec3 b = params.evaluate(image, p + shift, 1000.0f, 1.0f, 0.0f);
                ASSERT_NEAR(a.x, b.x, 1e-3f);
                ASSERT_NEAR(a.y, b.y, 1e-3f);
                ASSERT_NEAR(a.z, b.z, 1e-3f);
            }
        }
        // Exactly, where the positions are exact in float.
        EXPECT_EQ(params.evaluate(image, vec3(250, 125, 500), 1000.0f, 1.0f, 0.0f),
                  params.evaluate(image, vec3(1250, -875, 2500), 1000.0f, 1.0f, 0.0f));
    }
}

TEST(PsFuncOps, AdditiveNoiseAddsTheAnimatedPosition)
{
    // The additive form moves the animated point itself by the noise, not the input.
    const Ps::ImageNoise3& image = PsTest::context().getNoiseImage();
    const vec3 animation(2.0f, -1.0f, 0.5f);
    Ps::FuncNoise3Params plain{1, vec3(-1, 0, -2), vec3(1, 3, 2), animation, false};
    Ps::FuncNoise3Params additive = plain;
    additive.additive = true;
    const vec3 input(3.5f, 8.25f, -6.0f);
    const float systemTime = 4.0f;
    const vec3 moved = input + systemTime * animation;  // exact in float: (11.5, 4.25, -4)
    const vec3 noise = plain.evaluate(image, input, 9.0f, 1.5f, systemTime);
    EXPECT_EQ(noise + moved, additive.evaluate(image, input, 9.0f, 1.5f, systemTime));
    // And the sample is taken at the animated point: no animation at an input
    // already moved gives the same noise.
    Ps::FuncNoise3Params still = plain;
    still.animation = vec3(0.0f);
    EXPECT_EQ(noise, still.evaluate(image, moved, 9.0f, 1.5f, 123.0f));
}

// ---- Force move -------------------------------------------------------------------

TEST(PsFuncOps, ForceMoveReadsItsListsOfForcesAndWinds)
{
    Effect fx;
    const uint8_t pos = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {1.0f, 2.0f});
    const uint8_t vel = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {0.0f, 3.0f});
    const uint8_t noDrag = fx.e().op(Ps::OF_FuncForceMoveVec2,
                                     [pos, vel](Sl::Saver& s)
                                     {
                                         PsTest::writeIn(s, "in_position", In{pos, 0});
                                         PsTest::writeIn(s, "in_velocity", In{vel, 0});
                                         PsTest::writeU8(s, "num_forces", 2);
                                         PsTest::writeExt(s, "force", vec2(0, -10));
                                         PsTest::writeExt(s, "force", In{pos, 0});
                                         PsTest::writeU8(s, "num_velocities", 1);
                                         PsTest::writeExt(s, "velocity", vec2(100, 0));
                                         PsTest::writeExt(s, "drag", 0.0f);
                                     });
    const uint8_t drag = fx.e().op(Ps::OF_FuncForceMoveVec2,
                                   [pos, vel](Sl::Saver& s)
                                   {
                                       PsTest::writeIn(s, "in_position", In{pos, 0});
                                       PsTest::writeIn(s, "in_velocity", In{vel, 0});
                                       PsTest::writeU8(s, "num_forces", 0);
                                       PsTest::writeU8(s, "num_velocities", 2);
                                       PsTest::writeExt(s, "velocity", vec2(4, 0));
                                       PsTest::writeExt(s, "velocity", vec2(1, 0));
                                       PsTest::writeExt(s, "drag", 3.0f);
                                   });
    auto r = fx.run({pos, vel, noDrag, drag});
    // Drag 0: one semi-implicit step of the frame; the wind doesn't count.
    const vec2 F = vec2(0, -10) + vec2(1, 2);
    const vec2 v1 = vec2(0, 3) + F * kFrame;
    EXPECT_EQ(v1, output<vec2>(r, noDrag, 1));
    EXPECT_EQ(vec2(1, 2) + v1 * kFrame, output<vec2>(r, noDrag, 0));
    // With drag: the same as the integrator given the summed wind.
    vec2 p(1, 2), v(0, 3);
    const vec2 w1(4, 0), w2(1, 0);
    const vec2* winds[2] = {&w1, &w2};
    Ps::forceMove<vec2>(p, v, nullptr, 0, winds, 2, 3.0f, kFrame);
    EXPECT_EQ(p, output<vec2>(r, drag, 0));
    EXPECT_EQ(v, output<vec2>(r, drag, 1));
    const auto& op =
        static_cast<const Ps::FuncForceMove<vec2>&>(r.emitter().getEmitter().getOperation(drag));
    EXPECT_EQ(0u, op.getNumForces());
    EXPECT_EQ(2u, op.getNumWinds());
}

// ---- Expression -------------------------------------------------------------------

std::vector<unsigned char> compileExpr(const char* text, std::vector<Expr::InputDesc> inputs)
{
    inputs.push_back({"dt", Expr::VT_Float});
    Expr::Parser parser(text, inputs.data(), static_cast<unsigned>(inputs.size()));
    EXPECT_TRUE(parser.isOk()) << parser.getErrorMessage();
    return std::vector<unsigned char>(parser.getOutputBuffer(),
                                      parser.getOutputBuffer() + parser.getOutputBufferSize());
}

uint8_t expressionOp(PsTest::EmitterWriter& e, const std::vector<unsigned char>& code,
                     std::vector<In> inputs)
{
    return e.op(Ps::OF_FuncExpression,
                [code, inputs](Sl::Saver& s)
                {
                    const uint32_t size = static_cast<uint32_t>(code.size());
                    PsTest::writeU32(s, "expr_data_size", size);
                    s.writeBinary("expr_data", code.data(), size);
                    PsTest::writeU32(s, "expr_pool_size",
                                     Expr::Executor::computePoolSizeNoObj(code.data(), size));
                    PsTest::writeU32(s, "num_inputs", static_cast<uint32_t>(inputs.size()));
                    for (const In& in : inputs)
                        PsTest::writeIn(s, "input", in);
                });
}

TEST(PsFuncOps, ExpressionRunsWithDtAsLastInput)
{
    Effect fx;
    const uint8_t a = opOfExts(fx.e(), Ps::OF_FuncJoinVec3, {1.0f, 2.0f, 3.0f});
    const uint8_t b = opOfExts(fx.e(), Ps::OF_FuncLerpFloat, {4.0f, 4.0f, 0.0f});
    const auto code =
        compileExpr("a * b + vec3(dt, 0, 0)", {{"a", Expr::VT_Vec3}, {"b", Expr::VT_Float}});
    const uint8_t expr = expressionOp(fx.e(), code, {In{a, 0}, In{b, 0}});
    const auto scalar = compileExpr("b - 1", {{"b", Expr::VT_Float}});
    const uint8_t expr2 = expressionOp(fx.e(), scalar, {In{b, 0}});
    auto r = fx.run({a, b, expr, expr2});
    EXPECT_EQ(vec3(4, 8, 12) + vec3(kFrame, 0, 0), output<vec3>(r, expr));
    EXPECT_EQ(3.0f, output<float>(r, expr2));
    // Two inputs of the operation, three of the executor.
    const auto& op =
        static_cast<const Ps::FuncExpression&>(r.emitter().getEmitter().getOperation(expr));
    EXPECT_EQ(2u, op.getNumInputs());
    EXPECT_EQ(3u, op.getExecutor().getNumInputs());
    EXPECT_EQ(2u * sizeof(void*), op.getResultOffset());
}

TEST(PsFuncOps, ExpressionWithWrongInputTypeIsRefused)
{
    Effect fx;
    const uint8_t a = opOfExts(fx.e(), Ps::OF_FuncJoinVec2, {1.0f, 2.0f});
    const auto code = compileExpr("a * 2", {{"a", Expr::VT_Vec3}});
    const uint8_t expr = expressionOp(fx.e(), code, {In{a, 0}});
    fx.e().generatorChain({a, expr, fx.generator});
    EXPECT_THROW(PsTest::load(fx.writer.bytes()), Debug::CheckException);
}

TEST(PsFuncOps, ExpressionWithCorruptCodeIsRefused)
{
    Effect fx;
    auto code = compileExpr("dt * 2", {});
    code.resize(code.size() - 1);
    const uint8_t expr = expressionOp(fx.e(), code, {});
    fx.e().generatorChain({expr, fx.generator});
    EXPECT_ANY_THROW(PsTest::load(fx.writer.bytes()));
}

}  // namespace
