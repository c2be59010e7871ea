#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "plm_guide_detail.h"
#include "plm_guide_value_detail.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{

namespace
{

const char* const kShiftName = "Graph shift";
const char* const kShiftExpression = "a + b";
const char* const kSpeedExpression = "length(a)";
constexpr ValueLevel kMinShiftLevel = 3;

}  // namespace

// GraphBase

Value::GraphBase::GraphBase(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncCurves> block = BlockFuncCurves::create();
    block->setNumTracks(dimensions);
    for (unsigned int i = 0; i < dimensions; ++i)
        block->setTrack(i, builder.defaultCurves()[i]);
    graph_ = block->getId();
    BlockFuncCurves& added = addBlock(std::move(block));
    plots_.resize(dimensions);
    for (unsigned int i = 0; i < dimensions; ++i)
        updateReflFromProp(plots_[i], added.track(i));
    ownValid_ = true;
    baseValid_ = true;
    valid_ = true;
}

Value::GraphBase::GraphBase(const ValueBuilder& builder, unsigned int dimensions, LoadTag)
    : ValuesBase(builder, dimensions)
{
}

Value::GraphBase::~GraphBase() = default;

ValueBuilder Value::GraphBase::shiftBuilder() const
{
    ValueBuilder shift(guide(), builder().shiftLevelOrOwn(), Value::Type::Random);
    shift.storeOnInit(kShiftName, false).disableShift();
    if (builder().optionalData().parentCustomValueId)
        shift.parentCustomValueId(*builder().optionalData().parentCustomValueId);
    return shift;
}

bool Value::GraphBase::isShiftPossible() const
{
    return builder().level() >= kMinShiftLevel && !builder().optionalData().shiftDisabled;
}

void Value::GraphBase::enableShift(bool enable)
{
    if (enable == static_cast<bool>(shift_) || (enable && !isShiftPossible()))
        return;
    auto scope = guide().scopedChange();
    if (enable)
    {
        shift_ = shiftBuilder().build(1, Value::Type::Random, false);
        std::unique_ptr<BlockFuncExpression> block =
            Detail::createTwoInputExpression(CT_Float, kShiftExpression);
        shiftExpr_ = block->getId();
        addBlock(std::move(block));
    }
    else
    {
        shift_->removeFromEmitter();
        shift_.reset();
        removeBlockIfExists(shiftExpr_);
        shiftExpr_ = boost::none;
    }
    // A custom value that reads a shift stands later: its users check it anew.
    if (builder().optionalData().parentCustomValueId)
        guide().processEvent(
            EventCustomValueChanged(*builder().optionalData().parentCustomValueId));
}

boost::optional<ValueLevel> Value::GraphBase::shiftLevel() const
{
    if (!shift_)
        return boost::none;
    return shift_->currentLevel();
}

void Value::GraphBase::discardPlotsRefl()
{
    auto scope = guide().scopedChange();
    for (Refl<Plot>& plot : plots_)
        plot.discardOverride();
    if (BlockFuncCurves* block = findBlockAs<BlockFuncCurves>(graph_))
        for (unsigned int i = 0; i < plots_.size() && i < block->getNumTracks(); ++i)
        {
            block->setTrack(i, boost::none);
            updateReflFromProp(plots_[i], block->track(i));
        }
}

