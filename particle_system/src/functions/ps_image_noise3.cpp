#include "particle_system/functions/ps_image_noise3.h"

#include <cmath>
#include <cstring>
#include <new>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"

namespace Ps
{

namespace
{

// The integer cell of a coordinate and the offset inside it. Coordinates
// beyond the range of int32 are integers already (a float that large has no
// fraction) and multiples of any image size, so they fall on cell 0, as does
// a NaN; nothing overflows.
struct Cell
{
    std::int32_t i;
    float f;
};

Cell splitCoordinate(float v)
{
    const float fl = std::floor(v);
    if (fl > -2147483648.0f && fl < 2147483648.0f)
        return Cell{static_cast<std::int32_t>(fl), v - fl};
    return Cell{0, v - fl};
}

glm::vec3 lerp(const glm::vec3& u, const glm::vec3& v, float f) { return u + (v - u) * f; }

// Catmull-Rom spline through p1 (t = 0) and p2 (t = 1).
glm::vec3 catmullRom(const glm::vec3& p0, const glm::vec3& p1, const glm::vec3& p2,
                     const glm::vec3& p3, float t)
{
    const float t2 = t * t;
    const float t3 = t2 * t;
    return 0.5f * (2.0f * p1 + (p2 - p0) * t + (2.0f * p0 - 5.0f * p1 + 4.0f * p2 - p3) * t2 +
                   (3.0f * p1 - p0 - 3.0f * p2 + p3) * t3);
}

}  // namespace

ImageNoise3::ImageNoise3(const glm::vec3* const* planes, std::uint32_t deg2Size, bool writable)
    : deg2Size_(deg2Size),
      size_(1u << deg2Size),
      sizeMask_((1u << deg2Size) - 1u),
      writable_(writable),
      planes_(planes)
{
}

std::uint32_t ImageNoise3::poolSizeToCreatePregenerated()
{
    return Allocator::aligned(sizeof(ImageNoise3));
}

std::uint32_t ImageNoise3::poolSizeToCreate(std::uint32_t deg2Size)
{
    DEBUG_ASSERT(deg2Size <= 9);
    const std::uint64_t size = 1u << deg2Size;
    return poolSizeToCreatePregenerated() + Allocator::alignedArray(size, sizeof(glm::vec3*)) +
           Allocator::alignedArray(size * size * size, sizeof(glm::vec3));
}

ImageNoise3* ImageNoise3::createPregenerated(const glm::vec3* const* planes, std::uint32_t deg2Size,
                                             Allocator& allocator)
{
    DEBUG_ASSERT(planes && deg2Size <= 9);
    return new (allocator.alloc(sizeof(ImageNoise3))) ImageNoise3(planes, deg2Size, false);
}

ImageNoise3* ImageNoise3::create(std::uint32_t deg2Size, Allocator& allocator)
{
    DEBUG_ASSERT(deg2Size <= 9);
    const std::uint32_t size = 1u << deg2Size;
    void* object = allocator.alloc(sizeof(ImageNoise3));
    glm::vec3** table = allocator.allocArray<glm::vec3*>(size);
    glm::vec3* pixels = allocator.allocArray<glm::vec3>(std::uint64_t(size) * size * size);
    for (std::uint32_t i = 0; i < size * size * size; ++i)
        new (pixels + i) glm::vec3(0.0f);
    for (std::uint32_t z = 0; z < size; ++z)
        table[z] = pixels + z * size * size;
    return new (object) ImageNoise3(table, deg2Size, true);
}

void ImageNoise3::setPixel(std::int32_t x, std::int32_t y, std::int32_t z, const glm::vec3& value)
{
    DEBUG_ASSERT(writable_);
    // The planes of a created image live in its own pool and are writable.
    const_cast<glm::vec3&>(getPixel(x, y, z)) = value;
}

glm::vec3 ImageNoise3::getPixelLinear(const glm::vec3& p) const
{
    const Cell cx = splitCoordinate(p.x);
    const Cell cy = splitCoordinate(p.y);
    const Cell cz = splitCoordinate(p.z);
    const std::int32_t x = cx.i, y = cy.i, z = cz.i;

    // Along z, then y, then x.
    const glm::vec3 c00 = lerp(getPixel(x, y, z), getPixel(x, y, z + 1), cz.f);
    const glm::vec3 c01 = lerp(getPixel(x, y + 1, z), getPixel(x, y + 1, z + 1), cz.f);
    const glm::vec3 c10 = lerp(getPixel(x + 1, y, z), getPixel(x + 1, y, z + 1), cz.f);
    const glm::vec3 c11 = lerp(getPixel(x + 1, y + 1, z), getPixel(x + 1, y + 1, z + 1), cz.f);
    const glm::vec3 c0 = lerp(c00, c01, cy.f);
    const glm::vec3 c1 = lerp(c10, c11, cy.f);
    return lerp(c0, c1, cx.f);
}

glm::vec3 ImageNoise3::getPixelCubic(const glm::vec3& p) const
{
    const Cell cx = splitCoordinate(p.x);
    const Cell cy = splitCoordinate(p.y);
    const Cell cz = splitCoordinate(p.z);

    // Along z, then y, then x.
    glm::vec3 alongY[4];
    for (std::int32_t a = 0; a < 4; ++a)
    {
        const std::int32_t x = cx.i + a - 1;
        glm::vec3 alongZ[4];
        for (std::int32_t b = 0; b < 4; ++b)
        {
            const std::int32_t y = cy.i + b - 1;
            alongZ[b] = catmullRom(getPixel(x, y, cz.i - 1), getPixel(x, y, cz.i),
                                   getPixel(x, y, cz.i + 1), getPixel(x, y, cz.i + 2), cz.f);
        }
        alongY[a] = catmullRom(alongZ[0], alongZ[1], alongZ[2], alongZ[3], cy.f);
    }
    return catmullRom(alongY[0], alongY[1], alongY[2], alongY[3], cx.f);
}

glm::vec3 ImageNoise3::getPixelLinearNorm(const glm::vec3& p) const
{
    return getPixelLinear(p * static_cast<float>(size_));
}

glm::vec3 ImageNoise3::getPixelCubicNorm(const glm::vec3& p) const
{
    return getPixelCubic(p * static_cast<float>(size_));
}

}  // namespace Ps
