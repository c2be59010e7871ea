#include <functional>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter_param_blocks_colorizer.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using Plm::BlockConnectorDesc;
using Plm::inputDesc;
using Plm::outputDesc;
using Uuid = boost::uuids::uuid;

using PlmTest::connectorsOf;

std::unique_ptr<Plm::Block> makeDefault(const std::string& name)
{
    return PlmTest::createByName(name.c_str());
}

using PlmTest::load;
using PlmTest::writeBlock;
using PlmTest::writeProp;

// The unnamed group of a user parameter; version 0 carries a further group.
void writeUserGroup(Sl::RevisionSaver& saver, uint32_t version, const std::string& name)
{
    Sl::ScopedSaverGroup group(saver, version);
    writeProp(saver, "name", name);
    writeProp(saver, "shared_burst", true);
    if (version == 0)
    {
        Sl::ScopedSaverGroup old("old", saver);
        writeProp(saver, "old_value", 7.0f);
    }
}

template <class T>
void writeTypedGroup(Sl::RevisionSaver& saver, const char* name, uint32_t version, const T& v)
{
    Sl::ScopedSaverGroup group(name, saver, version);
    writeProp(saver, "init", v, true);
}

uint32_t firstFourBytesLe(const Uuid& id)
{
    return id.data[0] + 256u * (id.data[1] + 256u * (id.data[2] + 256u * id.data[3]));
}

}  // namespace

TEST(PlmParamBlocks, FreshKindsHaveTheirConnectors)
{
    using namespace Plm;
    struct Case
    {
        const char* name;
        std::vector<BlockConnectorDesc> connectors;
    };
    const std::vector<Case> cases = {
        {"param_lifetime", {outputDesc(CT_Float, 0)}},
        {"param_user_float", {outputDesc(CT_Float, 1), inputDesc(CT_Float, 0)}},
        {"param_user_vec2", {outputDesc(CT_Vec2, 1), inputDesc(CT_Vec2, 0)}},
        {"param_user_vec3", {outputDesc(CT_Vec3, 1), inputDesc(CT_Vec3, 0)}},
        {"param_user_quat", {outputDesc(CT_Quat, 1), inputDesc(CT_Quat, 0)}},
        {"param_position", {outputDesc(CT_Vec3, 1), inputDesc(CT_Vec3, 0)}},
        {"param_velocity", {outputDesc(CT_Vec3, 1), inputDesc(CT_Vec3, 0)}},
        {"param_user_updater", {inputDesc(CT_Float, 0)}},
        {"param_emitter", {}},
        {"glob_emitter_pos", {outputDesc(CT_Vec3, 0)}},
        {"glob_emitter_dir", {outputDesc(CT_Vec3, 0)}},
        {"glob_emitter_rot", {outputDesc(CT_Quat, 0)}},
        {"glob_num_particles", {outputDesc(CT_Float, 0)}},
        {"glob_time", {outputDesc(CT_Float, 0)}},
        {"glob_system_time", {outputDesc(CT_Float, 0)}},
        {"glob_param_float", {outputDesc(CT_Float, 0)}},
        {"glob_param_vec2", {outputDesc(CT_Vec2, 0)}},
        {"glob_param_vec3", {outputDesc(CT_Vec3, 0)}},
        {"glob_param_quat", {outputDesc(CT_Quat, 0)}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::unique_ptr<Block> block = makeDefault(c.name);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->getFactoryName().str(), c.name);
        const bool isGlob = std::string(c.name).rfind("glob_", 0) == 0;
        EXPECT_EQ(static_cast<const Block&>(*block).castToBlockGlob() != nullptr, isGlob);
        EXPECT_EQ(static_cast<const Block&>(*block).castToBlockParam() != nullptr, !isGlob);
        EXPECT_EQ(connectorsOf(*block), c.connectors);

        // A user parameter whose start value is a constant keeps only its output.
        if (BlockParamUser* user = BlockParamUser::castToThis(block.get()))
        {
            EXPECT_EQ(user->getConnectorType(), c.connectors[0].type_);
            user->setValueExternal(false);
            EXPECT_FALSE(user->isValueExternal());
            EXPECT_EQ(connectorsOf(*block), std::vector<BlockConnectorDesc>{c.connectors[0]});
        }
    }
    EXPECT_EQ(Plm::BlockParamUser::castToThis(static_cast<const Plm::Block*>(nullptr)), nullptr);
}

