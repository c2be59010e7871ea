#include "particle_layout_model/plm_guide_value.h"

#include <iterator>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_custom_values.h"
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

constexpr uint32_t kValueVersion = 7;

// Bit n set: n dimensions allowed.
constexpr unsigned int kAnyDimensions = (1u << 1) | (1u << 2) | (1u << 3);
constexpr unsigned int kOneDimension = 1u << 1;
constexpr unsigned int kThreeDimensions = 1u << 3;

struct TypeRecord
{
    Value::Type type;
    const char* name;
    ValueLevel minLevel;
    unsigned int dimensions;
};

// In the order of the enumeration, which is also the order in which the form offers them.
const TypeRecord typeLevels[] = {
    {Value::Type::Fixed, "Fixed", 0, kAnyDimensions},
    {Value::Type::Random, "Random", 0, kAnyDimensions},
    {Value::Type::Graph, "Graph", 0, kAnyDimensions},
    {Value::Type::OverParticleLife, "OverParticleLife", 6, kAnyDimensions},
    {Value::Type::OverParticleTime, "OverParticleTime", 6, kAnyDimensions},
    {Value::Type::OverParticleSpeed, "OverParticleSpeed", 6, kAnyDimensions},
    {Value::Type::OverEmitterTime, "OverEmitterTime", 0, kAnyDimensions},
    {Value::Type::OverSystemTime, "OverSystemTime", 0, kAnyDimensions},
    {Value::Type::OverCustomValue, "OverCustomValue", 2, kAnyDimensions},
    {Value::Type::CustomValue, "CustomValue", 2, kOneDimension},
    {Value::Type::EmitterProperty, "EmitterProperty", 0, kAnyDimensions},
    {Value::Type::PointFromPath, "PointFromPath", 0, kThreeDimensions},
    {Value::Type::Sphere, "Sphere", 0, kThreeDimensions},
    {Value::Type::Circle, "Circle", 0, kThreeDimensions},
    {Value::Type::Area, "Area", 0, kThreeDimensions},
    {Value::Type::PointBetweenPaths, "PointBetweenPaths", 0, kThreeDimensions},
    {Value::Type::ParticlePosition, "ParticlePosition", 4, kThreeDimensions},
    {Value::Type::EmitterPosition, "EmitterPosition", 0, kThreeDimensions},
};
static_assert(std::size(typeLevels) == Value::kNumTypes, "a record per type");

const TypeRecord& record(Value::Type type)
{
    const auto index = static_cast<unsigned int>(type);
    DEBUG_ASSERT(index < Value::kNumTypes);
    DEBUG_ASSERT(typeLevels[index].type == type);
    return typeLevels[index];
}

// Types 11 to 15: points drawn at random, so they need a particle.
bool isRandomPointType(Value::Type type)
{
    return type >= Value::Type::PointFromPath && type <= Value::Type::PointBetweenPaths;
}

bool isCustomValueType(Value::Type type)
{
    return type == Value::Type::CustomValue || type == Value::Type::OverCustomValue;
}

template <class T>
std::unique_ptr<BlockParamUser> createParamBlock()
{
    std::unique_ptr<BlockParamUser> block = BlockParamUserTyped<T>::create();
    return block;
}

// Makes `impl` an empty twin of `source` unless it is of the same class already.
void makeTheSameKind(std::unique_ptr<Value::ValuesBase>& impl, const Value::ValuesBase& source,
                     const ValueBuilder& builder)
{
    if (!impl || !isSameClass(*impl, source))
        impl = source.reflect(builder);
}

}  // namespace

// ValueBuilder

ValueBuilder::ValueBuilder(EmitterGuide& guide, ValueLevel level, Value::Type defaultType)
    : guide_(&guide), level_(level), defaultType_(defaultType)
{
    path_.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(-100.0f, 0.0f)));
    path_.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(100.0f, 0.0f)));
}

ValueBuilder::ValueBuilder(const ValueBuilder&) = default;
ValueBuilder& ValueBuilder::operator=(const ValueBuilder&) = default;
ValueBuilder::~ValueBuilder() = default;

ValueBuilder& ValueBuilder::values(const std::array<float, 3>& values)
{
    values_ = values;
    return *this;
}

