#include <cmath>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/functions/ps_func_curve.h"
#include "ps_func_test_bytes.h"

namespace
{

using PsFuncTest::CurveData;

PsFuncTest::Loaded<Ps::FuncCurve> loadCurve(const CurveData& desc)
{
    auto r = PsFuncTest::load<Ps::FuncCurve>(
        PsFuncTest::bytesOf([&](Sl::Saver& s) { PsFuncTest::writeCurve(s, desc); }));
    EXPECT_EQ(r.computed, r.used);
    EXPECT_TRUE(r.sizePassConsumedAll);
    EXPECT_TRUE(r.loadPassConsumedAll);
    return r;
}

// v(t) = 10 t on [0, 2], one segment of 5 values: exact at the samples.
CurveData ramp(bool leftLooped, bool rightLooped)
{
    return CurveData{
        0.0f, 2.0f, leftLooped, rightLooped, {{0.0f, 2.0f, {0.0f, 5.0f, 10.0f, 15.0f, 20.0f}}}};
}

TEST(PsFuncCurve, LoadsFieldsAndSegments)
{
    auto r = loadCurve(CurveData{
        -1.0f, 3.0f, true, false, {{-1.0f, 1.0f, {1.0f, 2.0f}}, {1.0f, 3.0f, {4.0f, 5.0f, 6.0f}}}});
    const Ps::FuncCurve& c = r.object;
    EXPECT_EQ(-1.0f, c.timeStart);
    EXPECT_EQ(3.0f, c.timeEnd);
    EXPECT_TRUE(c.loopBefore);
    EXPECT_FALSE(c.loopAfter);
    ASSERT_EQ(2u, c.numSegments_);
    EXPECT_EQ(3u, c.segments_[1].numValues);
    EXPECT_EQ(6.0f, c.segments_[1].values[2]);
}

TEST(PsFuncCurve, LerpsInsideSegment)
{
    auto r = loadCurve(ramp(false, false));
    EXPECT_EQ(0.0f, r.object.evaluate(0.0f));
    EXPECT_EQ(5.0f, r.object.evaluate(0.5f));
    EXPECT_FLOAT_EQ(7.5f, r.object.evaluate(0.75f));
    EXPECT_FLOAT_EQ(13.0f, r.object.evaluate(1.3f));
}

TEST(PsFuncCurve, WithoutLoopingClampsBothSides)
{
    auto r = loadCurve(ramp(false, false));
    EXPECT_EQ(0.0f, r.object.evaluate(-0.5f));
    EXPECT_EQ(0.0f, r.object.evaluate(-1000.0f));
    EXPECT_EQ(20.0f, r.object.evaluate(2.5f));
    EXPECT_EQ(20.0f, r.object.evaluate(1e30f));
}

TEST(PsFuncCurve, LoopedOnTheRight)
{
    auto r = loadCurve(ramp(false, true));
    // From 0 to 2, t = 5 reads at 1.
    EXPECT_EQ(1.0f, r.object.wrapTime(5.0f));
    EXPECT_EQ(10.0f, r.object.evaluate(5.0f));
    EXPECT_FLOAT_EQ(15.0f, r.object.evaluate(3.5f));
    // Looping on one side only: the other side still clamps.
    EXPECT_EQ(0.0f, r.object.evaluate(-0.5f));
}

TEST(PsFuncCurve, LoopedOnTheLeft)
{
    auto r = loadCurve(ramp(true, false));
    // From 0 to 2, t = -0.5 reads at 1.5.
    EXPECT_EQ(1.5f, r.object.wrapTime(-0.5f));
    EXPECT_EQ(15.0f, r.object.evaluate(-0.5f));
    EXPECT_EQ(5.0f, r.object.evaluate(-5.5f));
    EXPECT_EQ(20.0f, r.object.evaluate(7.0f));
}

TEST(PsFuncCurve, LoopingKeepsWholePeriodsAtTheEnds)
{
    auto r = loadCurve(ramp(true, true));
    // t - timeEnd a whole number of periods: fmod gives 0, the start.
    EXPECT_EQ(0.0f, r.object.wrapTime(4.0f));
    EXPECT_EQ(0.0f, r.object.evaluate(6.0f));
    // timeStart - t a whole number of periods: the end.
    EXPECT_EQ(2.0f, r.object.wrapTime(-2.0f));
    EXPECT_EQ(20.0f, r.object.evaluate(-4.0f));
}

TEST(PsFuncCurve, LoopArithmeticInDoublePrecision)
{
    // The remainder of 1e8 + 16 by 3 is 2 in double arithmetic.
    auto r = loadCurve(CurveData{0.0f, 3.0f, false, true, {{0.0f, 3.0f, {0.0f, 3.0f}}}});
    const float t = 100000016.0f;
    const float expected = static_cast<float>(0.0 + std::fmod(static_cast<double>(t - 3.0f), 3.0));
    EXPECT_EQ(expected, r.object.wrapTime(t));
}

// The loop in single precision but for the remainder: the distance to the end
// and the period are float differences, the remainder is taken in double and
// the result is a float sum.
float loopedLeft(float timeStart, float timeEnd, float t)
{
    const float distance = timeStart - t;
    const float period = timeEnd - timeStart;
    const float remainder = static_cast<float>(std::fmod(double(distance), double(period)));
    return timeEnd - remainder;
}

float loopedRight(float timeStart, float timeEnd, float t)
{
    const float distance = t - timeEnd;
    const float period = timeEnd - timeStart;
    const float remainder = static_cast<float>(std::fmod(double(distance), double(period)));
    return timeStart + remainder;
}

TEST(PsFuncCurve, LoopDistancesAreFloatDifferences)
{
    // 0.1f - (-1e8f) rounds to 1e8 in float; in double it would keep the 0.1
    // and the remainder would move by it.
    auto r = loadCurve(CurveData{0.1f, 0.7f, true, true, {{0.1f, 0.7f, {0.0f, 6.0f}}}});
    const float left = -1.0e8f;
    EXPECT_EQ(loopedLeft(0.1f, 0.7f, left), r.object.wrapTime(left));
    EXPECT_NE(static_cast<float>(0.7 - std::fmod(0.1 - double(left), double(0.7f - 0.1f))),
              r.object.wrapTime(left));
    const float right = 3.0e7f;
    EXPECT_EQ(loopedRight(0.1f, 0.7f, right), r.object.wrapTime(right));
    EXPECT_NE(static_cast<float>(0.1 + std::fmod(double(right) - 0.7, double(0.7f - 0.1f))),
              r.object.wrapTime(right));
}

TEST(PsFuncCurve, LoopMatchesTheSinglePrecisionSumEverywhere)
{
    // Odd ends and inputs over many magnitudes on both sides: the wrapped time
    // is, bit for bit, the float sum of an end and the float remainder.
    const float ends[][2] = {
        {0.1f, 0.7f}, {-3.3f, 17.9f}, {1000.25f, 1000.3f}, {-1e-3f, 2e-3f}, {5.0f, 1e6f}};
    for (const auto& e : ends)
    {
        auto r = loadCurve(CurveData{e[0], e[1], true, true, {{e[0], e[1], {0.0f, 1.0f}}}});
        for (float magnitude = 1e-4f; magnitude < 1e9f; magnitude *= 1.37f)
        {
            const float before = e[0] - magnitude;
            const float after = e[1] + magnitude;
            if (before < e[0])
            {
                const float wrapped = r.object.wrapTime(before);
                EXPECT_EQ(loopedLeft(e[0], e[1], before), wrapped) << e[0] << " " << before;
                EXPECT_GE(wrapped, e[0]);
                EXPECT_LE(wrapped, e[1]);
            }
            if (after > e[1])
            {
                const float wrapped = r.object.wrapTime(after);
                EXPECT_EQ(loopedRight(e[0], e[1], after), wrapped) << e[1] << " " << after;
                EXPECT_GE(wrapped, e[0]);
                EXPECT_LE(wrapped, e[1]);
            }
        }
    }
}

TEST(PsFuncCurve, ZeroWidthFirstSegmentReadsItsFirstValue)
{
    // Two keys at time 0, then a ramp: the step at 0 has no width.
    auto r = loadCurve(CurveData{
        0.0f, 2.0f, false, false, {{0.0f, 0.0f, {3.0f, 7.0f}}, {0.0f, 2.0f, {7.0f, 9.0f}}}});
    EXPECT_EQ(3.0f, r.object.evaluate(0.0f));
    // Inputs clamped to the start read it too.
    EXPECT_EQ(3.0f, r.object.evaluate(-0.5f));
    EXPECT_EQ(3.0f, r.object.evaluate(-1e30f));
    // Everything past it is unchanged.
    EXPECT_EQ(8.0f, r.object.evaluate(1.0f));
    EXPECT_EQ(9.0f, r.object.evaluate(2.0f));
    EXPECT_FLOAT_EQ(7.0f + 2e-6f, r.object.evaluate(2e-6f));
    // A NaN stays a NaN.
    EXPECT_TRUE(std::isnan(r.object.evaluate(NAN)));
}

TEST(PsFuncCurve, ZeroWidthSegmentsWithOneOrManyValues)
{
    auto one = loadCurve(
        CurveData{1.0f, 3.0f, true, false, {{1.0f, 1.0f, {5.0f}}, {1.0f, 3.0f, {0.0f, 2.0f}}}});
    EXPECT_EQ(5.0f, one.object.evaluate(1.0f));
    // Looped on the left: -1 wraps to 3 - fmod(2, 2) = 3, the end.
    EXPECT_EQ(2.0f, one.object.evaluate(-1.0f));
    EXPECT_EQ(1.5f, one.object.evaluate(2.5f));

    auto many = loadCurve(CurveData{0.5f, 0.5f, false, false, {{0.5f, 0.5f, {4.0f, 5.0f, 6.0f}}}});
    EXPECT_EQ(4.0f, many.object.evaluate(0.5f));
    EXPECT_EQ(4.0f, many.object.evaluate(0.0f));
    EXPECT_EQ(4.0f, many.object.evaluate(9.0f));
}

TEST(PsFuncCurve, SegmentEndReadsLastValueOfThatSegment)
{
    auto r = loadCurve(CurveData{0.0f,
                                 2.0f,
                                 false,
                                 false,
                                 {{0.0f, 1.0f, {0.0f, 1.0f, 2.0f}}, {1.0f, 2.0f, {10.0f, 20.0f}}}});
    // The first segment whose end is not below t: at 1 the first one's last value.
    EXPECT_EQ(2.0f, r.object.evaluate(1.0f));
    EXPECT_FLOAT_EQ(15.0f, r.object.evaluate(1.5f));
    EXPECT_EQ(20.0f, r.object.evaluate(2.0f));
    EXPECT_FLOAT_EQ(1.0f, r.object.evaluate(0.5f));
}

TEST(PsFuncCurve, BinarySearchOverManySegments)
{
    CurveData desc{0.0f, 100.0f, false, false, {}};
    for (int s = 0; s < 100; ++s)
        desc.segments.push_back(
            {float(s), float(s + 1), {float(s) * 2.0f, float(s) * 2.0f + 1.0f}});
    auto r = loadCurve(desc);
    for (int s = 0; s < 100; ++s)
        EXPECT_FLOAT_EQ(float(s) * 2.0f + 0.25f, r.object.evaluate(float(s) + 0.25f)) << s;
}

TEST(PsFuncCurve, SingleValueSegmentIsConstant)
{
    auto r = loadCurve(CurveData{0.0f, 1.0f, false, false, {{0.0f, 1.0f, {4.0f}}}});
    EXPECT_EQ(4.0f, r.object.evaluate(0.0f));
    EXPECT_EQ(4.0f, r.object.evaluate(0.7f));
    EXPECT_EQ(4.0f, r.object.evaluate(1.0f));
}

TEST(PsFuncCurve, NanPassesThroughWithoutReadingOutside)
{
    auto r = loadCurve(ramp(true, true));
    EXPECT_TRUE(std::isnan(r.object.evaluate(NAN)));
}

TEST(PsFuncCurve, CurveWithoutSegmentsIsAnAssertion)
{
    auto r = loadCurve(CurveData{0.0f, 1.0f, false, false, {}});
    EXPECT_THROW(r.object.evaluate(0.5f), Debug::CheckException);
}

TEST(PsFuncCurve, SegmentWithoutValuesIsRefusedOnLoad)
{
    const auto bytes = PsFuncTest::bytesOf(
        [](Sl::Saver& s) {
            PsFuncTest::writeCurve(s, CurveData{0.0f, 1.0f, false, false, {{0.0f, 1.0f, {}}}});
        });
    EXPECT_THROW(PsFuncTest::load<Ps::FuncCurve>(bytes), Debug::CheckException);
}

TEST(PsFuncCurve, TruncatedCurveThrowsFromTheSizePass)
{
    auto bytes =
        PsFuncTest::bytesOf([](Sl::Saver& s) { PsFuncTest::writeCurve(s, ramp(false, false)); });
    bytes.resize(bytes.size() - 3);
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_ANY_THROW(Ps::FuncCurve::computePoolSize(loader));
}

}  // namespace
