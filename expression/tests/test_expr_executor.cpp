// The executor: the pool it builds, how it runs, and what it accepts as byte
// code.
#include <cmath>

#include "debug/debug_check.h"
#include "expr_test_util.h"

using namespace ExprTest;
using Expr::VT_Float;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

std::vector<unsigned char> compile(const std::string& text, const std::vector<Input>& inputs)
{
    const Expr::Parser parser = parse(text, inputs);
    EXPECT_TRUE(parser.isOk()) << text << ": " << parser.getErrorMessage();
    return std::vector<unsigned char>(parser.getOutputBuffer(),
                                      parser.getOutputBuffer() + parser.getOutputBufferSize());
}

}  // namespace

TEST(ExprExecutor, PoolSizeFromTheHeaderAlone)
{
    // "lerp(a, b, t) * 2 + a": 2 inputs of vec3 and one float; 3 commands with
    // 3 + 2 + 2 arguments; data: 12 + 12 + 4 + result 12 + constant 4 + 12 + 12.
    const auto code =
        compile("lerp(a, b, t) * 2 + a", {v3("a", 0, 0, 0), v3("b", 0, 0, 0), f("t", 0)});
    const unsigned dataSize = 12 + 12 + 4 + 12 + 4 + 12 + 12;
    EXPECT_EQ(Expr::Executor::computePoolSizeNoObj(code.data(), static_cast<unsigned>(code.size())),
              3u * 16u + 3u * 24u + 7u * 8u + dataSize);
    EXPECT_EQ(Expr::Executor::computePoolSizeNoObj(code.data(), 6), 0u);
    Pool pool(1024);
    Expr::Executor executor(pool.data(), code.data(), static_cast<unsigned>(code.size()));
    EXPECT_EQ(executor.getPoolSize(), 3u * 16u + 3u * 24u + 7u * 8u + dataSize);
    EXPECT_EQ(executor.getNumInputs(), 3u);
    EXPECT_EQ(executor.getNumCommands(), 3u);
    EXPECT_EQ(executor.getNumArguments(), 7u);
    EXPECT_EQ(executor.getInputType(0), VT_Vec3);
    EXPECT_EQ(executor.getInputType(2), VT_Float);
    EXPECT_EQ(executor.getResultType(), VT_Vec3);
}

// Input slots, command slots, argument pointers and the data area follow each
// other in the pool, in that order, with nothing between them.
TEST(ExprExecutor, PoolHoldsSlotsThenArgumentsThenData)
{
    const auto code = compile("vec2(s, 2) + u", {v2("u", 0, 0), f("s", 0)});
    const unsigned size = static_cast<unsigned>(code.size());
    const unsigned poolSize = Expr::Executor::computePoolSizeNoObj(code.data(), size);
    const unsigned dataSize = 8 + 4 + 4 + 8 + 8;  // u, s, constant 2, vec2(...), sum
    ASSERT_EQ(poolSize, 2u * 16u + 2u * 24u + 4u * 8u + dataSize);
    Pool pool(poolSize);
    Expr::Executor executor(pool.data(), code.data(), size);
    unsigned char* const base = pool.data();
    unsigned char* const data = base + poolSize - dataSize;

    const auto* inputs = reinterpret_cast<const Expr::Executor::InputSlot*>(base);
    EXPECT_EQ(inputs[0].type, VT_Vec2);
    EXPECT_EQ(inputs[0].cell, data + 0);
    EXPECT_EQ(inputs[1].type, VT_Float);
    EXPECT_EQ(inputs[1].cell, data + 8);

    const auto* commands = reinterpret_cast<const Expr::Executor::CommandSlot*>(base + 2 * 16);
    const auto* arguments = reinterpret_cast<const void* const*>(base + 2 * 16 + 2 * 24);
    EXPECT_EQ(commands[0].result, data + 16);  // vec2(s, 2)
    EXPECT_EQ(commands[0].args, arguments);
    EXPECT_EQ(commands[1].result, data + 24);  // ... + u
    EXPECT_EQ(commands[1].args, arguments + 2);
    EXPECT_EQ(arguments[0], data + 8);
    EXPECT_EQ(arguments[1], data + 12);
    EXPECT_EQ(arguments[2], data + 16);
    EXPECT_EQ(arguments[3], data + 0);
    EXPECT_EQ(executor.getOutputRawData(), data + 24);
    // The constant is in its cell from the start.
    float constant = 0;
    std::memcpy(&constant, data + 12, 4);
    EXPECT_EQ(constant, 2.0f);

    const float u[] = {1, 2}, s = 5;
    executor.setInputRawData(0, u, sizeof u);
    executor.setInputRawData(1, &s, sizeof s);
    executor.execute();
    float sum[2];
    std::memcpy(sum, data + 24, sizeof sum);
    EXPECT_EQ(sum[0], 6.0f);
    EXPECT_EQ(sum[1], 4.0f);
}

