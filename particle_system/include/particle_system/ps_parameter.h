#pragma once

#include <cstddef>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

// A particle property: in the init chain it stores its input in the particle's data, where the
// value stays with the particle; a Ps::ParameterUpdater<T> may overwrite it in each frame.
// Output: the value (particle data).
template <class T>
class Parameter final : public Operation
{
public:
    struct Data
    {
        const T* input;
    };
    struct DynData
    {
        T value;
    };

    Parameter(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
        : Operation(sizeof(Data), sizeof(DynData), 1, allocator),
          output_(*this, offsetof(DynData, value))
    {
        input_ = factory.loadExternalInput<T>(loader, allocator);
        registerOutput(output_);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        return Allocator::checkedSize(static_cast<uint64>(computeDataPoolSize(1)) +
                                      EmitterFactory::skipExternal(loader));
    }

    void initEmitterData(EmitterInst& inst) override
    {
        static_cast<Data*>(inst.getVoidPtrStaticData(*this))->input = input_->getPtr(inst);
    }

    void process(EmitterInst& inst, float) override
    {
        const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
        static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->value = *data.input;
    }

private:
    const InputDesc<T>* input_ = nullptr;
    DynamicOutputDesc<T> output_;
};

// Overwrites the particle data of an earlier parameter-like operation ("parameter", the index of
// that operation) with its input, in the update chain.
template <class T>
class ParameterUpdater final : public Operation
{
public:
    struct Data
    {
        const T* input;
        T* target;
    };

    ParameterUpdater(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
        : Operation(sizeof(Data), 0, 0, allocator)
    {
        const uint32 parameterIndex = readU8(loader);
        parameter_ = &factory.getOperation(parameterIndex);
        // The target is a parameter of type T, which keeps its value at the start of its particle
        // data.
        const bool targetIsParameterOfType =
            isParameterOfType(factory.getOperationFactoryType(parameterIndex));
        DEBUG_ASSERT(targetIsParameterOfType);
        DEBUG_ASSERT(parameter_->getParticleDataSize() >= sizeof(T));
        input_ = factory.loadInput<T>(loader);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        loader.skipUint8();
        EmitterFactory::skipInput(loader);
        return computeDataPoolSize(0);
    }

    void initEmitterData(EmitterInst& inst) override
    {
        Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
        data.input = input_->getPtr(inst);
        data.target = static_cast<T*>(inst.getVoidPtrDynamicData(*parameter_));
    }

    void process(EmitterInst& inst, float) override
    {
        const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
        *data.target = *data.input;
    }

    const Operation& getParameter() const { return *parameter_; }

    // The operations that keep a particle value of T: Ps::Parameter<T> and, for float and vec3,
    // the lifetime and the position and velocity initers.
    static bool isParameterOfType(EnumOperationFactories type)
    {
        if (type == OF_ParameterFloat + ValueTypeOf<T>::value)
            return true;
        if constexpr (ValueTypeOf<T>::value == VT_Float)
            return type == OF_ParameterLifetime;
        if constexpr (ValueTypeOf<T>::value == VT_Vec3)
            return type == OF_ParameterPositionIniter || type == OF_ParameterVelocityIniter;
        return false;
    }

private:
    const Operation* parameter_ = nullptr;
    const InputDesc<T>* input_ = nullptr;
};

// The particle's age: 0 at birth, grown by each step's dt. Output: float (particle data).
class ParameterLifetime final : public Operation
{
public:
    struct DynData
    {
        float value;
    };

    ParameterLifetime(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initParticleData(EmitterInst& inst) override;
    void process(EmitterInst& inst, float dt) override;

private:
    DynamicOutputDesc<float> output_;
};

// The start position of a particle: its position at birth plus the input, turned by the
// emitter's rotation if asked. It doesn't write the particle's position. Output: vec3.
class ParameterPositionIniter final : public Operation
{
public:
    struct Data
    {
        const glm::vec3* init;
    };
    struct DynData
    {
        glm::vec3 value;
    };

    ParameterPositionIniter(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void process(EmitterInst& inst, float dt) override;

private:
    bool applyRotation_ = false;
    const InputDesc<glm::vec3>* init_ = nullptr;
    DynamicOutputDesc<glm::vec3> output_;
};

// Writes its input into the particle's position (Ps::ParticleInfo), which the renderer, the
// sort and the attached emitters see.
class ParameterPositionUpdater final : public Operation
{
public:
    struct Data
    {
        const glm::vec3* position;
    };

    ParameterPositionUpdater(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void process(EmitterInst& inst, float dt) override;

private:
    const InputDesc<glm::vec3>* position_ = nullptr;
};

// The start velocity of a particle: the input, turned by the emitter's rotation if asked, plus
// the emitter's velocity if asked. Output: vec3.
class ParameterVelocityIniter final : public Operation
{
public:
    struct Data
    {
        const glm::vec3* init;
    };
    struct DynData
    {
        glm::vec3 value;
    };

    ParameterVelocityIniter(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void process(EmitterInst& inst, float dt) override;

private:
    const InputDesc<glm::vec3>* init_ = nullptr;
    bool addEmitterVelocity_ = false;
    bool applyRotation_ = false;
    DynamicOutputDesc<glm::vec3> output_;
};

}  // namespace Ps
