#pragma once

#include <cstdint>
#include <deque>

#include "revision_saveload/sl_loader_bin.h"

namespace Sl
{

// Reads a stream from a deque, which must outlive the loader and stay
// unchanged meanwhile. It walks the deque's nodes one contiguous run at a time.
class LoaderBinDeque final : public LoaderBin
{
public:
    explicit LoaderBinDeque(const std::deque<uint8_t>& source);
    ~LoaderBinDeque() override;

    void readData(void* data, uint32_t size) override;
    uint32_t readPackedInt(uint8_t* out, uint32_t maxBytes) override;
    void skipData(uint32_t size) override;
    void skipPackedInt(uint32_t maxBytes) override;
    uint64_t maxDataLeft() const override { return remaining_; }
    uint64_t position() const override { return size_ - remaining_; }

    uint64_t dataLeftToRead() const { return remaining_; }

private:
    std::deque<uint8_t>::const_iterator pos_;
    uint64_t size_;
    uint64_t remaining_;
};

}  // namespace Sl
