#pragma once

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_func_operation.h"

namespace Ps
{

// Moves a point under forces and a drag towards the wind for dt (see
// forceMove). Fields: "in_position", "in_velocity" In; "num_forces" u8;
// "force" Ext<T> x num_forces; "num_velocities" u8; "velocity" Ext<T> x
// num_velocities; "drag" Ext<float>. Outputs: 0 position, 1 velocity.
//
// `Data` holds the position, velocity and drag addresses and the outputs; the
// addresses of the forces and then of the winds follow it in the emitter data.
template <class T>
class FuncForceMove final : public FuncOperation<T, 3, 2>
{
    using Base = FuncOperation<T, 3, 2>;

public:
    using Data = typename Base::Data;

    FuncForceMove(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
        : Base(allocator)
    {
        this->template loadIn<T>(0, loader, factory);
        this->template loadIn<T>(1, loader, factory);
        numForces_ = readU8(loader);
        forces_ = allocator.allocArray<const InputDesc<T>*>(numForces_);
        for (uint32 i = 0; i < numForces_; ++i)
            forces_[i] = factory.loadExternalInput<T>(loader, allocator);
        numWinds_ = readU8(loader);
        winds_ = allocator.allocArray<const InputDesc<T>*>(numWinds_);
        for (uint32 i = 0; i < numWinds_; ++i)
            winds_[i] = factory.loadExternalInput<T>(loader, allocator);
        this->template loadExt<float>(2, loader, factory, allocator);
        this->setEmitterDataSize(
            static_cast<uint32>(sizeof(Data) + (numForces_ + numWinds_) * sizeof(const T*)));
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        uint64 size = Base::basePoolSize() + Base::skipIn(loader) + Base::skipIn(loader);
        const uint8 numForces = readU8(loader);
        size += Allocator::alignedArray(numForces, sizeof(const InputDesc<T>*));
        for (uint32 i = 0; i < numForces; ++i)
            size += Base::skipExt(loader);
        const uint8 numWinds = readU8(loader);
        size += Allocator::alignedArray(numWinds, sizeof(const InputDesc<T>*));
        for (uint32 i = 0; i < numWinds; ++i)
            size += Base::skipExt(loader);
        size += Base::skipExt(loader);
        return Allocator::checkedSize(size);
    }

    void initEmitterData(EmitterInst& inst) override
    {
        Base::initEmitterData(inst);
        const T** forces = forceAddresses(this->data(inst));
        for (uint32 i = 0; i < numForces_; ++i)
            forces[i] = forces_[i]->getPtr(inst);
        for (uint32 i = 0; i < numWinds_; ++i)
            forces[numForces_ + i] = winds_[i]->getPtr(inst);
    }

    void process(EmitterInst& inst, float dt) override
    {
        Data& d = this->data(inst);
        const T* const* forces = forceAddresses(d);
        T p = Base::template in<T>(d, 0);
        T v = Base::template in<T>(d, 1);
        forceMove(p, v, forces, numForces_, forces + numForces_, numWinds_,
                  Base::template in<float>(d, 2), dt);
        d.out[0] = p;
        d.out[1] = v;
    }

    uint32 getNumForces() const { return numForces_; }
    uint32 getNumWinds() const { return numWinds_; }

private:
    static const T** forceAddresses(Data& d)
    {
        return reinterpret_cast<const T**>(reinterpret_cast<uint8*>(&d) + sizeof(Data));
    }

    uint32 numForces_ = 0;
    uint32 numWinds_ = 0;
    const InputDesc<T>** forces_ = nullptr;
    const InputDesc<T>** winds_ = nullptr;
};

}  // namespace Ps
