// ps_noise_gen: writes the runtime's pregenerated noise image.
//
//   ps_noise_gen <planes.bin> [<digest.h>]
//
// The image is 64 x 64 x 64 pixels of vec3, periodic in every direction,
// stored plane by plane (z), row by row (y), as little-endian float32 triples:
// 3 MiB in all. The optional header receives the image's FNV-1a digest, so
// that whatever embeds the bytes is rebuilt when they change.
//
// The result is the same on every platform and with every compiler: the random
// input is an integer hash, the smoothing is integer arithmetic, and the rest
// uses only IEEE double addition, multiplication, division and square root,
// evaluated in a fixed order (no library functions whose results may differ).
//
// How the image is made, per component:
//  1. White noise: one hashed integer in [-32768, 32767] per pixel.
//  2. Smoothing: a periodic separable convolution with the kernel
//     (4, 13, 13, 4) along x, y and z. Its autocorrelation is (16, 104, 273,
//     370, 273, 104, 16) / 370 per axis, so neighbours correlate with 0.738
//     before clipping and about 0.73 after.
//  3. Normalising to mean 0 and standard deviation 1: G.
//  4. Shaping: H = G + c (G^2 - 1); c bends the upper tail so that the share
//     of cells clipped at the top of x comes out at 9 %. It is 0 for y and z.
//  5. v = mu + sigma H, clipped to [low, high] of the component; mu and sigma
//     are solved by Newton's method so that the clipped values have the
//     wanted mean and standard deviation exactly.
//  6. The first four pixels are pinned to fixed values by a local correction
//     shaped like the field's own autocorrelation (simple kriging), so that
//     the neighbourhood of the pinned pixels stays smooth; the pinned floats
//     are then written exactly.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{

constexpr int kDeg2Size = 6;
constexpr int kSize = 1 << kDeg2Size;
constexpr int kMask = kSize - 1;
constexpr int kCount = kSize * kSize * kSize;

struct ComponentTarget
{
    double low;
    double high;
    double mean;
    double deviation;
    double topClipShare;  // < 0: free
};

const ComponentTarget kTargets[3] = {
    {-1.0, 0.5, -0.0111, 0.3573, 0.09},
    {-1.0, 0.7, -0.1384, 0.4313, -1.0},
    {-1.0, 1.0, -0.0502, 0.5430, -1.0},
};

// The first four pixels of the image, (x, 0, 0) for x = 0..3.
const float kPinned[4][3] = {
    {0.18827f, 0.7f, -1.0f},
    {0.5f, 0.668061f, -1.0f},
    {0.5f, 0.491688f, -0.589016f},
    {0.372437f, 0.519844f, -0.76869f},
};

int index(int x, int y, int z) { return ((z & kMask) * kSize + (y & kMask)) * kSize + (x & kMask); }

std::uint32_t hash32(std::uint32_t v)
{
    // Integer finaliser of MurmurHash3 over a Weyl step: well mixed, exact.
    v = v * 0x9E3779B9u + 0x7F4A7C15u;
    v ^= v >> 16;
    v *= 0x85EBCA6Bu;
    v ^= v >> 13;
    v *= 0xC2B2AE35u;
    v ^= v >> 16;
    return v;
}

// Steps 1 to 3 for one component.
std::vector<double> normalisedField(std::uint32_t component)
{
    std::vector<std::int64_t> a(kCount), b(kCount);
    for (int i = 0; i < kCount; ++i)
    {
        // Each component hashes its own range of indices.
        const std::uint32_t h =
            hash32(static_cast<std::uint32_t>(i) + component * static_cast<std::uint32_t>(kCount));
        a[i] = static_cast<std::int64_t>(h >> 16) - 32768;
    }
    static const std::int64_t kernel[4] = {4, 13, 13, 4};
    for (int axis = 0; axis < 3; ++axis)
    {
        for (int z = 0; z < kSize; ++z)
            for (int y = 0; y < kSize; ++y)
                for (int x = 0; x < kSize; ++x)
                {
                    std::int64_t sum = 0;
                    for (int k = 0; k < 4; ++k)
                    {
                        const int d = k - 1;
                        const int at = axis == 0   ? index(x + d, y, z)
                                       : axis == 1 ? index(x, y + d, z)
                                                   : index(x, y, z + d);
                        sum += kernel[k] * a[at];
                    }
                    b[index(x, y, z)] = sum;
                }
        a.swap(b);
    }
    std::int64_t total = 0;
    for (std::int64_t v : a)
        total += v;
    const double mean = static_cast<double>(total) / kCount;
    double squares = 0.0;
    for (std::int64_t v : a)
    {
        const double d = static_cast<double>(v) - mean;
        squares += d * d;
    }
    const double deviation = std::sqrt(squares / kCount);
    std::vector<double> g(kCount);
    for (int i = 0; i < kCount; ++i)
        g[i] = (static_cast<double>(a[i]) - mean) / deviation;
    return g;
}

