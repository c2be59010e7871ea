#include "particle_layout_model/plm_guide_value_kinds.h"

#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_custom_values.h"
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

const char* const kDefaultEmitterPropertyName = "NewProperty";

// The builder's defaults of the components from `from` to `dimensions`, after `values`.
std::vector<float> extendedValues(std::vector<float> values, unsigned int dimensions,
                                  const ValueBuilder& builder)
{
    while (values.size() < dimensions)
        values.push_back(builder.fixedValues()[values.size()]);
    values.resize(dimensions);
    return values;
}

template <class F>
bool visitGlobParam(Block* block, unsigned int dimensions, F&& f)
{
    return Detail::withValueType(dimensions,
                                 [&](auto zero)
                                 {
                                     auto* param =
                                         dynamic_cast<BlockGlobParamTyped<decltype(zero)>*>(block);
                                     if (!param)
                                         return false;
                                     f(*param);
                                     return true;
                                 });
}

}  // namespace

// ValuesBase

Value::ValuesBase::ValuesBase(const ValueBuilder& builder, unsigned int dimensions)
    : BaseDimensions(builder.guide(), dimensions), builder_(&builder)
{
}

void Value::ValuesBase::changeDimensionsImpl(unsigned int) { DEBUG_ASSERT(false); }

void Value::ValuesBase::checkVersion(const Sl::ScopedLoaderGroup& group)
{
    // Older forms are read by the migration of old guides, not here.
    Detail::requireCurrentVersion(group, kVersion);
}

void Value::ValuesBase::linkIfPresent(const boost::optional<BlockConnector>& output,
                                      const Uuid& inputId, uint32_t inputIndex) const
{
    if (output && findConnector(inputId, inputIndex))
        link(output, inputId, inputIndex);
}

void Value::ValuesBase::linkIfPresent(const Uuid& outputId, uint32_t outputIndex,
                                      const Uuid& inputId, uint32_t inputIndex) const
{
    linkIfPresent(findConnector(outputId, outputIndex), inputId, inputIndex);
}

// Fixed

Value::Fixed::Fixed(const ValueBuilder& builder, unsigned int dimensions,
                    const std::vector<float>& values)
    : ValuesBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    createBlock(dimensions, values);
    valid_ = true;
}

Value::Fixed::Fixed(const ValueBuilder& builder, unsigned int dimensions,
                    Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, block_);
    Sl::ScopedLoaderGroup items(loader, 0);
    Detail::readExpectedCount(loader, dimensions);
    std::vector<Refl<float>> values(dimensions);
    for (Refl<float>& value : values)
        value.load(loader);
    values_ = VectorReflGroup<float>(std::move(values));
}

void Value::Fixed::createBlock(unsigned int dimensions, const std::vector<float>& values)
{
    DEBUG_ASSERT(values.size() == dimensions);
    std::unique_ptr<Block> block = Detail::createDistribBlock(dimensions);
    Detail::visitDistrib(block.get(), dimensions,
                         [&](auto& distrib)
                         {
                             for (unsigned int i = 0; i < dimensions; ++i)
                                 distrib.setValue(i, values[i]);
                         });
    block_ = block->getId();
    Block& added = addBlock(std::move(block));
    std::vector<Refl<float>> refls(dimensions);
    Detail::visitDistrib(&added, dimensions,
                         [&](auto& distrib)
                         {
                             for (unsigned int i = 0; i < dimensions; ++i)
                                 updateReflFromProp(refls[i], distrib.valueProp(i));
                         });
    values_ = VectorReflGroup<float>(std::move(refls));
}

std::vector<float> Value::Fixed::values() const
{
    std::vector<float> result;
    for (const Refl<float>& value : values_.items())
        result.push_back(value.get());
    return result;
}

bool Value::Fixed::changeValue(unsigned int index, float value)
{
    DEBUG_ASSERT(index < values_.size());
    if (values_[index].get() == value)
        return false;
    auto scope = guide().scopedChange();
    values_[index].setOverride(value);
    Detail::visitDistrib(findBlock(block_), dimensions(),
                         [&](auto& distrib) { distrib.setValue(index, value); });
    return true;
}

