// The guide as the editor uses it on every edit: a new emitter, its save and load, and one
// change of a section's kind with the graph read back on an emitter of about forty blocks.
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_system.h"

namespace
{

void BM_GuideNewEmitter(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::unique_ptr<Plm::Emitter> emitter = Plm::Emitter::create("e");
        benchmark::DoNotOptimize(emitter.get());
    }
}
BENCHMARK(BM_GuideNewEmitter)->Unit(benchmark::kMicrosecond);

void BM_GuideSaveAndLoad(benchmark::State& state)
{
    Plm::System system;
    std::unique_ptr<Plm::Emitter> emitter = Plm::Emitter::create("e");
    for (auto _ : state)
    {
        const std::vector<uint8_t> bytes = Plm::saveEmitterPlain(*emitter);
        std::unique_ptr<Plm::Emitter> loaded =
            Plm::loadEmitterPlain(bytes.data(), bytes.size(), system);
        benchmark::DoNotOptimize(loaded.get());
    }
}
BENCHMARK(BM_GuideSaveAndLoad)->Unit(benchmark::kMicrosecond);

// About forty blocks: forces with turbulence, random curves for colour and opacity, a size
// multiplier, a frame index, three custom values and a second terminator.
std::unique_ptr<Plm::Emitter> richEmitter()
{
    using Type = Plm::Eg::Value::Type;
    std::unique_ptr<Plm::Emitter> emitter = Plm::Emitter::create("e");
    Plm::EmitterGuide& guide = *emitter->guide();
    guide.positionChange().changeType(Plm::Eg::PositionChange::T_Forces);
    static_cast<Plm::Eg::PositionChangeForces&>(guide.positionChange().impl())
        .addForce(Plm::Eg::PositionChangeForces::FT_Noise);
    guide.color().value().rowValue(0).changeType(Type::Graph);
    guide.transparency().value().rowValue(0).changeType(Type::Graph);
    guide.size().changeChangeType(Plm::Eg::Size::CT_Multiplier);
    guide.texMapping().changeType(Plm::Eg::TexMapping::T_Grid);
    for (int i = 0; i < 3; ++i)
        guide.customValues().addValue().value().rowValue(0).changeType(Type::Graph);
    guide.termination().addTerminator(Plm::Eg::TerminationType::Path);
    return emitter;
}

void BM_GuideKindChange(benchmark::State& state)
{
    std::unique_ptr<Plm::Emitter> emitter = richEmitter();
    Plm::EmitterGuide& guide = *emitter->guide();
    state.counters["blocks"] = emitter->allBlocks().size();
    bool free = false;
    for (auto _ : state)
    {
        // The end of the change links the graph and reads it back into the form.
        free = !free;
        guide.rotation().changeType(free ? Plm::Eg::Rotation::T_VelocityFree
                                         : Plm::Eg::Rotation::T_Controlled);
    }
}
BENCHMARK(BM_GuideKindChange)->Unit(benchmark::kMicrosecond);

void BM_GuideUpdateFromEmitter(benchmark::State& state)
{
    std::unique_ptr<Plm::Emitter> emitter = richEmitter();
    Plm::EmitterGuide& guide = *emitter->guide();
    state.counters["blocks"] = emitter->allBlocks().size();
    for (auto _ : state)
        guide.updateFromEmitter();
}
BENCHMARK(BM_GuideUpdateFromEmitter)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
