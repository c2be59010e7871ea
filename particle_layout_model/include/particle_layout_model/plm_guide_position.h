#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <glm/vec3.hpp>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

// Where a particle starts: a point value flowing into the position parameter.
class PositionStart : public Base
{
public:
    enum Type : uint8_t
    {
        T_Point = 0,
    };
    static constexpr uint32_t kVersion = 3;

    explicit PositionStart(EmitterGuide& guide);
    PositionStart(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no blocks, no point.
    PositionStart(EmitterGuide& guide, EmptyReflectionTag);
    ~PositionStart() override;

    Type type() const { return type_; }
    const Uuid& positionBlockId() const { return blockPositionId_; }
    Point& point() const { return *point_; }

    const Refl<bool>& applyEmitterRotation() const { return applyEmitterRotation_; }
    void enableApplyEmitterRotation(bool enable);
    void discardApplyEmitterRotation();

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    static ValueBuilder createPointValueBuilder(EmitterGuide& guide);

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The position parameter's output.
    boost::optional<BlockConnector> getOutputConnector() const override;
    // A group: valid; block id; type; point; the apply-rotation flag; collapsed.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    bool valid_ = false;
    Type type_ = T_Point;
    Uuid blockPositionId_{};
    std::unique_ptr<Point> point_;
    Refl<bool> applyEmitterRotation_;
    bool collapsed_ = false;
};

// The velocity a particle starts with: a point value flowing into the velocity parameter.
class VelocityStart : public Base
{
public:
    enum Type : uint8_t
    {
        // A new section: a random direction in a sphere.
        T_Sphere = 0,
        T_Fixed = 1,
    };
    static constexpr uint32_t kVersion = 3;

    explicit VelocityStart(EmitterGuide& guide);
    VelocityStart(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin: no block, no point.
    VelocityStart(EmitterGuide& guide, EmptyReflectionTag);
    ~VelocityStart() override;

    Type type() const { return type_; }
    // Builds the point anew from the defaults of the type; false if unchanged.
    bool changeType(Type type);
    const Uuid& velocityBlockId() const { return blockVelocityId_; }
    Point& point() const { return *point_; }

    const Refl<bool>& emitterAddition() const { return emitterAddition_; }
    void enableEmitterAddition(bool enable);
    void discardEmitterAddition();
    const Refl<bool>& applyEmitterRotation() const { return applyEmitterRotation_; }
    void enableApplyEmitterRotation(bool enable);
    void discardApplyEmitterRotation();

    // On load: removes a velocity parameter that an older file kept apart from this object.
    void fixVelocityPropertyOwned(const Uuid& id);

    static ValueBuilder createSphereValueBuilder(EmitterGuide& guide);
    static ValueBuilder createFixedValueBuilder(EmitterGuide& guide);

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // The velocity parameter's output: the particle's present velocity.
    boost::optional<BlockConnector> getOutputConnector() const override;
    // A group: valid; type; block id; point; the two flags.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // A change of type in the source makes the point anew, from the builder of the new type.
    void syncReflection(const Base& source) override;

private:
    void initSphereType();
    void initFixedType();

    bool valid_ = false;
    Type type_ = T_Sphere;
    Uuid blockVelocityId_{};
    std::unique_ptr<Point> point_;
    Refl<bool> emitterAddition_;
    Refl<bool> applyEmitterRotation_;
};

// The turbulence force: noise of the particle's position, scaled by a value.
class NoiseFromPosition : public Base
{
public:
    static constexpr uint32_t kVersion = 3;

    explicit NoiseFromPosition(EmitterGuide& guide);
    NoiseFromPosition(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin: no block, no scale.
    NoiseFromPosition(EmitterGuide& guide, EmptyReflectionTag);
    ~NoiseFromPosition() override;

    const Uuid& noiseBlockId() const { return blockNoiseId_; }
    MultiValue& scale() const { return *scale_; }

    const Refl<float>& smoothness() const { return smoothness_; }
    void setSmoothness(float value);
    void discardSmoothness();
    const Refl<glm::vec3>& animation() const { return animation_; }
    void setAnimation(const glm::vec3& value);
    void discardAnimation();

    static ValueBuilder createScaleValueBuilder(EmitterGuide& guide, std::function<Uuid()> blockId);

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    // Feeds the particle's position into the noise unless the user linked something else.
    void fixLinks() override;
    void removeFromEmitter() override;
    // The noise block's output.
    boost::optional<BlockConnector> getOutputConnector() const override;
    // A group: valid; block id; smoothness; scale; animation.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    bool valid_ = false;
    Uuid blockNoiseId_{};
    Refl<float> smoothness_;
    std::unique_ptr<MultiValue> scale_;
    Refl<glm::vec3> animation_;
};

// How particles move after their start: the variants of the movement section.
class PositionChangeBase : public ReflectableBase
{
public:
    using ReflectableBase::ReflectableBase;

