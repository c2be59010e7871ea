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
#include "revision_saveload/sl_loader_bin_array.h"
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
// from, alone and together in one effect; with PLM_WRITE_FUZZ_SEEDS=<corpus folder> they are
// also written there, as seeds of the emitter and effect fuzzers.
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
    const char* seeds = std::getenv("PLM_WRITE_FUZZ_SEEDS");
    auto writeSeed = [seeds](const std::string& path, const Bytes& bytes)
    {
        if (!seeds)
            return;
        std::ofstream out(std::string(seeds) + "/" + path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    };
    // All of them together, as one effect holds them.
    std::unique_ptr<System> effect = Plm::Generation::simpleSystem();
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        NewEmitter n;
        c.shape(n.guide);
        EXPECT_TRUE(invalidSections(n.guide).empty());
        const Bytes saved = saveEmitterPlain(n.e);
        std::unique_ptr<Emitter> loaded = loadEmitterPlain(saved.data(), saved.size(), n.system);
        EXPECT_EQ(saveEmitterPlain(*loaded), saved);
        writeSeed(std::string("plm_emitter/") + c.name, saved);
        Emitter& added = effect->addEmitter(Emitter::create(c.name));
        c.shape(*added.guide());
    }
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        effect->save(saver);
    }
    const Bytes saved = flex.dataAsVector();
    Sl::LoaderBinArray array(saved.data(), static_cast<uint32_t>(saved.size()));
    Sl::RevisionLoader loader(nullptr, array);
    std::unique_ptr<System> loaded = System::createFromLoader(loader);
    loaded->postLoad();
    ASSERT_EQ(loaded->getNumEmitters(), effect->getNumEmitters());
    for (unsigned int i = 0; i < loaded->getNumEmitters(); ++i)
        EXPECT_TRUE(invalidSections(*loaded->getEmitter(i).guide()).empty()) << i;
    writeSeed("plm_system/varied_effect", saved);
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

TEST(GuideFiles, GuideOfANewerVersionIsRefused)
{
    System system;
    const Bytes newer = emitterWithGuideVersion(EmitterGuide::kVersion + 1);
    EXPECT_THROW(loadEmitterPlain(newer.data(), newer.size(), system),
                 Sl::OldLoaderVersionException);
}

// The emitter of `e` with its guide written as a guide of `version` held it: the sections that
// version had, in their places, around the groups of today's sections.
Bytes emitterWithOldGuide(const Emitter& e, uint32_t version)
{
    const EmitterGuide& g = *e.guide();
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver s(nullptr, flex, nullptr);
        e.saveWithoutBlocks(s);
        s.write("num_blocks", e.allBlocks().size(), Sl::PH_Packed);
        for (const Block& block : e.allBlocks())
            e.saveBlock(s, block);
        Sl::ScopedSaverGroup part(s, 8);
        Sl::write("guide_refl_rev", s, boost::optional<Uuid>());
        s.write("has_guide", true);
        Sl::ScopedSaverGroup guide(s, version);
        if (version >= 3)
            g.customValues().save(s);
        g.generation().save(s);
        const auto& maxLife =
            static_cast<const Eg::TerminationMaxLife&>(g.termination().terminator(0));
        if (version >= 5)
            g.termination().save(s);
        else
        {
            Sl::ScopedSaverGroup old(s, 0);
            s.write("valid", maxLife.isValid());
            maxLife.value().save(s);
            Sl::write("terminator", s, maxLife.terminatorBlockId());
        }
        g.positionStart().save(s);
        g.positionChange().save(s);
        g.rotation().save(s);
        g.size().save(s);
        g.transparency().save(s);
        g.color().save(s);
        if (version >= 6)
            g.texMapping().save(s);
        else
        {
            s.write("grid", g.texMapping().type() == Eg::TexMapping::T_Grid);
            g.texMapping().impl().save(s);
        }
        {
            Sl::ScopedSaverGroup time(s, version);
            s.write("valid", true);
            Sl::write("lifeTimeId", s, g.blockParticleTimeId());
            if (version <= 4)
                Sl::write("expression", s, maxLife.expressionBlockId());
        }
        {
            Sl::ScopedSaverGroup positioner(s, version);
            s.write("valid", true);
            Sl::write("id", s, g.blockPositionerId());
            if (version <= 4)
                s.write("obsolete", false);
        }
        {
            Sl::ScopedSaverGroup construct(s, version);
            s.write("valid", true);
            Sl::write("id", s, g.blockConstructId());
        }
        auto refs = [&](const boost::optional<EmitterGuide::BlockRefs>& r)
        {
            Sl::ScopedSaverGroup group(s, version);
            s.write("present", static_cast<bool>(r));
            if (r)
            {
                Sl::write("refs", s, static_cast<uint32_t>(r->refs_));
                Sl::write("id", s, r->id);
                s.write("valid", r->valid);
            }
        };
        refs(g.emitterVelocityRefs());
        if (version >= 4)
            refs(g.emitterPositionRefs());
        if (version >= 2)
            refs(g.emitterRotationRefs());
        refs(g.emitterTimeRefs());
        refs(g.systemTimeRefs());
        if (version >= 3)
        {
            Sl::ScopedSaverGroup registered(s, version);
            Sl::write("size", s, static_cast<uint32_t>(g.registeredParticleProperties().size()));
            for (const auto& entry : g.registeredParticleProperties())
            {
                Sl::write(nullptr, s, entry.first);
                s.write(nullptr, entry.second.forCustomValue);
            }
        }
    }
    return flex.dataAsVector();
}

