#pragma once

#include <cmath>
#include <cstdint>

#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace GlmExt
{

namespace Detail
{
// One colour component as a byte: times 255, truncated towards zero, not
// clamped. Values outside [0, 1] keep the low byte of the truncated number,
// so a component above 1 wraps rather than saturates; NaN gives 0.
inline std::uint32_t colorByte(float c)
{
    const float scaled = c * 255.0f;
    if (!(std::fabs(scaled) < 2147483648.0f))
        return 0u;
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(scaled)) & 0xFFu;
}
}  // namespace Detail

// A colour as 4 bytes, from the low end: red, green, blue, alpha. So (1, 0, 0, 1)
// is 0xFF0000FF, and 0.999 in a component gives 254.
inline std::uint32_t u32_rgba_cast(const glm::vec4& color)
{
    return Detail::colorByte(color.r) | (Detail::colorByte(color.g) << 8) |
           (Detail::colorByte(color.b) << 16) | (Detail::colorByte(color.a) << 24);
}

// A colour stored as 0xXXRRGGBB (blue in the low byte, then green, then red) as
// three floats in [0, 1].
inline glm::vec3 f32_bgrx_cast(std::uint32_t color)
{
    return glm::vec3(static_cast<float>((color >> 16) & 0xFFu) / 255.0f,
                     static_cast<float>((color >> 8) & 0xFFu) / 255.0f,
                     static_cast<float>(color & 0xFFu) / 255.0f);
}

}  // namespace GlmExt
