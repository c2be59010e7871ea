// Sampled curves read back by the runtime's own reader of the compiled form.
#ifdef PLOT_TESTS_WITH_RUNTIME

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "particle_system/functions/ps_func_curve.h"
#include "particle_system/functions/ps_func_path_track.h"
#include "particle_system/ps_allocator.h"
#include "plot/path.h"
#include "plot/path_cache.h"
#include "plot/plot.h"
#include "plot/plot_cache.h"
#include "plot_test_util.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace
{

// The "curve" group of a curve operation in the compiled effect, written from the sampled
// form: its time range is the range the segments cover.
std::vector<uint8_t> compileCurve(const Plot& plot)
{
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::ScopedSaverGroup curve("curve", saver);
        saver.write("time_start", cache.getTimeStart());
        saver.write("time_end", cache.getTimeEnd());
        saver.write("left_looped", plot.isLoopedLeft());
        saver.write("right_looped", plot.isLoopedRight());
        saver.write("num_segs", cache.getNumSegments());
        for (unsigned i = 0; i < cache.getNumSegments(); ++i)
        {
            const PlotCacheSeg& seg = cache.getSegment(i);
            Sl::ScopedSaverGroup group("seg", saver);
            saver.write("time_start", seg.start);
            saver.write("time_end", cache.getSegmentEnd(i));
            saver.write("num_values", static_cast<uint32_t>(seg.values.size()));
            for (float v : seg.values)
                saver.write("val", v);
        }
    }
    return saver.dataAsVector();
}

// Loads the compiled curve into a pool the way the runtime does: size first, then objects.
class RuntimeCurve
{
public:
    explicit RuntimeCurve(const Plot& plot) : bytes_(compileCurve(plot))
    {
        Sl::LoaderBinArray sizer(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
        pool_.resize(Ps::FuncCurve::computePoolSize(sizer) + 64);
        Ps::Allocator allocator(pool_.data(), static_cast<uint32_t>(pool_.size()));
        Sl::LoaderBinArray loader(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
        curve_.load(loader, allocator);
    }
    float evaluate(float t) const { return curve_.evaluate(t); }

private:
    std::vector<uint8_t> bytes_;
    std::vector<uint64_t> pool_;  // aligned storage
    Ps::FuncCurve curve_{};
};

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

void expectRuntimeAgrees(const Plot& plot)
{
    const RuntimeCurve runtime(plot);
    const float tolerance = samplingError(plot);
    const float lo = plot.getKey(0).time_;
    const float hi = plot.getKey(plot.getNumKeys() - 1).time_;
    const float width = hi - lo;
    for (float t = lo - 2.5f * width + 0.0123f; t < hi + 2.5f * width; t += width / 97.0f)
        EXPECT_NEAR(runtime.evaluate(t), plot.computeValue(t), tolerance) << "t " << t;
}

}  // namespace

TEST(PlotRuntimeAgreement, LinearAndBezierCurvesWithEveryLoop)
{
    Plot plot = PlotTest::bezierPlot({{0, 0}, {1, 2}, {1.5f, -1}, {4, 0.5f}});
    plot.setBezierControlPointPosition(2, BCP_In, glm::vec2(2.0f, 3.0f));
    plot.convertSegmentAuto(0, CST_Linear, glm::vec2(1.0f));
    plot.convertKey(2, PlotKeyBroken(1.5f, -1.0f, 0.5f));
    for (int loops = 0; loops < 4; ++loops)
    {
        plot.setLoopedLeft(loops & 1);
        plot.setLoopedRight(loops & 2);
        expectRuntimeAgrees(plot);
    }
}

TEST(PlotRuntimeAgreement, KeysFarApartInMagnitudeLeaveNoGap)
{
    const Plot plot = PlotTest::linearPlot({{-1000.0f, 0.0f}, {0.001f, 1.0f}, {1.0f, 5.0f}});
    const RuntimeCurve runtime(plot);
    for (float t : {0.00098f, 0.00099f, 0.000999f, 0.001f, 0.5f})
        EXPECT_NEAR(runtime.evaluate(t), plot.computeValue(t), 1e-4f) << "t " << t;
}

TEST(PlotRuntimeAgreement, BrokenEndKeysStepInTheRuntimeToo)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(0.0f, -4.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeySmooth(1.0f, 1.0f), PlotSegBezier());
    plot.appendKeyBackWithSegment(PlotKeyBroken(3.0f, 2.0f, 8.0f), PlotSegLinear());
    const RuntimeCurve runtime(plot);
    EXPECT_EQ(runtime.evaluate(-1.0f), -4.0f);
    EXPECT_EQ(runtime.evaluate(10.0f), 8.0f);
    expectRuntimeAgrees(plot);
}