void Value::Fixed::discardValueRefl()
{
    auto scope = guide().scopedChange();
    values_.discardOverride();
    Detail::visitDistrib(findBlock(block_), dimensions(),
                         [&](auto& distrib)
                         {
                             for (unsigned int i = 0; i < values_.size(); ++i)
                             {
                                 distrib.setValue(i, boost::none);
                                 updateReflFromProp(values_[i], distrib.valueProp(i));
                             }
                         });
}

void Value::Fixed::updateFromEmitter()
{
    valid_ = false;
    DEBUG_ASSERT(values_.size() == dimensions());
    bool shaped = true;
    const bool found =
        Detail::visitDistrib(findBlock(block_), dimensions(),
                             [&](auto& distrib)
                             {
                                 for (unsigned int i = 0; i < values_.size(); ++i)
                                 {
                                     updateReflFromProp(values_[i], distrib.valueProp(i));
                                     shaped &= !distrib.isValueExternal(i);
                                 }
                             });
    valid_ = found && shaped;
}

void Value::Fixed::removeFromEmitter() { removeBlockIfExists(block_); }

boost::optional<BlockConnector> Value::Fixed::getOutputConnector() const
{
    return findConnector(block_, 0);
}

void Value::Fixed::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    const std::vector<float> values = extendedValues(this->values(), dimensions, builder());
    removeFromEmitter();
    createBlock(dimensions, values);
}

void Value::Fixed::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("fixed", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("block", saver, block_);
    Sl::ScopedSaverGroup items("values", saver, 0);
    saver.write("num_items", values_.size(), Sl::PH_Packed);
    for (const Refl<float>& value : values_.items())
        value.save("item", saver);
}

// FixedProp

Value::FixedProp::FixedProp(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(builder.blockProp());
    values_.setSource(std::vector<float>(dimensions, 0.0f));
    readFromProp();
    valid_ = true;
}

Value::FixedProp::FixedProp(const ValueBuilder& builder, unsigned int dimensions,
                            const std::vector<float>& values)
    : ValuesBase(builder, dimensions)
{
    DEBUG_ASSERT(builder.blockProp());
    values_.setSource(std::vector<float>(dimensions, 0.0f));
    if (const std::unique_ptr<FloatsPropChanger> prop = changer())
        prop->set(values);
    readFromProp();
    valid_ = true;
}

Value::FixedProp::FixedProp(const ValueBuilder& builder, unsigned int dimensions,
                            Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    std::vector<float> source;
    Sl::read(loader, source);
    boost::optional<std::vector<float>> override;
    Sl::read(loader, override);
    if (source.size() != dimensions || (override && override->size() != dimensions))
        throw Sl::CorruptedDataException();
    values_.setSource(source);
    values_.setOverride(override);
}

std::unique_ptr<FloatsPropChanger> Value::FixedProp::changer() const
{
    const boost::optional<ValueBlockProp>& prop = builder().blockProp();
    if (!prop)
        return nullptr;
    Block* block = findBlock(prop->blockId());
    return block ? prop->changer(*block) : nullptr;
}

void Value::FixedProp::readFromProp()
{
    if (const std::unique_ptr<FloatsPropChanger> prop = changer())
    {
        std::vector<float> values = prop->get();
        values.resize(dimensions(), 0.0f);
        updateReflFromValue(values_, values, prop->isOverridden());
    }
}

float Value::FixedProp::value(unsigned int index) const
{
    DEBUG_ASSERT(index < values_.get().size());
    return values_.get()[index];
}

bool Value::FixedProp::changeValue(unsigned int index, float value)
{
    DEBUG_ASSERT(index < values_.get().size());
    if (values_.get()[index] == value)
        return false;
    auto scope = guide().scopedChange();
    std::vector<float> values = values_.get();
    values[index] = value;
    values_.setOverride(values);
    if (const std::unique_ptr<FloatsPropChanger> prop = changer())
        prop->set(values);
    readFromProp();
    return true;
}

