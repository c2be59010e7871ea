#pragma once

// The tables of the expression language: every operator and function with its
// overloads. The parser writes indices into these tables into the byte code and
// the executor turns them back into functions, so the order of the rows is part
// of the compiled effect format: never reorder rows; add new rows only at the
// end of a table or of an overload list.

#include "expression/expr_value_type.h"

namespace Expr
{

// Every operation has this shape: it reads its argument cells and writes its
// result cell. None allocates or fails; IEEE infinities and NaN flow on.
using OperationFunc = void (*)(void* result, const void* const* args);

struct BinaryOpOverloadDesc
{
    OperationFunc func;
    EnumValueType result;
    EnumValueType left;
    EnumValueType right;
};

struct BinaryOperationDesc
{
    const char* name;
    unsigned priority;  // 0 binds tighter than 1
    const BinaryOpOverloadDesc* overloads;
    unsigned numOverloads;
};

struct UnaryOpOverloadDesc
{
    OperationFunc func;
    EnumValueType result;
    EnumValueType operand;
};

struct FunctionOverloadDesc
{
    OperationFunc func;
    EnumValueType result;
    const EnumValueType* args;
    unsigned numArgs;
};

template <class Overload>
struct OperationDesc
{
    const char* name;
    const Overload* overloads;
    unsigned numOverloads;
};

namespace Const
{

constexpr unsigned numBinaryOperations = 5;
constexpr unsigned numUnaryOperations = 1;
constexpr unsigned numFunctions = 27;
// The loosest priority of the binary operators; 0 binds tightest.
constexpr unsigned maxBinaryPriority = 1;

extern const BinaryOperationDesc binaryOperations[numBinaryOperations];
extern const OperationDesc<UnaryOpOverloadDesc> unaryOperations[numUnaryOperations];
extern const OperationDesc<FunctionOverloadDesc> functions[numFunctions];

}  // namespace Const

// The number of argument cells of an operation, or 0 when the kind, the
// operation or the overload index lies outside the tables.
unsigned getNumArguments(unsigned kind, unsigned operation, unsigned overload);

// Function, result type and argument types of an overload; false when the
// triple lies outside the tables. `argTypes` receives up to `maxArgs` types.
bool getOverload(unsigned kind, unsigned operation, unsigned overload, OperationFunc* func,
                 EnumValueType* resultType, EnumValueType* argTypes, unsigned maxArgs,
                 unsigned* numArgs);

// Name of an operation for listings: "+", "-", "abs"...; "?" outside the tables.
const char* getOperationName(unsigned kind, unsigned operation);

}  // namespace Expr
