#pragma once

#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_types.h"

namespace Expr
{
class Executor;
}

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class EmitterFactory;

// The runtime side of an expression block: byte code of the expression
// language. The effect's pool keeps the code and one executor that checks it
// at load; each emitter instance runs an executor of its own, placed in its
// emitter data, so that instances on different threads share no cells.
//
// Fields: "expr_data_size" u32; "expr_data" bin (the byte code);
// "expr_pool_size" u32 (the executor's pool); "num_inputs" u32; "input" In x
// num_inputs. The executor has one input more than the operation: dt, a
// float, last.
//
// `Data`: the addresses of the inputs, then the result, of the expression's
// result type (the single output reads that field), then the instance's
// executor and its pool.
class FuncExpression final : public Operation
{
public:
    // The output: the result field behind the table of input addresses.
    template <class T>
    class OwnOutputDesc final : public InputDesc<T>
    {
    public:
        explicit OwnOutputDesc(const FuncExpression& operation) : operation_(operation) {}
        const T* getPtr(EmitterInst& inst) const override
        {
            return reinterpret_cast<const T*>(
                static_cast<const uint8*>(inst.getVoidPtrStaticData(operation_)) +
                operation_.getResultOffset());
        }

    private:
        const FuncExpression& operation_;
    };

    FuncExpression(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void process(EmitterInst& inst, float dt) override;

    uint32 getNumInputs() const { return numInputs_; }
    uint32 getResultOffset() const { return numInputs_ * static_cast<uint32>(sizeof(const void*)); }
    const Expr::Executor& getExecutor() const { return *executor_; }

private:
    uint32 numInputs_ = 0;
    uint32 resultSize_ = 0;
    const uint8* code_ = nullptr;
    uint32 codeSize_ = 0;
    uint32 executorOffset_ = 0;
    uint32 executorPoolOffset_ = 0;
    const Connection** inputs_ = nullptr;
    Expr::Executor* executor_ = nullptr;
    alignas(OwnOutputDesc<float>) unsigned char output_[sizeof(OwnOutputDesc<float>)];
};

}  // namespace Ps
