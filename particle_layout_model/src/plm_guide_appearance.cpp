#include "particle_layout_model/plm_guide_appearance.h"

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_expression.h"
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

constexpr uint32_t kSizeVersion = 2;
constexpr uint32_t kSizeChangeGraphVersion = 1;
constexpr uint32_t kConstructValueVersion = 2;
constexpr uint32_t kTexMappingVersion = 0;
constexpr uint32_t kTexMappingNoneVersion = 0;
constexpr uint32_t kTexMappingGridVersion = 4;

// The constructor's inputs.
constexpr uint32_t kConstructSizeQuad = 3;
constexpr uint32_t kConstructColor = 4;
constexpr uint32_t kConstructAlpha = 5;
constexpr uint32_t kConstructFrameIndex = 6;
constexpr uint32_t kConstructSizeRect = 8;

EnumConnectorType sizeConnectorType(unsigned int dimensions)
{
    return dimensions == 2 ? CT_Vec2 : CT_Float;
}

}  // namespace

// SizeChangeBase

void SizeChangeBase::changeDimensions(unsigned int dimensions)
{
    if (dimensions == dimensions_)
        return;
    changeDimensionsImpl(dimensions);
    dimensions_ = dimensions;
}

void SizeChangeBase::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    dimensions_ = static_cast<const SizeChangeBase&>(source).dimensions_;
}

std::unique_ptr<SizeChangeBase> SizeChangeNone::reflect(EmitterGuide& guide,
                                                        const Size& owner) const
{
    // The dimensions come with the sync.
    return std::make_unique<SizeChangeNone>(guide, owner, 1);
}

boost::optional<BlockConnector> SizeChangeNone::getEndConnector() const
{
    return owner().start().getOutputConnector();
}

// SizeChangeGraph

ValueBuilder SizeChangeGraph::createMultiplierBuilder(EmitterGuide& guide)
{
    ValueBuilder builder(guide, 10, Value::Type::OverParticleLife);
    builder.values({{1.0f, 1.0f, 1.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(makeLinearCurve({{0.0f, 1.0f}, {1.0f, 0.0f}})))
        .storeOnInit("Size mult.", false);
    return builder;
}

SizeChangeGraph::SizeChangeGraph(EmitterGuide& guide, const Size& owner, unsigned int dimensions)
    : SizeChangeBase(guide, owner, dimensions)
{
    auto scope = guide.scopedChange();
    value_ = std::make_unique<MultiValue>(guide, createMultiplierBuilder(guide), dimensions);
    createExpression(dimensions);
    valid_ = true;
}

SizeChangeGraph::SizeChangeGraph(EmitterGuide& guide, const Size& owner, unsigned int dimensions,
                                 Sl::RevisionLoader& loader)
    : SizeChangeBase(guide, owner, dimensions)
{
    Detail::CurrentGroup group(loader, kSizeChangeGraphVersion);
    valid_ = Detail::readBool(loader);
    Sl::read(loader, expr_);
    value_ = std::make_unique<MultiValue>(guide, createMultiplierBuilder(guide), loader);
    if (value_->dimensions() != dimensions)
        throw Sl::CorruptedDataException();
}

SizeChangeGraph::SizeChangeGraph(EmitterGuide& guide, const Size& owner, EmptyReflectionTag)
    : SizeChangeBase(guide, owner, 1)
{
}

SizeChangeGraph::~SizeChangeGraph() = default;

std::unique_ptr<SizeChangeBase> SizeChangeGraph::reflect(EmitterGuide& guide,
                                                         const Size& owner) const
{
    return std::make_unique<SizeChangeGraph>(guide, owner, EmptyReflectionTag());
}

void SizeChangeGraph::syncReflection(const Base& source)
{
    SizeChangeBase::syncReflection(source);
    const auto& other = static_cast<const SizeChangeGraph&>(source);
    valid_ = other.valid_;
    expr_ = reflBlockId(other, other.expr_);
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), createMultiplierBuilder(guide()),
                                              EmptyReflectionTag());
    value_->syncReflection(*other.value_);
}