void Value::FixedProp::discardValueRefl()
{
    auto scope = guide().scopedChange();
    values_.discardOverride();
    if (const std::unique_ptr<FloatsPropChanger> prop = changer())
        prop->revert();
    readFromProp();
}

void Value::FixedProp::updateFromEmitter()
{
    valid_ = false;
    const std::unique_ptr<FloatsPropChanger> prop = changer();
    if (!prop || prop->get().size() != dimensions())
        return;
    updateReflFromValue(values_, prop->get(), prop->isOverridden());
    // The property carries the number only while nothing feeds it.
    valid_ = !prop->isExternal();
}

void Value::FixedProp::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("fixed_prop", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("source", saver, values_.source());
    Sl::write("override", saver, values_.override());
}

// Random

Value::Random::Random(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    std::vector<std::pair<float, float>> ranges(builder.ranges().begin(),
                                                builder.ranges().begin() + dimensions);
    createBlocks(dimensions, ranges);
    valid_ = true;
}

Value::Random::Random(const ValueBuilder& builder, unsigned int dimensions,
                      Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, blockRandomIds_);
    if (blockRandomIds_.size() != dimensions)
        throw Sl::CorruptedDataException();
    Sl::read(loader, distrib_);
    if (static_cast<bool>(distrib_) != (dimensions > 1))
        throw Sl::CorruptedDataException();
    Sl::ScopedLoaderGroup ranges(loader, 0);
    Detail::readExpectedCount(loader, dimensions);
    randomRanges_.resize(dimensions);
    for (Range& range : randomRanges_)
    {
        Sl::ScopedLoaderGroup pair(loader, 0);
        range.first.load(loader);
        range.second.load(loader);
    }
}

void Value::Random::createBlocks(unsigned int dimensions,
                                 const std::vector<std::pair<float, float>>& ranges)
{
    DEBUG_ASSERT(ranges.size() == dimensions);
    blockRandomIds_.clear();
    randomRanges_.assign(dimensions, Range());
    for (unsigned int i = 0; i < dimensions; ++i)
    {
        std::unique_ptr<BlockFuncRandom> block = BlockFuncRandom::create();
        block->setStart(ranges[i].first);
        block->setEnd(ranges[i].second);
        blockRandomIds_.push_back(block->getId());
        BlockFuncRandom& added = addBlock(std::move(block));
        updateReflFromProp(randomRanges_[i].first, added.startProp());
        updateReflFromProp(randomRanges_[i].second, added.endProp());
    }
    distrib_ = boost::none;
    if (dimensions > 1)
    {
        std::unique_ptr<Block> block = Detail::createDistribBlock(dimensions);
        Detail::visitDistrib(block.get(), dimensions,
                             [&](auto& distrib)
                             {
                                 for (unsigned int i = 0; i < dimensions; ++i)
                                     distrib.setValueExternal(i, true);
                             });
        distrib_ = block->getId();
        addBlock(std::move(block));
    }
}

bool Value::Random::changeRangeSide(unsigned int index, bool max, float value)
{
    DEBUG_ASSERT(index < randomRanges_.size());
    Range& range = randomRanges_[index];
    Refl<float>& side = max ? range.second : range.first;
    if (side.get() == value)
        return false;
    auto scope = guide().scopedChange();
    side.setOverride(value);
    if (BlockFuncRandom* block = findBlockAs<BlockFuncRandom>(blockRandomIds_[index]))
    {
        if (max)
            block->setEnd(value);
        else
            block->setStart(value);
    }
    return true;
}

void Value::Random::discardRangeSide(unsigned int index, bool max)
{
    DEBUG_ASSERT(index < randomRanges_.size());
    Range& range = randomRanges_[index];
    Refl<float>& side = max ? range.second : range.first;
    auto scope = guide().scopedChange();
    side.discardOverride();
    if (BlockFuncRandom* block = findBlockAs<BlockFuncRandom>(blockRandomIds_[index]))
    {
        if (max)
        {
            block->setEnd(boost::none);
            updateReflFromProp(side, block->endProp());
        }
        else
        {
            block->setStart(boost::none);
            updateReflFromProp(side, block->startProp());
        }
    }
}

