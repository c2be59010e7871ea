#pragma once

#include <memory>
#include <string>
#include <vector>

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_area.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

template <class T>
class Value::VectorReflGroup : public ReflBase
{
public:
    VectorReflGroup() = default;
    explicit VectorReflGroup(std::vector<Refl<T>> items) : items_(std::move(items)) {}

    unsigned int size() const { return static_cast<unsigned int>(items_.size()); }
    const Refl<T>& operator[](unsigned int index) const
    {
        DEBUG_ASSERT(index < items_.size());
        return items_[index];
    }
    Refl<T>& operator[](unsigned int index)
    {
        DEBUG_ASSERT(index < items_.size());
        return items_[index];
    }
    std::vector<Refl<T>>& items() { return items_; }
    const std::vector<Refl<T>>& items() const { return items_; }

    bool isOverridden() const override
    {
        for (const Refl<T>& item : items_)
            if (item.isOverridden())
                return true;
        return false;
    }
    void discardOverride() override
    {
        for (Refl<T>& item : items_)
            item.discardOverride();
    }
    void bake() override
    {
        for (Refl<T>& item : items_)
            item.bake();
    }
    // Item by item, to the source's number of items; the overrides stay.
    void syncBase(const VectorReflGroup& other)
    {
        syncVector(
            items_, other.items_, [](const Refl<T>&) { return Refl<T>(); },
            [](Refl<T>& item, const Refl<T>& source) { item.syncBase(source); });
    }

private:
    std::vector<Refl<T>> items_;
};

// The object of one kind of value: it owns the blocks of the kind, and reads its defaults
// from the builder of the value that owns it.
class Value::ValuesBase : public BaseDimensions
{
public:
    // Each kind writes its own group of this version.
    static constexpr uint32_t kVersion = 7;

    // The empty twin of this kind for the value of a reflected emitter's guide that owns
    // `builder`; its syncReflection fills it.
    virtual std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const = 0;

    virtual Value::Type type() const = 0;
    // The current level of a shift, for the kinds that have one.
    virtual boost::optional<ValueLevel> shiftLevel() const { return boost::none; }
    // The custom value the kind reads, for the kinds that read one.
    virtual boost::optional<Uuid> customValueId() const { return boost::none; }

    const ValueBuilder& builder() const { return *builder_; }
    // The value that takes the object points it at its own builder, which lives as long.
    void setBuilder(const ValueBuilder& builder) { builder_ = &builder; }

protected:
    ValuesBase(const ValueBuilder& builder, unsigned int dimensions);

    void changeDimensionsImpl(unsigned int dimensions) override;
    // The start of a kind's syncReflection: the source as the kind's class, its dimensions
    // taken.
    template <class T>
    const T& syncDimensions(const Base& source)
    {
        DEBUG_ASSERT(typeid(*this) == typeid(source));
        const T& other = static_cast<const T&>(source);
        setDimensionsOnLoad(other.dimensions());
        return other;
    }
    // Opens the kind's group and refuses versions other than the current one.
    static void checkVersion(const Sl::ScopedLoaderGroup& group);
    // Links only when both ends exist: a value read from a damaged file may take itself for
    // valid without its blocks until the next update.
    void linkIfPresent(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                       uint32_t inputIndex) const;
    void linkIfPresent(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                       uint32_t inputIndex) const;

private:
    const ValueBuilder* builder_;
};

