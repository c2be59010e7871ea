// How an effect follows the effect it reflects, and how it is cut loose from it.

#include <algorithm>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_system.h"
#include "plm_reflection_helpers.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

template <class T>
bool contains(const std::vector<T>& list, const T& id)
{
    return std::find(list.begin(), list.end(), id) != list.end();
}

// Translates a source object's internal reference to the object here that stands for the
// one it names: `findInSource` finds that object in the source effect, `findHere` its
// counterpart here. Null when the source object has no reference.
template <class FindInSource, class FindHere>
boost::optional<ReflectionSourceRef>
translateReference(const boost::optional<ReflectionSourceRef>& sourceReflSource,
                   FindInSource findInSource, FindHere findHere)
{
    if (!sourceReflSource)
        return boost::none;
    DEBUG_ASSERT(!sourceReflSource->isExternal());
    const auto* inSource = findInSource(*sourceReflSource->id);
    DEBUG_ASSERT(inSource);
    const auto* here = findHere(inSource->getSystemReflId());
    DEBUG_ASSERT(here);
    return ReflectionSourceRef::internal(here->getId());
}

}  // namespace

std::unique_ptr<System> System::reflect(const boost::filesystem::path& relPath) const
{
    std::unique_ptr<System> system = create(name_);
    system->reflSource_ = relPath;
    return system;
}

Emitter& System::addEmitterReflection(Emitter& source, const ExternalResourcesMap& map)
{
    const ReflectionSourceRef ref = projectResource_
                                        ? projectResource_->getReflectionSourceRef(source)
                                        : ReflectionSourceRef::internal(source.getId());
    Emitter& added = addEmitter(source.reflect(ref));
    added.syncDeep(nullptr, &source, map);
    return added;
}

const char* System::whyNotReflectable() const
{
    auto external = [](const boost::optional<ReflectionSourceRef>& ref)
    { return ref && ref->isExternal(); };
    for (const Uuid& id : blockResourceIds_)
        if (external(blockResourceOf(id).getReflSourceRef()))
            return "a block resource of the effect reflects another file";
    for (const Uuid& id : emitterIds_)
    {
        const Emitter& emitter = emitterOf(id);
        if (external(emitter.getReflSourceRef()))
            return "an emitter of the effect reflects another file";
        for (const Block& block : emitter.allBlocks())
            if (external(block.getReflSourceRef()))
                return "a block of the effect reflects another file";
    }
    return nullptr;
}

void System::syncDeep(System* source, const ExternalResourcesMap& map)
{
    if (source)
    {
        if (const char* reason = source->whyNotReflectable())
            throw ReflectionRefusedException(std::string("The source can't be reflected: ") +
                                             reason);
        syncWithReflectionSource(*source);
    }

    std::vector<Uuid> visited;
    for (const Uuid& id : std::vector<Uuid>(blockResourceIds_))
    {
        Block* block = findBlockById(id);
        if (!block)
            continue;
        const boost::optional<ReflectionSourceRef> ref = block->getReflSourceRef();
        if (!ref)
            recursiveBlocksSync(source, nullptr, *block, visited);
        else if (ref->isExternal())
            recursiveBlocksSync(source, map.findBlock(*ref->relPath), *block, visited);
        // A block resource with an internal source is reached from that source.
    }
    syncDeepEmitters(source, map);
    // The emitters' blocks may have new connectors for the emitters they name.
    assertAndUpdateAttachedEmittersConnectors();
    syncDeepEmitters(source, map);
}

