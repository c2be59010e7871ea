// Broken compiled effects are refused with the reader's own check, whichever of the two reading
// passes (pool size, then creation) meets the fault first: the message names the check.

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// Loads the bytes and returns the text of the failed check, or "" when they load.
std::string failedCheck(const std::vector<uint8_t>& bytes)
{
    try
    {
        Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                        PsTest::context());
    }
    catch (const Debug::CheckException& e)
    {
        return e.what();
    }
    return "";
}

void expectCheck(const std::vector<uint8_t>& bytes, const std::string& condition)
{
    EXPECT_EQ(failedCheck(bytes), "DEBUG_ASSERT( " + condition + " )");
}

// An effect without emitters whose only texture is written by `writeTexture`.
std::vector<uint8_t> effectWithTexture(void (*writeTexture)(Sl::Saver&))
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::ScopedSaverGroup revision("revision", saver);
        PsTest::writeBool(saver, "has", false);
    }
    PsTest::writeU32(saver, "num_materials", 0);
    PsTest::writeU32(saver, "num_textures", 1);
    writeTexture(saver);
    for (const char* field : {"num_rstyles", "num_meshes", "num_emitters", "num_rcalls"})
        PsTest::writeU32(saver, field, 0);
    PsTest::writeF32(saver, "fps", 30.0f);
    {
        Sl::ScopedSaverGroup seed("seed", saver);
        PsTest::writeU8(saver, "seed_type", 1);
    }
    PsTest::writeF32(saver, "presim_time", 0.0f);
    return saver.dataAsVector();
}

TEST(PsLoaderMessages, TextureLengthOtherThanItsBytes)
{
    // Stated longer and shorter than the binary value.
    expectCheck(effectWithTexture(
                    [](Sl::Saver& s)
                    {
                        PsTest::writeU32(s, "length", 5);
                        const uint8_t name[4] = {'a', 'b', 'c', 0};
                        s.writeBinary("tex", name, 4);
                    }),
                "dataSize == loader.readBinarySize()");
    expectCheck(effectWithTexture(
                    [](Sl::Saver& s)
                    {
                        PsTest::writeU32(s, "length", 1);
                        const uint8_t name[2] = {'a', 0};
                        s.writeBinary("tex", name, 2);
                    }),
                "dataSize == loader.readBinarySize()");
}

TEST(PsLoaderMessages, TextureNameWithItsNulLoads)
{
    const std::vector<uint8_t> bytes = effectWithTexture(
        [](Sl::Saver& s)
        {
            PsTest::writeU32(s, "length", 3);
            const uint8_t name[3] = {'a', 'b', 0};
            s.writeBinary("tex", name, 3);
        });
    // After the header byte, the revision group (size word, flag) and "num_materials" 0:
    // "num_textures" 1, "length" 3, then the binary: count 3 and the bytes with the NUL.
    const uint8_t expected[] = {0x04, 0x02, 0x00, 0x00, 0x01, 0x03, 0x03, 'a', 'b', 0x00};
    ASSERT_GE(bytes.size(), sizeof(expected));
    EXPECT_EQ(std::memcmp(bytes.data(), expected, sizeof(expected)), 0);
    std::unique_ptr<Ps::MemManagedSystemShell> shell = PsTest::load(bytes);
    ASSERT_EQ(shell->getSystem().getNumTextures(), 1u);
    EXPECT_STREQ(shell->getSystem().getTexture(0), "ab");
}

TEST(PsLoaderMessages, TextureBytesCutShortAreEndOfBuffer)
{
    // The stated length agrees with the binary count, but the bytes aren't there: the stream
    // ends inside the name.
    std::vector<uint8_t> bytes = effectWithTexture(
        [](Sl::Saver& s)
        {
            PsTest::writeU32(s, "length", 200);
            std::vector<uint8_t> name(200, 'x');
            name.back() = 0;
            s.writeBinary("tex", name.data(), 200);
        });
    bytes.resize(5 + 2 + 2 + 50);
    EXPECT_THROW(Ps::MemManagedSystemShell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                           PsTest::context()),
                 Sl::EndOfBufferException);
}

TEST(PsLoaderMessages, ChainIndexBeyondTheList)
{
    EffectWriter effect;
    EmitterWriter& e = effect.emitter();
    const uint8_t gen = e.generatorPeriodic(Ext(1.0f));
    const uint8_t life = e.parameterLifetime();
    e.updateChain({life, 7});
    expectCheck(effect.bytes(), "operationIndex < numOperations_");
    e.updateChain({life, gen, life});
    EXPECT_EQ(failedCheck(effect.bytes()), "");
}

