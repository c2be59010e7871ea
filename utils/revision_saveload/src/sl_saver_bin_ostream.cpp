#include "revision_saveload/sl_saver_bin_ostream.h"

#include <ostream>

#include "debug/debug_check.h"

namespace Sl
{

SaverBinOStream::SaverBinOStream(std::ostream& out, EnumByteOrder byteOrder,
                                 EnumTypeChecking typeChecking)
    : out_(out)
{
    init(byteOrder, typeChecking);
}

SaverBinOStream::~SaverBinOStream() = default;

void SaverBinOStream::writeData(const void* data, uint32_t size)
{
    out_.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void SaverBinOStream::writeGroupStart(bool hasVersion)
{
    const std::streamoff position = out_.tellp();
    DEBUG_EXPECT(position >= 0);
    groups_.push_back(OpenGroup{static_cast<int64_t>(position), hasVersion});
    const char zeros[4] = {0, 0, 0, 0};
    out_.write(zeros, 4);
}

void SaverBinOStream::writeGroupEnd()
{
    DEBUG_ASSERT(!groups_.empty());
    const OpenGroup group = groups_.back();
    groups_.pop_back();
    const std::streamoff end = out_.tellp();
    if (group.wordPosition < 0 || end < 0)
        return;  // the stream has failed; its state tells the caller
    const int64_t contentBytes = static_cast<int64_t>(end) - (group.wordPosition + 4);
    DEBUG_ASSERT(contentBytes >= 0 && contentBytes <= int64_t(0xFFFFFFFFu >> 1));
    uint8_t word[4];
    encodeFixedU32((static_cast<uint32_t>(contentBytes) << 1) | (group.hasVersion ? 1u : 0u), word);
    out_.seekp(group.wordPosition);
    out_.write(reinterpret_cast<const char*>(word), 4);
    out_.seekp(end);
}

}  // namespace Sl
