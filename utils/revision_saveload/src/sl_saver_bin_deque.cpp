#include "revision_saveload/sl_saver_bin_deque.h"

#include <limits>

#include "debug/debug_check.h"
#include "revision_saveload/sl_base128.h"

namespace Sl
{

SaverBinDeque::SaverBinDeque(std::deque<uint8_t>& target, EnumByteOrder byteOrder,
                             EnumTypeChecking typeChecking)
    : target_(target)
{
    init(byteOrder, typeChecking);
}

SaverBinDeque::~SaverBinDeque() = default;

void SaverBinDeque::writeData(const void* data, uint32_t size)
{
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    target_.insert(target_.end(), bytes, bytes + size);
}

void SaverBinDeque::writeGroupStart(bool hasVersion)
{
    groups_.push_back(OpenGroup{target_.size(), hasVersion});
}

void SaverBinDeque::writeGroupEnd()
{
    DEBUG_ASSERT(!groups_.empty());
    const OpenGroup group = groups_.back();
    groups_.pop_back();
    const size_t contentBytes = target_.size() - group.offset;
    DEBUG_ASSERT(contentBytes <= (std::numeric_limits<uint32_t>::max() >> 1));
    const uint32_t word = (static_cast<uint32_t>(contentBytes) << 1) | (group.hasVersion ? 1u : 0u);
    uint8_t bytes[kMaxBase128Bytes32];
    const uint32_t n = encodeU32Base128(word, bytes);
    target_.insert(target_.begin() + static_cast<std::ptrdiff_t>(group.offset), bytes, bytes + n);
}

}  // namespace Sl
