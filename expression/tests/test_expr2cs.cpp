// The C# translator: verdicts, printed text and result types, limits.
#include <gtest/gtest.h>

#include <string>

#include "expr_translator_test_util.h"
#include "expression/expr2cs.h"

using namespace ExprTranslatorTest;
using Expr::VT_Float;
using Expr::VT_Quat;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

const Case cases[] = {
    // Worked examples.
    {"2 * norm(a) + b", "_math.addv3_(_math.mulv3scalar_(_math.normalizev3_(a), 2F), b)", VT_Vec3,
     "a:vec3,b:vec3"},
    {"a % b", refused, VT_Float, nullptr},
    {"q * q", refused, VT_Float, nullptr},
    {"q", "q", VT_Quat, nullptr},
    {"-a + b", "((-a) + b)", VT_Float, nullptr},
    {"2 / u", "_math.divv2scalar_(u, 2F)", VT_Vec2, nullptr},
    {"2 - u", "_math.subscalarv2_(2F, u)", VT_Vec2, nullptr},
    {"1.5", "1.5F", VT_Float, nullptr},
    {"a\t", "a", VT_Float, nullptr},
    {"a)", refused, VT_Float, nullptr},
    {"vec2(1, 2)", "_math.vec2_(1F, 2F)", VT_Vec2, nullptr},
    {"x(v)", "v.x", VT_Float, nullptr},
    {"xy(v)", "v.xy()", VT_Vec2, nullptr},
    // White space, signs, precedence.
    {"\ta\n+\r\nb\v\f", "(a + b)", VT_Float, nullptr},
    {"abs ( a )", "(float)Math.Abs(a)", VT_Float, nullptr},
    {"", refused, VT_Float, nullptr},
    {"+a", "a", VT_Float, nullptr},
    {"-q", refused, VT_Float, nullptr},
    {"--a", "(-(-a))", VT_Float, nullptr},
    {"-5", "-5F", VT_Float, nullptr},
    {"- 5", "(-5F)", VT_Float, nullptr},
    {"a - -5", "(a - -5F)", VT_Float, nullptr},
    {"2 * -b", "(2F * (-b))", VT_Float, nullptr},
    {"-u", "_math.negv2_(u)", VT_Vec2, nullptr},
    {"-v", "_math.negv3_(v)", VT_Vec3, nullptr},
    {"a + b * t", "(a + (b * t))", VT_Float, nullptr},
    {"a - b - t", "((a - b) - t)", VT_Float, nullptr},
    {"a / b * t", "((a / b) * t)", VT_Float, nullptr},
    // Every row of the operator mapping.
    {"u + u", "_math.addv2_(u, u)", VT_Vec2, nullptr},
    {"u - u", "_math.subv2_(u, u)", VT_Vec2, nullptr},
    {"u * u", "_math.mulv2_(u, u)", VT_Vec2, nullptr},
    {"u / u", "_math.divv2_(u, u)", VT_Vec2, nullptr},
    {"a + u", "_math.addv2scalar_(u, a)", VT_Vec2, nullptr},
    {"a - u", "_math.subscalarv2_(a, u)", VT_Vec2, nullptr},
    {"a * u", "_math.mulv2scalar_(u, a)", VT_Vec2, nullptr},
    {"a / u", "_math.divv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u + a", "_math.addv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u - a", "_math.subv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u * a", "_math.mulv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u / a", "_math.divv2scalar_(u, a)", VT_Vec2, nullptr},
    {"v + w", "_math.addv3_(v, w)", VT_Vec3, nullptr},
    {"v - w", "_math.subv3_(v, w)", VT_Vec3, nullptr},
    {"v * w", "_math.mulv3_(v, w)", VT_Vec3, nullptr},
    {"v / w", "_math.divv3_(v, w)", VT_Vec3, nullptr},
    {"a + v", "_math.addv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a - v", "_math.subscalarv3_(a, v)", VT_Vec3, nullptr},
    {"a * v", "_math.mulv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a / v", "_math.divv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v + a", "_math.addv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v - a", "_math.subv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v * a", "_math.mulv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v / a", "_math.divv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a * b", "(a * b)", VT_Float, nullptr},
    {"u + v", refused, VT_Float, nullptr},
    {"q + q", refused, VT_Float, nullptr},
    // Every row of the function mapping, and overloads that do not exist.
    {"abs(a)", "(float)Math.Abs(a)", VT_Float, nullptr},
    {"abs(v)", refused, VT_Float, nullptr},
    {"cross(v, w)", "_math.crossv3_(v, w)", VT_Vec3, nullptr},
    {"dot(u, u)", "_math.dotv2_(u, u)", VT_Float, nullptr},
    {"dot(v, w)", "_math.dotv3_(v, w)", VT_Float, nullptr},
    {"norm(u)", "_math.normalizev2_(u)", VT_Vec2, nullptr},
    {"norm(v)", "_math.normalizev3_(v)", VT_Vec3, nullptr},
    {"length(u)", "_math.lengthv2_(u)", VT_Float, nullptr},
    {"length(v)", "_math.lengthv3_(v)", VT_Float, nullptr},
    {"length2(u)", "_math.lengthv2sq_(u)", VT_Float, nullptr},
    {"length2(v)", "_math.lengthv3sq_(v)", VT_Float, nullptr},
    {"vec3(a, b, 1)", "_math.vec3_(a, b, 1F)", VT_Vec3, nullptr},
    {"round(a)", "(float)Math.Round(a)", VT_Float, nullptr},
    {"floor(a)", "(float)Math.Floor(a)", VT_Float, nullptr},
    {"ceil(a)", "(float)Math.Ceiling(a)", VT_Float, nullptr},
    {"sign(a)", "(float)Math.Sign(a)", VT_Float, nullptr},
    {"lerp(a, b, t)", "_math.lerp_(a, b, t)", VT_Float, nullptr},
    {"lerp(u, u, t)", "_math.lerpv2_(u, u, t)", VT_Vec2, nullptr},
    {"lerp(v, w, t)", "_math.lerpv3_(v, w, t)", VT_Vec3, nullptr},
    {"lerp(v, w, v)", refused, VT_Float, nullptr},
    {"abs()", refused, VT_Float, nullptr},
    {"foo(a)", refused, VT_Float, nullptr},
    {"a + )", refused, VT_Float, nullptr},
    {"a, b", refused, VT_Float, nullptr},
    // Swizzles: members for one component, methods for more.
    {"x(u)", "u.x", VT_Float, nullptr},
    {"y(u)", "u.y", VT_Float, nullptr},
    {"y(v)", "v.y", VT_Float, nullptr},
    {"z(v)", "v.z", VT_Float, nullptr},
    {"yx(u)", "u.yx()", VT_Vec2, nullptr},
    {"yx(v)", "v.yx()", VT_Vec2, nullptr},
    {"xz(v)", "v.xz()", VT_Vec2, nullptr},
    {"zx(v)", "v.zx()", VT_Vec2, nullptr},
    {"yz(v)", "v.yz()", VT_Vec2, nullptr},
    {"zy(v)", "v.zy()", VT_Vec2, nullptr},
    {"xzy(v)", "v.xzy()", VT_Vec3, nullptr},
    {"yxz(v)", "v.yxz()", VT_Vec3, nullptr},
    {"yzx(v)", "v.yzx()", VT_Vec3, nullptr},
    {"zyx(v)", "v.zyx()", VT_Vec3, nullptr},
    {"zxy(v)", "v.zxy()", VT_Vec3, nullptr},
    {"x(u + u)", "_math.addv2_(u, u).x", VT_Float, nullptr},
    {"zy(v * 2)", "_math.mulv3scalar_(v, 2F).zy()", VT_Vec2, nullptr},
    {"z(u)", refused, VT_Float, nullptr},
    {"xy(u)", refused, VT_Float, nullptr},
    {"xyz(v)", refused, VT_Float, nullptr},
    {"yx(q)", refused, VT_Float, nullptr},
    // Numbers: Spirit's float syntax, six significant digits, then "F".
    {".5", "0.5F", VT_Float, nullptr},
    {"1e-7", "1e-07F", VT_Float, nullptr},
    {"1234567", "1.23457e+06F", VT_Float, nullptr},
    {"1e39", refused, VT_Float, nullptr},
    {"1e", refused, VT_Float, nullptr},
    {"nan", "nanF", VT_Float, nullptr},
    {"-inf", "-infF", VT_Float, nullptr},
    {"info", refused, VT_Float, "info:float"},
    // Input names.
    {"ab", "ab", VT_Vec2, "a:float,ab:vec2"},
    {"x", "x", VT_Float, "x:float"},
    {"dt * 2", "(dt * 2F)", VT_Float, nullptr},
    {"f(a)", "f(a)", VT_Vec2, "a:float,f(a):vec2"},
};

}  // namespace