void Value::GraphBase::updateFromEmitter()
{
    valid_ = false;
    ownValid_ = updateOwn();
    baseValid_ = false;
    DEBUG_ASSERT(plots_.size() == dimensions());
    const boost::optional<BlockConnector> drive = driver();
    const BlockFuncCurves* curves = findBlockAs<BlockFuncCurves>(graph_);
    bool ok = curves && curves->getNumTracks() == plots_.size();
    if (curves)
        for (unsigned int i = 0; i < plots_.size() && i < curves->getNumTracks(); ++i)
            updateReflFromProp(plots_[i], curves->track(i));
    if (shift_)
    {
        shift_->updateFromEmitter();
        const BlockFuncExpression* expr = findBlockAs<BlockFuncExpression>(shiftExpr_);
        ok = ok && shift_->isValid() && expr && expr->getNumInputs() == 2 &&
             expr->getInputType(0) == CT_Float && expr->getInputType(1) == CT_Float &&
             hasLink(drive, *shiftExpr_, BlockFuncExpression::kFirstInputConnector) &&
             hasLink(shift_->getOutputConnector(), *shiftExpr_,
                     BlockFuncExpression::kFirstInputConnector + 1) &&
             hasLink(*shiftExpr_, BlockFuncExpression::kOutputConnector, graph_,
                     BlockFuncCurves::kInputConnector);
    }
    else
    {
        ok = ok && hasLink(drive, graph_, BlockFuncCurves::kInputConnector);
    }
    baseValid_ = ok;
    valid_ = ownValid_ && baseValid_;
}

void Value::GraphBase::fixLinks()
{
    if (shift_)
        shift_->fixLinks();
    if (!valid_)
        return;
    fixOwnLinks();
    // Without a driver (its source elsewhere in the guide has gone) the curve stays unfed
    // until the next update marks the value invalid.
    const boost::optional<BlockConnector> drive = driver();
    if (shift_ && findBlock(shiftExpr_))
    {
        if (drive)
            linkIfPresent(drive, *shiftExpr_, BlockFuncExpression::kFirstInputConnector);
        if (const boost::optional<BlockConnector> shift = shift_->getOutputConnector())
            linkIfPresent(shift, *shiftExpr_, BlockFuncExpression::kFirstInputConnector + 1);
        linkIfPresent(*shiftExpr_, BlockFuncExpression::kOutputConnector, graph_,
                      BlockFuncCurves::kInputConnector);
    }
    else if (drive)
    {
        linkIfPresent(drive, graph_, BlockFuncCurves::kInputConnector);
    }
}

void Value::GraphBase::removeFromEmitter()
{
    removeOwn();
    removeBlockIfExists(graph_);
    if (shift_)
        shift_->removeFromEmitter();
    removeBlockIfExists(shiftExpr_);
}

boost::optional<BlockConnector> Value::GraphBase::getOutputConnector() const
{
    return findConnector(graph_, BlockFuncCurves::kOutputConnector);
}

void Value::GraphBase::processEvent(const Event& event)
{
    // The shift keeps its own name when its custom value is renamed.
    if (shift_ && !dynamic_cast<const EventCustomValueRenamed*>(&event))
        shift_->processEvent(event);
}

void Value::GraphBase::collectValues(std::vector<Value*>& values)
{
    if (shift_)
        shift_->collectValues(values);
}

void Value::GraphBase::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    const unsigned int old = static_cast<unsigned int>(plots_.size());
    plots_.resize(dimensions);
    BlockFuncCurves* block = findBlockAs<BlockFuncCurves>(graph_);
    if (!block)
    {
        for (unsigned int i = old; i < dimensions; ++i)
            plots_[i] = Refl<Plot>(builder().defaultCurves()[i]);
        return;
    }
    block->setNumTracks(dimensions);
    for (unsigned int i = old; i < dimensions; ++i)
        block->setTrack(i, builder().defaultCurves()[i]);
    for (unsigned int i = 0; i < dimensions; ++i)
        updateReflFromProp(plots_[i], block->track(i));
}

void Value::GraphBase::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("graph", saver, kVersion);
    saver.write("valid", ownValid_);
    saveOwn(saver);
    saver.write("base_valid", baseValid_);
    Sl::write("curves", saver, graph_);
    {
        Sl::ScopedSaverGroup plots("plots", saver, 0);
        saver.write("num_items", static_cast<uint32_t>(plots_.size()), Sl::PH_Packed);
        for (const Refl<Plot>& plot : plots_)
            plot.save("plot", saver);
    }
    saver.write("has_shift", static_cast<bool>(shift_));
    if (shift_)
    {
        Sl::write("shift_expression", saver, *shiftExpr_);
        shift_->save(saver);
    }
}

