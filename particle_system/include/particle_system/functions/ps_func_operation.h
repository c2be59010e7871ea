#pragma once

#include <cstddef>
#include <optional>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

// The common frame of the function operations: NIn inputs and NOut outputs of
// one type OutT, all in the emitter data.
//
// The `Data` record holds the address of each input, in the order of the
// operation's fields, then the outputs in their order. initEmitterData
// resolves the addresses once per instance; process reads through them.
// A subclass reads its fields in its constructor with loadIn / loadExt, in
// the stored order, and passes over the same fields in its computePoolSize
// with skipIn / skipExt (adding what they return).
template <class OutT, uint32 NIn, uint32 NOut>
class FuncOperation : public Operation
{
public:
    struct Data
    {
        const void* in[NIn];
        OutT out[NOut];
    };

    void initEmitterData(EmitterInst& inst) override
    {
        Data& data = this->data(inst);
        for (uint32 i = 0; i < NIn; ++i)
            data.in[i] = inputs_[i]->getVoidPtr(inst);
    }

protected:
    explicit FuncOperation(Allocator& allocator) : Operation(sizeof(Data), 0, NOut, allocator)
    {
        for (uint32 i = 0; i < NOut; ++i)
        {
            outputs_[i].emplace(*this, static_cast<uint32>(offsetof(Data, out) + i * sizeof(OutT)));
            registerOutput(*outputs_[i]);
        }
    }
    ~FuncOperation() = default;

    // What the base takes from the pool beyond the object: the output table.
    static uint32 basePoolSize() { return computeDataPoolSize(NOut); }

    template <class T>
    void loadIn(uint32 i, Sl::Loader& loader, EmitterFactory& factory)
    {
        DEBUG_ASSERT(i < NIn);
        inputs_[i] = factory.loadInput<T>(loader);
    }
    template <class T>
    void loadExt(uint32 i, Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    {
        DEBUG_ASSERT(i < NIn);
        inputs_[i] = factory.loadExternalInput<T>(loader, allocator);
    }
    static uint32 skipIn(Sl::Loader& loader)
    {
        EmitterFactory::skipInput(loader);
        return 0;
    }
    static uint32 skipExt(Sl::Loader& loader) { return EmitterFactory::skipExternal(loader); }

    Data& data(EmitterInst& inst) const
    {
        return *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    }

    template <class T>
    static const T& in(const Data& data, uint32 i)
    {
        return *static_cast<const T*>(data.in[i]);
    }

private:
    const Connection* inputs_[NIn] = {};
    std::optional<StaticOutputDesc<OutT>> outputs_[NOut];
};

// Field markers for FuncOfInputs: an `In` (a reference to an earlier output)
// and an `Ext` (a reference or a constant), both of value type T.
template <class T>
struct InField
{
    using type = T;
};
template <class T>
struct ExtField
{
    using type = T;
};

// A function operation whose fields are only its inputs, in order. Derived
// provides `void compute(Data&, EmitterInst&, float dt) const`, which reads
// the inputs with in<T>(data, i) and writes data.out.
template <class Derived, class OutT, uint32 NOut, class... Fields>
class FuncOfInputs : public FuncOperation<OutT, sizeof...(Fields), NOut>
{
    using Base = FuncOperation<OutT, sizeof...(Fields), NOut>;

public:
    using Data = typename Base::Data;

    FuncOfInputs(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
        : Base(allocator)
    {
        uint32 i = 0;
        (loadField(Fields{}, i++, loader, factory, allocator), ...);
    }

    static uint32 computePoolSize(Sl::Loader& loader)
    {
        uint64 size = Base::basePoolSize();
        ((size += skipField(Fields{}, loader)), ...);
        return Allocator::checkedSize(size);
    }

    void process(EmitterInst& inst, float dt) override
    {
        static_cast<const Derived*>(this)->compute(this->data(inst), inst, dt);
    }

private:
    template <class T>
    void loadField(InField<T>, uint32 i, Sl::Loader& loader, EmitterFactory& factory, Allocator&)
    {
        this->template loadIn<T>(i, loader, factory);
    }
    template <class T>
    void loadField(ExtField<T>, uint32 i, Sl::Loader& loader, EmitterFactory& factory,
                   Allocator& allocator)
    {
        this->template loadExt<T>(i, loader, factory, allocator);
    }
    template <class T>
    static uint32 skipField(InField<T>, Sl::Loader& loader)
    {
        return Base::skipIn(loader);
    }
    template <class T>
    static uint32 skipField(ExtField<T>, Sl::Loader& loader)
    {
        return Base::skipExt(loader);
    }
};

}  // namespace Ps
