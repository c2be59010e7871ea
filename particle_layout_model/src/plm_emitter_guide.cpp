#include "particle_layout_model/plm_emitter_guide.h"

#include <cstdlib>
#include <exception>

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace
{

using Uuid = boost::uuids::uuid;

// A number in [0, 1) from four rand() results, each reduced to a byte.
float uniformRandom()
{
    uint32_t bits = 0;
    for (int i = 0; i < 4; ++i)
        bits = (bits << 8) | (static_cast<uint32_t>(std::rand()) & 0xffu);
    return static_cast<float>(bits * (1.0 / 4294967296.0));
}

template <class T>
std::unique_ptr<Block> makeBlock()
{
    return std::unique_ptr<Block>(T::create().release());
}

void saveOwnBlock(Sl::RevisionSaver& saver, const EmitterGuide::OwnBlock& block, const char* key)
{
    Sl::ScopedSaverGroup group(saver, EmitterGuide::kVersion);
    saver.write("valid", block.valid);
    Sl::write(key, saver, block.id);
}

void loadOwnBlock(Sl::RevisionLoader& loader, EmitterGuide::OwnBlock& block)
{
    Sl::ScopedLoaderGroup group(loader, EmitterGuide::kVersion);
    loader.read(block.valid);
    Sl::read(loader, block.id);
}

void saveRefs(Sl::RevisionSaver& saver, const boost::optional<EmitterGuide::BlockRefs>& refs)
{
    Sl::ScopedSaverGroup group(saver, EmitterGuide::kVersion);
    saver.write("present", static_cast<bool>(refs));
    if (!refs)
        return;
    Sl::write("refs", saver, static_cast<uint32_t>(refs->refs_));
    Sl::write("id", saver, refs->id);
    saver.write("valid", refs->valid);
}

void loadRefs(Sl::RevisionLoader& loader, boost::optional<EmitterGuide::BlockRefs>& refs)
{
    Sl::ScopedLoaderGroup group(loader, EmitterGuide::kVersion);
    bool present = false;
    loader.read(present);
    refs = boost::none;
    if (!present)
        return;
    EmitterGuide::BlockRefs read;
    uint32_t count = 0;
    Sl::read(loader, count);
    Sl::read(loader, read.id);
    loader.read(read.valid);
    // A shared block that nobody requested would never be released.
    if (count == 0)
        throw Sl::CorruptedDataException();
    read.refs_ = count;
    refs = read;
}

}  // namespace

EmitterGuide::ScopedChange::ScopedChange(EmitterGuide& guide) : guide_(guide)
{
    ++guide_.changeDepth_;
}

EmitterGuide::ScopedChange::~ScopedChange() noexcept(false)
{
    DEBUG_ASSERT(guide_.changeDepth_ > 0);
    if (--guide_.changeDepth_ > 0)
        return;
    // An operation that failed half-way leaves the graph to the user; the sections that lost
    // their shape turn invalid at the next update.
    if (std::uncaught_exceptions() > 0)
        return;
    guide_.fixing_ = true;
    try
    {
        guide_.fixLinks();
    }
    catch (...)
    {
        guide_.fixing_ = false;
        throw;
    }
    guide_.fixing_ = false;
    // The emitter's notifications were held back during the change: the form reads the graph
    // once, now that it is linked.
    guide_.updateFromEmitter();
}

EmitterGuide::EmitterGuide(Emitter& emitter) : emitter_(emitter)
{
    ScopedChange scope = scopedChange();
    customValues_ = std::make_unique<Eg::CustomValues>(*this);
    generation_ = std::make_unique<Eg::Generation>(*this);
    termination_ = std::make_unique<Eg::Termination>(*this);
    blockParticleTime_ = {true, emitter_.addBlock(BlockParamLifetime::create()).getId()};
    blockPositioner_ = {true, emitter_.addBlock(BlockPositioner::create()).getId()};
    std::unique_ptr<BlockConstructQuads> construct = BlockConstructQuads::create();
    construct->setSize(10.0f);
    blockConstruct_ = {true, emitter_.addBlock(std::move(construct)).getId()};
    positionStart_ = std::make_unique<Eg::PositionStart>(*this);
    positionChange_ = std::make_unique<Eg::PositionChange>(*this);
    rotation_ = std::make_unique<Eg::Rotation>(*this);
    size_ = std::make_unique<Eg::Size>(*this);
    transparency_ = std::make_unique<Eg::Transparency>(*this);
    color_ = std::make_unique<Eg::Color>(*this);
    texMapping_ = std::make_unique<Eg::TexMapping>(*this);
    termination_->addTerminator(Eg::TerminationType::MaxLife);
}