ValueBuilder& ValueBuilder::randomRanges(const std::array<std::pair<float, float>, 3>& ranges)
{
    ranges_ = ranges;
    return *this;
}

ValueBuilder& ValueBuilder::curves(const std::array<Plot, 3>& curves)
{
    curves_ = curves;
    return *this;
}

ValueBuilder& ValueBuilder::path(const Path<glm::vec2>& path)
{
    path_ = path;
    return *this;
}

ValueBuilder& ValueBuilder::storeOnInit(const std::string& name, bool enabled)
{
    opt_.storeOnInit_ = StoreOnInit{name, enabled};
    return *this;
}

ValueBuilder& ValueBuilder::disableShift()
{
    opt_.shiftDisabled = true;
    return *this;
}

ValueBuilder& ValueBuilder::parentCustomValueId(const Uuid& id)
{
    opt_.parentCustomValueId = id;
    return *this;
}

ValueBuilder& ValueBuilder::blockProperty(std::function<Uuid()> blockId, uint32_t connectorIndex,
                                          Changer changer)
{
    blockProp_ = ValueBlockProp{std::move(blockId), connectorIndex, std::move(changer)};
    return *this;
}

ValueBuilder& ValueBuilder::shiftLevel(ValueLevel level)
{
    shiftLevel_ = level;
    return *this;
}

std::unique_ptr<Value> ValueBuilder::build(unsigned int dimensions, Value::Type type,
                                           bool propValueEnabled) const
{
    return std::unique_ptr<Value>(new Value(*this, dimensions, type, propValueEnabled));
}

std::unique_ptr<Value> ValueBuilder::buildDefaultType(unsigned int dimensions,
                                                      bool propValueEnabled) const
{
    return build(dimensions, defaultType_, propValueEnabled);
}

std::unique_ptr<Value> ValueBuilder::buildWithImpl(unsigned int dimensions, Value::Type type,
                                                   std::unique_ptr<Value::ValuesBase> impl,
                                                   bool propValueEnabled) const
{
    return std::unique_ptr<Value>(
        new Value(*this, dimensions, type, std::move(impl), propValueEnabled));
}

std::unique_ptr<Value> ValueBuilder::buildForLoad(Sl::RevisionLoader& loader) const
{
    return std::unique_ptr<Value>(new Value(*this, loader));
}

std::unique_ptr<Value> ValueBuilder::reflect(const Value&) const
{
    // The twin takes its dimensions and kind from the source on its first sync.
    return std::unique_ptr<Value>(new Value(*this, Base::EmptyReflectionTag()));
}

Plot makeLinearCurve(const std::vector<std::pair<float, float>>& points)
{
    Plot plot;
    for (size_t i = 0; i < points.size(); ++i)
    {
        const PlotKeySmooth key(points[i].first, points[i].second);
        if (i == 0)
            plot.appendKeyBack(key);
        else
            plot.appendKeyBackWithSegment(key, PlotSegLinear());
    }
    return plot;
}

// Value

const char* Value::typeName(Type type) { return record(type).name; }

ValueLevel Value::minLevel(Type type) { return record(type).minLevel; }

bool Value::isDimensionAllowed(Type type, unsigned int dimensions)
{
    return dimensions >= 1 && dimensions <= 3 && (record(type).dimensions & (1u << dimensions));
}

Value::Value(const ValueBuilder& builder, unsigned int dimensions, Type type, bool propValueEnabled)
    : BaseDimensions(builder.guide(), dimensions),
      level_(builder.level()),
      propValueEnabled_(propValueEnabled),
      defaultType_(builder.defaultType()),
      type_(type),
      builder_(std::make_unique<ValueBuilder>(builder)),
      opt_(builder.optionalData())
{
    DEBUG_ASSERT(isDimensionAllowed(type, dimensions) || type == Type::CustomValue);
    auto scope = guide().scopedChange();
    storedOnInit_ = opt_.storeOnInit_ && opt_.storeOnInit_->enabled;
    if (const boost::optional<bool> forced = getFixedStoredOnInitByModelAndType())
        storedOnInit_ = *forced;
    createImplByCurrentType(boost::none);
    valid_ = true;
}

