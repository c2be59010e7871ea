#pragma once

#include <cmath>
#include <cstdint>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "plot/path.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace Sl
{

namespace PathDetail
{

inline bool isFinite(const glm::vec2& v) { return std::isfinite(v.x) && std::isfinite(v.y); }
inline bool isFinite(const glm::vec3& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

template <class T>
T readFinite(Loader& loader)
{
    T value;
    read(loader, value);
    if (!isFinite(value))
        throw CorruptedDataException();
    return value;
}

}  // namespace PathDetail

// The save form of a path: one group under `name` holding "num_keys", then per key, not
// grouped, "value" and "corner", each key but the first followed by the segment leading to
// it: "seg" (0 linear, 1 Bezier, 2 broken), and for a Bezier "in_ctrl" and "out_ctrl".
template <class T>
void write(const char* name, Saver& saver, const Path<T>& path)
{
    ScopedSaverGroup group(name, saver);
    saver.write("num_keys", static_cast<uint32_t>(path.getNumKeys()));
    for (unsigned i = 0; i < path.getNumKeys(); ++i)
    {
        const PathKey<T>& key = path.getKey(i);
        write("value", saver, key.value);
        saver.write("corner", key.corner);
        if (i == 0)
            continue;
        const PathSeg& seg = path.getSegment(i - 1);
        saver.write("seg", static_cast<uint8_t>(seg.type_));
        if (seg.type_ == PST_Bezier)
        {
            const auto& bezier = static_cast<const PathSegBezier<T>&>(seg);
            write("in_ctrl", saver, bezier.inControl_);
            write("out_ctrl", saver, bezier.outControl_);
        }
    }
}

// Reads a path written by write(). The path is replaced only once the whole record has been
// read: an unknown segment code or a point that isn't finite raises
// Sl::CorruptedDataException and leaves `path` as it was, as do the stream's own exceptions.
// An optional path reads through the optional form of the stream, which calls this.
template <class T>
void read(Loader& loader, Path<T>& path)
{
    Path<T> result;
    {
        ScopedLoaderGroup group(loader);
        uint32_t numKeys = 0;
        loader.read(numKeys);
        for (uint32_t i = 0; i < numKeys; ++i)
        {
            PathKey<T> key;
            key.value = PathDetail::readFinite<T>(loader);
            loader.read(key.corner);
            if (i == 0)
            {
                result.appendKeyBack(key);
                continue;
            }
            uint8_t segType = 0;
            loader.read(segType);
            if (segType == PST_Linear)
            {
                result.appendKeyBackWithSegment(key, PathSegLinear());
            }
            else if (segType == PST_Broken)
            {
                result.appendKeyBackWithSegment(key, PathSegBroken());
            }
            else if (segType == PST_Bezier)
            {
                PathSegBezier<T> seg;
                seg.inControl_ = PathDetail::readFinite<T>(loader);
                seg.outControl_ = PathDetail::readFinite<T>(loader);
                result.appendKeyBackWithSegment(key, seg);
            }
            else
            {
                throw CorruptedDataException();
            }
        }
    }
    path = std::move(result);
}

}  // namespace Sl
