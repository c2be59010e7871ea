#pragma once

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "revision_saveload/sl_loader.h"

namespace Ps
{

// The stream forms of the runtime's values in a compiled effect: a float stands directly, a
// vector or quaternion is a group of its float components (x, y, z, w), a mat3 a group of its
// three column groups.
inline void readValue(Sl::Loader& loader, float& v) { loader.read(v); }
inline void readValue(Sl::Loader& loader, glm::vec2& v)
{
    loader.startGroup(0);
    loader.read(v.x);
    loader.read(v.y);
    loader.endGroup();
}
inline void readValue(Sl::Loader& loader, glm::vec3& v)
{
    loader.startGroup(0);
    loader.read(v.x);
    loader.read(v.y);
    loader.read(v.z);
    loader.endGroup();
}
inline void readValue(Sl::Loader& loader, glm::quat& v)
{
    loader.startGroup(0);
    loader.read(v.x);
    loader.read(v.y);
    loader.read(v.z);
    loader.read(v.w);
    loader.endGroup();
}
inline void readValue(Sl::Loader& loader, glm::mat3& m)
{
    loader.startGroup(0);
    readValue(loader, m[0]);
    readValue(loader, m[1]);
    readValue(loader, m[2]);
    loader.endGroup();
}

template <class T>
T readValue(Sl::Loader& loader)
{
    T v;
    readValue(loader, v);
    return v;
}

// Passes over a value written as above.
template <class T>
void skipValue(Sl::Loader& loader)
{
    if constexpr (std::is_same_v<T, float>)
        loader.skipFloat();
    else
        loader.skipGroup();
}

// Small helpers for the integer fields of the format (all packed).
inline uint8_t readU8(Sl::Loader& loader)
{
    uint8_t v = 0;
    loader.read(v);
    return v;
}
inline uint16_t readU16(Sl::Loader& loader)
{
    uint16_t v = 0;
    loader.read(v);
    return v;
}
inline uint32_t readU32(Sl::Loader& loader)
{
    uint32_t v = 0;
    loader.read(v);
    return v;
}
inline int32_t readI32(Sl::Loader& loader)
{
    int32_t v = 0;
    loader.read(v);
    return v;
}
inline float readF32(Sl::Loader& loader)
{
    float v = 0.0f;
    loader.read(v);
    return v;
}
inline bool readBool(Sl::Loader& loader)
{
    bool v = false;
    loader.read(v);
    return v;
}

}  // namespace Ps
