#pragma once

// What the blocks share while each writes its operation into a compiled emitter
// (Block::doExport): the head of an operation, the value types of the format, constants,
// and references between the operations of one block.

#include <cstdint>

#include <boost/optional/optional.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_operation_factory.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace Plm
{
namespace ExportBin
{

// The runtime's value type of a connector type; both number them alike.
inline Ps::EnumValueType valueTypeOf(EnumConnectorType type)
{
    switch (type)
    {
    case CT_Float:
        return Ps::VT_Float;
    case CT_Vec2:
        return Ps::VT_Vec2;
    case CT_Vec3:
        return Ps::VT_Vec3;
    default:
        DEBUG_ASSERT(type == CT_Quat);
        return Ps::VT_Quat;
    }
}

// The factory of a family of typed operations that stand in the order of the value types
// (float, vec2, vec3, quat), given the factory of the family's first type `First`: a family
// that starts with vec2 passes First = glm::vec2.
template <class T, class First = float>
Ps::EnumOperationFactories typedFactory(Ps::EnumOperationFactories firstFactory)
{
    static_assert(Ps::ValueTypeOf<T>::value >= Ps::ValueTypeOf<First>::value,
                  "a type before the family's first one");
    return static_cast<Ps::EnumOperationFactories>(
        firstFactory + (Ps::ValueTypeOf<T>::value - Ps::ValueTypeOf<First>::value));
}

// The same by a connector type known only at run time.
inline Ps::EnumOperationFactories typedFactory(Ps::EnumOperationFactories floatFactory,
                                               EnumConnectorType type)
{
    return static_cast<Ps::EnumOperationFactories>(floatFactory + valueTypeOf(type));
}

// A value as the format stores it: a float directly, a vector or a quaternion as its group.
inline void writeValue(Sl::Saver& saver, const char* name, float value)
{
    saver.write(name, value);
}
template <class T>
void writeValue(Sl::Saver& saver, const char* name, const T& value)
{
    Sl::write(name, saver, value);
}

// Opens one operation for its lifetime: the "factory" byte, then the operation's group, which
// the reader opens with version 0.
class OperationScope
{
public:
    OperationScope(const EmitterExportCompilerBin& compiler, Ps::EnumOperationFactories factory)
        : OperationScope(compiler.getSaver(), factory)
    {
    }
    OperationScope(Sl::Saver& saver, Ps::EnumOperationFactories factory)
        : saver_(saver), group_((saver.write("factory", static_cast<uint8_t>(factory)), saver))
    {
    }
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;

    Sl::Saver& saver() const { return saver_; }

private:
    Sl::Saver& saver_;
    Sl::ScopedSaverGroup group_;
};

// An input (`Ext`) that is the constant `value`, whatever any property says.
template <class T>
void writeConstantInput(Sl::Saver& saver, const char* name, const T& value)
{
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("ext", false);
    saver.write("type", static_cast<uint8_t>(Ps::ValueTypeOf<T>::value));
    Sl::ScopedSaverGroup valueGroup(nullptr, saver);
    writeValue(saver, "value", value);
}

// A reference (`In`) to output `outputIndex` of the block's own operation `operId`, which
// stands before the one being written: for a block whose operations feed each other.
inline void writeOwnOperationInput(const EmitterExportCompilerBin& compiler, const char* name,
                                   const Block& block, unsigned int operId, uint8_t outputIndex)
{
    const boost::optional<unsigned int> index = compiler.getBlockOpIndex(block, operId);
    DEBUG_ASSERT(index && *index < 256u);
    Sl::Saver& saver = compiler.getSaver();
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("oper", static_cast<uint8_t>(*index));
    saver.write("output", outputIndex);
}

// The same as an `Ext` input.
inline void writeOwnOperationExtInput(const EmitterExportCompilerBin& compiler, const char* name,
                                      const Block& block, unsigned int operId, uint8_t outputIndex)
{
    Sl::Saver& saver = compiler.getSaver();
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("ext", true);
    writeOwnOperationInput(compiler, "input", block, operId, outputIndex);
}

}  // namespace ExportBin
}  // namespace Plm
