#include "particle_layout_model/plm_system.h"

#include "particle_layout_model/plm_project_resource.h"

#include <algorithm>
#include <set>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_std.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

Uuid newUuid() { return BoostExt::generateUuid(); }

bool namesEmitter(const BlockParamEmitter& block, const Uuid& id)
{
    const boost::optional<Uuid>& attached = block.getEmitterId();
    return attached && *attached == id;
}

bool hasInternalSource(const boost::optional<ReflectionSourceRef>& source, const Uuid& id)
{
    return source && source->id && *source->id == id;
}

}  // namespace

// SystemResource

ProjectResource* SystemResource::getProjectResource() const
{
    return system_ ? system_->getProjectResource() : nullptr;
}

void SystemResource::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("system_resource", saver, 0);
    saver.write("type", static_cast<uint8_t>(type_));
    saveImpl(saver);
}

std::unique_ptr<SystemResource> SystemResource::createFromLoader(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    uint8_t type = 0;
    loader.read(type);
    if (type == T_Block)
        return std::make_unique<SystemResourceBlock>(loader);
    if (type == T_Emitter)
        return std::make_unique<SystemResourceEmitter>(loader);
    throw Sl::CorruptedDataException();
}

// SystemResourceEmitter

SystemResourceEmitter::SystemResourceEmitter(std::unique_ptr<Emitter> emitter)
    : SystemResource(T_Emitter), emitter_(std::move(emitter))
{
    DEBUG_ASSERT(emitter_);
    emitter_->connectWithOwner(*this);
}

SystemResourceEmitter::SystemResourceEmitter(Sl::RevisionLoader& loader)
    : SystemResource(T_Emitter), emitter_(Emitter::createForLoad())
{
    emitter_->connectWithOwner(*this);
    Sl::ScopedLoaderGroup group(loader, 1);
    if (group.version() == 0)
    {
        // A flag of the first writer that nothing reads any more.
        bool unused = false;
        loader.read(unused);
    }
    emitter_->loadWithoutBlocks(loader);
}

bool SystemResourceEmitter::isLockedByParentReflection() const
{
    const System* system = SystemResource::getSystem();
    return system && system->doesHaveReflectedResource(getId());
}

bool SystemResourceEmitter::isLockedByParentReflection(const Emitter& emitter) const
{
    const System* system = SystemResource::getSystem();
    return system && system->doesHaveReflectedResource(emitter.getId());
}

void SystemResourceEmitter::separate() { emitter_->separate(); }

void SystemResourceEmitter::notifyDeepChanged(bool affectsExport)
{
    if (System* system = SystemResource::getSystem())
        system->notifyDeepChanged(affectsExport);
}

void SystemResourceEmitter::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("system_resource_emitter", saver, 1);
    emitter_->saveWithoutBlocks(saver);
}

// SystemResourceBlock

SystemResourceBlock::SystemResourceBlock(std::unique_ptr<Block> block, std::string name)
    : SystemResource(T_Block), name_(std::move(name)), block_(std::move(block))
{
    DEBUG_ASSERT(block_);
    block_->connectWithOwner(*this, {});
}

SystemResourceBlock::SystemResourceBlock(Sl::RevisionLoader& loader) : SystemResource(T_Block)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, name_);
    block_ = Block::createFromLoader(loader);
    if (!block_)
        throw Sl::CorruptedDataException();
    block_->connectWithOwner(*this, {});
}

void SystemResourceBlock::setName(const std::string& name)
{
    name_ = name;
    notifyDeepChanged(false);
}

bool SystemResourceBlock::isLockedByParentReflection() const
{
    const System* system = SystemResource::getSystem();
    return system && system->doesHaveReflectedResource(getId());
}

bool SystemResourceBlock::isLockedByParentReflection(const Block& block) const
{
    const System* system = SystemResource::getSystem();
    return system && system->doesHaveReflectedResource(block.getId());
}

void SystemResourceBlock::notifyDeepChanged(bool affectsExport)
{
    if (System* system = SystemResource::getSystem())
        system->notifyDeepChanged(affectsExport);
}

void SystemResourceBlock::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("system_resource_block", saver, 0);
    Sl::write("name", saver, name_);
    block_->save(saver);
}

// System: construction and identity.

System::System() : System(LoadFlag())
{
    id_ = newUuid();
    revision_ = newUuid();
    deepRevision_ = newUuid();
}

