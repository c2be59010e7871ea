#include "particle_layout_model/plm_guide_rotation.h"

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_func_rotation_axis.h"
#include "particle_layout_model/plm_block_func_rotation_from_axes.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_position.h"
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

constexpr uint32_t kRotationVersion = 1;
constexpr uint32_t kControlledVersion = 2;
constexpr uint32_t kChangeSteadyVersion = 1;
constexpr uint32_t kChangeGraphVersion = 1;
constexpr uint32_t kAxisRandomVersion = 0;
constexpr uint32_t kVelocityFacedVersion = 1;
constexpr uint32_t kVelocityFreeVersion = 1;

// The connector numbers of the blocks this file links.
constexpr uint32_t kParamInit = 0;
constexpr uint32_t kParamValue = 1;
constexpr uint32_t kUpdaterInput = 0;
constexpr uint32_t kMovePosition = 0;
constexpr uint32_t kMoveSpeed = 1;
constexpr uint32_t kMoveOutput = 2;
constexpr uint32_t kRandomVecOutput = 1;
constexpr uint32_t kAxisAxis = 0;
constexpr uint32_t kAxisAngle = 1;
constexpr uint32_t kAxisOutput = 2;
constexpr uint32_t kFromAxesFirst = 0;
constexpr uint32_t kFromAxesSecond = 1;
constexpr uint32_t kFromAxesOutput = 2;
constexpr uint32_t kConstructFacedRotation = 1;
constexpr uint32_t kConstructFreeRotation = 2;

const glm::vec3 kViewAxis(0.0f, 0.0f, 1.0f);

}  // namespace

// RotationChangeNone

std::unique_ptr<RotationChangeBase>
RotationChangeNone::reflect(EmitterGuide& guide, const RotationControlled& owner) const
{
    return std::make_unique<RotationChangeNone>(guide, owner);
}

// RotationChangeSteady

ValueBuilder RotationChangeSteady::createSpeedBuilder(EmitterGuide& guide,
                                                      std::function<Uuid()> moveId)
{
    // A sudden turn of direction in the middle of the life.
    Plot curve;
    curve.appendKeyBack(PlotKeySmooth(0.0f, -90.0f));
    curve.appendKeyBackWithSegment(PlotKeyBroken(0.5f, -90.0f, 90.0f), PlotSegLinear());
    curve.appendKeyBackWithSegment(PlotKeySmooth(1.0f, 90.0f), PlotSegLinear());

    ValueBuilder builder(guide, 10, Value::Type::Fixed);
    builder.values({{90.0f, 90.0f, 90.0f}})
        .randomRanges(Detail::sameRanges(-360.0f, 360.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit("Rot. speed", false)
        .blockProperty(std::move(moveId), kMoveSpeed,
                       [](Block& block)
                       {
                           BlockFuncMove& move = Detail::blockAs<BlockFuncMove>(block);
                           return makeFloatsPropChanger(move.speedPropOf<float>(),
                                                        [&move](const boost::optional<float>& value)
                                                        { move.setSpeed<float>(value); });
                       });
    return builder;
}

RotationChangeSteady::RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner)
    : RotationChangeBase(guide, owner)
{
    auto scope = guide.scopedChange();
    BlockParamUserFloat* angle = findBlockAs<BlockParamUserFloat>(owner.angleBlockId());
    DEBUG_ASSERT(angle);
    updater_ = addBlock(BlockParamUserUpdater::create(*angle)).getId();
    std::unique_ptr<BlockFuncMove> move = BlockFuncMove::create(CT_Float);
    move->setSpeedExternal(true);
    move_ = addBlock(std::move(move)).getId();
    value_ =
        std::make_unique<MultiValue>(guide, createSpeedBuilder(guide, [this] { return move_; }), 1);
    valid_ = true;
}

RotationChangeSteady::RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner,
                                           Sl::RevisionLoader& loader)
    : RotationChangeBase(guide, owner)
{
    Detail::CurrentGroup group(loader, kChangeSteadyVersion);
    valid_ = Detail::readBool(loader);
    updater_ = Detail::readUuid(loader);
    move_ = Detail::readUuid(loader);
    value_ = std::make_unique<MultiValue>(
        guide, createSpeedBuilder(guide, [this] { return move_; }), loader);
}

RotationChangeSteady::RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner,
                                           EmptyReflectionTag)
    : RotationChangeBase(guide, owner)
{
}

RotationChangeSteady::~RotationChangeSteady() = default;

