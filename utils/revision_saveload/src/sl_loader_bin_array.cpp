#include "revision_saveload/sl_loader_bin_array.h"

#include <cstring>

#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

LoaderBinArray::LoaderBinArray(const void* data, uint32_t size)
    : data_(static_cast<const uint8_t*>(data)), size_(data ? size : 0)
{
    init();
}

LoaderBinArray::~LoaderBinArray() = default;

void LoaderBinArray::readData(void* data, uint32_t size)
{
    if (size > size_ - pos_)
        throw EndOfBufferException();
    if (size != 0)
        std::memcpy(data, data_ + pos_, size);
    pos_ += size;
}

uint32_t LoaderBinArray::readPackedInt(uint8_t* out, uint32_t maxBytes)
{
    for (uint32_t i = 0; i < maxBytes; ++i)
    {
        if (pos_ == size_)
            throw EndOfBufferException();
        const uint8_t byte = data_[pos_++];
        out[i] = byte;
        if (!(byte & 0x80))
            return i + 1;
    }
    throw CorruptedDataException();
}

void LoaderBinArray::skipData(uint32_t size)
{
    if (size > size_ - pos_)
        throw EndOfBufferException();
    pos_ += size;
}

void LoaderBinArray::skipPackedInt(uint32_t maxBytes)
{
    for (uint32_t i = 0; i < maxBytes; ++i)
    {
        if (pos_ == size_)
            throw EndOfBufferException();
        if (!(data_[pos_++] & 0x80))
            return;
    }
    throw CorruptedDataException();
}

}  // namespace Sl
