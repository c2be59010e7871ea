// How an effect follows the effect it reflects, and how it is cut loose from it.

#include <algorithm>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_system.h"
#include "plm_source_order.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

bool contains(const std::vector<Uuid>& list, const Uuid& id)
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

bool sameRef(const boost::optional<ReflectionSourceRef>& a,
             const boost::optional<ReflectionSourceRef>& b)
{
    return a == b;
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

void System::syncDeep(System* source, const ExternalResourcesMap& map)
{
    if (source)
        syncWithReflectionSource(*source);

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
        if (!sameRef(target->getReflSourceRef(), translated))
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
        if (!sameRef(target->getReflSourceRef(), translated))
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

}  // namespace Plm
