// Fuzzes the loading of an emitter with its blocks and its guide part, in the in-line form of
// saveEmitterPlain. Only Sl::Exception may come out of the loading. An emitter that loads must
// save, read back to the same emitter record and the same bytes (guide included), and lose
// every block and link when its blocks are removed one by one, its guide reading back the graph
// after each removal.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

std::vector<uint8_t> record(const Plm::Emitter& emitter)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        emitter.saveWithoutBlocks(saver);
    }
    return flex.dataAsVector();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Plm::System system;
    std::unique_ptr<Plm::Emitter> emitter;
    try
    {
        emitter = Plm::loadEmitterPlain(data, size, system);
    }
    catch (const Sl::Exception&)
    {
        return 0;
    }

    const std::vector<uint8_t> saved = Plm::saveEmitterPlain(*emitter);
    std::unique_ptr<Plm::Emitter> again = Plm::loadEmitterPlain(saved.data(), saved.size(), system);
    if (record(*again) != record(*emitter))
        std::abort();
    // The guide reads back what it wrote: a second round gives the same bytes.
    if (Plm::saveEmitterPlain(*again) != saved)
        std::abort();

    while (emitter->allBlocks().size() > 0)
        emitter->removeBlock(emitter->allBlocks().getId(0));
    if (emitter->getNumLinks() != 0 || !emitter->getReflBlocks().empty())
        std::abort();
    for (unsigned int l = 0; l < Plm::Emitter::BL_Count; ++l)
        if (!emitter->blockList(static_cast<Plm::Emitter::EnumBlockList>(l)).empty())
            std::abort();
    return 0;
}
