#pragma once

// The function operations that only compute from their inputs: one small
// class each, over FuncOfInputs, with the arithmetic of ps_func_math.h.

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_func_operation.h"

namespace Ps
{

class Context;

// input + dt * speed. Fields: "input" In; "speed" Ext<T>.
template <class T>
class FuncMove final : public FuncOfInputs<FuncMove<T>, T, 1, InField<T>, ExtField<T>>
{
    using Base = FuncOfInputs<FuncMove<T>, T, 1, InField<T>, ExtField<T>>;

public:
    using Base::Base;
    void compute(typename Base::Data& d, EmitterInst&, float dt) const
    {
        d.out[0] = funcMove(Base::template in<T>(d, 0), Base::template in<T>(d, 1), dt);
    }
};

// from + (to - from) * interp. Fields: "from", "to" Ext<T>; "interp" Ext<float>.
template <class T>
class FuncLerp final
    : public FuncOfInputs<FuncLerp<T>, T, 1, ExtField<T>, ExtField<T>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncLerp<T>, T, 1, ExtField<T>, ExtField<T>, ExtField<float>>;

public:
    using Base::Base;
    void compute(typename Base::Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcLerp(Base::template in<T>(d, 0), Base::template in<T>(d, 1),
                            Base::template in<float>(d, 2));
    }
};

// `length` along from -> to. Fields: "from", "to" Ext<T>; "length" Ext<float>.
template <class T>
class FuncDirection final
    : public FuncOfInputs<FuncDirection<T>, T, 1, ExtField<T>, ExtField<T>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncDirection<T>, T, 1, ExtField<T>, ExtField<T>, ExtField<float>>;

public:
    using Base::Base;
    void compute(typename Base::Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcDirection(Base::template in<T>(d, 0), Base::template in<T>(d, 1),
                                 Base::template in<float>(d, 2));
    }
};

// A value of the instance's generator between "start" and "end" (Ext<float>).
class FuncRandom final : public FuncOfInputs<FuncRandom, float, 1, ExtField<float>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncRandom, float, 1, ExtField<float>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst& inst, float) const;
};

// The rotation by "angle" degrees (Ext<float>) around "axis" (Ext<vec3>).
class FuncRotationAxis final
    : public FuncOfInputs<FuncRotationAxis, glm::quat, 1, ExtField<glm::vec3>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncRotationAxis, glm::quat, 1, ExtField<glm::vec3>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcRotationAxis(in<glm::vec3>(d, 0), in<float>(d, 1));
    }
};

// The columns X, Y, Z of the rotation matrix of "rotation" (In, a quat).
class FuncAxisFromRotation final
    : public FuncOfInputs<FuncAxisFromRotation, glm::vec3, 3, InField<glm::quat>>
{
    using Base = FuncOfInputs<FuncAxisFromRotation, glm::vec3, 3, InField<glm::quat>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        const glm::mat3 m = funcAxisFromRotation(in<glm::quat>(d, 0));
        d.out[0] = m[0];
        d.out[1] = m[1];
        d.out[2] = m[2];
    }
};

// The components of "input" (In). Outputs x, y (and z).
template <class V>
class FuncSplit final : public FuncOfInputs<FuncSplit<V>, float, V::length(), InField<V>>
{
    using Base = FuncOfInputs<FuncSplit<V>, float, V::length(), InField<V>>;

public:
    using Base::Base;
    void compute(typename Base::Data& d, EmitterInst&, float) const
    {
        const V& v = Base::template in<V>(d, 0);
        for (int i = 0; i < V::length(); ++i)
            d.out[i] = v[i];
    }
};
using FuncSplitVec2 = FuncSplit<glm::vec2>;
using FuncSplitVec3 = FuncSplit<glm::vec3>;

// The vector of "valueX", "valueY" (and "valueZ"), Ext<float> each.
class FuncJoinVec2 final
    : public FuncOfInputs<FuncJoinVec2, glm::vec2, 1, ExtField<float>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncJoinVec2, glm::vec2, 1, ExtField<float>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = glm::vec2(in<float>(d, 0), in<float>(d, 1));
    }
};

class FuncJoinVec3 final : public FuncOfInputs<FuncJoinVec3, glm::vec3, 1, ExtField<float>,
                                               ExtField<float>, ExtField<float>>
{
    using Base =
        FuncOfInputs<FuncJoinVec3, glm::vec3, 1, ExtField<float>, ExtField<float>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = glm::vec3(in<float>(d, 0), in<float>(d, 1), in<float>(d, 2));
    }
};

