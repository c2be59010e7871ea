#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_param_blocks_colorizer.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using Uuid = boost::uuids::uuid;
using Bytes = std::vector<uint8_t>;
using PlmTest::createByName;

Uuid newId() { return BoostExt::generateUuid(); }

Block& add(Emitter& e, const char* name) { return e.addBlock(createByName(name)); }

// Records what the emitter tells its owner.
struct TestOwner : EmitterOwner
{
    std::vector<bool> notes;
    ProjectResource* getProjectResource() override { return nullptr; }
    SystemResource* getSystemResource() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override { notes.push_back(affectsExport); }
    bool isLockedByParentReflection(const Emitter&) const override { return false; }
    System* getSystem() override { return nullptr; }
};

// The own links as "a3>b0,...", blocks named by the letters given.
std::string linksText(const Emitter& e, const std::map<Uuid, char>& names)
{
    std::string text;
    for (unsigned int i = 0; i < e.getNumOwnLinks(); ++i)
    {
        const BlockLink& l = e.getLink(i);
        if (!text.empty())
            text += ',';
        text += names.at(l.output_.blockId) + std::to_string(l.output_.desc_.index_) + '>' +
                names.at(l.input_.blockId) + std::to_string(l.input_.desc_.index_);
    }
    return text;
}

std::string listText(const Emitter& e, Emitter::EnumBlockList list,
                     const std::map<Uuid, char>& names)
{
    std::string text;
    for (const Uuid& id : e.blockList(list))
        text += names.at(id);
    return text;
}

// With SCINTARI_WRITE_FUZZ_SEEDS set to a folder, the streams checked here become the seeds of
// the emitter fuzz target.
void writeSeed(const std::string& name, const Bytes& bytes)
{
    if (const char* dir = std::getenv("SCINTARI_WRITE_FUZZ_SEEDS"))
    {
        std::ofstream out(std::string(dir) + "/" + name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }
}

template <class F>
void readFrom(const Bytes& bytes, F f)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    f(loader);
}

// An emitter record as a writer of the given version laid it out.
struct Record
{
    uint32_t version = 8;
    Uuid id = newId(), systemId = newId(), revision = newId(), deepRevision = newId();
    std::vector<std::vector<Uuid>> lists = std::vector<std::vector<Uuid>>(Emitter::BL_Count);
    std::vector<BlockLink> links, reflLinks;
    std::vector<Uuid> reflBlocks;
    bool oldGuide = false;
    bool enabled = false, geometryVisible = false, reservedFlag = true, wireframeVisible = true;
    std::map<Uuid, unsigned short> colors;
};

Record recordOf(const Emitter& e)
{
    Record r;
    for (unsigned int l = 0; l < Emitter::BL_Count; ++l)
        r.lists[l] = e.blockList(static_cast<Emitter::EnumBlockList>(l));
    for (unsigned int i = 0; i < e.getNumOwnLinks(); ++i)
        r.links.push_back(e.getLink(i));
    return r;
}

// The record, and with `blocks` the rest of the in-line form: the blocks and the guide part.
Bytes writeEmitter(const Record& r, const std::vector<const Block*>* blocks = nullptr)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver s(nullptr, flex, nullptr);
        {
            Sl::ScopedSaverGroup group("emitter", s, r.version);
            Sl::write("id", s, r.id);
            Sl::write("system_id", s, r.systemId);
            Sl::write("revision", s, r.revision);
            Sl::write("deep_revision", s, r.deepRevision);
            {
                Sl::ScopedSaverGroup refl("refl_source", s, 0);
                s.write(nullptr, false);
            }
            const boost::optional<Uuid> none;
            Sl::write("dir_refl_rev", s, none);
            Sl::write("sys_refl_rev", s, none);
            Sl::write("name", s, std::string("old"));
            for (unsigned int l = 0; l < Emitter::BL_Count; ++l)
                if (l != Emitter::BL_Positioner || r.version > 0)
                    Sl::write(Emitter::blockListKey(static_cast<Emitter::EnumBlockList>(l)), s,
                              r.lists[l]);
            Sl::write("links", s, r.links);
            Sl::write("refl_blocks", s, r.reflBlocks);
            Sl::write("refl_links", s, r.reflLinks);
            PlmTest::writeProp(s, "globals_layout_disp", glm::vec2(1.0f, 2.0f));
            PlmTest::writeProp(s, "params_layout_disp", glm::vec2(3.0f, 4.0f));
            PlmTest::writeProp(s, "constructs_layout_disp", glm::vec2(5.0f, 6.0f));
            PlmTest::writeProp(s, "standalone", false);
            PlmTest::writeProp(s, "max_num_particles", 55u);
            PlmTest::writeProp(s, "sorting", Ps::ES_DepthCorrect);
            if (r.version == 2)
            {
                s.write(nullptr, r.oldGuide);
                if (r.oldGuide)
                {
                    Sl::ScopedSaverGroup old("guide", s, 1);
                    s.write("life", 3.0f);
                }
            }
            if (r.version >= 7)
                s.write(nullptr, r.enabled);
            if (r.version >= 5)
            {
                s.write(nullptr, r.geometryVisible);
                s.write(nullptr, r.reservedFlag);
            }
            if (r.version >= 6)
                s.write(nullptr, r.wireframeVisible);
            if (r.version >= 8)
            {
                Sl::ScopedSaverGroup colorizer("param_blocks_colorizer", s, 0);
                Sl::write("colors", s, r.colors);
            }
        }
        if (blocks)
        {
            s.write("num_blocks", static_cast<uint32_t>(blocks->size()));
            for (const Block* block : *blocks)
                block->save(s);
            Sl::ScopedSaverGroup guide(s, 8);
            Sl::write("guide_refl_rev", s, boost::optional<Uuid>());
            s.write("has_guide", false);
        }
    }
    return flex.dataAsVector();
}

