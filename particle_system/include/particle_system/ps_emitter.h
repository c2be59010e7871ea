#pragma once

#include <glm/fwd.hpp>

#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class System;
struct TextureFrame;

// One compiled emitter: a flat list of operations and six chains of them. Immutable after
// loading and shared by all its instances; all run-time state is in the instances.
class Emitter
{
public:
    enum EnumChain : uint8
    {
        CH_Generator = 0,
        CH_Init = 1,
        CH_InitBurst = 2,
        CH_Update = 3,
        CH_Term = 4,
        CH_Construct = 5,
        CH_Count = 6,
    };

    struct Chain
    {
        Operation* const* operations = nullptr;
        uint32 length = 0;
    };

    struct ConnectedEmitter
    {
        const Emitter* emitter;
        bool drawBefore;
    };

    // Fixes the displacements of the operations' data, in list order.
    Emitter(Operation* const* operations, uint32 numOperations, Generator* generator,
            Terminator* const* terminators, uint32 numTerminators, Constructor* constructor,
            const Chain (&chains)[CH_Count], uint32 maxNumParticles, EnumEmitterSorting sorting,
            bool standalone, const ConnectedEmitter* connectedEmitters,
            uint32 numConnectedEmitters);
    Emitter(const Emitter&) = delete;
    Emitter& operator=(const Emitter&) = delete;

    // Called once by the system factory when the emitter joins its system.
    void setSystem(const System& system, uint32 index);

    const System& getSystem() const { return *system_; }
    uint32 getIndex() const { return index_; }

    uint32 getNumOperations() const { return numOperations_; }
    Operation& getOperation(uint32 i) const
    {
        DEBUG_ASSERT(i < numOperations_);
        return *operations_[i];
    }
    Generator& getGenerator() const { return *generator_; }
    uint32 getNumTerminators() const { return numTerminators_; }
    Terminator& getTerminator(uint32 i) const { return *terminators_[i]; }
    Constructor* getConstructor() const { return constructor_; }
    const Chain& getChain(EnumChain chain) const { return chains_[chain]; }

    uint32 getStaticDataSize() const { return staticDataSize_; }
    uint32 getDynamicDataSize() const { return dynamicDataSize_; }
    uint32 getMaxNumParticles() const { return maxNumParticles_; }
    EnumEmitterSorting getSorting() const { return sorting_; }
    bool isStandalone() const { return standalone_; }
    uint32 getNumConnectedEmitters() const { return numConnectedEmitters_; }
    const ConnectedEmitter& getConnectedEmitter(uint32 i) const
    {
        DEBUG_ASSERT(i < numConnectedEmitters_);
        return connectedEmitters_[i];
    }

    // Its maximum plus, for each connected emitter, that emitter's deep value times the maximum.
    uint32 getMaxNumParticlesDeep() const { return maxNumParticlesDeep_; }
    // Sizes of an instance, settled at loading (see EmitterInst).
    uint32 getParticleStride() const { return particleStride_; }
    uint32 getInstPoolSize() const { return instPoolSize_; }
    // The texture frame of the constructor's render style (valid with a constructor).
    const TextureFrame& getConstructorFrame() const { return *constructorFrame_; }

    // Execution of the chains.
    void initData(EmitterInst& inst) const;
    void processGeneratorChain(EmitterInst& inst, const glm::vec3& position,
                               const glm::quat& rotation, float dt) const;
    void processInitChain(EmitterInst& inst, bool first) const;
    void processUpdateChain(EmitterInst& inst, float dt) const
    {
        const Chain& chain = chains_[CH_Update];
        for (uint32 i = 0; i < chain.length; ++i)
            chain.operations[i]->process(inst, dt);
    }
    bool processTerminatorChain(EmitterInst& inst, float dt) const
    {
        const Chain& chain = chains_[CH_Term];
        for (uint32 i = 0; i < chain.length; ++i)
            chain.operations[i]->process(inst, dt);
        for (uint32 i = 0; i < numTerminators_; ++i)
            if (terminators_[i]->processTerminator(inst, dt))
                return true;
        return false;
    }
    void preProcessConstructorChain(EmitterInst& inst, const glm::mat3& camera) const;
    void processPreprocessedConstructorChain(EmitterInst& inst, Mesh& mesh,
                                             const glm::mat3& camera) const;
    void processConstructorChain(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera) const;
    void processParticleTerminationChain(EmitterInst& inst) const;

private:
    void setupDisplaceAndIncSize(Operation& op);

    const System* system_ = nullptr;
    uint32 index_ = 0;
    Operation* const* operations_;
    uint32 numOperations_;
    Generator* generator_;
    Terminator* const* terminators_;
    uint32 numTerminators_;
    Constructor* constructor_;
    Chain chains_[CH_Count];
    uint32 staticDataSize_ = 0;
    uint32 dynamicDataSize_ = 0;
    uint32 maxNumParticles_;
    EnumEmitterSorting sorting_;
    bool standalone_;
    const ConnectedEmitter* connectedEmitters_;
    uint32 numConnectedEmitters_;
    uint32 maxNumParticlesDeep_ = 0;
    uint32 particleStride_ = 0;
    uint32 instPoolSize_ = 0;
    const TextureFrame* constructorFrame_ = nullptr;
};

}  // namespace Ps
