// The byte code's record in a compiled effect, through the binary stream.
#ifdef SCINTARI_EXPR_HAS_SL

#include "debug/debug_check.h"
#include "expr_test_util.h"
#include "expression/expr_record.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"

using namespace ExprTest;

namespace
{

std::vector<std::uint8_t> saveRecord(const Expr::Parser& parser, Sl::EnumTypeChecking tags)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, tags);
    Expr::saveCodeRecord(saver, parser);
    saver.write("num_inputs", std::uint32_t(1));
    return saver.dataAsVector();
}

}  // namespace

TEST(ExprRecord, RoundTripRunsTheSame)
{
    const std::vector<Input> in = {v3("a", 1, 2, 3), f("dt", 0.5f)};
    const Expr::Parser parser = parse("norm(a) * dt + zyx(a)", in);
    ASSERT_TRUE(parser.isOk());
    for (auto tags : {Sl::TC_Off, Sl::TC_On})
    {
        const auto bytes = saveRecord(parser, tags);
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        const Expr::CodeRecord record = Expr::loadCodeRecord(loader);
        std::uint32_t numInputs = 0;
        loader.read(numInputs);
        EXPECT_EQ(numInputs, 1u);  // the fields behind the record are in place
        ASSERT_EQ(record.code.size(), parser.getOutputBufferSize());
        EXPECT_TRUE(std::equal(record.code.begin(), record.code.end(), parser.getOutputBuffer()));
        EXPECT_EQ(record.poolSize,
                  Expr::Executor::computePoolSizeNoObj(record.code.data(),
                                                       static_cast<unsigned>(record.code.size())));
        Pool pool(record.poolSize);
        Expr::Executor executor(pool.data(), record.code.data(),
                                static_cast<unsigned>(record.code.size()));
        for (unsigned i = 0; i < in.size(); ++i)
            executor.setInputRawData(i, in[i].value.data(),
                                     static_cast<unsigned>(in[i].value.size() * 4));
        executor.execute();
        const Result direct = run("norm(a) * dt + zyx(a)", in);
        ASSERT_TRUE(direct.ok);
        EXPECT_EQ(std::memcmp(executor.getOutputRawData(), direct.value.data(), 12), 0);
    }
}

TEST(ExprRecord, FieldOrderAndForm)
{
    const Expr::Parser parser = parse("a", {Input{"a", Expr::VT_Float, {0}}});
    ASSERT_TRUE(parser.isOk());
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_On);
    Expr::saveCodeRecord(saver, parser);
    const auto bytes = saver.dataAsVector();
    const unsigned size = parser.getOutputBufferSize();  // 7 + 3 + 2 + 3 = 15
    ASSERT_EQ(size, 15u);
    // header, u32 packed tag + 15, binary tag + count + bytes, u32 packed tag + pool size
    ASSERT_EQ(bytes.size(), 1u + 2u + 2u + size + 2u);
    EXPECT_EQ(bytes[1], Sl::T_Uint32Packed);
    EXPECT_EQ(bytes[2], size);
    EXPECT_EQ(bytes[3], Sl::T_Binary);
    EXPECT_EQ(bytes[4], size);
    EXPECT_EQ(bytes[5 + size], Sl::T_Uint32Packed);
    EXPECT_EQ(bytes[6 + size], 16 + 4);  // one input slot and a 4-byte data area
}

TEST(ExprRecord, StepwiseReadIntoCallerMemory)
{
    const Expr::Parser parser = parse("a * 2", {Input{"a", Expr::VT_Float, {0}}});
    const auto bytes = saveRecord(parser, Sl::TC_Off);
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const std::uint32_t size = Expr::readCodeSize(loader);
    std::vector<unsigned char> memory(size);
    Expr::readCodeData(loader, size, memory.data());
    const std::uint32_t poolSize = Expr::readPoolSize(loader, memory.data(), size);
    EXPECT_EQ(poolSize, 16u + 24u + 2u * 8u + 12u);
}

TEST(ExprRecord, AnnouncedSizeMustMatchTheBinaryField)
{
    const Expr::Parser parser = parse("a * 2", {Input{"a", Expr::VT_Float, {0}}});
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    saver.write("expr_data_size", std::uint32_t(parser.getOutputBufferSize() + 1));
    saver.writeBinary("expr_data", parser.getOutputBuffer(), parser.getOutputBufferSize());
    saver.write("expr_pool_size", std::uint32_t(68));
    const auto bytes = saver.dataAsVector();
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    try
    {
        Expr::loadCodeRecord(loader);
        FAIL() << "no assertion";
    }
    catch (const Debug::CheckException& e)
    {
        EXPECT_NE(std::string(e.what()).find("exprDataSize == loader.readBinarySize()"),
                  std::string::npos)
            << e.what();
    }
}

TEST(ExprRecord, CorruptCodeOrPoolSizeIsRefused)
{
    const Expr::Parser parser = parse("a * 2", {Input{"a", Expr::VT_Float, {0}}});
    auto write = [&](std::vector<unsigned char> code, std::uint32_t poolSize)
    {
        Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
        saver.write("expr_data_size", static_cast<std::uint32_t>(code.size()));
        saver.writeBinary("expr_data", code.data(), static_cast<std::uint32_t>(code.size()));
        saver.write("expr_pool_size", poolSize);
        return saver.dataAsVector();
    };
    std::vector<unsigned char> code(parser.getOutputBuffer(),
                                    parser.getOutputBuffer() + parser.getOutputBufferSize());
    const std::uint32_t poolSize = 16 + 24 + 16 + 12;
    {
        const auto bytes = write(code, poolSize + 8);
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        EXPECT_THROW(Expr::loadCodeRecord(loader), Sl::CorruptedDataException);
    }
    {
        auto bad = code;
        bad[7 + 3 + 1] = 9;  // no binary operation 9
        const auto bytes = write(bad, poolSize);
        Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        EXPECT_THROW(Expr::loadCodeRecord(loader), Sl::CorruptedDataException);
    }
    {
        const auto bytes = write(code, poolSize);
        Sl::LoaderBinArray loader(bytes.data(), 5);  // cut inside the binary field
        EXPECT_THROW(Expr::loadCodeRecord(loader), Sl::Exception);
    }
}

TEST(ExprRecord, HugeAnnouncedSizeIsRefusedBeforeAllocation)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    saver.write("expr_data_size", std::uint32_t(0xFFFFFFF0u));
    const auto bytes = saver.dataAsVector();
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_THROW(Expr::loadCodeRecord(loader), Sl::EndOfBufferException);
}

#endif  // SCINTARI_EXPR_HAS_SL