Value::Value(const ValueBuilder& builder, unsigned int dimensions, Type type,
             std::unique_ptr<ValuesBase> impl, bool propValueEnabled)
    : BaseDimensions(builder.guide(), dimensions),
      level_(builder.level()),
      propValueEnabled_(propValueEnabled),
      defaultType_(builder.defaultType()),
      type_(type),
      builder_(std::make_unique<ValueBuilder>(builder)),
      opt_(builder.optionalData())
{
    // The object and its blocks exist already (a file of an older form): nothing is created.
    DEBUG_ASSERT(impl && impl->type() == type && impl->dimensions() == dimensions);
    implReset(std::move(impl));
    valid_ = impl_->isValid();
}

Value::Value(const ValueBuilder& builder, Sl::RevisionLoader& loader)
    : BaseDimensions(builder.guide(), 1),
      level_(builder.level()),
      defaultType_(builder.defaultType()),
      builder_(std::make_unique<ValueBuilder>(builder)),
      opt_(builder.optionalData())
{
    Sl::ScopedLoaderGroup dimensionsGroup(loader, 0);
    setDimensionsOnLoad(loadDimensions(loader));
    Detail::CurrentGroup group(loader, kValueVersion);
    type_ = Detail::readEnum<Type>(loader, kNumTypes);
    if (!isDimensionAllowed(type_, dimensions()) && type_ != Type::CustomValue)
        throw Sl::CorruptedDataException();
    loader.read(propValueEnabled_);
    std::unique_ptr<ValuesBase> impl = loadImpl(loader);
    if (impl->dimensions() != dimensions())
        throw Sl::CorruptedDataException();
    impl_ = std::move(impl);
    impl_->setBuilder(*builder_);
    Sl::read(loader, implId_);
    loader.read(storedOnInit_);
    Sl::read(loader, param_);
    loader.read(valid_);
}

Value::Value(const ValueBuilder& builder, Base::EmptyReflectionTag)
    : BaseDimensions(builder.guide(), 1),
      level_(builder.level()),
      defaultType_(builder.defaultType()),
      builder_(std::make_unique<ValueBuilder>(builder)),
      opt_(builder.optionalData())
{
}

Value::~Value() = default;

bool Value::changeType(Type type)
{
    if (type == type_ || !isTypeAvailable(type))
        return false;
    return changeTypeImpl(type, boost::none);
}

void Value::changeToDefaultType() { changeToDefaultOrAvailableType(); }

void Value::changeToDefaultOrAvailableType()
{
    Type target = defaultType_;
    if (!isTypeAvailable(target))
    {
        const std::vector<Type> available = getAllAvailableTypes();
        if (available.empty())
            return;
        target = available.front();
    }
    if (target != type_)
        changeTypeImpl(target, boost::none);
}

bool Value::changeToCustomValueType(const Uuid& customValueId)
{
    if (type_ == Type::CustomValue && impl_->customValueId() == customValueId)
        return false;
    return changeTypeImpl(Type::CustomValue, customValueId);
}

bool Value::changeToOverCustomValueType(const Uuid& customValueId)
{
    if (type_ == Type::OverCustomValue && impl_->customValueId() == customValueId)
        return false;
    return changeTypeImpl(Type::OverCustomValue, customValueId);
}

bool Value::changeTypeImpl(Type type, const boost::optional<Uuid>& customValueId)
{
    auto scope = guide().scopedChange();
    impl_->removeFromEmitter();
    type_ = type;
    fixStoredOnInitByModelAndType();
    if (type_ == Type::Fixed)
        removeParamIfExists();
    createImplByCurrentType(customValueId);
    valid_ = true;
    notifyValueChanged();
    return true;
}

bool Value::isTypeAvailable(Type type) const
{
    if (isCustomValueType(type))
        return false;
    if (currentLevel() < 2 &&
        (type == Type::Random || type == Type::Graph || isRandomPointType(type)))
        return false;
    if (!isDimensionAllowed(type, dimensions()))
        return false;
    if (!(minLevel(type) < level_))
        return false;
    if (type == Type::OverParticleSpeed && !guide().positionChange().doesSupportParticleSpeed())
        return false;
    if (type == Type::OverParticleLife && !guide().getNormParticleLifeConnector())
        return false;
    return true;
}

