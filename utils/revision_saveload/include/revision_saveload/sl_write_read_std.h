#pragma once

// Free Sl::write(name, saver, value) and Sl::read(loader, value) for scalars,
// strings and the standard containers. Integers are packed. Containers are
// groups of version 0: a packed uint32 "num_items", then the items; a map's
// items are groups of "_1" (key) and "_2" (value).
//
// Container templates call write/read unqualified, so overloads for further
// types declared in namespace Sl are found wherever the template is used.

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Sl
{

// Scalars: the saver's and loader's own operations, packed.
inline void write(const char* name, Saver& saver, bool value) { saver.write(name, value); }
inline void write(const char* name, Saver& saver, int8_t value) { saver.write(name, value); }
inline void write(const char* name, Saver& saver, uint8_t value) { saver.write(name, value); }
inline void write(const char* name, Saver& saver, int16_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, uint16_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, int32_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, uint32_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, int64_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, uint64_t value)
{
    saver.write(name, value, PH_Packed);
}
inline void write(const char* name, Saver& saver, float value) { saver.write(name, value); }
inline void write(const char* name, Saver& saver, double value) { saver.write(name, value); }

inline void read(Loader& loader, bool& value) { loader.read(value); }
inline void read(Loader& loader, int8_t& value) { loader.read(value); }
inline void read(Loader& loader, uint8_t& value) { loader.read(value); }
inline void read(Loader& loader, int16_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, uint16_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, int32_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, uint32_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, int64_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, uint64_t& value) { loader.read(value, PH_Packed); }
inline void read(Loader& loader, float& value) { loader.read(value); }
inline void read(Loader& loader, double& value) { loader.read(value); }

// Strings: a binary value of the bytes, no terminator.
void write(const char* name, Saver& saver, const std::string& value);
void write(const char* name, Saver& saver, const char* value);
void read(Loader& loader, std::string& value);

namespace Detail
{

// Checks a count of items read from the stream before anything is allocated
// for it: every item takes at least one byte. Throws EndOfBufferException.
void checkItemCount(const Loader& loader, uint32_t count);

// How many items to reserve for a checked count: never more than a modest
// number up front, the rest grows as the items are really read.
inline size_t reserveForCount(uint32_t count) { return std::min<size_t>(count, 4096); }

}  // namespace Detail

template <class T, class A>
void write(const char* name, Saver& saver, const std::vector<T, A>& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("num_items", static_cast<uint32_t>(value.size()), PH_Packed);
    for (const T& item : value)
        write("item", saver, item);
}

template <class T, class A>
void read(Loader& loader, std::vector<T, A>& value)
{
    ScopedLoaderGroup group(loader);
    uint32_t count = 0;
    loader.read(count, PH_Packed);
    Detail::checkItemCount(loader, count);
    value.clear();
    value.reserve(Detail::reserveForCount(count));
    for (uint32_t i = 0; i < count; ++i)
    {
        T item{};
        read(loader, item);
        value.push_back(std::move(item));
    }
}

template <class T, class C, class A>
void write(const char* name, Saver& saver, const std::set<T, C, A>& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("num_items", static_cast<uint32_t>(value.size()), PH_Packed);
    for (const T& item : value)
        write("item", saver, item);
}

template <class T, class C, class A>
void read(Loader& loader, std::set<T, C, A>& value)
{
    ScopedLoaderGroup group(loader);
    uint32_t count = 0;
    loader.read(count, PH_Packed);
    Detail::checkItemCount(loader, count);
    value.clear();
    for (uint32_t i = 0; i < count; ++i)
    {
        T item{};
        read(loader, item);
        value.insert(value.end(), std::move(item));
    }
}

template <class K, class V, class C, class A>
void write(const char* name, Saver& saver, const std::map<K, V, C, A>& value)
{
    ScopedSaverGroup group(name, saver);
    saver.write("num_items", static_cast<uint32_t>(value.size()), PH_Packed);
    for (const auto& item : value)
    {
        ScopedSaverGroup itemGroup("item", saver);
        write("_1", saver, item.first);
        write("_2", saver, item.second);
    }
}

template <class K, class V, class C, class A>
void read(Loader& loader, std::map<K, V, C, A>& value)
{
    ScopedLoaderGroup group(loader);
    uint32_t count = 0;
    loader.read(count, PH_Packed);
    Detail::checkItemCount(loader, count);
    value.clear();
    for (uint32_t i = 0; i < count; ++i)
    {
        ScopedLoaderGroup itemGroup(loader);
        K key{};
        read(loader, key);
        V item{};
        read(loader, item);
        value.insert_or_assign(std::move(key), std::move(item));
    }
}

}  // namespace Sl
