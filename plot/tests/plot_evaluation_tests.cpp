#include <cmath>

#include <gtest/gtest.h>

#include "plot/plot.h"
#include "plot_test_util.h"

using PlotTest::bezierPlot;
using PlotTest::linearPlot;

TEST(PlotEvaluation, EmptyPlotIsZeroEverywhere)
{
    Plot plot;
    for (float t : {-1e6f, -1.0f, 0.0f, 0.5f, 3.0f, 1e6f})
        EXPECT_EQ(plot.computeValue(t), 0.0f);
    EXPECT_FALSE(plot.computeBoundaries());
    EXPECT_EQ(plot.getNumKeys(), 0u);
    EXPECT_EQ(plot.getNumSegments(), 0u);
    EXPECT_FALSE(plot.isLoopedLeft());
    EXPECT_FALSE(plot.isLoopedRight());
}

TEST(PlotEvaluation, SingleBrokenKeyStepsAtItsTime)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(2.0f, 5.0f, 7.0f));
    EXPECT_EQ(plot.computeValue(1.9f), 5.0f);
    EXPECT_EQ(plot.computeValue(-100.0f), 5.0f);
    EXPECT_EQ(plot.computeValue(2.0f), 7.0f);
    EXPECT_EQ(plot.computeValue(9.0f), 7.0f);
    // Loops don't apply to a single key.
    plot.setLoopedLeft(true);
    plot.setLoopedRight(true);
    EXPECT_EQ(plot.computeValue(1.0f), 5.0f);
    EXPECT_EQ(plot.computeValue(3.0f), 7.0f);
}

TEST(PlotEvaluation, KeysAtTheSameTime)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(1.0f, 3.0f, 4.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(1.0f, 5.0f, 6.0f), PlotSegLinear());
    EXPECT_EQ(plot.computeValue(0.5f), 3.0f);  // left of them: the first in value
    EXPECT_EQ(plot.computeValue(1.0f), 6.0f);  // otherwise the last out value
    EXPECT_EQ(plot.computeValue(10.0f), 6.0f);
}

TEST(PlotEvaluation, LinearAtAndBetweenKeys)
{
    Plot plot = linearPlot({{0, 1}, {2, 5}, {3, -1}});
    EXPECT_FLOAT_EQ(plot.computeValue(0.0f), 1.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(2.0f), 5.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(3.0f), -1.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(1.0f), 3.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(0.5f), 2.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(2.5f), 2.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(1, 0.25f), 3.5f);
}

TEST(PlotEvaluation, BrokenKeyJumpsInside)
{
    Plot plot;
    plot.appendKeyBack(PlotKeySmooth(0.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(1.0f, 1.0f, 10.0f), PlotSegLinear());
    plot.appendKeyBackWithSegment(PlotKeySmooth(2.0f, 10.0f), PlotSegLinear());
    EXPECT_FLOAT_EQ(plot.computeValue(0.999f), 0.999f);
    EXPECT_FLOAT_EQ(plot.computeValue(1.0f), 1.0f);  // the segment arriving at the key
    EXPECT_FLOAT_EQ(plot.computeValue(1.001f), 10.0f);
}

TEST(PlotEvaluation, OutsideWithoutLoopsClamps)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(1.0f, -3.0f, 2.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(4.0f, 8.0f, 9.0f), PlotSegLinear());
    EXPECT_EQ(plot.computeValue(1.0f), -3.0f);
    EXPECT_EQ(plot.computeValue(0.0f), -3.0f);
    EXPECT_EQ(plot.computeValue(-1e9f), -3.0f);
    EXPECT_EQ(plot.computeValue(4.0f), 9.0f);
    EXPECT_EQ(plot.computeValue(1e9f), 9.0f);
}

TEST(PlotEvaluation, LoopedRightRepeatsTheCurve)
{
    Plot plot = linearPlot({{2, 0}, {3, 10}, {4, 4}});
    plot.setLoopedRight(true);
    EXPECT_FLOAT_EQ(plot.computeValue(5.0f), plot.computeValue(3.0f));
    EXPECT_FLOAT_EQ(plot.computeValue(5.0f), 10.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(4.5f), 5.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(102.5f), plot.computeValue(2.5f));
    // The left side stays clamped.
    EXPECT_FLOAT_EQ(plot.computeValue(1.0f), 0.0f);
}

TEST(PlotEvaluation, LoopedLeftRepeatsTheCurve)
{
    Plot plot = linearPlot({{2, 0}, {3, 10}, {4, 4}});
    plot.setLoopedLeft(true);
    EXPECT_FLOAT_EQ(plot.computeValue(1.5f), plot.computeValue(3.5f));
    EXPECT_FLOAT_EQ(plot.computeValue(1.0f), plot.computeValue(3.0f));
    EXPECT_FLOAT_EQ(plot.computeValue(-7.25f), plot.computeValue(2.75f));
    // Right stays clamped to the last out value.
    EXPECT_FLOAT_EQ(plot.computeValue(7.0f), 4.0f);
}

