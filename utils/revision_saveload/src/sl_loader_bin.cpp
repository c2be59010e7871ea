#include "revision_saveload/sl_loader_bin.h"

#include <algorithm>
#include <cstring>

#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_byte_order.h"
#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

namespace
{

// Bits of the header byte that a writer always leaves clear.
constexpr uint8_t kHeaderUnusedBits = 0xF8;

// Binary values are read into a sink in pieces of this size.
constexpr uint32_t kBinaryChunk = 16384;

}  // namespace

void LoaderBin::init()
{
    uint8_t header = 0;
    readData(&header, 1);
    if (header & kHeaderUnusedBits)
        throw CorruptedDataException();
    header_ = header;
    if (isBigEndianStream() != isBigEndian())
    {
        swap2_ = &swapBytes<2>;
        swap4_ = &swapBytes<4>;
        swap8_ = &swapBytes<8>;
    }
    else
    {
        swap2_ = &keepBytes<2>;
        swap4_ = &keepBytes<4>;
        swap8_ = &keepBytes<8>;
    }
    typeChecker_ = hasTypeTags() ? &LoaderBin::checkType : &LoaderBin::checkNoType;
    groupWordReader_ =
        hasPackedGroups() ? &LoaderBin::readPackedGroupWord : &LoaderBin::readFixedGroupWord;
}

void LoaderBin::checkType(EnumType type)
{
    uint8_t tag = 0;
    readData(&tag, 1);
    if (tag != type)
        throw WrongTypeException();
}

void LoaderBin::checkNoType(EnumType) {}

template <class T>
void LoaderBin::readFixed(T& value)
{
    uint8_t bytes[sizeof(T)];
    readData(bytes, sizeof(T));
    if constexpr (sizeof(T) == 2)
        swap2_(bytes);
    else if constexpr (sizeof(T) == 4)
        swap4_(bytes);
    else if constexpr (sizeof(T) == 8)
        swap8_(bytes);
    std::memcpy(&value, bytes, sizeof(T));
}

template <class T>
T LoaderBin::readPacked(uint32_t maxBytes, uint32_t (*decode)(const uint8_t*, T&))
{
    uint8_t bytes[kMaxBase128Bytes64];
    readPackedInt(bytes, maxBytes);
    T value;
    decode(bytes, value);
    return value;
}

uint32_t LoaderBin::readPackedGroupWord()
{
    return readPacked<uint32_t>(kMaxBase128Bytes32, &decodeU32Base128);
}

uint32_t LoaderBin::readFixedGroupWord()
{
    uint32_t word = 0;
    readFixed(word);
    return word;
}

uint32_t LoaderBin::startGroup(uint32_t maxVersion)
{
    (this->*typeChecker_)(T_Group);
    const uint32_t word = (this->*groupWordReader_)();
    uint32_t version = 0;
    if (word & 1)
        version = readPacked<uint32_t>(kMaxBase128Bytes32, &decodeU32Base128);
    if (version > maxVersion)
        throw OldLoaderVersionException();
    return version;
}

void LoaderBin::endGroup() {}

void LoaderBin::skipGroup()
{
    (this->*typeChecker_)(T_Group);
    const uint32_t word = (this->*groupWordReader_)();
    skipData(word >> 1);
}

void LoaderBin::read(bool& value)
{
    (this->*typeChecker_)(T_Bool);
    uint8_t byte = 0;
    readData(&byte, 1);
    value = byte != 0;
}

void LoaderBin::read(int8_t& value)
{
    (this->*typeChecker_)(T_Int8);
    readData(&value, 1);
}

void LoaderBin::read(uint8_t& value)
{
    (this->*typeChecker_)(T_Uint8);
    readData(&value, 1);
}

