#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_effect_text.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_preview_scene.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "plm_test_support/plm_temp_dir.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using Bytes = std::vector<uint8_t>;
using Build = std::function<void(ProjectResourceSystem&)>;

// Every float property of the emitter's blocks gets an override; every third property of
// them is made external.
void overrideAll(Emitter& emitter)
{
    for (Block& block : emitter.allBlocks())
        for (unsigned int i = 0; i < block.getNumProps(); ++i)
            if (auto* prop = dynamic_cast<PropBaseTyped<float>*>(&block.getProp(i)))
            {
                prop->set(prop->get() + 1.25f);
                if (i % 3 == 2)
                    prop->setExternal(true);
            }
}

BlockParamEmitter& attach(Emitter& from, const Emitter& to)
{
    auto& block =
        static_cast<BlockParamEmitter&>(from.addBlock(PlmTest::createByName("param_emitter")));
    block.setEmitterId(boost::make_optional(boost::make_optional(to.getId())));
    return block;
}

// Forces with noise, curves for colour and opacity, a size multiplier, a frame grid and
// custom values.
void shape(EmitterGuide& guide)
{
    using Type = Eg::Value::Type;
    guide.positionChange().changeType(Eg::PositionChange::T_Forces);
    static_cast<Eg::PositionChangeForces&>(guide.positionChange().impl())
        .addForce(Eg::PositionChangeForces::FT_Noise);
    guide.color().value().rowValue(0).changeType(Type::Graph);
    guide.transparency().value().rowValue(0).changeType(Type::Graph);
    guide.size().changeChangeType(Eg::Size::CT_Multiplier);
    guide.texMapping().changeType(Eg::TexMapping::T_Grid);
    for (int i = 0; i < 2; ++i)
        guide.customValues().addValue().value().rowValue(0).changeType(Type::Graph);
}

struct Effect
{
    const char* name;
    Build build;
};

const Effect effects[] = {
    {"new", [](ProjectResourceSystem&) {}},
    {"settings_and_overrides",
     [](ProjectResourceSystem& r)
     {
         System& system = r.getResource();
         system.setFps(50.0f);
         system.setPresimTime(0.1f);
         system.setFixedSeed(77u);
         system.getEmitter(0).setMaxNumParticles(777u);
         system.getEmitter(0).setEnabled(false);
         overrideAll(system.getEmitter(0));
         r.setComment("fire \"big\"\nline two \xc3\xa9");
         r.setVideoUrl("https://example.org/v?a=1&b=2");
     }},
    {"attached_emitters",
     [](ProjectResourceSystem& r)
     {
         System& system = r.getResource();
         Emitter& child = system.addEmitter(Generation::simpleEmitter("child"));
         Emitter& third = system.addEmitter(Generation::simpleEmitter("third"));
         attach(system.getEmitter(0), child);
         attach(child, third);
     }},
    {"guides_changed",
     [](ProjectResourceSystem& r)
     {
         System& system = r.getResource();
         shape(*system.getEmitter(0).guide());
         Emitter& second = system.addEmitter(Generation::simpleEmitter("second"));
         shape(*second.guide());
         second.guide()->texMapping().changeType(Eg::TexMapping::T_None);
     }},
    {"scene_and_block_resource",
     [](ProjectResourceSystem& r)
     {
         Preview2::Scene& scene = r.getPreview();
         scene.setBackColor(0x80402010);
         scene.addObject(
             std::make_unique<Preview2::ScenePicture>("pics/cloud.png", glm::vec2(2.5f, 3.0f)));
         auto particles = std::make_unique<Preview2::SceneParticles>();
         particles->setPath("other/smoke.sxed");
         scene.addObject(std::move(particles));
         r.getResource().addResource(std::make_unique<SystemResourceBlock>(
             PlmTest::createByName("func_random_vec"), "shared random"));
     }},
};

// What the handler writes after its head: the resource's own record.
Bytes recordOf(const ProjectResource& resource)
{
    Sl::SaverBinFlex flex(Sl::BO_Native, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        resource.save(saver);
    }
    return flex.dataAsVector();
}

// An effect as a file gives it: built, saved and loaded again.
std::shared_ptr<ProjectResourceHandler> saveAndOpen(const boost::filesystem::path& file,
                                                    std::unique_ptr<ProjectResourceSystem> effect)
{
    ProjectResourceHandler::createNewStandalone(file, std::move(effect));
    std::shared_ptr<ProjectResourceHandler> handler = ProjectResourceHandler::openStandalone(file);
    EXPECT_TRUE(handler->load());
    return handler;
}

