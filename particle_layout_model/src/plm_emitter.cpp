#include "particle_layout_model/plm_emitter.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_param.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_param_blocks_colorizer.h"
#include "particle_layout_model/plm_system.h"
#include "plm_scoped_flag.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

Uuid newUuid() { return BoostExt::generateUuid(); }

bool touches(const BlockLink& link, const BlockConnector& conn)
{
    return link.output_ == conn || link.input_ == conn;
}

// A guide whose data break its own rules is a damaged file, not a broken program.
template <class F>
void asLoadError(F&& f)
{
    try
    {
        f();
    }
    catch (const Debug::CheckException&)
    {
        throw EmitterLoadException("the emitter's guide doesn't fit its blocks");
    }
}

}  // namespace

const char* Emitter::blockListKey(EnumBlockList list)
{
    static const char* const keys[BL_Count] = {
        "all_blocks",           "glob_blocks",       "generator_blocks",  "param_blocks",
        "func_blocks",          "terminator_blocks", "positioner_blocks", "construct_blocks",
        "param_emitter_blocks", "glob_param_blocks"};
    DEBUG_ASSERT(list < BL_Count);
    return keys[list];
}

bool Emitter::isInBlockList(EnumBlockList list, const Block& block)
{
    switch (list)
    {
    case BL_All:
        return true;
    case BL_Glob:
        return block.castToBlockGlob() != nullptr;
    case BL_Generator:
        return block.castToBlockGenerator() != nullptr;
    case BL_Param:
        return block.castToBlockParam() != nullptr;
    case BL_Func:
        return block.castToBlockFunc() != nullptr;
    case BL_Terminator:
        return block.castToBlockTerminator() != nullptr;
    case BL_Positioner:
        return block.castToBlockPositioner() != nullptr;
    case BL_Construct:
        return block.castToBlockConstruct() != nullptr;
    case BL_ParamEmitter:
    {
        const BlockParam* param = block.castToBlockParam();
        return param && param->castToBlockParamEmitter();
    }
    case BL_GlobParam:
        return block.castToBlockGlob() && block.castToBlockGlobParam();
    case BL_Count:
        break;
    }
    DEBUG_ASSERT(!"block list");
    return false;
}

Emitter::Emitter(std::string name)
    : id_(newUuid()),
      systemReflId_(newUuid()),
      revision_(newUuid()),
      deepRevision_(newUuid()),
      name_(std::move(name)),
      colorizer_(std::make_unique<EmitterParamBlocksColorizer>()),
      topBlocksLayoutPos_(*this, false, glm::vec2(200.0f, 0.0f)),
      leftBlocksLayoutPos_(*this, false, glm::vec2(0.0f, 200.0f)),
      bottomBlocksLayoutPos_(*this, false, glm::vec2(200.0f, 500.0f)),
      standalone_(*this, false, true),
      maxNumParticles_(*this, false, 100u),
      sorting_(*this, false, static_cast<Ps::EnumEmitterSorting>(0))
{
}

Emitter::Emitter(LoadFlag)
    : topBlocksLayoutPos_(*this),
      leftBlocksLayoutPos_(*this),
      bottomBlocksLayoutPos_(*this),
      standalone_(*this),
      maxNumParticles_(*this),
      sorting_(*this)
{
}

Emitter::Emitter(const Emitter& other)
    : PropsOwner(),
      BlockOwner(),
      id_(newUuid()),
      systemReflId_(newUuid()),
      revision_(newUuid()),
      deepRevision_(newUuid()),
      copiedButNotSynced_(true),
      name_(other.name_),
      colorizer_(std::make_unique<EmitterParamBlocksColorizer>()),
      topBlocksLayoutPos_(*this, other.topBlocksLayoutPos_),
      leftBlocksLayoutPos_(*this, other.leftBlocksLayoutPos_),
      bottomBlocksLayoutPos_(*this, other.bottomBlocksLayoutPos_),
      standalone_(*this, other.standalone_),
      maxNumParticles_(*this, other.maxNumParticles_),
      sorting_(*this, other.sorting_)
{
    // An empty form, filled by the first synchronisation with the blocks.
    if (other.guide_)
        guide_ = other.guide_->reflect(*this);
}