void SizeChangeGraph::createExpression(unsigned int dimensions)
{
    expr_ =
        addBlock(Detail::createTwoInputExpression(sizeConnectorType(dimensions), "a * b")).getId();
}

void SizeChangeGraph::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    // The inputs' type follows the dimensions: a new block is simpler than retyping links.
    removeBlockIfExists(expr_);
    value_->changeDimensions(dimensions);
    createExpression(dimensions);
}

void SizeChangeGraph::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    if (!value_->isValid())
        return;
    if (!Detail::isTwoInputExpression(findBlockAs<BlockFuncExpression>(expr_),
                                      sizeConnectorType(dimensions()), "a * b"))
        return;
    if (!hasLink(owner().start().getOutputConnector(), expr_,
                 BlockFuncExpression::kFirstInputConnector) ||
        !hasLink(value_->getOutputConnector(), expr_,
                 BlockFuncExpression::kFirstInputConnector + 1))
        return;
    valid_ = true;
}

void SizeChangeGraph::fixLinks()
{
    if (!valid_)
        return;
    value_->fixLinks();
    const MultiValue& start = owner().start();
    if (start.isValid())
        link(start.getOutputConnector(), expr_, BlockFuncExpression::kFirstInputConnector);
    if (value_->isValid())
        link(value_->getOutputConnector(), expr_, BlockFuncExpression::kFirstInputConnector + 1);
}

void SizeChangeGraph::removeFromEmitter()
{
    value_->removeFromEmitter();
    removeBlockIfExists(expr_);
}

boost::optional<BlockConnector> SizeChangeGraph::getOutputConnector() const
{
    return findConnector(expr_, BlockFuncExpression::kOutputConnector);
}

void SizeChangeGraph::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("size_change_graph", saver, kSizeChangeGraphVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("expression", saver, expr_);
    value_->save(saver);
}

void SizeChangeGraph::processEvent(const Event& event) { value_->processEvent(event); }

void SizeChangeGraph::collectValues(std::vector<Value*>& values) { value_->collectValues(values); }

// Size

ValueBuilder Size::createStartBuilder(EmitterGuide& guide)
{
    ValueBuilder builder(guide, 6, Value::Type::Fixed);
    builder.values({{30.0f, 30.0f, 30.0f}})
        .randomRanges(Detail::sameRanges(10.0f, 30.0f))
        .curves(Detail::sameCurves(makeLinearCurve({{0.0f, 10.0f}, {1.0f, 30.0f}})))
        .storeOnInit("Size", false);
    return builder;
}

Size::Size(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    // Both sizes come from links; the type says which one the constructor uses.
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
    {
        construct->setSizeType(BlockConstructQuads::ST_Quad);
        construct->setSizeExternal(true);
        construct->setSizeRectExternal(true);
    }
    start_ = std::make_unique<MultiValue>(guide, createStartBuilder(guide), dimensions());
    change_ = createChange(changeType_);
    valid_ = true;
}

Size::Size(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kSizeVersion);
    valid_ = Detail::readBool(loader);
    type_ = Detail::readEnum<Type>(loader, 2);
    changeType_ = Detail::readEnum<ChangeType>(loader, 2);
    start_ = std::make_unique<MultiValue>(guide, createStartBuilder(guide), loader);
    if (start_->dimensions() != dimensions())
        throw Sl::CorruptedDataException();
    if (changeType_ == CT_Multiplier)
        change_ = std::make_unique<SizeChangeGraph>(guide, *this, dimensions(), loader);
    else
        change_ = std::make_unique<SizeChangeNone>(guide, *this, dimensions());
    collapsed_ = Detail::readBool(loader);
}

Size::Size(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

Size::~Size() = default;

void Size::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const Size&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    changeType_ = other.changeType_;
    if (!start_)
        start_ = std::make_unique<MultiValue>(guide(), createStartBuilder(guide()),
                                              EmptyReflectionTag());
    start_->syncReflection(*other.start_);
    Detail::makeTheSameTypeWith(change_, other.change_.get(), guide(), *this);
    if (change_)
        change_->syncReflection(*other.change_);
}

