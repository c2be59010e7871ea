#pragma once

// Writers of the stored forms of curves, paths and painted areas, as the
// compiler writes them, and a helper that loads such bytes into a pool twice
// the way the runtime does: first the size pass, then the creating pass.

#include <cstdint>
#include <functional>
#include <vector>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_allocator.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace PsFuncTest
{

struct CurveSegmentData
{
    float timeStart;
    float timeEnd;
    std::vector<float> values;
};

struct CurveData
{
    float timeStart;
    float timeEnd;
    bool leftLooped;
    bool rightLooped;
    std::vector<CurveSegmentData> segments;
};

inline void writeCurve(Sl::Saver& saver, const CurveData& curve)
{
    Sl::ScopedSaverGroup group("curve", saver);
    saver.write("time_start", curve.timeStart);
    saver.write("time_end", curve.timeEnd);
    saver.write("left_looped", curve.leftLooped);
    saver.write("right_looped", curve.rightLooped);
    saver.write("num_segs", static_cast<std::uint32_t>(curve.segments.size()));
    for (const CurveSegmentData& s : curve.segments)
    {
        Sl::ScopedSaverGroup seg("seg", saver);
        saver.write("time_start", s.timeStart);
        saver.write("time_end", s.timeEnd);
        saver.write("num_values", static_cast<std::uint32_t>(s.values.size()));
        for (float v : s.values)
            saver.write("val", v);
    }
}

template <class T>
struct PathSegmentData
{
    float normStart;
    float normEnd;
    std::vector<T> values;
};

template <class T>
void writePath(Sl::Saver& saver, const std::vector<PathSegmentData<T>>& segments, float length)
{
    saver.write("num_seg", static_cast<std::uint32_t>(segments.size()));
    for (const PathSegmentData<T>& s : segments)
    {
        saver.write("seg_norm_start", s.normStart);
        saver.write("seg_norm_end", s.normEnd);
        saver.write("num_values", static_cast<std::uint32_t>(s.values.size()));
        for (const T& v : s.values)
            Sl::write("value", saver, v);
    }
    saver.write("length", length);
}

struct AreaData
{
    std::int32_t x, y;
    std::uint16_t width, height;
    std::uint16_t optWidth, optHeight;
    std::vector<std::uint8_t> weights;
};

inline void writeArea(Sl::Saver& saver, const AreaData& area)
{
    saver.write("x", area.x);
    saver.write("y", area.y);
    saver.write("width", area.width);
    saver.write("height", area.height);
    saver.write("opt_width", area.optWidth);
    saver.write("opt_height", area.optHeight);
    saver.writeBinary("v", area.weights.data(), static_cast<std::uint32_t>(area.weights.size()));
}

inline std::vector<std::uint8_t> bytesOf(const std::function<void(Sl::Saver&)>& write)
{
    Sl::SaverBinFlex saver;
    write(saver);
    return saver.dataAsVector();
}

// An object loaded from bytes into a pool of exactly the size its size pass
// computed. `used` is what the load took; `consumed` tells that both passes
// read the bytes to the end.
template <class T>
struct Loaded
{
    std::vector<std::uint8_t> pool;
    T object{};
    std::uint32_t computed = 0;
    std::uint32_t used = 0;
    bool sizePassConsumedAll = false;
    bool loadPassConsumedAll = false;
};

template <class T>
Loaded<T> load(const std::vector<std::uint8_t>& bytes)
{
    Loaded<T> r;
    {
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        r.computed = T::computePoolSize(loader);
        r.sizePassConsumedAll = loader.dataLeftToRead() == 0;
    }
    r.pool.assign(r.computed, 0xCD);
    Ps::Allocator allocator(r.pool.data(), r.computed);
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    r.object.load(loader, allocator);
    r.loadPassConsumedAll = loader.dataLeftToRead() == 0;
    r.used = allocator.getUsedSize();
    return r;
}

}  // namespace PsFuncTest