void Value::GraphBase::loadBase(Sl::RevisionLoader& loader)
{
    loader.read(baseValid_);
    Sl::read(loader, graph_);
    {
        Sl::ScopedLoaderGroup plots(loader, 0);
        Detail::readExpectedCount(loader, dimensions());
        plots_.resize(dimensions());
        for (Refl<Plot>& plot : plots_)
            plot.load(loader);
    }
    bool hasShift = false;
    loader.read(hasShift);
    if (hasShift)
    {
        Uuid expr{};
        Sl::read(loader, expr);
        shiftExpr_ = expr;
        shift_ = shiftBuilder().buildForLoad(loader);
        if (shift_->dimensions() != 1)
            throw Sl::CorruptedDataException();
    }
    valid_ = ownValid_ && baseValid_;
}

// Graph

Value::Graph::Graph(const ValueBuilder& builder, unsigned int dimensions)
    : GraphBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncRandom> block = BlockFuncRandom::create();
    random_ = block->getId();
    addBlock(std::move(block));
}

Value::Graph::Graph(const ValueBuilder& builder, unsigned int dimensions,
                    Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag())
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    Sl::read(loader, random_);
    loadBase(loader);
}

boost::optional<BlockConnector> Value::Graph::driver() const { return findConnector(random_, 2); }

bool Value::Graph::updateOwn() { return isBlockOf<BlockFuncRandom>(random_); }

void Value::Graph::removeOwn() { removeBlockIfExists(random_); }

void Value::Graph::saveOwn(Sl::RevisionSaver& saver) const { Sl::write("random", saver, random_); }

// OverParticleLife

Value::OverParticleLife::OverParticleLife(const ValueBuilder& builder, unsigned int dimensions)
    : GraphBase(builder, dimensions)
{
}

Value::OverParticleLife::OverParticleLife(const ValueBuilder& builder, unsigned int dimensions,
                                          Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag())
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    loadBase(loader);
}

boost::optional<BlockConnector> Value::OverParticleLife::driver() const
{
    return guide().getNormParticleLifeConnector();
}

bool Value::OverParticleLife::updateOwn() { return static_cast<bool>(driver()); }

// OverParticleTime

Value::OverParticleTime::OverParticleTime(const ValueBuilder& builder, unsigned int dimensions)
    : GraphBase(builder, dimensions)
{
}

Value::OverParticleTime::OverParticleTime(const ValueBuilder& builder, unsigned int dimensions,
                                          Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag())
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    loadBase(loader);
}

boost::optional<BlockConnector> Value::OverParticleTime::driver() const
{
    return findConnector(guide().blockParticleTimeId(), 0);
}

bool Value::OverParticleTime::updateOwn() { return static_cast<bool>(driver()); }

// OverParticleSpeed

Value::OverParticleSpeed::OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions)
    : GraphBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncExpression> block = BlockFuncExpression::create();
    block->setNumInputs(1u);
    block->setInputName(0, std::string("a"));
    block->setInputType(0, CT_Vec3);
    block->setExpression(std::string(kSpeedExpression));
    expr_ = block->getId();
    addBlock(std::move(block));
}

Value::OverParticleSpeed::OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions,
                                            Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag())
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    Sl::read(loader, expr_);
    loadBase(loader);
}

boost::optional<BlockConnector> Value::OverParticleSpeed::driver() const
{
    return findConnector(expr_, BlockFuncExpression::kOutputConnector);
}

bool Value::OverParticleSpeed::updateOwn()
{
    const BlockFuncExpression* expr = findBlockAs<BlockFuncExpression>(expr_);
    return expr && expr->getNumInputs() == 1 && expr->getInputType(0) == CT_Vec3 &&
           expr->getExpression() == kSpeedExpression &&
           hasLink(guide().positionChange().getVelocityConnector(), expr_,
                   BlockFuncExpression::kFirstInputConnector);
}