std::vector<Value::Type> Value::getAllAvailableTypes() const
{
    std::vector<Type> types;
    for (const TypeRecord& item : typeLevels)
        if (isTypeAvailable(item.type))
            types.push_back(item.type);
    return types;
}

ValueLevel Value::currentLevel() const
{
    ValueLevel result = level_;
    if (impl_)
        if (const boost::optional<ValueLevel> shift = impl_->shiftLevel())
            result = std::max(result, *shift);
    return result;
}

boost::optional<Uuid> Value::customValueId() const { return impl_->customValueId(); }

bool Value::propValueEnabled() const { return builder_->blockProp() && propValueEnabled_; }

void Value::enablePropValue(bool enable)
{
    if (enable == propValueEnabled_ || !builder_->blockProp())
        return;
    auto scope = guide().scopedChange();
    if (type_ != Type::Fixed)
    {
        // Any other kind links its output into the property, which stays external.
        propValueEnabled_ = enable;
        if (enable)
            setTargetExternal(true);
        return;
    }
    std::vector<float> values;
    if (const auto* fixed = dynamic_cast<const Fixed*>(impl_.get()))
        values = fixed->values();
    else if (const auto* fixedProp = dynamic_cast<const FixedProp*>(impl_.get()))
        values = fixedProp->values();
    values.resize(dimensions(), 0.0f);
    impl_->removeFromEmitter();
    propValueEnabled_ = enable;
    if (enable)
    {
        setTargetExternal(false);
        implReset(std::make_unique<FixedProp>(*builder_, dimensions(), values));
    }
    else
    {
        implReset(std::make_unique<Fixed>(*builder_, dimensions(), values));
    }
    valid_ = true;
}

boost::optional<bool> Value::getFixedStoredOnInitByModelAndType() const
{
    const ValueLevel level = currentLevel();
    if (level < 2)
        return false;
    if (level <= 6)
        return storedOnInit_;
    switch (type_)
    {
    case Type::Random:
    case Type::Graph:
        return true;
    case Type::OverParticleLife:
    case Type::OverParticleTime:
    case Type::Fixed:
        return false;
    default:
        break;
    }
    if (isRandomPointType(type_))
        return true;
    return boost::none;
}

bool Value::isStoredOnInitShown() const { return level_ >= 7 && opt_.storeOnInit_; }

bool Value::isStoredOnInitEnabled() const
{
    return isStoredOnInitShown() && !getFixedStoredOnInitByModelAndType();
}

void Value::changeStoredOnInit(bool stored)
{
    if (stored == storedOnInit_)
        return;
    auto scope = guide().scopedChange();
    storedOnInit_ = stored;
    if (stored)
        createParamIfNecessary(dimensions());
    else
        removeParamIfExists();
    notifyValueChanged();
}

void Value::fixStoredOnInitByModelAndType()
{
    auto scope = guide().scopedChange();
    if (const boost::optional<bool> forced = getFixedStoredOnInitByModelAndType())
        storedOnInit_ = *forced;
    if (storedOnInit_)
        createParamIfNecessary(dimensions());
    else
        removeParamIfExists();
}

void Value::createParamIfNecessary(unsigned int dimensions)
{
    if (!storedOnInit_ || param_ || type_ == Type::Fixed)
        return;
    std::unique_ptr<BlockParamUser> block;
    switch (dimensions)
    {
    case 1:
        block = createParamBlock<float>();
        break;
    case 2:
        block = createParamBlock<glm::vec2>();
        break;
    default:
        DEBUG_ASSERT(dimensions == 3);
        block = createParamBlock<glm::vec3>();
    }
    block->setValueExternal(true);
    if (opt_.storeOnInit_)
        block->setName(opt_.storeOnInit_->name);
    param_ = block->getId();
    addBlock(std::move(block));
}

void Value::removeParamIfExists()
{
    removeBlockIfExists(param_);
    param_ = boost::none;
}