System::System(LoadFlag)
    : fps_(*this, false, 30.0f),
      seedType_(*this, false, Ps::SST_Random),
      fixedSeed_(*this, false, 0u),
      presimTime_(*this, false, 0.0f)
{
}

System::~System()
{
    // The resources go before the lists that name them.
    resources_.clear();
}

std::unique_ptr<System> System::create(const std::string& name)
{
    std::unique_ptr<System> system = std::make_unique<System>();
    system->name_ = name;
    return system;
}

std::unique_ptr<System> System::createFromLoader(Sl::RevisionLoader& loader)
{
    std::unique_ptr<System> system = std::make_unique<System>(LoadFlag());
    system->load(loader);
    return system;
}

void System::setName(const std::string& name)
{
    name_ = name;
    upgradeRevision(false);
}

// Change.

void System::upgradeRevision(bool affectsExport)
{
    revision_ = newUuid();
    notifyDeepChanged(affectsExport);
}

void System::notifyDeepChanged(bool affectsExport)
{
    deepRevision_ = newUuid();
    if (projectResource_)
        projectResource_->notifyDeepChanged(affectsExport);
}

// Resources.

SystemResource& System::addResource(std::unique_ptr<SystemResource> resource)
{
    DEBUG_ASSERT(resource);
    const Uuid id = resource->getId();
    DEBUG_ASSERT(resources_.find(id) == resources_.end());
    const bool isEmitter = resource->getType() == SystemResource::T_Emitter;
    resource->connectWithSystem(*this, {});
    SystemResource& added = *resource;
    resources_.emplace(id, std::move(resource));
    filterAndDispatchResources();
    upgradeRevision(isEmitter);
    return added;
}

void System::removeResource(const Uuid& id)
{
    auto it = resources_.find(id);
    DEBUG_ASSERT(it != resources_.end());
    const bool isEmitter = it->second->getType() == SystemResource::T_Emitter;
    separateNonReflectedResourceReflections(*it->second);
    resources_.erase(it);
    reflectedResources_.erase(
        std::remove(reflectedResources_.begin(), reflectedResources_.end(), id),
        reflectedResources_.end());
    filterAndDispatchResources();
    if (isEmitter)
        clearAttachedBlocksWhereEmitterIsUsed(id);
    upgradeRevision(isEmitter);
}

void System::separateNonReflectedResourceReflections(const SystemResource& resource)
{
    const Uuid& id = resource.getId();
    if (const SystemResourceBlock* blockResource = resource.castToBlockResource())
    {
        for (const Uuid& otherId : blockResourceIds_)
        {
            Block& other = blockResourceOf(otherId);
            if (otherId != id && !doesHaveReflectedResource(otherId) &&
                hasInternalSource(other.getReflSourceRef(), id))
                other.setReflSourceRef(boost::none, {});
        }
        for (const Uuid& emitterId : emitterIds_)
            emitterOf(emitterId).separateNonReflectedBlockReflections(blockResource->block());
        return;
    }
    for (const Uuid& otherId : emitterIds_)
    {
        Emitter& other = emitterOf(otherId);
        if (otherId != id && !doesHaveReflectedResource(otherId) &&
            hasInternalSource(other.getReflSourceRef(), id))
            other.setReflSourceRef(boost::none, {});
    }
}

void System::filterAndDispatchResources()
{
    syncOrderedIdList(emitterIds_, SystemResource::T_Emitter);
    syncOrderedIdList(blockResourceIds_, SystemResource::T_Block);
}

void System::syncOrderedIdList(std::vector<Uuid>& list, SystemResource::EnumType type)
{
    auto fits = [&](const Uuid& id)
    {
        auto it = resources_.find(id);
        return it != resources_.end() && it->second->getType() == type;
    };
    // A list read from a file may name an id twice: the first stays.
    std::set<Uuid> seen;
    OrderedIdListClientBase view(list);
    view.syncRemove([&](const Uuid& id) { return fits(id) && seen.insert(id).second; });
    for (const auto& entry : resources_)
        if (entry.second->getType() == type)
            view.syncAdd(entry.first);
}

SystemResource* System::findResourceById(const Uuid& id) const
{
    auto it = resources_.find(id);
    return it == resources_.end() ? nullptr : it->second.get();
}

SystemResource& System::getResourceById(const Uuid& id) const
{
    SystemResource* resource = findResourceById(id);
    DEBUG_ASSERT(resource);
    return *resource;
}

