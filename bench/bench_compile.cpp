// Compiling as the editor does after every edit: an effect of twenty emitters of about forty
// blocks each, from the model to the bytes the runtime reads.
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_system.h"

namespace
{

constexpr int kEmitters = 20;

// Forces with turbulence, random curves for colour and opacity, a size multiplier, a frame
// index and three custom values: about forty blocks.
void shape(Plm::EmitterGuide& guide)
{
    using Type = Plm::Eg::Value::Type;
    guide.positionChange().changeType(Plm::Eg::PositionChange::T_Forces);
    static_cast<Plm::Eg::PositionChangeForces&>(guide.positionChange().impl())
        .addForce(Plm::Eg::PositionChangeForces::FT_Noise);
    guide.color().value().rowValue(0).changeType(Type::Graph);
    guide.transparency().value().rowValue(0).changeType(Type::Graph);
    guide.size().changeChangeType(Plm::Eg::Size::CT_Multiplier);
    guide.texMapping().changeType(Plm::Eg::TexMapping::T_Grid);
    for (int i = 0; i < 3; ++i)
        guide.customValues().addValue().value().rowValue(0).changeType(Type::Graph);
}

void BM_CompileEffect(benchmark::State& state)
{
    Plm::System system;
    unsigned int blocks = 0;
    for (int i = 0; i < kEmitters; ++i)
    {
        Plm::Emitter& emitter = system.addEmitter(Plm::Emitter::create("e"));
        shape(*emitter.guide());
        blocks += emitter.allBlocks().size();
    }
    state.counters["blocks"] = blocks;
    size_t bytes = 0;
    for (auto _ : state)
    {
        const auto compiler = Plm::SystemExportCompilerBin::create(system);
        const std::vector<uint8_t> compiled = compiler->exportBytes();
        bytes = compiled.size();
        benchmark::DoNotOptimize(compiled.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_CompileEffect)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
