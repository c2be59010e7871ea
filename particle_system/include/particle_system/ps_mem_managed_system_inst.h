#pragma once

#include <memory>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_types.h"

namespace Ps
{

class System;
class SystemInst;

// Owns the block of a system instance: the object followed by its pool.
class MemManagedSystemInst
{
public:
    MemManagedSystemInst(const System& system, const glm::vec3& position,
                         const glm::quat& rotation);
    ~MemManagedSystemInst();
    MemManagedSystemInst(const MemManagedSystemInst&) = delete;
    MemManagedSystemInst& operator=(const MemManagedSystemInst&) = delete;

    SystemInst& get() const { return *inst_; }
    // Bytes of the block: the object and computePoolSize(system).
    uint32 getBlockSize() const { return blockSize_; }

private:
    std::unique_ptr<uint8[]> block_;
    uint32 blockSize_ = 0;
    SystemInst* inst_ = nullptr;
};

}  // namespace Ps
