#pragma once

// The translator of expressions into JavaScript. It decides whether an
// expression can be exported as text and which type it yields; the text it
// prints calls the helpers of a context object "ctx." for vector arithmetic.
//
// Its language differs from the byte-code parser's (expr_parser.h) on purpose:
// every ASCII space character is white space, "%" does not exist, a unary
// minus or plus binds to the next factor only, numbers are read by Spirit's
// float parser (so "nan", "inf" and a leading sign are part of a number), and
// no operation takes a quaternion. The whole text has to be read.

#include <string>
#include <vector>

#include "expression/expr_translator.h"

namespace Expr2Js
{

using Expr::Translator::FuncDesc;
using Expr::Translator::InputDesc;
using Expr::Translator::Operation;
using Expr::Translator::OperationBinary;
using Expr::Translator::OperationConstant;
using Expr::Translator::OperationFunction;
using Expr::Translator::OperationInput;
using Expr::Translator::OperationList;
using Expr::Translator::OperationPtr;
using Expr::Translator::OperationUnary;
using Expr::Translator::Result;

// "[" elements separated by ", " "]": vec2 and vec3.
class OperationArray : public Operation
{
public:
    OperationArray(Expr::EnumValueType type, OperationList elements);
    std::ostream& operator>>(std::ostream& out) const override;

private:
    OperationList elements_;
};

// Components picked by index (x 0, y 1, z 2): one component of a float result
// prints "v[i]", a vector result an immediately called function,
// "function(a){return[a[1],a[0]];}(v)".
class OperationSwizzle : public Operation
{
public:
    OperationSwizzle(Expr::EnumValueType type, OperationPtr operand, std::vector<unsigned> indices);
    std::ostream& operator>>(std::ostream& out) const override;

private:
    OperationPtr operand_;
    std::vector<unsigned> indices_;
};

// Translates `text` over `inputs`. Empty when it does not translate; then
// `errorPosition` (if given) receives the number of characters read when the
// parse stopped, and `errorMessage` (if given) why, in words.
Result convert(const std::string& text, const std::vector<InputDesc>& inputs,
               unsigned* errorPosition = nullptr, std::string* errorMessage = nullptr);

}  // namespace Expr2Js
