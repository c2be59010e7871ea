#include <cmath>
#include <cstring>
#include <vector>

#include <boost/optional.hpp>
#include <gtest/gtest.h>

#include "plot/path.h"
#include "plot/path_sl.h"
#include "plot/plot.h"
#include "plot/plot_cache.h"
#include "plot/plot_sl.h"
#include "plot_test_util.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read_boost.h"

using Path2 = Path<glm::vec2>;

namespace
{

// Builds a stream by hand, byte by byte, the way the format lays it out: header byte 0x04
// (little endian, no type tags, packed group sizes), then values.
class Bytes
{
public:
    Bytes() : data_{0x04} {}
    Bytes& u8(uint8_t v)
    {
        data_.push_back(v);
        return *this;
    }
    Bytes& boolean(bool v) { return u8(v ? 1 : 0); }
    Bytes& packed(uint32_t v)
    {
        while (v >= 0x80)
        {
            data_.push_back(uint8_t(v | 0x80));
            v >>= 7;
        }
        data_.push_back(uint8_t(v));
        return *this;
    }
    Bytes& f32(float v)
    {
        uint8_t raw[4];
        std::memcpy(raw, &v, 4);
        data_.insert(data_.end(), raw, raw + 4);
        return *this;
    }
    Bytes& vec2(float x, float y) { return group(Bytes().f32(x).f32(y)); }
    // A group of the other builder's values (its header byte left out).
    Bytes& group(const Bytes& content, uint32_t version = 0)
    {
        std::vector<uint8_t> body;
        if (version)
        {
            Bytes v;
            v.packed(version);
            body.insert(body.end(), v.data_.begin() + 1, v.data_.end());
        }
        body.insert(body.end(), content.data_.begin() + 1, content.data_.end());
        packed(uint32_t(body.size() << 1) | (version ? 1u : 0u));
        data_.insert(data_.end(), body.begin(), body.end());
        return *this;
    }
    // The other builder's values (its header byte left out).
    Bytes& append(const Bytes& other)
    {
        data_.insert(data_.end(), other.data_.begin() + 1, other.data_.end());
        return *this;
    }
    const std::vector<uint8_t>& data() const { return data_; }

private:
    std::vector<uint8_t> data_;
};

template <class T>
std::vector<uint8_t> save(const T& value, Sl::EnumTypeChecking tags = Sl::TC_Off)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, tags);
    Sl::write("value", saver, value);
    return saver.dataAsVector();
}

template <class T>
void load(const std::vector<uint8_t>& bytes, T& value)
{
    Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::read(loader, value);
}

Plot samplePlot()
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(-1.0f, 0.1f, 0.2f));
    plot.appendKeyBackWithSegment(PlotKeySmooth(0.5f, 3.0f), PlotSegLinear());
    plot.appendKeyBackWithSegment(PlotKeyCorner(2.0f, -1.0f), PlotSegBezier());
    plot.setBezierControlPointPosition(1, BCP_In, glm::vec2(0.9f, 4.0f));
    plot.appendKeyBackWithSegment(PlotKeyBroken(2.0f, 1e-7f, -123456.7f), PlotSegLinear());
    plot.setLoopedRight(true);
    return plot;
}

Path2 samplePath()
{
    Path2 path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(1, 2)));
    path.appendKeyBack(PathKey<glm::vec2>(true, glm::vec2(-3, 0.25f)));
    path.appendKeyBackWithSegment(PathKey<glm::vec2>(false, glm::vec2(5, 5)),
                                  PathSegBezier<glm::vec2>(glm::vec2(0, 1), glm::vec2(4, 6)));
    path.appendKeyBackWithSegment(PathKey<glm::vec2>(true, glm::vec2(7, 5)), PathSegBroken());
    return path;
}

// A plot of two keys: broken at 1 (in 2, out 3) and smooth at 4 (value 5), joined by the
// given segment bytes; looped on the left only.
Bytes twoKeyPlotBytes(const Bytes& segment, uint8_t firstType = PKT_Broken, float secondTime = 4.0f)
{
    Bytes content;
    content.boolean(true).boolean(false).packed(2);
    content.group(Bytes().u8(firstType).f32(1.0f).f32(2.0f).f32(3.0f));
    content.group(Bytes().u8(PKT_Smooth).f32(secondTime).f32(5.0f));
    content.append(segment);
    return Bytes().group(content);
}

}  // namespace

