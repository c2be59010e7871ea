// Byte-exact expectations of the stream format and round trips of every
// scalar over every saver and loader back end.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "revision_saveload/sl_base128.h"
#include "revision_saveload/sl_byte_order.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_scoped_group.h"
#include "sl_test_helpers.h"

using namespace SlTest;

namespace
{

Bytes bytes(std::initializer_list<int> values)
{
    Bytes result;
    for (int v : values)
        result.push_back(static_cast<uint8_t>(v));
    return result;
}

// The header byte a packed-group saver writes on this machine with tags off.
uint8_t nativeBit() { return Sl::isBigEndian() ? 0x01 : 0x00; }

}  // namespace

TEST(SlHeader, EmptyFlexSaver)
{
    Sl::SaverBinFlex off(Sl::BO_Native, Sl::TC_Off);
    EXPECT_EQ(off.dataSize(), 1u);
    EXPECT_EQ(off.dataAsVector(), bytes({0x04 | nativeBit()}));
    Sl::SaverBinFlex on(Sl::BO_Native, Sl::TC_On);
    EXPECT_EQ(on.dataAsVector(), bytes({0x06 | nativeBit()}));
}

TEST(SlHeader, ArraySaverHeaderBits)
{
    auto header = [](Sl::EnumByteOrder order, Sl::EnumTypeChecking tags)
    {
        return saveWith(
            SaverKind::Array, order, tags, [](Sl::Saver&) {}, 64);
    };
    EXPECT_EQ(header(Sl::BO_LittleEndian, Sl::TC_Off), bytes({0x00}));
    EXPECT_EQ(header(Sl::BO_BigEndian, Sl::TC_Off), bytes({0x01}));
    EXPECT_EQ(header(Sl::BO_BigEndian, Sl::TC_On), bytes({0x03}));
    EXPECT_EQ(header(Sl::BO_LittleEndian, Sl::TC_On), bytes({0x02}));
    EXPECT_EQ(header(Sl::BO_Native, Sl::TC_Off), bytes({nativeBit()}));
}

TEST(SlHeader, StreamAndDequeHeaders)
{
    EXPECT_EQ(saveWith(SaverKind::OStream, Sl::BO_BigEndian, Sl::TC_On, [](Sl::Saver&) {}),
              bytes({0x03}));
    EXPECT_EQ(saveWith(SaverKind::Deque, Sl::BO_BigEndian, Sl::TC_On, [](Sl::Saver&) {}),
              bytes({0x07}));
    EXPECT_EQ(saveWith(SaverKind::Deque, Sl::BO_LittleEndian, Sl::TC_Off, [](Sl::Saver&) {}),
              bytes({0x04}));
}

TEST(SlHeader, LoaderRejectsUnusedHeaderBitsAndEmptyData)
{
    const Bytes bad = bytes({0x08});
    for (LoaderKind kind : kAllLoaders)
    {
        EXPECT_THROW(loadWith(kind, bad, [](Sl::Loader&) {}), Sl::CorruptedDataException)
            << loaderName(kind);
        EXPECT_THROW(loadWith(kind, Bytes{}, [](Sl::Loader&) {}), Sl::EndOfBufferException)
            << loaderName(kind);
    }
}

TEST(SlBytes, GroupsPackedTagsOff)
{
    const Bytes empty = flexBytes(Sl::TC_Off,
                                  [](Sl::Saver& s)
                                  {
                                      s.startGroup("g", 0);
                                      s.endGroup();
                                  });
    EXPECT_EQ(Bytes(empty.begin() + 1, empty.end()), bytes({0x00}));

    const Bytes versioned = flexBytes(Sl::TC_Off,
                                      [](Sl::Saver& s)
                                      {
                                          s.startGroup("g", 1);
                                          s.endGroup();
                                      });
    EXPECT_EQ(Bytes(versioned.begin() + 1, versioned.end()), bytes({0x03, 0x01}));
}

