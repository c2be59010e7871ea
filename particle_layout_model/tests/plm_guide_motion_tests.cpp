// The motion sections of the guide: generation, termination, start position and movement,
// with the start velocity and the forces.
#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_velocity.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

using namespace Plm;
using namespace Plm::Eg;
using Plm::Eg::Generation;
using Bytes = std::vector<uint8_t>;

struct NewEmitter
{
    std::unique_ptr<Emitter> e = Emitter::create("e");
    EmitterGuide& guide = *e->guide();

    PositionChangeForces& forces() const
    {
        return dynamic_cast<PositionChangeForces&>(guide.positionChange().impl());
    }
    PositionChangePath& path() const
    {
        return dynamic_cast<PositionChangePath&>(guide.positionChange().impl());
    }
    VelocityStart& steadyVelocity() const
    {
        return dynamic_cast<PositionChangeSteady&>(guide.positionChange().impl()).velocity();
    }
};

// What a graph holds, to compare before and after a round of changes: the kinds of its blocks
// and its number of links.
struct GraphShape
{
    std::vector<std::string> kinds;
    unsigned int links = 0;
    bool operator==(const GraphShape& o) const { return kinds == o.kinds && links == o.links; }
};

GraphShape shapeOf(const Emitter& e)
{
    GraphShape shape;
    for (const Block& block : e.allBlocks())
        shape.kinds.push_back(block.getFactoryName().str());
    std::sort(shape.kinds.begin(), shape.kinds.end());
    shape.links = e.getNumLinks();
    return shape;
}

bool hasLink(const Emitter& e, const boost::optional<BlockConnector>& output, const Uuid& input,
             uint32_t inputIndex)
{
    if (!output)
        return false;
    for (unsigned int i = 0; i < e.getNumLinks(); ++i)
    {
        const BlockLink& link = e.getLink(i);
        if (link.output_ == *output && link.input_.blockId == input &&
            link.input_.desc_.index_ == inputIndex)
            return true;
    }
    return false;
}

const BlockLink* linkOnInput(const Emitter& e, const Uuid& input, uint32_t inputIndex)
{
    for (unsigned int i = 0; i < e.getNumLinks(); ++i)
    {
        const BlockLink& link = e.getLink(i);
        if (link.input_.blockId == input && link.input_.desc_.index_ == inputIndex)
            return &link;
    }
    return nullptr;
}

// The validity of the four motion sections, in the order of the form.
std::vector<bool> motionValidity(const EmitterGuide& g)
{
    return {g.generation().isValid(), g.termination().isValid(), g.positionStart().isValid(),
            g.positionChange().isValid()};
}

template <class F>
Bytes write(F f)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        f(saver);
    }
    return flex.dataAsVector();
}

template <class F>
void read(const Bytes& bytes, size_t size, F f)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(size));
    Sl::RevisionLoader loader(nullptr, array);
    f(loader);
}

TEST(GuideMotion, NewEmitterGeneratesPeriodicallyAndEndsByMaxLife)
{
    NewEmitter n;
    Generation& generation = n.guide.generation();
    EXPECT_EQ(generation.type(), Generation::T_Periodic);
    const auto* generator = dynamic_cast<const BlockGenPeriodic*>(
        n.e->findBlockById(generation.impl().getGeneratorBlockId()));
    ASSERT_TRUE(generator);
    EXPECT_EQ(generator->getRate(), 50.0f);
    // A plain rate lives in the block: the property has no connector.
    EXPECT_FALSE(generator->isRateExternal());
    EXPECT_EQ(generation.impl().value().rowValue(0).type(), Value::Type::Fixed);

    Termination& termination = n.guide.termination();
    ASSERT_EQ(termination.numTerminators(), 1u);
    EXPECT_EQ(termination.countTerminators(TerminationType::MaxLife), 1u);
    EXPECT_EQ(termination.countTerminators(TerminationType::Path), 0u);
    auto& maxLife = dynamic_cast<TerminationMaxLife&>(termination.terminator(0));
    ASSERT_TRUE(maxLife.getNormTimeConnector());
    EXPECT_TRUE(n.guide.getNormParticleLifeConnector() == maxLife.getNormTimeConnector());
    const auto& expr =
        static_cast<const BlockFunc&>(n.e->getBlockById(maxLife.expressionBlockId()));
    EXPECT_EQ(expr.homeForce(), BFHF_Center);

    EXPECT_EQ(n.guide.positionChange().type(), PositionChange::T_Steady);
    EXPECT_TRUE(n.guide.positionChange().doesSupportParticleSpeed());
    EXPECT_EQ(n.steadyVelocity().type(), VelocityStart::T_Sphere);
    EXPECT_EQ(motionValidity(n.guide), std::vector<bool>(4, true));
}