// The guide part of an emitter that has no guide (the guide's own files are tested with it).
Bytes writeGuidePart(uint32_t version)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver s(nullptr, flex, nullptr);
        Sl::ScopedSaverGroup group(s, version);
        if (version >= 4)
            Sl::write("guide_refl_rev", s, boost::make_optional(newId()));
        s.write("has_guide", false);
    }
    return flex.dataAsVector();
}

// The split form as an effect reads it: the emitter, its blocks one by one, then its guide.
std::unique_ptr<Emitter> loadSplit(EmitterOwner& owner, const Bytes& emitter,
                                   const std::vector<Bytes>& blocks,
                                   const Bytes& guide = writeGuidePart(8))
{
    std::unique_ptr<Emitter> e = Emitter::createForLoad();
    e->connectWithOwner(owner);
    readFrom(emitter, [&](Sl::RevisionLoader& l) { e->loadWithoutBlocks(l); });
    for (const Bytes& block : blocks)
        readFrom(block, [&](Sl::RevisionLoader& l) { e->loadBlock(l); });
    e->checkLoadedBlocks();
    readFrom(guide, [&](Sl::RevisionLoader& l) { e->loadEmitterGuide(l); });
    e->postLoad();
    return e;
}

std::vector<Bytes> blockBytes(const std::vector<const Block*>& blocks)
{
    std::vector<Bytes> bytes;
    for (const Block* block : blocks)
        bytes.push_back(saveBlockPlain(*block));
    return bytes;
}

TEST(PlmEmitterLinks, OneFeederPerInputNewestLastSameTypesOnly)
{
    Emitter e("e");
    Block& a = add(e, "func_lerp_float");
    Block& b = add(e, "func_lerp_float");
    Block& c = add(e, "func_lerp_float");
    Block& v = add(e, "func_lerp_vec3");
    const std::map<Uuid, char> names{
        {a.getId(), 'a'}, {b.getId(), 'b'}, {c.getId(), 'c'}, {v.getId(), 'v'}};
    struct Step
    {
        Block* out;
        Block* in;
        unsigned int inIndex;
        bool created;
        const char* links;
    } steps[] = {
        {&a, &b, 0, true, "a3>b0"},
        {&a, &b, 0, false, "a3>b0"},  // the same link twice
        {&c, &b, 0, true, "c3>b0"},   // one feeder per input
        {&a, &b, 1, true, "c3>b0,a3>b1"},
        {&v, &b, 2, false, "c3>b0,a3>b1"},  // vec3 to float
        {&b, &c, 0, true, "c3>b0,a3>b1,b3>c0"},
        {&a, &b, 0, true, "a3>b1,b3>c0,a3>b0"},  // the newest stands last
    };
    for (const Step& s : steps)
    {
        const Uuid revision = e.getRevision(), deep = e.getDeepRevision();
        EXPECT_EQ(e.createLink(*s.out, 3, *s.in, s.inIndex), s.created) << s.links;
        EXPECT_EQ(linksText(e, names), s.links);
        EXPECT_EQ(e.getRevision() != revision, s.created) << s.links;
        EXPECT_EQ(e.getDeepRevision() != deep, s.created) << s.links;
    }

    EXPECT_EQ(e.getLinkIndex(a, 3, b, 0), boost::make_optional(2u));
    EXPECT_EQ(e.getLinkIndex(a.getConnectorById(3), b, 0), boost::make_optional(2u));
    EXPECT_EQ(e.getLinkIndex(a, 3, b.getConnectorById(1)), boost::make_optional(0u));
    EXPECT_FALSE(e.getLinkIndex(a, 9, b, 0));
    EXPECT_FALSE(e.getLinkIndex(c, 3, b, 0));
    EXPECT_EQ(e.getLinkOnInputConnector(c.getConnectorById(0)), boost::make_optional(1u));

    // Clearing a connector, then a connector the block no longer has.
    Uuid revision = e.getRevision();
    e.clearNonReflectedConnector(b.getConnectorById(1));
    EXPECT_EQ(linksText(e, names), "b3>c0,a3>b0");
    EXPECT_NE(e.getRevision(), revision);
    revision = e.getRevision();
    e.clearNonReflectedConnector(b.getConnectorById(1));
    EXPECT_EQ(e.getRevision(), revision);
    static_cast<BlockFuncLerp<float>&>(b).setFromExternal(false);
    EXPECT_EQ(linksText(e, names), "b3>c0");
    e.removeBlock(c.getId());
    EXPECT_EQ(e.getNumLinks(), 0u);
}

