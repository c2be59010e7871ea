#pragma once

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/functions/ps_func_curve.h"
#include "particle_system/functions/ps_func_operation.h"

namespace Ps
{

// One sampled curve per component of T (float, vec2, vec3), all read at the
// same time. Fields: "input" In (float); then one "curve" group per component.
template <class T>
class FuncCurves final : public FuncOperation<T, 1, 1>
{
    using Base = FuncOperation<T, 1, 1>;

public:
    using Curve = FuncCurve;
    static constexpr uint32 kNumComponents = sizeof(T) / sizeof(float);

    FuncCurves(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator) : Base(allocator)
    {
        this->template loadIn<float>(0, loader, factory);
        for (uint32 c = 0; c < kNumComponents; ++c)
            curves_[c].load(loader, allocator);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        uint64 size = Base::basePoolSize() + Base::skipIn(loader);
        for (uint32 c = 0; c < kNumComponents; ++c)
            size += Curve::computePoolSize(loader);
        return Allocator::checkedSize(size);
    }

    void process(EmitterInst& inst, float) override
    {
        typename Base::Data& d = this->data(inst);
        d.out[0] = evaluate(Base::template in<float>(d, 0));
    }

    T evaluate(float t) const
    {
        if constexpr (kNumComponents == 1)
            return curves_[0].evaluate(t);
        else
        {
            T v;
            for (uint32 c = 0; c < kNumComponents; ++c)
                v[c] = curves_[c].evaluate(t);
            return v;
        }
    }

    const Curve& getCurve(uint32 c) const { return curves_[c]; }

private:
    Curve curves_[kNumComponents];
};

}  // namespace Ps
