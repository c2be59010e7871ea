#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/functions/ps_noise_planes.h"
#include "particle_system/ps_allocator.h"

namespace
{

using Ps::ImageNoise3;

struct PooledImage
{
    std::vector<std::uint8_t> pool;
    ImageNoise3* image = nullptr;
};

PooledImage makeRuntimeImage()
{
    PooledImage r;
    r.pool.resize(ImageNoise3::poolSizeToCreatePregenerated());
    Ps::Allocator allocator(r.pool.data(), static_cast<std::uint32_t>(r.pool.size()));
    r.image = ImageNoise3::createPregenerated(Ps::noisePlanesPtr, 6, allocator);
    return r;
}

PooledImage makeOwnImage(std::uint32_t deg2Size)
{
    PooledImage r;
    r.pool.resize(ImageNoise3::poolSizeToCreate(deg2Size));
    Ps::Allocator allocator(r.pool.data(), static_cast<std::uint32_t>(r.pool.size()));
    r.image = ImageNoise3::create(deg2Size, allocator);
    EXPECT_EQ(r.pool.size(), allocator.getUsedSize());
    return r;
}

// ---- The pregenerated image -------------------------------------------------

struct ComponentFacts
{
    float low, high;
    double mean, deviation;
};

const ComponentFacts kFacts[3] = {
    {-1.0f, 0.5f, -0.0111, 0.3573},
    {-1.0f, 0.7f, -0.1384, 0.4313},
    {-1.0f, 1.0f, -0.0502, 0.5430},
};

constexpr int kN = 64;
constexpr int kCount = kN * kN * kN;

float value(const ImageNoise3& image, int x, int y, int z, int c)
{
    return image.getPixel(x, y, z)[c];
}

TEST(PsFuncNoiseImage, PregeneratedShape)
{
    PooledImage r = makeRuntimeImage();
    EXPECT_EQ(6u, r.image->getDeg2Size());
    EXPECT_EQ(64u, r.image->getSize());
    EXPECT_EQ(63u, r.image->getSizeMask());
    EXPECT_FALSE(r.image->isWritable());
    EXPECT_EQ(sizeof(glm::vec3) * kCount, sizeof(Ps::noisePlanes));
    for (int z = 0; z < kN; ++z)
        EXPECT_EQ(&Ps::noisePlanes[z][0], Ps::noisePlanesPtr[z]);
}

TEST(PsFuncNoiseImage, FirstFourPixelsAsStated)
{
    const glm::vec3 expected[4] = {
        {0.18827f, 0.7f, -1.0f},
        {0.5f, 0.668061f, -1.0f},
        {0.5f, 0.491688f, -0.589016f},
        {0.372437f, 0.519844f, -0.76869f},
    };
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(expected[i].x, Ps::noisePlanes[0][i].x) << i;
        EXPECT_EQ(expected[i].y, Ps::noisePlanes[0][i].y) << i;
        EXPECT_EQ(expected[i].z, Ps::noisePlanes[0][i].z) << i;
    }
}

TEST(PsFuncNoiseImage, ComponentStatisticsMatchTable)
{
    PooledImage r = makeRuntimeImage();
    for (int c = 0; c < 3; ++c)
    {
        const ComponentFacts& f = kFacts[c];
        float lowest = 10.0f, highest = -10.0f;
        double sum = 0.0, squares = 0.0;
        int atLow = 0, atHigh = 0;
        for (int z = 0; z < kN; ++z)
            for (int y = 0; y < kN; ++y)
                for (int x = 0; x < kN; ++x)
                {
                    const float v = value(*r.image, x, y, z, c);
                    ASSERT_TRUE(std::isfinite(v));
                    lowest = std::min(lowest, v);
                    highest = std::max(highest, v);
                    sum += v;
                    squares += double(v) * v;
                    atLow += v == f.low;
                    atHigh += v == f.high;
                }
        const double mean = sum / kCount;
        const double deviation = std::sqrt(squares / kCount - mean * mean);
        EXPECT_EQ(f.low, lowest) << "component " << c;
        EXPECT_EQ(f.high, highest) << "component " << c;
        // Within 2 % of the table (the mean relative to the deviation, since
        // some means are close to 0).
        EXPECT_NEAR(f.mean, mean, 0.02 * f.deviation) << "component " << c;
        EXPECT_NEAR(f.deviation, deviation, 0.02 * f.deviation) << "component " << c;
        // Both ends are clipped: a share of the cells holds each end exactly.
        EXPECT_GT(atLow, kCount / 500) << "component " << c;
        EXPECT_GT(atHigh, kCount / 500) << "component " << c;
        if (c == 0)
        {
            const double share = double(atHigh) / kCount;
            EXPECT_NEAR(0.09, share, 0.005);
        }
    }
}

