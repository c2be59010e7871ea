#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_prop_changer.h"
#include "plot/path.h"
#include "plot/plot.h"

namespace Plm
{
namespace Eg
{

// How late in a particle's calculation a value stands: 1 the generation, 2 custom values, 3
// the life, 4 the start position, 5 the start velocity, 6 rotation and start size, 7 colour
// and forces, 10 what is read in every frame.
using ValueLevel = int;

// A block property seen as a list of floats, one per component, so that one kind (FixedProp)
// serves float, vec2 and vec3 properties.
using FloatsPropChanger = PropChanger<std::vector<float>>;

// Adapts a changer of a float, vec2 or vec3 property.
template <class T>
class FloatsPropChangerOf : public FloatsPropChanger
{
public:
    explicit FloatsPropChangerOf(std::unique_ptr<PropChanger<T>> inner) : inner_(std::move(inner))
    {
    }
    bool isOverridden() const override { return inner_->isOverridden(); }
    void revert() override { inner_->revert(); }
    bool isPropShared() const override { return inner_->isPropShared(); }
    bool isExternal() const override { return inner_->isExternal(); }
    void setExternal(bool external) override { inner_->setExternal(external); }
    const std::vector<float>& get() const override
    {
        const T& value = inner_->get();
        cache_.assign(reinterpret_cast<const float*>(&value),
                      reinterpret_cast<const float*>(&value) + sizeof(T) / sizeof(float));
        return cache_;
    }
    void set(const std::vector<float>& values) override
    {
        T value{};
        float* out = reinterpret_cast<float*>(&value);
        for (size_t i = 0; i < sizeof(T) / sizeof(float) && i < values.size(); ++i)
            out[i] = values[i];
        inner_->set(value);
    }

private:
    std::unique_ptr<PropChanger<T>> inner_;
    mutable std::vector<float> cache_;
};

// A changer over a property of a block, writing through the block's setter.
template <class T, class F>
std::unique_ptr<FloatsPropChanger> makeFloatsPropChanger(PropBaseTyped<T>& prop, F setter)
{
    return std::make_unique<FloatsPropChangerOf<T>>(makePropChanger(prop, std::move(setter)));
}

// Into which block property a value flows: the block (found by a function, since the section
// may replace it), its input connector, and a changer on the property for the kind that lives
// in the property itself.
struct ValueBlockProp
{
    std::function<Uuid()> blockId;
    uint32_t connectorIndex = 0;
    std::function<std::unique_ptr<FloatsPropChanger>(Block&)> changer;
};

struct StoreOnInit
{
    std::string name;
    bool enabled = false;
};

// What a value keeps besides its kind, so that a change of kind can build the new kind.
struct ValueOptionalData
{
    // Present if the value may be stored in a particle property.
    boost::optional<StoreOnInit> storeOnInit_;
    // For a value inside a custom value.
    boost::optional<Uuid> parentCustomValueId;
    bool shiftDisabled = false;
};

class ValueBuilder;

// One number (or vector) of the form, of one of eighteen kinds. For the kind chosen it builds
// a known sub-graph of blocks, links it into the block that needs the number, recognises it
// after the scheme was edited, and rebuilds it when the kind changes.
class Value : public BaseDimensions
{
public:
    enum class Type : uint8_t
    {
        Fixed = 0,
        Random = 1,
        Graph = 2,
        OverParticleLife = 3,
        OverParticleTime = 4,
        OverParticleSpeed = 5,
        OverEmitterTime = 6,
        OverSystemTime = 7,
        OverCustomValue = 8,
        CustomValue = 9,
        EmitterProperty = 10,
        PointFromPath = 11,
        Sphere = 12,
        Circle = 13,
        Area = 14,
        PointBetweenPaths = 15,
        ParticlePosition = 16,
        EmitterPosition = 17,
    };
    static constexpr unsigned int kNumTypes = 18;
    // "Fixed", "Random", ..., as in the enumeration.
    static const char* typeName(Type type);

