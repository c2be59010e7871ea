// scintari noise: facts and samples of the runtime's shared noise image.
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "particle_system/functions/ps_image_noise3.h"
#include "particle_system/functions/ps_noise_planes.h"
#include "particle_system/ps_allocator.h"
#include "scintari_command.h"
#include "scintari_numbers.h"

namespace
{

const char* const help =
    "scintari noise --stats\n"
    "scintari noise --at <x> <y> <z> [--cubic] [--norm]\n"
    "\n"
    "  Reads the noise image that the runtime shares between all effects (64 x 64\n"
    "  x 64 pixels of vec3, periodic).\n"
    "\n"
    "  --stats prints the facts of the image (exit code 0), on standard output:\n"
    "    size: 64 64 64\n"
    "    digest: <FNV-1a 64 of the image's bytes, 16 hex digits>\n"
    "    component <c>: min <v> max <v> mean <v> deviation <v> at-min <share> at-max <share>\n"
    "    correlation <c>: x <r> y <r> z <r>\n"
    "    pixel <i>: <x> <y> <z>\n"
    "  with a component line and a correlation line for each of x, y, z, and a\n"
    "  pixel line for each of the first four pixels of the image (x = 0 to 3, y = z\n"
    "  = 0). at-min and at-max are the shares of the pixels that hold exactly the\n"
    "  minimum and the maximum; the correlation is that of each pixel with its\n"
    "  neighbour one step along the named axis (wrapping).\n"
    "\n"
    "  --at prints one sample (exit code 0):\n"
    "    sample: <x> <y> <z>\n"
    "  blended trilinearly from the 8 nearest pixels, or with --cubic by\n"
    "  Catmull-Rom from the 64 nearest. The position is in pixels; with --norm\n"
    "  it is in units of the whole image (1 is one period). Each coordinate is a\n"
    "  finite number from -3.4e38 to 3.4e38.\n"
    "\n"
    "  Numbers are printed with 9 significant digits (\"%.9g\"). Bad arguments\n"
    "  print a usage message on standard error (exit code 1).\n";

int usage(const std::string& why)
{
    std::cerr << "scintari noise: " << why
              << "\nusage: scintari noise --stats | --at <x> <y> <z> [--cubic] [--norm]\n";
    return 1;
}

struct RuntimeImage
{
    std::vector<std::uint8_t> pool;
    const Ps::ImageNoise3* image;
    RuntimeImage() : pool(Ps::ImageNoise3::poolSizeToCreatePregenerated())
    {
        Ps::Allocator allocator(pool.data(), static_cast<std::uint32_t>(pool.size()));
        image = Ps::ImageNoise3::createPregenerated(Ps::noisePlanesPtr, Ps::kNoisePlanesDeg2Size,
                                                    allocator);
    }
};

int printStats(const Ps::ImageNoise3& image)
{
    const int n = static_cast<int>(image.getSize());
    const double count = double(n) * n * n;
    std::printf("size: %d %d %d\n", n, n, n);

    const auto* bytes = reinterpret_cast<const unsigned char*>(&Ps::noisePlanes[0][0]);
    std::uint64_t digest = 0xCBF29CE484222325ull;
    for (std::size_t i = 0; i < sizeof(Ps::noisePlanes); ++i)
    {
        digest ^= bytes[i];
        digest *= 0x100000001B3ull;
    }
    std::printf("digest: %016" PRIX64 "\n", digest);

    const char* names = "xyz";
    double means[3], variances[3];
    for (int c = 0; c < 3; ++c)
    {
        float lowest = INFINITY, highest = -INFINITY;
        double sum = 0.0, squares = 0.0;
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x)
                {
                    const float v = image.getPixel(x, y, z)[c];
                    lowest = std::fmin(lowest, v);
                    highest = std::fmax(highest, v);
                    sum += v;
                    squares += double(v) * v;
                }
        long atLow = 0, atHigh = 0;
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x)
                {
                    const float v = image.getPixel(x, y, z)[c];
                    atLow += v == lowest;
                    atHigh += v == highest;
                }
        means[c] = sum / count;
        variances[c] = squares / count - means[c] * means[c];
        std::printf(
            "component %c: min %.9g max %.9g mean %.9g deviation %.9g at-min %.9g at-max %.9g\n",
            names[c], double(lowest), double(highest), means[c], std::sqrt(variances[c]),
            atLow / count, atHigh / count);
    }
    for (int c = 0; c < 3; ++c)
    {
        double r[3];
        for (int axis = 0; axis < 3; ++axis)
        {
            double cov = 0.0;
            for (int z = 0; z < n; ++z)
                for (int y = 0; y < n; ++y)
                    for (int x = 0; x < n; ++x)
                        cov +=
                            (image.getPixel(x, y, z)[c] - means[c]) *
                            (image.getPixel(x + (axis == 0), y + (axis == 1), z + (axis == 2))[c] -
                             means[c]);
            r[axis] = cov / count / variances[c];
        }
        std::printf("correlation %c: x %.9g y %.9g z %.9g\n", names[c], r[0], r[1], r[2]);
    }
    for (int i = 0; i < 4; ++i)
    {
        const glm::vec3& p = image.getPixel(i, 0, 0);
        std::printf("pixel %d: %.9g %.9g %.9g\n", i, double(p.x), double(p.y), double(p.z));
    }
    return 0;
}

int runNoise(const std::vector<std::string>& args)
{
    if (args.empty())
        return usage("expected --stats or --at");
    RuntimeImage runtime;
    if (args[0] == "--stats")
    {
        if (args.size() != 1)
            return usage("--stats takes no further arguments");
        return printStats(*runtime.image);
    }
    if (args[0] != "--at")
        return usage("unknown option: " + args[0]);
    if (args.size() < 4)
        return usage("--at needs three coordinates");
    const Scintari::RealRule rule{"a coordinate of --at", -Scintari::kFloatMax,
                                  Scintari::kFloatMax};
    float p[3];
    std::string why;
    for (int i = 0; i < 3; ++i)
        if (!Scintari::parseFloat(args[1 + i], rule, p[i], why))
            return usage(why);
    bool cubic = false, norm = false;
    for (std::size_t i = 4; i < args.size(); ++i)
    {
        if (args[i] == "--cubic")
            cubic = true;
        else if (args[i] == "--norm")
            norm = true;
        else
            return usage("unknown option: " + args[i]);
    }
    const glm::vec3 at(p[0], p[1], p[2]);
    const Ps::ImageNoise3& image = *runtime.image;
    const glm::vec3 s = cubic ? (norm ? image.getPixelCubicNorm(at) : image.getPixelCubic(at))
                              : (norm ? image.getPixelLinearNorm(at) : image.getPixelLinear(at));
    std::printf("sample: %.9g %.9g %.9g\n", double(s.x), double(s.y), double(s.z));
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "noise", "print the facts of the runtime's noise image, or a sample of it", help, runNoise});

}  // namespace