TEST(PlotSaveLoad, RoundTripKeepsEverythingExactly)
{
    const Plot plot = samplePlot();
    for (auto tags : {Sl::TC_Off, Sl::TC_On})
    {
        Plot loaded;
        load(save(plot, tags), loaded);
        EXPECT_EQ(loaded, plot);
        EXPECT_EQ(loaded.getKey(0).type_, static_cast<uint32_t>(PKT_Broken));
        EXPECT_EQ(loaded.getKey(3).getInValue(), 1e-7f);
        EXPECT_EQ(loaded.getKey(3).getOutValue(), -123456.7f);
        EXPECT_TRUE(loaded.isLoopedRight());
        EXPECT_FALSE(loaded.isLoopedLeft());
    }
    Plot empty = samplePlot();
    load(save(Plot()), empty);
    EXPECT_EQ(empty, Plot());
}

TEST(PlotSaveLoad, BytesFollowTheRecordLayout)
{
    Plot plot;
    plot.appendKeyBack(PlotKeyBroken(1.0f, 2.0f, 3.0f));
    plot.appendKeyBackWithSegment(
        PlotKeySmooth(4.0f, 5.0f),
        PlotSegBezier(glm::vec2(0.6f, 0.8f), 0.25f, glm::vec2(-1.0f, 0.0f), 0.5f));
    plot.setLoopedLeft(true);
    const Bytes segment =
        Bytes().u8(CST_Bezier).vec2(0.6f, 0.8f).f32(0.25f).vec2(-1.0f, 0.0f).f32(0.5f);
    EXPECT_EQ(save(plot), twoKeyPlotBytes(segment).data());
}

TEST(PlotSaveLoad, HandBuiltRecordLoads)
{
    Plot plot;
    load(twoKeyPlotBytes(Bytes().u8(CST_Linear)).data(), plot);
    ASSERT_EQ(plot.getNumKeys(), 2u);
    EXPECT_TRUE(plot.isLoopedLeft());  // "looped_back" is the left side
    EXPECT_FALSE(plot.isLoopedRight());
    EXPECT_EQ(plot.getKey(0).type_, static_cast<uint32_t>(PKT_Broken));
    EXPECT_EQ(plot.getKey(0).getInValue(), 2.0f);
    EXPECT_EQ(plot.getKey(0).getOutValue(), 3.0f);
    EXPECT_EQ(plot.getSegment(0).type_, CST_Linear);
    EXPECT_FLOAT_EQ(plot.computeValue(2.5f), 4.0f);
}

TEST(PlotSaveLoad, CorruptRecordsRaiseAndLeaveThePlotUnchanged)
{
    const Plot original = samplePlot();
    auto expectRefused = [&original](const std::vector<uint8_t>& bytes, const char* what)
    {
        Plot plot = original;
        EXPECT_THROW(load(bytes, plot), Sl::Exception) << what;
        EXPECT_EQ(plot, original) << what;
    };
    expectRefused(twoKeyPlotBytes(Bytes().u8(2)).data(), "unknown segment code");
    expectRefused(twoKeyPlotBytes(Bytes().u8(CST_Linear), 53).data(), "unknown key code");
    expectRefused(twoKeyPlotBytes(Bytes().u8(CST_Linear), PKT_Broken, 0.5f).data(),
                  "keys out of order");
    expectRefused(twoKeyPlotBytes(Bytes().u8(CST_Linear), PKT_Broken, NAN).data(), "NaN time");
    expectRefused(
        twoKeyPlotBytes(Bytes().u8(CST_Bezier).vec2(1, 0).f32(2.0f).vec2(-1, 0).f32(0.5f)).data(),
        "in handle beyond the right key");
    expectRefused(
        twoKeyPlotBytes(Bytes().u8(CST_Bezier).vec2(1, 0).f32(0.5f).vec2(1, 0).f32(0.5f)).data(),
        "out handle beyond the right key");
    {
        // Handles reaching exactly to the other key are fine.
        Plot plot;
        load(twoKeyPlotBytes(Bytes().u8(CST_Bezier).vec2(1, 0).f32(1.0f).vec2(-1, 0).f32(1.0f))
                 .data(),
             plot);
        EXPECT_EQ(plot.getBezierControlPointPosition(0, BCP_In).x, 4.0f);
    }
    {
        Plot plot = original;
        EXPECT_THROW(load(twoKeyPlotBytes(Bytes().u8(7)).data(), plot), Sl::CorruptedDataException);
    }
    // Cut short anywhere: the stream runs out.
    const std::vector<uint8_t> full = save(original);
    for (size_t size = 1; size < full.size(); ++size)
    {
        Plot plot = original;
        std::vector<uint8_t> cut(full.begin(), full.begin() + size);
        EXPECT_THROW(load(cut, plot), Sl::Exception) << size;
        EXPECT_EQ(plot, original);
    }
}

