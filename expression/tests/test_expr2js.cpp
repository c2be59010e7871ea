// The JavaScript translator: verdicts, printed text and result types, limits.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "expr_translator_test_util.h"
#include "expression/expr2js.h"

using namespace ExprTranslatorTest;
using Expr::VT_Float;
using Expr::VT_Quat;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

const Case cases[] = {
    // Worked examples.
    {"2 * norm(a) + b", "ctx.addv3_(ctx.mulv3scalar_(ctx.normalizev3_(a), 2), b)", VT_Vec3,
     "a:vec3,b:vec3"},
    {"a % b", refused, VT_Float, nullptr},
    {"a%b", refused, VT_Float, nullptr},
    {"q * q", refused, VT_Float, nullptr},
    {"q", "q", VT_Quat, nullptr},
    {"-a + b", "((-a) + b)", VT_Float, nullptr},
    {"2 / u", "ctx.divv2scalar_(u, 2)", VT_Vec2, nullptr},
    {"2 - u", "ctx.subscalarv2_(2, u)", VT_Vec2, nullptr},
    {"1.5", "1.5", VT_Float, nullptr},
    {"a\t", "a", VT_Float, nullptr},
    {"a)", refused, VT_Float, nullptr},
    {"vec2(1, 2)", "[1, 2]", VT_Vec2, nullptr},
    {"yx(v)", "function(a){return[a[1],a[0]];}(v)", VT_Vec2, nullptr},
    {"z(v)", "v[2]", VT_Float, nullptr},
    {"zy(v)", "function(a){return[a[2],a[1]];}(v)", VT_Vec2, nullptr},
    // White space: every ASCII space character, anywhere between tokens.
    {"\ta\n+\r\nb\v\f", "(a + b)", VT_Float, nullptr},
    {"abs ( a )", "Math.abs(a)", VT_Float, nullptr},
    {"", refused, VT_Float, nullptr},
    {" \t\n", refused, VT_Float, nullptr},
    {"a\xC2\xA0", refused, VT_Float, nullptr},
    // Signs bind to the next factor; a sign before digits belongs to the number.
    {"+a", "a", VT_Float, nullptr},
    {"+q", "q", VT_Quat, nullptr},
    {"-q", refused, VT_Float, nullptr},
    {"--a", "(-(-a))", VT_Float, nullptr},
    {"-5", "-5", VT_Float, nullptr},
    {"- 5", "(-5)", VT_Float, nullptr},
    {"+5", "5", VT_Float, nullptr},
    {"a-5", "(a - 5)", VT_Float, nullptr},
    {"a - -5", "(a - -5)", VT_Float, nullptr},
    {"2 * -b", "(2 * (-b))", VT_Float, nullptr},
    {"-a * b", "((-a) * b)", VT_Float, nullptr},
    {"-u", "ctx.negv2_(u)", VT_Vec2, nullptr},
    {"-v", "ctx.negv3_(v)", VT_Vec3, nullptr},
    // Precedence and associativity.
    {"a + b * t", "(a + (b * t))", VT_Float, nullptr},
    {"a - b - t", "((a - b) - t)", VT_Float, nullptr},
    {"a / b * t", "((a / b) * t)", VT_Float, nullptr},
    {"(a + b) * t", "((a + b) * t)", VT_Float, nullptr},
    {"((a))", "a", VT_Float, nullptr},
    // Every row of the operator mapping.
    {"u + u", "ctx.addv2_(u, u)", VT_Vec2, nullptr},
    {"u - u", "ctx.subv2_(u, u)", VT_Vec2, nullptr},
    {"u * u", "ctx.mulv2_(u, u)", VT_Vec2, nullptr},
    {"u / u", "ctx.divv2_(u, u)", VT_Vec2, nullptr},
    {"a + u", "ctx.addv2scalar_(u, a)", VT_Vec2, nullptr},
    {"a - u", "ctx.subscalarv2_(a, u)", VT_Vec2, nullptr},
    {"a * u", "ctx.mulv2scalar_(u, a)", VT_Vec2, nullptr},
    {"a / u", "ctx.divv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u + a", "ctx.addv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u - a", "ctx.subv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u * a", "ctx.mulv2scalar_(u, a)", VT_Vec2, nullptr},
    {"u / a", "ctx.divv2scalar_(u, a)", VT_Vec2, nullptr},
    {"v + w", "ctx.addv3_(v, w)", VT_Vec3, nullptr},
    {"v - w", "ctx.subv3_(v, w)", VT_Vec3, nullptr},
    {"v * w", "ctx.mulv3_(v, w)", VT_Vec3, nullptr},
    {"v / w", "ctx.divv3_(v, w)", VT_Vec3, nullptr},
    {"a + v", "ctx.addv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a - v", "ctx.subscalarv3_(a, v)", VT_Vec3, nullptr},
    {"a * v", "ctx.mulv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a / v", "ctx.divv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v + a", "ctx.addv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v - a", "ctx.subv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v * a", "ctx.mulv3scalar_(v, a)", VT_Vec3, nullptr},
    {"v / a", "ctx.divv3scalar_(v, a)", VT_Vec3, nullptr},
    {"a - b", "(a - b)", VT_Float, nullptr},
    {"a / b", "(a / b)", VT_Float, nullptr},
    {"u + v", refused, VT_Float, nullptr},
    {"q + q", refused, VT_Float, nullptr},
    {"q * a", refused, VT_Float, nullptr},
    // Every row of the function mapping, and overloads that do not exist.
    {"abs(a)", "Math.abs(a)", VT_Float, nullptr},
    {"abs(v)", refused, VT_Float, nullptr},
    {"cross(v, w)", "ctx.crossv3_(v, w)", VT_Vec3, nullptr},
    {"dot(u, u)", "ctx.dotv2_(u, u)", VT_Float, nullptr},
    {"dot(v, w)", "ctx.dotv3_(v, w)", VT_Float, nullptr},
    {"dot(u, v)", refused, VT_Float, nullptr},
    {"norm(u)", "ctx.normalizev2_(u)", VT_Vec2, nullptr},
    {"norm(v)", "ctx.normalizev3_(v)", VT_Vec3, nullptr},
    {"length(u)", "ctx.lengthv2_(u)", VT_Float, nullptr},
    {"length(v)", "ctx.lengthv3_(v)", VT_Float, nullptr},
    {"length2(u)", "ctx.lengthv2sq_(u)", VT_Float, nullptr},
    {"length2(v)", "ctx.lengthv3sq_(v)", VT_Float, nullptr},
    {"vec3(a, b, 1)", "[a, b, 1]", VT_Vec3, nullptr},
    {"vec2(a)", refused, VT_Float, nullptr},
    {"round(a)", "Math.round(a)", VT_Float, nullptr},
    {"floor(a)", "Math.floor(a)", VT_Float, nullptr},
    {"ceil(a)", "Math.ceil(a)", VT_Float, nullptr},
    {"sign(a)", "Math.sign(a)", VT_Float, nullptr},
    {"lerp(a, b, t)", "ctx.lerp_(a, b, t)", VT_Float, nullptr},
    {"lerp(u, u, t)", "ctx.lerpv2_(u, u, t)", VT_Vec2, nullptr},
    {"lerp(v, w, t)", "ctx.lerpv3_(v, w, t)", VT_Vec3, nullptr},
    {"lerp(v, w, v)", refused, VT_Float, nullptr},
    {"lerp(a, v, t)", refused, VT_Float, nullptr},
    {"abs()", refused, VT_Float, nullptr},
    {"foo(a)", refused, VT_Float, nullptr},
    {"abs(a", refused, VT_Float, nullptr},
    {"(a", refused, VT_Float, nullptr},
    {"a +", refused, VT_Float, nullptr},
    {"a + )", refused, VT_Float, nullptr},
    {"a, b", refused, VT_Float, nullptr},
    // Swizzles, in the order of their rows, and those that do not exist.
    {"x(u)", "u[0]", VT_Float, nullptr},
    {"x(v)", "v[0]", VT_Float, nullptr},
    {"y(u)", "u[1]", VT_Float, nullptr},
    {"y(v)", "v[1]", VT_Float, nullptr},
    {"xy(v)", "function(a){return[a[0],a[1]];}(v)", VT_Vec2, nullptr},
    {"yx(u)", "function(a){return[a[1],a[0]];}(u)", VT_Vec2, nullptr},
    {"xz(v)", "function(a){return[a[0],a[2]];}(v)", VT_Vec2, nullptr},
    {"zx(v)", "function(a){return[a[2],a[0]];}(v)", VT_Vec2, nullptr},
    {"yz(v)", "function(a){return[a[1],a[2]];}(v)", VT_Vec2, nullptr},
    {"xzy(v)", "function(a){return[a[0],a[2],a[1]];}(v)", VT_Vec3, nullptr},
    {"yxz(v)", "function(a){return[a[1],a[0],a[2]];}(v)", VT_Vec3, nullptr},
    {"yzx(v)", "function(a){return[a[1],a[2],a[0]];}(v)", VT_Vec3, nullptr},
    {"zyx(v)", "function(a){return[a[2],a[1],a[0]];}(v)", VT_Vec3, nullptr},
    {"zxy(v)", "function(a){return[a[2],a[0],a[1]];}(v)", VT_Vec3, nullptr},
    {"x(u + u)", "ctx.addv2_(u, u)[0]", VT_Float, nullptr},
    {"z(u)", refused, VT_Float, nullptr},
    {"xy(u)", refused, VT_Float, nullptr},
    {"xyz(v)", refused, VT_Float, nullptr},
    {"xx(v)", refused, VT_Float, nullptr},
    {"yx(q)", refused, VT_Float, nullptr},
    // Numbers: Spirit's float syntax, printed with six significant digits.
    {".5", "0.5", VT_Float, nullptr},
    {"5.", "5", VT_Float, nullptr},
    {"1e3", "1000", VT_Float, nullptr},
    {"1E+3", "1000", VT_Float, nullptr},
    {"0.1", "0.1", VT_Float, nullptr},
    {"1e-7", "1e-07", VT_Float, nullptr},
    {"1234567", "1.23457e+06", VT_Float, nullptr},
    {"3.4e38", "3.4e+38", VT_Float, nullptr},
    {"1e39", refused, VT_Float, nullptr},
    {"1e39(a)", refused, VT_Float, nullptr},
    {"1e", refused, VT_Float, nullptr},
    {"2a", refused, VT_Float, nullptr},
    {"nan", "nan", VT_Float, nullptr},
    {"NaN(42)", "nan", VT_Float, nullptr},
    {"INF", "inf", VT_Float, nullptr},
    {"-Infinity", "-inf", VT_Float, nullptr},
    {"a * inf", "(a * inf)", VT_Float, nullptr},
    // An input whose name begins with "inf" or "nan" is a number at the start of a factor.
    {"info", refused, VT_Float, "info:float"},
    {"2 * nana", refused, VT_Float, "nana:float"},
    {"binfo", "binfo", VT_Float, "binfo:float"},
    // Input names: longest match, no check of what follows, first of equal names.
    {"ab", "ab", VT_Vec2, "a:float,ab:vec2"},
    {"ab", refused, VT_Float, "a:float"},
    {"x", "x", VT_Float, "x:float"},
    {"abs(abs)", "Math.abs(abs)", VT_Float, "abs:float"},
    {"a", "a", VT_Vec2, "a:vec2,a:float"},
    {"dt * 2", "(dt * 2)", VT_Float, nullptr},
    // A call without a mapping fails its own alternative only: an input may take the text.
    {"f(a)", "f(a)", VT_Vec2, "a:float,f(a):vec2"},
    {"abs(u) * 2", "ctx.mulv2scalar_(abs(u), 2)", VT_Vec2, "u:vec2,abs(u):vec2"},
    {"abs(a) * 2", "(Math.abs(a) * 2)", VT_Float, "a:float,abs(a):vec2"},
};

}  // namespace

