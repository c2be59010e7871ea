#pragma once

#include <glm/mat3x3.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_operation.h"
#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// A ribbon through the particles of an emitter in their order of birth. It
// needs the neighbours of each particle, so it works in two passes: preProcess
// from the newest particle to the oldest stores each particle's end of the
// ribbon; processConstruct then draws, for each particle, the segment from its
// end to the younger neighbour's end.
class ConstructorStrip final : public Constructor
{
public:
    struct Data
    {
        const glm::quat* rotation;  // null without a free rotation
        const float* size;
        const glm::vec3* color;
        const float* alpha;
        const float* texRepetition;
    };

    // Per particle, filled by preProcess.
    struct DynData
    {
        // The younger neighbour's record; null at the start of the strip.
        const DynData* prev;
        uint32 color;
        float halfWidth;
        // The end of the ribbon that this particle holds: the younger
        // neighbour's place (the emitter's for the newest).
        glm::vec3 position;
        glm::vec3 side;
        float u;
        float length;
    };

    ConstructorStrip(Sl::Loader& loader, EmitterFactory& emitterFactory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void initParticleData(EmitterInst& inst) override;
    bool hasPreProcess() const override { return true; }
    void preProcess(EmitterInst& inst, const glm::mat3& camera) override;
    void processConstruct(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera,
                          const TextureFrame& frame) override;

    bool hasFreeRotation() const { return rotation_ != nullptr; }

private:
    const InputDesc<glm::quat>* rotation_ = nullptr;
    const InputDesc<float>* size_ = nullptr;
    const InputDesc<glm::vec3>* color_ = nullptr;
    const InputDesc<float>* alpha_ = nullptr;
    const InputDesc<float>* texRepetition_ = nullptr;
};

}  // namespace Ps
