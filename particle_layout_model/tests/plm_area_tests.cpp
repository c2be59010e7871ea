#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include <zlib.h>

#include "particle_layout_model/plm_area.h"
#include "particle_layout_model/plm_block_func_area.h"
#include "plm_test_support/plm_test_blocks.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"

namespace
{

using namespace Plm;
using Bytes = std::vector<uint8_t>;

Bytes randomBytes(size_t size, unsigned seed)
{
    std::mt19937 rng(seed);
    Bytes bytes(size);
    for (uint8_t& b : bytes)
        b = uint8_t(rng());
    return bytes;
}

// An area at (100, -50) with the cells [left, right] x [top, bottom] painted with `value`.
Area painted(uint32_t w, uint32_t h, uint32_t left, uint32_t top, uint32_t right, uint32_t bottom,
             uint8_t value = 200)
{
    Bytes image(size_t(w) * h, 0);
    for (uint32_t r = top; r <= bottom; ++r)
        for (uint32_t c = left; c <= right; ++c)
            image[r * w + c] = value;
    return Area(100, -50, w, h, image.data());
}

Bytes save(const std::function<void(Sl::Saver&)>& body)
{
    Sl::SaverBinFlex saver(Sl::BO_LittleEndian, Sl::TC_On);
    body(saver);
    return saver.dataAsVector();
}

Area loadArea(const Bytes& bytes)
{
    Sl::LoaderBinArray loader(bytes.data(), uint32_t(bytes.size()));
    Area area(1, 2, 1, 1, nullptr);
    Area::load(loader, area);
    return area;
}

TEST(PlmArea, BrushFollowsTheRadialFormula)
{
    const float cases[][3] = {{0, 0.4f, 1}, {0, 3, 1}, {2.7f, 3, 1}, {1, 5.5f, 0.5f}, {2, 2, 1}};
    for (const auto& c : cases)
    {
        const float inner = c[0], outer = c[1], strength = c[2];
        uint32_t size = 0;
        const Bytes brush = Area::createBrush(inner, outer, strength, size);
        ASSERT_EQ(size, uint32_t(std::ceil(2 * outer)) | 1u) << outer;
        ASSERT_EQ(brush.size(), size_t(size) * size);
        const int centre = int(size) / 2;
        for (int i = 0; i < int(brush.size()); ++i)
        {
            const int dx = i % int(size) - centre, dy = i / int(size) - centre;
            const float d = std::sqrt(float(dx * dx + dy * dy));
            int expected = 0;
            if (d < inner)
                expected = int(strength * 255);
            else if (d <= outer && outer > inner)
                expected =
                    int(float(int((1 - (d - inner) / (outer - inner)) * 255) & 255) * strength);
            EXPECT_EQ(brush[i], expected) << inner << " " << outer << " cell " << i;
        }
    }
    uint32_t size = 0;
    EXPECT_EQ(Area::createBrush(0, 0.4f, 1, size), Bytes{255});
    const Bytes flat = Area::createBrush(0.9f * 4, 4, 1, size);  // flat top, thin rim
    EXPECT_EQ(Bytes(flat.begin() + 4 * 9 + 1, flat.begin() + 4 * 9 + 8), Bytes(7, 255));
}

TEST(PlmArea, BrushStrokesSaturateAndClip)
{
    const uint8_t ops[][4] = {
        {250, 10, 255, 240}, {5, 10, 15, 0}, {255, 255, 255, 0}, {0, 0, 0, 0}};
    for (const auto& o : ops)
    {
        EXPECT_EQ(addClamped(o[0], o[1]), o[2]);
        EXPECT_EQ(subClamped(o[0], o[1]), o[3]);
    }
    const Bytes brush(9, 200);
    Area area(0, 0, 8, 6, nullptr);
    area.drawBrush(brush, 3, -1, -1, false);  // its lower right 2 by 2 lands
    area.drawBrush(brush, 3, 6, 4, false);    // its upper left 2 by 2 lands
    area.drawBrush(brush, 3, 20, 20, false);  // nowhere
    for (uint32_t i = 0; i < 48; ++i)
    {
        const uint32_t r = i / 8, c = i % 8;
        EXPECT_EQ(area.getCell(c, r), (r < 2 && c < 2) || (r >= 4 && c >= 6) ? 200 : 0) << i;
    }
    const int afterEach[] = {255, 55, 0};
    for (int step = 0; step < 3; ++step)
    {
        area.drawBrush(brush, 3, -1, -1, step > 0);
        EXPECT_EQ(area.getCell(1, 1), afterEach[step]);
    }
    Area invalid;
    invalid.drawBrush(brush, 3, 0, 0, false);
    EXPECT_EQ(invalid, Area());
}

TEST(PlmArea, RepositionKeepsWorldPositions)
{
    const Bytes image = randomBytes(12, 1);
    Area area(10, 20, 4, 3, image.data());
    area.reposition(8, 21, 5, 5);
    ASSERT_EQ(area.getImage().size(), 25u);
    for (int i = 0; i < 25; ++i)
    {
        const int wx = 8 + i % 5, wy = 21 + i / 5;
        const bool inside = wx >= 10 && wx < 14 && wy >= 20 && wy < 23;
        EXPECT_EQ(area.getImage()[i], inside ? image[(wy - 20) * 4 + (wx - 10)] : 0) << i;
    }
    Area invalid;
    invalid.reposition(0, 0, 4, 0);
    EXPECT_FALSE(invalid.isValid());
    invalid.reposition(0, 0, 4, 2);
    EXPECT_EQ(invalid, Area(0, 0, 4, 2, nullptr));
}

TEST(PlmArea, TryToReduceCropsOnlyWideMargins)
{
    struct Case
    {
        const char* what;
        Area area;
        float threshold;
        int32_t x, y;
        uint32_t width, height;
    };
    Area faint = painted(16, 16, 6, 6, 9, 9);
    faint.drawBrush(Bytes{5}, 1, 0, 0, false);  // below the threshold: lost with the margin
    const Case cases[] = {
        {"middle third", painted(9, 9, 3, 3, 5, 5), 10, 103, -47, 3, 3},
        {"margins under an eighth", painted(16, 16, 1, 1, 14, 14), 10, 100, -50, 16, 16},
        {"top cut, thin bottom follows", painted(16, 16, 0, 8, 15, 14), 10, 100, -42, 16, 7},
        {"bottom alone", painted(16, 16, 1, 0, 15, 10), 10, 100, -50, 16, 11},
        {"left and right", painted(16, 4, 4, 0, 9, 3), 10, 104, -50, 6, 4},
        {"faint cells", faint, 10, 106, -44, 4, 4},
        {"nothing reaches the threshold", painted(16, 16, 4, 4, 9, 9), 250, 100, -50, 16, 16},
    };
    for (const Case& c : cases)
    {
        Area area = c.area;
        area.tryToReduce(c.threshold, 0.125f);
        EXPECT_EQ(std::make_tuple(area.getX(), area.getY(), area.getWidth(), area.getHeight()),
                  std::make_tuple(c.x, c.y, c.width, c.height))
            << c.what;
        // World positions hold: every painted cell left is where it was.
        Area back = area;
        back.reposition(100, -50, c.area.getWidth(), c.area.getHeight());
        for (size_t i = 0; i < back.getImage().size(); ++i)
            EXPECT_TRUE(c.area.getImage()[i] < c.threshold || back.getImage()[i] == 200) << c.what;
    }
    Area invalid;
    invalid.tryToReduce(0, 0.125f);
    EXPECT_EQ(invalid, Area());
}

// The box filter by brute force: every source cell weighted by its overlap with the cell.
double referenceCell(const Area& a, uint32_t optW, uint32_t optH, uint32_t i, uint32_t j)
{
    const double cw = float(a.getWidth()) / float(optW), ch = float(a.getHeight()) / float(optH);
    double sum = 0.0;
    for (uint32_t r = 0; r < a.getHeight(); ++r)
        for (uint32_t c = 0; c < a.getWidth(); ++c)
        {
            const double ox = std::min(c + 1.0, (i + 1) * cw) - std::max(double(c), i * cw);
            const double oy = std::min(r + 1.0, (j + 1) * ch) - std::max(double(r), j * ch);
            if (ox > 0 && oy > 0)
                sum += ox * oy * a.getCell(c, r);
        }
    return std::min(255.0, sum / (cw * ch));
}

TEST(PlmArea, OptimizeBoxFilters)
{
    // w, h, pixel size, expected out size, and whether floats hold the cell edges exactly
    const uint32_t cases[][6] = {{10, 10, 3, 4, 4, 1}, {10, 3, 3, 4, 1, 1}, {7, 5, 2, 4, 3, 0},
                                 {1, 1, 5, 1, 1, 1},   {12, 9, 4, 3, 3, 1}, {33, 17, 5, 7, 4, 0},
                                 {9, 6, 1, 9, 6, 1}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c[0] << "x" << c[1] << " / " << c[2]);
        const Area area(-7, 3, c[0], c[1], randomBytes(size_t(c[0]) * c[1], c[0] + c[1]).data());
        Area out;
        area.optimize(out, c[2]);
        ASSERT_EQ(std::make_tuple(out.getX(), out.getY(), out.getWidth(), out.getHeight()),
                  std::make_tuple(-7, 3, c[3], c[4]));
        for (uint32_t k = 0; k < c[3] * c[4]; ++k)
        {
            const double expected = referenceCell(area, c[3], c[4], k % c[3], k / c[3]);
            EXPECT_NEAR(out.getImage()[k], c[5] ? std::floor(expected) : expected, c[5] ? 0 : 1)
                << k;
        }
        if (c[2] == 1)
        {
            EXPECT_EQ(out, area);
        }
    }
    Area out;
    Area(0, 0, 10, 10, Bytes(100, 255).data()).optimize(out, 3);
    EXPECT_EQ(out.getImage(), Bytes(16, 255));
}

