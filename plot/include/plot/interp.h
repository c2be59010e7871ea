#pragma once

#include <glm/geometric.hpp>

namespace Interp
{

// The point of the cubic Bezier p0, p1, p2, p3 at parameter u.
template <class P>
P bezierPoint(const P& p0, const P& p1, const P& p2, const P& p3, float u)
{
    const float v = 1.0f - u;
    return p0 * (v * v * v) + p1 * (3.0f * v * v * u) + p2 * (3.0f * v * u * u) + p3 * (u * u * u);
}

// Turns a cubic Bezier into a polyline that follows it within `tolerance`. `points` must
// hold N + 1 entries; N is the largest subdivision, a power of two of at least 4. The curve
// is evaluated at the quarters first, then each interval is halved while any midpoint
// strays from its chord by more than the tolerance, up to N intervals. Returns the number of
// points written to the front of `points`: 9, 17, 33, ... N + 1 (the midpoints of the last
// round are always kept, so 9 is the least).
template <unsigned N, class P>
unsigned bezierToLines(const P& p0, const P& p1, const P& p2, const P& p3, P* points,
                       float tolerance)
{
    static_assert(N >= 4 && (N & (N - 1)) == 0, "N must be a power of two of at least 4");
    const float invN = 1.0f / static_cast<float>(N);
    for (unsigned q = 0; q <= 4; ++q)
    {
        const unsigned slot = q * (N / 4);
        points[slot] = bezierPoint(p0, p1, p2, p3, static_cast<float>(slot) * invN);
    }
    unsigned n = 5;
    unsigned stride = N / 4;
    bool deviated = true;
    while (deviated && n < N)
    {
        deviated = false;
        const unsigned half = stride / 2;
        for (unsigned slot = 0; slot < N; slot += stride)
        {
            const P& a = points[slot];
            const P& b = points[slot + stride];
            const P mid = bezierPoint(p0, p1, p2, p3, static_cast<float>(slot + half) * invN);
            points[slot + half] = mid;
            const float d1 = glm::length(mid - a);
            const float d2 = glm::length(mid - b);
            const float sum = d1 + d2;
            if (sum > 0.0f)
            {
                const P onChord = a + (b - a) * (d1 / sum);
                if (glm::length(mid - onChord) > tolerance)
                    deviated = true;
            }
        }
        n = 2 * n - 1;
        stride = half;
    }
    // Gather the used slots at the front, in order.
    const unsigned step = N / (n - 1);
    for (unsigned i = 1; i < n; ++i)
        points[i] = points[i * step];
    return n;
}

}  // namespace Interp
