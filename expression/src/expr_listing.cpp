// The listing of byte code.
#include "expression/expr_listing.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "expression/expr_const.h"
#include "expression/expr_executor.h"

namespace Expr
{

namespace
{

unsigned getU16(const unsigned char* p)
{
    return static_cast<unsigned>(p[0]) | (static_cast<unsigned>(p[1]) << 8);
}

const char* kindName(unsigned kind)
{
    switch (kind)
    {
    case OT_Unary:
        return "unary";
    case OT_Binary:
        return "binary";
    default:
        return "function";
    }
}

}  // namespace

std::string formatFloat(float value)
{
    // The C library prints the sign bit of a NaN ("-nan"), which carries no meaning
    // and differs between operations and machines: every NaN is "nan".
    if (std::isnan(value))
        return "nan";
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
    return buffer;
}

std::string listCode(const unsigned char* code, unsigned size)
{
    const char* why = "";
    if (!checkCode(code, size, &why))
        return std::string("refused: ") + why + "\n";
    std::string out;
    const unsigned numInputs = code[0];
    const unsigned numCommands = getU16(code + 1);
    out += "header: inputs " + std::to_string(numInputs) + ", commands " +
           std::to_string(numCommands) + ", arguments " + std::to_string(getU16(code + 3)) +
           ", data " + std::to_string(getU16(code + 5)) + " bytes, pool " +
           std::to_string(Executor::computePoolSizeNoObj(code, size)) + " bytes, code " +
           std::to_string(size) + " bytes\n";
    const unsigned char* p = code + 7;
    for (unsigned i = 0; i < numInputs; ++i, p += 3)
        out += "input " + std::to_string(i) + ": " + getTypeName(p[0]) + " @" +
               std::to_string(getU16(p + 1)) + "\n";
    for (unsigned c = 0; c < numCommands; ++c)
    {
        EnumValueType result = VT_Float;
        EnumValueType args[3];
        unsigned numArgs = 0;
        getOverload(p[0], p[1], p[2], nullptr, &result, args, 3, &numArgs);
        out += "command " + std::to_string(c) + ": " + kindName(p[0]) + " \"" +
               getOperationName(p[0], p[1]) + "\" overload " + std::to_string(p[2]) + " (" +
               getTypeName(result) + " =";
        for (unsigned a = 0; a < numArgs; ++a)
            out += std::string(a ? ", " : " ") + getTypeName(args[a]);
        out += "): @" + std::to_string(getU16(p + 3)) + " <-";
        p += 5;
        for (unsigned a = 0; a < numArgs; ++a, p += 2)
            out += std::string(a ? ", @" : " @") + std::to_string(getU16(p));
        out += "\n";
    }
    const unsigned numConstants = getU16(p);
    p += 2;
    for (unsigned i = 0; i < numConstants; ++i, p += 6)
    {
        std::uint32_t bits =
            static_cast<std::uint32_t>(p[2]) | (static_cast<std::uint32_t>(p[3]) << 8) |
            (static_cast<std::uint32_t>(p[4]) << 16) | (static_cast<std::uint32_t>(p[5]) << 24);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        out += "constant " + std::to_string(i) + ": float @" + std::to_string(getU16(p)) + " = " +
               formatFloat(value) + "\n";
    }
    out +=
        std::string("result: ") + getTypeName(p[0]) + " @" + std::to_string(getU16(p + 1)) + "\n";
    return out;
}

}  // namespace Expr
