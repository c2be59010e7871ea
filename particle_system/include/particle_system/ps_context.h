#pragma once

#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class Allocator;
class ImageNoise3;
class RandomGenerator;

// What all effects share: the table of operation factories, the mesh factory factories, the
// noise image and a random source for the seeds of instances without a fixed one. It lives in
// one pool of poolSizeToCreate() bytes and must outlive every system made with it. Its random
// source isn't synchronised (the thread rules are in ps_system_factory.h).
class Context
{
public:
    static uint32 poolSizeToCreate();
    static Context* create(Allocator& allocator);

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    const OperationFactory& getOperFactory(uint32 type) const
    {
        DEBUG_ASSERT(type < OF_Count);
        return *operFactories_[type];
    }
    const MeshFactoryFactory& getMeshFactory(uint32 type) const
    {
        DEBUG_ASSERT(type < MF_Count);
        return *meshFactories_[type];
    }
    const ImageNoise3& getNoiseImage() const { return *noiseImage_; }
    // A value of the context's generator, seeded with the wall clock.
    uint32 getRandomValue() const;
    // Seeds the context's generator anew: a host that needs reproducible runs of effects without
    // a fixed seed seeds it before it makes the instances.
    void seedRandom(uint32 seed);
    // A point on the unit sphere, from two draws of `generator`.
    glm::vec3 randomUniteVec3(RandomGenerator& generator) const;

    // The most memory that one effect's pool, and one instance's block with its debug meshes,
    // may take; a larger one is refused with a LimitException before anything is allocated.
    uint64 getMemoryBudget() const { return memoryBudget_; }
    void setMemoryBudget(uint64 bytes) { memoryBudget_ = bytes; }

private:
    Context() = default;

    RandomGenerator* random_ = nullptr;
    const OperationFactory* operFactories_[OF_Count] = {};
    const MeshFactoryFactory* meshFactories_[MF_Count] = {};
    const ImageNoise3* noiseImage_ = nullptr;
    uint64 memoryBudget_ = Limits::kDefaultMemoryBudget;
};

}  // namespace Ps
