#pragma once

// Shared by the fuzz targets that load whole compiled effects. They load any bytes the way a
// host does and leave every refusal to the runtime: its own bounds (frame rate, presimulation,
// frames and shots of one update call) and the memory budget set on the context. A fuzzer is a
// host with little memory, so its context gets a small budget; nothing else is filtered here.
// A refusal (Sl::Exception, or Debug::CheckException and its Ps::LimitException) passes through
// to the caller.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_shell.h"

namespace FuzzPs
{

// A context whose budget bounds the effect's pool and each instance's memory.
inline Ps::Context& contextWithBudget(std::uint64_t budget)
{
    static Ps::MemManagedContext holder;
    holder.get().setMemoryBudget(budget);
    return holder.get();
}

inline std::unique_ptr<Ps::MemManagedSystemShell> load(const std::uint8_t* data, std::size_t size,
                                                       Ps::Context& context)
{
    return std::make_unique<Ps::MemManagedSystemShell>(data, static_cast<std::uint32_t>(size),
                                                       context);
}

}  // namespace FuzzPs