TEST(PsFuncNoiseImage, NeighboursCorrelateAlongEveryAxis)
{
    PooledImage r = makeRuntimeImage();
    for (int c = 0; c < 3; ++c)
    {
        double sum = 0.0, squares = 0.0;
        for (int i = 0; i < kCount; ++i)
        {
            const float v = value(*r.image, i % kN, (i / kN) % kN, i / (kN * kN), c);
            sum += v;
            squares += double(v) * v;
        }
        const double mean = sum / kCount;
        const double variance = squares / kCount - mean * mean;
        for (int axis = 0; axis < 3; ++axis)
        {
            double cov = 0.0;
            for (int z = 0; z < kN; ++z)
                for (int y = 0; y < kN; ++y)
                    for (int x = 0; x < kN; ++x)
                        cov +=
                            (value(*r.image, x, y, z, c) - mean) *
                            (value(*r.image, x + (axis == 0), y + (axis == 1), z + (axis == 2), c) -
                             mean);
            EXPECT_NEAR(0.73, cov / kCount / variance, 0.02)
                << "component " << c << " axis " << axis;
        }
    }
}

// The generator is deterministic: the image is the same bytes in every build.
// After a deliberate change of ps_noise_gen, update the digest here.
TEST(PsFuncNoiseImage, ImageBytesArePinned)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(&Ps::noisePlanes[0][0]);
    std::uint64_t h = 0xCBF29CE484222325ull;
    for (std::size_t i = 0; i < sizeof(Ps::noisePlanes); ++i)
    {
        h ^= bytes[i];
        h *= 0x100000001B3ull;
    }
    EXPECT_EQ(0x55E4133D173D2970ull, h);
}

// ---- Addressing and sampling --------------------------------------------------

TEST(PsFuncNoiseImage, GetPixelWrapsInAllDirections)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    EXPECT_EQ(&im.getPixel(63, 0, 0), &im.getPixel(-1, 0, 0));
    EXPECT_EQ(&im.getPixel(0, 63, 0), &im.getPixel(0, -1, 0));
    EXPECT_EQ(&im.getPixel(0, 0, 63), &im.getPixel(0, 0, -1));
    EXPECT_EQ(&im.getPixel(5, 6, 7), &im.getPixel(5 + 64, 6 - 128, 7 + 640));
    EXPECT_EQ(&Ps::noisePlanes[7][6 * 64 + 5], &im.getPixel(5, 6, 7));
    EXPECT_EQ(&Ps::noisePlanes[0][0], &im.getPixel(-64, 64, -6400));
}

