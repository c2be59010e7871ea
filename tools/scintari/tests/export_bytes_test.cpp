// The compiler's bytes for small graphs, against the same effects written field by field by the
// test-side writer of the compiled format: the two are written independently, so equal bytes
// pin the layout, the order of operations and chains, and the shared tables.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/ps_mesh_factory.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

using Bytes = std::vector<uint8_t>;

// The blocks of a smallest emitter that plays: a periodic generator, the particles' age ending
// them at 2 seconds, a fixed place, and a constructor (quads unless said otherwise).
struct Graph
{
    explicit Graph(Plm::System& system, const std::string& name = "e")
        : emitter(system.addEmitter(std::make_unique<Plm::Emitter>(name)))
    {
        auto gen = Plm::BlockGenPeriodic::create();
        gen->setRate(10.0f);
        gen->setStartPhase(0.0f);
        gen->setBurst(1u);
        generator = &emitter.addBlock(std::move(gen));
        lifetime = &emitter.addBlock(Plm::BlockParamLifetime::create());
        auto place = Plm::BlockPositioner::create();
        place->setPositionExternal(false);
        place->setPosition(glm::vec3(1.0f, 2.0f, 3.0f));
        positioner = &emitter.addBlock(std::move(place));
        auto term = Plm::BlockTermLess::create();
        term->setLesserValueExternal(true);
        term->setGreaterValueExternal(false);
        term->setGreaterValue(2.0f);
        terminator = &emitter.addBlock(std::move(term));
        emitter.createLink(*lifetime, 0, *terminator, 0);
    }
    Plm::BlockConstructQuads& addQuads()
    {
        auto& quads = static_cast<Plm::BlockConstructQuads&>(
            emitter.addBlock(Plm::BlockConstructQuads::create()));
        return quads;
    }

    Plm::Emitter& emitter;
    Plm::Block* generator = nullptr;
    Plm::Block* lifetime = nullptr;
    Plm::Block* positioner = nullptr;
    Plm::Block* terminator = nullptr;
};

// The same smallest emitter, written by the test-side writer: operations in the order of the
// graph's walk (generator, age, place, terminator), then what the test adds.
struct Written
{
    explicit Written(PsTest::EmitterWriter& e) : emitter(e)
    {
        generator = e.generatorPeriodic(PsTest::Ext(10.0f));
        lifetime = e.parameterLifetime();
        positioner = e.parameterPositionUpdater(PsTest::Ext(glm::vec3(1.0f, 2.0f, 3.0f)));
    }
    void terminator() { term = emitter.terminatorLess(PsTest::In{lifetime, 0}, PsTest::Ext(2.0f)); }

    PsTest::EmitterWriter& emitter;
    uint8_t generator = 0, lifetime = 0, positioner = 0, term = 0;
};

// Equal bytes; else the first place where they differ, with what stands around it.
void expectSameBytes(const Bytes& compiled, const Bytes& written)
{
    size_t at = 0;
    while (at < compiled.size() && at < written.size() && compiled[at] == written[at])
        ++at;
    if (at == compiled.size() && at == written.size())
        return;
    auto around = [at](const Bytes& bytes)
    {
        std::string text;
        for (size_t i = at >= 8 ? at - 8 : 0; i < bytes.size() && i < at + 8; ++i)
            text += (i == at ? "[" : " ") + std::to_string(bytes[i]) + (i == at ? "]" : "");
        return text;
    };
    ADD_FAILURE() << "the bytes differ at " << at << " of " << compiled.size() << " / "
                  << written.size() << "\ncompiled:" << around(compiled)
                  << "\nwritten: " << around(written);
}

Bytes compiled(const Plm::System& system)
{
    const auto compiler = Plm::SystemExportCompilerBin::create(system);
    EXPECT_TRUE(compiler->getErrorEmitterExporters().empty());
    return compiler->exportBytes();
}

// The shared head of an effect of one quads mesh and one style of the default material and
// texture.
void quadsTables(PsTest::EffectWriter& effect, const Plm::BlockConstructQuads& quads,
                 uint32_t maxParticles)
{
    effect.material(static_cast<uint8_t>(quads.getMaterial()));
    effect.texture(quads.getTexture());
    effect.renderStyle(0, {0});
    effect.mesh(maxParticles, Ps::MF_Quads, true, true);
    effect.fps(30.0f).noSeed().presim(0.0f);
}

