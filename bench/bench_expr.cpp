// Nanoseconds per executed byte-code operation of typical expressions.
// The "per_op" counter is the time of one execute() divided by its number of
// commands, in seconds with an SI prefix ("1.6n" is 1.6 ns); "Process" variants also copy every input in first, as the
// expression operation of the runtime does for each particle.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"

namespace
{

const Expr::InputDesc inputs[] = {
    {"a", Expr::VT_Float}, {"b", Expr::VT_Float}, {"v", Expr::VT_Vec3},   {"w", Expr::VT_Vec3},
    {"q", Expr::VT_Quat},  {"p", Expr::VT_Quat},  {"dt", Expr::VT_Float},
};
constexpr unsigned numInputs = sizeof(inputs) / sizeof(inputs[0]);

const char* const expressions[] = {
    "a + b",                                                              // 1 command
    "a * b + a * dt",                                                     // 3
    "v + w * dt",                                                         // 2
    "lerp(v, w, a) * 2 + norm(v)",                                        // 4
    "length(v - w) / dt",                                                 // 3
    "q * p",                                                              // 1
    "vec3(x(v), y(w), a) * (b + 1) - cross(v, w) / length2(w)",           // 11
    "a + b + a + b + a + b + a + b + a + b + a + b + a + b + a + b + a",  // 16
};

struct Fixture
{
    explicit Fixture(const char* text) : parser(text, inputs, numInputs)
    {
        if (!parser.isOk())
            return;
        const unsigned size = parser.getOutputBufferSize();
        pool.resize(Expr::Executor::computePoolSizeNoObj(parser.getOutputBuffer(), size) / 8 + 1);
        executor.reset(new Expr::Executor(reinterpret_cast<unsigned char*>(pool.data()),
                                          parser.getOutputBuffer(), size));
        const float values[] = {0.5f, 1.25f, -2.0f, 0.75f};
        for (unsigned i = 0; i < numInputs; ++i)
            executor->setInputRawData(i, values, Expr::getTypeSize(inputs[i].type));
    }
    Expr::Parser parser;
    std::vector<std::uint64_t> pool;
    std::unique_ptr<Expr::Executor> executor;
};

void setCounters(benchmark::State& state, const Fixture& fixture)
{
    const double commands = fixture.executor->getNumCommands();
    state.counters["commands"] = commands;
    // Seconds per command; printed with an SI prefix ("1.6n" is 1.6 ns).
    state.counters["per_op"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * commands,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetLabel(expressions[state.range(0)]);
}

void BM_Execute(benchmark::State& state)
{
    Fixture fixture(expressions[state.range(0)]);
    if (!fixture.executor)
    {
        state.SkipWithError(fixture.parser.getErrorMessage().c_str());
        return;
    }
    const Expr::Executor& executor = *fixture.executor;
    for (auto _ : state)
    {
        executor.execute();
        benchmark::DoNotOptimize(executor.getOutputRawData());
        benchmark::ClobberMemory();
    }
    setCounters(state, fixture);
}

void BM_Process(benchmark::State& state)
{
    Fixture fixture(expressions[state.range(0)]);
    if (!fixture.executor)
    {
        state.SkipWithError(fixture.parser.getErrorMessage().c_str());
        return;
    }
    Expr::Executor& executor = *fixture.executor;
    float values[numInputs][4] = {};
    const void* pointers[numInputs];
    for (unsigned i = 0; i < numInputs; ++i)
        pointers[i] = values[i];
    float result[4];
    float t = 0;
    for (auto _ : state)
    {
        t += 0.001f;
        for (unsigned i = 0; i < numInputs; ++i)
            values[i][0] = t;
        executor.setInputs(pointers, numInputs);
        executor.execute();
        std::memcpy(result, executor.getOutputRawData(),
                    Expr::getTypeSize(executor.getResultType()));
        benchmark::DoNotOptimize(result);
    }
    setCounters(state, fixture);
}

void BM_Parse(benchmark::State& state)
{
    const char* text = expressions[state.range(0)];
    for (auto _ : state)
    {
        Expr::Parser parser(text, inputs, numInputs);
        benchmark::DoNotOptimize(parser.getOutputBuffer());
    }
    state.SetLabel(text);
}

constexpr int numExpressions = sizeof(expressions) / sizeof(expressions[0]);

}  // namespace

BENCHMARK(BM_Execute)->DenseRange(0, numExpressions - 1);
BENCHMARK(BM_Process)->DenseRange(0, numExpressions - 1);
BENCHMARK(BM_Parse)->DenseRange(0, numExpressions - 1);

BENCHMARK_MAIN();
