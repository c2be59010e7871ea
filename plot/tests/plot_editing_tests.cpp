#include <cmath>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "plot/plot.h"
#include "plot_test_util.h"

using PlotTest::bezierPlot;
using PlotTest::keepsInvariants;
using PlotTest::linearPlot;

namespace
{

const glm::vec2 kScale(100.0f, 50.0f);

// The angle between the two handles of key `key`, seen on screen; pi when they line up.
float handleAngle(const Plot& plot, unsigned key, glm::vec2 scale)
{
    const glm::vec2 k(plot.getKey(key).time_, plot.getKey(key).getInValue());
    const glm::vec2 a = (plot.getBezierControlPointPosition(key - 1, BCP_Out) - k) * scale;
    const glm::vec2 b = (plot.getBezierControlPointPosition(key, BCP_In) - k) * scale;
    return std::acos(glm::clamp(glm::dot(glm::normalize(a), glm::normalize(b)), -1.0f, 1.0f));
}

float screenLength(const Plot& plot, unsigned seg, EnumPlotBezierControlPoint type, glm::vec2 scale)
{
    const unsigned key = type == BCP_In ? seg : seg + 1;
    const glm::vec2 k(plot.getKey(key).time_, type == BCP_In ? plot.getKey(key).getOutValue()
                                                             : plot.getKey(key).getInValue());
    return glm::length((plot.getBezierControlPointPosition(seg, type) - k) * scale);
}

}  // namespace

TEST(PlotAppend, FirstKeyIsSmoothAtZero)
{
    Plot plot;
    plot.appendKeyBackWithAutoSegment(2.0f, kScale);
    ASSERT_EQ(plot.getNumKeys(), 1u);
    EXPECT_EQ(plot.getKey(0).type_, static_cast<uint32_t>(PKT_Smooth));
    EXPECT_EQ(plot.getKey(0).time_, 2.0f);
    EXPECT_EQ(plot.getKey(0).getOutValue(), 0.0f);
    Plot front;
    front.appendKeyFrontWithAutoSegment(-1.0f, kScale);
    EXPECT_EQ(front.getNumKeys(), 1u);
    EXPECT_EQ(front.getNumSegments(), 0u);
}

TEST(PlotAppend, BackTakesTypeAndOutValueOfTheLastKey)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(0.0f, 1.0f, 2.0f));
    plot.appendKeyBackWithAutoSegment(3.0f, kScale);
    ASSERT_EQ(plot.getNumKeys(), 2u);
    EXPECT_EQ(plot.getKey(1).type_, static_cast<uint32_t>(PKT_Broken));
    EXPECT_EQ(plot.getKey(1).getInValue(), 2.0f);
    EXPECT_EQ(plot.getKey(1).getOutValue(), 2.0f);
    // With only one key before, the segment is Bezier with the default handles.
    ASSERT_EQ(plot.getSegment(0).type_, CST_Bezier);
    const auto in = plot.getBezierControlPoint(0, BCP_In);
    const auto out = plot.getBezierControlPoint(0, BCP_Out);
    EXPECT_EQ(in.first, glm::vec2(1, 0));
    EXPECT_FLOAT_EQ(in.second, 0.33f);
    EXPECT_EQ(out.first, glm::vec2(-1, 0));
    EXPECT_FLOAT_EQ(out.second, 0.33f);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotAppend, LinearEndExtendsLinearly)
{
    Plot plot = linearPlot({{0, 0}, {1, 4}});
    plot.appendKeyBackWithAutoSegment(2.0f, kScale);
    plot.appendKeyFrontWithAutoSegment(-1.0f, kScale);
    ASSERT_EQ(plot.getNumKeys(), 4u);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Linear);
    EXPECT_EQ(plot.getSegment(2).type_, CST_Linear);
    EXPECT_EQ(plot.getKey(0).getOutValue(), 0.0f);  // the first key's in value
    EXPECT_EQ(plot.getKey(3).getInValue(), 4.0f);   // the last key's out value
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotAppend, BezierEndAtSmoothKeyIsAligned)
{
    Plot plot = bezierPlot({{0, 0}, {1, 3}});
    plot.appendKeyBackWithAutoSegment(2.0f, kScale);
    ASSERT_EQ(plot.getNumSegments(), 2u);
    EXPECT_EQ(plot.getSegment(1).type_, CST_Bezier);
    EXPECT_NEAR(handleAngle(plot, 1, kScale), M_PI, 1e-3);
    plot.appendKeyFrontWithAutoSegment(-2.0f, kScale);
    EXPECT_NEAR(handleAngle(plot, 1, kScale), M_PI, 1e-3);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotAppend, OutOfOrderTimeIsAnAssertion)
{
    Plot plot = linearPlot({{0, 0}, {1, 1}});
    try
    {
        plot.appendKeyBackWithAutoSegment(0.5f, kScale);
        FAIL() << "no assertion";
    }
    catch (const Debug::CheckException& e)
    {
        EXPECT_NE(
            std::string(e.what()).find("keys_.empty() || time >= keys_[keys_.size() - 1].time_"),
            std::string::npos);
    }
    try
    {
        plot.appendKeyFrontWithAutoSegment(0.5f, kScale);
        FAIL() << "no assertion";
    }
    catch (const Debug::CheckException& e)
    {
        EXPECT_NE(std::string(e.what()).find("keys_.empty() || time <= keys_[0].time_"),
                  std::string::npos);
    }
    EXPECT_EQ(plot, linearPlot({{0, 0}, {1, 1}}));
}