void Value::OverParticleSpeed::fixOwnLinks()
{
    if (const boost::optional<BlockConnector> velocity =
            guide().positionChange().getVelocityConnector())
        linkIfPresent(velocity, expr_, BlockFuncExpression::kFirstInputConnector);
}

void Value::OverParticleSpeed::removeOwn() { removeBlockIfExists(expr_); }

void Value::OverParticleSpeed::saveOwn(Sl::RevisionSaver& saver) const
{
    Sl::write("expression", saver, expr_);
}

// Curves over a time that a shared global block gives.

namespace
{

template <class T>
bool isBlockKind(const Block* block)
{
    return dynamic_cast<const T*>(block) != nullptr;
}

}  // namespace

Value::GraphOverGlobalTime::GraphOverGlobalTime(const ValueBuilder& builder,
                                                unsigned int dimensions, const Global& global)
    : GraphBase(builder, dimensions), global_(global)
{
    time_ = (guide().*global_.request)();
}

Value::GraphOverGlobalTime::GraphOverGlobalTime(const ValueBuilder& builder,
                                                unsigned int dimensions, const Global& global,
                                                Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag()), global_(global)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    Sl::read(loader, time_);
    loadBase(loader);
}

Value::GraphOverGlobalTime::GraphOverGlobalTime(const ValueBuilder& builder,
                                                unsigned int dimensions, const Global& global,
                                                Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag()), global_(global)
{
}

boost::optional<BlockConnector> Value::GraphOverGlobalTime::driver() const
{
    return findConnector(time_, 0);
}

bool Value::GraphOverGlobalTime::updateOwn() { return global_.isKind(findBlock(time_)); }

void Value::GraphOverGlobalTime::removeOwn() { (guide().*global_.release)(); }

void Value::GraphOverGlobalTime::saveOwn(Sl::RevisionSaver& saver) const
{
    Sl::write("time", saver, time_);
}

void Value::GraphOverGlobalTime::syncReflection(const Base& source)
{
    GraphBase::syncReflection(source);
    // A shared block of the guide: the guide maps its reference count with it.
    const auto& other = static_cast<const GraphOverGlobalTime&>(source);
    time_ = reflBlockId(other, other.time_);
}

// OverEmitterTime, OverSystemTime

const Value::OverEmitterTime::Global Value::OverEmitterTime::kGlobal{
    &EmitterGuide::requestEmitterTimeId, &EmitterGuide::releaseEmitterTimeId,
    &isBlockKind<BlockGlobTime>};

Value::OverEmitterTime::OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions)
    : GraphOverGlobalTime(builder, dimensions, kGlobal)
{
}

Value::OverEmitterTime::OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions,
                                        Sl::RevisionLoader& loader)
    : GraphOverGlobalTime(builder, dimensions, kGlobal, loader)
{
}

Value::OverEmitterTime::OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions,
                                        Base::EmptyReflectionTag)
    : GraphOverGlobalTime(builder, dimensions, kGlobal, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase>
Value::OverEmitterTime::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverEmitterTime>(builder, dimensions(), Base::EmptyReflectionTag());
}

const Value::OverSystemTime::Global Value::OverSystemTime::kGlobal{
    &EmitterGuide::requestSystemTimeId, &EmitterGuide::releaseSystemTimeId,
    &isBlockKind<BlockGlobSystemTime>};

Value::OverSystemTime::OverSystemTime(const ValueBuilder& builder, unsigned int dimensions)
    : GraphOverGlobalTime(builder, dimensions, kGlobal)
{
}

Value::OverSystemTime::OverSystemTime(const ValueBuilder& builder, unsigned int dimensions,
                                      Sl::RevisionLoader& loader)
    : GraphOverGlobalTime(builder, dimensions, kGlobal, loader)
{
}

