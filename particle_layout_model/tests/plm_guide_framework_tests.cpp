// The guide as a whole: what a new emitter holds, the shared blocks and parameter order, which
// sections give up when the scheme removes a block, undo, and the guide's files.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_core.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_saver_loader_manager.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using Uuid = boost::uuids::uuid;
using Bytes = std::vector<uint8_t>;

const char* const kSectionNames[] = {
    "custom_values", "generation", "termination",  "position_start", "position_change",
    "rotation",      "size",       "transparency", "color",          "tex_mapping"};

std::vector<std::string> factoryNames(const Emitter& e)
{
    std::vector<std::string> names;
    for (const Block& block : e.allBlocks())
        names.push_back(block.getFactoryName().str());
    std::sort(names.begin(), names.end());
    return names;
}

// The names of the sections that are invalid.
std::vector<std::string> invalidSections(const EmitterGuide& guide)
{
    std::vector<std::string> names;
    const std::vector<Eg::Base*> sections = guide.sections();
    for (size_t i = 0; i < sections.size(); ++i)
        if (!sections[i]->isValid())
            names.push_back(kSectionNames[i]);
    return names;
}

const Block* firstOfKind(const Emitter& e, const std::string& factoryName)
{
    for (const Block& block : e.allBlocks())
        if (block.getFactoryName().str() == factoryName)
            return &block;
    return nullptr;
}

struct NewEmitter
{
    System system;
    Emitter& e = system.addEmitter(Emitter::create("DefaultEmitter"));
    EmitterGuide& guide = *e.guide();
};

TEST(GuideNewEmitter, HoldsWhatTheNewGuideBuildsAllValidAndLinked)
{
    NewEmitter n;
    // Life, positioner and constructor; the periodic generator (its rate lives in the block);
    // one max-life terminator with its age expression and its life value; the start position
    // and its point; steady movement with the start velocity (a sphere); the rotation angle
    // (in its parameter); the start size. Transparency and colour live in the constructor.
    const std::vector<std::string> expected = {
        "construct_quads", "func_distrib_float", "func_distrib_float", "func_distrib_vec3",
        "func_expression", "func_move",          "func_random_vec",    "gen_periodic",
        "param_lifetime",  "param_position",     "param_user_float",   "param_user_updater",
        "param_velocity",  "positioner",         "term_less"};
    EXPECT_EQ(factoryNames(n.e), expected);
    EXPECT_TRUE(invalidSections(n.guide).empty());
    EXPECT_TRUE(n.guide.particleTimeValid());
    EXPECT_TRUE(n.guide.positionerValid());
    EXPECT_TRUE(n.guide.constructValid());

    const auto& construct =
        static_cast<const BlockConstructQuads&>(n.e.getBlockById(n.guide.blockConstructId()));
    EXPECT_EQ(construct.getSize(), 10.0f);
    EXPECT_EQ(n.guide.termination().numTerminators(), 1u);
    EXPECT_TRUE(n.guide.getNormParticleLifeConnector());

    // The positioner takes the particles' position from the movement.
    const boost::optional<BlockConnector> position =
        n.guide.positionChange().getPositionConnector();
    ASSERT_TRUE(position);
    EXPECT_TRUE(n.e.getLinkIndex(*position, n.e.getBlockById(n.guide.blockPositionerId()), 0));

    // Every input of the graph that the guide made external is fed by exactly one link.
    std::map<std::pair<Uuid, uint32_t>, int> fed;
    for (unsigned int i = 0; i < n.e.getNumLinks(); ++i)
        ++fed[{n.e.getLink(i).input_.blockId, n.e.getLink(i).input_.desc_.index_}];
    for (const Block& block : n.e.allBlocks())
        for (unsigned int c = 0; c < block.getNumConnectors(); ++c)
        {
            const BlockConnectorDesc& desc = block.getConnectorDesc(c);
            if (desc.dir_ != CD_Input)
                continue;
            EXPECT_EQ((fed[{block.getId(), desc.index_}]), 1)
                << block.getFactoryName().str() << " input " << desc.index_;
        }
}

