#include <algorithm>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "plot/plot.h"
#include "plot/plot_cache.h"
#include "plot_test_util.h"

using PlotTest::bezierPlot;
using PlotTest::linearPlot;

namespace
{

// What the compiled effect holds for one curve, read the way the runtime reads it: clamp or
// wrap the time into the curve's range, find the first segment whose end is not before it,
// and blend the two neighbouring values.
struct SampledCurve
{
    struct Segment
    {
        float timeStart;
        float timeEnd;
        std::vector<float> values;
    };
    float timeStart;
    float timeEnd;
    bool loopBefore;
    bool loopAfter;
    std::vector<Segment> segments;

    SampledCurve(const Plot& plot, const PlotCache& cache)
        : timeStart(cache.getTimeStart()),
          timeEnd(cache.getTimeEnd()),
          loopBefore(plot.isLoopedLeft()),
          loopAfter(plot.isLoopedRight())
    {
        for (unsigned i = 0; i < cache.getNumSegments(); ++i)
        {
            const PlotCacheSeg& seg = cache.getSegment(i);
            segments.push_back({seg.start, cache.getSegmentEnd(i), seg.values});
        }
    }

    float evaluate(float t) const
    {
        if (t < timeStart)
        {
            t = loopBefore
                    ? timeEnd -
                          static_cast<float>(std::fmod(static_cast<double>(timeStart - t),
                                                       static_cast<double>(timeEnd - timeStart)))
                    : timeStart;
        }
        if (t > timeEnd)
        {
            t = loopAfter
                    ? timeStart +
                          static_cast<float>(std::fmod(static_cast<double>(t - timeEnd),
                                                       static_cast<double>(timeEnd - timeStart)))
                    : timeEnd;
        }
        auto it = std::lower_bound(segments.begin(), segments.end(), t,
                                   [](const Segment& s, float time) { return s.timeEnd < time; });
        EXPECT_TRUE(it != segments.end());
        if (it == segments.end())
            return NAN;
        const float x = static_cast<float>(it->values.size() - 1) *
                        ((t - it->timeStart) / (it->timeEnd - it->timeStart));
        const size_t i = static_cast<size_t>(x);
        const float f = x - std::floor(x);
        if (i + 1 >= it->values.size())
            return it->values.back();
        return it->values[i] + f * (it->values[i + 1] - it->values[i]);
    }
};

Plot wavyPlot()
{
    Plot plot = bezierPlot({{0, 0}, {1, 2}, {1.5f, -1}, {4, 0.5f}});
    plot.setBezierControlPointPosition(2, BCP_In, glm::vec2(2.0f, 3.0f));
    plot.convertKey(2, PlotKeyBroken(1.5f, -1.0f, 0.5f));
    return plot;
}

// The sampling error of a curve: half the largest change between two neighbouring values
// of a Bezier segment. Between two samples the curve bends away from their chord by less.
float samplingError(const Plot& plot)
{
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    float largest = 0.0f;
    for (unsigned i = 0; i < cache.getNumSegments(); ++i)
    {
        const std::vector<float>& values = cache.getSegment(i).values;
        if (values.size() <= 2)
            continue;
        for (size_t j = 1; j < values.size(); ++j)
            largest = std::max(largest, std::abs(values[j] - values[j - 1]));
    }
    return std::max(0.5f * largest, 1e-4f);
}

// Agreement of the sampled form with direct evaluation on a fine grid of times that avoids
// the keys themselves (where a broken key's two sides meet).
void expectSampledAgrees(const Plot& plot, float tolerance)
{
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    const SampledCurve sampled(plot, cache);
    const float lo = plot.getKey(0).time_;
    const float hi = plot.getKey(plot.getNumKeys() - 1).time_;
    const float width = hi - lo;
    for (float t = lo - 2.5f * width + 0.0123f; t < hi + 2.5f * width; t += width / 97.0f)
        EXPECT_NEAR(sampled.evaluate(t), plot.computeValue(t), tolerance) << "t " << t;
}

}  // namespace

TEST(PlotCacheForm, EmptyAndSingleKeyAreFixed)
{
    PlotCache empty(Plot(), 15);
    ASSERT_EQ(empty.getNumSegments(), 1u);
    EXPECT_EQ(empty.getSegment(0).start, 0.0f);
    EXPECT_EQ(empty.getSegment(0).length, 1.0f);
    EXPECT_EQ(empty.getSegment(0).values, (std::vector<float>{0.0f, 0.0f}));
    Plot single;
    single.appendKeyBack(PlotKeyBroken(7.0f, 2.0f, 3.0f));
    PlotCache cache(single, 15);
    ASSERT_EQ(cache.getNumSegments(), 1u);
    EXPECT_EQ(cache.getSegment(0).start, 0.0f);
    EXPECT_EQ(cache.getSegment(0).length, 1.0f);
    EXPECT_EQ(cache.getSegment(0).values, (std::vector<float>{2.0f, 3.0f}));
}