// The saved fields read back one by one with type tags, so their order and types count.
std::pair<bool, Bytes> savedImage(const Area& area)
{
    const Bytes bytes = save([&](Sl::Saver& s) { area.save(s); });
    Sl::LoaderBinArray loader(bytes.data(), uint32_t(bytes.size()));
    bool valid = false, compressed = false;
    int32_t x = 0, y = 0;
    uint32_t w = 0, h = 0, imageSize = 0, procSize = 0;
    loader.read(valid);
    loader.read(x);
    loader.read(y);
    loader.read(w);
    loader.read(h);
    loader.read(compressed);
    loader.read(imageSize);
    EXPECT_TRUE(valid && x == area.getX() && y == area.getY() && w == area.getWidth() &&
                h == area.getHeight() && imageSize == area.getImage().size());
    if (compressed)
        loader.read(procSize);
    Bytes data;
    if (imageSize != 0)
    {
        data.resize(loader.readBinarySize());
        loader.readBinaryData(data.data());
        EXPECT_EQ(compressed ? procSize : imageSize, data.size());
    }
    EXPECT_EQ(loader.dataLeftToRead(), 0u);
    return {compressed, data};
}

TEST(PlmArea, SavesRawOrDeflated)
{
    const Bytes noise = randomBytes(64 * 64, 7);
    EXPECT_EQ(savedImage(Area(-32, -32, 64, 64, noise.data())), std::make_pair(false, noise));
    EXPECT_EQ(savedImage(Area(1, 2, 7, 0, nullptr)), std::make_pair(false, Bytes()));
    for (const Area& area : {painted(64, 48, 0, 0, 0, 0, 0), painted(64, 48, 10, 10, 40, 30)})
    {
        const auto [compressed, data] = savedImage(area);
        ASSERT_TRUE(compressed);
        Bytes inflated(area.getImage().size());
        uLongf size = uLongf(inflated.size());
        ASSERT_EQ(uncompress(inflated.data(), &size, data.data(), data.size()), Z_OK);
        EXPECT_EQ(inflated, area.getImage());
    }
    EXPECT_EQ(save([](Sl::Saver& s) { Area().save(s); }),
              save([](Sl::Saver& s) { s.write("is_valid", false); }));
}

