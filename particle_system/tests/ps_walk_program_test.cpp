// The update's walk by programs of steps (through the working area, on the records, by batches
// of particles) gives byte for byte what the general walk gives, one virtual call per operation:
// each effect of the table runs both ways and the records of its particles and meshes compare
// equal, and each takes the walk it is meant to.

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_system.h"
#include "ps_determinism_dump.h"
#include "ps_functions_effect.h"
#include "ps_test_runtime.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;
using Walk = Ps::EmitterInst::EnumWalk;

// What the plain emitters share: a stream of particles with a start, a velocity, values of the
// emitter and the times copied into parameters and updated each frame, a position that follows
// the emitter, and an end after `life` seconds.
struct Plain
{
    uint8_t life, epos, sys, drift, age, posUpd;
};

Plain plainEmitter(EmitterWriter& e, float rate, float life)
{
    Plain p{};
    e.generatorPeriodic(Ext(rate), 0.0f, 2);  // 0
    p.life = e.parameterLifetime();
    const uint8_t start = e.parameterPositionIniter(true, Ext(glm::vec3(0.0f, 1.0f, 0.0f)));
    const uint8_t vel = e.parameterVelocityIniter(Ext(glm::vec3(1.0f, 2.0f, 0.0f)), true, true);
    p.epos = e.globEmitterPos();
    const uint8_t edir = e.globEmitterDir();
    const uint8_t erot = e.globEmitterRot();
    const uint8_t time = e.globTime();
    p.sys = e.globSystemTime();
    p.drift = e.parameter(In{start, 0}, Ps::VT_Vec3);
    p.age = e.parameter(In{p.sys, 0}, Ps::VT_Float);
    const uint8_t driftUpd = e.parameterUpdater(Ps::VT_Vec3, p.drift, In{p.epos, 0});
    const uint8_t ageUpd = e.parameterUpdater(Ps::VT_Float, p.age, In{p.life, 0});
    p.posUpd = e.parameterPositionUpdater(In{p.drift, 0});
    e.terminatorLess(In{p.life, 0}, Ext(life));
    e.initBoth({start, vel, time, p.drift, p.age});
    e.updateChain({p.life, p.epos, edir, erot, time, p.sys, driftUpd, ageUpd, p.posUpd});
    return p;
}

std::vector<uint8_t> plainEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(3);
    plainEmitter(effect.emitter().maxParticles(400), 300.0f, 0.8f);
    return effect.bytes();
}

// The number of particles changes during the walk: its publisher runs for every particle.
std::vector<uint8_t> countingEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(5);
    EmitterWriter& e = effect.emitter().maxParticles(300);
    const Plain p = plainEmitter(e, 240.0f, 0.6f);
    const uint8_t count = e.globNumParticles();
    const uint8_t countUpd = e.parameterUpdater(Ps::VT_Float, p.age, In{count, 0});
    e.termChain({count, countUpd});
    return effect.bytes();
}

// A terminator run through its operation, and a pool too small for the stream: the working area.
std::vector<uint8_t> pathEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(6);
    EmitterWriter& e = effect.emitter().maxParticles(120);
    const Plain p = plainEmitter(e, 300.0f, 0.9f);
    e.terminatorPath({{{1, glm::vec2(0.0f, 3.0f), glm::vec2(0.6f, 0.8f), 2.0f}}});
    (void)p;
    return effect.bytes();
}

// A parent whose particles each run a child emitter and pass it a value: the parent walks
// through the working area (its children are updated on the way, and wait for the end of
// their particles), the children in batches.
std::vector<uint8_t> treeEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(9);
    EmitterWriter& child = effect.emitter();  // 0
    plainEmitter(child, 120.0f, 0.25f);
    child.globParam(Ext(1.0f));
    child.maxParticles(40).standalone(false);

    EmitterWriter& parent = effect.emitter();  // 1
    const Plain p = plainEmitter(parent, 30.0f, 0.5f);
    const uint8_t initer = parent.parameterEmitterIniter(0, false);
    const uint8_t runner = parent.parameterEmitter(0, false);
    const uint8_t param = parent.parameterEmitterParam(Ps::VT_Float, In{p.sys, 0}, 0, 15, 0);
    parent.initBoth({initer}).updateChain({p.life, p.epos, p.sys, runner, param, p.posUpd});
    parent.maxParticles(30).connect(0, false);
    return effect.bytes();
}