const ProjectResourceSystem& effectOf(const ProjectResourceHandler& handler)
{
    return handler.getLoadedResource().castToSystemResourceChecked();
}

class EffectTextRoundTrip : public ::testing::TestWithParam<Effect>
{
};

TEST_P(EffectTextRoundTrip, DumpLoadDumpAndTheFileAgree)
{
    PlmTest::TempDir dir;
    auto built = std::make_unique<ProjectResourceSystem>(Generation::simpleSystem());
    GetParam().build(*built);
    const auto original = saveAndOpen(dir / "original.sxed", std::move(built));

    const std::string text = dumpEffectJson(effectOf(*original));
    std::unique_ptr<ProjectResourceSystem> loaded = loadEffectJson(text);
    EXPECT_EQ(dumpEffectJson(*loaded), text);

    // Saved by the handler and read back, the effect is the same model: its record has the
    // same bytes (the handler's head differs only by the new file revisions).
    const auto again = saveAndOpen(dir / "again.sxed", std::move(loaded));
    EXPECT_EQ(recordOf(effectOf(*again)), recordOf(effectOf(*original)));
    EXPECT_EQ(again->getId(), original->getId());
    EXPECT_EQ(dumpEffectJson(effectOf(*again)), text);
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectTextRoundTrip, ::testing::ValuesIn(effects),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(EffectText, ShowsWhatItHoldsReadably)
{
    auto effect = std::make_unique<ProjectResourceSystem>(Generation::simpleSystem());
    effects[1].build(*effect);
    effects[4].build(*effect);
    const std::string text = dumpEffectJson(*effect);
    rapidjson::Document doc;
    doc.Parse(text.c_str());
    ASSERT_FALSE(doc.HasParseError());
    const Emitter& emitter = effect->getResource().getEmitter(0);
    struct Expect
    {
        const char* pointer;
        std::string value;
    };
    const Expect expected[] = {
        {"/format", "scintari-effect-json"},
        {"/effect/system/fps/default", "30"},
        {"/effect/system/fps/override/set", "true"},
        {"/effect/system/fps/override/value", "50"},
        {"/effect/system/presim_time/override/value", "0.1"},
        {"/effect/system/emitters/0/resource/system_resource_emitter/emitter/name",
         "DefaultEmitter"},
        {"/effect/system/emitters/0/blocks/0/factory_name",
         emitter.allBlocks()[0].getFactoryName().str()},
        {"/effect/system/block_resources/0/system_resource_block/name", "shared random"},
        {"/effect/comment", "fire \"big\"\nline two \xc3\xa9"},
    };
    for (const Expect& e : expected)
    {
        const rapidjson::Value* value = rapidjson::Pointer(e.pointer).Get(doc);
        ASSERT_NE(value, nullptr) << e.pointer;
        std::string shown;
        if (value->IsString())
            shown = value->GetString();
        else
        {
            rapidjson::StringBuffer buffer;
            rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
            value->Accept(writer);
            shown = buffer.GetString();
            if (shown.size() > 2 && shown.compare(shown.size() - 2, 2, ".0") == 0)
                shown.resize(shown.size() - 2);
        }
        EXPECT_EQ(shown, e.value) << e.pointer;
    }
    // Identities in their text form, the guide readable to its values.
    const rapidjson::Value* id =
        rapidjson::Pointer("/effect/system/emitters/0/resource/system_resource_emitter/emitter/id")
            .Get(doc);
    ASSERT_TRUE(id && id->IsString());
    EXPECT_EQ(std::string(id->GetString()).size(), 36u);
    const rapidjson::Value* guide = rapidjson::Pointer("/effect/system/emitters/0/guide").Get(doc);
    ASSERT_TRUE(guide && guide->IsObject());
    EXPECT_TRUE(guide->HasMember("has_guide"));
    EXPECT_GT(guide->MemberCount(), 3u);
}

// A dump changed at one place, and the member that the refusal must name.
struct Corruption
{
    const char* name;
    const char* pointer;
    // The new value as JSON; null removes the member; "@key" renames it to key.
    const char* value;
    const char* path;
};

const Corruption corruptions[] = {
    {"format", "/format", "\"other\"", "format"},
    {"format_version", "/format_version", "2", "format_version"},
    {"setting_type", "/effect/system/fps/default", "\"fast\"", "effect.system.fps.default"},
    {"flag_type", "/effect/system/fps/external", "1", "effect.system.fps.external"},
    {"enum_range", "/effect/system/seed_type/default", "99", "effect.system.seed_type.default"},
    {"integer_range", "/effect/system/fixed_seed/default", "-1",
     "effect.system.fixed_seed.default"},
    {"float_range", "/effect/system/presim_time/default", "1e300",
     "effect.system.presim_time.default"},
    {"newer_version", "/effect/system/$version", "99", "effect.system"},
    {"bad_identity", "/effect/system/id", "\"not-an-id\"", "effect.system.id"},
    {"emitter_identity", "/effect/system/emitters/0/resource/system_resource_emitter/emitter/id",
     "\"12\"", "effect.system.emitters[0].resource.system_resource_emitter.emitter.id"},
    {"unknown_block", "/effect/system/emitters/0/blocks/1/factory_name", "\"no_such_block\"",
     "effect.system.emitters[0].blocks[1].factory_name"},
    {"block_identity", "/effect/system/emitters/0/blocks/3/block/id", "[1, 2]",
     "effect.system.emitters[0].blocks[3].block.id"},
    {"block_record", "/effect/system/emitters/0/blocks/2/block", "7",
     "effect.system.emitters[0].blocks[2].block"},
    {"missing_blocks", "/effect/system/emitters/0/blocks", nullptr,
     "effect.system.emitters[0].blocks"},
    // A member missing at the end of the settings: the reader stops at what follows.
    {"missing_setting", "/effect/system/presim_time", nullptr, "effect.system.emitters"},
    {"missing_flag", "/effect/system/fps/external", nullptr, "effect.system.fps"},
    {"extra_member", "/effect/system/emitters/0/blocks/3/block/extra", "true",
     "effect.system.emitters[0].blocks[3].block.extra"},
    {"renamed_member", "/effect/system/presim_time", "@presim", "effect.system.presim"},
    {"list_item_type", "/effect/system/emitter_order/0", "false", "effect.system.emitter_order[0]"},
    {"null_value", "/effect/comment", "null", "effect.comment"},
    {"bad_base64", "/effect/video_url", "{\"base64\": \"@@@\"}", "effect.video_url.base64"},
};

class EffectTextRefusal : public ::testing::TestWithParam<Corruption>
{
};

TEST_P(EffectTextRefusal, NamesTheBadMember)
{
    auto effect = std::make_unique<ProjectResourceSystem>(Generation::simpleSystem());
    effects[2].build(*effect);
    rapidjson::Document doc;
    doc.Parse(dumpEffectJson(*effect).c_str());
    const Corruption& c = GetParam();
    const rapidjson::Pointer pointer(c.pointer);
    ASSERT_TRUE(pointer.IsValid());
    if (!c.value)
        ASSERT_TRUE(pointer.Erase(doc));
    else if (c.value[0] == '@')
    {
        rapidjson::Value* value = pointer.Get(doc);
        ASSERT_NE(value, nullptr);
        const std::string key = c.pointer;
        const std::string parent = key.substr(0, key.rfind('/'));
        rapidjson::Value* object = rapidjson::Pointer(parent.c_str()).Get(doc);
        auto it = object->FindMember(key.substr(key.rfind('/') + 1).c_str());
        it->name.SetString(c.value + 1, doc.GetAllocator());
    }
    else
    {
        rapidjson::Document replacement(&doc.GetAllocator());
        replacement.Parse(c.value);
        ASSERT_FALSE(replacement.HasParseError()) << c.value;
        pointer.Set(doc, replacement);
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    doc.Accept(writer);
    try
    {
        loadEffectJson(buffer.GetString());
        FAIL() << "taken";
    }
    catch (const EffectJsonError& error)
    {
        EXPECT_EQ(error.path(), c.path) << error.what();
        EXPECT_FALSE(error.message().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Corruptions, EffectTextRefusal, ::testing::ValuesIn(corruptions),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(EffectText, RefusesWhatIsNoJsonWithItsPlace)
{
    const struct
    {
        const char* text;
        const char* message;
    } cases[] = {
        {"", "not JSON at line 1 column 1"},
        {"{\"format\": \"scintari-effect-json\",\n \"x\": }", "not JSON at line 2 column 7"},
        {"[1]", "expected an object, found an array"},
    };
    for (const auto& c : cases)
    {
        try
        {
            loadEffectJson(c.text);
            ADD_FAILURE() << "taken: " << c.text;
        }
        catch (const EffectJsonError& error)
        {
            EXPECT_EQ(error.path(), "");
            EXPECT_EQ(std::string(error.message()).rfind(c.message, 0), 0u) << error.message();
        }
    }
}

}  // namespace