TEST(ExprExecutor, RunsRepeatedlyWithNewInputs)
{
    auto code = compile("a * a + b", {f("a", 0), f("b", 0)});
    Pool pool(
        Expr::Executor::computePoolSizeNoObj(code.data(), static_cast<unsigned>(code.size())));
    Expr::Executor executor(pool.data(), code.data(), static_cast<unsigned>(code.size()));
    // The code is not needed once the executor is built.
    std::fill(code.begin(), code.end(), 0xEE);
    float result = 0;
    for (int i = 0; i < 5; ++i)
    {
        const float a = static_cast<float>(i), b = 0.5f;
        executor.setInputRawData(0, &a, sizeof a);
        executor.setInputRawData(1, &b, sizeof b);
        executor.execute();
        std::memcpy(&result, executor.getOutputRawData(), sizeof result);
        EXPECT_EQ(result, a * a + b);
    }
    // Inputs keep their value between runs.
    const float a = 3;
    executor.setInputRawData(0, &a, sizeof a);
    executor.execute();
    std::memcpy(&result, executor.getOutputRawData(), sizeof result);
    EXPECT_EQ(result, 9.5f);
}

TEST(ExprExecutor, InputsFromPointersTakeTheSizeOfTheirType)
{
    const auto code = compile("v * s + x(u)", {v3("v", 0, 0, 0), f("s", 0), v2("u", 0, 0)});
    Pool pool(
        Expr::Executor::computePoolSizeNoObj(code.data(), static_cast<unsigned>(code.size())));
    Expr::Executor executor(pool.data(), code.data(), static_cast<unsigned>(code.size()));
    // Each source is followed by bytes that must not be copied.
    const float v[] = {1, 2, 3, 99}, s[] = {2, 99, 99, 99}, u[] = {10, 20, 99, 99};
    const void* sources[] = {v, s, u};
    executor.setInputs(sources, 3);
    executor.execute();
    float out[4] = {0, 0, 0, -1};
    std::memcpy(out, executor.getOutputRawData(), 12);
    EXPECT_EQ(out[0], 12.0f);
    EXPECT_EQ(out[1], 14.0f);
    EXPECT_EQ(out[2], 16.0f);
}

TEST(ExprExecutor, CodeIsPositionIndependent)
{
    const auto code = compile("cross(a, b) * s", {v3("a", 0, 0, 0), v3("b", 0, 0, 0), f("s", 0)});
    std::vector<unsigned char> shifted(code.size() + 3);
    std::memcpy(shifted.data() + 3, code.data(), code.size());  // unaligned copy
    Pool pool(
        Expr::Executor::computePoolSizeNoObj(code.data(), static_cast<unsigned>(code.size())));
    Expr::Executor executor(pool.data(), shifted.data() + 3, static_cast<unsigned>(code.size()));
    const float a[] = {1, 0, 0}, b[] = {0, 1, 0}, s = 2;
    executor.setInputRawData(0, a, sizeof a);
    executor.setInputRawData(1, b, sizeof b);
    executor.setInputRawData(2, &s, sizeof s);
    executor.execute();
    float out[3];
    std::memcpy(out, executor.getOutputRawData(), sizeof out);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[1], 0.0f);
    EXPECT_EQ(out[2], 2.0f);
}

