#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using Lerp = Plm::BlockFuncLerp<float>;
using Uuid = boost::uuids::uuid;

// A float lerp's record with the given identity and source.
std::vector<uint8_t> blockRecord(const char* factoryName, const Uuid& id,
                                 const boost::optional<Plm::ReflectionSourceRef>& source,
                                 const PlmTest::Content& content, uint32_t blockVersion = 0)
{
    PlmTest::RecordHead head;
    head.id = id;
    head.source = source;
    head.blockVersion = blockVersion;
    return PlmTest::writeBlock(factoryName, content, head);
}

// The content of a float lerp whose "block_func" group has the given version and fields.
std::function<void(Sl::RevisionSaver&)>
lerpContent(uint32_t funcVersion, const std::function<void(Sl::RevisionSaver&)>& funcFields)
{
    return [=](Sl::RevisionSaver& saver)
    {
        {
            Sl::ScopedSaverGroup func("block_func", saver, funcVersion);
            Sl::write("position", saver, glm::vec2(3.0f, 4.0f));
            funcFields(saver);
        }
        Plm::PropsOwner owner;
        Plm::Prop<float> value(owner, true, 0.25f);
        Sl::ScopedSaverGroup group("func_lerp_float", saver, 0);
        for (const char* key : {"from", "to", "interp"})
            value.save(key, saver);
    };
}

using PlmTest::load;

TEST(PlmBlock, CopyIsANewBlockWithTheSameValues)
{
    auto lerp = Lerp::create();
    lerp->setTo(2.0f);
    lerp->setPinned(true);
    std::unique_ptr<Plm::Block> copy = lerp->copyWithoutRelations();
    EXPECT_NE(copy->getId(), lerp->getId());
    EXPECT_NE(copy->getEmitterReflId(), lerp->getEmitterReflId());
    EXPECT_NE(copy->getSystemReflId(), lerp->getSystemReflId());
    EXPECT_NE(copy->getRevision(), lerp->getRevision());
    auto& typed = static_cast<Lerp&>(*copy);
    EXPECT_EQ(typed.getTo(), 2.0f);
    EXPECT_TRUE(copy->hasOverridedProps());
    EXPECT_TRUE(typed.pinned());
    // Connectors come with an owner.
    EXPECT_EQ(copy->getNumConnectors(), 0u);
    Plm::Emitter emitter("e");
    emitter.addBlock(std::move(copy));
    EXPECT_EQ(emitter.allBlocks()[0].getNumConnectors(), 4u);
}

TEST(PlmBlock, WhatChangesTheRevision)
{
    auto lerp = Lerp::create();
    struct Case
    {
        const char* what;
        std::function<void()> change;
        bool changesRevision;
    };
    const Case cases[] = {
        {"setPosition",
         [&] {
             lerp->setPosition({5.0f, 6.0f});
         },
         false},
        {"bakePosition", [&] { lerp->bakePosition(); }, true},
        {"setPinned to the same value", [&] { lerp->setPinned(false); }, false},
        {"setPinned", [&] { lerp->setPinned(true); }, true},
        {"setHomeForce to the same value", [&] { lerp->setHomeForce(Plm::BFHF_None); }, false},
        {"setHomeForce", [&] { lerp->setHomeForce(Plm::BFHF_Center); }, true},
        {"setNeedsPresimulatePosition", [&] { lerp->setNeedsPresimulatePosition(false); }, true},
        {"a property's setter", [&] { lerp->setFrom(1.0f); }, true},
        {"a revert", [&] { lerp->setFrom(boost::none); }, true},
        {"setExternal", [&] { lerp->setFromExternal(false); }, true},
    };
    for (const Case& c : cases)
    {
        const Uuid before = lerp->getRevision();
        c.change();
        EXPECT_EQ(lerp->getRevision() != before, c.changesRevision) << c.what;
    }
    EXPECT_EQ(lerp->getPosition(), glm::vec2(5.0f, 6.0f));
}

TEST(PlmBlock, OldFunctionGroupsLoad)
{
    const Uuid id = BoostExt::generateUuid();
    struct Case
    {
        uint32_t version;
        std::function<void(Sl::RevisionSaver&)> fields;
        bool pinned;
        Plm::EnumBlockFuncHomeForce homeForce;
    };
    const Case cases[] = {
        {0, [](Sl::RevisionSaver&) {}, true, Plm::BFHF_None},
        {1,
         [](Sl::RevisionSaver& s)
         {
             s.write(nullptr, false);
             s.write(nullptr, uint8_t(1));
         },
         true, Plm::BFHF_Left},
        {2,
         [](Sl::RevisionSaver& s)
         {
             s.write(nullptr, false);
             s.write(nullptr, uint8_t(2));
         },
         false, Plm::BFHF_Center},
    };
    for (const Case& c : cases)
    {
        std::unique_ptr<Plm::Block> block =
            load(blockRecord("func_lerp_float", id, boost::none, lerpContent(c.version, c.fields)));
        ASSERT_TRUE(block) << c.version;
        const auto& lerp = static_cast<const Lerp&>(*block);
        EXPECT_EQ(lerp.getId(), id);
        EXPECT_EQ(lerp.getPosition(), glm::vec2(3.0f, 4.0f));
        EXPECT_EQ(lerp.pinned(), c.pinned) << c.version;
        EXPECT_EQ(lerp.homeForce(), c.homeForce) << c.version;
        EXPECT_EQ(lerp.getInterp(), 0.25f);
    }
    const auto newer = [](Sl::RevisionSaver& s)
    {
        s.write(nullptr, true);
        s.write(nullptr, uint8_t(0));
    };
    EXPECT_THROW(load(blockRecord("func_lerp_float", id, boost::none, lerpContent(3, newer))),
                 Sl::OldLoaderVersionException);
    EXPECT_THROW(load(blockRecord("func_lerp_float", id, boost::none, lerpContent(2, newer), 1)),
                 Sl::OldLoaderVersionException);
    // A home force that names no direction is corrupt.
    const auto badForce = [](Sl::RevisionSaver& s)
    {
        s.write(nullptr, true);
        s.write(nullptr, uint8_t(3));
    };
    EXPECT_THROW(load(blockRecord("func_lerp_float", id, boost::none, lerpContent(2, badForce))),
                 Sl::CorruptedDataException);
    // An unknown kind loads as nothing.
    EXPECT_FALSE(load(blockRecord("func_lerp_floaT", id, boost::none,
                                  lerpContent(0, [](Sl::RevisionSaver&) {}))));
}

