#include "particle_layout_model/plm_system.h"

#include "debug/debug_check.h"

namespace Plm
{

System::System()
    : fps_(*this, false, 30.0f),
      seedType_(*this, false, Ps::SST_Random),
      fixedSeed_(*this, false, 0u),
      presimTime_(*this, false, 0.0f)
{
}

Emitter& System::addEmitter(std::unique_ptr<Emitter> emitter)
{
    DEBUG_ASSERT(emitter);
    Emitter& added = *emitter;
    emitters_.push_back(std::move(emitter));
    added.connectWithOwner(*this);
    return added;
}

Emitter& System::getEmitter(unsigned int i) const
{
    DEBUG_ASSERT(i < emitters_.size());
    return *emitters_[i];
}

Emitter* System::getEmitterById(const boost::uuids::uuid& id) const
{
    for (const std::unique_ptr<Emitter>& emitter : emitters_)
        if (emitter->getId() == id)
            return emitter.get();
    return nullptr;
}

Emitter* System::getEmitterBySystemReflId(const boost::uuids::uuid& id) const
{
    for (const std::unique_ptr<Emitter>& emitter : emitters_)
        if (emitter->getSystemReflId() == id)
            return emitter.get();
    return nullptr;
}

}  // namespace Plm
