#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "particle_system/ps_emitter.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system_factory.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// An effect with a bit of everything the core reads.
EffectWriter richEffect()
{
    EffectWriter effect;
    effect.revision(std::vector<uint8_t>(16, 0xAB)).fps(25.0f).fixedSeed(77).presim(0.1f);
    effect.material(0).material(1);
    effect.texture("smoke.png");
    effect.texture("");
    effect.renderStyle(1, {0});
    effect.renderStyle(300, {1, 0});
    effect.mesh(10, 0, true, true);
    effect.mesh(10, 1, false, true);
    effect.renderCalls(20);

    EmitterWriter& child = effect.emitter();
    child.generatorDistance(Ext(0.5f), 0.0f, 2);
    child.globParam(Ext(glm::quat(1.0f, 0.0f, 0.0f, 0.0f)));
    child.maxParticles(3).standalone(false);

    EmitterWriter& parent = effect.emitter();
    const uint8_t gen = parent.generatorPeriodic(Ext(20.0f), 0.5f, 3, 10.0f, std::nullopt);
    const uint8_t life = parent.parameterLifetime();
    const uint8_t pos = parent.parameterPositionIniter(true, Ext(glm::vec3(1.0f, 0.0f, 0.0f)));
    const uint8_t vel =
        parent.parameterVelocityIniter(Ext(glm::vec3(0.0f, 1.0f, 0.0f)), true, false);
    const uint8_t time = parent.globTime();
    const uint8_t sys = parent.globSystemTime();
    const uint8_t count = parent.globNumParticles();
    const uint8_t epos = parent.globEmitterPos();
    const uint8_t edir = parent.globEmitterDir();
    const uint8_t erot = parent.globEmitterRot();
    const uint8_t p2 = parent.parameter(Ext(glm::vec2(1.0f, 2.0f)), Ps::VT_Vec2);
    const uint8_t upd = parent.parameterUpdater(Ps::VT_Vec3, vel, In{epos, 0});
    const uint8_t posUpd = parent.parameterPositionUpdater(In{pos, 0});
    const uint8_t initer = parent.parameterEmitterIniter(0, false);
    const uint8_t runner = parent.parameterEmitter(0, false);
    const uint8_t param = parent.parameterEmitterParam(Ps::VT_Quat, In{erot, 0}, 0, 1, 0);
    const uint8_t term = parent.terminatorLess(In{life, 0}, Ext(In{gen, 1}));
    const uint8_t path =
        parent.terminatorPath({{{0, glm::vec2(0.0f), glm::vec2(0.6f, 0.8f), 5.0f}},
                               {{1, glm::vec2(1.0f), glm::vec2(0.6f, 0.8f), 1.0f},
                                {2, glm::vec2(-1.0f), glm::vec2(0.6f, 0.8f), 1.0f}}});
    const uint8_t distrib = parent.funcDistrib(Ext(glm::vec3(4.0f)));
    parent.generatorChain({time});
    parent.initChain({pos, vel, p2, initer, count});
    parent.initBurstChain({pos, initer});
    parent.updateChain({life, epos, edir, erot, upd, posUpd, runner, param, sys});
    parent.termChain({distrib});
    parent.maxParticles(4).sorting(2).connect(0, true);
    (void)term;
    (void)path;
    return effect;
}

TEST(PsLoader, EffectWithoutEmittersIsItsHeadAndTail)
{
    EffectWriter effect;
    effect.fps(30.0f).noSeed();
    const std::vector<uint8_t> bytes = effect.bytes();
    std::vector<uint8_t> expected = {0x04, 0x02, 0x00, 0, 0, 0, 0, 0, 0};
    const float fps = 30.0f;
    expected.resize(expected.size() + 4);
    std::memcpy(&expected[9], &fps, 4);
    expected.push_back(0x02);  // the seed group: one byte, seed type 1
    expected.push_back(0x01);
    expected.resize(expected.size() + 4, 0);  // presim_time 0
    EXPECT_EQ(bytes, expected);
    PsTest::Running r = PsTest::run(bytes);
    EXPECT_EQ(r.get().getSystem().getNumEmitters(), 0u);
    EXPECT_FALSE(r.get().getSystem().retrieveSeed());
    EXPECT_EQ(r.get().getSystem().getFrameTime(), 1.0f / 30.0f);
}