std::unique_ptr<SizeChangeBase> Size::createChange(ChangeType type)
{
    if (type == CT_Multiplier)
        return std::make_unique<SizeChangeGraph>(guide(), *this, dimensions());
    return std::make_unique<SizeChangeNone>(guide(), *this, dimensions());
}

uint32_t Size::constructConnector() const
{
    return type_ == T_Rect ? kConstructSizeRect : kConstructSizeQuad;
}

bool Size::changeType(Type type)
{
    if (type == type_)
        return false;
    auto scope = guide().scopedChange();
    type_ = type;
    start_->changeDimensions(dimensions());
    change_->changeDimensions(dimensions());
    if (BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId()))
        construct->setSizeType(type_ == T_Rect ? BlockConstructQuads::ST_Rect
                                               : BlockConstructQuads::ST_Quad);
    return true;
}

bool Size::changeChangeType(ChangeType type)
{
    if (type == changeType_)
        return false;
    auto scope = guide().scopedChange();
    change_->removeFromEmitter();
    change_.reset();
    changeType_ = type;
    change_ = createChange(type);
    return true;
}

boost::optional<BlockConnector> Size::getOutputConnector() const
{
    return change_->getEndConnector();
}

void Size::updateFromEmitter()
{
    valid_ = false;
    start_->updateFromEmitter();
    change_->updateFromEmitter();
    if (!start_->isValid() || !change_->isValid())
        return;
    const BlockConstructQuads* construct =
        findBlockAs<BlockConstructQuads>(guide().blockConstructId());
    if (!construct)
        return;
    if (type_ == T_Rect)
    {
        if (construct->getSizeType() != BlockConstructQuads::ST_Rect ||
            !construct->isSizeRectExternal())
            return;
    }
    else if (construct->getSizeType() != BlockConstructQuads::ST_Quad ||
             !construct->isSizeExternal())
        return;
    if (!hasLink(getOutputConnector(), guide().blockConstructId(), constructConnector()))
        return;
    valid_ = true;
}

void Size::fixLinks()
{
    if (!valid_)
        return;
    start_->fixLinks();
    change_->fixLinks();
    const boost::optional<BlockConnector> end = getOutputConnector();
    if (end)
        link(end, guide().blockConstructId(), constructConnector());
}

void Size::removeFromEmitter()
{
    change_->removeFromEmitter();
    start_->removeFromEmitter();
}

void Size::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("size", saver, kSizeVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    Detail::writeEnum("change_type", saver, changeType_);
    start_->save(saver);
    change_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void Size::processEvent(const Event& event)
{
    start_->processEvent(event);
    change_->processEvent(event);
}

void Size::collectValues(std::vector<Value*>& values)
{
    start_->collectValues(values);
    change_->collectValues(values);
}

// ConstructValueSection

ConstructValueSection::ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder,
                                             unsigned int dimensions)
    : Base(guide)
{
    auto scope = guide.scopedChange();
    value_ = std::make_unique<MultiValue>(guide, builder, dimensions);
    valid_ = true;
}

ConstructValueSection::ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder,
                                             Sl::RevisionLoader& loader)
    : Base(guide)
{
    Detail::CurrentGroup group(loader, kConstructValueVersion);
    valid_ = Detail::readBool(loader);
    value_ = std::make_unique<MultiValue>(guide, builder, loader);
    collapsed_ = Detail::readBool(loader);
}

ConstructValueSection::ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder,
                                             EmptyReflectionTag)
    : Base(guide), value_(std::make_unique<MultiValue>(guide, builder, EmptyReflectionTag()))
{
}

ConstructValueSection::~ConstructValueSection() = default;

void ConstructValueSection::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const ConstructValueSection&>(source);
    valid_ = other.valid_;
    value_->syncReflection(*other.value_);
}

void ConstructValueSection::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    valid_ = value_->isValid();
}