TEST(GuideMotion, SwitchingAKindAndBackLeavesTheSameGraph)
{
    struct Case
    {
        const char* what;
        std::function<void(NewEmitter&)> there;
        std::function<void(NewEmitter&)> back;
    } cases[] = {
        {"generation by distance",
         [](NewEmitter& n) { n.guide.generation().changeType(Generation::T_Distance); },
         [](NewEmitter& n) { n.guide.generation().changeType(Generation::T_Periodic); }},
        {"a path terminator",
         [](NewEmitter& n) { n.guide.termination().addTerminator(TerminationType::Path); },
         [](NewEmitter& n) { n.guide.termination().removeTerminator(1); }},
        {"a second max life",
         [](NewEmitter& n) { n.guide.termination().addTerminator(TerminationType::MaxLife); },
         [](NewEmitter& n) { n.guide.termination().removeTerminator(1); }},
        {"the max life replaced", [](NewEmitter& n) { n.guide.termination().removeTerminator(0); },
         [](NewEmitter& n) { n.guide.termination().addTerminator(TerminationType::MaxLife); }},
        {"no movement",
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_None); },
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Steady); }},
        {"a path",
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Path); },
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Steady); }},
        {"forces",
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Forces); },
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Steady); }},
        {"a fixed start velocity",
         [](NewEmitter& n) { n.steadyVelocity().changeType(VelocityStart::T_Fixed); },
         [](NewEmitter& n) { n.steadyVelocity().changeType(VelocityStart::T_Sphere); }},
        {"a path without rotation",
         [](NewEmitter& n)
         {
             n.guide.positionChange().changeType(PositionChange::T_Path);
             n.path().enableApplyEmitterRotation(false);
         },
         [](NewEmitter& n) { n.path().enableApplyEmitterRotation(true); }},
        {"a turbulence",
         [](NewEmitter& n)
         {
             n.guide.positionChange().changeType(PositionChange::T_Forces);
             n.forces().addForce(PositionChangeForces::FT_Noise);
         },
         [](NewEmitter& n) { n.forces().removeForce(1); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        c.there(n);
        EXPECT_EQ(motionValidity(n.guide), std::vector<bool>(4, true));
        const GraphShape there = shapeOf(*n.e);
        c.back(n);
        EXPECT_EQ(motionValidity(n.guide), std::vector<bool>(4, true));
        const GraphShape back = shapeOf(*n.e);
        // Once more: the round must not leave anything behind (nor take anything away).
        c.there(n);
        EXPECT_EQ(shapeOf(*n.e), there);
        c.back(n);
        EXPECT_EQ(shapeOf(*n.e), back);
        EXPECT_EQ(motionValidity(n.guide), std::vector<bool>(4, true));
    }
}