TEST(PlmEmitterRevisions, WhichChangesMoveWhichRevision)
{
    struct Case
    {
        const char* what;
        std::function<void(Emitter&, Block& a, Block& b)> change;
        bool revision, deep;
        std::vector<bool> notes;  // what the owner hears: affectsExport per call
    } cases[] = {
        {"name", [](Emitter& e, Block&, Block&) { e.setName("n"); }, true, true, {false}},
        {"enabled", [](Emitter& e, Block&, Block&) { e.setEnabled(false); }, true, true, {true}},
        {"standalone",
         [](Emitter& e, Block&, Block&) { e.setStandalone(false); },
         true,
         true,
         {true}},
        {"max particles",
         [](Emitter& e, Block&, Block&) { e.setMaxNumParticles(7u); },
         true,
         true,
         {true}},
        {"sorting",
         [](Emitter& e, Block&, Block&) { e.setSorting(Ps::ES_DepthCorrect); },
         true,
         true,
         {true}},
        {"layout",
         [](Emitter& e, Block&, Block&) { e.setLeftBlocksLayoutPos(glm::vec2(1.0f)); },
         true,
         true,
         {false}},
        {"param order",
         [](Emitter& e, Block&, Block&) { e.bakeBlockParamsIndexChange(); },
         true,
         true,
         {true}},
        {"add function",
         [](Emitter& e, Block&, Block&) { add(e, "func_lerp_vec2"); },
         true,
         true,
         {false}},
        {"add parameter",
         [](Emitter& e, Block&, Block&) { add(e, "param_lifetime"); },
         true,
         true,
         {true}},
        {"remove",
         [](Emitter& e, Block&, Block& b) { e.removeBlock(b.getId()); },
         true,
         true,
         {true}},
        {"block edit",
         [](Emitter&, Block& a, Block&) { a.notifyPropChanged(true); },
         false,
         true,
         {true}},
        {"block layout",
         [](Emitter&, Block& a, Block&) { a.notifyPropChanged(false); },
         false,
         true,
         {false}},
        {"same link",
         [](Emitter& e, Block& a, Block& b) { e.createLink(a, 3, b, 0); },
         false,
         false,
         {}},
        {"clear free input",
         [](Emitter& e, Block&, Block& b) { e.clearNonReflectedConnector(b.getConnectorById(1)); },
         false,
         false,
         {}},
        {"view toggles",
         [](Emitter& e, Block&, Block&)
         {
             e.setGeometryVisible(false);
             e.setWireframeVisible(true);
         },
         false,
         false,
         {}},
    };
    for (const Case& c : cases)
    {
        TestOwner owner;
        Emitter e("e");
        e.connectWithOwner(owner);
        Block& a = add(e, "func_lerp_float");
        Block& b = add(e, "func_lerp_float");
        ASSERT_TRUE(e.createLink(a, 3, b, 0));
        owner.notes.clear();
        const Uuid revision = e.getRevision(), deep = e.getDeepRevision();
        c.change(e, a, b);
        EXPECT_EQ(e.getRevision() != revision, c.revision) << c.what;
        EXPECT_EQ(e.getDeepRevision() != deep, c.deep) << c.what;
        EXPECT_EQ(owner.notes, c.notes) << c.what;
    }
}

