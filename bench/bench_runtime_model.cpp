// The runtime's update on an effect that the model made, as an artist's effect reaches a game:
// a few emitters shaped through their guides (forces with turbulence, colour and opacity over
// life, a growing size, a frame grid), their generation rates raised so that tens of thousands
// of particles are alive, compiled in memory and loaded into the runtime; and the same emitters
// as the guide makes them. The counter "per_particle" is the time per particle and frame of the
// update alone.
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace
{

constexpr float kRate = 8000.0f;  // particles per second and emitter
constexpr unsigned int kMaxParticles = 40000;

void setRate(Plm::EmitterGuide& guide, float rate)
{
    auto& value = dynamic_cast<Plm::Eg::Value::FixedProp&>(
        guide.generation().impl().value().rowValue(0).impl());
    value.changeValue(0, rate);
}

// Four emitters. Shaped: of different shapes, as a fire or a fountain would have them; plain: as
// the guide makes a new emitter (a straight flight at a velocity).
std::unique_ptr<Plm::System> makeEffect(bool shaped)
{
    using Type = Plm::Eg::Value::Type;
    std::unique_ptr<Plm::System> system = Plm::Generation::simpleSystem();
    // A fixed seed: every run simulates the same particles.
    system->setSeedType(Ps::SST_Fixed);
    system->setFixedSeed(1u);
    for (int i = 0; i < 3; ++i)
        system->addEmitter(Plm::Generation::simpleEmitter("e" + std::to_string(i)));
    int k = 0;
    for (Plm::Emitter& emitter : system->emitters())
    {
        Plm::EmitterGuide& guide = *emitter.guide();
        emitter.setMaxNumParticles(kMaxParticles);
        setRate(guide, kRate);
        if (shaped && k >= 1)
        {
            guide.positionChange().changeType(Plm::Eg::PositionChange::T_Forces);
            static_cast<Plm::Eg::PositionChangeForces&>(guide.positionChange().impl())
                .addForce(Plm::Eg::PositionChangeForces::FT_Noise);
        }
        if (shaped && k >= 2)
        {
            guide.color().value().rowValue(0).changeType(Type::Graph);
            guide.transparency().value().rowValue(0).changeType(Type::Graph);
        }
        if (shaped && k >= 3)
        {
            guide.size().changeChangeType(Plm::Eg::Size::CT_Multiplier);
            guide.texMapping().changeType(Plm::Eg::TexMapping::T_Grid);
        }
        ++k;
    }
    return system;
}

void BM_RuntimeModelUpdate(benchmark::State& state)
{
    static Ps::MemManagedContext context;
    const std::unique_ptr<Plm::System> model = makeEffect(state.range(0) != 0);
    const std::vector<std::uint8_t> bytes =
        Plm::SystemExportCompilerBin::create(*model)->exportBytes();
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                    context.get());
    Ps::MemManagedSystemInst holder(shell.getSystem(), glm::vec3(0.0f),
                                    glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    Ps::SystemInst& inst = holder.get();
    // A few seconds of a moving emitter, so that the pool reaches its steady state.
    float angle = 0.0f;
    auto frame = [&]
    {
        angle += 0.01f;
        inst.updateFrame(glm::vec3(std::cos(angle), std::sin(angle), 0.0f),
                         glm::quat(std::cos(angle), 0.0f, 0.0f, std::sin(angle)));
    };
    for (int f = 0; f < 300; ++f)
        frame();
    std::uint64_t particles = 0;
    for (auto _ : state)
    {
        frame();
        particles += inst.getStats().numParticles;
    }
    std::uint32_t alive = 0;
    for (std::uint32_t e = 0; e < inst.getNumEmitterInsts(); ++e)
        alive += inst.getEmitterInst(e).getNumActiveParticles();
    state.counters["particles"] = static_cast<double>(alive);
    state.counters["bytes"] = static_cast<double>(bytes.size());
    state.counters["per_particle"] = benchmark::Counter(
        static_cast<double>(particles), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
// 1: shaped emitters (the noise and the forces dominate); 0: plain ones (the walk dominates).
BENCHMARK(BM_RuntimeModelUpdate)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

#ifdef SCINTARI_SAMPLES_DIR
// The effects of the samples project as artists start from them, each with 64 instances at
// different places, so that the update of many small effects is measured as a game runs them.
const char* const kSamples[] = {"fire", "smoke", "sparks",       "trail",           "fireworks",
                                "dust", "path",  "painted_area", "expression_ring", "curves"};

void BM_SampleEffectUpdate(benchmark::State& state)
{
    static Ps::MemManagedContext context;
    const std::string name = kSamples[state.range(0)];
    state.SetLabel(name);
    const auto handler = Plm::ProjectResourceHandler::openStandalone(
        std::string(SCINTARI_SAMPLES_DIR) + "/effects/" + name + ".sxed");
    if (!handler->load())
    {
        state.SkipWithError("the sample doesn't load (build the target samples)");
        return;
    }
    const std::vector<std::uint8_t> bytes =
        Plm::SystemExportCompilerBin::create(
            handler->getLoadedResource().castToSystemResourceChecked().getResource())
            ->exportBytes();
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                    context.get());
    const glm::quat still(1.0f, 0.0f, 0.0f, 0.0f);
    std::vector<glm::vec3> places;
    std::vector<std::unique_ptr<Ps::MemManagedSystemInst>> instances;
    for (int i = 0; i < 64; ++i)
    {
        places.emplace_back(float(i % 8) * 50.0f, float(i / 8) * 50.0f, 0.0f);
        instances.push_back(
            std::make_unique<Ps::MemManagedSystemInst>(shell.getSystem(), places.back(), still));
    }
    auto frame = [&]
    {
        std::uint64_t particles = 0;
        for (size_t i = 0; i < instances.size(); ++i)
        {
            instances[i]->get().updateFrame(places[i], still);
            particles += instances[i]->get().getStats().numParticles;
        }
        return particles;
    };
    for (int f = 0; f < 90; ++f)
        frame();
    std::uint64_t particles = 0;
    for (auto _ : state)
        particles += frame();
    state.counters["per_particle"] = benchmark::Counter(
        static_cast<double>(particles), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SampleEffectUpdate)->DenseRange(0, 9)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
