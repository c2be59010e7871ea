#include "particle_layout_model/plm_block.h"

#include <algorithm>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_syncer.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_system.h"
#include "plm_reflection_helpers.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

Block::Block()
    : id_(BoostExt::generateUuid()),
      emitterReflId_(BoostExt::generateUuid()),
      systemReflId_(BoostExt::generateUuid()),
      revision_(BoostExt::generateUuid())
{
}

Block::Block(LoadFlag) {}

Block::~Block() = default;

#define PLM_CONST_CAST(Type, name)                                                                 \
    const Type* Block::name() const { return const_cast<Block*>(this)->name(); }
PLM_CONST_CAST(BlockGenerator, castToBlockGenerator)
PLM_CONST_CAST(BlockTerminator, castToBlockTerminator)
PLM_CONST_CAST(BlockConstruct, castToBlockConstruct)
PLM_CONST_CAST(BlockPositioner, castToBlockPositioner)
PLM_CONST_CAST(BlockFunc, castToBlockFunc)
PLM_CONST_CAST(BlockGlob, castToBlockGlob)
PLM_CONST_CAST(BlockGlobParam, castToBlockGlobParam)
PLM_CONST_CAST(BlockParam, castToBlockParam)
PLM_CONST_CAST(BlockParamUserUpdater, castToBlockParamUpdater)
PLM_CONST_CAST(BlockParamEmitter, castToBlockParamEmitterParam)
#undef PLM_CONST_CAST

std::unique_ptr<Block> Block::createFromLoader(Sl::RevisionLoader& loader)
{
    CrcString name;
    Sl::read(loader, name);
    std::unique_ptr<Block> block = BlocksFactory::instance().createForLoadByName(name);
    if (block)
        block->load(loader);
    return block;
}

void Block::connectWithOwner(BlockOwner& owner, OwnerKey)
{
    owner_ = &owner;
    connectedWithOwner();
    updateConnectors();
}

ProjectResource* Block::getProjectResource() const
{
    DEBUG_ASSERT(owner_);
    return owner_->getProjectResource();
}

Emitter* Block::getEmitter() const { return owner_ ? owner_->getEmitter() : nullptr; }

System* Block::getSystem() const
{
    if (!owner_)
        return nullptr;
    // A block in an emitter finds the effect through its emitter, a block resource through
    // its resource.
    if (Emitter* emitter = owner_->getEmitter())
        return emitter->getSystem();
    if (SystemResource* resource = owner_->getSystemResource())
        return resource->getSystem();
    return nullptr;
}

bool Block::isLockedByParentReflection() const
{
    return owner_ && owner_->isLockedByParentReflection(*this);
}

void Block::setReflSourceRef(boost::optional<ReflectionSourceRef> ref, AccessKey<Emitter, System>)
{
    reflSource_ = std::move(ref);
    upgradeRevision(false);
}

std::unique_ptr<Block> Block::reflect(const ReflectionSourceRef& ref,
                                      AccessKey<Emitter, System>) const
{
    std::unique_ptr<Block> block = copyImpl();
    block->bakeProps();
    block->reflSource_ = ref;
    return block;
}

std::unique_ptr<Block> Block::reflectIndirect(boost::optional<boost::uuids::uuid> emitterReflId,
                                              boost::optional<boost::uuids::uuid> systemReflId,
                                              AccessKey<Emitter, System>) const
{
    std::unique_ptr<Block> block = copyImpl();
    block->bakeProps();
    if (emitterReflId)
        block->emitterReflId_ = *emitterReflId;
    if (systemReflId)
        block->systemReflId_ = *systemReflId;
    return block;
}

void Block::doExport(EmitterExportCompilerBin&, unsigned int) const
{
    DEBUG_ASSERT(!"a block kind without an operation of the runtime");
}

void Block::_regenerateSystemReflId(AccessKey<Emitter, System>)
{
    systemReflId_ = BoostExt::generateUuid();
}

void Block::separate()
{
    DEBUG_ASSERT(reflSource_);
    DEBUG_ASSERT(!isLockedByParentReflection());
    reflSource_ = boost::none;
    upgradeRevision(false);
}

