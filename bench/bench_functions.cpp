// Cost per particle of the runtime's function arithmetic: noise (linear and
// cubic), curves, paths, painted areas and the force integrator. Each
// iteration is one particle's evaluation; inputs vary so that nothing stays
// in a register between iterations.
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "particle_system/functions/ps_func_area_image.h"
#include "particle_system/functions/ps_func_curve.h"
#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_func_noise3_eval.h"
#include "particle_system/functions/ps_func_path_track.h"
#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/functions/ps_noise_planes.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_random_generator.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace
{

struct Pooled
{
    std::vector<std::uint8_t> pool;
};

const Ps::ImageNoise3& runtimeImage()
{
    static std::vector<std::uint8_t> pool(Ps::ImageNoise3::poolSizeToCreatePregenerated());
    static const Ps::ImageNoise3* image = []
    {
        Ps::Allocator allocator(pool.data(), static_cast<std::uint32_t>(pool.size()));
        return Ps::ImageNoise3::createPregenerated(Ps::noisePlanesPtr, 6, allocator);
    }();
    return *image;
}

template <class T, class Write>
T loadFrom(Pooled& holder, Write write)
{
    Sl::SaverBinFlex saver;
    write(saver);
    const std::vector<std::uint8_t> bytes = saver.dataAsVector();
    std::uint32_t size = 0;
    {
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        size = T::computePoolSize(loader);
    }
    holder.pool.resize(size);
    Ps::Allocator allocator(holder.pool.data(), size);
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    T object{};
    object.load(loader, allocator);
    return object;
}

void benchNoise(benchmark::State& state, std::uint8_t type)
{
    const Ps::ImageNoise3& image = runtimeImage();
    Ps::FuncNoise3Params params{type, glm::vec3(-1.0f), glm::vec3(1.0f),
                                glm::vec3(0.1f, 0.2f, 0.0f), false};
    glm::vec3 p(0.0f);
    for (auto _ : state)
    {
        p += glm::vec3(0.37f, 0.11f, 0.23f);
        benchmark::DoNotOptimize(params.evaluate(image, p, 20.0f, 1.0f, 1.5f));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Noise3Linear(benchmark::State& state) { benchNoise(state, Ps::FN3_Linear); }
void BM_Noise3Cubic(benchmark::State& state) { benchNoise(state, Ps::FN3_Cubic); }

// A curve as the compiler writes it: segments of 16 values.
void BM_Curve(benchmark::State& state)
{
    const int numSegments = static_cast<int>(state.range(0));
    Pooled holder;
    const Ps::FuncCurve curve =
        loadFrom<Ps::FuncCurve>(holder,
                                [&](Sl::Saver& s)
                                {
                                    Sl::ScopedSaverGroup group("curve", s);
                                    s.write("time_start", 0.0f);
                                    s.write("time_end", float(numSegments));
                                    s.write("left_looped", true);
                                    s.write("right_looped", true);
                                    s.write("num_segs", static_cast<std::uint32_t>(numSegments));
                                    for (int i = 0; i < numSegments; ++i)
                                    {
                                        Sl::ScopedSaverGroup seg("seg", s);
                                        s.write("time_start", float(i));
                                        s.write("time_end", float(i + 1));
                                        s.write("num_values", std::uint32_t(16));
                                        for (int v = 0; v < 16; ++v)
                                            s.write("val", float(v * i));
                                    }
                                });
    float t = 0.0f;
    for (auto _ : state)
    {
        t += 0.0137f;
        benchmark::DoNotOptimize(curve.evaluate(t));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_PathVec3(benchmark::State& state)
{
    Pooled holder;
    const auto path = loadFrom<Ps::FuncPathTrack<glm::vec3>>(
        holder,
        [](Sl::Saver& s)
        {
            s.write("num_seg", std::uint32_t(8));
            for (int i = 0; i < 8; ++i)
            {
                s.write("seg_norm_start", i / 8.0f);
                s.write("seg_norm_end", (i + 1) / 8.0f);
                s.write("num_values", std::uint32_t(16));
                for (int v = 0; v < 16; ++v)
                    Sl::write("value", s, glm::vec3(float(v), float(i), float(v * i)));
            }
            s.write("length", 100.0f);
        });
    float t = 0.0f;
    glm::vec3 p, d;
    for (auto _ : state)
    {
        t += 0.0137f;
        if (t > 1.0f)
            t -= 1.0f;
        path.evaluate(t, p, d);
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(d);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Area(benchmark::State& state)
{
    Pooled holder;
    const auto area = loadFrom<Ps::FuncAreaImage>(
        holder,
        [](Sl::Saver& s)
        {
            std::vector<std::uint8_t> w(128 * 128);
            for (std::size_t i = 0; i < w.size(); ++i)
                w[i] = static_cast<std::uint8_t>((i * 7919) % 256);
            s.write("x", std::int32_t(0));
            s.write("y", std::int32_t(0));
            s.write("width", std::uint16_t(512));
            s.write("height", std::uint16_t(512));
            s.write("opt_width", std::uint16_t(128));
            s.write("opt_height", std::uint16_t(128));
            s.writeBinary("v", w.data(), static_cast<std::uint32_t>(w.size()));
        });
    Ps::RandomGenerator rng(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(area.pick(rng.generateNormFloat(), rng));
    state.SetItemsProcessed(state.iterations());
}

void BM_ForceMoveDrag(benchmark::State& state)
{
    const glm::vec3 force(0.0f, -9.8f, 0.0f), wind(3.0f, 0.0f, 0.0f);
    const glm::vec3* forces[1] = {&force};
    const glm::vec3* winds[1] = {&wind};
    glm::vec3 p(0.0f), v(0.0f, 5.0f, 0.0f);
    for (auto _ : state)
    {
        Ps::forceMove<glm::vec3>(p, v, forces, 1, winds, 1, 2.0f, 1.0f / 60.0f);
        benchmark::DoNotOptimize(p);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_Noise3Linear);
BENCHMARK(BM_Noise3Cubic);
BENCHMARK(BM_Curve)->Arg(1)->Arg(16);
BENCHMARK(BM_PathVec3);
BENCHMARK(BM_Area);
BENCHMARK(BM_ForceMoveDrag);

}  // namespace


// ---- Through the runtime ----------------------------------------------------
// Whole effects: N particles, each with its own position (a random point on a
// sphere, kept as a particle property), walked through an update chain per
// frame. The cost per particle of an operation is its benchmark's time per
// item minus that of the baseline (an update chain holding only the age).

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_system_inst.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

constexpr std::uint32_t kParticles = 2000;

enum EnumWorkload
{
    W_Baseline,
    W_NoiseLinear,
    W_NoiseCubic,
    W_Curve,
    W_Expression
};

std::vector<std::uint8_t> effectFor(EnumWorkload workload)
{
    using PsTest::Ext;
    using PsTest::In;
    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(5);
    PsTest::EmitterWriter& e = effect.emitter();
    const std::uint8_t gen = e.generatorPeriodic(Ext(1e6f));
    const std::uint8_t radius =
        e.op(Ps::OF_FuncRandomVec3, [](Sl::Saver& s) { PsTest::writeExt(s, "radius", 50.0f); });
    const std::uint8_t position = e.parameter(Ext(In{radius, 0}), 2);
    const std::uint8_t age = e.parameterLifetime();
    std::vector<std::uint8_t> update{age};
    auto noise = [&](std::uint8_t type)
    {
        return e.op(Ps::OF_FuncNoise3,
                    [=](Sl::Saver& s)
                    {
                        PsTest::writeIn(s, "input", In{position, 0});
                        PsTest::writeExt(s, "smoothness", 20.0f);
                        PsTest::writeU8(s, "type", type);
                        PsTest::writeExt(s, "range_scale", 1.0f);
                        PsTest::writeValue(s, "range_low", glm::vec3(-1.0f));
                        PsTest::writeValue(s, "range_high", glm::vec3(1.0f));
                        PsTest::writeValue(s, "animation", glm::vec3(0.5f, 0.0f, 0.0f));
                        PsTest::writeBool(s, "additive", false);
                    });
    };
    switch (workload)
    {
    case W_Baseline:
        break;
    case W_NoiseLinear:
        update.push_back(noise(0));
        break;
    case W_NoiseCubic:
        update.push_back(noise(1));
        break;
    case W_Curve:
        update.push_back(e.op(Ps::OF_FuncCurvesFloat,
                              [age](Sl::Saver& s)
                              {
                                  PsTest::writeIn(s, "input", In{age, 0});
                                  Sl::ScopedSaverGroup group("curve", s);
                                  s.write("time_start", 0.0f);
                                  s.write("time_end", 4.0f);
                                  s.write("left_looped", false);
                                  s.write("right_looped", true);
                                  s.write("num_segs", std::uint32_t(4));
                                  for (int i = 0; i < 4; ++i)
                                  {
                                      Sl::ScopedSaverGroup seg("seg", s);
                                      s.write("time_start", float(i));
                                      s.write("time_end", float(i + 1));
                                      s.write("num_values", std::uint32_t(16));
                                      for (int v = 0; v < 16; ++v)
                                          s.write("val", float(v + i));
                                  }
                              }));
        break;
    case W_Expression:
    {
        const Expr::InputDesc inputs[2] = {{"p", Expr::VT_Vec3}, {"dt", Expr::VT_Float}};
        Expr::Parser parser("p * 0.5 + vec3(dt, 0, 1)", inputs, 2);
        const std::vector<unsigned char> code(
            parser.getOutputBuffer(), parser.getOutputBuffer() + parser.getOutputBufferSize());
        update.push_back(e.op(Ps::OF_FuncExpression,
                              [code, position](Sl::Saver& s)
                              {
                                  const auto size = static_cast<std::uint32_t>(code.size());
                                  PsTest::writeU32(s, "expr_data_size", size);
                                  s.writeBinary("expr_data", code.data(), size);
                                  PsTest::writeU32(
                                      s, "expr_pool_size",
                                      Expr::Executor::computePoolSizeNoObj(code.data(), size));
                                  PsTest::writeU32(s, "num_inputs", 1);
                                  PsTest::writeIn(s, "input", In{position, 0});
                              }));
        break;
    }
    }
    e.generatorChain({gen})
        .initBoth({radius, position})
        .updateChain(update)
        .maxParticles(kParticles);
    return effect.bytes();
}

void benchEffect(benchmark::State& state, EnumWorkload workload)
{
    static Ps::MemManagedContext context;
    const std::vector<std::uint8_t> bytes = effectFor(workload);
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                    context.get());
    Ps::MemManagedSystemInst inst(shell.getSystem(), glm::vec3(0.0f),
                                  glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    inst.get().updateFrame(glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    const std::uint32_t particles = inst.get().getEmitterInst(0).getNumActiveParticles();
    for (auto _ : state)
        inst.get().updateFrame(glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * particles);
    state.counters["particles"] = particles;
}

void BM_EffectBaseline(benchmark::State& state) { benchEffect(state, W_Baseline); }
void BM_EffectNoiseLinear(benchmark::State& state) { benchEffect(state, W_NoiseLinear); }
void BM_EffectNoiseCubic(benchmark::State& state) { benchEffect(state, W_NoiseCubic); }
void BM_EffectCurve(benchmark::State& state) { benchEffect(state, W_Curve); }
void BM_EffectExpression(benchmark::State& state) { benchEffect(state, W_Expression); }

BENCHMARK(BM_EffectBaseline);
BENCHMARK(BM_EffectNoiseLinear);
BENCHMARK(BM_EffectNoiseCubic);
BENCHMARK(BM_EffectCurve);
BENCHMARK(BM_EffectExpression);

}  // namespace

BENCHMARK_MAIN();