Emitter::~Emitter() = default;

std::unique_ptr<Emitter> Emitter::create(const std::string& name)
{
    std::unique_ptr<Emitter> emitter = std::make_unique<Emitter>(name);
    emitter->guide_ = std::make_shared<EmitterGuide>(*emitter);
    return emitter;
}

std::unique_ptr<Emitter> Emitter::createForLoad() { return std::make_unique<Emitter>(LoadFlag()); }

std::unique_ptr<Emitter> Emitter::reflect(const ReflectionSourceRef& ref) const
{
    std::unique_ptr<Emitter> copy(new Emitter(*this));
    copy->bakeProps();
    copy->reflSource_ = ref;
    return copy;
}

std::unique_ptr<Emitter> Emitter::reflectIndirect(AccessKey<System>) const
{
    std::unique_ptr<Emitter> copy(new Emitter(*this));
    copy->bakeProps();
    copy->systemReflId_ = systemReflId_;
    return copy;
}

void Emitter::setReflSourceRef(const boost::optional<ReflectionSourceRef>& ref, AccessKey<System>)
{
    reflSource_ = ref;
    upgradeRevision(false);
}

void Emitter::_regenerateSystemReflId(AccessKey<System>) { systemReflId_ = newUuid(); }

// Settings.

void Emitter::setName(const std::string& name)
{
    name_ = name;
    upgradeRevision(false);
}

void Emitter::setEnabled(bool enabled)
{
    enabled_ = enabled;
    upgradeRevision(true);
}

void Emitter::setStandalone(const boost::optional<bool>& value)
{
    setPropAndNotify(standalone_, value);
}

void Emitter::setMaxNumParticles(const boost::optional<unsigned int>& value)
{
    setPropAndNotify(maxNumParticles_, value);
}

void Emitter::setSorting(const boost::optional<Ps::EnumEmitterSorting>& value)
{
    setPropAndNotify(sorting_, value);
}

// Where the scheme lays out its rows is no part of the compiled emitter.
void Emitter::setTopBlocksLayoutPos(const boost::optional<glm::vec2>& value)
{
    topBlocksLayoutPos_.set(value);
    upgradeRevision(false);
}

void Emitter::setLeftBlocksLayoutPos(const boost::optional<glm::vec2>& value)
{
    leftBlocksLayoutPos_.set(value);
    upgradeRevision(false);
}

void Emitter::setBottomBlocksLayoutPos(const boost::optional<glm::vec2>& value)
{
    bottomBlocksLayoutPos_.set(value);
    upgradeRevision(false);
}

// Change.

void Emitter::upgradeRevision(bool affectsExport)
{
    if (loadingBlock_)
        return;
    revision_ = newUuid();
    deepRevision_ = newUuid();
    if (guide_ && affectsExport && !syncing_)
        guide_->updateFromEmitter();
    if (owner_)
        owner_->notifyDeepChanged(affectsExport);
}

void Emitter::notifyDeepChanged(bool affectsExport)
{
    // A copy has no blocks of its own until its first synchronisation, and a block connected
    // while a file is read changes nothing that was saved.
    if (copiedButNotSynced_ || loadingBlock_)
        return;
    deepRevision_ = newUuid();
    if (guide_ && !syncing_)
        guide_->updateFromEmitter();
    if (owner_)
        owner_->notifyDeepChanged(affectsExport);
}

ProjectResource* Emitter::getProjectResource()
{
    return owner_ ? owner_->getProjectResource() : nullptr;
}

SystemResource* Emitter::getSystemResource()
{
    return owner_ ? owner_->getSystemResource() : nullptr;
}

// Blocks.

