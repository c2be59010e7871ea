#pragma once

#include <optional>
#include <vector>

#include "particle_system/ps_emitter.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class Context;
class SystemFactory;

// A constant of an `Ext` input ("type" byte and the value's group): a Ps::FuncDistrib<T> made
// in the pool, outside the emitter's list. Returns its output, the constant itself.
const Connection& createConstant(Sl::Loader& loader, Allocator& allocator);
// The pool bytes of the same constant; passes over its fields.
uint32 computeConstantPoolSize(Sl::Loader& loader);

// Reader of one emitter of a compiled effect; alive during the loading of the whole effect, since
// later emitters may look into earlier ones (Ps::ParameterEmitterParam<T>).
class EmitterFactory
{
public:
    static constexpr uint32 kMaxOperations = 255;

    EmitterFactory(SystemFactory& systemFactory, uint32 emitterIndex);
    EmitterFactory(const EmitterFactory&) = delete;
    EmitterFactory& operator=(const EmitterFactory&) = delete;

    // First pass: passes over one emitter and returns the pool bytes it takes.
    static uint32 computePoolSize(Sl::Loader& loader, const Context& context);
    // Second pass: builds the emitter in the pool.
    Emitter* createFromLoader(Sl::Loader& loader, Allocator& allocator);

    SystemFactory& getSystemFactory() const { return systemFactory_; }
    const Context& getContext() const;
    uint32 getEmitterIndex() const { return emitterIndex_; }
    // The emitter, once createFromLoader has finished.
    Emitter* getEmitter() const { return emitter_; }

    // An operation read so far ("operationIndex < numOperations_", "operations_[operationIndex]").
    Operation& getOperation(uint32 operationIndex) const;
    EnumOperationFactories getOperationFactoryType(uint32 operationIndex) const;
    // The factory type of the emitter's constructor, if it has one.
    std::optional<EnumOperationFactories> getConstructorType() const { return constructorType_; }
    const Connection& getOutput(uint32 operationIndex, uint32 outputIndex) const;

    // An `In`: a reference to an output of an earlier operation.
    const Connection& loadInput(Sl::Loader& loader) const;
    template <class T>
    const InputDesc<T>* loadInput(Sl::Loader& loader) const
    {
        return typed<T>(loadInput(loader));
    }
    // An `Ext<T>`: a reference, or a constant made in the pool.
    const Connection& loadExternalInput(Sl::Loader& loader, Allocator& allocator) const;
    template <class T>
    const InputDesc<T>* loadExternalInput(Sl::Loader& loader, Allocator& allocator) const
    {
        return typed<T>(loadExternalInput(loader, allocator));
    }
    static void skipInput(Sl::Loader& loader);
    // Returns the pool bytes of the constant, 0 for a reference.
    static uint32 skipExternal(Sl::Loader& loader);

    // Operations that use a connected emitter register the use here; the uses are checked once
    // the emitter's list of connected emitters has been read. With `expected` set, the connected
    // emitter at `connIndex` must be that one.
    void useConnectedEmitter(uint32 connIndex, const Emitter* expected);

    template <class T>
    static const InputDesc<T>* typed(const Connection& connection)
    {
        DEBUG_ASSERT(connection.getValueType() == ValueTypeOf<T>::value);
        return static_cast<const InputDesc<T>*>(&connection);
    }

private:
    struct ConnectedEmitterUse
    {
        uint32 connIndex;
        const Emitter* expected;
    };

    void readChain(Sl::Loader& loader, Allocator& allocator, Emitter::Chain& chain);
    void checkConstructorTargets(const Constructor& constructor) const;

    SystemFactory& systemFactory_;
    uint32 emitterIndex_;
    uint32 numOperations_ = 0;
    Operation** operations_ = nullptr;
    EnumOperationFactories operationTypes_[kMaxOperations] = {};
    Generator* generator_ = nullptr;
    uint32 numTerminators_ = 0;
    Terminator** terminators_ = nullptr;
    Constructor* constructor_ = nullptr;
    std::optional<EnumOperationFactories> constructorType_;
    std::vector<ConnectedEmitterUse> connectedEmitterUses_;
    Emitter* emitter_ = nullptr;
};

}  // namespace Ps