TEST(ExportBytes, PeriodicGeneratorWithLifeAndQuads)
{
    Plm::System system;
    Graph graph(system);
    Plm::BlockConstructQuads& quads = graph.addQuads();

    PsTest::EffectWriter effect;
    quadsTables(effect, quads, 100);
    PsTest::EmitterWriter& emitter = effect.emitter();
    Written w(emitter);
    w.terminator();
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(30.0f);
    PsTest::constructorQuads(emitter, fields);
    emitter.initBoth({w.positioner}).updateChain({w.lifetime, w.positioner}).maxParticles(100);
    effect.renderCalls(100);

    expectSameBytes(compiled(system), effect.bytes());
}

TEST(ExportBytes, RandomSizeInTheInitChain)
{
    Plm::System system;
    Graph graph(system);
    Plm::BlockConstructQuads& quads = graph.addQuads();
    auto random = Plm::BlockFuncRandom::create();
    random->setStartExternal(false);
    random->setEndExternal(false);
    random->setStart(10.0f);
    random->setEnd(20.0f);
    Plm::Block& randomBlock = graph.emitter.addBlock(std::move(random));
    auto size = Plm::BlockParamUserFloat::create();
    size->setValueExternal(true);
    Plm::Block& sizeBlock = graph.emitter.addBlock(std::move(size));
    graph.emitter.createLink(randomBlock, 2, sizeBlock, 0);
    quads.setSizeExternal(true);
    graph.emitter.createLink(sizeBlock, 1, quads, 3);

    PsTest::EffectWriter effect;
    quadsTables(effect, quads, 100);
    PsTest::EmitterWriter& emitter = effect.emitter();
    // The walk: generator, then the parameters in their list's order (the age, then the size
    // with the random number it reads first), then the place, the terminator, the constructor.
    emitter.generatorPeriodic(PsTest::Ext(10.0f));
    const uint8_t lifetime = emitter.parameterLifetime();
    const uint8_t randomOp = emitter.op(Ps::OF_FuncRandom,
                                        [](Sl::Saver& s)
                                        {
                                            PsTest::writeExt(s, "start", PsTest::Ext(10.0f));
                                            PsTest::writeExt(s, "end", PsTest::Ext(20.0f));
                                        });
    const uint8_t sizeOp = emitter.parameter(PsTest::Ext(PsTest::In{randomOp, 0}), 0);
    const uint8_t positioner =
        emitter.parameterPositionUpdater(PsTest::Ext(glm::vec3(1.0f, 2.0f, 3.0f)));
    emitter.terminatorLess(PsTest::In{lifetime, 0}, PsTest::Ext(2.0f));
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(PsTest::In{sizeOp, 0});
    PsTest::constructorQuads(emitter, fields);
    emitter.initBoth({randomOp, sizeOp, positioner})
        .updateChain({lifetime, positioner})
        .maxParticles(100);
    effect.renderCalls(100);

    expectSameBytes(compiled(system), effect.bytes());
}

TEST(ExportBytes, AttachedChildStandsFirstAndCountsPerParentParticle)
{
    Plm::System system;
    Graph parent(system, "parent");
    Plm::BlockConstructQuads& parentQuads = parent.addQuads();
    Graph child(system, "child");
    child.addQuads();
    child.emitter.setStandalone(false);
    child.emitter.setMaxNumParticles(7u);
    auto attach = Plm::BlockParamEmitter::create();
    Plm::BlockParamEmitter& attachBlock =
        static_cast<Plm::BlockParamEmitter&>(parent.emitter.addBlock(std::move(attach)));
    attachBlock.setEmitterId(boost::make_optional(boost::make_optional(child.emitter.getId())));

    PsTest::EffectWriter effect;
    // One mesh for both: the child counts 7 per particle of the parent's 100.
    quadsTables(effect, parentQuads, 700 + 100);
    PsTest::EmitterWriter& first = effect.emitter();
    Written c(first);
    c.terminator();
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(30.0f);
    PsTest::constructorQuads(first, fields);
    first.initBoth({c.positioner})
        .updateChain({c.lifetime, c.positioner})
        .standalone(false)
        .maxParticles(7);
    PsTest::EmitterWriter& second = effect.emitter();
    Written p(second);
    const uint8_t initer = second.parameterEmitterIniter(0, attachBlock.isOnTerminate());
    const uint8_t updater = second.parameterEmitter(0, attachBlock.isOnTerminate());
    p.terminator();
    PsTest::constructorQuads(second, fields);
    second.initBoth({p.positioner, initer})
        .updateChain({p.lifetime, p.positioner, updater})
        .maxParticles(100)
        .connect(0, attachBlock.getDrawOrder() == Plm::BlockParamEmitter::DO_BeforeParent);
    effect.renderCalls(800);

    expectSameBytes(compiled(system), effect.bytes());
}

