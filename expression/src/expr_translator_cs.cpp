// The translator of expressions into C#: the grammar instantiated for the
// "_math." helpers, "F" after float constants, members and methods for swizzles.
#include "expression/expr2cs.h"

#include <algorithm>

#include "expr_translator_grammar.h"

namespace Expr2Cs
{

OperationMember::OperationMember(Expr::EnumValueType type, std::string member, OperationPtr operand)
    : Operation(type, operand->getDepth() + 1),
      member_(std::move(member)),
      operand_(std::move(operand))
{
}

std::ostream& OperationMember::operator>>(std::ostream& out) const
{
    return out << *operand_ << "." << member_;
}

OperationMethod::OperationMethod(Expr::EnumValueType type, std::string method, OperationPtr operand,
                                 OperationList args)
    : Operation(type, std::max(operand->getDepth() + 1, Expr::Translator::depthAbove(args))),
      method_(std::move(method)),
      operand_(std::move(operand)),
      args_(std::move(args))
{
}

std::ostream& OperationMethod::operator>>(std::ostream& out) const
{
    out << *operand_ << "." << method_ << "(";
    Expr::Translator::printList(out, args_, ", ");
    return out << ")";
}

namespace
{

struct CSharp
{
    static constexpr const char* ns = "_math.";
    static constexpr const char* constantSuffix = "F";

    static OperationPtr call(const FuncDesc& call)
    {
        if (const auto* row = Expr::Translator::findFunction(call))
            return std::make_shared<OperationFunction>(row->result, row->cs, call.args);
        if (const auto* row = Expr::Translator::findSwizzle(call))
        {
            if (row->numIndices == 1)
                return std::make_shared<OperationMember>(row->result, row->name, call.args[0]);
            return std::make_shared<OperationMethod>(row->result, row->name, call.args[0],
                                                     OperationList{});
        }
        return nullptr;
    }
};

}  // namespace

Result convert(const std::string& text, const std::vector<InputDesc>& inputs,
               unsigned* errorPosition, std::string* errorMessage)
{
    return Expr::Translator::Grammar::convert<CSharp>(text, inputs, errorPosition, errorMessage);
}

}  // namespace Expr2Cs