bool Value::Random::changeRandomMin(unsigned int index, float value)
{
    return changeRangeSide(index, false, value);
}

void Value::Random::discardRandomMinRefl(unsigned int index) { discardRangeSide(index, false); }

bool Value::Random::changeRandomMax(unsigned int index, float value)
{
    return changeRangeSide(index, true, value);
}

void Value::Random::discardRandomMaxRefl(unsigned int index) { discardRangeSide(index, true); }

void Value::Random::updateFromEmitter()
{
    valid_ = false;
    DEBUG_ASSERT(blockRandomIds_.size() == dimensions());
    DEBUG_ASSERT(randomRanges_.size() == dimensions());
    bool ok = true;
    for (unsigned int i = 0; i < dimensions(); ++i)
    {
        const BlockFuncRandom* block = findBlockAs<BlockFuncRandom>(blockRandomIds_[i]);
        if (!block)
        {
            ok = false;
            continue;
        }
        updateReflFromProp(randomRanges_[i].first, block->startProp());
        updateReflFromProp(randomRanges_[i].second, block->endProp());
        ok &= !block->isStartExternal() && !block->isEndExternal();
    }
    if (dimensions() > 1)
    {
        Block* distrib = findBlock(distrib_);
        ok = ok && Detail::visitDistrib(distrib, dimensions(), [](auto&) {}) &&
             distrib->getNumConnectors() == dimensions() + 1;
        for (unsigned int i = 0; ok && i < dimensions(); ++i)
            ok = hasLink(blockRandomIds_[i], 2, *distrib_, i + 1);
    }
    valid_ = ok;
}

void Value::Random::fixLinks()
{
    if (!valid_ || !distrib_)
        return;
    for (unsigned int i = 0; i < blockRandomIds_.size(); ++i)
        linkIfPresent(blockRandomIds_[i], 2, *distrib_, i + 1);
}

void Value::Random::removeFromEmitter()
{
    for (const Uuid& id : blockRandomIds_)
        removeBlockIfExists(id);
    removeBlockIfExists(distrib_);
}

boost::optional<BlockConnector> Value::Random::getOutputConnector() const
{
    if (distrib_)
        return findConnector(*distrib_, 0);
    if (blockRandomIds_.size() == 1)
        return findConnector(blockRandomIds_[0], 2);
    return boost::none;
}

void Value::Random::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    std::vector<std::pair<float, float>> ranges;
    for (unsigned int i = 0; i < dimensions; ++i)
        ranges.push_back(i < randomRanges_.size() ? std::make_pair(randomRanges_[i].first.get(),
                                                                   randomRanges_[i].second.get())
                                                  : builder().ranges()[i]);
    removeFromEmitter();
    createBlocks(dimensions, ranges);
}

void Value::Random::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("random", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("blocks", saver, blockRandomIds_);
    Sl::write("distrib", saver, distrib_);
    Sl::ScopedSaverGroup ranges("ranges", saver, 0);
    saver.write("num_items", static_cast<uint32_t>(randomRanges_.size()), Sl::PH_Packed);
    for (const Range& range : randomRanges_)
    {
        Sl::ScopedSaverGroup pair("range", saver, 0);
        range.first.save("min", saver);
        range.second.save("max", saver);
    }
}

// EmitterProperty

Value::EmitterProperty::EmitterProperty(const ValueBuilder& builder, unsigned int dimensions)
    : ValuesBase(builder, dimensions)
{
    auto scope = guide().scopedChange();
    createBlock(dimensions, extendedValues({}, dimensions, builder), kDefaultEmitterPropertyName);
    valid_ = true;
}