namespace
{

// The block itself, or null if it is of another kind than `target`: a file that pairs blocks
// of two kinds gives a source that can't be followed.
Block* sameKind(Block* block, const Block& target)
{
    return block && block->getFactoryName() == target.getFactoryName() ? block : nullptr;
}

}  // namespace

bool Block::syncWithReflectionSource(const BlockSyncer& syncer)
{
    DEBUG_ASSERT(&syncer.getTarget() == this);
    bool changed = recordSourceRevision(sysReflRev_, syncer.getSystemReflSource());
    changed = recordSourceRevision(emtReflRev_, syncer.getEmitterReflSource()) || changed;
    changed = recordSourceRevision(dirReflRev_, syncer.getDirectReflSource()) || changed;
    if (!changed)
        return false;
    syncReflectionImpl(syncer);
    const Block* sourceAnyBlock = syncer.getNearestSource();
    DEBUG_ASSERT(sourceAnyBlock);
    // Through resetConnectors, so that links on connectors the source no longer has go.
    resetConnectors(sourceAnyBlock->connectors_);
    upgradeRevision(true);
    return true;
}

bool Block::syncDeep(System* sourceSystem, Emitter* sourceEmitter, Block* directSource,
                     Emitter* systemSourceEmitter)
{
    // A systemReflId is unique within an effect: found in the emitter's counterpart, it is the
    // one the whole effect would give.
    Block* systemSource = nullptr;
    if (sourceSystem)
    {
        systemSource = systemSourceEmitter
                           ? systemSourceEmitter->findBlockBySystemReflId(systemReflId_)
                           : nullptr;
        if (!systemSource)
            systemSource = sourceSystem->findDeepBlockBySystemReflId(systemReflId_);
        systemSource = sameKind(systemSource, *this);
    }
    Block* emitterSource =
        sourceEmitter ? sameKind(sourceEmitter->findBlockByEmitterReflId(emitterReflId_), *this)
                      : nullptr;
    directSource = sameKind(directSource, *this);
    return syncWithReflectionSource(BlockSyncer(*this, systemSource, emitterSource, directSource));
}

void Block::extractExternalSources(std::vector<boost::filesystem::path>& paths) const
{
    if (!reflSource_ || !reflSource_->relPath)
        return;
    if (std::find(paths.begin(), paths.end(), *reflSource_->relPath) == paths.end())
        paths.push_back(*reflSource_->relPath);
}

void Block::replaceExternalSource(const boost::filesystem::path& from,
                                  const boost::filesystem::path& to)
{
    if (!reflSource_ || !reflSource_->relPath || reflSource_->relPath->compare(from) != 0)
        return;
    reflSource_ = ReflectionSourceRef::external(to);
    upgradeRevision(false);
}

const BlockConnectorDesc& Block::getConnectorDesc(unsigned int i) const
{
    DEBUG_ASSERT(i < connectors_.size());
    return connectors_[i];
}

boost::optional<BlockConnector> Block::findConnectorById(unsigned int index) const
{
    for (const BlockConnectorDesc& desc : connectors_)
        if (desc.index_ == index)
            return BlockConnector{id_, desc};
    return boost::none;
}

BlockConnector Block::getConnectorById(unsigned int index) const
{
    boost::optional<BlockConnector> conn = findConnectorById(index);
    DEBUG_ASSERT(conn);
    return *conn;
}

boost::optional<unsigned int> Block::getConnectorIndexByDesc(const BlockConnectorDesc& desc) const
{
    auto it = std::find(connectors_.begin(), connectors_.end(), desc);
    if (it == connectors_.end())
        return boost::none;
    return static_cast<unsigned int>(it - connectors_.begin());
}

void Block::resetConnectors(const BlockConnectorDesc* descs, unsigned int count)
{
    if (descs)
        connectors_.assign(descs, descs + count);
    else
        connectors_.clear();
    if (owner_)
        if (Emitter* emitter = owner_->getEmitter())
            emitter->removeObsoleteBlockLinksAfterConnectorsUpdate(*this, {});
}

void Block::upgradeRevision(bool affectsExport)
{
    revision_ = BoostExt::generateUuid();
    if (owner_)
        owner_->notifyDeepChanged(affectsExport);
}

