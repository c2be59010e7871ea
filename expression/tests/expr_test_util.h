#pragma once

// Helpers of the expression tests: parse a text over typed inputs, run it and
// read the result back as floats.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"

namespace ExprTest
{

struct Input
{
    std::string name;
    Expr::EnumValueType type;
    std::vector<float> value;
};

inline std::vector<Expr::InputDesc> descs(const std::vector<Input>& inputs)
{
    std::vector<Expr::InputDesc> result;
    for (const auto& input : inputs)
        result.push_back({input.name.c_str(), input.type});
    return result;
}

inline Expr::Parser parse(const std::string& text, const std::vector<Input>& inputs = {})
{
    const auto d = descs(inputs);
    return Expr::Parser(text.c_str(), d.data(), static_cast<unsigned>(d.size()));
}

// A pool with pointer alignment.
struct Pool
{
    explicit Pool(unsigned size) : words((size + 7) / 8 + 1) {}
    unsigned char* data() { return reinterpret_cast<unsigned char*>(words.data()); }
    std::vector<std::uint64_t> words;
};

// The result of a run: its type and its components.
struct Result
{
    bool ok = false;
    Expr::EnumValueType type = Expr::VT_Float;
    std::vector<float> value;
    std::string error;
    unsigned errorPosition = 0;
};

inline Result run(const std::string& text, const std::vector<Input>& inputs = {})
{
    Result result;
    const Expr::Parser parser = parse(text, inputs);
    if (!parser.isOk())
    {
        result.error = parser.getErrorMessage();
        result.errorPosition = parser.getErrorPosition();
        return result;
    }
    const unsigned char* code = parser.getOutputBuffer();
    const unsigned size = parser.getOutputBufferSize();
    EXPECT_TRUE(Expr::checkCode(code, size)) << text;
    Pool pool(Expr::Executor::computePoolSizeNoObj(code, size));
    Expr::Executor executor(pool.data(), code, size);
    for (unsigned i = 0; i < inputs.size(); ++i)
        executor.setInputRawData(i, inputs[i].value.data(),
                                 static_cast<unsigned>(inputs[i].value.size() * sizeof(float)));
    executor.execute();
    result.ok = true;
    result.type = executor.getResultType();
    result.value.resize(Expr::getTypeSize(result.type) / sizeof(float));
    std::memcpy(result.value.data(), executor.getOutputRawData(),
                result.value.size() * sizeof(float));
    return result;
}

inline Input f(const std::string& name, float v) { return {name, Expr::VT_Float, {v}}; }
inline Input v2(const std::string& name, float x, float y) { return {name, Expr::VT_Vec2, {x, y}}; }
inline Input v3(const std::string& name, float x, float y, float z)
{
    return {name, Expr::VT_Vec3, {x, y, z}};
}
inline Input q(const std::string& name, float x, float y, float z, float w)
{
    return {name, Expr::VT_Quat, {x, y, z, w}};
}

// Bitwise equality of floats, so that -0 and NaN payloads are told apart.
inline bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace ExprTest

// Compares a result with expected components bit for bit.
#define EXPECT_RESULT(result, expectedType, ...)                                                   \
    do                                                                                             \
    {                                                                                              \
        const ExprTest::Result& r_ = (result);                                                     \
        const std::vector<float> e_ = {__VA_ARGS__};                                               \
        ASSERT_TRUE(r_.ok) << r_.error;                                                            \
        EXPECT_EQ(r_.type, expectedType);                                                          \
        ASSERT_EQ(r_.value.size(), e_.size());                                                     \
        for (std::size_t i_ = 0; i_ < e_.size(); ++i_)                                             \
            EXPECT_TRUE(ExprTest::sameBits(r_.value[i_], e_[i_]))                                  \
                << "component " << i_ << ": " << r_.value[i_] << " != " << e_[i_];                 \
    } while (false)