TEST(PlotInsert, BreakingALinearSegmentKeepsTheLine)
{
    Plot plot = linearPlot({{0, 0}, {4, 8}});
    plot.breakSegmentWithKeyAuto(0, PlotKeySmooth(1.0f, 2.0f), kScale);
    ASSERT_EQ(plot.getNumKeys(), 3u);
    EXPECT_EQ(plot.getKey(1).time_, 1.0f);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Linear);
    EXPECT_EQ(plot.getSegment(1).type_, CST_Linear);
    for (float t = 0.0f; t <= 4.0f; t += 0.25f)
        EXPECT_FLOAT_EQ(plot.computeValue(t), 2.0f * t);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotInsert, BreakingABezierSegmentKeepsItsShapeClose)
{
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {4, 0}});
    const Plot before = plot;
    const float time = 2.5f;
    plot.breakSegmentWithKeyAuto(1, PlotKeySmooth(time, before.computeValue(time)), kScale);
    ASSERT_EQ(plot.getNumKeys(), 4u);
    ASSERT_EQ(plot.getNumSegments(), 3u);
    EXPECT_EQ(plot.getSegment(1).type_, CST_Bezier);
    EXPECT_EQ(plot.getSegment(2).type_, CST_Bezier);
    EXPECT_TRUE(keepsInvariants(plot));
    // The new key sits on the old curve, its handles line up, and the curve stays near.
    EXPECT_FLOAT_EQ(plot.computeValue(time), before.computeValue(time));
    EXPECT_NEAR(handleAngle(plot, 2, kScale), M_PI, 1e-3);
    for (float t = 1.0f; t <= 4.0f; t += 0.125f)
        EXPECT_NEAR(plot.computeValue(t), before.computeValue(t), 0.15f) << "t " << t;
    // The far handle of the old segment is kept as it was stored.
    EXPECT_EQ(plot.getBezierControlPoint(2, BCP_Out), before.getBezierControlPoint(1, BCP_Out));
}

TEST(PlotInsert, KeyOutsideTheSegmentIsAnAssertion)
{
    Plot plot = linearPlot({{0, 0}, {1, 1}, {2, 0}});
    EXPECT_THROW(plot.breakSegmentWithKeyAuto(0, PlotKeySmooth(1.5f, 0.0f), kScale),
                 Debug::CheckException);
    EXPECT_THROW(plot.breakSegmentWithKeyAuto(2, PlotKeySmooth(1.5f, 0.0f), kScale),
                 Debug::CheckException);
    EXPECT_EQ(plot.getNumKeys(), 3u);
}

