#pragma once

#include <memory>
#include <vector>

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"
#include "plot/path.h"

namespace Plm
{
namespace Eg
{

enum class TerminationType : uint8_t
{
    MaxLife = 0,
    Path = 1,
};

// One way a particle ends. Each terminator has an id of its own, by which the form follows it
// through changes of the list.
class TerminationBase : public ReflectableBase
{
public:
    static constexpr uint32_t kVersion = 0;

    virtual TerminationType type() const = 0;
    const Uuid& id() const { return id_; }

    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // The id; the kinds add their own state.
    void syncReflection(const Base& source) override;

protected:
    // A new id.
    explicit TerminationBase(EmitterGuide& guide);
    // The empty twin: a nil id until synced.
    TerminationBase(EmitterGuide& guide, EmptyReflectionTag);
    // Reads the group written by saveBase.
    TerminationBase(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // A group: id.
    void saveBase(Sl::RevisionSaver& saver) const;

private:
    Uuid id_{};
};

// The life time as guides kept it before the list of terminators: the section's validity, the
// value and the terminator block. The age expression's id stood with the particle time.
struct OldMaxLifeData
{
    bool valid = false;
    std::unique_ptr<MultiValue> value;
    Uuid terminatorId{};
};

// Ends a particle when its age reaches the maximal life, and gives the normalised age (0 to 1)
// that values over the particle's life read.
class TerminationMaxLife : public TerminationBase
{
public:
    static constexpr uint32_t kVersion = 0;
    static constexpr const char* kExpression = "a / b";

    explicit TerminationMaxLife(EmitterGuide& guide);
    TerminationMaxLife(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // Around the blocks of an old guide; a new id.
    TerminationMaxLife(EmitterGuide& guide, OldMaxLifeData data, const Uuid& expressionId);
    TerminationMaxLife(EmitterGuide& guide, EmptyReflectionTag);
    ~TerminationMaxLife() override;

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    TerminationType type() const override { return TerminationType::MaxLife; }
    // The age divided by the life: the expression's output.
    boost::optional<BlockConnector> getNormTimeConnector() const;
    MultiValue& value() const { return *value_; }
    const Uuid& terminatorBlockId() const { return blockTermId_; }
    const Uuid& expressionBlockId() const { return blockExprId_; }

    static ValueBuilder createValueBuilder(EmitterGuide& guide);

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The base; then a group: valid; the two block ids; value.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    bool valid_ = false;
    Uuid blockTermId_{};
    Uuid blockExprId_{};
    std::unique_ptr<MultiValue> value_;
};

// Ends a particle that crosses a path drawn in the plane.
class TerminationPath : public TerminationBase
{
public:
    static constexpr uint32_t kVersion = 0;

    explicit TerminationPath(EmitterGuide& guide);
    TerminationPath(EmitterGuide& guide, Sl::RevisionLoader& loader);
    TerminationPath(EmitterGuide& guide, EmptyReflectionTag);

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    TerminationType type() const override { return TerminationType::Path; }
    const Uuid& blockId() const { return blockId_; }
    // The path editor works on the block; the form only shows the path.
    const Refl<Path<glm::vec2>>& pathRefl() const { return path_; }
    void discardPathRefl();

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override;
    // The base; then a group: valid; block id; a group with the path.
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;

private:
    bool valid_ = false;
    Uuid blockId_{};
    Refl<Path<glm::vec2>> path_;
};

// The section of the form that says how particles end: a list of terminators, of which the
// first to fire ends the particle.
class Termination : public Base
{
public:
    static constexpr uint32_t kVersion = 1;
    // More terminators than this in a file is damaged data.
    static constexpr unsigned int kMaxTerminators = 1024;

    // An empty list: the new guide adds its terminator once all sections exist.
    explicit Termination(EmitterGuide& guide);
    Termination(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no terminators.
    Termination(EmitterGuide& guide, EmptyReflectionTag);
    ~Termination() override;

    // Guides before version 5: a group of the validity, the life value and the terminator id.
    static OldMaxLifeData loadOldMaxLife(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // A list of one max-life terminator around the old data.
    static std::unique_ptr<Termination>
    createFromOldMaxLifeData(EmitterGuide& guide, OldMaxLifeData data, const Uuid& expressionId);

    unsigned numTerminators() const { return static_cast<unsigned>(terminators_.size()); }
    TerminationBase& terminator(unsigned index) const;
    unsigned countTerminators(TerminationType type) const;
    // Both send EventTerminationChanged once the graph is linked again.
    void addTerminator(TerminationType type);
    void removeTerminator(unsigned index);
    // New at each change of the list, by which the form sees the list change.
    const Uuid& terminatorsGuid() const { return terminatorsGuid_; }

    // Valid while every terminator is; each terminator also gives up on its own.
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // A group: valid; count; for each: kind, its save; the list's guid.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // Follows the source's terminators by their ids, so that a terminator keeps its overrides
    // when another one is added or removed before it.
    void syncReflection(const Base& source) override;

private:
    static std::unique_ptr<TerminationBase> create(EmitterGuide& guide, TerminationType type);

    bool valid_ = true;
    std::vector<std::unique_ptr<TerminationBase>> terminators_;
    Uuid terminatorsGuid_{};
};

}  // namespace Eg
}  // namespace Plm
