#include <algorithm>
#include <cmath>

#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_func_conv2to3.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "plm_guide_detail.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{

namespace
{

// The radius of circles and spheres stands before the life of a particle.
constexpr ValueLevel kRadiusLevel = 3;
// The second path of a new PointBetweenPaths lies this far below the first.
const glm::vec2 kSecondPathOffset(0.0f, -100.0f);

// Where on a path a point lies: 0 to 1, drawn at random by default.
ValueBuilder createDistributionBuilder(const ValueBuilder& point)
{
    const Plot curve = makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}});
    ValueBuilder builder(point.guide(), point.level(), Value::Type::Random);
    builder.values({{0.5f, 0.5f, 0.5f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(curve));
    if (point.optionalData().parentCustomValueId)
        builder.parentCustomValueId(*point.optionalData().parentCustomValueId);
    return builder;
}

// The radius of a sphere or a circle: by default the reach of the point's first random range,
// so that a start position of -200 to 200 becomes a sphere of 200.
float defaultRadius(const ValueBuilder& point)
{
    const std::pair<float, float>& range = point.ranges()[0];
    const float reach = std::max(std::fabs(range.first), std::fabs(range.second));
    return reach > 0.0f ? reach : std::fabs(point.fixedValues()[0]);
}

// A radius that flows into the "radius" of a random vector block, found by `blockId`.
ValueBuilder createRadiusBuilder(const ValueBuilder& point, std::function<Uuid()> blockId)
{
    const float radius = defaultRadius(point);
    const Plot curve = makeLinearCurve({{0.0f, 0.0f}, {1.0f, radius}});
    ValueBuilder builder(point.guide(), kRadiusLevel, Value::Type::Fixed);
    builder.values({{radius, radius, radius}})
        .randomRanges(Detail::sameRanges(0.0f, radius))
        .curves(Detail::sameCurves(curve))
        .blockProperty(std::move(blockId), 0,
                       [](Block& block) -> std::unique_ptr<FloatsPropChanger>
                       {
                           auto& random = dynamic_cast<BlockFuncRandomVec&>(block);
                           return makeFloatsPropChanger(
                               random.radiusProp(), [&random](const boost::optional<float>& value)
                               { random.setRadius(value); });
                       });
    if (point.optionalData().parentCustomValueId)
        builder.parentCustomValueId(*point.optionalData().parentCustomValueId);
    return builder;
}

Path<glm::vec2> offsetPath(Path<glm::vec2> path, const glm::vec2& offset)
{
    for (unsigned i = 0; i < path.getNumKeys(); ++i)
        path.key(i).value += offset;
    for (unsigned i = 0; i < path.getNumSegments(); ++i)
        if (path.getSegment(i).type_ == PST_Bezier)
        {
            path.bezierSegment(i).inControl_ += offset;
            path.bezierSegment(i).outControl_ += offset;
        }
    return path;
}

void checkPointDimensions(unsigned int dimensions)
{
    if (dimensions != 3)
        throw Sl::CorruptedDataException();
}

std::unique_ptr<MultiValue> loadOneDimensional(EmitterGuide& guide, const ValueBuilder& builder,
                                               Sl::RevisionLoader& loader)
{
    auto radius = std::make_unique<MultiValue>(guide, builder, loader);
    if (radius->dimensions() != 1)
        throw Sl::CorruptedDataException();
    return radius;
}

}  // namespace

// PointFromPath

PointFromPath::PointFromPath(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncPath> path = BlockFuncPath::create();
    path->setPath(builder.defaultPath());
    path_ = path->getId();
    const BlockFuncPath& added = addBlock(std::move(path));
    updateReflFromProp(pathRefl_, added.pathProp());
    std::unique_ptr<BlockFuncConv2to3> conv = BlockFuncConv2to3::create();
    conv_ = conv->getId();
    addBlock(std::move(conv));
    distrib_ = std::make_unique<MultiValue>(guide(), createDistributionBuilder(builder), 1);
    valid_ = true;
}

PointFromPath::PointFromPath(const ValueBuilder& builder, unsigned int dimensions,
                             Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, path_);
    Sl::read(loader, conv_);
    pathRefl_.load(loader);
    distrib_ = loadOneDimensional(guide(), createDistributionBuilder(builder), loader);
}

PointFromPath::~PointFromPath() = default;

void PointFromPath::discardPathRefl()
{
    auto scope = guide().scopedChange();
    pathRefl_.discardOverride();
    if (BlockFuncPath* path = findBlockAs<BlockFuncPath>(path_))
    {
        path->setPath(boost::none);
        updateReflFromProp(pathRefl_, path->pathProp());
    }
}

