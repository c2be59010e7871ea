// Loader::position(): where a loader stands, so that a reader can say at which byte a stream
// is damaged.

#include <gtest/gtest.h>

#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_write_read.h"
#include "sl_test_helpers.h"

using namespace SlTest;

namespace
{

// Bytes of a stream whose header says: native order, no type tags; then `body`.
Bytes headerThen(const Bytes& body)
{
    Bytes bytes = flexBytes(Sl::TC_Off, [](Sl::Saver&) {});
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

TEST(SlPosition, FollowsEveryValueRead)
{
    // The size of the stream after each value, as the saver wrote it.
    std::vector<uint64_t> ends;
    const auto body = [](Sl::Saver& s, const std::function<void()>& mark)
    {
        s.write("a", uint8_t(7));
        mark();
        s.write("b", uint32_t(300));
        mark();
        s.write("c", 2.5f);
        mark();
        Sl::write("d", s, std::string("abc"));
        mark();
        s.write("e", int64_t(-5), Sl::PH_Fixed);
        mark();
    };
    for (const Sl::EnumTypeChecking tags : {Sl::TC_Off, Sl::TC_On})
    {
        ends.clear();
        Sl::SaverBinFlex saver(Sl::BO_Native, tags);
        body(saver, [&] { ends.push_back(saver.dataAsVector().size()); });
        const Bytes data = saver.dataAsVector();
        for (const LoaderKind kind : kAllLoaders)
        {
            SCOPED_TRACE(loaderName(kind));
            loadWith(kind, data,
                     [&](Sl::Loader& l)
                     {
                         EXPECT_EQ(l.position(), 1u) << "the header byte";
                         uint8_t a = 0;
                         l.read(a);
                         EXPECT_EQ(l.position(), ends[0]);
                         l.skipUint32();
                         EXPECT_EQ(l.position(), ends[1]);
                         float c = 0;
                         l.read(c);
                         EXPECT_EQ(l.position(), ends[2]);
                         std::string d;
                         Sl::read(l, d);
                         EXPECT_EQ(d, "abc");
                         EXPECT_EQ(l.position(), ends[3]);
                         l.skipInt64(Sl::PH_Fixed);
                         EXPECT_EQ(l.position(), ends[4]);
                         EXPECT_EQ(l.position(), data.size());
                     });
        }
    }
}

struct FailureCase
{
    const char* name;
    Bytes body;                             // after the header byte
    std::function<void(Sl::Loader&)> read;  // the read that fails
    bool corrupted;                         // CorruptedDataException, else EndOfBufferException
    uint64_t position;                      // where the loader stands afterwards
};

TEST(SlPosition, TellsWhereReadingStopped)
{
    const FailureCase cases[] = {
        // A fixed value that doesn't fit is not read at all: the position is its start.
        {"cut float",
         {1, 2, 3},
         [](Sl::Loader& l)
         {
             float f;
             l.read(f);
         },
         false,
         1},
        {"cut float after a byte",
         {9, 1, 2, 3},
         [](Sl::Loader& l)
         {
             l.skipUint8();
             float f;
             l.read(f);
         },
         false,
         2},
        {"cut skip", {1, 2}, [](Sl::Loader& l) { l.skipDouble(); }, false, 1},
        // A packed number is read byte by byte: the position is where the bytes ran out ...
        {"cut packed",
         {0x80, 0x80},
         [](Sl::Loader& l)
         {
             uint32_t v;
             l.read(v);
         },
         false,
         3},
        // ... or just past the bytes of a number that is too long (at most 5 for 32 bits).
        {"overlong packed",
         {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01},
         [](Sl::Loader& l)
         {
             uint32_t v;
             l.read(v);
         },
         true,
         6},
        {"string longer than the data",
         {9, 'a', 'b'},
         [](Sl::Loader& l)
         {
             std::string s;
             Sl::read(l, s);
         },
         false,
         2},
    };
    for (const FailureCase& c : cases)
    {
        const Bytes data = headerThen(c.body);
        for (const LoaderKind kind : kAllLoaders)
        {
            SCOPED_TRACE(std::string(c.name) + " / " + loaderName(kind));
            loadWith(kind, data,
                     [&](Sl::Loader& l)
                     {
                         if (c.corrupted)
                             EXPECT_THROW(c.read(l), Sl::CorruptedDataException);
                         else
                             EXPECT_THROW(c.read(l), Sl::EndOfBufferException);
                         EXPECT_EQ(l.position(), c.position);
                     });
        }
    }
}

TEST(SlPosition, UnseekableStreamAndRevisionLoader)
{
    const Bytes data = headerThen({5, 0x80, 0x01, 1, 2});
    UnseekableBuf buf(data);
    std::istream in(&buf);
    Sl::LoaderBinIStream stream(in);
    // The model's loader answers for the loader it reads through.
    Sl::RevisionLoader loader(nullptr, stream);
    loader.skipUint8();
    EXPECT_EQ(loader.position(), 2u);
    uint32_t v = 0;
    loader.read(v);
    EXPECT_EQ(v, 128u);
    EXPECT_EQ(loader.position(), 4u);
    float f = 0;
    EXPECT_THROW(loader.read(f), Sl::EndOfBufferException);
    EXPECT_EQ(loader.position(), 4u);
    EXPECT_EQ(stream.position(), 4u);
}

TEST(SlPosition, StreamThatDoesNotStartAtZeroCountsFromItsStart)
{
    const Bytes data = headerThen({1, 2, 3, 4});
    std::istringstream in("XYZ" + std::string(data.begin(), data.end()), std::ios::binary);
    char magic[3];
    in.read(magic, 3);
    Sl::LoaderBinIStream loader(in);
    loader.skipUint32(Sl::PH_Fixed);
    EXPECT_EQ(loader.position(), 5u);
}

}  // namespace
