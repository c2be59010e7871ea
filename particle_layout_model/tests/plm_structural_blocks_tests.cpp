#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_block_term_path.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using Plm::inputDesc;
using Plm::outputDesc;
using Descs = std::vector<Plm::BlockConnectorDesc>;
using Quads = Plm::BlockConstructQuads;

using PlmTest::connectorsOf;
using PlmTest::createByName;
using PlmTest::load;
using PlmTest::writeBlock;

// One property record with no override, under a key that the reader doesn't see.
template <class T>
void writeProp(Sl::RevisionSaver& saver, const T& value)
{
    PlmTest::writeProp(saver, "prop", value);
}

}  // namespace

TEST(PlmStructuralBlocks, FreshConnectorsAndCategories)
{
    enum Category
    {
        Generator,
        Terminator,
        Positioner,
        Construct
    };
    struct Row
    {
        const char* name;
        Category category;
        Descs connectors;
    };
    const Row rows[] = {
        {"gen_periodic", Generator, {outputDesc(Plm::CT_Float, 1), outputDesc(Plm::CT_Float, 2)}},
        {"gen_distance", Generator, {outputDesc(Plm::CT_Float, 1), outputDesc(Plm::CT_Float, 2)}},
        {"term_less", Terminator, {inputDesc(Plm::CT_Float, 0)}},
        {"term_path", Terminator, {}},
        {"positioner", Positioner, {inputDesc(Plm::CT_Vec3, 0)}},
        {"construct_quads", Construct, {}},
        {"construct_strip", Construct, {}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        std::unique_ptr<Plm::Block> block = createByName(row.name);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->getFactoryName(), CrcString(row.name));
        EXPECT_EQ(connectorsOf(*block), row.connectors);
        EXPECT_EQ(block->castToBlockGenerator() != nullptr, row.category == Generator);
        EXPECT_EQ(block->castToBlockTerminator() != nullptr, row.category == Terminator);
        EXPECT_EQ(block->castToBlockPositioner() != nullptr, row.category == Positioner);
        EXPECT_EQ(block->castToBlockConstruct() != nullptr, row.category == Construct);
        EXPECT_FALSE(block->castToBlockFunc());
    }

    // The external inputs keep their fixed numbers behind the outputs.
    auto periodic = Plm::BlockGenPeriodic::create();
    periodic->setRateExternal(true);
    EXPECT_EQ(connectorsOf(*periodic),
              (Descs{outputDesc(Plm::CT_Float, 1), outputDesc(Plm::CT_Float, 2),
                     inputDesc(Plm::CT_Float, 0)}));
    auto less = Plm::BlockTermLess::create();
    less->setLesserValueExternal(false);
    less->setGreaterValueExternal(true);
    EXPECT_EQ(connectorsOf(*less), Descs{inputDesc(Plm::CT_Float, 1)});
    auto strip = Plm::BlockConstructStrip::create();
    strip->setHasFreeRotation(true);
    strip->setTexRepeatDistExternal(true);
    EXPECT_EQ(connectorsOf(*strip),
              (Descs{inputDesc(Plm::CT_Quat, 2), inputDesc(Plm::CT_Float, 7)}));
}

TEST(PlmStructuralBlocks, TermPathDefaultIsOneLinearSegment)
{
    auto term = Plm::BlockTermPath::create();
    const Path<glm::vec2>& path = term->getPath();
    ASSERT_EQ(path.getNumKeys(), 2u);
    ASSERT_EQ(path.getNumSegments(), 1u);
    EXPECT_EQ(path.getKey(0).value, glm::vec2(-200.0f, 200.0f));
    EXPECT_EQ(path.getKey(1).value, glm::vec2(200.0f, 200.0f));
    EXPECT_EQ(path.getSegment(0).type_, PST_Linear);
    EXPECT_EQ(term->getBezierSubdivision(), 15u);
    term->setBezierSubdivision(static_cast<unsigned short>(40));
    EXPECT_EQ(term->getBezierSubdivision(), 40u);
}

