#pragma once

#include <cstdint>

#include "revision_saveload/sl_loader_bin.h"

namespace Sl
{

// Reads a stream from memory; every access is checked against the bounds.
class LoaderBinArray : public LoaderBin
{
public:
    LoaderBinArray(const void* data, uint32_t size);
    ~LoaderBinArray() override;

    void readData(void* data, uint32_t size) override;
    uint32_t readPackedInt(uint8_t* out, uint32_t maxBytes) override;
    void skipData(uint32_t size) override;
    void skipPackedInt(uint32_t maxBytes) override;
    uint64_t maxDataLeft() const override { return dataLeftToRead(); }
    uint64_t position() const override { return pos_; }

    // Bytes not yet consumed.
    uint32_t dataLeftToRead() const { return size_ - pos_; }

private:
    const uint8_t* data_;
    uint32_t size_;
    uint32_t pos_ = 0;
};

}  // namespace Sl
