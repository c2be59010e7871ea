#include <typeinfo>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>

#include "particle_layout_model/plm_block_func_conv2to3.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
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

constexpr uint32_t kExprOutput = BlockFuncExpression::kOutputConnector;
constexpr uint32_t kExprStart = BlockFuncExpression::kFirstInputConnector;
constexpr uint32_t kExprPoint = BlockFuncExpression::kFirstInputConnector + 1;
constexpr uint32_t kConvInput = 0;
constexpr uint32_t kConvOutput = 2;
constexpr uint32_t kGlobOutput = 0;
constexpr uint32_t kParamInit = 0;
constexpr uint32_t kParamOutput = 1;
constexpr uint32_t kTransformRotation = BlockFuncTransform3::CI_StartRotation;
constexpr uint32_t kTransformShift = BlockFuncTransform3::CI_OperationInputsBegin;
constexpr uint32_t kTransformResult = BlockFuncTransform3::CI_ResultPosition;
constexpr const char* kExpression = "a + b";

using BlockParamRotation = BlockParamUserTyped<glm::quat>;

// A transform that turns its shift by the rotation on its rotation input.
std::unique_ptr<BlockFuncTransform3> createRotatingTransform()
{
    std::unique_ptr<BlockFuncTransform3> block = BlockFuncTransform3::create();
    block->setStartRotationExternal(true);
    block->setNumOperations(1u);
    block->setOperationType(0, BlockFuncTransform3::OT_Shift);
    block->setShiftExternal(0, true);
    return block;
}

bool isRotatingTransform(const BlockFuncTransform3* block)
{
    return block && block->isStartRotationExternal() && block->getNumOperations() == 1 &&
           block->getOperationType(0) == BlockFuncTransform3::OT_Shift && block->isShiftExternal(0);
}

}  // namespace

ValueBuilder PositionChangePath::createPathValueBuilder(EmitterGuide& guide)
{
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(0.0f, 0.0f)));
    path.appendKeyBackWithSegment(
        PathKey<glm::vec2>(false, glm::vec2(-100.0f, -100.0f)),
        PathSegBezier<glm::vec2>(glm::vec2(50.0f, -50.0f), glm::vec2(-50.0f, -150.0f)));
    ValueBuilder builder(guide, 8, Value::Type::PointFromPath);
    builder.path(path);
    return builder;
}

PositionChangePath::PositionChangePath(EmitterGuide& guide) : PositionChangeBase(guide)
{
    auto scope = guide.scopedChange();
    point_ = std::make_unique<Point>(guide, createPathValueBuilder(guide));
    // A particle walks the path over its life.
    if (point_->value().numRows() == 1)
        if (auto* pointFromPath = dynamic_cast<PointFromPath*>(&point_->value().rowValue(0).impl()))
            pointFromPath->distrib().rowValue(0).changeType(Value::Type::OverParticleLife);

    blockExprId_ = addBlock(Detail::createTwoInputExpression(CT_Vec3, kExpression)).getId();
    blockConvId_ = addBlock(BlockFuncConv2to3::create()).getId();
    valid_ = true;
    enableApplyEmitterRotation(true);
}

