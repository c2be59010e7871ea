#include "particle_layout_model/plm_guide_position.h"

#include <typeinfo>
#include <utility>

#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_param_velocity.h"
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

constexpr uint32_t kParamInit = 0;
constexpr uint32_t kParamOutput = 1;
constexpr uint32_t kMovePosition = 0;
constexpr uint32_t kMoveSpeed = 1;
constexpr uint32_t kMoveResult = 2;
constexpr uint32_t kUpdaterInput = 0;

// Sets a flag of a block through the form: the form value takes the override at once, so
// that the form doesn't wait for the graph's notification.
template <class Setter>
void changeFlag(Refl<bool>& refl, bool value, Setter setter)
{
    refl.setOverride(value);
    setter(value);
}

}  // namespace

// PositionStart

ValueBuilder PositionStart::createPointValueBuilder(EmitterGuide& guide)
{
    const Plot curve = makeLinearCurve({{0.0f, -200.0f}, {1.0f, 200.0f}});
    ValueBuilder builder(guide, 4, Value::Type::Fixed);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(-200.0f, 200.0f))
        .curves(Detail::sameCurves(curve));
    return builder;
}

PositionStart::PositionStart(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    std::unique_ptr<BlockParamPosition> block = BlockParamPosition::create();
    block->setName(std::string("Position"));
    block->setValueExternal(true);
    // True is the block's own default; setting it only where it differs keeps the form free of
    // an override the user never made.
    if (!block->getApplyEmitterRotation())
        block->setApplyEmitterRotation(true);
    applyEmitterRotation_.setSource(block->getApplyEmitterRotation());
    blockPositionId_ = addBlock(std::move(block)).getId();
    point_ = std::make_unique<Point>(guide, createPointValueBuilder(guide));
    valid_ = true;
}

PositionStart::PositionStart(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockPositionId_);
    uint8_t type = 0;
    Sl::read(loader, type);
    if (type != T_Point)
        throw Sl::CorruptedDataException();
    type_ = T_Point;
    point_ = std::make_unique<Point>(guide, createPointValueBuilder(guide), loader);
    applyEmitterRotation_.load(loader);
    Sl::read(loader, collapsed_);
}

PositionStart::PositionStart(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

PositionStart::~PositionStart() = default;

void PositionStart::enableApplyEmitterRotation(bool enable)
{
    auto* block = findBlockAs<BlockParamPosition>(blockPositionId_);
    if (!block || applyEmitterRotation_.get() == enable)
        return;
    auto scope = guide().scopedChange();
    changeFlag(applyEmitterRotation_, enable,
               [block](bool value) { block->setApplyEmitterRotation(value); });
}

void PositionStart::discardApplyEmitterRotation()
{
    auto* block = findBlockAs<BlockParamPosition>(blockPositionId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setApplyEmitterRotation(boost::none);
    updateReflFromProp(applyEmitterRotation_, block->applyEmitterRotationProp());
}

void PositionStart::updateFromEmitter()
{
    valid_ = false;
    point_->updateFromEmitter();
    const auto* block = findBlockAs<BlockParamPosition>(blockPositionId_);
    if (!block)
        return;
    updateReflFromProp(applyEmitterRotation_, block->applyEmitterRotationProp());
    valid_ = block->isValueExternal() && point_->isValid() &&
             hasLink(point_->getOutputConnector(), blockPositionId_, kParamInit);
}

void PositionStart::fixLinks()
{
    if (!valid_)
        return;
    point_->fixLinks();
    guide().registerParticleProperty(blockPositionId_);
    link(point_->getOutputConnector(), blockPositionId_, kParamInit);
}

void PositionStart::removeFromEmitter()
{
    point_->removeFromEmitter();
    removeBlockIfExists(blockPositionId_);
}

boost::optional<BlockConnector> PositionStart::getOutputConnector() const
{
    return findConnector(blockPositionId_, kParamOutput);
}

void PositionStart::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("blockId", saver, blockPositionId_);
    Sl::write("type", saver, static_cast<uint8_t>(type_));
    point_->save(saver);
    applyEmitterRotation_.save("applyEmitterRotation", saver);
    Sl::write("collapsed", saver, collapsed_);
}

void PositionStart::processEvent(const Event& event) { point_->processEvent(event); }

void PositionStart::collectValues(std::vector<Value*>& values) { point_->collectValues(values); }

void PositionStart::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const PositionStart&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    blockPositionId_ = reflBlockId(other, other.blockPositionId_);
    if (!point_)
        point_ = std::make_unique<Point>(guide(), createPointValueBuilder(guide()),
                                         EmptyReflectionTag());
    point_->syncReflection(*other.point_);
    applyEmitterRotation_.syncBase(other.applyEmitterRotation_);
}

