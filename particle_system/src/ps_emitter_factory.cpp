#include "particle_system/ps_emitter_factory.h"

#include "particle_system/functions/ps_func_distrib.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_value_io.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Ps
{

namespace
{

// Reads the type byte and the value of a constant and makes its Ps::FuncDistrib<T>.
template <class T>
const Connection& makeConstant(Sl::Loader& loader, Allocator& allocator)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    const T value = readValue<T>(loader);
    return static_cast<const InputDesc<T>&>(*allocator.create<FuncDistrib<T>>(value, allocator));
}

template <class T>
uint32 constantPoolSize(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    skipValue<T>(loader);
    return Allocator::aligned(sizeof(FuncDistrib<T>)) + Operation::computeDataPoolSize(1);
}

// Operations that read or write the particle being processed; the other operations with
// particle data do the same through their data.
bool readsParticle(EnumOperationFactories type)
{
    switch (type)
    {
    case OF_TerminatorLess:
    case OF_TerminatorPath:
    case OF_ConstructorQuads:
    case OF_ConstructorStrip:
    case OF_ParameterPositionUpdater:
    case OF_ParameterEmitter:
    case OF_ParameterEmitterIniter:
        return true;
    default:
        return false;
    }
}

}  // namespace

// A constant of an `Ext` input: the type byte, then the value in a group of its own.
const Connection& createConstant(Sl::Loader& loader, Allocator& allocator)
{
    const uint8 type = readU8(loader);
    switch (type)
    {
    case VT_Float:
        return makeConstant<float>(loader, allocator);
    case VT_Vec2:
        return makeConstant<glm::vec2>(loader, allocator);
    case VT_Vec3:
        return makeConstant<glm::vec3>(loader, allocator);
    default:
        DEBUG_ASSERT(type == VT_Quat);
        return makeConstant<glm::quat>(loader, allocator);
    }
}

uint32 computeConstantPoolSize(Sl::Loader& loader)
{
    const uint8 type = readU8(loader);
    switch (type)
    {
    case VT_Float:
        return constantPoolSize<float>(loader);
    case VT_Vec2:
        return constantPoolSize<glm::vec2>(loader);
    case VT_Vec3:
        return constantPoolSize<glm::vec3>(loader);
    default:
        DEBUG_ASSERT(type == VT_Quat);
        return constantPoolSize<glm::quat>(loader);
    }
}

EmitterFactory::EmitterFactory(SystemFactory& systemFactory, uint32 emitterIndex)
    : systemFactory_(systemFactory), emitterIndex_(emitterIndex)
{
}

const Context& EmitterFactory::getContext() const { return systemFactory_.getContext(); }

uint32 EmitterFactory::computePoolSize(Sl::Loader& loader, const Context& context)
{
    uint64 size = 0;
    const uint32 numOperations = readU8(loader);
    loader.skipUint16();  // generators
    const uint32 numTerminators = readU16(loader);
    loader.skipUint16();  // constructors
    size += Allocator::alignedArray(numOperations, sizeof(Operation*));
    size += Allocator::alignedArray(numTerminators, sizeof(Terminator*));
    for (uint32 i = 0; i < numOperations; ++i)
    {
        const uint8 type = readU8(loader);
        Sl::ScopedLoaderGroup group(loader, 0);
        size += context.getOperFactory(type).computePoolSize(loader);
        Allocator::checkedSize(size);
    }
    for (uint32 c = 0; c < Emitter::CH_Count; ++c)
    {
        Sl::ScopedLoaderGroup group(loader, 0);
        // The indices are checked when the chain is built.
        const uint32 length = readU8(loader);
        for (uint32 i = 0; i < length; ++i)
            loader.skipUint8();
        size += Allocator::alignedArray(length, sizeof(Operation*));
    }
    loader.skipBool();    // standalone
    loader.skipUint32();  // max_num_particles
    loader.skipUint8();   // sorting
    const uint32 numConnected = readU32(loader);
    DEBUG_ASSERT(numConnected <= loader.maxDataLeft());
    size += Allocator::alignedArray(numConnected, sizeof(Emitter::ConnectedEmitter));
    for (uint32 i = 0; i < numConnected; ++i)
        loader.skipGroup();
    size += Allocator::aligned(sizeof(Emitter));
    return Allocator::checkedSize(size);
}