// 255 operations is the most an emitter holds; one more is the format's limit, refused while
// writing, never written as bytes the runtime would refuse.
TEST(ExportBytes, OperationLimitIsRefusedAtWriting)
{
    for (const unsigned int lerps : {250u, 251u})
    {
        Plm::System system;
        Graph graph(system);
        graph.addQuads();
        // A line of functions feeding the terminator: five operations besides them.
        Plm::Block* previous = nullptr;
        for (unsigned int i = 0; i < lerps; ++i)
        {
            auto lerp = Plm::BlockFuncLerpFloat::create();
            lerp->setFromExternal(false);
            lerp->setToExternal(false);
            lerp->setInterpExternal(previous != nullptr);
            Plm::Block& added = graph.emitter.addBlock(std::move(lerp));
            if (previous)
                graph.emitter.createLink(*previous, 3, added, 2);
            previous = &added;
        }
        auto& terminator = static_cast<Plm::BlockTermLess&>(*graph.terminator);
        terminator.setGreaterValueExternal(true);
        graph.emitter.createLink(*previous, 3, terminator, 1);
        const auto compiler = Plm::SystemExportCompilerBin::create(system);
        ASSERT_EQ(compiler->getNumValidEmitters(), 1u);
        if (lerps + 5 < 256)
        {
            EXPECT_EQ(compiler->getValidEmitterExporter(0).activeBlocks().size(), 255u);
            EXPECT_NO_THROW(compiler->exportBytes());
        }
        else
            EXPECT_THROW(compiler->exportBytes(), Debug::CheckException);
    }
}

TEST(ExportBytes, SharedTablesOfMeshesMaterialsTexturesAndStyles)
{
    Plm::System system;
    Graph a(system, "a"), b(system, "b"), c(system, "c"), d(system, "d");
    auto addStrip = [](Graph& g, const char* texture)
    {
        auto& strip = static_cast<Plm::BlockConstructStrip&>(
            g.emitter.addBlock(Plm::BlockConstructStrip::create()));
        strip.setTexture(std::string(texture));
        return &strip;
    };
    // Two strips of different textures: one mesh, two styles.
    const Plm::BlockConstructStrip* one = addStrip(a, "one.png");
    const Plm::BlockConstructStrip* two = addStrip(b, "two.png");
    // Two quads of one material and texture in two emitters: one more mesh, one more style.
    Plm::BlockConstructQuads& q1 = c.addQuads();
    Plm::BlockConstructQuads& q2 = d.addQuads();
    q1.setTexture(std::string("one.png"));
    q2.setTexture(std::string("one.png"));
    q1.setMaterial(Ps::MAT_Add);
    q2.setMaterial(Ps::MAT_Add);
    // Not exported: takes nothing.
    Graph e(system, "e");
    Plm::BlockConstructQuads& hidden = e.addQuads();
    hidden.setExportable(false);
    hidden.setTexture(std::string("hidden.png"));

    const auto compiler = Plm::SystemExportCompilerBin::create(system);
    ASSERT_EQ(compiler->getNumValidEmitters(), 5u);
    ASSERT_EQ(compiler->meshes().size(), 2u);
    EXPECT_EQ(compiler->meshes()[0].maxNumParticles, 200u);
    EXPECT_EQ(compiler->meshes()[1].maxNumParticles, 200u);
    EXPECT_EQ(compiler->textures(), (std::vector<std::string>{"one.png", "two.png"}));
    EXPECT_EQ(compiler->renderStyles().size(), 3u);
    EXPECT_NE(compiler->getRenderStyleIndexOfConstructor(*one),
              compiler->getRenderStyleIndexOfConstructor(*two));
    EXPECT_EQ(compiler->getRenderStyleIndexOfConstructor(q1),
              compiler->getRenderStyleIndexOfConstructor(q2));
    EXPECT_EQ(compiler->getMeshIndexOfConstructor(*one), compiler->getMeshIndexOfConstructor(*two));
    EXPECT_NE(compiler->getMeshIndexOfConstructor(q1), compiler->getMeshIndexOfConstructor(*one));
}

}  // namespace
