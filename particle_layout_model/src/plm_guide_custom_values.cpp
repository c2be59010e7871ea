#include "particle_layout_model/plm_guide_custom_values.h"

#include <algorithm>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_emitter_guide.h"
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

const char* const kDefaultName = "CustomValue";

}  // namespace

// CustomValue

ValueBuilder CustomValue::makeBuilder(EmitterGuide& guide, const Uuid& id, const std::string& name)
{
    const Plot curve = makeLinearCurve({{0.0f, 0.0f}, {1.0f, 1.0f}});
    ValueBuilder builder(guide, kLevel, Value::Type::Random);
    builder.values({{0.0f, 0.0f, 0.0f}})
        .randomRanges(Detail::sameRanges(0.0f, 1.0f))
        .curves(Detail::sameCurves(curve))
        .storeOnInit(name, true)
        .parentCustomValueId(id);
    return builder;
}

CustomValue::CustomValue(EmitterGuide& guide)
    : BaseDimensions(guide, 1), id_(BoostExt::generateUuid()), name_(kDefaultName)
{
    auto scope = guide.scopedChange();
    value_ = std::make_unique<MultiValue>(guide, makeBuilder(guide, id_, name_), 1);
    valid_ = true;
}

CustomValue::CustomValue(EmitterGuide& guide, Sl::RevisionLoader& loader) : BaseDimensions(guide, 1)
{
    Sl::ScopedLoaderGroup dimensionsGroup(loader, 0);
    setDimensionsOnLoad(loadDimensions(loader));
    Sl::ScopedLoaderGroup group(loader, kVersion);
    loader.read(valid_);
    Sl::read(loader, id_);
    Sl::read(loader, name_);
    value_ = std::make_unique<MultiValue>(guide, makeBuilder(guide, id_, name_), loader);
    if (value_->dimensions() != dimensions())
        throw Sl::CorruptedDataException();
}

CustomValue::CustomValue(EmitterGuide& guide, Base::EmptyReflectionTag) : BaseDimensions(guide, 1)
{
}

CustomValue::~CustomValue() = default;

void CustomValue::setName(const std::string& name)
{
    if (name == name_)
        return;
    auto scope = guide().scopedChange();
    name_ = name;
    value_->builder().storeOnInit(name, true);
    guide().processEvent(EventCustomValueRenamed(id_, name));
}

ValueLevel CustomValue::currentLevel() const
{
    ValueLevel level = kLevel;
    for (unsigned int i = 0; i < value_->numRows(); ++i)
        level = std::max(level, value_->rowValue(i).currentLevel());
    return level;
}

bool CustomValue::canValueDependOnThis(const Value& value) const
{
    const CustomValues& list = guide().customValues();
    if (value.parentCustomValueId())
    {
        const CustomValue* parent = list.value(*value.parentCustomValueId());
        if (parent)
        {
            const ValueLevel parentLevel = parent->currentLevel();
            const ValueLevel level = currentLevel();
            if (parentLevel != level)
                return parentLevel > level;
            const boost::optional<unsigned> parentIndex = list.valueIndex(parent->id());
            const boost::optional<unsigned> index = list.valueIndex(id_);
            return parentIndex && index && *parentIndex > *index;
        }
    }
    return currentLevel() < value.currentLevel();
}

bool CustomValue::canValueBeOverThis(const Value& value) const
{
    return valid_ && value_->dimensions() < 2 && canValueDependOnThis(value);
}

bool CustomValue::canValueUseThis(const Value& value) const
{
    return valid_ && value_->dimensions() == value.dimensions() && canValueDependOnThis(value);
}

void CustomValue::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    valid_ = value_->isValid();
}

void CustomValue::fixLinks() { value_->fixLinks(); }

void CustomValue::removeFromEmitter() { value_->removeFromEmitter(); }

boost::optional<BlockConnector> CustomValue::getOutputConnector() const
{
    return value_->getOutputConnector();
}

void CustomValue::processEvent(const Event& event) { value_->processEvent(event); }

void CustomValue::collectValues(std::vector<Value*>& values) { value_->collectValues(values); }

void CustomValue::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    value_->changeDimensions(dimensions);
    // The values that read this one check it anew; the value's dimensions are final here.
    guide().processEvent(EventCustomValueChanged(id_));
}

