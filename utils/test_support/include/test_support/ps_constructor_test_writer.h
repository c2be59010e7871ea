#pragma once

// Writers of the two constructors for tests, on top of PsTest::EmitterWriter:
// the fields of the constructors' groups in file order.

#include <cstdint>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/ps_system.h"
#include "test_support/ps_test_effect_writer.h"

namespace PsTest
{

struct QuadsFields
{
    Ext origin = Ext(glm::vec2(0.5f, 0.5f));
    uint8_t rotationOp = Ps::CGO_Faced;
    Ext facedAngle = Ext(0.0f);  // with CGO_Faced
    In freeRotation;             // with CGO_Free: a quaternion output
    uint8_t sizeType = Ps::ConstructorQuads::ST_Square;
    Ext size = Ext(10.0f);  // a float for the square, a vec2 for the rectangle
    Ext color = Ext(glm::vec3(1.0f, 1.0f, 1.0f));
    Ext alpha = Ext(1.0f);
    uint8_t mesh = 0;
    uint8_t style = 0;
    uint8_t texOp = Ps::CTO_Rect;
    uint8_t columns = 1;
    uint8_t rows = 1;
    In gridIndex;  // with CTO_Grid: a float output
};

inline uint8_t constructorQuads(EmitterWriter& emitter, const QuadsFields& f)
{
    return emitter.op(Ps::OF_ConstructorQuads,
                      [f](Sl::Saver& s)
                      {
                          writeExt(s, "origin", f.origin);
                          writeU8(s, "rotation_op", f.rotationOp);
                          if (f.rotationOp == Ps::CGO_Faced)
                              writeExt(s, "rotation", f.facedAngle);
                          else
                              writeIn(s, "rotation", f.freeRotation);
                          writeU8(s, "size_type", f.sizeType);
                          writeExt(s, "size", f.size);
                          writeExt(s, "color", f.color);
                          writeExt(s, "alpha", f.alpha);
                          writeU8(s, "vis_mesh_index", f.mesh);
                          writeU8(s, "rend_style_index", f.style);
                          writeU8(s, "tex_op", f.texOp);
                          if (f.texOp == Ps::CTO_Grid)
                          {
                              writeU8(s, "tex_op_grid_cols", f.columns);
                              writeU8(s, "tex_op_grid_rows", f.rows);
                              writeIn(s, "tex_op_grid_index", f.gridIndex);
                          }
                      });
}

struct StripFields
{
    bool hasFreeRotation = false;
    In rotation;  // a quaternion output, with the free rotation
    Ext size = Ext(4.0f);
    Ext color = Ext(glm::vec3(1.0f, 1.0f, 1.0f));
    Ext alpha = Ext(1.0f);
    Ext texRepetition = Ext(30.0f);
    uint8_t mesh = 0;
    uint8_t style = 0;
};

inline uint8_t constructorStrip(EmitterWriter& emitter, const StripFields& f)
{
    return emitter.op(Ps::OF_ConstructorStrip,
                      [f](Sl::Saver& s)
                      {
                          writeBool(s, "has_free_rotation", f.hasFreeRotation);
                          if (f.hasFreeRotation)
                              writeIn(s, "rotation", f.rotation);
                          writeExt(s, "size", f.size);
                          writeExt(s, "color", f.color);
                          writeExt(s, "alpha", f.alpha);
                          writeExt(s, "tex_rep", f.texRepetition);
                          writeU8(s, "vis_mesh_index", f.mesh);
                          writeU8(s, "rend_style_index", f.style);
                      });
}

}  // namespace PsTest
