// Values, operators and functions: which type combinations exist, and what
// each computes, bit for bit in single precision.
#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <tuple>

#include "expr_test_util.h"
#include "expression/expr_const.h"

using namespace ExprTest;
using Expr::VT_Float;
using Expr::VT_Quat;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

const Expr::EnumValueType allTypes[] = {VT_Float, VT_Vec2, VT_Vec3, VT_Quat};

// Values of each type for the type-rule sweeps.
Input sample(const std::string& name, Expr::EnumValueType type)
{
    switch (type)
    {
    case VT_Float:
        return f(name, 1.5f);
    case VT_Vec2:
        return v2(name, 1, 2);
    case VT_Vec3:
        return v3(name, 1, 2, 3);
    default:
        return q(name, 0, 0, 0, 1);
    }
}

using Signature = std::vector<Expr::EnumValueType>;
// Function name -> allowed argument lists with their result type.
using SignatureTable = std::map<std::string, std::map<Signature, Expr::EnumValueType>>;

const SignatureTable& expectedFunctions()
{
    static const SignatureTable table = {
        {"abs", {{{VT_Float}, VT_Float}}},
        {"cross", {{{VT_Vec3, VT_Vec3}, VT_Vec3}}},
        {"dot", {{{VT_Vec2, VT_Vec2}, VT_Float}, {{VT_Vec3, VT_Vec3}, VT_Float}}},
        {"norm", {{{VT_Vec2}, VT_Vec2}, {{VT_Vec3}, VT_Vec3}}},
        {"length", {{{VT_Vec2}, VT_Float}, {{VT_Vec3}, VT_Float}}},
        {"length2", {{{VT_Vec2}, VT_Float}, {{VT_Vec3}, VT_Float}}},
        {"vec2", {{{VT_Float, VT_Float}, VT_Vec2}}},
        {"vec3", {{{VT_Float, VT_Float, VT_Float}, VT_Vec3}}},
        {"round", {{{VT_Float}, VT_Float}}},
        {"floor", {{{VT_Float}, VT_Float}}},
        {"ceil", {{{VT_Float}, VT_Float}}},
        {"sign", {{{VT_Float}, VT_Float}}},
        {"lerp",
         {{{VT_Float, VT_Float, VT_Float}, VT_Float},
          {{VT_Vec2, VT_Vec2, VT_Float}, VT_Vec2},
          {{VT_Vec3, VT_Vec3, VT_Float}, VT_Vec3}}},
        {"x", {{{VT_Vec2}, VT_Float}, {{VT_Vec3}, VT_Float}}},
        {"y", {{{VT_Vec2}, VT_Float}, {{VT_Vec3}, VT_Float}}},
        {"z", {{{VT_Vec3}, VT_Float}}},
        {"xy", {{{VT_Vec3}, VT_Vec2}}},
        {"yx", {{{VT_Vec2}, VT_Vec2}, {{VT_Vec3}, VT_Vec2}}},
        {"xz", {{{VT_Vec3}, VT_Vec2}}},
        {"zx", {{{VT_Vec3}, VT_Vec2}}},
        {"yz", {{{VT_Vec3}, VT_Vec2}}},
        {"zy", {{{VT_Vec3}, VT_Vec2}}},
        {"xzy", {{{VT_Vec3}, VT_Vec3}}},
        {"yxz", {{{VT_Vec3}, VT_Vec3}}},
        {"yzx", {{{VT_Vec3}, VT_Vec3}}},
        {"zyx", {{{VT_Vec3}, VT_Vec3}}},
        {"zxy", {{{VT_Vec3}, VT_Vec3}}},
    };
    return table;
}

// The seven arithmetic rows shared by + - * /.
std::map<std::pair<Expr::EnumValueType, Expr::EnumValueType>, Expr::EnumValueType> arithmetic()
{
    return {{{VT_Float, VT_Float}, VT_Float}, {{VT_Vec2, VT_Vec2}, VT_Vec2},
            {{VT_Float, VT_Vec2}, VT_Vec2},   {{VT_Vec2, VT_Float}, VT_Vec2},
            {{VT_Vec3, VT_Vec3}, VT_Vec3},    {{VT_Float, VT_Vec3}, VT_Vec3},
            {{VT_Vec3, VT_Float}, VT_Vec3}};
}

}  // namespace

// ------------------------------------------------------------------ type rules