void CustomValue::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const CustomValue& other = static_cast<const CustomValue&>(source);
    setDimensionsOnLoad(other.dimensions());
    valid_ = other.valid_;
    id_ = other.id_;
    name_ = other.name_;
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), makeBuilder(guide(), id_, name_),
                                              Base::EmptyReflectionTag());
    else
        value_->builder().storeOnInit(name_, true);
    value_->syncReflection(*other.value_);
}

void CustomValue::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("custom_value", saver, kVersion);
    saver.write("valid", valid_);
    Sl::write("id", saver, id_);
    Sl::write("name", saver, name_);
    value_->save(saver);
}

// CustomValues

CustomValues::CustomValues(EmitterGuide& guide) : Base(guide) {}

CustomValues::CustomValues(EmitterGuide& guide, Sl::RevisionLoader& loader) : Base(guide)
{
    Sl::ScopedLoaderGroup group(loader, kVersion);
    loader.read(valid_);
    uint32_t count = 0;
    loader.read(count, Sl::PH_Packed);
    Sl::Detail::checkItemCount(loader, count);
    for (uint32_t i = 0; i < count; ++i)
    {
        values_.push_back(std::make_unique<CustomValue>(guide, loader));
        if (valueIndex(values_.back()->id()) != i)
            throw Sl::CorruptedDataException();
    }
}

CustomValues::CustomValues(EmitterGuide& guide, Base::EmptyReflectionTag) : Base(guide) {}

CustomValues::~CustomValues() = default;

CustomValue& CustomValues::value(unsigned index) const
{
    DEBUG_ASSERT(index < values_.size());
    return *values_[index];
}

CustomValue* CustomValues::value(const Uuid& id) const
{
    const boost::optional<unsigned> index = valueIndex(id);
    return index ? values_[*index].get() : nullptr;
}

boost::optional<unsigned> CustomValues::valueIndex(const Uuid& id) const
{
    for (unsigned i = 0; i < values_.size(); ++i)
        if (values_[i]->id() == id)
            return i;
    return boost::none;
}

CustomValue& CustomValues::addValue()
{
    auto scope = guide().scopedChange();
    values_.push_back(std::make_unique<CustomValue>(guide()));
    return *values_.back();
}

void CustomValues::removeValue(unsigned index)
{
    DEBUG_ASSERT(index < values_.size());
    auto scope = guide().scopedChange();
    guide().processEvent(EventCustomValueRemoved(values_[index]->id()));
    // A handler may not reorder the list, but find the value again by its id to be sure.
    const boost::optional<unsigned> current = valueIndex(values_[index]->id());
    DEBUG_ASSERT(current);
    values_[*current]->removeFromEmitter();
    values_.erase(values_.begin() + *current);
}

void CustomValues::updateFromEmitter()
{
    // The list has nothing of its own to check: each custom value has its own validity.
    for (const auto& value : values_)
        value->updateFromEmitter();
    valid_ = true;
}

void CustomValues::fixLinks()
{
    for (const auto& value : values_)
        value->fixLinks();
}

void CustomValues::removeFromEmitter()
{
    for (const auto& value : values_)
        value->removeFromEmitter();
}

void CustomValues::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const CustomValues& other = static_cast<const CustomValues&>(source);
    valid_ = other.valid_;
    Detail::syncById(
        values_, other.values_,
        [](const std::unique_ptr<CustomValue>& value) { return value->id(); },
        [this](const std::unique_ptr<CustomValue>&)
        { return std::make_unique<CustomValue>(guide(), Base::EmptyReflectionTag()); },
        [](std::unique_ptr<CustomValue>& value, const std::unique_ptr<CustomValue>& from)
        { value->syncReflection(*from); });
}

void CustomValues::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("custom_values", saver, kVersion);
    saver.write("valid", valid_);
    saver.write("num_values", static_cast<uint32_t>(values_.size()), Sl::PH_Packed);
    for (const auto& value : values_)
        value->save(saver);
}

void CustomValues::processEvent(const Event& event)
{
    for (const auto& value : values_)
        value->processEvent(event);
}

void CustomValues::collectValues(std::vector<Value*>& values)
{
    for (const auto& value : values_)
        value->collectValues(values);
}

}  // namespace Eg
}  // namespace Plm
