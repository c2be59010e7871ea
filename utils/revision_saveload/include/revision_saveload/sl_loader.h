#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "revision_saveload/sl_saver.h"

namespace Sl
{

// Receives the bytes of a binary value piece by piece (see Loader::readBinary).
class BinarySink
{
public:
    // The announced total; a sink may reserve it. Only called when the loader has
    // checked that it can hold that many bytes.
    virtual void reserve(uint32_t totalSize) = 0;
    virtual void append(const uint8_t* data, uint32_t size) = 0;

protected:
    ~BinarySink() = default;
};

// Types that Loader::skip<T>() passes over as a binary value rather than a
// group. Strings are binary; every other composite type is a group.
template <class T>
struct IsStoredAsBinary : std::false_type
{
};
template <>
struct IsStoredAsBinary<std::string> : std::true_type
{
};

// Abstract reader of a value stream. Every failure is an Sl::Exception.
class Loader
{
public:
    // maxDataLeft() when the loader can't tell how much data is left.
    static constexpr uint64_t kUnknownDataLeft = std::numeric_limits<uint64_t>::max();
    // position() when the loader can't tell where it stands.
    static constexpr uint64_t kUnknownPosition = std::numeric_limits<uint64_t>::max();

    virtual ~Loader() = default;

    // Opens a group and returns its version (0 when none is stored). Throws
    // OldLoaderVersionException if the version is above maxVersion.
    virtual uint32_t startGroup(uint32_t maxVersion = 0) = 0;
    virtual void read(bool& value) = 0;
    virtual void read(int8_t& value) = 0;
    virtual void read(uint8_t& value) = 0;
    virtual void read(int16_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(uint16_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(int32_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(uint32_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(int64_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(uint64_t& value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void read(float& value) = 0;
    virtual void read(double& value) = 0;
    // Reads the byte count of a binary value and remembers it; readBinaryData
    // then reads the bytes. readBinaryData alone reads count and bytes, into a
    // buffer the caller knows to be large enough.
    virtual uint32_t readBinarySize() = 0;
    virtual void readBinaryData(uint8_t* data) = 0;
    // Does nothing: a reader consumes a group's values itself, in full.
    virtual void endGroup() = 0;
    virtual void skipGroup() = 0;
    virtual void skipBool() = 0;
    virtual void skipInt8() = 0;
    virtual void skipUint8() = 0;
    virtual void skipInt16(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipUint16(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipInt32(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipUint32(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipInt64(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipUint64(EnumPackedHint hint = PH_Packed) = 0;
    virtual void skipFloat() = 0;
    virtual void skipDouble() = 0;
    virtual void skipBinary() = 0;

    // An upper bound of the bytes the loader can still deliver, or
    // kUnknownDataLeft. Readers of counted data (strings, containers) compare a
    // count from the stream with it before they allocate anything.
    virtual uint64_t maxDataLeft() const { return kUnknownDataLeft; }

    // The bytes consumed so far, the header byte included, or kUnknownPosition.
    // After a failed read it is where reading stopped: the start of a value that
    // doesn't fit in the data, or just past the bytes that made the value fail,
    // so that a reader can say where the data is damaged.
    virtual uint64_t position() const { return kUnknownPosition; }

    // Reads a whole binary value (count and bytes) into a sink, piece by piece,
    // so that a corrupt count never makes a large allocation: the data grows
    // only as far as the stream really holds it. Throws EndOfBufferException
    // if the count exceeds maxDataLeft().
    virtual void readBinary(BinarySink& sink);

    // Passes over one value of type T; integers take the hint they were written with.
    template <class T>
    void skip(EnumPackedHint hint = PH_Packed);

protected:
    Loader() = default;
    Loader(const Loader&) = default;
    Loader& operator=(const Loader&) = default;
};

template <class T>
void Loader::skip(EnumPackedHint hint)
{
    if constexpr (std::is_same_v<T, bool>)
    {
        skipBool();
    }
    else if constexpr (std::is_same_v<T, int8_t>)
    {
        skipInt8();
    }
    else if constexpr (std::is_same_v<T, uint8_t>)
    {
        skipUint8();
    }
    else if constexpr (std::is_same_v<T, int16_t>)
    {
        skipInt16(hint);
    }
    else if constexpr (std::is_same_v<T, uint16_t>)
    {
        skipUint16(hint);
    }
    else if constexpr (std::is_same_v<T, int32_t>)
    {
        skipInt32(hint);
    }
    else if constexpr (std::is_same_v<T, uint32_t>)
    {
        skipUint32(hint);
    }
    else if constexpr (std::is_same_v<T, int64_t>)
    {
        skipInt64(hint);
    }
    else if constexpr (std::is_same_v<T, uint64_t>)
    {
        skipUint64(hint);
    }
    else if constexpr (std::is_same_v<T, float>)
    {
        skipFloat();
    }
    else if constexpr (std::is_same_v<T, double>)
    {
        skipDouble();
    }
    else if constexpr (IsStoredAsBinary<T>::value)
    {
        skipBinary();
    }
    else
    {
        static_assert(std::is_class_v<T>, "Loader::skip: no stream form for this type");
        skipGroup();
    }
}

}  // namespace Sl
