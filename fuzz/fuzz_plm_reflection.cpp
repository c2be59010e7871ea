// Fuzzes synchronisation with effects read from any bytes, as hand-edited or damaged files may
// hold: an effect that loads is synchronised as a reflection of a fixed effect, and a new
// reflection of it is filled and separated. The model may refuse (Debug::CheckException,
// Plm::ReflectionRefusedException); anything else that goes wrong is a finding. A second
// synchronisation must find nothing new.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"

namespace
{

std::unique_ptr<Plm::System> load(const uint8_t* data, size_t size)
{
    if (size > std::numeric_limits<uint32_t>::max())
        return nullptr;
    try
    {
        Sl::LoaderBinArray array(data, static_cast<uint32_t>(size));
        Sl::RevisionLoader loader(nullptr, array);
        std::unique_ptr<Plm::System> system = Plm::System::createFromLoader(loader);
        system->postLoad();
        return system;
    }
    catch (const Sl::Exception&)
    {
    }
    catch (const Debug::CheckException&)
    {
    }
    return nullptr;
}

// An effect with an emitter, a reflection of it and a block of its own.
std::unique_ptr<Plm::System> fixedSource()
{
    std::unique_ptr<Plm::System> system = Plm::Generation::simpleSystem();
    Plm::Emitter& emitter = system->getEmitter(0);
    emitter.addBlock(Plm::BlockFuncLerp<float>::create());
    system->addEmitterReflection(emitter, Plm::ExternalResourcesMap());
    return system;
}

// Syncs twice; the second pass must change nothing. A refusal ends the check.
void syncTwice(Plm::System& target, Plm::System& source)
{
    const Plm::ExternalResourcesMap none;
    try
    {
        target.syncDeep(&source, none);
        const boost::uuids::uuid revision = target.getRevision();
        target.syncDeep(&source, none);
        if (target.getRevision() != revision)
            std::abort();
    }
    catch (const Debug::CheckException&)
    {
    }
    catch (const Plm::ReflectionRefusedException&)
    {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<Plm::System> loaded = load(data, size);
    if (!loaded)
        return 0;
    std::unique_ptr<Plm::System> source = fixedSource();
    syncTwice(*loaded, *source);

    std::unique_ptr<Plm::System> reflection = loaded->reflect("loaded.sxed");
    syncTwice(*reflection, *loaded);
    try
    {
        reflection->separate(Plm::ExternalResourcesMap());
    }
    catch (const Debug::CheckException&)
    {
    }
    return 0;
}