TEST(PlotInsert, PlainBreakUsesTheGivenSegments)
{
    Plot plot = linearPlot({{0, 0}, {2, 2}});
    plot.breakSegmentWithKey(0, PlotKeyCorner(1.0f, 5.0f), PlotSegBezier(), PlotSegLinear());
    ASSERT_EQ(plot.getNumKeys(), 3u);
    EXPECT_EQ(plot.getKey(1).getInValue(), 5.0f);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Bezier);
    EXPECT_EQ(plot.getSegment(1).type_, CST_Linear);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotMove, MovingAKeyStretchesItsHandles)
{
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {2, 0}});
    const auto storedIn = plot.getBezierControlPoint(1, BCP_In);
    plot.convertKey(1, PlotKeySmooth(1.5f, 1.0f));
    EXPECT_EQ(plot.getBezierControlPoint(1, BCP_In), storedIn);  // stored relative
    // The handle's time offset scaled with the segment's width (0.5 of what it was).
    const glm::vec2 h = plot.getBezierControlPointPosition(1, BCP_In);
    EXPECT_NEAR(h.x - 1.5f, storedIn.first.x * storedIn.second * 0.5f, 1e-6f);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotMove, MovingPastANeighbourIsAnAssertion)
{
    Plot plot = linearPlot({{0, 0}, {1, 1}, {2, 0}});
    EXPECT_THROW(plot.convertKey(1, PlotKeySmooth(2.5f, 1.0f)), Debug::CheckException);
    EXPECT_THROW(plot.convertKey(1, PlotKeySmooth(-0.5f, 1.0f)), Debug::CheckException);
    plot.convertKey(1, PlotKeySmooth(2.0f, 1.0f));  // equal times are allowed
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotMove, ConvertKeyAutoRealignsASmoothKey)
{
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {2, 0}});
    plot.convertKey(1, PlotKeyCorner(1.0f, 1.0f));
    plot.setBezierControlPointPosition(0, BCP_Out, glm::vec2(0.8f, 0.2f));
    EXPECT_GT(std::abs(handleAngle(plot, 1, kScale) - float(M_PI)), 0.1f);
    plot.convertKeyAuto(1, PlotKeySmooth(1.0f, 1.0f), kScale);
    EXPECT_NEAR(handleAngle(plot, 1, kScale), M_PI, 1e-3);
    // A corner key is left alone.
    plot.setBezierControlPointPosition(0, BCP_Out, glm::vec2(0.8f, 0.2f));
    const Plot before = plot;
    plot.convertKeyAuto(1, PlotKeyCorner(1.0f, 1.0f), kScale);
    EXPECT_EQ(plot.getBezierControlPoint(0, BCP_Out), before.getBezierControlPoint(0, BCP_Out));
}

TEST(PlotHandles, DraggedBeyondTheNextKeyStopsThere)
{
    Plot plot = bezierPlot({{0, 0}, {2, 0}});
    plot.setBezierControlPointPosition(0, BCP_In, glm::vec2(3.0f, 1.0f));
    const glm::vec2 h = plot.getBezierControlPointPosition(0, BCP_In);
    EXPECT_FLOAT_EQ(h.x, 2.0f);
    EXPECT_FLOAT_EQ(h.y, 1.0f);  // clamped in time before the direction is taken
    plot.setBezierControlPointPosition(0, BCP_Out, glm::vec2(-1.0f, -1.0f));
    EXPECT_FLOAT_EQ(plot.getBezierControlPointPosition(0, BCP_Out).x, 0.0f);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotHandles, StoredHandleBeyondTheSegmentIsShortenedAlongItsDirection)
{
    Plot plot = bezierPlot({{0, 0}, {2, 0}});
    const glm::vec2 dir = glm::normalize(glm::vec2(1.0f, 1.0f));
    plot.setBezierControlPoint(0, BCP_In, PlotBezierControlPoint(dir, 2.0f));
    const auto stored = plot.getBezierControlPoint(0, BCP_In);
    EXPECT_EQ(stored.first, dir);
    const glm::vec2 h = plot.getBezierControlPointPosition(0, BCP_In);
    EXPECT_NEAR(h.x, 2.0f, 1e-5f);
    EXPECT_NEAR(h.y, 2.0f, 1e-5f);  // along the 45 degree direction
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotHandles, DirectingKeepsTheScreenLength)
{
    Plot plot = bezierPlot({{0, 0}, {2, 1}});
    const float before = screenLength(plot, 0, BCP_In, kScale);
    plot.directBezierControlPoint(0, BCP_In, glm::vec2(1.0f, -0.2f), kScale);
    EXPECT_NEAR(screenLength(plot, 0, BCP_In, kScale), before, before * 1e-4f);
    EXPECT_EQ(plot.getBezierControlPoint(0, BCP_In).first, glm::normalize(glm::vec2(1.0f, -0.2f)));
    // A direction of no length changes nothing.
    const Plot same = plot;
    plot.directBezierControlPoint(0, BCP_In, glm::vec2(0.0f, 0.0f), kScale);
    EXPECT_EQ(plot, same);
}

TEST(PlotHandles, BezierOperationOnLinearSegmentIsAnAssertion)
{
    Plot plot = linearPlot({{0, 0}, {1, 1}});
    EXPECT_THROW(plot.getBezierControlPoint(0, BCP_In), Debug::CheckException);
    EXPECT_THROW(plot.setBezierControlPointPosition(0, BCP_Out, glm::vec2(0.5f, 0.5f)),
                 Debug::CheckException);
    EXPECT_THROW(plot.getBezierControlPointPosition(1, BCP_In), Debug::CheckException);
    // On a linear segment the handle positions are the key points.
    EXPECT_EQ(plot.getBezierControlPointPosition(0, BCP_In), glm::vec2(0, 0));
    EXPECT_EQ(plot.getBezierControlPointPosition(0, BCP_Out), glm::vec2(1, 1));
}

