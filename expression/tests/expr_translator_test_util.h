#pragma once

// Helpers of the translator tests: input lists written as "name:type,...".

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "expression/expr_translator.h"

namespace ExprTranslatorTest
{

// "a:float,u:vec2" -> inputs printed under their own names.
inline std::vector<Expr::Translator::InputDesc> inputs(const std::string& list)
{
    std::vector<Expr::Translator::InputDesc> result;
    std::stringstream stream(list);
    std::string item;
    while (std::getline(stream, item, ','))
    {
        const auto colon = item.rfind(':');
        const std::string type = item.substr(colon + 1);
        Expr::EnumValueType t = Expr::VT_Float;
        if (type == "vec2")
            t = Expr::VT_Vec2;
        else if (type == "vec3")
            t = Expr::VT_Vec3;
        else if (type == "quat")
            t = Expr::VT_Quat;
        const std::string name = item.substr(0, colon);
        result.push_back({name, t, name});
    }
    return result;
}

// The inputs of most cases: floats a, b, t; vec2 u; vec3 v, w; quaternion q;
// and "dt" last, as the export checks add it.
inline const char* standardInputs()
{
    return "a:float,b:float,t:float,u:vec2,v:vec3,w:vec3,q:quat,dt:float";
}

// A refusal in a table of cases.
constexpr const char* refused = nullptr;

// One text of a translation table and what the translator must make of it.
struct Case
{
    const char* text;
    const char* expected;  // `refused` when the text must not translate
    Expr::EnumValueType type;
    const char* inputs;  // null: standardInputs()
};

// Runs a translator's convert (of Expr2Js or Expr2Cs) over a table.
template <class Convert, size_t N>
void expectTranslations(const Case (&cases)[N], const Convert& convert)
{
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string("text: \"") + c.text + "\"");
        const auto result =
            convert(c.text, inputs(c.inputs ? c.inputs : standardInputs()), nullptr, nullptr);
        if (!c.expected)
        {
            EXPECT_FALSE(result.has_value()) << "translated to " << result->second;
            continue;
        }
        ASSERT_TRUE(result.has_value());
        EXPECT_EQ(result->second, c.expected);
        EXPECT_EQ(result->first, c.type);
    }
}

}  // namespace ExprTranslatorTest
