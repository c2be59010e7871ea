#pragma once

#include <cstdint>

namespace Ps
{

using uint8 = std::uint8_t;
using uint16 = std::uint16_t;
using uint32 = std::uint32_t;
using uint64 = std::uint64_t;
using int32 = std::int32_t;

// Smallest positive normal float; time steps and distances at or below it count as zero.
constexpr float kMinNormalFloat = 1.17549435e-38f;
// The float machine epsilon.
constexpr float kEpsilon = 1.1920929e-7f;
// Above this dot product two quaternions are blended linearly.
constexpr float kSlerpThreshold = 0.9999999f;

// Upper limit of the shots a generator counts in one step: beyond it a float count can no longer
// go down by one, and the step would never end.
constexpr float kMaxShotsPerStep = 16777216.0f;

}  // namespace Ps