Value::OverSystemTime::OverSystemTime(const ValueBuilder& builder, unsigned int dimensions,
                                      Base::EmptyReflectionTag)
    : GraphOverGlobalTime(builder, dimensions, kGlobal, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase> Value::OverSystemTime::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverSystemTime>(builder, dimensions(), Base::EmptyReflectionTag());
}

// OverCustomValue

Value::OverCustomValue::OverCustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                        const Uuid& customValueId)
    : GraphBase(builder, dimensions), customValue_(customValueId)
{
}

Value::OverCustomValue::OverCustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                        Sl::RevisionLoader& loader)
    : GraphBase(builder, dimensions, LoadTag())
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(ownValid_);
    Sl::read(loader, customValue_);
    loadBase(loader);
}

boost::optional<BlockConnector> Value::OverCustomValue::driver() const
{
    const ::Plm::Eg::CustomValue* custom = guide().customValues().value(customValue_);
    return custom ? custom->getOutputConnector() : boost::none;
}

bool Value::OverCustomValue::updateOwn()
{
    const ::Plm::Eg::CustomValue* custom = guide().customValues().value(customValue_);
    return custom && custom->value().dimensions() == 1 && custom->getOutputConnector();
}

void Value::OverCustomValue::saveOwn(Sl::RevisionSaver& saver) const
{
    Sl::write("custom_value", saver, customValue_);
}

// Reflection: the twins have no block; syncReflection takes the source's state with the ids of
// the blocks here that reflect the source's blocks.

Value::GraphBase::GraphBase(const ValueBuilder& builder, unsigned int dimensions,
                            Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

void Value::GraphBase::syncReflection(const Base& source)
{
    const GraphBase& other = syncDimensions<GraphBase>(source);
    valid_ = other.valid_;
    baseValid_ = other.baseValid_;
    ownValid_ = other.ownValid_;
    graph_ = reflBlockId(other, other.graph_);
    Detail::syncRefls(plots_, other.plots_);
    if (!other.shift_)
        shift_.reset();
    else
    {
        // The twin's shift is built from this kind's own builder.
        if (!shift_)
            shift_ = shiftBuilder().reflect(*other.shift_);
        shift_->syncReflection(*other.shift_);
    }
    shiftExpr_ = reflBlockId(other, other.shiftExpr_);
}

Value::Graph::Graph(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase> Value::Graph::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<Graph>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::Graph::syncReflection(const Base& source)
{
    GraphBase::syncReflection(source);
    const Graph& other = static_cast<const Graph&>(source);
    random_ = reflBlockId(other, other.random_);
}

Value::OverParticleLife::OverParticleLife(const ValueBuilder& builder, unsigned int dimensions,
                                          Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase>
Value::OverParticleLife::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverParticleLife>(builder, dimensions(), Base::EmptyReflectionTag());
}

Value::OverParticleTime::OverParticleTime(const ValueBuilder& builder, unsigned int dimensions,
                                          Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase>
Value::OverParticleTime::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverParticleTime>(builder, dimensions(), Base::EmptyReflectionTag());
}

Value::OverParticleSpeed::OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions,
                                            Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase>
Value::OverParticleSpeed::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverParticleSpeed>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::OverParticleSpeed::syncReflection(const Base& source)
{
    GraphBase::syncReflection(source);
    const OverParticleSpeed& other = static_cast<const OverParticleSpeed&>(source);
    expr_ = reflBlockId(other, other.expr_);
}


Value::OverCustomValue::OverCustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                        Base::EmptyReflectionTag)
    : GraphBase(builder, dimensions, Base::EmptyReflectionTag())
{
}

std::unique_ptr<Value::ValuesBase>
Value::OverCustomValue::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<OverCustomValue>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::OverCustomValue::syncReflection(const Base& source)
{
    GraphBase::syncReflection(source);
    // Custom values keep their ids in a reflection.
    customValue_ = static_cast<const OverCustomValue&>(source).customValue_;
}

}  // namespace Eg
}  // namespace Plm
