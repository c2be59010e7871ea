#pragma once

// Sl::write / Sl::read for the glm vector types: groups (version 0) of floats.

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Sl
{

// "x", "y".
inline void write(const char* name, Saver& saver, const glm::vec2& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("x", value.x);
    saver.write("y", value.y);
}
inline void read(Loader& loader, glm::vec2& value)
{
    ScopedLoaderGroup group(loader);
    loader.read(value.x);
    loader.read(value.y);
}

// "x", "y", "z".
inline void write(const char* name, Saver& saver, const glm::vec3& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("x", value.x);
    saver.write("y", value.y);
    saver.write("z", value.z);
}
inline void read(Loader& loader, glm::vec3& value)
{
    ScopedLoaderGroup group(loader);
    loader.read(value.x);
    loader.read(value.y);
    loader.read(value.z);
}

// "x", "y", "z", "w", in this order whatever glm's member order is.
inline void write(const char* name, Saver& saver, const glm::quat& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("x", value.x);
    saver.write("y", value.y);
    saver.write("z", value.z);
    saver.write("w", value.w);
}
inline void read(Loader& loader, glm::quat& value)
{
    ScopedLoaderGroup group(loader);
    loader.read(value.x);
    loader.read(value.y);
    loader.read(value.z);
    loader.read(value.w);
}

// The columns as vec3 groups "colx", "coly", "colz".
inline void write(const char* name, Saver& saver, const glm::mat3& value)
{
    ScopedSaverGroup group(name, saver);
    write("colx", saver, value[0]);
    write("coly", saver, value[1]);
    write("colz", saver, value[2]);
}
inline void read(Loader& loader, glm::mat3& value)
{
    ScopedLoaderGroup group(loader);
    read(loader, value[0]);
    read(loader, value[1]);
    read(loader, value[2]);
}

}  // namespace Sl