std::unique_ptr<RotationChangeBase>
RotationChangeSteady::reflect(EmitterGuide& guide, const RotationControlled& owner) const
{
    return std::make_unique<RotationChangeSteady>(guide, owner, EmptyReflectionTag());
}

void RotationChangeSteady::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationChangeSteady&>(source);
    valid_ = other.valid_;
    updater_ = reflBlockId(other, other.updater_);
    move_ = reflBlockId(other, other.move_);
    // The twin's own builder, so that its property target is this object's move block.
    if (!value_)
        value_ = std::make_unique<MultiValue>(
            guide(), createSpeedBuilder(guide(), [this] { return move_; }), EmptyReflectionTag());
    value_->syncReflection(*other.value_);
}

void RotationChangeSteady::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    if (!value_->isValid())
        return;
    const boost::optional<BlockConnector> angle = owner().getAngleConnector();
    if (!angle || !isBlockOf<BlockParamUserUpdater>(updater_))
        return;
    const BlockFuncMove* move = findBlockAs<BlockFuncMove>(move_);
    if (!move || move->getType() != CT_Float)
        return;
    if (!hasLink(angle, move_, kMovePosition) ||
        !hasLink(move_, kMoveOutput, updater_, kUpdaterInput))
        return;
    valid_ = true;
}

void RotationChangeSteady::fixLinks()
{
    if (!valid_)
        return;
    // The angle is a particle property of its own here: it keeps the turned angle.
    guide().registerParticleProperty(owner().angleBlockId());
    value_->fixLinks();
    link(owner().getAngleConnector(), move_, kMovePosition);
    link(move_, kMoveOutput, updater_, kUpdaterInput);
}

void RotationChangeSteady::removeFromEmitter()
{
    value_->removeFromEmitter();
    removeBlockIfExists(updater_);
    removeBlockIfExists(move_);
}

void RotationChangeSteady::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_change_steady", saver, kChangeSteadyVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("updater", saver, updater_);
    Sl::write("move", saver, move_);
    value_->save(saver);
}

void RotationChangeSteady::processEvent(const Event& event) { value_->processEvent(event); }

void RotationChangeSteady::collectValues(std::vector<Value*>& values)
{
    value_->collectValues(values);
}

// RotationChangeGraph

ValueBuilder RotationChangeGraph::createValueBuilder(EmitterGuide& guide)
{
    // A swing out and back over the life, repeated past its end.
    Plot curve = makeLinearCurve({{0.0f, 0.0f}, {0.5f, 90.0f}, {1.0f, 0.0f}});
    curve.setLoopedRight(true);

    ValueBuilder builder(guide, 10, Value::Type::OverParticleLife);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 360.0f))
        .curves(Detail::sameCurves(curve));
    return builder;
}

RotationChangeGraph::RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner)
    : RotationChangeBase(guide, owner)
{
    auto scope = guide.scopedChange();
    expr_ = addBlock(Detail::createTwoInputExpression(CT_Float, "a + b")).getId();
    value_ = std::make_unique<MultiValue>(guide, createValueBuilder(guide), 1);
    valid_ = true;
}

RotationChangeGraph::RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner,
                                         Sl::RevisionLoader& loader)
    : RotationChangeBase(guide, owner)
{
    Detail::CurrentGroup group(loader, kChangeGraphVersion);
    valid_ = Detail::readBool(loader);
    expr_ = Detail::readUuid(loader);
    value_ = std::make_unique<MultiValue>(guide, createValueBuilder(guide), loader);
}

RotationChangeGraph::RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner,
                                         EmptyReflectionTag)
    : RotationChangeBase(guide, owner)
{
}

RotationChangeGraph::~RotationChangeGraph() = default;

std::unique_ptr<RotationChangeBase>
RotationChangeGraph::reflect(EmitterGuide& guide, const RotationControlled& owner) const
{
    return std::make_unique<RotationChangeGraph>(guide, owner, EmptyReflectionTag());
}

void RotationChangeGraph::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationChangeGraph&>(source);
    valid_ = other.valid_;
    expr_ = reflBlockId(other, other.expr_);
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), createValueBuilder(guide()),
                                              EmptyReflectionTag());
    value_->syncReflection(*other.value_);
}

void RotationChangeGraph::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    if (!value_->isValid())
        return;
    if (!Detail::isTwoInputExpression(findBlockAs<BlockFuncExpression>(expr_), CT_Float, "a + b"))
        return;
    if (!hasLink(owner().getAngleConnector(), expr_, BlockFuncExpression::kFirstInputConnector) ||
        !hasLink(value_->getOutputConnector(), expr_,
                 BlockFuncExpression::kFirstInputConnector + 1))
        return;
    valid_ = true;
}

