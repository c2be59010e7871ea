#include "debug_alloc_failure.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local long allocationsBeforeFailure = -1;
thread_local bool failed = false;

void* allocate(std::size_t size)
{
    if (allocationsBeforeFailure == 0)
    {
        allocationsBeforeFailure = -1;
        failed = true;
        throw std::bad_alloc();
    }
    if (allocationsBeforeFailure > 0)
        --allocationsBeforeFailure;
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

}  // namespace

namespace DebugTest
{

void failAllocationAfter(long allocations)
{
    allocationsBeforeFailure = allocations;
    failed = false;
}

bool allocationFailed() { return failed; }

}  // namespace DebugTest

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
