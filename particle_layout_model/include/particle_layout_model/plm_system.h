#pragma once

#include <memory>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_props.h"
#include "particle_layout_model/plm_ps_enums.h"

namespace Plm
{

// An effect: its list of emitters and the settings that hold for all of them. The effect's
// resources and files are built on top of this.
class System : public EmitterOwner, public PropsOwner
{
public:
    System();
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    // Simulation steps a second, the seeding of random numbers, and the seconds simulated
    // unseen at the start.
    float getFps() const { return fps_.get(); }
    void setFps(const boost::optional<float>& value) { setPropAndNotify(fps_, value); }
    Ps::EnumSystemSeedType getSeedType() const { return seedType_.get(); }
    void setSeedType(const boost::optional<Ps::EnumSystemSeedType>& value)
    {
        setPropAndNotify(seedType_, value);
    }
    unsigned int getFixedSeed() const { return fixedSeed_.get(); }
    void setFixedSeed(const boost::optional<unsigned int>& value)
    {
        setPropAndNotify(fixedSeed_, value);
    }
    float getPresimTime() const { return presimTime_.get(); }
    void setPresimTime(const boost::optional<float>& value)
    {
        setPropAndNotify(presimTime_, value);
    }

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
    Prop<float> fps_;
    Prop<Ps::EnumSystemSeedType> seedType_;
    Prop<unsigned int> fixedSeed_;
    Prop<float> presimTime_;
};

}  // namespace Plm