void Value::renameStoredParam(const std::string& name)
{
    if (!opt_.storeOnInit_)
        return;
    auto scope = guide().scopedChange();
    opt_.storeOnInit_->name = name;
    builder_->storeOnInit(name, opt_.storeOnInit_->enabled);
    if (BlockParamUser* param = BlockParamUser::castToThis(findBlock(param_)))
        param->setName(name);
}

void Value::notifyValueChanged()
{
    if (opt_.parentCustomValueId)
        guide().processEvent(EventCustomValueChanged(*opt_.parentCustomValueId));
}

void Value::createImplByCurrentType(const boost::optional<Uuid>& customValueId)
{
    implReset(makeImpl(customValueId));
    afterImplCreated();
}

std::unique_ptr<Value::ValuesBase> Value::makeImpl(const boost::optional<Uuid>& customValueId) const
{
    const ValueBuilder& b = *builder_;
    const unsigned int n = dimensions();
    switch (type_)
    {
    case Type::Fixed:
        if (propValueEnabled())
            return std::make_unique<FixedProp>(b, n);
        return std::make_unique<Fixed>(
            b, n, std::vector<float>(b.fixedValues().begin(), b.fixedValues().begin() + n));
    case Type::Random:
        return std::make_unique<Random>(b, n);
    case Type::Graph:
        return std::make_unique<Graph>(b, n);
    case Type::OverParticleLife:
        return std::make_unique<OverParticleLife>(b, n);
    case Type::OverParticleTime:
        return std::make_unique<OverParticleTime>(b, n);
    case Type::OverParticleSpeed:
        return std::make_unique<OverParticleSpeed>(b, n);
    case Type::OverEmitterTime:
        return std::make_unique<OverEmitterTime>(b, n);
    case Type::OverSystemTime:
        return std::make_unique<OverSystemTime>(b, n);
    case Type::OverCustomValue:
        DEBUG_ASSERT(customValueId);
        return std::make_unique<OverCustomValue>(b, n, *customValueId);
    case Type::CustomValue:
        DEBUG_ASSERT(customValueId);
        return std::make_unique<CustomValue>(b, n, *customValueId);
    case Type::EmitterProperty:
        return std::make_unique<EmitterProperty>(b, n);
    case Type::PointFromPath:
        return std::make_unique<PointFromPath>(b, n);
    case Type::Sphere:
        return std::make_unique<Sphere>(b, n);
    case Type::Circle:
        return std::make_unique<ValueCircle>(b, n);
    case Type::Area:
        return std::make_unique<Area>(b, n);
    case Type::PointBetweenPaths:
        return std::make_unique<PointBetweenPaths>(b, n);
    case Type::ParticlePosition:
        return std::make_unique<ValueParticlePosition>(b, n);
    case Type::EmitterPosition:
        return std::make_unique<ValueEmitterPosition>(b, n);
    }
    DEBUG_ASSERT(false);
    return nullptr;
}

std::unique_ptr<Value::ValuesBase> Value::loadImpl(Sl::RevisionLoader& loader) const
{
    const ValueBuilder& b = *builder_;
    Sl::ScopedLoaderGroup group(loader, 0);
    const unsigned int n = loadDimensions(loader);
    if (!isDimensionAllowed(type_, n) && type_ != Type::CustomValue)
        throw Sl::CorruptedDataException();
    switch (type_)
    {
    case Type::Fixed:
        if (propValueEnabled())
            return std::make_unique<FixedProp>(b, n, loader);
        return std::make_unique<Fixed>(b, n, loader);
    case Type::Random:
        return std::make_unique<Random>(b, n, loader);
    case Type::Graph:
        return std::make_unique<Graph>(b, n, loader);
    case Type::OverParticleLife:
        return std::make_unique<OverParticleLife>(b, n, loader);
    case Type::OverParticleTime:
        return std::make_unique<OverParticleTime>(b, n, loader);
    case Type::OverParticleSpeed:
        return std::make_unique<OverParticleSpeed>(b, n, loader);
    case Type::OverEmitterTime:
        return std::make_unique<OverEmitterTime>(b, n, loader);
    case Type::OverSystemTime:
        return std::make_unique<OverSystemTime>(b, n, loader);
    case Type::OverCustomValue:
        return std::make_unique<OverCustomValue>(b, n, loader);
    case Type::CustomValue:
        return std::make_unique<CustomValue>(b, n, loader);
    case Type::EmitterProperty:
        return std::make_unique<EmitterProperty>(b, n, loader);
    case Type::PointFromPath:
        return std::make_unique<PointFromPath>(b, n, loader);
    case Type::Sphere:
        return std::make_unique<Sphere>(b, n, loader);
    case Type::Circle:
        return std::make_unique<ValueCircle>(b, n, loader);
    case Type::Area:
        return std::make_unique<Area>(b, n, loader);
    case Type::PointBetweenPaths:
        return std::make_unique<PointBetweenPaths>(b, n, loader);
    case Type::ParticlePosition:
        return std::make_unique<ValueParticlePosition>(b, n, loader);
    case Type::EmitterPosition:
        return std::make_unique<ValueEmitterPosition>(b, n, loader);
    }
    throw Sl::CorruptedDataException();
}

