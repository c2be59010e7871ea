#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_description.h"
#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_glm.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using Descs = std::vector<BlockConnectorDesc>;
using Expression = BlockFuncExpression;

using PlmTest::connectorsOf;
using PlmTest::writeProp;

template <class T>
std::unique_ptr<T> loadAs(const std::vector<uint8_t>& bytes)
{
    std::unique_ptr<Block> block = loadBlockPlain(bytes.data(), bytes.size());
    T* typed = dynamic_cast<T*>(block.get());
    EXPECT_TRUE(typed);
    if (!typed)
        return nullptr;
    block.release();
    typed->updateConnectors();
    return std::unique_ptr<T>(typed);
}

template <class T>
std::unique_ptr<T> roundTrip(const Block& block)
{
    return loadAs<T>(saveBlockPlain(block));
}

// A function block record with "block_func" and the class's group in the versions given;
// `writeGroup` writes the class's items.
template <class F>
std::vector<uint8_t> writeFuncBlock(const char* name, uint32_t funcVersion, uint32_t version,
                                    F writeGroup)
{
    return PlmTest::writeBlock(name,
                               [&](Sl::RevisionSaver& saver)
                               {
                                   PlmTest::writeFuncGroup(saver, funcVersion,
                                                           glm::vec2(5.0f, 6.0f), BFHF_Left);
                                   Sl::ScopedSaverGroup group(name, saver, version);
                                   writeGroup(saver);
                               });
}

// An expression group with one input per (name, type).
std::vector<uint8_t> writeExpression(uint32_t funcVersion, uint32_t version, unsigned numInputs,
                                     std::vector<std::pair<std::string, EnumConnectorType>> ins)
{
    return writeFuncBlock("func_expression", funcVersion, version,
                          [&](Sl::RevisionSaver& s)
                          {
                              writeProp(s, "expression", std::string("p * q"));
                              writeProp(s, "num_inputs", numInputs);
                              for (const auto& [name, type] : ins)
                              {
                                  Sl::ScopedSaverGroup input("input", s, 0);
                                  writeProp(s, "name", name);
                                  writeProp(s, "type", type);
                              }
                              writeProp(s, "output_type", CT_Vec3);
                              writeProp(s, "output_valid", true);
                          });
}

TEST(PlmExprBlocks, InputListMovesConnectorsAndLinks)
{
    System system;
    Emitter& emitter = system.addEmitter(std::make_unique<Emitter>("e"));
    auto& expr = static_cast<Expression&>(emitter.addBlock(Expression::create()));
    const Block& feeder = emitter.addBlock(Expression::create());
    ASSERT_TRUE(emitter.createLink(feeder, 0, expr, 1));
    ASSERT_TRUE(emitter.createLink(feeder, 0, expr, 2));

    expr.setNumInputs(4u);
    expr.setInputName(0, std::string("p"));
    EXPECT_EQ(connectorsOf(expr),
              (Descs{outputDesc(CT_Float, 0), inputDesc(CT_Float, 1), inputDesc(CT_Float, 2),
                     inputDesc(CT_Float, 3), inputDesc(CT_Float, 4)}));
    EXPECT_EQ(emitter.getNumLinks(), 2u);
    ASSERT_TRUE(emitter.createLink(feeder, 0, expr, 4));

    expr.setNumInputs(1u);
    EXPECT_EQ(connectorsOf(expr), (Descs{outputDesc(CT_Float, 0), inputDesc(CT_Float, 1)}));
    ASSERT_EQ(emitter.getNumLinks(), 1u);
    EXPECT_EQ(emitter.getLink(0).input_.desc_.index_, 1u);

    // Grown again, the new inputs are fresh; the surviving one keeps its edit.
    expr.setNumInputs(boost::none);
    ASSERT_EQ(expr.getNumInputs(), 2u);
    EXPECT_EQ(expr.getInputName(0), "p");
    EXPECT_EQ(expr.getInputName(1), "b");
    EXPECT_EQ(expr.getInputType(1), CT_Float);
    EXPECT_THROW(expr.getInputName(2), Debug::CheckException);

    // Descriptions follow the saved order and pair each key with its marks.
    const std::vector<PropertyDescription> props = describeProperties(expr);
    const std::vector<std::pair<std::string, bool>> expected = {
        {"expression", false}, {"num_inputs", true}, {"name", false},       {"type", true},
        {"name", false},       {"type", true},       {"output_type", true}, {"output_valid", true}};
    ASSERT_EQ(props.size(), expected.size());
    for (size_t i = 0; i < props.size(); ++i)
    {
        EXPECT_EQ(props[i].key, expected[i].first) << i;
        EXPECT_EQ(props[i].shared, expected[i].second) << i;
    }
}

