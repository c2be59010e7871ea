#pragma once

#include <cstdint>

#include "revision_saveload/sl_saver_bin.h"

namespace Sl
{

// Writes into a caller's fixed buffer, with 4-byte group size words. The
// buffer also holds the stack of open groups (8 bytes each: flag and offset of
// the size word), growing down from its end; data and stack are checked
// against each other. The size of the buffer is a limit the caller must keep:
// going beyond it is a programming error (DEBUG_ASSERT).
class SaverBinArray final : public SaverBin
{
public:
    SaverBinArray(void* buffer, uint32_t size, EnumByteOrder byteOrder = BO_Native,
                  EnumTypeChecking typeChecking = TC_Off);
    ~SaverBinArray() override;

    bool implementsPackedGroups() const override { return false; }
    void writeData(const void* data, uint32_t size) override;
    void writeGroupStart(bool hasVersion) override;
    void writeGroupEnd() override;

    const uint8_t* data() const { return buffer_; }
    uint32_t dataSize() const { return dataSize_; }

private:
    static constexpr uint32_t kStackEntrySize = 8;

    // Asserts that size more bytes of data fit below the group stack.
    void assertSizeBeforeFill(uint32_t size) const;

    uint8_t* buffer_;
    uint32_t size_;
    uint32_t dataSize_ = 0;
    uint32_t stackTop_;   // offset of the innermost open group's entry
    uint32_t stackBase_;  // size rounded down to a multiple of 8
};

}  // namespace Sl