EmitterGuide::EmitterGuide(Emitter& emitter, Sl::RevisionLoader& loader) : emitter_(emitter)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    const uint32_t version = group.version();
    // Older guides had no custom values: an empty list makes no block.
    if (version >= 3)
        customValues_ = std::make_unique<Eg::CustomValues>(*this, loader);
    else
        customValues_ = std::make_unique<Eg::CustomValues>(*this);
    generation_ = std::make_unique<Eg::Generation>(*this, loader);
    // Before the list of terminators there was one maximal life, made a list once the id of
    // its age expression has been read with the particle time.
    Eg::OldMaxLifeData oldMaxLife;
    if (version >= 5)
        termination_ = std::make_unique<Eg::Termination>(*this, loader);
    else
        oldMaxLife = Eg::Termination::loadOldMaxLife(*this, loader);
    positionStart_ = std::make_unique<Eg::PositionStart>(*this, loader);
    positionChange_ = std::make_unique<Eg::PositionChange>(*this, loader);
    rotation_ = std::make_unique<Eg::Rotation>(*this, loader);
    size_ = std::make_unique<Eg::Size>(*this, loader);
    transparency_ = std::make_unique<Eg::Transparency>(*this, loader);
    color_ = std::make_unique<Eg::Color>(*this, loader);
    if (version >= 6)
        texMapping_ = std::make_unique<Eg::TexMapping>(*this, loader);
    else
        texMapping_ = std::make_unique<Eg::TexMapping>(*this, loader, Eg::TexMapping::OldFormTag());

    Uuid oldExpressionId{};
    {
        Sl::ScopedLoaderGroup particleTime(loader, kVersion);
        loader.read(blockParticleTime_.valid);
        Sl::read(loader, blockParticleTime_.id);
        if (version <= 4)
            Sl::read(loader, oldExpressionId);
    }
    {
        Sl::ScopedLoaderGroup positioner(loader, kVersion);
        loader.read(blockPositioner_.valid);
        Sl::read(loader, blockPositioner_.id);
        if (version <= 4)
            loader.skipBool();
    }
    loadOwnBlock(loader, blockConstruct_);
    if (!termination_)
        termination_ = Eg::Termination::createFromOldMaxLifeData(*this, std::move(oldMaxLife),
                                                                 oldExpressionId);

    loadRefs(loader, emitterVelocity_);
    if (version >= 4)
        loadRefs(loader, emitterPosition_);
    if (version >= 2)
        loadRefs(loader, emitterRotation_);
    loadRefs(loader, emitterTime_);
    loadRefs(loader, systemTime_);

    if (version <= 2)
    {
        // Every parameter of the time counts as the guide's, in the order it has.
        for (const Uuid& id : emitter_.paramBlocks().ids())
            registered_[id] = ParticleProperty{false};
        return;
    }
    Sl::ScopedLoaderGroup registeredGroup(loader, kVersion);
    uint32_t count = 0;
    Sl::read(loader, count);
    Sl::Detail::checkItemCount(loader, count);
    for (uint32_t i = 0; i < count; ++i)
    {
        Uuid id{};
        Sl::read(loader, id);
        ParticleProperty property;
        loader.read(property.forCustomValue);
        registered_[id] = property;
    }
}

EmitterGuide::EmitterGuide(Emitter& emitter, Eg::Base::EmptyReflectionTag) : emitter_(emitter) {}

EmitterGuide::~EmitterGuide() = default;

std::unique_ptr<EmitterGuide> EmitterGuide::reflect(Emitter& emitter) const
{
    return std::make_unique<EmitterGuide>(emitter, Eg::Base::EmptyReflectionTag());
}