namespace
{

// The fields of a path operation after its input, written from the resampled form.
std::vector<uint8_t> compilePath(const PathCache<glm::vec2>& cache)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    saver.write("num_seg", cache.getNumSegments());
    for (unsigned i = 0; i < cache.getNumSegments(); ++i)
    {
        const PathCacheSeg<glm::vec2>& seg = cache.getSegment(i);
        saver.write("seg_norm_start", seg.normStart);
        saver.write("seg_norm_end", seg.normEnd);
        saver.write("num_values", static_cast<uint32_t>(seg.points.size()));
        for (const glm::vec2& p : seg.points)
            Sl::write("value", saver, p);
    }
    saver.write("length", cache.getLength());
    return saver.dataAsVector();
}

class RuntimePath
{
public:
    RuntimePath(const Path<glm::vec2>& path, unsigned subdivision)
        : bytes_(compilePath(PathCache<glm::vec2>(path, subdivision)))
    {
        Sl::LoaderBinArray sizer(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
        pool_.resize(Ps::FuncPathTrack<glm::vec2>::computePoolSize(sizer) + 64);
        Ps::Allocator allocator(pool_.data(), static_cast<uint32_t>(pool_.size() * 8));
        Sl::LoaderBinArray loader(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
        track_.load(loader, allocator);
    }
    glm::vec2 position(float t) const
    {
        glm::vec2 p, d;
        track_.evaluate(t, p, d);
        return p;
    }
    glm::vec2 direction(float t) const
    {
        glm::vec2 p, d;
        track_.evaluate(t, p, d);
        return d;
    }

private:
    std::vector<uint8_t> bytes_;
    std::vector<uint64_t> pool_;
    Ps::FuncPathTrack<glm::vec2> track_{};
};

}  // namespace

TEST(PathRuntimeAgreement, PolylineIsWalkedByLength)
{
    // Lengths 4, (cut), 3, 5: the cut adds nothing to the walk.
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(0, 0)));
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(4, 0)));
    path.appendKeyBackWithSegment(PathKey<glm::vec2>(false, glm::vec2(10, 10)), PathSegBroken());
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(10, 13)));
    path.appendKeyBack(PathKey<glm::vec2>(true, glm::vec2(13, 17)));
    const RuntimePath runtime(path, 15);
    auto expectNear = [](glm::vec2 a, glm::vec2 b)
    {
        EXPECT_NEAR(a.x, b.x, 1e-4f);
        EXPECT_NEAR(a.y, b.y, 1e-4f);
    };
    expectNear(runtime.position(0.0f), glm::vec2(0, 0));
    expectNear(runtime.position(2.0f / 12.0f), glm::vec2(2, 0));
    expectNear(runtime.position(5.5f / 12.0f), glm::vec2(10, 11.5f));
    expectNear(runtime.position(9.5f / 12.0f), glm::vec2(11.5f, 15));
    expectNear(runtime.direction(2.0f / 12.0f), glm::vec2(1, 0));
    expectNear(runtime.direction(5.5f / 12.0f), glm::vec2(0, 1));
    // Beyond the end: the end point and the direction of the last line.
    expectNear(runtime.position(1.5f), glm::vec2(13, 17));
    expectNear(runtime.direction(1.5f), glm::vec2(0.6f, 0.8f));
}

TEST(PathRuntimeAgreement, BezierIsWalkedEvenlyAlongTheCurve)
{
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(0, 0)));
    path.appendKeyBackWithSegment(PathKey<glm::vec2>(false, glm::vec2(30, 0)),
                                  PathSegBezier<glm::vec2>(glm::vec2(0, 30), glm::vec2(30, 30)));
    const RuntimePath runtime(path, 15);
    // Every point read lies near the curve (within the sag of a chord of a 15th of it).
    std::vector<glm::vec2> dense;
    for (int j = 0; j <= 2000; ++j)
        dense.push_back(path.computeValue(0, j / 2000.0f));
    const float length = path.computeLength(0);
    for (float t = 0.0f; t <= 1.0f; t += 0.01f)
    {
        const glm::vec2 p = runtime.position(t);
        float nearest = 1e9f;
        for (const glm::vec2& q : dense)
            nearest = std::min(nearest, glm::distance(p, q));
        EXPECT_LT(nearest, 0.01f * length) << "t " << t;
    }
    // Equal steps of t cover equal distances.
    for (int k = 0; k < 10; ++k)
    {
        const float d =
            glm::distance(runtime.position(k / 10.0f), runtime.position((k + 1) / 10.0f));
        EXPECT_NEAR(d, length / 10.0f, 0.02f * length) << k;
    }
}

#endif  // PLOT_TESTS_WITH_RUNTIME
