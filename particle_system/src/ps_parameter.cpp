#include "particle_system/ps_parameter.h"

#include "particle_system/functions/ps_func_math.h"

namespace Ps
{

ParameterLifetime::ParameterLifetime(Sl::Loader&, EmitterFactory&, Allocator& allocator)
    : Operation(0, sizeof(DynData), 1, allocator), output_(*this, offsetof(DynData, value))
{
    registerOutput(output_);
}

uint32 ParameterLifetime::computePoolSize(Sl::Loader&) { return computeDataPoolSize(1); }

void ParameterLifetime::initParticleData(EmitterInst& inst)
{
    static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->value = 0.0f;
}

void ParameterLifetime::process(EmitterInst& inst, float dt)
{
    static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->value += dt;
}

ParameterPositionIniter::ParameterPositionIniter(Sl::Loader& loader, EmitterFactory& factory,
                                                 Allocator& allocator)
    : Operation(sizeof(Data), sizeof(DynData), 1, allocator),
      output_(*this, offsetof(DynData, value))
{
    applyRotation_ = readBool(loader);
    init_ = factory.loadExternalInput<glm::vec3>(loader, allocator);
    registerOutput(output_);
}

uint32 ParameterPositionIniter::computePoolSize(Sl::Loader& loader)
{
    loader.skipBool();
    return Allocator::checkedSize(static_cast<uint64>(computeDataPoolSize(1)) +
                                  EmitterFactory::skipExternal(loader));
}

void ParameterPositionIniter::initEmitterData(EmitterInst& inst)
{
    static_cast<Data*>(inst.getVoidPtrStaticData(*this))->init = init_->getPtr(inst);
}

void ParameterPositionIniter::process(EmitterInst& inst, float)
{
    const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
    const glm::vec3 offset =
        applyRotation_ ? rotateVector(inst.getEmitterRotation(), *data.init) : *data.init;
    static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->value =
        inst.getParticleInfo().position + offset;
}

ParameterPositionUpdater::ParameterPositionUpdater(Sl::Loader& loader, EmitterFactory& factory,
                                                   Allocator& allocator)
    : Operation(sizeof(Data), 0, 0, allocator)
{
    position_ = factory.loadExternalInput<glm::vec3>(loader, allocator);
}

uint32 ParameterPositionUpdater::computePoolSize(Sl::Loader& loader)
{
    return Allocator::checkedSize(static_cast<uint64>(computeDataPoolSize(0)) +
                                  EmitterFactory::skipExternal(loader));
}

void ParameterPositionUpdater::initEmitterData(EmitterInst& inst)
{
    static_cast<Data*>(inst.getVoidPtrStaticData(*this))->position = position_->getPtr(inst);
}

void ParameterPositionUpdater::process(EmitterInst& inst, float)
{
    const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
    inst.getParticleInfo().position = *data.position;
}

ParameterVelocityIniter::ParameterVelocityIniter(Sl::Loader& loader, EmitterFactory& factory,
                                                 Allocator& allocator)
    : Operation(sizeof(Data), sizeof(DynData), 1, allocator),
      output_(*this, offsetof(DynData, value))
{
    init_ = factory.loadExternalInput<glm::vec3>(loader, allocator);
    addEmitterVelocity_ = readBool(loader);
    applyRotation_ = readBool(loader);
    registerOutput(output_);
}

uint32 ParameterVelocityIniter::computePoolSize(Sl::Loader& loader)
{
    const uint32 constant = EmitterFactory::skipExternal(loader);
    loader.skipBool();
    loader.skipBool();
    return Allocator::checkedSize(static_cast<uint64>(computeDataPoolSize(1)) + constant);
}

void ParameterVelocityIniter::initEmitterData(EmitterInst& inst)
{
    static_cast<Data*>(inst.getVoidPtrStaticData(*this))->init = init_->getPtr(inst);
}

void ParameterVelocityIniter::process(EmitterInst& inst, float)
{
    const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
    glm::vec3 velocity =
        applyRotation_ ? rotateVector(inst.getEmitterRotation(), *data.init) : *data.init;
    if (addEmitterVelocity_)
        velocity = velocity + inst.getEmitterVelocity();
    static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->value = velocity;
}

}  // namespace Ps