Block& Emitter::addBlock(std::unique_ptr<Block> block)
{
    DEBUG_ASSERT(block && !blocks_.count(block->getId()));
    Block& added = *block;
    blocks_.emplace(added.getId(), std::move(block));
    filterAndDispatchBlock(added);
    added.connectWithOwner(*this, {});
    if (added.castToBlockGlobParam())
        globalParametersUpdated_ = true;
    // A function block alone doesn't change what the resource exports.
    upgradeRevision(!added.castToBlockFunc());
    return added;
}

Block& Emitter::addBlockReflection(const Block& source, const ReflectionSourceRef& ref)
{
    return addBlock(source.reflect(ref, {}));
}

std::unique_ptr<Block> Emitter::reflectBlock(const Block& block,
                                             const ReflectionSourceRef& ref) const
{
    return block.reflect(ref, {});
}

void Emitter::removeBlock(const Uuid& id)
{
    Block* block = findBlockById(id);
    DEBUG_ASSERT(block);
    if (block->castToBlockGlobParam())
        globalParametersUpdated_ = true;
    removeBlockSilent(id);
    upgradeRevision(true);
}

void Emitter::removeBlockSilent(const Uuid& id)
{
    DEBUG_ASSERT(blocks_.find(id) != blocks_.end());
    Block& block = *blocks_.find(id)->second;
    if (const BlockParam* param = block.castToBlockParam())
        if (param->castToBlockParamUser())
            removeAllNonReflectedUpdaters(id);
    separateNonReflectedBlockReflections(block);
    eraseOwnLinksIf([&](const BlockLink& link)
                    { return link.output_.blockId == id || link.input_.blockId == id; });
    // Only synchronisation removes a reflected block; its entries go with it.
    reflBlocks_.erase(std::remove(reflBlocks_.begin(), reflBlocks_.end(), id), reflBlocks_.end());
    reflLinks_.erase(std::remove_if(reflLinks_.begin(), reflLinks_.end(),
                                    [&](const BlockLink& link) {
                                        return link.output_.blockId == id ||
                                               link.input_.blockId == id;
                                    }),
                     reflLinks_.end());
    auto it = blocks_.find(id);
    std::unique_ptr<Block> removed = std::move(it->second);
    blocks_.erase(it);
    filterAndDispatchBlocks();
}

void Emitter::removeAllNonReflectedUpdaters(const Uuid& paramId)
{
    std::vector<Uuid> updaters;
    for (const auto& entry : blocks_)
    {
        const BlockParamUserUpdater* updater =
            static_cast<const Block&>(*entry.second).castToBlockParamUpdater();
        if (updater && updater->getParamId() == paramId && !doesHaveReflectedBlock(entry.first))
            updaters.push_back(entry.first);
    }
    for (const Uuid& id : updaters)
        removeBlockSilent(id);
}

void Emitter::separateNonReflectedBlockReflections(const Block& block)
{
    for (const auto& entry : blocks_)
    {
        const boost::optional<ReflectionSourceRef> source = entry.second->getReflSourceRef();
        if (source && source->id && *source->id == block.getId() &&
            !doesHaveReflectedBlock(entry.first))
            entry.second->setReflSourceRef(boost::none, {});
    }
}

void Emitter::filterAndDispatchBlock(const Block& block)
{
    for (unsigned int l = 0; l < BL_Count; ++l)
    {
        std::vector<Uuid>& list = lists_[l];
        if (isInBlockList(static_cast<EnumBlockList>(l), block) &&
            std::find(list.begin(), list.end(), block.getId()) == list.end())
            list.push_back(block.getId());
    }
    updateColorizer();
}

void Emitter::filterAndDispatchBlocks()
{
    // The list of all blocks first; the others take what they miss in its order.
    allBlocks_.syncRemove([&](const Uuid& id) { return blocks_.count(id) != 0; });
    for (const auto& entry : blocks_)
        allBlocks_.syncAdd(entry.first);
    for (unsigned int l = BL_All + 1; l < BL_Count; ++l)
    {
        const EnumBlockList list = static_cast<EnumBlockList>(l);
        OrderedIdListClientBase view(lists_[l]);
        view.syncRemove(
            [&](const Uuid& id)
            {
                const Block* block = findBlockById(id);
                return block && isInBlockList(list, *block);
            });
        for (const Uuid& id : lists_[BL_All])
            if (isInBlockList(list, getBlockById(id)))
                view.syncAdd(id);
    }
    updateColorizer();
}

