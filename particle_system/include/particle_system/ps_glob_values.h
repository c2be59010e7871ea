#pragma once

#include <cstddef>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_system_inst.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// The operations that publish a value of the running instance in their emitter data, each when
// its chain runs. Their group is empty. Getter is a small functor reading the value.
template <class T, class Getter>
class GlobValue final : public Operation
{
public:
    struct Data
    {
        T value;
    };

    GlobValue(Sl::Loader&, EmitterFactory&, Allocator& allocator)
        : Operation(sizeof(Data), 0, 1, allocator), output_(*this, offsetof(Data, value))
    {
        registerOutput(output_);
    }

    static uint32 computePoolSize(Sl::Loader&) { return computeDataPoolSize(1); }

    void process(EmitterInst& inst, float) override
    {
        static_cast<Data*>(inst.getVoidPtrStaticData(*this))->value = Getter()(inst);
    }

private:
    StaticOutputDesc<T> output_;
};

struct GlobEmitterPosGetter
{
    glm::vec3 operator()(const EmitterInst& inst) const { return inst.getEmitterPosition(); }
};
struct GlobEmitterDirGetter
{
    glm::vec3 operator()(const EmitterInst& inst) const { return inst.getEmitterVelocity(); }
};
struct GlobEmitterRotGetter
{
    glm::quat operator()(const EmitterInst& inst) const { return inst.getEmitterRotation(); }
};
struct GlobTimeGetter
{
    float operator()(const EmitterInst& inst) const { return inst.getTime(); }
};
struct GlobSystemTimeGetter
{
    float operator()(const EmitterInst& inst) const { return inst.getSystemInst().getTime(); }
};
struct GlobNumParticlesGetter
{
    float operator()(const EmitterInst& inst) const
    {
        return static_cast<float>(inst.getNumActiveParticles());
    }
};

// The emitter's position, its velocity, its rotation; the instance's time; the system instance's
// time; the number of active particles as a float.
using GlobEmitterPos = GlobValue<glm::vec3, GlobEmitterPosGetter>;
using GlobEmitterDir = GlobValue<glm::vec3, GlobEmitterDirGetter>;
using GlobEmitterRot = GlobValue<glm::quat, GlobEmitterRotGetter>;
using GlobTime = GlobValue<float, GlobTimeGetter>;
using GlobSystemTime = GlobValue<float, GlobSystemTimeGetter>;
using GlobNumParticles = GlobValue<float, GlobNumParticlesGetter>;

}  // namespace Ps