TEST(GuideFiles, OlderGuidesAreReadIntoTodaysSections)
{
    for (uint32_t version = 0; version <= EmitterGuide::kVersion; ++version)
    {
        SCOPED_TRACE(version);
        NewEmitter n;
        n.guide.texMapping().changeType(Eg::TexMapping::T_Grid);
        n.guide.requestEmitterRotationId();
        n.guide.requestEmitterPositionId();
        const Bytes old = emitterWithOldGuide(n.e, version);
        std::unique_ptr<Emitter> loaded = loadEmitterPlain(old.data(), old.size(), n.system);
        ASSERT_TRUE(loaded->guide());
        const EmitterGuide& g = *loaded->guide();
        EXPECT_TRUE(invalidSections(g).empty());
        EXPECT_EQ(g.texMapping().type(), Eg::TexMapping::T_Grid);
        // The one maximal life of old guides is a list of one terminator on the same blocks.
        ASSERT_EQ(g.termination().numTerminators(), 1u);
        const auto& maxLife =
            static_cast<const Eg::TerminationMaxLife&>(g.termination().terminator(0));
        const auto& before =
            static_cast<const Eg::TerminationMaxLife&>(n.guide.termination().terminator(0));
        EXPECT_EQ(maxLife.terminatorBlockId(), before.terminatorBlockId());
        EXPECT_EQ(maxLife.expressionBlockId(), before.expressionBlockId());
        EXPECT_TRUE(g.getNormParticleLifeConnector());
        // Shared blocks that a version didn't keep are no longer counted.
        EXPECT_EQ(static_cast<bool>(g.emitterRotationRefs()), version >= 2);
        EXPECT_EQ(static_cast<bool>(g.emitterPositionRefs()), version >= 4);
        // Without a stored order, every parameter counts as the guide's.
        const size_t expectedRegistered = version <= 2
                                              ? loaded->paramBlocks().size()
                                              : n.guide.registeredParticleProperties().size();
        EXPECT_EQ(g.registeredParticleProperties().size(), expectedRegistered);
        if (version > 2)
        {
            EXPECT_EQ(g.registeredParticleProperties(), n.guide.registeredParticleProperties());
        }
        // What is read is today's guide: it saves as version 6 and reads back the same.
        const Bytes saved = saveEmitterPlain(*loaded);
        EXPECT_EQ(saveEmitterPlain(*loadEmitterPlain(saved.data(), saved.size(), n.system)), saved);
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