TEST(ExprTypeRules, TypeSizes)
{
    EXPECT_EQ(Expr::getTypeSize(VT_Float), 4u);
    EXPECT_EQ(Expr::getTypeSize(VT_Vec2), 8u);
    EXPECT_EQ(Expr::getTypeSize(VT_Vec3), 12u);
    EXPECT_EQ(Expr::getTypeSize(VT_Quat), 16u);
    EXPECT_EQ(Expr::getTypeSize(4), 12u);
    EXPECT_EQ(Expr::getTypeSize(200), 12u);
}

TEST(ExprTypeRules, BinaryOperatorsOverEveryTypePair)
{
    for (const char* op : {"+", "-", "*", "/", "%"})
    {
        auto allowed = arithmetic();
        if (std::string(op) == "*")
            allowed[{VT_Quat, VT_Quat}] = VT_Quat;
        if (std::string(op) == "%")
            allowed = {{{VT_Float, VT_Float}, VT_Float}};
        for (auto left : allTypes)
            for (auto right : allTypes)
            {
                const Expr::Parser parser =
                    parse(std::string("a ") + op + " b", {sample("a", left), sample("b", right)});
                const auto found = allowed.find({left, right});
                SCOPED_TRACE(std::string(Expr::getTypeName(left)) + " " + op + " " +
                             Expr::getTypeName(right));
                ASSERT_EQ(parser.isOk(), found != allowed.end()) << parser.getErrorMessage();
                if (parser.isOk())
                {
                    EXPECT_EQ(*parser.getResultType(), found->second);
                }
                else
                {
                    EXPECT_EQ(parser.getErrorMessage(), std::string("no operator '") + op +
                                                            "' for " + Expr::getTypeName(left) +
                                                            " and " + Expr::getTypeName(right));
                    EXPECT_EQ(parser.getErrorPosition(), 2u);
                    EXPECT_FALSE(parser.getResultType());
                    EXPECT_EQ(parser.getOutputBuffer(), nullptr);
                    EXPECT_EQ(parser.getOutputBufferSize(), 0u);
                }
            }
    }
}

TEST(ExprTypeRules, UnaryMinusOnEveryType)
{
    for (auto type : allTypes)
    {
        const Expr::Parser parser = parse("-a", {sample("a", type)});
        if (type == VT_Quat)
        {
            EXPECT_FALSE(parser.isOk());
            EXPECT_EQ(parser.getErrorMessage(), "no unary '-' for quat");
            EXPECT_EQ(parser.getErrorPosition(), 0u);
        }
        else
        {
            ASSERT_TRUE(parser.isOk());
            EXPECT_EQ(*parser.getResultType(), type);
        }
    }
}

// Every function with every list of one to three arguments of any types: only
// the listed overloads parse, with their result type.
TEST(ExprTypeRules, FunctionsOverEveryArgumentList)
{
    ASSERT_EQ(expectedFunctions().size(), Expr::Const::numFunctions);
    const char* names[] = {"a", "b", "c"};
    for (const auto& [name, overloads] : expectedFunctions())
    {
        for (unsigned count = 1; count <= 3; ++count)
        {
            unsigned combinations = 1;
            for (unsigned i = 0; i < count; ++i)
                combinations *= 4;
            for (unsigned combination = 0; combination < combinations; ++combination)
            {
                Signature signature;
                std::vector<Input> inputs;
                std::string text = name + "(";
                for (unsigned i = 0, c = combination; i < count; ++i, c /= 4)
                {
                    signature.push_back(allTypes[c % 4]);
                    inputs.push_back(sample(names[i], allTypes[c % 4]));
                    text += (i ? ", " : "") + std::string(names[i]);
                }
                text += ")";
                const Expr::Parser parser = parse(text, inputs);
                const auto found = overloads.find(signature);
                SCOPED_TRACE(text + " over " + std::to_string(combination));
                ASSERT_EQ(parser.isOk(), found != overloads.end()) << parser.getErrorMessage();
                if (parser.isOk())
                {
                    EXPECT_EQ(*parser.getResultType(), found->second);
                }
                else
                {
                    EXPECT_EQ(parser.getErrorMessage().rfind("no function '" + name + "' for (", 0),
                              0u)
                        << parser.getErrorMessage();
                    EXPECT_EQ(parser.getErrorPosition(), 0u);
                }
            }
        }
    }
}

