#pragma once

// The stream form of each property value type: what the free Sl::write / Sl::read give, and
// for enumerations one unsigned byte holding the enumerator's number. A byte outside an
// enumeration's values is corrupt data.

#include <cstdint>
#include <type_traits>

#include "plot/path_sl.h"
#include "plot/plot_sl.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

// The values an enumeration stored in a property may take: first to last, inclusive.
// Specialised next to each enumeration that a property holds.
template <class E>
struct PropEnumRange;

template <class T, class Enable = void>
struct PropValue
{
    static void write(const char* name, Sl::Saver& saver, const T& value)
    {
        Sl::write(name, saver, value);
    }
    static void read(Sl::Loader& loader, T& value) { Sl::read(loader, value); }
};

template <class E>
struct PropValue<E, std::enable_if_t<std::is_enum_v<E>>>
{
    static void write(const char* name, Sl::Saver& saver, const E& value)
    {
        saver.write(name, static_cast<uint8_t>(value));
    }
    static void read(Sl::Loader& loader, E& value)
    {
        uint8_t byte = 0;
        loader.read(byte);
        if (byte < PropEnumRange<E>::first || byte > PropEnumRange<E>::last)
            throw Sl::CorruptedDataException();
        value = static_cast<E>(byte);
    }
};

}  // namespace Plm
