// How an emitter follows the emitters it reflects, and how it is cut loose from them.

#include <algorithm>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_param.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_syncer.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_system.h"
#include "plm_scoped_flag.h"
#include "plm_reflection_helpers.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

// A block of the effect or file that holds the emitter: of any of its emitters or a block
// resource.
Block* findBlockInFileOf(Emitter& emitter, const Uuid& id)
{
    if (System* system = emitter.getSystem())
        return system->findDeepBlockById(id);
    ProjectResource* resource = emitter.getProjectResource();
    return resource ? resource->findBlockById(id) : emitter.findBlockById(id);
}

// Which identifier ties an emitter's blocks to those of a source: the systemReflId for the
// counterpart in the effect that the emitter's effect reflects, the emitterReflId for the
// emitter's direct source.
enum class Tie
{
    System,
    Emitter
};

// The block of `emitter` that stands for `sourceBlock` of a source tied by `tie`, or null.
Block* counterpartHere(const Emitter& emitter, const Block& sourceBlock, Tie tie)
{
    return tie == Tie::System ? emitter.findBlockBySystemReflId(sourceBlock.getSystemReflId())
                              : emitter.findBlockByEmitterReflId(sourceBlock.getEmitterReflId());
}

// The index of the parameter with that identifier in the emitter's parameter list.
template <class FindId>
boost::optional<unsigned int> paramIndexIn(const Emitter& emitter, FindId sameCounterpart)
{
    const std::vector<Uuid>& params = emitter.blockList(Emitter::BL_Param);
    for (unsigned int i = 0; i < params.size(); ++i)
        if (sameCounterpart(emitter.getBlockById(params[i])))
            return i;
    return boost::none;
}

}  // namespace

void Emitter::syncDeep(System* sourceSystem, Emitter* directSource, const ExternalResourcesMap& map)
{
    ScopedFlag syncing(syncing_);
    Emitter* systemSource =
        sourceSystem ? sourceSystem->findEmitterBySystemReflId(systemReflId_) : nullptr;
    bool needSync = copiedButNotSynced_;
    needSync = recordSourceRevision(sysReflRev_, systemSource) || needSync;
    needSync = recordSourceRevision(dirReflRev_, directSource) || needSync;

    Emitter* baseSource = nullptr;
    if (needSync && systemSource && directSource)
        if (const boost::optional<ReflectionSourceRef>& ref = systemSource->getReflSourceRef())
        {
            DEBUG_ASSERT(!ref->isExternal());
            baseSource = sourceSystem->findEmitterById(*ref->id);
        }
    const EmitterSyncer syncer(*this, systemSource, directSource, baseSource);
    if (needSync)
    {
        syncProps(syncer);
        syncEmitterBlocksPresence(syncer, map);
        syncParamsOrder(syncer);
        syncDirectReflections(syncer);
    }
    syncAllBlocks(sourceSystem, directSource, map);
    if (needSync)
        syncLinks(syncer);

    Emitter* guideSource = directSource ? directSource : systemSource;
    // Also when only the sources moved: a change of the source's form alone leaves this
    // emitter's blocks as they are.
    const bool syncGuide = guide_ && guideSource && guideSource->guide() &&
                           (needSync || !guideReflRev_ || *guideReflRev_ != deepRevision_);
    if (syncGuide)
        guide_->syncReflection(*guideSource->guide());
    if (needSync)
    {
        copiedButNotSynced_ = false;
        upgradeRevision(true);
    }
    // Recorded after the new revision, so that the next pass, finding nothing new, leaves the
    // guide and the saved record alone.
    if (syncGuide)
        guideReflRev_ = deepRevision_;
    updateColorizer();
}

void Emitter::syncProps(const EmitterSyncer& syncer)
{
    const Emitter* system = syncer.getSystemReflSource();
    const Emitter* direct = syncer.getDirectReflSource();
    auto sync = [&](auto Emitter::*prop)
    {
        if (system)
        {
            (this->*prop).sync(system->*prop);
            if (direct && (direct->*prop).isOverridden())
                (this->*prop).sync(direct->*prop);
        }
        else if (direct)
            (this->*prop).sync(direct->*prop);
    };
    sync(&Emitter::topBlocksLayoutPos_);
    sync(&Emitter::leftBlocksLayoutPos_);
    sync(&Emitter::bottomBlocksLayoutPos_);
    sync(&Emitter::standalone_);
    sync(&Emitter::maxNumParticles_);
    sync(&Emitter::sorting_);
}

