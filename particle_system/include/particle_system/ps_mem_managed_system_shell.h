#pragma once

#include <memory>

#include "particle_system/ps_types.h"

namespace Ps
{

class Context;
class System;

// Loads a compiled effect into a pool of exactly the size it needs: a first pass over the bytes
// computes the size, one new[] makes the pool, a second pass over the same bytes builds the
// system in it. Raises Sl::Exception or Debug::CheckException on bad bytes, and a
// Ps::LimitException (a CheckException whose what() says which bound) on an effect beyond the
// runtime's bounds or the context's memory budget, before the pool is allocated.
class MemManagedSystemShell
{
public:
    MemManagedSystemShell(const uint8* data, uint32 size, Context& context);
    ~MemManagedSystemShell();
    MemManagedSystemShell(const MemManagedSystemShell&) = delete;
    MemManagedSystemShell& operator=(const MemManagedSystemShell&) = delete;

    System& getSystem() const { return *system_; }
    // The size computed by the first pass, and what the second pass used of it.
    uint32 getPoolSize() const { return poolSize_; }
    uint32 getUsedPoolSize() const { return usedPoolSize_; }

private:
    std::unique_ptr<uint8[]> pool_;
    uint32 poolSize_ = 0;
    uint32 usedPoolSize_ = 0;
    System* system_ = nullptr;
};

}  // namespace Ps