TEST(PlmArea, RoundTripsAsPropertyValue)
{
    const Area areas[] = {Area(), Area(4, 5, 3, 0, nullptr),
                          Area(-9, 8, 30, 20, randomBytes(600, 3).data()),
                          painted(64, 64, 3, 4, 50, 60, 99)};
    for (const Area& area : areas)
    {
        EXPECT_EQ(loadArea(save([&](Sl::Saver& s) { area.save(s); })), area);
        PropsOwner owner;
        Prop<Area> prop(owner, false, area);
        prop.set(Area(1, 1, 2, 2, nullptr));
        const Bytes bytes = save(
            [&](Sl::Saver& s)
            {
                Sl::RevisionSaver saver(s);
                prop.save("area", saver);
            });
        Sl::LoaderBinArray inner(bytes.data(), uint32_t(bytes.size()));
        Sl::RevisionLoader loader(nullptr, inner);
        Prop<Area> loaded(owner);
        loaded.load(loader);
        EXPECT_EQ(loaded.getDefault(), area);
        EXPECT_EQ(loaded.get(), Area(1, 1, 2, 2, nullptr));
    }
}

Bytes deflated(const Bytes& raw)
{
    uLongf size = compressBound(raw.size());
    Bytes out(size);
    EXPECT_EQ(compress2(out.data(), &size, raw.data(), raw.size(), 9), Z_OK);
    out.resize(size);
    return out;
}