TEST(PlmParamBlocks, ParamEmitterInputsFollowTheAttachedGlobalParams)
{
    using namespace Plm;
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    Emitter& b = system.addEmitter(std::make_unique<Emitter>("b"));
    auto& p1 = static_cast<BlockGlobParamFloat&>(b.addBlock(BlockGlobParamFloat::create()));
    b.addBlock(BlockGlobTime::create());
    auto& p2 = static_cast<BlockGlobParamVec3&>(b.addBlock(BlockGlobParamVec3::create()));
    p1.setName(std::string("speed"));

    auto& pe = static_cast<BlockParamEmitter&>(a.addBlock(BlockParamEmitter::create()));
    auto& lerp = a.addBlock(BlockFuncLerp<float>::create());
    EXPECT_EQ(pe.getDrawOrder(), BlockParamEmitter::DO_AfterParent);
    pe.setEmitterId(boost::make_optional(boost::optional<Uuid>(b.getId())));

    const uint32_t i1 = firstFourBytesLe(p1.getGlobParamId());
    const uint32_t i2 = firstFourBytesLe(p2.getGlobParamId());
    EXPECT_EQ(connectorsOf(pe),
              (std::vector<BlockConnectorDesc>{inputDesc(CT_Float, i1), inputDesc(CT_Vec3, i2)}));
    EXPECT_EQ(pe.getParameterConnectorId(1), i2);
    EXPECT_EQ(pe.getGlobParamNameByConnectorIndex(i1), "speed");
    ASSERT_TRUE(a.createLink(lerp, 3, pe, i1));

    // Reordering the attached emitter's parameters reorders the inputs, and the link stays.
    b.globParamBlocks().changeItemIndex(1, 0);
    pe.updateParameters();
    EXPECT_EQ(connectorsOf(pe),
              (std::vector<BlockConnectorDesc>{inputDesc(CT_Vec3, i2), inputDesc(CT_Float, i1)}));
    EXPECT_EQ(a.getNumLinks(), 1u);

    // A new parameter adds an input.
    auto& p3 = static_cast<BlockGlobParamQuat&>(b.addBlock(BlockGlobParamQuat::create()));
    pe.updateParameters();
    EXPECT_EQ(connectorsOf(pe).back(), inputDesc(CT_Quat, firstFourBytesLe(p3.getGlobParamId())));
    EXPECT_EQ(pe.getNumConnectors(), 3u);
    EXPECT_EQ(a.getNumLinks(), 1u);

    // Renaming keeps indices and links but tells the emitter.
    b.clearGlobalParametersUpdated();
    const std::vector<BlockConnectorDesc> before = connectorsOf(pe);
    p1.setName(std::string("pace"));
    EXPECT_TRUE(b.areGlobalParametersUpdated());
    pe.updateParameters();
    EXPECT_EQ(connectorsOf(pe), before);
    EXPECT_EQ(pe.getGlobParamNameByConnectorIndex(i1), "pace");
    EXPECT_EQ(a.getNumLinks(), 1u);

    // No emitter: no inputs, no links.
    pe.setEmitterId(boost::make_optional(boost::optional<Uuid>()));
    EXPECT_EQ(pe.getNumConnectors(), 0u);
    EXPECT_EQ(a.getNumLinks(), 0u);
    EXPECT_EQ(pe.getGlobParamNameByConnectorIndex(i1), "");
}