TEST(SlBytes, GroupsWithTagsAndFixedWords)
{
    const Bytes tagged = flexBytes(Sl::TC_On,
                                   [](Sl::Saver& s)
                                   {
                                       s.startGroup("g", 2);
                                       s.write("b", true);
                                       s.endGroup();
                                   });
    // tag, word (content 3: version byte, bool tag, bool byte), version, bool.
    EXPECT_EQ(Bytes(tagged.begin() + 1, tagged.end()), bytes({200, 0x07, 0x02, 201, 0x01}));

    const Bytes fixed = saveWith(SaverKind::Array, Sl::BO_LittleEndian, Sl::TC_Off,
                                 [](Sl::Saver& s)
                                 {
                                     s.startGroup("g", 0);
                                     s.write("v", uint8_t(9));
                                     s.endGroup();
                                 });
    EXPECT_EQ(fixed, bytes({0x00, 0x02, 0x00, 0x00, 0x00, 0x09}));

    const Bytes fixedBig = saveWith(SaverKind::OStream, Sl::BO_BigEndian, Sl::TC_Off,
                                    [](Sl::Saver& s)
                                    {
                                        s.startGroup("g", 1);
                                        s.endGroup();
                                    });
    EXPECT_EQ(fixedBig, bytes({0x01, 0x00, 0x00, 0x00, 0x03, 0x01}));
}

TEST(SlBytes, PackedIntegers)
{
    auto body = [](auto value) {
        return flexBytes(Sl::TC_Off, [value](Sl::Saver& s) { s.write("v", value, Sl::PH_Packed); });
    };
    EXPECT_EQ(body(int32_t(-1)), bytes({0x04 | nativeBit(), 0x01}));
    EXPECT_EQ(body(int32_t(1)), bytes({0x04 | nativeBit(), 0x02}));
    EXPECT_EQ(body(uint32_t(128)), bytes({0x04 | nativeBit(), 0x80, 0x01}));
    EXPECT_EQ(body(uint32_t(0)), bytes({0x04 | nativeBit(), 0x00}));
    EXPECT_EQ(body(int16_t(-64)), bytes({0x04 | nativeBit(), 0x7F}));
    EXPECT_EQ(body(int16_t(64)), bytes({0x04 | nativeBit(), 0x80, 0x01}));
    EXPECT_EQ(body(uint64_t(300)), bytes({0x04 | nativeBit(), 0xAC, 0x02}));
}

TEST(SlBytes, TagsPrecedeValues)
{
    const Bytes tagged =
        flexBytes(Sl::TC_On,
                  [](Sl::Saver& s)
                  {
                      s.write("a", int8_t(-2));
                      s.write("b", uint16_t(5), Sl::PH_Fixed);
                      s.write("c", uint16_t(5), Sl::PH_Packed);
                      s.writeBinary("d", reinterpret_cast<const uint8_t*>("xy"), 2);
                  });
    const uint8_t lo = Sl::isBigEndian() ? 0x00 : 0x05;
    const uint8_t hi = Sl::isBigEndian() ? 0x05 : 0x00;
    EXPECT_EQ(Bytes(tagged.begin() + 1, tagged.end()),
              bytes({202, 0xFE, 206, lo, hi, 207, 0x05, 218, 0x02, 'x', 'y'}));
}

TEST(SlBytes, FixedValuesFollowTheStreamOrder)
{
    const Bytes big = saveWith(SaverKind::Array, Sl::BO_BigEndian, Sl::TC_Off,
                               [](Sl::Saver& s)
                               {
                                   s.write("u", uint32_t(0x01020304), Sl::PH_Fixed);
                                   s.write("f", 1.0f);
                               });
    EXPECT_EQ(big, bytes({0x01, 0x01, 0x02, 0x03, 0x04, 0x3F, 0x80, 0x00, 0x00}));
    const Bytes little =
        saveWith(SaverKind::Flex, Sl::BO_LittleEndian, Sl::TC_Off,
                 [](Sl::Saver& s) { s.write("u", uint32_t(0x01020304), Sl::PH_Fixed); });
    EXPECT_EQ(little, bytes({0x04, 0x04, 0x03, 0x02, 0x01}));
    for (LoaderKind kind : kAllLoaders)
    {
        loadWith(kind, big,
                 [](Sl::Loader& l)
                 {
                     uint32_t u = 0;
                     float f = 0;
                     l.read(u, Sl::PH_Fixed);
                     l.read(f);
                     EXPECT_EQ(u, 0x01020304u);
                     EXPECT_EQ(f, 1.0f);
                 });
    }
}