TEST(GuideNewEmitter, GuideParametersComeFirstInTheOrderOfTheForm)
{
    NewEmitter n;
    const auto& params = n.e.paramBlocks();
    // Life first, then the start position, then the velocity: the order of the form.
    ASSERT_GE(params.size(), 3u);
    EXPECT_EQ(params.getId(0), n.guide.blockParticleTimeId());
    EXPECT_EQ(params[1].getFactoryName().str(), "param_position");
    EXPECT_EQ(params[2].getFactoryName().str(), "param_velocity");

    // A parameter that the user adds in the scheme stays behind all of the guide's, also after
    // the guide adds one of its own.
    Block& user = n.e.addBlock(PlmTest::createByName("param_user_vec2"));
    n.guide.customValues().addValue();
    ASSERT_TRUE(n.guide.customValues().value(0).value().rowValue(0).paramId());
    EXPECT_EQ(params.getId(params.size() - 1), user.getId());
    const Uuid customParam = *n.guide.customValues().value(0).value().rowValue(0).paramId();
    EXPECT_LT(*params.findIndex(customParam), *params.findIndex(user.getId()));
}

TEST(GuideFramework, SharedGlobalBlocksAreCountedAndGoWithTheLastRelease)
{
    NewEmitter n;
    const unsigned int before = n.e.allBlocks().size();
    const Uuid first = n.guide.requestEmitterTimeId();
    const Uuid second = n.guide.requestEmitterTimeId();
    EXPECT_EQ(first, second);
    EXPECT_EQ(n.e.allBlocks().size(), before + 1);
    EXPECT_EQ(n.guide.emitterTimeRefs()->refs_, 2u);
    n.guide.releaseEmitterTimeId();
    EXPECT_TRUE(n.e.findBlockById(first));
    n.guide.releaseEmitterTimeId();
    EXPECT_FALSE(n.e.findBlockById(first));
    EXPECT_FALSE(n.guide.emitterTimeRefs());
    EXPECT_EQ(n.e.allBlocks().size(), before);
    EXPECT_THROW(n.guide.releaseEmitterTimeId(), Debug::CheckException);
}

TEST(GuideFramework, NormalisedLifeNeedsExactlyOneMaxLifeTerminator)
{
    using Eg::TerminationType;
    struct Case
    {
        const char* what;
        std::vector<TerminationType> add;
        unsigned int removeFirst;
        bool expected;
    } cases[] = {
        {"one max life", {}, 0, true},
        {"two max lives", {TerminationType::MaxLife}, 0, false},
        {"none", {}, 1, false},
        {"a path beside one max life", {TerminationType::Path}, 0, true},
        {"a path alone", {TerminationType::Path}, 1, false},
    };
    for (const Case& c : cases)
    {
        NewEmitter n;
        for (TerminationType type : c.add)
            n.guide.termination().addTerminator(type);
        for (unsigned int i = 0; i < c.removeFirst; ++i)
            n.guide.termination().removeTerminator(0);
        EXPECT_EQ(static_cast<bool>(n.guide.getNormParticleLifeConnector()), c.expected) << c.what;
    }
}

TEST(GuideFramework, ChangesInsideAScopeAreReadBackOnceAtItsEnd)
{
    NewEmitter n;
    n.guide.termination().addTerminator(Eg::TerminationType::Path);
    const auto& path = static_cast<const Eg::TerminationPath&>(n.guide.termination().terminator(1));
    {
        auto outer = n.guide.scopedChange();
        {
            auto inner = n.guide.scopedChange();
            n.e.removeBlock(path.blockId());
        }
        // Neither the emitter's notification nor the inner scope's end reads the graph back.
        EXPECT_TRUE(n.guide.termination().isValid());
        EXPECT_TRUE(n.guide.isChanging());
    }
    EXPECT_FALSE(n.guide.isChanging());
    EXPECT_EQ(invalidSections(n.guide), std::vector<std::string>{"termination"});
}

// The undo store as the editor uses it: one picture of the emitter per edit.
struct UndoStore
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core{manager};
    void picture(const Emitter& e)
    {
        std::shared_ptr<Sl::RevisionSaver> saver = core.createRevision();
        saveEmitterInline(*saver, e);
    }
};