TEST(PlotEvaluation, LoopedBothSidesAtWholePeriods)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(0.0f, 1.0f, 2.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(2.0f, 3.0f, 4.0f), PlotSegLinear());
    plot.setLoopedLeft(true);
    plot.setLoopedRight(true);
    EXPECT_FLOAT_EQ(plot.computeValue(-1.0f), 2.5f);
    EXPECT_FLOAT_EQ(plot.computeValue(5.0f), 2.5f);
    // A whole period away from the first key wraps onto the first key's out side.
    EXPECT_FLOAT_EQ(plot.computeValue(4.0f), 2.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(-2.0f), 2.0f);
}

TEST(PlotEvaluation, LoopedLeftOnlyAtAWholePeriodGivesTheLastOutValue)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(0.0f, 1.0f, 2.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(2.0f, 3.0f, 4.0f), PlotSegLinear());
    plot.setLoopedLeft(true);
    // time = last - fmod(2, 2) = last, which is clamped on the unlooped right side.
    EXPECT_FLOAT_EQ(plot.computeValue(-2.0f), 4.0f);
}

TEST(PlotEvaluation, BezierPassesThroughKeys)
{
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {3, -2}});
    EXPECT_FLOAT_EQ(plot.computeValue(0.0f), 0.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(1.0f), 1.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(3.0f), -2.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(0, 0.0f), 0.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(0, 1.0f), 1.0f);
}

TEST(PlotEvaluation, BezierFollowsTheCurveAtItsTime)
{
    // With handles along the chord the curve is the straight line, whatever its parameter.
    Plot plot;
    plot.appendKeyBack(PlotKeyCorner(0.0f, 0.0f));
    const glm::vec2 dir = glm::normalize(glm::vec2(1.0f, 2.0f));
    plot.appendKeyBackWithSegment(PlotKeyCorner(1.0f, 2.0f), PlotSegBezier(dir, 0.1f, -dir, 0.6f));
    for (float t = 0.0f; t <= 1.0f; t += 0.0625f)
        EXPECT_NEAR(plot.computeValue(t), 2.0f * t, 1e-4f);
}

TEST(PlotEvaluation, BezierMatchesItsParametricForm)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyCorner(1.0f, 0.0f));
    const glm::vec2 inDir = glm::normalize(glm::vec2(1.0f, 3.0f));
    const glm::vec2 outDir = glm::normalize(glm::vec2(-1.0f, -0.5f));
    plot.appendKeyBackWithSegment(PlotKeyCorner(3.0f, 1.0f),
                                  PlotSegBezier(inDir, 0.5f, outDir, 0.4f));
    const glm::vec2 p0(1, 0), p3(3, 1);
    const glm::vec2 p1 = plot.getBezierControlPointPosition(0, BCP_In);
    const glm::vec2 p2 = plot.getBezierControlPointPosition(0, BCP_Out);
    EXPECT_NEAR(p1.x, 1.0f + inDir.x * 0.5f * 2.0f, 1e-6f);
    EXPECT_NEAR(p2.y, 1.0f + outDir.y * 0.4f * 2.0f, 1e-6f);
    for (float u = 0.05f; u < 1.0f; u += 0.1f)
    {
        const float v = 1.0f - u;
        const glm::vec2 b =
            v * v * v * p0 + 3.0f * v * v * u * p1 + 3.0f * v * u * u * p2 + u * u * u * p3;
        EXPECT_NEAR(plot.computeValue(b.x), b.y, 2e-4f) << "u " << u;
    }
}

TEST(PlotEvaluation, NarrowBezierGivesLeftOutValue)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(1.0f, 0.0f, 3.0f));
    plot.appendKeyBackWithSegment(PlotKeyCorner(1.0f + 1e-6f, 9.0f), PlotSegBezier());
    EXPECT_EQ(plot.computeValue(0, 0.5f), 3.0f);
}

TEST(PlotEvaluation, SolverFindsTheParameterOfMonotonicCubics)
{
    // p(u) for the handles at 0.2 and 0.9 of the width: monotonic, solve at many x.
    const float p0 = 0.0f, p1 = 0.2f, p2 = 0.9f, p3 = 1.0f;
    for (float u = 0.01f; u < 1.0f; u += 0.049f)
    {
        const float v = 1.0f - u;
        const float x = v * v * v * p0 + 3 * v * v * u * p1 + 3 * v * u * u * p2 + u * u * u * p3;
        const auto root = Plot::solveBezierWithOneRoot(p0, p1, p2, p3, x);
        ASSERT_TRUE(root) << "x " << x;
        EXPECT_NEAR(*root, u, 1e-3f);
    }
}