TEST(PlmParamBlocks, UpdaterFindsItsParameter)
{
    using namespace Plm;
    Emitter emitter("e");
    auto& param = static_cast<BlockParamUser&>(emitter.addBlock(BlockParamUserVec2::create()));
    Block& lifetime = emitter.addBlock(BlockParamLifetime::create());
    auto& updater =
        static_cast<BlockParamUserUpdater&>(emitter.addBlock(BlockParamUserUpdater::create(param)));
    EXPECT_EQ(connectorsOf(updater), std::vector<BlockConnectorDesc>{inputDesc(CT_Vec2, 0)});
    EXPECT_EQ(updater.getParamId(), param.getId());
    EXPECT_FALSE(updater.doesNeedReconnectAfterReflection());
    EXPECT_EQ(&updater.getParentBlock(), &param);

    std::unique_ptr<Block> copy = updater.copyWithoutRelations();
    auto& copied = static_cast<BlockParamUserUpdater&>(*copy);
    EXPECT_TRUE(copied.doesNeedReconnectAfterReflection());
    EXPECT_EQ(copied.getParamId(), param.getId());
    // Outside an emitter there is no parent.
    EXPECT_THROW(copied.getParentBlock(), Debug::CheckException);
    copied.reconnectAfterReflection(lifetime.getId());
    EXPECT_FALSE(copied.doesNeedReconnectAfterReflection());

    // An id that names no block, or a parameter that isn't a user one.
    updater.reconnectAfterReflection(BoostExt::generateUuid());
    EXPECT_THROW(updater.getParentBlock(), Debug::CheckException);
    updater.reconnectAfterReflection(lifetime.getId());
    EXPECT_THROW(updater.getParentBlock(), Debug::CheckException);
}

TEST(PlmParamBlocks, OldGroupsStayReadable)
{
    using namespace Plm;
    // A vec3 parameter of the time before "param_position" had its group: the rotation applies.
    std::unique_ptr<Block> position =
        load(writeBlock("param_position",
                        [](Sl::RevisionSaver& s)
                        {
                            writeUserGroup(s, 1, "pos");
                            writeTypedGroup(s, "param_user_vec3", 0, glm::vec3(1.0f, 2.0f, 3.0f));
                        }));
    ASSERT_TRUE(position);
    auto& p = static_cast<BlockParamPosition&>(*position);
    EXPECT_TRUE(p.getApplyEmitterRotation());
    EXPECT_EQ(p.getValue(), glm::vec3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(p.getName(), "pos");

    // The extra group of a version 0 user group is passed over.
    std::unique_ptr<Block> user =
        load(writeBlock("param_user_float",
                        [](Sl::RevisionSaver& s)
                        {
                            writeUserGroup(s, 0, "old");
                            writeTypedGroup(s, "param_user_float", 1, 2.5f);
                        }));
    ASSERT_TRUE(user);
    auto& u = static_cast<BlockParamUserFloat&>(*user);
    EXPECT_EQ(u.getName(), "old");
    EXPECT_TRUE(u.isSharedBurst());
    EXPECT_EQ(u.getValue(), 2.5f);
    EXPECT_TRUE(u.isValueExternal());

    // A position saved today keeps a cleared flag.
    auto fresh = BlockParamPosition::create();
    fresh->setApplyEmitterRotation(false);
    std::vector<uint8_t> bytes = saveBlockPlain(*fresh);
    EXPECT_FALSE(static_cast<BlockParamPosition&>(*load(bytes)).getApplyEmitterRotation());
}

TEST(PlmParamBlocks, NewerGroupsAreRefused)
{
    // Each writer writes one group of the kind at `v`; `known` loads, `known + 1` must not.
    struct Case
    {
        const char* name;
        uint32_t known;
        std::function<void(Sl::RevisionSaver&, uint32_t)> write;
    };
    const std::vector<Case> cases = {
        {"param_user_float", 1,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             writeUserGroup(s, v, "n");
             writeTypedGroup(s, "param_user_float", 1, 0.0f);
         }},
        {"param_user_quat", 1,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             writeUserGroup(s, 1, "n");
             writeTypedGroup(s, "param_user_quat", v, glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
         }},
        {"param_position", 1,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             writeUserGroup(s, 1, "n");
             writeTypedGroup(s, "param_user_vec3", 1, glm::vec3(0.0f));
             Sl::ScopedSaverGroup g("param_position", s, v);
             writeProp(s, "apply_rot", false);
         }},
        {"param_user_updater", 0,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             Sl::ScopedSaverGroup g("block_param_user_updater", s, v);
             Sl::write("type", s, uint32_t(0));
             Sl::write("param_id", s, BoostExt::generateUuid());
         }},
        {"param_emitter", 0,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             Sl::ScopedSaverGroup g("param_emitter", s, v);
             writeProp(s, "emitter_id", boost::optional<Uuid>());
             writeProp(s, "on_terminate", false);
             writeProp(s, "draw_order", Plm::BlockParamEmitter::DO_BeforeParent);
         }},
        {"glob_time", 0,
         [](Sl::RevisionSaver& s, uint32_t v) { Sl::ScopedSaverGroup g("glob_time", s, v); }},
        {"glob_param_vec2", 0,
         [](Sl::RevisionSaver& s, uint32_t v)
         {
             {
                 Sl::ScopedSaverGroup g("glob_glob_param", s, 0);
                 Plm::PropsOwner owner;
                 Plm::SharedProp<Uuid>(owner, false, BoostExt::generateUuid())
                     .save("glob_param_id", s);
             }
             Sl::ScopedSaverGroup g("glob_param_vec2", s, v);
             writeProp(s, "name", std::string("n"));
             writeProp(s, "value", glm::vec2(1.0f));
         }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        auto writeAt = [&](uint32_t v)
        { return writeBlock(c.name, [&](Sl::RevisionSaver& s) { c.write(s, v); }); };
        EXPECT_TRUE(load(writeAt(c.known)));
        EXPECT_THROW(load(writeAt(c.known + 1)), Sl::OldLoaderVersionException);
    }
    // A connector type beyond the known ones is corrupt.
    EXPECT_THROW(load(writeBlock("param_user_updater",
                                 [](Sl::RevisionSaver& s)
                                 {
                                     Sl::ScopedSaverGroup g("block_param_user_updater", s, 0);
                                     Sl::write("type", s, uint32_t(4));
                                     Sl::write("param_id", s, BoostExt::generateUuid());
                                 })),
                 Sl::CorruptedDataException);
}

