#pragma once

// The numbers of the command line, read the same strict way by every command: the whole
// argument is the number (no spaces, no trailing characters), nothing overflows silently,
// nothing non-finite passes, and a value outside the range the command states is refused
// with a message that states the range again, e.g.
//   --frames must be a whole number from 0 to 10000000, not "99999999999999999999" (too large)

#include <cstdint>
#include <string>

namespace Scintari
{

// A whole number: decimal digits, or hexadecimal after "0x" where `hex` allows it.
struct WholeRule
{
    const char* name;  // as the message names it: "--frames", "the count"
    std::uint64_t min;
    std::uint64_t max;
    bool hex = false;
};

// A finite decimal number (an exponent is allowed, "1e-3"). `aboveMin` excludes min itself.
struct RealRule
{
    const char* name;
    double min;
    double max;
    bool aboveMin = false;
};

// The largest finite float, the widest range of a float argument.
constexpr double kFloatMax = 3.4028234663852886e38;

// "a whole number from 0 to 10000000", "a number above 0 up to 3600".
std::string describe(const WholeRule& rule);
std::string describe(const RealRule& rule);

// False with the message in `why` when `text` is not a number of the rule's kind and range.
bool parseWhole(const std::string& text, const WholeRule& rule, std::uint64_t& value,
                std::string& why);
bool parseReal(const std::string& text, const RealRule& rule, double& value, std::string& why);
// The float nearest to the decimal text; the rule's range must lie within a float's.
bool parseFloat(const std::string& text, const RealRule& rule, float& value, std::string& why);

}  // namespace Scintari