TEST(PlotSaveLoad, SegmentOfNoWidthKeepsWhateverHandlesItHolds)
{
    // Two keys at one time: there is no time for a handle to leave, so the plot keeps any
    // length it is given, and what it holds must load again.
    Plot plot;
    plot.appendKeyBack(PlotKeySmooth(1.0f, 0.0f));
    plot.appendKeyBackWithSegment(PlotKeySmooth(1.0f, 2.0f), PlotSegBezier());
    plot.setBezierControlPoint(0, BCP_In, PlotBezierControlPoint(glm::vec2(1, 0), 3.0f));
    plot.setBezierControlPoint(0, BCP_Out, PlotBezierControlPoint(glm::vec2(1, 0), 2.0f));
    ASSERT_EQ(plot.getBezierControlPoint(0, BCP_In).second, 3.0f);
    for (auto tags : {Sl::TC_Off, Sl::TC_On})
    {
        Plot loaded = samplePlot();
        load(save(plot, tags), loaded);
        EXPECT_EQ(loaded, plot);
    }
    // With a width, the same handles are out of their segment: refused.
    Plot wide = samplePlot();
    EXPECT_THROW(
        load(twoKeyPlotBytes(Bytes().u8(CST_Bezier).vec2(1, 0).f32(3.0f).vec2(1, 0).f32(2.0f))
                 .data(),
             wide),
        Sl::CorruptedDataException);
    EXPECT_EQ(wide, samplePlot());
}

TEST(PlotSaveLoad, NewerVersionIsRefused)
{
    Bytes content;
    content.boolean(false).boolean(false).packed(0);
    Plot plot = samplePlot();
    EXPECT_THROW(load(Bytes().group(content, 1).data(), plot), Sl::OldLoaderVersionException);
    EXPECT_EQ(plot, samplePlot());
    load(Bytes().group(content).data(), plot);
    EXPECT_EQ(plot, Plot());
}

TEST(PlotSaveLoad, RecordIsOneSkippableGroup)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_On);
    Sl::write("plot", saver, samplePlot());
    saver.write("after", 42.5f);
    const std::vector<uint8_t> bytes = saver.dataAsVector();
    Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
    loader.skipGroup();
    float after = 0.0f;
    loader.read(after);
    EXPECT_EQ(after, 42.5f);
}

TEST(PathSaveLoad, RoundTripKeepsEverythingExactly)
{
    const Path2 path = samplePath();
    for (auto tags : {Sl::TC_Off, Sl::TC_On})
    {
        Path2 loaded;
        load(save(path, tags), loaded);
        EXPECT_EQ(loaded, path);
    }
    Path2 empty = samplePath();
    load(save(Path2()), empty);
    EXPECT_EQ(empty, Path2());
}