void RotationChangeGraph::fixLinks()
{
    if (!valid_)
        return;
    value_->fixLinks();
    link(owner().getAngleConnector(), expr_, BlockFuncExpression::kFirstInputConnector);
    if (value_->isValid())
        link(value_->getOutputConnector(), expr_, BlockFuncExpression::kFirstInputConnector + 1);
    // The sum takes the place of the angle.
    const InputTarget target = owner().angleTarget();
    link(getOutputConnector(), target.blockId, target.index);
}

void RotationChangeGraph::removeFromEmitter()
{
    value_->removeFromEmitter();
    removeBlockIfExists(expr_);
}

boost::optional<BlockConnector> RotationChangeGraph::getOutputConnector() const
{
    return findConnector(expr_, BlockFuncExpression::kOutputConnector);
}

void RotationChangeGraph::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_change_graph", saver, kChangeGraphVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("expression", saver, expr_);
    value_->save(saver);
}

void RotationChangeGraph::processEvent(const Event& event) { value_->processEvent(event); }

void RotationChangeGraph::collectValues(std::vector<Value*>& values)
{
    value_->collectValues(values);
}

// RotationAxisRandom

RotationAxisRandom::RotationAxisRandom(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    random_ = addBlock(BlockFuncRandomVec::create(VT_Vec3)).getId();
    // Keeps the axis drawn at birth for the particle's whole life.
    std::unique_ptr<BlockParamUserVec3> param = BlockParamUserVec3::create();
    param->setName(std::string("Rot. axis"));
    param->setValueExternal(true);
    param_ = addBlock(std::move(param)).getId();
    valid_ = true;
}

RotationAxisRandom::RotationAxisRandom(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kAxisRandomVersion);
    valid_ = Detail::readBool(loader);
    random_ = Detail::readUuid(loader);
    param_ = Detail::readUuid(loader);
}

RotationAxisRandom::RotationAxisRandom(EmitterGuide& guide, EmptyReflectionTag)
    : ReflectableBase(guide)
{
}

std::unique_ptr<ReflectableBase> RotationAxisRandom::reflect(EmitterGuide& guide) const
{
    return std::make_unique<RotationAxisRandom>(guide, EmptyReflectionTag());
}

void RotationAxisRandom::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationAxisRandom&>(source);
    valid_ = other.valid_;
    random_ = reflBlockId(other, other.random_);
    param_ = reflBlockId(other, other.param_);
}

void RotationAxisRandom::updateFromEmitter()
{
    valid_ = isBlockOf<BlockParamUserVec3>(param_) && isBlockOf<BlockFuncRandomVec>(random_) &&
             hasLink(random_, kRandomVecOutput, param_, kParamInit);
}

void RotationAxisRandom::fixLinks()
{
    if (!valid_)
        return;
    guide().registerParticleProperty(param_);
    link(random_, kRandomVecOutput, param_, kParamInit);
}

void RotationAxisRandom::removeFromEmitter()
{
    removeBlockIfExists(random_);
    removeBlockIfExists(param_);
}

boost::optional<BlockConnector> RotationAxisRandom::getOutputConnector() const
{
    return findConnector(param_, kParamValue);
}

void RotationAxisRandom::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_axis_random", saver, kAxisRandomVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("random", saver, random_);
    Sl::write("param", saver, param_);
}

// RotationControlled

ValueBuilder RotationControlled::createAngleBuilder(EmitterGuide& guide,
                                                    std::function<Uuid()> angleId)
{
    ValueBuilder builder(guide, 6, Value::Type::Fixed);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 360.0f))
        .curves(Detail::sameCurves(makeLinearCurve({{0.0f, -180.0f}, {1.0f, 180.0f}})))
        .blockProperty(std::move(angleId), kParamInit,
                       [](Block& block)
                       {
                           BlockParamUserFloat& param = Detail::blockAs<BlockParamUserFloat>(block);
                           return makeFloatsPropChanger(
                               param.valueProp(), [&param](const boost::optional<float>& value)
                               { param.setValue(value); });
                       });
    return builder;
}

