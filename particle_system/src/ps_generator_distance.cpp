#include "particle_system/ps_generator_distance.h"

#include <cmath>
#include <cstddef>

#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_interpolation.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_system_inst.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

GeneratorDistance::GeneratorDistance(Sl::Loader& loader, EmitterFactory& factory,
                                     Allocator& allocator)
    : Generator(sizeof(Data), 0, 2, allocator),
      burstPositionOutput_(*this, offsetof(Data, burstPosition)),
      burstSizeOutput_(*this, offsetof(Data, burstSize))
{
    segment_ = factory.loadExternalInput<float>(loader, allocator);
    startPhase_ = readF32(loader);
    burst_ = readU32(loader);
    registerOutput(burstPositionOutput_);
    registerOutput(burstSizeOutput_);
}

uint32 GeneratorDistance::computePoolSize(Sl::Loader& loader)
{
    uint64 size = computeDataPoolSize(2);
    size += EmitterFactory::skipExternal(loader);
    loader.skipFloat();
    loader.skipUint32();
    return Allocator::checkedSize(size);
}

void GeneratorDistance::initEmitterData(EmitterInst& inst)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    data.segment = segment_->getPtr(inst);
    data.phase = startPhase_;
    data.burstPosition = 0.0f;
    data.burstSize = static_cast<float>(burst_);
}

void GeneratorDistance::processGenerate(EmitterInst& inst, const glm::vec3& position,
                                        const glm::quat& rotation, float dt)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    SystemInst& systemInst = inst.getSystemInst();
    data.burstSize = static_cast<float>(burst_);
    const float t = inst.getTime();
    const float s = systemInst.getTime();
    const glm::vec3 p0 = inst.getPrevEmitterPosition();
    const glm::quat r0 = inst.getPrevEmitterRotation();
    const glm::vec3 way = position - p0;
    const float d = std::sqrt(way.x * way.x + way.y * way.y + way.z * way.z);
    const float segment = *data.segment;
    if (d > kEpsilon && segment > kEpsilon)
    {
        const float increment = d / segment;
        float total = increment + data.phase;
        if (!(total < kMaxShotsPerStep))
            Limits::refuseShotsPerStep(total);
        float k = 1.0f - data.phase;
        if (!(increment < kMinNormalFloat))
            k = k / increment;
        while (total >= 1.0f)
        {
            systemInst.countShot();
            // The emitter's place at the shot is read only by the particles it makes: a shot
            // into a full pool skips it, so that such shots stay cheap.
            if (burst_ && inst.hasFreeParticle())
            {
                inst.setEmitterPosition(p0 + (position - p0) * k);
                inst.setEmitterRotation(slerpQuat(r0, rotation, k));
            }
            inst.setTime(t + dt * k);
            systemInst.setTime(s + dt * k);
            inst.shootParticles(burst_, (1.0f - k) * dt, data.burstPosition);
            total -= 1.0f;
            k += 1.0f / increment;
        }
        data.phase = total;
    }
    inst.setTime(t + dt);
    inst.setEmitterPosition(position);
    inst.setEmitterRotation(rotation);
}

}  // namespace Ps
