#pragma once

// Loading of compiled effects for the runtime's tests: one shared context, and a loader that
// checks that the second pass used exactly the pool that the first pass computed.

#include <cstdint>
#include <memory>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace PsTest
{

Ps::Context& context();

// Loads the bytes; fails the current test if the pool isn't used exactly.
std::unique_ptr<Ps::MemManagedSystemShell> load(const std::vector<uint8_t>& bytes);

const glm::quat kIdentity(1.0f, 0.0f, 0.0f, 0.0f);

struct Running
{
    std::unique_ptr<Ps::MemManagedSystemShell> shell;
    std::unique_ptr<Ps::MemManagedSystemInst> inst;

    Ps::SystemInst& get() const { return inst->get(); }
    Ps::EmitterInst& emitter(uint32_t i = 0) const { return inst->get().getEmitterInst(i); }
};

Running run(const std::vector<uint8_t>& bytes, const glm::vec3& position = glm::vec3(0.0f),
            const glm::quat& rotation = kIdentity);

// The active particles of an instance from the newest to the oldest.
std::vector<uint32_t> activeParticles(const Ps::EmitterInst& inst);
std::vector<glm::vec3> activePositions(const Ps::EmitterInst& inst);

}  // namespace PsTest