ValueBuilder RotationControlled::createFixedAxisBuilder(EmitterGuide& guide)
{
    ValueBuilder builder(guide, 10, Value::Type::Fixed);
    builder.values({{kViewAxis.x, kViewAxis.y, kViewAxis.z}})
        .randomRanges(Detail::sameRanges(-1.0f, 1.0f))
        .curves({{makeLinearCurve({{0.0f, 0.0f}, {1.0f, 0.0f}}),
                  makeLinearCurve({{0.0f, 0.0f}, {1.0f, 0.0f}}),
                  makeLinearCurve({{0.0f, 1.0f}, {1.0f, 1.0f}})}})
        .storeOnInit("Rot. axis", false);
    return builder;
}

RotationControlled::RotationControlled(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    std::unique_ptr<BlockParamUserFloat> angle = BlockParamUserFloat::create();
    angle->setName(std::string("Angle"));
    angle_ = addBlock(std::move(angle)).getId();
    value_ = std::make_unique<MultiValue>(guide,
                                          createAngleBuilder(guide, [this] { return angle_; }), 1);
    setupConstructor();
    if (type_ == T_Free)
        createAxisByType();
    change_ = createChange(changeType_);
    valid_ = true;
}

RotationControlled::RotationControlled(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kControlledVersion);
    valid_ = Detail::readBool(loader);
    type_ = Detail::readEnum<Type>(loader, 2);
    angle_ = Detail::readUuid(loader);
    value_ = std::make_unique<MultiValue>(
        guide, createAngleBuilder(guide, [this] { return angle_; }), loader);
    changeType_ = Detail::readEnum<ChangeType>(loader, 3);
    axisType_ = Detail::readEnum<AxisType>(loader, 2);
    Sl::read(loader, axisBlock_);
    // Only a free rotation has an axis.
    if (static_cast<bool>(axisBlock_) != (type_ == T_Free))
        throw Sl::CorruptedDataException();
    if (axisBlock_)
    {
        if (axisType_ == AT_Fixed)
            axis_ = std::make_unique<Point>(guide, createFixedAxisBuilder(guide), loader);
        else
            axis_ = std::make_unique<RotationAxisRandom>(guide, loader);
    }
    change_ = loadChange(changeType_, loader);
}

RotationControlled::RotationControlled(EmitterGuide& guide, EmptyReflectionTag)
    : ReflectableBase(guide)
{
}

RotationControlled::~RotationControlled() = default;

std::unique_ptr<ReflectableBase> RotationControlled::reflect(EmitterGuide& guide) const
{
    return std::make_unique<RotationControlled>(guide, EmptyReflectionTag());
}

void RotationControlled::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationControlled&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    changeType_ = other.changeType_;
    axisType_ = other.axisType_;
    angle_ = reflBlockId(other, other.angle_);
    axisBlock_ = reflBlockId(other, other.axisBlock_);
    if (!value_)
        value_ = std::make_unique<MultiValue>(
            guide(), createAngleBuilder(guide(), [this] { return angle_; }), EmptyReflectionTag());
    value_->syncReflection(*other.value_);
    Detail::makeTheSameTypeWith(change_, other.change_.get(), guide(), *this);
    if (change_)
        change_->syncReflection(*other.change_);
    syncAxis(other.axis_.get());
}

void RotationControlled::syncAxis(const Base* source)
{
    // The axis is a Point or a RotationAxisRandom; a Point's twin takes this side's builder.
    if (!source)
        axis_.reset();
    else if (!axis_ || !isSameClass(*axis_, *source))
    {
        if (dynamic_cast<const Point*>(source))
            axis_ = std::make_unique<Point>(guide(), createFixedAxisBuilder(guide()),
                                            EmptyReflectionTag());
        else
            axis_ = static_cast<const RotationAxisRandom&>(*source).reflect(guide());
    }
    if (axis_)
        axis_->syncReflection(*source);
}

Point* RotationControlled::fixedAxis() const { return dynamic_cast<Point*>(axis_.get()); }

RotationAxisRandom* RotationControlled::randomAxis() const
{
    return dynamic_cast<RotationAxisRandom*>(axis_.get());
}

std::unique_ptr<RotationChangeBase> RotationControlled::createChange(ChangeType type)
{
    switch (type)
    {
    case CT_Steady:
        return std::make_unique<RotationChangeSteady>(guide(), *this);
    case CT_Graph:
        return std::make_unique<RotationChangeGraph>(guide(), *this);
    case CT_None:
        break;
    }
    return std::make_unique<RotationChangeNone>(guide(), *this);
}

std::unique_ptr<RotationChangeBase> RotationControlled::loadChange(ChangeType type,
                                                                   Sl::RevisionLoader& loader)
{
    switch (type)
    {
    case CT_Steady:
        return std::make_unique<RotationChangeSteady>(guide(), *this, loader);
    case CT_Graph:
        return std::make_unique<RotationChangeGraph>(guide(), *this, loader);
    case CT_None:
        break;
    }
    return std::make_unique<RotationChangeNone>(guide(), *this);
}