    // The kinds' objects.
    class ValuesBase;
    class Fixed;
    class FixedProp;
    class Random;
    class GraphBase;
    class Graph;
    class OverParticleLife;
    class OverParticleTime;
    class OverParticleSpeed;
    class GraphOverGlobalTime;
    class OverEmitterTime;
    class OverSystemTime;
    class OverCustomValue;
    class EmitterProperty;
    class CustomValue;
    // The form values of a kind of several components, with one discard for all.
    template <class T>
    class VectorReflGroup;

    // The record of a type: the level a value must exceed to offer it, and its dimensions.
    static ValueLevel minLevel(Type type);
    static bool isDimensionAllowed(Type type, unsigned int dimensions);

    ~Value() override;

    Type type() const { return type_; }
    Type defaultType() const { return defaultType_; }
    ValueLevel level() const { return level_; }
    // False if `type` is the present type or isn't available.
    bool changeType(Type type);
    void changeToDefaultType();
    bool changeToCustomValueType(const Uuid& customValueId);
    bool changeToOverCustomValueType(const Uuid& customValueId);
    bool isTypeAvailable(Type type) const;
    std::vector<Type> getAllAvailableTypes() const;

    ValuesBase& impl() const { return *impl_; }
    const Uuid& implId() const { return implId_; }
    // The greater of the level and the level of the shift value, if the kind has one.
    ValueLevel currentLevel() const;
    const boost::optional<Uuid>& parentCustomValueId() const { return opt_.parentCustomValueId; }
    const ValueOptionalData& optionalData() const { return opt_; }
    // The defaults from which every kind is built.
    const ValueBuilder& builder() const { return *builder_; }
    // The custom value the present kind reads (CustomValue, OverCustomValue), if any.
    boost::optional<Uuid> customValueId() const;

    bool propValueEnabled() const;
    void enablePropValue(bool enable);

    bool isStoredOnInit() const { return storedOnInit_; }
    bool isStoredOnInitShown() const;
    bool isStoredOnInitEnabled() const;
    boost::optional<bool> getFixedStoredOnInitByModelAndType() const;
    void changeStoredOnInit(bool stored);
    void fixStoredOnInitByModelAndType();
    // The particle property that keeps the value, if it is stored on init.
    const boost::optional<Uuid>& paramId() const { return param_; }
    // Renames the stored particle property (a custom value was renamed).
    void renameStoredParam(const std::string& name);

    // Sends EventCustomValueChanged if the value belongs to a custom value.
    void notifyValueChanged();

    // Base
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The particle property's output if stored on init, else the kind's output.
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

    bool isDimensionSupported(unsigned int dimensions) const override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    friend class ValueBuilder;
    Value(const ValueBuilder& builder, unsigned int dimensions, Type type, bool propValueEnabled);
    Value(const ValueBuilder& builder, unsigned int dimensions, Type type,
          std::unique_ptr<ValuesBase> impl, bool propValueEnabled);
    Value(const ValueBuilder& builder, Sl::RevisionLoader& loader);
    Value(const ValueBuilder& builder, Base::EmptyReflectionTag);

    void createImplByCurrentType(const boost::optional<Uuid>& customValueId);
    std::unique_ptr<ValuesBase> makeImpl(const boost::optional<Uuid>& customValueId) const;
    std::unique_ptr<ValuesBase> loadImpl(Sl::RevisionLoader& loader) const;
    void afterImplCreated();
    void createParamIfNecessary(unsigned int dimensions);
    void removeParamIfExists();
    void implReset(std::unique_ptr<ValuesBase> impl);
    bool changeTypeImpl(Type type, const boost::optional<Uuid>& customValueId);
    // The default type, or the first available one if the default isn't.
    void changeToDefaultOrAvailableType();
    void updateFromEmitterInternal();
    // The target property's block and its input connector, while there is a target.
    Block* targetBlock() const;
    boost::optional<BlockConnector> targetConnector() const;
    void setTargetExternal(bool external) const;
    // Links only when both ends exist: a value read from a damaged file may take itself for
    // valid without its blocks until the next update.
    void linkIfPresent(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                       uint32_t inputIndex) const;
    void linkIfPresent(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                       uint32_t inputIndex) const;

