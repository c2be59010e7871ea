#pragma once

#include <cstdint>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_prop_value_sl.h"

namespace Plm
{

enum EnumConnectorDir : uint32_t
{
    CD_Input = 0,
    CD_Output = 1,
};

// The value type of a connector; one to one with Expr::EnumValueType.
enum EnumConnectorType : uint32_t
{
    CT_Float = 0,
    CT_Vec2 = 1,
    CT_Vec3 = 2,
    CT_Quat = 3,
};

template <>
struct PropEnumRange<EnumConnectorType>
{
    static constexpr uint8_t first = CT_Float, last = CT_Quat;
};

// "float", "vec2", "vec3", "quat".
const char* connectorTypeName(EnumConnectorType type);

// One connector of a block. `index_` is fixed by the block's class, whatever other
// connectors exist, so that links survive connectors coming and going.
struct BlockConnectorDesc
{
    EnumConnectorDir dir_ = CD_Input;
    EnumConnectorType type_ = CT_Float;
    uint32_t index_ = 0;

    bool operator==(const BlockConnectorDesc& o) const
    {
        return dir_ == o.dir_ && type_ == o.type_ && index_ == o.index_;
    }
    bool operator!=(const BlockConnectorDesc& o) const { return !(*this == o); }
};

inline BlockConnectorDesc inputDesc(EnumConnectorType type, uint32_t index)
{
    return {CD_Input, type, index};
}
inline BlockConnectorDesc outputDesc(EnumConnectorType type, uint32_t index)
{
    return {CD_Output, type, index};
}

struct BlockConnector
{
    boost::uuids::uuid blockId{};
    BlockConnectorDesc desc_;

    bool operator==(const BlockConnector& o) const
    {
        return blockId == o.blockId && desc_ == o.desc_;
    }
    bool operator!=(const BlockConnector& o) const { return !(*this == o); }
};

// A link from an output to an input. Links live in the emitter; blocks don't know them.
struct BlockLink
{
    BlockConnector output_;
    BlockConnector input_;

    bool operator==(const BlockLink& o) const { return output_ == o.output_ && input_ == o.input_; }
    bool operator!=(const BlockLink& o) const { return !(*this == o); }
};

// Where a reflected object's source is: another file (a path relative to the directory of
// the referring file: external) or a sibling in the same file (its id: internal). Exactly
// one is set.
struct ReflectionSourceRef
{
    boost::optional<boost::filesystem::path> relPath;
    boost::optional<boost::uuids::uuid> id;

    static ReflectionSourceRef external(const boost::filesystem::path& path)
    {
        return {path, boost::none};
    }
    static ReflectionSourceRef internal(const boost::uuids::uuid& sourceId)
    {
        return {boost::none, sourceId};
    }
    bool isExternal() const { return static_cast<bool>(relPath); }

    bool operator==(const ReflectionSourceRef& o) const
    {
        return relPath == o.relPath && id == o.id;
    }
    bool operator!=(const ReflectionSourceRef& o) const { return !(*this == o); }
};

}  // namespace Plm

namespace Sl
{
void write(const char* name, Saver& saver, const Plm::BlockConnectorDesc& value);
void read(Loader& loader, Plm::BlockConnectorDesc& value);
void write(const char* name, Saver& saver, const Plm::BlockConnector& value);
void read(Loader& loader, Plm::BlockConnector& value);
void write(const char* name, Saver& saver, const Plm::BlockLink& value);
void read(Loader& loader, Plm::BlockLink& value);
void write(const char* name, Saver& saver, const Plm::ReflectionSourceRef& value);
void read(Loader& loader, Plm::ReflectionSourceRef& value);
}  // namespace Sl
