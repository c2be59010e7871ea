// Fuzzes the loading of an effect's stream form: the system with its emitters, block resources,
// blocks and guides, in every version the reader knows. Only Sl::Exception may come out of the
// loading. An effect that loads must save, and load again with the same emitters and block
// resources in the same order. (Loading may renew revisions: it updates the connectors of
// attached emitters, so the bytes themselves aren't compared.)

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

std::unique_ptr<Plm::System> load(const uint8_t* data, size_t size)
{
    if (size > std::numeric_limits<uint32_t>::max())
        throw Sl::EndOfBufferException();
    Sl::LoaderBinArray array(data, static_cast<uint32_t>(size));
    Sl::RevisionLoader loader(nullptr, array);
    std::unique_ptr<Plm::System> system = Plm::System::createFromLoader(loader);
    system->postLoad();
    return system;
}

std::vector<uint8_t> save(const Plm::System& system)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        system.save(saver);
    }
    return flex.dataAsVector();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<Plm::System> system;
    try
    {
        system = load(data, size);
    }
    catch (const Sl::Exception&)
    {
        return 0;
    }
    const std::vector<uint8_t> saved = save(*system);
    std::unique_ptr<Plm::System> again = load(saved.data(), saved.size());
    if (again->emitters().ids() != system->emitters().ids() ||
        again->blockResources().ids() != system->blockResources().ids())
        std::abort();
    return 0;
}
