#pragma once

#include <cstdint>

#include <glm/vec3.hpp>

namespace Ps
{

// The pregenerated noise image shared by all effects: 64 planes of 64 x 64
// vec3 pixels, smooth and periodic, made at build time by ps_noise_gen.
// Per component the values lie in x [-1, 0.5], y [-1, 0.7], z [-1, 1], with
// the ends clipped; neighbours along each axis correlate with about 0.73.
constexpr std::uint32_t kNoisePlanesDeg2Size = 6;
constexpr std::uint32_t kNoisePlanesSize = 1u << kNoisePlanesDeg2Size;
constexpr std::uint32_t kNoisePlanePixels = kNoisePlanesSize * kNoisePlanesSize;

// The pixels, plane by plane (z), row by row (y).
extern const glm::vec3 (&noisePlanes)[kNoisePlanesSize][kNoisePlanePixels];

// One pointer per plane: what ImageNoise3::createPregenerated takes.
extern const glm::vec3* const noisePlanesPtr[kNoisePlanesSize];

}  // namespace Ps
