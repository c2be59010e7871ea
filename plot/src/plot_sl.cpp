#include "plot/plot_sl.h"

#include <cmath>

#include "debug/debug_check.h"
#include "plot/plot.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace Sl
{

namespace
{

// How far, as a share of the segment's width, a loaded handle may stray outside it.
constexpr float kShareTolerance = 1e-4f;

float readFinite(Loader& loader)
{
    float value = 0.0f;
    loader.read(value);
    if (!std::isfinite(value))
        throw CorruptedDataException();
    return value;
}

glm::vec2 readFiniteVec2(Loader& loader)
{
    glm::vec2 value;
    read(loader, value);
    if (!std::isfinite(value.x) || !std::isfinite(value.y))
        throw CorruptedDataException();
    return value;
}

void writeKey(Saver& saver, const PlotKey& key)
{
    ScopedSaverGroup group("key", saver);
    saver.write("type", static_cast<uint8_t>(key.type_));
    saver.write("time", key.time_);
    if (key.type_ == PKT_Smooth || key.type_ == PKT_Corner)
    {
        saver.write("value", key.getInValue());
    }
    else
    {
        DEBUG_ASSERT(key.type_ == PKT_Broken);
        saver.write("in_value", key.getInValue());
        saver.write("out_value", key.getOutValue());
    }
}

void writeSeg(Saver& saver, const Plot& plot, unsigned segIndex)
{
    const PlotSeg& seg = plot.getSegment(segIndex);
    saver.write("seg", static_cast<uint8_t>(seg.type_));
    if (seg.type_ == CST_Bezier)
    {
        const PlotBezierControlPoint in = plot.getBezierControlPoint(segIndex, BCP_In);
        const PlotBezierControlPoint out = plot.getBezierControlPoint(segIndex, BCP_Out);
        write("in_ctrl", saver, in.first);
        saver.write("in_length", in.second);
        write("out_ctrl", saver, out.first);
        saver.write("out_length", out.second);
    }
}

// A key as read, before it is known to fit.
struct LoadedKey
{
    uint8_t type = 0;
    float time = 0.0f;
    float inValue = 0.0f;
    float outValue = 0.0f;
};

LoadedKey readKey(Loader& loader)
{
    ScopedLoaderGroup group(loader);
    LoadedKey key;
    loader.read(key.type);
    key.time = readFinite(loader);
    if (key.type == PKT_Smooth || key.type == PKT_Corner)
    {
        key.inValue = key.outValue = readFinite(loader);
    }
    else if (key.type == PKT_Broken)
    {
        key.inValue = readFinite(loader);
        key.outValue = readFinite(loader);
    }
    else
    {
        throw CorruptedDataException();
    }
    return key;
}

template <class F>
void withKey(const LoadedKey& key, F&& f)
{
    if (key.type == PKT_Smooth)
        f(PlotKeySmooth(key.time, key.inValue));
    else if (key.type == PKT_Corner)
        f(PlotKeyCorner(key.time, key.inValue));
    else
        f(PlotKeyBroken(key.time, key.inValue, key.outValue));
}

}  // namespace

void write(const char* name, Saver& saver, const Plot& plot)
{
    ScopedSaverGroup group(name, saver);
    saver.write("looped_back", plot.isLoopedLeft());
    saver.write("looped_front", plot.isLoopedRight());
    saver.write("num_keys", static_cast<uint32_t>(plot.getNumKeys()));
    for (unsigned i = 0; i < plot.getNumKeys(); ++i)
    {
        writeKey(saver, plot.getKey(i));
        if (i > 0)
            writeSeg(saver, plot, i - 1);
    }
}

void read(Loader& loader, Plot& plot)
{
    Plot result;
    {
        ScopedLoaderGroup group(loader);
        bool loopedLeft = false;
        bool loopedRight = false;
        uint32_t numKeys = 0;
        loader.read(loopedLeft);
        loader.read(loopedRight);
        loader.read(numKeys);
        result.setLoopedLeft(loopedLeft);
        result.setLoopedRight(loopedRight);
        for (uint32_t i = 0; i < numKeys; ++i)
        {
            const LoadedKey key = readKey(loader);
            if (i == 0)
            {
                withKey(key, [&result](const PlotKey& k) { result.appendKeyBack(k); });
                continue;
            }
            if (key.time < result.getKey(i - 1).time_)
                throw CorruptedDataException();
            uint8_t segType = 0;
            loader.read(segType);
            if (segType == CST_Linear)
            {
                withKey(key, [&result](const PlotKey& k)
                        { result.appendKeyBackWithSegment(k, PlotSegLinear()); });
            }
            else if (segType == CST_Bezier)
            {
                PlotSegBezier seg;
                seg.inDir_ = readFiniteVec2(loader);
                seg.inLength_ = readFinite(loader);
                seg.outDir_ = readFiniteVec2(loader);
                seg.outLength_ = readFinite(loader);
                // The handles must stay within the segment in time (as shares of its width), or the
                // curve's time would not be monotonic. A saved curve keeps them there up to rounding.
                // A segment of no width has no time to leave: the plot can't shorten handles there
                // and holds any share, so any is taken back.
                const float inShare = seg.inDir_.x * seg.inLength_;
                const float outShare = seg.outDir_.x * seg.outLength_;
                const bool hasWidth = key.time > result.getKey(i - 1).time_;
                if (hasWidth &&
                    (!(inShare >= -kShareTolerance && inShare <= 1.0f + kShareTolerance) ||
                     !(outShare <= kShareTolerance && outShare >= -1.0f - kShareTolerance)))
                    throw CorruptedDataException();
                withKey(key, [&result, &seg](const PlotKey& k)
                        { result.appendKeyBackWithSegment(k, seg); });
            }
            else
            {
                throw CorruptedDataException();
            }
        }
    }
    plot = std::move(result);
}

}  // namespace Sl