// Every scalar in both hints with extremes, written by every saver, in every
// byte order, tags on and off, read by every loader.
namespace
{

void writeAll(Sl::Saver& s)
{
    s.write("b0", false);
    s.write("b1", true);
    s.write("i8", std::numeric_limits<int8_t>::min());
    s.write("u8", std::numeric_limits<uint8_t>::max());
    for (Sl::EnumPackedHint hint : {Sl::PH_Packed, Sl::PH_Fixed})
    {
        Sl::ScopedSaverGroup group("ints", s, hint == Sl::PH_Fixed ? 7 : 0);
        s.write("i16", std::numeric_limits<int16_t>::min(), hint);
        s.write("i16", int16_t(-1), hint);
        s.write("u16", std::numeric_limits<uint16_t>::max(), hint);
        s.write("i32", std::numeric_limits<int32_t>::min(), hint);
        s.write("i32", std::numeric_limits<int32_t>::max(), hint);
        s.write("u32", std::numeric_limits<uint32_t>::max(), hint);
        s.write("i64", std::numeric_limits<int64_t>::min(), hint);
        s.write("i64", int64_t(-123456789012345), hint);
        s.write("u64", std::numeric_limits<uint64_t>::max(), hint);
    }
    s.write("f", -1.5e-7f);
    s.write("d", 3.141592653589793);
    s.write("nan", std::numeric_limits<double>::quiet_NaN());
    const uint8_t blob[] = {0, 1, 2, 255};
    s.writeBinary("bin", blob, 4);
    s.writeBinary("empty", nullptr, 0);
    {
        Sl::ScopedSaverGroup outer("outer", s, 300);
        Sl::ScopedSaverGroup inner(s);
        s.write("last", uint8_t(42));
    }
}

void readAll(Sl::Loader& l)
{
    bool b = true;
    l.read(b);
    EXPECT_FALSE(b);
    l.read(b);
    EXPECT_TRUE(b);
    int8_t i8 = 0;
    l.read(i8);
    EXPECT_EQ(i8, std::numeric_limits<int8_t>::min());
    uint8_t u8 = 0;
    l.read(u8);
    EXPECT_EQ(u8, 255);
    for (Sl::EnumPackedHint hint : {Sl::PH_Packed, Sl::PH_Fixed})
    {
        Sl::ScopedLoaderGroup group(l, 7);
        EXPECT_EQ(group.version(), hint == Sl::PH_Fixed ? 7u : 0u);
        int16_t i16 = 0;
        l.read(i16, hint);
        EXPECT_EQ(i16, std::numeric_limits<int16_t>::min());
        l.read(i16, hint);
        EXPECT_EQ(i16, -1);
        uint16_t u16 = 0;
        l.read(u16, hint);
        EXPECT_EQ(u16, 0xFFFF);
        int32_t i32 = 0;
        l.read(i32, hint);
        EXPECT_EQ(i32, std::numeric_limits<int32_t>::min());
        l.read(i32, hint);
        EXPECT_EQ(i32, std::numeric_limits<int32_t>::max());
        uint32_t u32 = 0;
        l.read(u32, hint);
        EXPECT_EQ(u32, 0xFFFFFFFFu);
        int64_t i64 = 0;
        l.read(i64, hint);
        EXPECT_EQ(i64, std::numeric_limits<int64_t>::min());
        l.read(i64, hint);
        EXPECT_EQ(i64, -123456789012345);
        uint64_t u64 = 0;
        l.read(u64, hint);
        EXPECT_EQ(u64, std::numeric_limits<uint64_t>::max());
    }
    float f = 0;
    l.read(f);
    EXPECT_EQ(f, -1.5e-7f);
    double d = 0;
    l.read(d);
    EXPECT_EQ(d, 3.141592653589793);
    l.read(d);
    EXPECT_TRUE(std::isnan(d));
    EXPECT_EQ(l.readBinarySize(), 4u);
    uint8_t blob[4] = {};
    l.readBinaryData(blob);
    EXPECT_EQ(Bytes(blob, blob + 4), bytes({0, 1, 2, 255}));
    uint8_t none = 0x55;
    l.readBinaryData(&none);  // data alone reads the size first
    EXPECT_EQ(none, 0x55);
    EXPECT_EQ(l.startGroup(300), 300u);
    EXPECT_EQ(l.startGroup(0), 0u);
    l.read(u8);
    EXPECT_EQ(u8, 42);
    l.endGroup();
    l.endGroup();
}

}  // namespace