#define SL_LOADER_BIN_INT(Type, Name, Fixed, Packed, MaxBytes, decode)                             \
    void LoaderBin::read(Type& value, EnumPackedHint hint)                                         \
    {                                                                                              \
        if (hint == PH_Fixed)                                                                      \
        {                                                                                          \
            (this->*typeChecker_)(Fixed);                                                          \
            readFixed(value);                                                                      \
        }                                                                                          \
        else                                                                                       \
        {                                                                                          \
            (this->*typeChecker_)(Packed);                                                         \
            value = readPacked<Type>(MaxBytes, &decode);                                           \
        }                                                                                          \
    }                                                                                              \
    void LoaderBin::skip##Name(EnumPackedHint hint)                                                \
    {                                                                                              \
        if (hint == PH_Fixed)                                                                      \
        {                                                                                          \
            (this->*typeChecker_)(Fixed);                                                          \
            skipData(sizeof(Type));                                                                \
        }                                                                                          \
        else                                                                                       \
        {                                                                                          \
            (this->*typeChecker_)(Packed);                                                         \
            skipPackedInt(MaxBytes);                                                               \
        }                                                                                          \
    }

SL_LOADER_BIN_INT(int16_t, Int16, T_Int16Fixed, T_Int16Packed, kMaxBase128Bytes16, decodeS16Base128)
SL_LOADER_BIN_INT(uint16_t, Uint16, T_Uint16Fixed, T_Uint16Packed, kMaxBase128Bytes16,
                  decodeU16Base128)
SL_LOADER_BIN_INT(int32_t, Int32, T_Int32Fixed, T_Int32Packed, kMaxBase128Bytes32, decodeS32Base128)
SL_LOADER_BIN_INT(uint32_t, Uint32, T_Uint32Fixed, T_Uint32Packed, kMaxBase128Bytes32,
                  decodeU32Base128)
SL_LOADER_BIN_INT(int64_t, Int64, T_Int64Fixed, T_Int64Packed, kMaxBase128Bytes64, decodeS64Base128)
SL_LOADER_BIN_INT(uint64_t, Uint64, T_Uint64Fixed, T_Uint64Packed, kMaxBase128Bytes64,
                  decodeU64Base128)

#undef SL_LOADER_BIN_INT

void LoaderBin::read(float& value)
{
    (this->*typeChecker_)(T_Float);
    readFixed(value);
}

void LoaderBin::read(double& value)
{
    (this->*typeChecker_)(T_Double);
    readFixed(value);
}

void LoaderBin::readBinarySizeWithTag()
{
    (this->*typeChecker_)(T_Binary);
    binarySize_ = readPacked<uint32_t>(kMaxBase128Bytes32, &decodeU32Base128);
}

uint32_t LoaderBin::readBinarySize()
{
    readBinarySizeWithTag();
    binarySizeRead_ = true;
    return binarySize_;
}

void LoaderBin::readBinaryData(uint8_t* data)
{
    if (!binarySizeRead_)
        readBinarySizeWithTag();
    binarySizeRead_ = false;
    if (binarySize_ != 0)
        readData(data, binarySize_);
}

void LoaderBin::readBinary(BinarySink& sink)
{
    binarySizeRead_ = false;
    readBinarySizeWithTag();
    const uint32_t size = binarySize_;
    const uint64_t left = maxDataLeft();
    if (size > left)
        throw EndOfBufferException();
    // Only a count known to fit is reserved; otherwise the sink grows with the
    // data that really arrives.
    if (left != kUnknownDataLeft)
        sink.reserve(size);
    uint8_t chunk[kBinaryChunk];
    uint32_t remaining = size;
    while (remaining != 0)
    {
        const uint32_t n = std::min(remaining, kBinaryChunk);
        readData(chunk, n);
        sink.append(chunk, n);
        remaining -= n;
    }
}

void LoaderBin::skipBool()
{
    (this->*typeChecker_)(T_Bool);
    skipData(1);
}

void LoaderBin::skipInt8()
{
    (this->*typeChecker_)(T_Int8);
    skipData(1);
}

void LoaderBin::skipUint8()
{
    (this->*typeChecker_)(T_Uint8);
    skipData(1);
}

void LoaderBin::skipFloat()
{
    (this->*typeChecker_)(T_Float);
    skipData(4);
}

void LoaderBin::skipDouble()
{
    (this->*typeChecker_)(T_Double);
    skipData(8);
}

void LoaderBin::skipBinary()
{
    (this->*typeChecker_)(T_Binary);
    const uint32_t size = readPacked<uint32_t>(kMaxBase128Bytes32, &decodeU32Base128);
    skipData(size);
}

}  // namespace Sl
