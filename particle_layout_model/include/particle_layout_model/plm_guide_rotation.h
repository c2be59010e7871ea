#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <glm/vec3.hpp>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

class RotationControlled;

// An input connector: the block and the connector index.
struct InputTarget
{
    Uuid blockId{};
    uint32_t index = 0;
};

// How the angle of a controlled rotation changes after a particle's birth. Its twin needs the
// twin's owner besides the guide, so it has a reflect of its own rather than ReflectableBase's.
class RotationChangeBase : public Base
{
public:
    RotationChangeBase(EmitterGuide& guide, const RotationControlled& owner)
        : Base(guide), owner_(owner)
    {
    }

    // The empty twin of this kind, in the guide of a reflected emitter, owned by `owner`.
    virtual std::unique_ptr<RotationChangeBase> reflect(EmitterGuide& guide,
                                                        const RotationControlled& owner) const = 0;

    // The connector that drives the input the angle would feed, if this change replaces the
    // angle there.
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }

protected:
    const RotationControlled& owner() const { return owner_; }

private:
    const RotationControlled& owner_;
};

// The angle stays as it was at birth.
class RotationChangeNone : public RotationChangeBase
{
public:
    RotationChangeNone(EmitterGuide& guide, const RotationControlled& owner)
        : RotationChangeBase(guide, owner)
    {
    }

    bool isValid() const override { return true; }
    void updateFromEmitter() override {}
    void fixLinks() override {}
    void removeFromEmitter() override {}
    // Writes nothing: the kind alone says it all.
    void save(Sl::RevisionSaver&) const override {}
    void syncReflection(const Base&) override {}
    std::unique_ptr<RotationChangeBase> reflect(EmitterGuide& guide,
                                                const RotationControlled& owner) const override;
};

// The angle parameter turns at a speed: a move block updates the parameter every frame.
class RotationChangeSteady : public RotationChangeBase
{
public:
    RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner);
    RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner,
                         Sl::RevisionLoader& loader);
    RotationChangeSteady(EmitterGuide& guide, const RotationControlled& owner, EmptyReflectionTag);
    ~RotationChangeSteady() override;

    // Degrees per second.
    MultiValue& speed() const { return *value_; }
    const Uuid& updaterBlockId() const { return updater_; }
    const Uuid& moveBlockId() const { return move_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<RotationChangeBase> reflect(EmitterGuide& guide,
                                                const RotationControlled& owner) const override;

    static ValueBuilder createSpeedBuilder(EmitterGuide& guide, std::function<Uuid()> moveId);

private:
    bool valid_ = false;
    Uuid updater_{};
    Uuid move_{};
    std::unique_ptr<MultiValue> value_;
};

// The angle is the start angle plus a value (by default a curve over the particle's life).
class RotationChangeGraph : public RotationChangeBase
{
public:
    RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner);
    RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner,
                        Sl::RevisionLoader& loader);
    RotationChangeGraph(EmitterGuide& guide, const RotationControlled& owner, EmptyReflectionTag);
    ~RotationChangeGraph() override;

    MultiValue& value() const { return *value_; }
    const Uuid& expressionBlockId() const { return expr_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The sum, which feeds the input the angle would feed.
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<RotationChangeBase> reflect(EmitterGuide& guide,
                                                const RotationControlled& owner) const override;

    static ValueBuilder createValueBuilder(EmitterGuide& guide);

private:
    bool valid_ = false;
    Uuid expr_{};
    std::unique_ptr<MultiValue> value_;
};

// A random axis per particle: a random vector kept in a particle parameter at birth.
class RotationAxisRandom : public ReflectableBase
{
public:
    explicit RotationAxisRandom(EmitterGuide& guide);
    RotationAxisRandom(EmitterGuide& guide, Sl::RevisionLoader& loader);
    RotationAxisRandom(EmitterGuide& guide, EmptyReflectionTag);

    const Uuid& randomBlockId() const { return random_; }
    const Uuid& paramBlockId() const { return param_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The parameter's value.
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

private:
    bool valid_ = false;
    Uuid random_{};
    Uuid param_{};
};

// The angle of a particle, held in a particle parameter "Angle": around the view axis (faced)
// or around an axis of its own (free).
class RotationControlled : public ReflectableBase
{
public:
    enum Type : uint8_t
    {
        T_Faced = 0,
        T_Free = 1,
    };
    enum ChangeType : uint8_t
    {
        CT_None = 0,
        CT_Steady = 1,
        CT_Graph = 2,
    };
    enum AxisType : uint8_t
    {
        AT_Fixed = 0,
        AT_Random = 1,
    };

    explicit RotationControlled(EmitterGuide& guide);
    RotationControlled(EmitterGuide& guide, Sl::RevisionLoader& loader);
    RotationControlled(EmitterGuide& guide, EmptyReflectionTag);
    ~RotationControlled() override;

    Type type() const { return type_; }
    // False if unchanged.
    bool changeType(Type type);
    ChangeType getChangeType() const { return changeType_; }
    bool changeChangeType(ChangeType type);
    AxisType axisType() const { return axisType_; }
    bool changeAxisType(AxisType type);

