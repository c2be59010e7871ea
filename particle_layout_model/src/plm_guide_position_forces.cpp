#include <typeinfo>
#include <utility>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_param_velocity.h"
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

using ForceMove = BlockFuncForceMove3;

constexpr uint32_t kNoisePosition = 0;
constexpr uint32_t kNoiseOutput = 1;
constexpr uint32_t kNoiseScale = 3;
constexpr uint32_t kUpdaterInput = 0;

}  // namespace

// NoiseFromPosition

ValueBuilder NoiseFromPosition::createScaleValueBuilder(EmitterGuide& guide,
                                                        std::function<Uuid()> blockId)
{
    const Plot curve = makeLinearCurve({{0.0f, 0.1f}, {1.0f, 3.0f}});
    ValueBuilder builder(guide, 7, Value::Type::Fixed);
    builder.values({{200.0f, 200.0f, 200.0f}})
        .randomRanges(Detail::sameRanges(0.1f, 3.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit("Turb. scale", false)
        .blockProperty(std::move(blockId), kNoiseScale,
                       [](Block& block)
                       {
                           auto& noise = Detail::blockAs<BlockFuncNoise>(block);
                           return makeFloatsPropChanger(noise.outputRangeScaleProp(),
                                                        [&noise](const boost::optional<float>& v)
                                                        { noise.setOutputRangeScale(v); });
                       });
    return builder;
}

NoiseFromPosition::NoiseFromPosition(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    std::unique_ptr<BlockFuncNoise> block = BlockFuncNoise::create();
    // The turbulence's own defaults; a plain scale lives in the block's property.
    block->setAnimation(glm::vec3(100.0f, 50.0f, 30.0f));
    block->setOutputRangeScale(200.0f);
    if (block->getSmoothness() != 1000.0f)
        block->setSmoothness(1000.0f);
    updateReflFromProp(smoothness_, block->smoothnessProp());
    updateReflFromValue(animation_, block->getAnimation(), block->isAnimationOverridden());
    blockNoiseId_ = addBlock(std::move(block)).getId();
    scale_ = std::make_unique<MultiValue>(
        guide, createScaleValueBuilder(guide, [this]() { return blockNoiseId_; }), 1);
    valid_ = true;
}

NoiseFromPosition::NoiseFromPosition(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockNoiseId_);
    smoothness_.load(loader);
    scale_ = std::make_unique<MultiValue>(
        guide, createScaleValueBuilder(guide, [this]() { return blockNoiseId_; }), loader);
    animation_.load(loader);
}

NoiseFromPosition::NoiseFromPosition(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

NoiseFromPosition::~NoiseFromPosition() = default;

void NoiseFromPosition::setSmoothness(float value)
{
    auto* block = findBlockAs<BlockFuncNoise>(blockNoiseId_);
    if (!block || smoothness_.get() == value)
        return;
    auto scope = guide().scopedChange();
    smoothness_.setOverride(value);
    block->setSmoothness(value);
}

void NoiseFromPosition::discardSmoothness()
{
    auto* block = findBlockAs<BlockFuncNoise>(blockNoiseId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setSmoothness(boost::none);
    updateReflFromProp(smoothness_, block->smoothnessProp());
}

void NoiseFromPosition::setAnimation(const glm::vec3& value)
{
    auto* block = findBlockAs<BlockFuncNoise>(blockNoiseId_);
    if (!block || animation_.get() == value)
        return;
    auto scope = guide().scopedChange();
    animation_.setOverride(value);
    block->setAnimation(value);
}

void NoiseFromPosition::discardAnimation()
{
    auto* block = findBlockAs<BlockFuncNoise>(blockNoiseId_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setAnimation(boost::none);
    updateReflFromValue(animation_, block->getAnimation(), block->isAnimationOverridden());
}

void NoiseFromPosition::updateFromEmitter()
{
    valid_ = false;
    scale_->updateFromEmitter();
    const auto* block = findBlockAs<BlockFuncNoise>(blockNoiseId_);
    if (!block)
        return;
    updateReflFromProp(smoothness_, block->smoothnessProp());
    updateReflFromValue(animation_, block->getAnimation(), block->isAnimationOverridden());
    valid_ = scale_->isValid();
}

void NoiseFromPosition::fixLinks()
{
    if (!valid_)
        return;
    scale_->fixLinks();
    // The noise depends on the particle's place unless the user drew another source.
    if (linkOnInput(blockNoiseId_, kNoisePosition))
        return;
    const boost::optional<BlockConnector> position =
        guide().positionChange().getPositionConnector();
    if (position)
        link(position, blockNoiseId_, kNoisePosition);
}

void NoiseFromPosition::removeFromEmitter()
{
    scale_->removeFromEmitter();
    removeBlockIfExists(blockNoiseId_);
}

boost::optional<BlockConnector> NoiseFromPosition::getOutputConnector() const
{
    return findConnector(blockNoiseId_, kNoiseOutput);
}

void NoiseFromPosition::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("blockId", saver, blockNoiseId_);
    smoothness_.save("smoothness", saver);
    scale_->save(saver);
    animation_.save("animation", saver);
}

void NoiseFromPosition::processEvent(const Event& event) { scale_->processEvent(event); }

void NoiseFromPosition::collectValues(std::vector<Value*>& values)
{
    scale_->collectValues(values);
}

void NoiseFromPosition::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const NoiseFromPosition&>(source);
    valid_ = other.valid_;
    blockNoiseId_ = reflBlockId(other, other.blockNoiseId_);
    smoothness_.syncBase(other.smoothness_);
    if (!scale_)
        scale_ = std::make_unique<MultiValue>(
            guide(), createScaleValueBuilder(guide(), [this]() { return blockNoiseId_; }),
            EmptyReflectionTag());
    scale_->syncReflection(*other.scale_);
    animation_.syncBase(other.animation_);
}

// PositionChangeForces

ValueBuilder PositionChangeForces::createDirectForceValueBuilder(EmitterGuide& guide)
{
    ValueBuilder builder(guide, 7, Value::Type::Fixed);
    builder.values({{0.0f, 100.0f, 0.0f}})
        .randomRanges({{{0.0f, 0.0f}, {-200.0f, 200.0f}, {0.0f, 0.0f}}})
        .curves({{makeLinearCurve({{0.0f, -200.0f}, {1.0f, 200.0f}}),
                  makeLinearCurve({{0.0f, -200.0f}, {1.0f, -200.0f}}),
                  makeLinearCurve({{0.0f, 0.0f}, {1.0f, 0.0f}})}})
        .storeOnInit("Force", false);
    return builder;
}

ValueBuilder PositionChangeForces::createAirResistanceValueBuilder(EmitterGuide& guide,
                                                                   std::function<Uuid()> blockId)
{
    const Plot curve = makeLinearCurve({{0.0f, 0.1f}, {1.0f, 3.0f}});
    ValueBuilder builder(guide, 7, Value::Type::Fixed);
    builder.values({{0.1f, 0.1f, 0.1f}})
        .randomRanges(Detail::sameRanges(0.1f, 3.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit("Air resist.", false)
        .blockProperty(std::move(blockId), ForceMove::CI_Drag,
                       [](Block& block)
                       {
                           auto& move = Detail::blockAs<ForceMove>(block);
                           return makeFloatsPropChanger(move.dragProp(),
                                                        [&move](const boost::optional<float>& v)
                                                        { move.setDrag(v); });
                       });
    return builder;
}

PositionChangeForces::PositionChangeForces(EmitterGuide& guide,
                                           std::unique_ptr<VelocityStart> velocity)
    : PositionChangeBase(guide), velocity_(std::move(velocity))
{
    DEBUG_ASSERT(velocity_);
    auto scope = guide.scopedChange();
    const auto* position = findBlockAs<BlockParamPosition>(guide.positionStart().positionBlockId());
    const auto* velocityParam = findBlockAs<BlockParamVelocity>(velocity_->velocityBlockId());
    // Without both parameters there is nothing to update: the variant starts invalid.
    if (position)
        blockPositionUpdaterId_ = addBlock(BlockParamUserUpdater::create(*position)).getId();
    if (velocityParam)
        blockVelocityUpdaterId_ = addBlock(BlockParamUserUpdater::create(*velocityParam)).getId();

    std::unique_ptr<ForceMove> move = ForceMove::create();
    // A plain air resistance lives in the block's drag.
    move->setDrag(0.1f);
    blockForceMoveId_ = addBlock(std::move(move)).getId();
    airResistance_ = std::make_unique<MultiValue>(
        guide, createAirResistanceValueBuilder(guide, [this]() { return blockForceMoveId_; }), 1);

    forcesGuid_ = BoostExt::generateUuid();
    valid_ = position && velocityParam;
    addForce(FT_Direction);
}

PositionChangeForces::PositionChangeForces(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : PositionChangeBase(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockPositionUpdaterId_);
    Sl::read(loader, blockVelocityUpdaterId_);
    Sl::read(loader, blockForceMoveId_);
    velocity_ = std::make_unique<VelocityStart>(guide, loader);
    uint32_t count = 0;
    Sl::read(loader, count);
    if (count > ForceMove::kMaxListSize)
        throw Sl::CorruptedDataException();
    forces_.reserve(count);
    for (uint32_t i = 0; i < count; ++i)
    {
        Detail::CurrentGroup forceGroup(loader, kForceVersion);
        uint8_t type = 0;
        Sl::read(loader, type);
        Force force;
        force.type = static_cast<ForceType>(type);
        switch (type)
        {
        case FT_Direction:
            force.value =
                std::make_unique<Point>(guide, createDirectForceValueBuilder(guide), loader);
            break;
        case FT_Noise:
            force.value = std::make_unique<NoiseFromPosition>(guide, loader);
            break;
        default:
            throw Sl::CorruptedDataException();
        }
        forces_.push_back(std::move(force));
    }
    Sl::read(loader, forcesGuid_);
    airResistance_ = std::make_unique<MultiValue>(
        guide, createAirResistanceValueBuilder(guide, [this]() { return blockForceMoveId_; }),
        loader);
}

PositionChangeForces::PositionChangeForces(EmitterGuide& guide, EmptyReflectionTag)
    : PositionChangeBase(guide)
{
}

PositionChangeForces::~PositionChangeForces() = default;

std::unique_ptr<ReflectableBase> PositionChangeForces::reflect(EmitterGuide& guide) const
{
    return std::make_unique<PositionChangeForces>(guide, EmptyReflectionTag());
}

PositionChangeForces::ForceType PositionChangeForces::forceType(unsigned index) const
{
    DEBUG_ASSERT(index < forces_.size());
    return forces_[index].type;
}

Base& PositionChangeForces::force(unsigned index) const
{
    DEBUG_ASSERT(index < forces_.size());
    return *forces_[index].value;
}

std::unique_ptr<Base> PositionChangeForces::createForce(ForceType type)
{
    switch (type)
    {
    case FT_Direction:
        return std::make_unique<Point>(guide(), createDirectForceValueBuilder(guide()));
    case FT_Noise:
        return std::make_unique<NoiseFromPosition>(guide());
    }
    DEBUG_ASSERT(!"force type");
    return nullptr;
}

std::unique_ptr<Base> PositionChangeForces::createForceTwin(ForceType type)
{
    switch (type)
    {
    case FT_Direction:
        return std::make_unique<Point>(guide(), createDirectForceValueBuilder(guide()),
                                       EmptyReflectionTag());
    case FT_Noise:
        return std::make_unique<NoiseFromPosition>(guide(), EmptyReflectionTag());
    }
    DEBUG_ASSERT(!"force type");
    return nullptr;
}

void PositionChangeForces::addForce(ForceType type)
{
    DEBUG_ASSERT(forces_.size() < ForceMove::kMaxListSize);
    auto scope = guide().scopedChange();
    Force force;
    force.type = type;
    force.value = createForce(type);
    forces_.push_back(std::move(force));
    forcesGuid_ = BoostExt::generateUuid();
    syncNumForces();
}

void PositionChangeForces::removeForce(unsigned index)
{
    DEBUG_ASSERT(index < forces_.size());
    auto scope = guide().scopedChange();
    forces_[index].value->removeFromEmitter();
    forces_.erase(forces_.begin() + index);
    forcesGuid_ = BoostExt::generateUuid();
    syncNumForces();
}

void PositionChangeForces::syncNumForces()
{
    auto* move = findBlockAs<ForceMove>(blockForceMoveId_);
    if (!move)
        return;
    const auto count = static_cast<unsigned int>(forces_.size());
    // The block drops the links of the inputs that go; those that stay are linked again by
    // fixLinks, each to the force now at its index.
    move->setNumForces(count);
    for (unsigned int i = 0; i < count; ++i)
        if (!move->isForceExternal(i))
            move->setForceExternal(i, true);
}

boost::optional<BlockConnector> PositionChangeForces::getPositionConnector() const
{
    return guide().positionStart().getOutputConnector();
}

boost::optional<BlockConnector> PositionChangeForces::getVelocityConnector() const
{
    return velocity_->getOutputConnector();
}

void PositionChangeForces::removeOwnBlocks()
{
    for (const Force& force : forces_)
        force.value->removeFromEmitter();
    airResistance_->removeFromEmitter();
    removeBlockIfExists(blockPositionUpdaterId_);
    removeBlockIfExists(blockVelocityUpdaterId_);
    removeBlockIfExists(blockForceMoveId_);
}

std::unique_ptr<VelocityStart> PositionChangeForces::removeFromEmitterKeepingVelocity()
{
    removeOwnBlocks();
    return std::move(velocity_);
}

void PositionChangeForces::removeFromEmitter()
{
    if (velocity_)
        velocity_->removeFromEmitter();
    removeOwnBlocks();
}

void PositionChangeForces::updateFromEmitter()
{
    valid_ = false;
    velocity_->updateFromEmitter();
    airResistance_->updateFromEmitter();
    for (const Force& force : forces_)
        force.value->updateFromEmitter();
    if (!velocity_->isValid())
        return;
    if (!Detail::isUpdaterOf(findBlock(blockPositionUpdaterId_),
                             guide().positionStart().positionBlockId()) ||
        !Detail::isUpdaterOf(findBlock(blockVelocityUpdaterId_), velocity_->velocityBlockId()))
        return;
    const auto* move = findBlockAs<ForceMove>(blockForceMoveId_);
    if (!move || move->getNumForces() != forces_.size())
        return;
    if (!hasLink(getPositionConnector(), blockForceMoveId_, ForceMove::CI_InPosition) ||
        !hasLink(velocity_->getOutputConnector(), blockForceMoveId_, ForceMove::CI_InVelocity) ||
        !hasLink(blockForceMoveId_, ForceMove::CI_OutPosition, blockPositionUpdaterId_,
                 kUpdaterInput) ||
        !hasLink(blockForceMoveId_, ForceMove::CI_OutVelocity, blockVelocityUpdaterId_,
                 kUpdaterInput))
        return;
    for (unsigned int i = 0; i < forces_.size(); ++i)
        if (!hasLink(forces_[i].value->getOutputConnector(), blockForceMoveId_,
                     ForceMove::CI_Forces + i))
            return;
    valid_ = true;
}

void PositionChangeForces::fixLinks()
{
    if (!valid_)
        return;
    velocity_->fixLinks();
    airResistance_->fixLinks();
    link(getPositionConnector(), blockForceMoveId_, ForceMove::CI_InPosition);
    link(velocity_->getOutputConnector(), blockForceMoveId_, ForceMove::CI_InVelocity);
    link(blockForceMoveId_, ForceMove::CI_OutPosition, blockPositionUpdaterId_, kUpdaterInput);
    link(blockForceMoveId_, ForceMove::CI_OutVelocity, blockVelocityUpdaterId_, kUpdaterInput);
    for (unsigned int i = 0; i < forces_.size(); ++i)
    {
        Base& value = *forces_[i].value;
        value.fixLinks();
        // A force that gave up has no output to offer; its input stays empty.
        if (value.isValid())
            link(value.getOutputConnector(), blockForceMoveId_, ForceMove::CI_Forces + i);
    }
}

void PositionChangeForces::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("positionUpdaterId", saver, blockPositionUpdaterId_);
    Sl::write("velocityUpdaterId", saver, blockVelocityUpdaterId_);
    Sl::write("forceMoveId", saver, blockForceMoveId_);
    velocity_->save(saver);
    Sl::write("count", saver, static_cast<uint32_t>(forces_.size()));
    for (const Force& force : forces_)
    {
        Sl::ScopedSaverGroup forceGroup(saver, kForceVersion);
        Sl::write("type", saver, static_cast<uint8_t>(force.type));
        force.value->save(saver);
    }
    Sl::write("forcesGuid", saver, forcesGuid_);
    airResistance_->save(saver);
}

void PositionChangeForces::processEvent(const Event& event)
{
    velocity_->processEvent(event);
    for (const Force& force : forces_)
        force.value->processEvent(event);
    airResistance_->processEvent(event);
}

void PositionChangeForces::collectValues(std::vector<Value*>& values)
{
    velocity_->collectValues(values);
    for (const Force& force : forces_)
        force.value->collectValues(values);
    airResistance_->collectValues(values);
}

void PositionChangeForces::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const PositionChangeForces&>(source);
    valid_ = other.valid_;
    blockPositionUpdaterId_ = reflBlockId(other, other.blockPositionUpdaterId_);
    blockVelocityUpdaterId_ = reflBlockId(other, other.blockVelocityUpdaterId_);
    blockForceMoveId_ = reflBlockId(other, other.blockForceMoveId_);
    if (!velocity_)
        velocity_ = std::make_unique<VelocityStart>(guide(), EmptyReflectionTag());
    velocity_->syncReflection(*other.velocity_);
    syncVector(
        forces_, other.forces_, [](const Force&) { return Force(); },
        [this](Force& own, const Force& theirs)
        {
            if (!own.value || own.type != theirs.type)
            {
                own.type = theirs.type;
                own.value = createForceTwin(theirs.type);
            }
            own.value->syncReflection(*theirs.value);
        });
    forcesGuid_ = other.forcesGuid_;
    if (!airResistance_)
        airResistance_ = std::make_unique<MultiValue>(
            guide(),
            createAirResistanceValueBuilder(guide(), [this]() { return blockForceMoveId_; }),
            EmptyReflectionTag());
    airResistance_->syncReflection(*other.airResistance_);
}

}  // namespace Eg
}  // namespace Plm
