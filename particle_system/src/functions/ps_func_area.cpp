#include "particle_system/functions/ps_func_area.h"

namespace Ps
{

FuncArea::FuncArea(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : FuncOperation(allocator)
{
    loadIn<float>(0, loader, factory);
    image_.load(loader, allocator);
}

uint32 FuncArea::computePoolSize(Sl::Loader& loader)
{
    uint64 size = basePoolSize() + skipIn(loader);
    size += FuncAreaImage::computePoolSize(loader);
    return Allocator::checkedSize(size);
}

void FuncArea::process(EmitterInst& inst, float)
{
    Data& d = data(inst);
    d.out[0] = image_.pick(in<float>(d, 0), inst.getRandomGenerator());
}

}  // namespace Ps