    bool valid_ = false;
    ValueLevel level_ = 0;
    bool propValueEnabled_ = false;
    Type defaultType_ = Type::Fixed;
    Type type_ = Type::Fixed;
    std::unique_ptr<ValuesBase> impl_;
    Uuid implId_{};
    std::unique_ptr<ValueBuilder> builder_;
    ValueOptionalData opt_;
    bool storedOnInit_ = false;
    boost::optional<Uuid> param_;
};

// Everything a value of any kind may need, so that a section states its defaults once and can
// then make a value of any kind at any time.
class ValueBuilder
{
public:
    using Changer = std::function<std::unique_ptr<FloatsPropChanger>(Block&)>;

    ValueBuilder(EmitterGuide& guide, ValueLevel level, Value::Type defaultType);
    ValueBuilder(const ValueBuilder&);
    ValueBuilder& operator=(const ValueBuilder&);
    ~ValueBuilder();

    // Fluent setters.
    ValueBuilder& values(const std::array<float, 3>& values);
    ValueBuilder& randomRanges(const std::array<std::pair<float, float>, 3>& ranges);
    ValueBuilder& curves(const std::array<Plot, 3>& curves);
    ValueBuilder& path(const Path<glm::vec2>& path);
    ValueBuilder& storeOnInit(const std::string& name, bool enabled);
    ValueBuilder& disableShift();
    ValueBuilder& parentCustomValueId(const Uuid& id);
    ValueBuilder& blockProperty(std::function<Uuid()> blockId, uint32_t connectorIndex,
                                Changer changer);
    // The level of a graph's shift; the value's own unless set.
    ValueBuilder& shiftLevel(ValueLevel level);

    // A new value with new blocks.
    std::unique_ptr<Value> build(unsigned int dimensions, Value::Type type,
                                 bool propValueEnabled) const;
    std::unique_ptr<Value> buildDefaultType(unsigned int dimensions, bool propValueEnabled) const;
    // A value around an existing kind object (the migration of old files).
    std::unique_ptr<Value> buildWithImpl(unsigned int dimensions, Value::Type type,
                                         std::unique_ptr<Value::ValuesBase> impl,
                                         bool propValueEnabled) const;
    // A value read from a file.
    std::unique_ptr<Value> buildForLoad(Sl::RevisionLoader& loader) const;
    // The empty twin of `source` in the guide of a reflected emitter, with no kind object and no
    // block until its syncReflection. This builder (not the source's) is the twin's, so that
    // its block functions name the twin's owner.
    std::unique_ptr<Value> reflect(const Value& source) const;

    EmitterGuide& guide() const { return *guide_; }
    ValueLevel level() const { return level_; }
    Value::Type defaultType() const { return defaultType_; }
    const std::array<float, 3>& fixedValues() const { return values_; }
    const std::array<std::pair<float, float>, 3>& ranges() const { return ranges_; }
    const std::array<Plot, 3>& defaultCurves() const { return curves_; }
    const Path<glm::vec2>& defaultPath() const { return path_; }
    const boost::optional<ValueBlockProp>& blockProp() const { return blockProp_; }
    const ValueOptionalData& optionalData() const { return opt_; }
    ValueLevel shiftLevelOrOwn() const { return shiftLevel_ ? *shiftLevel_ : level_; }

private:
    EmitterGuide* guide_;
    ValueLevel level_;
    Value::Type defaultType_;
    std::array<float, 3> values_{{0.0f, 0.0f, 0.0f}};
    std::array<std::pair<float, float>, 3> ranges_{{{0.0f, 1.0f}, {0.0f, 1.0f}, {0.0f, 1.0f}}};
    std::array<Plot, 3> curves_;
    Path<glm::vec2> path_;
    boost::optional<ValueBlockProp> blockProp_;
    ValueOptionalData opt_;
    boost::optional<ValueLevel> shiftLevel_;
};

// A curve of smooth keys joined by linear segments through the (time, value) points: the form
// of most default curves.
Plot makeLinearCurve(const std::vector<std::pair<float, float>>& points);

// One place of the form that takes a value: one or more rows and, with more than one row, an
// expression that combines them.
class MultiValue : public BaseDimensions
{
public:
    static constexpr unsigned int kMaxRows = 26;

