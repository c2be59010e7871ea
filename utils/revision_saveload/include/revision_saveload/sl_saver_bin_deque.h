#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "revision_saveload/sl_saver_bin.h"

namespace Sl
{

// Appends the stream to a caller's deque. A group remembers where its content
// starts and inserts its base-128 size word there when it ends.
class SaverBinDeque final : public SaverBin
{
public:
    explicit SaverBinDeque(std::deque<uint8_t>& target, EnumByteOrder byteOrder = BO_Native,
                           EnumTypeChecking typeChecking = TC_Off);
    ~SaverBinDeque() override;

    bool implementsPackedGroups() const override { return true; }
    void writeData(const void* data, uint32_t size) override;
    void writeGroupStart(bool hasVersion) override;
    void writeGroupEnd() override;

    const std::deque<uint8_t>& data() const { return target_; }

private:
    struct OpenGroup
    {
        std::size_t offset;  // where the content starts and the size word goes
        bool hasVersion;
    };

    std::deque<uint8_t>& target_;
    std::vector<OpenGroup> groups_;
};

}  // namespace Sl