TEST(PlmParamBlocks, ColorizerKeepsColoursOfRemainingParams)
{
    using namespace Plm;
    auto u1 = BlockParamUserFloat::create();
    auto u2 = BlockParamUserVec3::create();
    auto u3 = BlockParamPosition::create();
    auto u4 = BlockParamUserQuat::create();
    auto lifetime = BlockParamLifetime::create();

    EmitterParamBlocksColorizer colorizer;
    colorizer.update({u1.get(), lifetime.get(), u2.get()});
    EXPECT_EQ(colorizer.colorIndex(u1->getId()), boost::make_optional<unsigned short>(0));
    EXPECT_EQ(colorizer.colorIndex(u2->getId()), boost::make_optional<unsigned short>(1));
    EXPECT_FALSE(colorizer.colorIndex(lifetime->getId()));

    // u1 goes (and a gone entry is no block at all): its colour is the first one free.
    colorizer.update({lifetime.get(), nullptr, u2.get(), u3.get(), u4.get()});
    EXPECT_FALSE(colorizer.colorIndex(u1->getId()));
    EXPECT_EQ(colorizer.colorIndex(u2->getId()), boost::make_optional<unsigned short>(1));
    EXPECT_EQ(colorizer.colorIndex(u3->getId()), boost::make_optional<unsigned short>(0));
    EXPECT_EQ(colorizer.colorIndex(u4->getId()), boost::make_optional<unsigned short>(2));

    auto saveColorizer = [](const EmitterParamBlocksColorizer& c, uint32_t version)
    {
        Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
        {
            Sl::RevisionSaver saver(nullptr, flex, nullptr);
            if (version == 0)
            {
                c.save(saver);
            }
            else
            {
                Sl::ScopedSaverGroup group("colorizer", saver, version);
                Sl::write("colors", saver, std::map<Uuid, unsigned short>());
            }
        }
        return flex.dataAsVector();
    };
    auto loadColorizer = [](const std::vector<uint8_t>& bytes)
    {
        Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
        Sl::RevisionLoader loader(nullptr, array);
        return EmitterParamBlocksColorizer(loader);
    };
    const EmitterParamBlocksColorizer loaded = loadColorizer(saveColorizer(colorizer, 0));
    for (const Uuid& id : {u1->getId(), u2->getId(), u3->getId(), u4->getId()})
        EXPECT_EQ(loaded.colorIndex(id), colorizer.colorIndex(id));
    EXPECT_THROW(loadColorizer(saveColorizer(colorizer, 1)), Sl::OldLoaderVersionException);
}
