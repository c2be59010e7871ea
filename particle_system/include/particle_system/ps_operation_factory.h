#pragma once

#include <optional>
#include <type_traits>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// The "factory" byte of an operation in a compiled effect: the index in the context's table of
// operation factories (src/ps_operation_factories.cpp).
enum EnumOperationFactories : uint8
{
    OF_GeneratorPeriodic = 0,
    OF_GeneratorDistance = 1,
    OF_TerminatorLess = 2,
    OF_TerminatorPath = 3,
    OF_ConstructorQuads = 4,
    OF_ConstructorStrip = 5,
    OF_GlobParamFloat = 6,
    OF_GlobParamVec2 = 7,
    OF_GlobParamVec3 = 8,
    OF_GlobParamQuat = 9,
    OF_GlobEmitterPos = 10,
    OF_GlobEmitterDir = 11,
    OF_GlobEmitterRot = 12,
    OF_GlobTime = 13,
    OF_GlobSystemTime = 14,
    OF_GlobNumParticles = 15,
    OF_ParameterPositionIniter = 16,
    OF_ParameterPositionUpdater = 17,
    OF_ParameterVelocityIniter = 18,
    OF_ParameterFloat = 19,
    OF_ParameterVec2 = 20,
    OF_ParameterVec3 = 21,
    OF_ParameterQuat = 22,
    OF_ParameterLifetime = 23,
    OF_ParameterEmitter = 24,
    OF_ParameterEmitterIniter = 25,
    OF_ParameterEmitterParamFloat = 26,
    OF_ParameterEmitterParamVec2 = 27,
    OF_ParameterEmitterParamVec3 = 28,
    OF_ParameterEmitterParamQuat = 29,
    OF_ParameterUpdaterFloat = 30,
    OF_ParameterUpdaterVec2 = 31,
    OF_ParameterUpdaterVec3 = 32,
    OF_ParameterUpdaterQuat = 33,
    OF_FuncDistribFloat = 34,
    OF_FuncDistribVec2 = 35,
    OF_FuncDistribVec3 = 36,
    OF_FuncDistribQuat = 37,
    OF_FuncDirectionVec2 = 38,
    OF_FuncDirectionVec3 = 39,
    OF_FuncLerpFloat = 40,
    OF_FuncLerpVec2 = 41,
    OF_FuncLerpVec3 = 42,
    OF_FuncCurvesFloat = 43,
    OF_FuncCurvesVec2 = 44,
    OF_FuncCurvesVec3 = 45,
    OF_FuncNoise3 = 46,
    OF_FuncPathVec2 = 47,
    OF_FuncPathVec3 = 48,
    OF_FuncExpression = 49,
    OF_FuncArea = 50,
    OF_FuncRandom = 51,
    OF_FuncRotationAxis = 52,
    OF_FuncRotationFromAxes = 53,
    OF_FuncAxisFromRotation = 54,
    OF_FuncSplitVec2 = 55,
    OF_FuncSplitVec3 = 56,
    OF_FuncJoinVec2 = 57,
    OF_FuncJoinVec3 = 58,
    OF_FuncRandomVec2 = 59,
    OF_FuncRandomVec3 = 60,
    OF_FuncForceMoveVec2 = 61,
    OF_FuncForceMoveVec3 = 62,
    OF_FuncConv2to3 = 63,
    OF_FuncMoveFloat = 64,
    OF_FuncMoveVec2 = 65,
    OF_FuncMoveVec3 = 66,
    OF_FuncRot2Vec = 67,
    OF_FuncTransfer3 = 68,
    OF_FuncRotate3 = 69,
    OF_FuncStoreFloat = 70,
    OF_FuncStoreVec2 = 71,
    OF_FuncStoreVec3 = 72,
    OF_FuncStoreQuat = 73,
    OF_FuncTransform = 74,
    OF_FuncVec2Rot = 75,
    OF_Count = 76,
};

// The special slots of an emitter that an operation can fill.
enum EnumOperationSpecialType : uint8
{
    OST_Generator = 0,
    OST_Terminator = 1,
    OST_Constructor = 2,
};

// Reads one operation of a compiled effect. The emitter factory has read the "factory" byte and
// opened the operation's group; the factory reads exactly the fields of its operation.
// computePoolSize must pass over the same fields and count exactly the pool bytes that
// createOperation allocates, or the effect's pool is wrong.
class OperationFactory
{
public:
    OperationFactory() = default;
    OperationFactory(const OperationFactory&) = delete;
    OperationFactory& operator=(const OperationFactory&) = delete;
    // Factories live in the context's pool and are never destroyed through this base; the
    // destructor is virtual only so that the other operations follow it in the table of slots.
    virtual ~OperationFactory() = default;

    virtual std::optional<EnumOperationSpecialType> getSpecialType() const = 0;
    virtual Operation* createOperation(Sl::Loader& loader, EmitterFactory& emitterFactory,
                                       Allocator& allocator) const = 0;
    virtual uint32 computePoolSize(Sl::Loader& loader) const = 0;
};

// The usual factory. T provides:
//   T(Sl::Loader&, EmitterFactory&, Allocator&)   reads the fields, allocates what they need;
//   static uint32 computePoolSize(Sl::Loader&)     passes over the same fields and returns the
//                                                  pool bytes the constructor allocates (beyond
//                                                  the object itself, which is added here).
// Inputs are read with EmitterFactory::loadInput / loadExternalInput and passed over with
// EmitterFactory::skipInput / skipExternal (whose result, the size of a constant, must be
// added). Sizes are counted with Allocator::aligned. The special type follows from T's base
// class (Generator, Terminator, Constructor).
template <class T>
class OperationFactoryTyped final : public OperationFactory
{
public:
    std::optional<EnumOperationSpecialType> getSpecialType() const override
    {
        if constexpr (std::is_base_of_v<Generator, T>)
            return OST_Generator;
        else if constexpr (std::is_base_of_v<Terminator, T>)
            return OST_Terminator;
        else if constexpr (std::is_base_of_v<Constructor, T>)
            return OST_Constructor;
        else
            return std::nullopt;
    }

    // `type`: the entry of the table that this factory fills, recorded in each operation it
    // makes (Operation::getFactoryType).
    explicit OperationFactoryTyped(uint8 type = Operation::kNoFactoryType) : type_(type) {}

    Operation* createOperation(Sl::Loader& loader, EmitterFactory& emitterFactory,
                               Allocator& allocator) const override
    {
        T* op = allocator.create<T>(loader, emitterFactory, allocator);
        op->setFactoryType(type_);
        return op;
    }

    uint32 computePoolSize(Sl::Loader& loader) const override
    {
        return Allocator::checkedSize(static_cast<uint64>(Allocator::aligned(sizeof(T))) +
                                      T::computePoolSize(loader));
    }

private:
    uint8 type_;
};

}  // namespace Ps
