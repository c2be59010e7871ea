#pragma once

// The record of compiled byte code inside an expression operation of a
// compiled effect, in this order:
//   "expr_data_size" uint32 packed: size of the byte code,
//   "expr_data"      binary: the byte code,
//   "expr_pool_size" uint32 packed: Executor::computePoolSizeNoObj of the code.
// The operation's own fields (its inputs) follow; they are not written here.

#include <cstdint>
#include <vector>

namespace Sl
{
class Saver;
class Loader;
}  // namespace Sl

namespace Expr
{

class Parser;

// Writes the three fields. The code must be sound (as Parser writes it).
void saveCodeRecord(Sl::Saver& saver, const unsigned char* code, std::uint32_t size);
// The same for the output of a parser; the parser must be ok.
void saveCodeRecord(Sl::Saver& saver, const Parser& parser);

struct CodeRecord
{
    std::vector<unsigned char> code;
    std::uint32_t poolSize = 0;
};

// Reads the three fields into memory of its own.
CodeRecord loadCodeRecord(Sl::Loader& loader);

// The same in steps, for a loader that places the code in memory it owns:
//   size = readCodeSize(loader); <reserve size bytes>; readCodeData(loader, size, bytes);
//   poolSize = readPoolSize(loader, bytes, size); <reserve poolSize bytes>
// A binary field of another size than announced is a failed assertion
// ("exprDataSize == loader.readBinarySize()"); byte code that is not sound or a
// pool size that differs from the one the code needs throws
// Sl::CorruptedDataException.
std::uint32_t readCodeSize(Sl::Loader& loader);
void readCodeData(Sl::Loader& loader, std::uint32_t exprDataSize, unsigned char* code);
std::uint32_t readPoolSize(Sl::Loader& loader, const unsigned char* code, std::uint32_t size);

}  // namespace Expr