void RotationControlled::setupConstructor() const
{
    BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide().blockConstructId());
    if (!construct)
        return;
    if (type_ == T_Faced)
    {
        construct->setRotationType(Ps::CGO_Faced);
        construct->setFacedRotationExternal(true);
    }
    else
        construct->setRotationType(Ps::CGO_Free);
}

void RotationControlled::createAxisByType()
{
    std::unique_ptr<BlockFuncRotationAxis> block = BlockFuncRotationAxis::create();
    block->setAxisExternal(true);
    block->setAngleExternal(true);
    axisBlock_ = addBlock(std::move(block)).getId();
    if (axisType_ == AT_Fixed)
        axis_ = std::make_unique<Point>(guide(), createFixedAxisBuilder(guide()));
    else
        axis_ = std::make_unique<RotationAxisRandom>(guide());
}

void RotationControlled::removeAxis()
{
    if (axis_)
        axis_->removeFromEmitter();
    axis_.reset();
    removeBlockIfExists(axisBlock_);
    axisBlock_ = boost::none;
}

bool RotationControlled::changeType(Type type)
{
    if (type == type_)
        return false;
    auto scope = guide().scopedChange();
    removeAxis();
    type_ = type;
    setupConstructor();
    if (type_ == T_Free)
        createAxisByType();
    return true;
}

bool RotationControlled::changeChangeType(ChangeType type)
{
    if (type == changeType_)
        return false;
    auto scope = guide().scopedChange();
    // The angle takes its input back at the next link pass.
    const boost::optional<BlockConnector> output = change_->getOutputConnector();
    const InputTarget target = angleTarget();
    const boost::optional<BlockLink> standing = linkOnInput(target.blockId, target.index);
    if (output && standing && standing->output_ == *output)
        emitter().clearNonReflectedConnector(standing->input_);
    change_->removeFromEmitter();
    change_.reset();
    changeType_ = type;
    change_ = createChange(type);
    return true;
}

bool RotationControlled::changeAxisType(AxisType type)
{
    if (type == axisType_)
        return false;
    auto scope = guide().scopedChange();
    axisType_ = type;
    if (type_ == T_Free)
    {
        axis_->removeFromEmitter();
        if (axisType_ == AT_Fixed)
            axis_ = std::make_unique<Point>(guide(), createFixedAxisBuilder(guide()));
        else
            axis_ = std::make_unique<RotationAxisRandom>(guide());
    }
    return true;
}

boost::optional<BlockConnector> RotationControlled::getAngleConnector() const
{
    return findConnector(angle_, kParamValue);
}

InputTarget RotationControlled::angleTarget() const
{
    if (type_ == T_Free && axisBlock_)
        return {*axisBlock_, kAxisAngle};
    return {guide().blockConstructId(), kConstructFacedRotation};
}

void RotationControlled::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    change_->updateFromEmitter();
    if (axis_)
        axis_->updateFromEmitter();
    if (!value_->isValid() || !change_->isValid() || !isBlockOf<BlockParamUserFloat>(angle_))
        return;
    if (type_ == T_Faced)
    {
        const BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId());
        if (!construct || !construct->isFacedRotationExternal())
            return;
    }
    else
    {
        const BlockFuncRotationAxis* axis = findBlockAs<BlockFuncRotationAxis>(axisBlock_);
        if (!axis || !axis->isAngleExternal())
            return;
        // The angle reaches the axis block straight or through the change.
        const boost::optional<BlockConnector> changed = change_->getOutputConnector();
        if (!hasLink(changed ? changed : getAngleConnector(), *axisBlock_, kAxisAngle))
            return;
    }
    valid_ = true;
}

void RotationControlled::fixLinks()
{
    if (!valid_)
        return;
    value_->fixLinks();
    change_->fixLinks();
    if (type_ == T_Free)
    {
        if (axis_)
        {
            axis_->fixLinks();
            const boost::optional<BlockConnector> axisOutput = axis_->getOutputConnector();
            if (axis_->isValid() && axisOutput)
                link(axisOutput, *axisBlock_, kAxisAxis);
        }
        link(*axisBlock_, kAxisOutput, guide().blockConstructId(), kConstructFreeRotation);
    }
    // A link that the change made stays.
    const InputTarget target = angleTarget();
    if (!linkOnInput(target.blockId, target.index))
        link(getAngleConnector(), target.blockId, target.index);
}