TEST(PlotCacheForm, LinearSegmentsKeepTwoValuesBezierSegmentsSixteen)
{
    Plot plot = linearPlot({{0, 1}, {2, 3}, {3, 0}});
    plot.convertSegmentAuto(1, CST_Bezier, glm::vec2(1, 1));
    PlotCache cache(plot, PlotCache::kCurveSubdivision);
    ASSERT_EQ(cache.getNumSegments(), 2u);
    EXPECT_EQ(cache.getSegment(0).start, 0.0f);
    EXPECT_EQ(cache.getSegment(0).length, 2.0f);
    EXPECT_EQ(cache.getSegment(0).values, (std::vector<float>{1.0f, 3.0f}));
    EXPECT_EQ(cache.getSegment(1).start, 2.0f);
    EXPECT_EQ(cache.getSegment(1).length, 1.0f);
    ASSERT_EQ(cache.getSegment(1).values.size(), 16u);
    for (unsigned j = 0; j <= 15; ++j)
        EXPECT_EQ(cache.getSegment(1).values[j], plot.computeValue(1, j / 15.0f));
    EXPECT_EQ(cache.getTimeStart(), 0.0f);
    EXPECT_EQ(cache.getTimeEnd(), 3.0f);
}

TEST(PlotCacheForm, BrokenEndKeysGetAStepSegment)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(1.0f, 5.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(2.0f, 1.0f, 9.0f), PlotSegLinear());
    PlotCache cache(plot, 15);
    ASSERT_EQ(cache.getNumSegments(), 3u);
    EXPECT_FLOAT_EQ(cache.getSegment(0).start, 0.999f);
    EXPECT_FLOAT_EQ(cache.getSegment(0).length, 0.001f);
    EXPECT_EQ(cache.getSegment(0).values, (std::vector<float>{5.0f, 5.0f}));
    EXPECT_EQ(cache.getSegment(2).start, 2.0f);
    EXPECT_FLOAT_EQ(cache.getSegment(2).length, 0.001f);
    EXPECT_EQ(cache.getSegment(2).values, (std::vector<float>{9.0f, 9.0f}));
    // A looped side needs no step, nor a broken key whose two values agree.
    plot.setLoopedLeft(true);
    plot.convertKey(1, PlotKeyBroken(2.0f, 1.0f, 1.0f));
    cache.updateFromPlot(plot, 15);
    EXPECT_EQ(cache.getNumSegments(), 1u);
}

TEST(PlotCacheForm, SampledLinearCurveAgreesExactly)
{
    Plot plot = linearPlot({{-1, 2}, {0.5f, -3}, {2, 4}, {2.25f, 4}, {5, 0}});
    expectSampledAgrees(plot, 1e-4f);
    plot.setLoopedRight(true);
    expectSampledAgrees(plot, 1e-4f);
    plot.setLoopedLeft(true);
    expectSampledAgrees(plot, 1e-4f);
}

TEST(PlotCacheForm, SampledBezierCurveAgreesWithinSamplingError)
{
    Plot plot = wavyPlot();
    const float tolerance = samplingError(plot);
    expectSampledAgrees(plot, tolerance);
    plot.setLoopedLeft(true);
    expectSampledAgrees(plot, tolerance);
    plot.setLoopedRight(true);
    expectSampledAgrees(plot, tolerance);
    plot.setLoopedLeft(false);
    expectSampledAgrees(plot, tolerance);
}

TEST(PlotCacheForm, SampledCurveIsExactAtTheSampleTimes)
{
    const Plot plot = wavyPlot();
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    const SampledCurve sampled(plot, cache);
    for (unsigned i = 0; i < plot.getNumSegments(); ++i)
    {
        const float lo = plot.getKey(i).time_, hi = plot.getKey(i + 1).time_;
        for (unsigned j = 1; j < 15; ++j)
        {
            const float t = lo + (hi - lo) * (j / 15.0f);
            EXPECT_NEAR(sampled.evaluate(t), plot.computeValue(t), 2e-4f)
                << "seg " << i << " j " << j;
        }
    }
}

TEST(PlotCacheForm, BrokenEndsShowTheirStepWhenSampled)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(0.0f, -4.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeySmooth(1.0f, 1.0f), PlotSegBezier());
    plot.appendKeyBackWithSegment(PlotKeyBroken(3.0f, 2.0f, 8.0f), PlotSegLinear());
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    const SampledCurve sampled(plot, cache);
    EXPECT_EQ(sampled.evaluate(-1.0f), -4.0f);
    EXPECT_EQ(sampled.evaluate(-0.0005f), -4.0f);
    EXPECT_EQ(sampled.evaluate(3.0005f), 8.0f);
    EXPECT_EQ(sampled.evaluate(10.0f), 8.0f);
    expectSampledAgrees(plot, samplingError(plot));
}

TEST(PlotCacheForm, NeighbouringSegmentsMeetExactly)
{
    // Keys far apart in magnitude: in float, -1000 + (0.001 - -1000) falls short of 0.001 by
    // thousands of steps. The stored end is the next start, so there is no gap to fall into.
    Plot plot = linearPlot({{-1000.0f, 0.0f}, {0.001f, 1.0f}, {1.0f, 5.0f}});
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    ASSERT_EQ(cache.getNumSegments(), 2u);
    const PlotCacheSeg& first = cache.getSegment(0);
    ASSERT_LT(first.start + first.length, 0.001f);  // the gap this guards against
    EXPECT_EQ(cache.getSegmentEnd(0), 0.001f);
    EXPECT_EQ(cache.getSegmentEnd(0), cache.getSegment(1).start);
    EXPECT_EQ(cache.getSegmentEnd(1), 1.0f);
    EXPECT_EQ(cache.getTimeEnd(), 1.0f);
    const SampledCurve sampled(plot, cache);
    for (float t : {0.00098f, 0.00099f, 0.000999f, 0.001f})
        EXPECT_NEAR(sampled.evaluate(t), plot.computeValue(t), 1e-4f) << "t " << t;
}