TEST(PlmStructuralBlocks, QuadsSizeTypeKeepsBothSizes)
{
    auto quads = Quads::create();
    quads->setSize(12.0f);
    quads->setSizeRect(glm::vec2(3.0f, 4.0f));
    quads->setSizeExternal(true);
    quads->setSizeRectExternal(true);
    EXPECT_EQ(connectorsOf(*quads), Descs{inputDesc(Plm::CT_Float, 3)});
    quads->setSizeType(Quads::ST_Rect);
    EXPECT_EQ(connectorsOf(*quads), Descs{inputDesc(Plm::CT_Vec2, 8)});
    quads->setSizeType(boost::none);
    EXPECT_EQ(quads->getSizeType(), Quads::ST_Quad);
    EXPECT_EQ(quads->getSize(), 12.0f);
    EXPECT_EQ(quads->getSizeRect(), glm::vec2(3.0f, 4.0f));
    EXPECT_EQ(connectorsOf(*quads), Descs{inputDesc(Plm::CT_Float, 3)});
}

TEST(PlmStructuralBlocks, QuadsConnectorsByShape)
{
    using Plm::CT_Float;
    // Each shape choice with the connector it contributes at its place in the list.
    const std::pair<Ps::EnumConstructorQuadsRotationOp, Plm::BlockConnectorDesc> rotations[] = {
        {Ps::CGO_Faced, inputDesc(CT_Float, 1)}, {Ps::CGO_Free, inputDesc(Plm::CT_Quat, 2)}};
    const std::pair<Quads::EnumSizeType, Plm::BlockConnectorDesc> sizes[] = {
        {Quads::ST_Quad, inputDesc(CT_Float, 3)}, {Quads::ST_Rect, inputDesc(Plm::CT_Vec2, 8)}};
    const std::pair<Ps::EnumConstructorQuadsTexOp, Descs> texOps[] = {
        {Ps::CTO_Rect, {}}, {Ps::CTO_Grid, {inputDesc(CT_Float, 6)}}};
    for (const auto& rotation : rotations)
        for (const auto& size : sizes)
            for (const auto& texOp : texOps)
            {
                SCOPED_TRACE(testing::Message()
                             << int(rotation.first) << int(size.first) << int(texOp.first));
                // Every property that can be external is; the shape decides which are inputs.
                auto quads = Quads::create();
                quads->setFacedRotationExternal(true);
                quads->setOriginExternal(true);
                quads->setSizeExternal(true);
                quads->setSizeRectExternal(true);
                quads->setColorExternal(true);
                quads->setAlphaExternal(true);
                quads->setRotationType(rotation.first);
                quads->setSizeType(size.first);
                quads->setTexOp(texOp.first);
                Descs expected{rotation.second, inputDesc(Plm::CT_Vec2, 7), size.second,
                               inputDesc(Plm::CT_Vec3, 4), inputDesc(CT_Float, 5)};
                expected.insert(expected.end(), texOp.second.begin(), texOp.second.end());
                EXPECT_EQ(connectorsOf(*quads), expected);

                // Setting the same shape again is no edit.
                const boost::uuids::uuid revision = quads->getRevision();
                quads->setRotationType(rotation.first);
                quads->setSizeType(size.first);
                quads->setTexOp(texOp.first);
                EXPECT_EQ(quads->getRevision(), revision);
            }
}

TEST(PlmStructuralBlocks, LinkOnFacedRotationGoesWithFreeRotation)
{
    Plm::Emitter emitter("emitter");
    auto quadsOwned = Quads::create();
    quadsOwned->setFacedRotationExternal(true);
    auto& quads = static_cast<Quads&>(emitter.addBlock(std::move(quadsOwned)));
    Plm::Block& lerp = emitter.addBlock(Plm::BlockFuncLerp<float>::create());
    ASSERT_TRUE(emitter.createLink(lerp, 3, quads, 1));
    EXPECT_EQ(emitter.getNumLinks(), 1u);

    quads.setRotationType(Ps::CGO_Free);
    EXPECT_EQ(emitter.getNumLinks(), 0u);
    EXPECT_TRUE(quads.findConnectorById(2));
    EXPECT_FALSE(quads.findConnectorById(1));
}

