#pragma once

// What the two translators of expressions into the text of other languages
// share (expr2js.h: JavaScript, expr2cs.h: C#): their inputs, the tree they
// build and print, their result and their limits. Each translator has its own
// grammar; they differ in the names they print and in a few node kinds.

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "expression/expr_value_type.h"

namespace Expr::Translator
{

// An input: the name as written in the expression, its type, and the name to
// print in the target text.
struct InputDesc
{
    std::string name;
    EnumValueType type = VT_Float;
    std::string targetName;
};

// The type of the result and the target text; empty when the text does not
// translate.
using Result = std::optional<std::pair<EnumValueType, std::string>>;

// Parentheses, function arguments and signs may nest this deep; deeper text is
// refused with a message instead of recursing on.
constexpr unsigned maxNestingDepth = 200;
// Operations may stand this deep in the tree (a chain "a + a + ..." is as deep
// as it is long), which bounds the recursion of printing and freeing it.
constexpr unsigned maxTreeDepth = 1000;

// A node of the translated tree, shared by reference count.
class Operation
{
public:
    Operation(EnumValueType type, unsigned depth) : type_(type), depth_(depth) {}
    virtual ~Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    EnumValueType getType() const { return type_; }
    // 1 for a leaf, one more than the deepest operand otherwise.
    unsigned getDepth() const { return depth_; }

    // Prints the node as target text.
    virtual std::ostream& operator>>(std::ostream& out) const = 0;

private:
    EnumValueType type_;
    unsigned depth_;
};

using OperationPtr = std::shared_ptr<const Operation>;
using OperationList = std::vector<OperationPtr>;

inline std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return operation >> out;
}

// One more than the deepest of the operations.
unsigned depthAbove(const OperationList& operands);

// A call as the grammar reads it: the name and the translated arguments.
struct FuncDesc
{
    std::string name;
    OperationList args;
};

// A float, printed through a default stream (six significant digits), then the suffix.
class OperationConstant : public Operation
{
public:
    OperationConstant(float value, const char* suffix)
        : Operation(VT_Float, 1), value_(value), suffix_(suffix)
    {
    }
    std::ostream& operator>>(std::ostream& out) const override;
    float getValue() const { return value_; }

private:
    float value_;
    const char* suffix_;
};

// An input, printed by its target name.
class OperationInput : public Operation
{
public:
    OperationInput(EnumValueType type, std::string targetName)
        : Operation(type, 1), targetName_(std::move(targetName))
    {
    }
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string targetName_;
};

// "(" operator operand ")".
class OperationUnary : public Operation
{
public:
    OperationUnary(EnumValueType type, std::string op, OperationPtr operand)
        : Operation(type, depthAbove({operand})), op_(std::move(op)), operand_(std::move(operand))
    {
    }
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string op_;
    OperationPtr operand_;
};

// "(" left " " operator " " right ")".
class OperationBinary : public Operation
{
public:
    OperationBinary(EnumValueType type, std::string op, OperationPtr left, OperationPtr right)
        : Operation(type, depthAbove({left, right})),
          op_(std::move(op)),
          left_(std::move(left)),
          right_(std::move(right))
    {
    }
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string op_;
    OperationPtr left_;
    OperationPtr right_;
};

// function "(" arguments separated by ", " ")".
class OperationFunction : public Operation
{
public:
    OperationFunction(EnumValueType type, std::string function, OperationList args)
        : Operation(type, depthAbove(args)), function_(std::move(function)), args_(std::move(args))
    {
    }
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string function_;
    OperationList args_;
};

// Prints the operations separated by `separator`.
void printList(std::ostream& out, const OperationList& list, const char* separator);

}  // namespace Expr::Translator