// A flight as the model's guide makes it: the position moved by the velocity each frame
// (FuncMove), kept in a parameter and shown. With `readFirst`, an updater reads the move's
// output before the move runs: it sees the previous particle's.
std::vector<uint8_t> movingEffect(bool readFirst)
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(readFirst ? 12 : 11);
    EmitterWriter& e = effect.emitter().maxParticles(300);
    e.generatorPeriodic(Ext(360.0f));
    const uint8_t life = e.parameterLifetime();
    const uint8_t start = e.parameterPositionIniter(true, Ext(glm::vec3(0.0f, 1.0f, 0.0f)));
    const uint8_t vel = e.parameterVelocityIniter(Ext(glm::vec3(1.0f, 2.0f, 0.5f)), true, true);
    const uint8_t pos = e.parameter(In{start, 0}, Ps::VT_Vec3);
    const uint8_t move = e.op(Ps::OF_FuncMoveVec3,
                              [&](Sl::Saver& s)
                              {
                                  PsTest::writeIn(s, "input", In{pos, 0});
                                  PsTest::writeExt(s, "speed", In{vel, 0});
                              });
    const uint8_t upd = e.parameterUpdater(Ps::VT_Vec3, pos, In{move, 0});
    const uint8_t late = e.parameterUpdater(Ps::VT_Vec3, start, In{move, 0});
    const uint8_t show = e.parameterPositionUpdater(In{pos, 0});
    e.terminatorLess(In{life, 0}, Ext(0.7f));
    e.initBoth({start, vel, pos});
    if (readFirst)
        e.updateChain({life, late, move, upd, show});
    else
        e.updateChain({life, move, upd, late, show});
    return effect.bytes();
}

struct Case
{
    std::string name;
    std::vector<uint8_t> effect;
    Walk walk;  // of the first standalone instance
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

std::vector<Case> cases()
{
    return {
        {"plain", plainEffect(), Ps::EmitterInst::WK_Batches},
        {"moving", movingEffect(false), Ps::EmitterInst::WK_Batches},
        {"moving_read_first", movingEffect(true), Ps::EmitterInst::WK_InPlace},
        {"counting", countingEffect(), Ps::EmitterInst::WK_InPlace},
        {"path", pathEffect(), Ps::EmitterInst::WK_WorkingArea},
        {"functions", PsTest::functionsEffect(7), Ps::EmitterInst::WK_WorkingArea},
        {"tree", treeEffect(), Ps::EmitterInst::WK_WorkingArea},
    };
}

class PsWalkProgram : public ::testing::TestWithParam<Case>
{
protected:
    void TearDown() override { Ps::EmitterInst::setWalkPrograms(true); }
};

std::vector<uint8_t> record(const Ps::System& system, bool programs,
                            PsDeterminism::Summary& summary)
{
    Ps::EmitterInst::setWalkPrograms(programs);
    std::vector<uint8_t> out = PsDeterminism::runAndRecord(system, 300, 30, &summary);
    Ps::EmitterInst::setWalkPrograms(true);
    return out;
}

TEST_P(PsWalkProgram, GivesWhatTheGeneralWalkGives)
{
    const Case& c = GetParam();
    const std::unique_ptr<Ps::MemManagedSystemShell> shell = PsTest::load(c.effect);
    PsDeterminism::Summary general;
    PsDeterminism::Summary programs;
    const std::vector<uint8_t> expected = record(shell->getSystem(), false, general);
    const std::vector<uint8_t> actual = record(shell->getSystem(), true, programs);
    // The records are worth comparing: particles lived and ended.
    EXPECT_GT(general.maxParticles, 20u);
    ASSERT_EQ(expected.size(), actual.size());
    EXPECT_TRUE(expected == actual);
}

TEST_P(PsWalkProgram, TakesItsWalk)
{
    const Case& c = GetParam();
    PsTest::Running r = PsTest::run(c.effect);
    Ps::EmitterInst& inst = r.get().getEmitterInst(0);
    EXPECT_EQ(inst.getWalk(), c.walk);
    Ps::EmitterInst::setWalkPrograms(false);
    EXPECT_EQ(inst.getWalk(), Ps::EmitterInst::WK_General);
}

INSTANTIATE_TEST_SUITE_P(Effects, PsWalkProgram, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<Case>& info)
                         { return info.param.name; });

TEST(PsWalkProgramTree, ChildrenWalkInBatches)
{
    PsTest::Running r = PsTest::run(treeEffect());
    for (int f = 0; f < 30; ++f)
        r.get().updateFrame(glm::vec3(0.1f * static_cast<float>(f), 0.0f, 0.0f), PsTest::kIdentity);
    Ps::EmitterInst& parent = r.get().getEmitterInst(0);
    ASSERT_TRUE(parent.getHead());
    const Ps::EmitterInst& child =
        *parent.getParticleInfoAt(*parent.getHead()).connectedEmitters[0];
    EXPECT_GT(child.getNumActiveParticles(), 0u);
    EXPECT_EQ(child.getWalk(), Ps::EmitterInst::WK_Batches);
}

}  // namespace
