#pragma once

#include <memory>
#include <vector>

#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class Context;
class Emitter;
class EmitterFactory;
class System;

// Reader of a compiled effect. It reads the bytes twice: computePoolSize walks them and adds up
// the exact size of the effect's pool; staticCreateFromLoader builds the objects in a pool of that
// size, in the same order. The factory itself is loader-side state, alive only during loading.
class SystemFactory
{
public:
    // Upper limit of particles of one mesh of an effect.
    static constexpr uint32 kMaxMeshParticles = 1u << 24;

    static uint32 computePoolSize(Sl::Loader& loader, const Context& context);
    static System* staticCreateFromLoader(Sl::Loader& loader, const Context& context,
                                          Allocator& allocator);

    explicit SystemFactory(const Context& context);
    ~SystemFactory();
    SystemFactory(const SystemFactory&) = delete;
    SystemFactory& operator=(const SystemFactory&) = delete;

    System* createFromLoader(Sl::Loader& loader, Allocator& allocator);

    const Context& getContext() const { return context_; }
    // An emitter earlier in the file ("emitterIndex < filledEmitters_", "index < numEmitters_").
    const Emitter& getEmitter(uint32 emitterIndex) const;
    EmitterFactory& getEmitterFactory(uint32 emitterIndex) const;

    // The tables read so far, for the checks of the emitters' readers.
    uint32 getNumMeshes() const { return numMeshes_; }
    uint32 getMeshFactoryType(uint32 meshIndex) const;
    uint32 getNumRenderStyles() const { return numRenderStyles_; }

private:
    void checkMeshCapacities() const;

    const Context& context_;
    System* system_ = nullptr;
    uint32 numMeshes_ = 0;
    std::vector<uint8> meshTypes_;
    std::vector<uint32> meshCapacities_;
    uint32 numRenderStyles_ = 0;
    uint32 numEmitters_ = 0;
    uint32 filledEmitters_ = 0;
    std::vector<std::unique_ptr<EmitterFactory>> emitterFactories_;
    const Emitter** emitters_ = nullptr;
};

}  // namespace Ps
