// Fuzzes what the editor reads from disk for an effect: the effect file, through the same
// handler and stream as the editor (the input is written to a file first), and the auto-save
// state put on top of a loaded effect. The first byte chooses: even, an effect file; odd, an
// auto-save state (the rest of the input). Only the load errors may come out: a file is
// refused with RLE_Corrupted or RLE_OldEditor, an auto-save with an Sl::Exception. An effect
// that loads saves, and what it saves loads again; a refused file is never written to.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>

#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"

namespace
{

using Handler = std::shared_ptr<Plm::ProjectResourceHandler>;

const boost::filesystem::path& folder()
{
    static const boost::filesystem::path path = []
    {
        const boost::filesystem::path p = boost::filesystem::temp_directory_path() /
                                          ("fuzz_effect_file_" + std::to_string(getpid()));
        boost::filesystem::create_directories(p);
        return p;
    }();
    return path;
}

void writeFile(const boost::filesystem::path& file, const uint8_t* data, size_t size)
{
    std::ofstream out(file.string(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

std::vector<uint8_t> readFile(const boost::filesystem::path& file)
{
    std::ifstream in(file.string(), std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void fuzzEffectFile(const uint8_t* data, size_t size)
{
    const boost::filesystem::path file = folder() / "effect.sxed";
    writeFile(file, data, size);
    Handler handler;
    try
    {
        handler = Plm::ProjectResourceHandler::openStandalone(file);
    }
    catch (const Sl::Exception&)
    {
        return;
    }
    if (!handler->load())
    {
        if (!handler->loadError() || readFile(file) != std::vector<uint8_t>(data, data + size))
            abort();
        return;
    }
    const std::vector<uint8_t> saved = handler->saveLoadedResourceToBuffer();
    writeFile(file, saved.data(), saved.size());
    Handler again = Plm::ProjectResourceHandler::openStandalone(file);
    if (!again->load() || again->getId() != handler->getId())
        abort();
}

void fuzzAutoSave(const uint8_t* data, size_t size)
{
    const boost::filesystem::path file = folder() / "base.sxed";
    boost::filesystem::remove(file);
    Handler handler = Plm::ProjectResourceHandler::createNewStandalone(
        file, std::make_unique<Plm::ProjectResourceSystem>(Plm::Generation::simpleSystem()));
    try
    {
        handler->getLoadedResource().setUndoData(std::vector<uint8_t>(data, data + size));
    }
    catch (const Sl::Exception&)
    {
        return;
    }
    // A state taken on top saves as an effect file that loads.
    if (!handler->doesLoadedResourceNeedSave() || !handler->saveUnsavedLoadedResource())
        abort();
    Handler again = Plm::ProjectResourceHandler::openStandalone(file);
    if (!again->load())
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        fuzzEffectFile(data + 1, size - 1);
    else
        fuzzAutoSave(data + 1, size - 1);
    return 0;
}
