// Fuzzes the reader of compiled effects: any bytes go through both loading passes (the pool size
// pass and the building pass into a pool of exactly that size); what loads is instantiated and
// run for a few frames, with construct, so that every count the file gives (particles, chains,
// connected emitters, tables) is exercised against the pools it sized. The runtime trusts its
// input within its bounds: a refusal is an Sl::Exception or a Debug::CheckException (an assertion,
// or a Ps::LimitException of the runtime's bounds and memory budget); anything else, above all a
// read or write outside a buffer or pool, or a run that doesn't end, is a finding.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

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

namespace
{

// The memory budget of this host, for the effect's pool and for the instance.
constexpr std::uint64_t kBudget = 16u << 20;
constexpr int kFrames = 4;

void readAndRun(const std::uint8_t* data, std::size_t size)
{
    const auto shell = FuzzPs::load(data, size, FuzzPs::contextWithBudget(kBudget));
    const Ps::System& system = shell->getSystem();

    const glm::quat identity(1.0f, 0.0f, 0.0f, 0.0f);
    Ps::MemManagedSystemInst holder(system, glm::vec3(0.0f), identity);
    Ps::SystemInst& inst = holder.get();
    std::optional<Ps::RenderConfig> config{Ps::RenderConfig{}};
    config->emitters.resize(system.getNumEmitters());
    for (std::uint32_t i = 0; i < system.getNumEmitters(); ++i)
    {
        config->emitters[i].renderPositions = (i % 2) == 0;
        config->emitters[i].render = (i % 3) != 2;
    }
    const std::optional<Ps::RenderConfig> none;
    for (int f = 0; f < kFrames; ++f)
    {
        const glm::vec3 position(0.5f * static_cast<float>(f), 0.0f,
                                 -0.25f * static_cast<float>(f));
        inst.update(position, identity, system.getFrameTime() * 1.5f);
        inst.construct(glm::vec3(0.0f, 0.0f, 1.0f), glm::vec3(0.0f, 1.0f, 0.0f),
                       glm::vec3(1.0f, 0.0f, 0.0f), (f % 2) ? config : none);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > (1u << 20))
        return 0;
    try
    {
        readAndRun(data, size);
    }
    catch (const Sl::Exception&)
    {
    }
    catch (const Debug::CheckException&)
    {
    }
    return 0;
}
