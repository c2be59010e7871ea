#include "particle_system/ps_operation.h"

#include "particle_system/ps_allocator.h"

namespace Ps
{

Operation::Operation(uint32 emitterDataSize, uint32 particleDataSize, uint32 maxOutputs,
                     Allocator& allocator)
    : emitterDataSize_(Allocator::aligned(emitterDataSize)),
      particleDataSize_(Allocator::aligned(particleDataSize)),
      maxOutputs_(maxOutputs),
      outputs_(maxOutputs ? allocator.allocArray<const Connection*>(maxOutputs) : nullptr)
{
}

uint32 Operation::computeDataPoolSize(uint32 maxOutputs)
{
    return maxOutputs ? Allocator::alignedArray(maxOutputs, sizeof(const Connection*)) : 0;
}

void Operation::registerOutput(const Connection& output)
{
    DEBUG_ASSERT(numOutputs_ < maxOutputs_);
    outputs_[numOutputs_++] = &output;
}

void Operation::setEmitterDataDisplace(uint32 v)
{
    DEBUG_ASSERT(!hasEmitterDataDisplace_);
    hasEmitterDataDisplace_ = true;
    emitterDataOffset_ = v;
}

void Operation::setParticleDataDisplace(uint32 v)
{
    DEBUG_ASSERT(!hasParticleDataDisplace_);
    hasParticleDataDisplace_ = true;
    particleDataOffset_ = v;
}

void Operation::setEmitterDataSize(uint32 size)
{
    DEBUG_ASSERT(!hasEmitterDataDisplace_);
    emitterDataSize_ = Allocator::aligned(size);
}

void Operation::setParticleDataSize(uint32 size)
{
    DEBUG_ASSERT(!hasParticleDataDisplace_);
    particleDataSize_ = Allocator::aligned(size);
}

Constructor::Constructor(uint32 emitterDataSize, uint32 particleDataSize, uint32 meshIndex,
                         uint32 renderStyleIndex, Allocator& allocator)
    : Operation(emitterDataSize, particleDataSize, 0, allocator),
      meshIndex_(meshIndex),
      renderStyleIndex_(renderStyleIndex)
{
}

}  // namespace Ps
