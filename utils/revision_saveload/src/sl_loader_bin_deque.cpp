#include "revision_saveload/sl_loader_bin_deque.h"

#include <algorithm>

#include "debug/debug_check.h"
#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

LoaderBinDeque::LoaderBinDeque(const std::deque<uint8_t>& source)
    : pos_(source.begin()), size_(source.size()), remaining_(source.size())
{
    init();
}

LoaderBinDeque::~LoaderBinDeque() = default;

void LoaderBinDeque::readData(void* data, uint32_t size)
{
    if (size > remaining_)
        throw EndOfBufferException();
    // The deque's iterator holds the node's bounds; copy_n moves a node's run
    // at a time.
    std::copy_n(pos_, size, static_cast<uint8_t*>(data));
    pos_ += size;
    remaining_ -= size;
}

uint32_t LoaderBinDeque::readPackedInt(uint8_t* out, uint32_t maxBytes)
{
    for (uint32_t i = 0; i < maxBytes; ++i)
    {
        if (remaining_ == 0)
            throw EndOfBufferException();
        const uint8_t byte = *pos_;
        ++pos_;
        --remaining_;
        out[i] = byte;
        if (!(byte & 0x80))
            return i + 1;
    }
    throw CorruptedDataException();
}

void LoaderBinDeque::skipData(uint32_t size)
{
    if (size > remaining_)
        throw EndOfBufferException();
    pos_ += size;
    remaining_ -= size;
}

void LoaderBinDeque::skipPackedInt(uint32_t maxBytes)
{
    DEBUG_ASSERT(maxBytes <= kMaxBase128Bytes64);
    uint8_t bytes[kMaxBase128Bytes64];
    readPackedInt(bytes, maxBytes);
}

}  // namespace Sl