TEST(ExprTypeRules, NoWideningOfFloatsToVectors)
{
    EXPECT_FALSE(parse("lerp(a, b, c)", {v2("a", 0, 0), v2("b", 1, 1), v2("c", 1, 1)}).isOk());
    EXPECT_FALSE(parse("dot(a, 2)", {v3("a", 0, 0, 0)}).isOk());
    EXPECT_FALSE(parse("a + b", {v2("a", 0, 0), v3("b", 0, 0, 0)}).isOk());
    EXPECT_FALSE(parse("cross(a, b)", {v2("a", 0, 0), v2("b", 0, 0)}).isOk());
}

TEST(ExprTypeRules, QuaternionsOnlyMultiply)
{
    const std::vector<Input> quats = {q("q", 0, 0, 0, 1), q("p", 0, 0, 0, 1), f("s", 2),
                                      v3("v", 1, 2, 3)};
    EXPECT_TRUE(parse("q * p", quats).isOk());
    EXPECT_TRUE(parse("q", quats).isOk());
    for (const char* text : {"q + p", "q - p", "q / p", "-q", "yx(q)", "x(q)", "q * s", "s * q",
                             "q * v", "v * q", "abs(q)", "length(q)", "norm(q)"})
        EXPECT_FALSE(parse(text, quats).isOk()) << text;
}

// ------------------------------------------------------------------ operators

TEST(ExprOperators, FloatArithmeticInSinglePrecision)
{
    // 2^24 + 1 is not a float: single precision rounds it away, double would not.
    EXPECT_RESULT(run("16777216 + 1"), VT_Float, 16777216.0f);
    EXPECT_RESULT(run("a - b", {f("a", 1.0f), f("b", 3.0f)}), VT_Float, -2.0f);
    EXPECT_RESULT(run("a * b", {f("a", 0.1f), f("b", 3.0f)}), VT_Float, 0.1f * 3.0f);
    EXPECT_RESULT(run("1 / 3"), VT_Float, 1.0f / 3.0f);
    EXPECT_RESULT(run("a / b", {f("a", 1.0f), f("b", 0.0f)}), VT_Float,
                  std::numeric_limits<float>::infinity());
    const Result nan = run("a / b", {f("a", 0.0f), f("b", 0.0f)});
    ASSERT_TRUE(nan.ok);
    EXPECT_TRUE(std::isnan(nan.value[0]));
}

TEST(ExprOperators, VectorsComponentByComponent)
{
    const std::vector<Input> in = {v3("a", 1, 2, 3), v3("b", 4, 8, 16), v2("c", 3, 5),
                                   v2("d", 2, 4)};
    EXPECT_RESULT(run("a + b", in), VT_Vec3, 5, 10, 19);
    EXPECT_RESULT(run("a - b", in), VT_Vec3, -3, -6, -13);
    EXPECT_RESULT(run("a * b", in), VT_Vec3, 4, 16, 48);
    EXPECT_RESULT(run("a / b", in), VT_Vec3, 0.25f, 0.25f, 3.0f / 16.0f);
    EXPECT_RESULT(run("c * d", in), VT_Vec2, 6, 20);
    EXPECT_RESULT(run("c / d", in), VT_Vec2, 1.5f, 1.25f);
}

TEST(ExprOperators, FloatKeepsItsSideBesideAVector)
{
    const std::vector<Input> in = {v2("v", 4, 8), v3("w", 1, 2, 4)};
    EXPECT_RESULT(run("2 - v", in), VT_Vec2, -2, -6);
    EXPECT_RESULT(run("v - 2", in), VT_Vec2, 2, 6);
    EXPECT_RESULT(run("2 / v", in), VT_Vec2, 0.5f, 0.25f);
    EXPECT_RESULT(run("v / 2", in), VT_Vec2, 2, 4);
    EXPECT_RESULT(run("3 + v", in), VT_Vec2, 7, 11);
    EXPECT_RESULT(run("v * 3", in), VT_Vec2, 12, 24);
    EXPECT_RESULT(run("1 - w", in), VT_Vec3, 0, -1, -3);
    EXPECT_RESULT(run("w - 1", in), VT_Vec3, 0, 1, 3);
    EXPECT_RESULT(run("8 / w", in), VT_Vec3, 8, 4, 2);
    EXPECT_RESULT(run("w / 8", in), VT_Vec3, 0.125f, 0.25f, 0.5f);
    EXPECT_RESULT(run("2 * w", in), VT_Vec3, 2, 4, 8);
    EXPECT_RESULT(run("w + 2", in), VT_Vec3, 3, 4, 6);
}

