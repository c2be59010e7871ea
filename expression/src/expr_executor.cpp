// The executor: lays the byte code out as slots over a pool and runs it.
#include "expression/expr_executor.h"

#include <vector>

#include "debug/debug_check.h"

namespace Expr
{

namespace
{

static_assert(sizeof(void*) != 8 ||
                  (sizeof(Executor::InputSlot) == 16 && sizeof(Executor::CommandSlot) == 24),
              "the pool size stored in compiled effects assumes these slot sizes");

constexpr unsigned headerSize = 7;
constexpr unsigned inputRecordSize = 3;
constexpr unsigned constantRecordSize = 6;
constexpr unsigned commandFixedSize = 5;
constexpr unsigned trailerSize = 3;

inline unsigned getU16(const unsigned char* p)
{
    return static_cast<unsigned>(p[0]) | (static_cast<unsigned>(p[1]) << 8);
}

inline float getF32(const unsigned char* p)
{
    const std::uint32_t bits =
        static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
        (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Walks the byte code and checks that it can be laid out safely. With
// `cellTypes` (dataSize entries) it also checks that every argument and the
// result name a cell of the type they are used as.
bool walkCode(const unsigned char* code, unsigned size, std::vector<signed char>* cellTypes,
              const char** why)
{
    auto refuse = [why](const char* reason)
    {
        if (why)
            *why = reason;
        return false;
    };
    if (!code || size < headerSize)
        return refuse("shorter than the header");
    const unsigned numInputs = code[0];
    const unsigned numCommands = getU16(code + 1);
    const unsigned numArguments = getU16(code + 3);
    const unsigned dataSize = getU16(code + 5);
    const unsigned char* p = code + headerSize;
    const unsigned char* end = code + size;
    auto left = [&]() { return static_cast<unsigned>(end - p); };
    // A cell must lie inside the data area and start on its type's alignment (the data area
    // itself starts on a pointer's), so that the operations read and write it in place.
    auto cellFits = [&](unsigned type, unsigned offset, const char* outside, const char* misaligned)
    {
        if (!(type < numValueTypes && offset + getTypeSize(type) <= dataSize))
            return refuse(outside);
        if (offset % getTypeAlignment(type) != 0)
            return refuse(misaligned);
        return true;
    };
    auto define = [&](unsigned type, unsigned offset)
    {
        if (cellTypes)
            (*cellTypes)[offset] = static_cast<signed char>(type);
    };
    if (cellTypes)
        cellTypes->assign(dataSize, -1);

    if (left() < numInputs * inputRecordSize)
        return refuse("input records cut short");
    for (unsigned i = 0; i < numInputs; ++i, p += inputRecordSize)
    {
        if (!cellFits(p[0], getU16(p + 1), "input cell outside the data area",
                      "input cell not aligned to its type"))
            return false;
        define(p[0], getU16(p + 1));
    }

    // Commands: first pass for bounds, counting the arguments.
    const unsigned char* commandsBegin = p;
    unsigned argumentsSeen = 0;
    for (unsigned c = 0; c < numCommands; ++c)
    {
        if (left() < commandFixedSize)
            return refuse("command record cut short");
        OperationFunc func = nullptr;
        EnumValueType resultType = VT_Float;
        EnumValueType argTypes[3];
        unsigned numArgs = 0;
        if (!getOverload(p[0], p[1], p[2], &func, &resultType, argTypes, 3, &numArgs) || !func)
            return refuse("operation outside the tables");
        const unsigned resultOffset = getU16(p + 3);
        if (!cellFits(resultType, resultOffset, "result cell outside the data area",
                      "result cell not aligned to its type"))
            return false;
        p += commandFixedSize;
        if (left() < 2 * numArgs)
            return refuse("command arguments cut short");
        for (unsigned a = 0; a < numArgs; ++a)
            if (!cellFits(argTypes[a], getU16(p + 2 * a), "argument outside the data area",
                          "argument not aligned to its type"))
                return false;
        p += 2 * numArgs;
        argumentsSeen += numArgs;
        define(resultType, resultOffset);
    }
    if (argumentsSeen != numArguments)
        return refuse("argument count differs from the header");

    if (left() < 2)
        return refuse("constant count missing");
    const unsigned numConstants = getU16(p);
    p += 2;
    if (left() < numConstants * constantRecordSize)
        return refuse("constant records cut short");
    for (unsigned i = 0; i < numConstants; ++i, p += constantRecordSize)
    {
        if (!cellFits(VT_Float, getU16(p), "constant outside the data area",
                      "constant not aligned to its type"))
            return false;
        define(VT_Float, getU16(p));
    }
    if (left() != trailerSize)
        return refuse("result record missing or bytes behind it");
    const unsigned resultType = p[0];
    const unsigned resultOffset = getU16(p + 1);
    if (!cellFits(resultType, resultOffset, "result cell outside the data area",
                  "result cell not aligned to its type"))
        return false;

    if (cellTypes)
    {
        auto typed = [&](unsigned type, unsigned offset)
        { return (*cellTypes)[offset] == static_cast<signed char>(type); };
        if (!typed(resultType, resultOffset))
            return refuse("result cell of another type");
        p = commandsBegin;
        for (unsigned c = 0; c < numCommands; ++c)
        {
            EnumValueType argTypes[3];
            unsigned numArgs = 0;
            getOverload(p[0], p[1], p[2], nullptr, nullptr, argTypes, 3, &numArgs);
            p += commandFixedSize;
            for (unsigned a = 0; a < numArgs; ++a, p += 2)
                if (!typed(argTypes[a], getU16(p)))
                    return refuse("argument cell of another type");
        }
    }
    return true;
}

}  // namespace

bool checkCode(const unsigned char* code, unsigned size, const char** why)
{
    std::vector<signed char> cellTypes;
    return walkCode(code, size, &cellTypes, why);
}

unsigned Executor::computePoolSizeNoObj(const unsigned char* code, unsigned size)
{
    if (!code || size < headerSize)
        return 0;
    return code[0] * static_cast<unsigned>(sizeof(InputSlot)) +
           getU16(code + 1) * static_cast<unsigned>(sizeof(CommandSlot)) +
           getU16(code + 3) * static_cast<unsigned>(sizeof(void*)) + getU16(code + 5);
}

Executor::Executor(unsigned char* pool, const unsigned char* code, unsigned size)
{
    // Bounds only: this runs when an effect is loaded and must not allocate.
    DEBUG_ASSERT(walkCode(code, size, nullptr, nullptr));
    DEBUG_ASSERT(pool != nullptr && reinterpret_cast<std::uintptr_t>(pool) % alignof(void*) == 0);

    numInputs_ = code[0];
    numCommands_ = getU16(code + 1);
    numArguments_ = getU16(code + 3);
    const unsigned dataSize = getU16(code + 5);
    poolSize_ = computePoolSizeNoObj(code, size);
    pool_ = pool;

    inputs_ = reinterpret_cast<InputSlot*>(pool);
    commands_ = reinterpret_cast<CommandSlot*>(pool + numInputs_ * sizeof(InputSlot));
    const void** argument = reinterpret_cast<const void**>(pool + numInputs_ * sizeof(InputSlot) +
                                                           numCommands_ * sizeof(CommandSlot));
    unsigned char* data = pool + poolSize_ - dataSize;
    // A fresh pool holds zeros: no cell is read before something is written to it.
    std::memset(data, 0, dataSize);

    const unsigned char* p = code + headerSize;
    for (unsigned i = 0; i < numInputs_; ++i, p += inputRecordSize)
    {
        inputs_[i].type = static_cast<EnumValueType>(p[0]);
        inputs_[i].cell = data + getU16(p + 1);
    }
    for (unsigned c = 0; c < numCommands_; ++c)
    {
        OperationFunc func = nullptr;
        unsigned numArgs = 0;
        getOverload(p[0], p[1], p[2], &func, nullptr, nullptr, 0, &numArgs);
        CommandSlot& slot = commands_[c];
        slot.func = func;
        slot.result = data + getU16(p + 3);
        slot.args = argument;
        p += commandFixedSize;
        for (unsigned a = 0; a < numArgs; ++a, p += 2)
            *argument++ = data + getU16(p);
    }
    const unsigned numConstants = getU16(p);
    p += 2;
    for (unsigned i = 0; i < numConstants; ++i, p += constantRecordSize)
    {
        const float value = getF32(p + 2);
        std::memcpy(data + getU16(p), &value, sizeof value);
    }
    resultType_ = static_cast<EnumValueType>(p[0]);
    result_ = data + getU16(p + 1);
}

}  // namespace Expr