bool System::syncWithReflectionSource(const System& source)
{
    bool changed = false;
    if (!syncedRev_ || *syncedRev_ != source.getRevision())
    {
        changed = true;
        syncedRev_ = source.getRevision();
        fps_.sync(source.fps_);
        seedType_.sync(source.seedType_);
        fixedSeed_.sync(source.fixedSeed_);
        presimTime_.sync(source.presimTime_);

        // Resources that are there for the source's sake, whose counterparts are gone.
        for (const Uuid& id : std::vector<Uuid>(reflectedResources_))
        {
            auto found = resources_.find(id);
            DEBUG_ASSERT(found != resources_.end());
            const SystemResource& resource = *found->second;
            const Uuid& systemReflId =
                resource.castToEmitterResource()
                    ? resource.castToEmitterResource()->emitter().getSystemReflId()
                    : resource.castToBlockResource()->block().getSystemReflId();
            const bool kept = resource.castToEmitterResource()
                                  ? source.findEmitterBySystemReflId(systemReflId) != nullptr
                                  : source.findBlockBySystemReflId(systemReflId) != nullptr;
            if (kept)
                continue;
            separateNonReflectedResourceReflections(resource);
            reflectedResources_.erase(
                std::remove(reflectedResources_.begin(), reflectedResources_.end(), id),
                reflectedResources_.end());
            const bool wasEmitter = resource.castToEmitterResource() != nullptr;
            resources_.erase(found);
            filterAndDispatchResources();
            if (wasEmitter)
                clearAttachedBlocksWhereEmitterIsUsed(id);
        }

        for (const Uuid& id : source.blockResourceIds_)
        {
            const SystemResource& resource = source.getResourceById(id);
            const Block& block = resource.castToBlockResource()->block();
            if (!findBlockBySystemReflId(block.getSystemReflId()))
                addBlockWhileReflectionSync(block, resource.getName());
        }
        filterAndDispatchResources();
        for (const Uuid& id : source.emitterIds_)
        {
            const Emitter& emitter = source.emitterOf(id);
            if (!findEmitterBySystemReflId(emitter.getSystemReflId()))
                addEmitterWhileReflectionSync(emitter);
        }
        filterAndDispatchResources();
        syncResourcesOrder(source);
        upgradeRevision(true);
    }
    syncResourceSources(source);
    return changed;
}

void System::addEmitterWhileReflectionSync(const Emitter& source)
{
    auto resource = std::make_unique<SystemResourceEmitter>(source.reflectIndirect({}));
    const Uuid id = resource->getId();
    resource->connectWithSystem(*this, {});
    resources_.emplace(id, std::move(resource));
    reflectedResources_.push_back(id);
}

void System::addBlockWhileReflectionSync(const Block& source, const std::string& name)
{
    auto resource = std::make_unique<SystemResourceBlock>(
        source.reflectIndirect(boost::none, source.getSystemReflId(), {}), name);
    const Uuid id = resource->getId();
    resource->connectWithSystem(*this, {});
    resources_.emplace(id, std::move(resource));
    reflectedResources_.push_back(id);
}

void System::syncResourcesOrder(const System& source)
{
    bubbleIntoSourceOrder(emitterIds_,
                          [&](const Uuid& id) -> boost::optional<unsigned int>
                          {
                              const Uuid& key = emitterOf(id).getSystemReflId();
                              for (unsigned int i = 0; i < source.emitterIds_.size(); ++i)
                                  if (source.emitterOf(source.emitterIds_[i]).getSystemReflId() ==
                                      key)
                                      return i;
                              return boost::none;
                          });
}

void System::syncResourceSources(const System& source)
{
    for (const Uuid& id : source.blockResourceIds_)
    {
        const Block& sourceBlock = source.blockResourceOf(id);
        Block* target = findBlockBySystemReflId(sourceBlock.getSystemReflId());
        DEBUG_ASSERT(target);
        const boost::optional<ReflectionSourceRef> translated = translateReference(
            sourceBlock.getReflSourceRef(),
            [&](const Uuid& sourceId) { return source.findDeepBlockById(sourceId); },
            [&](const Uuid& systemReflId) { return findBlockBySystemReflId(systemReflId); });
        if (target->getReflSourceRef() != translated)
            target->setReflSourceRef(translated, {});
    }
    for (const Uuid& id : source.emitterIds_)
    {
        const Emitter& sourceEmitter = source.emitterOf(id);
        Emitter* target = findEmitterBySystemReflId(sourceEmitter.getSystemReflId());
        DEBUG_ASSERT(target);
        const boost::optional<ReflectionSourceRef> translated = translateReference(
            sourceEmitter.getReflSourceRef(),
            [&](const Uuid& sourceId) { return source.findEmitterById(sourceId); },
            [&](const Uuid& systemReflId) { return findEmitterBySystemReflId(systemReflId); });
        if (target->getReflSourceRef() != translated)
            target->setReflSourceRef(translated, {});
    }
}