TEST(ExprOperators, QuaternionHamiltonProductLeftFirst)
{
    const glm::quat l(0.9f, 0.1f, -0.3f, 0.2f);  // w, x, y, z
    const glm::quat r(-0.4f, 0.7f, 0.25f, -0.5f);
    const glm::quat expected = l * r;
    const std::vector<Input> in = {q("l", l.x, l.y, l.z, l.w), q("r", r.x, r.y, r.z, r.w)};
    EXPECT_RESULT(run("l * r", in), VT_Quat, expected.x, expected.y, expected.z, expected.w);
    const glm::quat reversed = r * l;
    EXPECT_RESULT(run("r * l", in), VT_Quat, reversed.x, reversed.y, reversed.z, reversed.w);
    // i * j = k, j * i = -k
    const std::vector<Input> units = {q("i", 1, 0, 0, 0), q("j", 0, 1, 0, 0)};
    EXPECT_RESULT(run("i * j", units), VT_Quat, 0, 0, 1, 0);
    EXPECT_RESULT(run("j * i", units), VT_Quat, 0, 0, -1, 0);
}

TEST(ExprOperators, RemainderTakesTheSignOfTheLeftOperand)
{
    EXPECT_RESULT(run("5.5 % 2"), VT_Float, 1.5f);
    EXPECT_RESULT(run("a % 2", {f("a", -5.5f)}), VT_Float, -1.5f);
    EXPECT_RESULT(run("a % b", {f("a", 7.0f), f("b", -3.0f)}), VT_Float, 1.0f);
    // The remainder is taken in double: 0.1f is slightly above 0.1.
    EXPECT_RESULT(run("1 % a", {f("a", 0.1f)}), VT_Float,
                  static_cast<float>(std::fmod(1.0, static_cast<double>(0.1f))));
    const Result byZero = run("a % 0", {f("a", 1.0f)});
    ASSERT_TRUE(byZero.ok);
    EXPECT_TRUE(std::isnan(byZero.value[0]));
}

TEST(ExprOperators, UnaryMinusNegatesEveryComponent)
{
    EXPECT_RESULT(run("-a", {f("a", 2.5f)}), VT_Float, -2.5f);
    EXPECT_RESULT(run("-a", {v2("a", 1, -2)}), VT_Vec2, -1, 2);
    EXPECT_RESULT(run("-a", {v3("a", 1, -2, 0)}), VT_Vec3, -1, 2, -0.0f);
    // The sign of a literal is the unary operator, not part of the number.
    EXPECT_RESULT(run("-0"), VT_Float, -0.0f);
}

// ------------------------------------------------------------------ functions

TEST(ExprFunctions, Abs)
{
    EXPECT_RESULT(run("abs(a)", {f("a", -3.25f)}), VT_Float, 3.25f);
    EXPECT_RESULT(run("abs(a)", {f("a", 3.25f)}), VT_Float, 3.25f);
    EXPECT_RESULT(run("abs(a)", {f("a", -std::numeric_limits<float>::infinity())}), VT_Float,
                  std::numeric_limits<float>::infinity());
    // x if x >= 0, else -x: -0 counts as >= 0 and keeps its sign, unlike fabs.
    EXPECT_RESULT(run("abs(a)", {f("a", -0.0f)}), VT_Float, -0.0f);
}

TEST(ExprFunctions, CrossAndDotAsGlm)
{
    const glm::vec3 a(0.3f, -1.7f, 2.2f), b(4.1f, 0.6f, -0.9f);
    const glm::vec2 c(1.1f, -2.3f), d(0.7f, 5.9f);
    const std::vector<Input> in = {v3("a", a.x, a.y, a.z), v3("b", b.x, b.y, b.z),
                                   v2("c", c.x, c.y), v2("d", d.x, d.y)};
    const glm::vec3 cross = glm::cross(a, b);
    EXPECT_RESULT(run("cross(a, b)", in), VT_Vec3, cross.x, cross.y, cross.z);
    EXPECT_RESULT(run("dot(a, b)", in), VT_Float, a.x * b.x + a.y * b.y + a.z * b.z);
    EXPECT_RESULT(run("dot(c, d)", in), VT_Float, c.x * d.x + c.y * d.y);
    EXPECT_RESULT(run("dot(a, b)", in), VT_Float, glm::dot(a, b));
}

