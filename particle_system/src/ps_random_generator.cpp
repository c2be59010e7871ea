#include "particle_system/ps_random_generator.h"

#include <new>

#include "particle_system/ps_allocator.h"

namespace Ps
{

std::uint32_t RandomGenerator::computePoolSize()
{
    return Allocator::aligned(sizeof(RandomGenerator));
}

RandomGenerator* RandomGenerator::create(Allocator& allocator)
{
    return createInPool(allocator.alloc(computePoolSize()));
}

RandomGenerator* RandomGenerator::createInPool(void* pool) { return new (pool) RandomGenerator(); }

}  // namespace Ps
