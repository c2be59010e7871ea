// The chain of blocks and the reserves of Sl::SaverBinFlex: growth, compaction,
// size words over block edges, and agreement with the deque back end, which
// writes the same bytes by a different method.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>

#include "debug/debug_check.h"
#include "revision_saveload/sl_exceptions.h"
#include "sl_test_helpers.h"

using namespace SlTest;

TEST(SlFlex, BlocksGrowByHalfFromSixteen)
{
    Sl::SaverBinFlex saver;
    EXPECT_EQ(saver.numBlocks(), 1u);  // the header byte
    // Blocks of 16, 24, 36, 54, 81: cumulative 16, 40, 76, 130, 211.
    const uint8_t filler[256] = {};
    saver.writeData(filler, 15);
    EXPECT_EQ(saver.numBlocks(), 1u);
    saver.writeData(filler, 1);
    EXPECT_EQ(saver.numBlocks(), 2u);
    saver.writeData(filler, 39 - 16);
    EXPECT_EQ(saver.numBlocks(), 2u);
    saver.writeData(filler, 1);
    EXPECT_EQ(saver.numBlocks(), 3u);
    saver.writeData(filler, 130 - 41);  // up to 130 bytes: still 4 blocks
    EXPECT_EQ(saver.numBlocks(), 4u);
    saver.writeData(filler, 1);
    EXPECT_EQ(saver.numBlocks(), 5u);
    EXPECT_EQ(saver.dataSize(), 131u);
    EXPECT_EQ(saver.rawSize(), 131u);
    // 81 * 1.5 = 121.5 is truncated: the sixth block holds 121 bytes, so the
    // chain ends at 332 and byte 333 opens a seventh.
    saver.writeData(filler, 211 - 131);
    EXPECT_EQ(saver.numBlocks(), 5u);
    saver.writeData(filler, 1);
    EXPECT_EQ(saver.numBlocks(), 6u);
    saver.writeData(filler, 332 - 212);
    EXPECT_EQ(saver.numBlocks(), 6u);
    saver.writeData(filler, 1);
    EXPECT_EQ(saver.numBlocks(), 7u);
}

TEST(SlFlex, LargeGroupTakesTwoByteWordAndCompactsReserves)
{
    Sl::SaverBinFlex saver;
    saver.startGroup("outer", 0);
    saver.startGroup("small", 0);
    saver.write("x", uint8_t(1));
    saver.endGroup();
    for (int i = 0; i < 150; ++i)
        saver.write("y", uint8_t(i));
    saver.endGroup();

    // inner: word 0x02 + 1 byte; outer content = 2 + 150 = 152 -> word 304 = 0xB0 0x02.
    EXPECT_EQ(saver.dataSize(), 1u + 2u + 152u);
    EXPECT_EQ(saver.rawSize(), 1u + 5u + 5u + 1u + 150u);
    EXPECT_EQ(saver.rawSize() - saver.dataSize(), (5u - 2u) + (5u - 1u));
    const Bytes out = saver.dataAsVector();
    ASSERT_EQ(out.size(), saver.dataSize());
    EXPECT_EQ(out[1], 0xB0);
    EXPECT_EQ(out[2], 0x02);
    EXPECT_EQ(out[3], 0x02);
    EXPECT_EQ(out[4], 0x01);
    EXPECT_EQ(out[5], 0x00);
    EXPECT_EQ(out.back(), 149);
}

TEST(SlFlex, CopyOutFormsAgree)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_On);
    for (int i = 0; i < 40; ++i)
    {
        saver.startGroup("g", i % 3);
        saver.write("v", i * 7919);
        saver.endGroup();
    }
    const Bytes vec = saver.dataAsVector();
    Bytes array(saver.dataSize());
    saver.copyToArray(array.data());
    std::ostringstream stream;
    saver.copyToStream(stream);
    const std::string text = stream.str();
    EXPECT_EQ(vec, array);
    EXPECT_EQ(vec, Bytes(text.begin(), text.end()));
}

