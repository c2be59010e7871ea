#include "particle_system/functions/ps_func_area_image.h"

#include <algorithm>

#include <glm/common.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_random_generator.h"
#include "revision_saveload/sl_loader.h"

namespace Ps
{

namespace
{

struct AreaHeader
{
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::uint16_t optWidth = 0;
    std::uint16_t optHeight = 0;
};

AreaHeader readHeader(Sl::Loader& loader)
{
    AreaHeader h;
    loader.read(h.x);
    loader.read(h.y);
    loader.read(h.width);
    loader.read(h.height);
    loader.read(h.optWidth);
    loader.read(h.optHeight);
    return h;
}

}  // namespace

std::uint32_t FuncAreaImage::pickCell(float in) const
{
    const float scaled = glm::clamp(in, 0.0f, 1.0f) * static_cast<float>(total - 1);
    // int(scaled) + 1; a NaN picks like 0, and the rounding of a total above
    // 2^24 to float can't ask for more weight than there is.
    std::int64_t k = (scaled >= 0.0f ? static_cast<std::int64_t>(scaled) : 0) + 1;
    if (k > static_cast<std::int64_t>(total))
        k = total;
    const std::uint32_t numPixels = getNumPixels();
    const std::uint32_t* pixel =
        std::lower_bound(optData_, optData_ + numPixels, static_cast<std::uint32_t>(k));
    DEBUG_ASSERT(pixel < optData_ + numPixels);
    return static_cast<std::uint32_t>(pixel - optData_);
}

glm::vec2 FuncAreaImage::pick(float in, RandomGenerator& rng) const
{
    if (total == 0)
        return position;
    const std::uint32_t cell = pickCell(in);
    const std::uint32_t column = cell % optWidth;
    const std::uint32_t row = cell / optWidth;
    const float r1 = rng.generateNormFloat();
    const float r2 = rng.generateNormFloat();
    const float x = (static_cast<float>(column) / static_cast<float>(optWidth)) * size.x +
                    position.x + r2 * cellSize.x;
    const float y = (static_cast<float>(row) / static_cast<float>(optHeight)) * size.y +
                    position.y + r1 * cellSize.y;
    return glm::vec2(x, y);
}

std::uint32_t FuncAreaImage::computePoolSize(Sl::Loader& loader)
{
    const AreaHeader h = readHeader(loader);
    const std::uint64_t numPixels = std::uint64_t(h.optWidth) * h.optHeight;
    loader.skipBinary();  // "v"
    return Allocator::alignedArray(numPixels, sizeof(std::uint32_t));
}

void FuncAreaImage::load(Sl::Loader& loader, Allocator& allocator)
{
    const AreaHeader h = readHeader(loader);
    position = glm::vec2(static_cast<float>(h.x), static_cast<float>(h.y));
    size = glm::vec2(static_cast<float>(h.width), static_cast<float>(h.height));
    optWidth = h.optWidth;
    optHeight = h.optHeight;
    // An empty image (no cells) keeps a zero cell size; it has no weight either.
    cellSize = glm::vec2(optWidth ? size.x / static_cast<float>(optWidth) : 0.0f,
                         optHeight ? size.y / static_cast<float>(optHeight) : 0.0f);
    const std::uint32_t numPixels = getNumPixels();
    optData_ = allocator.allocArray<std::uint32_t>(numPixels);
    DEBUG_ASSERT(numPixels == loader.readBinarySize());
    // The weights (one byte per cell) are read into the front of the table
    // itself and turned into running sums from the back: the sum of cell i
    // lands on bytes 4i to 4i + 3, which only hold weights already consumed.
    std::uint8_t* weights = reinterpret_cast<std::uint8_t*>(optData_);
    loader.readBinaryData(weights);
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < numPixels; ++i)
        sum += weights[i];
    DEBUG_ASSERT(sum <= 0xFFFFFFFFull);
    total = static_cast<std::uint32_t>(sum);
    std::uint32_t running = total;
    for (std::uint32_t i = numPixels; i-- > 0;)
    {
        const std::uint8_t weight = weights[i];
        optData_[i] = running;
        running -= weight;
    }
}

}  // namespace Ps
