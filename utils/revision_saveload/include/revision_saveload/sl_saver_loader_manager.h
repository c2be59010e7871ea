#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace Sl
{

class Saver;
class Loader;

// Abstract factory of the savers and loaders a revision core stands on.
class SaverLoaderManager
{
public:
    virtual ~SaverLoaderManager() = default;

    virtual std::unique_ptr<Saver> createSaver() = 0;
    // Appends the source's bytes to the target as one binary value.
    virtual void writeSaver(Saver& target, Saver& source) = 0;
    // Moves the saver's bytes into buffer.
    virtual void getSaverDataBuffer(Saver& saver, std::vector<uint8_t>& buffer) = 0;
    virtual std::unique_ptr<Loader> createLoaderFromSaver(Saver& saver) = 0;
    // A loader over the buffer, which must outlive it.
    virtual std::unique_ptr<Loader>
    createLoaderFromDataBuffer(const std::vector<uint8_t>& buffer) = 0;
    // Reads a binary value written by writeSaver into a new saver.
    virtual std::unique_ptr<Saver> readSaver(Loader& loader) = 0;
};

// The binary implementation: SaverBinFlex with native byte order and type
// tags off; loaders are LoaderBinArray.
class SaverLoaderBinManager final : public SaverLoaderManager
{
public:
    std::unique_ptr<Saver> createSaver() override;
    void writeSaver(Saver& target, Saver& source) override;
    void getSaverDataBuffer(Saver& saver, std::vector<uint8_t>& buffer) override;
    std::unique_ptr<Loader> createLoaderFromSaver(Saver& saver) override;
    std::unique_ptr<Loader> createLoaderFromDataBuffer(const std::vector<uint8_t>& buffer) override;
    std::unique_ptr<Saver> readSaver(Loader& loader) override;
};

}  // namespace Sl