TEST(PlmBlock, ExternalSourcesAndSeparation)
{
    const auto content = lerpContent(0, [](Sl::RevisionSaver&) {});
    std::unique_ptr<Plm::Block> block =
        load(blockRecord("func_lerp_float", BoostExt::generateUuid(),
                         Plm::ReflectionSourceRef::external("../fx/source.sxed"), content));
    ASSERT_TRUE(block);
    std::vector<boost::filesystem::path> paths{"other.sxed"};
    block->extractExternalSources(paths);
    block->extractExternalSources(paths);
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[1], boost::filesystem::path("../fx/source.sxed"));

    Uuid revision = block->getRevision();
    block->replaceExternalSource("unrelated.sxed", "x.sxed");
    EXPECT_EQ(block->getRevision(), revision);
    block->replaceExternalSource("../fx/source.sxed", "../fx/renamed.sxed");
    EXPECT_NE(block->getRevision(), revision);
    EXPECT_EQ(*block->getReflSourceRef(), Plm::ReflectionSourceRef::external("../fx/renamed.sxed"));

    revision = block->getRevision();
    block->separate();
    EXPECT_FALSE(block->getReflSourceRef());
    EXPECT_NE(block->getRevision(), revision);
    EXPECT_EQ(static_cast<Lerp&>(*block).getTo(), 0.25f);
    EXPECT_THROW(block->separate(), Debug::CheckException);

    // An internal source survives a save and a load.
    std::unique_ptr<Plm::Block> internal =
        load(blockRecord("func_lerp_float", BoostExt::generateUuid(),
                         Plm::ReflectionSourceRef::internal(block->getId()), content));
    const std::vector<uint8_t> again = Plm::saveBlockPlain(*internal);
    EXPECT_EQ(*load(again)->getReflSourceRef(), Plm::ReflectionSourceRef::internal(block->getId()));
}

TEST(PlmBlock, LinksFollowConnectors)
{
    Plm::System system;
    Plm::Emitter& emitter = system.addEmitter(std::make_unique<Plm::Emitter>("e"));
    Plm::Block& a = emitter.addBlock(Lerp::create());
    Plm::Block& b = emitter.addBlock(Lerp::create());
    auto& la = static_cast<Lerp&>(a);
    auto& lb = static_cast<Lerp&>(b);
    EXPECT_EQ(a.getSystem(), &system);
    EXPECT_EQ(a.getEmitter(), &emitter);
    EXPECT_FALSE(Lerp::create()->getSystem());

    ASSERT_TRUE(emitter.createLink(a, 3, b, 0));
    Uuid revision = emitter.getRevision();
    // The same link again is refused and changes nothing.
    EXPECT_FALSE(emitter.createLink(a, 3, b, 0));
    EXPECT_EQ(emitter.getRevision(), revision);
    // Two types can't be linked.
    EXPECT_FALSE(emitter.createLink(
        Plm::BlockLink{a.getConnectorById(3), {b.getId(), Plm::inputDesc(Plm::CT_Vec2, 2)}}));
    EXPECT_EQ(emitter.getNumLinks(), 1u);

    // The output keeps its index while the inputs of its block come and go.
    la.setFromExternal(false);
    la.setInterpExternal(false);
    EXPECT_EQ(emitter.getNumLinks(), 1u);
    // A second link on the same input replaces the first and stands last.
    ASSERT_TRUE(emitter.createLink(b, 3, a, 1));
    ASSERT_TRUE(emitter.createLink(a, 3, b, 1));
    EXPECT_FALSE(emitter.createLink(b, 3, a, 1));
    Plm::Block& c = emitter.addBlock(Lerp::create());
    ASSERT_TRUE(emitter.createLink(c, 3, b, 0));
    ASSERT_EQ(emitter.getNumLinks(), 3u);
    EXPECT_EQ(emitter.getLink(2).output_.blockId, c.getId());

    // Turning an input into a constant drops its link and changes the emitter's revision.
    revision = emitter.getRevision();
    lb.setFromExternal(false);
    EXPECT_EQ(emitter.getNumLinks(), 2u);
    EXPECT_NE(emitter.getRevision(), revision);
    EXPECT_FALSE(emitter.getLinkIndex(
        Plm::BlockLink{c.getConnectorById(3), {b.getId(), Plm::inputDesc(Plm::CT_Float, 0)}}));
    // Removing a block removes its links.
    emitter.removeBlock(c.getId());
    emitter.removeBlock(a.getId());
    EXPECT_EQ(emitter.getNumLinks(), 0u);
}

}  // namespace
