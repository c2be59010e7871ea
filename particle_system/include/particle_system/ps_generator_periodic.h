#pragma once

#include <optional>

#include "particle_system/ps_operation.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// Shoots bursts at a rate of shots per second, at their exact moments inside the step, and is
// the clock of its instance. Outputs: 0 burst position, 1 burst size.
class GeneratorPeriodic final : public Generator
{
public:
    struct Data
    {
        const float* rate;
        uint32 shotsDone;
        float phase;  // a fraction of a shot interval
        float burstPosition;
        float burstSize;
    };

    GeneratorPeriodic(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void processGenerate(EmitterInst& inst, const glm::vec3& position, const glm::quat& rotation,
                         float dt) override;

    const std::optional<float>& getFixedTime() const { return fixedTime_; }
    const std::optional<uint32>& getFixedShots() const { return fixedShots_; }
    float getStartPhase() const { return startPhase_; }
    uint32 getBurst() const { return burst_; }

private:
    std::optional<float> fixedTime_;
    std::optional<uint32> fixedShots_;
    const InputDesc<float>* rate_ = nullptr;
    float startPhase_ = 0.0f;
    uint32 burst_ = 0;
    StaticOutputDesc<float> burstPositionOutput_;
    StaticOutputDesc<float> burstSizeOutput_;
};

}  // namespace Ps
