// The free Sl::write / Sl::read functions: layouts fixed by the format and
// round trips over every back end.

#include <gtest/gtest.h>

#include <boost/uuid/uuid_generators.hpp>

#include "revision_saveload/sl_byte_order.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_write_read.h"
#include "sl_test_helpers.h"

using namespace SlTest;

namespace
{

// The bytes after the header, tags off, packed groups.
template <class T>
Bytes body(const T& value)
{
    const Bytes all = flexBytes(Sl::TC_Off, [&value](Sl::Saver& s) { Sl::write("v", s, value); });
    return Bytes(all.begin() + 1, all.end());
}

Bytes floatBytes(std::initializer_list<float> values)
{
    Bytes out;
    for (float f : values)
    {
        uint8_t b[4];
        std::memcpy(b, &f, 4);
        out.insert(out.end(), b, b + 4);
    }
    return out;
}

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

template <class T>
void roundTrip(const T& value)
{
    for (SaverKind saver : kAllSavers)
    {
        for (Sl::EnumTypeChecking tags : {Sl::TC_On, Sl::TC_Off})
        {
            const Bytes data = saveWith(saver, Sl::BO_BigEndian, tags,
                                        [&value](Sl::Saver& s)
                                        {
                                            Sl::write("v", s, value);
                                            s.write("end", uint8_t(0xEE));
                                        });
            for (LoaderKind loader : kAllLoaders)
            {
                SCOPED_TRACE(std::string(saverName(saver)) + " -> " + loaderName(loader));
                loadWith(loader, data,
                         [&value](Sl::Loader& l)
                         {
                             T back{};
                             Sl::read(l, back);
                             EXPECT_TRUE(back == value);
                             uint8_t end = 0;
                             l.read(end);
                             EXPECT_EQ(end, 0xEE);
                         });
                // The value can also be passed over as a whole.
                loadWith(loader, data,
                         [](Sl::Loader& l)
                         {
                             l.skip<T>();
                             uint8_t end = 0;
                             l.read(end);
                             EXPECT_EQ(end, 0xEE);
                         });
            }
        }
    }
}

}  // namespace

TEST(SlWriteReadLayout, StringIsBinaryWithoutTerminator)
{
    EXPECT_EQ(body(std::string("ab")), (Bytes{0x02, 'a', 'b'}));
    EXPECT_EQ(body(std::string()), (Bytes{0x00}));
    EXPECT_EQ(body(boost::filesystem::path("a/b")), (Bytes{0x03, 'a', '/', 'b'}));
    EXPECT_EQ(body("lit"), (Bytes{0x03, 'l', 'i', 't'}));
}

TEST(SlWriteReadLayout, VectorsAndQuaternionOrder)
{
    if (Sl::isBigEndian())
        GTEST_SKIP() << "float bytes below are little endian";
    EXPECT_EQ(body(glm::vec2(1, 2)), concat({Bytes{0x10}, floatBytes({1, 2})}));
    EXPECT_EQ(body(glm::vec3(1, 2, 3)), concat({Bytes{0x18}, floatBytes({1, 2, 3})}));
    // glm::quat(w, x, y, z): written x, y, z, w.
    EXPECT_EQ(body(glm::quat(4, 1, 2, 3)), concat({Bytes{0x20}, floatBytes({1, 2, 3, 4})}));
    const glm::mat3 m(glm::vec3(1, 2, 3), glm::vec3(4, 5, 6), glm::vec3(7, 8, 9));
    EXPECT_EQ(body(m), concat({Bytes{0x4E}, Bytes{0x18}, floatBytes({1, 2, 3}), Bytes{0x18},
                               floatBytes({4, 5, 6}), Bytes{0x18}, floatBytes({7, 8, 9})}));
}

TEST(SlWriteReadLayout, UuidIsGroupOfSixteenBytesInOrder)
{
    boost::uuids::uuid id;
    for (int i = 0; i < 16; ++i)
        id.data[i] = static_cast<uint8_t>(i * 17);
    Bytes expected{0x20};
    for (int i = 0; i < 16; ++i)
        expected.push_back(static_cast<uint8_t>(i * 17));
    EXPECT_EQ(body(id), expected);
}

