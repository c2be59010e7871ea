#include "particle_system/ps_generator_periodic.h"

#include <cstddef>

#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_interpolation.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_system_inst.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

GeneratorPeriodic::GeneratorPeriodic(Sl::Loader& loader, EmitterFactory& factory,
                                     Allocator& allocator)
    : Generator(sizeof(Data), 0, 2, allocator),
      burstPositionOutput_(*this, offsetof(Data, burstPosition)),
      burstSizeOutput_(*this, offsetof(Data, burstSize))
{
    {
        loader.startGroup(0);
        if (readBool(loader))
            fixedTime_ = readF32(loader);
        loader.endGroup();
    }
    {
        loader.startGroup(0);
        if (readBool(loader))
            fixedShots_ = readU32(loader);
        loader.endGroup();
    }
    rate_ = factory.loadExternalInput<float>(loader, allocator);
    startPhase_ = readF32(loader);
    burst_ = readU32(loader);
    registerOutput(burstPositionOutput_);
    registerOutput(burstSizeOutput_);
}

uint32 GeneratorPeriodic::computePoolSize(Sl::Loader& loader)
{
    loader.skipGroup();  // "fixed_time"
    loader.skipGroup();  // "fixed_shots"
    uint64 size = computeDataPoolSize(2);
    size += EmitterFactory::skipExternal(loader);
    loader.skipFloat();
    loader.skipUint32();
    return Allocator::checkedSize(size);
}

void GeneratorPeriodic::initEmitterData(EmitterInst& inst)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    data.rate = rate_->getPtr(inst);
    data.shotsDone = 0;
    data.phase = startPhase_;
    data.burstPosition = 0.0f;
    data.burstSize = static_cast<float>(burst_);
}

void GeneratorPeriodic::processGenerate(EmitterInst& inst, const glm::vec3& position,
                                        const glm::quat& rotation, float dt)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    SystemInst& systemInst = inst.getSystemInst();
    float t = inst.getTime();
    float s = systemInst.getTime();
    const float rate = *data.rate;
    if (!(rate > kEpsilon))
    {
        inst.setTime(t + dt);
        inst.setEmitterPosition(position);
        inst.setEmitterRotation(rotation);
        return;
    }

    float remaining = dt;
    float total = dt * rate + data.phase;
    float current = data.phase;
    if (!(total < kMaxShotsPerStep))
        Limits::refuseShotsPerStep(total);
    const glm::vec3 prevPosition = inst.getPrevEmitterPosition();
    const glm::quat prevRotation = inst.getPrevEmitterRotation();
    while (total >= 1.0f)
    {
        systemInst.countShot();
        const float step = (1.0f - current) / rate;
        remaining -= step;
        t += step;
        s += step;
        if (fixedTime_ && t > *fixedTime_)
        {
            inst.stop();
            break;
        }
        inst.setTime(t);
        systemInst.setTime(s);
        // The emitter's place at the shot is read only by the particles it makes: a shot into a
        // full pool skips it, so that such shots stay cheap.
        if (burst_ && inst.hasFreeParticle())
        {
            if (dt > kEpsilon)
            {
                const float k = remaining / dt;
                inst.setEmitterPosition(position + (prevPosition - position) * k);
                inst.setEmitterRotation(slerpQuat(rotation, prevRotation, k));
            }
            else
            {
                inst.setEmitterPosition(position);
                inst.setEmitterRotation(rotation);
            }
        }
        data.burstSize = static_cast<float>(burst_);
        inst.shootParticles(burst_, remaining, data.burstPosition);
        data.phase = 0.0f;
        total -= 1.0f;
        if (fixedShots_)
        {
            ++data.shotsDone;
            if (data.shotsDone >= *fixedShots_)
            {
                inst.stop();
                break;
            }
        }
        current = 0.0f;
    }
    data.phase = total;
    inst.setTime(t + remaining);
    inst.setEmitterPosition(position);
    inst.setEmitterRotation(rotation);
}

}  // namespace Ps