boost::optional<BlockConnector> PointFromPath::getDirectionConnector() const
{
    return findConnector(path_, BlockFuncPath::kDirectionConnector);
}

void PointFromPath::updateFromEmitter()
{
    valid_ = false;
    distrib_->updateFromEmitter();
    const BlockFuncPath* path = findBlockAs<BlockFuncPath>(path_);
    if (path)
        updateReflFromProp(pathRefl_, path->pathProp());
    valid_ = distrib_->isValid() && path && isBlockOf<BlockFuncConv2to3>(conv_) &&
             hasLink(distrib_->getOutputConnector(), path_, BlockFuncPath::kInputConnector) &&
             hasLink(path_, BlockFuncPath::kPositionConnector, conv_, 0);
}

void PointFromPath::fixLinks()
{
    distrib_->fixLinks();
    if (!valid_)
        return;
    if (const boost::optional<BlockConnector> distrib = distrib_->getOutputConnector())
        linkIfPresent(distrib, path_, BlockFuncPath::kInputConnector);
    linkIfPresent(path_, BlockFuncPath::kPositionConnector, conv_, 0);
}

void PointFromPath::removeFromEmitter()
{
    distrib_->removeFromEmitter();
    removeBlockIfExists(path_);
    removeBlockIfExists(conv_);
}

boost::optional<BlockConnector> PointFromPath::getOutputConnector() const
{
    return findConnector(conv_, 2);
}

void PointFromPath::processEvent(const Event& event) { distrib_->processEvent(event); }

void PointFromPath::collectValues(std::vector<Value*>& values) { distrib_->collectValues(values); }

void PointFromPath::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("point_from_path", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("path", saver, path_);
    Sl::write("conv", saver, conv_);
    pathRefl_.save("path_refl", saver);
    distrib_->save(saver);
}

// Sphere

Sphere::Sphere(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncRandomVec> random = BlockFuncRandomVec::create(VT_Vec3);
    // The radius value of the kind Fixed lives in this property.
    random->setRadius(defaultRadius(builder));
    random_ = random->getId();
    addBlock(std::move(random));
    radius_ = std::make_unique<MultiValue>(
        guide(), createRadiusBuilder(builder, [this] { return random_; }), 1);
    valid_ = true;
}

Sphere::Sphere(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, random_);
    radius_ = loadOneDimensional(guide(), createRadiusBuilder(builder, [this] { return random_; }),
                                 loader);
}

Sphere::~Sphere() = default;

void Sphere::updateFromEmitter()
{
    valid_ = false;
    radius_->updateFromEmitter();
    const BlockFuncRandomVec* random = findBlockAs<BlockFuncRandomVec>(random_);
    valid_ = radius_->isValid() && random && random->getType() == VT_Vec3;
}

void Sphere::fixLinks() { radius_->fixLinks(); }

void Sphere::removeFromEmitter()
{
    radius_->removeFromEmitter();
    removeBlockIfExists(random_);
}

boost::optional<BlockConnector> Sphere::getOutputConnector() const
{
    return findConnector(random_, 1);
}

void Sphere::processEvent(const Event& event) { radius_->processEvent(event); }

void Sphere::collectValues(std::vector<Value*>& values) { radius_->collectValues(values); }

void Sphere::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("sphere", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("random", saver, random_);
    radius_->save(saver);
}

// ValueCircle

ValueCircle::ValueCircle(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncRandomVec> random = BlockFuncRandomVec::create(VT_Vec2);
    random->setRadius(defaultRadius(builder));
    random_ = random->getId();
    addBlock(std::move(random));
    std::unique_ptr<BlockFuncConv2to3> conv = BlockFuncConv2to3::create();
    conv_ = conv->getId();
    addBlock(std::move(conv));
    radius_ = std::make_unique<MultiValue>(
        guide(), createRadiusBuilder(builder, [this] { return random_; }), 1);
    valid_ = true;
}

ValueCircle::ValueCircle(const ValueBuilder& builder, unsigned int dimensions,
                         Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, random_);
    Sl::read(loader, conv_);
    radius_ = loadOneDimensional(guide(), createRadiusBuilder(builder, [this] { return random_; }),
                                 loader);
}

ValueCircle::~ValueCircle() = default;

void ValueCircle::updateFromEmitter()
{
    valid_ = false;
    radius_->updateFromEmitter();
    const BlockFuncRandomVec* random = findBlockAs<BlockFuncRandomVec>(random_);
    valid_ = radius_->isValid() && random && random->getType() == VT_Vec2 &&
             isBlockOf<BlockFuncConv2to3>(conv_) && hasLink(random_, 1, conv_, 0);
}