namespace
{

// Makes a section of the guide of a reflection if it has none yet, then syncs it.
template <class S>
void syncSection(std::unique_ptr<S>& section, const std::unique_ptr<S>& source, EmitterGuide& guide)
{
    if (!source)
    {
        section.reset();
        return;
    }
    if (!section)
        section = std::make_unique<S>(guide, Eg::Base::EmptyReflectionTag());
    section->syncReflection(*source);
}

}  // namespace

void EmitterGuide::syncReflection(const EmitterGuide& source)
{
    // The sections first, in their order: later ones may look at earlier ones.
    syncSection(customValues_, source.customValues_, *this);
    syncSection(generation_, source.generation_, *this);
    syncSection(termination_, source.termination_, *this);
    syncSection(positionStart_, source.positionStart_, *this);
    syncSection(positionChange_, source.positionChange_, *this);
    syncSection(rotation_, source.rotation_, *this);
    syncSection(size_, source.size_, *this);
    syncSection(transparency_, source.transparency_, *this);
    syncSection(color_, source.color_, *this);
    syncSection(texMapping_, source.texMapping_, *this);

    const Emitter& sourceEmitter = source.emitter_;
    auto mapId = [&](const Uuid& id)
    { return Eg::findReflectedBlockId(emitter_, sourceEmitter, id).value_or(Uuid{}); };
    for (auto [own, theirs] :
         {std::pair<OwnBlock*, const OwnBlock*>{&blockParticleTime_, &source.blockParticleTime_},
          {&blockPositioner_, &source.blockPositioner_},
          {&blockConstruct_, &source.blockConstruct_}})
        *own = OwnBlock{theirs->valid, mapId(theirs->id)};
    for (auto [own, theirs] :
         {std::pair<boost::optional<BlockRefs>*, const boost::optional<BlockRefs>*>{
              &emitterVelocity_, &source.emitterVelocity_},
          {&emitterPosition_, &source.emitterPosition_},
          {&emitterRotation_, &source.emitterRotation_},
          {&emitterTime_, &source.emitterTime_},
          {&systemTime_, &source.systemTime_}})
    {
        if (*theirs)
            *own = BlockRefs{(*theirs)->valid, (*theirs)->refs_, mapId((*theirs)->id)};
        else
            own->reset();
    }
    // The parameters the form placed, as the twins of the source's.
    registered_.clear();
    for (const auto& entry : source.registered_)
    {
        const Uuid id = mapId(entry.first);
        if (!id.is_nil())
            registered_[id] = entry.second;
    }
}

std::vector<Eg::Base*> EmitterGuide::sections() const
{
    return {customValues_.get(),   generation_.get(), termination_.get(), positionStart_.get(),
            positionChange_.get(), rotation_.get(),   size_.get(),        transparency_.get(),
            color_.get(),          texMapping_.get()};
}

EmitterGuide::ScopedChange EmitterGuide::scopedChange() { return ScopedChange(*this); }

void EmitterGuide::updateFromEmitter()
{
    if (changeDepth_ > 0 || fixing_)
        return;
    for (Eg::Base* section : sections())
        if (section)
            section->updateFromEmitter();

    blockParticleTime_.valid = emitter_.findBlockById(blockParticleTime_.id) != nullptr;

    blockPositioner_.valid = false;
    if (Block* block = emitter_.findBlockById(blockPositioner_.id))
        if (BlockPositioner* positioner = block->castToBlockPositioner())
            if (positioner->isPositionExternal() && positionChange_)
                if (boost::optional<BlockConnector> from = positionChange_->getPositionConnector())
                    if (boost::optional<BlockConnector> to = positioner->findConnectorById(0))
                        blockPositioner_.valid =
                            static_cast<bool>(emitter_.getLinkIndex(BlockLink{*from, *to}));

    const Block* construct = emitter_.findBlockById(blockConstruct_.id);
    blockConstruct_.valid = construct && construct->castToBlockConstruct() &&
                            construct->castToBlockConstruct()->castToBlockConstructQuads();

    for (boost::optional<BlockRefs>* refs :
         {&emitterVelocity_, &emitterPosition_, &emitterRotation_, &emitterTime_, &systemTime_})
        updateRefs(*refs);
}