    virtual boost::optional<BlockConnector> getPositionConnector() const = 0;
    virtual boost::optional<BlockConnector> getVelocityConnector() const = 0;
    virtual bool doesSupportParticleSpeed() const = 0;
    // Removes the variant's blocks but hands its start velocity back, if it has one, so that
    // the next variant can take it over; without one the same as removeFromEmitter.
    virtual std::unique_ptr<VelocityStart> removeFromEmitterKeepingVelocity();

    boost::optional<BlockConnector> getOutputConnector() const override
    {
        return getPositionConnector();
    }
};

// Particles stay where they start.
class PositionChangeNone : public PositionChangeBase
{
public:
    static constexpr uint32_t kVersion = 0;

    explicit PositionChangeNone(EmitterGuide& guide);
    PositionChangeNone(EmitterGuide& guide, Sl::RevisionLoader& loader);
    PositionChangeNone(EmitterGuide& guide, EmptyReflectionTag);

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    boost::optional<BlockConnector> getPositionConnector() const override;
    boost::optional<BlockConnector> getVelocityConnector() const override { return boost::none; }
    bool doesSupportParticleSpeed() const override { return false; }

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override {}
    void removeFromEmitter() override {}
    // A group: valid.
    void save(Sl::RevisionSaver& saver) const override;
    void syncReflection(const Base& source) override;

private:
    bool valid_ = false;
};

// Particles fly with their start velocity.
class PositionChangeSteady : public PositionChangeBase
{
public:
    static constexpr uint32_t kVersion = 1;

    PositionChangeSteady(EmitterGuide& guide, std::unique_ptr<VelocityStart> velocity);
    PositionChangeSteady(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin: no block, no velocity.
    PositionChangeSteady(EmitterGuide& guide, EmptyReflectionTag);
    ~PositionChangeSteady() override;

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    VelocityStart& velocity() const { return *velocity_; }
    const Uuid& updaterBlockId() const { return blockUpdaterId_; }
    const Uuid& moveBlockId() const { return blockMoveId_; }

    boost::optional<BlockConnector> getPositionConnector() const override;
    boost::optional<BlockConnector> getVelocityConnector() const override;
    bool doesSupportParticleSpeed() const override { return true; }
    std::unique_ptr<VelocityStart> removeFromEmitterKeepingVelocity() override;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // A group: valid; updater id; move id; velocity.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    void removeOwnBlocks();

    bool valid_ = false;
    Uuid blockUpdaterId_{};
    Uuid blockMoveId_{};
    std::unique_ptr<VelocityStart> velocity_;
};

// Particles fly under forces and air resistance.
class PositionChangeForces : public PositionChangeBase
{
public:
    enum ForceType : uint8_t
    {
        // A force of a direction and strength: a point value.
        FT_Direction = 0,
        // 1 is a kind that files no longer hold.
        // Turbulence: noise of the particle's position.
        FT_Noise = 2,
    };
    static constexpr uint32_t kVersion = 4;
    static constexpr uint32_t kForceVersion = 0;

    PositionChangeForces(EmitterGuide& guide, std::unique_ptr<VelocityStart> velocity);
    PositionChangeForces(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin: no block, no velocity, no force.
    PositionChangeForces(EmitterGuide& guide, EmptyReflectionTag);
    ~PositionChangeForces() override;

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    VelocityStart& velocity() const { return *velocity_; }
    const Uuid& positionUpdaterBlockId() const { return blockPositionUpdaterId_; }
    const Uuid& velocityUpdaterBlockId() const { return blockVelocityUpdaterId_; }
    const Uuid& forceMoveBlockId() const { return blockForceMoveId_; }
    MultiValue& airResistance() const { return *airResistance_; }

    unsigned numForces() const { return static_cast<unsigned>(forces_.size()); }
    ForceType forceType(unsigned index) const;
    Base& force(unsigned index) const;
    void addForce(ForceType type);
    void removeForce(unsigned index);
    // New at each addForce and removeForce, by which the form sees the list change.
    const Uuid& forcesGuid() const { return forcesGuid_; }

    static ValueBuilder createDirectForceValueBuilder(EmitterGuide& guide);
    static ValueBuilder createAirResistanceValueBuilder(EmitterGuide& guide,
                                                        std::function<Uuid()> blockId);

    boost::optional<BlockConnector> getPositionConnector() const override;
    boost::optional<BlockConnector> getVelocityConnector() const override;
    bool doesSupportParticleSpeed() const override { return true; }
    std::unique_ptr<VelocityStart> removeFromEmitterKeepingVelocity() override;

    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // A group: valid; three block ids; velocity; count of forces and each a group with the
    // type and value; the forces' guid; air resistance.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The forces follow the source's by position; one of another type is made anew.
    void syncReflection(const Base& source) override;

private:
    struct Force
    {
        ForceType type = FT_Direction;
        std::unique_ptr<Base> value;
    };

    std::unique_ptr<Base> createForce(ForceType type);
    std::unique_ptr<Base> createForceTwin(ForceType type);
    // Sets the count on the block and clears what stood on the inputs that have gone.
    void syncNumForces();
    void removeOwnBlocks();

    bool valid_ = false;
    Uuid blockPositionUpdaterId_{};
    Uuid blockVelocityUpdaterId_{};
    Uuid blockForceMoveId_{};
    std::unique_ptr<VelocityStart> velocity_;
    std::vector<Force> forces_;
    Uuid forcesGuid_{};
    std::unique_ptr<MultiValue> airResistance_;
};

// Particles follow a path from their start position.
class PositionChangePath : public PositionChangeBase
{
public:
    static constexpr uint32_t kVersion = 3;

