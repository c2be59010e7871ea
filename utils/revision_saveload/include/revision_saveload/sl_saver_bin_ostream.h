#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "revision_saveload/sl_saver_bin.h"

namespace Sl
{

// Writes to a seekable output stream, with 4-byte group size words: a group
// reserves them, and its end seeks back, writes them and seeks forward again.
class SaverBinOStream final : public SaverBin
{
public:
    explicit SaverBinOStream(std::ostream& out, EnumByteOrder byteOrder = BO_Native,
                             EnumTypeChecking typeChecking = TC_Off);
    ~SaverBinOStream() override;

    bool implementsPackedGroups() const override { return false; }
    void writeData(const void* data, uint32_t size) override;
    void writeGroupStart(bool hasVersion) override;
    void writeGroupEnd() override;

private:
    struct OpenGroup
    {
        int64_t wordPosition;
        bool hasVersion;
    };

    std::ostream& out_;
    std::vector<OpenGroup> groups_;
};

}  // namespace Sl