// VelocityStart

ValueBuilder VelocityStart::createSphereValueBuilder(EmitterGuide& guide)
{
    ValueBuilder builder(guide, 5, Value::Type::Sphere);
    builder.values({{100.0f, 100.0f, 100.0f}})
        .randomRanges(Detail::sameRanges(-100.0f, 100.0f))
        .curves({{makeLinearCurve({{0.0f, -100.0f}, {1.0f, 100.0f}}),
                  makeLinearCurve({{0.0f, 100.0f}, {1.0f, 100.0f}}),
                  makeLinearCurve({{0.0f, 0.0f}, {1.0f, 0.0f}})}});
    return builder;
}

ValueBuilder VelocityStart::createFixedValueBuilder(EmitterGuide& guide)
{
    const Plot curve = makeLinearCurve({{0.0f, -200.0f}, {1.0f, 200.0f}});
    ValueBuilder builder(guide, 5, Value::Type::Fixed);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(-200.0f, 200.0f))
        .curves(Detail::sameCurves(curve));
    return builder;
}

VelocityStart::VelocityStart(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    std::unique_ptr<BlockParamVelocity> block = BlockParamVelocity::create();
    block->setName(std::string("Velocity"));
    block->setValueExternal(true);
    // Both flags are on by the block's own default.
    if (!block->getAddEmitterVelocity())
        block->setAddEmitterVelocity(true);
    if (!block->getApplyEmitterRotation())
        block->setApplyEmitterRotation(true);
    emitterAddition_.setSource(block->getAddEmitterVelocity());
    applyEmitterRotation_.setSource(block->getApplyEmitterRotation());
    blockVelocityId_ = addBlock(std::move(block)).getId();
    initSphereType();
    valid_ = true;
}

VelocityStart::VelocityStart(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    type_ = Detail::readEnum<Type>(loader, T_Fixed + 1);
    Sl::read(loader, blockVelocityId_);
    point_ = std::make_unique<Point>(
        guide, type_ == T_Sphere ? createSphereValueBuilder(guide) : createFixedValueBuilder(guide),
        loader);
    emitterAddition_.load(loader);
    applyEmitterRotation_.load(loader);
}

