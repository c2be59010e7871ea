#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_rotation_axis.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_emitter.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_glm.h"

#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using T3 = BlockFuncTransform3;
using Uuid = boost::uuids::uuid;

const glm::quat kTurn(0.0f, 1.0f, 0.0f, 0.0f);  // w, x, y, z
const glm::quat kIdentity = ValueTraits<glm::quat>::zero();

// "out2:vec3 in0:vec3 ...", in the block's order.
std::string connectorsOf(const Block& block)
{
    std::string out;
    for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
    {
        const BlockConnectorDesc& d = block.getConnectorDesc(i);
        out += std::string(i ? " " : "") + (d.dir_ == CD_Input ? "in" : "out") +
               std::to_string(d.index_) + ":" + connectorTypeName(d.type_);
    }
    return out;
}
// ":T" in `expected` stands for `type`.
std::string typed(std::string expected, EnumConnectorType type)
{
    for (size_t at = expected.find(":T"); at != std::string::npos; at = expected.find(":T", at))
        expected.replace(at, 2, std::string(":") + connectorTypeName(type));
    return expected;
}

// The ids of the block's inputs that links feed, ascending.
std::string linkedInputs(const Emitter& emitter, const Block& block)
{
    std::vector<uint32_t> ids;
    for (unsigned int i = 0; i < emitter.getNumLinks(); ++i)
        if (emitter.getLink(i).input_.blockId == block.getId())
            ids.push_back(emitter.getLink(i).input_.desc_.index_);
    std::sort(ids.begin(), ids.end());
    std::string out;
    for (uint32_t id : ids)
        out += (out.empty() ? "" : " ") + std::to_string(id);
    return out;
}

struct Step
{
    const char* what;
    std::function<void()> act;
    std::string connectors, linked;
};
void runSteps(const Emitter& emitter, const Block& block, const std::vector<Step>& steps)
{
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.what);
        step.act();
        EXPECT_EQ(connectorsOf(block), step.connectors);
        EXPECT_EQ(linkedInputs(emitter, block), step.linked);
    }
}

template <class V>
std::string text(const V& v, bool external = false)
{
    std::ostringstream out;
    for (int i = 0; i < V::length(); ++i)
        out << (i ? "," : "(") << v[i];
    return out.str() + (external ? ")E" : ")");
}
std::string text(float v, bool external = false)
{
    std::ostringstream out;
    out << "(" << v << (external ? ")E" : ")");
    return out.str();
}

// Everything the getters show; quaternions as x, y, z, w.
std::string stateOf(const Block& block)
{
    std::string s;
    if (auto* b = dynamic_cast<const T3*>(&block))
    {
        s = text(b->getStartPosition(), b->isStartPositionExternal()) +
            text(b->getStartRotation(), b->isStartRotationExternal());
        for (unsigned int i = 0; i < b->getNumOperations(); ++i)
            s += std::string(" ") + (b->getOperationType(i) == T3::OT_Shift ? "S" : "R") +
                 text(b->getShift(i), b->isShiftExternal(i)) +
                 text(b->getRotation(i), b->isRotationExternal(i));
    }
    auto forceMove = [&s](const auto& b)
    {
        s = "F";
        for (unsigned int i = 0; i < b.getNumForces(); ++i)
            s += text(b.getForce(i), b.isForceExternal(i));
        s += " W";
        for (unsigned int i = 0; i < b.getNumVelocities(); ++i)
            s += text(b.getVelocity(i), b.isVelocityExternal(i));
        s += " D" + text(b.getDrag(), b.isDragExternal());
    };
    if (auto* b = dynamic_cast<const BlockFuncForceMove2*>(&block))
        forceMove(*b);
    if (auto* b = dynamic_cast<const BlockFuncForceMove3*>(&block))
        forceMove(*b);
    return s;
}

template <class B>
B& add(Emitter& emitter, std::unique_ptr<B> block)
{
    return static_cast<B&>(emitter.addBlock(std::move(block)));
}

