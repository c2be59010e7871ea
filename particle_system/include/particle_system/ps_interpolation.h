#pragma once

#include <cmath>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_types.h"

namespace Ps
{

inline float dotQuat(const glm::quat& p, const glm::quat& q)
{
    return p.x * q.x + p.y * q.y + p.z * q.z + p.w * q.w;
}

// The spherical interpolation of the runtime, from p (k = 0) to q (k = 1): with a negative dot
// product q is negated; above kSlerpThreshold the blend is linear, component by component, and
// not normalised; otherwise the sine weights with a = acos(dot).
inline glm::quat slerpQuat(const glm::quat& p, glm::quat q, float k)
{
    float c = dotQuat(p, q);
    if (c < 0.0f)
    {
        q = -q;
        c = -c;
    }
    if (c > kSlerpThreshold)
        return glm::quat(p.w + (q.w - p.w) * k, p.x + (q.x - p.x) * k, p.y + (q.y - p.y) * k,
                         p.z + (q.z - p.z) * k);
    const float a = std::acos(c);
    const float wp = std::sin((1.0f - k) * a);
    const float wq = std::sin(k * a);
    const float s = std::sin(a);
    return glm::quat((wp * p.w + wq * q.w) / s, (wp * p.x + wq * q.x) / s,
                     (wp * p.y + wq * q.y) / s, (wp * p.z + wq * q.z) / s);
}

// a + (b - a) * t, component by component.
inline glm::vec3 lerpVec3(const glm::vec3& a, const glm::vec3& b, float t)
{
    return a + (b - a) * t;
}

}  // namespace Ps
