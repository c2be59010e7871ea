#include "particle_system/ps_parameter_emitter.h"

namespace Ps
{

namespace
{

const glm::quat kIdentity(1.0f, 0.0f, 0.0f, 0.0f);

}  // namespace

ParameterEmitter::ParameterEmitter(Sl::Loader& loader, EmitterFactory& factory,
                                   Allocator& allocator)
    : Operation(0, 0, 0, allocator)
{
    connEmitterIndex_ = readU32(loader);
    onTerm_ = readBool(loader);
    factory.useConnectedEmitter(connEmitterIndex_, nullptr);
}

uint32 ParameterEmitter::computePoolSize(Sl::Loader& loader)
{
    loader.skipUint32();
    loader.skipBool();
    return computeDataPoolSize(0);
}

void ParameterEmitter::process(EmitterInst& inst, float dt)
{
    const ParticleInfo& info = inst.getParticleInfo();
    info.connectedEmitters[connEmitterIndex_]->update(info.position, kIdentity, dt);
}

void ParameterEmitter::onParticleTerminated(EmitterInst& inst)
{
    const ParticleInfo& info = inst.getParticleInfo();
    EmitterInst& child = *info.connectedEmitters[connEmitterIndex_];
    if (onTerm_)
    {
        child.start();
        child.update(info.position, std::nullopt, 0.0f);
    }
    else
    {
        child.stop();
    }
}

ParameterEmitterIniter::ParameterEmitterIniter(Sl::Loader& loader, EmitterFactory& factory,
                                               Allocator& allocator)
    : Operation(0, 0, 0, allocator)
{
    connEmitterIndex_ = readU32(loader);
    onTerm_ = readBool(loader);
    factory.useConnectedEmitter(connEmitterIndex_, nullptr);
}

uint32 ParameterEmitterIniter::computePoolSize(Sl::Loader& loader)
{
    loader.skipUint32();
    loader.skipBool();
    return computeDataPoolSize(0);
}

void ParameterEmitterIniter::process(EmitterInst& inst, float)
{
    const ParticleInfo& info = inst.getParticleInfo();
    const Emitter& connected = *inst.getEmitter().getConnectedEmitter(connEmitterIndex_).emitter;
    EmitterInst* child = EmitterInst::createInPool(
        reinterpret_cast<uint8*>(info.connectedEmitters[connEmitterIndex_]), inst.getSystemInst(),
        connected, info.position, kIdentity);
    if (onTerm_)
        child->stop();
}

}  // namespace Ps
