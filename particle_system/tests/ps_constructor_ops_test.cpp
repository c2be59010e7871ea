#include <gtest/gtest.h>

#include <cmath>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>

#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/glm_ext_color.h"
#include "particle_system/ps_system.h"

namespace
{

using glm::vec2;
using glm::vec3;

// An input that holds its value in itself, as a constant does.
template <class T>
class HeldInput final : public Ps::InputDesc<T>
{
public:
    explicit HeldInput(T value) : value(value) {}
    const T* getPtr(Ps::EmitterInst&) const override { return &value; }
    T value;
};

void expectVec3Near(const vec3& expected, const vec3& actual, float tolerance = 1e-5f)
{
    EXPECT_NEAR(expected.x, actual.x, tolerance);
    EXPECT_NEAR(expected.y, actual.y, tolerance);
    EXPECT_NEAR(expected.z, actual.z, tolerance);
}

void expectVec2Near(const vec2& expected, const vec2& actual, float tolerance = 1e-6f)
{
    EXPECT_NEAR(expected.x, actual.x, tolerance);
    EXPECT_NEAR(expected.y, actual.y, tolerance);
}

TEST(PsColorCast, ComponentsTruncateIntoRgbaBytes)
{
    EXPECT_EQ(0xFF0000FFu, GlmExt::u32_rgba_cast(glm::vec4(1, 0, 0, 1)));
    EXPECT_EQ(0xFF00FF00u, GlmExt::u32_rgba_cast(glm::vec4(0, 1, 0, 1)));
    EXPECT_EQ(0x00FF0000u, GlmExt::u32_rgba_cast(glm::vec4(0, 0, 1, 0)));
    // 0.999 * 255 = 254.7, truncated.
    EXPECT_EQ(254u, GlmExt::u32_rgba_cast(glm::vec4(0.999f, 0, 0, 0)));
    EXPECT_EQ(127u << 24, GlmExt::u32_rgba_cast(glm::vec4(0, 0, 0, 0.5f)));
}

TEST(PsColorCast, BgrxCastSplitsBytes)
{
    const vec3 c = GlmExt::f32_bgrx_cast(0x00FF8000u);
    EXPECT_FLOAT_EQ(1.0f, c.r);
    EXPECT_FLOAT_EQ(128.0f / 255.0f, c.g);
    EXPECT_FLOAT_EQ(0.0f, c.b);
}

// The camera of a viewer looking down -z: right x, up y, direction -z.
glm::mat3 frontCamera() { return glm::mat3(vec3(1, 0, 0), vec3(0, 1, 0), vec3(0, 0, -1)); }

TEST(PsConstructorQuadsOps, FacedRotationTurnsCameraColumnsInTheirXy)
{
    HeldInput<float> angle(90.0f);
    Ps::ConstructorQuadsFacedRotationOp op(angle);
    Ps::ConstructorQuadsFacedRotationOp::Data data{&angle.value};
    glm::mat3 out;
    op.process(&data, frontCamera(), out);
    expectVec3Near(vec3(0, 1, 0), out[0]);
    expectVec3Near(vec3(-1, 0, 0), out[1]);
    expectVec3Near(vec3(0, 0, -1), out[2]);

    angle.value = 0.0f;
    op.process(&data, frontCamera(), out);
    expectVec3Near(vec3(1, 0, 0), out[0]);
    expectVec3Near(vec3(0, 1, 0), out[1]);

    // A camera seen from the side: only x and y of each column turn.
    const glm::mat3 side(vec3(0, 0, 1), vec3(0, 1, 0), vec3(1, 0, 0));
    angle.value = 180.0f;
    op.process(&data, side, out);
    expectVec3Near(vec3(0, 0, 1), out[0]);
    expectVec3Near(vec3(0, -1, 0), out[1]);
    expectVec3Near(vec3(-1, 0, 0), out[2]);
}

TEST(PsConstructorQuadsOps, FreeRotationIsTheQuaternionMatrix)
{
    const glm::quat q = glm::angleAxis(glm::radians(90.0f), vec3(0, 0, 1));
    HeldInput<glm::quat> rotation(q);
    Ps::ConstructorQuadsFreeRotationOp op(rotation);
    Ps::ConstructorQuadsFreeRotationOp::Data data{&rotation.value};
    glm::mat3 out;
    op.process(&data, frontCamera(), out);
    expectVec3Near(vec3(0, 1, 0), out[0]);
    expectVec3Near(vec3(-1, 0, 0), out[1]);
    expectVec3Near(vec3(0, 0, 1), out[2]);
    EXPECT_EQ(1u, op.getNumInputs());
    EXPECT_EQ(&rotation, &op.getInput(0));
}

TEST(PsConstructorQuadsOps, RectTexOpMapsTheWholeFrame)
{
    Ps::ConstructorQuadsRectTexOp op;
    Ps::TextureFrame frame;
    vec2 out[4];
    op.process(nullptr, frame, out);
    expectVec2Near(vec2(0, 0), out[0]);
    expectVec2Near(vec2(0, 1), out[1]);
    expectVec2Near(vec2(1, 1), out[2]);
    expectVec2Near(vec2(1, 0), out[3]);

    // An atlas frame: the right half of the texture, upside down.
    frame.a = vec2(0.5f, 0.0f);
    frame.b = vec2(0.0f, -1.0f);
    frame.c = vec2(0.5f, 1.0f);
    op.process(nullptr, frame, out);
    expectVec2Near(vec2(0.5f, 1.0f), out[0]);
    expectVec2Near(vec2(0.5f, 0.0f), out[1]);
    expectVec2Near(vec2(1.0f, 0.0f), out[2]);
    expectVec2Near(vec2(1.0f, 1.0f), out[3]);
}

TEST(PsConstructorQuadsOps, GridCellIndexIsTruncatedAndClamped)
{
    HeldInput<float> index(0.0f);
    Ps::ConstructorQuadsGridTexOp op(4, 2, index);
    EXPECT_EQ(7u, op.cellOfIndex(7.9f));
    EXPECT_EQ(0u, op.cellOfIndex(-3.0f));
    EXPECT_EQ(0u, op.cellOfIndex(0.99f));
    EXPECT_EQ(7u, op.cellOfIndex(100.0f));
    EXPECT_EQ(3u, op.cellOfIndex(3.5f));
    EXPECT_EQ(0u, op.cellOfIndex(std::nanf("")));
    EXPECT_EQ(7u, op.cellOfIndex(1e30f));
}

TEST(PsConstructorQuadsOps, GridRowZeroIsTheTopOfTheImage)
{
    HeldInput<float> index(0.0f);
    Ps::ConstructorQuadsGridTexOp op(4, 2, index);
    Ps::ConstructorQuadsGridTexOp::Data data{&index.value};
    Ps::TextureFrame frame;
    vec2 out[4];

    op.process(&data, frame, out);  // cell 0: top left, v0 = 0.5
    expectVec2Near(vec2(0.0f, 0.5f), out[0]);
    expectVec2Near(vec2(0.0f, 1.0f), out[1]);
    expectVec2Near(vec2(0.25f, 1.0f), out[2]);
    expectVec2Near(vec2(0.25f, 0.5f), out[3]);

    index.value = 6.0f;  // column 2 of row 1: bottom half
    op.process(&data, frame, out);
    expectVec2Near(vec2(0.5f, 0.0f), out[0]);
    expectVec2Near(vec2(0.5f, 0.5f), out[1]);
    expectVec2Near(vec2(0.75f, 0.5f), out[2]);
    expectVec2Near(vec2(0.75f, 0.0f), out[3]);

    // The frame moves all of them.
    frame.c = vec2(10.0f, 20.0f);
    op.process(&data, frame, out);
    expectVec2Near(vec2(10.5f, 20.0f), out[0]);
    expectVec2Near(vec2(10.75f, 20.5f), out[2]);
}

}  // namespace