VelocityStart::VelocityStart(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

VelocityStart::~VelocityStart() = default;

void VelocityStart::initSphereType()
{
    type_ = T_Sphere;
    point_ = std::make_unique<Point>(guide(), createSphereValueBuilder(guide()));
}

void VelocityStart::initFixedType()
{
    type_ = T_Fixed;
    point_ = std::make_unique<Point>(guide(), createFixedValueBuilder(guide()));
}

bool VelocityStart::changeType(Type type)
{
    if (type == type_)
        return false;
    auto scope = guide().scopedChange();
    point_->removeFromEmitter();
    if (type == T_Fixed)
        initFixedType();
    else
        initSphereType();
    return true;
}

void VelocityStart::enableEmitterAddition(bool enable)
{
    auto* block = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    if (!block || emitterAddition_.get() == enable)
        return;
    auto scope = guide().scopedChange();
    changeFlag(emitterAddition_, enable,
               [block](bool value) { block->setAddEmitterVelocity(value); });
}

void VelocityStart::discardEmitterAddition()
{
    auto* block = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setAddEmitterVelocity(boost::none);
    updateReflFromProp(emitterAddition_, block->addEmitterVelocityProp());
}

void VelocityStart::enableApplyEmitterRotation(bool enable)
{
    auto* block = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    if (!block || applyEmitterRotation_.get() == enable)
        return;
    auto scope = guide().scopedChange();
    changeFlag(applyEmitterRotation_, enable,
               [block](bool value) { block->setApplyEmitterRotation(value); });
}

void VelocityStart::discardApplyEmitterRotation()
{
    auto* block = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setApplyEmitterRotation(boost::none);
    updateReflFromProp(applyEmitterRotation_, block->applyEmitterRotationProp());
}

void VelocityStart::fixVelocityPropertyOwned(const Uuid& id)
{
    if (id == blockVelocityId_)
        return;
    auto scope = guide().scopedChange();
    removeBlockIfExists(id);
}

void VelocityStart::updateFromEmitter()
{
    valid_ = false;
    point_->updateFromEmitter();
    const auto* block = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    if (!block)
        return;
    updateReflFromProp(emitterAddition_, block->addEmitterVelocityProp());
    updateReflFromProp(applyEmitterRotation_, block->applyEmitterRotationProp());
    valid_ =
        point_->isValid() && hasLink(point_->getOutputConnector(), blockVelocityId_, kParamInit);
}

void VelocityStart::fixLinks()
{
    if (!valid_)
        return;
    point_->fixLinks();
    guide().registerParticleProperty(blockVelocityId_);
    const Block* blockVelocity = findBlockAs<BlockParamVelocity>(blockVelocityId_);
    const boost::optional<BlockConnector> implConn = point_->getOutputConnector();
    DEBUG_ASSERT(blockVelocity && implConn);
    link(implConn, blockVelocityId_, kParamInit);
}

void VelocityStart::removeFromEmitter()
{
    point_->removeFromEmitter();
    removeBlockIfExists(blockVelocityId_);
}

boost::optional<BlockConnector> VelocityStart::getOutputConnector() const
{
    return findConnector(blockVelocityId_, kParamOutput);
}

void VelocityStart::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    Sl::write("blockId", saver, blockVelocityId_);
    point_->save(saver);
    emitterAddition_.save("emitterAddition", saver);
    applyEmitterRotation_.save("applyEmitterRotation", saver);
}

void VelocityStart::processEvent(const Event& event) { point_->processEvent(event); }

void VelocityStart::collectValues(std::vector<Value*>& values) { point_->collectValues(values); }

void VelocityStart::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const VelocityStart&>(source);
    valid_ = other.valid_;
    blockVelocityId_ = reflBlockId(other, other.blockVelocityId_);
    // Each type has its own defaults, which the point keeps in its builder.
    if (!point_ || type_ != other.type_)
        point_ = std::make_unique<Point>(guide(),
                                         other.type_ == T_Sphere ? createSphereValueBuilder(guide())
                                                                 : createFixedValueBuilder(guide()),
                                         EmptyReflectionTag());
    type_ = other.type_;
    point_->syncReflection(*other.point_);
    emitterAddition_.syncBase(other.emitterAddition_);
    applyEmitterRotation_.syncBase(other.applyEmitterRotation_);
}

// PositionChangeBase

std::unique_ptr<VelocityStart> PositionChangeBase::removeFromEmitterKeepingVelocity()
{
    removeFromEmitter();
    return nullptr;
}

// PositionChangeNone

PositionChangeNone::PositionChangeNone(EmitterGuide& guide) : PositionChangeBase(guide)
{
    valid_ = static_cast<bool>(getPositionConnector());
}

PositionChangeNone::PositionChangeNone(EmitterGuide& guide, EmptyReflectionTag)
    : PositionChangeBase(guide)
{
}

std::unique_ptr<ReflectableBase> PositionChangeNone::reflect(EmitterGuide& guide) const
{
    return std::make_unique<PositionChangeNone>(guide, EmptyReflectionTag());
}

PositionChangeNone::PositionChangeNone(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : PositionChangeBase(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
}

boost::optional<BlockConnector> PositionChangeNone::getPositionConnector() const
{
    return guide().positionStart().getOutputConnector();
}

void PositionChangeNone::updateFromEmitter() { valid_ = static_cast<bool>(getPositionConnector()); }

void PositionChangeNone::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
}

