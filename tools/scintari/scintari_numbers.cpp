#include "scintari_numbers.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace Scintari
{

namespace
{

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

std::string show(double v)
{
    if (std::fabs(v) == kFloatMax)
        return v < 0 ? "-3.4e38" : "3.4e38";
    char buffer[64];
    // Plain decimals where they are short enough ("0.000001", "100000"), else "%g".
    if (v == 0.0 || (std::fabs(v) >= 1e-6 && std::fabs(v) < 1e12))
    {
        std::snprintf(buffer, sizeof(buffer), "%.9f", v);
        std::string text = buffer;
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
        return text;
    }
    std::snprintf(buffer, sizeof(buffer), "%.9g", v);
    return buffer;
}

bool refuse(const std::string& name, const std::string& rule, const std::string& text,
            const char* reason, std::string& why)
{
    why = name + " must be " + rule + ", not \"" + text + "\" (" + reason + ")";
    return false;
}

// [+-] digits [. digits] [(e|E) [+-] digits], with at least one digit before the exponent.
// What strtod would take besides (hexadecimal, "inf", "nan", leading spaces) is not a number
// here.
bool isDecimal(const std::string& text)
{
    size_t i = 0;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        ++i;
    size_t digits = 0;
    while (i < text.size() && isDigit(text[i]))
        ++i, ++digits;
    if (i < text.size() && text[i] == '.')
    {
        ++i;
        while (i < text.size() && isDigit(text[i]))
            ++i, ++digits;
    }
    if (digits == 0)
        return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E'))
    {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-'))
            ++i;
        size_t exponent = 0;
        while (i < text.size() && isDigit(text[i]))
            ++i, ++exponent;
        if (exponent == 0)
            return false;
    }
    return i == text.size();
}

bool looksNonFinite(const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size() && !std::isfinite(v) && errno == 0;
}

bool checkRange(double v, const RealRule& rule, const std::string& text, std::string& why)
{
    if (v > rule.max)
        return refuse(rule.name, describe(rule), text, "too large", why);
    if (v < rule.min || (rule.aboveMin && v == rule.min))
        return refuse(rule.name, describe(rule), text, "too small", why);
    return true;
}

}  // namespace

std::string describe(const WholeRule& rule)
{
    return "a whole number from " + std::to_string(rule.min) + " to " + std::to_string(rule.max) +
           (rule.hex ? " (decimal, or hexadecimal after 0x)" : "");
}

std::string describe(const RealRule& rule)
{
    if (rule.aboveMin)
        return "a number above " + show(rule.min) + " up to " + show(rule.max);
    return "a number from " + show(rule.min) + " to " + show(rule.max);
}

bool parseWhole(const std::string& text, const WholeRule& rule, std::uint64_t& value,
                std::string& why)
{
    const std::string desc = describe(rule);
    const bool hex =
        rule.hex && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const size_t start = hex ? 2 : 0;
    bool digitsOnly = text.size() > start;
    for (size_t i = start; i < text.size(); ++i)
        digitsOnly = digitsOnly && (hex ? isHexDigit(text[i]) : isDigit(text[i]));
    if (!digitsOnly)
    {
        if (!text.empty() && text[0] == '-' && isDecimal(text))
            return refuse(rule.name, desc, text, "too small", why);
        if (isDecimal(text) && text.find_first_of(".eE") != std::string::npos)
            return refuse(rule.name, desc, text, "not a whole number", why);
        return refuse(rule.name, desc, text, "not a number", why);
    }
    errno = 0;
    const unsigned long long v = std::strtoull(text.c_str() + start, nullptr, hex ? 16 : 10);
    if (errno == ERANGE || v > rule.max)
        return refuse(rule.name, desc, text, "too large", why);
    if (v < rule.min)
        return refuse(rule.name, desc, text, "too small", why);
    value = v;
    return true;
}

bool parseReal(const std::string& text, const RealRule& rule, double& value, std::string& why)
{
    if (!isDecimal(text))
        return refuse(rule.name, describe(rule), text,
                      looksNonFinite(text) ? "not a finite number" : "not a number", why);
    errno = 0;
    const double v = std::strtod(text.c_str(), nullptr);
    // ERANGE also means a result too small for a double: that one reads as 0 or nearly so.
    if (!std::isfinite(v) || (errno == ERANGE && std::fabs(v) > 1.0))
        return refuse(rule.name, describe(rule), text, v < 0 ? "too small" : "too large", why);
    if (!checkRange(v, rule, text, why))
        return false;
    value = v;
    return true;
}

bool parseFloat(const std::string& text, const RealRule& rule, float& value, std::string& why)
{
    double wide = 0.0;
    if (!parseReal(text, rule, wide, why))
        return false;
    // Read again as a float, so that the decimal rounds once, to the nearest float.
    const float v = std::strtof(text.c_str(), nullptr);
    if (!std::isfinite(v))
        return refuse(rule.name, describe(rule), text, "too large", why);
    if (!checkRange(v, rule, text, why))
        return false;
    value = v;
    return true;
}

}  // namespace Scintari
