// Fuzzes the pasting of emitters from the clipboard form: the data may be anything a user
// copied. Only Sl::Exception may come out, and then the effect pasted into is left as it was;
// pasted emitters must copy and paste again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

void paste(Plm::System& system, const uint8_t* data, size_t size)
{
    if (size > std::numeric_limits<uint32_t>::max())
        throw Sl::EndOfBufferException();
    Sl::LoaderBinArray array(data, static_cast<uint32_t>(size));
    Sl::RevisionLoader loader(nullptr, array);
    system.pasteEmittersFromLoader(loader);
}

std::vector<uint8_t> copy(Plm::System& system)
{
    Sl::SaverBinFlex flex(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        system.copyEmittersToSaver(saver, system.emitters().ids());
    }
    return flex.dataAsVector();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<Plm::System> system = Plm::Generation::simpleSystem();
    const std::vector<boost::uuids::uuid> before = system->emitters().ids();
    const boost::uuids::uuid revision = system->getRevision();
    try
    {
        paste(*system, data, size);
    }
    catch (const Sl::Exception&)
    {
        if (system->emitters().ids() != before || system->getRevision() != revision)
            std::abort();
        return 0;
    }
    const std::vector<uint8_t> copied = copy(*system);
    std::unique_ptr<Plm::System> other = Plm::Generation::simpleSystem();
    paste(*other, copied.data(), copied.size());
    if (other->getNumEmitters() != system->getNumEmitters() + 1)
        std::abort();
    return 0;
}