void ConstructValueSection::fixLinks()
{
    // The value links itself into the constructor's property.
    if (valid_)
        value_->fixLinks();
}

void ConstructValueSection::removeFromEmitter() { value_->removeFromEmitter(); }

boost::optional<BlockConnector> ConstructValueSection::getOutputConnector() const
{
    return value_->getOutputConnector();
}

void ConstructValueSection::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("construct_value", saver, kConstructValueVersion);
    Sl::write("valid", saver, valid_);
    value_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void ConstructValueSection::processEvent(const Event& event) { value_->processEvent(event); }

void ConstructValueSection::collectValues(std::vector<Value*>& values)
{
    value_->collectValues(values);
}

// Transparency

ValueBuilder Transparency::createBuilder(EmitterGuide& guide)
{
    EmitterGuide* owner = &guide;
    ValueBuilder builder(guide, 10, Value::Type::Fixed);
    builder.values({{1.0f, 1.0f, 1.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}})))
        .storeOnInit("Transpar.", false)
        .blockProperty(
            [owner] { return owner->blockConstructId(); }, kConstructAlpha,
            [](Block& block)
            {
                BlockConstructQuads& construct = Detail::blockAs<BlockConstructQuads>(block);
                return makeFloatsPropChanger(construct.alphaProp(),
                                             [&construct](const boost::optional<float>& value)
                                             { construct.setAlpha(value); });
            });
    return builder;
}

Transparency::Transparency(EmitterGuide& guide)
    : ConstructValueSection(guide, createBuilder(guide), 1)
{
    // The alpha carries the fixed value itself rather than an input.
    auto scope = guide.scopedChange();
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
        construct->setAlphaExternal(false);
}

Transparency::Transparency(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ConstructValueSection(guide, createBuilder(guide), loader)
{
}

Transparency::Transparency(EmitterGuide& guide, EmptyReflectionTag)
    : ConstructValueSection(guide, createBuilder(guide), EmptyReflectionTag())
{
}

// Color

ValueBuilder Color::createBuilder(EmitterGuide& guide)
{
    EmitterGuide* owner = &guide;
    ValueBuilder builder(guide, 7, Value::Type::Fixed);
    builder.values({{1.0f, 1.0f, 1.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves({{makeLinearCurve({{0.0f, 1.0f}, {1.0f, 1.0f}}),
                  makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}}),
                  makeLinearCurve({{0.0f, 0.0f}, {1.0f, 0.0f}})}})
        .storeOnInit("Color", false)
        .blockProperty(
            [owner] { return owner->blockConstructId(); }, kConstructColor,
            [](Block& block)
            {
                BlockConstructQuads& construct = Detail::blockAs<BlockConstructQuads>(block);
                return makeFloatsPropChanger(construct.colorProp(),
                                             [&construct](const boost::optional<glm::vec3>& value)
                                             { construct.setColor(value); });
            });
    return builder;
}

Color::Color(EmitterGuide& guide) : ConstructValueSection(guide, createBuilder(guide), 3) {}

Color::Color(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ConstructValueSection(guide, createBuilder(guide), loader)
{
}

Color::Color(EmitterGuide& guide, EmptyReflectionTag)
    : ConstructValueSection(guide, createBuilder(guide), EmptyReflectionTag())
{
}

// TexMappingNone

TexMappingNone::TexMappingNone(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
        construct->setTexOp(Ps::CTO_Rect);
    valid_ = true;
}

TexMappingNone::TexMappingNone(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kTexMappingNoneVersion);
    valid_ = Detail::readBool(loader);
}

TexMappingNone::TexMappingNone(EmitterGuide& guide, EmptyReflectionTag) : ReflectableBase(guide) {}

std::unique_ptr<ReflectableBase> TexMappingNone::reflect(EmitterGuide& guide) const
{
    return std::make_unique<TexMappingNone>(guide, EmptyReflectionTag());
}

void TexMappingNone::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    valid_ = static_cast<const TexMappingNone&>(source).valid_;
}