Value::EmitterProperty::EmitterProperty(const ValueBuilder& builder, unsigned int dimensions,
                                        Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, block_);
    Detail::withValueType(dimensions,
                          [&](auto zero)
                          {
                              using T = decltype(zero);
                              Refl<T> value;
                              value.load(loader);
                              values_.setSource(Detail::toFloats(value.source()));
                              if (value.override())
                                  values_.setOverride(Detail::toFloats(*value.override()));
                          });
    name_.load(loader);
}

void Value::EmitterProperty::createBlock(unsigned int dimensions, const std::vector<float>& values,
                                         const std::string& name)
{
    std::unique_ptr<Block> block =
        Detail::withValueType(dimensions,
                              [&](auto zero) -> std::unique_ptr<Block>
                              {
                                  using T = decltype(zero);
                                  std::unique_ptr<BlockGlobParamTyped<T>> param =
                                      BlockGlobParamTyped<T>::create();
                                  param->setName(name);
                                  param->setValue(Detail::fromFloats<T>(values));
                                  return param;
                              });
    block_ = block->getId();
    addBlock(std::move(block));
    readFromBlock();
}

void Value::EmitterProperty::readFromBlock()
{
    visitGlobParam(findBlock(block_), dimensions(),
                   [&](auto& param)
                   {
                       updateReflFromProp(name_, param.nameProp());
                       updateReflFromValue(values_, Detail::toFloats(param.getValue()),
                                           param.valueProp().isOverridden());
                   });
}

float Value::EmitterProperty::value(unsigned int index) const
{
    DEBUG_ASSERT(index < values_.get().size());
    return values_.get()[index];
}

bool Value::EmitterProperty::changeValue(unsigned int index, float value)
{
    DEBUG_ASSERT(index < values_.get().size());
    if (values_.get()[index] == value)
        return false;
    auto scope = guide().scopedChange();
    std::vector<float> values = values_.get();
    values[index] = value;
    values_.setOverride(values);
    visitGlobParam(findBlock(block_), dimensions(),
                   [&](auto& param)
                   {
                       using T = std::decay_t<decltype(param.getValue())>;
                       param.setValue(Detail::fromFloats<T>(values));
                   });
    return true;
}

void Value::EmitterProperty::discardValueRefl()
{
    auto scope = guide().scopedChange();
    values_.discardOverride();
    visitGlobParam(findBlock(block_), dimensions(),
                   [&](auto& param) { param.setValue(boost::none); });
    readFromBlock();
}

void Value::EmitterProperty::changeName(const std::string& name)
{
    if (name == name_.get())
        return;
    auto scope = guide().scopedChange();
    name_.setOverride(name);
    visitGlobParam(findBlock(block_), dimensions(), [&](auto& param) { param.setName(name); });
}

void Value::EmitterProperty::discardNameRefl()
{
    auto scope = guide().scopedChange();
    name_.discardOverride();
    visitGlobParam(findBlock(block_), dimensions(),
                   [&](auto& param) { param.setName(boost::none); });
    readFromBlock();
}

void Value::EmitterProperty::updateFromEmitter()
{
    valid_ = false;
    readFromBlock();
    valid_ = visitGlobParam(findBlock(block_), dimensions(), [](auto&) {});
}

void Value::EmitterProperty::removeFromEmitter() { removeBlockIfExists(block_); }

boost::optional<BlockConnector> Value::EmitterProperty::getOutputConnector() const
{
    return findConnector(block_, 0);
}

void Value::EmitterProperty::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    const std::vector<float> values = extendedValues(values_.get(), dimensions, builder());
    const std::string name = name_.get();
    removeFromEmitter();
    values_ = Refl<std::vector<float>>();
    createBlock(dimensions, values, name);
}

void Value::EmitterProperty::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("emitter_property", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("block", saver, block_);
    Detail::withValueType(
        dimensions(),
        [&](auto zero)
        {
            // The value as a Refl of the block's own type, from the components.
            using T = decltype(zero);
            const T over = values_.override() ? Detail::fromFloats<T>(*values_.override()) : T();
            Refl<T>::saveForm("value", saver, Detail::fromFloats<T>(values_.source()),
                              values_.override() ? &over : nullptr);
        });
    name_.save("name", saver);
}