TEST(PlmTransformForceBlocks, Transform3OperationsShapeTheConnectors)
{
    Emitter emitter("e");
    auto& vecSource = add(emitter, BlockFuncLerp<glm::vec3>::create());  // out 3
    auto& quatSource = add(emitter, BlockFuncRotationAxis::create());    // out 2
    auto& b = add(emitter, T3::create());
    EXPECT_EQ(stateOf(b), "(0,0,0)(0,0,0,1) R(0,0,0)(0,0,0,1)");
    runSteps(
        emitter, b,
        {
            {"fresh", [] {}, "out2:vec3 out3:quat", ""},
            {"4 operations, all external and linked",
             [&]
             {
                 b.setNumOperations(4u);
                 b.setStartPositionExternal(true);
                 ASSERT_TRUE(emitter.createLink(vecSource, 3, b, 0));
                 for (unsigned int i = 0; i < 4; ++i)
                 {
                     b.setShiftExternal(i, true);
                     b.setRotationExternal(i, true);
                     const bool rotation = b.getOperationType(i) == T3::OT_Rotation;
                     ASSERT_TRUE(rotation ? emitter.createLink(quatSource, 2, b, 10 + i)
                                          : emitter.createLink(vecSource, 3, b, 10 + i));
                 }
             },
             "out2:vec3 out3:quat in0:vec3 in10:quat in11:vec3 in12:quat in13:vec3",
             "0 10 11 12 13"},
            {"shrink to 2", [&] { b.setNumOperations(2u); },
             "out2:vec3 out3:quat in0:vec3 in10:quat in11:vec3", "0 10 11"},
            {"a type change retypes its input", [&] { b.operTypeChanger(0)->set(T3::OT_Shift); },
             "out2:vec3 out3:quat in0:vec3 in10:vec3 in11:vec3", "0 11"},
            {"growing after a shift adds a constant rotation", [&] { b.setNumOperations(3u); },
             "out2:vec3 out3:quat in0:vec3 in10:vec3 in11:vec3", "0 11"},
            {"a later input comes", [&] { b.setRotationExternal(2, true); },
             "out2:vec3 out3:quat in0:vec3 in10:vec3 in11:vec3 in12:quat", "0 11"},
            {"an earlier input goes", [&] { b.setShiftExternal(0, false); },
             "out2:vec3 out3:quat in0:vec3 in11:vec3 in12:quat", "0 11"},
            {"reverting the type", [&] { b.operTypeChanger(0)->revert(); },
             "out2:vec3 out3:quat in0:vec3 in10:quat in11:vec3 in12:quat", "0 11"},
        });
    EXPECT_EQ(stateOf(b),
              "(0,0,0)E(0,0,0,1) R(0,0,0)(0,0,0,1)E S(0,0,0)E(0,0,0,1)E R(0,0,0)(0,0,0,1)E");
    EXPECT_EQ(b.getNumProps(), 3u + 3u * 3u);
    struct Query
    {
        unsigned int index;
        bool lastShift, lastRotation;
    };
    for (const Query& q : {Query{0, false, false}, Query{1, true, false}, Query{2, true, true}})
    {
        EXPECT_EQ(b.isLastShiftOperation(q.index), q.lastShift) << q.index;
        EXPECT_EQ(b.isLastRotationOperation(q.index), q.lastRotation) << q.index;
    }
    const Uuid revision = b.getRevision();
    b.setNumOperations(3u);  // no change: nothing happens
    EXPECT_EQ(b.getRevision(), revision);
    b.setOperationType(1, T3::OT_Rotation);
    EXPECT_FALSE(b.hasShiftOperations());
    EXPECT_TRUE(b.hasRotationOperations());
    EXPECT_THROW(b.setNumOperations(0u), Debug::CheckException);
    EXPECT_THROW(b.getShift(3), Debug::CheckException);
}

