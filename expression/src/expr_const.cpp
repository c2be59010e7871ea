// The operations of the expression language and the tables that name them.
//
// Cells are plain arrays of floats (a vec2 is x, y; a vec3 x, y, z; a quat x, y,
// z, w). Each operation reads all of its arguments before it writes its result,
// all arithmetic is single precision except where a row says otherwise.
#include "expression/expr_const.h"

#include <cmath>

namespace Expr
{

const char* getTypeName(unsigned type)
{
    switch (type)
    {
    case VT_Float:
        return "float";
    case VT_Vec2:
        return "vec2";
    case VT_Vec3:
        return "vec3";
    case VT_Quat:
        return "quat";
    default:
        return "?";
    }
}

namespace
{

inline const float* arg(const void* const* args, unsigned i)
{
    return static_cast<const float*>(args[i]);
}
inline float* res(void* result) { return static_cast<float*>(result); }

// ---------------------------------------------------------------- arithmetic
struct Add
{
    static float apply(float a, float b) { return a + b; }
};
struct Sub
{
    static float apply(float a, float b) { return a - b; }
};
struct Mul
{
    static float apply(float a, float b) { return a * b; }
};
struct Div
{
    static float apply(float a, float b) { return a / b; }
};

// Both operands of the same size: component by component.
template <class Op, unsigned N>
void binSame(void* result, const void* const* args)
{
    const float* l = arg(args, 0);
    const float* r = arg(args, 1);
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = Op::apply(l[i], r[i]);
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// A float on the left of a vector: the float takes part once per component.
template <class Op, unsigned N>
void binFloatVec(void* result, const void* const* args)
{
    const float l = arg(args, 0)[0];
    const float* r = arg(args, 1);
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = Op::apply(l, r[i]);
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// A float on the right of a vector.
template <class Op, unsigned N>
void binVecFloat(void* result, const void* const* args)
{
    const float* l = arg(args, 0);
    const float r = arg(args, 1)[0];
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = Op::apply(l[i], r);
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// Hamilton product, left factor first.
void mulQuat(void* result, const void* const* args)
{
    const float* l = arg(args, 0);
    const float* r = arg(args, 1);
    const float lx = l[0], ly = l[1], lz = l[2], lw = l[3];
    const float rx = r[0], ry = r[1], rz = r[2], rw = r[3];
    float* o = res(result);
    o[0] = lw * rx + lx * rw + ly * rz - lz * ry;
    o[1] = lw * ry + ly * rw + lz * rx - lx * rz;
    o[2] = lw * rz + lz * rw + lx * ry - ly * rx;
    o[3] = lw * rw - lx * rx - ly * ry - lz * rz;
}

// The remainder is taken in double by the C library and rounded back to float:
// it has the sign of the left operand.
void modFloat(void* result, const void* const* args)
{
    const double l = arg(args, 0)[0];
    const double r = arg(args, 1)[0];
    res(result)[0] = static_cast<float>(std::fmod(l, r));
}

template <unsigned N>
void negate(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = -a[i];
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// ---------------------------------------------------------------- functions
template <unsigned N>
inline float dotOf(const float* a, const float* b)
{
    float sum = a[0] * b[0];
    for (unsigned i = 1; i < N; ++i)
        sum = sum + a[i] * b[i];
    return sum;
}

void fnAbs(void* result, const void* const* args)
{
    const float x = arg(args, 0)[0];
    res(result)[0] = x >= 0.0f ? x : -x;
}

void fnCross(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    const float* b = arg(args, 1);
    const float x = a[1] * b[2] - a[2] * b[1];
    const float y = a[2] * b[0] - a[0] * b[2];
    const float z = a[0] * b[1] - a[1] * b[0];
    float* o = res(result);
    o[0] = x;
    o[1] = y;
    o[2] = z;
}

template <unsigned N>
void fnDot(void* result, const void* const* args)
{
    res(result)[0] = dotOf<N>(arg(args, 0), arg(args, 1));
}

template <unsigned N>
void fnNorm(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    const float inv = 1.0f / std::sqrt(dotOf<N>(a, a));
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = a[i] * inv;
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

template <unsigned N>
void fnLength(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    res(result)[0] = std::sqrt(dotOf<N>(a, a));
}

template <unsigned N>
void fnLength2(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    res(result)[0] = dotOf<N>(a, a);
}

template <unsigned N>
void fnMakeVec(void* result, const void* const* args)
{
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = arg(args, i)[0];
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// Halves go upward, below zero too: -0.5 gives 0, -1.5 gives -1.
void fnRound(void* result, const void* const* args)
{
    res(result)[0] = std::floor(arg(args, 0)[0] + 0.5f);
}

void fnFloor(void* result, const void* const* args)
{
    res(result)[0] = std::floor(arg(args, 0)[0]);
}

void fnCeil(void* result, const void* const* args) { res(result)[0] = std::ceil(arg(args, 0)[0]); }

// 0 for zero and for NaN.
void fnSign(void* result, const void* const* args)
{
    const float x = arg(args, 0)[0];
    res(result)[0] = x > 0.0f ? 1.0f : (x < 0.0f ? -1.0f : 0.0f);
}

// a + (b - a) * t with a float t, not clamped.
template <unsigned N>
void fnLerp(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    const float* b = arg(args, 1);
    const float t = arg(args, 2)[0];
    float out[N];
    for (unsigned i = 0; i < N; ++i)
        out[i] = a[i] + (b[i] - a[i]) * t;
    for (unsigned i = 0; i < N; ++i)
        res(result)[i] = out[i];
}

// Picks the components I0, I1, I2 (as many as the result has) of the argument.
template <unsigned I0>
void swizzle1(void* result, const void* const* args)
{
    res(result)[0] = arg(args, 0)[I0];
}

template <unsigned I0, unsigned I1>
void swizzle2(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    const float x = a[I0], y = a[I1];
    res(result)[0] = x;
    res(result)[1] = y;
}

template <unsigned I0, unsigned I1, unsigned I2>
void swizzle3(void* result, const void* const* args)
{
    const float* a = arg(args, 0);
    const float x = a[I0], y = a[I1], z = a[I2];
    res(result)[0] = x;
    res(result)[1] = y;
    res(result)[2] = z;
}

// ---------------------------------------------------------------- tables
#define EXPR_ARITH_OVERLOADS(Op)                                                                   \
    {binSame<Op, 1>, VT_Float, VT_Float, VT_Float}, {binSame<Op, 2>, VT_Vec2, VT_Vec2, VT_Vec2},   \
        {binFloatVec<Op, 2>, VT_Vec2, VT_Float, VT_Vec2},                                          \
        {binVecFloat<Op, 2>, VT_Vec2, VT_Vec2, VT_Float},                                          \
        {binSame<Op, 3>, VT_Vec3, VT_Vec3, VT_Vec3},                                               \
        {binFloatVec<Op, 3>, VT_Vec3, VT_Float, VT_Vec3},                                          \
    {                                                                                              \
        binVecFloat<Op, 3>, VT_Vec3, VT_Vec3, VT_Float                                             \
    }

const BinaryOpOverloadDesc addOverloads[] = {EXPR_ARITH_OVERLOADS(Add)};
const BinaryOpOverloadDesc subOverloads[] = {EXPR_ARITH_OVERLOADS(Sub)};
const BinaryOpOverloadDesc mulOverloads[] = {EXPR_ARITH_OVERLOADS(Mul),
                                             {mulQuat, VT_Quat, VT_Quat, VT_Quat}};
const BinaryOpOverloadDesc divOverloads[] = {EXPR_ARITH_OVERLOADS(Div)};
const BinaryOpOverloadDesc modOverloads[] = {{modFloat, VT_Float, VT_Float, VT_Float}};

#undef EXPR_ARITH_OVERLOADS

const UnaryOpOverloadDesc negOverloads[] = {
    {negate<1>, VT_Float, VT_Float},
    {negate<2>, VT_Vec2, VT_Vec2},
    {negate<3>, VT_Vec3, VT_Vec3},
};

// Argument lists shared by the function rows.
const EnumValueType argsF[] = {VT_Float};
const EnumValueType argsFF[] = {VT_Float, VT_Float};
const EnumValueType argsFFF[] = {VT_Float, VT_Float, VT_Float};
const EnumValueType argsV2[] = {VT_Vec2};
const EnumValueType argsV3[] = {VT_Vec3};
const EnumValueType argsV2V2[] = {VT_Vec2, VT_Vec2};
const EnumValueType argsV3V3[] = {VT_Vec3, VT_Vec3};
const EnumValueType argsV2V2F[] = {VT_Vec2, VT_Vec2, VT_Float};
const EnumValueType argsV3V3F[] = {VT_Vec3, VT_Vec3, VT_Float};

#define EXPR_ARGS(list) list, sizeof(list) / sizeof(list[0])

const FunctionOverloadDesc absOverloads[] = {{fnAbs, VT_Float, EXPR_ARGS(argsF)}};
const FunctionOverloadDesc crossOverloads[] = {{fnCross, VT_Vec3, EXPR_ARGS(argsV3V3)}};
const FunctionOverloadDesc dotOverloads[] = {{fnDot<2>, VT_Float, EXPR_ARGS(argsV2V2)},
                                             {fnDot<3>, VT_Float, EXPR_ARGS(argsV3V3)}};
const FunctionOverloadDesc normOverloads[] = {{fnNorm<2>, VT_Vec2, EXPR_ARGS(argsV2)},
                                              {fnNorm<3>, VT_Vec3, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc lengthOverloads[] = {{fnLength<2>, VT_Float, EXPR_ARGS(argsV2)},
                                                {fnLength<3>, VT_Float, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc length2Overloads[] = {{fnLength2<2>, VT_Float, EXPR_ARGS(argsV2)},
                                                 {fnLength2<3>, VT_Float, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc vec2Overloads[] = {{fnMakeVec<2>, VT_Vec2, EXPR_ARGS(argsFF)}};
const FunctionOverloadDesc vec3Overloads[] = {{fnMakeVec<3>, VT_Vec3, EXPR_ARGS(argsFFF)}};
const FunctionOverloadDesc roundOverloads[] = {{fnRound, VT_Float, EXPR_ARGS(argsF)}};
const FunctionOverloadDesc floorOverloads[] = {{fnFloor, VT_Float, EXPR_ARGS(argsF)}};
const FunctionOverloadDesc ceilOverloads[] = {{fnCeil, VT_Float, EXPR_ARGS(argsF)}};
const FunctionOverloadDesc signOverloads[] = {{fnSign, VT_Float, EXPR_ARGS(argsF)}};
const FunctionOverloadDesc lerpOverloads[] = {{fnLerp<1>, VT_Float, EXPR_ARGS(argsFFF)},
                                              {fnLerp<2>, VT_Vec2, EXPR_ARGS(argsV2V2F)},
                                              {fnLerp<3>, VT_Vec3, EXPR_ARGS(argsV3V3F)}};
const FunctionOverloadDesc xOverloads[] = {{swizzle1<0>, VT_Float, EXPR_ARGS(argsV2)},
                                           {swizzle1<0>, VT_Float, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc yOverloads[] = {{swizzle1<1>, VT_Float, EXPR_ARGS(argsV2)},
                                           {swizzle1<1>, VT_Float, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc zOverloads[] = {{swizzle1<2>, VT_Float, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc xyOverloads[] = {{swizzle2<0, 1>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc yxOverloads[] = {{swizzle2<1, 0>, VT_Vec2, EXPR_ARGS(argsV2)},
                                            {swizzle2<1, 0>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc xzOverloads[] = {{swizzle2<0, 2>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc zxOverloads[] = {{swizzle2<2, 0>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc yzOverloads[] = {{swizzle2<1, 2>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc zyOverloads[] = {{swizzle2<2, 1>, VT_Vec2, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc xzyOverloads[] = {{swizzle3<0, 2, 1>, VT_Vec3, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc yxzOverloads[] = {{swizzle3<1, 0, 2>, VT_Vec3, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc yzxOverloads[] = {{swizzle3<1, 2, 0>, VT_Vec3, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc zyxOverloads[] = {{swizzle3<2, 1, 0>, VT_Vec3, EXPR_ARGS(argsV3)}};
const FunctionOverloadDesc zxyOverloads[] = {{swizzle3<2, 0, 1>, VT_Vec3, EXPR_ARGS(argsV3)}};

#undef EXPR_ARGS

template <class T, unsigned N>
constexpr unsigned countOf(const T (&)[N])
{
    return N;
}

}  // namespace

#define EXPR_ROW(name, list)                                                                       \
    {                                                                                              \
        name, list, countOf(list)                                                                  \
    }

namespace Const
{

const BinaryOperationDesc binaryOperations[numBinaryOperations] = {
    {"+", 1, addOverloads, countOf(addOverloads)}, {"-", 1, subOverloads, countOf(subOverloads)},
    {"*", 0, mulOverloads, countOf(mulOverloads)}, {"/", 0, divOverloads, countOf(divOverloads)},
    {"%", 0, modOverloads, countOf(modOverloads)},
};

const OperationDesc<UnaryOpOverloadDesc> unaryOperations[numUnaryOperations] = {
    EXPR_ROW("-", negOverloads),
};

const OperationDesc<FunctionOverloadDesc> functions[numFunctions] = {
    EXPR_ROW("abs", absOverloads),          // 0
    EXPR_ROW("cross", crossOverloads),      // 1
    EXPR_ROW("dot", dotOverloads),          // 2
    EXPR_ROW("norm", normOverloads),        // 3
    EXPR_ROW("length", lengthOverloads),    // 4
    EXPR_ROW("length2", length2Overloads),  // 5
    EXPR_ROW("vec2", vec2Overloads),        // 6
    EXPR_ROW("vec3", vec3Overloads),        // 7
    EXPR_ROW("round", roundOverloads),      // 8
    EXPR_ROW("floor", floorOverloads),      // 9
    EXPR_ROW("ceil", ceilOverloads),        // 10
    EXPR_ROW("sign", signOverloads),        // 11
    EXPR_ROW("lerp", lerpOverloads),        // 12
    EXPR_ROW("x", xOverloads),              // 13
    EXPR_ROW("y", yOverloads),              // 14
    EXPR_ROW("z", zOverloads),              // 15
    EXPR_ROW("xy", xyOverloads),            // 16
    EXPR_ROW("yx", yxOverloads),            // 17
    EXPR_ROW("xz", xzOverloads),            // 18
    EXPR_ROW("zx", zxOverloads),            // 19
    EXPR_ROW("yz", yzOverloads),            // 20
    EXPR_ROW("zy", zyOverloads),            // 21
    EXPR_ROW("xzy", xzyOverloads),          // 22
    EXPR_ROW("yxz", yxzOverloads),          // 23
    EXPR_ROW("yzx", yzxOverloads),          // 24
    EXPR_ROW("zyx", zyxOverloads),          // 25
    EXPR_ROW("zxy", zxyOverloads),          // 26
};

}  // namespace Const

#undef EXPR_ROW

unsigned getNumArguments(unsigned kind, unsigned operation, unsigned overload)
{
    unsigned numArgs = 0;
    if (!getOverload(kind, operation, overload, nullptr, nullptr, nullptr, 0, &numArgs))
        return 0;
    return numArgs;
}

bool getOverload(unsigned kind, unsigned operation, unsigned overload, OperationFunc* func,
                 EnumValueType* resultType, EnumValueType* argTypes, unsigned maxArgs,
                 unsigned* numArgs)
{
    OperationFunc f = nullptr;
    EnumValueType result = VT_Float;
    EnumValueType types[3] = {VT_Float, VT_Float, VT_Float};
    const EnumValueType* typeList = types;
    unsigned count = 0;
    switch (kind)
    {
    case OT_Unary:
    {
        if (operation >= Const::numUnaryOperations)
            return false;
        const auto& row = Const::unaryOperations[operation];
        if (overload >= row.numOverloads)
            return false;
        const auto& o = row.overloads[overload];
        f = o.func;
        result = o.result;
        types[0] = o.operand;
        count = 1;
        break;
    }
    case OT_Binary:
    {
        if (operation >= Const::numBinaryOperations)
            return false;
        const auto& row = Const::binaryOperations[operation];
        if (overload >= row.numOverloads)
            return false;
        const auto& o = row.overloads[overload];
        f = o.func;
        result = o.result;
        types[0] = o.left;
        types[1] = o.right;
        count = 2;
        break;
    }
    case OT_Function:
    {
        if (operation >= Const::numFunctions)
            return false;
        const auto& row = Const::functions[operation];
        if (overload >= row.numOverloads)
            return false;
        const auto& o = row.overloads[overload];
        f = o.func;
        result = o.result;
        typeList = o.args;
        count = o.numArgs;
        break;
    }
    default:
        return false;
    }
    if (func)
        *func = f;
    if (resultType)
        *resultType = result;
    if (argTypes)
        for (unsigned i = 0; i < count && i < maxArgs; ++i)
            argTypes[i] = typeList[i];
    if (numArgs)
        *numArgs = count;
    return true;
}

const char* getOperationName(unsigned kind, unsigned operation)
{
    switch (kind)
    {
    case OT_Unary:
        return operation < Const::numUnaryOperations ? Const::unaryOperations[operation].name : "?";
    case OT_Binary:
        return operation < Const::numBinaryOperations ? Const::binaryOperations[operation].name
                                                      : "?";
    case OT_Function:
        return operation < Const::numFunctions ? Const::functions[operation].name : "?";
    default:
        return "?";
    }
}

}  // namespace Expr
