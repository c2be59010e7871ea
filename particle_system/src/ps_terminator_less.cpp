#include "particle_system/ps_terminator_less.h"

#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"

namespace Ps
{

TerminatorLess::TerminatorLess(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : Terminator(sizeof(Data), 0, 0, allocator)
{
    lesser_ = factory.loadExternalInput<float>(loader, allocator);
    greater_ = factory.loadExternalInput<float>(loader, allocator);
}

uint32 TerminatorLess::computePoolSize(Sl::Loader& loader)
{
    uint64 size = computeDataPoolSize(0);
    size += EmitterFactory::skipExternal(loader);
    size += EmitterFactory::skipExternal(loader);
    return Allocator::checkedSize(size);
}

void TerminatorLess::initEmitterData(EmitterInst& inst)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    data.lesser = lesser_->getPtr(inst);
    data.greater = greater_->getPtr(inst);
}

bool TerminatorLess::processTerminator(EmitterInst& inst, float)
{
    const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
    return *data.lesser > *data.greater;
}

}  // namespace Ps
