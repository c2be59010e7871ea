#include <cmath>
#include <functional>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "plot/path.h"
#include "plot/path2_intersect_tree.h"
#include "plot/path_cache.h"

using Path2 = Path<glm::vec2>;
using Key2 = PathKey<glm::vec2>;

namespace
{

Path2 polyline(std::initializer_list<glm::vec2> points)
{
    Path2 path;
    for (const glm::vec2& p : points)
        path.appendKeyBack(Key2(false, p));
    return path;
}

// A quarter-circle-like arc from (0, 0) to (3, 3).
Path2 arc()
{
    Path2 path;
    path.appendKeyBack(Key2(false, glm::vec2(0, 0)));
    path.appendKeyBackWithSegment(Key2(false, glm::vec2(3, 3)),
                                  PathSegBezier<glm::vec2>(glm::vec2(2, 0), glm::vec2(3, 1)));
    return path;
}

}  // namespace

TEST(PathSegments, ValuesAndLengths)
{
    Path2 path = polyline({{0, 0}, {3, 4}, {3, 10}});
    EXPECT_EQ(path.getNumSegments(), 2u);
    EXPECT_EQ(path.getSegment(0).type_, PST_Linear);
    EXPECT_EQ(path.computeValue(0, 0.5f), glm::vec2(1.5f, 2.0f));
    EXPECT_FLOAT_EQ(path.computeLength(0), 5.0f);
    path.convertSegment(1, PathSegBroken());
    EXPECT_EQ(path.computeValue(1, 0.49f), glm::vec2(3, 4));
    EXPECT_EQ(path.computeValue(1, 0.5f), glm::vec2(3, 10));
    EXPECT_EQ(path.computeLength(1), 0.0f);
}

TEST(PathSegments, BezierUsesItsOwnParameter)
{
    const Path2 path = arc();
    EXPECT_EQ(path.computeValue(0, 0.0f), glm::vec2(0, 0));
    EXPECT_EQ(path.computeValue(0, 1.0f), glm::vec2(3, 3));
    // B(0.5) = (p0 + 3 c0 + 3 c1 + p1) / 8.
    const glm::vec2 mid = path.computeValue(0, 0.5f);
    EXPECT_FLOAT_EQ(mid.x, (0 + 6 + 9 + 3) / 8.0f);
    EXPECT_FLOAT_EQ(mid.y, (0 + 0 + 3 + 3) / 8.0f);
    // 40 chords: a little shorter than the curve, longer than the straight line.
    const float length = path.computeLength(0);
    EXPECT_GT(length, std::sqrt(18.0f));
    EXPECT_LT(length, 6.0f);
}

TEST(PathEditing, ListOperationsKeepOneSegmentPerGap)
{
    Path2 path = polyline({{0, 0}, {1, 0}});
    path.appendKeyFrontWithSegment(Key2(true, glm::vec2(-1, 0)), PathSegBroken());
    path.breakSegmentWithKey(1, Key2(false, glm::vec2(0.5f, 1)),
                             PathSegBezier<glm::vec2>(glm::vec2(0, 1), glm::vec2(0.2f, 1)),
                             PathSegLinear());
    ASSERT_EQ(path.getNumKeys(), 4u);
    ASSERT_EQ(path.getNumSegments(), 3u);
    EXPECT_EQ(path.getSegment(0).type_, PST_Broken);
    EXPECT_EQ(path.getSegment(1).type_, PST_Bezier);
    EXPECT_EQ(path.getSegment(2).type_, PST_Linear);
    EXPECT_EQ(path.getBezierSegment(1).outControl_, glm::vec2(0.2f, 1));
    path.deleteKey(3);  // the last key takes the last segment
    EXPECT_EQ(path.getNumSegments(), 2u);
    EXPECT_EQ(path.getSegment(1).type_, PST_Bezier);
    path.deleteKey(0);  // the first key takes segment 0
    EXPECT_EQ(path.getNumSegments(), 1u);
    EXPECT_EQ(path.getSegment(0).type_, PST_Bezier);
    path.deleteKey(0);
    path.deleteKey(0);
    EXPECT_EQ(path, Path2());
    EXPECT_THROW(path.deleteKey(0), Debug::CheckException);
}

