#include "particle_layout_model/plm_system.h"

#include "debug/debug_check.h"

namespace Plm
{

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