TEST(GuideFramework, RemovedBlockInvalidatesOnlyItsSectionsAndUndoBringsThemBack)
{
    struct Case
    {
        const char* block;
        std::vector<std::string> invalid;
    } cases[] = {
        {"gen_periodic", {"generation"}},
        {"term_less", {"termination"}},
        {"param_position", {"position_start", "position_change"}},
        {"func_move", {"position_change"}},
        {"param_user_float", {"rotation"}},
        {"construct_quads", {"rotation", "size", "transparency", "color", "tex_mapping"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.block);
        System system;
        Emitter* e = &system.addEmitter(Emitter::create("e"));
        // A value the user set, which undo must bring back.
        e->setName("undo me");
        UndoStore undo;
        undo.picture(*e);
        const Bytes before = saveEmitterPlain(*e);

        const Block* block = firstOfKind(*e, c.block);
        ASSERT_TRUE(block);
        e->removeBlock(block->getId());
        undo.picture(*e);
        EXPECT_EQ(invalidSections(*e->guide()), c.invalid);

        std::shared_ptr<Sl::RevisionLoader> loader = undo.core.undo();
        ASSERT_TRUE(loader);
        std::unique_ptr<Emitter> restored = loadEmitterInline(*loader, system);
        ASSERT_TRUE(restored->guide());
        EXPECT_TRUE(invalidSections(*restored->guide()).empty());
        EXPECT_EQ(saveEmitterPlain(*restored), before);
    }
}

TEST(GuideFiles, SaveLoadSaveGivesEqualBytesAndTheSameValidity)
{
    NewEmitter n;
    n.guide.positionChange().changeType(Eg::PositionChange::T_Forces);
    n.guide.customValues().addValue();
    n.guide.termination().addTerminator(Eg::TerminationType::Path);
    const Bytes saved = saveEmitterPlain(n.e);
    std::unique_ptr<Emitter> loaded = loadEmitterPlain(saved.data(), saved.size(), n.system);
    ASSERT_TRUE(loaded->guide());
    EXPECT_EQ(invalidSections(*loaded->guide()), invalidSections(n.guide));
    EXPECT_EQ(saveEmitterPlain(*loaded), saved);
    // A loaded guide is as alive as a new one: a change of kind links as usual.
    EXPECT_TRUE(loaded->guide()->positionChange().changeType(Eg::PositionChange::T_Steady));
    EXPECT_TRUE(invalidSections(*loaded->guide()).empty());
}

// Emitters that use much of what the form offers. Each reads back to the bytes it was saved
// from; with PLM_WRITE_GUIDE_SEEDS=<folder> they are also written there, as seeds of the
// emitter fuzzer.
TEST(GuideFiles, VariedEmittersReadBackToTheirBytes)
{
    using Eg::Value;
    struct Case
    {
        const char* name;
        std::function<void(EmitterGuide&)> shape;
    } cases[] = {
        {"guide_default", [](EmitterGuide&) {}},
        {"guide_forces_noise",
         [](EmitterGuide& g)
         {
             g.positionChange().changeType(Eg::PositionChange::T_Forces);
             static_cast<Eg::PositionChangeForces&>(g.positionChange().impl())
                 .addForce(Eg::PositionChangeForces::FT_Noise);
             g.color().value().rowValue(0).changeType(Value::Type::Graph);
         }},
        {"guide_path_free_rect",
         [](EmitterGuide& g)
         {
             g.positionChange().changeType(Eg::PositionChange::T_Path);
             g.rotation().changeType(Eg::Rotation::T_VelocityFree);
             g.size().changeType(Eg::Size::T_Rect);
             g.size().changeChangeType(Eg::Size::CT_Multiplier);
         }},
        {"guide_custom_grid_distance",
         [](EmitterGuide& g)
         {
             Eg::CustomValue& custom = g.customValues().addValue();
             g.transparency().value().rowValue(0).changeToOverCustomValueType(custom.id());
             g.transparency().value().addRow(1);
             g.texMapping().changeType(Eg::TexMapping::T_Grid);
             g.generation().changeType(Eg::Generation::T_Distance);
             g.termination().addTerminator(Eg::TerminationType::Path);
         }},
    };
    const char* seeds = std::getenv("PLM_WRITE_GUIDE_SEEDS");
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        NewEmitter n;
        c.shape(n.guide);
        EXPECT_TRUE(invalidSections(n.guide).empty());
        const Bytes saved = saveEmitterPlain(n.e);
        std::unique_ptr<Emitter> loaded = loadEmitterPlain(saved.data(), saved.size(), n.system);
        EXPECT_EQ(saveEmitterPlain(*loaded), saved);
        if (seeds)
        {
            std::ofstream out(std::string(seeds) + "/" + c.name, std::ios::binary);
            out.write(reinterpret_cast<const char*>(saved.data()),
                      static_cast<std::streamsize>(saved.size()));
        }
    }
}

