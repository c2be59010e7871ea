#pragma once

#include <cstdint>

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;

// One sampled curve of a FuncCurves operation: a list of segments, each a run
// of values spaced evenly in time. Before the first and after the last time
// the curve is held or looped.
struct FuncCurve
{
    struct Segment
    {
        float timeStart;
        float timeEnd;
        std::uint32_t numValues;
        // numValues entries and a spare copy of the last one behind them, so
        // that the blend at a segment's very end reads inside the array.
        float* values;
    };

    float timeStart;
    float timeEnd;
    bool loopBefore;
    bool loopAfter;
    std::uint32_t numSegments_;
    Segment* segments_;

    // The value at `t`.
    float evaluate(float t) const;

    // `t` brought into [timeStart, timeEnd] by holding or looping.
    float wrapTime(float t) const;

    // One "curve" group: the pool bytes its segments take, reading it whole.
    static std::uint32_t computePoolSize(Sl::Loader& loader);
    // Reads one "curve" group, its segments placed in the pool.
    void load(Sl::Loader& loader, Allocator& allocator);
};

}  // namespace Ps
