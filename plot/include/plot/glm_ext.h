#pragma once

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

namespace GlmExt
{

// The point of the segment from a to b nearest to p: the projection of p on the line when
// it lies between the ends and is nearer than both, otherwise the nearer end.
inline glm::vec3 closestPointOnLineSegment(const glm::vec3& p, const glm::vec3& a,
                                           const glm::vec3& b)
{
    const glm::vec3 ab = b - a;
    const float abLength2 = glm::dot(ab, ab);
    const float da = glm::dot(p - a, p - a);
    const float db = glm::dot(p - b, p - b);
    const glm::vec3& nearerEnd = da <= db ? a : b;
    if (abLength2 <= 0.0f)
        return nearerEnd;
    const float f = glm::dot(p - a, ab) / abLength2;
    if (f <= 0.0f || f >= 1.0f)
        return nearerEnd;
    const glm::vec3 projection = a + ab * f;
    const float dp = glm::dot(p - projection, p - projection);
    return dp < da && dp < db ? projection : nearerEnd;
}

}  // namespace GlmExt
