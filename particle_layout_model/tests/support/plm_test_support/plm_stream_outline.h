#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

// Reads a stream written with type tags and packed group sizes without the library's
// loaders, and spells its shape: "b" bool, "c" byte, "h" packed uint16, "i" packed uint32,
// "j" packed int32, "f" float, "s" binary (a string), "(...)" a group and "(vN ...)" a group of version N.
// What the model writes is then checked against the layout it must have, byte by byte,
// independently of the model's own reader.
class StreamOutline
{
public:
    explicit StreamOutline(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

    // The outline of everything after the header byte; throws on a malformed stream.
    std::string outline()
    {
        pos_ = 1;
        if (bytes_.empty() || bytes_[0] != 0x06)
            throw std::runtime_error("header");
        return values(bytes_.size());
    }

private:
    uint32_t base128()
    {
        uint32_t value = 0;
        for (int shift = 0; shift < 35; shift += 7)
        {
            const uint8_t byte = take();
            value |= static_cast<uint32_t>(byte & 0x7f) << shift;
            if (!(byte & 0x80))
                return value;
        }
        throw std::runtime_error("base128");
    }
    uint8_t take()
    {
        if (pos_ >= bytes_.size())
            throw std::runtime_error("end");
        return bytes_[pos_++];
    }
    void skip(size_t n)
    {
        if (bytes_.size() - pos_ < n)
            throw std::runtime_error("end");
        pos_ += n;
    }
    std::string values(size_t end)
    {
        std::string out;
        while (pos_ < end)
        {
            const uint8_t tag = take();
            switch (tag)
            {
            case 200:
            {
                const uint32_t word = base128();
                const size_t groupEnd = pos_ + (word >> 1);
                if (groupEnd > end)
                    throw std::runtime_error("group size");
                out += "(";
                if (word & 1)
                    out += "v" + std::to_string(base128()) + " ";
                out += values(groupEnd);
                out += ")";
                break;
            }
            case 201:
                skip(1);
                out += "b";
                break;
            case 203:
                skip(1);
                out += "c";
                break;
            case 207:
                base128();
                out += "h";
                break;
            case 209:
                base128();
                out += "j";
                break;
            case 211:
                base128();
                out += "i";
                break;
            case 216:
                skip(4);
                out += "f";
                break;
            case 218:
                skip(base128());
                out += "s";
                break;
            default:
                throw std::runtime_error("tag " + std::to_string(tag));
            }
        }
        if (pos_ != end)
            throw std::runtime_error("overrun");
        return out;
    }

    const std::vector<uint8_t>& bytes_;
    size_t pos_ = 0;
};
