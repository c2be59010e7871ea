// The table of operation factories, indexed by Ps::EnumOperationFactories: the "factory" byte of
// an operation in a compiled effect selects the entry.
//
// To add an operation: include its header below and replace its `notBuilt(OF_X)` line by
//     op<YourOperation>(OF_X),
// where YourOperation fits Ps::OperationFactoryTyped (ps_operation_factory.h): a constructor
// (Sl::Loader&, EmitterFactory&, Allocator&) and a static computePoolSize(Sl::Loader&).
// The entries stay in the order of the enum; a check at start-up verifies it.

#include "ps_operation_factories.h"

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/constructors/ps_constructor_strip.h"
#include "particle_system/functions/ps_func_area.h"
#include "particle_system/functions/ps_func_basic.h"
#include "particle_system/functions/ps_func_curves.h"
#include "particle_system/functions/ps_func_distrib.h"
#include "particle_system/functions/ps_func_expression.h"
#include "particle_system/functions/ps_func_force_move.h"
#include "particle_system/functions/ps_func_noise3.h"
#include "particle_system/functions/ps_func_path.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_generator_distance.h"
#include "particle_system/ps_generator_periodic.h"
#include "particle_system/ps_glob_param.h"
#include "particle_system/ps_glob_values.h"
#include "particle_system/ps_parameter.h"
#include "particle_system/ps_parameter_emitter.h"
#include "particle_system/ps_terminator_less.h"
#include "particle_system/ps_terminator_path.h"

