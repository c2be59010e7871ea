// The strict reading of the tool's number arguments.

#include <cfloat>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "scintari_numbers.h"

namespace
{

using Scintari::RealRule;
using Scintari::WholeRule;

const WholeRule kFrames{"--frames", 0, 10000000};
const WholeRule kSeed{"--seed", 0, 0xFFFFFFFFull, true};
const WholeRule kCount{"the count", 1, 5};

struct WholeCase
{
    const char* text;
    const WholeRule* rule;
    std::uint64_t value;  // when accepted
    const char* reason;   // when refused, else nullptr
};

TEST(ScintariNumbers, WholeNumbers)
{
    const WholeCase cases[] = {
        {"0", &kFrames, 0, nullptr},
        {"10000000", &kFrames, 10000000, nullptr},
        {"007", &kFrames, 7, nullptr},
        {"10000001", &kFrames, 0, "too large"},
        {"99999999999999999999", &kFrames, 0, "too large"},
        {"18446744073709551616", &kFrames, 0, "too large"},
        {"-1", &kFrames, 0, "too small"},
        {"-3.5", &kFrames, 0, "too small"},
        {"2.5", &kFrames, 0, "not a whole number"},
        {"1e3", &kFrames, 0, "not a whole number"},
        {"abc", &kFrames, 0, "not a number"},
        {"", &kFrames, 0, "not a number"},
        {" 1", &kFrames, 0, "not a number"},
        {"1 ", &kFrames, 0, "not a number"},
        {"+1", &kFrames, 0, "not a number"},
        {"0x10", &kFrames, 0, "not a number"},  // hexadecimal only where the rule allows it
        {"0x1F", &kSeed, 31, nullptr},
        {"0XfF", &kSeed, 255, nullptr},
        {"4294967295", &kSeed, 4294967295u, nullptr},
        {"0xFFFFFFFF", &kSeed, 4294967295u, nullptr},
        {"4294967296", &kSeed, 0, "too large"},
        {"0x100000000", &kSeed, 0, "too large"},
        {"0x", &kSeed, 0, "not a number"},
        {"0x1G", &kSeed, 0, "not a number"},
        {"0", &kCount, 0, "too small"},
        {"1", &kCount, 1, nullptr},
        {"5", &kCount, 5, nullptr},
        {"6", &kCount, 0, "too large"},
    };
    for (const WholeCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.rule->name) + " \"" + c.text + "\"");
        std::uint64_t value = 12345;
        std::string why;
        const bool ok = Scintari::parseWhole(c.text, *c.rule, value, why);
        if (c.reason)
        {
            EXPECT_FALSE(ok);
            EXPECT_EQ(value, 12345u) << "a refused text leaves the value alone";
            EXPECT_EQ(why, std::string(c.rule->name) + " must be " + Scintari::describe(*c.rule) +
                               ", not \"" + c.text + "\" (" + c.reason + ")");
        }
        else
        {
            EXPECT_TRUE(ok) << why;
            EXPECT_EQ(value, c.value);
        }
    }
}

const RealRule kSeconds{"--seconds", 0.0, 100000.0};
const RealRule kStep{"--update-dt", 0.000001, 3600.0};
const RealRule kPositive{"--scale", 0.0, 10.0, true};
const RealRule kAnyFloat{"a time", -Scintari::kFloatMax, Scintari::kFloatMax};

struct RealCase
{
    const char* text;
    const RealRule* rule;
    double value;
    const char* reason;
};

