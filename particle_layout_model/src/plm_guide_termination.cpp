#include "particle_layout_model/plm_guide_termination.h"

#include <algorithm>
#include <typeinfo>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_block_term_path.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "plm_guide_detail.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{

namespace
{

// Connectors of the max-life blocks.
constexpr uint32_t kTermLesser = 0;
constexpr uint32_t kTermGreater = 1;
constexpr uint32_t kExprOutput = BlockFuncExpression::kOutputConnector;
constexpr uint32_t kExprInputA = BlockFuncExpression::kFirstInputConnector;
constexpr uint32_t kExprInputB = BlockFuncExpression::kFirstInputConnector + 1;
constexpr uint32_t kParticleTimeOutput = 0;

}  // namespace

TerminationBase::TerminationBase(EmitterGuide& guide)
    : ReflectableBase(guide), id_(BoostExt::generateUuid())
{
}

TerminationBase::TerminationBase(EmitterGuide& guide, EmptyReflectionTag) : ReflectableBase(guide)
{
}

TerminationBase::TerminationBase(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, id_);
}

void TerminationBase::saveBase(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("id", saver, id_);
}

void TerminationBase::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    id_ = static_cast<const TerminationBase&>(source).id_;
}

ValueBuilder TerminationMaxLife::createValueBuilder(EmitterGuide& guide)
{
    const Plot curve = makeLinearCurve({{0.0f, 1.0f}, {1.0f, 3.0f}});
    ValueBuilder builder(guide, 3, Value::Type::Fixed);
    builder.values({{2.0f, 2.0f, 2.0f}})
        .randomRanges(Detail::sameRanges(1.0f, 3.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit("Max Life", true);
    return builder;
}

TerminationMaxLife::TerminationMaxLife(EmitterGuide& guide) : TerminationBase(guide)
{
    auto scope = guide.scopedChange();

    std::unique_ptr<BlockTermLess> term = BlockTermLess::create();
    term->setLesserValueExternal(true);
    term->setGreaterValueExternal(true);
    blockTermId_ = addBlock(std::move(term)).getId();

    // The age divided by the life: the normalised age that values over the life read.
    std::unique_ptr<BlockFuncExpression> expr =
        Detail::createTwoInputExpression(CT_Float, kExpression);
    expr->setHomeForce(BFHF_Center);
    blockExprId_ = addBlock(std::move(expr)).getId();

    value_ = std::make_unique<MultiValue>(guide, createValueBuilder(guide), 1);
    valid_ = true;
}

TerminationMaxLife::TerminationMaxLife(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : TerminationBase(guide, loader)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockTermId_);
    Sl::read(loader, blockExprId_);
    value_ = std::make_unique<MultiValue>(guide, createValueBuilder(guide), loader);
}

TerminationMaxLife::TerminationMaxLife(EmitterGuide& guide, OldMaxLifeData data,
                                       const Uuid& expressionId)
    : TerminationBase(guide),
      valid_(data.valid),
      blockTermId_(data.terminatorId),
      blockExprId_(expressionId),
      value_(std::move(data.value))
{
    DEBUG_ASSERT(value_);
}

TerminationMaxLife::TerminationMaxLife(EmitterGuide& guide, EmptyReflectionTag)
    : TerminationBase(guide, EmptyReflectionTag())
{
}

TerminationMaxLife::~TerminationMaxLife() = default;

std::unique_ptr<ReflectableBase> TerminationMaxLife::reflect(EmitterGuide& guide) const
{
    return std::make_unique<TerminationMaxLife>(guide, EmptyReflectionTag());
}

boost::optional<BlockConnector> TerminationMaxLife::getNormTimeConnector() const
{
    return findConnector(blockExprId_, kExprOutput);
}

void TerminationMaxLife::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    if (!value_->isValid())
        return;

    const auto* term = findBlockAs<BlockTermLess>(blockTermId_);
    if (!term || !term->isLesserValueExternal() || !term->isGreaterValueExternal())
        return;
    const Uuid& timeId = guide().blockParticleTimeId();
    if (!findBlock(timeId))
        return;
    if (!Detail::isTwoInputExpression(findBlockAs<BlockFuncExpression>(blockExprId_), CT_Float,
                                      kExpression))
        return;

    const boost::optional<BlockConnector> time = findConnector(timeId, kParticleTimeOutput);
    const boost::optional<BlockConnector> life = value_->getOutputConnector();
    valid_ = hasLink(time, blockTermId_, kTermLesser) && hasLink(time, blockExprId_, kExprInputA) &&
             hasLink(life, blockTermId_, kTermGreater) && hasLink(life, blockExprId_, kExprInputB);
}