TEST(Expr2Cs, TranslatesAsTheTableSays) { expectTranslations(cases, &Expr2Cs::convert); }

TEST(Expr2Cs, PrintsTheTargetNamesOfInputs)
{
    const std::vector<Expr2Cs::InputDesc> in = {{"a", VT_Float, "p.a"}, {"v", VT_Vec3, "p.v"}};
    const auto result = Expr2Cs::convert("xy(v) * a", in);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->second, "_math.mulv2scalar_(p.v.xy(), p.a)");
}

TEST(Expr2Cs, LimitsAreRefusedWithTheirMessage)
{
    const auto in = inputs(standardInputs());
    std::string text = std::string(Expr::Translator::maxNestingDepth + 1, '(') + "a" +
                       std::string(Expr::Translator::maxNestingDepth + 1, ')');
    std::string message;
    unsigned position = 0;
    EXPECT_FALSE(Expr2Cs::convert(text, in, &position, &message));
    EXPECT_EQ(message,
              "the expression nests parentheses, calls and signs more than 200 levels deep");
    EXPECT_EQ(position, Expr::Translator::maxNestingDepth + 1);
    EXPECT_TRUE(Expr2Cs::convert(text.substr(1, text.size() - 2), in));

    std::string chain = "a";
    for (unsigned i = 0; i < Expr::Translator::maxTreeDepth; ++i)
        chain += "*a";
    EXPECT_FALSE(Expr2Cs::convert(chain, in, &position, &message));
    EXPECT_EQ(message, "the expression is more than 1000 operations deep");
    EXPECT_TRUE(Expr2Cs::convert(chain.substr(2), in));
}

TEST(Expr2Cs, ErrorPositionIsWhatWasRead)
{
    unsigned position = 0;
    std::string message;
    EXPECT_FALSE(Expr2Cs::convert("a + b )", inputs(standardInputs()), &position, &message));
    EXPECT_EQ(position, 6u);
    EXPECT_EQ(message, "the expression does not translate from here on");
}
