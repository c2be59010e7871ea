#include "particle_layout_model/plm_emitter_stream.h"

#include <limits>

#include "particle_layout_model/plm_emitter.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace Plm
{

void saveEmitterInline(Sl::RevisionSaver& saver, const Emitter& emitter)
{
    emitter.saveWithoutBlocks(saver);
    const auto& blocks = emitter.allBlocks();
    saver.write("num_blocks", blocks.size(), Sl::PH_Packed);
    for (const Block& block : blocks)
        emitter.saveBlock(saver, block);
    emitter.saveEmitterGuide(saver);
}

std::unique_ptr<Emitter> loadEmitterInline(Sl::RevisionLoader& loader, EmitterOwner& owner)
{
    std::unique_ptr<Emitter> emitter = Emitter::createForLoad();
    emitter->connectWithOwner(owner);
    emitter->loadWithoutBlocks(loader);
    uint32_t numBlocks = 0;
    loader.read(numBlocks, Sl::PH_Packed);
    // Every block takes bytes: a count beyond what is left is a damaged stream.
    if (numBlocks > loader.maxDataLeft())
        throw Sl::CorruptedDataException();
    for (uint32_t i = 0; i < numBlocks; ++i)
        emitter->loadBlock(loader);
    emitter->checkLoadedBlocks();
    emitter->loadEmitterGuide(loader);
    emitter->postLoad();
    return emitter;
}

std::vector<uint8_t> saveEmitterPlain(const Emitter& emitter, Sl::EnumTypeChecking typeChecking)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, typeChecking);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        saveEmitterInline(saver, emitter);
    }
    return flex.dataAsVector();
}

std::unique_ptr<Emitter> loadEmitterPlain(const uint8_t* data, size_t size, EmitterOwner& owner)
{
    if (size > std::numeric_limits<uint32_t>::max())
        throw Sl::EndOfBufferException();
    Sl::LoaderBinArray array(data, static_cast<uint32_t>(size));
    Sl::RevisionLoader loader(nullptr, array);
    return loadEmitterInline(loader, owner);
}

}  // namespace Plm