TEST(PlotEvaluation, SolverWithoutCubicTerm)
{
    // Handles at exactly a third and two thirds: x(u) = u, no cubic term.
    const auto root = Plot::solveBezierWithOneRoot(0.0f, 1.0f, 2.0f, 3.0f, 1.5f);
    ASSERT_TRUE(root);
    EXPECT_NEAR(*root, 0.5f, 1e-6f);
    Plot plot;
    plot.appendKeyBack(PlotKeyCorner(0.0f, 0.0f));
    plot.appendKeyBackWithSegment(
        PlotKeyCorner(3.0f, 3.0f),
        PlotSegBezier(glm::vec2(1, 0), 1.0f / 3.0f, glm::vec2(-1, 0), 1.0f / 3.0f));
    EXPECT_TRUE(std::isfinite(plot.computeValue(1.5f)));
    EXPECT_NEAR(plot.computeValue(1.5f), 1.5f, 1e-5f);
}

TEST(PlotEvaluation, BoundariesSampleSegmentsNotHandles)
{
    Plot plot = linearPlot({{0, 1}, {2, 5}});
    auto box = plot.computeBoundaries();
    ASSERT_TRUE(box);
    EXPECT_EQ(box->first, glm::vec2(0, 1));
    EXPECT_EQ(box->second, glm::vec2(2, 5));
    // Merged with an existing rectangle.
    box = plot.computeBoundaries(PlotBoundaries(glm::vec2(-1, 2), glm::vec2(1, 9)));
    EXPECT_EQ(box->first, glm::vec2(-1, 1));
    EXPECT_EQ(box->second, glm::vec2(2, 9));
    // A Bezier overshoot counts, the handle's own position doesn't.
    Plot bump;
    bump.appendKeyBack(PlotKeyCorner(0.0f, 0.0f));
    bump.appendKeyBackWithSegment(PlotKeyCorner(1.0f, 0.0f),
                                  PlotSegBezier(glm::vec2(0, 1), 1.0f, glm::vec2(0, 1), 1.0f));
    box = bump.computeBoundaries();
    EXPECT_NEAR(box->second.y, 0.75f, 1e-3f);  // the curve's top, below the handles at 1
    EXPECT_LT(box->second.y, bump.getBezierControlPointPosition(0, BCP_In).y);
    // A single broken key: its time and the range of its two values.
    Plot single;
    single.appendKeyBack(PlotKeyBroken(3.0f, 4.0f, -1.0f));
    box = single.computeBoundaries();
    EXPECT_EQ(box->first, glm::vec2(3, -1));
    EXPECT_EQ(box->second, glm::vec2(3, 4));
    // An empty plot passes the existing rectangle through.
    const PlotBoundaries existing(glm::vec2(1, 2), glm::vec2(3, 4));
    EXPECT_TRUE(Plot().computeBoundaries(existing) == existing);
}

TEST(PlotEvaluation, NearestPointOnSegments)
{
    Plot plot = linearPlot({{0, 0}, {10, 0}});
    const glm::vec2 scale(2.0f, 0.5f);
    const glm::vec2 q = plot.computeNearestPoint(0, glm::vec2(4.0f, 3.0f), scale);
    EXPECT_NEAR(q.x, 4.0f, 1e-5f);
    EXPECT_NEAR(q.y, 0.0f, 1e-5f);
    EXPECT_EQ(plot.computeNearestPoint(0, glm::vec2(-5.0f, 1.0f), scale), glm::vec2(0, 0));

    Plot curve = bezierPlot({{0, 0}, {4, 4}});
    curve.convertSegment(0, PlotSegBezier(glm::vec2(0, 1), 0.5f, glm::vec2(0, -1), 0.5f));
    const glm::vec2 onCurve(curve.computeNearestPoint(0, glm::vec2(2.0f, 2.0f), glm::vec2(1, 1)));
    // The nearest point lies on the curve, and no sampled point of the curve is nearer.
    EXPECT_NEAR(curve.computeValue(onCurve.x), onCurve.y, 2e-2f);
    const float found = glm::length(onCurve - glm::vec2(2, 2));
    for (float t = 0.0f; t <= 4.0f; t += 0.01f)
        EXPECT_GE(glm::length(glm::vec2(t, curve.computeValue(t)) - glm::vec2(2, 2)),
                  found - 1e-2f);
}

TEST(PlotEvaluation, NearestPointOnASegmentOfNoWidthIsItsLeftKey)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(2.0f, 1.0f, 3.0f));
    plot.appendKeyBackWithSegment(PlotKeyCorner(2.0f + 1e-6f, 9.0f), PlotSegBezier());
    EXPECT_EQ(plot.computeNearestPoint(0, glm::vec2(5.0f, 9.0f), glm::vec2(10.0f, 1.0f)),
              glm::vec2(2.0f, 3.0f));
    plot.convertSegment(0, PlotSegLinear());
    EXPECT_EQ(plot.computeNearestPoint(0, glm::vec2(5.0f, 9.0f), glm::vec2(10.0f, 1.0f)),
              glm::vec2(2.0f, 3.0f));
}