TEST(PathEditing, CopiesCompareByContent)
{
    Path2 a = arc();
    Path2 b = a;
    EXPECT_EQ(a, b);
    b.bezierSegment(0).inControl_.x += 1.0f;
    EXPECT_NE(a, b);
    b = a;
    b.key(1).corner = true;
    EXPECT_NE(a, b);
}

TEST(PathCacheForm, EmptyAndSingleKey)
{
    PathCache<glm::vec2> empty(Path2(), 15);
    EXPECT_EQ(empty.getLength(), 0.0f);
    ASSERT_EQ(empty.getNumSegments(), 1u);
    EXPECT_EQ(empty.getSegment(0).normStart, 0.0f);
    EXPECT_EQ(empty.getSegment(0).normEnd, 1.0f);
    EXPECT_EQ(empty.getSegment(0).points, (std::vector<glm::vec2>{{0, 0}, {0, 0}}));
    PathCache<glm::vec2> single(polyline({{4, 5}}), 15);
    EXPECT_EQ(single.getLength(), 0.0f);
    EXPECT_EQ(single.getSegment(0).points, (std::vector<glm::vec2>{{4, 5}, {4, 5}}));
}

TEST(PathCacheForm, AllBrokenGivesTheFixedZeroCache)
{
    Path2 path = polyline({{1, 1}, {2, 2}, {3, 1}});
    path.convertSegment(0, PathSegBroken());
    path.convertSegment(1, PathSegBroken());
    PathCache<glm::vec2> cache(path, 15);
    EXPECT_EQ(cache.getLength(), 0.0f);
    ASSERT_EQ(cache.getNumSegments(), 1u);
    EXPECT_EQ(cache.getSegment(0).points, (std::vector<glm::vec2>{{0, 0}, {0, 0}}));
}

TEST(PathCacheForm, LinearSegmentsAreNormalisedByLength)
{
    Path2 path = polyline({{0, 0}, {3, 4}, {3, 4}, {3, 10}, {5, 10}});
    path.convertSegment(3, PathSegBroken());
    PathCache<glm::vec2> cache(path, 15);
    EXPECT_FLOAT_EQ(cache.getLength(), 11.0f);
    ASSERT_EQ(cache.getNumSegments(), 3u);  // the broken one is skipped
    EXPECT_FLOAT_EQ(cache.getSegment(0).normStart, 0.0f);
    EXPECT_FLOAT_EQ(cache.getSegment(0).normEnd, 5.0f / 11.0f);
    // Coincident keys: a segment of no length is kept.
    EXPECT_FLOAT_EQ(cache.getSegment(1).normStart, 5.0f / 11.0f);
    EXPECT_FLOAT_EQ(cache.getSegment(1).normEnd, 5.0f / 11.0f);
    EXPECT_EQ(cache.getSegment(1).points, (std::vector<glm::vec2>{{3, 4}, {3, 4}}));
    EXPECT_FLOAT_EQ(cache.getSegment(2).normEnd, 1.0f);
}

TEST(PathCacheForm, BezierPointsAreEvenlySpacedByLength)
{
    const Path2 path = arc();
    PathCache<glm::vec2> cache(path, 15);
    ASSERT_EQ(cache.getNumSegments(), 1u);
    const std::vector<glm::vec2>& points = cache.getSegment(0).points;
    ASSERT_EQ(points.size(), 16u);
    EXPECT_EQ(points.front(), glm::vec2(0, 0));
    EXPECT_NEAR(points.back().x, 3.0f, 1e-4f);
    EXPECT_NEAR(points.back().y, 3.0f, 1e-4f);
    float sum = 0.0f;
    for (size_t i = 1; i < points.size(); ++i)
        sum += glm::distance(points[i - 1], points[i]);
    const float mean = sum / 15.0f;
    for (size_t i = 1; i < points.size(); ++i)
        EXPECT_NEAR(glm::distance(points[i - 1], points[i]), mean, mean * 0.01f) << i;
    // The cache's length is the sum of the distances pushed, close to the segment's length.
    EXPECT_FLOAT_EQ(cache.getLength(), sum);
    EXPECT_NEAR(cache.getLength(), path.computeLength(0), 0.01f);
}