TEST(GuideMotion, EveryMovementGivesItsConnectors)
{
    struct Case
    {
        PositionChange::Type type;
        bool velocity;
        bool speed;
    } cases[] = {
        {PositionChange::T_None, false, false},
        {PositionChange::T_Path, true, false},
        {PositionChange::T_Steady, true, true},
        {PositionChange::T_Forces, true, true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(static_cast<int>(c.type));
        NewEmitter n;
        if (c.type != PositionChange::T_Steady)
        {
            EXPECT_TRUE(n.guide.positionChange().changeType(c.type));
        }
        PositionChange& change = n.guide.positionChange();
        EXPECT_EQ(change.type(), c.type);
        EXPECT_TRUE(change.isValid());
        EXPECT_FALSE(change.changeType(c.type));
        EXPECT_EQ(static_cast<bool>(change.getVelocityConnector()), c.velocity);
        EXPECT_EQ(change.doesSupportParticleSpeed(), c.speed);
        // The positioner follows the movement.
        EXPECT_TRUE(hasLink(*n.e, change.getPositionConnector(), n.guide.blockPositionerId(), 0));
        EXPECT_TRUE(n.guide.positionerValid());
    }
}

TEST(GuideMotion, StartVelocitySurvivesForcesButNotNoMovement)
{
    struct Case
    {
        PositionChange::Type via;
        bool kept;
    } cases[] = {{PositionChange::T_Forces, true},
                 {PositionChange::T_None, false},
                 {PositionChange::T_Path, false}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(static_cast<int>(c.via));
        NewEmitter n;
        const Uuid before = n.steadyVelocity().velocityBlockId();
        n.steadyVelocity().enableEmitterAddition(false);
        ASSERT_TRUE(n.guide.positionChange().changeType(c.via));
        if (c.via == PositionChange::T_Forces)
            EXPECT_EQ(n.forces().velocity().velocityBlockId(), before);
        else
            EXPECT_FALSE(n.e->findBlockById(before));
        ASSERT_TRUE(n.guide.positionChange().changeType(PositionChange::T_Steady));

        VelocityStart& velocity = n.steadyVelocity();
        EXPECT_EQ(velocity.velocityBlockId() == before, c.kept);
        EXPECT_EQ(velocity.emitterAddition().get(), !c.kept);
        const auto& block =
            static_cast<const BlockParamVelocity&>(n.e->getBlockById(velocity.velocityBlockId()));
        EXPECT_EQ(block.getAddEmitterVelocity(), !c.kept);
        EXPECT_TRUE(n.guide.positionChange().isValid());
    }
}

TEST(GuideMotion, RemovedBlockTurnsOnlyItsSectionInvalid)
{
    struct Case
    {
        const char* what;
        std::function<void(NewEmitter&)> setup;
        std::function<Uuid(NewEmitter&)> block;
        std::vector<bool> validity;
    } cases[] = {
        {"the generator",
         [](NewEmitter&) {},
         [](NewEmitter& n) { return n.guide.generation().impl().getGeneratorBlockId(); },
         {false, true, true, true}},
        {"the distance generator",
         [](NewEmitter& n) { n.guide.generation().changeType(Generation::T_Distance); },
         [](NewEmitter& n) { return n.guide.generation().impl().getGeneratorBlockId(); },
         {false, true, true, true}},
        {"the age expression",
         [](NewEmitter&) {},
         [](NewEmitter& n)
         {
             return dynamic_cast<TerminationMaxLife&>(n.guide.termination().terminator(0))
                 .expressionBlockId();
         },
         {true, false, true, true}},
        {"the path terminator",
         [](NewEmitter& n) { n.guide.termination().addTerminator(TerminationType::Path); },
         [](NewEmitter& n)
         { return dynamic_cast<TerminationPath&>(n.guide.termination().terminator(1)).blockId(); },
         {true, false, true, true}},
        {"the velocity parameter",
         [](NewEmitter&) {},
         [](NewEmitter& n) { return n.steadyVelocity().velocityBlockId(); },
         {true, true, true, false}},
        {"the force move",
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Forces); },
         [](NewEmitter& n) { return n.forces().forceMoveBlockId(); },
         {true, true, true, false}},
        {"the turbulence",
         [](NewEmitter& n)
         {
             n.guide.positionChange().changeType(PositionChange::T_Forces);
             n.forces().addForce(PositionChangeForces::FT_Noise);
         },
         [](NewEmitter& n)
         { return dynamic_cast<NoiseFromPosition&>(n.forces().force(1)).noiseBlockId(); },
         {true, true, true, false}},
        {"the path's conversion",
         [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Path); },
         [](NewEmitter& n) { return n.path().conversionBlockId(); },
         {true, true, true, false}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        c.setup(n);
        ASSERT_EQ(motionValidity(n.guide), std::vector<bool>(4, true));
        n.e->removeBlock(c.block(n));
        EXPECT_EQ(motionValidity(n.guide), c.validity);
    }
}

TEST(GuideMotion, AnInvalidMovementRefusesAnotherKind)
{
    NewEmitter n;
    n.e->removeBlock(n.steadyVelocity().velocityBlockId());
    ASSERT_FALSE(n.guide.positionChange().isValid());
    EXPECT_FALSE(n.guide.positionChange().changeType(PositionChange::T_None));
    EXPECT_EQ(n.guide.positionChange().type(), PositionChange::T_Steady);
}

TEST(GuideMotion, NormalisedLifeComesFromTheOneMaxLife)
{
    NewEmitter n;
    Termination& termination = n.guide.termination();
    termination.addTerminator(TerminationType::MaxLife);
    EXPECT_EQ(termination.countTerminators(TerminationType::MaxLife), 2u);
    EXPECT_FALSE(n.guide.getNormParticleLifeConnector());
    // Each of the two still has its own age output, and both are linked and valid.
    EXPECT_TRUE(
        dynamic_cast<TerminationMaxLife&>(termination.terminator(1)).getNormTimeConnector());
    EXPECT_TRUE(termination.isValid());
    termination.removeTerminator(0);
    EXPECT_TRUE(
        n.guide.getNormParticleLifeConnector() ==
        dynamic_cast<TerminationMaxLife&>(termination.terminator(0)).getNormTimeConnector());
}