TEST(PsLoader, TablesAndTail)
{
    const std::vector<uint8_t> bytes = richEffect().bytes();
    std::unique_ptr<Ps::MemManagedSystemShell> shell = PsTest::load(bytes);
    const Ps::System& system = shell->getSystem();
    EXPECT_EQ(system.getNumMaterials(), 2u);
    EXPECT_EQ(system.getMaterial(1), Ps::MAT_Add);
    ASSERT_EQ(system.getNumTextures(), 2u);
    EXPECT_STREQ(system.getTexture(0), "smoke.png");
    EXPECT_STREQ(system.getTexture(1), "");
    ASSERT_EQ(system.getNumRenderStyles(), 2u);
    EXPECT_EQ(system.getRenderStyle(1).materialIndex, 300u);
    EXPECT_EQ(system.getRenderStyle(1).numTexChannels, 2u);
    EXPECT_EQ(system.getRenderStyle(1).textureIndices[0], 1u);
    EXPECT_EQ(system.getNumMeshes(), 2u);
    EXPECT_EQ(system.getMeshFactory(1).getMaxNumParticles(), 10u);
    EXPECT_FALSE(system.getMeshFactory(1).hasNormals());
    EXPECT_EQ(system.getMaxNumRenderCalls(), 20u);
    EXPECT_EQ(system.getFrameTime(), 1.0f / 25.0f);
    EXPECT_EQ(system.retrieveSeed(), std::optional<uint32_t>(77));
    EXPECT_EQ(system.getPresimTime(), 0.1f);
    // A u16 of 300 stands as 0xAC 0x02.
    const uint8_t packed300[] = {0xAC, 0x02};
    EXPECT_NE(std::search(bytes.begin(), bytes.end(), packed300, packed300 + 2), bytes.end());
    // Texture frames start at the identity and can be moved by the host.
    const float a[2] = {0.5f, 0.0f};
    const float b[2] = {0.0f, 0.5f};
    const float c[2] = {0.5f, 0.0f};
    shell->getSystem().setTextureFrame(0, a, b, c);
    EXPECT_EQ(system.getTextureFrame(0).map(1.0f, 1.0f), glm::vec2(1.0f, 0.5f));
    EXPECT_EQ(system.getTextureFrame(1).map(1.0f, 1.0f), glm::vec2(1.0f, 1.0f));
}

