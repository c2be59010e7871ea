#pragma once

#include <cstdint>

#include "revision_saveload/sl_loader.h"

namespace Sl
{

// Reader of the binary stream format. It needs no configuration: the header
// byte says the byte order, whether values carry type tags and how group
// sizes are written. Back ends supply the bytes.
class LoaderBin : public Loader
{
public:
    ~LoaderBin() override = default;

    uint32_t startGroup(uint32_t maxVersion = 0) override;
    void read(bool& value) override;
    void read(int8_t& value) override;
    void read(uint8_t& value) override;
    void read(int16_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint16_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(int32_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint32_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(int64_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint64_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(float& value) override;
    void read(double& value) override;
    uint32_t readBinarySize() override;
    void readBinaryData(uint8_t* data) override;
    void endGroup() override;
    void skipGroup() override;
    void skipBool() override;
    void skipInt8() override;
    void skipUint8() override;
    void skipInt16(EnumPackedHint hint = PH_Packed) override;
    void skipUint16(EnumPackedHint hint = PH_Packed) override;
    void skipInt32(EnumPackedHint hint = PH_Packed) override;
    void skipUint32(EnumPackedHint hint = PH_Packed) override;
    void skipInt64(EnumPackedHint hint = PH_Packed) override;
    void skipUint64(EnumPackedHint hint = PH_Packed) override;
    void skipFloat() override;
    void skipDouble() override;
    void skipBinary() override;
    void readBinary(BinarySink& sink) override;

    // Reads size bytes; EndOfBufferException if there are fewer.
    virtual void readData(void* data, uint32_t size) = 0;
    // Copies bytes into out up to and including the first without the high bit,
    // at most maxBytes, and returns their count. Throws CorruptedDataException
    // if maxBytes bytes all have the high bit, EndOfBufferException at the end.
    virtual uint32_t readPackedInt(uint8_t* out, uint32_t maxBytes) = 0;
    virtual void skipData(uint32_t size) = 0;
    virtual void skipPackedInt(uint32_t maxBytes) = 0;

    // What the header byte said.
    uint8_t header() const { return header_; }
    bool isBigEndianStream() const { return (header_ & 0x01) != 0; }
    bool hasTypeTags() const { return (header_ & 0x02) != 0; }
    bool hasPackedGroups() const { return (header_ & 0x04) != 0; }

protected:
    LoaderBin() = default;

    // Called last by each back end's constructor: reads the header byte.
    void init();

private:
    void checkType(EnumType type);
    void checkNoType(EnumType type);
    uint32_t readPackedGroupWord();
    uint32_t readFixedGroupWord();
    template <class T>
    void readFixed(T& value);
    template <class T>
    T readPacked(uint32_t maxBytes, uint32_t (*decode)(const uint8_t*, T&));
    void readBinarySizeWithTag();

    void (*swap2_)(void*) = nullptr;
    void (*swap4_)(void*) = nullptr;
    void (*swap8_)(void*) = nullptr;
    void (LoaderBin::*typeChecker_)(EnumType) = &LoaderBin::checkNoType;
    uint32_t (LoaderBin::*groupWordReader_)() = &LoaderBin::readPackedGroupWord;
    uint32_t binarySize_ = 0;
    bool binarySizeRead_ = false;
    uint8_t header_ = 0;
};

}  // namespace Sl
