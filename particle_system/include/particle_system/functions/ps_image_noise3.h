#pragma once

#include <cstdint>

#include <glm/vec3.hpp>

namespace Ps
{

class Allocator;

// A periodic three-dimensional image of vec3 values: `size` planes of
// `size` x `size` pixels, row by row, with `size` a power of two. Every
// coordinate is masked with the size mask, so the image wraps in all
// directions, negative coordinates included.
//
// The runtime uses one pregenerated image (noisePlanes), shared through the
// context; a host may also build an image of its own with create() and
// setPixel().
//
// Both kinds live in a pool: count poolSizeTo...() bytes, then create with
// the allocator of that pool.
class ImageNoise3
{
public:
    // What the object alone takes (the planes stay elsewhere).
    static std::uint32_t poolSizeToCreatePregenerated();
    // The object, its table of plane pointers and the pixels.
    static std::uint32_t poolSizeToCreate(std::uint32_t deg2Size);

    // An image over `planes`, a table of 2^deg2Size pointers to planes of
    // 2^deg2Size x 2^deg2Size pixels each. Nothing is copied.
    static ImageNoise3* createPregenerated(const glm::vec3* const* planes, std::uint32_t deg2Size,
                                           Allocator& allocator);
    // A writable image of 2^deg2Size pixels per side, all zero.
    static ImageNoise3* create(std::uint32_t deg2Size, Allocator& allocator);

    std::uint32_t getDeg2Size() const { return deg2Size_; }
    std::uint32_t getSize() const { return size_; }
    std::uint32_t getSizeMask() const { return sizeMask_; }
    bool isWritable() const { return writable_; }

    const glm::vec3& getPixel(std::int32_t x, std::int32_t y, std::int32_t z) const
    {
        const std::uint32_t ux = static_cast<std::uint32_t>(x) & sizeMask_;
        const std::uint32_t uy = static_cast<std::uint32_t>(y) & sizeMask_;
        const std::uint32_t uz = static_cast<std::uint32_t>(z) & sizeMask_;
        return planes_[uz][(uy << deg2Size_) + ux];
    }

    // Only for an image made by create(); a pregenerated one is constant.
    void setPixel(std::int32_t x, std::int32_t y, std::int32_t z, const glm::vec3& value);

    // Trilinear blend of the eight pixels around p (pixel units).
    glm::vec3 getPixelLinear(const glm::vec3& p) const;
    // Catmull-Rom blend of the 64 pixels around p (pixel units).
    glm::vec3 getPixelCubic(const glm::vec3& p) const;
    // The same with p in units of the whole image: 1 is one period.
    glm::vec3 getPixelLinearNorm(const glm::vec3& p) const;
    glm::vec3 getPixelCubicNorm(const glm::vec3& p) const;

private:
    ImageNoise3(const glm::vec3* const* planes, std::uint32_t deg2Size, bool writable);

    std::uint32_t deg2Size_;
    std::uint32_t size_;
    std::uint32_t sizeMask_;
    bool writable_;
    const glm::vec3* const* planes_;
};

}  // namespace Ps
