#pragma once

#include <cmath>

#include <glm/geometric.hpp>
#include <glm/vec2.hpp>
#include <gtest/gtest.h>

#include "plot/plot.h"

namespace PlotTest
{

// A plot of keys joined by linear segments, one (time, value) pair per key, smooth keys.
inline Plot linearPlot(std::initializer_list<glm::vec2> points)
{
    Plot plot;
    bool first = true;
    for (const glm::vec2& p : points)
    {
        if (first)
            plot.appendKeyBack(PlotKeySmooth(p.x, p.y));
        else
            plot.appendKeyBackWithSegment(PlotKeySmooth(p.x, p.y), PlotSegLinear());
        first = false;
    }
    return plot;
}

// The same with Bezier segments in the editor's default shape (handles at a third of the
// chord, 0.33 of the width), the smooth keys aligned.
inline Plot bezierPlot(std::initializer_list<glm::vec2> points)
{
    Plot plot = linearPlot(points);
    for (unsigned i = 0; i < plot.getNumSegments(); ++i)
        plot.convertSegmentAuto(i, CST_Bezier, glm::vec2(1.0f, 1.0f));
    return plot;
}

// Checks the invariants every edit must keep: segment count, time order, handles inside
// their segment in time.
inline ::testing::AssertionResult keepsInvariants(const Plot& plot)
{
    const unsigned keys = plot.getNumKeys();
    const unsigned segs = plot.getNumSegments();
    if (!(keys == 0 ? segs == 0 : segs == keys - 1))
        return ::testing::AssertionFailure() << keys << " keys with " << segs << " segments";
    for (unsigned i = 1; i < keys; ++i)
        if (plot.getKey(i - 1).time_ > plot.getKey(i).time_)
            return ::testing::AssertionFailure() << "key " << i << " before its left neighbour";
    for (unsigned i = 0; i < segs; ++i)
    {
        if (plot.getSegment(i).type_ != CST_Bezier)
            continue;
        const float lo = plot.getKey(i).time_, hi = plot.getKey(i + 1).time_;
        const float tol = 1e-4f * (1.0f + std::abs(lo) + std::abs(hi));
        for (auto type : {BCP_In, BCP_Out})
        {
            const float t = plot.getBezierControlPointPosition(i, type).x;
            if (t < lo - tol || t > hi + tol)
                return ::testing::AssertionFailure()
                       << "handle " << type << " of segment " << i << " at time " << t
                       << " outside [" << lo << ", " << hi << "]";
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace PlotTest
