#pragma once

#include <memory>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_emitter.h"

namespace Plm
{

// An effect: its list of emitters. The effect's settings, resources and files are built on
// top of this.
class System : public EmitterOwner
{
public:
    System() = default;
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    Emitter& addEmitter(std::unique_ptr<Emitter> emitter);
    unsigned int getNumEmitters() const { return static_cast<unsigned int>(emitters_.size()); }
    Emitter& getEmitter(unsigned int i) const;
    Emitter* getEmitterById(const boost::uuids::uuid& id) const;
    Emitter* getEmitterBySystemReflId(const boost::uuids::uuid& id) const;

    // EmitterOwner. The effect holds its emitters itself until it has resources.
    ProjectResource* getProjectResource() override { return nullptr; }
    SystemResource* getSystemResource() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override {}
    bool isLockedByParentReflection(const Emitter& emitter) const override { return false; }
    System* getSystem() override { return this; }

private:
    std::vector<std::unique_ptr<Emitter>> emitters_;
};

}  // namespace Plm