TEST(PlmExprBlocks, ExpressionGivesOutputTypeAndValidity)
{
    struct Case
    {
        const char* text;
        std::vector<EnumConnectorType> inputs;
        EnumConnectorType output;  // what the block shows; for an invalid text the previous vec2
        bool valid;
    };
    const Case cases[] = {
        {"a + b", {CT_Float, CT_Float}, CT_Float, true},
        {"a + b", {CT_Float, CT_Vec3}, CT_Vec3, true},
        {"a * b", {CT_Quat, CT_Quat}, CT_Quat, true},
        {"length(a) * dt", {CT_Vec3}, CT_Float, true},
        {"vec3(a, b, dt)", {CT_Float, CT_Float}, CT_Vec3, true},
        {"dt", {}, CT_Float, true},
        {"a + b", {CT_Vec2, CT_Vec3}, CT_Vec2, false},
        {"a + b", {CT_Quat, CT_Float}, CT_Vec2, false},
        {"a + c", {CT_Float, CT_Float}, CT_Vec2, false},
        {"a +", {CT_Float}, CT_Vec2, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text);
        auto block = Expression::create();
        block->setExpression(std::string("vec2(dt, dt)"));
        block->setNumInputs(static_cast<unsigned int>(c.inputs.size()));
        for (unsigned int i = 0; i < c.inputs.size(); ++i)
            block->setInputType(i, c.inputs[i]);
        block->setExpression(std::string(c.text));
        EXPECT_EQ(block->getOutputType(), c.output);
        EXPECT_EQ(block->isValid(), c.valid);
        EXPECT_EQ(static_cast<bool>(block->getExpressionOutputType()), c.valid);
        EXPECT_EQ(block->getConnectorDesc(0), outputDesc(c.output, 0));
        const ExpressionInputs inputs = block->getExpressionInputs();
        ASSERT_EQ(inputs.size(), c.inputs.size() + 1);
        EXPECT_EQ(inputs.back(),
                  (std::pair<std::string, Expr::EnumValueType>("dt", Expr::VT_Float)));
    }
}

TEST(PlmExprBlocks, ValueTypesMapOneToOne)
{
    for (EnumConnectorType type : {CT_Float, CT_Vec2, CT_Vec3, CT_Quat})
    {
        const Expr::EnumValueType exprType = convertPlmToExprValueType(type);
        EXPECT_EQ(static_cast<uint32_t>(exprType), static_cast<uint32_t>(type));
        EXPECT_EQ(convertExprToPlmValueType(exprType), type);
    }
    EXPECT_THROW(convertPlmToExprValueType(static_cast<EnumConnectorType>(4)),
                 Debug::CheckException);
    EXPECT_THROW(convertExprToPlmValueType(static_cast<Expr::EnumValueType>(4)),
                 Debug::CheckException);
}