void System::recursiveBlocksSync(System* source, Block* directBlock, Block& block,
                                 std::vector<Uuid>& visited)
{
    // Each block once, even where a damaged file names a circle of sources.
    if (contains(visited, block.getId()))
        return;
    visited.push_back(block.getId());
    block.syncDeep(source, nullptr, directBlock);
    for (const Uuid& id : std::vector<Uuid>(blockResourceIds_))
    {
        Block* other = findBlockById(id);
        if (!other)
            continue;
        const boost::optional<ReflectionSourceRef> ref = other->getReflSourceRef();
        if (ref && ref->id && *ref->id == block.getId())
            recursiveBlocksSync(source, &block, *other, visited);
    }
}

void System::syncDeepEmitters(System* source, const ExternalResourcesMap& map)
{
    std::vector<Uuid> visited;
    for (const Uuid& id : std::vector<Uuid>(emitterIds_))
    {
        Emitter* emitter = findEmitterById(id);
        if (!emitter)
            continue;
        const boost::optional<ReflectionSourceRef>& ref = emitter->getReflSourceRef();
        if (!ref)
            recursiveEmittersSync(source, nullptr, *emitter, map, visited);
        else if (ref->isExternal())
            recursiveEmittersSync(source, map.findEmitter(*ref->relPath), *emitter, map, visited);
        // An emitter with an internal source is reached from that source.
    }
}

void System::recursiveEmittersSync(System* source, Emitter* directEmitter, Emitter& emitter,
                                   const ExternalResourcesMap& map, std::vector<Uuid>& visited)
{
    if (contains(visited, emitter.getId()))
        return;
    visited.push_back(emitter.getId());
    emitter.syncDeep(source, directEmitter, map);
    for (const Uuid& id : std::vector<Uuid>(emitterIds_))
    {
        Emitter* other = findEmitterById(id);
        if (!other)
            continue;
        const boost::optional<ReflectionSourceRef>& ref = other->getReflSourceRef();
        if (ref && ref->id && *ref->id == emitter.getId())
            recursiveEmittersSync(source, &emitter, *other, map, visited);
    }
}

void System::separate(const ExternalResourcesMap& map)
{
    DEBUG_ASSERT(reflSource_);
    for (const Uuid& id : blockResourceIds_)
        blockResourceOf(id)._regenerateSystemReflId({});
    for (const Uuid& id : std::vector<Uuid>(emitterIds_))
        if (contains(reflectedResources_, id))
            emitterOf(id).separateWhileParentSeparation(this, map, {});
    reflSource_ = boost::none;
    reflectedResources_.clear();
    upgradeRevision(false);
}

// The clipboard.

std::unique_ptr<System> System::filledReflection()
{
    std::unique_ptr<System> copy = reflect(boost::filesystem::path());
    copy->bakeProps();
    copy->syncDeep(this, ExternalResourcesMap());
    return copy;
}