void Emitter::removeBlockWhileReflectionSync(const Uuid& id)
{
    Block* block = findBlockById(id);
    DEBUG_ASSERT(block);
    if (block->castToBlockGlobParam())
        globalParametersUpdated_ = true;
    // The reflected links on it go too; syncLinks rebuilds the others.
    removeBlockSilent(id);
}

void Emitter::syncEmitterBlocksPresence(const EmitterSyncer& syncer,
                                        const ExternalResourcesMap& map)
{
    const Emitter* system = syncer.getSystemReflSource();
    const Emitter* direct = syncer.getDirectReflSource();
    const Emitter* base = syncer.getBaseReflSource();

    // Locked blocks whose sources are gone.
    for (const Uuid& id : std::vector<Uuid>(reflBlocks_))
    {
        const Block* block = findBlockById(id);
        DEBUG_ASSERT(block);
        const bool kept = (system && system->findBlockBySystemReflId(block->getSystemReflId())) ||
                          (direct && direct->findBlockByEmitterReflId(block->getEmitterReflId()));
        if (!kept)
            removeBlockWhileReflectionSync(id);
    }

    auto addMissing = [&](const Emitter& source, Tie tie)
    {
        for (const Uuid& id : source.blockList(BL_All))
        {
            const Block& block = source.getBlockById(id);
            // With a base, what the base gave is there already; it must be locked then.
            if (counterpartHere(*this, block, tie))
                continue;
            if (tie == Tie::System)
                addBlockWhileReflectionSync(syncer, map, block, boost::none,
                                            block.getSystemReflId());
            else
                addBlockWhileReflectionSync(syncer, map, block, block.getEmitterReflId(),
                                            boost::none);
        }
    };
    auto fixFromDirect = [&]
    {
        fixUpdatersAfterReflection(
            [&](const Uuid& paramId) -> Block*
            {
                const Block* param = direct->findBlockById(paramId);
                return param ? findBlockByEmitterReflId(param->getEmitterReflId()) : nullptr;
            });
    };
    auto fixFromSystem = [&]
    {
        fixUpdatersAfterReflection(
            [&](const Uuid& paramId) -> Block*
            {
                const Block* param = system->findBlockById(paramId);
                return param ? findBlockBySystemReflId(param->getSystemReflId()) : nullptr;
            });
    };

    if (direct && !system)
    {
        addMissing(*direct, Tie::Emitter);
        fixFromDirect();
    }
    else if (system && !base)
    {
        // Without a base, a direct source beside the system source adds nothing: its blocks
        // reach this emitter through the effect's counterpart.
        addMissing(*system, Tie::System);
        fixFromSystem();
    }
    else if (base)
    {
        for (const Uuid& id : base->blockList(BL_All))
        {
            const Block& block = base->getBlockById(id);
            const Block* inSystem = system->findBlockByEmitterReflId(block.getEmitterReflId());
            const Block* inDirect = direct->findBlockBySystemReflId(block.getSystemReflId());
            DEBUG_ASSERT(inSystem && inDirect);
            const Block* byEmitterId = findBlockByEmitterReflId(inDirect->getEmitterReflId());
            const Block* bySystemId = findBlockBySystemReflId(inSystem->getSystemReflId());
            DEBUG_ASSERT(byEmitterId == bySystemId);
            if (!byEmitterId)
                addBlockWhileReflectionSync(syncer, map, block, inDirect->getEmitterReflId(),
                                            inSystem->getSystemReflId());
            else
                DEBUG_ASSERT(doesHaveReflectedBlock(byEmitterId->getId()));
        }
        fixUpdatersAfterReflection(
            [&](const Uuid& paramId) -> Block*
            {
                const Block* param = base->findBlockById(paramId);
                const Block* emitterSourceParam =
                    param ? direct->findBlockBySystemReflId(param->getSystemReflId()) : nullptr;
                return emitterSourceParam
                           ? findBlockByEmitterReflId(emitterSourceParam->getEmitterReflId())
                           : nullptr;
            });
        // Blocks that the system source or the direct source has alone.
        addMissing(*system, Tie::System);
        fixFromSystem();
        addMissing(*direct, Tie::Emitter);
        fixFromDirect();
    }
}

void Emitter::addBlockWhileReflectionSync(const EmitterSyncer& syncer,
                                          const ExternalResourcesMap& map, const Block& source,
                                          boost::optional<Uuid> emitterReflId,
                                          boost::optional<Uuid> systemReflId)
{
    std::unique_ptr<Block> copy = source.reflectIndirect(emitterReflId, systemReflId, {});
    Block& added = *copy;
    const Uuid id = added.getId();
    blocks_.emplace(id, std::move(copy));
    reflBlocks_.push_back(id);
    filterAndDispatchBlock(added);
    added.connectWithOwner(*this, {});
    Emitter* system = syncer.getSystemReflSource();
    added.syncDeep(system ? system->getSystem() : nullptr, syncer.getDirectReflSource(),
                   findDirectBlockSource(added, map), system);
    if (added.castToBlockGlobParam())
        globalParametersUpdated_ = true;
}