    // One row of the builder's default type, living in the target property if there is one.
    MultiValue(EmitterGuide& guide, const ValueBuilder& builder, unsigned int dimensions);
    MultiValue(EmitterGuide& guide, const ValueBuilder& builder, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no row and no block until syncReflection.
    MultiValue(EmitterGuide& guide, const ValueBuilder& builder, Base::EmptyReflectionTag);
    ~MultiValue() override;

    unsigned int numRows() const { return static_cast<unsigned int>(rows_.size()); }
    Value& rowValue(unsigned int index) const;
    const std::string& rowLabel(unsigned int index) const;
    unsigned int rowDimensions(unsigned int index) const;
    const Uuid& rowId(unsigned int index) const;
    void setRowId(unsigned int index, const Uuid& id);
    // Nothing with 26 rows already.
    void addRow(unsigned int dimensions);
    void removeRow(unsigned int index);
    void changeRowDimensions(unsigned int index, unsigned int dimensions);

    bool isExprEnabled() const { return exprEnabled_; }
    void enableExpr(bool enable);
    const std::string& expression() const { return expression_.get(); }
    bool expressionValid() const;
    void changeExpression(const std::string& text);
    const Refl<std::string>& expressionRefl() const { return expression_; }
    void discardExpression();
    const boost::optional<Uuid>& expressionBlockId() const { return expr_; }

    // The builder of new rows; a custom value renames through it.
    ValueBuilder& builder() { return builder_; }
    const ValueBuilder& builder() const { return builder_; }

    // Base
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The rows in the source's order, each keeping its twin (matched by row id), with their
    // labels and dimensions; the expression and its block.
    void syncReflection(const Base& source) override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    struct Row
    {
        Uuid id{};
        std::string label;
        std::unique_ptr<Value> value;
        unsigned int dimensions = 1;
    };

    void createBlockExpr();
    void removeBlockExpr();
    void updateBlockExprInputs();
    // The first of "a" to "z" that no row uses.
    std::string freeLabel() const;
    boost::optional<BlockConnector> targetConnector() const;
    // Links only when both ends exist: a value read from a damaged file may take itself for
    // valid without its blocks until the next update.
    void linkIfPresent(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                       uint32_t inputIndex) const;
    void linkIfPresent(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                       uint32_t inputIndex) const;

    std::vector<Row> rows_;
    ValueBuilder builder_;
    bool exprEnabled_ = false;
    boost::optional<Uuid> expr_;
    Refl<std::string> expression_;
    bool valid_ = false;
};

// A three-component value of its own: the start position, the start velocity, a directed
// force, a custom rotation axis.
class Point : public Base
{
public:
    Point(EmitterGuide& guide, const ValueBuilder& builder);
    Point(EmitterGuide& guide, const ValueBuilder& builder, Sl::RevisionLoader& loader);
    // Around a value made elsewhere (the migration of old files).
    Point(EmitterGuide& guide, const ValueBuilder& builder, std::unique_ptr<MultiValue> value);
    // The empty twin of a reflected emitter's guide: no value until syncReflection.
    Point(EmitterGuide& guide, const ValueBuilder& builder, Base::EmptyReflectionTag);
    ~Point() override;

    MultiValue& value() const { return *value_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    // A group, version 3: valid; the value.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    ValueBuilder builder_;
    std::unique_ptr<MultiValue> value_;
    bool valid_ = false;
};

}  // namespace Eg
}  // namespace Plm
