#include "revision_saveload/sl_write_read.h"

#include <cstring>
#include <limits>

#include "debug/debug_check.h"

namespace Sl
{

namespace
{

class StringSink final : public BinarySink
{
public:
    explicit StringSink(std::string& target) : target_(target) {}
    void reserve(uint32_t totalSize) override { target_.reserve(totalSize); }
    void append(const uint8_t* data, uint32_t size) override
    {
        target_.append(reinterpret_cast<const char*>(data), size);
    }

private:
    std::string& target_;
};

void writeBytes(const char* name, Saver& saver, const char* data, size_t size)
{
    DEBUG_ASSERT(size <= std::numeric_limits<uint32_t>::max());
    saver.writeBinary(name, reinterpret_cast<const uint8_t*>(data), static_cast<uint32_t>(size));
}

}  // namespace

void write(const char* name, Saver& saver, const std::string& value)
{
    writeBytes(name, saver, value.data(), value.size());
}

void write(const char* name, Saver& saver, const char* value)
{
    writeBytes(name, saver, value, std::strlen(value));
}

void read(Loader& loader, std::string& value)
{
    value.clear();
    StringSink sink(value);
    loader.readBinary(sink);
}

void Detail::checkItemCount(const Loader& loader, uint32_t count)
{
    if (count > loader.maxDataLeft())
        throw EndOfBufferException();
}

void write(const char* name, Saver& saver, const boost::filesystem::path& value)
{
    write(name, saver, value.string());
}

void read(Loader& loader, boost::filesystem::path& value)
{
    std::string text;
    read(loader, text);
    value = boost::filesystem::path(std::move(text));
}

void write(const char* name, Saver& saver, const boost::uuids::uuid& value)
{
    ScopedSaverGroup group(name, saver);
    for (uint8_t byte : value)
        saver.write(nullptr, byte);
}

void read(Loader& loader, boost::uuids::uuid& value)
{
    ScopedLoaderGroup group(loader);
    for (uint8_t& byte : value)
        loader.read(byte);
}

}  // namespace Sl
