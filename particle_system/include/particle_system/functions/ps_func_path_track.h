#pragma once

#include <cstdint>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;

// The sampled path of a FuncPath<T> operation, T vec2 or vec3: segments that
// each cover a share of the whole path's length, from normStart to normEnd
// (0 to 1 over the path), with evenly spaced points and the directions of the
// lines between them.
template <class T>
struct FuncPathTrack
{
    struct Segment
    {
        float normStart;
        float normEnd;
        std::uint32_t numValues_;
        // numValues_ + 1 entries: the points and a copy of the last.
        T* values;
        // numValues_ + 1 entries: dirs[i] is the unit direction from point i
        // to point i + 1; the last two repeat the direction of the last line.
        T* dirs;
    };

    std::uint32_t numSegments_;
    Segment* segments_;

    // The point and the direction at `input`, a share of the path's length
    // (clamped to 0 to 1). The direction is blended, not normalised again.
    void evaluate(float input, T& position, T& direction) const;

    // Reads "num_seg", the segments and the final "length" (not kept): the pool
    // bytes they take.
    static std::uint32_t computePoolSize(Sl::Loader& loader);
    void load(Sl::Loader& loader, Allocator& allocator);
};

extern template struct FuncPathTrack<glm::vec2>;
extern template struct FuncPathTrack<glm::vec3>;

}  // namespace Ps
