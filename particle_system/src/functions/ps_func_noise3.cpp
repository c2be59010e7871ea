#include "particle_system/functions/ps_func_noise3.h"

#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_system_inst.h"

namespace Ps
{

FuncNoise3::FuncNoise3(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : FuncOperation(allocator), image_(&factory.getContext().getNoiseImage())
{
    loadIn<glm::vec3>(0, loader, factory);
    loadExt<float>(1, loader, factory, allocator);  // "smoothness"
    params_.type = readU8(loader);
    loadExt<float>(2, loader, factory, allocator);  // "range_scale"
    params_.rangeLow = readValue<glm::vec3>(loader);
    params_.rangeHigh = readValue<glm::vec3>(loader);
    params_.animation = readValue<glm::vec3>(loader);
    params_.additive = readBool(loader);
}

uint32 FuncNoise3::computePoolSize(Sl::Loader& loader)
{
    uint64 size = basePoolSize() + skipIn(loader);
    size += skipExt(loader);
    loader.skipUint8();
    size += skipExt(loader);
    skipValue<glm::vec3>(loader);
    skipValue<glm::vec3>(loader);
    skipValue<glm::vec3>(loader);
    loader.skipBool();
    return Allocator::checkedSize(size);
}

void FuncNoise3::process(EmitterInst& inst, float)
{
    Data& d = data(inst);
    d.out[0] = params_.evaluate(*image_, in<glm::vec3>(d, 0), in<float>(d, 1), in<float>(d, 2),
                                inst.getSystemInst().getTime());
}

}  // namespace Ps