TEST(GuideMotion, ForcesFollowTheListOnTheBlock)
{
    NewEmitter n;
    n.guide.positionChange().changeType(PositionChange::T_Forces);
    PositionChangeForces& forces = n.forces();
    const auto& move =
        static_cast<const BlockFuncForceMove3&>(n.e->getBlockById(forces.forceMoveBlockId()));
    ASSERT_EQ(forces.numForces(), 1u);
    EXPECT_EQ(forces.forceType(0), PositionChangeForces::FT_Direction);
    EXPECT_EQ(move.getDrag(), 0.1f);

    const Uuid guid = forces.forcesGuid();
    forces.addForce(PositionChangeForces::FT_Noise);
    forces.addForce(PositionChangeForces::FT_Direction);
    EXPECT_NE(forces.forcesGuid(), guid);
    ASSERT_EQ(forces.numForces(), 3u);
    EXPECT_EQ(move.getNumForces(), 3u);
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_TRUE(hasLink(*n.e, forces.force(i).getOutputConnector(), forces.forceMoveBlockId(),
                            BlockFuncForceMove3::CI_Forces + i))
            << i;

    // Removing the first moves the others down one input; the last input goes.
    const Uuid noise = dynamic_cast<NoiseFromPosition&>(forces.force(1)).noiseBlockId();
    forces.removeForce(0);
    ASSERT_EQ(forces.numForces(), 2u);
    EXPECT_EQ(move.getNumForces(), 2u);
    EXPECT_EQ(forces.forceType(0), PositionChangeForces::FT_Noise);
    EXPECT_TRUE(hasLink(*n.e, n.e->getBlockById(noise).findConnectorById(1),
                        forces.forceMoveBlockId(), BlockFuncForceMove3::CI_Forces));
    EXPECT_TRUE(hasLink(*n.e, forces.force(1).getOutputConnector(), forces.forceMoveBlockId(),
                        BlockFuncForceMove3::CI_Forces + 1));
    EXPECT_FALSE(linkOnInput(*n.e, forces.forceMoveBlockId(), BlockFuncForceMove3::CI_Forces + 2));
    EXPECT_TRUE(forces.isValid());

    // A count changed in the scheme no longer matches the list.
    const_cast<BlockFuncForceMove3&>(move).setNumForces(1u);
    EXPECT_FALSE(n.guide.positionChange().isValid());
}

TEST(GuideMotion, TurbulenceTakesThePositionUnlessTheUserLinkedAnother)
{
    NewEmitter n;
    n.guide.positionChange().changeType(PositionChange::T_Forces);
    n.forces().addForce(PositionChangeForces::FT_Noise);
    auto& noise = dynamic_cast<NoiseFromPosition&>(n.forces().force(1));
    EXPECT_TRUE(
        hasLink(*n.e, n.guide.positionChange().getPositionConnector(), noise.noiseBlockId(), 0));
    const auto& block = static_cast<const BlockFuncNoise&>(n.e->getBlockById(noise.noiseBlockId()));
    EXPECT_EQ(block.getOutputRangeScale(), 200.0f);
    EXPECT_EQ(noise.animation().get(), glm::vec3(100.0f, 50.0f, 30.0f));
    EXPECT_EQ(noise.smoothness().get(), 1000.0f);

    // The user feeds the noise with the velocity instead; a later change of the guide, which
    // links everything again, keeps that.
    const boost::optional<BlockConnector> velocity =
        n.guide.positionChange().getVelocityConnector();
    ASSERT_TRUE(velocity);
    ASSERT_TRUE(n.e->createLink(
        BlockLink{*velocity, *n.e->getBlockById(noise.noiseBlockId()).findConnectorById(0)}));
    n.forces().addForce(PositionChangeForces::FT_Direction);
    EXPECT_TRUE(hasLink(*n.e, velocity, noise.noiseBlockId(), 0));
    EXPECT_TRUE(n.guide.positionChange().isValid());
}

TEST(GuideMotion, FormFlagsWriteTheBlockAndDiscardRevertsIt)
{
    NewEmitter n;
    PositionStart& start = n.guide.positionStart();
    const auto& position =
        static_cast<const BlockParamPosition&>(n.e->getBlockById(start.positionBlockId()));
    EXPECT_TRUE(start.applyEmitterRotation().get());
    EXPECT_FALSE(start.applyEmitterRotation().isOverridden());
    start.enableApplyEmitterRotation(false);
    EXPECT_FALSE(position.getApplyEmitterRotation());
    EXPECT_FALSE(start.applyEmitterRotation().get());
    EXPECT_TRUE(start.applyEmitterRotation().isOverridden());
    start.discardApplyEmitterRotation();
    EXPECT_TRUE(position.getApplyEmitterRotation());
    EXPECT_FALSE(start.applyEmitterRotation().isOverridden());

    // An edit in the scheme reaches the form.
    const_cast<BlockParamPosition&>(position).setApplyEmitterRotation(false);
    EXPECT_FALSE(start.applyEmitterRotation().get());
    EXPECT_TRUE(start.isValid());

    n.guide.positionChange().changeType(PositionChange::T_Forces);
    n.forces().addForce(PositionChangeForces::FT_Noise);
    auto& noise = dynamic_cast<NoiseFromPosition&>(n.forces().force(1));
    const auto& block = static_cast<const BlockFuncNoise&>(n.e->getBlockById(noise.noiseBlockId()));
    noise.setSmoothness(30.0f);
    EXPECT_EQ(block.getSmoothness(), 30.0f);
    noise.discardSmoothness();
    EXPECT_EQ(block.getSmoothness(), 1000.0f);
    EXPECT_EQ(noise.smoothness().get(), 1000.0f);
    noise.discardAnimation();
    EXPECT_EQ(block.getAnimation(), glm::vec3(0.0f));
    EXPECT_EQ(noise.animation().get(), glm::vec3(0.0f));
}