void EmitterGuide::updateRefs(boost::optional<BlockRefs>& refs) const
{
    if (refs)
        refs->valid = emitter_.findBlockById(refs->id) != nullptr;
}

void EmitterGuide::fixLinks()
{
    DEBUG_ASSERT(!lastRegisteredParticleProperty_);
    const OrderedIdListClient<BlockParam>& params = emitter_.paramBlocks();
    for (auto it = registered_.begin(); it != registered_.end();)
        it = params.findIndex(it->first) ? std::next(it) : registered_.erase(it);

    registeringCustomValues_ = true;
    customValues_->fixLinks();
    registeringCustomValues_ = false;
    generation_->fixLinks();
    if (blockParticleTime_.valid)
        registerParticleProperty(blockParticleTime_.id);
    for (Eg::Base* section :
         {static_cast<Eg::Base*>(termination_.get()), static_cast<Eg::Base*>(positionStart_.get()),
          static_cast<Eg::Base*>(positionChange_.get()), static_cast<Eg::Base*>(rotation_.get()),
          static_cast<Eg::Base*>(size_.get()), static_cast<Eg::Base*>(transparency_.get()),
          static_cast<Eg::Base*>(color_.get()), static_cast<Eg::Base*>(texMapping_.get())})
        section->fixLinks();

    if (blockPositioner_.valid)
        if (boost::optional<BlockConnector> from = positionChange_->getPositionConnector())
        {
            Block* positioner = emitter_.findBlockById(blockPositioner_.id);
            DEBUG_ASSERT(positioner && "blockPositioner");
            if (boost::optional<BlockConnector> to = positioner->findConnectorById(0))
                emitter_.createLink(BlockLink{*from, *to});
        }
    lastRegisteredParticleProperty_ = boost::none;
}

void EmitterGuide::registerParticleProperty(const Uuid& id)
{
    if (!registered_.count(id))
    {
        OrderedIdListClient<BlockParam>& params = emitter_.paramBlocks();
        const boost::optional<unsigned int> newPropIndex = params.findIndex(id);
        DEBUG_ASSERT(newPropIndex);
        const std::vector<Uuid> before = params.ids();
        if (lastRegisteredParticleProperty_)
            params.changeItemIndexAfter(*newPropIndex, lastRegisteredParticleProperty_);
        else
            params.changeItemIndex(*newPropIndex, 0);
        registered_[id] = ParticleProperty{registeringCustomValues_};
        // The order of parameters is the order of the compiled particle record.
        if (params.ids() != before)
            emitter_.bakeBlockParamsIndexChange();
    }
    lastRegisteredParticleProperty_ = id;
}

void EmitterGuide::postLoad()
{
    ScopedChange scope = scopedChange();
    positionStart_->postLoad();
    positionChange_->postLoad();
}

void EmitterGuide::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    for (const Eg::Base* section : sections())
        section->save(saver);
    saveOwnBlock(saver, blockParticleTime_, "lifeTimeId");
    saveOwnBlock(saver, blockPositioner_, "positionerId");
    saveOwnBlock(saver, blockConstruct_, "constructId");
    for (const boost::optional<BlockRefs>* refs :
         {&emitterVelocity_, &emitterPosition_, &emitterRotation_, &emitterTime_, &systemTime_})
        saveRefs(saver, *refs);
    Sl::ScopedSaverGroup registeredGroup(saver, kVersion);
    Sl::write("size", saver, static_cast<uint32_t>(registered_.size()));
    for (const auto& entry : registered_)
    {
        Sl::write(nullptr, saver, entry.first);
        saver.write(nullptr, entry.second.forCustomValue);
    }
}

void EmitterGuide::collectValues(std::vector<Eg::Value*>& values) const
{
    for (Eg::Base* section : sections())
        if (section)
            section->collectValues(values);
}

Uuid EmitterGuide::requestGlobal(boost::optional<BlockRefs>& refs, std::unique_ptr<Block> (*make)())
{
    if (refs)
    {
        ++refs->refs_;
        return refs->id;
    }
    ScopedChange scope = scopedChange();
    const Uuid id = emitter_.addBlock(make()).getId();
    refs = BlockRefs{true, 1, id};
    return id;
}