void TexMappingNone::updateFromEmitter()
{
    const BlockConstructQuads* construct =
        findBlockAs<BlockConstructQuads>(guide().blockConstructId());
    valid_ = construct && construct->getTexOp() == Ps::CTO_Rect;
}

void TexMappingNone::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("tex_mapping_none", saver, kTexMappingNoneVersion);
    Sl::write("valid", saver, valid_);
}

// TexMappingGrid

ValueBuilder TexMappingGrid::createFrameIndexBuilder(EmitterGuide& guide)
{
    // Runs through the frames once per life, and again past its end.
    Plot curve = makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}});
    curve.setLoopedRight(true);

    ValueBuilder builder(guide, 10, Value::Type::Fixed);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit("Tex. index", false);
    return builder;
}

TexMappingGrid::TexMappingGrid(EmitterGuide& guide) : ReflectableBase(guide)
{
    auto scope = guide.scopedChange();
    if (BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide.blockConstructId()))
    {
        construct->setTexOp(Ps::CTO_Grid);
        // The grid the constructor keeps from an earlier use is the form's.
        updateReflFromProp(gridWidth_, construct->texOpGridColsProp());
        updateReflFromProp(gridHeight_, construct->texOpGridRowsProp());
    }
    value_ = std::make_unique<MultiValue>(guide, createFrameIndexBuilder(guide), 1);
    valid_ = true;
}

TexMappingGrid::TexMappingGrid(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : ReflectableBase(guide)
{
    Detail::CurrentGroup group(loader, kTexMappingGridVersion);
    valid_ = Detail::readBool(loader);
    value_ = std::make_unique<MultiValue>(guide, createFrameIndexBuilder(guide), loader);
    gridWidth_.load(loader);
    gridHeight_.load(loader);
}

TexMappingGrid::TexMappingGrid(EmitterGuide& guide, EmptyReflectionTag) : ReflectableBase(guide) {}

TexMappingGrid::~TexMappingGrid() = default;

std::unique_ptr<ReflectableBase> TexMappingGrid::reflect(EmitterGuide& guide) const
{
    return std::make_unique<TexMappingGrid>(guide, EmptyReflectionTag());
}

void TexMappingGrid::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const TexMappingGrid&>(source);
    valid_ = other.valid_;
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), createFrameIndexBuilder(guide()),
                                              EmptyReflectionTag());
    value_->syncReflection(*other.value_);
    gridWidth_.syncBase(other.gridWidth_);
    gridHeight_.syncBase(other.gridHeight_);
}

bool TexMappingGrid::changeGridWidth(unsigned int width)
{
    if (width == 0 || width == gridWidth_.get())
        return false;
    auto scope = guide().scopedChange();
    gridWidth_.setOverride(width);
    if (BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId()))
        construct->setTexOpGridCols(width);
    return true;
}

bool TexMappingGrid::changeGridHeight(unsigned int height)
{
    if (height == 0 || height == gridHeight_.get())
        return false;
    auto scope = guide().scopedChange();
    gridHeight_.setOverride(height);
    if (BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId()))
        construct->setTexOpGridRows(height);
    return true;
}

void TexMappingGrid::discardGridWidth()
{
    auto scope = guide().scopedChange();
    gridWidth_.discardOverride();
    if (BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId()))
    {
        construct->setTexOpGridCols(boost::none);
        updateReflFromProp(gridWidth_, construct->texOpGridColsProp());
    }
}

void TexMappingGrid::discardGridHeight()
{
    auto scope = guide().scopedChange();
    gridHeight_.discardOverride();
    if (BlockConstructQuads* construct =
            findBlockAs<BlockConstructQuads>(guide().blockConstructId()))
    {
        construct->setTexOpGridRows(boost::none);
        updateReflFromProp(gridHeight_, construct->texOpGridRowsProp());
    }
}