TEST(PsLoader, EmittersChainsAndLayout)
{
    std::unique_ptr<Ps::MemManagedSystemShell> shell = PsTest::load(richEffect().bytes());
    const Ps::System& system = shell->getSystem();
    ASSERT_EQ(system.getNumEmitters(), 2u);
    const Ps::Emitter& child = system.getEmitter(0);
    const Ps::Emitter& parent = system.getEmitter(1);
    EXPECT_EQ(system.getEmitterIndex(parent), 1u);
    EXPECT_EQ(parent.getIndex(), 1u);
    EXPECT_FALSE(child.isStandalone());
    EXPECT_EQ(parent.getNumOperations(), 19u);
    EXPECT_EQ(parent.getNumTerminators(), 2u);
    EXPECT_EQ(&parent.getGenerator(), &parent.getOperation(0));
    EXPECT_EQ(parent.getConstructor(), nullptr);
    EXPECT_EQ(parent.getSorting(), Ps::ES_DepthCorrect);
    ASSERT_EQ(parent.getNumConnectedEmitters(), 1u);
    EXPECT_EQ(parent.getConnectedEmitter(0).emitter, &child);
    EXPECT_TRUE(parent.getConnectedEmitter(0).drawBefore);
    // Its maximum plus the child's deep value times the maximum.
    EXPECT_EQ(parent.getMaxNumParticlesDeep(), 4u + 3u * 4u);

    // The chains in file order, as operation pointers.
    const Ps::Emitter::Chain& update = parent.getChain(Ps::Emitter::CH_Update);
    ASSERT_EQ(update.length, 9u);
    EXPECT_EQ(update.operations[0], &parent.getOperation(1));
    EXPECT_EQ(update.operations[8], &parent.getOperation(5));
    EXPECT_EQ(parent.getChain(Ps::Emitter::CH_Generator).operations[0], &parent.getOperation(4));
    EXPECT_EQ(parent.getChain(Ps::Emitter::CH_InitBurst).length, 2u);
    EXPECT_EQ(parent.getChain(Ps::Emitter::CH_Term).operations[0], &parent.getOperation(18));
    EXPECT_EQ(parent.getChain(Ps::Emitter::CH_Construct).length, 0u);

    // Displacements: in list order; operations without data get none.
    uint32_t staticTotal = 0;
    uint32_t dynamicTotal = 0;
    for (uint32_t i = 0; i < parent.getNumOperations(); ++i)
    {
        const Ps::Operation& op = parent.getOperation(i);
        if (op.getEmitterDataSize())
        {
            EXPECT_EQ(op.getEmitterDataDisplace(), std::optional<uint32_t>(staticTotal));
            staticTotal += op.getEmitterDataSize();
        }
        else
        {
            EXPECT_FALSE(op.getEmitterDataDisplace());
        }
        if (op.getParticleDataSize())
        {
            EXPECT_EQ(op.getParticleDataDisplace(), std::optional<uint32_t>(dynamicTotal));
            dynamicTotal += op.getParticleDataSize();
        }
        else
        {
            EXPECT_FALSE(op.getParticleDataDisplace());
        }
    }
    EXPECT_EQ(parent.getStaticDataSize(), staticTotal);
    EXPECT_EQ(parent.getDynamicDataSize(), dynamicTotal);
    EXPECT_FALSE(parent.getOperation(14).getParticleDataDisplace());  // the emitter's runner
    EXPECT_GT(dynamicTotal, 0u);
}

TEST(PsLoader, RichEffectRuns)
{
    PsTest::Running r = PsTest::run(richEffect().bytes());
    for (int f = 0; f < 50; ++f)
        r.get().update(glm::vec3(0.1f * f, 0.0f, 0.0f), PsTest::kIdentity, 0.03f);
    Ps::RenderConfig config;
    config.emitters.resize(2);
    for (auto& e : config.emitters)
        e.renderPositions = true;
    r.get().construct(glm::vec3(0, 0, 1), glm::vec3(0, 1, 0), glm::vec3(1, 0, 0), config);
    EXPECT_GT(r.get().getStats().numParticles, 0u);
    EXPECT_GT(r.get().getPositionsMesh().getNumVertices(), 0u);
}

// Every prefix of a valid effect is refused with a loader exception or an assertion.
TEST(PsLoader, TruncatedStreamsAreRefused)
{
    const std::vector<uint8_t> bytes = richEffect().bytes();
    for (size_t n = 0; n < bytes.size(); ++n)
    {
        bool refused = false;
        try
        {
            Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(n),
                                            PsTest::context());
        }
        catch (const Sl::Exception&)
        {
            refused = true;
        }
        catch (const Debug::CheckException&)
        {
            refused = true;
        }
        EXPECT_TRUE(refused) << n;
    }
}

template <class Exception>
void expectRefused(const std::vector<uint8_t>& bytes)
{
    EXPECT_THROW(Ps::MemManagedSystemShell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                           PsTest::context()),
                 Exception);
}