TEST(PlotSegments, ConvertToBezierAndBack)
{
    Plot plot = linearPlot({{0, 0}, {3, 3}, {4, 0}});
    plot.convertSegmentAuto(0, CST_Bezier, glm::vec2(1, 1));
    ASSERT_EQ(plot.getSegment(0).type_, CST_Bezier);
    const auto in = plot.getBezierControlPoint(0, BCP_In);
    EXPECT_NEAR(in.first.x, std::sqrt(0.5f), 1e-6f);
    EXPECT_NEAR(in.second, 0.33f * std::sqrt(18.0f) / 3.0f, 1e-6f);
    // Handles on the chord: still the straight line.
    for (float t = 0.0f; t <= 3.0f; t += 0.25f)
        EXPECT_NEAR(plot.computeValue(t), t, 1e-4f);
    // Converting a Bezier segment to Bezier does nothing.
    plot.setBezierControlPointPosition(0, BCP_In, glm::vec2(1.0f, 2.0f));
    const Plot before = plot;
    plot.convertSegmentAuto(0, CST_Bezier, glm::vec2(1, 1));
    EXPECT_EQ(plot, before);
    plot.convertSegmentAuto(0, CST_Linear, glm::vec2(1, 1));
    EXPECT_EQ(plot, linearPlot({{0, 0}, {3, 3}, {4, 0}}));
}

TEST(PlotSegments, ConvertAlignsWithSmoothNeighbours)
{
    Plot plot = bezierPlot({{0, 0}, {1, 2}, {2, 0}});
    plot.convertSegmentAuto(1, CST_Linear, kScale);
    plot.convertSegmentAuto(1, CST_Bezier, kScale);
    EXPECT_NEAR(handleAngle(plot, 1, kScale), M_PI, 1e-3);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotDelete, FirstAndLastKeysTakeTheirSegment)
{
    Plot plot;
    plot.appendKeyBack(PlotKeySmooth(0.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeySmooth(1.0f, 1.0f), PlotSegBezier());
    plot.appendKeyBackWithSegment(PlotKeySmooth(2.0f, 0.0f), PlotSegLinear());
    plot.appendKeyBackWithSegment(PlotKeySmooth(3.0f, 1.0f), PlotSegBezier());
    plot.deleteKeyAuto(0, kScale);
    ASSERT_EQ(plot.getNumKeys(), 3u);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Linear);  // segment 0 went with the key
    plot.deleteKeyAuto(2, kScale);
    ASSERT_EQ(plot.getNumKeys(), 2u);
    ASSERT_EQ(plot.getNumSegments(), 1u);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Linear);  // the last segment went
    plot.deleteKeyAuto(1, kScale);
    plot.deleteKeyAuto(0, kScale);
    EXPECT_EQ(plot, Plot());
}

TEST(PlotDelete, InteriorKeyMergesSegmentsKeepingTheFarHandles)
{
    Plot plot = bezierPlot({{0, 0}, {1, 2}, {3, 1}});
    plot.setBezierControlPointPosition(0, BCP_In, glm::vec2(0.2f, 1.0f));
    plot.setBezierControlPointPosition(1, BCP_Out, glm::vec2(2.5f, 3.0f));
    const auto farIn = plot.getBezierControlPoint(0, BCP_In);
    const auto farOut = plot.getBezierControlPoint(1, BCP_Out);
    plot.deleteKeyAuto(1, kScale);
    ASSERT_EQ(plot.getNumKeys(), 2u);
    ASSERT_EQ(plot.getNumSegments(), 1u);
    EXPECT_EQ(plot.getBezierControlPoint(0, BCP_In), farIn);
    EXPECT_EQ(plot.getBezierControlPoint(0, BCP_Out), farOut);
    EXPECT_TRUE(keepsInvariants(plot));
}

