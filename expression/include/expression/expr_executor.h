#pragma once

// The executor of the expression language: runs byte code written by
// Expr::Parser inside a memory pool given to it.
//
// Byte code (little-endian, unaligned):
//   u8 numInputs, u16 numCommands, u16 numArguments, u16 dataSize,
//   numInputs x {u8 value type, u16 data offset},
//   numCommands x {u8 operation kind, u8 operation, u8 overload, u16 result offset,
//                  u16 argument offset per argument of the overload},
//   u16 numConstants, numConstants x {u16 data offset, f32 value},
//   u8 result type, u16 result offset.
//
// Pool (built by the constructor): the input slots, the command slots, the
// argument pointers of all commands, then the data area of dataSize bytes.
// The executor makes no allocation, takes no lock and runs no parser; execute()
// is one indirect call per command.

#include <cstdint>
#include <cstring>

#include "expression/expr_const.h"
#include "expression/expr_value_type.h"

namespace Expr
{

class Executor
{
public:
    struct InputSlot
    {
        EnumValueType type;
        void* cell;
    };

    struct CommandSlot
    {
        OperationFunc func;
        void* result;
        const void* const* args;
    };

    // The pool: input slots, command slots, argument pointers, data area. `pool`
    // must hold computePoolSizeNoObj(code, size) bytes, aligned for a pointer.
    // The byte code must be sound (as the parser writes it; see checkCode): the
    // constructor asserts that. The code is not needed afterwards.
    Executor(unsigned char* pool, const unsigned char* code, unsigned size);

    // The pool size that the byte code needs, from its header alone; 0 when the
    // code is too short to hold a header.
    static unsigned computePoolSizeNoObj(const unsigned char* code, unsigned size);

    unsigned getNumInputs() const { return numInputs_; }
    EnumValueType getInputType(unsigned i) const { return inputs_[i].type; }
    EnumValueType getResultType() const { return resultType_; }
    unsigned getNumCommands() const { return numCommands_; }
    unsigned getNumArguments() const { return numArguments_; }
    unsigned getPoolSize() const { return poolSize_; }

    // Copies `size` bytes into input i's cell; they stay until overwritten.
    void setInputRawData(unsigned i, const void* data, unsigned size)
    {
        void* cell = inputs_[i].cell;
        // The sizes of the value types as constants, so that each copy is a few moves.
        switch (size)
        {
        case 4:
            std::memcpy(cell, data, 4);
            break;
        case 8:
            std::memcpy(cell, data, 8);
            break;
        case 12:
            std::memcpy(cell, data, 12);
            break;
        case 16:
            std::memcpy(cell, data, 16);
            break;
        default:
            std::memcpy(cell, data, size);
            break;
        }
    }

    // Copies the first `count` inputs, each from its own pointer and with the
    // size of its type: the values of an operation's input connections.
    void setInputs(const void* const* data, unsigned count)
    {
        for (unsigned i = 0; i < count; ++i)
            setInputRawData(i, data[i], getTypeSize(inputs_[i].type));
    }

    // Runs every command once, first to last.
    void execute() const
    {
        for (const CommandSlot *command = commands_, *end = commands_ + numCommands_;
             command != end; ++command)
            command->func(command->result, command->args);
    }

    const void* getOutputRawData() const { return result_; }

private:
    unsigned numInputs_ = 0;
    unsigned numCommands_ = 0;
    unsigned numArguments_ = 0;
    unsigned poolSize_ = 0;
    unsigned char* pool_ = nullptr;
    InputSlot* inputs_ = nullptr;
    CommandSlot* commands_ = nullptr;
    EnumValueType resultType_ = VT_Float;
    void* result_ = nullptr;
};

// Whether the byte code is sound: the header and every record lie inside
// `size` bytes and end exactly there, every operation and overload exists in
// the tables, every value type is known, every cell lies inside the data area
// on a multiple of its type's alignment (getTypeAlignment) and every argument and the result refer to a cell of the type that the
// overload demands. Code written by Expr::Parser always passes. On failure
// `why` (if given) receives a short reason.
bool checkCode(const unsigned char* code, unsigned size, const char** why = nullptr);

}  // namespace Expr