TEST(GuideMotion, PathRotationUsesTheSharedEmitterRotation)
{
    NewEmitter n;
    n.guide.positionChange().changeType(PositionChange::T_Path);
    PositionChangePath& path = n.path();
    EXPECT_TRUE(path.applyEmitterRotation());
    ASSERT_TRUE(n.guide.emitterRotationRefs());
    EXPECT_EQ(n.guide.emitterRotationRefs()->refs_, 1u);
    const boost::optional<BlockConnector> rotated = path.getVelocityConnector();
    ASSERT_TRUE(rotated);
    EXPECT_EQ(n.e->getBlockById(rotated->blockId).getFactoryName().str(), "func_transform3");

    path.enableApplyEmitterRotation(false);
    EXPECT_FALSE(n.guide.emitterRotationRefs());
    const boost::optional<BlockConnector> direction = path.getVelocityConnector();
    ASSERT_TRUE(direction);
    EXPECT_EQ(direction->blockId, path.conversionBlockId());
    EXPECT_TRUE(path.isValid());
    EXPECT_TRUE(
        hasLink(*n.e, n.guide.positionStart().getOutputConnector(), path.expressionBlockId(), 1));
    EXPECT_TRUE(hasLink(*n.e, path.point().getOutputConnector(), path.expressionBlockId(), 2));
}

// Each section written, read back into a second object over the same blocks, and written
// again: the same bytes and the same validity.
TEST(GuideMotion, SectionsRoundTripThroughTheirFiles)
{
    struct Case
    {
        const char* what;
        std::function<void(NewEmitter&)> setup;
        std::function<Base&(NewEmitter&)> section;
        std::function<std::unique_ptr<Base>(EmitterGuide&, Sl::RevisionLoader&)> load;
    };
    auto generation = [](NewEmitter& n) -> Base& { return n.guide.generation(); };
    auto loadGeneration = [](EmitterGuide& g, Sl::RevisionLoader& l)
    { return std::unique_ptr<Base>(new Generation(g, l)); };
    auto termination = [](NewEmitter& n) -> Base& { return n.guide.termination(); };
    auto loadTermination = [](EmitterGuide& g, Sl::RevisionLoader& l)
    { return std::unique_ptr<Base>(new Termination(g, l)); };
    auto change = [](NewEmitter& n) -> Base& { return n.guide.positionChange(); };
    auto loadChange = [](EmitterGuide& g, Sl::RevisionLoader& l)
    { return std::unique_ptr<Base>(new PositionChange(g, l)); };
    auto none = [](NewEmitter&) {};
    const Case cases[] = {
        {"periodic generation", none, generation, loadGeneration},
        {"distance generation",
         [](NewEmitter& n) { n.guide.generation().changeType(Generation::T_Distance); }, generation,
         loadGeneration},
        {"termination",
         [](NewEmitter& n)
         {
             n.guide.termination().addTerminator(TerminationType::Path);
             n.guide.termination().addTerminator(TerminationType::MaxLife);
         },
         termination, loadTermination},
        {"start position",
         [](NewEmitter& n) { n.guide.positionStart().enableApplyEmitterRotation(false); },
         [](NewEmitter& n) -> Base& { return n.guide.positionStart(); },
         [](EmitterGuide& g, Sl::RevisionLoader& l)
         { return std::unique_ptr<Base>(new PositionStart(g, l)); }},
        {"steady", [](NewEmitter& n) { n.steadyVelocity().enableApplyEmitterRotation(false); },
         change, loadChange},
        {"none", [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_None); },
         change, loadChange},
        {"path", [](NewEmitter& n) { n.guide.positionChange().changeType(PositionChange::T_Path); },
         change, loadChange},
        {"path without rotation",
         [](NewEmitter& n)
         {
             n.guide.positionChange().changeType(PositionChange::T_Path);
             n.path().enableApplyEmitterRotation(false);
         },
         change, loadChange},
        {"forces",
         [](NewEmitter& n)
         {
             n.guide.positionChange().changeType(PositionChange::T_Forces);
             n.forces().addForce(PositionChangeForces::FT_Noise);
             dynamic_cast<NoiseFromPosition&>(n.forces().force(1)).setSmoothness(7.0f);
         },
         change, loadChange},
        {"an invalid section",
         [](NewEmitter& n) { n.e->removeBlock(n.guide.generation().impl().getGeneratorBlockId()); },
         generation, loadGeneration},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        c.setup(n);
        Base& section = c.section(n);
        const Bytes saved = write([&](Sl::RevisionSaver& s) { section.save(s); });
        std::unique_ptr<Base> loaded;
        read(saved, saved.size(), [&](Sl::RevisionLoader& l) { loaded = c.load(n.guide, l); });
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->isValid(), section.isValid());
        EXPECT_EQ(write([&](Sl::RevisionSaver& s) { loaded->save(s); }), saved);
        // The copy reads the same blocks back.
        loaded->updateFromEmitter();
        section.updateFromEmitter();
        EXPECT_EQ(loaded->isValid(), section.isValid());
        EXPECT_EQ(write([&](Sl::RevisionSaver& s) { loaded->save(s); }),
                  write([&](Sl::RevisionSaver& s) { section.save(s); }));

        // Every cut of the file is a load error, never a crash.
        for (size_t size = 0; size < saved.size(); ++size)
            EXPECT_THROW(read(saved, size, [&](Sl::RevisionLoader& l) { c.load(n.guide, l); }),
                         Sl::Exception)
                << size;
    }
}

