#pragma once

#include <cstdint>

#include <glm/vec2.hpp>

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class RandomGenerator;

// The painted weight image of a FuncArea operation: picks a point in the
// placed area with a probability proportional to the paint.
struct FuncAreaImage
{
    glm::vec2 position;       // the area's corner, scene units
    glm::vec2 size;           // width, height
    glm::vec2 cellSize;       // width / optWidth, height / optHeight
    std::uint32_t* optData_;  // optData_[i]: the sum of the weights of cells 0 to i
    std::uint32_t optWidth;
    std::uint32_t optHeight;
    std::uint32_t total;

    std::uint32_t getNumPixels() const { return optWidth * optHeight; }

    // The cell that `in` (a share, clamped to 0 to 1) picks; cells of weight 0
    // are never picked. Only for an image with some paint (total > 0).
    std::uint32_t pickCell(float in) const;

    // A point of the picked cell, placed by two draws of `rng` (the first for
    // y, the second for x). An image without any paint gives the area's
    // position and draws nothing.
    glm::vec2 pick(float in, RandomGenerator& rng) const;

    // Reads from "x" to the weights "v": the pool bytes they take.
    static std::uint32_t computePoolSize(Sl::Loader& loader);
    void load(Sl::Loader& loader, Allocator& allocator);
};

}  // namespace Ps
