// Geometry on the processor: how many particles per second the constructors
// turn into mesh vertices. Each benchmark runs one effect with 100,000 live
// particles and measures SystemInst::construct alone (sorting walk, copy of
// each particle's data in and out, the constructor, the render call).
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
// The tests' writer of compiled effects builds the effect field by field.
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

constexpr uint32_t kParticles = 100000;

// One emitter that shoots all its particles in its first frame.
std::vector<uint8_t> quadsEffect(bool grid, bool free)
{
    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(1).material(Ps::MAT_Normal);
    effect.texture("default.png");
    effect.renderStyle(0, {0});
    effect.mesh(kParticles, Ps::MF_Quads, true, true);
    effect.renderCalls(kParticles);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, kParticles, std::nullopt, 1u);
    PsTest::QuadsFields fields;
    fields.facedAngle = PsTest::Ext(30.0f);
    if (free)
    {
        fields.rotationOp = Ps::CGO_Free;
        fields.freeRotation = PsTest::In{
            emitter.funcDistrib(PsTest::Ext(glm::angleAxis(0.5f, glm::vec3(0, 0, 1)))), 0};
    }
    if (grid)
    {
        fields.texOp = Ps::CTO_Grid;
        fields.columns = 4;
        fields.rows = 4;
        fields.gridIndex = PsTest::In{emitter.funcDistrib(PsTest::Ext(5.0f)), 0};
    }
    PsTest::constructorQuads(emitter, fields);
    emitter.maxParticles(kParticles);
    return effect.bytes();
}

std::vector<uint8_t> stripEffect()
{
    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(1).material(Ps::MAT_Normal);
    effect.texture("default.png");
    effect.renderStyle(0, {0});
    effect.mesh(kParticles, Ps::MF_Strip, false, true);
    effect.renderCalls(kParticles);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, kParticles, std::nullopt, 1u);
    PsTest::constructorStrip(emitter, PsTest::StripFields());
    emitter.maxParticles(kParticles);
    return effect.bytes();
}

void runConstruct(benchmark::State& state, const std::vector<uint8_t>& bytes)
{
    Ps::MemManagedContext context;
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                    context.get());
    Ps::MemManagedSystemInst inst(shell.getSystem(), glm::vec3(0.0f),
                                  glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    // One frame with the emitter moving, so that the particles spread along a line.
    inst.get().updateFrame(glm::vec3(1000.0f, 0.0f, 0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    const uint32_t live = inst.get().getEmitterInst(0).getNumActiveParticles();
    if (live != kParticles)
        state.SkipWithError("the effect didn't shoot all its particles");

    const glm::vec3 dir = glm::normalize(glm::vec3(0.1f, -0.2f, -1.0f));
    const glm::vec3 right = glm::normalize(glm::cross(dir, glm::vec3(0, 1, 0)));
    const glm::vec3 up = glm::cross(right, dir);
    for (auto _ : state)
    {
        inst.get().construct(dir, up, right, std::nullopt);
        benchmark::DoNotOptimize(inst.get().getMesh(0).getVertices());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * live);
    state.counters["polygons"] = inst.get().getStats().numPolygons;
}

void BM_QuadsCameraFacing(benchmark::State& state)
{
    runConstruct(state, quadsEffect(false, false));
}
void BM_QuadsCameraFacingGrid(benchmark::State& state)
{
    runConstruct(state, quadsEffect(true, false));
}
void BM_QuadsFreeRotation(benchmark::State& state)
{
    runConstruct(state, quadsEffect(false, true));
}
void BM_Strip(benchmark::State& state) { runConstruct(state, stripEffect()); }

BENCHMARK(BM_QuadsCameraFacing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QuadsCameraFacingGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QuadsFreeRotation)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strip)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