TEST(SlRoundTrip, AllScalarsAllBackEnds)
{
    for (SaverKind saver : kAllSavers)
    {
        for (Sl::EnumByteOrder order : {Sl::BO_Native, Sl::BO_LittleEndian, Sl::BO_BigEndian})
        {
            for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
            {
                const Bytes data = saveWith(saver, order, tags, writeAll);
                for (LoaderKind loader : kAllLoaders)
                {
                    SCOPED_TRACE(std::string(saverName(saver)) + " -> " + loaderName(loader) +
                                 " order " + std::to_string(order) + " tags " +
                                 std::to_string(tags));
                    bool finished = false;
                    loadWith(loader, data,
                             [&](Sl::Loader& l)
                             {
                                 readAll(l);
                                 // Nothing may be left over and nothing may be missing.
                                 EXPECT_THROW(l.skipUint8(), Sl::EndOfBufferException);
                                 finished = true;
                             });
                    EXPECT_TRUE(finished);
                }
            }
        }
    }
}

TEST(SlRoundTrip, PackedBackEndsAgreeAndFixedBackEndsAgree)
{
    for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
    {
        EXPECT_EQ(saveWith(SaverKind::Flex, Sl::BO_BigEndian, tags, writeAll),
                  saveWith(SaverKind::Deque, Sl::BO_BigEndian, tags, writeAll));
        EXPECT_EQ(saveWith(SaverKind::Array, Sl::BO_LittleEndian, tags, writeAll),
                  saveWith(SaverKind::OStream, Sl::BO_LittleEndian, tags, writeAll));
    }
}

TEST(SlRoundTrip, SkipEveryKindOfValue)
{
    for (SaverKind saver : kAllSavers)
    {
        for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
        {
            const Bytes data = saveWith(saver, Sl::BO_BigEndian, tags, writeAll);
            for (LoaderKind loader : kAllLoaders)
            {
                SCOPED_TRACE(std::string(saverName(saver)) + " -> " + loaderName(loader));
                loadWith(loader, data,
                         [](Sl::Loader& l)
                         {
                             l.skip<bool>();
                             l.skipBool();
                             l.skip<int8_t>();
                             l.skip<uint8_t>();
                             l.skipGroup();  // the packed integers
                             {
                                 Sl::ScopedLoaderGroup group(l, 7);
                                 l.skip<int16_t>(Sl::PH_Fixed);
                                 l.skipInt16(Sl::PH_Fixed);
                                 l.skip<uint16_t>(Sl::PH_Fixed);
                                 l.skip<int32_t>(Sl::PH_Fixed);
                                 l.skipInt32(Sl::PH_Fixed);
                                 l.skip<uint32_t>(Sl::PH_Fixed);
                                 l.skip<int64_t>(Sl::PH_Fixed);
                                 l.skipInt64(Sl::PH_Fixed);
                                 l.skip<uint64_t>(Sl::PH_Fixed);
                             }
                             l.skip<float>();
                             l.skip<double>();
                             l.skipDouble();
                             l.skip<std::string>();  // a binary value
                             l.skipBinary();
                             // Skipping a group passes over nested groups without parsing them.
                             l.skip<std::vector<int>>();
                             EXPECT_EQ(l.maxDataLeft() == Sl::Loader::kUnknownDataLeft
                                           ? 0u
                                           : l.maxDataLeft(),
                                       0u);
                             EXPECT_THROW(l.skipUint8(), Sl::EndOfBufferException);
                         });
            }
        }
    }
}