void Block::save(Sl::RevisionSaver& saver) const
{
    Sl::write("factory_name", saver, getFactoryName());
    Sl::ScopedSaverGroup group("block", saver, 0);
    Sl::write("id", saver, id_);
    {
        Sl::ScopedSaverGroup reflGroup("refl_source", saver);
        saver.write(nullptr, static_cast<bool>(reflSource_));
        if (reflSource_)
            Sl::write(nullptr, saver, *reflSource_);
    }
    Sl::write("emitter_id", saver, emitterReflId_);
    Sl::write("system_id", saver, systemReflId_);
    Sl::write("revision", saver, revision_);
    if (std::shared_ptr<Sl::RevisionSaver> content = saver.beginSaveResource(id_, revision_))
    {
        Sl::write("dir_refl_rev", *content, dirReflRev_);
        Sl::write("emt_refl_rev", *content, emtReflRev_);
        Sl::write("sys_refl_rev", *content, sysReflRev_);
        saveImpl(*content);
    }
}

void Block::load(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, id_);
    {
        Sl::ScopedLoaderGroup reflGroup(loader);
        bool hasSource = false;
        loader.read(hasSource);
        reflSource_ = boost::none;
        if (hasSource)
        {
            ReflectionSourceRef ref;
            Sl::read(loader, ref);
            reflSource_ = ref;
        }
    }
    Sl::read(loader, emitterReflId_);
    Sl::read(loader, systemReflId_);
    Sl::read(loader, revision_);
    if (std::shared_ptr<Sl::RevisionLoader> content = loader.beginLoadResource(id_, revision_))
    {
        Sl::read(*content, dirReflRev_);
        Sl::read(*content, emtReflRev_);
        Sl::read(*content, sysReflRev_);
        loadImpl(*content);
    }
}

// Function blocks.

BlockFunc::BlockFunc(const BlockFunc& other)
    : Block(),
      position_(other.position_),
      pinned_(other.pinned_),
      homeForce_(other.homeForce_),
      needsPresimulatePosition_(other.needsPresimulatePosition_)
{
}

void BlockFunc::setPinned(bool pinned)
{
    if (pinned_ == pinned)
        return;
    pinned_ = pinned;
    notifyPropChanged(false);
}

void BlockFunc::setHomeForce(EnumBlockFuncHomeForce force)
{
    if (homeForce_ == force)
        return;
    homeForce_ = force;
    notifyPropChanged(false);
}

void BlockFunc::setNeedsPresimulatePosition(bool needs)
{
    if (needsPresimulatePosition_ == needs)
        return;
    needsPresimulatePosition_ = needs;
    notifyPropChanged(false);
}

void BlockFunc::setPosition(const glm::vec2& position)
{
    DEBUG_ASSERT(!pinned_ || !isLockedByParentReflection());
    position_ = position;
}

void BlockFunc::syncReflectionImpl(const BlockSyncer& syncer)
{
    // The place on the scheme follows the emitter's or the effect's counterpart; a block's own
    // source may stand anywhere else.
    const Block* source = syncer.getEmitterReflSource();
    if (!source)
        source = syncer.getSystemReflSource();
    if (!source)
        return;
    const BlockFunc* funcSource = source->castToBlockFunc();
    DEBUG_ASSERT(funcSource);
    pinned_ = funcSource->pinned_;
    homeForce_ = funcSource->homeForce_;
    if (pinned_)
        position_ = funcSource->position_;
}

void BlockFunc::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("block_func", saver, 2);
    Sl::write("position", saver, position_);
    saver.write("pinned", pinned_);
    saver.write("homeForce", static_cast<uint8_t>(homeForce_));
}

void BlockFunc::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 2);
    glm::vec2 position;
    Sl::read(loader, position);
    bool pinned = true;
    uint8_t homeForce = BFHF_None;
    if (group.version() == 1)
    {
        loader.skipBool();
        loader.read(homeForce);
    }
    else if (group.version() == 2)
    {
        loader.read(pinned);
        loader.read(homeForce);
    }
    if (homeForce > BFHF_Center)
        throw Sl::CorruptedDataException();
    position_ = position;
    pinned_ = pinned;
    homeForce_ = static_cast<EnumBlockFuncHomeForce>(homeForce);
}

}  // namespace Plm
