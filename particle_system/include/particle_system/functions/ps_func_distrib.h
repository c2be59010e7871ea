#pragma once

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

class EmitterFactory;

// A constant: both an operation and the input that reads it. The value lives in the object, in
// the effect's pool, the same for all instances. It is made by the operation factories 34 to 37
// (with the value as the operation's only field) and, outside the emitter's list, for every
// constant `Ext<T>` input (Ps::createConstant).
template <class T>
class FuncDistrib final : public Operation, public InputDesc<T>
{
public:
    FuncDistrib(const T& value, Allocator& allocator) : Operation(0, 0, 1, allocator), value_(value)
    {
        registerOutput(static_cast<const InputDesc<T>&>(*this));
    }
    FuncDistrib(Sl::Loader& loader, EmitterFactory&, Allocator& allocator)
        : FuncDistrib(readValue<T>(loader), allocator)
    {
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        skipValue<T>(loader);
        return computeDataPoolSize(1);
    }

    const T* getPtr(EmitterInst&) const override { return &value_; }
    const T& getValue() const { return value_; }

private:
    T value_;
};

}  // namespace Ps
