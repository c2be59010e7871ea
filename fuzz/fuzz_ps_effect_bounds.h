#pragma once

// Shared by the fuzz targets that load whole compiled effects: loads the bytes in both passes
// and gives the system back only when running it stays within what a fuzzer can afford
// (pool sizes, frame time, presimulation length). A refusal by the loader (Sl::Exception or
// Debug::CheckException) passes through to the caller.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_system_inst.h"
#include "revision_saveload/sl_loader_bin_array.h"

namespace FuzzPs {

struct EffectBounds {
  std::uint32_t maxPool;       // for the system's pool and for one instance's
  float minFrameTime;          // seconds
  float maxPresimFrames;       // presimulation, in frames
};

inline std::unique_ptr<Ps::MemManagedSystemShell> loadWithinBounds(const std::uint8_t* data,
                                                                   std::size_t size,
                                                                   Ps::Context& context,
                                                                   const EffectBounds& bounds) {
  const std::uint32_t size32 = static_cast<std::uint32_t>(size);
  {
    Sl::LoaderBinArray loader(data, size32);
    if (Ps::SystemFactory::computePoolSize(loader, context) > bounds.maxPool) return nullptr;
  }
  auto shell = std::make_unique<Ps::MemManagedSystemShell>(data, size32, context);
  const Ps::System& system = shell->getSystem();
  if (Ps::SystemInst::computePoolSize(system) > bounds.maxPool) return nullptr;
  if (!(system.getFrameTime() > bounds.minFrameTime) ||
      !(system.getPresimTime() <= bounds.maxPresimFrames * system.getFrameTime()))
    return nullptr;
  return shell;
}

}  // namespace FuzzPs
