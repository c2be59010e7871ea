#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

class Size;

// How the size changes after a particle's birth. Its dimensions follow the size's: 1 for a
// square, 2 for a rectangle. Its twin needs the twin's owner besides the guide, so it has a
// reflect of its own rather than ReflectableBase's.
class SizeChangeBase : public Base
{
public:
    SizeChangeBase(EmitterGuide& guide, const Size& owner, unsigned int dimensions)
        : Base(guide), owner_(owner), dimensions_(dimensions)
    {
    }

    unsigned int dimensions() const { return dimensions_; }
    // Nothing if unchanged.
    void changeDimensions(unsigned int dimensions);
    // The output that the size's chain ends in, which feeds the constructor.
    virtual boost::optional<BlockConnector> getEndConnector() const = 0;
    // The empty twin of this kind, in the guide of a reflected emitter, owned by `owner`.
    virtual std::unique_ptr<SizeChangeBase> reflect(EmitterGuide& guide,
                                                    const Size& owner) const = 0;
    // Takes the dimensions; the kinds take the rest.
    void syncReflection(const Base& source) override;

protected:
    const Size& owner() const { return owner_; }
    virtual void changeDimensionsImpl(unsigned int dimensions) = 0;

private:
    const Size& owner_;
    unsigned int dimensions_;
};

// The size stays the start size.
class SizeChangeNone : public SizeChangeBase
{
public:
    SizeChangeNone(EmitterGuide& guide, const Size& owner, unsigned int dimensions)
        : SizeChangeBase(guide, owner, dimensions)
    {
    }

    bool isValid() const override { return true; }
    void updateFromEmitter() override {}
    void fixLinks() override {}
    void removeFromEmitter() override {}
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // Writes nothing: the kind alone says it all.
    void save(Sl::RevisionSaver&) const override {}
    // The start value's output.
    boost::optional<BlockConnector> getEndConnector() const override;
    std::unique_ptr<SizeChangeBase> reflect(EmitterGuide& guide, const Size& owner) const override;

protected:
    void changeDimensionsImpl(unsigned int) override {}
};

// The start size times a multiplier (by default a curve over the particle's life).
class SizeChangeGraph : public SizeChangeBase
{
public:
    SizeChangeGraph(EmitterGuide& guide, const Size& owner, unsigned int dimensions);
    SizeChangeGraph(EmitterGuide& guide, const Size& owner, unsigned int dimensions,
                    Sl::RevisionLoader& loader);
    SizeChangeGraph(EmitterGuide& guide, const Size& owner, EmptyReflectionTag);
    ~SizeChangeGraph() override;

    MultiValue& value() const { return *value_; }
    const Uuid& expressionBlockId() const { return expr_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The product.
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    boost::optional<BlockConnector> getEndConnector() const override
    {
        return getOutputConnector();
    }
    std::unique_ptr<SizeChangeBase> reflect(EmitterGuide& guide, const Size& owner) const override;
    void syncReflection(const Base& source) override;

    static ValueBuilder createMultiplierBuilder(EmitterGuide& guide);

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;

private:
    void createExpression(unsigned int dimensions);

    bool valid_ = false;
    Uuid expr_{};
    std::unique_ptr<MultiValue> value_;
};

// The size of a particle: a square or a rectangle, a start size and its change.
class Size : public Base
{
public:
    enum Type : uint8_t
    {
        T_Square = 0,
        T_Rect = 1,
    };
    enum ChangeType : uint8_t
    {
        CT_None = 0,
        CT_Multiplier = 1,
    };