void TexMappingGrid::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    BlockConstructQuads* construct = findBlockAs<BlockConstructQuads>(guide().blockConstructId());
    if (construct)
    {
        updateReflFromProp(gridWidth_, construct->texOpGridColsProp());
        updateReflFromProp(gridHeight_, construct->texOpGridRowsProp());
    }
    if (!value_->isValid() || !construct || construct->getTexOp() != Ps::CTO_Grid)
        return;
    if (!hasLink(value_->getOutputConnector(), guide().blockConstructId(), kConstructFrameIndex))
        return;
    valid_ = true;
}

void TexMappingGrid::fixLinks()
{
    if (!valid_)
        return;
    value_->fixLinks();
    if (value_->isValid())
        link(value_->getOutputConnector(), guide().blockConstructId(), kConstructFrameIndex);
}

void TexMappingGrid::removeFromEmitter() { value_->removeFromEmitter(); }

boost::optional<BlockConnector> TexMappingGrid::getOutputConnector() const
{
    return value_->getOutputConnector();
}

void TexMappingGrid::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("tex_mapping_grid", saver, kTexMappingGridVersion);
    Sl::write("valid", saver, valid_);
    value_->save(saver);
    gridWidth_.save("grid_width", saver);
    gridHeight_.save("grid_height", saver);
}

void TexMappingGrid::processEvent(const Event& event) { value_->processEvent(event); }

void TexMappingGrid::collectValues(std::vector<Value*>& values) { value_->collectValues(values); }

// TexMapping

TexMapping::TexMapping(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    impl_ = createImpl(type_);
    valid_ = true;
}

TexMapping::TexMapping(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kTexMappingVersion);
    valid_ = Detail::readBool(loader);
    type_ = Detail::readEnum<Type>(loader, 2);
    if (type_ == T_Grid)
        impl_ = std::make_unique<TexMappingGrid>(guide, loader);
    else
        impl_ = std::make_unique<TexMappingNone>(guide, loader);
    collapsed_ = Detail::readBool(loader);
}

TexMapping::TexMapping(EmitterGuide& guide, Sl::RevisionLoader& loader, OldFormTag) : Base(guide)
{
    type_ = Detail::readBool(loader) ? T_Grid : T_None;
    if (type_ == T_Grid)
        impl_ = std::make_unique<TexMappingGrid>(guide, loader);
    else
        impl_ = std::make_unique<TexMappingNone>(guide, loader);
    valid_ = impl_->isValid();
}

TexMapping::TexMapping(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

TexMapping::~TexMapping() = default;

void TexMapping::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const TexMapping&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    makeTheSameType(impl_, other.impl_.get(), guide());
    if (impl_)
        impl_->syncReflection(*other.impl_);
}

std::unique_ptr<ReflectableBase> TexMapping::createImpl(Type type)
{
    if (type == T_Grid)
        return std::make_unique<TexMappingGrid>(guide());
    return std::make_unique<TexMappingNone>(guide());
}

TexMappingGrid* TexMapping::grid() const { return dynamic_cast<TexMappingGrid*>(impl_.get()); }

bool TexMapping::changeType(Type type)
{
    if (type == type_)
        return false;
    auto scope = guide().scopedChange();
    impl_->removeFromEmitter();
    impl_.reset();
    type_ = type;
    impl_ = createImpl(type);
    valid_ = impl_->isValid();
    return true;
}

void TexMapping::updateFromEmitter()
{
    valid_ = false;
    impl_->updateFromEmitter();
    valid_ = impl_->isValid();
}

void TexMapping::fixLinks()
{
    if (valid_)
        impl_->fixLinks();
}

void TexMapping::removeFromEmitter() { impl_->removeFromEmitter(); }

void TexMapping::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("tex_mapping", saver, kTexMappingVersion);
    Sl::write("valid", saver, valid_);
    Detail::writeEnum("type", saver, type_);
    impl_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void TexMapping::processEvent(const Event& event) { impl_->processEvent(event); }

void TexMapping::collectValues(std::vector<Value*>& values) { impl_->collectValues(values); }

}  // namespace Eg
}  // namespace Plm
