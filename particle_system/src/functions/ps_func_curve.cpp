#include "particle_system/functions/ps_func_curve.h"

#include <algorithm>
#include <cmath>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Ps
{

namespace
{

// int(x) for an index into `numValues` samples. For the x of a valid curve
// (0 to numValues - 1) this is the plain truncation; a NaN, a negative x or one
// past the end (a gap between segments, a broken file) reads the nearest valid
// sample instead of memory outside the array.
inline std::int32_t sampleIndex(float x, std::uint32_t numValues)
{
    const float last = static_cast<float>(numValues - 1);
    if (x >= 0.0f && x <= last)
        return static_cast<std::int32_t>(x);
    return x > last ? static_cast<std::int32_t>(numValues - 1) : 0;
}

// Where t lies in a segment from start to end, 0 to 1. A segment of no width
// (two keys at the same time) is read at its start, its first value, rather
// than dividing 0 by 0; a NaN input stays NaN as in any other segment.
inline float segmentFraction(float t, float start, float end)
{
    const float width = end - start;
    if (width == 0.0f)
        return std::isnan(t) ? t : 0.0f;
    return (t - start) / width;
}

}  // namespace

float FuncCurve::wrapTime(float t) const
{
    // Single precision throughout, but for the remainder: that is taken in
    // double and comes back to float (exactly: the remainder of two floats is
    // a float) before it is added to the end it is measured from.
    if (t < timeStart)
    {
        if (loopBefore)
        {
            const double remainder = std::fmod(static_cast<double>(timeStart - t),
                                               static_cast<double>(timeEnd - timeStart));
            t = timeEnd - static_cast<float>(remainder);
        }
        else
            t = timeStart;
    }
    if (t > timeEnd)
    {
        if (loopAfter)
        {
            const double remainder = std::fmod(static_cast<double>(t - timeEnd),
                                               static_cast<double>(timeEnd - timeStart));
            t = timeStart + static_cast<float>(remainder);
        }
        else
            t = timeEnd;
    }
    return t;
}

float FuncCurve::evaluate(float input) const
{
    const float t = wrapTime(input);
    const FuncCurve& curve = *this;
    const Segment* it = std::lower_bound(segments_, segments_ + numSegments_, t,
                                         [](const Segment& segment, float value)
                                         { return segment.timeEnd < value; });
    DEBUG_ASSERT(it != curve.segments_ + curve.numSegments_);
    const Segment& segment = *it;
    const float x = static_cast<float>(segment.numValues - 1) *
                    segmentFraction(t, segment.timeStart, segment.timeEnd);
    const std::int32_t i = sampleIndex(x, segment.numValues);
    const float f = x - std::floor(x);
    return segment.values[i] + f * (segment.values[i + 1] - segment.values[i]);
}

std::uint32_t FuncCurve::computePoolSize(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader);
    loader.skipFloat();  // "time_start"
    loader.skipFloat();  // "time_end"
    loader.skipBool();   // "left_looped"
    loader.skipBool();   // "right_looped"
    std::uint32_t numSegments = 0;
    loader.read(numSegments);
    std::uint64_t size = Allocator::alignedArray(numSegments, sizeof(Segment));
    for (std::uint32_t s = 0; s < numSegments; ++s)
    {
        Sl::ScopedLoaderGroup segmentGroup(loader);
        loader.skipFloat();
        loader.skipFloat();
        std::uint32_t numValues = 0;
        loader.read(numValues);
        for (std::uint32_t v = 0; v < numValues; ++v)
            loader.skipFloat();
        size += Allocator::alignedArray(std::uint64_t(numValues) + 1, sizeof(float));
        size = Allocator::checkedSize(size);
    }
    return Allocator::checkedSize(size);
}

void FuncCurve::load(Sl::Loader& loader, Allocator& allocator)
{
    Sl::ScopedLoaderGroup group(loader);
    loader.read(timeStart);
    loader.read(timeEnd);
    loader.read(loopBefore);
    loader.read(loopAfter);
    loader.read(numSegments_);
    segments_ = allocator.allocArray<Segment>(numSegments_);
    for (std::uint32_t s = 0; s < numSegments_; ++s)
    {
        Sl::ScopedLoaderGroup segmentGroup(loader);
        Segment& seg = segments_[s];
        loader.read(seg.timeStart);
        loader.read(seg.timeEnd);
        loader.read(seg.numValues);
        // The pool was sized for these values; the count is checked before
        // anything is written into it.
        seg.values = allocator.allocArray<float>(std::uint64_t(seg.numValues) + 1);
        for (std::uint32_t v = 0; v < seg.numValues; ++v)
            loader.read(seg.values[v]);
        DEBUG_ASSERT(seg.numValues > 0);
        seg.values[seg.numValues] = seg.values[seg.numValues - 1];
    }
}

}  // namespace Ps
