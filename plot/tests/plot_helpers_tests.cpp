#include <cstdint>
#include <memory>
#include <string>

#include <glm/vec2.hpp>
#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "plot/glm_ext.h"
#include "plot/interp.h"
#include "plot/obj_vector.h"

namespace
{

// Counts live objects, to see that every copy made is deleted again.
struct Base
{
    explicit Base(int v) : value(v) { ++live; }
    Base(const Base& other) : value(other.value) { ++live; }
    virtual ~Base() { --live; }
    virtual std::string name() const = 0;
    int value;
    static int live;
};
int Base::live = 0;

struct Small : Base
{
    explicit Small(int v) : Base(v) {}
    std::string name() const override { return "small" + std::to_string(value); }
};

struct Large : Base
{
    Large(int v, double x) : Base(v), extra(x), text("large") {}
    std::string name() const override { return text + std::to_string(value); }
    double extra;
    std::string text;  // not trivially copyable: must be copy-created, not moved as bytes
};

std::string names(const ObjVector<Base>& v)
{
    std::string result;
    for (size_t i = 0; i < v.size(); ++i)
        result += v[i].name() + " ";
    return result;
}

}  // namespace

TEST(ObjVectorTest, InsertEraseReplaceKeepOrderAndKinds)
{
    {
        ObjVector<Base> v;
        EXPECT_TRUE(v.empty());
        v.pushBack(Small(1));
        v.pushBack(Large(2, 0.5));
        v.insert(0, Large(0, 1.5));
        v.insert(2, Small(9));
        EXPECT_EQ(names(v), "large0 small1 small9 large2 ");
        v.erase(1);
        EXPECT_EQ(names(v), "large0 small9 large2 ");
        v.replace(2, Small(3));
        EXPECT_EQ(names(v), "large0 small9 small3 ");
        EXPECT_EQ(Base::live, 3);
        ObjVector<Base> copy = v;
        EXPECT_EQ(names(copy), names(v));
        EXPECT_EQ(Base::live, 6);
        copy.erase(0);
        EXPECT_EQ(names(v), "large0 small9 small3 ");
        ObjVector<Base> moved = std::move(copy);
        EXPECT_EQ(names(moved), "small9 small3 ");
        v = moved;
        EXPECT_EQ(names(v), "small9 small3 ");
        EXPECT_EQ(Base::live, 4);
        v.clear();
        EXPECT_EQ(Base::live, 2);
    }
    EXPECT_EQ(Base::live, 0);
}

TEST(ObjVectorTest, ManyAppendsStayAligned)
{
    ObjVector<Base> v;
    for (int i = 0; i < 200; ++i)
    {
        if (i % 3)
            v.pushBack(Small(i));
        else
            v.pushBack(Large(i, i * 0.5));
    }
    for (int i = 0; i < 200; ++i)
    {
        EXPECT_EQ(v[i].value, i);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(&v[i]) % alignof(Large) == 0 || i % 3, true);
    }
    EXPECT_EQ(static_cast<Large&>(v[3]).extra, 1.5);
    EXPECT_THROW(v[200], Debug::CheckException);
}

TEST(BezierToLines, StraightCurveKeepsNinePoints)
{
    glm::vec2 points[257];
    const unsigned n = Interp::bezierToLines<256>(glm::vec2(0, 0), glm::vec2(1, 1), glm::vec2(2, 2),
                                                  glm::vec2(3, 3), points, 0.01f);
    ASSERT_EQ(n, 9u);
    for (unsigned i = 0; i < n; ++i)
    {
        const glm::vec2 expected = Interp::bezierPoint(glm::vec2(0, 0), glm::vec2(1, 1),
                                                       glm::vec2(2, 2), glm::vec2(3, 3), i / 8.0f);
        EXPECT_EQ(points[i], expected) << i;
    }
}

TEST(BezierToLines, BentCurveIsRefinedUntilItFits)
{
    const glm::vec2 p0(0, 0), p1(0, 100), p2(100, 100), p3(100, 0);
    glm::vec2 points[257];
    const unsigned coarse = Interp::bezierToLines<256>(p0, p1, p2, p3, points, 5.0f);
    const unsigned fine = Interp::bezierToLines<256>(p0, p1, p2, p3, points, 0.01f);
    EXPECT_LT(coarse, fine);
    for (unsigned n : {coarse, fine})
        EXPECT_TRUE(n == 9 || n == 17 || n == 33 || n == 65 || n == 129 || n == 257) << n;
    // The finest result is the curve at every 256th of its parameter.
    EXPECT_EQ(fine, 257u);
    EXPECT_EQ(points[0], p0);
    EXPECT_EQ(points[256], p3);
    EXPECT_EQ(points[128], Interp::bezierPoint(p0, p1, p2, p3, 0.5f));
    // With a moderate tolerance, no midpoint of the polyline strays from the curve by more.
    const unsigned n = Interp::bezierToLines<256>(p0, p1, p2, p3, points, 1.0f);
    for (unsigned i = 0; i + 1 < n; ++i)
    {
        const float u = (i + 0.5f) / (n - 1);
        const glm::vec2 mid = (points[i] + points[i + 1]) * 0.5f;
        EXPECT_LT(glm::distance(mid, Interp::bezierPoint(p0, p1, p2, p3, u)), 4.0f);
    }
}

TEST(GlmExtTest, ClosestPointOnLineSegment)
{
    const glm::vec3 a(0, 0, 0), b(10, 0, 0);
    EXPECT_EQ(GlmExt::closestPointOnLineSegment(glm::vec3(3, 4, 0), a, b), glm::vec3(3, 0, 0));
    EXPECT_EQ(GlmExt::closestPointOnLineSegment(glm::vec3(-3, 4, 0), a, b), a);
    EXPECT_EQ(GlmExt::closestPointOnLineSegment(glm::vec3(13, -1, 2), a, b), b);
    EXPECT_EQ(GlmExt::closestPointOnLineSegment(glm::vec3(5, 5, 5), a, a), a);
}