TEST(PlmEmitterRevisions, UnsyncedCopyIsSilentAndCantBeSaved)
{
    TestOwner owner;
    Emitter source("source");
    source.setMaxNumParticles(9u);
    source.setEnabled(false);
    source.setWireframeVisible(true);
    add(source, "func_lerp_float");
    std::unique_ptr<Emitter> copy = source.reflect(ReflectionSourceRef::external("a.sxed"));
    copy->connectWithOwner(owner);
    EXPECT_TRUE(copy->isCopiedButNotSynced());
    EXPECT_EQ(copy->getName(), "source");
    EXPECT_EQ(copy->getMaxNumParticles(), 9u);
    EXPECT_TRUE(copy->isEnabled());
    EXPECT_FALSE(copy->isWireframeVisible());
    EXPECT_EQ(copy->allBlocks().size(), 0u);
    EXPECT_NE(copy->getId(), source.getId());
    EXPECT_NE(copy->getSystemReflId(), source.getSystemReflId());
    EXPECT_TRUE(copy->getReflSourceRef() == ReflectionSourceRef::external("a.sxed"));

    const Uuid revision = copy->getRevision(), deep = copy->getDeepRevision();
    copy->notifyDeepChanged(true);
    EXPECT_EQ(copy->getRevision(), revision);
    EXPECT_EQ(copy->getDeepRevision(), deep);
    EXPECT_TRUE(owner.notes.empty());
    EXPECT_THROW(saveEmitterPlain(*copy), Debug::CheckException);
}

TEST(PlmEmitterLists, MembershipOrderAndColours)
{
    Emitter e("e");
    const char* kinds[] = {"gen_periodic",     "term_less",        "positioner",
                           "construct_quads",  "param_lifetime",   "param_emitter",
                           "glob_time",        "glob_param_float", "func_lerp_float",
                           "param_user_float", "func_lerp_vec2",   "param_user_vec2"};
    std::map<Uuid, char> names;
    std::vector<Block*> blocks;
    for (const char* kind : kinds)
    {
        blocks.push_back(&add(e, kind));
        names[blocks.back()->getId()] = static_cast<char>('a' + names.size());
    }
    using L = Emitter;
    auto expectLists = [&](const std::vector<const char*>& expected)
    {
        for (unsigned int l = 0; l < L::BL_Count; ++l)
            EXPECT_EQ(listText(e, static_cast<L::EnumBlockList>(l), names), expected[l])
                << L::blockListKey(static_cast<L::EnumBlockList>(l));
    };
    //           all             glob  gen  param   func  term  pos  constr  p_em  gl_par
    expectLists({"abcdefghijkl", "gh", "a", "efjl", "ik", "b", "c", "d", "f", "h"});
    EXPECT_EQ(&e.constructBlocks()[0], blocks[3]);
    std::string funcs;
    for (const BlockFunc& f : e.funcBlocks())
        funcs += names.at(f.getId());
    EXPECT_EQ(funcs, "ik");

    // Order changes through the list's view.
    struct Move
    {
        unsigned int from;
        boost::optional<char> after;  // none: changeItemIndex(from, 2); '-': to the front
        const char* params;
    } moves[] = {{0, boost::none, "fjel"}, {2, '-', "efjl"}, {1, 'f', "efjl"}, {0, 'l', "fjle"}};
    for (const Move& m : moves)
    {
        auto& params = e.paramBlocks();
        if (!m.after)
            params.changeItemIndex(m.from, 2);
        else if (*m.after == '-')
            params.changeItemIndexAfter(m.from, boost::none);
        else
            params.changeItemIndexAfter(m.from, blocks[*m.after - 'a']->getId());
        EXPECT_EQ(listText(e, L::BL_Param, names), m.params);
    }

    // User parameters keep their colours; a new one takes the smallest free colour.
    auto colour = [&](char block)
    { return e.paramBlocksColorizer()->colorIndex(blocks[block - 'a']->getId()); };
    EXPECT_EQ(colour('j'), boost::make_optional<unsigned short>(0));
    EXPECT_EQ(colour('l'), boost::make_optional<unsigned short>(1));
    EXPECT_FALSE(colour('e'));

    // Removal keeps the order of the others everywhere.
    e.removeBlock(blocks[5]->getId());
    e.removeBlock(blocks[9]->getId());
    expectLists({"abcdeghikl", "gh", "a", "le", "ik", "b", "c", "d", "", "h"});
    Block& m = add(e, "param_user_float");
    EXPECT_EQ(e.paramBlocksColorizer()->colorIndex(m.getId()),
              boost::make_optional<unsigned short>(0));
}