TEST(Expr2Js, TranslatesAsTheTableSays) { expectTranslations(cases, &Expr2Js::convert); }

TEST(Expr2Js, PrintsTheTargetNamesOfInputs)
{
    const std::vector<Expr2Js::InputDesc> in = {{"a", VT_Float, "p.a"}, {"v", VT_Vec3, "p.v"}};
    const auto result = Expr2Js::convert("x(v) + a", in);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->second, "(p.v[0] + p.a)");
}

TEST(Expr2Js, ErrorPositionIsWhatWasRead)
{
    struct Position
    {
        const char* text;
        unsigned position;
    };
    for (const Position& p : {Position{"a)", 1}, Position{"a + )", 2}, Position{"", 0},
                              Position{"a % b", 2}, Position{"q * q", 2},
                              // "abs" fails as a call, then the input "a" is its longest match.
                              Position{"abs(v)", 1}, Position{"(a", 0}})
    {
        SCOPED_TRACE(p.text);
        unsigned position = 12345;
        std::string message;
        EXPECT_FALSE(Expr2Js::convert(p.text, inputs(standardInputs()), &position, &message));
        EXPECT_EQ(position, p.position);
        EXPECT_FALSE(message.empty());
    }
}

TEST(Expr2Js, NestingIsBounded)
{
    const auto in = inputs(standardInputs());
    const auto nested = [](unsigned depth, const std::string& open, const std::string& close)
    {
        std::string text;
        for (unsigned i = 0; i < depth; ++i)
            text += open;
        text += "a";
        for (unsigned i = 0; i < depth; ++i)
            text += close;
        return text;
    };
    for (const auto& [open, close] :
         {std::pair<std::string, std::string>{"(", ")"}, {"abs(", ")"}, {"-", ""}, {"+", ""}})
    {
        SCOPED_TRACE(open);
        EXPECT_TRUE(Expr2Js::convert(nested(Expr::Translator::maxNestingDepth, open, close), in));
        unsigned position = 0;
        std::string message;
        const std::string deep = nested(Expr::Translator::maxNestingDepth + 1, open, close);
        EXPECT_FALSE(Expr2Js::convert(deep, in, &position, &message));
        EXPECT_EQ(message,
                  "the expression nests parentheses, calls and signs more than 200 levels deep");
        EXPECT_EQ(position, (Expr::Translator::maxNestingDepth + 1) * open.size());
    }
    // Far deeper text is refused the same way, without exhausting the stack.
    EXPECT_FALSE(Expr2Js::convert(nested(1000000, "(", ")"), in));
    EXPECT_FALSE(Expr2Js::convert(nested(1000000, "-", ""), in));
}