void Emitter::updateColorizer()
{
    if (!colorizer_)
        return;
    std::vector<const BlockParam*> params;
    for (const Uuid& id : lists_[BL_Param])
    {
        const Block* block = findBlockById(id);
        params.push_back(block ? block->castToBlockParam() : nullptr);
    }
    colorizer_->update(params);
}

Block& Emitter::loadBlock(Sl::RevisionLoader& loader)
{
    CrcString name;
    Sl::read(loader, name);
    std::unique_ptr<Block> block = BlocksFactory::instance().createForLoadByName(name);
    if (!block)
        throw UnknownBlockKindException(name.str());
    block->load(loader);
    const Uuid id = block->getId();
    if (blocks_.count(id))
        throw EmitterLoadException("two blocks of the emitter have one id");
    Block& added = *block;
    blocks_.emplace(id, std::move(block));
    if (added.castToBlockConstruct())
    {
        // Files from before positioners fed the position of particles to the constructor.
        const BlockConnector position{id, inputDesc(CT_Vec3, 0)};
        boost::optional<unsigned int> index = getLinkOnInputConnector(position);
        if (index && !isLinkReflected(*index))
            obsoleteConnector_ = getLink(*index).output_;
    }
    {
        // Links that the block's connectors no longer hold go without a new revision.
        ScopedFlag loading(loadingBlock_);
        added.connectWithOwner(*this, {});
    }
    if (added.castToBlockGlobParam())
        globalParametersUpdated_ = true;
    return added;
}

Block* Emitter::findBlockById(const Uuid& id) const
{
    auto it = blocks_.find(id);
    return it == blocks_.end() ? nullptr : it->second.get();
}

Block& Emitter::getBlockById(const Uuid& id) const
{
    Block* block = findBlockById(id);
    DEBUG_ASSERT(block);
    return *block;
}

template <class T>
T& Emitter::getCastBlockById(const Uuid& id, T* (Block::*cast)()) const
{
    T* block = (getBlockById(id).*cast)();
    DEBUG_ASSERT(block);
    return *block;
}

BlockGlob& Emitter::getGlobBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockGlob>(id, &Block::castToBlockGlob);
}
BlockGenerator& Emitter::getGeneratorBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockGenerator>(id, &Block::castToBlockGenerator);
}
BlockParam& Emitter::getParamBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockParam>(id, &Block::castToBlockParam);
}
BlockFunc& Emitter::getFuncBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockFunc>(id, &Block::castToBlockFunc);
}
BlockTerminator& Emitter::getTerminatorBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockTerminator>(id, &Block::castToBlockTerminator);
}
BlockPositioner& Emitter::getPositionerBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockPositioner>(id, &Block::castToBlockPositioner);
}
BlockConstruct& Emitter::getConstructBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockConstruct>(id, &Block::castToBlockConstruct);
}
BlockParamEmitter& Emitter::getParamEmitterBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockParamEmitter>(id, &Block::castToBlockParamEmitterParam);
}
BlockGlobParam& Emitter::getGlobParamBlockById(const Uuid& id) const
{
    return getCastBlockById<BlockGlobParam>(id, &Block::castToBlockGlobParam);
}

Block* Emitter::findBlockBySystemReflId(const Uuid& id) const
{
    for (const auto& entry : blocks_)
        if (entry.second->getSystemReflId() == id)
            return entry.second.get();
    return nullptr;
}

Block* Emitter::findBlockByEmitterReflId(const Uuid& id) const
{
    for (const auto& entry : blocks_)
        if (entry.second->getEmitterReflId() == id)
            return entry.second.get();
    return nullptr;
}

bool Emitter::doesHaveReflectedBlock(const Uuid& id) const
{
    return std::find(reflBlocks_.begin(), reflBlocks_.end(), id) != reflBlocks_.end();
}

