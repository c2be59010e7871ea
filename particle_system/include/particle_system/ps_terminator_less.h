#pragma once

#include "particle_system/ps_operation.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// Ends a particle exactly when `lesser > greater` (equal values and NaN don't).
class TerminatorLess final : public Terminator
{
public:
    struct Data
    {
        const float* lesser;
        const float* greater;
    };

    TerminatorLess(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    bool processTerminator(EmitterInst& inst, float dt) override;

private:
    const InputDesc<float>* lesser_ = nullptr;
    const InputDesc<float>* greater_ = nullptr;
};

}  // namespace Ps