    // The start angle, in degrees.
    MultiValue& startAngle() const { return *value_; }
    RotationChangeBase& change() const { return *change_; }
    // The axis object while free: a Point (AT_Fixed) or a RotationAxisRandom.
    Base* axis() const { return axis_.get(); }
    Point* fixedAxis() const;
    RotationAxisRandom* randomAxis() const;
    const Uuid& angleBlockId() const { return angle_; }
    const boost::optional<Uuid>& axisBlockId() const { return axisBlock_; }

    // The angle parameter's value.
    boost::optional<BlockConnector> getAngleConnector() const;
    // The input that the angle feeds: the constructor's faced rotation, or the angle of the
    // axis block while free.
    InputTarget angleTarget() const;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    static ValueBuilder createAngleBuilder(EmitterGuide& guide, std::function<Uuid()> angleId);
    static ValueBuilder createFixedAxisBuilder(EmitterGuide& guide);

private:
    void setupConstructor() const;
    void createAxisByType();
    void removeAxis();
    void syncAxis(const Base* source);
    std::unique_ptr<RotationChangeBase> createChange(ChangeType type);
    std::unique_ptr<RotationChangeBase> loadChange(ChangeType type, Sl::RevisionLoader& loader);

    bool valid_ = false;
    Type type_ = T_Faced;
    ChangeType changeType_ = CT_None;
    AxisType axisType_ = AT_Random;
    Uuid angle_{};
    std::unique_ptr<MultiValue> value_;
    std::unique_ptr<RotationChangeBase> change_;
    // While free: the rotation-axis block and the axis object.
    boost::optional<Uuid> axisBlock_;
    std::unique_ptr<Base> axis_;
};

// The rotation follows the velocity and keeps facing the view: the first axis is the view
// axis, the velocity gives the second.
class RotationVelocityFaced : public ReflectableBase
{
public:
    enum SoftAxis : uint8_t
    {
        SA_X = 0,
        SA_Y = 1,
    };

    explicit RotationVelocityFaced(EmitterGuide& guide);
    RotationVelocityFaced(EmitterGuide& guide, Sl::RevisionLoader& loader);
    RotationVelocityFaced(EmitterGuide& guide, EmptyReflectionTag);

    // Which axis of the sprite follows the velocity.
    const Refl<unsigned char>& softAxis() const { return softAxis_; }
    bool setSoftAxis(SoftAxis axis);
    void discardSoftAxis();
    const Uuid& blockId() const { return block_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

private:
    void setupAxes() const;

    bool valid_ = false;
    Refl<unsigned char> softAxis_{SA_X};
    Uuid block_{};
};

// The rotation follows the velocity freely in space: the velocity gives the first axis, a
// constant "soft" axis the second.
class RotationVelocityFree : public ReflectableBase
{
public:
    // The axis that follows the velocity, then the one nearest to the soft axis.
    enum Type : uint8_t
    {
        T_XY = 0,
        T_XZ = 1,
        T_YX = 2,
        T_YZ = 3,
        T_ZX = 4,
        T_ZY = 5,
    };
    static constexpr unsigned int kNumTypes = 6;
    // "X + Y", "X + Z", ...
    static const char* typeLabel(Type type);

    explicit RotationVelocityFree(EmitterGuide& guide);
    RotationVelocityFree(EmitterGuide& guide, Sl::RevisionLoader& loader);
    RotationVelocityFree(EmitterGuide& guide, EmptyReflectionTag);

    Type type() const { return type_; }
    bool changeType(Type type);
    const Refl<glm::vec3>& softAxis() const { return softAxis_; }
    bool setSoftAxis(const glm::vec3& axis);
    void discardSoftAxis();
    const Uuid& blockId() const { return block_; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;
    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

private:
    void setupAxes();

    bool valid_ = false;
    Type type_ = T_XY;
    Refl<glm::vec3> softAxis_{glm::vec3(0.0f, 1.0f, 0.0f)};
    Uuid block_{};
};

// The rotation section: a controlled angle, or a rotation by the velocity.
class Rotation : public Base
{
public:
    enum Type : uint8_t
    {
        T_Controlled = 0,
        T_VelocityFaced = 1,
        T_VelocityFree = 2,
    };

    explicit Rotation(EmitterGuide& guide);
    Rotation(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin for a reflected emitter's guide: no blocks, no kind object until synced.
    Rotation(EmitterGuide& guide, EmptyReflectionTag);
    ~Rotation() override;

    Type type() const { return type_; }
    // False if unchanged, or for a kind by the velocity while there is no velocity.
    bool changeType(Type type);
    // The particles have a velocity to follow.
    bool areVelocityTypesPossible() const;

    Base& impl() const { return *impl_; }
    RotationControlled* controlled() const;
    RotationVelocityFaced* velocityFaced() const;
    RotationVelocityFree* velocityFree() const;

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
    Type type_ = T_Controlled;
    std::unique_ptr<ReflectableBase> impl_;
    bool collapsed_ = false;
};

}  // namespace Eg
}  // namespace Plm
