#pragma once

// The translator of expressions into C# (plain C# and Unity). It decides
// whether an expression can be exported as text and which type it yields; the
// text it prints calls the helpers of a "_math." object for vector arithmetic
// and writes float constants with the suffix "F".
//
// Its language differs from the byte-code parser's (expr_parser.h) on purpose:
// every ASCII space character is white space, "%" does not exist, a unary
// minus or plus binds to the next factor only, numbers are read by Spirit's
// float parser (so "nan", "inf" and a leading sign are part of a number), and
// no operation takes a quaternion. The whole text has to be read.

#include <string>
#include <vector>

#include "expression/expr_translator.h"

namespace Expr2Cs
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

// operand "." member: "v.x".
class OperationMember : public Operation
{
public:
    OperationMember(Expr::EnumValueType type, std::string member, OperationPtr operand);
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string member_;
    OperationPtr operand_;
};

// operand "." method "(" arguments separated by ", " ")": "v.xy()".
class OperationMethod : public Operation
{
public:
    OperationMethod(Expr::EnumValueType type, std::string method, OperationPtr operand,
                    OperationList args);
    std::ostream& operator>>(std::ostream& out) const override;

private:
    std::string method_;
    OperationPtr operand_;
    OperationList args_;
};

// Translates `text` over `inputs`. Empty when it does not translate; then
// `errorPosition` (if given) receives the number of characters read when the
// parse stopped, and `errorMessage` (if given) why, in words.
Result convert(const std::string& text, const std::vector<InputDesc>& inputs,
               unsigned* errorPosition = nullptr, std::string* errorMessage = nullptr);

}  // namespace Expr2Cs
