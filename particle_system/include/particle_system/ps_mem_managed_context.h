#pragma once

#include <memory>

#include "particle_system/ps_types.h"

namespace Ps
{

class Context;

// Owns the pool of a context and the context placed in it.
class MemManagedContext
{
public:
    MemManagedContext();
    ~MemManagedContext();
    MemManagedContext(const MemManagedContext&) = delete;
    MemManagedContext& operator=(const MemManagedContext&) = delete;

    Context& get() const { return *context_; }
    uint32 getPoolSize() const { return poolSize_; }

private:
    std::unique_ptr<uint8[]> pool_;
    uint32 poolSize_ = 0;
    Context* context_ = nullptr;
};

}  // namespace Ps
