// Saving and loading through the stream format: the flex saver is on the hot
// path of every edit (a whole resource is written for each undo picture).

#include <benchmark/benchmark.h>

#include <deque>

#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_array.h"
#include "revision_saveload/sl_saver_bin_deque.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"

namespace
{

// A resource-like load: many small groups of a few values each.
void writeResource(Sl::Saver& s, int blocks)
{
    Sl::ScopedSaverGroup all("blocks", s, 3);
    s.write("num_blocks", static_cast<uint32_t>(blocks));
    for (int i = 0; i < blocks; ++i)
    {
        Sl::ScopedSaverGroup block("block", s, 2);
        s.write("type", static_cast<uint32_t>(i % 40));
        Sl::write("pos", s, glm::vec2(float(i), float(-i)));
        s.write("value", float(i) * 0.5f);
        s.write("enabled", (i & 1) != 0);
        Sl::write("name", s, std::string("block name"));
    }
}

void readResource(Sl::Loader& l)
{
    Sl::ScopedLoaderGroup all(l, 3);
    uint32_t blocks = 0;
    l.read(blocks);
    for (uint32_t i = 0; i < blocks; ++i)
    {
        Sl::ScopedLoaderGroup block(l, 2);
        uint32_t type;
        l.read(type);
        glm::vec2 pos;
        Sl::read(l, pos);
        float value;
        l.read(value);
        bool enabled;
        l.read(enabled);
        std::string name;
        Sl::read(l, name);
        benchmark::DoNotOptimize(name);
    }
}

void BM_SaverBinFlex(benchmark::State& state)
{
    const int blocks = static_cast<int>(state.range(0));
    size_t bytes = 0;
    for (auto _ : state)
    {
        Sl::SaverBinFlex saver;
        writeResource(saver, blocks);
        std::vector<uint8_t> out = saver.dataAsVector();
        bytes = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SaverBinFlex)->Arg(100)->Arg(10000);

void BM_SaverBinDeque(benchmark::State& state)
{
    const int blocks = static_cast<int>(state.range(0));
    size_t bytes = 0;
    for (auto _ : state)
    {
        std::deque<uint8_t> out;
        Sl::SaverBinDeque saver(out);
        writeResource(saver, blocks);
        bytes = out.size();
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SaverBinDeque)->Arg(100)->Arg(10000);

void BM_SaverBinArray(benchmark::State& state)
{
    const int blocks = static_cast<int>(state.range(0));
    std::vector<uint8_t> buffer(64 * static_cast<size_t>(blocks) + 1024);
    size_t bytes = 0;
    for (auto _ : state)
    {
        Sl::SaverBinArray saver(buffer.data(), static_cast<uint32_t>(buffer.size()));
        writeResource(saver, blocks);
        bytes = saver.dataSize();
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SaverBinArray)->Arg(100)->Arg(10000);

void BM_LoaderBinArray(benchmark::State& state)
{
    const int blocks = static_cast<int>(state.range(0));
    Sl::SaverBinFlex saver;
    writeResource(saver, blocks);
    const std::vector<uint8_t> data = saver.dataAsVector();
    for (auto _ : state)
    {
        Sl::LoaderBinArray loader(data.data(), static_cast<uint32_t>(data.size()));
        readResource(loader);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}
BENCHMARK(BM_LoaderBinArray)->Arg(100)->Arg(10000);

}  // namespace

BENCHMARK_MAIN();
