#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_prop_changer.h"
#include "particle_layout_model/plm_props.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

// An owner that counts what its properties tell it.
class CountingOwner : public Plm::PropsOwner
{
public:
    void updateConnectors() override { ++connectorUpdates; }
    void notifyPropChanged(bool affectsExport) override
    {
        ++changes;
        lastAffectsExport = affectsExport;
    }
    int connectorUpdates = 0;
    int changes = 0;
    bool lastAffectsExport = false;
};

// One property of each kind, to run the same cases over both.
template <class P>
struct Fixture
{
    CountingOwner owner;
    P prop{owner, false, 1.0f};
    CountingOwner sourceOwner;
    P source{sourceOwner, false, 5.0f};
};

template <class P>
class PlmPropKinds : public ::testing::Test
{
};
using Kinds = ::testing::Types<Plm::Prop<float>, Plm::SharedProp<float>>;
TYPED_TEST_SUITE(PlmPropKinds, Kinds);

TYPED_TEST(PlmPropKinds, LayersBakeAndSync)
{
    Fixture<TypeParam> f;
    const bool shared = f.prop.isShared();
    EXPECT_EQ(shared, (std::is_same_v<TypeParam, Plm::SharedProp<float>>));

    // Clearing an absent override changes nothing.
    f.prop.set(boost::none);
    EXPECT_EQ(f.prop.get(), 1.0f);
    EXPECT_FALSE(f.prop.isOverridden());
    // Baking without an override changes nothing; baking an override keeps the value.
    f.prop.bake();
    EXPECT_EQ(f.prop.getDefault(), 1.0f);
    f.prop.set(3.0f);
    EXPECT_TRUE(f.prop.isOverridden());
    f.prop.bake();
    EXPECT_EQ(f.prop.get(), 3.0f);
    EXPECT_EQ(f.prop.getDefault(), 3.0f);
    EXPECT_FALSE(f.prop.isOverridden());

    // A sync takes the source's override as the new default. A plain property keeps its own
    // override above it; a shared one loses it.
    f.source.set(7.0f);
    f.prop.set(9.0f);
    f.prop.sync(f.source);
    EXPECT_EQ(f.prop.getDefault(), 7.0f);
    EXPECT_EQ(f.prop.get(), shared ? 7.0f : 9.0f);
    EXPECT_EQ(f.prop.isOverridden(), !shared);
    // None of that told the owner anything: notifying is the setter's task.
    EXPECT_EQ(f.owner.changes, 0);
    EXPECT_EQ(f.owner.connectorUpdates, 0);
}

TYPED_TEST(PlmPropKinds, SyncCopiesExternalWithoutRebuildingConnectors)
{
    Fixture<TypeParam> f;
    for (bool external : {true, false})
    {
        f.source.setExternal(external);
        const int updatesBefore = f.owner.connectorUpdates;
        f.prop.sync(f.source);
        EXPECT_EQ(f.prop.isExternal(), external);
        EXPECT_EQ(f.owner.connectorUpdates, updatesBefore);
    }
    // A property made for loading gets its value from the sync.
    CountingOwner loadOwner;
    TypeParam empty(loadOwner);
    empty.sync(f.source);
    EXPECT_EQ(empty.get(), 5.0f);
    EXPECT_FALSE(empty.isOverridden());
}

TYPED_TEST(PlmPropKinds, SetExternalAlwaysRebuildsAndNotifies)
{
    Fixture<TypeParam> f;
    f.prop.setExternal(false);
    f.prop.setExternal(false);
    EXPECT_EQ(f.owner.connectorUpdates, 2);
    EXPECT_EQ(f.owner.changes, 2);
    EXPECT_TRUE(f.owner.lastAffectsExport);
}

TEST(PlmProps, OwnerKeepsOrderAndBakesOverrides)
{
    CountingOwner owner;
    Plm::Prop<float> a(owner, false, 1.0f);
    auto b = std::make_unique<Plm::SharedProp<unsigned int>>(owner, false, 2u);
    Plm::Prop<std::string> c(owner, true, "x");
    ASSERT_EQ(owner.getNumProps(), 3u);
    EXPECT_EQ(&owner.getProp(1), b.get());
    b.reset();
    ASSERT_EQ(owner.getNumProps(), 2u);
    EXPECT_EQ(&owner.getProp(1), &c);

    EXPECT_FALSE(owner.hasOverridedProps());
    c.set(std::string("y"));
    EXPECT_TRUE(owner.hasOverridedProps());

    // A copy keeps the overrides; baking the copy turns them into defaults.
    CountingOwner copyOwner;
    Plm::Prop<float> aCopy(copyOwner, a);
    Plm::Prop<std::string> cCopy(copyOwner, c);
    EXPECT_TRUE(cCopy.isOverridden());
    EXPECT_TRUE(cCopy.isExternal());
    copyOwner.bakeProps();
    EXPECT_FALSE(copyOwner.hasOverridedProps());
    EXPECT_EQ(cCopy.get(), "y");
}

