// The recursive-descent parser of the expression language.
//
// One level of an expression is a list of operands separated by binary
// operators; it is reduced once all of its operands are read: first every
// operator of priority 0 ("*", "/", "%") from left to right, then every one of
// priority 1 ("+", "-"). An operand is a parenthesised level, a unary minus over
// a whole level, a function call, a number or an input. The data area is
// allotted strictly upward: inputs first, then constants and command results in
// the order in which they are met.
#include "expression/expr_parser.h"

#include <cctype>
#include <cstring>

#include "expression/expr_const.h"

namespace Expr
{

namespace
{

constexpr char delimiters[] = "-+/*() ,";

inline bool isDelimiter(char c) { return c != 0 && std::strchr(delimiters, c) != nullptr; }

// The characters that end one level of an expression.
inline bool isStop(char c) { return c == 0 || c == ')' || c == ','; }

inline bool tokenIs(const char* begin, const char* end, const char* name)
{
    const std::size_t length = static_cast<std::size_t>(end - begin);
    return std::strlen(name) == length && std::memcmp(begin, name, length) == 0;
}

// The token for messages: quoted, cut when long, control characters escaped.
std::string quoted(const char* begin, const char* end)
{
    constexpr std::ptrdiff_t maxShown = 40;
    std::string token = "'";
    for (const char* c = begin; c != end && c - begin < maxShown; ++c)
    {
        const unsigned char u = static_cast<unsigned char>(*c);
        if (u == '\t')
        {
            token += "\\t";
        }
        else if (u == '\n')
        {
            token += "\\n";
        }
        else if (u < 32 || u == 127)
        {
            static const char hex[] = "0123456789ABCDEF";
            token += "\\x";
            token += hex[u >> 4];
            token += hex[u & 15];
        }
        else
        {
            token += *c;
        }
    }
    if (end - begin > maxShown)
        token += "...";
    return token + "'";
}

// A hint for tokens that look like a near miss of the language's rules.
std::string tokenHint(const char* begin, const char* end)
{
    const std::string token(begin, end);
    if (token.find('\t') != std::string::npos)
        return " (only the blank separates tokens; a tab is no white space here)";
    if (token.size() > 1 && token.find('%') != std::string::npos)
        return " ('%' must stand as a token of its own, as in 'a % b')";
    return std::string();
}

void putU8(std::vector<unsigned char>& out, unsigned value)
{
    out.push_back(static_cast<unsigned char>(value & 0xFF));
}

void putU16(std::vector<unsigned char>& out, unsigned value)
{
    out.push_back(static_cast<unsigned char>(value & 0xFF));
    out.push_back(static_cast<unsigned char>((value >> 8) & 0xFF));
}

void putF32(std::vector<unsigned char>& out, float value)
{
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    for (unsigned i = 0; i < 4; ++i)
        out.push_back(static_cast<unsigned char>((bits >> (8 * i)) & 0xFF));
}

std::string typeList(const Parser::Cell* cells, std::size_t count)
{
    std::string list;
    for (std::size_t i = 0; i < count; ++i)
    {
        if (i)
            list += ", ";
        list += getTypeName(cells[i].type);
    }
    return list;
}

}  // namespace

const char* skipSpaces(const char* text)
{
    while (*text == ' ')
        ++text;
    return text;
}

const char* skipElement(const char* text)
{
    if (isDelimiter(*text))
        return text + 1;
    while (*text && !isDelimiter(*text))
        ++text;
    return text;
}

float strtod_private(const char* text, const char** end)
{
    // 10^1, 10^2, 10^4 ... 10^256: any exponent up to 511 is a product of these.
    static const double powersOf10[] = {1e1, 1e2, 1e4, 1e8, 1e16, 1e32, 1e64, 1e128, 1e256};
    constexpr int maxExponent = 511;
    constexpr int maxMantissaDigits = 18;

    // The white space of the C locale, whatever locale the program runs in.
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r'))
        ++p;
    bool negative = false;
    if (*p == '-')
    {
        negative = true;
        ++p;
    }
    else if (*p == '+')
    {
        ++p;
    }

    // Count the mantissa's digits and find its decimal point.
    const char* mantissa = p;
    long digits = 0;
    long pointAt = -1;
    for (;; ++p)
    {
        if (std::isdigit(static_cast<unsigned char>(*p)))
        {
            ++digits;
        }
        else if (*p == '.' && pointAt < 0)
        {
            pointAt = digits;
        }
        else
        {
            break;
        }
    }
    if (digits == 0)
    {
        if (end)
            *end = text;
        return 0.0f;
    }
    const char* afterMantissa = p;
    if (pointAt < 0)
        pointAt = digits;

    // Only the first 18 digits count; the others only move the decimal point.
    long usedDigits = digits > maxMantissaDigits ? maxMantissaDigits : digits;
    long fractionExponent = pointAt - usedDigits;
    unsigned long long high = 0, low = 0;  // the first up to 9 digits, then the rest
    const char* q = mantissa;
    for (long taken = 0; taken < usedDigits; ++q)
    {
        if (*q == '.')
            continue;
        if (usedDigits - taken > 9)
            high = high * 10 + static_cast<unsigned>(*q - '0');
        else
            low = low * 10 + static_cast<unsigned>(*q - '0');
        ++taken;
    }
    double fraction = 1.0e9 * static_cast<double>(high) + static_cast<double>(low);
    // A zero mantissa stays zero: 10^511 is no double, and zero times its
    // overflow would turn "0e400" into NaN.
    const bool zero = high == 0 && low == 0;

    // The exponent: an 'e' is taken with its sign even when no digit follows.
    p = afterMantissa;
    long exponent = 0;
    bool exponentNegative = false;
    if (*p == 'e' || *p == 'E')
    {
        ++p;
        if (*p == '-')
        {
            exponentNegative = true;
            ++p;
        }
        else if (*p == '+')
        {
            ++p;
        }
        while (std::isdigit(static_cast<unsigned char>(*p)))
        {
            // Beyond the clamp every digit changes nothing; stop growing before overflow.
            if (exponent < 100000)
                exponent = exponent * 10 + (*p - '0');
            ++p;
        }
    }
    exponent = exponentNegative ? fractionExponent - exponent : fractionExponent + exponent;
    const bool divide = exponent < 0;
    if (divide)
        exponent = -exponent;
    if (exponent > maxExponent)
        exponent = maxExponent;
    double scale = 1.0;
    for (const double* power = powersOf10; exponent != 0; exponent >>= 1, ++power)
        if (exponent & 1)
            scale *= *power;
    if (!zero)
        fraction = divide ? fraction / scale : fraction * scale;

    if (end)
        *end = p;
    return static_cast<float>(negative ? -fraction : fraction);
}

Parser::Parser(const char* text, const InputDesc* inputs, unsigned numInputs)
    : text_(text ? text : ""), inputs_(inputs), numInputs_(numInputs)
{
    build();
    // Text and inputs belong to the caller and are not used after construction.
    text_ = nullptr;
    inputs_ = nullptr;
}

void Parser::build()
{
    if (numInputs_ > maxInputs)
    {
        fail(text_, "too many inputs: " + std::to_string(numInputs_) + ", at most " +
                        std::to_string(maxInputs));
        return;
    }
    for (unsigned i = 0; i < numInputs_; ++i)
    {
        if (inputs_[i].type >= numValueTypes)
        {
            fail(text_, "input '" + std::string(inputs_[i].name ? inputs_[i].name : "") +
                            "' has no value type of the language");
            return;
        }
        Cell cell;
        if (!allotCell(inputs_[i].type, text_, cell))
            return;
        inputOffsets_.push_back(cell.offset);
    }
    const char* p = text_;
    Cell result;
    if (!parse(p, 0, result))
        return;
    parsedLength_ = static_cast<unsigned>(p - text_);
    result_ = result;
    ok_ = true;
    writeOutput();
}

std::optional<EnumValueType> Parser::getResultType() const
{
    if (!ok_)
        return std::nullopt;
    return static_cast<EnumValueType>(result_.type);
}

bool Parser::fail(const char* at, std::string message)
{
    if (errorMessage_.empty())
    {
        errorMessage_ = std::move(message);
        errorPosition_ = static_cast<unsigned>(at - text_);
    }
    return false;
}

bool Parser::allotCell(std::uint32_t type, const char* at, Cell& cell)
{
    const unsigned size = getTypeSize(type);
    if (dataSize_ + size > maxDataSize)
        return fail(at, "expression too large: its data area would exceed " +
                            std::to_string(maxDataSize) + " bytes");
    cell.type = type;
    cell.offset = static_cast<std::uint16_t>(dataSize_);
    dataSize_ += size;
    return true;
}

bool Parser::appendCommand(EnumOperationType kind, unsigned operation, unsigned overload,
                           EnumValueType resultType, const Cell* args, unsigned numArgs,
                           const char* at, Cell& result)
{
    if (numCommands_ + 1 > maxCount16 || numArguments_ + numArgs > maxCount16)
        return fail(at, "expression too large: more than " + std::to_string(maxCount16) +
                            " operations or arguments");
    if (!allotCell(resultType, at, result))
        return false;
    putU8(commands_, kind);
    putU8(commands_, operation);
    putU8(commands_, overload);
    putU16(commands_, result.offset);
    for (unsigned i = 0; i < numArgs; ++i)
        putU16(commands_, args[i].offset);
    numArguments_ += numArgs;
    numCommands_ += 1;
    return true;
}

bool Parser::parse(const char*& p, unsigned depth, Cell& result)
{
    if (depth > maxNestingDepth)
        return fail(p, "nesting too deep: at most " + std::to_string(maxNestingDepth) +
                           " levels of parentheses, unary minus and function calls");
    p = skipSpaces(p);
    if (!*p)
        return fail(p, "operand expected at the end of the text");

    std::vector<Cell> operands;
    std::vector<unsigned> operators;
    std::vector<const char*> operatorAt;

    Cell operand;
    if (!parseOperand(p, depth, operand))
        return false;
    operands.push_back(operand);

    while (!isStop(*p))
    {
        const char* tokenEnd = skipElement(p);
        unsigned op = 0;
        while (op < Const::numBinaryOperations &&
               !tokenIs(p, tokenEnd, Const::binaryOperations[op].name))
            ++op;
        if (op == Const::numBinaryOperations)
            return fail(p,
                        "operator expected, found " + quoted(p, tokenEnd) + tokenHint(p, tokenEnd));
        if (operators.size() >= maxOperators)
            return fail(p, "too many operators in one level: at most " +
                               std::to_string(maxOperators) + "; use parentheses");
        operators.push_back(op);
        operatorAt.push_back(p);
        p = skipSpaces(tokenEnd);
        if (*p == ')' || !*p)
            return fail(p, std::string("operand expected after '") +
                               Const::binaryOperations[op].name + "'");
        const char* operandAt = p;
        if (!parseOperand(p, depth, operand))
            return false;
        if (operands.size() >= maxOperands)
            return fail(operandAt, "too many operands in one level: at most " +
                                       std::to_string(maxOperands) + "; use parentheses");
        operands.push_back(operand);
    }

    // Reduce: the tighter priority first, each from left to right.
    for (unsigned priority = 0; priority <= Const::maxBinaryPriority; ++priority)
    {
        std::size_t i = 0;
        while (i < operators.size())
        {
            const BinaryOperationDesc& desc = Const::binaryOperations[operators[i]];
            if (desc.priority != priority)
            {
                ++i;
                continue;
            }
            const Cell args[2] = {operands[i], operands[i + 1]};
            unsigned overload = 0;
            while (overload < desc.numOverloads &&
                   !(desc.overloads[overload].left == args[0].type &&
                     desc.overloads[overload].right == args[1].type))
                ++overload;
            if (overload == desc.numOverloads)
                return fail(operatorAt[i], std::string("no operator '") + desc.name + "' for " +
                                               getTypeName(args[0].type) + " and " +
                                               getTypeName(args[1].type));
            Cell cell;
            if (!appendCommand(OT_Binary, operators[i], overload, desc.overloads[overload].result,
                               args, 2, operatorAt[i], cell))
                return false;
            operands[i] = cell;
            operands.erase(operands.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            operators.erase(operators.begin() + static_cast<std::ptrdiff_t>(i));
            operatorAt.erase(operatorAt.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    result = operands.front();
    return true;
}

bool Parser::parseOperand(const char*& p, unsigned depth, Cell& cell)
{
    if (*p == '(')
    {
        const char* open = p;
        ++p;
        if (!parse(p, depth + 1, cell))
            return false;
        if (*p != ')')
            return fail(p, "')' expected to close the '(' at position " +
                               std::to_string(open - text_));
        ++p;
        p = skipSpaces(p);
        return true;
    }

    const char* tokenEnd = skipElement(p);

    for (unsigned op = 0; op < Const::numUnaryOperations; ++op)
    {
        const auto& desc = Const::unaryOperations[op];
        if (!tokenIs(p, tokenEnd, desc.name))
            continue;
        const char* at = p;
        p = tokenEnd;
        Cell operand;
        if (!parse(p, depth + 1, operand))
            return false;
        unsigned overload = 0;
        while (overload < desc.numOverloads && desc.overloads[overload].operand != operand.type)
            ++overload;
        if (overload == desc.numOverloads)
            return fail(at, std::string("no unary '") + desc.name + "' for " +
                                getTypeName(operand.type));
        if (!appendCommand(OT_Unary, op, overload, desc.overloads[overload].result, &operand, 1, at,
                           cell))
            return false;
        p = skipSpaces(p);
        return true;
    }

    for (unsigned fn = 0; fn < Const::numFunctions; ++fn)
    {
        const auto& desc = Const::functions[fn];
        if (!tokenIs(p, tokenEnd, desc.name))
            continue;
        const char* at = p;
        p = skipSpaces(tokenEnd);
        if (*p != '(')
        {
            std::string message =
                std::string("'(' expected after the function name '") + desc.name + "'";
            for (unsigned i = 0; i < numInputs_; ++i)
                if (inputs_[i].name && tokenIs(at, tokenEnd, inputs_[i].name))
                {
                    message += "; an input named like a function cannot be read";
                    break;
                }
            return fail(p, message);
        }
        std::vector<Cell> args;
        do
        {
            ++p;  // over '(' or ','
            if (!*p)
                return fail(p, std::string("argument of '") + desc.name + "' expected");
            const char* argAt = skipSpaces(p);
            Cell argument;
            if (!parse(p, depth + 1, argument))
                return false;
            if (args.size() >= maxArguments)
                return fail(argAt, "too many arguments: at most " + std::to_string(maxArguments));
            args.push_back(argument);
            if (*p != ',' && *p != ')')
                return fail(p, std::string("',' or ')' expected in the arguments of '") +
                                   desc.name + "'");
        } while (*p == ',');
        unsigned overload = 0;
        for (; overload < desc.numOverloads; ++overload)
        {
            const FunctionOverloadDesc& o = desc.overloads[overload];
            if (o.numArgs != args.size())
                continue;
            unsigned i = 0;
            while (i < o.numArgs && o.args[i] == args[i].type)
                ++i;
            if (i == o.numArgs)
                break;
        }
        if (overload == desc.numOverloads)
            return fail(at, std::string("no function '") + desc.name + "' for (" +
                                typeList(args.data(), args.size()) + ")");
        if (!appendCommand(OT_Function, fn, overload, desc.overloads[overload].result, args.data(),
                           static_cast<unsigned>(args.size()), at, cell))
            return false;
        ++p;  // over ')'
        p = skipSpaces(p);
        return true;
    }

    const char* numberEnd = nullptr;
    const float value = strtod_private(p, &numberEnd);
    if (numberEnd != p)
    {
        if (!allotCell(VT_Float, p, cell))
            return false;
        if (constants_.size() >= maxCount16)
            return fail(p, "expression too large: more than " + std::to_string(maxCount16) +
                               " numbers");
        Constant constant;
        constant.type = VT_Float;
        constant.offset = cell.offset;
        constant.value = value;
        constants_.push_back(constant);
        p = skipSpaces(numberEnd);
        return true;
    }

    for (unsigned i = 0; i < numInputs_; ++i)
    {
        if (!inputs_[i].name || !tokenIs(p, tokenEnd, inputs_[i].name))
            continue;
        cell.type = inputs_[i].type;
        cell.offset = inputOffsets_[i];
        p = skipSpaces(tokenEnd);
        return true;
    }

    // A delimiter where an operand should start: "abs()", "a + ,", "a * / b", "+a".
    if (isDelimiter(*p))
    {
        std::string message = "operand expected, found " + quoted(p, tokenEnd);
        if (*p == '+')
            message += " (a '+' is read only as the sign of a number)";
        return fail(p, message);
    }
    return fail(p, "unknown name " + quoted(p, tokenEnd) + tokenHint(p, tokenEnd));
}

void Parser::writeOutput()
{
    output_.clear();
    output_.reserve(7 + 3 * numInputs_ + commands_.size() + 2 + 6 * constants_.size() + 3);
    putU8(output_, numInputs_);
    putU16(output_, numCommands_);
    putU16(output_, numArguments_);
    putU16(output_, dataSize_);
    for (unsigned i = 0; i < numInputs_; ++i)
    {
        putU8(output_, inputs_[i].type);
        putU16(output_, inputOffsets_[i]);
    }
    output_.insert(output_.end(), commands_.begin(), commands_.end());
    putU16(output_, static_cast<unsigned>(constants_.size()));
    for (const Constant& constant : constants_)
    {
        putU16(output_, constant.offset);
        putF32(output_, constant.value);
    }
    putU8(output_, result_.type);
    putU16(output_, result_.offset);
}

}  // namespace Expr