TEST(PathCacheForm, SubdivisionOneKeepsTheKeyPoints)
{
    PathCache<glm::vec2> cache(arc(), 1);
    const std::vector<glm::vec2>& points = cache.getSegment(0).points;
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0], glm::vec2(0, 0));
    EXPECT_NEAR(points[1].x, 3.0f, 1e-4f);
    EXPECT_NEAR(points[1].y, 3.0f, 1e-4f);
}

TEST(PathCacheForm, ReadLikeTheRuntimeItWalksThePathByLength)
{
    // Position at a share of the whole length: the first segment ending at or after it, then
    // the blend of the two neighbouring points.
    Path2 path = polyline({{0, 0}, {4, 0}});
    path.appendKeyBackWithSegment(Key2(false, glm::vec2(8, 4)),
                                  PathSegBezier<glm::vec2>(glm::vec2(6, 0), glm::vec2(8, 2)));
    const PathCache<glm::vec2> cache(path, 15);
    auto position = [&cache](float t)
    {
        unsigned s = 0;
        while (s + 1 < cache.getNumSegments() && cache.getSegment(s).normEnd < t)
            ++s;
        const PathCacheSeg<glm::vec2>& seg = cache.getSegment(s);
        const float x =
            (seg.points.size() - 1) * ((t - seg.normStart) / (seg.normEnd - seg.normStart));
        const size_t i = static_cast<size_t>(x);
        if (i + 1 >= seg.points.size())
            return seg.points.back();
        const float f = x - std::floor(x);
        return seg.points[i] + (seg.points[i + 1] - seg.points[i]) * f;
    };
    const float total = cache.getLength();
    EXPECT_NEAR(position(2.0f / total).x, 2.0f, 1e-4f);
    EXPECT_EQ(position(0.0f), glm::vec2(0, 0));
    EXPECT_NEAR(position(1.0f).x, 8.0f, 1e-3f);
    // Equal steps of the input walk equal distances along the curve.
    const float start = 4.0f / total;
    float previous = -1.0f;
    for (int k = 1; k <= 10; ++k)
    {
        const float d = glm::distance(position(start + (1 - start) * (k - 1) / 10),
                                      position(start + (1 - start) * k / 10));
        if (previous > 0)
        {
            EXPECT_NEAR(d, previous, previous * 0.05f);
        }
        previous = d;
    }
}

TEST(PathIntersectTree, ThreeLinesGiveThreeLevels)
{
    const Path2 path = polyline({{0, 0}, {1, 1}, {2, 0}, {3, 2}});
    const PathCache<glm::vec2> cache(path, 15);
    const auto tree = Path2IntersectTree::createFromPathCache2(cache);
    ASSERT_EQ(tree->getNumLevels(), 3u);
    ASSERT_EQ(tree->getLevel(0).size(), 1u);
    ASSERT_EQ(tree->getLevel(1).size(), 2u);
    ASSERT_EQ(tree->getLevel(2).size(), 2u);
    const auto& root = tree->getLevel(0)[0];
    EXPECT_EQ(root.type, Path2IntersectTree::NT_Box);
    EXPECT_EQ(root.low(), glm::vec2(0, 0));
    EXPECT_NEAR(root.high().x, 3.0f, 1e-6f);
    EXPECT_NEAR(root.high().y, 2.0f, 1e-6f);
    const auto& box01 = tree->getLevel(1)[0];
    EXPECT_EQ(box01.type, Path2IntersectTree::NT_Box);
    EXPECT_NEAR(box01.high().x, 2.0f, 1e-6f);
    EXPECT_NEAR(box01.high().y, 1.0f, 1e-6f);
    const auto& third = tree->getLevel(1)[1];  // the third line, moved up
    EXPECT_EQ(third.type, Path2IntersectTree::NT_Rising);
    EXPECT_EQ(third.centre, glm::vec2(2.5f, 1.0f));
    EXPECT_EQ(tree->getLevel(2)[0].type, Path2IntersectTree::NT_Rising);
    EXPECT_EQ(tree->getLevel(2)[1].type, Path2IntersectTree::NT_Falling);
    EXPECT_EQ(tree->getLevel(2)[1].centre, glm::vec2(1.5f, 0.5f));
}

