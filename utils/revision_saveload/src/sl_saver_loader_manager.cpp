#include "revision_saveload/sl_saver_loader_manager.h"

#include "debug/debug_check.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace Sl
{

namespace
{

SaverBinFlex& flexOf(Saver& saver)
{
    SaverBinFlex* flex = dynamic_cast<SaverBinFlex*>(&saver);
    DEBUG_ASSERT(flex != nullptr);
    return *flex;
}

// A LoaderBinArray over bytes of its own.
struct OwnedBytes
{
    std::vector<uint8_t> bytes;
};

class OwningLoaderBinArray final : private OwnedBytes, public LoaderBinArray
{
public:
    explicit OwningLoaderBinArray(std::vector<uint8_t> data)
        : OwnedBytes{std::move(data)},
          LoaderBinArray(bytes.data(), static_cast<uint32_t>(bytes.size()))
    {
    }
};

}  // namespace

std::unique_ptr<Saver> SaverLoaderBinManager::createSaver()
{
    return std::make_unique<SaverBinFlex>(BO_Native, TC_Off);
}

void SaverLoaderBinManager::writeSaver(Saver& target, Saver& source)
{
    const std::vector<uint8_t> bytes = flexOf(source).dataAsVector();
    target.writeBinary("", bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void SaverLoaderBinManager::getSaverDataBuffer(Saver& saver, std::vector<uint8_t>& buffer)
{
    buffer = flexOf(saver).dataAsVector();
}

std::unique_ptr<Loader> SaverLoaderBinManager::createLoaderFromSaver(Saver& saver)
{
    return std::make_unique<OwningLoaderBinArray>(flexOf(saver).dataAsVector());
}

std::unique_ptr<Loader>
SaverLoaderBinManager::createLoaderFromDataBuffer(const std::vector<uint8_t>& buffer)
{
    return std::make_unique<LoaderBinArray>(buffer.data(), static_cast<uint32_t>(buffer.size()));
}

std::unique_ptr<Saver> SaverLoaderBinManager::readSaver(Loader& loader)
{
    // The binary value is a whole stream: its header byte says how the saver
    // that wrote it was made; the new saver writes its own and takes the rest.
    std::vector<uint8_t> bytes;
    struct Sink final : BinarySink
    {
        std::vector<uint8_t>& out;
        explicit Sink(std::vector<uint8_t>& o) : out(o) {}
        void reserve(uint32_t total) override { out.reserve(total); }
        void append(const uint8_t* data, uint32_t size) override
        {
            out.insert(out.end(), data, data + size);
        }
    } sink(bytes);
    loader.readBinary(sink);
    if (bytes.empty())
        throw EndOfBufferException();
    const uint8_t header = bytes[0];
    if ((header & ~(SaverBin::kHeaderBigEndian | SaverBin::kHeaderTypeTags)) !=
        SaverBin::kHeaderPackedGroups)
        throw CorruptedDataException();
    auto saver = std::make_unique<SaverBinFlex>(
        (header & SaverBin::kHeaderBigEndian) ? BO_BigEndian : BO_LittleEndian,
        (header & SaverBin::kHeaderTypeTags) ? TC_On : TC_Off);
    if (bytes.size() > 1)
        saver->writeData(bytes.data() + 1, static_cast<uint32_t>(bytes.size() - 1));
    return saver;
}

}  // namespace Sl