void Emitter::enumerateExternalDependeciesHolders(
    const std::function<void(ExternalDependencyHolder&)>& f)
{
    for (const auto& entry : blocks_)
        f(*entry.second);
}

void Emitter::enumerateExternalDependeciesHolders(
    const std::function<void(const ExternalDependencyHolder&)>& f) const
{
    for (const auto& entry : blocks_)
        f(*entry.second);
}

void Emitter::extractExternalSources(std::vector<boost::filesystem::path>& paths) const
{
    if (reflSource_ && reflSource_->relPath &&
        std::find(paths.begin(), paths.end(), *reflSource_->relPath) == paths.end())
        paths.push_back(*reflSource_->relPath);
    for (unsigned int i = 0; i < allBlocks_.size(); ++i)
        allBlocks_[i].extractExternalSources(paths);
}

void Emitter::replaceDeepExternalSource(const boost::filesystem::path& from,
                                        const boost::filesystem::path& to)
{
    if (reflSource_ && reflSource_->relPath && reflSource_->relPath->compare(from) == 0)
    {
        reflSource_ = ReflectionSourceRef::external(to);
        upgradeRevision(false);
        return;
    }
    for (unsigned int i = 0; i < allBlocks_.size(); ++i)
        allBlocks_[i].replaceExternalSource(from, to);
}

// Links.

unsigned int Emitter::getNumLinks() const
{
    return static_cast<unsigned int>(links_.size() + reflLinks_.size());
}

const BlockLink& Emitter::getLink(unsigned int i) const
{
    DEBUG_ASSERT(i < getNumLinks());
    return i < links_.size() ? links_[i] : reflLinks_[i - links_.size()];
}

boost::optional<unsigned int> Emitter::getLinkIndex(const BlockLink& link) const
{
    for (unsigned int i = 0; i < getNumLinks(); ++i)
        if (getLink(i) == link)
            return i;
    return boost::none;
}

boost::optional<unsigned int> Emitter::getLinkIndex(const BlockConnector& output,
                                                    const Block& input,
                                                    unsigned int inputIndex) const
{
    boost::optional<BlockConnector> in = input.findConnectorById(inputIndex);
    if (!in)
        return boost::none;
    return getLinkIndex(BlockLink{output, *in});
}

boost::optional<unsigned int> Emitter::getLinkIndex(const Block& output, unsigned int outputIndex,
                                                    const BlockConnector& input) const
{
    boost::optional<BlockConnector> out = output.findConnectorById(outputIndex);
    if (!out)
        return boost::none;
    return getLinkIndex(BlockLink{*out, input});
}

boost::optional<unsigned int> Emitter::getLinkIndex(const Block& output, unsigned int outputIndex,
                                                    const Block& input,
                                                    unsigned int inputIndex) const
{
    boost::optional<BlockConnector> out = output.findConnectorById(outputIndex);
    if (!out)
        return boost::none;
    return getLinkIndex(*out, input, inputIndex);
}

boost::optional<unsigned int> Emitter::getLinkOnInputConnector(const BlockConnector& conn) const
{
    for (unsigned int i = 0; i < getNumLinks(); ++i)
        if (touches(getLink(i), conn))
            return i;
    return boost::none;
}

bool Emitter::createLink(const BlockLink& link)
{
    if (getLinkIndex(link))
        return false;
    if (link.output_.desc_.type_ != link.input_.desc_.type_)
    {
        DEBUG_EXPECT(link.output_.desc_.type_ == link.input_.desc_.type_);
        return false;
    }
    eraseOwnLinksIf([&](const BlockLink& l) { return touches(l, link.input_); });
    links_.push_back(link);
    upgradeRevision(true);
    return true;
}

bool Emitter::createLink(const BlockConnector& output, const Block& input, unsigned int inputIndex)
{
    return createLink(BlockLink{output, input.getConnectorById(inputIndex)});
}

bool Emitter::createLink(const Block& output, unsigned int outputIndex, const BlockConnector& input)
{
    return createLink(BlockLink{output.getConnectorById(outputIndex), input});
}