// A point on the circle of "radius" (Ext<float>), from the instance's generator.
class FuncRandomVec2 final : public FuncOfInputs<FuncRandomVec2, glm::vec2, 1, ExtField<float>>
{
    using Base = FuncOfInputs<FuncRandomVec2, glm::vec2, 1, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst& inst, float) const;
};

// A point on the sphere of "radius" (Ext<float>): the context's unit vector
// from the instance's generator, scaled.
class FuncRandomVec3 final : public FuncOfInputs<FuncRandomVec3, glm::vec3, 1, ExtField<float>>
{
    using Base = FuncOfInputs<FuncRandomVec3, glm::vec3, 1, ExtField<float>>;

public:
    FuncRandomVec3(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    void compute(Data& d, EmitterInst& inst, float) const;

private:
    const Context* context_;
};

// (input.x, input.y, z). Fields: "input" In (vec2); "z" Ext<float>.
class FuncConv2to3 final
    : public FuncOfInputs<FuncConv2to3, glm::vec3, 1, InField<glm::vec2>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncConv2to3, glm::vec3, 1, InField<glm::vec2>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        const glm::vec2& v = in<glm::vec2>(d, 0);
        d.out[0] = glm::vec3(v.x, v.y, in<float>(d, 1));
    }
};

// A vector of "length" at "angle" degrees (Ext<float> each).
class FuncRot2Vec final
    : public FuncOfInputs<FuncRot2Vec, glm::vec2, 1, ExtField<float>, ExtField<float>>
{
    using Base = FuncOfInputs<FuncRot2Vec, glm::vec2, 1, ExtField<float>, ExtField<float>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcRot2Vec(in<float>(d, 0), in<float>(d, 1));
    }
};

// position + rotation * shift. Fields: "position" Ext<vec3>; "rotation"
// Ext<quat>; "shift" Ext<vec3>.
class FuncTransfer3 final : public FuncOfInputs<FuncTransfer3, glm::vec3, 1, ExtField<glm::vec3>,
                                                ExtField<glm::quat>, ExtField<glm::vec3>>
{
    using Base = FuncOfInputs<FuncTransfer3, glm::vec3, 1, ExtField<glm::vec3>, ExtField<glm::quat>,
                              ExtField<glm::vec3>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcTransfer3(in<glm::vec3>(d, 0), in<glm::quat>(d, 1), in<glm::vec3>(d, 2));
    }
};

// The quaternion product input * rotation (Ext<quat> each).
class FuncRotate3 final
    : public FuncOfInputs<FuncRotate3, glm::quat, 1, ExtField<glm::quat>, ExtField<glm::quat>>
{
    using Base = FuncOfInputs<FuncRotate3, glm::quat, 1, ExtField<glm::quat>, ExtField<glm::quat>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcRotate3(in<glm::quat>(d, 0), in<glm::quat>(d, 1));
    }
};

// Keeps "value" (Ext<T>) in the emitter data, where a chain can find it later.
template <class T>
class FuncStore final : public FuncOfInputs<FuncStore<T>, T, 1, ExtField<T>>
{
    using Base = FuncOfInputs<FuncStore<T>, T, 1, ExtField<T>>;

public:
    using Base::Base;
    void compute(typename Base::Data& d, EmitterInst&, float) const
    {
        d.out[0] = Base::template in<T>(d, 0);
    }
};

// The angle of "input" (Ext<vec2>) in degrees.
class FuncVec2Rot final : public FuncOfInputs<FuncVec2Rot, float, 1, ExtField<glm::vec2>>
{
    using Base = FuncOfInputs<FuncVec2Rot, float, 1, ExtField<glm::vec2>>;

public:
    using Base::Base;
    void compute(Data& d, EmitterInst&, float) const
    {
        d.out[0] = funcVec2Rot(in<glm::vec2>(d, 0));
    }
};

// The rotation whose axes follow two given directions. Fields: "type" u8
// (EnumRotationFromAxesType); "firstAxis", "secondAxis" Ext<vec3>.
class FuncRotationFromAxes final : public FuncOperation<glm::quat, 2, 1>
{
public:
    using EnumType = EnumRotationFromAxesType;

    FuncRotationFromAxes(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);
    void process(EmitterInst& inst, float dt) override;

    uint8 getType() const { return type_; }

private:
    uint8 type_;
};

// A 2D affine map. Fields: "input" In (vec2); "transform" mat3, whose
// columns hold the map.
class FuncTransform final : public FuncOperation<glm::vec2, 1, 1>
{
public:
    FuncTransform(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);
    void process(EmitterInst& inst, float dt) override;

private:
    glm::mat3 transform_;
};

}  // namespace Ps