TEST(ExprExecutor, ConstantOnlyExpressionNeedsNoRun)
{
    const auto code = compile("2.5", {});
    Pool pool(
        Expr::Executor::computePoolSizeNoObj(code.data(), static_cast<unsigned>(code.size())));
    Expr::Executor executor(pool.data(), code.data(), static_cast<unsigned>(code.size()));
    float value = 0;
    std::memcpy(&value, executor.getOutputRawData(), sizeof value);
    EXPECT_EQ(value, 2.5f);
    executor.execute();
    std::memcpy(&value, executor.getOutputRawData(), sizeof value);
    EXPECT_EQ(value, 2.5f);
}

TEST(ExprExecutor, TwoExecutorsOverOneCodeAreIndependent)
{
    const auto code = compile("a + 1", {f("a", 0)});
    const unsigned size = static_cast<unsigned>(code.size());
    Pool first(Expr::Executor::computePoolSizeNoObj(code.data(), size));
    Pool second(Expr::Executor::computePoolSizeNoObj(code.data(), size));
    Expr::Executor x(first.data(), code.data(), size), y(second.data(), code.data(), size);
    const float one = 1, ten = 10;
    x.setInputRawData(0, &one, 4);
    y.setInputRawData(0, &ten, 4);
    x.execute();
    y.execute();
    EXPECT_EQ(*static_cast<const float*>(x.getOutputRawData()), 2.0f);
    EXPECT_EQ(*static_cast<const float*>(y.getOutputRawData()), 11.0f);
}

// ------------------------------------------------------------------ code checks

TEST(ExprCodeCheck, EveryParsedExpressionIsSound)
{
    const std::vector<Input> in = {v3("a", 0, 0, 0), v3("b", 0, 0, 0), f("t", 0), v2("p", 0, 0),
                                   q("r", 0, 0, 0, 1)};
    for (const char* text : {"a", "1", "lerp(a, b, t) * 2 + a", "r * r * r", "-x(p) % t",
                             "vec3(t, t, t) / length(yx(p))"})
    {
        const auto code = compile(text, in);
        const char* why = nullptr;
        EXPECT_TRUE(Expr::checkCode(code.data(), static_cast<unsigned>(code.size()), &why))
            << text << ": " << why;
    }
}

TEST(ExprCodeCheck, EveryTruncationIsRefused)
{
    const auto code = compile("dot(a, b) + t * 2", {v3("a", 0, 0, 0), v3("b", 0, 0, 0), f("t", 0)});
    for (unsigned size = 0; size < code.size(); ++size)
        EXPECT_FALSE(Expr::checkCode(code.data(), size)) << size;
    auto longer = code;
    longer.push_back(0);
    EXPECT_FALSE(Expr::checkCode(longer.data(), static_cast<unsigned>(longer.size())));
    EXPECT_FALSE(Expr::checkCode(nullptr, 0));
}