TEST(PlmEmitterBlocks, RemovalTakesUpdatersAndSeparatesReflections)
{
    System system;
    Emitter source("e");
    auto& param = static_cast<BlockParamUser&>(add(source, "param_user_float"));
    Block& own = source.addBlock(BlockParamUserUpdater::create(param));
    Block& locked = source.addBlock(BlockParamUserUpdater::create(param));
    Block& lerp = add(source, "func_lerp_float");
    Block& lerpRefl = source.addBlockReflection(lerp, ReflectionSourceRef::internal(lerp.getId()));
    // Only a file (or synchronisation) makes a block a locked one.
    Record r = recordOf(source);
    r.reflBlocks = {locked.getId()};
    std::unique_ptr<Emitter> e =
        loadSplit(system, writeEmitter(r), blockBytes({&param, &own, &locked, &lerp, &lerpRefl}));
    ASSERT_TRUE(e->getBlockById(locked.getId()).isLockedByParentReflection());
    EXPECT_FALSE(e->getBlockById(own.getId()).isLockedByParentReflection());

    e->removeBlock(param.getId());
    EXPECT_FALSE(e->findBlockById(own.getId()));
    EXPECT_TRUE(e->findBlockById(locked.getId()));
    e->removeBlock(lerp.getId());
    ASSERT_TRUE(e->findBlockById(lerpRefl.getId()));
    EXPECT_FALSE(e->getBlockById(lerpRefl.getId()).getReflSourceRef());
    EXPECT_EQ(e->allBlocks().size(), 2u);
}

// An emitter with something in every part of its record.
struct RichEmitter
{
    System system;
    Emitter* e = &system.addEmitter(std::make_unique<Emitter>("rich"));
    RichEmitter()
    {
        Block& a = add(*e, "func_lerp_float");
        Block& b = add(*e, "func_lerp_float");
        for (const char* kind :
             {"gen_periodic", "term_less", "positioner", "construct_strip", "param_lifetime",
              "glob_param_vec3", "param_user_vec2", "param_user_float"})
            add(*e, kind);
        e->createLink(a, 3, b, 0);
        e->createLink(b, 3, a, 2);
        e->paramBlocks().changeItemIndex(0, 2);
        e->setName("rich one");
        e->setEnabled(false);
        e->setStandalone(false);
        e->setMaxNumParticles(1234u);
        e->setSorting(Ps::ES_DepthCorrect);
        e->setTopBlocksLayoutPos(glm::vec2(-1.0f, 2.0f));
        e->setGeometryVisible(false);
        e->setWireframeVisible(true);
    }
};

TEST(PlmEmitterFiles, RoundTripKeepsEverything)
{
    RichEmitter rich;
    const Emitter& e = *rich.e;
    const Bytes bytes = saveEmitterPlain(e);
    writeSeed("rich", bytes);
    System system;
    std::unique_ptr<Emitter> back = loadEmitterPlain(bytes.data(), bytes.size(), system);
    EXPECT_EQ(saveEmitterPlain(*back), bytes);
    EXPECT_EQ(back->getId(), e.getId());
    EXPECT_EQ(back->getSystemReflId(), e.getSystemReflId());
    EXPECT_EQ(back->getRevision(), e.getRevision());
    EXPECT_EQ(back->getDeepRevision(), e.getDeepRevision());
    EXPECT_EQ(back->getName(), "rich one");
    EXPECT_FALSE(back->isEnabled());
    EXPECT_FALSE(back->isStandalone());
    EXPECT_EQ(back->getMaxNumParticles(), 1234u);
    EXPECT_EQ(back->getSorting(), Ps::ES_DepthCorrect);
    EXPECT_EQ(back->getTopBlocksLayoutPos(), glm::vec2(-1.0f, 2.0f));
    EXPECT_EQ(back->getLeftBlocksLayoutPos(), glm::vec2(0.0f, 200.0f));
    EXPECT_EQ(back->getBottomBlocksLayoutPos(), glm::vec2(200.0f, 500.0f));
    EXPECT_FALSE(back->isGeometryVisible());
    EXPECT_TRUE(back->isWireframeVisible());
    for (unsigned int l = 0; l < Emitter::BL_Count; ++l)
        EXPECT_EQ(back->blockList(static_cast<Emitter::EnumBlockList>(l)),
                  e.blockList(static_cast<Emitter::EnumBlockList>(l)));
    ASSERT_EQ(back->getNumLinks(), 2u);
    EXPECT_EQ(back->getLink(1), e.getLink(1));
    for (const BlockParam& p : e.paramBlocks())
        EXPECT_EQ(back->paramBlocksColorizer()->colorIndex(p.getId()),
                  e.paramBlocksColorizer()->colorIndex(p.getId()));
}