template <class T>
void checkForceMoveLists()
{
    const EnumConnectorType type = ValueTraits<T>::connectorType;
    Emitter emitter("e");
    auto& source = add(emitter, BlockFuncLerp<T>::create());          // out 3
    auto& dragSource = add(emitter, BlockFuncLerp<float>::create());  // out 3
    auto& b = add(emitter, BlockFuncForceMove<T>::create());
    const T one = ValueTraits<T>::zero() + 1.0f;
    runSteps(
        emitter, b,
        {
            {"fresh", [] {}, typed("out2:T out3:T in0:T in1:T", type), ""},
            {"3 forces, 2 winds, all external and linked",
             [&]
             {
                 b.setDragExternal(true);
                 ASSERT_TRUE(emitter.createLink(dragSource, 3, b, 4));
                 b.setNumForces(3u);
                 b.setNumVelocities(2u);
                 for (unsigned int i = 0; i < 3; ++i)
                     b.setForceExternal(i, true);
                 for (unsigned int i = 0; i < 2; ++i)
                     b.setVelocityExternal(i, true);
                 for (uint32_t id : {0, 256, 257, 258, 512, 513})
                     ASSERT_TRUE(emitter.createLink(source, 3, b, id));
                 b.forceChanger(0)->set(one);
             },
             typed("out2:T out3:T in0:T in1:T in4:float in256:T in257:T in258:T in512:T in513:T",
                   type),
             "0 4 256 257 258 512 513"},
            {"1 force", [&] { b.setNumForces(1u); },
             typed("out2:T out3:T in0:T in1:T in4:float in256:T in512:T in513:T", type),
             "0 4 256 512 513"},
            {"no winds", [&] { b.setNumVelocities(0u); },
             typed("out2:T out3:T in0:T in1:T in4:float in256:T", type), "0 4 256"},
            {"2 forces", [&] { b.setNumForces(2u); },
             typed("out2:T out3:T in0:T in1:T in4:float in256:T", type), "0 4 256"},
            {"1 external wind, force 0 constant",
             [&]
             {
                 b.setNumVelocities(1u);
                 b.setVelocityExternal(0, true);
                 b.setForceExternal(0, false);
             },
             typed("out2:T out3:T in0:T in1:T in4:float in512:T", type), "0 4"},
        });
    EXPECT_EQ(b.getForce(0), one);  // kept through the shrinking and growing
    EXPECT_EQ(b.getForce(1), ValueTraits<T>::zero());
    EXPECT_EQ(b.getNumProps(), 6u);  // two counts, two forces, one wind, drag
    const Uuid revision = b.getRevision();
    b.setNumForces(2u);
    EXPECT_EQ(b.getRevision(), revision);
    EXPECT_THROW(b.setNumForces(256u), Debug::CheckException);
    EXPECT_THROW(b.getVelocity(1), Debug::CheckException);
}

TEST(PlmTransformForceBlocks, ForceMoveListsShapeTheConnectors)
{
    checkForceMoveLists<glm::vec2>();
    checkForceMoveLists<glm::vec3>();
}

