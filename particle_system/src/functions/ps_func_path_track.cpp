#include "particle_system/functions/ps_func_path_track.h"

#include <algorithm>
#include <cmath>

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace Ps
{

namespace
{

// See the curve's sampleIndex: the plain truncation for valid input, and a
// valid index for anything else.
inline std::int32_t pointIndex(float x, std::uint32_t numValues)
{
    const float last = static_cast<float>(numValues - 1);
    if (x >= 0.0f && x <= last)
        return static_cast<std::int32_t>(x);
    return x > last ? static_cast<std::int32_t>(numValues - 1) : 0;
}

}  // namespace

template <class T>
void FuncPathTrack<T>::evaluate(float input, T& position, T& direction) const
{
    const float t = glm::clamp(input, 0.0f, 1.0f);
    const Segment* it = std::lower_bound(segments_, segments_ + numSegments_, t,
                                         [](const Segment& segment, float value)
                                         { return segment.normEnd < value; });
    DEBUG_ASSERT(it != segments_ + numSegments_);
    const Segment& seg = *it;
    // A segment of no length is read at its start instead of dividing 0 by 0
    // (a NaN input stays NaN, as in any other segment).
    const float width = seg.normEnd - seg.normStart;
    const float fraction = width != 0.0f ? (t - seg.normStart) / width : (std::isnan(t) ? t : 0.0f);
    const float x = static_cast<float>(seg.numValues_ - 1) * fraction;
    const std::int32_t i = pointIndex(x, seg.numValues_);
    const float f = x - std::floor(x);
    position = seg.values[i] + (seg.values[i + 1] - seg.values[i]) * f;
    direction = seg.dirs[i] + (seg.dirs[i + 1] - seg.dirs[i]) * f;
}

template <class T>
std::uint32_t FuncPathTrack<T>::computePoolSize(Sl::Loader& loader)
{
    std::uint32_t numSegments = 0;
    loader.read(numSegments);
    std::uint64_t size = Allocator::alignedArray(numSegments, sizeof(Segment));
    for (std::uint32_t s = 0; s < numSegments; ++s)
    {
        loader.skipFloat();  // "seg_norm_start"
        loader.skipFloat();  // "seg_norm_end"
        std::uint32_t numValues = 0;
        loader.read(numValues);
        for (std::uint32_t v = 0; v < numValues; ++v)
            loader.skipGroup();  // a point, T's group
        size += 2 * std::uint64_t(Allocator::alignedArray(std::uint64_t(numValues) + 1, sizeof(T)));
        size = Allocator::checkedSize(size);
    }
    loader.skipFloat();  // "length"
    return Allocator::checkedSize(size);
}

template <class T>
void FuncPathTrack<T>::load(Sl::Loader& loader, Allocator& allocator)
{
    loader.read(numSegments_);
    segments_ = allocator.allocArray<Segment>(numSegments_);
    for (std::uint32_t s = 0; s < numSegments_; ++s)
    {
        Segment& seg = segments_[s];
        loader.read(seg.normStart);
        loader.read(seg.normEnd);
        loader.read(seg.numValues_);
        seg.values = allocator.allocArray<T>(std::uint64_t(seg.numValues_) + 1);
        seg.dirs = allocator.allocArray<T>(std::uint64_t(seg.numValues_) + 1);
        for (std::uint32_t v = 0; v < seg.numValues_; ++v)
            Sl::read(loader, seg.values[v]);
        DEBUG_ASSERT(seg.numValues_ > 1);
        seg.values[seg.numValues_] = seg.values[seg.numValues_ - 1];
        for (std::uint32_t i = 0; i + 1 < seg.numValues_; ++i)
            seg.dirs[i] = glm::normalize(seg.values[i + 1] - seg.values[i]);
        seg.dirs[seg.numValues_ - 1] = seg.dirs[seg.numValues_ - 2];
        seg.dirs[seg.numValues_] = seg.dirs[seg.numValues_ - 2];
    }
    float length = 0.0f;
    loader.read(length);  // the whole path's length: stored, not needed here
}

template struct FuncPathTrack<glm::vec2>;
template struct FuncPathTrack<glm::vec3>;

}  // namespace Ps
