#pragma once

#include <cstdint>
#include <iosfwd>

#include "revision_saveload/sl_loader_bin.h"

namespace Sl
{

// Reads a stream from an input stream, from its current position. A short
// read or a failed seek is the end of the data. If the stream can seek, its
// end is found once, so that skips and counts are checked against it;
// otherwise skips read through the data.
class LoaderBinIStream final : public LoaderBin
{
public:
    explicit LoaderBinIStream(std::istream& in);
    ~LoaderBinIStream() override;

    void readData(void* data, uint32_t size) override;
    uint32_t readPackedInt(uint8_t* out, uint32_t maxBytes) override;
    void skipData(uint32_t size) override;
    void skipPackedInt(uint32_t maxBytes) override;
    uint64_t maxDataLeft() const override;
    // Counted from where the stream stood when the loader was made.
    uint64_t position() const override { return position_; }

private:
    std::istream& in_;
    bool seekable_ = false;
    uint64_t position_ = 0;  // bytes consumed since construction
    uint64_t end_ = 0;       // bytes available at construction, when seekable
};

}  // namespace Sl