bool Emitter::createLink(const Block& output, unsigned int outputIndex, const Block& input,
                         unsigned int inputIndex)
{
    return createLink(output.getConnectorById(outputIndex), input, inputIndex);
}

void Emitter::clearNonReflectedConnector(const BlockConnector& conn)
{
    const size_t before = links_.size();
    eraseOwnLinksIf([&](const BlockLink& link) { return touches(link, conn); });
    if (links_.size() != before)
        upgradeRevision(true);
}

void Emitter::removeObsoleteBlockLinksAfterConnectorsUpdate(const Block& block, AccessKey<Block>)
{
    auto obsolete = [&](const BlockConnector& side)
    { return side.blockId == block.getId() && !block.getConnectorIndexByDesc(side.desc_); };
    const size_t before = links_.size();
    eraseOwnLinksIf([&](const BlockLink& link)
                    { return obsolete(link.output_) || obsolete(link.input_); });
    if (links_.size() != before)
        upgradeRevision(true);
}

void Emitter::eraseOwnLinksIf(const std::function<bool(const BlockLink&)>& pred)
{
    links_.erase(std::remove_if(links_.begin(), links_.end(), pred), links_.end());
}

// Relations. The editor offers no choice that closes a cycle, but a file may hold one: each
// walk visits an emitter once.

bool Emitter::hasAnyLevelConnectedEmitter(const Uuid& id) const
{
    std::vector<Uuid> visited{id_};
    return hasAnyLevelConnectedEmitter(id, visited);
}

bool Emitter::hasAnyLevelConnectedEmitter(const Uuid& id, std::vector<Uuid>& visited) const
{
    const System* system = getSystem();
    if (!system)
        return false;
    for (const BlockParamEmitter& block : paramEmitterBlocks())
    {
        const boost::optional<Uuid>& attachedId = block.getEmitterId();
        if (!attachedId)
            continue;
        if (*attachedId == id)
            return true;
        if (std::find(visited.begin(), visited.end(), *attachedId) != visited.end())
            continue;
        visited.push_back(*attachedId);
        if (const Emitter* attached = system->getEmitterById(*attachedId))
            if (attached->hasAnyLevelConnectedEmitter(id, visited))
                return true;
    }
    return false;
}

bool Emitter::hasAnyLevelReflection(const Uuid& id) const
{
    std::vector<Uuid> visited{id_};
    return hasAnyLevelReflection(id, visited);
}

bool Emitter::hasAnyLevelReflection(const Uuid& id, std::vector<Uuid>& visited) const
{
    const System* system = getSystem();
    if (!system)
        return false;
    for (unsigned int i = 0; i < system->getNumEmitters(); ++i)
    {
        const Emitter& other = system->getEmitter(i);
        if (&other == this || !other.reflSource_ || !other.reflSource_->id ||
            *other.reflSource_->id != id_)
            continue;
        if (other.id_ == id)
            return true;
        if (std::find(visited.begin(), visited.end(), other.id_) != visited.end())
            continue;
        visited.push_back(other.id_);
        if (other.hasAnyLevelReflection(id, visited))
            return true;
    }
    return false;
}

void Emitter::detachFromRelatedEmitters()
{
    System* system = getSystem();
    if (!system)
        return;
    for (unsigned int i = 0; i < system->getNumEmitters(); ++i)
    {
        Emitter& other = system->getEmitter(i);
        if (&other == this)
            continue;
        for (BlockParamEmitter& block : other.paramEmitterBlocks())
            if (block.getEmitterId() == id_)
                block.setEmitterId(boost::make_optional(boost::optional<Uuid>()));
    }
}

// Files.