TEST(SlFlex, ReserveStraddlingEveryBlockEdgeCopiesOut)
{
    // Shift a nested pair of groups through every offset of the first blocks so
    // that reserves and size words begin, end and cross at each block edge.
    for (uint32_t lead = 0; lead < 140; ++lead)
    {
        auto body = [lead](Sl::Saver& s)
        {
            for (uint32_t i = 0; i < lead; ++i)
                s.write("p", uint8_t(i));
            s.startGroup("a", 1);
            s.startGroup("b", 0);
            for (int i = 0; i < 130; ++i)
                s.write("q", uint8_t(i));
            s.endGroup();
            s.startGroup("c", 0);
            s.endGroup();
            s.endGroup();
        };
        ASSERT_EQ(saveWith(SaverKind::Flex, Sl::BO_Native, Sl::TC_Off, body),
                  saveWith(SaverKind::Deque, Sl::BO_Native, Sl::TC_Off, body))
            << "lead " << lead;
    }
}

namespace
{

// A random program of writes and nested groups, replayed on any saver.
struct Op
{
    int kind;
    uint64_t value;
};

std::vector<Op> randomProgram(std::mt19937& rng, int length)
{
    std::vector<Op> ops;
    int depth = 0;
    for (int i = 0; i < length; ++i)
    {
        int kind = static_cast<int>(rng() % 8);
        if (kind == 1 && depth == 0)
            kind = 0;
        if (kind == 0)
            ++depth;
        if (kind == 1)
            --depth;
        ops.push_back(Op{kind, (uint64_t(rng()) << 32) ^ rng()});
    }
    while (depth-- > 0)
        ops.push_back(Op{1, 0});
    return ops;
}

void replay(const std::vector<Op>& ops, Sl::Saver& s)
{
    for (const Op& op : ops)
    {
        switch (op.kind)
        {
        case 0:
            s.startGroup("g", static_cast<uint32_t>(op.value % 4));
            break;
        case 1:
            s.endGroup();
            break;
        case 2:
            s.write("u64", op.value >> (op.value % 64));
            break;
        case 3:
            s.write("i32", static_cast<int32_t>(op.value), Sl::PH_Fixed);
            break;
        case 4:
            s.write("f", static_cast<float>(op.value % 1000) / 7.0f);
            break;
        case 5:
        {
            Bytes blob(op.value % 300, static_cast<uint8_t>(op.value));
            s.writeBinary("b", blob.data(), static_cast<uint32_t>(blob.size()));
            break;
        }
        case 6:
            s.write("b", (op.value & 1) != 0);
            break;
        default:
            s.write("i16", static_cast<int16_t>(op.value));
            break;
        }
    }
}

void check(const std::vector<Op>& ops, Sl::Loader& l)
{
    for (const Op& op : ops)
    {
        switch (op.kind)
        {
        case 0:
            ASSERT_EQ(l.startGroup(3), op.value % 4);
            break;
        case 1:
            l.endGroup();
            break;
        case 2:
        {
            uint64_t v = 0;
            l.read(v);
            ASSERT_EQ(v, op.value >> (op.value % 64));
            break;
        }
        case 3:
        {
            int32_t v = 0;
            l.read(v, Sl::PH_Fixed);
            ASSERT_EQ(v, static_cast<int32_t>(op.value));
            break;
        }
        case 4:
        {
            float v = 0;
            l.read(v);
            ASSERT_EQ(v, static_cast<float>(op.value % 1000) / 7.0f);
            break;
        }
        case 5:
        {
            const uint32_t size = l.readBinarySize();
            ASSERT_EQ(size, op.value % 300);
            Bytes blob(size + 1);
            l.readBinaryData(blob.data());
            ASSERT_EQ(Bytes(blob.begin(), blob.begin() + size),
                      Bytes(size, static_cast<uint8_t>(op.value)));
            break;
        }
        case 6:
        {
            bool v = false;
            l.read(v);
            ASSERT_EQ(v, (op.value & 1) != 0);
            break;
        }
        default:
        {
            int16_t v = 0;
            l.read(v);
            ASSERT_EQ(v, static_cast<int16_t>(op.value));
            break;
        }
        }
    }
    EXPECT_THROW(l.skipUint8(), Sl::EndOfBufferException);
}

}  // namespace