TEST(PlmExprBlocks, TypeChangesMoveLinksAndReflectionsKeepTheirOutput)
{
    System system;
    Emitter& emitter = system.addEmitter(std::make_unique<Emitter>("e"));
    auto& expr = static_cast<Expression&>(emitter.addBlock(Expression::create()));
    const Block& sink = emitter.addBlock(Expression::create());
    ASSERT_TRUE(emitter.createLink(expr, 0, sink, 1));
    // Through the changer, as the editor does: b and the result become vec3.
    expr.inputTypeChanger(1)->set(CT_Vec3);
    EXPECT_EQ(expr.getInputType(1), CT_Vec3);
    EXPECT_EQ(connectorsOf(expr),
              (Descs{outputDesc(CT_Vec3, 0), inputDesc(CT_Float, 1), inputDesc(CT_Vec3, 2)}));
    EXPECT_EQ(emitter.getNumLinks(), 0u);
    // An expression that stops parsing keeps the output and its link.
    auto vecSink = Expression::create();
    vecSink->setInputType(0, CT_Vec3);
    ASSERT_TRUE(emitter.createLink(expr, 0, emitter.addBlock(std::move(vecSink)), 1));
    auto nameChanger = expr.inputNameChanger(1);
    nameChanger->set("velocity");
    EXPECT_FALSE(expr.isValid());
    EXPECT_EQ(expr.getOutputType(), CT_Vec3);
    EXPECT_EQ(emitter.getNumLinks(), 1u);
    nameChanger->revert();
    EXPECT_TRUE(expr.isValid());

    // A reflection whose own text gives another type keeps its source's output: invalid.
    std::unique_ptr<Block> reflected =
        emitter.reflectBlock(expr, ReflectionSourceRef::internal(expr.getId()));
    auto& copy = static_cast<Expression&>(*reflected);
    copy.setExpression(std::string("length(b)"));
    EXPECT_EQ(copy.getOutputType(), CT_Vec3);
    EXPECT_FALSE(copy.isValid());
    EXPECT_THROW(copy.setInputType(0, CT_Vec2), Debug::CheckException);
}

TEST(PlmExprBlocks, ExpressionSaveLoad)
{
    auto block = Expression::create();
    block->setNumInputs(3u);
    block->setInputType(2, CT_Vec2);
    block->setInputName(2, std::string("dir"));
    block->setExpression(std::string("dir * a"));
    auto loaded = roundTrip<Expression>(*block);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getExpression(), "dir * a");
    EXPECT_EQ(loaded->getInputName(2), "dir");
    EXPECT_EQ(loaded->getExpressionInputs(), block->getExpressionInputs());
    EXPECT_EQ(loaded->getOutputType(), CT_Vec2);
    EXPECT_TRUE(loaded->isValid());
    EXPECT_EQ(connectorsOf(*loaded), connectorsOf(*block));
    EXPECT_EQ(saveBlockPlain(*loaded), saveBlockPlain(*block));

    // The oldest "block_func" (a position only) leaves the block pinned.
    for (uint32_t funcVersion : {0u, 1u, 2u})
    {
        auto old = loadAs<Expression>(
            writeExpression(funcVersion, 0, 2, {{"p", CT_Vec3}, {"q", CT_Float}}));
        ASSERT_TRUE(old);
        EXPECT_EQ(old->pinned(), funcVersion < 2) << funcVersion;
        EXPECT_EQ(old->getPosition(), glm::vec2(5.0f, 6.0f));
        EXPECT_EQ(connectorsOf(*old),
                  (Descs{outputDesc(CT_Vec3, 0), inputDesc(CT_Vec3, 1), inputDesc(CT_Float, 2)}));
        EXPECT_TRUE(old->isValid());
    }

    const auto newer = writeExpression(2, 1, 0, {});
    EXPECT_THROW(loadBlockPlain(newer.data(), newer.size()), Sl::OldLoaderVersionException);
    // A count with no items behind it runs into the end of the stream.
    const auto missing = writeExpression(2, 0, 4000000000u, {{"x", CT_Float}});
    EXPECT_THROW(loadBlockPlain(missing.data(), missing.size()), Sl::Exception);
    const auto badType = writeExpression(2, 0, 1, {{"x", static_cast<EnumConnectorType>(9)}});
    EXPECT_THROW(loadBlockPlain(badType.data(), badType.size()), Sl::CorruptedDataException);
}