// An emitter with no blocks whose guide group says `version` and holds nothing more.
Bytes emitterWithGuideVersion(uint32_t version)
{
    Emitter e("e");
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        e.saveWithoutBlocks(saver);
        saver.write("num_blocks", 0u, Sl::PH_Packed);
        Sl::ScopedSaverGroup group(saver, 8);
        Sl::write("guide_refl_rev", saver, boost::optional<Uuid>());
        saver.write("has_guide", true);
        Sl::ScopedSaverGroup guide(saver, version);
    }
    return flex.dataAsVector();
}

TEST(GuideFiles, GuidesOfOtherVersionsAreRefusedWithAnError)
{
    System system;
    const Bytes newer = emitterWithGuideVersion(EmitterGuide::kVersion + 1);
    EXPECT_THROW(loadEmitterPlain(newer.data(), newer.size(), system),
                 Sl::OldLoaderVersionException);
    const Bytes older = emitterWithGuideVersion(EmitterGuide::kVersion - 1);
    try
    {
        loadEmitterPlain(older.data(), older.size(), system);
        ADD_FAILURE() << "an old guide loaded";
    }
    catch (const EmitterLoadException& e)
    {
        EXPECT_STREQ(e.what(), "the emitter's guide was saved by an older editor and can't be "
                               "read");
    }
}

TEST(GuideFiles, DamagedGuidesGiveLoadErrorsOnly)
{
    NewEmitter n;
    n.guide.rotation().changeType(Eg::Rotation::T_VelocityFree);
    const Bytes saved = saveEmitterPlain(n.e);
    // Every cut, and a byte changed at every 7th place.
    for (size_t size = 0; size < saved.size(); ++size)
        EXPECT_THROW(loadEmitterPlain(saved.data(), size, n.system), Sl::Exception) << size;
    unsigned int loaded = 0;
    for (size_t at = 0; at < saved.size(); at += 7)
    {
        Bytes damaged = saved;
        damaged[at] ^= 0x5a;
        try
        {
            std::unique_ptr<Emitter> e = loadEmitterPlain(damaged.data(), damaged.size(), n.system);
            ++loaded;
            // What loads can be edited and emptied without a broken invariant.
            while (e->allBlocks().size() > 0)
                e->removeBlock(e->allBlocks().getId(0));
        }
        catch (const Sl::Exception&)
        {
        }
    }
    EXPECT_GT(loaded, 0u);
}

TEST(GuideFiles, GuideNamingMissingBlockLoadsWithThatSectionInvalid)
{
    NewEmitter n;
    n.e.removeBlock(n.guide.generation().impl().getGeneratorBlockId());
    const Bytes bytes = saveEmitterPlain(n.e);
    std::unique_ptr<Emitter> loaded = loadEmitterPlain(bytes.data(), bytes.size(), n.system);
    ASSERT_TRUE(loaded->guide());
    EXPECT_EQ(invalidSections(*loaded->guide()), std::vector<std::string>{"generation"});
    // Later changes link the valid sections and leave the invalid one alone.
    const unsigned int blocks = loaded->allBlocks().size();
    EXPECT_TRUE(loaded->guide()->texMapping().changeType(Eg::TexMapping::T_Grid));
    EXPECT_EQ(invalidSections(*loaded->guide()), std::vector<std::string>{"generation"});
    EXPECT_GT(loaded->allBlocks().size(), blocks);
}

}  // namespace