TEST(PathIntersectTree, FlatLinesAreRisingWithFlatBoxes)
{
    const auto tree = Path2IntersectTree::createFromPathCache2(
        PathCache<glm::vec2>(polyline({{0, 1}, {4, 1}, {4, -3}}), 15));
    ASSERT_EQ(tree->getNumLevels(), 2u);
    const auto& horizontal = tree->getLevel(1)[0];
    const auto& vertical = tree->getLevel(1)[1];
    EXPECT_EQ(horizontal.type, Path2IntersectTree::NT_Rising);
    EXPECT_EQ(horizontal.direction, glm::vec2(1, 0));
    EXPECT_FLOAT_EQ(horizontal.length, 2.0f);
    EXPECT_EQ(vertical.type, Path2IntersectTree::NT_Rising);
    EXPECT_EQ(vertical.direction, glm::vec2(0, 1));
    // A point: no length and no direction.
    const auto point = Path2IntersectTree::makeNode(Path2IntersectTree::NT_Rising, glm::vec2(1, 1),
                                                    glm::vec2(1, 1));
    EXPECT_EQ(point.length, 0.0f);
    EXPECT_EQ(point.direction, glm::vec2(0, 0));
}

TEST(PathIntersectTree, EveryLineIsReachableAndEveryBoxHoldsItsChildren)
{
    // 13 lines: odd counts on several levels, so subtrees move up more than once.
    Path2 path;
    for (int i = 0; i <= 13; ++i)
        path.appendKeyBack(Key2(false, glm::vec2(float(i), float((i * 7) % 5))));
    const PathCache<glm::vec2> cache(path, 15);
    const auto tree = Path2IntersectTree::createFromPathCache2(cache);
    ASSERT_EQ(tree->getLevel(0).size(), 1u);
    std::vector<glm::vec2> leafCentres;
    std::function<void(unsigned, size_t)> walk = [&](unsigned level, size_t index)
    {
        ASSERT_LT(level, tree->getNumLevels());
        ASSERT_LT(index, tree->getLevel(level).size());
        const auto& node = tree->getLevel(level)[index];
        if (node.type != Path2IntersectTree::NT_Box)
        {
            leafCentres.push_back(node.centre);
            return;
        }
        for (size_t child = 2 * index; child <= 2 * index + 1; ++child)
        {
            ASSERT_LT(level + 1, tree->getNumLevels());
            ASSERT_LT(child, tree->getLevel(level + 1).size());
            const auto& c = tree->getLevel(level + 1)[child];
            EXPECT_TRUE(glm::all(glm::greaterThanEqual(c.low(), node.low() - 1e-5f)));
            EXPECT_TRUE(glm::all(glm::lessThanEqual(c.high(), node.high() + 1e-5f)));
            walk(level + 1, child);
        }
    };
    walk(0, 0);
    ASSERT_EQ(leafCentres.size(), 13u);
    for (int i = 0; i < 13; ++i)
    {
        const glm::vec2 a(float(i), float((i * 7) % 5)), b(float(i + 1), float(((i + 1) * 7) % 5));
        EXPECT_EQ(leafCentres[i], (a + b) / 2.0f) << "line " << i;
    }
}

TEST(PathEditing, EditsTakeTheirOwnItemsAsArguments)
{
    Path2 path = arc();
    path.appendKeyBack(Key2(false, glm::vec2(5, 5)));
    path.convertSegment(1, path.getSegment(0));
    EXPECT_EQ(path.getBezierSegment(1).inControl_, glm::vec2(2, 0));
    path.breakSegmentWithKey(0, path.getKey(1), path.getSegment(1), path.getSegment(0));
    EXPECT_EQ(path.getNumKeys(), 4u);
    EXPECT_EQ(path.getNumSegments(), 3u);
    path.appendKeyBackWithSegment(path.getKey(0), path.getSegment(2));
    EXPECT_EQ(path.getSegment(3).type_, PST_Bezier);
    EXPECT_EQ(path.getKey(4), path.getKey(0));
}