TEST(ExprFunctions, LengthsAndNorm)
{
    const glm::vec3 a(0.3f, -1.7f, 2.2f);
    const glm::vec2 c(1.1f, -2.3f);
    const std::vector<Input> in = {v3("a", a.x, a.y, a.z), v2("c", c.x, c.y)};
    const float dot3 = a.x * a.x + a.y * a.y + a.z * a.z;
    const float dot2 = c.x * c.x + c.y * c.y;
    EXPECT_RESULT(run("length2(a)", in), VT_Float, dot3);
    EXPECT_RESULT(run("length2(c)", in), VT_Float, dot2);
    EXPECT_RESULT(run("length(a)", in), VT_Float, std::sqrt(dot3));
    EXPECT_RESULT(run("length(c)", in), VT_Float, std::sqrt(dot2));
    EXPECT_RESULT(run("length(vec2(3, 4))"), VT_Float, 5.0f);
    // v times the reciprocal of the length, not v divided by the length.
    const float inv3 = 1.0f / std::sqrt(dot3), inv2 = 1.0f / std::sqrt(dot2);
    EXPECT_RESULT(run("norm(a)", in), VT_Vec3, a.x * inv3, a.y * inv3, a.z * inv3);
    EXPECT_RESULT(run("norm(c)", in), VT_Vec2, c.x * inv2, c.y * inv2);
}

TEST(ExprFunctions, NormOfZeroIsNotFinite)
{
    const Result r = run("norm(vec2(0, 0))");
    ASSERT_TRUE(r.ok);
    EXPECT_FALSE(std::isfinite(r.value[0]));
    EXPECT_FALSE(std::isfinite(r.value[1]));
    const Result r3 = run("norm(a)", {v3("a", 0, 0, 0)});
    ASSERT_TRUE(r3.ok);
    for (float component : r3.value)
        EXPECT_FALSE(std::isfinite(component));
}

TEST(ExprFunctions, Constructors)
{
    EXPECT_RESULT(run("vec2(1, a)", {f("a", -2)}), VT_Vec2, 1, -2);
    EXPECT_RESULT(run("vec3(a, 2, a * 3)", {f("a", 0.5f)}), VT_Vec3, 0.5f, 2, 1.5f);
}

TEST(ExprFunctions, RoundHalvesUpward)
{
    EXPECT_RESULT(run("round(2.5)"), VT_Float, 3.0f);
    EXPECT_RESULT(run("round(a)", {f("a", -2.5f)}), VT_Float, -2.0f);
    EXPECT_RESULT(run("round(a)", {f("a", -0.5f)}), VT_Float, 0.0f);
    EXPECT_RESULT(run("round(a)", {f("a", -1.5f)}), VT_Float, -1.0f);
    EXPECT_RESULT(run("round(a)", {f("a", 1.49f)}), VT_Float, 1.0f);
    // x + 0.5 is rounded in single precision first: 0.49999997 + 0.5 is 1.
    EXPECT_RESULT(run("round(a)", {f("a", 0.49999997f)}), VT_Float, 1.0f);
}

TEST(ExprFunctions, FloorCeil)
{
    EXPECT_RESULT(run("floor(a)", {f("a", -1.25f)}), VT_Float, -2.0f);
    EXPECT_RESULT(run("floor(1.75)"), VT_Float, 1.0f);
    EXPECT_RESULT(run("ceil(a)", {f("a", -1.25f)}), VT_Float, -1.0f);
    EXPECT_RESULT(run("ceil(1.25)"), VT_Float, 2.0f);
}

TEST(ExprFunctions, Sign)
{
    EXPECT_RESULT(run("sign(0)"), VT_Float, 0.0f);
    EXPECT_RESULT(run("sign(a)", {f("a", -0.0f)}), VT_Float, 0.0f);
    EXPECT_RESULT(run("sign(a)", {f("a", std::nanf(""))}), VT_Float, 0.0f);
    EXPECT_RESULT(run("sign(a)", {f("a", 1e-30f)}), VT_Float, 1.0f);
    EXPECT_RESULT(run("sign(a)", {f("a", -7.0f)}), VT_Float, -1.0f);
}

TEST(ExprFunctions, LerpIsNotClamped)
{
    EXPECT_RESULT(run("lerp(a, b, t)", {f("a", 1), f("b", 3), f("t", 0.25f)}), VT_Float, 1.5f);
    EXPECT_RESULT(run("lerp(a, b, t)", {f("a", 1), f("b", 3), f("t", 2)}), VT_Float, 5.0f);
    EXPECT_RESULT(run("lerp(a, b, t)", {v2("a", 0, 10), v2("b", 4, 20), f("t", -0.5f)}), VT_Vec2,
                  -2, 5);
    EXPECT_RESULT(run("lerp(a, b, t)", {v3("a", 0, 10, 1), v3("b", 4, 20, 1), f("t", 0.5f)}),
                  VT_Vec3, 2, 15, 1);
    // a + (b - a) * t: with a = 0.1f, b = 0.7f, t = 0.3f in single precision.
    const float a = 0.1f, b = 0.7f, t = 0.3f;
    EXPECT_RESULT(run("lerp(a, b, t)", {f("a", a), f("b", b), f("t", t)}), VT_Float,
                  a + (b - a) * t);
}

