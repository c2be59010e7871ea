// Any bytes as the text of an expression for both text translators, over a
// fixed set of inputs of every type: each call must end with a verdict within
// bounded time and stack, never a crash. A translation has a known type and
// a text; a refusal has a message and a position inside the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "expression/expr2cs.h"
#include "expression/expr2js.h"

namespace
{

const std::vector<Expr::Translator::InputDesc>& inputs()
{
    static const std::vector<Expr::Translator::InputDesc> list = {
        {"a", Expr::VT_Float, "a"},       {"b", Expr::VT_Float, "in.b"},
        {"u", Expr::VT_Vec2, "u"},        {"v", Expr::VT_Vec3, "v"},
        {"vv", Expr::VT_Vec3, "vv"},      {"q", Expr::VT_Quat, "q"},
        {"info", Expr::VT_Float, "info"}, {"x", Expr::VT_Vec2, "x"},
        {"dt", Expr::VT_Float, "dt"},
    };
    return list;
}

template <class Convert>
Expr::Translator::Result check(Convert convert, const std::string& text)
{
    unsigned position = ~0u;
    std::string message;
    const Expr::Translator::Result result = convert(text, inputs(), &position, &message);
    if (result)
    {
        if (result->first >= Expr::numValueTypes || result->second.empty())
            std::abort();
    }
    else
    {
        if (message.empty() || position > text.size())
            std::abort();
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto js = check(Expr2Js::convert, text);
    const auto cs = check(Expr2Cs::convert, text);
    // Both translators read the same language: they agree on the verdict and the type.
    if (js.has_value() != cs.has_value())
        std::abort();
    if (js && js->first != cs->first)
        std::abort();
    return 0;
}
