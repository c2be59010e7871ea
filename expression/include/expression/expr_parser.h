#pragma once

// The parser of the expression language: text and named, typed inputs in,
// position-independent byte code out (see expr_executor.h for its layout).
//
// The verdict is isOk(). On failure the parser also keeps one message and the
// byte position in the text at which it gave up, for tools that show them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "expression/expr_value_type.h"

namespace Expr
{

// One named input. The name is owned by the caller and must outlive the parser.
struct InputDesc
{
    const char* name;
    EnumValueType type;
};

// The one white space of the language is the blank (32): returns the first
// character at or after `text` that is not a blank.
const char* skipSpaces(const char* text);

// The delimiters are the eight characters of "-+/*() ,". Returns text + 1 if
// the character at `text` is a delimiter, otherwise the first delimiter after it
// or the end of the text. A token is what lies between.
const char* skipElement(const char* text);

// The locale-independent decimal reader: optional leading white space (isspace of the C locale),
// optional sign, digits with at most one '.', of which the first 18 count, then
// an optional exponent. Returns the value rounded to float. `end` receives the
// character after the number, or `text` itself when no digit was found.
float strtod_private(const char* text, const char** end);

class Parser
{
public:
    // A typed cell of the data area.
    struct Cell
    {
        std::uint32_t type = VT_Float;
        std::uint16_t offset = 0;
    };

    // A numeric constant of the text and its cell.
    struct Constant
    {
        std::uint32_t type = VT_Float;
        std::uint16_t offset = 0;
        float value = 0.0f;
    };

    // Nesting of parentheses, unary minus and function arguments deeper than
    // this is refused with a message instead of exhausting the stack.
    static constexpr unsigned maxNestingDepth = 200;
    // Operands of one level (the operators are one fewer) and arguments of one call.
    static constexpr unsigned maxOperands = 256;
    static constexpr unsigned maxOperators = 255;
    static constexpr unsigned maxArguments = 256;
    // The byte code stores the input count in 8 bits and sizes and offsets in 16.
    static constexpr unsigned maxInputs = 255;
    static constexpr unsigned maxDataSize = 65535;
    static constexpr unsigned maxCount16 = 65535;

    // Parses at once. `text` must be NUL-terminated; it is not kept.
    Parser(const char* text, const InputDesc* inputs, unsigned numInputs);

    bool isOk() const { return ok_; }
    // The byte code, or null when not ok.
    const unsigned char* getOutputBuffer() const { return ok_ ? output_.data() : nullptr; }
    unsigned getOutputBufferSize() const { return ok_ ? static_cast<unsigned>(output_.size()) : 0; }
    std::optional<EnumValueType> getResultType() const;

    // Why the parse failed ("" when ok) and the byte offset in the text where it
    // failed. A message names what was expected or found, never more than one fault.
    const std::string& getErrorMessage() const { return errorMessage_; }
    unsigned getErrorPosition() const { return errorPosition_; }
    // Bytes of the text that were read. An expression ends at the end of the text
    // or at a ')' or ',' of the top level; text after that is not read.
    unsigned getParsedLength() const { return parsedLength_; }

private:
    void build();
    bool parse(const char*& p, unsigned depth, Cell& result);
    bool parseOperand(const char*& p, unsigned depth, Cell& cell);
    bool allotCell(std::uint32_t type, const char* at, Cell& cell);
    bool appendCommand(EnumOperationType kind, unsigned operation, unsigned overload,
                       EnumValueType resultType, const Cell* args, unsigned numArgs, const char* at,
                       Cell& result);
    bool fail(const char* at, std::string message);
    void writeOutput();

    const char* text_;
    const InputDesc* inputs_;
    unsigned numInputs_;
    std::vector<std::uint16_t> inputOffsets_;
    std::vector<unsigned char> commands_;
    unsigned numCommands_ = 0;
    unsigned numArguments_ = 0;
    std::vector<Constant> constants_;
    unsigned dataSize_ = 0;
    bool ok_ = false;
    Cell result_;
    std::vector<unsigned char> output_;
    std::string errorMessage_;
    unsigned errorPosition_ = 0;
    unsigned parsedLength_ = 0;
};

}  // namespace Expr
