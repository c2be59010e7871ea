#pragma once

#include <cstddef>
#include <optional>

#include <glm/fwd.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class Allocator;
class EmitterInst;
class Mesh;
struct TextureFrame;

// The value types that flow between operations.
enum EnumValueType : uint8
{
    VT_Float = 0,
    VT_Vec2 = 1,
    VT_Vec3 = 2,
    VT_Quat = 3,
};

template <class T>
struct ValueTypeOf;
template <>
struct ValueTypeOf<float>
{
    static constexpr EnumValueType value = VT_Float;
};
template <>
struct ValueTypeOf<glm::vec2>
{
    static constexpr EnumValueType value = VT_Vec2;
};
template <>
struct ValueTypeOf<glm::vec3>
{
    static constexpr EnumValueType value = VT_Vec3;
};
template <>
struct ValueTypeOf<glm::quat>
{
    static constexpr EnumValueType value = VT_Quat;
};

// Anything an operation can read: an output of an operation, or a constant. The value type is
// kept so that the reader can refuse an input of the wrong type when an effect is loaded.
class Connection
{
public:
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    virtual const void* getVoidPtr(EmitterInst& inst) const = 0;

    EnumValueType getValueType() const { return valueType_; }

protected:
    explicit Connection(EnumValueType valueType) : valueType_(valueType) {}
    ~Connection() = default;

private:
    EnumValueType valueType_;
};

// A typed connection. Operations keep their inputs as `const InputDesc<T>*` and resolve them to
// raw addresses once per instance, in initEmitterData.
template <class T>
class InputDesc : public Connection
{
public:
    virtual const T* getPtr(EmitterInst& inst) const = 0;
    const void* getVoidPtr(EmitterInst& inst) const final { return getPtr(inst); }

protected:
    InputDesc() : Connection(ValueTypeOf<T>::value) {}
    ~InputDesc() = default;
};

// Base of all operations. An operation holds no run-time state: its state lives in the emitter
// data of each instance (its `Data` record) and in the particle data of each particle (its
// `DynData` record), at displacements settled when the emitter is built.
//
// Objects live in the effect's pool and are never destroyed.
class Operation
{
public:
    Operation(uint32 emitterDataSize, uint32 particleDataSize, uint32 maxOutputs,
              Allocator& allocator);
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    virtual void initEmitterData(EmitterInst&) {}
    virtual void initParticleData(EmitterInst&) {}
    virtual void process(EmitterInst&, float /*dt*/) {}
    virtual void onParticleTerminated(EmitterInst&) {}

    // Pool bytes that the constructor takes for the table of outputs.
    static uint32 computeDataPoolSize(uint32 maxOutputs);

    void registerOutput(const Connection& output);

    uint32 getEmitterDataSize() const { return emitterDataSize_; }
    uint32 getParticleDataSize() const { return particleDataSize_; }
    uint32 getNumOutputs() const { return numOutputs_; }
    uint32 getMaxOutputs() const { return maxOutputs_; }
    const Connection& getOutput(uint32 i) const
    {
        DEBUG_ASSERT(i < numOutputs_);
        return *outputs_[i];
    }

    std::optional<uint32> getEmitterDataDisplace() const
    {
        return hasEmitterDataDisplace_ ? std::optional<uint32>(emitterDataOffset_) : std::nullopt;
    }
    std::optional<uint32> getParticleDataDisplace() const
    {
        return hasParticleDataDisplace_ ? std::optional<uint32>(particleDataOffset_) : std::nullopt;
    }
    void setEmitterDataDisplace(uint32 v);
    void setParticleDataDisplace(uint32 v);

    // The entry of the runtime's table of operation factories that made the operation (a value
    // of Ps::EnumOperationFactories), or kNoFactoryType for one made otherwise (the constants of
    // inputs). The walk of the update runs the simplest kinds without a virtual call, reading
    // the `Data` records those kinds keep (see EmitterInst::WalkProgram).
    static constexpr uint8 kNoFactoryType = 0xFF;
    uint8 getFactoryType() const { return factoryType_; }
    // Called once, by the factory that made the operation.
    void setFactoryType(uint8 type) { factoryType_ = type; }

    // The displacements as plain offsets (0 when there is none), for the address arithmetic of
    // the instance.
    uint32 getEmitterDataOffset() const { return emitterDataOffset_; }
    uint32 getParticleDataOffset() const { return particleDataOffset_; }

protected:
    ~Operation() = default;

    // For operations whose data size depends on fields read after the base is constructed (lists
    // of inputs): may be changed until the emitter is built.
    void setEmitterDataSize(uint32 size);
    void setParticleDataSize(uint32 size);

private:
    uint32 emitterDataSize_;
    uint32 particleDataSize_;
    uint32 emitterDataOffset_ = 0;
    uint32 particleDataOffset_ = 0;
    uint32 numOutputs_ = 0;
    uint32 maxOutputs_;
    bool hasEmitterDataDisplace_ = false;
    bool hasParticleDataDisplace_ = false;
    uint8 factoryType_ = kNoFactoryType;
    const Connection** outputs_;
};

// An output that lives in the operation's `Data` record (emitter data) at a fixed offset. Usually
// a member of the operation, registered in its constructor.
template <class T>
class StaticOutputDesc final : public InputDesc<T>
{
public:
    StaticOutputDesc(const Operation& operation, uint32 offset)
        : operation_(operation), offset_(offset)
    {
    }
    const T* getPtr(EmitterInst& inst) const override;

private:
    const Operation& operation_;
    uint32 offset_;
};

// An output that lives in the operation's `DynData` record (particle data, seen through the
// instance's working area) at a fixed offset.
template <class T>
class DynamicOutputDesc final : public InputDesc<T>
{
public:
    DynamicOutputDesc(const Operation& operation, uint32 offset)
        : operation_(operation), offset_(offset)
    {
    }
    const T* getPtr(EmitterInst& inst) const override;

private:
    const Operation& operation_;
    uint32 offset_;
};

// The operation that decides when particles are born; also the clock of its instance.
class Generator : public Operation
{
public:
    using Operation::Operation;
    // `position` and `rotation` are where the emitter must stand at the end of the step.
    virtual void processGenerate(EmitterInst& inst, const glm::vec3& position,
                                 const glm::quat& rotation, float dt) = 0;

protected:
    ~Generator() = default;
};

// Decides when a particle ends.
class Terminator : public Operation
{
public:
    using Operation::Operation;
    virtual bool processTerminator(EmitterInst& inst, float dt) = 0;

protected:
    ~Terminator() = default;
};

// Turns particles into triangles of one of the system instance's meshes.
class Constructor : public Operation
{
public:
    Constructor(uint32 emitterDataSize, uint32 particleDataSize, uint32 meshIndex,
                uint32 renderStyleIndex, Allocator& allocator);

    virtual bool hasPreProcess() const { return false; }
    virtual void preProcess(EmitterInst&, const glm::mat3& /*camera*/) {}
    virtual void processConstruct(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera,
                                  const TextureFrame& frame) = 0;

    uint32 getMeshIndex() const { return meshIndex_; }
    uint32 getRenderStyleIndex() const { return renderStyleIndex_; }

protected:
    ~Constructor() = default;

    // For readers that meet the two indices among their fields.
    void setMeshIndex(uint32 meshIndex) { meshIndex_ = meshIndex; }
    void setRenderStyleIndex(uint32 renderStyleIndex) { renderStyleIndex_ = renderStyleIndex; }

private:
    uint32 meshIndex_;
    uint32 renderStyleIndex_;
};

}  // namespace Ps