TEST(PlmEmitterFiles, OlderVersionsRead)
{
    struct Case
    {
        uint32_t version;
        bool oldGuide;
        bool enabled, geometryVisible, reservedFlag, wireframeVisible;
    } cases[] = {
        // The record holds enabled false, geometry false, reserved true, wire frame true.
        {0, false, true, true, false, false}, {1, false, true, true, false, false},
        {2, false, true, true, false, false}, {2, true, true, true, false, false},
        {3, false, true, true, false, false}, {4, false, true, true, false, false},
        {5, false, true, false, true, false}, {6, false, true, false, true, true},
        {7, false, false, false, true, true}, {8, false, false, false, true, true},
    };
    for (const Case& c : cases)
    {
        Emitter source("e");
        Block& lerp = add(source, "func_lerp_float");
        Block& param = add(source, "param_user_float");
        std::vector<const Block*> blocks{&lerp, &param};
        // The first version knew no positioners.
        if (c.version > 0)
            blocks.push_back(&add(source, "positioner"));
        Record r = recordOf(source);
        r.version = c.version;
        r.oldGuide = c.oldGuide;
        r.colors[param.getId()] = 5;
        const Bytes bytes = writeEmitter(r, &blocks);
        writeSeed("version_" + std::to_string(c.version) + (c.oldGuide ? "_guide" : ""), bytes);
        System system;
        std::unique_ptr<Emitter> e = loadEmitterPlain(bytes.data(), bytes.size(), system);
        const std::string at = "version " + std::to_string(c.version);
        EXPECT_EQ(e->getRevision(), r.revision) << at;
        EXPECT_EQ(e->getDeepRevision(), r.deepRevision) << at;
        EXPECT_EQ(e->getName(), "old") << at;
        EXPECT_EQ(e->getMaxNumParticles(), 55u) << at;
        EXPECT_EQ(e->getSorting(), Ps::ES_DepthCorrect) << at;
        EXPECT_EQ(e->getBottomBlocksLayoutPos(), glm::vec2(5.0f, 6.0f)) << at;
        EXPECT_EQ(e->isEnabled(), c.enabled) << at;
        EXPECT_EQ(e->isGeometryVisible(), c.geometryVisible) << at;
        EXPECT_EQ(e->getReservedFlag(), c.reservedFlag) << at;
        EXPECT_EQ(e->isWireframeVisible(), c.wireframeVisible) << at;
        EXPECT_EQ(e->positionerBlocks().size(), c.version > 0 ? 1u : 0u) << at;
        EXPECT_EQ(e->funcBlocks().size(), 1u) << at;
        EXPECT_FALSE(e->guide()) << at;
        // Before the colorizer was saved, colours start afresh.
        EXPECT_EQ(e->paramBlocksColorizer()->colorIndex(param.getId()),
                  boost::make_optional<unsigned short>(c.version >= 8 ? 5 : 0))
            << at;
    }
    Record newer;
    newer.version = 9;
    System system;
    EXPECT_THROW(loadSplit(system, writeEmitter(newer), {}), Sl::OldLoaderVersionException);
}

TEST(PlmEmitterFiles, GuidePartVersions)
{
    struct Case
    {
        uint32_t version;
        bool hasReflRev;
    } cases[] = {{3, false}, {4, true}, {8, true}};
    System system;
    const Bytes emitter = writeEmitter(Record());
    for (const Case& c : cases)
    {
        std::unique_ptr<Emitter> e = loadSplit(system, emitter, {}, writeGuidePart(c.version));
        EXPECT_EQ(static_cast<bool>(e->getGuideReflRev()), c.hasReflRev) << c.version;
        EXPECT_FALSE(e->guide());
    }
    EXPECT_THROW(loadSplit(system, emitter, {}, writeGuidePart(9)), Sl::OldLoaderVersionException);
}

