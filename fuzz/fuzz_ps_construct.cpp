// Fuzzes the two constructors inside the whole runtime. The input is
//   byte 0: bit 0 the constructor (0 quads, 1 strip), bit 1 the kind of the
//           mesh (0 quads, 1 strip), bit 2 normals in the mesh, bits 3-4 the
//           emitter's sorting;
//   byte 1: the emitter's maximal number of particles (1 to 32);
//   the rest: the fields of the constructor's group, as in a compiled effect
//           (tags off), which may refer to the operations before it: 0 the
//           generator, 1 the lifetime (float), 2 a quaternion, 3 a float.
// Around them stands a fixed, well-behaved effect, so that the fuzzer spends
// its time in the constructors' readers, their pool sizes and their geometry.
// The effect is loaded (both passes), run for a few frames with a moving
// emitter, and built each frame, with and without wireframes and position
// points. Only Sl::Exception and Debug::CheckException may come out;
// everything else (an overrun of a pool or of a mesh, a crash) is a finding.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "fuzz_ps_effect_bounds.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_system_inst.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin.h"
// The tests' writer of compiled effects builds the effect around the fields.
#include "test_support/ps_test_effect_writer.h"

namespace
{

// The memory budget of this host, for the effect's pool and for the instance.
constexpr std::uint64_t kBudget = 32u << 20;
constexpr int kFrames = 6;

std::vector<std::uint8_t> effectAround(const std::uint8_t* data, std::size_t size)
{
    const bool strip = data[0] & 1;
    const std::uint8_t meshKind = (data[0] >> 1) & 1;
    const bool normals = (data[0] >> 2) & 1;
    const std::uint8_t sorting = (data[0] >> 3) % 3;
    const std::uint32_t maxParticles = 1 + data[1] % 32;
    const std::vector<std::uint8_t> fields(data + 2, data + size);

    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(2).renderCalls(maxParticles);
    effect.material(Ps::MAT_Normal).material(Ps::MAT_Add);
    effect.texture("a.png");
    effect.renderStyle(0, {0});
    effect.renderStyle(1, {0});
    effect.mesh(maxParticles, meshKind, normals, true);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(45.0f), 1.0f, 2);
    const std::uint8_t life = emitter.parameterLifetime();
    const std::uint8_t rotation =
        emitter.funcDistrib(PsTest::Ext(glm::angleAxis(0.8f, glm::vec3(0.6f, 0.8f, 0.0f))));
    const std::uint8_t number = emitter.funcDistrib(PsTest::Ext(2.5f));
    emitter.terminatorLess(PsTest::In{life, 0}, PsTest::Ext(0.12f));
    emitter.op(strip ? Ps::OF_ConstructorStrip : Ps::OF_ConstructorQuads,
               [fields](Sl::Saver& s)
               {
                   static_cast<Sl::SaverBin&>(s).writeData(
                       fields.data(), static_cast<std::uint32_t>(fields.size()));
               });
    emitter.updateChain({life})
        .constructChain({rotation, number})
        .maxParticles(maxParticles)
        .sorting(sorting);
    return effect.bytes();
}

void runEffect(const std::uint8_t* input, std::size_t inputSize)
{
    const std::vector<std::uint8_t> bytes = effectAround(input, inputSize);
    const auto shell = FuzzPs::load(bytes.data(), bytes.size(), FuzzPs::contextWithBudget(kBudget));
    const Ps::System& system = shell->getSystem();

    const glm::quat identity(1.0f, 0.0f, 0.0f, 0.0f);
    Ps::MemManagedSystemInst holder(system, glm::vec3(0.0f), identity);
    Ps::SystemInst& inst = holder.get();

    std::optional<Ps::RenderConfig> config{Ps::RenderConfig{}};
    config->emitters.resize(system.getNumEmitters());
    for (std::uint32_t i = 0; i < system.getNumEmitters(); ++i)
    {
        config->emitters[i].wireframeId = i;
        config->emitters[i].renderPositions = i % 2 == 0;
        config->emitters[i].positionsId = i;
    }
    const std::optional<Ps::RenderConfig> none;
    for (int f = 1; f <= kFrames; ++f)
    {
        const glm::vec3 position(7.0f * static_cast<float>(f), 3.0f * static_cast<float>(f % 3),
                                 0.0f);
        const glm::quat rotation = glm::angleAxis(0.4f * static_cast<float>(f), glm::vec3(0, 0, 1));
        inst.updateFrame(position, rotation);
        const glm::vec3 dir = f % 2 ? glm::vec3(0, 0, -1) : glm::vec3(1, 0, 0);
        const glm::vec3 up = f % 2 ? glm::vec3(0, 1, 0) : glm::vec3(0, 0, 1);
        inst.construct(dir, up, glm::cross(dir, up), f % 2 ? none : config);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2 || size > 4096)
        return 0;
    try
    {
        runEffect(data, size);
    }
    catch (const Sl::Exception&)
    {
    }
    catch (const Debug::CheckException&)
    {
    }
    return 0;
}
