// The parser: tokens, numbers, precedence and associativity, the verdicts of
// odd texts, errors with their positions, limits, and the byte code it writes.
#include <cmath>
#include <cstring>
#include <limits>

#include "expr_test_util.h"
#include "expression/expr_const.h"

using namespace ExprTest;
using Expr::VT_Float;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

float readNumber(const char* text, unsigned* consumed = nullptr)
{
    const char* end = nullptr;
    const float value = Expr::strtod_private(text, &end);
    if (consumed)
        *consumed = static_cast<unsigned>(end - text);
    return value;
}

bool ok(const std::string& text, const std::vector<Input>& inputs = {f("a", 1), f("b", 2)})
{
    return parse(text, inputs).isOk();
}

}  // namespace

// ------------------------------------------------------------------ tokens

TEST(ExprTokens, OnlyTheBlankIsSpace)
{
    const char text[] = "   \ta";
    EXPECT_EQ(Expr::skipSpaces(text), text + 3);
    EXPECT_EQ(Expr::skipSpaces(""), std::string(""));
}

TEST(ExprTokens, ElementsEndAtTheEightDelimiters)
{
    for (const char* delimiter : {"-", "+", "/", "*", "(", ")", " ", ","})
    {
        const std::string text = std::string("ab") + delimiter + "c";
        EXPECT_EQ(Expr::skipElement(text.c_str()), text.c_str() + 2) << delimiter;
        EXPECT_EQ(Expr::skipElement(text.c_str() + 2), text.c_str() + 3) << delimiter;
    }
    const char mod[] = "a%b\t.c";
    EXPECT_EQ(Expr::skipElement(mod), mod + 6);
}

TEST(ExprNumbers, DecimalReader)
{
    unsigned used = 0;
    EXPECT_EQ(readNumber("1.5", &used), 1.5f);
    EXPECT_EQ(used, 3u);
    EXPECT_EQ(readNumber("+5", &used), 5.0f);
    EXPECT_EQ(used, 2u);
    EXPECT_EQ(readNumber("-2.25x", &used), -2.25f);
    EXPECT_EQ(used, 5u);
    EXPECT_EQ(readNumber(".5", &used), 0.5f);
    EXPECT_EQ(readNumber("5.", &used), 5.0f);
    EXPECT_EQ(used, 2u);
    EXPECT_EQ(readNumber("1.2.3", &used), 1.2f);
    EXPECT_EQ(used, 3u);
    EXPECT_EQ(readNumber("0.1"), 0.1f);
    EXPECT_EQ(readNumber("12e3"), 12000.0f);
    EXPECT_EQ(readNumber("25E-2"), 0.25f);
    EXPECT_EQ(readNumber(" \t\n7", &used), 7.0f);  // the C library's white space
    EXPECT_EQ(used, 4u);
}

TEST(ExprNumbers, ExponentLettersAreTakenWithoutDigits)
{
    unsigned used = 0;
    EXPECT_EQ(readNumber("1e", &used), 1.0f);
    EXPECT_EQ(used, 2u);
    EXPECT_EQ(readNumber("1e+", &used), 1.0f);
    EXPECT_EQ(used, 3u);
    EXPECT_EQ(readNumber("2E-x", &used), 2.0f);
    EXPECT_EQ(used, 3u);
}

TEST(ExprNumbers, WhatIsNoNumber)
{
    for (const char* text : {".", "e5", "-", "+", "+.", "inf", "nan", "x1", "", " ", "- 1"})
    {
        unsigned used = 99;
        EXPECT_EQ(readNumber(text, &used), 0.0f) << text;
        EXPECT_EQ(used, 0u) << text;
    }
    unsigned used = 0;
    EXPECT_EQ(readNumber("0x10", &used), 0.0f);  // hexadecimal: only the 0 is read
    EXPECT_EQ(used, 1u);
}

TEST(ExprNumbers, InExpressions)
{
    EXPECT_RESULT(run("1e"), Expr::VT_Float, 1.0f);
    EXPECT_RESULT(run("1e+ * 2"), Expr::VT_Float, 2.0f);
    EXPECT_RESULT(run("2.5e-1 + .5"), Expr::VT_Float, 0.75f);
    EXPECT_FALSE(parse(".").isOk());
    EXPECT_FALSE(parse("e5").isOk());
    EXPECT_RESULT(run("e5", {f("e5", 3)}), Expr::VT_Float, 3.0f);
    EXPECT_FALSE(parse("inf").isOk());
    EXPECT_FALSE(parse("nan").isOk());
    EXPECT_FALSE(parse("0x1").isOk());  // 0, then "x1" is no operator
}