    explicit Size(EmitterGuide& guide);
    Size(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin for a reflected emitter's guide: no blocks, no values until synced.
    Size(EmitterGuide& guide, EmptyReflectionTag);
    ~Size() override;

    Type type() const { return type_; }
    // False if unchanged.
    bool changeType(Type type);
    ChangeType getChangeType() const { return changeType_; }
    bool changeChangeType(ChangeType type);
    // 1 for a square, 2 for a rectangle.
    unsigned int dimensions() const { return type_ == T_Rect ? 2 : 1; }

    MultiValue& start() const { return *start_; }
    SizeChangeBase& change() const { return *change_; }

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The end of the chain, which feeds the constructor.
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

    static ValueBuilder createStartBuilder(EmitterGuide& guide);
    // The constructor's size input: 3 for a square, 8 for a rectangle.
    uint32_t constructConnector() const;

private:
    std::unique_ptr<SizeChangeBase> createChange(ChangeType type);

    bool valid_ = false;
    Type type_ = T_Square;
    ChangeType changeType_ = CT_None;
    std::unique_ptr<MultiValue> start_;
    std::unique_ptr<SizeChangeBase> change_;
    bool collapsed_ = false;
};

// A section of one value that lives in a property of the constructor.
class ConstructValueSection : public Base
{
public:
    MultiValue& value() const { return *value_; }

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    // A group, version 2: valid; the value; collapsed.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

protected:
    ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder,
                          unsigned int dimensions);
    ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder,
                          Sl::RevisionLoader& loader);
    // The empty twin: its value, of this builder, has no row until synced.
    ConstructValueSection(EmitterGuide& guide, const ValueBuilder& builder, EmptyReflectionTag);
    ~ConstructValueSection() override;

private:
    bool valid_ = false;
    std::unique_ptr<MultiValue> value_;
    bool collapsed_ = false;
};

// The opacity of a particle, in the constructor's alpha.
class Transparency : public ConstructValueSection
{
public:
    explicit Transparency(EmitterGuide& guide);
    Transparency(EmitterGuide& guide, Sl::RevisionLoader& loader);
    Transparency(EmitterGuide& guide, EmptyReflectionTag);

    static ValueBuilder createBuilder(EmitterGuide& guide);
};

// The colour of a particle, in the constructor's colour.
class Color : public ConstructValueSection
{
public:
    explicit Color(EmitterGuide& guide);
    Color(EmitterGuide& guide, Sl::RevisionLoader& loader);
    Color(EmitterGuide& guide, EmptyReflectionTag);

    static ValueBuilder createBuilder(EmitterGuide& guide);
};

// The whole texture on each sprite.
class TexMappingNone : public ReflectableBase
{
public:
    explicit TexMappingNone(EmitterGuide& guide);
    TexMappingNone(EmitterGuide& guide, Sl::RevisionLoader& loader);
    TexMappingNone(EmitterGuide& guide, EmptyReflectionTag);

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override {}
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

private:
    bool valid_ = false;
};

// One cell of a grid on the texture per sprite, chosen by a frame index.
class TexMappingGrid : public ReflectableBase
{
public:
    explicit TexMappingGrid(EmitterGuide& guide);
    TexMappingGrid(EmitterGuide& guide, Sl::RevisionLoader& loader);
    TexMappingGrid(EmitterGuide& guide, EmptyReflectionTag);
    ~TexMappingGrid() override;

    MultiValue& frameIndex() const { return *value_; }
    // Columns and rows of the grid.
    const Refl<unsigned int>& gridWidth() const { return gridWidth_; }
    const Refl<unsigned int>& gridHeight() const { return gridHeight_; }
    // False if unchanged.
    bool changeGridWidth(unsigned int width);
    bool changeGridHeight(unsigned int height);
    void discardGridWidth();
    void discardGridHeight();

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    static ValueBuilder createFrameIndexBuilder(EmitterGuide& guide);

private:
    bool valid_ = false;
    std::unique_ptr<MultiValue> value_;
    Refl<unsigned int> gridWidth_{1};
    Refl<unsigned int> gridHeight_{1};
};

// How the texture maps onto a sprite.
class TexMapping : public Base
{
public:
    enum Type : uint8_t
    {
        T_None = 0,
        T_Grid = 1,
    };

    struct OldFormTag
    {
    };

    explicit TexMapping(EmitterGuide& guide);
    TexMapping(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // Guides before version 6 kept the mapping as a bool (grid or not) and the variant alone.
    TexMapping(EmitterGuide& guide, Sl::RevisionLoader& loader, OldFormTag);
    TexMapping(EmitterGuide& guide, EmptyReflectionTag);
    ~TexMapping() override;

    Type type() const { return type_; }
    // False if unchanged.
    bool changeType(Type type);
    Base& impl() const { return *impl_; }
    TexMappingGrid* grid() const;

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    std::unique_ptr<ReflectableBase> createImpl(Type type);

    bool valid_ = false;
    Type type_ = T_None;
    std::unique_ptr<ReflectableBase> impl_;
    bool collapsed_ = false;
};

}  // namespace Eg
}  // namespace Plm
