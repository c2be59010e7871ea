#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_func_transform.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"
#include "plm_test_support/plm_test_blocks.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_glm.h"

namespace
{

using namespace Plm;
using Descs = std::vector<BlockConnectorDesc>;

using PlmTest::connectorsOf;

std::unique_ptr<Block> makeDefault(const char* name)
{
    return BlocksFactory::instance().createDefaultByName(CrcString(name));
}

// Saves and reads back; a read block gets its connectors only from its owner, so they are
// built here.
template <class T>
std::unique_ptr<T> roundTrip(const Block& block)
{
    const std::vector<uint8_t> bytes = saveBlockPlain(block);
    std::unique_ptr<Block> loaded = loadBlockPlain(bytes.data(), bytes.size());
    EXPECT_TRUE(dynamic_cast<T*>(loaded.get()));
    if (!dynamic_cast<T*>(loaded.get()))
        return nullptr;
    loaded->updateConnectors();
    return std::unique_ptr<T>(static_cast<T*>(loaded.release()));
}

// A function block record with `writeGroup` writing the class's group in the version given.
template <class F>
std::vector<uint8_t> writeFuncBlock(const char* name, uint32_t version, F writeGroup)
{
    return PlmTest::writeBlock(name,
                               [&](Sl::RevisionSaver& saver)
                               {
                                   PlmTest::writeFuncGroup(saver);
                                   Sl::ScopedSaverGroup group(name, saver, version);
                                   writeGroup(saver);
                               });
}

using PlmTest::writeProp;

// The func_noise group of version 0: no "animation".
void writeNoiseV0(Sl::RevisionSaver& saver)
{
    writeProp(saver, "smoothness", 250.0f);
    writeProp(saver, "type", Ps::FN3_Cubic);
    writeProp(saver, "output_scale", 2.0f);
    writeProp(saver, "output_low", glm::vec3(-3.0f));
    writeProp(saver, "output_high", glm::vec3(4.0f));
    writeProp(saver, "additive", true);
}

BlockConnectorDesc kIn(EnumConnectorType type, uint32_t index) { return inputDesc(type, index); }
BlockConnectorDesc kOut(EnumConnectorType type, uint32_t index) { return outputDesc(type, index); }

struct KindCase
{
    const char* name;
    Descs fresh;  // what create() gives
    // Property index -> the input that exists while it is external; other properties have none.
    std::vector<std::pair<unsigned int, BlockConnectorDesc>> inputs;
};

// random_vec, move and transform as the factory makes them: vec3, vec3, not inverted.
const std::vector<KindCase>& kindCases()
{
    static const std::vector<KindCase> cases = {
        {"func_direction_vec2",
         {kOut(CT_Vec2, 3), kIn(CT_Vec2, 0), kIn(CT_Vec2, 1)},
         {{0, kIn(CT_Vec2, 0)}, {1, kIn(CT_Vec2, 1)}, {2, kIn(CT_Float, 2)}}},
        {"func_direction_vec3",
         {kOut(CT_Vec3, 3), kIn(CT_Vec3, 0), kIn(CT_Vec3, 1)},
         {{0, kIn(CT_Vec3, 0)}, {1, kIn(CT_Vec3, 1)}, {2, kIn(CT_Float, 2)}}},
        {"func_distrib_float", {kOut(CT_Float, 0)}, {{0, kIn(CT_Float, 1)}}},
        {"func_distrib_vec2", {kOut(CT_Vec2, 0)}, {{0, kIn(CT_Float, 1)}, {1, kIn(CT_Float, 2)}}},
        {"func_distrib_vec3",
         {kOut(CT_Vec3, 0)},
         {{0, kIn(CT_Float, 1)}, {1, kIn(CT_Float, 2)}, {2, kIn(CT_Float, 3)}}},
        {"func_split_vec2", {kOut(CT_Float, 1), kOut(CT_Float, 2), kIn(CT_Vec2, 0)}, {}},
        {"func_split_vec3",
         {kOut(CT_Float, 1), kOut(CT_Float, 2), kOut(CT_Float, 3), kIn(CT_Vec3, 0)},
         {}},
        {"func_conv2to3", {kOut(CT_Vec3, 2), kIn(CT_Vec2, 0)}, {{0, kIn(CT_Float, 1)}}},
        {"func_axis_from_rotation",
         {kOut(CT_Vec3, 1), kOut(CT_Vec3, 2), kOut(CT_Vec3, 3), kIn(CT_Quat, 0)},
         {}},
        {"func_rotation_axis", {kOut(CT_Quat, 2)}, {{0, kIn(CT_Vec3, 0)}, {1, kIn(CT_Float, 1)}}},
        {"func_rotation_from_axes",
         {kOut(CT_Quat, 2)},
         {{1, kIn(CT_Vec3, 0)}, {2, kIn(CT_Vec3, 1)}}},
        {"func_rot2vec",
         {kOut(CT_Vec2, 2), kIn(CT_Float, 0)},
         {{0, kIn(CT_Float, 0)}, {1, kIn(CT_Float, 1)}}},
        {"func_vec2rot", {kOut(CT_Float, 1), kIn(CT_Vec2, 0)}, {{0, kIn(CT_Vec2, 0)}}},
        {"func_random", {kOut(CT_Float, 2)}, {{0, kIn(CT_Float, 0)}, {1, kIn(CT_Float, 1)}}},
        {"func_random_vec", {kOut(CT_Vec3, 1)}, {{1, kIn(CT_Float, 0)}}},
        {"func_move", {kOut(CT_Vec3, 2), kIn(CT_Vec3, 0)}, {{1, kIn(CT_Vec3, 1)}}},
        {"func_noise",
         {kOut(CT_Vec3, 1), kIn(CT_Vec3, 0)},
         {{0, kIn(CT_Float, 2)}, {2, kIn(CT_Float, 3)}}},
        {"func_transform", {kOut(CT_Vec2, 1), kIn(CT_Vec2, 0)}, {}},
    };
    return cases;
}

TEST(PlmFuncBlocks, FreshConnectors)
{
    for (const KindCase& c : kindCases())
    {
        std::unique_ptr<Block> block = makeDefault(c.name);
        ASSERT_TRUE(block) << c.name;
        EXPECT_EQ(block->getFactoryName().str(), c.name);
        EXPECT_TRUE(block->castToBlockFunc()) << c.name;
        EXPECT_EQ(connectorsOf(*block), c.fresh) << c.name;
    }
}

TEST(PlmFuncBlocks, ExternalFlagTogglesOnlyItsInput)
{
    for (const KindCase& c : kindCases())
    {
        std::unique_ptr<Block> block = makeDefault(c.name);
        ASSERT_TRUE(block) << c.name;
        for (unsigned int p = 0; p < block->getNumProps(); ++p)
        {
            SCOPED_TRACE(std::string(c.name) + " property " + std::to_string(p));
            PropBase& prop = block->getProp(p);
            const bool wasExternal = prop.isExternal();
            prop.setExternal(true);
            const Descs with = connectorsOf(*block);
            prop.setExternal(false);
            const Descs without = connectorsOf(*block);
            prop.setExternal(true);
            EXPECT_EQ(connectorsOf(*block), with);
            prop.setExternal(wasExternal);

            auto expected = std::find_if(c.inputs.begin(), c.inputs.end(),
                                         [p](const auto& entry) { return entry.first == p; });
            if (expected == c.inputs.end())
            {
                EXPECT_EQ(with, without);
                continue;
            }
            Descs removed = with;
            auto it = std::find(removed.begin(), removed.end(), expected->second);
            ASSERT_NE(it, removed.end());
            removed.erase(it);
            // Everything else, the outputs with their indices included, stays as it was.
            EXPECT_EQ(removed, without);
        }
    }
}

TEST(PlmFuncBlocks, DistribValuesByIndex)
{
    EXPECT_EQ(BlockFuncDistrib<float>::create()->getNumValues(), 1u);
    EXPECT_EQ(BlockFuncDistrib<glm::vec2>::create()->getNumValues(), 2u);
    auto distrib = BlockFuncDistrib<glm::vec3>::create();
    ASSERT_EQ(distrib->getNumValues(), 3u);
    EXPECT_EQ(connectorsOf(*distrib), Descs{kOut(CT_Vec3, 0)});

    distrib->setValueExternal(1, true);
    distrib->setValue(2, 5.0f);
    EXPECT_EQ(connectorsOf(*distrib), (Descs{kOut(CT_Vec3, 0), kIn(CT_Float, 2)}));
    EXPECT_TRUE(distrib->isValueExternal(1));
    EXPECT_FALSE(distrib->isValueExternal(2));
    EXPECT_EQ(distrib->getValue(0), 0.0f);
    EXPECT_EQ(distrib->getValue(2), 5.0f);
    EXPECT_THROW(distrib->getValue(3), Debug::CheckException);

    auto loaded = roundTrip<BlockFuncDistrib<glm::vec3>>(*distrib);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getValue(2), 5.0f);
    EXPECT_EQ(connectorsOf(*loaded), connectorsOf(*distrib));