void PositionChangeNone::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    valid_ = static_cast<const PositionChangeNone&>(source).valid_;
}

// PositionChangeSteady

PositionChangeSteady::PositionChangeSteady(EmitterGuide& guide,
                                           std::unique_ptr<VelocityStart> velocity)
    : PositionChangeBase(guide), velocity_(std::move(velocity))
{
    DEBUG_ASSERT(velocity_);
    auto scope = guide.scopedChange();
    const auto* position = findBlockAs<BlockParamPosition>(guide.positionStart().positionBlockId());
    // Without the position parameter there is nothing to update: the variant starts invalid.
    if (position)
        blockUpdaterId_ = addBlock(BlockParamUserUpdater::create(*position)).getId();
    std::unique_ptr<BlockFuncMove> move = BlockFuncMove::create(CT_Vec3);
    move->setSpeedExternal(true);
    blockMoveId_ = addBlock(std::move(move)).getId();
    valid_ = position != nullptr;
}

PositionChangeSteady::PositionChangeSteady(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : PositionChangeBase(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockUpdaterId_);
    Sl::read(loader, blockMoveId_);
    velocity_ = std::make_unique<VelocityStart>(guide, loader);
}

PositionChangeSteady::PositionChangeSteady(EmitterGuide& guide, EmptyReflectionTag)
    : PositionChangeBase(guide)
{
}

PositionChangeSteady::~PositionChangeSteady() = default;

std::unique_ptr<ReflectableBase> PositionChangeSteady::reflect(EmitterGuide& guide) const
{
    return std::make_unique<PositionChangeSteady>(guide, EmptyReflectionTag());
}

boost::optional<BlockConnector> PositionChangeSteady::getPositionConnector() const
{
    return guide().positionStart().getOutputConnector();
}

boost::optional<BlockConnector> PositionChangeSteady::getVelocityConnector() const
{
    return velocity_->getOutputConnector();
}

void PositionChangeSteady::removeOwnBlocks()
{
    removeBlockIfExists(blockUpdaterId_);
    removeBlockIfExists(blockMoveId_);
}

std::unique_ptr<VelocityStart> PositionChangeSteady::removeFromEmitterKeepingVelocity()
{
    removeOwnBlocks();
    return std::move(velocity_);
}

void PositionChangeSteady::updateFromEmitter()
{
    valid_ = false;
    velocity_->updateFromEmitter();
    if (!velocity_->isValid())
        return;
    if (!Detail::isUpdaterOf(findBlock(blockUpdaterId_), guide().positionStart().positionBlockId()))
        return;
    const auto* move = findBlockAs<BlockFuncMove>(blockMoveId_);
    if (!move || move->getType() != CT_Vec3 || !move->isSpeedExternal())
        return;
    valid_ = hasLink(getPositionConnector(), blockMoveId_, kMovePosition) &&
             hasLink(velocity_->getOutputConnector(), blockMoveId_, kMoveSpeed) &&
             hasLink(blockMoveId_, kMoveResult, blockUpdaterId_, kUpdaterInput);
}

void PositionChangeSteady::fixLinks()
{
    if (!valid_)
        return;
    velocity_->fixLinks();
    link(getPositionConnector(), blockMoveId_, kMovePosition);
    link(velocity_->getOutputConnector(), blockMoveId_, kMoveSpeed);
    link(blockMoveId_, kMoveResult, blockUpdaterId_, kUpdaterInput);
}

void PositionChangeSteady::removeFromEmitter()
{
    if (velocity_)
        velocity_->removeFromEmitter();
    removeOwnBlocks();
}

void PositionChangeSteady::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("updaterId", saver, blockUpdaterId_);
    Sl::write("moveId", saver, blockMoveId_);
    velocity_->save(saver);
}

void PositionChangeSteady::processEvent(const Event& event) { velocity_->processEvent(event); }

void PositionChangeSteady::collectValues(std::vector<Value*>& values)
{
    velocity_->collectValues(values);
}