namespace Ps
{

namespace
{

using glm::quat;
using glm::vec2;
using glm::vec3;

// Stands for an operation whose reader isn't part of the runtime yet: an effect that uses it
// can't be loaded.
class [[maybe_unused]] OperationFactoryNotBuilt final : public OperationFactory
{
public:
    std::optional<EnumOperationSpecialType> getSpecialType() const override { return std::nullopt; }
    Operation* createOperation(Sl::Loader&, EmitterFactory&, Allocator&) const override
    {
        const bool operationFactoryIsBuilt = false;
        DEBUG_ASSERT(operationFactoryIsBuilt);
        return nullptr;
    }
    uint32 computePoolSize(Sl::Loader&) const override
    {
        const bool operationFactoryIsBuilt = false;
        DEBUG_ASSERT(operationFactoryIsBuilt);
        return 0;
    }
};

struct TableEntry
{
    EnumOperationFactories type;
    uint32 size;
    const OperationFactory* (*place)(Allocator&, EnumOperationFactories);
};

template <class Factory>
const OperationFactory* placeFactory(Allocator& allocator, EnumOperationFactories type)
{
    return allocator.create<Factory>(type);
}

[[maybe_unused]] const OperationFactory* placeNotBuilt(Allocator& allocator, EnumOperationFactories)
{
    return allocator.create<OperationFactoryNotBuilt>();
}

template <class Op>
constexpr TableEntry op(EnumOperationFactories type)
{
    return {type, sizeof(OperationFactoryTyped<Op>), &placeFactory<OperationFactoryTyped<Op>>};
}

[[maybe_unused]] constexpr TableEntry notBuilt(EnumOperationFactories type)
{
    return {type, sizeof(OperationFactoryNotBuilt), &placeNotBuilt};
}

const TableEntry kTable[] = {
    op<GeneratorPeriodic>(OF_GeneratorPeriodic),
    op<GeneratorDistance>(OF_GeneratorDistance),
    op<TerminatorLess>(OF_TerminatorLess),
    op<TerminatorPath>(OF_TerminatorPath),
    op<ConstructorQuads>(OF_ConstructorQuads),
    op<ConstructorStrip>(OF_ConstructorStrip),
    op<GlobParam<float>>(OF_GlobParamFloat),
    op<GlobParam<vec2>>(OF_GlobParamVec2),
    op<GlobParam<vec3>>(OF_GlobParamVec3),
    op<GlobParam<quat>>(OF_GlobParamQuat),
    op<GlobEmitterPos>(OF_GlobEmitterPos),
    op<GlobEmitterDir>(OF_GlobEmitterDir),
    op<GlobEmitterRot>(OF_GlobEmitterRot),
    op<GlobTime>(OF_GlobTime),
    op<GlobSystemTime>(OF_GlobSystemTime),
    op<GlobNumParticles>(OF_GlobNumParticles),
    op<ParameterPositionIniter>(OF_ParameterPositionIniter),
    op<ParameterPositionUpdater>(OF_ParameterPositionUpdater),
    op<ParameterVelocityIniter>(OF_ParameterVelocityIniter),
    op<Parameter<float>>(OF_ParameterFloat),
    op<Parameter<vec2>>(OF_ParameterVec2),
    op<Parameter<vec3>>(OF_ParameterVec3),
    op<Parameter<quat>>(OF_ParameterQuat),
    op<ParameterLifetime>(OF_ParameterLifetime),
    op<ParameterEmitter>(OF_ParameterEmitter),
    op<ParameterEmitterIniter>(OF_ParameterEmitterIniter),
    op<ParameterEmitterParam<float>>(OF_ParameterEmitterParamFloat),
    op<ParameterEmitterParam<vec2>>(OF_ParameterEmitterParamVec2),
    op<ParameterEmitterParam<vec3>>(OF_ParameterEmitterParamVec3),
    op<ParameterEmitterParam<quat>>(OF_ParameterEmitterParamQuat),
    op<ParameterUpdater<float>>(OF_ParameterUpdaterFloat),
    op<ParameterUpdater<vec2>>(OF_ParameterUpdaterVec2),
    op<ParameterUpdater<vec3>>(OF_ParameterUpdaterVec3),
    op<ParameterUpdater<quat>>(OF_ParameterUpdaterQuat),
    op<FuncDistrib<float>>(OF_FuncDistribFloat),
    op<FuncDistrib<vec2>>(OF_FuncDistribVec2),
    op<FuncDistrib<vec3>>(OF_FuncDistribVec3),
    op<FuncDistrib<quat>>(OF_FuncDistribQuat),
    op<FuncDirection<vec2>>(OF_FuncDirectionVec2),
    op<FuncDirection<vec3>>(OF_FuncDirectionVec3),
    op<FuncLerp<float>>(OF_FuncLerpFloat),
    op<FuncLerp<vec2>>(OF_FuncLerpVec2),
    op<FuncLerp<vec3>>(OF_FuncLerpVec3),
    op<FuncCurves<float>>(OF_FuncCurvesFloat),
    op<FuncCurves<vec2>>(OF_FuncCurvesVec2),
    op<FuncCurves<vec3>>(OF_FuncCurvesVec3),
    op<FuncNoise3>(OF_FuncNoise3),
    op<FuncPath<vec2>>(OF_FuncPathVec2),
    op<FuncPath<vec3>>(OF_FuncPathVec3),
    op<FuncExpression>(OF_FuncExpression),
    op<FuncArea>(OF_FuncArea),
    op<FuncRandom>(OF_FuncRandom),
    op<FuncRotationAxis>(OF_FuncRotationAxis),
    op<FuncRotationFromAxes>(OF_FuncRotationFromAxes),
    op<FuncAxisFromRotation>(OF_FuncAxisFromRotation),
    op<FuncSplitVec2>(OF_FuncSplitVec2),
    op<FuncSplitVec3>(OF_FuncSplitVec3),
    op<FuncJoinVec2>(OF_FuncJoinVec2),
    op<FuncJoinVec3>(OF_FuncJoinVec3),
    op<FuncRandomVec2>(OF_FuncRandomVec2),
    op<FuncRandomVec3>(OF_FuncRandomVec3),
    op<FuncForceMove<vec2>>(OF_FuncForceMoveVec2),
    op<FuncForceMove<vec3>>(OF_FuncForceMoveVec3),
    op<FuncConv2to3>(OF_FuncConv2to3),
    op<FuncMove<float>>(OF_FuncMoveFloat),
    op<FuncMove<vec2>>(OF_FuncMoveVec2),
    op<FuncMove<vec3>>(OF_FuncMoveVec3),
    op<FuncRot2Vec>(OF_FuncRot2Vec),
    op<FuncTransfer3>(OF_FuncTransfer3),
    op<FuncRotate3>(OF_FuncRotate3),
    op<FuncStore<float>>(OF_FuncStoreFloat),
    op<FuncStore<vec2>>(OF_FuncStoreVec2),
    op<FuncStore<vec3>>(OF_FuncStoreVec3),
    op<FuncStore<quat>>(OF_FuncStoreQuat),
    op<FuncTransform>(OF_FuncTransform),
    op<FuncVec2Rot>(OF_FuncVec2Rot),
};

static_assert(sizeof(kTable) / sizeof(kTable[0]) == OF_Count,
              "one entry per value of EnumOperationFactories");

}  // namespace

uint32 operationFactoriesPoolSize()
{
    uint64 size = 0;
    for (const TableEntry& entry : kTable)
        size += Allocator::aligned(entry.size);
    return Allocator::checkedSize(size);
}

void createOperationFactories(Allocator& allocator, const OperationFactory* (&table)[OF_Count])
{
    for (uint32 i = 0; i < OF_Count; ++i)
    {
        DEBUG_ASSERT(kTable[i].type == i);
        table[i] = kTable[i].place(allocator, kTable[i].type);
    }
}

}  // namespace Ps
