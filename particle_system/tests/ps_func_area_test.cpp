#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/functions/ps_func_area_image.h"
#include "particle_system/ps_random_generator.h"
#include "ps_func_test_bytes.h"

namespace
{

using PsFuncTest::AreaData;

PsFuncTest::Loaded<Ps::FuncAreaImage> loadArea(const AreaData& desc)
{
    auto r = PsFuncTest::load<Ps::FuncAreaImage>(
        PsFuncTest::bytesOf([&](Sl::Saver& s) { PsFuncTest::writeArea(s, desc); }));
    EXPECT_EQ(r.computed, r.used);
    EXPECT_TRUE(r.sizePassConsumedAll);
    EXPECT_TRUE(r.loadPassConsumedAll);
    return r;
}

TEST(PsFuncArea, LoadsRunningSums)
{
    auto r = loadArea(AreaData{-10, 20, 300, 200, 3, 2, {0, 5, 255, 0, 1, 2}});
    const Ps::FuncAreaImage& a = r.object;
    EXPECT_EQ(glm::vec2(-10, 20), a.position);
    EXPECT_EQ(glm::vec2(300, 200), a.size);
    EXPECT_EQ(glm::vec2(100, 100), a.cellSize);
    EXPECT_EQ(3u, a.optWidth);
    EXPECT_EQ(2u, a.optHeight);
    const std::uint32_t expected[6] = {0, 5, 260, 260, 261, 263};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(expected[i], a.optData_[i]) << i;
    EXPECT_EQ(263u, a.total);
}

TEST(PsFuncArea, ZeroWeightCellsAreNeverPicked)
{
    auto r = loadArea(AreaData{0, 0, 30, 20, 3, 2, {0, 5, 0, 0, 1, 0}});
    for (int i = 0; i <= 1000; ++i)
    {
        const std::uint32_t cell = r.object.pickCell(i / 1000.0f);
        ASSERT_TRUE(cell == 1 || cell == 4) << cell;
    }
    EXPECT_EQ(1u, r.object.pickCell(-5.0f));
    EXPECT_EQ(4u, r.object.pickCell(5.0f));
}

// k = int(in * (total - 1)) + 1 over weights 1 and 3: k is 1 for in below
// 1/3 and 2 or 3 up to 1 (4 only at exactly 1), so even input gives the first
// cell a third and the second two thirds of the points: 1 : 2.
TEST(PsFuncArea, WeightsOneAndThreeShareOneToTwo)
{
    auto r = loadArea(AreaData{0, 0, 2, 1, 2, 1, {1, 3}});
    const int n = 300000;
    int hits[2] = {0, 0};
    for (int i = 0; i < n; ++i)
        ++hits[r.object.pickCell((i + 0.5f) / n)];
    EXPECT_NEAR(1.0 / 3.0, double(hits[0]) / n, 0.001);
    EXPECT_NEAR(2.0 / 3.0, double(hits[1]) / n, 0.001);
    EXPECT_EQ(0u, r.object.pickCell(0.0f));
    EXPECT_EQ(0u, r.object.pickCell(0.33f));
    EXPECT_EQ(1u, r.object.pickCell(0.34f));
    EXPECT_EQ(1u, r.object.pickCell(1.0f));
}

TEST(PsFuncArea, SinglePaintedCellHoldsAllPoints)
{
    // 4 x 3 cells of 25 x 10 units over an area at (100, -50).
    std::vector<std::uint8_t> w(12, 0);
    w[2 + 1 * 4] = 7;  // column 2, row 1
    auto r = loadArea(AreaData{100, -50, 100, 30, 4, 3, w});
    Ps::RandomGenerator rng(99);
    for (int i = 0; i < 2000; ++i)
    {
        const glm::vec2 p = r.object.pick(rng.generateNormFloat(), rng);
        ASSERT_GE(p.x, 150.0f);
        ASSERT_LT(p.x, 175.0f);
        ASSERT_GE(p.y, -40.0f);
        ASSERT_LT(p.y, -30.0f);
    }
}

TEST(PsFuncArea, FirstDrawPlacesYAndSecondX)
{
    auto r = loadArea(AreaData{10, 20, 40, 60, 2, 3, {0, 0, 0, 1, 0, 0}});  // column 1, row 1
    Ps::RandomGenerator rng(5);
    Ps::RandomGenerator copy(5);
    const float r1 = copy.generateNormFloat();
    const float r2 = copy.generateNormFloat();
    const glm::vec2 p = r.object.pick(0.5f, rng);
    EXPECT_EQ((1.0f / 2.0f) * 40.0f + 10.0f + r2 * 20.0f, p.x);
    EXPECT_EQ((1.0f / 3.0f) * 60.0f + 20.0f + r1 * 20.0f, p.y);
    // Exactly two draws.
    EXPECT_EQ(copy.generateUint32(), rng.generateUint32());
}

TEST(PsFuncArea, UnpaintedAreaAnswersItsPosition)
{
    auto r = loadArea(AreaData{-7, 9, 10, 10, 2, 2, {0, 0, 0, 0}});
    EXPECT_EQ(0u, r.object.total);
    Ps::RandomGenerator rng(1);
    Ps::RandomGenerator copy(1);
    EXPECT_EQ(glm::vec2(-7, 9), r.object.pick(0.3f, rng));
    EXPECT_EQ(glm::vec2(-7, 9), r.object.pick(1.0f, rng));
    EXPECT_EQ(copy.generateUint32(), rng.generateUint32());
}

TEST(PsFuncArea, EmptyImageLoadsAndAnswersItsPosition)
{
    auto r = loadArea(AreaData{3, 4, 10, 10, 0, 0, {}});
    EXPECT_EQ(0u, r.object.getNumPixels());
    Ps::RandomGenerator rng(1);
    EXPECT_EQ(glm::vec2(3, 4), r.object.pick(0.5f, rng));
}

TEST(PsFuncArea, WeightCountMustMatchImageSize)
{
    const auto bytes = PsFuncTest::bytesOf(
        [](Sl::Saver& s) {
            PsFuncTest::writeArea(s, AreaData{0, 0, 10, 10, 2, 2, {1, 2, 3}});
        });
    EXPECT_THROW(PsFuncTest::load<Ps::FuncAreaImage>(bytes), Debug::CheckException);
}

TEST(PsFuncArea, LargeTotalsNeverAskForMoreWeightThanThereIs)
{
    // 300 x 300 cells of weight 255: a total above 2^24, where total - 1
    // rounds when it becomes a float.
    AreaData desc{0, 0, 300, 300, 300, 300, std::vector<std::uint8_t>(90000, 255)};
    auto r = loadArea(desc);
    EXPECT_EQ(90000u * 255u, r.object.total);
    EXPECT_EQ(89999u, r.object.pickCell(1.0f));
    EXPECT_EQ(0u, r.object.pickCell(0.0f));
}

}  // namespace
