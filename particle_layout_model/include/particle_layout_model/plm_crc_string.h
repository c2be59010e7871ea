#pragma once

#include <cstdint>
#include <string>

namespace Sl
{
class Saver;
class Loader;
}  // namespace Sl

// A string with its CRC-32 (boost::crc_32_type over the bytes, no terminator): the key of
// block factory names. Comparison, equality and order use the CRC alone.
class CrcString
{
public:
    CrcString() : crc_(computeCrc(std::string())) {}
    explicit CrcString(std::string text) : text_(std::move(text)), crc_(computeCrc(text_)) {}

    const std::string& str() const { return text_; }
    uint32_t crc() const { return crc_; }

    bool operator==(const CrcString& other) const { return crc_ == other.crc_; }
    bool operator!=(const CrcString& other) const { return crc_ != other.crc_; }
    bool operator<(const CrcString& other) const { return crc_ < other.crc_; }

    static uint32_t computeCrc(const std::string& text);

private:
    std::string text_;
    uint32_t crc_;
};

namespace Sl
{
// In a stream a CrcString is its string; the reader computes the CRC again.
void write(const char* name, Saver& saver, const CrcString& value);
void read(Loader& loader, CrcString& value);
}  // namespace Sl