void PositionChangeSteady::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const PositionChangeSteady&>(source);
    valid_ = other.valid_;
    blockUpdaterId_ = reflBlockId(other, other.blockUpdaterId_);
    blockMoveId_ = reflBlockId(other, other.blockMoveId_);
    if (!velocity_)
        velocity_ = std::make_unique<VelocityStart>(guide(), EmptyReflectionTag());
    velocity_->syncReflection(*other.velocity_);
}

// PositionChange

PositionChange::PositionChange(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    createImplByType();
    valid_ = impl_->isValid();
}

PositionChange::PositionChange(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    uint8_t type = 0;
    Sl::read(loader, type);
    switch (type)
    {
    case T_None:
        impl_ = std::make_unique<PositionChangeNone>(guide, loader);
        break;
    case T_Path:
        impl_ = std::make_unique<PositionChangePath>(guide, loader);
        break;
    case T_Steady:
        impl_ = std::make_unique<PositionChangeSteady>(guide, loader);
        break;
    case T_Forces:
        impl_ = std::make_unique<PositionChangeForces>(guide, loader);
        break;
    default:
        throw Sl::CorruptedDataException();
    }
    type_ = static_cast<Type>(type);
    Sl::read(loader, collapsed_);
}

PositionChange::PositionChange(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

PositionChange::~PositionChange() = default;

void PositionChange::createImplByType()
{
    switch (type_)
    {
    case T_None:
        impl_ = std::make_unique<PositionChangeNone>(guide());
        break;
    case T_Path:
        impl_ = std::make_unique<PositionChangePath>(guide());
        break;
    case T_Steady:
        impl_ = std::make_unique<PositionChangeSteady>(guide(), retrieveVelocity());
        break;
    case T_Forces:
        impl_ = std::make_unique<PositionChangeForces>(guide(), retrieveVelocity());
        break;
    }
}

std::unique_ptr<VelocityStart> PositionChange::retrieveVelocity()
{
    if (velocityStart_)
        return std::move(velocityStart_);
    return std::make_unique<VelocityStart>(guide());
}

void PositionChange::releaseVelocity(std::unique_ptr<VelocityStart> velocity)
{
    DEBUG_ASSERT(!velocityStart_);
    velocityStart_ = std::move(velocity);
}

bool PositionChange::changeType(Type type)
{
    if (!valid_ || type == type_)
        return false;
    {
        auto scope = guide().scopedChange();
        if (std::unique_ptr<VelocityStart> velocity = impl_->removeFromEmitterKeepingVelocity())
            releaseVelocity(std::move(velocity));
        impl_.reset();
        type_ = type;
        createImplByType();
        // A velocity that the new variant didn't take goes with the old one.
        if (velocityStart_)
        {
            velocityStart_->removeFromEmitter();
            velocityStart_.reset();
        }
        valid_ = impl_->isValid();
        guide().processEvent(EventVelocityChanged());
    }
    return true;
}

boost::optional<BlockConnector> PositionChange::getPositionConnector() const
{
    return impl_->getPositionConnector();
}

boost::optional<BlockConnector> PositionChange::getVelocityConnector() const
{
    return impl_->getVelocityConnector();
}

bool PositionChange::doesSupportParticleSpeed() const { return impl_->doesSupportParticleSpeed(); }

void PositionChange::postLoad() { impl_->postLoad(); }

void PositionChange::updateFromEmitter()
{
    valid_ = false;
    impl_->updateFromEmitter();
    valid_ = impl_->isValid();
}

void PositionChange::fixLinks()
{
    if (valid_)
        impl_->fixLinks();
}

void PositionChange::removeFromEmitter() { impl_->removeFromEmitter(); }

void PositionChange::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("type", saver, static_cast<uint8_t>(type_));
    impl_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void PositionChange::processEvent(const Event& event) { impl_->processEvent(event); }

void PositionChange::collectValues(std::vector<Value*>& values) { impl_->collectValues(values); }

void PositionChange::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const PositionChange&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    makeTheSameType(impl_, other.impl_.get(), guide());
    if (impl_)
        impl_->syncReflection(*other.impl_);
}

}  // namespace Eg
}  // namespace Plm
