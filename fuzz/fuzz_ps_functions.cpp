// Fuzzes the readers and the evaluation of the runtime's data-holding
// functions: sampled curves, sampled paths (vec2 and vec3), painted areas,
// and the noise image at arbitrary coordinates. The input is:
//   byte 0: what to read (its value modulo 5: curve, path2, path3, area, noise);
//   the rest: for the first four, the stored form, from the stream's header
//   byte; for the noise, coordinates as raw floats.
// Each object is read twice, as the runtime reads an effect: a size pass, then
// the creating pass into a pool of exactly that size, which it must not
// overrun. Only Sl::Exception and Debug::CheckException (with the runtime's
// Ps::LimitException of the memory budget) may come out.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "debug/debug_check.h"
#include "particle_system/functions/ps_func_area_image.h"
#include "particle_system/functions/ps_func_curve.h"
#include "particle_system/functions/ps_func_path_track.h"
#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/functions/ps_noise_planes.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_random_generator.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"

namespace
{

// The memory budget of this host, held as the runtime holds an effect's pool to its context's.
constexpr std::uint64_t kBudget = 16u << 20;

const float kInputs[] = {-1.0f, 0.0f,   0.25f, 0.5f, 0.999f,  1.0f,
                         3.5f,  -1e30f, 1e30f, NAN,  INFINITY};

template <class T>
bool loadTwice(const std::uint8_t* data, std::size_t size, std::vector<std::uint8_t>& pool,
               T& object)
{
    std::uint32_t computed = 0;
    {
        Sl::LoaderBinArray loader(data, static_cast<std::uint32_t>(size));
        computed = T::computePoolSize(loader);
    }
    Ps::Limits::checkMemory(computed, kBudget, "the function");
    pool.assign(computed, 0);
    Ps::Allocator allocator(pool.data(), computed);
    Sl::LoaderBinArray loader(data, static_cast<std::uint32_t>(size));
    object.load(loader, allocator);
    // A well-formed stream uses the pool exactly (the unit tests check that); a
    // group whose size word disagrees with its content can make the two passes
    // part ways, and then the allocator's bound is what keeps the pool safe.
    if (allocator.getUsedSize() > computed)
        std::abort();
    return true;
}

void fuzzCurve(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> pool;
    Ps::FuncCurve curve{};
    if (!loadTwice(data, size, pool, curve))
        return;
    for (float t : kInputs)
    {
        try
        {
            volatile float v = curve.evaluate(t);
            (void)v;
        }
        catch (const Debug::CheckException&)
        {
            // No segment ends at or after the time: the documented assertion.
        }
    }
}

template <class T>
void fuzzPath(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> pool;
    Ps::FuncPathTrack<T> path{};
    if (!loadTwice(data, size, pool, path))
        return;
    for (float t : kInputs)
    {
        try
        {
            T p, d;
            path.evaluate(t, p, d);
        }
        catch (const Debug::CheckException&)
        {
            // No segment ends at or after the share: the documented assertion.
        }
    }
}

void fuzzArea(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> pool;
    Ps::FuncAreaImage area{};
    if (!loadTwice(data, size, pool, area))
        return;
    Ps::RandomGenerator rng(7);
    for (float t : kInputs)
    {
        const glm::vec2 p = area.pick(t, rng);
        if (area.total > 0)
        {
            // The point lies in a painted cell's column and row (before rounding).
            const std::uint32_t cell = area.pickCell(t);
            if (cell >= area.getNumPixels() ||
                area.optData_[cell] == (cell ? area.optData_[cell - 1] : 0))
                std::abort();
        }
        else if (p != area.position)
        {
            std::abort();
        }
    }
}

void fuzzNoise(const std::uint8_t* data, std::size_t size)
{
    static std::vector<std::uint8_t> pool(Ps::ImageNoise3::poolSizeToCreatePregenerated());
    static const Ps::ImageNoise3* image = []
    {
        Ps::Allocator allocator(pool.data(), static_cast<std::uint32_t>(pool.size()));
        return Ps::ImageNoise3::createPregenerated(Ps::noisePlanesPtr, 6, allocator);
    }();
    for (std::size_t at = 0; at + 12 <= size; at += 12)
    {
        float c[3];
        std::memcpy(c, data + at, 12);
        const glm::vec3 p(c[0], c[1], c[2]);
        volatile float sink = image->getPixelLinear(p).x + image->getPixelCubic(p).y +
                              image->getPixelLinearNorm(p).z + image->getPixelCubicNorm(p).x;
        (void)sink;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2 || size > (1u << 20))
        return 0;
    const std::uint8_t kind = data[0] % 5;
    try
    {
        switch (kind)
        {
        case 0:
            fuzzCurve(data + 1, size - 1);
            break;
        case 1:
            fuzzPath<glm::vec2>(data + 1, size - 1);
            break;
        case 2:
            fuzzPath<glm::vec3>(data + 1, size - 1);
            break;
        case 3:
            fuzzArea(data + 1, size - 1);
            break;
        default:
            fuzzNoise(data + 1, size - 1);
            break;
        }
    }
    catch (const Sl::Exception&)
    {
    }
    catch (const Debug::CheckException&)
    {
    }
    return 0;
}