void ValueCircle::fixLinks()
{
    radius_->fixLinks();
    if (valid_)
        linkIfPresent(random_, 1, conv_, 0);
}

void ValueCircle::removeFromEmitter()
{
    radius_->removeFromEmitter();
    removeBlockIfExists(random_);
    removeBlockIfExists(conv_);
}

boost::optional<BlockConnector> ValueCircle::getOutputConnector() const
{
    return findConnector(conv_, 2);
}

void ValueCircle::processEvent(const Event& event) { radius_->processEvent(event); }

void ValueCircle::collectValues(std::vector<Value*>& values) { radius_->collectValues(values); }

void ValueCircle::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("circle", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("random", saver, random_);
    Sl::write("conv", saver, conv_);
    radius_->save(saver);
}

// Area

Area::Area(const ValueBuilder& builder, unsigned int dimensions) : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncRandom> random = BlockFuncRandom::create();
    random_ = random->getId();
    addBlock(std::move(random));
    std::unique_ptr<BlockFuncArea> area = BlockFuncArea::create();
    area_ = area->getId();
    const BlockFuncArea& added = addBlock(std::move(area));
    updateReflFromProp(areaRefl_, added.areaProp());
    std::unique_ptr<BlockFuncConv2to3> conv = BlockFuncConv2to3::create();
    conv_ = conv->getId();
    addBlock(std::move(conv));
    valid_ = true;
}

Area::Area(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, random_);
    Sl::read(loader, area_);
    Sl::read(loader, conv_);
    areaRefl_.load(loader);
}

void Area::disacardArea()
{
    auto scope = guide().scopedChange();
    areaRefl_.discardOverride();
    if (BlockFuncArea* area = findBlockAs<BlockFuncArea>(area_))
    {
        area->setArea(boost::none);
        updateReflFromProp(areaRefl_, area->areaProp());
    }
}

void Area::updateFromEmitter()
{
    valid_ = false;
    const BlockFuncArea* area = findBlockAs<BlockFuncArea>(area_);
    if (area)
        updateReflFromProp(areaRefl_, area->areaProp());
    valid_ = area && isBlockOf<BlockFuncRandom>(random_) && isBlockOf<BlockFuncConv2to3>(conv_) &&
             hasLink(random_, 2, area_, BlockFuncArea::CI_Input) &&
             hasLink(area_, BlockFuncArea::CI_OutputPosition, conv_, 0);
}

void Area::fixLinks()
{
    if (!valid_)
        return;
    linkIfPresent(random_, 2, area_, BlockFuncArea::CI_Input);
    linkIfPresent(area_, BlockFuncArea::CI_OutputPosition, conv_, 0);
}

void Area::removeFromEmitter()
{
    removeBlockIfExists(random_);
    removeBlockIfExists(area_);
    removeBlockIfExists(conv_);
}

boost::optional<BlockConnector> Area::getOutputConnector() const { return findConnector(conv_, 2); }

void Area::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("area", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("random", saver, random_);
    Sl::write("area", saver, area_);
    Sl::write("conv", saver, conv_);
    areaRefl_.save("area_refl", saver);
}

// PointBetweenPaths

PointBetweenPaths::PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    auto scope = guide().scopedChange();
    std::unique_ptr<BlockFuncRandom> randomA = BlockFuncRandom::create();
    randomA_ = randomA->getId();
    addBlock(std::move(randomA));
    std::unique_ptr<BlockFuncRandom> randomB = BlockFuncRandom::create();
    randomB_ = randomB->getId();
    addBlock(std::move(randomB));
    std::unique_ptr<BlockFuncPath> path0 = BlockFuncPath::create();
    path0->setPath(builder.defaultPath());
    path0_ = path0->getId();
    updateReflFromProp(path0Refl_, addBlock(std::move(path0)).pathProp());
    std::unique_ptr<BlockFuncPath> path1 = BlockFuncPath::create();
    path1->setPath(offsetPath(builder.defaultPath(), kSecondPathOffset));
    path1_ = path1->getId();
    updateReflFromProp(path1Refl_, addBlock(std::move(path1)).pathProp());
    std::unique_ptr<BlockFuncLerpVec2> lerp = BlockFuncLerpVec2::create();
    lerp->setFromExternal(true);
    lerp->setToExternal(true);
    lerp->setInterpExternal(true);
    lerp_ = lerp->getId();
    addBlock(std::move(lerp));
    std::unique_ptr<BlockFuncConv2to3> conv = BlockFuncConv2to3::create();
    conv_ = conv->getId();
    addBlock(std::move(conv));
    valid_ = true;
}

