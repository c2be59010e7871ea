#pragma once

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/functions/ps_func_operation.h"
#include "particle_system/functions/ps_func_path_track.h"

namespace Ps
{

// A point of a sampled path and its direction, at a share of the path's
// length. Fields: "input" In (float); "num_seg", the segments, "length".
// Outputs: 0 the position, 1 the direction.
template <class T>
class FuncPath final : public FuncOperation<T, 1, 2>
{
    using Base = FuncOperation<T, 1, 2>;

public:
    FuncPath(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator) : Base(allocator)
    {
        this->template loadIn<float>(0, loader, factory);
        track_.load(loader, allocator);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        uint64 size = Base::basePoolSize() + Base::skipIn(loader);
        size += FuncPathTrack<T>::computePoolSize(loader);
        return Allocator::checkedSize(size);
    }

    void process(EmitterInst& inst, float) override
    {
        typename Base::Data& d = this->data(inst);
        track_.evaluate(Base::template in<float>(d, 0), d.out[0], d.out[1]);
    }

    const FuncPathTrack<T>& getTrack() const { return track_; }

private:
    FuncPathTrack<T> track_;
};

}  // namespace Ps