TEST(PlmTransformForceBlocks, SaveLoadAndCopyKeepValuesOverridesAndConnectors)
{
    auto t = T3::create();
    t->setStartPosition(glm::vec3(1.0f, 2.0f, 3.0f));
    t->setStartRotationExternal(true);
    t->setNumOperations(3u);
    t->setShift(1, glm::vec3(4.0f));
    t->setShiftExternal(1, true);
    t->setRotation(2, kTurn);
    t->setOperationType(0, T3::OT_Shift);
    auto f2 = BlockFuncForceMove2::create();
    f2->setNumVelocities(2u);
    f2->setVelocity(1, glm::vec2(7.0f, 8.0f));
    f2->setVelocityExternal(1, true);
    f2->setDrag(0.5f);
    auto f3 = BlockFuncForceMove3::create();
    f3->setNumForces(2u);
    f3->setForceExternal(1, true);
    struct Case
    {
        Block& block;
        std::function<void(Block&)> revertCounts;  // shows the defaults under the overrides
    };
    const Case cases[] = {
        {*t, [](Block& b) { static_cast<T3&>(b).setOperationType(0, boost::none); }},
        {*f2, [](Block& b) { static_cast<BlockFuncForceMove2&>(b).setNumVelocities(boost::none); }},
        {*f3, [](Block& b) { static_cast<BlockFuncForceMove3&>(b).setNumForces(boost::none); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.block.getFactoryName().str());
        const std::vector<uint8_t> bytes = saveBlockPlain(c.block);
        std::unique_ptr<Block> loaded = loadBlockPlain(bytes.data(), bytes.size());
        ASSERT_TRUE(loaded);
        std::unique_ptr<Block> copy = c.block.copyWithoutRelations();
        for (Block* other : {loaded.get(), copy.get()})
        {
            other->updateConnectors();
            EXPECT_EQ(other->getFactoryName(), c.block.getFactoryName());
            EXPECT_EQ(stateOf(*other), stateOf(c.block));
            EXPECT_EQ(connectorsOf(*other), connectorsOf(c.block));
            EXPECT_EQ(other->getNumProps(), c.block.getNumProps());
            c.revertCounts(*other);
        }
        c.revertCounts(c.block);
        EXPECT_EQ(stateOf(*loaded), stateOf(c.block));
        EXPECT_EQ(stateOf(*copy), stateOf(c.block));
    }
    EXPECT_EQ(stateOf(*t),
              "(1,2,3)(0,0,0,1)E R(0,0,0)(0,0,0,1) S(4,4,4)E(0,0,0,1) R(0,0,0)(1,0,0,0)");
    EXPECT_EQ(stateOf(*f2), "F(0,0) W D(0.5)");
    EXPECT_EQ(stateOf(*f3), "F(0,0,0) W D(0)");
}

using PlmTest::writeProp;

// A function block's record with "block_func" in the version given.
std::vector<uint8_t> funcRecord(const char* name, uint32_t funcVersion,
                                const PlmTest::Content& group)
{
    return PlmTest::writeBlock(name,
                               [&](Sl::RevisionSaver& saver)
                               {
                                   PlmTest::writeFuncGroup(saver, funcVersion);
                                   group(saver);
                               });
}

struct T3Bytes
{
    uint32_t version = 0, operVersion = 0;
    unsigned int count = 2;
    uint8_t firstType = T3::OT_Shift;
    void operator()(Sl::RevisionSaver& saver) const
    {
        Sl::ScopedSaverGroup group("func_transform3", saver, version);
        writeProp(saver, "start_pos", glm::vec3(1.0f, 2.0f, 3.0f));
        writeProp(saver, "start_rot", kIdentity, true);
        writeProp(saver, "num_opers", count);
        for (unsigned int i = 0; i < std::min(count, 2u); ++i)
        {
            Sl::ScopedSaverGroup oper("oper", saver, operVersion);
            writeProp(saver, "type", static_cast<T3::EnumOperType>(i == 0 ? firstType : 1));
            writeProp(saver, "shift", glm::vec3(i == 0 ? 4.0f : 0.0f), i == 0);
            writeProp(saver, "rotation", i == 0 ? kIdentity : kTurn);
        }
    }
};

template <class T>
struct ForceMoveBytes
{
    uint32_t version = 0;
    unsigned int numForces = 2, numVels = 1;
    void operator()(Sl::RevisionSaver& saver) const
    {
        Sl::ScopedSaverGroup group("force_move", saver, version);
        writeProp(saver, "num_forces", numForces);
        for (unsigned int i = 0; i < std::min(numForces, 2u); ++i)
            writeProp(saver, "force", ValueTraits<T>::zero() + (i == 0 ? 1.0f : 0.0f), i == 0);
        writeProp(saver, "num_vels", numVels);
        for (unsigned int i = 0; i < std::min(numVels, 1u); ++i)
            writeProp(saver, "vel", ValueTraits<T>::zero() + 2.0f);
        writeProp(saver, "drag", 0.5f, true);
    }
};

TEST(PlmTransformForceBlocks, HandWrittenRecordsLoadInEveryBlockFuncVersion)
{
    struct Case
    {
        const char* name;
        std::function<void(Sl::RevisionSaver&)> group;
        const char* state;
        const char* connectors;
    };
    const Case cases[] = {
        {"func_transform3", T3Bytes{}, "(1,2,3)(0,0,0,1)E S(4,4,4)E(0,0,0,1) R(0,0,0)(1,0,0,0)",
         "out2:vec3 out3:quat in1:quat in10:vec3"},
        {"func_force_move2", ForceMoveBytes<glm::vec2>{}, "F(1,1)E(0,0) W(2,2) D(0.5)E",
         "out2:vec2 out3:vec2 in0:vec2 in1:vec2 in4:float in256:vec2"},
        {"func_force_move3", ForceMoveBytes<glm::vec3>{}, "F(1,1,1)E(0,0,0) W(2,2,2) D(0.5)E",
         "out2:vec3 out3:vec3 in0:vec3 in1:vec3 in4:float in256:vec3"},
    };
    for (const Case& c : cases)
    {
        for (uint32_t funcVersion : {0u, 1u, 2u})
        {
            SCOPED_TRACE(std::string(c.name) + " block_func v" + std::to_string(funcVersion));
            const std::vector<uint8_t> bytes = funcRecord(c.name, funcVersion, c.group);
            std::unique_ptr<Block> block = loadBlockPlain(bytes.data(), bytes.size());
            ASSERT_TRUE(block);
            ASSERT_EQ(block->getFactoryName().str(), c.name);
            block->updateConnectors();
            EXPECT_EQ(stateOf(*block), c.state);
            EXPECT_EQ(connectorsOf(*block), c.connectors);
            EXPECT_FALSE(block->hasOverridedProps());
            // Blocks saved before pinning existed stay where they were put.
            EXPECT_EQ(block->castToBlockFunc()->pinned(), funcVersion < 2);
        }
    }
}

TEST(PlmTransformForceBlocks, BadRecordsRaiseSlExceptions)
{
    using F3 = ForceMoveBytes<glm::vec3>;
    struct Case
    {
        const char* what;
        const char* name;
        std::function<void(Sl::RevisionSaver&)> group;
        const char* expected;  // "truncated": any Sl::Exception but an old version
    };
    const Case cases[] = {
        {"intact", "func_transform3", T3Bytes{}, "none"},
        {"newer transform3 group", "func_transform3", T3Bytes{1}, "old"},
        {"newer oper group", "func_transform3", T3Bytes{0, 1}, "old"},
        {"unknown operation type", "func_transform3", T3Bytes{0, 0, 2, 2}, "corrupt"},
        {"no operations", "func_transform3", T3Bytes{0, 0, 0}, "corrupt"},
        {"more operations than data", "func_transform3", T3Bytes{0, 0, 4000000000u}, "truncated"},
        {"intact", "func_force_move3", F3{}, "none"},
        {"newer force_move group", "func_force_move3", F3{1}, "old"},
        {"too many forces", "func_force_move3", F3{0, 256}, "corrupt"},
        {"too many winds", "func_force_move3", F3{0, 1, 300}, "corrupt"},
        {"more forces than data", "func_force_move3", F3{0, 200}, "truncated"},
    };
    for (const Case& c : cases)
    {
        const std::vector<uint8_t> bytes = funcRecord(c.name, 2, c.group);
        std::string failure = "none";
        try
        {
            loadBlockPlain(bytes.data(), bytes.size());
        }
        catch (const Sl::OldLoaderVersionException&)
        {
            failure = "old";
        }
        catch (const Sl::CorruptedDataException&)
        {
            failure = "corrupt";
        }
        catch (const Sl::Exception&)
        {
            failure = "other";
        }
        if (std::string(c.expected) == "truncated")
            EXPECT_TRUE(failure == "corrupt" || failure == "other") << c.what << ": " << failure;
        else
            EXPECT_EQ(failure, c.expected) << c.what;
    }
}

}  // namespace
