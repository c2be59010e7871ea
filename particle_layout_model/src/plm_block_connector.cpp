#include "particle_layout_model/plm_block_connector.h"

#include "debug/debug_check.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Plm
{

const char* connectorTypeName(EnumConnectorType type)
{
    switch (type)
    {
    case CT_Float:
        return "float";
    case CT_Vec2:
        return "vec2";
    case CT_Vec3:
        return "vec3";
    case CT_Quat:
        return "quat";
    }
    DEBUG_ASSERT(!"connector type");
    return "";
}

}  // namespace Plm

namespace Sl
{

void write(const char* name, Saver& saver, const Plm::BlockConnectorDesc& value)
{
    ScopedSaverGroup group(name, saver, 0);
    saver.write("dir", static_cast<uint32_t>(value.dir_), PH_Packed);
    saver.write("type", static_cast<uint32_t>(value.type_), PH_Packed);
    saver.write("index", value.index_, PH_Packed);
}

void read(Loader& loader, Plm::BlockConnectorDesc& value)
{
    ScopedLoaderGroup group(loader, 0);
    uint32_t dir = 0, type = 0, index = 0;
    loader.read(dir, PH_Packed);
    loader.read(type, PH_Packed);
    loader.read(index, PH_Packed);
    if (dir > Plm::CD_Output || type > Plm::CT_Quat)
        throw CorruptedDataException();
    value = {static_cast<Plm::EnumConnectorDir>(dir), static_cast<Plm::EnumConnectorType>(type),
             index};
}

void write(const char* name, Saver& saver, const Plm::BlockConnector& value)
{
    ScopedSaverGroup group(name, saver, 0);
    write("block_id", saver, value.blockId);
    write("desc", saver, value.desc_);
}

void read(Loader& loader, Plm::BlockConnector& value)
{
    ScopedLoaderGroup group(loader, 0);
    Plm::BlockConnector connector;
    read(loader, connector.blockId);
    read(loader, connector.desc_);
    value = connector;
}

void write(const char* name, Saver& saver, const Plm::BlockLink& value)
{
    ScopedSaverGroup group(name, saver, 0);
    write("output", saver, value.output_);
    write("input", saver, value.input_);
}

void read(Loader& loader, Plm::BlockLink& value)
{
    ScopedLoaderGroup group(loader, 0);
    Plm::BlockLink link;
    read(loader, link.output_);
    read(loader, link.input_);
    value = link;
}

void write(const char* name, Saver& saver, const Plm::ReflectionSourceRef& value)
{
    DEBUG_ASSERT(static_cast<bool>(value.relPath) != static_cast<bool>(value.id));
    ScopedSaverGroup group(name, saver, 0);
    saver.write("external", value.isExternal());
    if (value.relPath)
        write("rel_path", saver, *value.relPath);
    else
        write("id", saver, *value.id);
}

void read(Loader& loader, Plm::ReflectionSourceRef& value)
{
    ScopedLoaderGroup group(loader, 0);
    bool external = false;
    loader.read(external);
    if (external)
    {
        boost::filesystem::path path;
        read(loader, path);
        value = Plm::ReflectionSourceRef::external(path);
    }
    else
    {
        boost::uuids::uuid id{};
        read(loader, id);
        value = Plm::ReflectionSourceRef::internal(id);
    }
}

}  // namespace Sl