void Value::implReset(std::unique_ptr<ValuesBase> impl)
{
    impl_ = std::move(impl);
    impl_->setBuilder(*builder_);
    implId_ = BoostExt::generateUuid();
}

void Value::afterImplCreated()
{
    if (propValueEnabled())
        setTargetExternal(type_ != Type::Fixed);
    createParamIfNecessary(dimensions());
}

Block* Value::targetBlock() const
{
    const boost::optional<ValueBlockProp>& prop = builder_->blockProp();
    return prop ? findBlock(prop->blockId()) : nullptr;
}

boost::optional<BlockConnector> Value::targetConnector() const
{
    const boost::optional<ValueBlockProp>& prop = builder_->blockProp();
    if (!prop)
        return boost::none;
    return findConnector(prop->blockId(), prop->connectorIndex);
}

void Value::setTargetExternal(bool external) const
{
    Block* block = targetBlock();
    if (!block)
        return;
    const std::unique_ptr<FloatsPropChanger> changer = builder_->blockProp()->changer(*block);
    if (changer->isExternal() != external)
        changer->setExternal(external);
}

void Value::linkIfPresent(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                          uint32_t inputIndex) const
{
    if (output && findConnector(inputId, inputIndex))
        link(output, inputId, inputIndex);
}

void Value::linkIfPresent(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                          uint32_t inputIndex) const
{
    linkIfPresent(findConnector(outputId, outputIndex), inputId, inputIndex);
}

void Value::updateFromEmitter()
{
    valid_ = false;
    impl_->updateFromEmitter();
    if (impl_->isValid())
        updateFromEmitterInternal();
}

void Value::updateFromEmitterInternal()
{
    const bool intoTarget = propValueEnabled() && type_ != Type::Fixed;
    const boost::optional<BlockConnector> implConn = impl_->getOutputConnector();
    if (param_)
    {
        if (!implConn || !BlockParamUser::castToThis(findBlock(*param_)))
            return;
        if (!hasLink(implConn, *param_, 0))
            return;
        if (!intoTarget)
        {
            valid_ = true;
            return;
        }
        valid_ = hasLink(findConnector(*param_, 1), builder_->blockProp()->blockId(),
                         builder_->blockProp()->connectorIndex);
        return;
    }
    if (!intoTarget)
    {
        valid_ = true;
        return;
    }
    valid_ =
        hasLink(implConn, builder_->blockProp()->blockId(), builder_->blockProp()->connectorIndex);
}

void Value::fixLinks()
{
    impl_->fixLinks();
    if (!valid_)
        return;
    const bool intoTarget = propValueEnabled() && type_ != Type::Fixed;
    const ValueBlockProp* target = builder_->blockProp().get_ptr();
    // What is missing (a driver elsewhere in the guide that has gone, blocks of a damaged
    // file) stays unlinked until the next update marks the value invalid.
    const boost::optional<BlockConnector> implConn = impl_->getOutputConnector();
    if (param_)
    {
        if (!findBlock(*param_))
            return;
        guide().registerParticleProperty(*param_);
        linkIfPresent(implConn, *param_, 0);
        if (intoTarget)
            linkIfPresent(findConnector(*param_, 1), target->blockId(), target->connectorIndex);
        return;
    }
    if (intoTarget)
        linkIfPresent(implConn, target->blockId(), target->connectorIndex);
}