// CustomValue

Value::CustomValue::CustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                const Uuid& customValueId)
    : ValuesBase(builder, dimensions), valid_(true), customValue_(customValueId)
{
}

Value::CustomValue::CustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                Sl::RevisionLoader& loader)
    : ValuesBase(builder, dimensions)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    checkVersion(group);
    loader.read(valid_);
    Sl::read(loader, customValue_);
}

bool Value::CustomValue::isDimensionSupported(unsigned int dimensions) const
{
    const ::Plm::Eg::CustomValue* custom = guide().customValues().value(customValue_);
    return custom && custom->value().dimensions() == dimensions;
}

void Value::CustomValue::updateFromEmitter()
{
    const ::Plm::Eg::CustomValue* custom = guide().customValues().value(customValue_);
    valid_ = custom && custom->value().dimensions() == dimensions() && custom->getOutputConnector();
}

boost::optional<BlockConnector> Value::CustomValue::getOutputConnector() const
{
    const ::Plm::Eg::CustomValue* custom = guide().customValues().value(customValue_);
    return custom ? custom->getOutputConnector() : boost::none;
}

void Value::CustomValue::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("custom_value", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("custom_value", saver, customValue_);
}

// Reflection: the twins have no block; syncReflection takes the source's state with the ids of
// the blocks here that reflect the source's blocks.

Value::Fixed::Fixed(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Value::Fixed::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<Fixed>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::Fixed::syncReflection(const Base& source)
{
    const Fixed& other = syncDimensions<Fixed>(source);
    valid_ = other.valid_;
    block_ = reflBlockId(other, other.block_);
    values_.syncBase(other.values_);
}

Value::FixedProp::FixedProp(const ValueBuilder& builder, unsigned int dimensions,
                            Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Value::FixedProp::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<FixedProp>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::FixedProp::syncReflection(const Base& source)
{
    const FixedProp& other = syncDimensions<FixedProp>(source);
    valid_ = other.valid_;
    values_.syncBase(other.values_);
}

Value::Random::Random(const ValueBuilder& builder, unsigned int dimensions,
                      Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Value::Random::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<Random>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::Random::syncReflection(const Base& source)
{
    const Random& other = syncDimensions<Random>(source);
    valid_ = other.valid_;
    blockRandomIds_.clear();
    for (const Uuid& id : other.blockRandomIds_)
        blockRandomIds_.push_back(reflBlockId(other, id));
    distrib_ = reflBlockId(other, other.distrib_);
    syncVector(
        randomRanges_, other.randomRanges_, [](const Range&) { return Range(); },
        [](Range& range, const Range& from)
        {
            range.first.syncBase(from.first);
            range.second.syncBase(from.second);
        });
}

Value::EmitterProperty::EmitterProperty(const ValueBuilder& builder, unsigned int dimensions,
                                        Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase>
Value::EmitterProperty::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<EmitterProperty>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::EmitterProperty::syncReflection(const Base& source)
{
    const EmitterProperty& other = syncDimensions<EmitterProperty>(source);
    valid_ = other.valid_;
    block_ = reflBlockId(other, other.block_);
    values_.syncBase(other.values_);
    name_.syncBase(other.name_);
}

Value::CustomValue::CustomValue(const ValueBuilder& builder, unsigned int dimensions,
                                Base::EmptyReflectionTag)
    : ValuesBase(builder, dimensions)
{
}

std::unique_ptr<Value::ValuesBase> Value::CustomValue::reflect(const ValueBuilder& builder) const
{
    return std::make_unique<CustomValue>(builder, dimensions(), Base::EmptyReflectionTag());
}

void Value::CustomValue::syncReflection(const Base& source)
{
    const CustomValue& other = syncDimensions<CustomValue>(source);
    valid_ = other.valid_;
    // Custom values keep their ids in a reflection.
    customValue_ = other.customValue_;
}

}  // namespace Eg
}  // namespace Plm