SystemResource* System::findResourceByName(const std::string& name) const
{
    for (const auto& entry : resources_)
        if (entry.second->getName() == name)
            return entry.second.get();
    return nullptr;
}

Emitter* System::findEmitterById(const Uuid& id) const
{
    SystemResource* resource = findResourceById(id);
    SystemResourceEmitter* emitter = resource ? resource->castToEmitterResource() : nullptr;
    return emitter ? &emitter->emitter() : nullptr;
}

Block* System::findBlockById(const Uuid& id) const
{
    SystemResource* resource = findResourceById(id);
    SystemResourceBlock* block = resource ? resource->castToBlockResource() : nullptr;
    return block ? &block->block() : nullptr;
}

Block& System::getBlockById(const Uuid& id) const
{
    Block* block = findBlockById(id);
    DEBUG_ASSERT(block);
    return *block;
}

Emitter& System::emitterOf(const Uuid& id) const
{
    Emitter* emitter = findEmitterById(id);
    DEBUG_ASSERT(emitter);
    return *emitter;
}

Block& System::blockResourceOf(const Uuid& id) const { return getBlockById(id); }

Block* System::findDeepBlockById(const Uuid& id) const
{
    if (Block* block = findBlockById(id))
        return block;
    for (const Uuid& emitterId : emitterIds_)
        if (Block* block = emitterOf(emitterId).findBlockById(id))
            return block;
    return nullptr;
}

Emitter* System::findEmitterBySystemReflId(const Uuid& id) const
{
    for (const Uuid& emitterId : emitterIds_)
    {
        Emitter& emitter = emitterOf(emitterId);
        if (emitter.getSystemReflId() == id)
            return &emitter;
    }
    return nullptr;
}

Block* System::findBlockBySystemReflId(const Uuid& id) const
{
    for (const Uuid& blockId : blockResourceIds_)
    {
        Block& block = blockResourceOf(blockId);
        if (block.getSystemReflId() == id)
            return &block;
    }
    return nullptr;
}

Block* System::findDeepBlockBySystemReflId(const Uuid& id) const
{
    if (Block* block = findBlockBySystemReflId(id))
        return block;
    for (const Uuid& emitterId : emitterIds_)
        if (Block* block = emitterOf(emitterId).findBlockBySystemReflId(id))
            return block;
    return nullptr;
}

bool System::doesHaveReflectedResource(const Uuid& id) const
{
    return std::find(reflectedResources_.begin(), reflectedResources_.end(), id) !=
           reflectedResources_.end();
}

Emitter& System::addEmitter(std::unique_ptr<Emitter> emitter)
{
    DEBUG_ASSERT(emitter);
    Emitter& added = *emitter;
    addResource(std::make_unique<SystemResourceEmitter>(std::move(emitter)));
    return added;
}

Emitter& System::getEmitter(unsigned int i) const
{
    DEBUG_ASSERT(i < emitterIds_.size());
    return emitterOf(emitterIds_[i]);
}

void System::changeResourceIndex(unsigned int index, boost::optional<unsigned int> before)
{
    DEBUG_ASSERT(index < emitterIds_.size());
    DEBUG_ASSERT(!before || *before <= emitterIds_.size());
    if (before && *before == index)
        return;
    const Uuid id = emitterIds_[index];
    emitterIds_.erase(emitterIds_.begin() + index);
    if (before)
    {
        const unsigned int at = index < *before ? *before - 1 : *before;
        emitterIds_.insert(emitterIds_.begin() + at, id);
    }
    else
        emitterIds_.push_back(id);
    upgradeRevision(true);
}

void System::enumerateExternalDependeciesHolders(
    const std::function<void(ExternalDependencyHolder&)>& f)
{
    for (const Uuid& id : blockResourceIds_)
        f(blockResourceOf(id));
    for (const Uuid& id : emitterIds_)
        emitterOf(id).enumerateExternalDependeciesHolders(f);
}

void System::enumerateExternalDependeciesHolders(
    const std::function<void(const ExternalDependencyHolder&)>& f) const
{
    for (const Uuid& id : blockResourceIds_)
        f(blockResourceOf(id));
    for (const Uuid& id : emitterIds_)
        static_cast<const Emitter&>(emitterOf(id)).enumerateExternalDependeciesHolders(f);
}