// A constant in a distribution block of its own: float, vec2 or vec3 by the dimensions.
class Value::Fixed : public Value::ValuesBase
{
public:
    Fixed(const ValueBuilder& builder, unsigned int dimensions, const std::vector<float>& values);
    Fixed(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    Fixed(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::Fixed; }

    float value(unsigned int index) const { return values_[index].get(); }
    std::vector<float> values() const;
    // False if unchanged.
    bool changeValue(unsigned int index, float value);
    const VectorReflGroup<float>& valueRefl() const { return values_; }
    void discardValueRefl();
    const Uuid& blockId() const { return block_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    void createBlock(unsigned int dimensions, const std::vector<float>& values);

    bool valid_ = false;
    Uuid block_{};
    VectorReflGroup<float> values_;
};

// A constant that lives in the target block's property itself: no block, no link.
class Value::FixedProp : public Value::ValuesBase
{
public:
    // Takes what the property holds.
    FixedProp(const ValueBuilder& builder, unsigned int dimensions);
    // Writes `values` into the property.
    FixedProp(const ValueBuilder& builder, unsigned int dimensions,
              const std::vector<float>& values);
    FixedProp(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    FixedProp(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::Fixed; }
    // Only the property's own dimensions.
    bool isDimensionSupported(unsigned int dimensions) const override
    {
        return dimensions == this->dimensions();
    }

    float value(unsigned int index) const;
    const std::vector<float>& values() const { return values_.get(); }
    bool changeValue(unsigned int index, float value);
    const Refl<std::vector<float>>& valueRefl() const { return values_; }
    void discardValueRefl();

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override {}
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    std::unique_ptr<FloatsPropChanger> changer() const;
    void readFromProp();

    bool valid_ = false;
    Refl<std::vector<float>> values_;
};

// A random number per dimension between a minimum and a maximum.
class Value::Random : public Value::ValuesBase
{
public:
    Random(const ValueBuilder& builder, unsigned int dimensions);
    Random(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    Random(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::Random; }

    float randomMin(unsigned int index) const { return range(index).first.get(); }
    bool changeRandomMin(unsigned int index, float value);
    const Refl<float>& randomMinRefl(unsigned int index) const { return range(index).first; }
    void discardRandomMinRefl(unsigned int index);
    float randomMax(unsigned int index) const { return range(index).second.get(); }
    bool changeRandomMax(unsigned int index, float value);
    const Refl<float>& randomMaxRefl(unsigned int index) const { return range(index).second; }
    void discardRandomMaxRefl(unsigned int index);
    const std::vector<Uuid>& randomBlockIds() const { return blockRandomIds_; }
    // Only with 2 or 3 dimensions.
    const boost::optional<Uuid>& distribBlockId() const { return distrib_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    using Range = std::pair<Refl<float>, Refl<float>>;
    const Range& range(unsigned int index) const
    {
        DEBUG_ASSERT(index < randomRanges_.size());
        return randomRanges_[index];
    }
    void createBlocks(unsigned int dimensions, const std::vector<std::pair<float, float>>& ranges);
    bool changeRangeSide(unsigned int index, bool max, float value);
    void discardRangeSide(unsigned int index, bool max);

    bool valid_ = false;
    std::vector<Uuid> blockRandomIds_;
    boost::optional<Uuid> distrib_;
    std::vector<Range> randomRanges_;
};

// A curve block read at a time that the kind provides (the driver), optionally shifted by a
// random number per particle.
class Value::GraphBase : public Value::ValuesBase
{
public:
    ~GraphBase() override;

    const Uuid& blockGraphId() const { return graph_; }
    const std::vector<Refl<Plot>>& plots() const { return plots_; }
    void discardPlotsRefl();

    // At level 3 and above, unless the builder disables it.
    bool isShiftPossible() const;
    Value* shift() const { return shift_.get(); }
    void enableShift(bool enable);
    const boost::optional<Uuid>& shiftExpressionId() const { return shiftExpr_; }

    boost::optional<ValueLevel> shiftLevel() const override;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The curves and the shift; a kind with blocks of its own syncs them after this.
    void syncReflection(const Base& source) override;

protected:
    // Creates the curves block with the builder's curves.
    GraphBase(const ValueBuilder& builder, unsigned int dimensions);
    // For loading: the kind reads its part, then loadBase.
    struct LoadTag
    {
    };
    GraphBase(const ValueBuilder& builder, unsigned int dimensions, LoadTag);
    GraphBase(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);

    // The time at which the curves are read.
    virtual boost::optional<BlockConnector> driver() const = 0;
    // The kind's own blocks: their shape, their links, their removal, their ids in the file.
    virtual bool updateOwn() { return true; }
    virtual void fixOwnLinks() {}
    virtual void removeOwn() {}
    virtual void saveOwn(Sl::RevisionSaver&) const {}

    void changeDimensionsImpl(unsigned int dimensions) override;
    // The group: the kind's valid and own ids (saveOwn), then the base.
    void saveImpl(Sl::RevisionSaver& saver) const override;
    // Reads the base part of the group that the kind opened.
    void loadBase(Sl::RevisionLoader& loader);

    // The kind's own validity; the object is valid with it and the base's.
    bool ownValid_ = false;

private:
    ValueBuilder shiftBuilder() const;

    bool valid_ = false;
    bool baseValid_ = false;
    Uuid graph_{};
    std::vector<Refl<Plot>> plots_;
    std::unique_ptr<Value> shift_;
    boost::optional<Uuid> shiftExpr_;
};

// A curve read at a random time of its own.
class Value::Graph : public Value::GraphBase
{
public:
    Graph(const ValueBuilder& builder, unsigned int dimensions);
    Graph(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    Graph(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    Value::Type type() const override { return Value::Type::Graph; }
    const Uuid& randomBlockId() const { return random_; }

protected:
    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
    void removeOwn() override;
    void saveOwn(Sl::RevisionSaver& saver) const override;

private:
    Uuid random_{};
};

// A curve over the particle's normalised age.
class Value::OverParticleLife : public Value::GraphBase
{
public:
    OverParticleLife(const ValueBuilder& builder, unsigned int dimensions);
    OverParticleLife(const ValueBuilder& builder, unsigned int dimensions,
                     Sl::RevisionLoader& loader);
    OverParticleLife(const ValueBuilder& builder, unsigned int dimensions,
                     Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    Value::Type type() const override { return Value::Type::OverParticleLife; }

protected:
    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
};

// A curve over the particle's time (the guide's particle-time block).
class Value::OverParticleTime : public Value::GraphBase
{
public:
    OverParticleTime(const ValueBuilder& builder, unsigned int dimensions);
    OverParticleTime(const ValueBuilder& builder, unsigned int dimensions,
                     Sl::RevisionLoader& loader);
    OverParticleTime(const ValueBuilder& builder, unsigned int dimensions,
                     Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    Value::Type type() const override { return Value::Type::OverParticleTime; }

protected:
    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
};

// A curve over the particle's speed: the length of the velocity.
class Value::OverParticleSpeed : public Value::GraphBase
{
public:
    OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions);
    OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions,
                      Sl::RevisionLoader& loader);
    OverParticleSpeed(const ValueBuilder& builder, unsigned int dimensions,
                      Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    Value::Type type() const override { return Value::Type::OverParticleSpeed; }
    const Uuid& expressionBlockId() const { return expr_; }

protected:
    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
    void fixOwnLinks() override;
    void removeOwn() override;
    void saveOwn(Sl::RevisionSaver& saver) const override;

private:
    Uuid expr_{};
};

// A curve over a time that a block shared by the guide gives: requested with the kind, released
// with it.
class Value::GraphOverGlobalTime : public Value::GraphBase
{
public:
    const Uuid& timeBlockId() const { return time_; }
    void syncReflection(const Base& source) override;

protected:
    // The guide's shared block of this time, and its kind.
    struct Global
    {
        Uuid (EmitterGuide::*request)();
        void (EmitterGuide::*release)();
        bool (*isKind)(const Block* block);
    };

    GraphOverGlobalTime(const ValueBuilder& builder, unsigned int dimensions, const Global& global);
    GraphOverGlobalTime(const ValueBuilder& builder, unsigned int dimensions, const Global& global,
                        Sl::RevisionLoader& loader);
    GraphOverGlobalTime(const ValueBuilder& builder, unsigned int dimensions, const Global& global,
                        Base::EmptyReflectionTag);

    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
    void removeOwn() override;
    void saveOwn(Sl::RevisionSaver& saver) const override;

private:
    Global global_;
    Uuid time_{};
};

// A curve over the emitter's time (a shared global block).
class Value::OverEmitterTime : public Value::GraphOverGlobalTime
{
public:
    OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions);
    OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions,
                    Sl::RevisionLoader& loader);
    OverEmitterTime(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    Value::Type type() const override { return Value::Type::OverEmitterTime; }

private:
    static const Global kGlobal;
};

// A curve over the effect's time (a shared global block).
class Value::OverSystemTime : public Value::GraphOverGlobalTime
{
public:
    OverSystemTime(const ValueBuilder& builder, unsigned int dimensions);
    OverSystemTime(const ValueBuilder& builder, unsigned int dimensions,
                   Sl::RevisionLoader& loader);
    OverSystemTime(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    Value::Type type() const override { return Value::Type::OverSystemTime; }

private:
    static const Global kGlobal;
};

// A curve read at the value of a custom value of one dimension.
class Value::OverCustomValue : public Value::GraphBase
{
public:
    OverCustomValue(const ValueBuilder& builder, unsigned int dimensions,
                    const Uuid& customValueId);
    OverCustomValue(const ValueBuilder& builder, unsigned int dimensions,
                    Sl::RevisionLoader& loader);
    OverCustomValue(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    Value::Type type() const override { return Value::Type::OverCustomValue; }
    boost::optional<Uuid> customValueId() const override { return customValue_; }

protected:
    boost::optional<BlockConnector> driver() const override;
    bool updateOwn() override;
    void saveOwn(Sl::RevisionSaver& saver) const override;

private:
    Uuid customValue_{};
};

// A global parameter that the host application sets on the emitter at run time.
class Value::EmitterProperty : public Value::ValuesBase
{
public:
    EmitterProperty(const ValueBuilder& builder, unsigned int dimensions);
    EmitterProperty(const ValueBuilder& builder, unsigned int dimensions,
                    Sl::RevisionLoader& loader);
    EmitterProperty(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::EmitterProperty; }

    float value(unsigned int index) const;
    bool changeValue(unsigned int index, float value);
    const Refl<std::vector<float>>& valueRefl() const { return values_; }
    void discardValueRefl();
    const std::string& name() const { return name_.get(); }
    void changeName(const std::string& name);
    const Refl<std::string>& nameRefl() const { return name_; }
    void discardNameRefl();
    const Uuid& blockId() const { return block_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    void createBlock(unsigned int dimensions, const std::vector<float>& values,
                     const std::string& name);
    void readFromBlock();

    bool valid_ = false;
    Uuid block_{};
    Refl<std::vector<float>> values_;
    Refl<std::string> name_;
};

// The value of a custom value, as it is: no block of its own.
class Value::CustomValue : public Value::ValuesBase
{
public:
    CustomValue(const ValueBuilder& builder, unsigned int dimensions, const Uuid& customValueId);
    CustomValue(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    CustomValue(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::CustomValue; }
    boost::optional<Uuid> customValueId() const override { return customValue_; }
    // The custom value's own dimensions only.
    bool isDimensionSupported(unsigned int dimensions) const override;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override {}
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void changeDimensionsImpl(unsigned int) override {}
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid customValue_{};
};

// The point kinds: three dimensions only.

// A point on a path drawn by the user, at a place (0 to 1 along the path) given by a value.
class PointFromPath : public Value::ValuesBase
{
public:
    PointFromPath(const ValueBuilder& builder, unsigned int dimensions);
    PointFromPath(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    PointFromPath(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    ~PointFromPath() override;

    Value::Type type() const override { return Value::Type::PointFromPath; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    // Where on the path the point lies.
    MultiValue& distrib() const { return *distrib_; }
    const Uuid& pathBlockId() const { return path_; }
    const Refl<Path<glm::vec2>>& pathRefl() const { return pathRefl_; }
    void discardPathRefl();
    // The path's direction at the point.
    boost::optional<BlockConnector> getDirectionConnector() const;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid path_{};
    Uuid conv_{};
    Refl<Path<glm::vec2>> pathRefl_;
    std::unique_ptr<MultiValue> distrib_;
};

// A random point in a sphere of a radius given by a value.
class Sphere : public Value::ValuesBase
{
public:
    Sphere(const ValueBuilder& builder, unsigned int dimensions);
    Sphere(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    Sphere(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    ~Sphere() override;

    Value::Type type() const override { return Value::Type::Sphere; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    MultiValue& propsRadius() const { return *radius_; }
    const Uuid& randomBlockId() const { return random_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid random_{};
    std::unique_ptr<MultiValue> radius_;
};

// A random point in a circle of the XY plane, of a radius given by a value.
class ValueCircle : public Value::ValuesBase
{
public:
    ValueCircle(const ValueBuilder& builder, unsigned int dimensions);
    ValueCircle(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    ValueCircle(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;
    ~ValueCircle() override;

    Value::Type type() const override { return Value::Type::Circle; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    MultiValue& propsRadius() const { return *radius_; }
    const Uuid& randomBlockId() const { return random_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid random_{};
    Uuid conv_{};
    std::unique_ptr<MultiValue> radius_;
};

// A random point of a painted area, picked with a probability that follows the paint.
class Area : public Value::ValuesBase
{
public:
    Area(const ValueBuilder& builder, unsigned int dimensions);
    Area(const ValueBuilder& builder, unsigned int dimensions, Sl::RevisionLoader& loader);
    Area(const ValueBuilder& builder, unsigned int dimensions, Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::Area; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    const Uuid& areaBlockId() const { return area_; }
    const Refl<::Plm::Area>& areaRefl() const { return areaRefl_; }
    void disacardArea();

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid random_{};
    Uuid area_{};
    Uuid conv_{};
    Refl<::Plm::Area> areaRefl_;
};

// A random point between two paths: one random place along both, one random blend.
class PointBetweenPaths : public Value::ValuesBase
{
public:
    PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions);
    PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions,
                      Sl::RevisionLoader& loader);
    PointBetweenPaths(const ValueBuilder& builder, unsigned int dimensions,
                      Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::PointBetweenPaths; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    const Uuid& path0BlockId() const { return path0_; }
    const Uuid& path1BlockId() const { return path1_; }
    const Refl<Path<glm::vec2>>& path0Refl() const { return path0Refl_; }
    const Refl<Path<glm::vec2>>& path1Refl() const { return path1Refl_; }
    void discardPath0Refl();
    void discardPath1Refl();

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid randomA_{};
    Uuid randomB_{};
    Uuid path0_{};
    Uuid path1_{};
    Uuid lerp_{};
    Uuid conv_{};
    Refl<Path<glm::vec2>> path0Refl_;
    Refl<Path<glm::vec2>> path1Refl_;
};

// The particle's start position: no block of its own.
class ValueParticlePosition : public Value::ValuesBase
{
public:
    ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions);
    ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions,
                          Sl::RevisionLoader& loader);
    ValueParticlePosition(const ValueBuilder& builder, unsigned int dimensions,
                          Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::ParticlePosition; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override {}
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
};

// The emitter's position (a shared global block).
class ValueEmitterPosition : public Value::ValuesBase
{
public:
    ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions);
    ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions,
                         Sl::RevisionLoader& loader);
    ValueEmitterPosition(const ValueBuilder& builder, unsigned int dimensions,
                         Base::EmptyReflectionTag);
    std::unique_ptr<ValuesBase> reflect(const ValueBuilder& builder) const override;
    void syncReflection(const Base& source) override;

    Value::Type type() const override { return Value::Type::EmitterPosition; }
    bool isDimensionSupported(unsigned int dimensions) const override { return dimensions == 3; }
    const Uuid& positionBlockId() const { return block_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;

protected:
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    bool valid_ = false;
    Uuid block_{};
};

}  // namespace Eg
}  // namespace Plm