TEST(GuideMotion, WrongKindBytesAreDamagedData)
{
    // A section's group: valid, the start position's block id, then an impossible kind.
    struct Case
    {
        const char* what;
        uint32_t version;
        bool blockIdFirst;
        std::function<void(EmitterGuide&, Sl::RevisionLoader&)> load;
    } cases[] = {
        {"generation", Generation::kVersion, false,
         [](EmitterGuide& g, Sl::RevisionLoader& l) { Generation(g, l); }},
        {"movement", PositionChange::kVersion, false,
         [](EmitterGuide& g, Sl::RevisionLoader& l) { PositionChange(g, l); }},
        {"start position", PositionStart::kVersion, true,
         [](EmitterGuide& g, Sl::RevisionLoader& l) { PositionStart(g, l); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        const Bytes bytes = write(
            [&](Sl::RevisionSaver& s)
            {
                Sl::ScopedSaverGroup group(s, c.version);
                Sl::write("valid", s, true);
                if (c.blockIdFirst)
                    Sl::write("blockId", s, Uuid{});
                Sl::write("type", s, uint8_t(9));
            });
        EXPECT_THROW(read(bytes, bytes.size(), [&](Sl::RevisionLoader& l) { c.load(n.guide, l); }),
                     Sl::CorruptedDataException);
    }

    // A count of terminators beyond any real list.
    NewEmitter n;
    const Bytes bytes = write(
        [&](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group(s, Termination::kVersion);
            Sl::write("valid", s, true);
            Sl::write("count", s, uint32_t(1u << 30));
        });
    EXPECT_THROW(read(bytes, bytes.size(), [&](Sl::RevisionLoader& l) { Termination(n.guide, l); }),
                 Sl::CorruptedDataException);
}

// What a reflection must reproduce of the motion sections, one line per object: kinds,
// validity, block ids (the copy keeps the source's ids, so a mapped id equals its source),
// the form values as shown, and the kinds and numbers of the values.
class Facts
{
public:
    template <class... A>
    void operator()(const A&... items)
    {
        std::ostringstream out;
        ((out << items << ' '), ...);
        lines.push_back(out.str());
    }
    std::vector<std::string> lines;
};

std::string text(const boost::optional<BlockConnector>& c)
{
    std::ostringstream out;
    if (c)
        out << c->blockId << ':' << c->desc_.index_;
    return out.str();
}

std::string text(const boost::optional<Uuid>& id) { return id ? to_string(*id) : "none"; }

std::string text(const glm::vec3& v)
{
    std::ostringstream out;
    out << v.x << ',' << v.y << ',' << v.z;
    return out.str();
}

std::string text(const Path<glm::vec2>& path)
{
    std::ostringstream out;
    for (unsigned int i = 0; i < path.getNumKeys(); ++i)
        out << path.getKey(i).value.x << ',' << path.getKey(i).value.y << ';';
    return out.str();
}

void velocityFacts(Facts& f, const VelocityStart& v)
{
    f("velocity", int(v.type()), v.isValid(), v.velocityBlockId(), v.emitterAddition().get(),
      v.applyEmitterRotation().get(),
      // The defaults of new kinds come from the builder of the velocity's type.
      Value::typeName(v.point().value().builder().defaultType()));
}

Facts motionFacts(const EmitterGuide& g)
{
    Facts f;
    const Generation& generation = g.generation();
    f("generation", int(generation.type()), generation.isValid(), generation.impl().isValid(),
      generation.impl().getGeneratorBlockId());

    const Termination& termination = g.termination();
    f("termination", termination.isValid(), termination.terminatorsGuid());
    for (unsigned int i = 0; i < termination.numTerminators(); ++i)
    {
        const TerminationBase& item = termination.terminator(i);
        f("terminator", int(item.type()), item.id(), item.isValid());
        if (const auto* life = dynamic_cast<const TerminationMaxLife*>(&item))
            f("max life", life->terminatorBlockId(), life->expressionBlockId(),
              text(life->getNormTimeConnector()));
        if (const auto* path = dynamic_cast<const TerminationPath*>(&item))
            f("path", path->blockId(), text(path->pathRefl().get()));
    }

    const PositionStart& start = g.positionStart();
    f("start", start.isValid(), start.positionBlockId(), start.applyEmitterRotation().get(),
      text(start.getOutputConnector()));

    const PositionChange& change = g.positionChange();
    const PositionChangeBase& impl = change.impl();
    f("change", int(change.type()), change.isValid(), impl.isValid(),
      text(change.getPositionConnector()), text(change.getVelocityConnector()));
    if (const auto* steady = dynamic_cast<const PositionChangeSteady*>(&impl))
    {
        f("steady", steady->updaterBlockId(), steady->moveBlockId());
        velocityFacts(f, steady->velocity());
    }
    if (const auto* forces = dynamic_cast<const PositionChangeForces*>(&impl))
    {
        f("forces", forces->positionUpdaterBlockId(), forces->velocityUpdaterBlockId(),
          forces->forceMoveBlockId(), forces->forcesGuid(), forces->numForces());
        velocityFacts(f, forces->velocity());
        for (unsigned int i = 0; i < forces->numForces(); ++i)
        {
            const Base& force = forces->force(i);
            f("force", int(forces->forceType(i)), force.isValid(),
              text(force.getOutputConnector()));
            if (const auto* noise = dynamic_cast<const NoiseFromPosition*>(&force))
                f("noise", noise->noiseBlockId(), noise->smoothness().get(),
                  text(noise->animation().get()));
        }
    }
    if (const auto* path = dynamic_cast<const PositionChangePath*>(&impl))
        f("path", path->expressionBlockId(), path->conversionBlockId(),
          path->applyEmitterRotation());

    std::vector<Value*> values;
    for (Base* section : std::vector<Base*>{&g.generation(), &g.termination(), &g.positionStart(),
                                            &g.positionChange()})
        section->collectValues(values);
    for (const Value* value : values)
    {
        f("value", Value::typeName(value->type()), value->dimensions(), value->isValid(),
          value->implId(), text(value->paramId()), text(value->getOutputConnector()));
        std::vector<float> numbers;
        if (const auto* fixed = dynamic_cast<const Value::Fixed*>(&value->impl()))
            numbers = fixed->values();
        if (const auto* fixed = dynamic_cast<const Value::FixedProp*>(&value->impl()))
            numbers = fixed->values();
        for (float number : numbers)
            f("number", number);
    }
    return f;
}

// An emitter, a copy of it loaded from its file (same block ids and reflection ids, so each
// block of the source maps to the copy's block of the same id), and a reflected guide over the
// copy. The copy's own guide, read with it, stays out of the way.
struct Reflection
{
    System system;
    std::unique_ptr<Emitter> source = Emitter::create("s");
    EmitterGuide& guide = *source->guide();
    std::unique_ptr<Emitter> copy;
    std::unique_ptr<EmitterGuide> twin;

    void start()
    {
        const Bytes saved = saveEmitterPlain(*source);
        copy = loadEmitterPlain(saved.data(), saved.size(), system);
        twin = std::make_unique<EmitterGuide>(*copy, Base::EmptyReflectionTag());
        sync();
    }
    void sync() { twin->syncReflection(guide); }

    // Brings the copy's blocks and links up to the source's, as the emitter's own
    // synchronisation would: blocks that went or changed are replaced by copies of the
    // source's (with their ids), then the source's links are drawn.
    void mirror()
    {
        std::vector<Uuid> stale;
        for (const Block& block : copy->allBlocks())
        {
            const Block* theirs = source->findBlockById(block.getId());
            if (!theirs || saveBlockPlain(*theirs) != saveBlockPlain(block))
                stale.push_back(block.getId());
        }
        // A block may take others with it (a parameter its updaters).
        for (const Uuid& id : stale)
            if (copy->findBlockById(id))
                copy->removeBlock(id);
        for (const Block& block : source->allBlocks())
            if (!copy->findBlockById(block.getId()))
            {
                const Bytes bytes = saveBlockPlain(block);
                copy->addBlock(loadBlockPlain(bytes.data(), bytes.size()));
            }
        for (unsigned int i = 0; i < source->getNumLinks(); ++i)
            copy->createLink(source->getLink(i));
    }
};

// Each kind, reflected into a fresh twin and into one synced before the source changed its
// kinds (whose objects must then be replaced); either twin must also recognise the copy's
// graph as its source does.
TEST(GuideMotion, ReflectedGuideTakesEveryKind)
{
    struct Case
    {
        const char* what;
        std::function<void(EmitterGuide&)> setup;
    } cases[] = {
        {"periodic", [](EmitterGuide&) {}},
        {"distance", [](EmitterGuide& g) { g.generation().changeType(Generation::T_Distance); }},
        {"terminators",
         [](EmitterGuide& g)
         {
             g.termination().addTerminator(TerminationType::Path);
             g.termination().addTerminator(TerminationType::MaxLife);
             g.termination().removeTerminator(0);
         }},
        {"no movement",
         [](EmitterGuide& g) { g.positionChange().changeType(PositionChange::T_None); }},
        {"fixed start velocity",
         [](EmitterGuide& g)
         {
             dynamic_cast<PositionChangeSteady&>(g.positionChange().impl())
                 .velocity()
                 .changeType(VelocityStart::T_Fixed);
             g.positionStart().enableApplyEmitterRotation(false);
         }},
        {"forces",
         [](EmitterGuide& g)
         {
             g.positionChange().changeType(PositionChange::T_Forces);
             auto& forces = dynamic_cast<PositionChangeForces&>(g.positionChange().impl());
             forces.addForce(PositionChangeForces::FT_Noise);
             forces.addForce(PositionChangeForces::FT_Direction);
             forces.removeForce(0);
         }},
        {"path", [](EmitterGuide& g) { g.positionChange().changeType(PositionChange::T_Path); }},
        {"path without rotation",
         [](EmitterGuide& g)
         {
             g.positionChange().changeType(PositionChange::T_Path);
             dynamic_cast<PositionChangePath&>(g.positionChange().impl())
                 .enableApplyEmitterRotation(false);
         }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        Reflection r;
        r.start();
        EXPECT_EQ(motionFacts(*r.twin).lines, motionFacts(r.guide).lines);

        c.setup(r.guide);
        ASSERT_EQ(motionValidity(r.guide), std::vector<bool>(4, true));
        r.mirror();
        r.sync();
        const Facts expected = motionFacts(r.guide);
        EXPECT_EQ(motionFacts(*r.twin).lines, expected.lines);
        EmitterGuide fresh(*r.copy, Base::EmptyReflectionTag());
        fresh.syncReflection(r.guide);
        EXPECT_EQ(motionFacts(fresh).lines, expected.lines);
        // The twin only names the shared rotation: the guide took the source's count of it.
        const auto& theirs = r.guide.emitterRotationRefs();
        const auto& ours = r.twin->emitterRotationRefs();
        ASSERT_EQ(static_cast<bool>(ours), static_cast<bool>(theirs));
        if (theirs)
        {
            EXPECT_EQ(ours->refs_, theirs->refs_);
        }

        for (EmitterGuide* twin : {r.twin.get(), &fresh})
        {
            std::vector<Base*> sections = {&twin->generation(), &twin->termination(),
                                           &twin->positionStart(), &twin->positionChange()};
            for (Base* section : sections)
                section->updateFromEmitter();
            EXPECT_EQ(motionValidity(*twin), std::vector<bool>(4, true));
        }
    }
}

// Overrides made on the reflection stay through later syncs while the source's values move;
// objects of an unchanged kind stay the same objects, and a terminator is followed by its id.
TEST(GuideMotion, ReflectionKeepsItsOverridesAndObjects)
{
    Reflection r;
    r.guide.positionChange().changeType(PositionChange::T_Forces);
    dynamic_cast<PositionChangeForces&>(r.guide.positionChange().impl())
        .addForce(PositionChangeForces::FT_Noise);
    r.guide.termination().addTerminator(TerminationType::Path);
    r.start();

    auto noiseOf = [](const EmitterGuide& g) -> NoiseFromPosition&
    {
        return dynamic_cast<NoiseFromPosition&>(
            dynamic_cast<PositionChangeForces&>(g.positionChange().impl()).force(1));
    };
    auto rateOf = [](const EmitterGuide& g) -> Value::FixedProp&
    { return dynamic_cast<Value::FixedProp&>(g.generation().impl().value().rowValue(0).impl()); };
    NoiseFromPosition& noise = noiseOf(*r.twin);
    Value::FixedProp& rate = rateOf(*r.twin);
    const TerminationBase* pathTerminator = &r.twin->termination().terminator(1);
    noise.setSmoothness(30.0f);
    rate.changeValue(0, 80.0f);

    noiseOf(r.guide).setSmoothness(7.0f);
    rateOf(r.guide).changeValue(0, 60.0f);
    r.guide.termination().removeTerminator(0);
    r.mirror();
    r.sync();

    EXPECT_EQ(&noiseOf(*r.twin), &noise);
    EXPECT_EQ(noise.smoothness().get(), 30.0f);
    EXPECT_EQ(noise.smoothness().source(), 7.0f);
    EXPECT_EQ(&rateOf(*r.twin), &rate);
    EXPECT_EQ(rate.valueRefl().get(), std::vector<float>{80.0f});
    EXPECT_EQ(rate.valueRefl().source(), std::vector<float>{60.0f});
    ASSERT_EQ(r.twin->termination().numTerminators(), 1u);
    EXPECT_EQ(&r.twin->termination().terminator(0), pathTerminator);

    // A change of kind in the source replaces the object, and with it the override (each
    // change of the source is synced, as the emitter's synchronisation does).
    r.guide.positionChange().changeType(PositionChange::T_None);
    r.mirror();
    r.sync();
    EXPECT_TRUE(dynamic_cast<PositionChangeNone*>(&r.twin->positionChange().impl()));
    r.guide.positionChange().changeType(PositionChange::T_Forces);
    dynamic_cast<PositionChangeForces&>(r.guide.positionChange().impl())
        .addForce(PositionChangeForces::FT_Noise);
    r.mirror();
    r.sync();
    EXPECT_EQ(noiseOf(*r.twin).smoothness().get(), noiseOf(r.guide).smoothness().get());
    EXPECT_FALSE(noiseOf(*r.twin).smoothness().isOverridden());
}

}  // namespace