struct Moments
{
    double mean;
    double deviation;
    double dMeanDMu, dMeanDSigma;
    double dDevDMu, dDevDSigma;
    int clippedHigh;
};

double clip(double v, double low, double high) { return v < low ? low : (v > high ? high : v); }

Moments moments(const std::vector<double>& h, double mu, double sigma, const ComponentTarget& t)
{
    double s1 = 0.0, s2 = 0.0;   // sums of clipped v and v^2
    double n = 0.0, sh = 0.0;    // unclipped count and sum of h
    double sv = 0.0, svh = 0.0;  // unclipped sums of v and v h
    int high = 0;
    for (double hv : h)
    {
        const double v = mu + sigma * hv;
        if (v <= t.low)
        {
            s1 += t.low;
            s2 += t.low * t.low;
        }
        else if (v >= t.high)
        {
            s1 += t.high;
            s2 += t.high * t.high;
            ++high;
        }
        else
        {
            s1 += v;
            s2 += v * v;
            n += 1.0;
            sh += hv;
            sv += v;
            svh += v * hv;
        }
    }
    const double m = s1 / kCount;
    const double variance = s2 / kCount - m * m;
    const double dev = std::sqrt(variance);
    Moments r;
    r.mean = m;
    r.deviation = dev;
    r.dMeanDMu = n / kCount;
    r.dMeanDSigma = sh / kCount;
    // var = E[v^2] - m^2; d/dmu E[v^2] = 2 E[v; unclipped], d/dsigma = 2 E[v h; unclipped].
    const double dVarDMu = 2.0 * sv / kCount - 2.0 * m * r.dMeanDMu;
    const double dVarDSigma = 2.0 * svh / kCount - 2.0 * m * r.dMeanDSigma;
    r.dDevDMu = dVarDMu / (2.0 * dev);
    r.dDevDSigma = dVarDSigma / (2.0 * dev);
    r.clippedHigh = high;
    return r;
}

// Step 5: mu and sigma for a shaped field.
void solveAffine(const std::vector<double>& h, const ComponentTarget& t, double& mu, double& sigma)
{
    mu = t.mean;
    sigma = t.deviation;
    for (int iteration = 0; iteration < 100; ++iteration)
    {
        const Moments m = moments(h, mu, sigma, t);
        const double r0 = t.mean - m.mean;
        const double r1 = t.deviation - m.deviation;
        if (r0 * r0 + r1 * r1 < 1e-26)
            break;
        const double det = m.dMeanDMu * m.dDevDSigma - m.dMeanDSigma * m.dDevDMu;
        double dMu = (r0 * m.dDevDSigma - m.dMeanDSigma * r1) / det;
        double dSigma = (m.dMeanDMu * r1 - m.dDevDMu * r0) / det;
        // Damped: never more than a quarter of sigma per step.
        const double limit = 0.25 * sigma;
        const double largest = (dMu < 0 ? -dMu : dMu) > (dSigma < 0 ? -dSigma : dSigma)
                                   ? (dMu < 0 ? -dMu : dMu)
                                   : (dSigma < 0 ? -dSigma : dSigma);
        if (largest > limit)
        {
            dMu *= limit / largest;
            dSigma *= limit / largest;
        }
        mu += dMu;
        sigma += dSigma;
    }
}

std::vector<double> shaped(const std::vector<double>& g, double c)
{
    std::vector<double> h(g.size());
    for (std::size_t i = 0; i < g.size(); ++i)
        h[i] = g[i] + c * (g[i] * g[i] - 1.0);
    return h;
}

// Autocorrelation of the smoothing kernel, per axis, normalised to 1 at 0.
double axisCorrelation(int d)
{
    static const double table[4] = {370.0, 273.0, 104.0, 16.0};
    const int a = d < 0 ? -d : d;
    return a < 4 ? table[a] / 370.0 : 0.0;
}

int wrappedDistance(int a, int b)
{
    int d = (a - b) & kMask;
    return d > kSize / 2 ? d - kSize : d;
}

