#pragma once

#include <cstdint>

namespace Sl
{

// Byte order of multi-byte fixed values in a stream.
enum EnumByteOrder : uint8_t
{
    BO_Native = 0,
    BO_LittleEndian = 1,
    BO_BigEndian = 2,
};

// Whether every value in a stream is preceded by its one-byte type tag.
enum EnumTypeChecking : uint8_t
{
    TC_On = 0,
    TC_Off = 1,
};

// How an integer of more than one byte is written. The reader must state the
// same hint as the writer: it is not stored (except through the type tag).
enum EnumPackedHint : uint8_t
{
    PH_Packed = 0,  // base-128 (zigzag for signed values)
    PH_Fixed = 1,   // full width, in the stream's byte order
};

// One-byte type tags.
enum EnumType : uint8_t
{
    T_Group = 200,
    T_Bool = 201,
    T_Int8 = 202,
    T_Uint8 = 203,
    T_Int16Fixed = 204,
    T_Int16Packed = 205,
    T_Uint16Fixed = 206,
    T_Uint16Packed = 207,
    T_Int32Fixed = 208,
    T_Int32Packed = 209,
    T_Uint32Fixed = 210,
    T_Uint32Packed = 211,
    T_Int64Fixed = 212,
    T_Int64Packed = 213,
    T_Uint64Fixed = 214,
    T_Uint64Packed = 215,
    T_Float = 216,
    T_Double = 217,
    T_Binary = 218,
};

// Abstract writer of a value stream. Names are for the caller only: they are
// not stored, and the order of the calls is the format.
class Saver
{
public:
    virtual ~Saver() = default;

    // Opens a sized, skippable group. Version 0 means "no version" and is not stored.
    virtual void startGroup(const char* name, uint32_t version = 0) = 0;
    virtual void write(const char* name, bool value) = 0;
    virtual void write(const char* name, int8_t value) = 0;
    virtual void write(const char* name, uint8_t value) = 0;
    virtual void write(const char* name, int16_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, uint16_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, int32_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, uint32_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, int64_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, uint64_t value, EnumPackedHint hint = PH_Packed) = 0;
    virtual void write(const char* name, float value) = 0;
    virtual void write(const char* name, double value) = 0;
    virtual void writeBinary(const char* name, const uint8_t* data, uint32_t size) = 0;
    virtual void endGroup() = 0;

protected:
    Saver() = default;
    Saver(const Saver&) = default;
    Saver& operator=(const Saver&) = default;
};

}  // namespace Sl
