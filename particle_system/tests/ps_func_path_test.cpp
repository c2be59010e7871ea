#include <cmath>

#include <glm/geometric.hpp>
#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/functions/ps_func_path_track.h"
#include "ps_func_test_bytes.h"

namespace
{

using Track2 = Ps::FuncPathTrack<glm::vec2>;
using Track3 = Ps::FuncPathTrack<glm::vec3>;

template <class T>
PsFuncTest::Loaded<Ps::FuncPathTrack<T>>
loadPath(const std::vector<PsFuncTest::PathSegmentData<T>>& segs)
{
    auto r = PsFuncTest::load<Ps::FuncPathTrack<T>>(
        PsFuncTest::bytesOf([&](Sl::Saver& s) { PsFuncTest::writePath<T>(s, segs, 123.0f); }));
    EXPECT_EQ(r.computed, r.used);
    EXPECT_TRUE(r.sizePassConsumedAll);
    EXPECT_TRUE(r.loadPassConsumedAll);
    return r;
}

// An L: (0,0) -> (4,0) -> (4,4), in one segment of three points.
PsFuncTest::Loaded<Track2> ell()
{
    return loadPath<glm::vec2>({{0.0f, 1.0f, {{0, 0}, {4, 0}, {4, 4}}}});
}

TEST(PsFuncPath, LoadingAddsSpareEntryAndDirections)
{
    auto r = ell();
    const Track2::Segment& s = r.object.segments_[0];
    ASSERT_EQ(3u, s.numValues_);
    EXPECT_EQ(glm::vec2(4, 4), s.values[3]);
    EXPECT_EQ(glm::vec2(1, 0), s.dirs[0]);
    EXPECT_EQ(glm::vec2(0, 1), s.dirs[1]);
    EXPECT_EQ(glm::vec2(0, 1), s.dirs[2]);
    EXPECT_EQ(glm::vec2(0, 1), s.dirs[3]);
}

TEST(PsFuncPath, EndsAndDirections)
{
    auto r = ell();
    glm::vec2 p, d;
    r.object.evaluate(0.0f, p, d);
    EXPECT_EQ(glm::vec2(0, 0), p);
    EXPECT_EQ(glm::vec2(1, 0), d);
    // Above 1: the end and the direction of the last line.
    r.object.evaluate(1.7f, p, d);
    EXPECT_EQ(glm::vec2(4, 4), p);
    EXPECT_EQ(glm::vec2(0, 1), d);
    r.object.evaluate(1.0f, p, d);
    EXPECT_EQ(glm::vec2(4, 4), p);
    EXPECT_EQ(glm::vec2(0, 1), d);
    // Below 0: the start.
    r.object.evaluate(-3.0f, p, d);
    EXPECT_EQ(glm::vec2(0, 0), p);
    EXPECT_EQ(glm::vec2(1, 0), d);
}

TEST(PsFuncPath, PositionLerpsAndDirectionBlendsWithoutNormalising)
{
    auto r = ell();
    glm::vec2 p, d;
    // x = 2 * 0.25 = 0.5: halfway along the first line; the direction is
    // halfway between (1, 0) and (0, 1), shorter than 1.
    r.object.evaluate(0.25f, p, d);
    EXPECT_EQ(glm::vec2(2, 0), p);
    EXPECT_EQ(glm::vec2(0.5f, 0.5f), d);
    EXPECT_LT(glm::length(d), 1.0f);
    r.object.evaluate(0.375f, p, d);
    EXPECT_EQ(glm::vec2(3, 0), p);
    EXPECT_EQ(glm::vec2(0.25f, 0.75f), d);
    r.object.evaluate(0.75f, p, d);
    EXPECT_EQ(glm::vec2(4, 2), p);
    EXPECT_EQ(glm::vec2(0, 1), d);
}

TEST(PsFuncPath, SegmentsCoverSharesOfTheLength)
{
    auto r = loadPath<glm::vec3>({{0.0f, 0.25f, {{0, 0, 0}, {0, 0, 1}}},
                                  {0.25f, 1.0f, {{0, 0, 1}, {0, 3, 1}, {0, 6, 1}, {0, 9, 1}}}});
    glm::vec3 p, d;
    r.object.evaluate(0.125f, p, d);
    EXPECT_EQ(glm::vec3(0, 0, 0.5f), p);
    EXPECT_EQ(glm::vec3(0, 0, 1), d);
    // At a boundary the earlier segment's end.
    r.object.evaluate(0.25f, p, d);
    EXPECT_EQ(glm::vec3(0, 0, 1), p);
    EXPECT_EQ(glm::vec3(0, 0, 1), d);
    r.object.evaluate(0.5f, p, d);
    EXPECT_EQ(glm::vec3(0, 3, 1), p);
    EXPECT_EQ(glm::vec3(0, 1, 0), d);
    r.object.evaluate(2.0f, p, d);
    EXPECT_EQ(glm::vec3(0, 9, 1), p);
    EXPECT_EQ(glm::vec3(0, 1, 0), d);
}

TEST(PsFuncPath, ZeroLengthFirstSegmentReadsItsFirstPoint)
{
    // A first segment that covers no share of the length: two points at the
    // same place, read at 0 and at every input clamped to 0.
    auto r = loadPath<glm::vec2>({{0.0f, 0.0f, {{1, 1}, {1, 2}}}, {0.0f, 1.0f, {{1, 2}, {5, 2}}}});
    glm::vec2 p, d;
    r.object.evaluate(0.0f, p, d);
    EXPECT_EQ(glm::vec2(1, 1), p);
    EXPECT_EQ(glm::vec2(0, 1), d);
    r.object.evaluate(-2.0f, p, d);
    EXPECT_EQ(glm::vec2(1, 1), p);
    EXPECT_EQ(glm::vec2(0, 1), d);
    // The rest of the path is unchanged.
    r.object.evaluate(0.5f, p, d);
    EXPECT_EQ(glm::vec2(3, 2), p);
    EXPECT_EQ(glm::vec2(1, 0), d);
    r.object.evaluate(1.0f, p, d);
    EXPECT_EQ(glm::vec2(5, 2), p);
    r.object.evaluate(NAN, p, d);
    EXPECT_TRUE(std::isnan(p.x));
}

TEST(PsFuncPath, PathOfNoLengthReadsItsFirstPoint)
{
    auto r = loadPath<glm::vec3>({{1.0f, 1.0f, {{0, 0, 4}, {0, 3, 4}, {0, 3, 8}}}});
    glm::vec3 p, d;
    for (float t : {1.0f, 0.0f, 0.5f, 7.0f})
    {
        r.object.evaluate(t, p, d);
        EXPECT_EQ(glm::vec3(0, 0, 4), p) << t;
        EXPECT_EQ(glm::vec3(0, 1, 0), d) << t;
    }
}

TEST(PsFuncPath, SegmentOfOnePointIsRefused)
{
    const auto bytes = PsFuncTest::bytesOf(
        [](Sl::Saver& s) {
            PsFuncTest::writePath<glm::vec2>(s, {{0.0f, 1.0f, {{1, 1}}}}, 0.0f);
        });
    EXPECT_THROW(PsFuncTest::load<Track2>(bytes), Debug::CheckException);
}

TEST(PsFuncPath, EmptyPathIsAnAssertionWhenEvaluated)
{
    auto r = loadPath<glm::vec2>({});
    glm::vec2 p, d;
    EXPECT_THROW(r.object.evaluate(0.5f, p, d), Debug::CheckException);
}

TEST(PsFuncPath, NanInputReadsInsideTheArrays)
{
    auto r = ell();
    glm::vec2 p, d;
    r.object.evaluate(NAN, p, d);
    EXPECT_TRUE(std::isnan(p.x));
}

}  // namespace
