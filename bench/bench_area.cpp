// Painted areas: a brush stroke as the area editor paints it, the box filtering that shrinks
// the area for export, and its deflated save form.
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "particle_layout_model/plm_area.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

constexpr int kStrokeSteps = 200;
constexpr uint32_t kSide = 512;

// One stroke: a radius-20 brush stamped 200 times along a diagonal of a 512 by 512 area.
void paintStroke(Plm::Area& area, const std::vector<uint8_t>& brush, uint32_t brushSize)
{
    for (int step = 0; step < kStrokeSteps; ++step)
    {
        const int32_t at = int32_t(step * 2) + 40 - int32_t(brushSize / 2);
        area.drawBrush(brush, brushSize, at, at + (step % 7), false);
    }
}

void BM_AreaStroke(benchmark::State& state)
{
    uint32_t brushSize = 0;
    const std::vector<uint8_t> brush = Plm::Area::createBrush(0.0f, 20.0f, 0.3f, brushSize);
    Plm::Area area(-256, -256, kSide, kSide, nullptr);
    for (auto _ : state)
    {
        paintStroke(area, brush, brushSize);
        benchmark::DoNotOptimize(area.getImage().data());
    }
    // Items are stroke steps: the time per item is the time of one stamp.
    state.SetItemsProcessed(state.iterations() * kStrokeSteps);
}
BENCHMARK(BM_AreaStroke)->Unit(benchmark::kMicrosecond);

void BM_AreaOptimize(benchmark::State& state)
{
    uint32_t brushSize = 0;
    const std::vector<uint8_t> brush = Plm::Area::createBrush(0.0f, 20.0f, 0.3f, brushSize);
    Plm::Area area(-256, -256, kSide, kSide, nullptr);
    paintStroke(area, brush, brushSize);
    const uint32_t pixelSize = uint32_t(state.range(0));
    for (auto _ : state)
    {
        Plm::Area out;
        area.optimize(out, pixelSize);
        benchmark::DoNotOptimize(out.getImage().data());
    }
}
BENCHMARK(BM_AreaOptimize)->Arg(1)->Arg(3)->Arg(10)->Unit(benchmark::kMicrosecond);

// The save form of the painted area: one deflate at level 9.
void BM_AreaSave(benchmark::State& state)
{
    uint32_t brushSize = 0;
    const std::vector<uint8_t> brush = Plm::Area::createBrush(0.0f, 20.0f, 0.3f, brushSize);
    Plm::Area area(-256, -256, kSide, kSide, nullptr);
    paintStroke(area, brush, brushSize);
    for (auto _ : state)
    {
        Sl::SaverBinFlex saver;
        area.save(saver);
        benchmark::DoNotOptimize(saver.dataSize());
    }
}
BENCHMARK(BM_AreaSave)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