TEST(SlRoundTrip, PackedSkipsAndReadsMatchSizes)
{
    const Bytes data = flexBytes(Sl::TC_Off,
                                 [](Sl::Saver& s)
                                 {
                                     s.write("a", uint64_t(1) << 63);
                                     s.write("b", int16_t(-300));
                                     s.write("c", uint8_t(7));
                                 });
    loadWith(LoaderKind::Array, data,
             [](Sl::Loader& l)
             {
                 l.skipUint64();
                 l.skipInt16();
                 uint8_t c = 0;
                 l.read(c);
                 EXPECT_EQ(c, 7);
             });
}

TEST(SlHints, WrongHintWithTagsThrowsAndWithoutTagsMisreads)
{
    auto body = [](Sl::Saver& s)
    {
        s.write("v", uint32_t(0x01020304), Sl::PH_Fixed);
        s.write("w", uint8_t(1));
    };
    for (SaverKind saver : kAllSavers)
    {
        const Bytes tagged = saveWith(saver, Sl::BO_Native, Sl::TC_On, body);
        for (LoaderKind loader : kAllLoaders)
        {
            loadWith(loader, tagged,
                     [](Sl::Loader& l)
                     {
                         uint32_t v = 0;
                         EXPECT_THROW(l.read(v, Sl::PH_Packed), Sl::WrongTypeException);
                     });
            loadWith(loader, tagged,
                     [](Sl::Loader& l)
                     {
                         int32_t v = 0;  // right width and hint, wrong signedness
                         EXPECT_THROW(l.read(v, Sl::PH_Fixed), Sl::WrongTypeException);
                     });
            loadWith(loader, tagged,
                     [](Sl::Loader& l) { EXPECT_THROW(l.startGroup(0), Sl::WrongTypeException); });
        }
        const Bytes untagged = saveWith(saver, Sl::BO_Native, Sl::TC_Off, body);
        loadWith(LoaderKind::Array, untagged,
                 [](Sl::Loader& l)
                 {
                     uint32_t v = 0;
                     l.read(v, Sl::PH_Packed);  // no check possible: a different value comes back
                     EXPECT_NE(v, 0x01020304u);
                 });
    }
}

TEST(SlGroups, VersionNewerThanReaderThrows)
{
    for (SaverKind saver : kAllSavers)
    {
        const Bytes data = saveWith(saver, Sl::BO_Native, Sl::TC_Off,
                                    [](Sl::Saver& s) { Sl::ScopedSaverGroup group("g", s, 5); });
        for (LoaderKind loader : kAllLoaders)
        {
            loadWith(loader, data,
                     [](Sl::Loader& l)
                     { EXPECT_THROW(l.startGroup(4), Sl::OldLoaderVersionException); });
            loadWith(loader, data, [](Sl::Loader& l) { EXPECT_EQ(l.startGroup(5), 5u); });
        }
    }
}

