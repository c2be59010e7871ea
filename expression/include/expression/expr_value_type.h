#pragma once

#include <cstdint>

namespace Expr
{

// The value type of every cell of the expression language. The codes are part
// of the byte code and of the compiled effect: never renumber them.
enum EnumValueType : std::uint32_t
{
    VT_Float = 0,  // one float
    VT_Vec2 = 1,   // x, y
    VT_Vec3 = 2,   // x, y, z
    VT_Quat = 3,   // x, y, z, w (w last)
};

// The number of value types; codes at or above this are not value types.
constexpr unsigned numValueTypes = 4;

// In which table of Expr::Const a command's operation lies.
enum EnumOperationType : std::uint32_t
{
    OT_Unary = 0,
    OT_Binary = 1,
    OT_Function = 2,
};

// Size in bytes of a value of the type; 12 for a code above the table.
constexpr unsigned getTypeSize(unsigned type)
{
    return type == VT_Float ? 4u : type == VT_Vec2 ? 8u : type == VT_Quat ? 16u : 12u;
}

// Alignment in bytes of a cell of the type: the components of every type are floats, read and
// written in place, so each cell starts on a multiple of a float's alignment.
constexpr unsigned getTypeAlignment(unsigned) { return alignof(float); }

// The name a user writes for the type: "float", "vec2", "vec3", "quat"; "?" otherwise.
const char* getTypeName(unsigned type);

}  // namespace Expr
