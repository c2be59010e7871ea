// Curves and paths: direct evaluation (drawing, sampling), sampling for the compiled effect,
// path resampling and the save round trip.
#include <vector>

#include <benchmark/benchmark.h>

#include "plot/path.h"
#include "plot/path_cache.h"
#include "plot/plot.h"
#include "plot/plot_cache.h"
#include "plot/plot_sl.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

Plot makePlot(unsigned numKeys, EnumPlotSegType type)
{
    Plot plot;
    for (unsigned i = 0; i < numKeys; ++i)
        plot.appendKeyBackWithAutoSegment(float(i), glm::vec2(1.0f));
    for (unsigned i = 0; i < numKeys; ++i)
        plot.convertKeyAuto(i, PlotKeySmooth(float(i), float((i * 7) % 5)), glm::vec2(1.0f));
    for (unsigned i = 0; i + 1 < numKeys; ++i)
        plot.convertSegmentAuto(i, CST_Linear, glm::vec2(1.0f));
    if (type == CST_Bezier)
        for (unsigned i = 0; i + 1 < numKeys; ++i)
            plot.convertSegmentAuto(i, CST_Bezier, glm::vec2(1.0f));
    return plot;
}

void BM_PlotComputeValueBezier(benchmark::State& state)
{
    const Plot plot = makePlot(16, CST_Bezier);
    float t = 0.0f;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(plot.computeValue(t));
        t += 0.013f;
        if (t > 15.0f)
            t = 0.0f;
    }
}
BENCHMARK(BM_PlotComputeValueBezier);

void BM_PlotComputeValueLinear(benchmark::State& state)
{
    const Plot plot = makePlot(16, CST_Linear);
    float t = 0.0f;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(plot.computeValue(t));
        t += 0.013f;
        if (t > 15.0f)
            t = 0.0f;
    }
}
BENCHMARK(BM_PlotComputeValueLinear);

void BM_PlotCacheUpdate(benchmark::State& state)
{
    const Plot plot = makePlot(static_cast<unsigned>(state.range(0)), CST_Bezier);
    PlotCache cache;
    for (auto _ : state)
    {
        cache.updateFromPlot(plot, PlotCache::kCurveSubdivision);
        benchmark::DoNotOptimize(cache.getNumSegments());
    }
}
BENCHMARK(BM_PlotCacheUpdate)->Arg(4)->Arg(32);

void BM_PlotBreakSegmentAuto(benchmark::State& state)
{
    const Plot base = makePlot(32, CST_Bezier);
    for (auto _ : state)
    {
        Plot plot = base;
        plot.breakSegmentWithKeyAuto(10, PlotKeySmooth(10.5f, 1.0f), glm::vec2(100.0f, 50.0f));
        benchmark::DoNotOptimize(plot.getNumKeys());
    }
}
BENCHMARK(BM_PlotBreakSegmentAuto);

void BM_PlotSaveLoad(benchmark::State& state)
{
    const Plot plot = makePlot(32, CST_Bezier);
    for (auto _ : state)
    {
        Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
        Sl::write("plot", saver, plot);
        const std::vector<uint8_t> bytes = saver.dataAsVector();
        Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
        Plot loaded;
        Sl::read(loader, loaded);
        benchmark::DoNotOptimize(loaded.getNumKeys());
    }
}
BENCHMARK(BM_PlotSaveLoad);

void BM_PathCacheUpdate(benchmark::State& state)
{
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(0, 0)));
    for (int i = 1; i <= 8; ++i)
        path.appendKeyBackWithSegment(
            PathKey<glm::vec2>(false, glm::vec2(i * 10.0f, (i % 2) * 10.0f)),
            PathSegBezier<glm::vec2>(glm::vec2(i * 10.0f - 7.0f, 5.0f),
                                     glm::vec2(i * 10.0f - 3.0f, 5.0f)));
    PathCache<glm::vec2> cache;
    for (auto _ : state)
    {
        cache.updateFromPath(path, 15);
        benchmark::DoNotOptimize(cache.getLength());
    }
}
BENCHMARK(BM_PathCacheUpdate);

}  // namespace
BENCHMARK_MAIN();
