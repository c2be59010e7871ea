// The preview's host of an effect: its own frame loop over the runtime, its
// statistics, and its drawing.
#include <gtest/gtest.h>

#include <memory>

#include <QColor>
#include <QImage>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_editor/preview/ple_preview_offscreen_renderer.h"
#include "particle_layout_editor/preview/ple_preview_particles.h"
#include "particle_layout_editor/preview/ple_preview_texture.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

using Ple::Preview::OffscreenRenderer;
using Ple::Preview::Particles;

// 30 frames a second, 10 particles a second, each living 1.5 seconds.
std::vector<uint8_t> fountain()
{
    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(9).material(Ps::MAT_Normal);
    effect.texture("none.png");
    effect.renderStyle(0, {0});
    effect.mesh(20, Ps::MF_Quads, true, true);
    effect.renderCalls(20);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(10.0f));
    const uint8_t life = emitter.parameterLifetime();
    emitter.terminatorLess(PsTest::In{life, 0}, PsTest::Ext(1.5f));
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(8.0f);
    PsTest::constructorQuads(emitter, fields);
    emitter.updateChain({life}).maxParticles(20);
    return effect.bytes();
}

struct Fixture
{
    Ps::MemManagedContext context;
    std::shared_ptr<Ps::MemManagedSystemShell> shell;
    std::unique_ptr<OffscreenRenderer> renderer;
    std::unique_ptr<Particles> particles;

    bool start()
    {
        const std::vector<uint8_t> bytes = fountain();
        shell = std::make_shared<Ps::MemManagedSystemShell>(
            bytes.data(), static_cast<Ps::uint32>(bytes.size()), context.get());
        try
        {
            renderer.reset(new OffscreenRenderer);
        }
        catch (const std::exception&)
        {
            return false;
        }
        renderer->makeCurrent();
        particles.reset(
            new Particles(shell, {nullptr}, glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f)));
        return true;
    }

    ~Fixture()
    {
        if (renderer)
            renderer->makeCurrent();
        particles.reset();
        renderer.reset();
    }
};

TEST(PleParticlesGl, SixteenMillisecondTicksRunAFrameEverySecondTick)
{
    Fixture f;
    if (!f.start())
        GTEST_SKIP() << "no OpenGL context";
    const float frame = f.shell->getSystem().getFrameTime();
    int frames = 0;
    float lastTime = f.particles->systemInst().getTime();
    for (int tick = 0; tick < 60; ++tick)
    {
        f.particles->update(0.016f);
        const float time = f.particles->systemInst().getTime();
        if (time != lastTime)
            ++frames;
        lastTime = time;
        // The accumulator never holds more than one frame.
        EXPECT_LE(f.particles->getSubFrameTime(), frame);
    }
    // 60 ticks of 16 ms are 0.96 s: 28 frames of 1/30 s fit.
    EXPECT_EQ(28, frames);
    EXPECT_NEAR(28.0f * frame, f.particles->systemInst().getTime(), 1e-4f);
}

TEST(PleParticlesGl, StatisticsWaitForTheFirstWholeSecond)
{
    Fixture f;
    if (!f.start())
        GTEST_SKIP() << "no OpenGL context";
    f.particles->update(0.9f);
    EXPECT_FALSE(f.particles->getLastSecondStats());
    EXPECT_EQ(26u, f.particles->getFillingStats().particles.count);
    f.particles->update(0.2f);
    ASSERT_TRUE(f.particles->getLastSecondStats());
    const Particles::Stats& stats = *f.particles->getLastSecondStats();
    ASSERT_EQ(1u, stats.emitters.size());
    EXPECT_GE(stats.particles.count, 30u);
    EXPECT_EQ(stats.particles.max, stats.emitters[0].particles.max);
    EXPECT_EQ(1u, stats.emitters[0].instances.max);
    EXPECT_LE(stats.particles.min, stats.particles.max);
}

TEST(PleParticlesGl, DrawsItsParticlesAndRestarts)
{
    Fixture f;
    if (!f.start())
        GTEST_SKIP() << "no OpenGL context";
    f.particles->update(1.0f);
    OffscreenRenderer::View view;
    view.width = 32;
    view.height = 32;
    f.renderer->makeCurrent();
    QImage image = f.renderer->render(view, {f.particles.get()});
    // No texture is bound to the style: what the quad shows depends on the
    // driver, but the instance built its geometry and one call.
    EXPECT_EQ(1u, f.particles->systemInst().getNumRenderCalls());
    EXPECT_EQ(2u * f.particles->systemInst().getEmitterInst(0).getNumActiveParticles(),
              f.particles->getFillingStats().triangles.current);

    f.renderer->makeCurrent();
    f.particles->restart();
    EXPECT_EQ(0.0f, f.particles->systemInst().getTime());
    image = f.renderer->render(view, {f.particles.get()});
    EXPECT_EQ(0u, f.particles->systemInst().getNumRenderCalls());
    const QColor c = QColor::fromRgba(image.pixel(16, 16));
    EXPECT_EQ(0, c.red() + c.green() + c.blue());
}

}  // namespace
