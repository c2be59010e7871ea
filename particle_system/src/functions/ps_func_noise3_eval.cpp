#include "particle_system/functions/ps_func_noise3_eval.h"

#include "particle_system/functions/ps_image_noise3.h"

namespace Ps
{

glm::vec3 FuncNoise3Params::evaluate(const ImageNoise3& image, const glm::vec3& input,
                                     float smoothness, float rangeScale, float systemTime) const
{
    const glm::vec3 p = input + systemTime * animation;
    const glm::vec3 at = p / smoothness;
    const glm::vec3 s =
        type == FN3_Linear ? image.getPixelLinearNorm(at) : image.getPixelCubicNorm(at);
    const glm::vec3 low = rangeLow * rangeScale;
    const glm::vec3 high = rangeHigh * rangeScale;
    glm::vec3 out = low + (high - low) * ((s + 1.0f) * 0.5f);
    if (additive)
        out += p;
    return out;
}

}  // namespace Ps
