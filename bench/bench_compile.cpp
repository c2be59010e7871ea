// What the editor does with an effect of twenty emitters of about forty blocks each: compile
// it after every edit, from the model to the bytes the runtime reads; save it, load it, and
// step through its undo history.
#include <memory>
#include <vector>

#include <boost/filesystem/operations.hpp>

#include <benchmark/benchmark.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
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

std::unique_ptr<Plm::System> makeEffect(unsigned int& blocks)
{
    auto system = std::make_unique<Plm::System>();
    blocks = 0;
    for (int i = 0; i < kEmitters; ++i)
    {
        Plm::Emitter& emitter = system->addEmitter(Plm::Emitter::create("e"));
        shape(*emitter.guide());
        blocks += emitter.allBlocks().size();
    }
    return system;
}

void BM_CompileEffect(benchmark::State& state)
{
    unsigned int blocks = 0;
    const std::unique_ptr<Plm::System> effect = makeEffect(blocks);
    const Plm::System& system = *effect;
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

// The effect as a file in a temporary folder, loaded.
struct EffectFile
{
    boost::filesystem::path folder =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path();
    std::shared_ptr<Plm::ProjectResourceHandler> handler;

    EffectFile()
    {
        boost::filesystem::create_directories(folder);
        unsigned int blocks = 0;
        handler = Plm::ProjectResourceHandler::createNewStandalone(
            folder / "effect.sxed",
            std::make_unique<Plm::ProjectResourceSystem>(makeEffect(blocks)));
    }
    ~EffectFile() { boost::filesystem::remove_all(folder); }
    Plm::ProjectResource& resource() const { return handler->getLoadedResource(); }
    Plm::Emitter& emitter(unsigned int i) const
    {
        return resource().castToSystemResourceChecked().getResource().getEmitter(i);
    }
};

void BM_SaveEffect(benchmark::State& state)
{
    EffectFile file;
    for (auto _ : state)
        benchmark::DoNotOptimize(file.handler->forceResaveLoadedResource());
    state.counters["bytes"] =
        static_cast<double>(boost::filesystem::file_size(file.handler->getPath()));
}
BENCHMARK(BM_SaveEffect)->Unit(benchmark::kMillisecond);

void BM_LoadEffect(benchmark::State& state)
{
    EffectFile file;
    file.handler->unloadLoadedResource();
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(file.handler->load());
        state.PauseTiming();
        file.handler->unloadLoadedResource();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadEffect)->Unit(benchmark::kMillisecond);

// One step of undo and one of redo, after an edit of one emitter: the states of the other
// emitters are shared between the two steps.
void BM_UndoRedoStep(benchmark::State& state)
{
    EffectFile file;
    file.resource().createUndoRevision();
    file.emitter(3).setName("edited");
    file.resource().createUndoRevision();
    for (auto _ : state)
    {
        file.resource().undo();
        file.resource().redo();
    }
}
BENCHMARK(BM_UndoRedoStep)->Unit(benchmark::kMillisecond);

// An edit as the editor records it: the new undo state after a change of one emitter.
void BM_CreateUndoRevision(benchmark::State& state)
{
    EffectFile file;
    file.resource().createUndoRevision();
    int n = 0;
    for (auto _ : state)
    {
        file.emitter(n++ % kEmitters).setEnabled(n % 2 == 0);
        file.resource().createUndoRevision();
    }
}
BENCHMARK(BM_CreateUndoRevision)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