PositionChangePath::PositionChangePath(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : PositionChangeBase(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    point_ = std::make_unique<Point>(guide, createPathValueBuilder(guide), loader);
    Sl::read(loader, blockExprId_);
    Sl::read(loader, blockConvId_);
    Sl::read(loader, applyEmitterRotation_);
    Sl::read(loader, blockEmitterRotId_);
    Sl::read(loader, blockRotParamId_);
    Sl::read(loader, blockTransformPointId_);
    Sl::read(loader, blockTransformDirId_);
}

PositionChangePath::PositionChangePath(EmitterGuide& guide, EmptyReflectionTag)
    : PositionChangeBase(guide)
{
}

PositionChangePath::~PositionChangePath() = default;

std::unique_ptr<ReflectableBase> PositionChangePath::reflect(EmitterGuide& guide) const
{
    return std::make_unique<PositionChangePath>(guide, EmptyReflectionTag());
}

boost::optional<BlockConnector> PositionChangePath::getPathDirectionConnector() const
{
    const MultiValue& value = point_->value();
    if (value.numRows() != 1 || value.isExprEnabled())
        return boost::none;
    const auto* pointFromPath = dynamic_cast<const PointFromPath*>(&value.rowValue(0).impl());
    return pointFromPath ? pointFromPath->getDirectionConnector() : boost::none;
}

boost::optional<BlockConnector> PositionChangePath::getPositionConnector() const
{
    return findConnector(blockExprId_, kExprOutput);
}

boost::optional<BlockConnector> PositionChangePath::getVelocityConnector() const
{
    if (applyEmitterRotation_)
        return blockTransformDirId_ ? findConnector(*blockTransformDirId_, kTransformResult)
                                    : boost::none;
    return findConnector(blockConvId_, kConvOutput);
}

void PositionChangePath::createRotationBlocks()
{
    blockEmitterRotId_ = guide().requestEmitterRotationId();
    std::unique_ptr<BlockParamRotation> param = BlockParamRotation::create();
    param->setName(std::string("Emitter rot."));
    param->setValueExternal(true);
    blockRotParamId_ = addBlock(std::move(param)).getId();
    blockTransformPointId_ = addBlock(createRotatingTransform()).getId();
    blockTransformDirId_ = addBlock(createRotatingTransform()).getId();
}

void PositionChangePath::removeRotationBlocks()
{
    if (blockEmitterRotId_)
        guide().releaseEmitterRotationId();
    removeBlockIfExists(blockRotParamId_);
    removeBlockIfExists(blockTransformPointId_);
    removeBlockIfExists(blockTransformDirId_);
    blockEmitterRotId_ = boost::none;
    blockRotParamId_ = boost::none;
    blockTransformPointId_ = boost::none;
    blockTransformDirId_ = boost::none;
}

void PositionChangePath::enableApplyEmitterRotation(bool enable)
{
    if (enable == applyEmitterRotation_)
        return;
    auto scope = guide().scopedChange();
    if (enable)
        createRotationBlocks();
    else
        removeRotationBlocks();
    applyEmitterRotation_ = enable;
}

void PositionChangePath::postLoad()
{
    if (!valid_ || !applyEmitterRotation_ || blockRotParamId_)
        return;
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockParamRotation> param = BlockParamRotation::create();
    param->setName(std::string("Emitter rot."));
    param->setValueExternal(true);
    blockRotParamId_ = addBlock(std::move(param)).getId();
}

bool PositionChangePath::areRotationBlocksValid() const
{
    if (!blockEmitterRotId_ || !blockRotParamId_ || !blockTransformPointId_ ||
        !blockTransformDirId_)
        return false;
    if (!findBlockAs<BlockGlobEmitterRot>(*blockEmitterRotId_))
        return false;
    const auto* param = findBlockAs<BlockParamRotation>(*blockRotParamId_);
    if (!param || !param->isValueExternal())
        return false;
    if (!isRotatingTransform(findBlockAs<BlockFuncTransform3>(*blockTransformPointId_)) ||
        !isRotatingTransform(findBlockAs<BlockFuncTransform3>(*blockTransformDirId_)))
        return false;
    const boost::optional<BlockConnector> rotation = findConnector(*blockRotParamId_, kParamOutput);
    return hasLink(*blockEmitterRotId_, kGlobOutput, *blockRotParamId_, kParamInit) &&
           hasLink(rotation, *blockTransformPointId_, kTransformRotation) &&
           hasLink(rotation, *blockTransformDirId_, kTransformRotation) &&
           hasLink(point_->getOutputConnector(), *blockTransformPointId_, kTransformShift) &&
           hasLink(blockConvId_, kConvOutput, *blockTransformDirId_, kTransformShift) &&
           hasLink(*blockTransformPointId_, kTransformResult, blockExprId_, kExprPoint);
}

void PositionChangePath::updateFromEmitter()
{
    valid_ = false;
    point_->updateFromEmitter();
    if (!point_->isValid() || !findBlockAs<BlockFuncConv2to3>(blockConvId_))
        return;
    if (!Detail::isTwoInputExpression(findBlockAs<BlockFuncExpression>(blockExprId_), CT_Vec3,
                                      kExpression))
        return;
    if (!hasLink(guide().positionStart().getOutputConnector(), blockExprId_, kExprStart) ||
        !hasLink(getPathDirectionConnector(), blockConvId_, kConvInput))
        return;
    if (applyEmitterRotation_)
        valid_ = areRotationBlocksValid();
    else
        valid_ = hasLink(point_->getOutputConnector(), blockExprId_, kExprPoint);
}

void PositionChangePath::fixLinks()
{
    if (!valid_)
        return;
    point_->fixLinks();
    link(guide().positionStart().getOutputConnector(), blockExprId_, kExprStart);
    link(getPathDirectionConnector(), blockConvId_, kConvInput);
    if (!applyEmitterRotation_)
    {
        link(point_->getOutputConnector(), blockExprId_, kExprPoint);
        return;
    }
    DEBUG_ASSERT(blockEmitterRotId_ && blockRotParamId_ && blockTransformPointId_ &&
                 blockTransformDirId_);
    guide().registerParticleProperty(*blockRotParamId_);
    link(*blockEmitterRotId_, kGlobOutput, *blockRotParamId_, kParamInit);
    const boost::optional<BlockConnector> rotation = findConnector(*blockRotParamId_, kParamOutput);
    link(rotation, *blockTransformPointId_, kTransformRotation);
    link(rotation, *blockTransformDirId_, kTransformRotation);
    link(point_->getOutputConnector(), *blockTransformPointId_, kTransformShift);
    link(blockConvId_, kConvOutput, *blockTransformDirId_, kTransformShift);
    link(*blockTransformPointId_, kTransformResult, blockExprId_, kExprPoint);
}

void PositionChangePath::removeFromEmitter()
{
    point_->removeFromEmitter();
    removeBlockIfExists(blockExprId_);
    removeBlockIfExists(blockConvId_);
    removeRotationBlocks();
}

void PositionChangePath::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    point_->save(saver);
    Sl::write("exprId", saver, blockExprId_);
    Sl::write("convId", saver, blockConvId_);
    Sl::write("applyEmitterRotation", saver, applyEmitterRotation_);
    Sl::write("emitterRotId", saver, blockEmitterRotId_);
    Sl::write("rotParamId", saver, blockRotParamId_);
    Sl::write("transformPointId", saver, blockTransformPointId_);
    Sl::write("transformDirId", saver, blockTransformDirId_);
}

void PositionChangePath::processEvent(const Event& event) { point_->processEvent(event); }

void PositionChangePath::collectValues(std::vector<Value*>& values)
{
    point_->collectValues(values);
}

void PositionChangePath::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const PositionChangePath&>(source);
    valid_ = other.valid_;
    if (!point_)
        point_ =
            std::make_unique<Point>(guide(), createPathValueBuilder(guide()), EmptyReflectionTag());
    point_->syncReflection(*other.point_);
    blockExprId_ = reflBlockId(other, other.blockExprId_);
    blockConvId_ = reflBlockId(other, other.blockConvId_);
    applyEmitterRotation_ = other.applyEmitterRotation_;
    blockEmitterRotId_ = reflBlockId(other, other.blockEmitterRotId_);
    blockRotParamId_ = reflBlockId(other, other.blockRotParamId_);
    blockTransformPointId_ = reflBlockId(other, other.blockTransformPointId_);
    blockTransformDirId_ = reflBlockId(other, other.blockTransformDirId_);
}

}  // namespace Eg
}  // namespace Plm
