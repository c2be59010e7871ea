#pragma once

// The arithmetic of the function operations, as plain inline functions, so
// that the operations stay thin and the formulas can be checked on their own.
// Everything is single precision and evaluated in the order written: an
// effect with a fixed seed must give the same particles in every build.

#include <cmath>
#include <cstdint>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_random_generator.h"

namespace Ps
{

// Degrees to radians and back.
constexpr float kDegToRad = 0.017453292f;
constexpr float kRadToDeg = 57.29578f;
// Smallest positive normal float: below it a length or a time counts as zero.
constexpr float kFuncMinFloat = 1.1754944e-38f;

// The rotation of `v` by the unit quaternion `q`:
// v + 2 (q.xyz x (q.xyz x v + q.w v)).
inline glm::vec3 rotateVector(const glm::quat& q, const glm::vec3& v)
{
    const glm::vec3 u(q.x, q.y, q.z);
    const glm::vec3 inner = glm::cross(u, v) + q.w * v;
    return v + 2.0f * glm::cross(u, inner);
}

// A quaternion from (x, y, z, w); glm's constructor takes w first.
inline glm::quat quatXyzw(float x, float y, float z, float w) { return glm::quat(w, x, y, z); }

template <class T>
inline T funcMove(const T& input, const T& speed, float dt)
{
    return input + dt * speed;
}

template <class T>
inline T funcLerp(const T& from, const T& to, float interp)
{
    return from + (to - from) * interp;
}

// `length` along from -> to. Equal points divide by zero.
template <class T>
inline T funcDirection(const T& from, const T& to, float length)
{
    const T d = to - from;
    const float k = 1.0f / glm::length(d);
    return d * k * length;
}

// One draw, whatever the bounds.
inline float funcRandom(RandomGenerator& rng, float start, float end)
{
    return start + rng.generateNormFloat() * (end - start);
}

// A point on the circle of `radius`, one draw.
inline glm::vec2 funcRandomVec2(RandomGenerator& rng, float radius)
{
    const float a = rng.generateNormFloat() * 6.283185f;
    return glm::vec2(std::cos(a) * radius, std::sin(a) * radius);
}

// A point on the unit sphere, two draws: the angle around z, then z.
inline glm::vec3 randomUnitVec3(RandomGenerator& rng)
{
    const float first = rng.generateNormFloat();
    const float second = rng.generateNormFloat();
    const float phi = first * 3.1415927f + first * 3.1415927f;
    const float z = 2.0f * second - 1.0f;
    const float s = std::sqrt(1.0f - z * z);
    return glm::vec3(std::cos(phi) * s, std::sin(phi) * s, z);
}

// The rotation by `angle` degrees around `axis` (of any non-zero length).
inline glm::quat funcRotationAxis(const glm::vec3& axis, float angle)
{
    const float h = kDegToRad * angle * 0.5f;
    const glm::vec3 v = axis / glm::length(axis) * std::sin(h);
    return quatXyzw(v.x, v.y, v.z, std::cos(h));
}

// Which axes of the result the two inputs of FuncRotationFromAxes fix: the
// first letter is the axis that follows the first input exactly, the second
// the axis that stands as near as possible to the second input.
enum EnumRotationFromAxesType : std::uint8_t
{
    RFA_XY = 0,
    RFA_XZ = 1,
    RFA_YX = 2,
    RFA_YZ = 3,
    RFA_ZX = 4,
    RFA_ZY = 5,
};

// The rotation matrix (columns X, Y, Z) of FuncRotationFromAxes. Parallel
// axes divide by zero. A type above 5 is treated as 5.
inline glm::mat3 rotationMatrixFromAxes(std::uint8_t type, const glm::vec3& firstAxis,
                                        const glm::vec3& secondAxis)
{
    const glm::vec3 f = glm::normalize(firstAxis);
    const glm::vec3& s = secondAxis;
    switch (type)
    {
    case RFA_XY:
    {
        const glm::vec3 a = glm::normalize(glm::cross(f, s));
        return glm::mat3(f, glm::cross(a, f), a);
    }
    case RFA_XZ:
    {
        const glm::vec3 a = glm::normalize(glm::cross(s, f));
        return glm::mat3(f, a, glm::cross(f, a));
    }
    case RFA_YX:
    {
        const glm::vec3 a = glm::normalize(glm::cross(s, f));
        return glm::mat3(glm::cross(f, a), f, a);
    }
    case RFA_YZ:
    {
        const glm::vec3 a = glm::normalize(glm::cross(f, s));
        return glm::mat3(a, f, glm::cross(a, f));
    }
    case RFA_ZX:
    {
        const glm::vec3 a = glm::normalize(glm::cross(f, s));
        return glm::mat3(glm::cross(a, f), a, f);
    }
    default:
    {
        const glm::vec3 a = glm::normalize(glm::cross(s, f));
        return glm::mat3(a, glm::cross(f, a), f);
    }
    }
}

inline glm::quat funcRotationFromAxes(std::uint8_t type, const glm::vec3& firstAxis,
                                      const glm::vec3& secondAxis)
{
    return glm::quat_cast(rotationMatrixFromAxes(type, firstAxis, secondAxis));
}

// The columns of the rotation matrix of `q`: where X, Y and Z go.
inline glm::mat3 funcAxisFromRotation(const glm::quat& q) { return glm::mat3_cast(q); }

// A vector of `length` at `angle` degrees from the x axis.
inline glm::vec2 funcRot2Vec(float angle, float length)
{
    const float a = kDegToRad * angle;
    return glm::vec2(std::cos(a) * length, std::sin(a) * length);
}

// The angle of `v` in degrees, in (-180, 180]; 0 for a vector too short.
inline float funcVec2Rot(const glm::vec2& v)
{
    if (std::fabs(v.x) < kFuncMinFloat && std::fabs(v.y) < kFuncMinFloat)
        return 0.0f;
    return std::atan2(v.y, v.x) * kRadToDeg;
}

inline glm::quat funcRotate3(const glm::quat& input, const glm::quat& rotation)
{
    return input * rotation;
}

inline glm::vec3 funcTransfer3(const glm::vec3& position, const glm::quat& rotation,
                               const glm::vec3& shift)
{
    return position + rotateVector(rotation, shift);
}

// The 2D affine map held in the columns of `m`.
inline glm::vec2 funcTransform(const glm::mat3& m, const glm::vec2& p)
{
    return glm::vec2(m[0][0] * p.x + m[1][0] * p.y + m[2][0],
                     m[0][1] * p.x + m[1][1] * p.y + m[2][1]);
}

// Upper bound of the sub-steps of one forceMove call. The steps grow
// geometrically as the velocity nears the wind, so ordinary values need a few
// dozen; the bound only keeps absurd inputs (drags and forces near the float
// limits) from stalling a frame: the time still left is then taken at once.
constexpr int kForceMoveMaxSubSteps = 4096;

// Moves `p` with velocity `v` for `dt` under the sum of `forces` and a drag
// towards the sum of `winds`, quadratic in the relative speed. The drag is
// applied in sub-steps short enough that it can't overshoot the wind; the
// position advances with the velocity already updated.
template <class T>
inline void forceMove(T& p, T& v, const T* const* forces, std::uint32_t numForces,
                      const T* const* winds, std::uint32_t numWinds, float drag, float dt)
{
    T force(0.0f);
    for (std::uint32_t i = 0; i < numForces; ++i)
        force += *forces[i];
    T wind(0.0f);
    if (drag > kFuncMinFloat)
        for (std::uint32_t i = 0; i < numWinds; ++i)
            wind += *winds[i];
    if (!(dt > kFuncMinFloat))
        return;
    float rest = dt;
    int subSteps = 0;
    do
    {
        T a = force;
        float step = rest;
        if (drag > kFuncMinFloat && ++subSteps < kForceMoveMaxSubSteps)
        {
            const T rel = wind - v;
            const float rel2 = glm::dot(rel, rel);
            if (rel2 > kFuncMinFloat)
            {
                const float l = std::sqrt(rel2);
                const float k = drag * 0.01f * l;
                a = rel / l * (k * l) + force;
                step = k * rest > 0.2f ? 0.2f / k : rest;
            }
        }
        v += a * step;
        rest -= step;
        p += v * step;
    } while (rest > kFuncMinFloat);
}

}  // namespace Ps
