#include "particle_system/functions/ps_func_basic.h"

#include "particle_system/ps_context.h"
#include "particle_system/ps_random_generator.h"

namespace Ps
{

void FuncRandom::compute(Data& d, EmitterInst& inst, float) const
{
    d.out[0] = funcRandom(inst.getRandomGenerator(), in<float>(d, 0), in<float>(d, 1));
}

void FuncRandomVec2::compute(Data& d, EmitterInst& inst, float) const
{
    d.out[0] = funcRandomVec2(inst.getRandomGenerator(), in<float>(d, 0));
}

FuncRandomVec3::FuncRandomVec3(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : Base(loader, factory, allocator), context_(&factory.getContext())
{
}

void FuncRandomVec3::compute(Data& d, EmitterInst& inst, float) const
{
    d.out[0] = context_->randomUniteVec3(inst.getRandomGenerator()) * in<float>(d, 0);
}

FuncRotationFromAxes::FuncRotationFromAxes(Sl::Loader& loader, EmitterFactory& factory,
                                           Allocator& allocator)
    : FuncOperation(allocator)
{
    type_ = readU8(loader);
    loadExt<glm::vec3>(0, loader, factory, allocator);
    loadExt<glm::vec3>(1, loader, factory, allocator);
}

uint32 FuncRotationFromAxes::computePoolSize(Sl::Loader& loader)
{
    loader.skipUint8();
    uint64 size = basePoolSize();
    size += skipExt(loader);
    size += skipExt(loader);
    return Allocator::checkedSize(size);
}

void FuncRotationFromAxes::process(EmitterInst& inst, float)
{
    Data& d = data(inst);
    d.out[0] = funcRotationFromAxes(type_, in<glm::vec3>(d, 0), in<glm::vec3>(d, 1));
}

FuncTransform::FuncTransform(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : FuncOperation(allocator)
{
    loadIn<glm::vec2>(0, loader, factory);
    transform_ = readValue<glm::mat3>(loader);
}

uint32 FuncTransform::computePoolSize(Sl::Loader& loader)
{
    skipIn(loader);
    skipValue<glm::mat3>(loader);
    return basePoolSize();
}

void FuncTransform::process(EmitterInst& inst, float)
{
    Data& d = data(inst);
    d.out[0] = funcTransform(transform_, in<glm::vec2>(d, 0));
}

}  // namespace Ps