TEST(PathSaveLoad, OptionalPathReadsThroughTheOptionalForm)
{
    boost::optional<Path2> value = samplePath();
    boost::optional<Path2> loaded;
    load(save(value), loaded);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(*loaded, samplePath());
    load(save(boost::optional<Path2>()), loaded);
    EXPECT_FALSE(loaded);
    // A corrupt path inside: raised, and the optional keeps what it held.
    Bytes bad;
    bad.packed(2).vec2(1, 2).boolean(true).vec2(3, 4).boolean(false).u8(7);
    Bytes content;
    content.boolean(true).group(bad);
    loaded = samplePath();
    EXPECT_THROW(load(Bytes().group(content).data(), loaded), Sl::CorruptedDataException);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(*loaded, samplePath());
}

TEST(PathSaveLoad, BytesFollowTheRecordLayout)
{
    Path2 path;
    path.appendKeyBack(PathKey<glm::vec2>(true, glm::vec2(1, 2)));
    path.appendKeyBackWithSegment(PathKey<glm::vec2>(false, glm::vec2(3, 4)),
                                  PathSegBezier<glm::vec2>(glm::vec2(5, 6), glm::vec2(7, 8)));
    Bytes content;
    content.packed(2).vec2(1, 2).boolean(true);
    content.vec2(3, 4).boolean(false).u8(PST_Bezier).vec2(5, 6).vec2(7, 8);
    EXPECT_EQ(save(path), Bytes().group(content).data());
}

TEST(PathSaveLoad, CorruptRecordsRaiseAndLeaveThePathUnchanged)
{
    const Path2 original = samplePath();
    Bytes content;
    content.packed(2).vec2(1, 2).boolean(true).vec2(3, 4).boolean(false).u8(3);
    Path2 path = original;
    EXPECT_THROW(load(Bytes().group(content).data(), path), Sl::CorruptedDataException);
    EXPECT_EQ(path, original);
    Bytes infinite;
    infinite.packed(1).vec2(INFINITY, 2).boolean(true);
    EXPECT_THROW(load(Bytes().group(infinite).data(), path), Sl::CorruptedDataException);
    EXPECT_EQ(path, original);
    const std::vector<uint8_t> full = save(original);
    for (size_t size = 1; size < full.size(); ++size)
    {
        std::vector<uint8_t> cut(full.begin(), full.begin() + size);
        EXPECT_THROW(load(cut, path), Sl::Exception) << size;
        EXPECT_EQ(path, original);
    }
}

TEST(PlotSaveLoad, MangledBytesLoadOrRaiseOnlyLoaderExceptions)
{
    // Flipped, dropped and inserted bytes: the loader either reads a plot that keeps the
    // invariants, or raises a loader exception; never an assertion.
    unsigned seed = 12345;
    auto next = [&seed]()
    {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (auto tags : {Sl::TC_Off, Sl::TC_On})
    {
        const std::vector<uint8_t> plotBytes = save(samplePlot(), tags);
        const std::vector<uint8_t> pathBytes = save(samplePath(), tags);
        for (int round = 0; round < 3000; ++round)
        {
            std::vector<uint8_t> bytes = round % 2 ? pathBytes : plotBytes;
            for (unsigned edits = 1 + next() % 3; edits > 0; --edits)
            {
                const size_t at = 1 + next() % (bytes.size() - 1);
                switch (next() % 3)
                {
                case 0:
                    bytes[at] = static_cast<uint8_t>(next());
                    break;
                case 1:
                    bytes.erase(bytes.begin() + at);
                    break;
                default:
                    bytes.insert(bytes.begin() + at, static_cast<uint8_t>(next()));
                    break;
                }
            }
            try
            {
                if (round % 2)
                {
                    Path2 path;
                    load(bytes, path);
                }
                else
                {
                    Plot plot;
                    load(bytes, plot);
                    EXPECT_TRUE(PlotTest::keepsInvariants(plot));
                    // What loads can be evaluated and sampled.
                    for (float t = -3.0f; t < 5.0f; t += 0.25f)
                        plot.computeValue(t);
                    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
                    EXPECT_GE(cache.getNumSegments(), 1u);
                }
            }
            catch (const Sl::Exception&)
            {
            }
            catch (const std::exception& e)
            {
                ADD_FAILURE() << "round " << round << ": " << e.what();
            }
        }
    }
}