void Emitter::saveWithoutBlocks(Sl::RevisionSaver& saver) const
{
    DEBUG_ASSERT(!copiedButNotSynced_);
    DEBUG_ASSERT(colorizer_);
    Sl::ScopedSaverGroup group("emitter", saver, 8);
    Sl::write("id", saver, id_);
    Sl::write("system_id", saver, systemReflId_);
    Sl::write("revision", saver, revision_);
    Sl::write("deep_revision", saver, deepRevision_);
    if (std::shared_ptr<Sl::RevisionSaver> content = saver.beginSaveResource(id_, revision_))
    {
        Sl::RevisionSaver& out = *content;
        {
            Sl::ScopedSaverGroup reflGroup("refl_source", out, 0);
            out.write(nullptr, static_cast<bool>(reflSource_));
            if (reflSource_)
                Sl::write(nullptr, out, *reflSource_);
        }
        Sl::write("dir_refl_rev", out, dirReflRev_);
        Sl::write("sys_refl_rev", out, sysReflRev_);
        Sl::write("name", out, name_);
        for (unsigned int l = 0; l < BL_Count; ++l)
            Sl::write(blockListKey(static_cast<EnumBlockList>(l)), out, lists_[l]);
        Sl::write("links", out, links_);
        Sl::write("refl_blocks", out, reflBlocks_);
        Sl::write("refl_links", out, reflLinks_);
        topBlocksLayoutPos_.save("globals_layout_disp", out);
        leftBlocksLayoutPos_.save("params_layout_disp", out);
        bottomBlocksLayoutPos_.save("constructs_layout_disp", out);
        standalone_.save("standalone", out);
        maxNumParticles_.save("max_num_particles", out);
        sorting_.save("sorting", out);
        out.write(nullptr, enabled_);
        out.write(nullptr, geometryVisible_);
        out.write(nullptr, reservedFlag_);
        out.write(nullptr, wireframeVisible_);
    }
    colorizer_->save(saver);
}

void Emitter::loadWithoutBlocks(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 8);
    const uint32_t version = group.version();
    Sl::read(loader, id_);
    Sl::read(loader, systemReflId_);
    Sl::read(loader, revision_);
    Sl::read(loader, deepRevision_);
    if (std::shared_ptr<Sl::RevisionLoader> content = loader.beginLoadResource(id_, revision_))
    {
        Sl::RevisionLoader& in = *content;
        {
            Sl::ScopedLoaderGroup reflGroup(in, 0);
            bool hasSource = false;
            in.read(hasSource);
            reflSource_ = boost::none;
            if (hasSource)
            {
                ReflectionSourceRef ref;
                Sl::read(in, ref);
                reflSource_ = ref;
            }
        }
        Sl::read(in, dirReflRev_);
        Sl::read(in, sysReflRev_);
        Sl::read(in, name_);
        for (unsigned int l = 0; l < BL_Count; ++l)
        {
            lists_[l].clear();
            // The first version had no positioners.
            if (l == BL_Positioner && version == 0)
                continue;
            Sl::read(in, lists_[l]);
        }
        Sl::read(in, links_);
        Sl::read(in, reflBlocks_);
        Sl::read(in, reflLinks_);
        topBlocksLayoutPos_.load(in);
        leftBlocksLayoutPos_.load(in);
        bottomBlocksLayoutPos_.load(in);
        standalone_.load(in);
        maxNumParticles_.load(in);
        sorting_.load(in);
        if (version == 2)
        {
            // An early guide stood here; the guide of today is stored apart.
            bool hasOldGuide = false;
            in.read(hasOldGuide);
            if (hasOldGuide)
                in.skipGroup();
        }
        guide_.reset();
        enabled_ = true;
        if (version >= 7)
            in.read(enabled_);
        geometryVisible_ = true;
        reservedFlag_ = false;
        if (version >= 5)
        {
            in.read(geometryVisible_);
            in.read(reservedFlag_);
        }
        wireframeVisible_ = false;
        if (version >= 6)
            in.read(wireframeVisible_);
    }
    if (version >= 8)
        colorizer_ = std::make_unique<EmitterParamBlocksColorizer>(loader);
    else
        colorizer_ = std::make_unique<EmitterParamBlocksColorizer>();
}

void Emitter::saveEmitterGuide(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, 8);
    Sl::write("guide_refl_rev", saver, guideReflRev_);
    saver.write("has_guide", static_cast<bool>(guide_));
    if (guide_)
        guide_->save(saver);
}

