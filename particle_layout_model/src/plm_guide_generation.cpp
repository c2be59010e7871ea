#include "particle_layout_model/plm_guide_generation.h"

#include <typeinfo>

#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
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

// The rate and the distance share their defaults but for the property they live in.
ValueBuilder createGeneratorValueBuilder(EmitterGuide& guide)
{
    const Plot curve = makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}});
    ValueBuilder builder(guide, 1, Value::Type::Fixed);
    builder.values({{5.0f, 5.0f, 5.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(curve));
    return builder;
}

}  // namespace

GenerationBase::GenerationBase(EmitterGuide& guide) : ReflectableBase(guide) {}

GenerationBase::~GenerationBase() = default;

void GenerationBase::createBlocks(std::unique_ptr<Block> block)
{
    blockId_ = addBlock(std::move(block)).getId();
    // A plain number lives in the generator's own property, so the block's value wins over
    // the builder's.
    value_ = std::make_unique<MultiValue>(guide(), createBuilder(), 1);
    valid_ = true;
}

void GenerationBase::load(Sl::RevisionLoader& loader)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    Sl::read(loader, blockId_);
    value_ = std::make_unique<MultiValue>(guide(), createBuilder(), loader);
}

void GenerationBase::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    if (!value_->isValid())
        return;
    const Block* block = findBlock(blockId_);
    valid_ = block && isGeneratorBlock(*block);
}

void GenerationBase::fixLinks()
{
    if (valid_)
        value_->fixLinks();
}

void GenerationBase::removeFromEmitter()
{
    value_->removeFromEmitter();
    removeBlockIfExists(blockId_);
}

void GenerationBase::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("blockId", saver, blockId_);
    value_->save(saver);
}

void GenerationBase::processEvent(const Event& event) { value_->processEvent(event); }

void GenerationBase::collectValues(std::vector<Value*>& values) { value_->collectValues(values); }

void GenerationBase::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const GenerationBase&>(source);
    valid_ = other.valid_;
    blockId_ = reflBlockId(other, other.blockId_);
    // The twin's own builder, so that the value's property lookups name this object's block.
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), createBuilder(), EmptyReflectionTag());
    value_->syncReflection(*other.value_);
}

GenerationPeriodic::GenerationPeriodic(EmitterGuide& guide) : GenerationBase(guide)
{
    std::unique_ptr<BlockGenPeriodic> block = BlockGenPeriodic::create();
    block->setRate(50.0f);
    createBlocks(std::move(block));
}

GenerationPeriodic::GenerationPeriodic(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : GenerationBase(guide)
{
    load(loader);
}

GenerationPeriodic::GenerationPeriodic(EmitterGuide& guide, EmptyReflectionTag)
    : GenerationBase(guide)
{
}

std::unique_ptr<ReflectableBase> GenerationPeriodic::reflect(EmitterGuide& guide) const
{
    return std::make_unique<GenerationPeriodic>(guide, EmptyReflectionTag());
}

ValueBuilder GenerationPeriodic::createBuilder()
{
    ValueBuilder builder = createGeneratorValueBuilder(guide());
    builder.blockProperty([this]() { return getGeneratorBlockId(); }, 0,
                          [](Block& block)
                          {
                              auto& generator = Detail::blockAs<BlockGenPeriodic>(block);
                              return makeFloatsPropChanger(
                                  generator.rateProp(),
                                  [&generator](const boost::optional<float>& v)
                                  { generator.setRate(v); });
                          });
    return builder;
}

bool GenerationPeriodic::isGeneratorBlock(const Block& block) const
{
    return dynamic_cast<const BlockGenPeriodic*>(&block) != nullptr;
}

GenerationDistance::GenerationDistance(EmitterGuide& guide) : GenerationBase(guide)
{
    std::unique_ptr<BlockGenDistance> block = BlockGenDistance::create();
    block->setDistance(5.0f);
    createBlocks(std::move(block));
}

GenerationDistance::GenerationDistance(EmitterGuide& guide, Sl::RevisionLoader& loader)
    : GenerationBase(guide)
{
    load(loader);
}

GenerationDistance::GenerationDistance(EmitterGuide& guide, EmptyReflectionTag)
    : GenerationBase(guide)
{
}

std::unique_ptr<ReflectableBase> GenerationDistance::reflect(EmitterGuide& guide) const
{
    return std::make_unique<GenerationDistance>(guide, EmptyReflectionTag());
}

ValueBuilder GenerationDistance::createBuilder()
{
    ValueBuilder builder = createGeneratorValueBuilder(guide());
    builder.blockProperty([this]() { return getGeneratorBlockId(); }, 0,
                          [](Block& block)
                          {
                              auto& generator = Detail::blockAs<BlockGenDistance>(block);
                              return makeFloatsPropChanger(
                                  generator.distanceProp(),
                                  [&generator](const boost::optional<float>& v)
                                  { generator.setDistance(v); });
                          });
    return builder;
}

bool GenerationDistance::isGeneratorBlock(const Block& block) const
{
    return dynamic_cast<const BlockGenDistance*>(&block) != nullptr;
}

Generation::Generation(EmitterGuide& guide) : Base(guide)
{
    auto scope = guide.scopedChange();
    createImplByType();
    valid_ = impl_->isValid();
}

Generation::Generation(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Detail::CurrentGroup group(loader, kVersion);
    Sl::read(loader, valid_);
    uint8_t type = 0;
    Sl::read(loader, type);
    switch (type)
    {
    case T_Periodic:
        impl_ = std::make_unique<GenerationPeriodic>(guide, loader);
        break;
    case T_Distance:
        impl_ = std::make_unique<GenerationDistance>(guide, loader);
        break;
    default:
        throw Sl::CorruptedDataException();
    }
    type_ = static_cast<Type>(type);
    Sl::read(loader, collapsed_);
}

Generation::Generation(EmitterGuide& guide, EmptyReflectionTag) : Base(guide) {}

Generation::~Generation() = default;

void Generation::createImplByType()
{
    if (type_ == T_Distance)
        impl_ = std::make_unique<GenerationDistance>(guide());
    else
        impl_ = std::make_unique<GenerationPeriodic>(guide());
}

bool Generation::changeType(Type type)
{
    if (type == type_)
        return false;
    auto scope = guide().scopedChange();
    impl_->removeFromEmitter();
    type_ = type;
    createImplByType();
    valid_ = impl_->isValid();
    return true;
}

void Generation::updateFromEmitter()
{
    valid_ = false;
    impl_->updateFromEmitter();
    valid_ = impl_->isValid();
}

void Generation::fixLinks()
{
    if (valid_)
        impl_->fixLinks();
}

void Generation::removeFromEmitter() { impl_->removeFromEmitter(); }

void Generation::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, kVersion);
    Sl::write("valid", saver, valid_);
    Sl::write("type", saver, static_cast<uint8_t>(type_));
    impl_->save(saver);
    Sl::write("collapsed", saver, collapsed_);
}

void Generation::processEvent(const Event& event) { impl_->processEvent(event); }

void Generation::collectValues(std::vector<Value*>& values) { impl_->collectValues(values); }

void Generation::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const auto& other = static_cast<const Generation&>(source);
    valid_ = other.valid_;
    type_ = other.type_;
    makeTheSameType(impl_, other.impl_.get(), guide());
    if (impl_)
        impl_->syncReflection(*other.impl_);
}

}  // namespace Eg
}  // namespace Plm