void RotationControlled::removeFromEmitter()
{
    change_->removeFromEmitter();
    removeAxis();
    value_->removeFromEmitter();
    removeBlockIfExists(angle_);
}

void RotationControlled::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_controlled", saver, kControlledVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    Sl::write("angle", saver, angle_);
    value_->save(saver);
    Detail::writeEnum("change_type", saver, changeType_);
    Detail::writeEnum("axis_type", saver, axisType_);
    Sl::write("axis_block", saver, axisBlock_);
    if (axis_)
        axis_->save(saver);
    change_->save(saver);
}

void RotationControlled::processEvent(const Event& event)
{
    value_->processEvent(event);
    change_->processEvent(event);
    if (axis_)
        axis_->processEvent(event);
}

void RotationControlled::collectValues(std::vector<Value*>& values)
{
    value_->collectValues(values);
    change_->collectValues(values);
    if (axis_)
        axis_->collectValues(values);
}

// RotationVelocityFaced

RotationVelocityFaced::RotationVelocityFaced(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
        construct->setRotationType(Ps::CGO_Free);
    std::unique_ptr<BlockFuncRotationFromAxes> block = BlockFuncRotationFromAxes::create();
    block->setFirstAxisExternal(false);
    block->setFirstAxis(kViewAxis);
    block->setSecondAxisExternal(true);
    block_ = addBlock(std::move(block)).getId();
    setupAxes();
    valid_ = true;
}

RotationVelocityFaced::RotationVelocityFaced(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kVelocityFacedVersion);
    valid_ = Detail::readBool(loader);
    softAxis_.load(loader);
    if (softAxis_.source() > SA_Y || (softAxis_.override() && *softAxis_.override() > SA_Y))
        throw Sl::CorruptedDataException();
    block_ = Detail::readUuid(loader);
}

RotationVelocityFaced::RotationVelocityFaced(EmitterGuide& guide, EmptyReflectionTag)
    : ReflectableBase(guide)
{
}

std::unique_ptr<ReflectableBase> RotationVelocityFaced::reflect(EmitterGuide& guide) const
{
    return std::make_unique<RotationVelocityFaced>(guide, EmptyReflectionTag());
}

void RotationVelocityFaced::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationVelocityFaced&>(source);
    valid_ = other.valid_;
    softAxis_.syncBase(other.softAxis_);
    block_ = reflBlockId(other, other.block_);
}

void RotationVelocityFaced::setupAxes() const
{
    // The view axis is Z: the velocity sets the X or the Y axis of the sprite.
    if (BlockFuncRotationFromAxes* block = findBlockAs<BlockFuncRotationFromAxes>(block_))
        block->setType(softAxis_.get() == SA_X ? Ps::RFA_ZX : Ps::RFA_ZY);
}

bool RotationVelocityFaced::setSoftAxis(SoftAxis axis)
{
    if (softAxis_.get() == axis)
        return false;
    auto scope = guide().scopedChange();
    softAxis_.setOverride(static_cast<unsigned char>(axis));
    setupAxes();
    return true;
}

void RotationVelocityFaced::discardSoftAxis()
{
    auto scope = guide().scopedChange();
    softAxis_.discardOverride();
    setupAxes();
}

void RotationVelocityFaced::updateFromEmitter()
{
    valid_ = false;
    const BlockFuncRotationFromAxes* block = findBlockAs<BlockFuncRotationFromAxes>(block_);
    if (!block)
        return;
    const Ps::EnumRotationFromAxesType type = block->getType();
    if (type == Ps::RFA_ZX || type == Ps::RFA_ZY)
    {
        // A type set in the scheme is the user's choice.
        const unsigned char axis = type == Ps::RFA_ZX ? SA_X : SA_Y;
        if (axis != softAxis_.get())
            softAxis_.setOverride(axis);
    }
    const boost::optional<BlockConnector> velocity =
        guide().positionChange().getVelocityConnector();
    if (!velocity)
        return;
    if (block->isFirstAxisExternal() || block->getFirstAxis() != kViewAxis ||
        !block->isSecondAxisExternal())
        return;
    if (type != Ps::RFA_ZX && type != Ps::RFA_ZY)
        return;
    if (!hasLink(velocity, block_, kFromAxesSecond) ||
        !hasLink(block_, kFromAxesOutput, guide().blockConstructId(), kConstructFreeRotation))
        return;
    valid_ = true;
}