TEST(ExprCodeCheck, CorruptFieldsAreRefused)
{
    // "a + t": header 7, a (vec3 at 0), t (float at 12), then one command.
    const auto code = compile("a + t", {v3("a", 0, 0, 0), f("t", 0)});
    const unsigned command = 7 + 6;
    auto refused = [&](unsigned at, unsigned char value, const char* reason)
    {
        auto bad = code;
        bad[at] = value;
        const char* why = nullptr;
        EXPECT_FALSE(Expr::checkCode(bad.data(), static_cast<unsigned>(bad.size()), &why))
            << "byte " << at << " = " << int(value);
        EXPECT_STREQ(why ? why : "(none)", reason);
    };
    refused(3, 9, "argument count differs from the header");
    refused(5, 12, "input cell outside the data area");       // data size too small
    refused(7, 4, "input cell outside the data area");        // unknown value type
    refused(command, 3, "operation outside the tables");      // kind
    refused(command + 1, 5, "operation outside the tables");  // binary operation 5
    refused(command + 2, 7, "operation outside the tables");  // overload 7 of "+"
    refused(command + 3, 250, "result cell outside the data area");
    refused(command + 5, 4, "argument cell of another type");  // a vec3 read at offset 4
    refused(command + 7, 0, "argument cell of another type");  // the float read from a's cell
    refused(command + 2, 0, "result cell of another type");    // float overload: float result
}

// A cell must end inside the data area, not merely start there, and start on a
// multiple of its type's alignment. Each row changes one byte of "a + t" (a vec3
// at 0, t at 12, the sum at 16, data size 28) or of "t * 2" (t at 0, the
// constant at 4, the product at 8, data size 12).
TEST(ExprCodeCheck, CellsEndInsideTheDataAreaOnTheirAlignment)
{
    const auto sum = compile("a + t", {v3("a", 0, 0, 0), f("t", 0)});
    const auto product = compile("t * 2", {f("t", 0)});
    const unsigned command = 7 + 6;               // of "a + t"
    const unsigned sumTrailer = command + 9 + 2;  // after the command and the constant count
    const unsigned constant = 7 + 3 + 9 + 2;      // of "t * 2": its offset field
    struct Row
    {
        const std::vector<unsigned char>* code;
        unsigned at;
        unsigned char value;
        const char* reason;
    };
    const Row rows[] = {
        {&sum, 5, 14, "input cell outside the data area"},          // t at 12 would end at 16
        {&sum, 5, 27, "result cell outside the data area"},         // the sum would end at 28
        {&sum, command + 5, 20, "argument outside the data area"},  // a vec3 read at 20..32
        {&sum, sumTrailer + 1, 24, "result cell outside the data area"},
        {&product, constant, 10, "constant outside the data area"},  // 10..14 of 12
        {&sum, 7 + 3 + 1, 13, "input cell not aligned to its type"},
        {&sum, command + 3, 2, "result cell not aligned to its type"},
        {&sum, command + 7, 1, "argument not aligned to its type"},
        {&sum, sumTrailer + 1, 2, "result cell not aligned to its type"},
        {&product, constant, 6, "constant not aligned to its type"},
    };
    for (const Row& row : rows)
    {
        auto bad = *row.code;
        ASSERT_LT(row.at + 1, bad.size());
        bad[row.at] = row.value;
        const char* why = nullptr;
        EXPECT_FALSE(Expr::checkCode(bad.data(), static_cast<unsigned>(bad.size()), &why))
            << "byte " << row.at << " = " << int(row.value);
        EXPECT_STREQ(why ? why : "(none)", row.reason) << "byte " << row.at;
    }
    // The unchanged codes pass, and their data sizes are as the rows assume.
    EXPECT_TRUE(Expr::checkCode(sum.data(), static_cast<unsigned>(sum.size())));
    EXPECT_TRUE(Expr::checkCode(product.data(), static_cast<unsigned>(product.size())));
    EXPECT_EQ(sum[5], 28);
    EXPECT_EQ(product[5], 12);
    EXPECT_EQ(sum.size(), sumTrailer + 3);
}

TEST(ExprCodeCheck, ExecutorAssertsOnCorruptCode)
{
    auto code = compile("a + 1", {f("a", 0)});
    code[1] = 200;  // 200 commands announced
    Pool pool(100000);
    EXPECT_THROW(Expr::Executor(pool.data(), code.data(), static_cast<unsigned>(code.size())),
                 Debug::CheckException);
}