namespace
{

template <class T>
void checkExternalTexture()
{
    Plm::Emitter emitter("emitter");
    auto source = T::create();
    source->setTexture(std::string("fire.png"));

    // A block of its own owns its texture.
    EXPECT_EQ(source->numExternalTextures(), 1u);
    EXPECT_EQ(source->externalTexture(0), "fire.png");
    source->replaceExternalTexture(0, "smoke.png");
    EXPECT_EQ(source->getTexture(), "smoke.png");

    // A reflection leaves the file to its source until it overrides the texture.
    std::unique_ptr<Plm::Block> reflected =
        emitter.reflectBlock(*source, Plm::ReflectionSourceRef::external("source.pfx"));
    auto& refl = static_cast<T&>(*reflected);
    EXPECT_EQ(refl.getTexture(), "smoke.png");
    EXPECT_EQ(refl.numExternalTextures(), 0u);
    refl.replaceExternalTexture(0, "other.png");
    EXPECT_EQ(refl.getTexture(), "smoke.png");

    refl.setTexture(std::string("own.png"));
    EXPECT_EQ(refl.numExternalTextures(), 1u);
    refl.replaceExternalTexture(0, "renamed.png");
    EXPECT_EQ(refl.getTexture(), "renamed.png");
    refl.replaceExternalTexture(1, "wrong.png");
    EXPECT_EQ(refl.getTexture(), "renamed.png");
    EXPECT_EQ(refl.externalTexture(1), "");
}

}  // namespace

TEST(PlmStructuralBlocks, ExternalTextureBelongsToTheSourceUnlessOverridden)
{
    {
        SCOPED_TRACE("quads");
        checkExternalTexture<Plm::BlockConstructQuads>();
    }
    {
        SCOPED_TRACE("strip");
        checkExternalTexture<Plm::BlockConstructStrip>();
    }
}

TEST(PlmStructuralBlocks, GenPeriodicVersion0ModeBecomesTwoFlags)
{
    struct Row
    {
        unsigned char mode;
        bool timeEnabled, shotsEnabled;
    };
    for (const Row& row : {Row{0, false, false}, Row{1, true, false}, Row{2, false, true}})
    {
        SCOPED_TRACE(int(row.mode));
        std::unique_ptr<Plm::Block> block =
            load(writeBlock("gen_periodic",
                            [&](auto& saver)
                            {
                                Sl::ScopedSaverGroup group("gen_periodic", saver, 0);
                                writeProp(saver, row.mode);
                                writeProp(saver, 7.0f);  // fixed_time
                                writeProp(saver, 9u);    // fixed_shots
                                writeProp(saver, 3.0f);  // fixed_rate
                                writeProp(saver, 0.5f);  // start_phase
                                writeProp(saver, 4u);    // burst
                            }));
        ASSERT_TRUE(block);
        auto& gen = static_cast<Plm::BlockGenPeriodic&>(*block);
        EXPECT_EQ(gen.getFixedTimeEnabled(), row.timeEnabled);
        EXPECT_EQ(gen.getFixedShotsEnabled(), row.shotsEnabled);
        EXPECT_FALSE(gen.hasOverridedProps());
        EXPECT_EQ(gen.getFixedTime(), 7.0f);
        EXPECT_EQ(gen.getFixedShots(), 9u);
        EXPECT_EQ(gen.getRate(), 3.0f);
        EXPECT_EQ(gen.getStartPhase(), 0.5f);
        EXPECT_EQ(gen.getBurst(), 4u);
    }
}

