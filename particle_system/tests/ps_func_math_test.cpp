#include <cmath>

#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include "particle_system/functions/ps_func_math.h"
#include "particle_system/ps_random_generator.h"

namespace
{

void expectVecNear(const glm::vec3& e, const glm::vec3& a, float tol)
{
    EXPECT_NEAR(e.x, a.x, tol);
    EXPECT_NEAR(e.y, a.y, tol);
    EXPECT_NEAR(e.z, a.z, tol);
}

TEST(PsFuncMath, DegreeConstants)
{
    EXPECT_EQ(0.017453292f, Ps::kDegToRad);
    EXPECT_EQ(57.29578f, Ps::kRadToDeg);
    EXPECT_NEAR(1.0, double(Ps::kDegToRad) * double(Ps::kRadToDeg), 1e-6);
}

TEST(PsFuncMath, RotationOfVectorIsTheStatedFormula)
{
    // 90 degrees around z takes x to y.
    const glm::quat q = Ps::funcRotationAxis(glm::vec3(0, 0, 5), 90.0f);
    expectVecNear(glm::vec3(0, 1, 0), Ps::rotateVector(q, glm::vec3(1, 0, 0)), 1e-6f);
    // Bit for bit v + 2 (u x (u x v + w v)) in single precision.
    const glm::quat r = Ps::quatXyzw(0.1f, -0.7f, 0.3f, 0.64031242f);
    const glm::vec3 v(0.3f, -2.0f, 7.5f);
    const glm::vec3 u(r.x, r.y, r.z);
    const glm::vec3 t = glm::cross(u, v) + r.w * v;
    EXPECT_EQ(v + 2.0f * glm::cross(u, t), Ps::rotateVector(r, v));
    // And the same rotation as glm's, to rounding.
    expectVecNear(r * v, Ps::rotateVector(r, v), 1e-5f);
}

TEST(PsFuncMath, QuaternionIsStoredXyzw)
{
    const glm::quat q = Ps::quatXyzw(1.0f, 2.0f, 3.0f, 4.0f);
    EXPECT_EQ(1.0f, q.x);
    EXPECT_EQ(4.0f, q.w);
    const float* raw = &q.x;
    EXPECT_EQ(2.0f, raw[1]);
    EXPECT_EQ(4.0f, raw[3]);
}

TEST(PsFuncMath, RotationAxis)
{
    const glm::quat q = Ps::funcRotationAxis(glm::vec3(0, 2, 0), 60.0f);
    const float h = 0.017453292f * 60.0f * 0.5f;
    EXPECT_EQ(0.0f, q.x);
    EXPECT_EQ(std::sin(h), q.y);
    EXPECT_EQ(std::cos(h), q.w);
}

TEST(PsFuncMath, Rot2VecAndVec2Rot)
{
    const glm::vec2 v = Ps::funcRot2Vec(90.0f, 2.0f);
    EXPECT_NEAR(0.0f, v.x, 1e-6f);
    EXPECT_FLOAT_EQ(2.0f, v.y);
    EXPECT_EQ(0.0f, Ps::funcVec2Rot(glm::vec2(0, 0)));
    EXPECT_EQ(0.0f, Ps::funcVec2Rot(glm::vec2(1e-39f, -1e-39f)));
    // Only components below the smallest normal float count as zero: one of
    // exactly that size still has its angle.
    EXPECT_FLOAT_EQ(90.0f, Ps::funcVec2Rot(glm::vec2(0.0f, 1.1754944e-38f)));
    EXPECT_FLOAT_EQ(-90.0f, Ps::funcVec2Rot(glm::vec2(-0.0f, -1.1754944e-38f)));
    EXPECT_FLOAT_EQ(90.0f, Ps::funcVec2Rot(glm::vec2(0, 1)));
    EXPECT_FLOAT_EQ(180.0f, Ps::funcVec2Rot(glm::vec2(-3, 0)));
    EXPECT_FLOAT_EQ(-45.0f, Ps::funcVec2Rot(glm::vec2(1, -1)));
    // Round trip.
    EXPECT_NEAR(33.0f, Ps::funcVec2Rot(Ps::funcRot2Vec(33.0f, 5.0f)), 1e-4f);
}

TEST(PsFuncMath, LerpExtrapolatesAndMoveAndDirection)
{
    EXPECT_EQ(3.0f, Ps::funcLerp(1.0f, 2.0f, 2.0f));
    EXPECT_EQ(glm::vec2(0.0f, -1.0f), Ps::funcLerp(glm::vec2(1, 1), glm::vec2(2, 3), -1.0f));
    EXPECT_EQ(glm::vec3(1.5f, 2, 3), Ps::funcMove(glm::vec3(1, 2, 3), glm::vec3(10, 0, 0), 0.05f));
    EXPECT_EQ(glm::vec2(6, 8) * (1.0f / 10.0f) * 5.0f,
              Ps::funcDirection(glm::vec2(1, 1), glm::vec2(7, 9), 5.0f));
    const glm::vec3 nan = Ps::funcDirection(glm::vec3(1), glm::vec3(1), 1.0f);
    EXPECT_TRUE(std::isnan(nan.x));
}

TEST(PsFuncMath, RandomDrawsOncePerCall)
{
    Ps::RandomGenerator a(3), b(3);
    const float r = b.generateNormFloat();
    EXPECT_EQ(2.0f + r * (5.0f - 2.0f), Ps::funcRandom(a, 2.0f, 5.0f));
    // Equal bounds still advance the generator.
    EXPECT_EQ(4.0f, Ps::funcRandom(a, 4.0f, 4.0f));
    b.generateNormFloat();
    EXPECT_EQ(b.generateUint32(), a.generateUint32());
}

TEST(PsFuncMath, RandomVectorsLieOnCircleAndSphere)
{
    Ps::RandomGenerator rng(11);
    for (int i = 0; i < 1000; ++i)
    {
        EXPECT_NEAR(3.0f, glm::length(Ps::funcRandomVec2(rng, 3.0f)), 1e-5f);
        EXPECT_NEAR(1.0f, glm::length(Ps::randomUnitVec3(rng)), 1e-5f);
    }
    Ps::RandomGenerator a(8), b(8);
    const float first = b.generateNormFloat();
    const float second = b.generateNormFloat();
    const glm::vec3 u = Ps::randomUnitVec3(a);
    EXPECT_EQ(2.0f * second - 1.0f, u.z);
    const float phi = first * 3.1415927f + first * 3.1415927f;
    EXPECT_EQ(std::cos(phi) * std::sqrt(1.0f - u.z * u.z), u.x);
    EXPECT_EQ(std::sin(phi) * std::sqrt(1.0f - u.z * u.z), u.y);
}

TEST(PsFuncMath, RandomVec2AngleIsOneDrawTimesTwoPi)
{
    // The angle is the draw times 6.283185 (not the float nearest 2 pi), x from
    // its cosine, y from its sine; then the radius.
    for (std::uint32_t seed : {1u, 8u, 77u, 4000000000u})
    {
        Ps::RandomGenerator a(seed), b(seed);
        const float angle = b.generateNormFloat() * 6.283185f;
        const glm::vec2 v = Ps::funcRandomVec2(a, 2.5f);
        EXPECT_EQ(std::cos(angle) * 2.5f, v.x) << seed;
        EXPECT_EQ(std::sin(angle) * 2.5f, v.y) << seed;
        EXPECT_EQ(b.generateUint32(), a.generateUint32()) << seed;
    }
}

TEST(PsFuncMath, RotationFromAxesFollowsFirstAxisExactly)
{
    const glm::vec3 first(0.0f, 0.0f, 3.0f);
    const glm::vec3 second(1.0f, 1.0f, 0.2f);
    // The column named first follows `first`; the one named second is in the
    // plane of both, on the side of `second`.
    const int firstColumn[6] = {0, 0, 1, 1, 2, 2};
    const int secondColumn[6] = {1, 2, 0, 2, 0, 1};
    for (std::uint8_t type = 0; type < 6; ++type)
    {
        const glm::mat3 m = Ps::rotationMatrixFromAxes(type, first, second);
        expectVecNear(glm::vec3(0, 0, 1), m[firstColumn[type]], 1e-6f);
        const glm::vec3 s = m[secondColumn[type]];
        EXPECT_NEAR(0.0f, s.z, 1e-6f) << int(type);
        EXPECT_GT(glm::dot(s, second), 1.0f) << int(type);
        // A right-handed orthonormal frame.
        expectVecNear(m[2], glm::cross(m[0], m[1]), 1e-5f);
        const glm::quat q = Ps::funcRotationFromAxes(type, first, second);
        expectVecNear(m[0], Ps::rotateVector(q, glm::vec3(1, 0, 0)), 1e-5f);
        expectVecNear(m[1], Ps::rotateVector(q, glm::vec3(0, 1, 0)), 1e-5f);
    }
}

TEST(PsFuncMath, AxisFromRotationGivesColumns)
{
    const glm::quat q = Ps::funcRotationAxis(glm::vec3(0, 0, 1), 90.0f);
    const glm::mat3 m = Ps::funcAxisFromRotation(q);
    expectVecNear(glm::vec3(0, 1, 0), m[0], 1e-6f);
    expectVecNear(glm::vec3(-1, 0, 0), m[1], 1e-6f);
    expectVecNear(glm::vec3(0, 0, 1), m[2], 1e-6f);
}

TEST(PsFuncMath, Rotate3Transfer3Transform)
{
    const glm::quat a = Ps::funcRotationAxis(glm::vec3(0, 0, 1), 30.0f);
    const glm::quat b = Ps::funcRotationAxis(glm::vec3(0, 0, 1), 60.0f);
    const glm::quat c = Ps::funcRotate3(a, b);
    expectVecNear(glm::vec3(0, 1, 0), Ps::rotateVector(c, glm::vec3(1, 0, 0)), 1e-6f);
    // input * rotation: the rotation is applied first.
    const glm::quat x = Ps::funcRotationAxis(glm::vec3(1, 0, 0), 90.0f);
    const glm::quat z = Ps::funcRotationAxis(glm::vec3(0, 0, 1), 90.0f);
    expectVecNear(glm::vec3(0, 0, 1), Ps::rotateVector(Ps::funcRotate3(x, z), glm::vec3(1, 0, 0)),
                  1e-6f);
    expectVecNear(glm::vec3(1, 3, 3), Ps::funcTransfer3(glm::vec3(1, 1, 1), z, glm::vec3(2, 0, 2)),
                  1e-6f);
    glm::mat3 m(1.0f);
    m[0][0] = 2.0f;   // x scale
    m[1][0] = 0.5f;   // x from y
    m[2][0] = 10.0f;  // x shift
    m[2][1] = -1.0f;  // y shift
    EXPECT_EQ(glm::vec2(2 * 3 + 0.5f * 4 + 10, 4 - 1), Ps::funcTransform(m, glm::vec2(3, 4)));
}

TEST(PsFuncMath, ForceMoveWithoutDragIsOneSemiImplicitStep)
{
    const glm::vec2 f1(1, 2), f2(0.5f, -1);
    const glm::vec2* forces[2] = {&f1, &f2};
    glm::vec2 p(1, 1), v(3, 0);
    const glm::vec2 wind(100, 100);
    const glm::vec2* winds[1] = {&wind};
    Ps::forceMove(p, v, forces, 2, winds, 1, 0.0f, 0.5f);
    const glm::vec2 F = f1 + f2;
    const glm::vec2 v1 = glm::vec2(3, 0) + F * 0.5f;
    EXPECT_EQ(v1, v);
    EXPECT_EQ(glm::vec2(1, 1) + v1 * 0.5f, p);
}

TEST(PsFuncMath, ForceMoveWithZeroTimeChangesNothing)
{
    const glm::vec3 f(1, 1, 1);
    const glm::vec3* forces[1] = {&f};
    glm::vec3 p(1, 2, 3), v(4, 5, 6);
    Ps::forceMove<glm::vec3>(p, v, forces, 1, nullptr, 0, 2.0f, 0.0f);
    EXPECT_EQ(glm::vec3(1, 2, 3), p);
    EXPECT_EQ(glm::vec3(4, 5, 6), v);
}

TEST(PsFuncMath, ForceMoveHighDragEndsNearWind)
{
    const glm::vec3 wind(5, 0, 0);
    const glm::vec3* winds[1] = {&wind};
    glm::vec3 p(0), v(0, -20, 0);
    // Quadratic drag: |rel| falls as |rel0| / (1 + 0.01 drag |rel0| t), here to about 0.02.
    Ps::forceMove<glm::vec3>(p, v, nullptr, 0, winds, 1, 5000.0f, 1.0f);
    expectVecNear(wind, v, 0.05f);
    EXPECT_TRUE(std::isfinite(p.x));
}

TEST(PsFuncMath, ForceMoveDragAtExactlyTheLimitTakesOneStep)
{
    // rel = (1, 0, 0), l = 1, k = drag * 0.01 = 0.2 with dt 1: k * rest is
    // 0.2, not above it, so the whole time is one step.
    const glm::vec3 wind(1, 0, 0);
    const glm::vec3* winds[1] = {&wind};
    glm::vec3 p(0), v(0);
    const float drag = 0.2f / 0.01f;
    const float k = drag * 0.01f * 1.0f;
    ASSERT_FALSE(k * 1.0f > 0.2f);
    Ps::forceMove<glm::vec3>(p, v, nullptr, 0, winds, 1, drag, 1.0f);
    const glm::vec3 a = glm::vec3(1, 0, 0) / 1.0f * (k * 1.0f);
    EXPECT_EQ(a, v);
    EXPECT_EQ(a, p);
}

TEST(PsFuncMath, ForceMoveSubStepsAreExactlyTheStatedOnes)
{
    const glm::vec2 wind(3, 0);
    const glm::vec2* winds[1] = {&wind};
    glm::vec2 p(0), v(0);
    Ps::forceMove<glm::vec2>(p, v, nullptr, 0, winds, 1, 10.0f, 0.5f);
    // The same loop written out.
    glm::vec2 ep(0), ev(0);
    float rest = 0.5f;
    do
    {
        glm::vec2 a(0);
        float step = rest;
        const glm::vec2 rel = wind - ev;
        if (glm::dot(rel, rel) > 1.1754944e-38f)
        {
            const float l = glm::length(rel);
            const float k = 10.0f * 0.01f * l;
            a = rel / l * (k * l);
            step = k * rest > 0.2f ? 0.2f / k : rest;
        }
        ev += a * step;
        rest -= step;
        ep += ev * step;
    } while (rest > 1.1754944e-38f);
    EXPECT_EQ(ev, v);
    EXPECT_EQ(ep, p);
}

TEST(PsFuncMath, ForceMoveWithAbsurdDragStillEnds)
{
    const glm::vec3 f(1e30f, 0, 0);
    const glm::vec3* forces[1] = {&f};
    const glm::vec3 wind(-1e30f, 0, 0);
    const glm::vec3* winds[1] = {&wind};
    glm::vec3 p(0), v(0);
    // Returns (the sub-steps are bounded) having moved the particle.
    Ps::forceMove<glm::vec3>(p, v, forces, 1, winds, 1, 1e30f, 1.0f);
    EXPECT_NE(glm::vec3(0), v);
}

}  // namespace