Emitter* EmitterFactory::createFromLoader(Sl::Loader& loader, Allocator& allocator)
{
    const uint32 numOperations = readU8(loader);
    loader.skipUint16();  // generators
    const uint32 numTerminators = readU16(loader);
    loader.skipUint16();  // constructors
    operations_ = allocator.allocArray<Operation*>(numOperations);
    for (uint32 i = 0; i < numOperations; ++i)
        operations_[i] = nullptr;
    numOperations_ = numOperations;
    terminators_ = allocator.allocArray<Terminator*>(numTerminators);

    const Context& context = getContext();
    for (uint32 i = 0; i < numOperations; ++i)
    {
        const uint8 type = readU8(loader);
        const OperationFactory& factory = context.getOperFactory(type);
        Operation* operation;
        {
            Sl::ScopedLoaderGroup group(loader, 0);
            operation = factory.createOperation(loader, *this, allocator);
        }
        if (const std::optional<EnumOperationSpecialType> special = factory.getSpecialType())
        {
            switch (*special)
            {
            case OST_Generator:
                DEBUG_ASSERT(!generator_);
                generator_ = static_cast<Generator*>(operation);
                break;
            case OST_Terminator:
                DEBUG_ASSERT(numTerminators_ < numTerminators);
                terminators_[numTerminators_++] = static_cast<Terminator*>(operation);
                break;
            case OST_Constructor:
                DEBUG_ASSERT(!constructor_);
                constructor_ = static_cast<Constructor*>(operation);
                constructorType_ = static_cast<EnumOperationFactories>(type);
                break;
            }
        }
        operationTypes_[i] = static_cast<EnumOperationFactories>(type);
        operations_[i] = operation;
    }
    DEBUG_ASSERT(generator_);

    Emitter::Chain chains[Emitter::CH_Count];
    for (uint32 c = 0; c < Emitter::CH_Count; ++c)
        readChain(loader, allocator, chains[c]);
    // The generator chain runs for the emitter, with no particle at hand.
    for (uint32 i = 0; i < chains[Emitter::CH_Generator].length; ++i)
    {
        const Operation& operation = *chains[Emitter::CH_Generator].operations[i];
        uint32 index = 0;
        while (operations_[index] != &operation)
            ++index;
        const bool operationWorksWithoutParticle =
            operation.getParticleDataSize() == 0 && !readsParticle(operationTypes_[index]);
        DEBUG_ASSERT(operationWorksWithoutParticle);
    }

    const bool standalone = readBool(loader);
    const uint32 maxNumParticles = readU32(loader);
    const uint8 sorting = readU8(loader);
    DEBUG_ASSERT(sorting < ES_Count);
    const uint32 numConnected = readU32(loader);
    Emitter::ConnectedEmitter* connected =
        allocator.allocArray<Emitter::ConnectedEmitter>(numConnected);
    for (uint32 i = 0; i < numConnected; ++i)
    {
        Sl::ScopedLoaderGroup group(loader, 0);
        const uint32 emitterIndex = readU32(loader);
        connected[i].emitter = &systemFactory_.getEmitter(emitterIndex);
        connected[i].drawBefore = readBool(loader);
    }

    for (const ConnectedEmitterUse& use : connectedEmitterUses_)
    {
        DEBUG_ASSERT(use.connIndex < numConnected);
        if (use.expected)
            DEBUG_ASSERT(connected[use.connIndex].emitter == use.expected);
    }
    if (constructor_)
        checkConstructorTargets(*constructor_);

    emitter_ = allocator.create<Emitter>(operations_, numOperations, generator_, terminators_,
                                         numTerminators_, constructor_, chains, maxNumParticles,
                                         static_cast<EnumEmitterSorting>(sorting), standalone,
                                         connected, numConnected);
    return emitter_;
}

void EmitterFactory::readChain(Sl::Loader& loader, Allocator& allocator, Emitter::Chain& chain)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    const uint32 length = readU8(loader);
    Operation** operations = allocator.allocArray<Operation*>(length);
    for (uint32 i = 0; i < length; ++i)
        operations[i] = &getOperation(readU8(loader));
    chain.operations = operations;
    chain.length = length;
}

void EmitterFactory::checkConstructorTargets(const Constructor& constructor) const
{
    DEBUG_ASSERT(constructor.getMeshIndex() < systemFactory_.getNumMeshes());
    DEBUG_ASSERT(constructor.getRenderStyleIndex() < systemFactory_.getNumRenderStyles());
}

Operation& EmitterFactory::getOperation(uint32 operationIndex) const
{
    DEBUG_ASSERT(operationIndex < numOperations_);
    DEBUG_ASSERT(operations_[operationIndex]);
    return *operations_[operationIndex];
}

EnumOperationFactories EmitterFactory::getOperationFactoryType(uint32 operationIndex) const
{
    getOperation(operationIndex);
    return operationTypes_[operationIndex];
}

const Connection& EmitterFactory::getOutput(uint32 operationIndex, uint32 outputIndex) const
{
    const Operation& operation = getOperation(operationIndex);
    DEBUG_ASSERT(outputIndex < operation.getNumOutputs());
    return operation.getOutput(outputIndex);
}

const Connection& EmitterFactory::loadInput(Sl::Loader& loader) const
{
    Sl::ScopedLoaderGroup group(loader, 0);
    const uint32 operationIndex = readU8(loader);
    const uint32 outputIndex = readU8(loader);
    return getOutput(operationIndex, outputIndex);
}

const Connection& EmitterFactory::loadExternalInput(Sl::Loader& loader, Allocator& allocator) const
{
    Sl::ScopedLoaderGroup group(loader, 0);
    if (readBool(loader))
        return loadInput(loader);
    return createConstant(loader, allocator);
}

void EmitterFactory::skipInput(Sl::Loader& loader) { loader.skipGroup(); }

uint32 EmitterFactory::skipExternal(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    if (readBool(loader))
    {
        loader.skipGroup();
        return 0;
    }
    return computeConstantPoolSize(loader);
}

void EmitterFactory::useConnectedEmitter(uint32 connIndex, const Emitter* expected)
{
    connectedEmitterUses_.push_back({connIndex, expected});
}

}  // namespace Ps
