#include "revision_saveload/sl_saver_bin_flex.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <ostream>

#include "debug/debug_check.h"
#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

namespace
{

// What a group's reserve holds until its size word is written.
const uint8_t kReserveZeros[SaverBinFlex::kReserveSize] = {0, 0, 0, 0, 0};

}  // namespace

SaverBinFlex::SaverBinFlex(EnumByteOrder byteOrder, EnumTypeChecking typeChecking)
{
    init(byteOrder, typeChecking);
}

SaverBinFlex::~SaverBinFlex() = default;

void SaverBinFlex::appendBlock()
{
    const uint32_t size =
        blocks_.empty()
            ? kFirstBlockSize
            : static_cast<uint32_t>((blocks_.back().end - blocks_.back().begin) * 3 / 2);
    Block block;
    block.storage.reset(new uint8_t[size]);
    block.begin = block.storage.get();
    block.end = block.begin + size;
    blocks_.push_back(std::move(block));
    curBlock_ = static_cast<uint32_t>(blocks_.size() - 1);
    writePos_ = blocks_.back().begin;
    blockEnd_ = blocks_.back().end;
}

void SaverBinFlex::writeData(const void* data, uint32_t size)
{
    DEBUG_ASSERT(uint64_t(compactSize_) + size <= std::numeric_limits<uint32_t>::max());
    if (size <= static_cast<size_t>(blockEnd_ - writePos_))
    {
        // The common case: a small value that fits in the current block.
        if (size != 0)
            std::memcpy(writePos_, data, size);
        writePos_ += size;
    }
    else
    {
        writeSlow(static_cast<const uint8_t*>(data), size);
    }
    rawSize_ += size;
    compactSize_ += size;
}

void SaverBinFlex::writeSlow(const uint8_t* src, uint32_t size)
{
    while (size != 0)
    {
        if (writePos_ == blockEnd_)
            appendBlock();
        const uint32_t n = std::min(static_cast<uint32_t>(blockEnd_ - writePos_), size);
        std::memcpy(writePos_, src, n);
        writePos_ += n;
        src += n;
        size -= n;
    }
}

void SaverBinFlex::writeGroupStart(bool hasVersion)
{
    if (writePos_ == blockEnd_)
        appendBlock();
    OpenGroup group;
    group.block = curBlock_;
    group.offset = static_cast<uint32_t>(writePos_ - blocks_[curBlock_].begin);
    group.compactStart = compactSize_;
    group.reserveIndex = static_cast<uint32_t>(reserves_.size());
    group.hasVersion = hasVersion;
    groups_.push_back(group);
    reserves_.push_back(Reserve{rawSize_, false});
    // The reserve goes to the raw data only: the compact size counts the word
    // when it is known.
    if (kReserveSize <= static_cast<size_t>(blockEnd_ - writePos_))
    {
        std::memcpy(writePos_, kReserveZeros, kReserveSize);
        writePos_ += kReserveSize;
    }
    else
    {
        writeSlow(kReserveZeros, kReserveSize);
    }
    rawSize_ += kReserveSize;
}

void SaverBinFlex::writeGroupEnd()
{
    DEBUG_ASSERT(!groups_.empty());
    const OpenGroup group = groups_.back();
    groups_.pop_back();

    const uint32_t contentBytes = compactSize_ - group.compactStart;
    DEBUG_ASSERT(contentBytes <= (std::numeric_limits<uint32_t>::max() >> 1));
    const uint32_t word = (contentBytes << 1) | (group.hasVersion ? 1u : 0u);
    uint8_t bytes[kMaxBase128Bytes32];
    const uint32_t n = encodeU32Base128(word, bytes);

    uint32_t block = group.block;
    uint32_t offset = group.offset;
    for (uint32_t i = 0; i < n; ++i)
    {
        if (blocks_[block].begin + offset == blocks_[block].end)
        {
            ++block;
            offset = 0;
        }
        blocks_[block].begin[offset++] = bytes[i];
    }
    reserves_[group.reserveIndex].closed = true;
    compactSize_ += n;
}

template <class Sink>
void SaverBinFlex::copyOut(Sink&& sink) const
{
    uint64_t raw = 0;          // raw position of p
    size_t nextReserve = 0;    // index in reserves_
    uint32_t reserveLeft = 0;  // bytes of the current reserve still to pass
    bool wordDone = true;      // the current reserve's word has been copied
    uint32_t highBytes = 0;    // bytes with the high bit in the current word
    uint64_t copied = 0;

    for (uint32_t b = 0; b < blocks_.size(); ++b)
    {
        const uint8_t* p = blocks_[b].begin;
        const uint8_t* blockEnd = b == curBlock_ ? writePos_ : blocks_[b].end;
        while (p < blockEnd)
        {
            if (reserveLeft == 0)
            {
                const uint64_t reserveAt = nextReserve < reserves_.size()
                                               ? reserves_[nextReserve].rawPosition
                                               : std::numeric_limits<uint64_t>::max();
                if (raw == reserveAt && reserves_[nextReserve].closed &&
                    static_cast<size_t>(blockEnd - p) >= kReserveSize)
                {
                    // The whole reserve lies in this block: copy its word at once.
                    uint32_t n = 0;
                    while (p[n] & 0x80)
                    {
                        if (++n >= kReserveSize)
                            throw CorruptedDataException();
                    }
                    ++n;
                    sink(p, n);
                    copied += n;
                    p += kReserveSize;
                    raw += kReserveSize;
                    ++nextReserve;
                    continue;
                }
                if (raw == reserveAt)
                {
                    reserveLeft = kReserveSize;
                    // The word of a group still open isn't known: it is left out.
                    wordDone = !reserves_[nextReserve].closed;
                    highBytes = 0;
                    ++nextReserve;
                    continue;
                }
                const uint64_t n = std::min<uint64_t>(blockEnd - p, reserveAt - raw);
                sink(p, static_cast<size_t>(n));
                copied += n;
                p += n;
                raw += n;
            }
            else
            {
                if (!wordDone)
                {
                    sink(p, 1);
                    ++copied;
                    if (*p & 0x80)
                    {
                        if (++highBytes >= kReserveSize)
                            throw CorruptedDataException();
                    }
                    else
                    {
                        wordDone = true;
                    }
                }
                ++p;
                ++raw;
                --reserveLeft;
            }
        }
        if (b == curBlock_)
            break;
    }
    if (reserveLeft != 0 || nextReserve != reserves_.size())
        throw EndOfBufferException();
    DEBUG_ASSERT(copied == compactSize_);
}

void SaverBinFlex::copyToArray(uint8_t* out) const
{
    copyOut(
        [&out](const uint8_t* data, size_t size)
        {
            std::memcpy(out, data, size);
            out += size;
        });
}

void SaverBinFlex::copyToStream(std::ostream& out) const
{
    copyOut(
        [&out](const uint8_t* data, size_t size)
        { out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size)); });
}

std::vector<uint8_t> SaverBinFlex::dataAsVector() const
{
    std::vector<uint8_t> result;
    result.reserve(compactSize_);
    copyOut([&result](const uint8_t* data, size_t size)
            { result.insert(result.end(), data, data + size); });
    return result;
}

}  // namespace Sl
