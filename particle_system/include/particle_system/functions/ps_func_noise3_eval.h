#pragma once

#include <cstdint>

#include <glm/vec3.hpp>

namespace Ps
{

class ImageNoise3;

// How FuncNoise3 samples the noise image.
enum EnumFuncNoise3Type : std::uint8_t
{
    FN3_Linear = 0,
    FN3_Cubic = 1,  // and any other value
};

// The arithmetic of FuncNoise3 for one input point.
//
// The point moves with `animation` over the system time; `smoothness` is the
// period of the noise in the units of the point. The sample s (each component
// within -1 to 1) is mapped to [rangeLow, rangeHigh] * rangeScale; with
// `additive`, the moved point is added.
struct FuncNoise3Params
{
    std::uint8_t type;
    glm::vec3 rangeLow;
    glm::vec3 rangeHigh;
    glm::vec3 animation;
    bool additive;

    glm::vec3 evaluate(const ImageNoise3& image, const glm::vec3& input, float smoothness,
                       float rangeScale, float systemTime) const;
};

}  // namespace Ps
