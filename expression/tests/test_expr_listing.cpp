// The readable listing of byte code that tools print.
#include <limits>

#include "expr_test_util.h"
#include "expression/expr_listing.h"

using namespace ExprTest;

TEST(ExprListing, OneLinePerRecord)
{
    const Expr::Parser parser = parse("-(a * s) + lerp(a, a, 0.5)", {v3("a", 0, 0, 0), f("s", 0)});
    ASSERT_TRUE(parser.isOk());
    // The unary minus takes the whole rest of the level: -((a * s) + lerp(...)).
    EXPECT_EQ(
        Expr::listCode(parser.getOutputBuffer(), parser.getOutputBufferSize()),
        "header: inputs 2, commands 4, arguments 8, data 68 bytes, pool 260 bytes, code 60 bytes\n"
        "input 0: vec3 @0\n"
        "input 1: float @12\n"
        "command 0: binary \"*\" overload 6 (vec3 = vec3, float): @16 <- @0, @12\n"
        "command 1: function \"lerp\" overload 2 (vec3 = vec3, vec3, float): @32 <- @0, @0, @28\n"
        "command 2: binary \"+\" overload 4 (vec3 = vec3, vec3): @44 <- @16, @32\n"
        "command 3: unary \"-\" overload 2 (vec3 = vec3): @56 <- @44\n"
        "constant 0: float @28 = 0.5\n"
        "result: vec3 @56\n");
}

TEST(ExprListing, RefusedCodeIsSaid)
{
    const unsigned char shortCode[] = {0, 0, 0};
    EXPECT_EQ(Expr::listCode(shortCode, sizeof shortCode), "refused: shorter than the header\n");
}

TEST(ExprListing, FloatsReadBackExactly)
{
    EXPECT_EQ(Expr::formatFloat(0.1f), "0.100000001");
    EXPECT_EQ(Expr::formatFloat(2.0f), "2");
    EXPECT_EQ(Expr::formatFloat(-0.0f), "-0");
    EXPECT_EQ(Expr::formatFloat(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(Expr::formatFloat(16777217.0f), "16777216");
}

TEST(ExprListing, EveryNanIsPrintedAlike)
{
    EXPECT_EQ(Expr::formatFloat(std::numeric_limits<float>::quiet_NaN()), "nan");
    EXPECT_EQ(Expr::formatFloat(-std::numeric_limits<float>::quiet_NaN()), "nan");
    // 0 / 0 on x86 gives a NaN with the sign bit set.
    const Result quotient = run("a / a", {f("a", 0.0f)});
    ASSERT_TRUE(quotient.ok);
    EXPECT_EQ(Expr::formatFloat(quotient.value[0]), "nan");
    EXPECT_EQ(Expr::formatFloat(-std::numeric_limits<float>::infinity()), "-inf");
}