TEST(ExprNumbers, OnlyEighteenDigitsCount)
{
    // Leading zeros are digits too: the 1 is the 20th digit and drops out.
    EXPECT_EQ(readNumber("0.0000000000000000001"), 0.0f);
    EXPECT_EQ(readNumber("1e-19"), 1e-19f);
    // Digits past the 18th before the point still scale the value.
    EXPECT_EQ(readNumber("1000000000000000000000"), 1e21f);
    EXPECT_EQ(readNumber("123456789012345678999"), 123456789012345678000.0f);
}

TEST(ExprNumbers, ExponentIsClamped)
{
    EXPECT_EQ(readNumber("1e600"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(readNumber("1e-600"), 0.0f);
    EXPECT_EQ(readNumber("1e99999999999999999999"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(readNumber("1e39"), std::numeric_limits<float>::infinity());  // beyond float
    EXPECT_EQ(readNumber("3.4e38"), 3.4e38f);
}

TEST(ExprNumbers, ZeroStaysZeroWhateverTheExponent)
{
    // The power of ten beyond 10^308 overflows the double; zero must not become NaN.
    for (const char* text : {"0e400", "0.0e999", "000E+511", "0e99999999"})
    {
        unsigned used = 0;
        const float value = readNumber(text, &used);
        EXPECT_TRUE(sameBits(value, 0.0f)) << text << " gives " << value;
        EXPECT_EQ(used, std::strlen(text)) << text;
    }
    EXPECT_TRUE(sameBits(readNumber("-0e400"), -0.0f));
    EXPECT_RESULT(run("0e400 + 1"), VT_Float, 1.0f);
}

TEST(ExprNumbers, LeadingWhiteSpaceIsThatOfTheCLocale)
{
    // Exactly blank, tab, line feed, vertical tab, form feed and carriage return,
    // whatever locale the program has set.
    for (unsigned c = 1; c < 256; ++c)
    {
        const char text[] = {static_cast<char>(c), '5', 0};
        unsigned used = 0;
        const float value = readNumber(text, &used);
        const bool space = c == ' ' || (c >= '\t' && c <= '\r');
        const bool digit = c >= '0' && c <= '9';
        if (digit)
            continue;
        EXPECT_EQ(used, space ? 2u : (c == '+' || c == '-' || c == '.') ? 2u : 0u) << c;
        if (space)
        {
            EXPECT_EQ(value, 5.0f) << c;
        }
    }
}

// ------------------------------------------------------------------ precedence

TEST(ExprPrecedence, MultiplicativeBeforeAdditive)
{
    EXPECT_RESULT(run("1 + 2 * 3"), VT_Float, 7.0f);
    EXPECT_RESULT(run("2 * 3 + 1"), VT_Float, 7.0f);
    EXPECT_RESULT(run("7 - 4 / 2"), VT_Float, 5.0f);
    EXPECT_RESULT(run("1 + 7 % 4"), VT_Float, 4.0f);
    EXPECT_RESULT(run("(1 + 2) * 3"), VT_Float, 9.0f);
}

TEST(ExprPrecedence, LeftToRightWithinAPriority)
{
    const std::vector<Input> in = {f("a", 10), f("b", 4), f("c", 2)};
    EXPECT_RESULT(run("a - b - c", in), VT_Float, 4.0f);  // (a - b) - c
    EXPECT_RESULT(run("a / b * c", in), VT_Float, 5.0f);  // (a / b) * c
    EXPECT_RESULT(run("a % b * c", in), VT_Float, 4.0f);  // (a % b) * c
    EXPECT_RESULT(run("a * c % b", in), VT_Float, 0.0f);  // (a * c) % b
    EXPECT_RESULT(run("a - b + c", in), VT_Float, 8.0f);  // (a - b) + c
    EXPECT_RESULT(run("a - (b - c)", in), VT_Float, 8.0f);
}

TEST(ExprPrecedence, UnaryMinusTakesTheRestOfTheLevel)
{
    const std::vector<Input> in = {f("a", 3), f("b", 5), f("c", 2)};
    EXPECT_RESULT(run("-a + b", in), VT_Float, -8.0f);       // -(a + b)
    EXPECT_RESULT(run("-a * b + c", in), VT_Float, -17.0f);  // -(a * b + c)
    EXPECT_RESULT(run("c * -a + b", in), VT_Float, -16.0f);  // c * (-(a + b))
    EXPECT_RESULT(run("(-a) + b", in), VT_Float, 2.0f);
    EXPECT_RESULT(run("b - -a", in), VT_Float, 8.0f);
    EXPECT_RESULT(run("abs(-a + b)", in), VT_Float, 8.0f);
    EXPECT_RESULT(run("vec2(-a, b)", in), VT_Vec2, -3.0f, 5.0f);  // ends at the comma
    EXPECT_RESULT(run("(-a) * -b", in), VT_Float, 15.0f);
    EXPECT_RESULT(run("- - a", in), VT_Float, 3.0f);
}

TEST(ExprPrecedence, LeadingPlusOnlyInNumbers)
{
    EXPECT_RESULT(run("+5"), VT_Float, 5.0f);
    EXPECT_RESULT(run("2 * +5"), VT_Float, 10.0f);
    EXPECT_RESULT(run("1++5"), VT_Float, 6.0f);
    EXPECT_FALSE(ok("+a"));
    EXPECT_FALSE(ok("+ 5"));
    EXPECT_FALSE(ok("++5"));
}

TEST(ExprPrecedence, NestedCallsAndGroups)
{
    const std::vector<Input> in = {v3("v", 3, 4, 12), f("s", 2)};
    EXPECT_RESULT(run("length(v) * s + 1", in), VT_Float, 27.0f);
    EXPECT_RESULT(run("((s))", in), VT_Float, 2.0f);
    EXPECT_RESULT(run("x(yx(xy(v))) * (s + s)", in), VT_Float, 16.0f);
    EXPECT_RESULT(run("lerp(v, zyx(v), s / 4)", in), VT_Vec3, 7.5f, 4.0f, 7.5f);
}

// ------------------------------------------------------------------ verdicts

TEST(ExprVerdicts, EmptyAndIncomplete)
{
    for (const char* text :
         {"",      " ",     "   ",    "a +",     "a + )", "a + ,", "(a",    "abs(a",
          "abs()", "abs(",  "abs(a,", "abs(a,)", "()",    "a b",   "(",     ")",
          ",",     "a (b)", "2x",     "2(3)",    "abs a", "-",     "a * -", "1.5.3"})
        EXPECT_FALSE(ok(text)) << "'" << text << "'";
}

TEST(ExprVerdicts, BlanksAllowedAroundTokens)
{
    EXPECT_TRUE(ok("abs ( a )"));
    EXPECT_TRUE(ok("  a  +  b  "));
    EXPECT_TRUE(ok("vec2( a ,b )"));
}

TEST(ExprVerdicts, TabsAreNoWhiteSpace)
{
    EXPECT_FALSE(ok("a\t+ b"));
    EXPECT_FALSE(ok("a +\tb"));
    EXPECT_FALSE(ok("\ta"));
    EXPECT_FALSE(ok("a\t"));
    // The decimal reader skips the C library's white space before a number, so
    // a tab (or line break) directly before a number is read with it.
    EXPECT_RESULT(run("1 +\t2"), VT_Float, 3.0f);
    EXPECT_RESULT(run("vec2(1,\n2)"), VT_Vec2, 1.0f, 2.0f);
    EXPECT_FALSE(ok("1\t+ 2"));
}

TEST(ExprVerdicts, PercentOnlyAsATokenOfItsOwn)
{
    EXPECT_TRUE(ok("a % b"));
    EXPECT_TRUE(ok("(a)%(b)"));
    EXPECT_FALSE(ok("a%b"));
    EXPECT_FALSE(ok("a %b"));
    EXPECT_FALSE(ok("5%3"));
    EXPECT_FALSE(ok("a% b"));
}

TEST(ExprVerdicts, InputsNamedLikeFunctionsCannotBeRead)
{
    EXPECT_FALSE(ok("x", {f("x", 1)}));
    EXPECT_FALSE(ok("x + 1", {f("x", 1)}));
    EXPECT_FALSE(ok("length", {f("length", 1)}));
    EXPECT_TRUE(ok("x(v)", {v2("v", 1, 2)}));
}

TEST(ExprVerdicts, NamesMatchByExactLengthAndBytes)
{
    const std::vector<Input> in = {f("ab", 1), f("a", 2), f("abc", 3)};
    EXPECT_RESULT(run("a", in), VT_Float, 2.0f);
    EXPECT_RESULT(run("ab", in), VT_Float, 1.0f);
    EXPECT_RESULT(run("abc", in), VT_Float, 3.0f);
    EXPECT_FALSE(ok("abcd", in));
    EXPECT_FALSE(ok("A", in));
    EXPECT_FALSE(ok("Abs(a)", in));
}

TEST(ExprVerdicts, DtIsAnOrdinaryLastInput)
{
    EXPECT_RESULT(run("a * dt", {f("a", 3), f("dt", 0.5f)}), VT_Float, 1.5f);
}

TEST(ExprVerdicts, TopLevelStopsAtParenthesisOrComma)
{
    const Expr::Parser closed = parse("a) b", {f("a", 1)});
    ASSERT_TRUE(closed.isOk());
    EXPECT_EQ(closed.getParsedLength(), 1u);
    const Expr::Parser comma = parse("a, b", {f("a", 1)});
    ASSERT_TRUE(comma.isOk());
    EXPECT_EQ(comma.getParsedLength(), 1u);
    EXPECT_RESULT(run("a + 1 , garbage %%", {f("a", 1)}), VT_Float, 2.0f);
    EXPECT_EQ(parse("a + b", {f("a", 1), f("b", 1)}).getParsedLength(), 5u);
}

// ------------------------------------------------------------------ errors

struct ErrorCase
{
    const char* text;
    const char* message;
    unsigned position;
};

TEST(ExprErrors, MessagesAndPositions)
{
    const ErrorCase cases[] = {
        {"", "operand expected at the end of the text", 0},
        {"   ", "operand expected at the end of the text", 3},
        {"a +", "operand expected after '+'", 3},
        {"a + )", "operand expected after '+'", 4},
        {"a + ,", "operand expected, found ','", 4},
        {"a * / b", "operand expected, found '/'", 4},
        {"(a", "')' expected to close the '(' at position 0", 2},
        {"(a, b)", "')' expected to close the '(' at position 0", 2},
        {"abs(a", "',' or ')' expected in the arguments of 'abs'", 5},
        {"abs()", "operand expected, found ')'", 4},
        {"vec2(a,,a)", "operand expected, found ','", 7},
        {"abs(", "argument of 'abs' expected", 4},
        {"abs a", "'(' expected after the function name 'abs'", 4},
        {"a b", "operator expected, found 'b'", 2},
        {"2x", "operator expected, found 'x'", 1},
        {"a ^ b", "operator expected, found '^'", 2},
        {"5%3",
         "operator expected, found '%3' ('%' must stand as a token of its own, as in 'a % b')", 1},
        {"a%b", "unknown name 'a%b' ('%' must stand as a token of its own, as in 'a % b')", 0},
        {"a\t+ b",
         "unknown name 'a\\t' (only the blank separates tokens; a tab is no white space here)", 0},
        {"foo + 1", "unknown name 'foo'", 0},
        {"1 + bar", "unknown name 'bar'", 4},
        {"+a", "operand expected, found '+' (a '+' is read only as the sign of a number)", 0},
        {"v + q", "no operator '+' for vec3 and quat", 2},
        {"v * 2 + a * (v % 2)", "no operator '%' for vec3 and float", 15},
        {"1 + -q", "no unary '-' for quat", 4},
        {"abs(v)", "no function 'abs' for (vec3)", 0},
        {"2 * lerp(a, v, a)", "no function 'lerp' for (float, vec3, float)", 4},
        {"x + 1", "'(' expected after the function name 'x'", 2},
    };
    const std::vector<Input> in = {f("a", 1), v3("v", 1, 2, 3), q("q", 0, 0, 0, 1)};
    for (const ErrorCase& c : cases)
    {
        const Expr::Parser parser = parse(c.text, in);
        EXPECT_FALSE(parser.isOk()) << c.text;
        EXPECT_EQ(parser.getErrorMessage(), c.message) << c.text;
        EXPECT_EQ(parser.getErrorPosition(), c.position) << c.text;
    }
}

TEST(ExprErrors, InputNamedLikeAFunctionIsExplained)
{
    const Expr::Parser parser = parse("x * 2", {f("x", 1)});
    EXPECT_EQ(parser.getErrorMessage(),
              "'(' expected after the function name 'x'; an input named like a function cannot be "
              "read");
    EXPECT_EQ(parser.getErrorPosition(), 2u);
}

TEST(ExprErrors, ErrorInsideNestedLevelsPointsAtTheFault)
{
    const Expr::Parser parser = parse("vec2(a, (a + abs(a * q)))", {f("a", 1), q("q", 0, 0, 0, 1)});
    EXPECT_EQ(parser.getErrorMessage(), "no operator '*' for float and quat");
    EXPECT_EQ(parser.getErrorPosition(), 19u);
}

TEST(ExprErrors, ControlCharactersAreEscapedInMessages)
{
    EXPECT_EQ(parse("a\n\x01", {}).getErrorMessage(), "unknown name 'a\\n\\x01'");
}

TEST(ExprErrors, LongTokensAreCutInMessages)
{
    const std::string name(100, 'q');
    const Expr::Parser parser = parse(name, {});
    EXPECT_EQ(parser.getErrorMessage(), "unknown name '" + name.substr(0, 40) + "...'");
}

// ------------------------------------------------------------------ limits

namespace
{

std::string chain(unsigned operands, const char* op = " + ")
{
    std::string text = "a";
    for (unsigned i = 1; i < operands; ++i)
        text += std::string(op) + "a";
    return text;
}

}  // namespace

TEST(ExprLimits, TwoHundredFiftySixOperandsPerLevel)
{
    EXPECT_RESULT(run(chain(256), {f("a", 1)}), VT_Float, 256.0f);
    const Expr::Parser tooMany = parse(chain(257), {f("a", 1)});
    EXPECT_FALSE(tooMany.isOk());
    EXPECT_EQ(tooMany.getErrorMessage(),
              "too many operators in one level: at most 255; use parentheses");
    EXPECT_EQ(tooMany.getErrorPosition(), 256u * 4u - 2u);
    // Parentheses open a level with limits of its own.
    EXPECT_RESULT(run("(" + chain(256) + ") + (" + chain(256) + ")", {f("a", 1)}), VT_Float,
                  512.0f);
}

TEST(ExprLimits, TwoHundredFiftySixArguments)
{
    // No function takes that many, but the count is checked before the overload.
    std::string text = "abs(a";
    for (unsigned i = 1; i < 257; ++i)
        text += ", a";
    text += ")";
    const Expr::Parser parser = parse(text, {f("a", 1)});
    EXPECT_EQ(parser.getErrorMessage(), "too many arguments: at most 256");
    EXPECT_EQ(parser.getErrorPosition(), 4u + 256u * 3u);
    EXPECT_EQ(parse("abs(a, a)", {f("a", 1)}).getErrorMessage(),
              "no function 'abs' for (float, float)");
}

TEST(ExprLimits, DeepNestingIsAPlainFailure)
{
    const unsigned depth = Expr::Parser::maxNestingDepth;
    EXPECT_RESULT(run(std::string(depth, '(') + "a" + std::string(depth, ')'), {f("a", 2)}),
                  VT_Float, 2.0f);
    for (const std::string& text : {std::string(depth + 1, '(') + "a" + std::string(depth + 1, ')'),
                                    std::string(100000, '('), std::string(100000, '-') + "a",
                                    []
                                    {
                                        std::string s;
                                        for (int i = 0; i < 5000; ++i)
                                            s += "abs(";
                                        return s;
                                    }()})
    {
        const Expr::Parser parser = parse(text, {f("a", 2)});
        EXPECT_FALSE(parser.isOk());
        EXPECT_EQ(
            parser.getErrorMessage(),
            "nesting too deep: at most 200 levels of parentheses, unary minus and function calls");
    }
}

TEST(ExprLimits, DataAreaBeyondSixteenBitsIsRefused)
{
    // 40 groups of 199 products: each product allots a cell of 12 bytes over vec3.
    std::string flat;
    for (unsigned group = 0; group < 40; ++group)
    {
        if (group)
            flat += " + ";
        flat += "(" + chain(200, " * ") + ")";
    }
    const Expr::Parser parser = parse(flat, {v3("a", 1, 1, 1)});
    EXPECT_FALSE(parser.isOk());
    EXPECT_EQ(parser.getErrorMessage(),
              "expression too large: its data area would exceed 65535 bytes");
    // The same shape over floats fits: 4 bytes a cell.
    EXPECT_TRUE(parse(flat, {f("a", 1)}).isOk());
}

TEST(ExprLimits, AtMost255Inputs)
{
    std::vector<Input> inputs;
    for (unsigned i = 0; i < 256; ++i)
        inputs.push_back(f("i" + std::to_string(i), float(i)));
    const Expr::Parser tooMany = parse("i0", inputs);
    EXPECT_FALSE(tooMany.isOk());
    EXPECT_EQ(tooMany.getErrorMessage(), "too many inputs: 256, at most 255");
    inputs.pop_back();
    EXPECT_RESULT(run("i254 + i1", inputs), VT_Float, 255.0f);
}

// ------------------------------------------------------------------ byte code

namespace
{

unsigned u16(const unsigned char* p) { return p[0] | (p[1] << 8); }

}  // namespace

TEST(ExprByteCode, LayoutOfASmallExpression)
{
    // inputs a (vec3, offset 0) and s (float, offset 12); "a * s + 2"
    const Expr::Parser parser = parse("a * s + 2", {v3("a", 0, 0, 0), f("s", 0)});
    ASSERT_TRUE(parser.isOk());
    const std::vector<unsigned char> expected = {
        2, 2, 0, 4, 0, 16 + 4 + 12 + 12, 0,  // inputs, commands, arguments, data size
        2, 0, 0,                             // a: vec3 at 0
        0, 12, 0,                            // s: float at 12
        // constant 2 takes offset 16 when it is met; then "*" gives a vec3 at 20
        1, 2, 6, 20, 0, 0, 0, 12, 0,    // binary "*", overload V3=V3,F
        1, 0, 6, 32, 0, 20, 0, 16, 0,   // binary "+", overload V3=V3,F
        1, 0,                           // one constant
        16, 0, 0x00, 0x00, 0x00, 0x40,  // at 16: 2.0f
        2, 32, 0,                       // result: vec3 at 32
    };
    ASSERT_EQ(parser.getOutputBufferSize(), expected.size());
    EXPECT_EQ(std::vector<unsigned char>(parser.getOutputBuffer(),
                                         parser.getOutputBuffer() + parser.getOutputBufferSize()),
              expected);
    EXPECT_EQ(*parser.getResultType(), VT_Vec3);
}

TEST(ExprByteCode, NoCommandForAnInputOrAConstant)
{
    const Expr::Parser input = parse("b", {f("a", 0), v2("b", 0, 0)});
    ASSERT_TRUE(input.isOk());
    const unsigned char* code = input.getOutputBuffer();
    EXPECT_EQ(u16(code + 1), 0u);  // no command
    EXPECT_EQ(u16(code + 5), 12u);
    const unsigned end = input.getOutputBufferSize();
    EXPECT_EQ(code[end - 3], VT_Vec2);
    EXPECT_EQ(u16(code + end - 2), 4u);  // b's own cell
    EXPECT_EQ(*input.getResultType(), VT_Vec2);

    const Expr::Parser constant = parse("1.5", {});
    ASSERT_TRUE(constant.isOk());
    EXPECT_EQ(constant.getOutputBufferSize(), 7u + 2u + 6u + 3u);
    EXPECT_RESULT(run("1.5"), VT_Float, 1.5f);
}

TEST(ExprByteCode, CellsAreNeverReusedAndConstantsNotMerged)
{
    const Expr::Parser parser = parse("1 + 1 + 1", {});
    ASSERT_TRUE(parser.isOk());
    const unsigned char* code = parser.getOutputBuffer();
    EXPECT_EQ(u16(code + 1), 2u);       // two commands
    EXPECT_EQ(u16(code + 3), 4u);       // four argument references
    EXPECT_EQ(u16(code + 5), 5u * 4u);  // three constants and two results
    const unsigned constants = 7 + 2 * 9;
    EXPECT_EQ(u16(code + constants), 3u);
}

TEST(ExprByteCode, ReductionOrderPutsTighterOperatorsFirst)
{
    // "a + b * c": the "*" command comes first although it stands second.
    const Expr::Parser parser = parse("a + b * c", {f("a", 0), f("b", 0), f("c", 0)});
    ASSERT_TRUE(parser.isOk());
    const unsigned char* first = parser.getOutputBuffer() + 7 + 9;
    EXPECT_EQ(first[1], 2);                         // "*"
    EXPECT_EQ(first[9 + 1], 0);                     // then "+"
    EXPECT_EQ(u16(first + 9 + 5), 0u);              // "+" reads a
    EXPECT_EQ(u16(first + 9 + 7), u16(first + 3));  // and the product
}

TEST(ExprByteCode, FailedParseGivesNothing)
{
    const Expr::Parser parser = parse("a +", {f("a", 0)});
    EXPECT_FALSE(parser.isOk());
    EXPECT_EQ(parser.getOutputBuffer(), nullptr);
    EXPECT_EQ(parser.getOutputBufferSize(), 0u);
    EXPECT_FALSE(parser.getResultType().has_value());
}