void EmitterGuide::releaseGlobal(boost::optional<BlockRefs>& refs)
{
    DEBUG_ASSERT(refs && refs->refs_ > 0);
    if (--refs->refs_ > 0)
        return;
    ScopedChange scope = scopedChange();
    if (emitter_.findBlockById(refs->id))
        emitter_.removeBlock(refs->id);
    refs = boost::none;
}

Uuid EmitterGuide::requestEmitterVelocityId()
{
    return requestGlobal(emitterVelocity_, &makeBlock<BlockGlobEmitterDir>);
}
Uuid EmitterGuide::requestEmitterPositionId()
{
    return requestGlobal(emitterPosition_, &makeBlock<BlockGlobEmitterPos>);
}
Uuid EmitterGuide::requestEmitterRotationId()
{
    return requestGlobal(emitterRotation_, &makeBlock<BlockGlobEmitterRot>);
}
Uuid EmitterGuide::requestEmitterTimeId()
{
    return requestGlobal(emitterTime_, &makeBlock<BlockGlobTime>);
}
Uuid EmitterGuide::requestSystemTimeId()
{
    return requestGlobal(systemTime_, &makeBlock<BlockGlobSystemTime>);
}
void EmitterGuide::releaseEmitterVelocityId() { releaseGlobal(emitterVelocity_); }
void EmitterGuide::releaseEmitterPositionId() { releaseGlobal(emitterPosition_); }
void EmitterGuide::releaseEmitterRotationId() { releaseGlobal(emitterRotation_); }
void EmitterGuide::releaseEmitterTimeId() { releaseGlobal(emitterTime_); }
void EmitterGuide::releaseSystemTimeId() { releaseGlobal(systemTime_); }

boost::optional<BlockConnector> EmitterGuide::getNormParticleLifeConnector() const
{
    // The guide of a reflection has no sections until its first synchronisation.
    if (!termination_)
        return boost::none;
    const Eg::TerminationMaxLife* found = nullptr;
    unsigned int count = 0;
    for (unsigned int i = 0; i < termination_->numTerminators(); ++i)
    {
        const Eg::TerminationBase& terminator = termination_->terminator(i);
        if (terminator.type() != Eg::TerminationType::MaxLife)
            continue;
        found = static_cast<const Eg::TerminationMaxLife*>(&terminator);
        ++count;
    }
    if (count != 1)
        return boost::none;
    return found->getNormTimeConnector();
}

void EmitterGuide::setRandomPositionForBlock(BlockFunc& block) const
{
    const glm::vec2& left = emitter_.getLeftBlocksLayoutPos();
    const glm::vec2& top = emitter_.getTopBlocksLayoutPos();
    const glm::vec2& bottom = emitter_.getBottomBlocksLayoutPos();
    const float d = top.x - left.x;
    const float x0 = left.x - d, x1 = top.x + d;
    const float x = x0 + uniformRandom() * (x1 - x0);
    const float y = top.y + uniformRandom() * (bottom.y - top.y);
    block.setPosition(glm::vec2(x, y));
}

void EmitterGuide::processQueue(std::unique_ptr<Eg::Event> first)
{
    struct Processing
    {
        EmitterGuide& guide;
        explicit Processing(EmitterGuide& g) : guide(g) { guide.processing_ = true; }
        ~Processing()
        {
            guide.processing_ = false;
            guide.events_.clear();
        }
    } processing(*this);
    processSingleEvent(*first);
    while (!events_.empty())
    {
        std::unique_ptr<Eg::Event> next = std::move(events_.front());
        events_.pop_front();
        processSingleEvent(*next);
    }
}

void EmitterGuide::processSingleEvent(const Eg::Event& event)
{
    // A custom value may have come to depend on another: their parameters are placed anew at
    // the next fixLinks.
    if (dynamic_cast<const Eg::EventCustomValueChanged*>(&event))
        for (auto it = registered_.begin(); it != registered_.end();)
            it = it->second.forCustomValue ? registered_.erase(it) : std::next(it);
    for (Eg::Base* section : sections())
        if (section)
            section->processEvent(event);
}

}  // namespace Plm
