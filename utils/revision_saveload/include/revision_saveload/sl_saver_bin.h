#pragma once

#include <cstdint>

#include "revision_saveload/sl_saver.h"

namespace Sl
{

// The binary stream format: one header byte, then values, each optionally
// preceded by its type tag. Back ends decide where the bytes go and how a
// group's size word gets written.
//
// Header byte: bit 0 set: fixed multi-byte values are big endian; bit 1 set:
// every value has its type tag; bit 2 set: group sizes are base-128 (else
// 4 bytes in the stream's order).
class SaverBin : public Saver
{
public:
    static constexpr uint8_t kHeaderBigEndian = 0x01;
    static constexpr uint8_t kHeaderTypeTags = 0x02;
    static constexpr uint8_t kHeaderPackedGroups = 0x04;

    ~SaverBin() override = default;

    void startGroup(const char* name, uint32_t version = 0) override;
    void write(const char* name, bool value) override;
    void write(const char* name, int8_t value) override;
    void write(const char* name, uint8_t value) override;
    void write(const char* name, int16_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint16_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, int32_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint32_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, int64_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint64_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, float value) override;
    void write(const char* name, double value) override;
    void writeBinary(const char* name, const uint8_t* data, uint32_t size) override;
    void endGroup() override;

    // True when the back end writes group sizes base-128 (header bit 2).
    virtual bool implementsPackedGroups() const = 0;
    // Appends raw bytes to the stream.
    virtual void writeData(const void* data, uint32_t size) = 0;
    // Makes room for a group's size word; the group's content follows.
    virtual void writeGroupStart(bool hasVersion) = 0;
    // Writes the size word of the innermost open group.
    virtual void writeGroupEnd() = 0;

    // The header byte as written by init().
    uint8_t header() const { return header_; }
    bool isBigEndianStream() const { return (header_ & kHeaderBigEndian) != 0; }

protected:
    SaverBin() = default;

    // Called last by each back end's constructor: chooses byte swapping and
    // type tags, and writes the header byte.
    void init(EnumByteOrder byteOrder, EnumTypeChecking typeChecking);

    // A 4-byte value in the stream's byte order, for fixed group size words.
    void encodeFixedU32(uint32_t value, uint8_t* out) const;

private:
    void writeType(EnumType type);
    void writeNoType(EnumType type);
    template <class T>
    void writeFixed(T value);

    void (*swap2_)(void*) = nullptr;
    void (*swap4_)(void*) = nullptr;
    void (*swap8_)(void*) = nullptr;
    void (SaverBin::*typeWriter_)(EnumType) = &SaverBin::writeNoType;
    uint8_t header_ = 0;
};

}  // namespace Sl