TEST(ExprFunctions, Swizzles)
{
    const std::vector<Input> in = {v2("p", 1, 2), v3("v", 3, 4, 5)};
    EXPECT_RESULT(run("x(p)", in), VT_Float, 1);
    EXPECT_RESULT(run("y(p)", in), VT_Float, 2);
    EXPECT_RESULT(run("x(v)", in), VT_Float, 3);
    EXPECT_RESULT(run("y(v)", in), VT_Float, 4);
    EXPECT_RESULT(run("z(v)", in), VT_Float, 5);
    EXPECT_RESULT(run("xy(v)", in), VT_Vec2, 3, 4);
    EXPECT_RESULT(run("yx(p)", in), VT_Vec2, 2, 1);
    EXPECT_RESULT(run("yx(v)", in), VT_Vec2, 4, 3);
    EXPECT_RESULT(run("xz(v)", in), VT_Vec2, 3, 5);
    EXPECT_RESULT(run("zx(v)", in), VT_Vec2, 5, 3);
    EXPECT_RESULT(run("yz(v)", in), VT_Vec2, 4, 5);
    EXPECT_RESULT(run("zy(v)", in), VT_Vec2, 5, 4);
    EXPECT_RESULT(run("xzy(v)", in), VT_Vec3, 3, 5, 4);
    EXPECT_RESULT(run("yxz(v)", in), VT_Vec3, 4, 3, 5);
    EXPECT_RESULT(run("yzx(v)", in), VT_Vec3, 4, 5, 3);
    EXPECT_RESULT(run("zyx(v)", in), VT_Vec3, 5, 4, 3);
    EXPECT_RESULT(run("zxy(v)", in), VT_Vec3, 5, 3, 4);
    for (const char* text : {"xyz(v)", "xy(p)", "xx(v)", "z(p)", "w(v)"})
        EXPECT_FALSE(parse(text, in).isOk()) << text;
}

// The table order is part of the compiled format: the byte code of one call of
// each row names the row and overload indices that compiled effects store.
TEST(ExprFunctions, TableIndicesAreStable)
{
    const char* order[] = {"abs",  "cross", "dot",   "norm", "length", "length2", "vec2",
                           "vec3", "round", "floor", "ceil", "sign",   "lerp",    "x",
                           "y",    "z",     "xy",    "yx",   "xz",     "zx",      "yz",
                           "zy",   "xzy",   "yxz",   "yzx",  "zyx",    "zxy"};
    ASSERT_EQ(sizeof(order) / sizeof(order[0]), Expr::Const::numFunctions);
    for (unsigned i = 0; i < Expr::Const::numFunctions; ++i)
        EXPECT_STREQ(Expr::Const::functions[i].name, order[i]);
    const char* binary[] = {"+", "-", "*", "/", "%"};
    const unsigned priority[] = {1, 1, 0, 0, 0};
    for (unsigned i = 0; i < Expr::Const::numBinaryOperations; ++i)
    {
        EXPECT_STREQ(Expr::Const::binaryOperations[i].name, binary[i]);
        EXPECT_EQ(Expr::Const::binaryOperations[i].priority, priority[i]);
    }
    // The eighth overload of "*" is the quaternion product.
    EXPECT_EQ(Expr::Const::binaryOperations[2].numOverloads, 8u);
    EXPECT_EQ(Expr::Const::binaryOperations[2].overloads[7].left, VT_Quat);
    // lerp over vec3 is overload 2 of row 12: command bytes 2, 12, 2.
    const Expr::Parser parser =
        parse("lerp(a, b, t)", {v3("a", 0, 0, 0), v3("b", 0, 0, 0), f("t", 0)});
    ASSERT_TRUE(parser.isOk());
    const unsigned char* code = parser.getOutputBuffer();
    const unsigned commands = 7 + 3 * 3;
    EXPECT_EQ(code[commands], Expr::OT_Function);
    EXPECT_EQ(code[commands + 1], 12);
    EXPECT_EQ(code[commands + 2], 2);
}