void System::copyEmittersToSaver(Sl::RevisionSaver& saver, const std::vector<Uuid>& ids)
{
    std::unique_ptr<System> copy = filledReflection();
    std::vector<Uuid> kept;
    for (const Uuid& id : ids)
    {
        const Emitter* reflEmitter = copy->findEmitterBySystemReflId(
            getResourceById(id).castToEmitterResource()->emitter().getSystemReflId());
        DEBUG_ASSERT(reflEmitter);
        kept.push_back(reflEmitter->getId());
    }
    copy->separate(ExternalResourcesMap());
    for (const Uuid& id : std::vector<Uuid>(copy->emitterIds_))
        if (!contains(kept, id))
            copy->removeResource(id);

    saver.write(nullptr, static_cast<uint32_t>(copy->emitterIds_.size()));
    std::vector<const Emitter*> written;
    for (const Uuid& id : copy->emitterIds_)
        copy->saveEmitter(saver, copy->emitterOf(id), written);
    uint32_t numBlocks = static_cast<uint32_t>(copy->blockResourceIds_.size());
    for (const Emitter* emitter : written)
        numBlocks += emitter->allBlocks().size();
    saver.write("num_blocks", numBlocks);
    for (const Uuid& id : copy->blockResourceIds_)
        copy->saveBlock(saver, nullptr, copy->blockResourceOf(id));
    for (const Emitter* emitter : written)
        for (const Block& block : emitter->allBlocks())
            copy->saveBlock(saver, emitter, block);
    for (const Uuid& id : copy->emitterIds_)
    {
        Sl::write(nullptr, saver, id);
        copy->emitterOf(id).saveEmitterGuide(saver);
    }
}

void System::pasteEmittersFromLoader(Sl::RevisionLoader& loader)
{
    // Read into an effect of its own first, so that bad data leaves this one untouched; then
    // copied once more, so that every identifier is new even when the same data is pasted
    // twice.
    Sl::SaverBinFlex bytes(Sl::BO_Native, Sl::TC_Off);
    try
    {
        System received;
        received.pasteEmittersFromLoaderPrivateImpl(loader);
        std::unique_ptr<System> renewed = received.filledReflection();
        renewed->separate(ExternalResourcesMap());
        Sl::RevisionSaver saver(nullptr, bytes, nullptr);
        renewed->copyEmittersToSaver(saver, renewed->emitterIds_);
    }
    catch (const Debug::CheckException&)
    {
        // Emitters whose relations break the model's rules: damaged data like any other.
        throw Sl::CorruptedDataException();
    }
    const std::vector<uint8_t> data = bytes.dataAsVector();
    Sl::LoaderBinArray in(data.data(), static_cast<uint32_t>(data.size()));
    Sl::RevisionLoader reader(nullptr, in);
    pasteEmittersFromLoaderPrivateImpl(reader);
    upgradeRevision(true);
}

void System::pasteEmittersFromLoaderPrivateImpl(Sl::RevisionLoader& loader)
{
    std::vector<Uuid> before;
    for (const auto& entry : resources_)
        before.push_back(entry.first);
    const uint32_t numEmitters = loadEmittersAndBlocks(loader);
    filterAndDispatchResources();
    std::vector<Emitter*> pasted;
    for (const auto& entry : resources_)
        if (SystemResourceEmitter* emitter = entry.second->castToEmitterResource())
            if (!contains(before, entry.first))
                pasted.push_back(&emitter->emitter());
    for (Emitter* emitter : pasted)
        emitter->checkLoadedBlocks();
    // The guides come in the order of the copied list, which the pasted emitters take.
    std::vector<Uuid> order;
    for (uint32_t i = 0; i < numEmitters; ++i)
    {
        Uuid id{};
        Sl::read(loader, id);
        Emitter* emitter = findEmitterById(id);
        if (!emitter || !contains(pasted, emitter) || contains(order, id))
            throw Sl::CorruptedDataException();
        emitter->loadEmitterGuide(loader);
        order.push_back(id);
    }
    emitterIds_.erase(std::remove_if(emitterIds_.begin(), emitterIds_.end(),
                                     [&](const Uuid& id) { return contains(order, id); }),
                      emitterIds_.end());
    emitterIds_.insert(emitterIds_.end(), order.begin(), order.end());
    assertAndUpdateAttachedEmittersConnectors();
    processEmittersInReflectionOrder(
        [&](Emitter* emitter)
        {
            if (std::find(pasted.begin(), pasted.end(), emitter) != pasted.end())
                emitter->postLoad();
        });
}

}  // namespace Plm