TEST(PsFuncNoiseImage, OwnImageSetAndGet)
{
    PooledImage r = makeOwnImage(2);
    ImageNoise3& im = *r.image;
    EXPECT_EQ(4u, im.getSize());
    EXPECT_EQ(3u, im.getSizeMask());
    EXPECT_TRUE(im.isWritable());
    EXPECT_EQ(glm::vec3(0.0f), im.getPixel(1, 2, 3));
    im.setPixel(1, 2, 3, glm::vec3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(glm::vec3(1.0f, 2.0f, 3.0f), im.getPixel(-3, -2, -1));
    EXPECT_EQ(glm::vec3(0.0f), im.getPixel(2, 2, 3));
}

TEST(PsFuncNoiseImage, PoolSizesAreWhatTheAllocatorUses)
{
    // Size 1 holds 12 bytes of pixels, not a multiple of the alignment; makeOwnImage checks
    // that the computed size is exactly what creation used.
    for (std::uint32_t deg2Size = 0; deg2Size <= 4; ++deg2Size)
    {
        PooledImage own = makeOwnImage(deg2Size);
        EXPECT_EQ(Ps::Allocator::aligned(sizeof(ImageNoise3)) +
                      Ps::Allocator::alignedArray(1u << deg2Size, sizeof(glm::vec3*)) +
                      Ps::Allocator::alignedArray(1u << (3 * deg2Size), sizeof(glm::vec3)),
                  own.pool.size())
            << deg2Size;
        EXPECT_EQ(1u << deg2Size, own.image->getSize());
    }
    std::vector<std::uint8_t> pool(ImageNoise3::poolSizeToCreatePregenerated());
    Ps::Allocator allocator(pool.data(), static_cast<std::uint32_t>(pool.size()));
    ImageNoise3::createPregenerated(Ps::noisePlanesPtr, 6, allocator);
    EXPECT_EQ(pool.size(), allocator.getUsedSize());
}

TEST(PsFuncNoiseImage, LinearBlendsAlongZThenYThenX)
{
    PooledImage r = makeOwnImage(3);
    ImageNoise3& im = *r.image;
    // Corner values of one cell; the blend of a trilinear function is exact.
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int c = 0; c < 2; ++c)
                im.setPixel(2 + a, 3 + b, 4 + c,
                            glm::vec3(float(a), float(b) * 2.0f, float(c) * 4.0f));
    const glm::vec3 s = im.getPixelLinear(glm::vec3(2.25f, 3.5f, 4.75f));
    EXPECT_FLOAT_EQ(0.25f, s.x);
    EXPECT_FLOAT_EQ(1.0f, s.y);
    EXPECT_FLOAT_EQ(3.0f, s.z);
    // Integer positions give the pixel itself.
    EXPECT_EQ(im.getPixel(3, 4, 5), im.getPixelLinear(glm::vec3(3.0f, 4.0f, 5.0f)));
}

// The blends go along z, then y, then x, each as u + (v - u) f; the order is
// part of the result's bits.
TEST(PsFuncNoiseImage, LinearBlendOrderIsZThenYThenX)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    auto mix = [](const glm::vec3& u, const glm::vec3& v, float f) { return u + (v - u) * f; };
    for (int i = 0; i < 300; ++i)
    {
        const glm::vec3 p(i * 0.713f - 50.0f, i * 0.291f + 3.3f, i * -0.377f);
        const int x = int(std::floor(p.x)), y = int(std::floor(p.y)), z = int(std::floor(p.z));
        const float fx = p.x - float(x), fy = p.y - float(y), fz = p.z - float(z);
        glm::vec3 alongZ[2][2];
        for (int a = 0; a < 2; ++a)
            for (int b = 0; b < 2; ++b)
                alongZ[a][b] =
                    mix(im.getPixel(x + a, y + b, z), im.getPixel(x + a, y + b, z + 1), fz);
        const glm::vec3 expected =
            mix(mix(alongZ[0][0], alongZ[0][1], fy), mix(alongZ[1][0], alongZ[1][1], fy), fx);
        ASSERT_EQ(expected, im.getPixelLinear(p)) << i;
    }
}

TEST(PsFuncNoiseImage, CubicBlendOrderIsZThenYThenX)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    auto cr = [](const glm::vec3& p0, const glm::vec3& p1, const glm::vec3& p2, const glm::vec3& p3,
                 float t)
    {
        return 0.5f *
               (2.0f * p1 + (p2 - p0) * t + (2.0f * p0 - 5.0f * p1 + 4.0f * p2 - p3) * (t * t) +
                (3.0f * p1 - p0 - 3.0f * p2 + p3) * (t * t * t));
    };
    for (int i = 0; i < 100; ++i)
    {
        const glm::vec3 p(i * 0.713f - 50.0f, i * 0.291f + 3.3f, i * -0.377f);
        const int x = int(std::floor(p.x)), y = int(std::floor(p.y)), z = int(std::floor(p.z));
        const float fx = p.x - float(x), fy = p.y - float(y), fz = p.z - float(z);
        glm::vec3 alongY[4];
        for (int a = 0; a < 4; ++a)
        {
            glm::vec3 alongZ[4];
            for (int b = 0; b < 4; ++b)
                alongZ[b] = cr(im.getPixel(x + a - 1, y + b - 1, z - 1),
                               im.getPixel(x + a - 1, y + b - 1, z),
                               im.getPixel(x + a - 1, y + b - 1, z + 1),
                               im.getPixel(x + a - 1, y + b - 1, z + 2), fz);
            alongY[a] = cr(alongZ[0], alongZ[1], alongZ[2], alongZ[3], fy);
        }
        ASSERT_EQ(cr(alongY[0], alongY[1], alongY[2], alongY[3], fx), im.getPixelCubic(p)) << i;
    }
}

