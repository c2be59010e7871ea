#include "revision_saveload/sl_saver_bin_array.h"

#include <cstring>

#include "debug/debug_check.h"

namespace Sl
{

SaverBinArray::SaverBinArray(void* buffer, uint32_t size, EnumByteOrder byteOrder,
                             EnumTypeChecking typeChecking)
    : buffer_(static_cast<uint8_t*>(buffer)),
      size_(size),
      stackTop_(size / kStackEntrySize * kStackEntrySize),
      stackBase_(size / kStackEntrySize * kStackEntrySize)
{
    DEBUG_ASSERT(buffer_ != nullptr || size_ == 0);
    init(byteOrder, typeChecking);
}

SaverBinArray::~SaverBinArray() = default;

void SaverBinArray::assertSizeBeforeFill(uint32_t size) const
{
    DEBUG_ASSERT(size <= stackTop_ && dataSize_ <= stackTop_ - size);
}

void SaverBinArray::writeData(const void* data, uint32_t size)
{
    assertSizeBeforeFill(size);
    if (size != 0)
        std::memcpy(buffer_ + dataSize_, data, size);
    dataSize_ += size;
}

void SaverBinArray::writeGroupStart(bool hasVersion)
{
    // The group's entry goes below the stack top, the 4-byte word after the data.
    assertSizeBeforeFill(4 + kStackEntrySize);
    stackTop_ -= kStackEntrySize;
    const uint32_t flag = hasVersion ? 1 : 0;
    const uint32_t wordOffset = dataSize_;
    std::memcpy(buffer_ + stackTop_, &flag, 4);
    std::memcpy(buffer_ + stackTop_ + 4, &wordOffset, 4);
    const uint8_t zeros[4] = {0, 0, 0, 0};
    writeData(zeros, 4);
}

void SaverBinArray::writeGroupEnd()
{
    DEBUG_ASSERT(stackTop_ < stackBase_);
    uint32_t flag = 0;
    uint32_t wordOffset = 0;
    std::memcpy(&flag, buffer_ + stackTop_, 4);
    std::memcpy(&wordOffset, buffer_ + stackTop_ + 4, 4);
    stackTop_ += kStackEntrySize;
    const uint32_t contentBytes = dataSize_ - (wordOffset + 4);
    DEBUG_ASSERT(contentBytes <= (0xFFFFFFFFu >> 1));
    encodeFixedU32((contentBytes << 1) | flag, buffer_ + wordOffset);
}

}  // namespace Sl