TEST(PlmExprBlocks, CurvesTracksShapeOutput)
{
    System system;
    Emitter& emitter = system.addEmitter(std::make_unique<Emitter>("e"));
    auto& curves = static_cast<BlockFuncCurves&>(emitter.addBlock(BlockFuncCurves::create()));
    ASSERT_TRUE(emitter.createLink(curves, 1, emitter.addBlock(Expression::create()), 1));
    Plot plot;
    plot.appendKeyBack(PlotKeySmooth(0.0f, 1.0f));
    plot.appendKeyBackWithSegment(PlotKeyCorner(1.0f, 3.0f), PlotSegLinear());
    curves.trackChanger(0)->set(plot);

    const std::pair<unsigned int, EnumConnectorType> counts[] = {
        {3, CT_Vec3}, {2, CT_Vec2}, {1, CT_Float}, {2, CT_Vec2}};
    for (const auto& [count, type] : counts)
    {
        curves.setNumTracks(count);
        ASSERT_EQ(curves.getNumTracks(), count);
        EXPECT_EQ(connectorsOf(curves), (Descs{outputDesc(type, 1), inputDesc(CT_Float, 0)}));
        EXPECT_EQ(curves.getTrack(0), plot);
        EXPECT_EQ(curves.getTrack(count - 1).getNumKeys(), count == 1 ? 2u : 0u);
        EXPECT_EQ(curves.getNumProps(), count + 1);
    }
    EXPECT_EQ(emitter.getNumLinks(), 0u);  // the float output went with the first change
    EXPECT_THROW(curves.setNumTracks(0u), Debug::CheckException);
    EXPECT_THROW(curves.setNumTracks(4u), Debug::CheckException);
    EXPECT_THROW(curves.setTrack(2, plot), Debug::CheckException);
    EXPECT_EQ(curves.getNumTracks(), 2u);

    curves.setTrack(1, plot);
    curves.setCurveEdSaveData({1, 2, 250});
    auto loaded = roundTrip<BlockFuncCurves>(curves);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getNumTracks(), 2u);
    EXPECT_EQ(loaded->getTrack(1), plot);
    EXPECT_EQ(loaded->getCurveEdSaveData(), (std::vector<unsigned char>{1, 2, 250}));
    EXPECT_EQ(connectorsOf(*loaded), connectorsOf(curves));

    for (unsigned int bad : {0u, 4u})
    {
        const auto bytes = writeFuncBlock(
            "func_curves", 2, 0, [bad](Sl::RevisionSaver& s) { writeProp(s, "num_tracks", bad); });
        EXPECT_THROW(loadBlockPlain(bytes.data(), bytes.size()), Sl::CorruptedDataException);
    }
}

TEST(PlmExprBlocks, PathDefaultsAndSaveLoad)
{
    auto path = BlockFuncPath::create();
    ASSERT_EQ(path->getPath().getNumKeys(), 3u);
    const glm::vec2 keys[] = {{100.0f, 100.0f}, {200.0f, 200.0f}, {300.0f, 100.0f}};
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_EQ(path->getPath().getKey(i).value, keys[i]);
    EXPECT_EQ(path->getBezierSubdivision(), 15u);
    EXPECT_EQ(connectorsOf(*path), (Descs{outputDesc(CT_Vec2, 1), outputDesc(CT_Vec2, 2),
                                          outputDesc(CT_Float, 3), inputDesc(CT_Float, 0)}));
    Path<glm::vec2> edited = path->getPath();
    edited.convertSegment(0, PathSegBezier<glm::vec2>({120.0f, 150.0f}, {180.0f, 190.0f}));
    path->setPath(edited);
    path->setBezierSubdivision(4u);
    auto loaded = roundTrip<BlockFuncPath>(*path);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getPath(), edited);
    EXPECT_EQ(loaded->getBezierSubdivision(), 4u);
    loaded->setBezierSubdivision(boost::none);
    EXPECT_EQ(loaded->getBezierSubdivision(), 15u);
}

TEST(PlmExprBlocks, FactoryMakesTheKinds)
{
    for (const char* name : {"func_curves", "func_path", "func_expression"})
    {
        std::unique_ptr<Block> block =
            BlocksFactory::instance().createDefaultByName(CrcString(name));
        ASSERT_TRUE(block) << name;
        EXPECT_TRUE(block->castToBlockFunc());
        auto loaded = roundTrip<Block>(*block);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->getFactoryName().str(), name);
        EXPECT_EQ(connectorsOf(*loaded), connectorsOf(*block));
    }
}

}  // namespace
