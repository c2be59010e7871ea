#pragma once

// Helpers for writing the concrete kinds of block: accessors that follow the property
// convention (getX, setX with an empty value meaning back to the default, isXExternal,
// setXExternal) and the type names of the vector-templated kinds.

#include <boost/optional/optional.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block.h"

// getX() and setX(optional) over a property member.
#define PLM_PROP_ACCESSORS(Name, Type, member)                                                     \
    const Type& get##Name() const { return member.get(); }                                         \
    void set##Name(const boost::optional<Type>& value) { ::Plm::setPropAndNotify(member, value); }

// isXExternal() and setXExternal(bool): the connector comes and goes with the flag.
#define PLM_EXTERNAL_ACCESSORS(Name, member)                                                       \
    bool is##Name##External() const { return member.isExternal(); }                                \
    void set##Name##External(bool external) { member.setExternal(external); }

namespace Plm
{

// The connector type of a value type, and the suffix of factory names ("float", "vec2"...).
template <class T>
struct ValueTraits;
template <>
struct ValueTraits<float>
{
    static constexpr EnumConnectorType connectorType = CT_Float;
    static float zero() { return 0.0f; }
};
template <>
struct ValueTraits<glm::vec2>
{
    static constexpr EnumConnectorType connectorType = CT_Vec2;
    static glm::vec2 zero() { return glm::vec2(0.0f); }
};
template <>
struct ValueTraits<glm::vec3>
{
    static constexpr EnumConnectorType connectorType = CT_Vec3;
    static glm::vec3 zero() { return glm::vec3(0.0f); }
};
template <>
struct ValueTraits<glm::quat>
{
    static constexpr EnumConnectorType connectorType = CT_Quat;
    // The identity rotation stands for "zero" of a rotation.
    static glm::quat zero() { return glm::quat(1.0f, 0.0f, 0.0f, 0.0f); }
};

// Appends an input for a property while it is external.
inline void addInputIfExternal(std::vector<BlockConnectorDesc>& descs, const PropBase& prop,
                               EnumConnectorType type, uint32_t index)
{
    if (prop.isExternal())
        descs.push_back(inputDesc(type, index));
}

}  // namespace Plm
