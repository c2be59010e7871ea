#pragma once

#include <memory>
#include <vector>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

// Where bursts come from: one generator block and the value of its rate (or distance), which
// lives in the generator's property while it is a plain number.
class GenerationBase : public ReflectableBase
{
public:
    static constexpr uint32_t kVersion = 1;

    ~GenerationBase() override;

    const Uuid& getGeneratorBlockId() const { return blockId_; }
    MultiValue& value() const { return *value_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // A group: valid; block id; value.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

protected:
    // Also the empty twin: no block, no value.
    explicit GenerationBase(EmitterGuide& guide);
    // Adds the generator block, then the value that flows into it.
    void createBlocks(std::unique_ptr<Block> block);
    void load(Sl::RevisionLoader& loader);
    // The builder of the value: the defaults of the kind, with the block property filled in.
    virtual ValueBuilder createBuilder() = 0;
    virtual bool isGeneratorBlock(const Block& block) const = 0;

private:
    bool valid_ = false;
    Uuid blockId_{};
    std::unique_ptr<MultiValue> value_;
};

// Bursts at a rate (per second).
class GenerationPeriodic : public GenerationBase
{
public:
    explicit GenerationPeriodic(EmitterGuide& guide);
    GenerationPeriodic(EmitterGuide& guide, Sl::RevisionLoader& loader);
    GenerationPeriodic(EmitterGuide& guide, EmptyReflectionTag);

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

protected:
    ValueBuilder createBuilder() override;
    bool isGeneratorBlock(const Block& block) const override;
};

// Bursts each time the emitter has moved by a distance.
class GenerationDistance : public GenerationBase
{
public:
    explicit GenerationDistance(EmitterGuide& guide);
    GenerationDistance(EmitterGuide& guide, Sl::RevisionLoader& loader);
    GenerationDistance(EmitterGuide& guide, EmptyReflectionTag);

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

protected:
    ValueBuilder createBuilder() override;
    bool isGeneratorBlock(const Block& block) const override;
};

// The section of the form that says how particles are generated.
class Generation : public Base
{
public:
    enum Type : uint8_t
    {
        T_Periodic = 0,
        T_Distance = 1,
    };
    static constexpr uint32_t kVersion = 1;

    explicit Generation(EmitterGuide& guide);
    Generation(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no blocks, no variant.
    Generation(EmitterGuide& guide, EmptyReflectionTag);
    ~Generation() override;

    Type type() const { return type_; }
    // False if `type` is the present type.
    bool changeType(Type type);
    GenerationBase& impl() const { return *impl_; }

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // A group: valid; type; impl; collapsed.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    void createImplByType();

    bool valid_ = false;
    Type type_ = T_Periodic;
    std::unique_ptr<GenerationBase> impl_;
    bool collapsed_ = false;
};

}  // namespace Eg
}  // namespace Plm