PointBetweenPaths::PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions,
                                     Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, randomA_);
    Sl::read(loader, randomB_);
    Sl::read(loader, path0_);
    Sl::read(loader, path1_);
    Sl::read(loader, lerp_);
    Sl::read(loader, conv_);
    path0Refl_.load(loader);
    path1Refl_.load(loader);
}

void PointBetweenPaths::discardPath0Refl()
{
    auto scope = guide().scopedChange();
    path0Refl_.discardOverride();
    if (BlockFuncPath* path = findBlockAs<BlockFuncPath>(path0_))
    {
        path->setPath(boost::none);
        updateReflFromProp(path0Refl_, path->pathProp());
    }
}

void PointBetweenPaths::discardPath1Refl()
{
    auto scope = guide().scopedChange();
    path1Refl_.discardOverride();
    if (BlockFuncPath* path = findBlockAs<BlockFuncPath>(path1_))
    {
        path->setPath(boost::none);
        updateReflFromProp(path1Refl_, path->pathProp());
    }
}

void PointBetweenPaths::updateFromEmitter()
{
    valid_ = false;
    const BlockFuncPath* path0 = findBlockAs<BlockFuncPath>(path0_);
    const BlockFuncPath* path1 = findBlockAs<BlockFuncPath>(path1_);
    if (path0)
        updateReflFromProp(path0Refl_, path0->pathProp());
    if (path1)
        updateReflFromProp(path1Refl_, path1->pathProp());
    const BlockFuncLerpVec2* lerp = findBlockAs<BlockFuncLerpVec2>(lerp_);
    valid_ = path0 && path1 && lerp && lerp->isFromExternal() && lerp->isToExternal() &&
             lerp->isInterpExternal() && isBlockOf<BlockFuncRandom>(randomA_) &&
             isBlockOf<BlockFuncRandom>(randomB_) && isBlockOf<BlockFuncConv2to3>(conv_) &&
             hasLink(randomA_, 2, path0_, BlockFuncPath::kInputConnector) &&
             hasLink(randomA_, 2, path1_, BlockFuncPath::kInputConnector) &&
             hasLink(path0_, BlockFuncPath::kPositionConnector, lerp_, 0) &&
             hasLink(path1_, BlockFuncPath::kPositionConnector, lerp_, 1) &&
             hasLink(randomB_, 2, lerp_, 2) && hasLink(lerp_, 3, conv_, 0);
}

void PointBetweenPaths::fixLinks()
{
    if (!valid_)
        return;
    linkIfPresent(randomA_, 2, path0_, BlockFuncPath::kInputConnector);
    linkIfPresent(randomA_, 2, path1_, BlockFuncPath::kInputConnector);
    linkIfPresent(path0_, BlockFuncPath::kPositionConnector, lerp_, 0);
    linkIfPresent(path1_, BlockFuncPath::kPositionConnector, lerp_, 1);
    linkIfPresent(randomB_, 2, lerp_, 2);
    linkIfPresent(lerp_, 3, conv_, 0);
}

void PointBetweenPaths::removeFromEmitter()
{
    for (const Uuid& id : {randomA_, randomB_, path0_, path1_, lerp_, conv_})
        removeBlockIfExists(id);
}

boost::optional<BlockConnector> PointBetweenPaths::getOutputConnector() const
{
    return findConnector(conv_, 2);
}

void PointBetweenPaths::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("point_between_paths", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("random_a", saver, randomA_);
    Sl::write("random_b", saver, randomB_);
    Sl::write("path0", saver, path0_);
    Sl::write("path1", saver, path1_);
    Sl::write("lerp", saver, lerp_);
    Sl::write("conv", saver, conv_);
    path0Refl_.save("path0_refl", saver);
    path1Refl_.save("path1_refl", saver);
}

// ValueParticlePosition

ValueParticlePosition::ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    valid_ = true;
}

ValueParticlePosition::ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions,
                                             Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
}

void ValueParticlePosition::updateFromEmitter()
{
    valid_ = static_cast<bool>(getOutputConnector());
}

boost::optional<BlockConnector> ValueParticlePosition::getOutputConnector() const
{
    return guide().positionStart().getOutputConnector();
}

void ValueParticlePosition::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("particle_position", saver, kVersion);
    saver.write("valid", valid_);
}

// ValueEmitterPosition

ValueEmitterPosition::ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(this->dimensions() == 3);
    block_ = guide().requestEmitterPositionId();
    valid_ = true;
}

ValueEmitterPosition::ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions,
                                           Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    checkPointDimensions(dimensions);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, block_);
}

