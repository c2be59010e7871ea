// Truncated and corrupted streams: the loaders raise Sl exceptions and
// nothing else, and counts from the data never size an allocation unchecked.

#include <gtest/gtest.h>

#include <random>

#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_write_read.h"
#include "sl_test_helpers.h"

using namespace SlTest;

namespace
{

struct Record
{
    std::string name;
    std::vector<glm::vec3> points;
    std::map<std::string, std::vector<int32_t>> table;
    boost::optional<boost::uuids::uuid> id;
    double weight = 0;
    bool operator==(const Record& o) const
    {
        return name == o.name && points == o.points && table == o.table && id == o.id &&
               weight == o.weight;
    }
};

Record sample()
{
    Record r;
    r.name = std::string("emitter\0one", 11);
    r.points = {glm::vec3(1, 2, 3), glm::vec3(-1, 0, 0.5f)};
    r.table = {{"a", {1, 2, 3}}, {"bb", {}}, {"ccc", {-100000}}};
    boost::uuids::uuid id{};
    for (int i = 0; i < 16; ++i)
        id.data[i] = static_cast<uint8_t>(200 + i);
    r.id = id;
    r.weight = 0.125;
    return r;
}

void writeRecord(Sl::Saver& s, const Record& r)
{
    Sl::ScopedSaverGroup group("record", s, 2);
    Sl::write("name", s, r.name);
    Sl::write("points", s, r.points);
    Sl::write("table", s, r.table);
    Sl::write("id", s, r.id);
    s.write("weight", r.weight);
    s.write("fixed", int64_t(-5), Sl::PH_Fixed);
}

Record readRecord(Sl::Loader& l)
{
    Record r;
    Sl::ScopedLoaderGroup group(l, 2);
    Sl::read(l, r.name);
    Sl::read(l, r.points);
    Sl::read(l, r.table);
    Sl::read(l, r.id);
    l.read(r.weight);
    int64_t fixed = 0;
    l.read(fixed, Sl::PH_Fixed);
    return r;
}

// Runs a read and reports how it ended; anything but an Sl::Exception
// escapes and fails the test.
enum class Outcome
{
    Ok,
    EndOfBuffer,
    Corrupted,
    OldVersion,
    WrongType
};

Outcome attempt(LoaderKind kind, const Bytes& data)
{
    try
    {
        loadWith(kind, data,
                 [](Sl::Loader& l)
                 {
                     readRecord(l);
                     readRecord(l);
                 });
        return Outcome::Ok;
    }
    catch (const Sl::EndOfBufferException&)
    {
        return Outcome::EndOfBuffer;
    }
    catch (const Sl::CorruptedDataException&)
    {
        return Outcome::Corrupted;
    }
    catch (const Sl::OldLoaderVersionException&)
    {
        return Outcome::OldVersion;
    }
    catch (const Sl::WrongTypeException&)
    {
        return Outcome::WrongType;
    }
}

}  // namespace

TEST(SlCorrupt, SampleRoundTrips)
{
    for (SaverKind saver : kAllSavers)
    {
        const Bytes data = saveWith(saver, Sl::BO_Native, Sl::TC_On,
                                    [](Sl::Saver& s)
                                    {
                                        writeRecord(s, sample());
                                        writeRecord(s, Record());
                                    });
        for (LoaderKind loader : kAllLoaders)
        {
            loadWith(loader, data,
                     [](Sl::Loader& l)
                     {
                         EXPECT_TRUE(readRecord(l) == sample());
                         EXPECT_TRUE(readRecord(l) == Record());
                     });
        }
    }
}

TEST(SlCorrupt, EveryTruncationIsEndOfBuffer)
{
    for (SaverKind saver : {SaverKind::Flex, SaverKind::Array})
    {
        for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
        {
            const Bytes data = saveWith(saver, Sl::BO_Native, tags,
                                        [](Sl::Saver& s)
                                        {
                                            writeRecord(s, sample());
                                            writeRecord(s, sample());
                                        });
            for (size_t length = 0; length < data.size(); ++length)
            {
                const Bytes prefix(data.begin(), data.begin() + length);
                for (LoaderKind loader : kAllLoaders)
                    ASSERT_EQ(attempt(loader, prefix), Outcome::EndOfBuffer)
                        << saverName(saver) << " length " << length << " via "
                        << loaderName(loader);
            }
            for (LoaderKind loader : kAllLoaders)
                EXPECT_EQ(attempt(loader, data), Outcome::Ok);
        }
    }
}