void Emitter::loadEmitterGuide(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 8);
    guideReflRev_ = boost::none;
    if (group.version() >= 4)
        Sl::read(loader, guideReflRev_);
    bool hasGuide = false;
    loader.read(hasGuide);
    guide_.reset();
    if (hasGuide)
        asLoadError([&] { guide_ = std::make_shared<EmitterGuide>(*this, loader); });
}

bool Emitter::linkSideExists(const BlockConnector& side, EnumConnectorDir dir) const
{
    const Block* block = findBlockById(side.blockId);
    return side.desc_.dir_ == dir && block && block->getConnectorIndexByDesc(side.desc_);
}

void Emitter::checkLoadedBlocks()
{
    for (unsigned int l = 0; l < BL_Count; ++l)
    {
        const EnumBlockList list = static_cast<EnumBlockList>(l);
        std::set<Uuid> seen;
        for (const Uuid& id : lists_[l])
        {
            const Block* block = findBlockById(id);
            if (!block || !isInBlockList(list, *block) || !seen.insert(id).second)
                throw EmitterLoadException(std::string("the list \"") + blockListKey(list) +
                                           "\" names a block that isn't there or doesn't belong");
        }
    }
    filterAndDispatchBlocks();

    std::set<Uuid> reflected;
    for (const Uuid& id : reflBlocks_)
        if (!findBlockById(id) || !reflected.insert(id).second)
            throw EmitterLoadException("a reflected block isn't there");

    std::set<std::tuple<Uuid, uint32_t>> fedInputs;
    for (const BlockLink& link : links_)
    {
        if (!linkSideExists(link.output_, CD_Output) || !linkSideExists(link.input_, CD_Input) ||
            link.output_.desc_.type_ != link.input_.desc_.type_)
            throw EmitterLoadException("a link names a block or connector that isn't there");
        if (!fedInputs.emplace(link.input_.blockId, link.input_.desc_.index_).second)
            throw EmitterLoadException("an input has two links");
    }
    // Reflected links are redone by the next synchronisation; those that no longer fit go.
    reflLinks_.erase(std::remove_if(reflLinks_.begin(), reflLinks_.end(),
                                    [&](const BlockLink& link)
                                    {
                                        return !linkSideExists(link.output_, CD_Output) ||
                                               !linkSideExists(link.input_, CD_Input) ||
                                               link.output_.desc_.type_ != link.input_.desc_.type_;
                                    }),
                     reflLinks_.end());
}

void Emitter::restorePositionerLink()
{
    if (!obsoleteConnector_)
        return;
    const BlockConnector fed = *obsoleteConnector_;
    obsoleteConnector_ = boost::none;
    // Reached with what a file holds, so a broken count is a load error, not a broken invariant.
    if (positionerBlocks().size() != 1)
        throw EmitterLoadException("positionerBlocks().size() == 1");
    if (constructBlocks().size() != 1)
        throw EmitterLoadException("constructBlocks().size() == 1");
    BlockPositioner& positioner = positionerBlocks()[0];
    const BlockConstruct& construct = constructBlocks()[0];
    if (findBlockById(fed.blockId) && linkSideExists(fed, CD_Output))
        if (boost::optional<BlockConnector> position = positioner.findConnectorById(0))
            createLink(BlockLink{fed, *position});
    if (const boost::optional<glm::vec3>& position = construct.getObsoletePosition())
        positioner.setPosition(*position);
}

void Emitter::postLoad()
{
    // A reflected emitter's guide is filled by synchronisation, also where the emitter is
    // there because its effect reflects another.
    if (reflSource_ || !guide_ || (owner_ && owner_->isLockedByParentReflection(*this)))
        return;
    // The form first takes what the graph holds now: a file whose guide names blocks that
    // aren't there gives invalid sections, and the migration's links reach only what is there.
    asLoadError(
        [this]
        {
            guide_->updateFromEmitter();
            guide_->postLoad();
        });
}

}  // namespace Plm