TEST(PlmStructuralBlocks, ConstructorsVersion0KeepObsoletePosition)
{
    const glm::vec3 position(4.0f, 5.0f, 6.0f);
    auto quadsBytes = [&](Quads::EnumSizeType sizeType)
    {
        return writeBlock("construct_quads",
                          [&](auto& saver)
                          {
                              Sl::ScopedSaverGroup group("construct_quads", saver, 0);
                              writeProp(saver, false);
                              writeProp(saver, Ps::MAT_Normal);
                              writeProp(saver, std::string("a.png"));
                              writeProp(saver, position);
                              writeProp(saver, glm::vec2(0.25f, 0.75f));
                              writeProp(saver, Ps::CGO_Free);
                              writeProp(saver, 0.0f);
                              writeProp(saver, sizeType);
                              writeProp(saver, 30.0f);
                              writeProp(saver, glm::vec2(7.0f, 8.0f));
                              writeProp(saver, glm::vec3(1.0f));
                              writeProp(saver, 1.0f);
                              writeProp(saver, Ps::CTO_Grid);
                              writeProp(saver, 2u);
                              writeProp(saver, 3u);
                          });
    };
    std::unique_ptr<Plm::Block> block = load(quadsBytes(Quads::ST_Rect));
    ASSERT_TRUE(block);
    auto& quads = static_cast<Quads&>(*block);
    ASSERT_TRUE(quads.getObsoletePosition());
    EXPECT_EQ(*quads.getObsoletePosition(), position);
    EXPECT_FALSE(quads.isExportable());
    EXPECT_EQ(quads.getTexture(), "a.png");
    EXPECT_EQ(quads.getOrigin(), glm::vec2(0.25f, 0.75f));
    EXPECT_EQ(quads.getRotationType(), Ps::CGO_Free);
    EXPECT_EQ(quads.getSizeType(), Quads::ST_Rect);
    EXPECT_EQ(quads.getSizeRect(), glm::vec2(7.0f, 8.0f));
    EXPECT_EQ(quads.getTexOp(), Ps::CTO_Grid);
    EXPECT_EQ(quads.getTexOpGridCols(), 2u);
    EXPECT_EQ(quads.getTexOpGridRows(), 3u);
    // A size type that doesn't exist is damage.
    EXPECT_THROW(load(quadsBytes(static_cast<Quads::EnumSizeType>(0))), Sl::CorruptedDataException);

    block = load(writeBlock("construct_strip",
                            [&](auto& saver)
                            {
                                Sl::ScopedSaverGroup group("construct_strip", saver, 0);
                                writeProp(saver, true);
                                writeProp(saver, Ps::MAT_Normal);
                                writeProp(saver, std::string("b.png"));
                                writeProp(saver, position);
                                writeProp(saver, true);
                                writeProp(saver, 12.0f);
                                writeProp(saver, glm::vec3(1.0f));
                                writeProp(saver, 1.0f);
                                writeProp(saver, 40.0f);
                            }));
    ASSERT_TRUE(block);
    auto& strip = static_cast<Plm::BlockConstructStrip&>(*block);
    ASSERT_TRUE(strip.getObsoletePosition());
    EXPECT_EQ(*strip.getObsoletePosition(), position);
    EXPECT_EQ(strip.getTexture(), "b.png");
    EXPECT_TRUE(strip.hasFreeRotation());
    EXPECT_EQ(strip.getSize(), 12.0f);
    EXPECT_EQ(strip.getTexRepeatDist(), 40.0f);

    // The current version has no such position.
    std::vector<uint8_t> bytes = Plm::saveBlockPlain(strip);
    std::unique_ptr<Plm::Block> resaved = load(bytes);
    EXPECT_FALSE(static_cast<Plm::BlockConstructStrip&>(*resaved).getObsoletePosition());
}

TEST(PlmStructuralBlocks, MeshExportDescribesTheFactory)
{
    struct Row
    {
        const char* name;
        uint8_t factory;
        bool normals, colors;
    };
    const Row rows[] = {{"construct_quads", 0, true, true}, {"construct_strip", 1, false, true}};
    std::unique_ptr<Plm::Block> quads = createByName("construct_quads");
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        std::unique_ptr<Plm::Block> block = createByName(row.name);
        const Plm::BlockConstruct& construct = *block->castToBlockConstruct();
        Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
        construct.doMeshExport(flex);
        const std::vector<uint8_t> bytes = flex.dataAsVector();
        Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
        uint8_t factory = 99;
        bool normals = !row.normals, colors = !row.colors;
        loader.read(factory);
        loader.read(normals);
        loader.read(colors);
        EXPECT_EQ(factory, row.factory);
        EXPECT_EQ(normals, row.normals);
        EXPECT_EQ(colors, row.colors);

        EXPECT_TRUE(
            construct.areMeshFactoriesTheSame(*createByName(row.name)->castToBlockConstruct()));
        EXPECT_EQ(construct.areMeshFactoriesTheSame(*quads->castToBlockConstruct()),
                  row.factory == 0);
    }
}

TEST(PlmStructuralBlocks, NewerGroupVersionIsRefused)
{
    struct Row
    {
        const char* name;
        uint32_t knownVersion;
    };
    const Row rows[] = {{"gen_periodic", 1},   {"gen_distance", 0}, {"term_less", 0},
                        {"term_path", 0},      {"positioner", 0},   {"construct_quads", 1},
                        {"construct_strip", 1}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        const std::vector<uint8_t> bytes =
            writeBlock(row.name, [&](auto& saver)
                       { Sl::ScopedSaverGroup group(row.name, saver, row.knownVersion + 1); });
        EXPECT_THROW(load(bytes), Sl::OldLoaderVersionException);
    }
}