    distrib->setValueExternal(1, false);
    EXPECT_EQ(distrib->getNumConnectors(), 1u);
}

TEST(PlmFuncBlocks, RandomVecTypeChoosesOutput)
{
    const std::pair<EnumVectorTypes, EnumConnectorType> cases[] = {{VT_Vec2, CT_Vec2},
                                                                   {VT_Vec3, CT_Vec3}};
    for (const auto& [type, connectorType] : cases)
    {
        auto block = BlockFuncRandomVec::create(type);
        EXPECT_EQ(connectorsOf(*block), Descs{kOut(connectorType, 1)});
        auto loaded = roundTrip<BlockFuncRandomVec>(*block);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->getType(), type);
        EXPECT_EQ(connectorsOf(*loaded), connectorsOf(*block));
    }
    auto block = BlockFuncRandomVec::create(VT_Vec2);
    block->setRadiusExternal(true);
    block->setType(VT_Vec3);
    EXPECT_EQ(connectorsOf(*block), (Descs{kOut(CT_Vec3, 1), kIn(CT_Float, 0)}));
    const boost::uuids::uuid revision = block->getRevision();
    block->setType(VT_Vec3);
    EXPECT_EQ(block->getRevision(), revision);
}

template <class T>
void checkMove(const T& speed)
{
    const EnumConnectorType type = ValueTraits<T>::connectorType;
    SCOPED_TRACE(connectorTypeName(type));
    auto block = BlockFuncMove::create(type);
    EXPECT_EQ(block->getType(), type);
    EXPECT_EQ(connectorsOf(*block), (Descs{kOut(type, 2), kIn(type, 0)}));
    block->setSpeed<T>(speed);
    block->setSpeedExternal(true);
    EXPECT_EQ(connectorsOf(*block), (Descs{kOut(type, 2), kIn(type, 0), kIn(type, 1)}));

    std::vector<std::unique_ptr<Block>> others;
    others.push_back(roundTrip<BlockFuncMove>(*block));
    others.push_back(block->copyWithoutRelations());
    for (const std::unique_ptr<Block>& other : others)
    {
        auto* move = dynamic_cast<BlockFuncMove*>(other.get());
        ASSERT_TRUE(move);
        move->updateConnectors();
        EXPECT_EQ(move->getType(), type);
        EXPECT_TRUE(dynamic_cast<const Prop<T>*>(&move->getSpeedProp()));
        EXPECT_EQ(move->template getSpeed<T>(), speed);
        EXPECT_TRUE(move->isSpeedExternal());
        EXPECT_EQ(connectorsOf(*move), connectorsOf(*block));
    }
}