void Emitter::fixUpdatersAfterReflection(const std::function<Block*(const Uuid&)>& find)
{
    for (const auto& entry : blocks_)
    {
        BlockParamUserUpdater* updater = entry.second->castToBlockParamUpdater();
        if (!updater || !updater->doesNeedReconnectAfterReflection())
            continue;
        const Block* param = find(updater->getParamId());
        DEBUG_ASSERT(param);
        updater->reconnectAfterReflection(param->getId());
    }
}

void Emitter::syncParamsOrder(const EmitterSyncer& syncer)
{
    const Emitter* system = syncer.getSystemReflSource();
    const Emitter* direct = syncer.getDirectReflSource();
    std::vector<Uuid>& params = lists_[BL_Param];
    if (system)
        bubbleIntoSourceOrder(params,
                              [&](const Uuid& id)
                              {
                                  const Uuid& key = getBlockById(id).getSystemReflId();
                                  return paramIndexIn(*system, [&](const Block& b)
                                                      { return b.getSystemReflId() == key; });
                              });
    if (direct)
        bubbleIntoSourceOrder(params,
                              [&](const Uuid& id)
                              {
                                  const Uuid& key = getBlockById(id).getEmitterReflId();
                                  return paramIndexIn(*direct, [&](const Block& b)
                                                      { return b.getEmitterReflId() == key; });
                              });
    updateColorizer();
}

void Emitter::syncDirectReflections(const EmitterSyncer& syncer)
{
    // A source's reference names an id of the source's file: it is translated to the block
    // here that stands for the block it names.
    auto translate = [&](Emitter& source, Tie tie)
    {
        for (const Uuid& id : source.blockList(BL_All))
        {
            const Block& sourceBlock = source.getBlockById(id);
            Block* target = counterpartHere(*this, sourceBlock, tie);
            DEBUG_ASSERT(target);
            const boost::optional<ReflectionSourceRef> sourceReflSource =
                sourceBlock.getReflSourceRef();
            boost::optional<ReflectionSourceRef> translated;
            if (sourceReflSource)
            {
                DEBUG_ASSERT(!sourceReflSource->isExternal());
                const Block* sourceBlockSource = findBlockInFileOf(source, *sourceReflSource->id);
                DEBUG_ASSERT(sourceBlockSource);
                if (tie == Tie::System)
                {
                    DEBUG_ASSERT(getSystem());
                    const Block* directSourceBlock = getSystem()->findDeepBlockBySystemReflId(
                        sourceBlockSource->getSystemReflId());
                    DEBUG_ASSERT(directSourceBlock);
                    translated = ReflectionSourceRef::internal(directSourceBlock->getId());
                }
                else if (const Block* here =
                             findBlockByEmitterReflId(sourceBlockSource->getEmitterReflId()))
                    translated = ReflectionSourceRef::internal(here->getId());
                else
                    // A block resource of the same effect, named as it is.
                    translated = ReflectionSourceRef::internal(*sourceReflSource->id);
            }
            if (target->getReflSourceRef() != translated)
                target->setReflSourceRef(translated, {});
        }
    };
    if (Emitter* system = syncer.getSystemReflSource())
        translate(*system, Tie::System);
    if (Emitter* direct = syncer.getDirectReflSource())
        translate(*direct, Tie::Emitter);
}

Block* Emitter::findDirectBlockSource(const Block& block, const ExternalResourcesMap& map)
{
    const boost::optional<ReflectionSourceRef> ref = block.getReflSourceRef();
    if (!ref)
        return nullptr;
    if (ref->isExternal())
        return map.findBlock(*ref->relPath);
    return findBlockInFileOf(*this, *ref->id);
}

void Emitter::syncAllBlocks(System* sourceSystem, Emitter* directSource,
                            const ExternalResourcesMap& map)
{
    std::vector<Uuid> visited;
    Emitter* systemSource =
        sourceSystem ? sourceSystem->findEmitterBySystemReflId(systemReflId_) : nullptr;
    for (const Uuid& id : std::vector<Uuid>(lists_[BL_All]))
    {
        Block* block = findBlockById(id);
        if (!block)
            continue;
        const boost::optional<ReflectionSourceRef> ref = block->getReflSourceRef();
        // A block whose source is a sibling is reached from that sibling.
        if (ref && !ref->isExternal() && findBlockById(*ref->id))
            continue;
        recursiveBlockSync(sourceSystem, systemSource, directSource,
                           findDirectBlockSource(*block, map), *block, visited);
    }
}