TEST(PlmProps, BrokenInvariantsAssert)
{
    CountingOwner owner;
    Plm::Prop<float> forLoad(owner);
    EXPECT_THROW(forLoad.get(), Debug::CheckException);
    EXPECT_THROW(forLoad.set(1.0f), Debug::CheckException);
    EXPECT_THROW(forLoad.bake(), Debug::CheckException);
    EXPECT_THROW(forLoad.isOverridden(), Debug::CheckException);
    EXPECT_FALSE(forLoad.isExternal());
    EXPECT_THROW(owner.registerProp(forLoad), Debug::CheckException);
    forLoad.reset(4.0f);
    EXPECT_EQ(forLoad.get(), 4.0f);
}

template <class T>
std::vector<uint8_t> savedBytes(const Plm::PropBaseTyped<T>& prop)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        prop.save("p", saver);
    }
    return flex.dataAsVector();
}

template <class T>
void loadBytes(Plm::PropBaseTyped<T>& prop, const std::vector<uint8_t>& bytes)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    prop.load(loader);
}

TEST(PlmProps, SaveFormAndDamagedRecords)
{
    CountingOwner owner;
    Plm::Prop<float> prop(owner, true, 1.5f);
    prop.set(2.5f);
    const std::vector<uint8_t> bytes = savedBytes(prop);
    // Header; group; tag+float default; group with bool true and float; bool external.
    const std::vector<uint8_t> expected = {0x06, 200, 2 * 16, 216, 0, 0,    0xc0, 0x3f, 200, 2 * 7,
                                           201,  1,   216,    0,   0, 0x20, 0x40, 201,  1};
    EXPECT_EQ(bytes, expected);

    Plm::Prop<float> loaded(owner);
    loadBytes(loaded, bytes);
    EXPECT_EQ(loaded.getDefault(), 1.5f);
    EXPECT_EQ(loaded.get(), 2.5f);
    EXPECT_TRUE(loaded.isExternal());

    // Every shortened record raises a stream error and leaves the property as it was.
    for (size_t n = 0; n < bytes.size(); ++n)
    {
        std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + n);
        EXPECT_THROW(loadBytes(loaded, cut), Sl::Exception) << n;
        EXPECT_EQ(loaded.get(), 2.5f);
    }
}

TEST(PlmProps, EnumerationOutOfRangeIsCorrupt)
{
    CountingOwner owner;
    Plm::SharedProp<Plm::EnumConnectorType> prop(owner, false, Plm::CT_Quat);
    std::vector<uint8_t> bytes = savedBytes(prop);
    Plm::SharedProp<Plm::EnumConnectorType> loaded(owner);
    loadBytes(loaded, bytes);
    EXPECT_EQ(loaded.get(), Plm::CT_Quat);
    bytes[4] = 4;  // the default's byte, after header, group tag, size and value tag
    EXPECT_THROW(loadBytes(loaded, bytes), Sl::CorruptedDataException);
    EXPECT_EQ(loaded.get(), Plm::CT_Quat);
}

TEST(PlmProps, ChangersWriteThroughTheSetter)
{
    CountingOwner owner;
    Plm::Prop<unsigned int> prop(owner, false, 5u);
    std::vector<boost::optional<unsigned int>> calls;
    auto changer = Plm::makePropChanger(prop,
                                        [&](const boost::optional<unsigned int>& v)
                                        {
                                            calls.push_back(v);
                                            Plm::setPropAndNotify(prop, v);
                                        });
    Plm::CastedPropChanger<int, unsigned int> casted(std::move(changer));
    EXPECT_EQ(casted.get(), 5);
    casted.set(8);
    EXPECT_EQ(prop.get(), 8u);
    EXPECT_TRUE(casted.isOverridden());
    casted.revert();
    EXPECT_EQ(casted.get(), 5);
    ASSERT_EQ(calls.size(), 2u);
    ASSERT_TRUE(calls[0]);
    EXPECT_EQ(*calls[0], 8u);
    EXPECT_FALSE(calls[1]);
    EXPECT_EQ(owner.changes, 2);
    EXPECT_FALSE(casted.isPropShared());
}

}  // namespace
