#include "particle_system/ps_emitter.h"

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace Ps
{

Emitter::Emitter(Operation* const* operations, uint32 numOperations, Generator* generator,
                 Terminator* const* terminators, uint32 numTerminators, Constructor* constructor,
                 const Chain (&chains)[CH_Count], uint32 maxNumParticles,
                 EnumEmitterSorting sorting, bool standalone,
                 const ConnectedEmitter* connectedEmitters, uint32 numConnectedEmitters)
    : operations_(operations),
      numOperations_(numOperations),
      generator_(generator),
      terminators_(terminators),
      numTerminators_(numTerminators),
      constructor_(constructor),
      maxNumParticles_(maxNumParticles),
      sorting_(sorting),
      standalone_(standalone),
      connectedEmitters_(connectedEmitters),
      numConnectedEmitters_(numConnectedEmitters)
{
    for (uint32 c = 0; c < CH_Count; ++c)
        chains_[c] = chains[c];
    for (uint32 i = 0; i < numOperations_; ++i)
        setupDisplaceAndIncSize(*operations_[i]);

    uint64 deep = maxNumParticles_;
    for (uint32 i = 0; i < numConnectedEmitters_; ++i)
    {
        deep += static_cast<uint64>(connectedEmitters_[i].emitter->getMaxNumParticlesDeep()) *
                maxNumParticles_;
        Allocator::checkedSize(deep);
    }
    maxNumParticlesDeep_ = Allocator::checkedSize(deep);
    particleStride_ = EmitterInst::computeParticleDataSize(*this);
    instPoolSize_ = EmitterInst::computePoolSize(*this);
}

void Emitter::setupDisplaceAndIncSize(Operation& op)
{
    if (const uint32 size = op.getEmitterDataSize())
    {
        op.setEmitterDataDisplace(staticDataSize_);
        staticDataSize_ = Allocator::checkedSize(static_cast<uint64>(staticDataSize_) + size);
    }
    if (const uint32 size = op.getParticleDataSize())
    {
        op.setParticleDataDisplace(dynamicDataSize_);
        dynamicDataSize_ = Allocator::checkedSize(static_cast<uint64>(dynamicDataSize_) + size);
    }
}

void Emitter::setSystem(const System& system, uint32 index)
{
    system_ = &system;
    index_ = index;
    if (constructor_)
    {
        const RenderStyle& style = system.getRenderStyle(constructor_->getRenderStyleIndex());
        constructorFrame_ = &system.getTextureFrame(style.textureIndices[0]);
    }
}

void Emitter::initData(EmitterInst& inst) const
{
    for (uint32 i = 0; i < numOperations_; ++i)
        operations_[i]->initEmitterData(inst);
}

void Emitter::processGeneratorChain(EmitterInst& inst, const glm::vec3& position,
                                    const glm::quat& rotation, float dt) const
{
    const Chain& chain = chains_[CH_Generator];
    for (uint32 i = 0; i < chain.length; ++i)
        chain.operations[i]->process(inst, dt);
    generator_->processGenerate(inst, position, rotation, dt);
}

void Emitter::processInitChain(EmitterInst& inst, bool first) const
{
    for (uint32 i = 0; i < numOperations_; ++i)
        operations_[i]->initParticleData(inst);
    const Chain& chain = chains_[first ? CH_Init : CH_InitBurst];
    for (uint32 i = 0; i < chain.length; ++i)
        chain.operations[i]->process(inst, 0.0f);
}

void Emitter::preProcessConstructorChain(EmitterInst& inst, const glm::mat3& camera) const
{
    const Chain& chain = chains_[CH_Construct];
    for (uint32 i = 0; i < chain.length; ++i)
        chain.operations[i]->process(inst, 0.0f);
    constructor_->preProcess(inst, camera);
}

void Emitter::processPreprocessedConstructorChain(EmitterInst& inst, Mesh& mesh,
                                                  const glm::mat3& camera) const
{
    constructor_->processConstruct(inst, mesh, camera, *constructorFrame_);
}

void Emitter::processConstructorChain(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera) const
{
    const Chain& chain = chains_[CH_Construct];
    for (uint32 i = 0; i < chain.length; ++i)
        chain.operations[i]->process(inst, 0.0f);
    constructor_->processConstruct(inst, mesh, camera, *constructorFrame_);
}

void Emitter::processParticleTerminationChain(EmitterInst& inst) const
{
    for (uint32 i = 0; i < numOperations_; ++i)
        operations_[i]->onParticleTerminated(inst);
}

}  // namespace Ps
