// The translator of expressions into JavaScript: the grammar instantiated for
// the "ctx." helpers, arrays for vectors and indexed swizzles.
#include "expression/expr2js.h"

#include "expr_translator_grammar.h"

namespace Expr2Js
{

OperationArray::OperationArray(Expr::EnumValueType type, OperationList elements)
    : Operation(type, Expr::Translator::depthAbove(elements)), elements_(std::move(elements))
{
}

std::ostream& OperationArray::operator>>(std::ostream& out) const
{
    out << "[";
    Expr::Translator::printList(out, elements_, ", ");
    return out << "]";
}

OperationSwizzle::OperationSwizzle(Expr::EnumValueType type, OperationPtr operand,
                                   std::vector<unsigned> indices)
    : Operation(type, operand->getDepth() + 1),
      operand_(std::move(operand)),
      indices_(std::move(indices))
{
}

std::ostream& OperationSwizzle::operator>>(std::ostream& out) const
{
    if (getType() == Expr::VT_Float)
    {
        if (indices_.size() != 1)
            return out << "swizzle_export_error";
        return out << *operand_ << "[" << indices_[0] << "]";
    }
    // A function called at once picks the components without naming the operand twice.
    out << "function(a){return[";
    for (std::size_t i = 0; i < indices_.size(); ++i)
        out << (i ? "," : "") << "a[" << indices_[i] << "]";
    return out << "];}(" << *operand_ << ")";
}

namespace
{

struct JavaScript
{
    static constexpr const char* ns = "ctx.";
    static constexpr const char* constantSuffix = "";

    static OperationPtr call(const FuncDesc& call)
    {
        if (const auto* row = Expr::Translator::findFunction(call))
        {
            if (!row->js)
                return std::make_shared<OperationArray>(row->result, call.args);
            return std::make_shared<OperationFunction>(row->result, row->js, call.args);
        }
        if (const auto* row = Expr::Translator::findSwizzle(call))
            return std::make_shared<OperationSwizzle>(
                row->result, call.args[0],
                std::vector<unsigned>(row->indices, row->indices + row->numIndices));
        return nullptr;
    }
};

}  // namespace

Result convert(const std::string& text, const std::vector<InputDesc>& inputs,
               unsigned* errorPosition, std::string* errorMessage)
{
    return Expr::Translator::Grammar::convert<JavaScript>(text, inputs, errorPosition,
                                                          errorMessage);
}

}  // namespace Expr2Js