TEST(SlCorrupt, RandomDamageNeverEscapesAsAnythingElse)
{
    std::mt19937 rng(777);
    const Bytes clean = flexBytes(Sl::TC_Off,
                                  [](Sl::Saver& s)
                                  {
                                      writeRecord(s, sample());
                                      writeRecord(s, sample());
                                  });
    const Bytes cleanTagged = flexBytes(Sl::TC_On,
                                        [](Sl::Saver& s)
                                        {
                                            writeRecord(s, sample());
                                            writeRecord(s, sample());
                                        });
    int failures = 0;
    for (int round = 0; round < 3000; ++round)
    {
        Bytes data = round % 2 ? clean : cleanTagged;
        const int flips = 1 + static_cast<int>(rng() % 4);
        for (int i = 0; i < flips; ++i)
        {
            const size_t at = 1 + rng() % (data.size() - 1);
            switch (rng() % 3)
            {
            case 0:
                data[at] = static_cast<uint8_t>(rng());
                break;
            case 1:
                data[at] = 0xFF;
                break;
            default:
                data.erase(data.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            }
        }
        for (LoaderKind loader : kAllLoaders)
            failures += attempt(loader, data) != Outcome::Ok;
    }
    EXPECT_GT(failures, 0);  // the damage is noticed at least sometimes
}

TEST(SlCorrupt, OverlongPackedIntegerIsCorrupted)
{
    const Bytes u32 = {0x04, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01};
    const Bytes u16 = {0x04, 0xFF, 0xFF, 0xFF, 0x00};
    const Bytes u64 = {0x04, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    for (LoaderKind loader : kAllLoaders)
    {
        loadWith(loader, u32,
                 [](Sl::Loader& l)
                 {
                     uint32_t v;
                     EXPECT_THROW(l.read(v), Sl::CorruptedDataException);
                 });
        loadWith(loader, u32,
                 [](Sl::Loader& l) { EXPECT_THROW(l.skipInt32(), Sl::CorruptedDataException); });
        loadWith(loader, u32,
                 [](Sl::Loader& l) { EXPECT_THROW(l.startGroup(0), Sl::CorruptedDataException); });
        loadWith(loader, u16,
                 [](Sl::Loader& l)
                 {
                     int16_t v;
                     EXPECT_THROW(l.read(v), Sl::CorruptedDataException);
                 });
        loadWith(loader, u64,
                 [](Sl::Loader& l)
                 {
                     uint64_t v;
                     EXPECT_THROW(l.read(v), Sl::CorruptedDataException);
                 });
        // The maximal length itself is fine.
        loadWith(loader, Bytes{0x04, 0xFF, 0xFF, 0x03},
                 [](Sl::Loader& l)
                 {
                     uint16_t v;
                     l.read(v);
                     EXPECT_EQ(v, 0xFFFF);
                 });
    }
}

TEST(SlCorrupt, GroupSizeBeyondTheDataFailsToSkip)
{
    // Packed word: 100 content bytes, but only 2 follow.
    const Bytes packed = {0x04, 0xC8, 0x01, 0x00, 0x00};
    // Fixed word, little endian: 0x7FFFFFFE content bytes.
    const Bytes fixed = {0x00, 0xFC, 0xFF, 0xFF, 0xFF, 0x00};
    for (LoaderKind loader : kAllLoaders)
    {
        for (const Bytes* data : {&packed, &fixed})
        {
            loadWith(loader, *data,
                     [](Sl::Loader& l) { EXPECT_THROW(l.skipGroup(), Sl::EndOfBufferException); });
        }
    }
}

namespace
{

class CountingSink final : public Sl::BinarySink
{
public:
    void reserve(uint32_t total) override { reserved = total; }
    void append(const uint8_t*, uint32_t size) override { received += size; }
    uint32_t reserved = 0;
    uint64_t received = 0;
};

// A binary value or container that claims 0xFFFFFFFF items with 3 bytes behind it.
const Bytes kHugeCount = {0x04, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 'a', 'b', 'c'};
const Bytes kHugeVector = {0x04, 0x0C, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x01};

}  // namespace

TEST(SlCorrupt, HugeCountsAreCheckedBeforeAllocation)
{
    for (LoaderKind loader : kAllLoaders)
    {
        loadWith(loader, kHugeCount,
                 [](Sl::Loader& l)
                 {
                     CountingSink sink;
                     EXPECT_THROW(l.readBinary(sink), Sl::EndOfBufferException);
                     EXPECT_EQ(sink.reserved, 0u);
                     EXPECT_EQ(sink.received, 0u);
                 });
        loadWith(loader, kHugeCount,
                 [](Sl::Loader& l)
                 {
                     std::string s;
                     EXPECT_THROW(Sl::read(l, s), Sl::EndOfBufferException);
                     EXPECT_LT(s.capacity(), 1u << 20);
                 });
        loadWith(loader, kHugeCount,
                 [](Sl::Loader& l) { EXPECT_THROW(l.skipBinary(), Sl::EndOfBufferException); });
        loadWith(loader, kHugeVector,
                 [](Sl::Loader& l)
                 {
                     std::vector<std::string> v;
                     EXPECT_THROW(Sl::read(l, v), Sl::EndOfBufferException);
                 });
        loadWith(loader, kHugeVector,
                 [](Sl::Loader& l)
                 {
                     std::map<int, int> m;
                     EXPECT_THROW(Sl::read(l, m), Sl::EndOfBufferException);
                 });
    }
}

TEST(SlCorrupt, UnseekableStreamGrowsOnlyWithTheData)
{
    UnseekableBuf buf(kHugeCount);
    std::istream in(&buf);
    Sl::LoaderBinIStream loader(in);
    EXPECT_EQ(loader.maxDataLeft(), Sl::Loader::kUnknownDataLeft);
    CountingSink sink;
    EXPECT_THROW(loader.readBinary(sink), Sl::EndOfBufferException);
    EXPECT_EQ(sink.reserved, 0u);  // the count couldn't be checked: nothing reserved
    EXPECT_LE(sink.received, 3u);

    UnseekableBuf buf2(kHugeVector);
    std::istream in2(&buf2);
    Sl::LoaderBinIStream loader2(in2);
    std::vector<uint64_t> v;
    EXPECT_THROW(Sl::read(loader2, v), Sl::EndOfBufferException);
    EXPECT_LE(v.capacity(), 4096u);
}

TEST(SlCorrupt, UnseekableStreamReadsAndSkips)
{
    const Bytes data = flexBytes(Sl::TC_On,
                                 [](Sl::Saver& s)
                                 {
                                     writeRecord(s, sample());
                                     s.write("x", uint32_t(77), Sl::PH_Fixed);
                                     writeRecord(s, sample());
                                 });
    UnseekableBuf buf(data);
    std::istream in(&buf);
    Sl::LoaderBinIStream loader(in);
    loader.skipGroup();
    uint32_t x = 0;
    loader.read(x, Sl::PH_Fixed);
    EXPECT_EQ(x, 77u);
    EXPECT_TRUE(readRecord(loader) == sample());
    EXPECT_THROW(loader.skipUint8(), Sl::EndOfBufferException);
}

TEST(SlCorrupt, LoaderArrayCountsWhatIsLeft)
{
    const Bytes data = flexBytes(Sl::TC_Off,
                                 [](Sl::Saver& s)
                                 {
                                     s.write("a", uint32_t(1000));
                                     s.write("b", 1.0);
                                 });
    Sl::LoaderBinArray loader(data.data(), static_cast<uint32_t>(data.size()));
    EXPECT_EQ(loader.dataLeftToRead(), 10u);
    loader.skipUint32();
    EXPECT_EQ(loader.dataLeftToRead(), 8u);
    double d = 0;
    EXPECT_THROW(loader.skipData(9), Sl::EndOfBufferException);
    loader.read(d);
    EXPECT_EQ(loader.dataLeftToRead(), 0u);
}

TEST(SlStreams, StreamsThatDoNotStartAtZero)
{
    // A file that begins with its own magic: the stream savers and loaders work
    // from the position they are given, and the loader's end check counts from it.
    std::stringstream file(std::ios::in | std::ios::out | std::ios::binary);
    file.write("MAGC", 4);
    {
        Sl::SaverBinOStream saver(file, Sl::BO_BigEndian, Sl::TC_On);
        writeRecord(saver, sample());
        Sl::ScopedSaverGroup group("tail", saver, 9);
        saver.write("x", uint32_t(0xCAFE), Sl::PH_Fixed);
    }
    const std::string text = file.str();
    ASSERT_EQ(text.substr(0, 4), "MAGC");
    const Bytes stream(text.begin() + 4, text.end());
    loadWith(LoaderKind::Array, stream,
             [](Sl::Loader& l)
             {
                 EXPECT_TRUE(readRecord(l) == sample());
                 EXPECT_EQ(l.startGroup(9), 9u);
                 uint32_t x = 0;
                 l.read(x, Sl::PH_Fixed);
                 EXPECT_EQ(x, 0xCAFEu);
             });

    std::istringstream in(text, std::ios::binary);
    char magic[4];
    in.read(magic, 4);
    Sl::LoaderBinIStream loader(in);
    EXPECT_EQ(loader.maxDataLeft(), stream.size() - 1);
    loader.skipGroup();
    EXPECT_EQ(loader.startGroup(9), 9u);
    uint32_t x = 0;
    loader.read(x, Sl::PH_Fixed);
    EXPECT_EQ(x, 0xCAFEu);
    EXPECT_EQ(loader.maxDataLeft(), 0u);
    EXPECT_THROW(loader.skipData(1), Sl::EndOfBufferException);
}