void Value::removeFromEmitter()
{
    impl_->removeFromEmitter();
    removeParamIfExists();
}

boost::optional<BlockConnector> Value::getOutputConnector() const
{
    if (param_)
        return findConnector(*param_, 1);
    return impl_->getOutputConnector();
}

void Value::processEvent(const Event& event)
{
    if (dynamic_cast<const EventVelocityChanged*>(&event))
    {
        if (type_ == Type::OverParticleSpeed &&
            !guide().positionChange().doesSupportParticleSpeed())
            changeToDefaultOrAvailableType();
    }
    else if (const auto* removed = dynamic_cast<const EventCustomValueRemoved*>(&event))
    {
        if (isCustomValueType(type_) && impl_->customValueId() == removed->id)
            changeToDefaultOrAvailableType();
    }
    else if (const auto* changed = dynamic_cast<const EventCustomValueChanged*>(&event))
    {
        if (isCustomValueType(type_) && impl_->customValueId() == changed->id)
        {
            const ::Plm::Eg::CustomValue* custom = guide().customValues().value(changed->id);
            const bool usable = custom && (type_ == Type::OverCustomValue
                                               ? custom->canValueBeOverThis(*this)
                                               : custom->value().dimensions() == dimensions());
            if (!usable)
                changeToDefaultOrAvailableType();
        }
    }
    else if (const auto* renamed = dynamic_cast<const EventCustomValueRenamed*>(&event))
    {
        if (opt_.parentCustomValueId == renamed->id)
            renameStoredParam(renamed->name);
    }
    else if (dynamic_cast<const EventTerminationChanged*>(&event))
    {
        if (type_ == Type::OverParticleLife && !guide().getNormParticleLifeConnector())
        {
            const std::vector<Type> available = getAllAvailableTypes();
            if (!available.empty())
                changeTypeImpl(available.front(), boost::none);
        }
    }
    impl_->processEvent(event);
}

void Value::collectValues(std::vector<Value*>& values)
{
    values.push_back(this);
    impl_->collectValues(values);
}

bool Value::isDimensionSupported(unsigned int dimensions) const
{
    // A custom value kind leaves for the default type first.
    if (type_ == Type::CustomValue)
        return dimensions >= 1 && dimensions <= 3;
    return isDimensionAllowed(type_, dimensions) && impl_->isDimensionSupported(dimensions);
}

void Value::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    if (type_ == Type::CustomValue)
    {
        const ::Plm::Eg::CustomValue* custom =
            guide().customValues().value(*impl_->customValueId());
        if (!custom || custom->value().dimensions() != dimensions)
            changeToDefaultOrAvailableType();
    }
    impl_->changeDimensions(dimensions);
    removeParamIfExists();
    createParamIfNecessary(dimensions);
}

void Value::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const Value& other = static_cast<const Value&>(source);
    setDimensionsOnLoad(other.dimensions());
    type_ = other.type_;
    propValueEnabled_ = other.propValueEnabled_;
    storedOnInit_ = other.storedOnInit_;
    param_ = reflBlockId(other, other.param_);
    // A custom value renamed in the source names the stored property anew here too.
    opt_ = other.opt_;
    if (opt_.storeOnInit_)
        builder_->storeOnInit(opt_.storeOnInit_->name, opt_.storeOnInit_->enabled);
    makeTheSameKind(impl_, *other.impl_, *builder_);
    impl_->syncReflection(*other.impl_);
    // The same id as the source's, so that a form sees a change of kind on either side.
    implId_ = other.implId_;
    valid_ = other.valid_;
}

void Value::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("value", saver, kValueVersion);
    saver.write("type", static_cast<uint8_t>(type_));
    saver.write("prop_value_enabled", propValueEnabled_);
    impl_->save(saver);
    Sl::write("impl_id", saver, implId_);
    saver.write("stored_on_init", storedOnInit_);
    Sl::write("param", saver, param_);
    saver.write("valid", valid_);
}

}  // namespace Eg
}  // namespace Plm
