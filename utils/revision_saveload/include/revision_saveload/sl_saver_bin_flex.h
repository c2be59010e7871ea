#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include "revision_saveload/sl_saver_bin.h"

namespace Sl
{

// The writer the system uses everywhere. Data goes into a chain of blocks
// that grow geometrically (16 bytes, then one and a half times the previous
// block), so nothing is ever moved. A group reserves 5 zero bytes for its
// base-128 size word and fills them when it ends; the unused part of each
// reserve is left out once, when the data is copied out, so the output has
// exactly dataSize() bytes.
class SaverBinFlex final : public SaverBin
{
public:
    static constexpr uint32_t kFirstBlockSize = 16;
    static constexpr uint32_t kReserveSize = 5;

    explicit SaverBinFlex(EnumByteOrder byteOrder = BO_Native,
                          EnumTypeChecking typeChecking = TC_Off);
    ~SaverBinFlex() override;
    SaverBinFlex(const SaverBinFlex&) = delete;
    SaverBinFlex& operator=(const SaverBinFlex&) = delete;

    bool implementsPackedGroups() const override { return true; }
    void writeData(const void* data, uint32_t size) override;
    void writeGroupStart(bool hasVersion) override;
    void writeGroupEnd() override;

    // Size of the compact output: the bytes copyToArray() writes.
    uint32_t dataSize() const { return compactSize_; }
    // Bytes held in the blocks, unused reserve bytes included.
    uint64_t rawSize() const { return rawSize_; }
    uint32_t numBlocks() const { return static_cast<uint32_t>(blocks_.size()); }
    uint32_t numOpenGroups() const { return static_cast<uint32_t>(groups_.size()); }

    // Copy out the compact data. The size words of groups still open are left
    // out (their content is copied), so a saver given up half-way still yields
    // dataSize() bytes.
    void copyToArray(uint8_t* out) const;
    void copyToStream(std::ostream& out) const;
    std::vector<uint8_t> dataAsVector() const;

private:
    struct Block
    {
        std::unique_ptr<uint8_t[]> storage;
        uint8_t* begin = nullptr;
        uint8_t* end = nullptr;
    };
    struct OpenGroup
    {
        uint32_t block;  // block and offset of the group's reserve
        uint32_t offset;
        uint32_t compactStart;  // compact size when the group started
        uint32_t reserveIndex;  // index in reserves_
        bool hasVersion;
    };
    struct Reserve
    {
        uint64_t rawPosition;  // of the first of its 5 bytes
        bool closed;           // the size word has been written
    };

    void appendBlock();
    void writeSlow(const uint8_t* data, uint32_t size);
    template <class Sink>
    void copyOut(Sink&& sink) const;

    std::vector<Block> blocks_;
    uint32_t curBlock_ = 0;
    uint8_t* writePos_ = nullptr;
    uint8_t* blockEnd_ = nullptr;  // end of the current block
    uint64_t rawSize_ = 0;
    uint32_t compactSize_ = 0;
    std::vector<OpenGroup> groups_;
    std::vector<Reserve> reserves_;
};

}  // namespace Sl