// Step 6 for one component: v holds mu + sigma H before clipping.
void pinFirstPixels(std::vector<double>& v, int component, const ComponentTarget& t)
{
    constexpr int kPins = 4;
    double wanted[kPins];
    for (int i = 0; i < kPins; ++i)
    {
        const double target = kPinned[i][component];
        const double current = v[index(i, 0, 0)];
        // A value on a clipping end only needs the field beyond that end.
        const double margin = 0.05 * t.deviation;
        if (target <= t.low)
            wanted[i] = current < t.low - margin ? current : t.low - margin;
        else if (target >= t.high)
            wanted[i] = current > t.high + margin ? current : t.high + margin;
        else
            wanted[i] = target;
    }
    // Solve K a = wanted - current, K the correlation between the pinned pixels.
    double k[kPins][kPins + 1];
    for (int i = 0; i < kPins; ++i)
    {
        for (int j = 0; j < kPins; ++j)
            k[i][j] = axisCorrelation(i - j);
        k[i][kPins] = wanted[i] - v[index(i, 0, 0)];
    }
    for (int col = 0; col < kPins; ++col)
        for (int row = col + 1; row < kPins; ++row)
        {
            const double f = k[row][col] / k[col][col];
            for (int j = col; j <= kPins; ++j)
                k[row][j] -= f * k[col][j];
        }
    double a[kPins];
    for (int row = kPins - 1; row >= 0; --row)
    {
        double s = k[row][kPins];
        for (int j = row + 1; j < kPins; ++j)
            s -= k[row][j] * a[j];
        a[row] = s / k[row][row];
    }
    for (int z = -3; z <= 3; ++z)
        for (int y = -3; y <= 3; ++y)
            for (int x = -3; x <= 3 + kPins - 1; ++x)
            {
                double add = 0.0;
                for (int i = 0; i < kPins; ++i)
                    add += a[i] * axisCorrelation(wrappedDistance(x, i)) * axisCorrelation(y) *
                           axisCorrelation(z);
                v[index(x, y, z)] += add;
            }
}

std::vector<float> makeComponent(int component)
{
    const ComponentTarget& t = kTargets[component];
    const std::vector<double> g = normalisedField(static_cast<std::uint32_t>(component));
    double c = 0.0, mu = 0.0, sigma = 1.0;
    std::vector<double> h = g;
    if (t.topClipShare >= 0.0)
    {
        // The top share falls as c falls (a shorter upper tail): bisect on c.
        const int wanted = static_cast<int>(t.topClipShare * kCount + 0.5);
        double lo = -0.3, hi = 0.3;
        for (int iteration = 0; iteration < 40; ++iteration)
        {
            c = 0.5 * (lo + hi);
            h = shaped(g, c);
            solveAffine(h, t, mu, sigma);
            if (moments(h, mu, sigma, t).clippedHigh > wanted)
                hi = c;
            else
                lo = c;
        }
        c = 0.5 * (lo + hi);
        h = shaped(g, c);
    }
    solveAffine(h, t, mu, sigma);
    std::vector<double> v(kCount);
    for (int i = 0; i < kCount; ++i)
        v[i] = mu + sigma * h[i];
    pinFirstPixels(v, component, t);
    std::vector<float> out(kCount);
    for (int i = 0; i < kCount; ++i)
        out[i] = static_cast<float>(clip(v[i], t.low, t.high));
    for (int i = 0; i < 4; ++i)
        out[index(i, 0, 0)] = kPinned[i][component];
    return out;
}

std::uint64_t fnv1a(const std::vector<unsigned char>& bytes)
{
    std::uint64_t h = 0xCBF29CE484222325ull;
    for (unsigned char b : bytes)
    {
        h ^= b;
        h *= 0x100000001B3ull;
    }
    return h;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3)
    {
        std::fprintf(stderr, "usage: ps_noise_gen <planes.bin> [<digest.h>]\n");
        return 1;
    }
    std::vector<float> components[3];
    for (int c = 0; c < 3; ++c)
        components[c] = makeComponent(c);

    std::vector<unsigned char> bytes;
    bytes.reserve(static_cast<std::size_t>(kCount) * 12);
    for (int i = 0; i < kCount; ++i)
        for (int c = 0; c < 3; ++c)
        {
            std::uint32_t bits;
            std::memcpy(&bits, &components[c][i], 4);
            for (int k = 0; k < 4; ++k)
                bytes.push_back(static_cast<unsigned char>(bits >> (8 * k)));
        }

    std::FILE* f = std::fopen(argv[1], "wb");
    if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size() || std::fclose(f) != 0)
    {
        std::fprintf(stderr, "ps_noise_gen: cannot write %s\n", argv[1]);
        return 2;
    }
    if (argc == 3)
    {
        std::FILE* d = std::fopen(argv[2], "w");
        if (!d)
        {
            std::fprintf(stderr, "ps_noise_gen: cannot write %s\n", argv[2]);
            return 2;
        }
        std::fprintf(d,
                     "// Written by ps_noise_gen: the FNV-1a digest of the noise image.\n"
                     "#pragma once\n#define PS_NOISE_PLANES_DIGEST 0x%016llXull\n",
                     static_cast<unsigned long long>(fnv1a(bytes)));
        if (std::fclose(d) != 0)
            return 2;
    }
    return 0;
}
