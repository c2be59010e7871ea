#include "revision_saveload/sl_saver_bin.h"

#include <cstring>

#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_byte_order.h"

namespace Sl
{

void SaverBin::init(EnumByteOrder byteOrder, EnumTypeChecking typeChecking)
{
    const bool bigEndian = byteOrder == BO_Native ? isBigEndian() : byteOrder == BO_BigEndian;
    if (bigEndian != isBigEndian())
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
    typeWriter_ = typeChecking == TC_On ? &SaverBin::writeType : &SaverBin::writeNoType;

    header_ = 0;
    if (bigEndian)
        header_ |= kHeaderBigEndian;
    if (typeChecking == TC_On)
        header_ |= kHeaderTypeTags;
    if (implementsPackedGroups())
        header_ |= kHeaderPackedGroups;
    writeData(&header_, 1);
}

void SaverBin::encodeFixedU32(uint32_t value, uint8_t* out) const
{
    std::memcpy(out, &value, 4);
    swap4_(out);
}

void SaverBin::writeType(EnumType type)
{
    const uint8_t tag = type;
    writeData(&tag, 1);
}

void SaverBin::writeNoType(EnumType) {}

template <class T>
void SaverBin::writeFixed(T value)
{
    uint8_t bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if constexpr (sizeof(T) == 2)
        swap2_(bytes);
    else if constexpr (sizeof(T) == 4)
        swap4_(bytes);
    else if constexpr (sizeof(T) == 8)
        swap8_(bytes);
    writeData(bytes, sizeof(T));
}

void SaverBin::startGroup(const char*, uint32_t version)
{
    (this->*typeWriter_)(T_Group);
    writeGroupStart(version != 0);
    if (version != 0)
    {
        uint8_t bytes[kMaxBase128Bytes32];
        writeData(bytes, encodeU32Base128(version, bytes));
    }
}

void SaverBin::endGroup() { writeGroupEnd(); }

void SaverBin::write(const char*, bool value)
{
    (this->*typeWriter_)(T_Bool);
    const uint8_t byte = value ? 1 : 0;
    writeData(&byte, 1);
}

void SaverBin::write(const char*, int8_t value)
{
    (this->*typeWriter_)(T_Int8);
    writeData(&value, 1);
}

void SaverBin::write(const char*, uint8_t value)
{
    (this->*typeWriter_)(T_Uint8);
    writeData(&value, 1);
}

#define SL_SAVER_BIN_WRITE_INT(Type, Fixed, Packed, MaxBytes, encode)                              \
    void SaverBin::write(const char*, Type value, EnumPackedHint hint)                             \
    {                                                                                              \
        if (hint == PH_Fixed)                                                                      \
        {                                                                                          \
            (this->*typeWriter_)(Fixed);                                                           \
            writeFixed(value);                                                                     \
        }                                                                                          \
        else                                                                                       \
        {                                                                                          \
            (this->*typeWriter_)(Packed);                                                          \
            uint8_t bytes[MaxBytes];                                                               \
            writeData(bytes, encode(value, bytes));                                                \
        }                                                                                          \
    }

SL_SAVER_BIN_WRITE_INT(int16_t, T_Int16Fixed, T_Int16Packed, kMaxBase128Bytes16, encodeS16Base128)
SL_SAVER_BIN_WRITE_INT(uint16_t, T_Uint16Fixed, T_Uint16Packed, kMaxBase128Bytes16,
                       encodeU16Base128)
SL_SAVER_BIN_WRITE_INT(int32_t, T_Int32Fixed, T_Int32Packed, kMaxBase128Bytes32, encodeS32Base128)
SL_SAVER_BIN_WRITE_INT(uint32_t, T_Uint32Fixed, T_Uint32Packed, kMaxBase128Bytes32,
                       encodeU32Base128)
SL_SAVER_BIN_WRITE_INT(int64_t, T_Int64Fixed, T_Int64Packed, kMaxBase128Bytes64, encodeS64Base128)
SL_SAVER_BIN_WRITE_INT(uint64_t, T_Uint64Fixed, T_Uint64Packed, kMaxBase128Bytes64,
                       encodeU64Base128)

#undef SL_SAVER_BIN_WRITE_INT

void SaverBin::write(const char*, float value)
{
    (this->*typeWriter_)(T_Float);
    writeFixed(value);
}

void SaverBin::write(const char*, double value)
{
    (this->*typeWriter_)(T_Double);
    writeFixed(value);
}

void SaverBin::writeBinary(const char*, const uint8_t* data, uint32_t size)
{
    (this->*typeWriter_)(T_Binary);
    uint8_t bytes[kMaxBase128Bytes32];
    writeData(bytes, encodeU32Base128(size, bytes));
    if (size != 0)
        writeData(data, size);
}

}  // namespace Sl
