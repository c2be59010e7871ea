// Writes the seed corpus of the compiled-effect reader's fuzz target when PS_WRITE_FUZZ_SEEDS
// names a folder (e.g. fuzz/corpus/ps_reader); otherwise checks that the seeds load.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

std::vector<std::pair<std::string, std::vector<uint8_t>>> seeds()
{
    std::vector<std::pair<std::string, std::vector<uint8_t>>> result;
    {
        EffectWriter effect;
        effect.fps(30.0f);
        result.emplace_back("empty", effect.bytes());
    }
    {
        EffectWriter effect;
        effect.fps(20.0f).fixedSeed(3).presim(0.2f);
        effect.material(0).texture("a.png");
        effect.renderStyle(0, {0});
        effect.mesh(20, 0, true, true);
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(30.0f), 0.5f, 2, 3.0f, 40u);
        const uint8_t life = e.parameterLifetime();
        const uint8_t pos = e.parameterPositionIniter(true, Ext(glm::vec3(0.0f, 1.0f, 0.0f)));
        const uint8_t upd = e.parameterPositionUpdater(In{pos, 0});
        e.terminatorLess(In{life, 0}, Ext(0.5f));
        e.initBoth({pos}).updateChain({life, upd}).maxParticles(20).sorting(2);
        result.emplace_back("periodic", effect.bytes());
    }
    {
        EffectWriter effect;
        effect.fps(25.0f).noSeed();
        EmitterWriter& child = effect.emitter();
        child.generatorDistance(Ext(0.1f), 1.0f, 1);
        const uint8_t cl = child.parameterLifetime();
        child.terminatorLess(In{cl, 0}, Ext(0.2f));
        child.globParam(Ext(glm::vec2(1.0f, 2.0f)));
        child.updateChain({cl}).maxParticles(6).standalone(false);
        EmitterWriter& parent = effect.emitter();
        parent.generatorPeriodic(Ext(10.0f));
        const uint8_t life = parent.parameterLifetime();
        const uint8_t epos = parent.globEmitterPos();
        const uint8_t v = parent.parameterVelocityIniter(Ext(In{epos, 0}), true, false);
        const uint8_t upd = parent.parameterUpdater(Ps::VT_Vec3, v, In{epos, 0});
        const uint8_t initer = parent.parameterEmitterIniter(0, true);
        const uint8_t runner = parent.parameterEmitter(0, true);
        const uint8_t two = parent.funcDistrib(Ext(glm::vec2(3.0f, 4.0f)));
        const uint8_t param = parent.parameterEmitterParam(Ps::VT_Vec2, In{two, 0}, 0, 3, 0);
        parent.terminatorLess(In{life, 0}, Ext(0.3f));
        parent.terminatorPath({{{0, glm::vec2(0.0f), glm::vec2(0.6f, 0.8f), 3.0f}},
                               {{1, glm::vec2(1.0f), glm::vec2(0.6f, 0.8f), 1.0f},
                                {2, glm::vec2(-1.0f), glm::vec2(0.6f, 0.8f), 1.0f}}});
        parent.initBoth({epos, v, initer}).updateChain({life, epos, upd, runner, param});
        parent.maxParticles(5).connect(0, true).sorting(1);
        result.emplace_back("tree", effect.bytes());
    }
    {
        EffectWriter effect;
        effect.fps(60.0f).fixedSeed(8);
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(100.0f), 0.0f, 5);
        const uint8_t t = e.globTime();
        const uint8_t s = e.globSystemTime();
        const uint8_t n = e.globNumParticles();
        const uint8_t r = e.globEmitterRot();
        const uint8_t d = e.globEmitterDir();
        const uint8_t pf = e.parameter(In{t, 0}, Ps::VT_Float);
        const uint8_t pq = e.parameter(In{r, 0}, Ps::VT_Quat);
        const uint8_t pv = e.parameter(In{d, 0}, Ps::VT_Vec3);
        e.parameterUpdater(Ps::VT_Float, pf, In{s, 0});
        e.initChain({t, r, d, pf, pq, pv}).initBurstChain({n}).updateChain({s, 8});
        e.generatorChain({t}).maxParticles(50);
        result.emplace_back("globals", effect.bytes());
    }
    return result;
}

TEST(PsFuzzSeeds, LoadAndRun)
{
    for (const auto& [name, bytes] : seeds())
    {
        SCOPED_TRACE(name);
        PsTest::Running r = PsTest::run(bytes);
        uint32_t seen = 0;
        for (int f = 0; f < 20; ++f)
        {
            r.get().update(glm::vec3(0.1f * f, 0.0f, 0.0f), PsTest::kIdentity, 0.05f);
            seen = std::max(seen, r.get().getStats().numParticles);
        }
        EXPECT_EQ(seen > 0, r.get().getNumEmitterInsts() > 0);
    }
    const char* folder = std::getenv("PS_WRITE_FUZZ_SEEDS");
    if (!folder)
        return;
    for (const auto& [name, bytes] : seeds())
    {
        std::ofstream out(std::string(folder) + "/" + name + ".bin", std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        ASSERT_TRUE(out.good()) << name;
    }
}

}  // namespace