TEST(Expr2Js, OverlongNumbersAreRefusedBeforeTheFloatReader)
{
    const auto in = inputs(standardInputs());
    // A fraction of this shape made the float reader fail its own assertion.
    const std::string crash = "-x(--x-x-x(0.0004--44-x(0." + std::string(80, '0') + "--00%";
    unsigned position = 0;
    std::string message;
    EXPECT_FALSE(Expr2Js::convert(crash, in, &position, &message));
    EXPECT_EQ(message, "the expression holds a number of more than 64 digits");
    EXPECT_EQ(position, 26u + 64u);
    EXPECT_TRUE(Expr2Js::convert("0." + std::string(60, '0') + "1", in));
}

TEST(Expr2Js, TreeDepthIsBounded)
{
    const auto in = inputs(standardInputs());
    std::string chain = "a";
    for (unsigned i = 1; i < Expr::Translator::maxTreeDepth; ++i)
        chain += "+a";
    EXPECT_TRUE(Expr2Js::convert(chain, in));
    std::string message;
    unsigned position = 0;
    EXPECT_FALSE(Expr2Js::convert(chain + "*b+a", in, &position, &message));
    EXPECT_EQ(message, "the expression is more than 1000 operations deep");
    EXPECT_EQ(position, chain.size() + 3);
    // A long flat chain ends at the bound instead of building a tree too deep to free.
    std::string huge = "a";
    for (unsigned i = 0; i < 1000000; ++i)
        huge += "-a";
    EXPECT_FALSE(Expr2Js::convert(huge, in, nullptr, &message));
    EXPECT_EQ(message, "the expression is more than 1000 operations deep");
    // Many arguments make a wide tree, not a deep one: translated, then refused for the overload.
    std::string wide = "vec2(a";
    for (unsigned i = 0; i < 100000; ++i)
        wide += ",a";
    EXPECT_FALSE(Expr2Js::convert(wide + ")", in));
}

TEST(Expr2Js, KeepsNothingBetweenCalls)
{
    EXPECT_EQ(Expr2Js::convert("a + a", inputs("a:vec2"))->first, VT_Vec2);
    EXPECT_EQ(Expr2Js::convert("a + a", inputs("a:vec3"))->second, "ctx.addv3_(a, a)");
    EXPECT_FALSE(Expr2Js::convert("a + a", inputs("b:vec3")));
}

TEST(Expr2Js, SwizzleNodesPrintByTheirType)
{
    const auto v = std::make_shared<Expr2Js::OperationInput>(VT_Vec3, "v");
    const auto print = [](const Expr2Js::Operation& operation)
    {
        std::ostringstream out;
        operation >> out;
        return out.str();
    };
    EXPECT_EQ(print(Expr2Js::OperationSwizzle(VT_Float, v, {2})), "v[2]");
    EXPECT_EQ(print(Expr2Js::OperationSwizzle(VT_Vec3, v, {2, 2, 0})),
              "function(a){return[a[2],a[2],a[0]];}(v)");
    // A float out of more than one component cannot come from the function table.
    EXPECT_EQ(print(Expr2Js::OperationSwizzle(VT_Float, v, {0, 1})), "swizzle_export_error");
}