void RotationVelocityFaced::fixLinks()
{
    if (!valid_)
        return;
    const boost::optional<BlockConnector> velocity =
        guide().positionChange().getVelocityConnector();
    if (velocity)
        link(velocity, block_, kFromAxesSecond);
    link(block_, kFromAxesOutput, guide().blockConstructId(), kConstructFreeRotation);
}

void RotationVelocityFaced::removeFromEmitter() { removeBlockIfExists(block_); }

boost::optional<BlockConnector> RotationVelocityFaced::getOutputConnector() const
{
    return findConnector(block_, kFromAxesOutput);
}

void RotationVelocityFaced::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_velocity_faced", saver, kVelocityFacedVersion);
    Sl::write("valid", saver, valid_);
    softAxis_.save("soft_axis", saver);
    Sl::write("block", saver, block_);
}

// RotationVelocityFree

namespace
{

// The unit vector of the axis that a type names second.
glm::vec3 secondAxisOfType(RotationVelocityFree::Type type)
{
    switch (type)
    {
    case RotationVelocityFree::T_XY:
    case RotationVelocityFree::T_ZY:
        return glm::vec3(0.0f, 1.0f, 0.0f);
    case RotationVelocityFree::T_XZ:
    case RotationVelocityFree::T_YZ:
        return glm::vec3(0.0f, 0.0f, 1.0f);
    case RotationVelocityFree::T_YX:
    case RotationVelocityFree::T_ZX:
        break;
    }
    return glm::vec3(1.0f, 0.0f, 0.0f);
}

}  // namespace

const char* RotationVelocityFree::typeLabel(Type type)
{
    static const char* const labels[kNumTypes] = {"X + Y", "X + Z", "Y + X",
                                                  "Y + Z", "Z + X", "Z + Y"};
    DEBUG_ASSERT(type < kNumTypes);
    return labels[type];
}

RotationVelocityFree::RotationVelocityFree(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
        construct->setRotationType(Ps::CGO_Free);
    std::unique_ptr<BlockFuncRotationFromAxes> block = BlockFuncRotationFromAxes::create();
    block->setFirstAxisExternal(true);
    block->setSecondAxisExternal(false);
    block_ = addBlock(std::move(block)).getId();
    setupAxes();
    valid_ = true;
}

RotationVelocityFree::RotationVelocityFree(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kVelocityFreeVersion);
    valid_ = Detail::readBool(loader);
    type_ = Detail::readEnum<Type>(loader, kNumTypes);
    block_ = Detail::readUuid(loader);
    softAxis_.load(loader);
}

RotationVelocityFree::RotationVelocityFree(EmitterGuide& guide, EmptyReflectionTag)
    : ReflectableBase(guide)
{
}

std::unique_ptr<ReflectableBase> RotationVelocityFree::reflect(EmitterGuide& guide) const
{
    return std::make_unique<RotationVelocityFree>(guide, EmptyReflectionTag());
}

void RotationVelocityFree::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const RotationVelocityFree&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    softAxis_.syncBase(other.softAxis_);
    block_ = reflBlockId(other, other.block_);
}

void RotationVelocityFree::setupAxes()
{
    // The soft axis follows the type until the user sets one.
    if (!softAxis_.isOverridden())
        softAxis_.setSource(secondAxisOfType(type_));
    if (BlockFuncRotationFromAxes* block = findBlockAs<BlockFuncRotationFromAxes>(block_))
    {
        block->setType(static_cast<Ps::EnumRotationFromAxesType>(type_));
        block->setSecondAxis(softAxis_.get());
    }
}

bool RotationVelocityFree::changeType(Type type)
{
    if (type == type_ || type >= kNumTypes)
        return false;
    auto scope = guide().scopedChange();
    type_ = type;
    setupAxes();
    return true;
}

bool RotationVelocityFree::setSoftAxis(const glm::vec3& axis)
{
    if (softAxis_.get() == axis)
        return false;
    auto scope = guide().scopedChange();
    softAxis_.setOverride(axis);
    setupAxes();
    return true;
}

void RotationVelocityFree::discardSoftAxis()
{
    auto scope = guide().scopedChange();
    softAxis_.discardOverride();
    setupAxes();
}