TEST(PlotDelete, ManyEditsKeepTheInvariants)
{
    Plot plot;
    unsigned seed = 7;
    auto next = [&seed]()
    {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % 1000 / 1000.0f;
    };
    for (int step = 0; step < 400; ++step)
    {
        const unsigned keys = plot.getNumKeys();
        const float r = next();
        if (keys < 2 || r < 0.3f)
        {
            plot.appendKeyBackWithAutoSegment(keys ? plot.getKey(keys - 1).time_ + next() : 0.0f,
                                              kScale);
        }
        else if (r < 0.45f)
        {
            plot.appendKeyFrontWithAutoSegment(plot.getKey(0).time_ - next(), kScale);
        }
        else if (r < 0.6f)
        {
            const unsigned seg = static_cast<unsigned>(next() * (keys - 1));
            const float lo = plot.getKey(seg).time_, hi = plot.getKey(seg + 1).time_;
            const float time = lo + (hi - lo) * next();
            plot.breakSegmentWithKeyAuto(seg, PlotKeySmooth(time, plot.computeValue(time)), kScale);
        }
        else if (r < 0.7f)
        {
            plot.deleteKeyAuto(static_cast<unsigned>(next() * keys), kScale);
        }
        else if (r < 0.8f)
        {
            plot.convertSegmentAuto(static_cast<unsigned>(next() * (keys - 1)),
                                    next() < 0.5f ? CST_Linear : CST_Bezier, kScale);
        }
        else if (r < 0.9f)
        {
            const unsigned seg = static_cast<unsigned>(next() * (keys - 1));
            if (plot.getSegment(seg).type_ == CST_Bezier)
                plot.setBezierControlPointPosition(
                    seg, next() < 0.5f ? BCP_In : BCP_Out,
                    glm::vec2(plot.getKey(seg).time_ + 4.0f * next() - 2.0f, 4.0f * next() - 2.0f));
        }
        else
        {
            const unsigned key = static_cast<unsigned>(next() * keys);
            const float v = 2.0f * next() - 1.0f;
            const float time = plot.getKey(key).time_;
            if (next() < 0.5f)
                plot.convertKeyAuto(key, PlotKeyBroken(time, v, -v), kScale);
            else
                plot.convertKeyAuto(key, PlotKeySmooth(time, v), kScale);
        }
        ASSERT_TRUE(keepsInvariants(plot)) << "after step " << step;
        for (float t = -1.0f; t < 5.0f; t += 0.37f)
            ASSERT_TRUE(std::isfinite(plot.computeValue(t)));
    }
}

TEST(PlotValue, CopiesCompareByContent)
{
    Plot a = bezierPlot({{0, 0}, {1, 1}});
    Plot b = a;
    EXPECT_EQ(a, b);
    b.setLoopedRight(true);
    EXPECT_NE(a, b);
    b = a;
    b.convertKey(1, PlotKeyCorner(1.0f, 1.0f));
    EXPECT_NE(a, b);  // same values, other kind
    b = a;
    b.convertKey(1, PlotKeyBroken(1.0f, 1.0f, 1.0f));
    EXPECT_NE(a, b);
    Plot moved = std::move(b);
    EXPECT_EQ(moved.getNumKeys(), 2u);
}

TEST(PlotMove, DraggingSeveralKeysInPlace)
{
    // Keys 1 and 2 move right together past key 2's old time, as a drag does: times are set
    // in place, then the order holds again.
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {2, 0}, {5, 1}});
    plot.key(1).time_ = 2.5f;
    plot.key(2).time_ = 3.5f;
    static_cast<PlotKeyNonBroken&>(plot.key(2)).value_ = 2.0f;
    for (unsigned key : {1u, 2u})
        plot.autoAlignBezierControlPointsAfterKeyChanged(key, kScale);
    EXPECT_TRUE(keepsInvariants(plot));
    EXPECT_FLOAT_EQ(plot.computeValue(3.5f), 2.0f);
    EXPECT_NEAR(handleAngle(plot, 2, kScale), M_PI, 1e-3);
}

TEST(PlotValue, EditsTakeTheirOwnItemsAsArguments)
{
    Plot plot = bezierPlot({{0, 0}, {1, 1}, {2, 0}});
    plot.convertSegment(1, PlotSegLinear());
    const Plot before = plot;
    plot.convertKey(1, plot.getKey(1));
    plot.convertSegment(0, plot.getSegment(0));
    EXPECT_EQ(plot, before);
    plot.convertSegment(1, plot.getSegment(0));
    EXPECT_EQ(plot.getSegment(1).type_, CST_Bezier);
    plot.breakSegmentWithKey(0, PlotKeySmooth(0.5f, 0.5f), plot.getSegment(1), plot.getSegment(0));
    EXPECT_EQ(plot.getNumSegments(), 3u);
    EXPECT_TRUE(keepsInvariants(plot));
}