TEST(SlGroups, SkipGroupPassesNestedGroupsUnparsed)
{
    for (SaverKind saver : kAllSavers)
    {
        for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
        {
            const Bytes data = saveWith(saver, Sl::BO_Native, tags,
                                        [](Sl::Saver& s)
                                        {
                                            {
                                                Sl::ScopedSaverGroup a("a", s, 3);
                                                for (int i = 0; i < 50; ++i)
                                                {
                                                    Sl::ScopedSaverGroup b("b", s, i);
                                                    s.write("x", i * 1000);
                                                    Sl::ScopedSaverGroup c("c", s);
                                                    s.write("y", double(i));
                                                }
                                            }
                                            s.write("after", uint16_t(0xBEEF), Sl::PH_Fixed);
                                        });
            for (LoaderKind loader : kAllLoaders)
            {
                loadWith(loader, data,
                         [](Sl::Loader& l)
                         {
                             l.skipGroup();
                             uint16_t after = 0;
                             l.read(after, Sl::PH_Fixed);
                             EXPECT_EQ(after, 0xBEEF);
                         });
            }
        }
    }
}

TEST(SlBinary, SizeThenDataAndDataAlone)
{
    const Bytes data = flexBytes(Sl::TC_On,
                                 [](Sl::Saver& s)
                                 {
                                     const uint8_t a[] = {'a', 0, 'b'};
                                     s.writeBinary("a", a, 3);
                                     s.writeBinary("a", a, 2);
                                 });
    loadWith(LoaderKind::Deque, data,
             [](Sl::Loader& l)
             {
                 uint8_t buffer[8] = {};
                 EXPECT_EQ(l.readBinarySize(), 3u);
                 l.readBinaryData(buffer);
                 EXPECT_EQ(Bytes(buffer, buffer + 3), bytes({'a', 0, 'b'}));
                 uint8_t second[8] = {};
                 l.readBinaryData(second);
                 EXPECT_EQ(Bytes(second, second + 3), bytes({'a', 0, 0}));
             });
}

TEST(SlBase128, MaximalLengthsAndZigzag)
{
    uint8_t out[10];
    EXPECT_EQ(Sl::encodeU16Base128(0xFFFF, out), 3u);
    EXPECT_EQ(Sl::encodeU32Base128(0xFFFFFFFF, out), 5u);
    EXPECT_EQ(Sl::encodeU64Base128(~uint64_t(0), out), 10u);
    EXPECT_EQ(Sl::encodeS64Base128(std::numeric_limits<int64_t>::min(), out), 10u);
    EXPECT_EQ(Sl::encodeS32Base128(-1, out), 1u);
    EXPECT_EQ(out[0], 0x01);
    EXPECT_EQ(Sl::encodeS32Base128(std::numeric_limits<int32_t>::max(), out), 5u);
    EXPECT_EQ(Bytes(out, out + 5), bytes({0xFE, 0xFF, 0xFF, 0xFF, 0x0F}));

    for (int64_t v : {int64_t(0), int64_t(-1), int64_t(1), int64_t(-64), int64_t(63),
                      int64_t(1) << 40, -(int64_t(1) << 40), std::numeric_limits<int64_t>::max(),
                      std::numeric_limits<int64_t>::min()})
    {
        const uint32_t n = Sl::encodeS64Base128(v, out);
        int64_t back = 0;
        EXPECT_EQ(Sl::decodeS64Base128(out, back), n);
        EXPECT_EQ(back, v);
    }
    for (int v = std::numeric_limits<int16_t>::min(); v <= std::numeric_limits<int16_t>::max(); ++v)
    {
        const uint32_t n = Sl::encodeS16Base128(int16_t(v), out);
        int16_t back = 0;
        ASSERT_EQ(Sl::decodeS16Base128(out, back), n);
        ASSERT_EQ(back, v);
        uint16_t ub = 0;
        const uint32_t un = Sl::encodeU16Base128(uint16_t(v), out);
        ASSERT_EQ(Sl::decodeU16Base128(out, ub), un);
        ASSERT_EQ(ub, uint16_t(v));
    }
}

TEST(SlBase128, DecodeNeverReadsPastTheMaximalLength)
{
    const uint8_t endless[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    EXPECT_EQ(Sl::decodeU16Base128(endless, u16), 3u);
    EXPECT_EQ(Sl::decodeU32Base128(endless, u32), 5u);
    EXPECT_EQ(Sl::decodeU64Base128(endless, u64), 10u);
}