TEST(SlWriteReadLayout, Containers)
{
    EXPECT_EQ(body(std::vector<uint32_t>{1, 300}), (Bytes{0x08, 0x02, 0x01, 0xAC, 0x02}));
    EXPECT_EQ(body(std::vector<int32_t>{}), (Bytes{0x02, 0x00}));
    EXPECT_EQ(body(std::set<int32_t>{-1, 1, 0}), (Bytes{0x08, 0x03, 0x01, 0x00, 0x02}));
    EXPECT_EQ(body(std::map<uint32_t, uint32_t>{{1, 2}}), (Bytes{0x08, 0x01, 0x04, 0x01, 0x02}));
    EXPECT_EQ(body(boost::optional<int32_t>()), (Bytes{0x02, 0x00}));
    EXPECT_EQ(body(boost::optional<int32_t>(-2)), (Bytes{0x04, 0x01, 0x03}));
}

TEST(SlWriteReadLayout, TaggedContainerUsesPackedCount)
{
    const Bytes all =
        flexBytes(Sl::TC_On, [](Sl::Saver& s) { Sl::write("v", s, std::vector<uint16_t>{5}); });
    EXPECT_EQ(Bytes(all.begin() + 1, all.end()), (Bytes{200, 0x08, 211, 0x01, 207, 0x05}));
}

TEST(SlWriteReadRoundTrip, EveryType)
{
    roundTrip(std::string("with\0nul", 8));
    roundTrip(std::string(1000, 'x'));
    roundTrip(std::string());
    roundTrip(boost::filesystem::path("textures/fire smoke.png"));
    roundTrip(boost::uuids::random_generator()());
    roundTrip(glm::vec2(-0.5f, 1e30f));
    roundTrip(glm::vec3(1, -2, 3.25f));
    roundTrip(glm::quat(0.5f, -0.5f, 0.25f, 1));
    roundTrip(glm::mat3(1, 2, 3, 4, 5, 6, 7, 8, 9));
    roundTrip(boost::optional<std::string>());
    roundTrip(boost::optional<std::string>(std::string("x")));
    roundTrip(boost::optional<glm::vec3>(glm::vec3(1, 2, 3)));
    roundTrip(std::vector<int64_t>{std::numeric_limits<int64_t>::min(), 0, 5});
    roundTrip(std::vector<bool>{true, false, true});
    roundTrip(std::vector<std::string>{"a", "", std::string(200, 'b')});
    roundTrip(std::vector<glm::vec2>{glm::vec2(1, 2), glm::vec2(3, 4)});
    roundTrip(std::vector<std::vector<uint8_t>>{{1, 2}, {}, {3}});
    roundTrip(std::set<std::string>{"b", "a", "c"});
    roundTrip(std::set<boost::filesystem::path>{"x/y", "z"});
    roundTrip(std::map<std::string, std::vector<int32_t>>{{"k", {1, -1}}, {"", {}}});
    roundTrip(std::map<int16_t, boost::optional<double>>{{-3, 2.5}, {4, boost::none}});
    roundTrip(
        std::vector<boost::uuids::uuid>{boost::uuids::random_generator()(), boost::uuids::uuid{}});
}

TEST(SlWriteReadRoundTrip, ReadReplacesPreviousContent)
{
    const Bytes data = flexBytes(Sl::TC_Off,
                                 [](Sl::Saver& s)
                                 {
                                     Sl::write("v", s, std::vector<int32_t>{7});
                                     Sl::write("m", s, std::map<int32_t, int32_t>{{1, 1}});
                                     Sl::write("o", s, boost::optional<int32_t>());
                                     Sl::write("s", s, std::string("new"));
                                 });
    loadWith(LoaderKind::Array, data,
             [](Sl::Loader& l)
             {
                 std::vector<int32_t> v{1, 2, 3};
                 Sl::read(l, v);
                 EXPECT_EQ(v, std::vector<int32_t>{7});
                 std::map<int32_t, int32_t> m{{5, 5}};
                 Sl::read(l, m);
                 EXPECT_EQ(m, (std::map<int32_t, int32_t>{{1, 1}}));
                 boost::optional<int32_t> o = 3;
                 Sl::read(l, o);
                 EXPECT_FALSE(o);
                 std::string s = "old and longer";
                 Sl::read(l, s);
                 EXPECT_EQ(s, "new");
             });
}