void TerminationMaxLife::fixLinks()
{
    if (!valid_)
        return;
    value_->fixLinks();
    const boost::optional<BlockConnector> time =
        findConnector(guide().blockParticleTimeId(), kParticleTimeOutput);
    const boost::optional<BlockConnector> life = value_->getOutputConnector();
    link(time, blockTermId_, kTermLesser);
    link(time, blockExprId_, kExprInputA);
    link(life, blockTermId_, kTermGreater);
    link(life, blockExprId_, kExprInputB);
}

void TerminationMaxLife::removeFromEmitter()
{
    value_->removeFromEmitter();
    removeBlockIfExists(blockTermId_);
    removeBlockIfExists(blockExprId_);
}

void TerminationMaxLife::save(Sl::RevisionSaver& saver) const
{
    saveBase(saver);
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("termId", saver, blockTermId_);
    Sl::write("exprId", saver, blockExprId_);
    value_->save(saver);
}

void TerminationMaxLife::processEvent(const Event& event) { value_->processEvent(event); }

void TerminationMaxLife::collectValues(std::vector<Value*>& values)
{
    value_->collectValues(values);
}

void TerminationMaxLife::syncReflection(const Base& source)
{
    TerminationBase::syncReflection(source);
    const auto& other = static_cast<const TerminationMaxLife&>(source);
    valid_ = other.valid_;
    blockTermId_ = reflBlockId(other, other.blockTermId_);
    blockExprId_ = reflBlockId(other, other.blockExprId_);
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), createValueBuilder(guide()),
                                              EmptyReflectionTag());
    value_->syncReflection(*other.value_);
}

TerminationPath::TerminationPath(EmitterGuide& guide) : TerminationBase(guide)
{
    auto scope = guide.scopedChange();
    BlockTermPath& block = addBlock(BlockTermPath::create());
    blockId_ = block.getId();
    path_.setSource(block.getPath());
    valid_ = true;
}

TerminationPath::TerminationPath(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : TerminationBase(guide, loader)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockId_);
    Detail::CurrentGroup pathGroup(loader, 0);
    path_.load(loader);
}

TerminationPath::TerminationPath(EmitterGuide& guide, EmptyReflectionTag)
    : TerminationBase(guide, EmptyReflectionTag())
{
}

std::unique_ptr<ReflectableBase> TerminationPath::reflect(EmitterGuide& guide) const
{
    return std::make_unique<TerminationPath>(guide, EmptyReflectionTag());
}

