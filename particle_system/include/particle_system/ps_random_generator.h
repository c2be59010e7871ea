#pragma once

#include <cstdint>

namespace Ps
{

class Allocator;

// The runtime's source of random numbers: the three-component Tausworthe
// generator "taus88" of L'Ecuyer, on 32-bit words with logical shifts.
// The same seed gives the same sequence on every platform and compiler.
//
// It lives in a pool like every runtime object: count computePoolSize()
// bytes and place it with create(allocator) (or createInPool on memory of that
// size). A fresh generator starts in the state of seed 341.
class RandomGenerator
{
public:
    static constexpr std::uint32_t kDefaultSeed = 341u;

    // Scale of the float conversion: just below 2^-32.
    static constexpr float kNormScale = 2.3283064e-10f;

    RandomGenerator() { setSeed(kDefaultSeed); }
    explicit RandomGenerator(std::uint32_t seed) { setSeed(seed); }

    // Bytes the object and its state take in a pool, aligned as the
    // allocator aligns them.
    static std::uint32_t computePoolSize();

    // Constructs a generator (seed 341) in the pool. Like everything in a
    // pool, it is never destroyed.
    static RandomGenerator* create(Allocator& allocator);
    // The same at `pool`, which must hold computePoolSize() bytes.
    static RandomGenerator* createInPool(void* pool);

    // The state words are kept out of the forbidden small values:
    // s1 >= 2, s2 >= 8, s3 >= 16.
    void setSeed(std::uint32_t v)
    {
        s1_ = v < 2u ? v + 2u : v;
        s2_ = v < 8u ? v + 8u : v;
        s3_ = v < 16u ? v + 16u : v;
    }

    // One step's output, over the full range of uint32.
    std::uint32_t generateUint32()
    {
        s1_ = ((s1_ >> 1) << 13) ^ (((s1_ << 13) ^ s1_) >> 19);
        s2_ = ((s2_ >> 3) << 7) ^ (((s2_ << 2) ^ s2_) >> 25);
        s3_ = ((s3_ >> 4) << 21) ^ (((s3_ << 3) ^ s3_) >> 11);
        return s1_ ^ s2_ ^ s3_;
    }

    // A float in [0, 1). The conversion of a large output to float can round
    // up to exactly 1; such a result is dropped and the next step is taken.
    float generateNormFloat()
    {
        for (;;)
        {
            const float r = static_cast<float>(generateUint32()) * kNormScale;
            if (r < 1.0f)
                return r;
        }
    }

    std::uint32_t getS1() const { return s1_; }
    std::uint32_t getS2() const { return s2_; }
    std::uint32_t getS3() const { return s3_; }

private:
    std::uint32_t s1_;
    std::uint32_t s2_;
    std::uint32_t s3_;
};

}  // namespace Ps