    explicit PositionChangePath(EmitterGuide& guide);
    PositionChangePath(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin: no block, no point.
    PositionChangePath(EmitterGuide& guide, EmptyReflectionTag);
    ~PositionChangePath() override;

    std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const override;

    Point& point() const { return *point_; }
    const Uuid& expressionBlockId() const { return blockExprId_; }
    const Uuid& conversionBlockId() const { return blockConvId_; }

    bool applyEmitterRotation() const { return applyEmitterRotation_; }
    // Turns the path with the emitter's rotation at the particle's birth.
    void enableApplyEmitterRotation(bool enable);

    static ValueBuilder createPathValueBuilder(EmitterGuide& guide);

    boost::optional<BlockConnector> getPositionConnector() const override;
    boost::optional<BlockConnector> getVelocityConnector() const override;
    bool doesSupportParticleSpeed() const override { return false; }

    // Adds the rotation parameter to a guide saved before it existed.
    void postLoad() override;
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    // A group: valid; point; expression id; conversion id; apply-rotation flag; the four
    // rotation ids.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The shared emitter rotation is only mapped: the guide takes the source's counts of it.
    void syncReflection(const Base& source) override;

private:
    // The direction along the path (a 2D vector), while the point is a single path row.
    boost::optional<BlockConnector> getPathDirectionConnector() const;
    void createRotationBlocks();
    void removeRotationBlocks();
    bool areRotationBlocksValid() const;

    bool valid_ = false;
    std::unique_ptr<Point> point_;
    Uuid blockExprId_{};
    Uuid blockConvId_{};
    bool applyEmitterRotation_ = false;
    // The shared emitter rotation, the "Emitter rot." parameter, and the transforms of the
    // point and of the direction.
    boost::optional<Uuid> blockEmitterRotId_;
    boost::optional<Uuid> blockRotParamId_;
    boost::optional<Uuid> blockTransformPointId_;
    boost::optional<Uuid> blockTransformDirId_;
};

// The section of the form that says how particles move.
class PositionChange : public Base
{
public:
    enum Type : uint8_t
    {
        T_None = 0,
        T_Path = 1,
        T_Steady = 2,
        T_Forces = 3,
    };
    static constexpr uint32_t kVersion = 1;

    explicit PositionChange(EmitterGuide& guide);
    PositionChange(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no blocks, no variant.
    PositionChange(EmitterGuide& guide, EmptyReflectionTag);
    ~PositionChange() override;

    Type type() const { return type_; }
    // False if the section is invalid or `type` is the present type. The start velocity
    // survives a switch between Steady and Forces.
    bool changeType(Type type);
    PositionChangeBase& impl() const { return *impl_; }

    boost::optional<BlockConnector> getPositionConnector() const;
    boost::optional<BlockConnector> getVelocityConnector() const;
    bool doesSupportParticleSpeed() const;

    // The start velocity kept between variants: the saved one, else a new one.
    std::unique_ptr<VelocityStart> retrieveVelocity();
    void releaseVelocity(std::unique_ptr<VelocityStart> velocity);

    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }

    void postLoad() override;
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override
    {
        return getPositionConnector();
    }
    // A group: valid; type; impl; collapsed.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    void syncReflection(const Base& source) override;

private:
    void createImplByType();

    bool valid_ = false;
    Type type_ = T_Steady;
    std::unique_ptr<PositionChangeBase> impl_;
    std::unique_ptr<VelocityStart> velocityStart_;
    bool collapsed_ = false;
};

}  // namespace Eg
}  // namespace Plm
