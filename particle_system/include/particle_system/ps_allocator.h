#pragma once

#include <cstdint>
#include <new>
#include <utility>

#include "debug/debug_check.h"
#include "particle_system/ps_types.h"

namespace Ps
{

// A bump allocator over a block that its caller owns. Every runtime object (context, system,
// system instance) lives in one such block whose size is computed beforehand by a
// computePoolSize pass that must count exactly what the creating pass allocates.
//
// Sizes are rounded up with aligned(): every piece starts at a multiple of kAlignment from the
// start of the pool. kAlignment is the size of a pointer (8 on 64-bit hosts), so that objects
// holding pointers placed one after another stay properly aligned. Anything that counts pool
// bytes must count them with Allocator::aligned().
//
// Nothing is ever freed individually; objects placed in a pool never get their destructors run.
class Allocator
{
public:
    static constexpr uint32 kAlignment =
        alignof(void*) < 4 ? 4u : static_cast<uint32>(alignof(void*));
    // Upper limit of any pool: sizes are 32-bit and must not wrap while they are summed.
    static constexpr uint64 kMaxPoolSize = 0x7FFFFFFFull;

    Allocator(void* pool, uint32 poolSize)
        : pool_(static_cast<uint8*>(pool)), ptr_(static_cast<uint8*>(pool)), poolSize_(poolSize)
    {
    }

    // n rounded up to a multiple of kAlignment; 0 stays 0.
    static uint32 aligned(uint64 n)
    {
        DEBUG_ASSERT(n <= kMaxPoolSize);
        return static_cast<uint32>((n + (kAlignment - 1)) & ~static_cast<uint64>(kAlignment - 1));
    }

    // A sum of pool sizes, checked against the pool limit so that no count read from a file
    // can make it wrap.
    static uint32 checkedSize(uint64 n)
    {
        DEBUG_ASSERT(n <= kMaxPoolSize);
        return static_cast<uint32>(n);
    }

    // aligned(count * elementSize), checked for overflow.
    static uint32 alignedArray(uint64 count, uint64 elementSize)
    {
        DEBUG_ASSERT(count <= kMaxPoolSize);
        return aligned(count * elementSize);
    }

    // Returns the current position and advances it by aligned(sizeInBytes).
    uint8* alloc(uint64 requestedSize)
    {
        const uint32 sizeInBytes = aligned(requestedSize);
        DEBUG_ASSERT(ptr_ + sizeInBytes <= pool_ + poolSize_);
        uint8* const result = ptr_;
        ptr_ += sizeInBytes;
        return result;
    }

    // Room for count objects of T, uninitialised.
    template <class T>
    T* allocArray(uint64 count)
    {
        return reinterpret_cast<T*>(alloc(alignedArray(count, sizeof(T))));
    }

    // Places a T in the pool.
    template <class T, class... Args>
    T* create(Args&&... args)
    {
        return new (alloc(sizeof(T))) T(std::forward<Args>(args)...);
    }

    uint8* getPool() const { return pool_; }
    uint32 getPoolSize() const { return poolSize_; }
    uint32 getUsedSize() const { return static_cast<uint32>(ptr_ - pool_); }
    uint32 getFreeSize() const { return poolSize_ - getUsedSize(); }

private:
    uint8* pool_;
    uint8* ptr_;
    uint32 poolSize_;
};

}  // namespace Ps
