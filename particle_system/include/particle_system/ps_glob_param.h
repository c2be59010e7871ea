#pragma once

#include <cstddef>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

class EmitterFactory;

// A global parameter of an emitter instance: starts at its default when the instance is made or
// reset, and is then set by a parent emitter's Ps::ParameterEmitterParam<T>. Output: the value.
template <class T>
class GlobParam final : public Operation
{
public:
    struct Data
    {
        T value;
    };

    GlobParam(Sl::Loader& loader, EmitterFactory&, Allocator& allocator)
        : Operation(sizeof(Data), 0, 1, allocator),
          defaultValue_(readValue<T>(loader)),
          output_(*this, offsetof(Data, value))
    {
        registerOutput(output_);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        skipValue<T>(loader);
        return computeDataPoolSize(1);
    }

    void initEmitterData(EmitterInst& inst) override
    {
        static_cast<Data*>(inst.getVoidPtrStaticData(*this))->value = defaultValue_;
    }

    const T& getDefaultValue() const { return defaultValue_; }

private:
    T defaultValue_;
    StaticOutputDesc<T> output_;
};

}  // namespace Ps
