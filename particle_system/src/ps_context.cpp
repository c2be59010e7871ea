#include "particle_system/ps_context.h"

#include <cmath>
#include <ctime>

#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/functions/ps_noise_planes.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_random_generator.h"
#include "ps_operation_factories.h"

namespace Ps
{

namespace
{

template <class T>
uint32 objectSize()
{
    return Allocator::aligned(sizeof(T));
}

}  // namespace

uint32 Context::poolSizeToCreate()
{
    uint64 size = objectSize<Context>();
    size += Allocator::aligned(RandomGenerator::computePoolSize());
    size += operationFactoriesPoolSize();
    size += objectSize<MeshFactoryFactoryQuads>();
    size += objectSize<MeshFactoryFactoryStrip>();
    size += Allocator::aligned(ImageNoise3::poolSizeToCreatePregenerated());
    return Allocator::checkedSize(size);
}

Context* Context::create(Allocator& allocator)
{
    Context* context = new (allocator.alloc(sizeof(Context))) Context();
    context->random_ =
        RandomGenerator::createInPool(allocator.alloc(RandomGenerator::computePoolSize()));
    context->random_->setSeed(static_cast<uint32>(std::time(nullptr)));
    createOperationFactories(allocator, context->operFactories_);
    context->meshFactories_[MF_Quads] = allocator.create<MeshFactoryFactoryQuads>();
    context->meshFactories_[MF_Strip] = allocator.create<MeshFactoryFactoryStrip>();
    context->noiseImage_ =
        ImageNoise3::createPregenerated(noisePlanesPtr, kNoisePlanesDeg2Size, allocator);
    return context;
}

uint32 Context::getRandomValue() const { return random_->generateUint32(); }

void Context::seedRandom(uint32 seed) { random_->setSeed(seed); }

glm::vec3 Context::randomUniteVec3(RandomGenerator& generator) const
{
    return randomUnitVec3(generator);
}

}  // namespace Ps