// A record with every field chosen: "proc_image_size" is the data's size plus procDelta.
struct Record
{
    const char* what;
    uint32_t width, height;
    bool compressed;
    uint32_t imageSize;
    Bytes data;
    int procDelta = 0;
};

Bytes writeRecord(const Record& r)
{
    return save(
        [&](Sl::Saver& s)
        {
            s.write("is_valid", true);
            s.write("x", int32_t(0));
            s.write("y", int32_t(0));
            s.write("width", r.width);
            s.write("height", r.height);
            s.write("compressed", r.compressed);
            s.write("image_size", r.imageSize);
            if (r.compressed)
                s.write("proc_image_size", uint32_t(r.data.size() + r.procDelta));
            if (!r.data.empty() || r.compressed)
                s.writeBinary("image", r.data.data(), r.data.size());
        });
}

TEST(PlmArea, DamagedRecordsRaise)
{
    const Bytes packed = deflated(Bytes(16, 0));
    Bytes garbage = packed;
    garbage[garbage.size() / 2] ^= 0x5a;
    garbage.back() ^= 0xff;
    const Record cases[] = {
        {"image_size against the cells", 4, 4, false, 15, Bytes(15, 1)},
        {"raw image shorter", 4, 4, false, 16, Bytes(15, 1)},
        {"absurd size", 32768, 16384, false, 32768u * 16384u, Bytes(16, 1)},
        {"cells beyond 32 bits", 65536, 65536, false, 0, {}},
        {"beyond what deflate holds", 16000, 16000, true, 16000u * 16000u, packed},
        {"compressed empty image", 0, 4, true, 0, packed},
        {"proc_image_size", 4, 4, true, 16, packed, 1},
        {"inflates to more", 4, 4, true, 16, deflated(Bytes(17, 0))},
        {"inflates to less", 4, 4, true, 16, deflated(Bytes(15, 0))},
        {"not a zlib stream", 4, 4, true, 16, garbage},
        {"cut short", 4, 4, true, 16, Bytes(packed.begin(), packed.end() - 3)},
    };
    EXPECT_EQ(loadArea(writeRecord({"control", 4, 4, true, 16, packed})),
              Area(0, 0, 4, 4, nullptr));
    for (const Record& r : cases)
    {
        const Bytes bytes = writeRecord(r);
        Sl::LoaderBinArray loader(bytes.data(), uint32_t(bytes.size()));
        Area area(1, 2, 1, 1, nullptr);
        EXPECT_THROW(Area::load(loader, area), Sl::Exception) << r.what;
        EXPECT_EQ(area, Area(1, 2, 1, 1, nullptr)) << r.what;
    }
    const Bytes good = save([](Sl::Saver& s) { painted(20, 20, 2, 2, 9, 9, 50).save(s); });
    for (size_t n = 0; n < good.size(); ++n)
        EXPECT_THROW(loadArea(Bytes(good.begin(), good.begin() + n)), Sl::Exception) << n;
}

