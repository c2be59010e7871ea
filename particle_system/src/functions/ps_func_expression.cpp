#include "particle_system/functions/ps_func_expression.h"

#include <cstring>
#include <new>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "expression/expr_executor.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_value_io.h"
#include "revision_saveload/sl_loader.h"

namespace Ps
{

static_assert(sizeof(FuncExpression::OwnOutputDesc<float>) ==
                  sizeof(FuncExpression::OwnOutputDesc<glm::quat>),
              "one storage serves the output of every result type");
static_assert(static_cast<uint32>(Expr::VT_Float) == VT_Float &&
                  static_cast<uint32>(Expr::VT_Vec2) == VT_Vec2 &&
                  static_cast<uint32>(Expr::VT_Vec3) == VT_Vec3 &&
                  static_cast<uint32>(Expr::VT_Quat) == VT_Quat,
              "the expression language and the runtime number the value types alike");

FuncExpression::FuncExpression(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator)
    : Operation(0, 0, 1, allocator)
{
    const uint32 exprDataSize = readU32(loader);
    DEBUG_ASSERT(exprDataSize == loader.readBinarySize());
    uint8* code = allocator.alloc(exprDataSize);
    loader.readBinaryData(code);
    const uint32 exprPoolSize = readU32(loader);
    const char* why = "";
    const bool codeIsSound = Expr::checkCode(code, exprDataSize, &why);
    if (!codeIsSound)
        DEBUG_LOG(Warning, std::string("expression byte code refused: ") + why);
    DEBUG_ASSERT(codeIsSound);
    DEBUG_ASSERT(exprPoolSize == Expr::Executor::computePoolSizeNoObj(code, exprDataSize));
    uint8* executorPool = allocator.alloc(exprPoolSize);
    executor_ = allocator.create<Expr::Executor>(executorPool, code, exprDataSize);
    code_ = code;
    codeSize_ = exprDataSize;

    numInputs_ = readU32(loader);
    // dt is the executor's last input, a float.
    DEBUG_ASSERT(numInputs_ + 1 == executor_->getNumInputs());
    DEBUG_ASSERT(executor_->getInputType(numInputs_) == Expr::VT_Float);
    inputs_ = allocator.allocArray<const Connection*>(numInputs_);
    for (uint32 i = 0; i < numInputs_; ++i)
    {
        inputs_[i] = &factory.loadInput(loader);
        DEBUG_ASSERT(static_cast<uint32>(inputs_[i]->getValueType()) ==
                     static_cast<uint32>(executor_->getInputType(i)));
    }

    const Expr::EnumValueType resultType = executor_->getResultType();
    resultSize_ = Expr::getTypeSize(resultType);
    // Rounded up so that whatever follows in the emitter data stays aligned for pointers.
    executorOffset_ = Allocator::aligned(getResultOffset() + resultSize_);
    executorPoolOffset_ = executorOffset_ + Allocator::aligned(sizeof(Expr::Executor));
    setEmitterDataSize(executorPoolOffset_ + Allocator::aligned(exprPoolSize));
    const Connection* output = nullptr;
    switch (resultType)
    {
    case Expr::VT_Float:
        output = new (output_) OwnOutputDesc<float>(*this);
        break;
    case Expr::VT_Vec2:
        output = new (output_) OwnOutputDesc<glm::vec2>(*this);
        break;
    case Expr::VT_Vec3:
        output = new (output_) OwnOutputDesc<glm::vec3>(*this);
        break;
    default:
        output = new (output_) OwnOutputDesc<glm::quat>(*this);
        break;
    }
    registerOutput(*output);
}

uint32 FuncExpression::computePoolSize(Sl::Loader& loader)
{
    const uint32 exprDataSize = readU32(loader);
    loader.skipBinary();
    const uint32 exprPoolSize = readU32(loader);
    const uint32 numInputs = readU32(loader);
    for (uint32 i = 0; i < numInputs; ++i)
        EmitterFactory::skipInput(loader);
    uint64 size = computeDataPoolSize(1);
    size += Allocator::aligned(exprDataSize);
    size += Allocator::aligned(exprPoolSize);
    size += Allocator::aligned(sizeof(Expr::Executor));
    size += Allocator::alignedArray(numInputs, sizeof(const Connection*));
    return Allocator::checkedSize(size);
}

void FuncExpression::initEmitterData(EmitterInst& inst)
{
    const void** addresses = static_cast<const void**>(inst.getVoidPtrStaticData(*this));
    for (uint32 i = 0; i < numInputs_; ++i)
        addresses[i] = inputs_[i]->getVoidPtr(inst);
    uint8* data = reinterpret_cast<uint8*>(addresses);
    new (data + executorOffset_) Expr::Executor(data + executorPoolOffset_, code_, codeSize_);
}

void FuncExpression::process(EmitterInst& inst, float dt)
{
    uint8* data = static_cast<uint8*>(inst.getVoidPtrStaticData(*this));
    Expr::Executor& executor = *reinterpret_cast<Expr::Executor*>(data + executorOffset_);
    executor.setInputs(reinterpret_cast<const void* const*>(data), numInputs_);
    executor.setInputRawData(numInputs_, &dt, sizeof(float));
    executor.execute();
    std::memcpy(data + getResultOffset(), executor.getOutputRawData(), resultSize_);
}

}  // namespace Ps