void System::extractExternalSources(std::vector<boost::filesystem::path>& paths) const
{
    if (reflSource_ && std::find(paths.begin(), paths.end(), *reflSource_) == paths.end())
        paths.push_back(*reflSource_);
    for (const Uuid& id : blockResourceIds_)
        blockResourceOf(id).extractExternalSources(paths);
    for (const Uuid& id : emitterIds_)
        emitterOf(id).extractExternalSources(paths);
}

void System::replaceDeepExternalSource(const boost::filesystem::path& from,
                                       const boost::filesystem::path& to)
{
    if (reflSource_ && reflSource_->compare(from) == 0)
    {
        reflSource_ = to;
        upgradeRevision(false);
        return;
    }
    for (const Uuid& id : blockResourceIds_)
        blockResourceOf(id).replaceExternalSource(from, to);
    for (const Uuid& id : emitterIds_)
        emitterOf(id).replaceDeepExternalSource(from, to);
}

void System::detachFromRelatedSystems()
{
    for (const Uuid& id : std::vector<Uuid>(emitterIds_))
        emitterOf(id).detachFromRelatedEmitters();
}

// Connections between emitters.

void System::updateDrivingEmittersConnectors(const Uuid& id)
{
    for (const Uuid& emitterId : emitterIds_)
    {
        if (emitterId == id)
            continue;
        for (BlockParamEmitter& block : emitterOf(emitterId).paramEmitterBlocks())
            if (namesEmitter(block, id))
                block.updateParameters();
    }
}

void System::assertAndUpdateAttachedEmittersConnectors()
{
    for (const Uuid& id : emitterIds_)
    {
        Emitter& emitter = emitterOf(id);
        if (!emitter.areGlobalParametersUpdated())
            continue;
        emitter.clearGlobalParametersUpdated();
        updateDrivingEmittersConnectors(id);
    }
}

void System::clearAttachedBlocksWhereEmitterIsUsed(const Uuid& id)
{
    for (const Uuid& emitterId : emitterIds_)
        for (BlockParamEmitter& block : emitterOf(emitterId).paramEmitterBlocks())
            if (namesEmitter(block, id))
                block.setEmitterId(boost::make_optional(boost::optional<Uuid>()));
}

void System::processEmittersInReflectionOrder(const std::function<void(Emitter*)>& f)
{
    // Each emitter once, even where a damaged file names a circle of sources.
    std::set<Uuid> visited;
    std::function<void(Emitter&)> visit = [&](Emitter& emitter)
    {
        if (!visited.insert(emitter.getId()).second)
            return;
        f(&emitter);
        for (const Uuid& id : std::vector<Uuid>(emitterIds_))
        {
            Emitter* other = findEmitterById(id);
            if (other && hasInternalSource(other->getReflSourceRef(), emitter.getId()))
                visit(*other);
        }
    };
    for (const Uuid& id : std::vector<Uuid>(emitterIds_))
    {
        Emitter* emitter = findEmitterById(id);
        if (emitter && !emitter->getReflSourceRef())
            visit(*emitter);
    }
}

// Files.

void System::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("particle_system", saver, 5);
    Sl::write("id", saver, id_);
    Sl::write("revision", saver, revision_);
    Sl::write("deep_revision", saver, deepRevision_);
    if (std::shared_ptr<Sl::RevisionSaver> content = saver.beginSaveResource(id_, revision_))
    {
        Sl::RevisionSaver& out = *content;
        {
            Sl::ScopedSaverGroup synced("synced_rev", out, 0);
            out.write(nullptr, static_cast<bool>(syncedRev_));
            if (syncedRev_)
                Sl::write(nullptr, out, *syncedRev_);
        }
        {
            Sl::ScopedSaverGroup refl("refl_source", out, 0);
            out.write(nullptr, static_cast<bool>(reflSource_));
            if (reflSource_)
                Sl::write(nullptr, out, *reflSource_);
        }
        Sl::write("name", out, name_);
        Sl::write("emitters", out, emitterIds_);
        Sl::write("block_resources", out, blockResourceIds_);
        Sl::write("reflected_resources", out, reflectedResources_);
        fps_.save("fps", out);
        seedType_.save("seed_type", out);
        fixedSeed_.save("fixed_seed", out);
        presimTime_.save("presim_time", out);
    }

    saver.write("num_emitters", static_cast<uint32_t>(emitterIds_.size()));
    std::vector<const Emitter*> written;
    for (const Uuid& id : emitterIds_)
        saveEmitter(saver, emitterOf(id), written);

    uint32_t numBlocks = static_cast<uint32_t>(blockResourceIds_.size());
    for (const Emitter* emitter : written)
        numBlocks += emitter->allBlocks().size();
    saver.write("num_blocks", numBlocks);
    for (const Uuid& id : blockResourceIds_)
        saveBlock(saver, nullptr, blockResourceOf(id));
    for (const Emitter* emitter : written)
        for (const Block& block : emitter->allBlocks())
            saveBlock(saver, emitter, block);

    for (const auto& entry : resources_)
        if (const SystemResourceEmitter* emitter = entry.second->castToEmitterResource())
            emitter->emitter().saveEmitterGuide(saver);
}