TEST(PlmEmitterFiles, UnknownBlockKindIsALoadError)
{
    static_assert(std::is_base_of<Sl::Exception, UnknownBlockKindException>::value, "");
    System system;
    const Bytes unknown =
        PlmTest::writeBlock("func_teleport", [](Sl::RevisionSaver& s) { s.write("x", 1.0f); });
    try
    {
        loadSplit(system, writeEmitter(Record()), {unknown});
        FAIL() << "loaded";
    }
    catch (const UnknownBlockKindException& e)
    {
        EXPECT_EQ(e.factoryName(), "func_teleport");
        EXPECT_NE(std::string(e.what()).find("func_teleport"), std::string::npos);
    }
}

TEST(PlmEmitterFiles, BrokenGraphIsALoadError)
{
    Emitter source("e");
    Block& a = add(source, "func_lerp_float");
    Block& b = add(source, "func_lerp_float");
    Block& v = add(source, "func_lerp_vec3");
    Block& p = add(source, "param_user_float");
    ASSERT_TRUE(source.createLink(a, 3, b, 0));
    const std::vector<Bytes> blocks = blockBytes({&a, &b, &v, &p});
    const BlockLink ab = source.getLink(0);
    const BlockConnector missing{newId(), inputDesc(CT_Float, 0)};
    struct Case
    {
        const char* what;
        std::function<void(Record&)> damage;
    } cases[] = {
        {"link to a missing block",
         [&](Record& r) {
             r.links.push_back({ab.output_, missing});
         }},
        {"link of two types",
         [&](Record& r) {
             r.links.push_back({ab.output_, v.getConnectorById(0)});
         }},
        {"two links on an input",
         [&](Record& r) {
             r.links.push_back({b.getConnectorById(3), ab.input_});
         }},
        {"link from an input",
         [&](Record& r) {
             r.links.push_back({ab.input_, a.getConnectorById(0)});
         }},
        {"list names a missing block",
         [&](Record& r) { r.lists[Emitter::BL_Func].push_back(newId()); }},
        {"list names another kind",
         [&](Record& r) { r.lists[Emitter::BL_Func].push_back(p.getId()); }},
        {"a block twice in a list",
         [&](Record& r) { r.lists[Emitter::BL_All].push_back(a.getId()); }},
        {"missing reflected block", [&](Record& r) { r.reflBlocks.push_back(newId()); }},
    };
    System system;
    for (const Case& c : cases)
    {
        Record r = recordOf(source);
        c.damage(r);
        EXPECT_THROW(loadSplit(system, writeEmitter(r), blocks), EmitterLoadException) << c.what;
    }
    Record r = recordOf(source);
    EXPECT_THROW(loadSplit(system, writeEmitter(r), {blocks[0], blocks[0]}), EmitterLoadException);

    // Reflected links come after the own ones; those that no longer fit go.
    r.reflLinks = {{b.getConnectorById(3), a.getConnectorById(1)}, {ab.output_, missing}};
    std::unique_ptr<Emitter> e = loadSplit(system, writeEmitter(r), blocks);
    ASSERT_EQ(e->getNumLinks(), 2u);
    EXPECT_FALSE(e->isLinkReflected(0));
    EXPECT_TRUE(e->isLinkReflected(1));
    EXPECT_EQ(e->getLink(1), r.reflLinks[0]);
    // Clearing an input leaves its reflected link to synchronisation.
    e->clearNonReflectedConnector(a.getConnectorById(1));
    EXPECT_EQ(e->getNumLinks(), 2u);
}

TEST(PlmEmitterFiles, DamagedStreamsRaiseOnlySlExceptions)
{
    RichEmitter rich;
    Bytes bytes = saveEmitterPlain(*rich.e);
    System system;
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_THROW(loadEmitterPlain(bytes.data(), size, system), Sl::Exception) << size;
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] ^= 0xa5;
        try
        {
            loadEmitterPlain(bytes.data(), bytes.size(), system);
        }
        catch (const Sl::Exception&)
        {
        }
        bytes[i] ^= 0xa5;
    }
}

