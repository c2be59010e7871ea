#pragma once

// Sl::write / Sl::read for the Boost types the system stores: paths (as their
// string), uuids (a group of 16 bytes in the uuid's order) and optionals (a
// group of a bool and, if set, the value).

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read_std.h"

namespace Sl
{

template <>
struct IsStoredAsBinary<boost::filesystem::path> : std::true_type
{
};

void write(const char* name, Saver& saver, const boost::filesystem::path& value);
void read(Loader& loader, boost::filesystem::path& value);

void write(const char* name, Saver& saver, const boost::uuids::uuid& value);
void read(Loader& loader, boost::uuids::uuid& value);

template <class T>
void write(const char* name, Saver& saver, const boost::optional<T>& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("has_value", static_cast<bool>(value));
    if (value)
        write("value", saver, *value);
}

template <class T>
void read(Loader& loader, boost::optional<T>& value)
{
    ScopedLoaderGroup group(loader);
    bool hasValue = false;
    loader.read(hasValue);
    if (hasValue)
    {
        T item{};
        read(loader, item);
        value = std::move(item);
    }
    else
    {
        value = boost::none;
    }
}

}  // namespace Sl
