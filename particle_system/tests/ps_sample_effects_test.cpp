// The sample effects shipped in samples/effects: written here with the test writer, so that
// they always match the current compiled format. The test checks that each one plays and
// draws; with PS_WRITE_SAMPLES naming a folder it also writes them there:
//   PS_WRITE_SAMPLES=samples/effects build/bin/ps_tests --gtest_filter='PsSampleEffects.*'

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// Sparks shot in random directions from the emitter, living two seconds, drawn additively.
std::vector<uint8_t> sparks()
{
    EffectWriter effect;
    effect.fps(30.0f).fixedSeed(7);
    effect.material(Ps::MAT_Add);
    effect.texture("spark.png");
    effect.renderStyle(0, {0});
    effect.mesh(120, Ps::MF_Quads, false, true);
    effect.renderCalls(1);
    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(50.0f));
    const uint8_t direction = e.op(Ps::OF_FuncRandomVec3,
                                   [](Sl::Saver& s) { PsTest::writeExt(s, "radius", Ext(30.0f)); });
    const uint8_t velocity = e.parameterVelocityIniter(Ext(In{direction, 0}), false, false);
    const uint8_t position = e.parameterPositionIniter(false, Ext(glm::vec3(0.0f)));
    const uint8_t moved = e.op(Ps::OF_FuncMoveVec3,
                               [=](Sl::Saver& s)
                               {
                                   PsTest::writeIn(s, "input", In{position, 0});
                                   PsTest::writeExt(s, "speed", Ext(In{velocity, 0}));
                               });
    const uint8_t keep = e.parameterUpdater(Ps::VT_Vec3, position, In{moved, 0});
    const uint8_t place = e.parameterPositionUpdater(Ext(In{position, 0}));
    const uint8_t life = e.parameterLifetime();
    e.terminatorLess(In{life, 0}, Ext(2.0f));
    PsTest::QuadsFields quads;
    quads.size = Ext(6.0f);
    quads.color = Ext(glm::vec3(1.0f, 0.6f, 0.2f));
    quads.alpha = Ext(0.8f);
    PsTest::constructorQuads(e, quads);
    e.initBoth({direction, velocity, position})
        .updateChain({moved, keep, place, life})
        .maxParticles(120);
    return effect.bytes();
}

struct Sample
{
    const char* name;
    std::vector<uint8_t> bytes;
};

std::vector<Sample> samples() { return {{"sparks", sparks()}}; }

TEST(PsSampleEffects, PlayAndDraw)
{
    for (const Sample& sample : samples())
    {
        SCOPED_TRACE(sample.name);
        PsTest::Running r = PsTest::run(sample.bytes);
        for (int frame = 0; frame < 90; ++frame)
            r.get().update(glm::vec3(0.0f), PsTest::kIdentity, 1.0f / 30.0f);
        EXPECT_GT(r.get().getStats().numParticles, 50u);
        r.get().construct(glm::vec3(0, 0, -1), glm::vec3(0, 1, 0), glm::vec3(1, 0, 0),
                          std::nullopt);
        EXPECT_GT(r.get().getNumRenderCalls(), 0u);
    }
    const char* folder = std::getenv("PS_WRITE_SAMPLES");
    if (!folder)
        return;
    for (const Sample& sample : samples())
    {
        std::ofstream out(std::string(folder) + "/" + sample.name + ".bin", std::ios::binary);
        out.write(reinterpret_cast<const char*>(sample.bytes.data()),
                  static_cast<std::streamsize>(sample.bytes.size()));
        ASSERT_TRUE(out.good()) << sample.name;
    }
}

}  // namespace