void System::saveEmitter(Sl::RevisionSaver& saver, const Emitter& emitter,
                         std::vector<const Emitter*>& written) const
{
    if (std::find(written.begin(), written.end(), &emitter) != written.end())
        return;
    // The attached emitters first, so that a reader knows their parameters; an emitter in
    // progress counts as written, which ends a circle of attachments.
    std::vector<const Emitter*> inProgress(1, &emitter);
    std::function<void(const Emitter&)> write = [&](const Emitter& current)
    {
        for (const BlockParamEmitter& block : current.paramEmitterBlocks())
        {
            const boost::optional<Uuid>& attachedId = block.getEmitterId();
            const Emitter* attached = attachedId ? findEmitterById(*attachedId) : nullptr;
            if (!attached || std::find(written.begin(), written.end(), attached) != written.end() ||
                std::find(inProgress.begin(), inProgress.end(), attached) != inProgress.end())
                continue;
            inProgress.push_back(attached);
            write(*attached);
        }
        written.push_back(&current);
        getResourceById(current.getId()).save(saver);
    };
    write(emitter);
}

void System::saveBlock(Sl::RevisionSaver& saver, const Emitter* emitter, const Block& block) const
{
    saver.write("inside_emitter", emitter != nullptr);
    if (emitter)
    {
        Sl::write("block_emitter_id", saver, emitter->getId());
        emitter->saveBlock(saver, block);
    }
    else
        getResourceById(block.getId()).save(saver);
}

void System::insertLoaded(std::unique_ptr<SystemResource> resource)
{
    const Uuid id = resource->getId();
    if (resources_.count(id))
        throw Sl::CorruptedDataException();
    resource->connectWithSystem(*this, {});
    resources_.emplace(id, std::move(resource));
}

void System::loadEmitter(Sl::RevisionLoader& loader)
{
    std::unique_ptr<SystemResource> resource = SystemResource::createFromLoader(loader);
    if (resource->getType() != SystemResource::T_Emitter)
        throw Sl::CorruptedDataException();
    insertLoaded(std::move(resource));
}

void System::loadBlock(Sl::RevisionLoader& loader)
{
    bool insideEmitter = false;
    loader.read(insideEmitter);
    if (insideEmitter)
    {
        Uuid emitterId{};
        Sl::read(loader, emitterId);
        Emitter* emitter = findEmitterById(emitterId);
        if (!emitter)
            throw Sl::CorruptedDataException();
        emitter->loadBlock(loader);
        return;
    }
    std::unique_ptr<SystemResource> resource = SystemResource::createFromLoader(loader);
    if (resource->getType() != SystemResource::T_Block)
        throw Sl::CorruptedDataException();
    insertLoaded(std::move(resource));
}

uint32_t System::loadEmittersAndBlocks(Sl::RevisionLoader& loader)
{
    uint32_t numEmitters = 0;
    loader.read(numEmitters);
    for (uint32_t i = 0; i < numEmitters; ++i)
        loadEmitter(loader);
    uint32_t numBlocks = 0;
    loader.read(numBlocks);
    for (uint32_t i = 0; i < numBlocks; ++i)
        loadBlock(loader);
    return numEmitters;
}