TEST(PlmAreaBlock, DefaultsConnectorsAndEditorData)
{
    std::unique_ptr<Block> made = PlmTest::createByName("func_area");
    auto* block = dynamic_cast<BlockFuncArea*>(made.get());
    ASSERT_TRUE(block);
    EXPECT_EQ(block->getArea(), Area(-32, -32, 64, 64, nullptr));
    EXPECT_EQ(block->getOptPixelSize(), 10u);
    const PlmTest::Descs expected{outputDesc(CT_Vec2, 1), outputDesc(CT_Float, 2),
                                  inputDesc(CT_Float, 0)};
    EXPECT_EQ(PlmTest::connectorsOf(*block), expected);
    const boost::uuids::uuid before = block->getRevision();
    block->setAreaEdSaveData({1, 2});
    const boost::uuids::uuid after = block->getRevision();
    block->setAreaEdSaveData({1, 2});
    EXPECT_NE(after, before);
    EXPECT_EQ(block->getRevision(), after);
}

TEST(PlmAreaBlock, SavesCopiesAndReadsOldVersion)
{
    std::unique_ptr<BlockFuncArea> block = BlockFuncArea::create();
    block->setArea(Area(3, -4, 40, 30, randomBytes(1200, 11).data()));
    block->setOptPixelSize(4u);
    block->setAreaEdSaveData({9, 8, 7, 0, 255});
    const Bytes bytes = saveBlockPlain(*block);
    for (const auto& other : {PlmTest::load(bytes), block->copyWithoutRelations()})
    {
        auto* area = dynamic_cast<BlockFuncArea*>(other.get());
        ASSERT_TRUE(area);
        area->updateConnectors();
        EXPECT_EQ(area->getArea(), block->getArea());
        EXPECT_TRUE(area->getProp(0).isOverridden());
        EXPECT_EQ(area->getOptPixelSize(), 4u);
        EXPECT_EQ(area->getAreaEdSaveData(), block->getAreaEdSaveData());
        EXPECT_EQ(PlmTest::connectorsOf(*area), PlmTest::connectorsOf(*block));
    }
    for (size_t n = 0; n < bytes.size(); n += 7)
        EXPECT_THROW(loadBlockPlain(bytes.data(), n), Sl::Exception) << n;

    // Version 0 held the editor's state in a group of another layout: skipped, data empty.
    const Bytes image{1, 2, 3, 4};
    for (uint32_t version : {0u, 1u, 2u})
    {
        const Bytes record = PlmTest::writeBlock(
            "func_area",
            [&](Sl::RevisionSaver& saver)
            {
                PlmTest::writeFuncGroup(saver);
                Sl::ScopedSaverGroup group("func_area", saver, version);
                PlmTest::writeProp(saver, "area", Area(0, 0, 2, 2, image.data()));
                PlmTest::writeProp(saver, "opt_pix_size", 6u);
                Sl::ScopedSaverGroup third(version == 0 ? "ed_save" : "ed_data", saver);
                saver.write(nullptr, version == 0 ? 2u : 1u);
                saver.write(nullptr, uint8_t(5));
                if (version == 0)
                    saver.write("zoom", 2.5f);
            });
        if (version > BlockFuncArea::kVersion)
        {
            EXPECT_THROW(PlmTest::load(record), Sl::OldLoaderVersionException);
            continue;
        }
        std::unique_ptr<Block> loaded = PlmTest::load(record);
        auto* area = dynamic_cast<BlockFuncArea*>(loaded.get());
        ASSERT_TRUE(area);
        EXPECT_EQ(area->getArea(), Area(0, 0, 2, 2, image.data()));
        EXPECT_EQ(area->getOptPixelSize(), 6u);
        EXPECT_EQ(area->getAreaEdSaveData(), version == 0 ? Bytes() : Bytes{5});
    }
}

}  // namespace