TEST(PsLoaderMessages, InputsOutsideWhatWasRead)
{
    {
        // Beyond the list.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.parameter(In{9, 0}, Ps::VT_Float);
        expectCheck(effect.bytes(), "operationIndex < numOperations_");
    }
    {
        // In the list, but not read yet: the operation itself.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.parameter(In{1, 0}, Ps::VT_Float);
        expectCheck(effect.bytes(), "operations_[operationIndex]");
    }
    {
        // An output that the operation doesn't have.
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        const uint8_t life = e.parameterLifetime();
        e.parameter(In{life, 1}, Ps::VT_Float);
        expectCheck(effect.bytes(), "outputIndex < operation.getNumOutputs()");
    }
}

TEST(PsLoaderMessages, SpecialSlots)
{
    {
        EffectWriter effect;
        effect.emitter().parameterLifetime();
        expectCheck(effect.bytes(), "generator_");
    }
    {
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.generatorPeriodic(Ext(2.0f));
        expectCheck(effect.bytes(), "!generator_");
    }
    {
        EffectWriter effect;
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        e.terminatorLess(Ext(1.0f), Ext(2.0f));
        e.terminatorLess(Ext(1.0f), Ext(2.0f));
        e.statedTerminators(1);
        expectCheck(effect.bytes(), "numTerminators_ < numTerminators");
        // A head that states more terminators than the list holds is legal.
        e.statedTerminators(3);
        EXPECT_EQ(failedCheck(effect.bytes()), "");
    }
    {
        EffectWriter effect;
        effect.renderStyle(0, {});
        effect.mesh(100, 0, true, true);
        effect.mesh(100, 1, false, true);
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(1.0f));
        PsTest::constructorQuads(e, PsTest::QuadsFields());
        // One constructor is legal, and so is none.
        EXPECT_EQ(failedCheck(effect.bytes()), "");
        PsTest::StripFields strip;
        strip.mesh = 1;
        PsTest::constructorStrip(e, strip);
        expectCheck(effect.bytes(), "!constructor_");
    }
}

TEST(PsLoaderMessages, ConnectedEmitterNotLoadedYet)
{
    EffectWriter effect;
    EmitterWriter& first = effect.emitter();
    first.generatorPeriodic(Ext(1.0f));
    first.connect(1);
    EmitterWriter& second = effect.emitter();
    second.generatorPeriodic(Ext(1.0f));
    expectCheck(effect.bytes(), "emitterIndex < filledEmitters_");

    EffectWriter beyond;
    EmitterWriter& only = beyond.emitter();
    only.generatorPeriodic(Ext(1.0f));
    only.connect(5);
    expectCheck(beyond.bytes(), "index < numEmitters_");
}

}  // namespace

namespace
{

// The generic operations on one particle: a global parameter in no chain gets its default, two
// parameters read it in the init chain, and an updater overwrites one of them with the age.
TEST(PsGenericOperations, ParametersUpdatersAndGlobals)
{
    EffectWriter effect;
    effect.fps(10.0f).fixedSeed(1);
    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(1.0f), 1.0f, 1, std::nullopt, 1u);            // 0
    const uint8_t glob = e.globParam(Ext(5.0f));                          // 1, in no chain
    const uint8_t updated = e.parameter(Ext(In{glob, 0}), Ps::VT_Float);  // 2
    const uint8_t life = e.parameterLifetime();                           // 3
    const uint8_t updater = e.parameterUpdater(Ps::VT_Float, updated, In{life, 0});
    const uint8_t kept = e.parameter(Ext(In{glob, 0}), Ps::VT_Float);  // 5
    e.initBoth({updated, kept}).updateChain({life, updater}).maxParticles(4);

    PsTest::Running r = PsTest::run(effect.bytes());
    Ps::EmitterInst& inst = r.emitter();
    const Ps::Emitter& emitter = inst.getEmitter();
    const auto value = [&](uint8_t op)
    { return *static_cast<const float*>(inst.getVoidPtrDynamicData(emitter.getOperation(op))); };
    const Ps::Operation& globOp = emitter.getOperation(glob);
    EXPECT_FALSE(globOp.getParticleDataDisplace());
    EXPECT_FALSE(emitter.getOperation(updater).getParticleDataDisplace());
    EXPECT_EQ(*static_cast<const float*>(inst.getVoidPtrStaticData(globOp)), 5.0f);

    for (int frame = 0; frame < 5; ++frame)
        r.get().updateFrame(glm::vec3(0.0f), PsTest::kIdentity);
    ASSERT_EQ(inst.getNumActiveParticles(), 1u);
    EXPECT_EQ(value(kept), 5.0f);
    EXPECT_GT(value(life), 0.0f);
    EXPECT_EQ(value(updated), value(life));

    // A reset brings the global parameter back to its default.
    *static_cast<float*>(inst.getVoidPtrStaticData(globOp)) = 9.0f;
    inst.reset(std::nullopt, std::nullopt);
    EXPECT_EQ(*static_cast<const float*>(inst.getVoidPtrStaticData(globOp)), 5.0f);
}

}  // namespace
