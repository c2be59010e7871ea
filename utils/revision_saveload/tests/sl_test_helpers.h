#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_loader_bin_deque.h"
#include "revision_saveload/sl_loader_bin_istream.h"
#include "revision_saveload/sl_saver_bin_array.h"
#include "revision_saveload/sl_saver_bin_deque.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_saver_bin_ostream.h"

namespace SlTest
{

using Bytes = std::vector<uint8_t>;

enum class SaverKind
{
    Flex,
    Deque,
    Array,
    OStream
};
enum class LoaderKind
{
    Array,
    Deque,
    IStream
};

inline const char* saverName(SaverKind kind)
{
    switch (kind)
    {
    case SaverKind::Flex:
        return "Flex";
    case SaverKind::Deque:
        return "Deque";
    case SaverKind::Array:
        return "Array";
    case SaverKind::OStream:
        return "OStream";
    }
    return "?";
}

inline const char* loaderName(LoaderKind kind)
{
    switch (kind)
    {
    case LoaderKind::Array:
        return "Array";
    case LoaderKind::Deque:
        return "Deque";
    case LoaderKind::IStream:
        return "IStream";
    }
    return "?";
}

constexpr SaverKind kAllSavers[] = {SaverKind::Flex, SaverKind::Deque, SaverKind::Array,
                                    SaverKind::OStream};
constexpr LoaderKind kAllLoaders[] = {LoaderKind::Array, LoaderKind::Deque, LoaderKind::IStream};

// Writes with the given back end and returns the stream's bytes.
inline Bytes saveWith(SaverKind kind, Sl::EnumByteOrder order, Sl::EnumTypeChecking tags,
                      const std::function<void(Sl::Saver&)>& body, uint32_t arraySize = 1 << 16)
{
    switch (kind)
    {
    case SaverKind::Flex:
    {
        Sl::SaverBinFlex saver(order, tags);
        body(saver);
        return saver.dataAsVector();
    }
    case SaverKind::Deque:
    {
        std::deque<uint8_t> target;
        {
            Sl::SaverBinDeque saver(target, order, tags);
            body(saver);
        }
        return Bytes(target.begin(), target.end());
    }
    case SaverKind::Array:
    {
        Bytes buffer(arraySize);
        Sl::SaverBinArray saver(buffer.data(), arraySize, order, tags);
        body(saver);
        return Bytes(saver.data(), saver.data() + saver.dataSize());
    }
    case SaverKind::OStream:
    {
        std::ostringstream out(std::ios::binary);
        {
            Sl::SaverBinOStream saver(out, order, tags);
            body(saver);
        }
        const std::string text = out.str();
        return Bytes(text.begin(), text.end());
    }
    }
    return {};
}

// Reads bytes with the given back end.
inline void loadWith(LoaderKind kind, const Bytes& bytes,
                     const std::function<void(Sl::Loader&)>& body)
{
    switch (kind)
    {
    case LoaderKind::Array:
    {
        Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
        body(loader);
        return;
    }
    case LoaderKind::Deque:
    {
        const std::deque<uint8_t> source(bytes.begin(), bytes.end());
        Sl::LoaderBinDeque loader(source);
        body(loader);
        return;
    }
    case LoaderKind::IStream:
    {
        std::istringstream in(std::string(bytes.begin(), bytes.end()), std::ios::binary);
        Sl::LoaderBinIStream loader(in);
        body(loader);
        return;
    }
    }
}

inline Bytes flexBytes(Sl::EnumTypeChecking tags, const std::function<void(Sl::Saver&)>& body)
{
    return saveWith(SaverKind::Flex, Sl::BO_Native, tags, body);
}

// A stream buffer over bytes that can't seek, like a pipe.
class UnseekableBuf : public std::streambuf
{
public:
    explicit UnseekableBuf(const Bytes& bytes) : bytes_(bytes)
    {
        char* begin = reinterpret_cast<char*>(bytes_.data());
        setg(begin, begin, begin + bytes_.size());
    }

private:
    Bytes bytes_;
};

}  // namespace SlTest