TEST(PsLoader, BrokenEmittersAreAssertions)
{
    {
        EffectWriter effect;
        effect.emitter().globTime();  // no generator
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.generatorDistance(Ext(1.0f));
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.terminatorLess(Ext(1.0f), Ext(2.0f));
        e.statedTerminators(0);
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // An input that refers forward, to itself.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.parameter(In{1, 0}, Ps::VT_Float);
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // An output the operation doesn't have, and a type it doesn't have.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.parameter(In{0, 2}, Ps::VT_Float);
        expectRefused<Debug::CheckException>(effect.bytes());
        EffectWriter typed;
        EmitterWriter& t = typed.emitter();
        t.generatorPeriodic(Ext(1.0f));
        t.parameter(In{0, 0}, Ps::VT_Vec3);
        expectRefused<Debug::CheckException>(typed.bytes());
    }
    {
        // A constant of an unknown type.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.op(Ps::OF_GeneratorDistance,
             [](Sl::Saver& s)
             {
                 Sl::ScopedSaverGroup ext("distance", s);
                 PsTest::writeBool(s, "ext", false);
                 PsTest::writeU8(s, "type", 7);
                 Sl::ScopedSaverGroup value(s);
                 PsTest::writeF32(s, "value", 1.0f);
             });
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // A connected emitter not loaded yet.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.connect(0);
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // A use of a connected emitter that isn't there.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.parameterEmitter(0, false);
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // A chain naming an operation beyond the list.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.updateChain({1});
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // The generator chain runs without a particle: a particle's operation can't stand in it.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        const uint8_t life = e.parameterLifetime();
        e.generatorChain({life});
        expectRefused<Debug::CheckException>(effect.bytes());
        EffectWriter fine;
        EmitterWriter& f = fine.emitter();
        f.generatorPeriodic(Ext(1.0f));
        const uint8_t time = f.globTime();
        f.generatorChain({time});
        EXPECT_NO_THROW(PsTest::load(fine.bytes()));
    }
    {
        // An updater must target a parameter of its type, a parameter passed to a child a global
        // parameter of its type: nothing else is overwritten.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        const uint8_t time = e.globTime();
        e.parameterUpdater(Ps::VT_Float, time, In{time, 0});
        expectRefused<Debug::CheckException>(effect.bytes());

        EffectWriter tree;
        EmitterWriter& child = tree.emitter();
        child.generatorPeriodic(Ext(1.0f));
        child.standalone(false);
        EmitterWriter& parent = tree.emitter();
        parent.generatorPeriodic(Ext(1.0f));
        const uint8_t value = parent.funcDistrib(Ext(1.0f));
        parent.parameterEmitterParam(Ps::VT_Float, In{value, 0}, 0, 0, 0);  // the child's generator
        parent.connect(0);
        expectRefused<Debug::CheckException>(tree.bytes());
    }
    {
        // A factory byte beyond the table.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.op(200, [](Sl::Saver&) {});
        expectRefused<Debug::CheckException>(effect.bytes());
    }
    {
        // A frame rate of 0 would make frames of infinite length; a negative one is refused.
        EffectWriter effect;
        effect.fps(-5.0f);
        expectRefused<Debug::CheckException>(effect.bytes());
    }
}

TEST(PsLoader, GroupsWithAVersionAreRefused)
{
    EffectWriter effect;
    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(1.0f));
    e.op(Ps::OF_GlobParamVec3,
         [](Sl::Saver& s)
         {
             s.startGroup("default_value", 1);
             PsTest::writeF32(s, "x", 1.0f);
             PsTest::writeF32(s, "y", 1.0f);
             PsTest::writeF32(s, "z", 1.0f);
             s.endGroup();
         });
    expectRefused<Sl::OldLoaderVersionException>(effect.bytes());
}

TEST(PsLoader, TextureLengthMustMatchItsBytes)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::ScopedSaverGroup revision("revision", saver);
        PsTest::writeBool(saver, "has", false);
    }
    PsTest::writeU32(saver, "num_materials", 0);
    PsTest::writeU32(saver, "num_textures", 1);
    PsTest::writeU32(saver, "length", 5);
    const uint8_t name[4] = {'a', 'b', 'c', 0};
    saver.writeBinary("tex", name, 4);
    for (const char* field : {"num_rstyles", "num_meshes", "num_emitters", "num_rcalls"})
        PsTest::writeU32(saver, field, 0);
    PsTest::writeF32(saver, "fps", 30.0f);
    {
        Sl::ScopedSaverGroup seed("seed", saver);
        PsTest::writeU8(saver, "seed_type", 1);
    }
    PsTest::writeF32(saver, "presim_time", 0.0f);
    expectRefused<Debug::CheckException>(saver.dataAsVector());
}

}  // namespace