void System::load(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 5);
    const uint32_t version = group.version();
    resources_.clear();
    emitterIds_.clear();
    blockResourceIds_.clear();
    reflectedResources_.clear();
    disabledEmitters_ = boost::none;
    reflIdsNeedCheck_ = false;

    Sl::read(loader, id_);
    Sl::read(loader, revision_);
    Sl::read(loader, deepRevision_);
    // Older files list the guides in an order of their own.
    std::vector<Uuid> guideOrder;
    if (std::shared_ptr<Sl::RevisionLoader> content = loader.beginLoadResource(id_, revision_))
    {
        Sl::RevisionLoader& in = *content;
        {
            Sl::ScopedLoaderGroup synced(in, 0);
            bool has = false;
            in.read(has);
            syncedRev_ = boost::none;
            if (has)
            {
                Uuid rev{};
                Sl::read(in, rev);
                syncedRev_ = rev;
            }
        }
        {
            Sl::ScopedLoaderGroup refl(in, 0);
            bool has = false;
            in.read(has);
            reflSource_ = boost::none;
            if (has)
            {
                boost::filesystem::path path;
                Sl::read(in, path);
                reflSource_ = path;
            }
        }
        Sl::read(in, name_);
        if (version < 3)
        {
            disabledEmitters_.emplace();
            Sl::read(in, *disabledEmitters_);
        }
        if (version <= 3)
            Sl::read(in, guideOrder);
        Sl::read(in, emitterIds_);
        if (disabledEmitters_)
            emitterIds_.insert(emitterIds_.end(), disabledEmitters_->begin(),
                               disabledEmitters_->end());
        Sl::read(in, blockResourceIds_);
        Sl::read(in, reflectedResources_);
        fps_.load(in);
        seedType_.load(in);
        fixedSeed_.load(in);
        presimTime_.load(in);
    }

    loadEmittersAndBlocks(loader);
    for (const auto& entry : resources_)
        if (SystemResourceEmitter* emitter = entry.second->castToEmitterResource())
            emitter->emitter().checkLoadedBlocks();

    filterAndDispatchResources();
    // Every reflected id must name a resource; the others are left over from a damaged file.
    reflectedResources_.erase(std::remove_if(reflectedResources_.begin(), reflectedResources_.end(),
                                             [&](const Uuid& id) { return !resources_.count(id); }),
                              reflectedResources_.end());
    assertAndUpdateAttachedEmittersConnectors();
    if (version == 0)
    {
        // The first files kept the position of particles in the constructor.
        for (const Uuid& id : emitterIds_)
        {
            Emitter& emitter = emitterOf(id);
            if (emitter.getReflSourceRef())
                continue;
            emitter.addBlock(BlockPositioner::create());
            emitter.restorePositionerLink();
        }
    }

    if (version >= 2)
    {
        if (version <= 3)
        {
            for (const Uuid& id : guideOrder)
            {
                Emitter* emitter = findEmitterById(id);
                if (!emitter)
                    throw Sl::CorruptedDataException();
                emitter->loadEmitterGuide(loader);
            }
        }
        else
        {
            for (const auto& entry : resources_)
                if (SystemResourceEmitter* emitter = entry.second->castToEmitterResource())
                    emitter->emitter().loadEmitterGuide(loader);
        }
    }
    reflIdsNeedCheck_ = version < 5;
}

void System::postLoad()
{
    processEmittersInReflectionOrder([](Emitter* emitter) { emitter->postLoad(); });
    if (disabledEmitters_)
    {
        for (const Uuid& id : *disabledEmitters_)
            if (Emitter* emitter = findEmitterById(id))
                emitter->setEnabled(false);
        disabledEmitters_ = boost::none;
    }
    if (!reflIdsNeedCheck_)
        return;
    reflIdsNeedCheck_ = false;
    // Older writers could give two objects one systemReflId; each must find itself again.
    bool regenerated = false;
    for (const Uuid& id : blockResourceIds_)
    {
        Block& block = blockResourceOf(id);
        if (findDeepBlockBySystemReflId(block.getSystemReflId()) != &block)
        {
            block._regenerateSystemReflId({});
            regenerated = true;
        }
    }
    for (const Uuid& id : emitterIds_)
    {
        Emitter& emitter = emitterOf(id);
        if (findEmitterBySystemReflId(emitter.getSystemReflId()) != &emitter)
        {
            emitter._regenerateSystemReflId({});
            regenerated = true;
        }
        for (Block& block : emitter.allBlocks())
            if (findDeepBlockBySystemReflId(block.getSystemReflId()) != &block)
            {
                block._regenerateSystemReflId({});
                regenerated = true;
            }
    }
    if (regenerated)
        upgradeRevision(false);
}

namespace Generation
{

std::unique_ptr<System> simpleSystem()
{
    std::unique_ptr<System> system = System::create(std::string());
    system->addResource(std::make_unique<SystemResourceEmitter>(simpleEmitter("DefaultEmitter")));
    return system;
}

std::unique_ptr<Emitter> simpleEmitter(const std::string& name) { return Emitter::create(name); }

}  // namespace Generation

}  // namespace Plm
