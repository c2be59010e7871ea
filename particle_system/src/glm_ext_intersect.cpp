#include "particle_system/glm_ext_intersect.h"

#include <cmath>

#include "particle_system/ps_types.h"

namespace GlmExt
{

namespace
{

// Both ends on the same outer side of one of the box's slabs.
bool outsideSameSide(const glm::vec2& p, const glm::vec2& q, float hx, float hy)
{
    return (p.x < -hx && q.x < -hx) || (p.x > hx && q.x > hx) || (p.y < -hy && q.y < -hy) ||
           (p.y > hy && q.y > hy);
}

bool inside(const glm::vec2& p, float hx, float hy)
{
    return p.x >= -hx && p.x <= hx && p.y >= -hy && p.y <= hy;
}

bool crossesRising(const glm::vec2& d, const glm::vec2& n, const glm::vec2& p, const glm::vec2& q,
                   float hx, float hy, float dist)
{
    if (!(std::fabs(n.x * hy - n.y * hx) >= dist))
        return false;
    return (d.x * p.y - d.y * p.x) * (d.x * q.y - d.y * q.x) <= 0.0f;
}

bool crossesFalling(const glm::vec2& d, const glm::vec2& n, const glm::vec2& p, const glm::vec2& q,
                    float hx, float hy, float dist)
{
    if (!(std::fabs(n.x * hy + n.y * hx) >= dist))
        return false;
    return (d.x * p.y + d.y * p.x) * (d.x * q.y + d.y * q.x) <= 0.0f;
}

}  // namespace

bool intersectAabbSegment(const glm::vec2& centre, const glm::vec2& direction, float length,
                          const glm::vec2& a, const glm::vec2& b, float segmentLength)
{
    const float hx = length * direction.x;
    const float hy = length * direction.y;
    const glm::vec2 p = a - centre;
    const glm::vec2 q = b - centre;
    if (outsideSameSide(p, q, hx, hy))
        return false;
    if (inside(p, hx, hy))
        return true;
    if (!(segmentLength > Ps::kEpsilon))
        return false;
    if (inside(q, hx, hy))
        return true;
    const glm::vec2 n = (b - a) / segmentLength;
    const float dist = std::fabs(n.x * q.y - n.y * q.x);
    if (crossesRising(direction, n, p, q, hx, hy, dist))
        return true;
    if (crossesFalling(direction, n, p, q, hx, hy, dist))
        return true;
    return false;
}

bool intersectAabbDiagonalSegment(const glm::vec2& centre, const glm::vec2& direction, float length,
                                  const glm::vec2& a, const glm::vec2& b, float segmentLength,
                                  bool rising)
{
    if (!(segmentLength > Ps::kEpsilon))
        return false;
    const float hx = length * direction.x;
    const float hy = length * direction.y;
    const glm::vec2 p = a - centre;
    const glm::vec2 q = b - centre;
    if (outsideSameSide(p, q, hx, hy))
        return false;
    const glm::vec2 n = (b - a) / segmentLength;
    const float dist = std::fabs(n.x * q.y - n.y * q.x);
    return rising ? crossesRising(direction, n, p, q, hx, hy, dist)
                  : crossesFalling(direction, n, p, q, hx, hy, dist);
}

}  // namespace GlmExt
