#pragma once

// The operator and function mappings shared by the translators: which
// operand types each operator and function takes, and what each target prints
// for it. No grammar here (see expr_translator_grammar.h).

#include "expression/expr_translator.h"

namespace Expr::Translator
{

// A function of the language and its targets. A null JavaScript target means
// an array literal ("[x, y]").
struct FunctionRow
{
    const char* name;
    unsigned numArgs;
    EnumValueType args[3];
    EnumValueType result;
    const char* js;
    const char* cs;
};

// A swizzle: the components it picks, x 0, y 1, z 2.
struct SwizzleRow
{
    const char* name;
    EnumValueType arg;
    EnumValueType result;
    unsigned numIndices;
    unsigned indices[3];
};

// The first row whose name and exact argument types match the call, or null.
const FunctionRow* findFunction(const FuncDesc& call);
const SwizzleRow* findSwizzle(const FuncDesc& call);

// "+", "-", "*" or "/" between two operands: a plain binary operation between
// floats, otherwise a call of the target's vector helper `ns` + "addv3scalar_"
// and so on, with the vector first except in "subscalarv2_" / "subscalarv3_".
// Null when the types have no mapping (any quaternion, vectors of two sizes).
OperationPtr makeBinary(char op, const OperationPtr& left, const OperationPtr& right,
                        const char* ns);

// Unary minus: "(-x)" on a float, `ns` + "negv2_" / "negv3_" on a vector; null
// on a quaternion.
OperationPtr makeNegation(const OperationPtr& operand, const char* ns);

}  // namespace Expr::Translator
