#pragma once

#include "particle_system/ps_operation.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// Shoots a burst each time the emitter has travelled one segment, at the exact places along the
// step. Outputs: 0 burst position, 1 burst size.
class GeneratorDistance final : public Generator
{
public:
    struct Data
    {
        const float* segment;
        float phase;
        float burstPosition;
        float burstSize;
    };

    GeneratorDistance(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void processGenerate(EmitterInst& inst, const glm::vec3& position, const glm::quat& rotation,
                         float dt) override;

private:
    const InputDesc<float>* segment_ = nullptr;
    float startPhase_ = 0.0f;
    uint32 burst_ = 0;
    StaticOutputDesc<float> burstPositionOutput_;
    StaticOutputDesc<float> burstSizeOutput_;
};

}  // namespace Ps