TEST(PlmFuncBlocks, MoveTypeChoosesConnectorsAndSpeed)
{
    checkMove(2.0f);
    checkMove(glm::vec2(1.0f, -2.0f));
    checkMove(glm::vec3(1.0f, 2.0f, 3.0f));

    EXPECT_THROW(BlockFuncMove::create(CT_Quat), Debug::CheckException);
    EXPECT_THROW(BlockFuncMove::create(CT_Float)->getSpeed<glm::vec2>(), Debug::CheckException);

    // A file naming a type the block can't move by is damaged.
    const std::vector<uint8_t> bytes =
        writeFuncBlock("func_move", 0,
                       [](Sl::RevisionSaver& s)
                       {
                           writeProp(s, "type", CT_Quat);
                           writeProp(s, "speed", glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
                       });
    EXPECT_THROW(loadBlockPlain(bytes.data(), bytes.size()), Sl::CorruptedDataException);
}

TEST(PlmFuncBlocks, NoiseGroupVersions)
{
    const std::vector<uint8_t> v0 = writeFuncBlock("func_noise", 0, writeNoiseV0);
    auto noise = std::unique_ptr<BlockFuncNoise>(
        static_cast<BlockFuncNoise*>(loadBlockPlain(v0.data(), v0.size()).release()));
    ASSERT_TRUE(noise);
    EXPECT_EQ(noise->getAnimation(), glm::vec3(0.0f));
    EXPECT_FALSE(noise->isAnimationOverridden());
    EXPECT_EQ(noise->getSmoothness(), 250.0f);
    EXPECT_EQ(noise->getType(), Ps::FN3_Cubic);
    EXPECT_EQ(noise->getOutputRangeScale(), 2.0f);
    EXPECT_EQ(noise->getOutputRangeLow(), glm::vec3(-3.0f));
    EXPECT_EQ(noise->getOutputRangeHigh(), glm::vec3(4.0f));
    EXPECT_TRUE(noise->getAdditive());

    // The current version writes the animation and reads it back.
    noise->setAnimation(glm::vec3(0.5f));
    auto loaded = roundTrip<BlockFuncNoise>(*noise);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getAnimation(), glm::vec3(0.5f));
    EXPECT_TRUE(loaded->getAdditive());

    const std::vector<uint8_t> v2 = writeFuncBlock("func_noise", 2, writeNoiseV0);
    EXPECT_THROW(loadBlockPlain(v2.data(), v2.size()), Sl::OldLoaderVersionException);
}

TEST(PlmFuncBlocks, TransformInvertedSurvivesSaveAndCopy)
{
    for (bool inverted : {false, true})
    {
        auto block = BlockFuncTransform::create(inverted);
        block->setScale(3.0f);
        EXPECT_EQ(block->isInverted(), inverted);
        auto loaded = roundTrip<BlockFuncTransform>(*block);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->isInverted(), inverted);
        EXPECT_EQ(loaded->getScale(), 3.0f);
        std::unique_ptr<Block> copy = block->copyWithoutRelations();
        EXPECT_EQ(static_cast<BlockFuncTransform&>(*copy).isInverted(), inverted);
    }
}

}  // namespace