TEST(PsFuncNoiseImage, LinearAndCubicHitPixelsAtIntegerPositions)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    for (int i = 0; i < 50; ++i)
    {
        const int x = (i * 37) % 64 - 20, y = (i * 11) % 64, z = (i * 5) % 70 - 3;
        const glm::vec3 p{float(x), float(y), float(z)};
        const glm::vec3 pixel = im.getPixel(x, y, z);
        EXPECT_EQ(pixel, im.getPixelLinear(p));
        const glm::vec3 cubic = im.getPixelCubic(p);
        EXPECT_NEAR(pixel.x, cubic.x, 1e-6f);
        EXPECT_NEAR(pixel.y, cubic.y, 1e-6f);
        EXPECT_NEAR(pixel.z, cubic.z, 1e-6f);
    }
}

TEST(PsFuncNoiseImage, CubicIsCatmullRomAlongEachAxis)
{
    PooledImage r = makeOwnImage(3);
    ImageNoise3& im = *r.image;
    // Values vary along x only: p0..p3 at x = 1..4.
    const float px[4] = {1.0f, -2.0f, 5.0f, 3.0f};
    for (int y = 0; y < 8; ++y)
        for (int z = 0; z < 8; ++z)
            for (int k = 0; k < 4; ++k)
                im.setPixel(1 + k, y, z, glm::vec3(px[k], 0.0f, 7.0f));
    const float at = 2.3f;
    const float t = at - 2.0f;  // the fraction the sampler sees
    const float expected = 0.5f * (2.0f * px[1] + (px[2] - px[0]) * t +
                                   (2.0f * px[0] - 5.0f * px[1] + 4.0f * px[2] - px[3]) * t * t +
                                   (3.0f * px[1] - px[0] - 3.0f * px[2] + px[3]) * t * t * t);
    const glm::vec3 s = im.getPixelCubic(glm::vec3(at, 4.6f, 1.2f));
    EXPECT_FLOAT_EQ(expected, s.x);
    EXPECT_FLOAT_EQ(0.0f, s.y);
    // A constant stays constant (the weights sum to 1).
    EXPECT_FLOAT_EQ(7.0f, s.z);
}

TEST(PsFuncNoiseImage, NormVariantsScaleBySize)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    const glm::vec3 p(0.1234f, -0.75f, 2.5f);
    EXPECT_EQ(im.getPixelLinear(p * 64.0f), im.getPixelLinearNorm(p));
    EXPECT_EQ(im.getPixelCubic(p * 64.0f), im.getPixelCubicNorm(p));
    // One unit is one period.
    EXPECT_EQ(im.getPixelLinearNorm(glm::vec3(0.25f, 0.5f, 0.125f)),
              im.getPixelLinearNorm(glm::vec3(1.25f, -0.5f, 3.125f)));
}

TEST(PsFuncNoiseImage, SamplesStayInsideTheValueRange)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    for (int i = 0; i < 2000; ++i)
    {
        const glm::vec3 p(i * 0.377f - 300.0f, i * 0.191f, -i * 0.733f);
        const glm::vec3 s = im.getPixelLinear(p);
        ASSERT_GE(s.x, -1.0f);
        ASSERT_LE(s.x, 0.5f);
        ASSERT_LE(s.y, 0.7f);
        ASSERT_GE(s.z, -1.0f);
        // Catmull-Rom may overshoot a little, but stays near.
        const glm::vec3 c = im.getPixelCubic(p);
        ASSERT_GE(c.x, -1.5f);
        ASSERT_LE(c.x, 1.0f);
    }
}

TEST(PsFuncNoiseImage, HugeAndNonFiniteCoordinatesReadInsideTheImage)
{
    PooledImage r = makeRuntimeImage();
    const ImageNoise3& im = *r.image;
    // Floats this large are whole multiples of 64: cell 0.
    EXPECT_EQ(im.getPixel(0, 0, 0), im.getPixelLinear(glm::vec3(1e20f, -1e20f, 4e9f)));
    const glm::vec3 n = im.getPixelCubic(glm::vec3(NAN, 0.0f, 0.0f));
    EXPECT_TRUE(std::isnan(n.x));
    const glm::vec3 inf = im.getPixelLinear(glm::vec3(INFINITY, 0.0f, 0.0f));
    EXPECT_TRUE(std::isnan(inf.x));
}

}  // namespace
