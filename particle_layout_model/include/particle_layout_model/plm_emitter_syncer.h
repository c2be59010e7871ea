#pragma once

#include "debug/debug_check.h"
#include "particle_layout_model/plm_emitter.h"

namespace Plm
{

// The sources of one synchronisation of a reflected emitter: the emitter its own reference
// names (direct), its counterpart in the effect that its effect reflects (system), and, where
// both exist, the direct source of that counterpart (base), which ties the two together.
class EmitterSyncer
{
public:
    EmitterSyncer(Emitter& target, Emitter* system, Emitter* direct, Emitter* base)
        : target_(target), system_(system), direct_(direct), base_(base)
    {
        DEBUG_ASSERT(!base || (system && direct));
    }

    Emitter& getTarget() const { return target_; }
    Emitter* getSystemReflSource() const { return system_; }
    Emitter* getDirectReflSource() const { return direct_; }
    Emitter* getBaseReflSource() const { return base_; }

private:
    Emitter& target_;
    Emitter* system_;
    Emitter* direct_;
    Emitter* base_;
};

}  // namespace Plm
