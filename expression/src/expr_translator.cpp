// The parts the expression translators share: printing the common nodes and
// the operator and function mappings.
#include <algorithm>
#include <memory>
#include <string>

#include "expr_translator_rules.h"

namespace Expr::Translator
{

unsigned depthAbove(const OperationList& operands)
{
    unsigned depth = 0;
    for (const auto& operand : operands)
        depth = std::max(depth, operand->getDepth());
    return depth + 1;
}

void printList(std::ostream& out, const OperationList& list, const char* separator)
{
    for (std::size_t i = 0; i < list.size(); ++i)
    {
        if (i)
            out << separator;
        out << *list[i];
    }
}

std::ostream& OperationConstant::operator>>(std::ostream& out) const
{
    return out << value_ << suffix_;
}

std::ostream& OperationInput::operator>>(std::ostream& out) const { return out << targetName_; }

std::ostream& OperationUnary::operator>>(std::ostream& out) const
{
    return out << "(" << op_ << *operand_ << ")";
}

std::ostream& OperationBinary::operator>>(std::ostream& out) const
{
    return out << "(" << *left_ << " " << op_ << " " << *right_ << ")";
}

std::ostream& OperationFunction::operator>>(std::ostream& out) const
{
    out << function_ << "(";
    printList(out, args_, ", ");
    return out << ")";
}

namespace
{

constexpr EnumValueType F = VT_Float;
constexpr EnumValueType V2 = VT_Vec2;
constexpr EnumValueType V3 = VT_Vec3;

// Tried in this order; the first exact match wins.
const FunctionRow functionRows[] = {
    {"abs", 1, {F}, F, "Math.abs", "(float)Math.Abs"},
    {"cross", 2, {V3, V3}, V3, "ctx.crossv3_", "_math.crossv3_"},
    {"dot", 2, {V2, V2}, F, "ctx.dotv2_", "_math.dotv2_"},
    {"dot", 2, {V3, V3}, F, "ctx.dotv3_", "_math.dotv3_"},
    {"norm", 1, {V2}, V2, "ctx.normalizev2_", "_math.normalizev2_"},
    {"norm", 1, {V3}, V3, "ctx.normalizev3_", "_math.normalizev3_"},
    {"length", 1, {V2}, F, "ctx.lengthv2_", "_math.lengthv2_"},
    {"length", 1, {V3}, F, "ctx.lengthv3_", "_math.lengthv3_"},
    {"length2", 1, {V2}, F, "ctx.lengthv2sq_", "_math.lengthv2sq_"},
    {"length2", 1, {V3}, F, "ctx.lengthv3sq_", "_math.lengthv3sq_"},
    {"vec2", 2, {F, F}, V2, nullptr, "_math.vec2_"},
    {"vec3", 3, {F, F, F}, V3, nullptr, "_math.vec3_"},
    {"round", 1, {F}, F, "Math.round", "(float)Math.Round"},
    {"floor", 1, {F}, F, "Math.floor", "(float)Math.Floor"},
    {"ceil", 1, {F}, F, "Math.ceil", "(float)Math.Ceiling"},
    {"sign", 1, {F}, F, "Math.sign", "(float)Math.Sign"},
    {"lerp", 3, {F, F, F}, F, "ctx.lerp_", "_math.lerp_"},
    {"lerp", 3, {V2, V2, F}, V2, "ctx.lerpv2_", "_math.lerpv2_"},
    {"lerp", 3, {V3, V3, F}, V3, "ctx.lerpv3_", "_math.lerpv3_"},
};

const SwizzleRow swizzleRows[] = {
    {"x", V2, F, 1, {0}},          {"x", V3, F, 1, {0}},          {"y", V2, F, 1, {1}},
    {"y", V3, F, 1, {1}},          {"z", V3, F, 1, {2}},          {"xy", V3, V2, 2, {0, 1}},
    {"yx", V2, V2, 2, {1, 0}},     {"yx", V3, V2, 2, {1, 0}},     {"xz", V3, V2, 2, {0, 2}},
    {"zx", V3, V2, 2, {2, 0}},     {"yz", V3, V2, 2, {1, 2}},     {"zy", V3, V2, 2, {2, 1}},
    {"xzy", V3, V3, 3, {0, 2, 1}}, {"yxz", V3, V3, 3, {1, 0, 2}}, {"yzx", V3, V3, 3, {1, 2, 0}},
    {"zyx", V3, V3, 3, {2, 1, 0}}, {"zxy", V3, V3, 3, {2, 0, 1}},
};

bool argumentsAre(const OperationList& args, const EnumValueType* types, unsigned count)
{
    if (args.size() != count)
        return false;
    for (unsigned i = 0; i < count; ++i)
        if (args[i]->getType() != types[i])
            return false;
    return true;
}

}  // namespace

const FunctionRow* findFunction(const FuncDesc& call)
{
    for (const auto& row : functionRows)
        if (call.name == row.name && argumentsAre(call.args, row.args, row.numArgs))
            return &row;
    return nullptr;
}

const SwizzleRow* findSwizzle(const FuncDesc& call)
{
    for (const auto& row : swizzleRows)
        if (call.name == row.name && argumentsAre(call.args, &row.arg, 1))
            return &row;
    return nullptr;
}

OperationPtr makeBinary(char op, const OperationPtr& left, const OperationPtr& right,
                        const char* ns)
{
    const EnumValueType l = left->getType();
    const EnumValueType r = right->getType();
    if (l == F && r == F)
        return std::make_shared<OperationBinary>(F, std::string(1, op), left, right);
    const char* verb = op == '+' ? "add" : op == '-' ? "sub" : op == '*' ? "mul" : "div";
    for (const EnumValueType vector : {V2, V3})
    {
        const std::string size = vector == V2 ? "v2" : "v3";
        if (l == vector && r == vector)
            return std::make_shared<OperationFunction>(vector, ns + (verb + size) + "_",
                                                       OperationList{left, right});
        if (l == vector && r == F)
            return std::make_shared<OperationFunction>(vector, ns + (verb + size) + "scalar_",
                                                       OperationList{left, right});
        if (l == F && r == vector)
        {
            // Only subtraction has a helper with the scalar first; the others take the vector first.
            if (op == '-')
                return std::make_shared<OperationFunction>(vector, ns + ("subscalar" + size) + "_",
                                                           OperationList{left, right});
            return std::make_shared<OperationFunction>(vector, ns + (verb + size) + "scalar_",
                                                       OperationList{right, left});
        }
    }
    return nullptr;
}

OperationPtr makeNegation(const OperationPtr& operand, const char* ns)
{
    switch (operand->getType())
    {
    case VT_Float:
        return std::make_shared<OperationUnary>(F, "-", operand);
    case VT_Vec2:
        return std::make_shared<OperationFunction>(V2, std::string(ns) + "negv2_",
                                                   OperationList{operand});
    case VT_Vec3:
        return std::make_shared<OperationFunction>(V3, std::string(ns) + "negv3_",
                                                   OperationList{operand});
    default:
        return nullptr;
    }
}

}  // namespace Expr::Translator
