// The byte code's record in a compiled effect, through the binary stream layer.
// Built only when the stream layer is part of the build.
#ifdef SCINTARI_EXPR_HAS_SL

#include "expression/expr_record.h"

#include "debug/debug_check.h"
#include "expression/expr_executor.h"
#include "expression/expr_parser.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"

namespace Expr
{

void saveCodeRecord(Sl::Saver& saver, const unsigned char* code, std::uint32_t size)
{
    DEBUG_ASSERT(checkCode(code, size));
    saver.write("expr_data_size", size, Sl::PH_Packed);
    saver.writeBinary("expr_data", code, size);
    const std::uint32_t poolSize = Executor::computePoolSizeNoObj(code, size);
    saver.write("expr_pool_size", poolSize, Sl::PH_Packed);
}

void saveCodeRecord(Sl::Saver& saver, const Parser& parser)
{
    DEBUG_ASSERT(parser.isOk());
    saveCodeRecord(saver, parser.getOutputBuffer(), parser.getOutputBufferSize());
}

std::uint32_t readCodeSize(Sl::Loader& loader)
{
    std::uint32_t exprDataSize = 0;
    loader.read(exprDataSize, Sl::PH_Packed);
    // A size beyond the data that is left can only come from a corrupt stream:
    // refuse it before anyone reserves memory for it.
    if (exprDataSize > loader.maxDataLeft())
        throw Sl::EndOfBufferException();
    return exprDataSize;
}

void readCodeData(Sl::Loader& loader, std::uint32_t exprDataSize, unsigned char* code)
{
    DEBUG_ASSERT(exprDataSize == loader.readBinarySize());
    loader.readBinaryData(code);
}

std::uint32_t readPoolSize(Sl::Loader& loader, const unsigned char* code, std::uint32_t size)
{
    std::uint32_t poolSize = 0;
    loader.read(poolSize, Sl::PH_Packed);
    if (!checkCode(code, size) || poolSize != Executor::computePoolSizeNoObj(code, size))
        throw Sl::CorruptedDataException();
    return poolSize;
}

CodeRecord loadCodeRecord(Sl::Loader& loader)
{
    CodeRecord record;
    const std::uint32_t size = readCodeSize(loader);
    record.code.resize(size);
    readCodeData(loader, size, record.code.data());
    record.poolSize = readPoolSize(loader, record.code.data(), size);
    return record;
}

}  // namespace Expr

#endif  // SCINTARI_EXPR_HAS_SL