TEST(PlmEmitterFiles, PositionerTakesOverTheConstructorsPosition)
{
    Emitter source("e");
    Block& feed = add(source, "func_lerp_vec3");
    const BlockConnector strip{newId(), inputDesc(CT_Vec3, 0)};
    // A constructor of the first version, with the position of particles in it.
    PlmTest::RecordHead head;
    head.id = strip.blockId;
    const Bytes stripBytes = PlmTest::writeBlock(
        "construct_strip",
        [](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group("construct_strip", s, 0);
            PlmTest::writeProp(s, "exportable", true);
            PlmTest::writeProp(s, "material", Ps::MAT_Normal);
            PlmTest::writeProp(s, "texture", std::string("t.png"));
            PlmTest::writeProp(s, "position", glm::vec3(4.0f, 5.0f, 6.0f), true);
            PlmTest::writeProp(s, "free_rotation", false);
            PlmTest::writeProp(s, "size", 1.0f);
            PlmTest::writeProp(s, "color", glm::vec3(1.0f));
            PlmTest::writeProp(s, "alpha", 1.0f);
            PlmTest::writeProp(s, "tex_repeat_dist", 10.0f);
        },
        head);
    Record r = recordOf(source);
    r.version = 0;
    r.lists[Emitter::BL_All].push_back(strip.blockId);
    r.lists[Emitter::BL_Construct].push_back(strip.blockId);
    r.links.push_back({feed.getConnectorById(3), strip});

    for (bool secondConstructor : {false, true})
    {
        System system;
        Record record = r;
        std::vector<Bytes> blocks{saveBlockPlain(feed), stripBytes};
        if (secondConstructor)
        {
            std::unique_ptr<Block> quads = createByName("construct_quads");
            record.lists[Emitter::BL_All].push_back(quads->getId());
            record.lists[Emitter::BL_Construct].push_back(quads->getId());
            blocks.push_back(saveBlockPlain(*quads));
        }
        std::unique_ptr<Emitter> e = loadSplit(system, writeEmitter(record), blocks);
        // The position input is gone from today's constructors, and so is its link.
        EXPECT_EQ(e->getNumLinks(), 0u);
        EXPECT_EQ(e->getRevision(), record.revision);
        auto& positioner = static_cast<BlockPositioner&>(e->addBlock(BlockPositioner::create()));
        if (secondConstructor)
        {
            EXPECT_THROW(e->restorePositionerLink(), EmitterLoadException);
            continue;
        }
        e->restorePositionerLink();
        ASSERT_EQ(e->getNumLinks(), 1u);
        EXPECT_EQ(e->getLink(0),
                  (BlockLink{feed.getConnectorById(3), positioner.getConnectorById(0)}));
        EXPECT_EQ(positioner.getPosition(), glm::vec3(4.0f, 5.0f, 6.0f));
    }
}

TEST(PlmEmitterRelations, ConnectedReflectedAndDetached)
{
    System system;
    Emitter& a = system.addEmitter(Emitter::create("a"));
    Emitter& b = system.addEmitter(Emitter::create("b"));
    Emitter& c = system.addEmitter(Emitter::create("c"));
    auto attach = [](Emitter& from, const Emitter& to) -> BlockParamEmitter&
    {
        auto& block = static_cast<BlockParamEmitter&>(add(from, "param_emitter"));
        block.setEmitterId(boost::make_optional(boost::make_optional(to.getId())));
        return block;
    };
    BlockParamEmitter& ab = attach(a, b);
    attach(b, c);
    Emitter& r1 = system.addEmitter(a.reflect(ReflectionSourceRef::internal(a.getId())));
    Emitter& r2 = system.addEmitter(r1.reflect(ReflectionSourceRef::internal(r1.getId())));
    struct Case
    {
        const char* what;
        bool result, expected;
    } cases[] = {
        {"a to c through b", a.hasAnyLevelConnectedEmitter(c.getId()), true},
        {"a to b", a.hasAnyLevelConnectedEmitter(b.getId()), true},
        {"c to a", c.hasAnyLevelConnectedEmitter(a.getId()), false},
        {"a reflected twice", a.hasAnyLevelReflection(r2.getId()), true},
        {"r1 reflects a, not the other way", r1.hasAnyLevelReflection(a.getId()), false},
        {"b reflected by nobody", b.hasAnyLevelReflection(r1.getId()), false},
        {"outside an effect", Emitter("x").hasAnyLevelConnectedEmitter(a.getId()), false},
    };
    for (const Case& k : cases)
        EXPECT_EQ(k.result, k.expected) << k.what;

    // A cycle that a file may hold ends the walk.
    BlockParamEmitter& ca = attach(c, a);
    EXPECT_FALSE(a.hasAnyLevelConnectedEmitter(newId()));
    b.detachFromRelatedEmitters();
    EXPECT_FALSE(ab.getEmitterId());
    EXPECT_EQ(ca.getEmitterId(), boost::make_optional(a.getId()));
}

}  // namespace