TEST(ScintariNumbers, RealNumbers)
{
    const RealCase cases[] = {
        {"0", &kSeconds, 0.0, nullptr},
        {"1", &kSeconds, 1.0, nullptr},
        {"1.", &kSeconds, 1.0, nullptr},
        {".5", &kSeconds, 0.5, nullptr},
        {"2.5e2", &kSeconds, 250.0, nullptr},
        {"100000", &kSeconds, 100000.0, nullptr},
        {"1e-400", &kSeconds, 0.0, nullptr},  // below the smallest double: reads as 0
        {"100000.001", &kSeconds, 0, "too large"},
        {"1e30", &kSeconds, 0, "too large"},
        {"1e400", &kSeconds, 0, "too large"},
        {"-1e400", &kSeconds, 0, "too small"},
        {"-0.5", &kSeconds, 0, "too small"},
        {"inf", &kSeconds, 0, "not a finite number"},
        {"-infinity", &kSeconds, 0, "not a finite number"},
        {"nan", &kSeconds, 0, "not a finite number"},
        {"NAN", &kSeconds, 0, "not a finite number"},
        {"0x1p3", &kSeconds, 0, "not a number"},
        {"", &kSeconds, 0, "not a number"},
        {".", &kSeconds, 0, "not a number"},
        {"1e", &kSeconds, 0, "not a number"},
        {"1,5", &kSeconds, 0, "not a number"},
        {" 1", &kSeconds, 0, "not a number"},
        {"1s", &kSeconds, 0, "not a number"},
        {"0.000001", &kStep, 0.000001, nullptr},
        {"3600", &kStep, 3600.0, nullptr},
        {"0.0000009", &kStep, 0, "too small"},
        {"0", &kPositive, 0, "too small"},
        {"0.001", &kPositive, 0.001, nullptr},
        {"-3.4e38", &kAnyFloat, -3.4e38, nullptr},
        {"3.5e38", &kAnyFloat, 0, "too large"},
    };
    for (const RealCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.rule->name) + " \"" + c.text + "\"");
        double value = 12345.0;
        std::string why;
        const bool ok = Scintari::parseReal(c.text, *c.rule, value, why);
        if (c.reason)
        {
            EXPECT_FALSE(ok);
            EXPECT_EQ(value, 12345.0);
            EXPECT_EQ(why, std::string(c.rule->name) + " must be " + Scintari::describe(*c.rule) +
                               ", not \"" + c.text + "\" (" + c.reason + ")");
        }
        else
        {
            EXPECT_TRUE(ok) << why;
            EXPECT_EQ(value, c.value);
        }
    }
}

TEST(ScintariNumbers, FloatsRoundOnceAndStayInRange)
{
    std::string why;
    float f = 0.0f;
    ASSERT_TRUE(Scintari::parseFloat("0.1", kAnyFloat, f, why));
    EXPECT_EQ(f, 0.1f);
    // Halfway between two floats as a decimal: read straight as a float, not through a double.
    ASSERT_TRUE(Scintari::parseFloat("1.00000005960464477539062500001", kAnyFloat, f, why));
    EXPECT_EQ(f, std::strtof("1.00000005960464477539062500001", nullptr));
    ASSERT_TRUE(Scintari::parseFloat("3.4028234663852886e38", kAnyFloat, f, why));
    EXPECT_EQ(f, FLT_MAX);
    EXPECT_FALSE(Scintari::parseFloat("3.41e38", kAnyFloat, f, why));
    EXPECT_NE(why.find("(too large)"), std::string::npos) << why;
    // A decimal above 0 that no float above 0 holds is below the range "above 0".
    EXPECT_FALSE(Scintari::parseFloat("1e-50", kPositive, f, why));
    EXPECT_NE(why.find("(too small)"), std::string::npos) << why;
}

TEST(ScintariNumbers, RangesInWords)
{
    EXPECT_EQ(Scintari::describe(kFrames), "a whole number from 0 to 10000000");
    EXPECT_EQ(Scintari::describe(kSeed),
              "a whole number from 0 to 4294967295 (decimal, or hexadecimal after 0x)");
    EXPECT_EQ(Scintari::describe(kSeconds), "a number from 0 to 100000");
    EXPECT_EQ(Scintari::describe(kStep), "a number from 0.000001 to 3600");
    EXPECT_EQ(Scintari::describe(kPositive), "a number above 0 up to 10");
    EXPECT_EQ(Scintari::describe(kAnyFloat), "a number from -3.4e38 to 3.4e38");
}

}  // namespace