TEST(SlFlex, RandomProgramsMatchDequeAndReadBack)
{
    std::mt19937 rng(12345);
    for (int round = 0; round < 150; ++round)
    {
        const std::vector<Op> ops = randomProgram(rng, 1 + round * 2);
        for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
        {
            auto body = [&ops](Sl::Saver& s) { replay(ops, s); };
            const Bytes flex = saveWith(SaverKind::Flex, Sl::BO_BigEndian, tags, body);
            ASSERT_EQ(flex, saveWith(SaverKind::Deque, Sl::BO_BigEndian, tags, body)) << round;
            const Bytes fixed = saveWith(SaverKind::Array, Sl::BO_BigEndian, tags, body, 1 << 18);
            ASSERT_EQ(fixed, saveWith(SaverKind::OStream, Sl::BO_BigEndian, tags, body)) << round;
            for (const Bytes* data : {&flex, &fixed})
            {
                for (LoaderKind loader : kAllLoaders)
                    loadWith(loader, *data, [&ops](Sl::Loader& l) { check(ops, l); });
            }
        }
    }
}

TEST(SlFlex, OpenGroupsAreLeftOutOfTheCopy)
{
    // A saver given up half-way still copies out exactly dataSize() bytes.
    Sl::SaverBinFlex saver;
    saver.write("a", uint8_t(1));
    saver.startGroup("open", 2);
    saver.write("b", uint8_t(2));
    const Bytes out = saver.dataAsVector();
    EXPECT_EQ(out.size(), saver.dataSize());
    EXPECT_EQ(out.size(), 4u);  // header, a, version, b
    EXPECT_EQ(saver.numOpenGroups(), 1u);
}

TEST(SlArraySaver, BufferLimitIsAnAssertion)
{
    uint8_t buffer[32];
    Sl::SaverBinArray saver(buffer, sizeof(buffer));
    // With no group open the data may fill the whole buffer (header + 31 bytes).
    const uint8_t filler[32] = {};
    saver.writeData(filler, 31);
    EXPECT_THROW(saver.writeData(filler, 1), Debug::CheckException);
}

TEST(SlArraySaver, GroupStackStartsBelowTheRoundedEnd)
{
    // Size 37 rounds down to 32: the first open group's entry (flag, then the
    // offset of its size word) lies at 24..31, and data may grow up to it.
    uint8_t buffer[40];
    std::memset(buffer, 0xAA, sizeof(buffer));
    Sl::SaverBinArray saver(buffer, 37, Sl::BO_LittleEndian, Sl::TC_Off);
    saver.startGroup("a", 1);  // word at 1..4, version at 5
    uint32_t flag = 0;
    uint32_t wordOffset = 0;
    std::memcpy(&flag, buffer + 24, 4);
    std::memcpy(&wordOffset, buffer + 28, 4);
    EXPECT_EQ(flag, 1u);
    EXPECT_EQ(wordOffset, 1u);
    EXPECT_EQ(buffer[32], 0xAA);  // nothing beyond the rounded size
    const uint8_t filler[32] = {};
    saver.writeData(filler, 24 - saver.dataSize());
    EXPECT_EQ(saver.dataSize(), 24u);
    EXPECT_THROW(saver.writeData(filler, 1), Debug::CheckException);
    // Closing the group frees its entry and writes the word: content of the
    // version byte and 18 filler bytes, flag set.
    saver.endGroup();
    EXPECT_EQ(Bytes(saver.data() + 1, saver.data() + 5), (Bytes{(19 << 1) | 1, 0, 0, 0}));
    saver.writeData(filler, 8);
    EXPECT_EQ(saver.dataSize(), 32u);
}

TEST(SlArraySaver, GroupStackSharesTheBuffer)
{
    uint8_t buffer[40];
    Sl::SaverBinArray saver(buffer, 37);  // rounded down to 32
    saver.startGroup("a", 0);             // entry at 24..31, word at 1..4
    const uint8_t filler[32] = {};
    saver.writeData(filler, 19);  // data up to 24
    EXPECT_THROW(saver.startGroup("b", 0), Debug::CheckException);
}
