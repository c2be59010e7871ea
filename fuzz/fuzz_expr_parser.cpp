// Any bytes as the text of an expression over a fixed set of inputs: parsing
// must end with a verdict, never a crash, a hang or a read out of bounds. What
// parses is checked, listed, saved and loaded, and run in a pool of exactly the
// size it announces. The same bytes are also offered as byte code: what the
// check accepts must run safely too.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "expression/expr_executor.h"
#include "expression/expr_listing.h"
#include "expression/expr_parser.h"
#ifdef SCINTARI_EXPR_HAS_SL
#include "expression/expr_record.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#endif

namespace
{

const Expr::InputDesc inputs[] = {
    {"a", Expr::VT_Float}, {"b", Expr::VT_Float}, {"u", Expr::VT_Vec2},   {"v", Expr::VT_Vec3},
    {"q", Expr::VT_Quat},  {"p", Expr::VT_Quat},  {"dt", Expr::VT_Float},
};
constexpr unsigned numInputs = sizeof(inputs) / sizeof(inputs[0]);

// Runs code in a pool of exactly its announced size, with bounded inputs.
void runCode(const unsigned char* code, unsigned size)
{
    const unsigned poolSize = Expr::Executor::computePoolSizeNoObj(code, size);
    std::unique_ptr<std::uint64_t[]> storage(new std::uint64_t[poolSize / 8 + 1]);
    // Place the pool at the end of the storage so that any write past it is seen.
    unsigned char* pool = reinterpret_cast<unsigned char*>(storage.get());
    pool += (poolSize / 8 + 1) * 8 - ((poolSize + 7) / 8) * 8;
    Expr::Executor executor(pool, code, size);
    const float values[] = {1.5f, -2.0f, 0.25f, 3.0f};
    for (unsigned i = 0; i < executor.getNumInputs(); ++i)
        executor.setInputRawData(i, values, Expr::getTypeSize(executor.getInputType(i)));
    executor.execute();
    executor.execute();
    float result[4];
    std::memcpy(result, executor.getOutputRawData(), Expr::getTypeSize(executor.getResultType()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Expr::Parser parser(text.c_str(), inputs, numInputs);
    if (parser.isOk())
    {
        const unsigned char* code = parser.getOutputBuffer();
        const unsigned codeSize = parser.getOutputBufferSize();
        if (!Expr::checkCode(code, codeSize))
            std::abort();
        if (parser.getParsedLength() > text.size())
            std::abort();
        (void)Expr::listCode(code, codeSize);
        runCode(code, codeSize);
#ifdef SCINTARI_EXPR_HAS_SL
        Sl::SaverBinFlex saver;
        Expr::saveCodeRecord(saver, parser);
        const std::vector<std::uint8_t> bytes = saver.dataAsVector();
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        const Expr::CodeRecord record = Expr::loadCodeRecord(loader);
        if (record.code.size() != codeSize || std::memcmp(record.code.data(), code, codeSize) != 0)
            std::abort();
#endif
    }
    else
    {
        if (parser.getErrorMessage().empty())
            std::abort();
        if (parser.getErrorPosition() > text.size())
            std::abort();
    }

    // The raw bytes as byte code.
    if (size < 65536 && Expr::checkCode(data, static_cast<unsigned>(size)))
    {
        (void)Expr::listCode(data, static_cast<unsigned>(size));
        runCode(data, static_cast<unsigned>(size));
    }
    return 0;
}