void ValueEmitterPosition::updateFromEmitter() { valid_ = isBlockOf<BlockGlobEmitterPos>(block_); }

void ValueEmitterPosition::removeFromEmitter() { guide().releaseEmitterPositionId(); }

boost::optional<BlockConnector> ValueEmitterPosition::getOutputConnector() const
{
    return findConnector(block_, 0);
}

void ValueEmitterPosition::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("emitter_position", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("block", saver, block_);
}

// Reflection: the twins have no block; syncReflection takes the source's state with the ids of
// the blocks here that reflect the source's blocks. The nested values of a twin are built from
// the twin's own builders, whose block functions name the twin.

namespace
{

void syncNested(std::unique_ptr<MultiValue>& value, const MultiValue& source,
                const ValueBuilder& builder)
{
    if (!value)
        value = std::make_unique<MultiValue>(builder.guide(), builder, Base::EmptyReflectionTag());
    value->syncReflection(source);
}

}  // namespace

PointFromPath::PointFromPath(const ValueBuilder& builder, unsigned int dimensions,
                             Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> PointFromPath::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<PointFromPath>(builder, dimensions(), Base::EmptyReflectionTag());
}

void PointFromPath::syncReflection(const Base& source)
{
    const PointFromPath& other = syncDimensions<PointFromPath>(source);
    valid_ = other.valid_;
    path_ = reflBlockId(other, other.path_);
    conv_ = reflBlockId(other, other.conv_);
    pathRefl_.syncBase(other.pathRefl_);
    syncNested(distrib_, *other.distrib_, createDistributionBuilder(builder()));
}

Sphere::Sphere(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Sphere::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<Sphere>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Sphere::syncReflection(const Base& source)
{
    const Sphere& other = syncDimensions<Sphere>(source);
    valid_ = other.valid_;
    random_ = reflBlockId(other, other.random_);
    syncNested(radius_, *other.radius_, createRadiusBuilder(builder(), [this] { return random_; }));
}

ValueCircle::ValueCircle(const ValueBuilder& builder, unsigned int dimensions,
                         Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> ValueCircle::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<ValueCircle>(builder, dimensions(), Base::EmptyReflectionTag());
}

void ValueCircle::syncReflection(const Base& source)
{
    const ValueCircle& other = syncDimensions<ValueCircle>(source);
    valid_ = other.valid_;
    random_ = reflBlockId(other, other.random_);
    conv_ = reflBlockId(other, other.conv_);
    syncNested(radius_, *other.radius_, createRadiusBuilder(builder(), [this] { return random_; }));
}

Area::Area(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Area::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<Area>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Area::syncReflection(const Base& source)
{
    const Area& other = syncDimensions<Area>(source);
    valid_ = other.valid_;
    random_ = reflBlockId(other, other.random_);
    area_ = reflBlockId(other, other.area_);
    conv_ = reflBlockId(other, other.conv_);
    areaRefl_.syncBase(other.areaRefl_);
}

PointBetweenPaths::PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions,
                                     Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> PointBetweenPaths::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<PointBetweenPaths>(builder, dimensions(), Base::EmptyReflectionTag());
}

void PointBetweenPaths::syncReflection(const Base& source)
{
    const PointBetweenPaths& other = syncDimensions<PointBetweenPaths>(source);
    valid_ = other.valid_;
    randomA_ = reflBlockId(other, other.randomA_);
    randomB_ = reflBlockId(other, other.randomB_);
    path0_ = reflBlockId(other, other.path0_);
    path1_ = reflBlockId(other, other.path1_);
    lerp_ = reflBlockId(other, other.lerp_);
    conv_ = reflBlockId(other, other.conv_);
    path0Refl_.syncBase(other.path0Refl_);
    path1Refl_.syncBase(other.path1Refl_);
}

ValueParticlePosition::ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions,
                                             Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> ValueParticlePosition::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<ValueParticlePosition>(builder, dimensions(),
                                                   Base::EmptyReflectionTag());
}

void ValueParticlePosition::syncReflection(const Base& source)
{
    valid_ = syncDimensions<ValueParticlePosition>(source).valid_;
}

ValueEmitterPosition::ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions,
                                           Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> ValueEmitterPosition::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<ValueEmitterPosition>(builder, dimensions(),
                                                  Base::EmptyReflectionTag());
}

void ValueEmitterPosition::syncReflection(const Base& source)
{
    const ValueEmitterPosition& other = syncDimensions<ValueEmitterPosition>(source);
    valid_ = other.valid_;
    // A shared block of the guide: the guide maps its reference count with it.
    block_ = reflBlockId(other, other.block_);
}

}  // namespace Eg
}  // namespace Plm