void Emitter::recursiveBlockSync(System* sourceSystem, Emitter* systemSource, Emitter* directSource,
                                 Block* directBlock, Block& block, std::vector<Uuid>& visited)
{
    // Each block once, even where a damaged file names a circle of sources.
    if (std::find(visited.begin(), visited.end(), block.getId()) != visited.end())
        return;
    visited.push_back(block.getId());
    block.syncDeep(sourceSystem, directSource, directBlock, systemSource);
    for (const Uuid& id : std::vector<Uuid>(lists_[BL_All]))
    {
        Block* other = findBlockById(id);
        if (!other)
            continue;
        const boost::optional<ReflectionSourceRef> ref = other->getReflSourceRef();
        if (ref && ref->id && *ref->id == block.getId())
            recursiveBlockSync(sourceSystem, systemSource, directSource, &block, *other, visited);
    }
}

void Emitter::syncLinks(const EmitterSyncer& syncer)
{
    reflLinks_.clear();
    auto sameInput = [](const BlockConnector& input)
    { return [input](const BlockLink& link) { return link.input_ == input; }; };
    // A source's link between the blocks here that stand for its two sides.
    auto translate = [&](const Emitter& source, const BlockLink& link, Tie tie)
    {
        const Block* outputBlock =
            counterpartHere(*this, source.getBlockById(link.output_.blockId), tie);
        const Block* inputBlock =
            counterpartHere(*this, source.getBlockById(link.input_.blockId), tie);
        DEBUG_ASSERT(outputBlock && inputBlock);
        return BlockLink{{outputBlock->getId(), link.output_.desc_},
                         {inputBlock->getId(), link.input_.desc_}};
    };

    if (const Emitter* system = syncer.getSystemReflSource())
        for (unsigned int i = 0; i < system->getNumLinks(); ++i)
        {
            const BlockLink translated = translate(*system, system->getLink(i), Tie::System);
            eraseOwnLinksIf(sameInput(translated.input_));
            reflLinks_.push_back(translated);
        }
    // The direct source has the last word on an input.
    if (const Emitter* direct = syncer.getDirectReflSource())
        for (unsigned int i = 0; i < direct->getNumLinks(); ++i)
        {
            const BlockLink translated = translate(*direct, direct->getLink(i), Tie::Emitter);
            DEBUG_ASSERT(getBlockById(translated.output_.blockId)
                             .getConnectorIndexByDesc(translated.output_.desc_));
            DEBUG_ASSERT(getBlockById(translated.input_.blockId)
                             .getConnectorIndexByDesc(translated.input_.desc_));
            eraseOwnLinksIf(sameInput(translated.input_));
            reflLinks_.erase(
                std::remove_if(reflLinks_.begin(), reflLinks_.end(), sameInput(translated.input_)),
                reflLinks_.end());
            reflLinks_.push_back(translated);
        }
}

// Separation.

void Emitter::separate()
{
    DEBUG_ASSERT(reflSource_);
    DEBUG_ASSERT(!owner_ || !owner_->isLockedByParentReflection(*this));
    reflSource_ = boost::none;
    reflBlocks_.clear();
    links_.insert(links_.begin(), reflLinks_.begin(), reflLinks_.end());
    reflLinks_.clear();
    upgradeRevision(false);
}

void Emitter::separateWhileParentSeparation(System* system, const ExternalResourcesMap& map,
                                            AccessKey<System>)
{
    Emitter* source = nullptr;
    if (reflSource_)
        source = reflSource_->isExternal() ? map.findEmitter(*reflSource_->relPath)
                                           : system->findEmitterById(*reflSource_->id);
    if (source)
    {
        // Only the old effect kept what the direct source doesn't have.
        const size_t before = reflBlocks_.size();
        reflBlocks_.erase(std::remove_if(reflBlocks_.begin(), reflBlocks_.end(),
                                         [&](const Uuid& id) {
                                             return !source->findBlockByEmitterReflId(
                                                 getBlockById(id).getEmitterReflId());
                                         }),
                          reflBlocks_.end());
        systemReflId_ = BoostExt::generateUuid();
        if (reflBlocks_.size() != before)
            upgradeRevision(false);
    }
    else
    {
        reflBlocks_.clear();
        links_.insert(links_.end(), reflLinks_.begin(), reflLinks_.end());
        reflLinks_.clear();
        systemReflId_ = BoostExt::generateUuid();
        upgradeRevision(false);
    }
    for (const auto& entry : blocks_)
        entry.second->_regenerateSystemReflId({});
}

}  // namespace Plm