void TerminationPath::discardPathRefl()
{
    auto* block = findBlockAs<BlockTermPath>(blockId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    path_.discardOverride();
    block->setPath(boost::none);
}

void TerminationPath::updateFromEmitter()
{
    valid_ = false;
    const auto* block = findBlockAs<BlockTermPath>(blockId_);
    if (!block)
        return;
    updateReflFromProp(path_, block->pathProp());
    valid_ = true;
}

void TerminationPath::removeFromEmitter() { removeBlockIfExists(blockId_); }

void TerminationPath::save(Sl::RevisionSaver& saver) const
{
    saveBase(saver);
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("blockId", saver, blockId_);
    Sl::ScopedSaverGroup pathGroup(saver, 0);
    path_.save("path", saver);
}

void TerminationPath::syncReflection(const Base& source)
{
    TerminationBase::syncReflection(source);
    const auto& other = static_cast<const TerminationPath&>(source);
    valid_ = other.valid_;
    blockId_ = reflBlockId(other, other.blockId_);
    path_.syncBase(other.path_);
}

Termination::Termination(EmitterGuide& guide)
    : Base(guide), terminatorsGuid_(BoostExt::generateUuid())
{
}

Termination::Termination(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

OldMaxLifeData Termination::loadOldMaxLife(EmitterGuide& guide, Sl::RevisionLoader& loader)
{
    OldMaxLifeData data;
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, data.valid);
    data.value =
        std::make_unique<MultiValue>(guide, TerminationMaxLife::createValueBuilder(guide), loader);
    Sl::read(loader, data.terminatorId);
    return data;
}

std::unique_ptr<Termination> Termination::createFromOldMaxLifeData(EmitterGuide& guide,
                                                                   OldMaxLifeData data,
                                                                   const Uuid& expressionId)
{
    auto termination = std::make_unique<Termination>(guide);
    termination->valid_ = data.valid;
    termination->terminators_.push_back(
        std::make_unique<TerminationMaxLife>(guide, std::move(data), expressionId));
    return termination;
}

Termination::Termination(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    uint32_t count = 0;
    Sl::read(loader, count);
    if (count > kMaxTerminators)
        throw Sl::CorruptedDataException();
    terminators_.reserve(count);
    for (uint32_t i = 0; i < count; ++i)
    {
        uint8_t kind = 0;
        Sl::read(loader, kind);
        switch (static_cast<TerminationType>(kind))
        {
        case TerminationType::MaxLife:
            terminators_.push_back(std::make_unique<TerminationMaxLife>(guide, loader));
            break;
        case TerminationType::Path:
            terminators_.push_back(std::make_unique<TerminationPath>(guide, loader));
            break;
        default:
            throw Sl::CorruptedDataException();
        }
    }
    Sl::read(loader, terminatorsGuid_);
}

Termination::~Termination() = default;

std::unique_ptr<TerminationBase> Termination::create(EmitterGuide& guide, TerminationType type)
{
    switch (type)
    {
    case TerminationType::MaxLife:
        return std::make_unique<TerminationMaxLife>(guide);
    case TerminationType::Path:
        return std::make_unique<TerminationPath>(guide);
    }
    DEBUG_ASSERT(!"terminator type");
    return nullptr;
}

TerminationBase& Termination::terminator(unsigned index) const
{
    DEBUG_ASSERT(index < terminators_.size());
    return *terminators_[index];
}

unsigned Termination::countTerminators(TerminationType type) const
{
    unsigned count = 0;
    for (const auto& item : terminators_)
        if (item->type() == type)
            ++count;
    return count;
}

void Termination::addTerminator(TerminationType type)
{
    {
        auto scope = guide().scopedChange();
        terminators_.push_back(create(guide(), type));
        terminatorsGuid_ = BoostExt::generateUuid();
        valid_ = valid_ && terminators_.back()->isValid();
    }
    guide().processEvent(EventTerminationChanged());
}

void Termination::removeTerminator(unsigned index)
{
    DEBUG_ASSERT(index < terminators_.size());
    {
        auto scope = guide().scopedChange();
        terminators_[index]->removeFromEmitter();
        terminators_.erase(terminators_.begin() + index);
        terminatorsGuid_ = BoostExt::generateUuid();
        valid_ = std::all_of(terminators_.begin(), terminators_.end(),
                             [](const auto& item) { return item->isValid(); });
    }
    guide().processEvent(EventTerminationChanged());
}

// The section stands for all its terminators; the form can still remove a broken one.
void Termination::updateFromEmitter()
{
    valid_ = false;
    bool all = true;
    for (const auto& item : terminators_)
    {
        item->updateFromEmitter();
        all = all && item->isValid();
    }
    valid_ = all;
}

// Each terminator links while it is valid itself, so that a broken one doesn't keep the
// others (and a newly added one) unlinked.
void Termination::fixLinks()
{
    for (const auto& item : terminators_)
        item->fixLinks();
}

void Termination::removeFromEmitter()
{
    for (const auto& item : terminators_)
        item->removeFromEmitter();
}

void Termination::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("count", saver, static_cast<uint32_t>(terminators_.size()));
    for (const auto& item : terminators_)
    {
        Sl::write("kind", saver, static_cast<uint8_t>(item->type()));
        item->save(saver);
    }
    Sl::write("guid", saver, terminatorsGuid_);
}

void Termination::processEvent(const Event& event)
{
    for (const auto& item : terminators_)
        item->processEvent(event);
}

void Termination::collectValues(std::vector<Value*>& values)
{
    for (const auto& item : terminators_)
        item->collectValues(values);
}

void Termination::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const Termination&>(source);
    valid_ = other.valid_;
    terminatorsGuid_ = other.terminatorsGuid_;
    std::vector<std::unique_ptr<TerminationBase>> previous = std::move(terminators_);
    terminators_.clear();
    terminators_.reserve(other.terminators_.size());
    for (const auto& item : other.terminators_)
    {
        // The twin of the same terminator if there is one; makeTheSameType replaces it if its
        // kind differs, or makes a new one.
        auto found =
            std::find_if(previous.begin(), previous.end(),
                         [&item](const auto& own) { return own && own->id() == item->id(); });
        std::unique_ptr<TerminationBase> twin;
        if (found != previous.end())
            twin = std::move(*found);
        makeTheSameType(twin, item.get(), guide());
        twin->syncReflection(*item);
        terminators_.push_back(std::move(twin));
    }
}

}  // namespace Eg
}  // namespace Plm
