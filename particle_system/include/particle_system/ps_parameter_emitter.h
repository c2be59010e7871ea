#pragma once

#include <cstddef>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

// Runs the instance of a connected emitter attached to each particle, in the update chain: the
// child follows the particle's position. At the particle's end, a child marked "on_term" starts
// (it waited for this moment), any other stops generating and lets its particles run out.
class ParameterEmitter final : public Operation
{
public:
    ParameterEmitter(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void process(EmitterInst& inst, float dt) override;
    void onParticleTerminated(EmitterInst& inst) override;

    uint32 getConnEmitterIndex() const { return connEmitterIndex_; }
    bool isOnTerm() const { return onTerm_; }

private:
    uint32 connEmitterIndex_ = 0;
    bool onTerm_ = false;
};

// Places the instance of a connected emitter in the block of a new particle, in the init chains,
// at the particle's position; an "on_term" child is stopped at once.
class ParameterEmitterIniter final : public Operation
{
public:
    ParameterEmitterIniter(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void process(EmitterInst& inst, float dt) override;

    uint32 getConnEmitterIndex() const { return connEmitterIndex_; }
    bool isOnTerm() const { return onTerm_; }

private:
    uint32 connEmitterIndex_ = 0;
    bool onTerm_ = false;
};

// Passes a value of a particle to a global parameter (Ps::GlobParam<T>) of the connected
// instance attached to that particle. The address of the target is found on the first process
// for each particle and cached in the particle's data.
template <class T>
class ParameterEmitterParam final : public Operation
{
public:
    struct Data
    {
        const T* input;
    };
    struct DynData
    {
        T* target;
    };

    ParameterEmitterParam(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
        : Operation(sizeof(Data), sizeof(DynData), 0, allocator)
    {
        input_ = factory.loadInput<T>(loader);
        const uint32 emitterIndex = readU8(loader);
        const uint32 operationIndex = readU8(loader);
        connEmitterIndex_ = readU8(loader);
        EmitterFactory& target = factory.getSystemFactory().getEmitterFactory(emitterIndex);
        globParam_ = &target.getOperation(operationIndex);
        // The target is a global parameter of the same type, which keeps its value at the start
        // of its emitter data.
        const bool targetIsGlobParamOfType = target.getOperationFactoryType(operationIndex) ==
                                             OF_GlobParamFloat + ValueTypeOf<T>::value;
        DEBUG_ASSERT(targetIsGlobParamOfType);
        DEBUG_ASSERT(globParam_->getEmitterDataSize() >= sizeof(T));
        factory.useConnectedEmitter(connEmitterIndex_, target.getEmitter());
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        EmitterFactory::skipInput(loader);
        loader.skipUint8();
        loader.skipUint8();
        loader.skipUint8();
        return computeDataPoolSize(0);
    }

    void initEmitterData(EmitterInst& inst) override
    {
        static_cast<Data*>(inst.getVoidPtrStaticData(*this))->input = input_->getPtr(inst);
    }

    void initParticleData(EmitterInst& inst) override
    {
        static_cast<DynData*>(inst.getVoidPtrDynamicData(*this))->target = nullptr;
    }

    void process(EmitterInst& inst, float) override
    {
        DynData& dyn = *static_cast<DynData*>(inst.getVoidPtrDynamicData(*this));
        if (!dyn.target)
        {
            EmitterInst& child = *inst.getParticleInfo().connectedEmitters[connEmitterIndex_];
            dyn.target = static_cast<T*>(child.getVoidPtrStaticData(*globParam_));
        }
        const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
        *dyn.target = *data.input;
    }

private:
    const InputDesc<T>* input_ = nullptr;
    const Operation* globParam_ = nullptr;
    uint32 connEmitterIndex_ = 0;
};

}  // namespace Ps
