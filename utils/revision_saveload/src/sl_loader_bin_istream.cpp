#include "revision_saveload/sl_loader_bin_istream.h"

#include <istream>

#include "debug/debug_check.h"
#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

LoaderBinIStream::LoaderBinIStream(std::istream& in) : in_(in)
{
    try
    {
        const std::istream::pos_type start = in_.tellg();
        if (start != std::istream::pos_type(-1))
        {
            in_.seekg(0, std::ios::end);
            const std::istream::pos_type end = in_.tellg();
            in_.seekg(start);
            if (in_ && end != std::istream::pos_type(-1) && end >= start)
            {
                seekable_ = true;
                end_ = static_cast<uint64_t>(end - start);
            }
            else
            {
                in_.clear();
                in_.seekg(start);
            }
        }
    }
    catch (const std::ios_base::failure&)
    {
        throw EndOfBufferException();
    }
    init();
}

LoaderBinIStream::~LoaderBinIStream() = default;

uint64_t LoaderBinIStream::maxDataLeft() const
{
    return seekable_ ? end_ - position_ : kUnknownDataLeft;
}

void LoaderBinIStream::readData(void* data, uint32_t size)
{
    if (size == 0)
        return;
    if (seekable_ && size > end_ - position_)
        throw EndOfBufferException();
    try
    {
        in_.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    }
    catch (const std::ios_base::failure&)
    {
        throw EndOfBufferException();
    }
    if (in_.gcount() != static_cast<std::streamsize>(size))
        throw EndOfBufferException();
    position_ += size;
}

uint32_t LoaderBinIStream::readPackedInt(uint8_t* out, uint32_t maxBytes)
{
    for (uint32_t i = 0; i < maxBytes; ++i)
    {
        std::istream::int_type c;
        try
        {
            c = in_.get();
        }
        catch (const std::ios_base::failure&)
        {
            throw EndOfBufferException();
        }
        if (c == std::istream::traits_type::eof())
            throw EndOfBufferException();
        ++position_;
        const uint8_t byte = static_cast<uint8_t>(c);
        out[i] = byte;
        if (!(byte & 0x80))
            return i + 1;
    }
    throw CorruptedDataException();
}

void LoaderBinIStream::skipData(uint32_t size)
{
    if (size == 0)
        return;
    try
    {
        if (seekable_)
        {
            if (size > end_ - position_)
                throw EndOfBufferException();
            in_.seekg(static_cast<std::streamoff>(size), std::ios::cur);
            if (!in_)
                throw EndOfBufferException();
        }
        else
        {
            in_.ignore(static_cast<std::streamsize>(size));
            if (in_.gcount() != static_cast<std::streamsize>(size))
                throw EndOfBufferException();
        }
    }
    catch (const std::ios_base::failure&)
    {
        throw EndOfBufferException();
    }
    position_ += size;
}

void LoaderBinIStream::skipPackedInt(uint32_t maxBytes)
{
    DEBUG_ASSERT(maxBytes <= kMaxBase128Bytes64);
    uint8_t bytes[kMaxBase128Bytes64];
    readPackedInt(bytes, maxBytes);
}

}  // namespace Sl