void RotationVelocityFree::updateFromEmitter()
{
    valid_ = false;
    const BlockFuncRotationFromAxes* block = findBlockAs<BlockFuncRotationFromAxes>(block_);
    if (!block)
        return;
    // A type or an axis set in the scheme is the user's choice.
    type_ = static_cast<Type>(block->getType());
    if (block->getSecondAxis() != softAxis_.get())
        softAxis_.setOverride(block->getSecondAxis());
    const boost::optional<BlockConnector> velocity =
        guide().positionChange().getVelocityConnector();
    if (!velocity)
        return;
    if (!block->isFirstAxisExternal() || block->isSecondAxisExternal() ||
        static_cast<unsigned int>(block->getType()) >= kNumTypes)
        return;
    if (!hasLink(velocity, block_, kFromAxesFirst) ||
        !hasLink(block_, kFromAxesOutput, guide().blockConstructId(), kConstructFreeRotation))
        return;
    valid_ = true;
}

void RotationVelocityFree::fixLinks()
{
    if (!valid_)
        return;
    const boost::optional<BlockConnector> velocity =
        guide().positionChange().getVelocityConnector();
    if (velocity)
        link(velocity, block_, kFromAxesFirst);
    link(block_, kFromAxesOutput, guide().blockConstructId(), kConstructFreeRotation);
}

void RotationVelocityFree::removeFromEmitter() { removeBlockIfExists(block_); }

boost::optional<BlockConnector> RotationVelocityFree::getOutputConnector() const
{
    return findConnector(block_, kFromAxesOutput);
}

void RotationVelocityFree::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation_velocity_free", saver, kVelocityFreeVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    Sl::write("block", saver, block_);
    softAxis_.save("soft_axis", saver);
}

// Rotation

Rotation::Rotation(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    impl_ = createImpl(type_);
    valid_ = true;
}

Rotation::Rotation(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kRotationVersion);
    valid_ = Detail::readBool(loader);
    type_ = Detail::readEnum<Type>(loader, 3);
    switch (type_)
    {
    case T_Controlled:
        impl_ = std::make_unique<RotationControlled>(guide, loader);
        break;
    case T_VelocityFaced:
        impl_ = std::make_unique<RotationVelocityFaced>(guide, loader);
        break;
    case T_VelocityFree:
        impl_ = std::make_unique<RotationVelocityFree>(guide, loader);
        break;
    }
    collapsed_ = Detail::readBool(loader);
}

Rotation::Rotation(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

Rotation::~Rotation() = default;

void Rotation::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const Rotation&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    makeTheSameType(impl_, other.impl_.get(), guide());
    if (impl_)
        impl_->syncReflection(*other.impl_);
}

std::unique_ptr<ReflectableBase> Rotation::createImpl(Type type)
{
    switch (type)
    {
    case T_VelocityFaced:
        return std::make_unique<RotationVelocityFaced>(guide());
    case T_VelocityFree:
        return std::make_unique<RotationVelocityFree>(guide());
    case T_Controlled:
        break;
    }
    return std::make_unique<RotationControlled>(guide());
}

RotationControlled* Rotation::controlled() const
{
    return dynamic_cast<RotationControlled*>(impl_.get());
}

RotationVelocityFaced* Rotation::velocityFaced() const
{
    return dynamic_cast<RotationVelocityFaced*>(impl_.get());
}

RotationVelocityFree* Rotation::velocityFree() const
{
    return dynamic_cast<RotationVelocityFree*>(impl_.get());
}

bool Rotation::areVelocityTypesPossible() const
{
    return static_cast<bool>(guide().positionChange().getVelocityConnector());
}

bool Rotation::changeType(Type type)
{
    if (type == type_)
        return false;
    if (type != T_Controlled && !areVelocityTypesPossible())
        return false;
    auto scope = guide().scopedChange();
    impl_->removeFromEmitter();
    impl_.reset();
    type_ = type;
    impl_ = createImpl(type);
    valid_ = impl_->isValid();
    return true;
}

void Rotation::updateFromEmitter()
{
    valid_ = false;
    impl_->updateFromEmitter();
    valid_ = impl_->isValid();
}

void Rotation::fixLinks()
{
    if (!valid_)
        return;
    impl_->fixLinks();
}

void Rotation::removeFromEmitter() { impl_->removeFromEmitter(); }

void Rotation::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("rotation", saver, kRotationVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    impl_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void Rotation::processEvent(const Event& event)
{
    // Without a velocity the rotation by the velocity has nothing to follow.
    if (dynamic_cast<const EventVelocityChanged*>(&event) && type_ != T_Controlled &&
        !areVelocityTypesPossible())
        changeType(T_Controlled);
    impl_->processEvent(event);
}

void Rotation::collectValues(std::vector<Value*>& values) { impl_->collectValues(values); }

}  // namespace Eg
}  // namespace Plm
