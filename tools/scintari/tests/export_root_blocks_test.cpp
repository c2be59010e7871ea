// The compiled form of the blocks that are not functions: generators, terminators, the
// positioner, constructors, particle parameters and globals. Each case builds a small effect in
// the model, compiles it, loads the bytes into the runtime (which reads every field, so a wrong
// field order or type fails there) and runs it to see that the particles carry what the blocks
// say.

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_gen_distance.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_block_glob_plain.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_param_position.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_param_velocity.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_term_less.h"
#include "particle_layout_model/plm_block_term_path.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace
{

using namespace Plm;

const glm::quat kIdentity(1.0f, 0.0f, 0.0f, 0.0f);
// A quarter turn about z: x goes to y.
const glm::quat kQuarterZ = glm::angleAxis(glm::radians(90.0f), glm::vec3(0.0f, 0.0f, 1.0f));

Ps::Context& context()
{
    static Ps::MemManagedContext holder;
    return holder.get();
}

// An effect built block by block: emitters without a guide, ten frames a second, a fixed seed.
struct Scene
{
    System system;
    Emitter& emitter;

    Scene() : emitter(addEmitter("e"))
    {
        system.setFps(10.0f);
        system.setSeedType(Ps::SST_Fixed);
        system.setFixedSeed(7u);
    }

    Emitter& addEmitter(const std::string& name)
    {
        return system.addEmitter(std::make_unique<Emitter>(name));
    }

    template <class B>
    B& add(std::unique_ptr<B> block, Emitter* in = nullptr)
    {
        return static_cast<B&>((in ? *in : emitter).addBlock(std::move(block)));
    }

    // From output connector `out` of one block to input connector `in` of another.
    static void link(const Block& from, unsigned int out, const Block& to, unsigned int in)
    {
        ASSERT_TRUE(from.getEmitter()->createLink(from, out, to, in))
            << from.getFactoryName().str() << " " << out << " -> " << to.getFactoryName().str()
            << " " << in;
    }

    BlockGenPeriodic& periodic(float rate, unsigned int burst = 1, float startPhase = 0.0f,
                               Emitter* in = nullptr)
    {
        BlockGenPeriodic& block = add(BlockGenPeriodic::create(), in);
        block.setRate(rate);
        block.setBurst(burst);
        block.setStartPhase(startPhase);
        return block;
    }

    BlockPositioner& positioner(const glm::vec3& position = glm::vec3(0.0f), Emitter* in = nullptr)
    {
        BlockPositioner& block = add(BlockPositioner::create(), in);
        block.setPositionExternal(false);
        block.setPosition(position);
        return block;
    }

    // A user parameter whose start value is fed by output `out` of `source`.
    template <class T>
    BlockParamUserTyped<T>& paramFrom(const Block& source, unsigned int out, Emitter* in = nullptr)
    {
        auto& param = add(BlockParamUserTyped<T>::create(), in);
        param.setValueExternal(true);
        link(source, out, param, 0);
        return param;
    }

    template <class T>
    BlockParamUserTyped<T>& paramConst(const T& value, Emitter* in = nullptr)
    {
        auto& param = add(BlockParamUserTyped<T>::create(), in);
        param.setValueExternal(false);
        param.setValue(value);
        return param;
    }
};

// The compiled effect, loaded and instantiated.
struct Compiled
{
    std::shared_ptr<SystemExportCompilerBin> compiler;
    std::vector<uint8_t> bytes;
    std::unique_ptr<Ps::MemManagedSystemShell> shell;
    std::unique_ptr<Ps::MemManagedSystemInst> inst;
    glm::vec3 position{0.0f};
    glm::quat rotation = kIdentity;

    Ps::SystemInst& system() const { return inst->get(); }
    Ps::EmitterInst& emitter(unsigned int standalone = 0) const
    {
        return inst->get().getEmitterInst(standalone);
    }
    // The index of a block's operation in its compiled emitter.
    unsigned int op(const Block& block, unsigned int operId = 0) const
    {
        const boost::optional<unsigned int> index = compiler->getEmitterIndex(*block.getEmitter());
        EXPECT_TRUE(index);
        const boost::optional<unsigned int> op =
            compiler->getValidEmitterExporterBin(*index).getBlockOpIndex(block, operId);
        EXPECT_TRUE(op) << block.getFactoryName().str();
        return op ? *op : 0;
    }
    void frames(int n)
    {
        for (int i = 0; i < n; ++i)
            inst->get().updateFrame(position, rotation);
    }
    void construct() const
    {
        inst->get().construct(glm::vec3(0.0f, 0.0f, 1.0f), glm::vec3(0.0f, 1.0f, 0.0f),
                              glm::vec3(1.0f, 0.0f, 0.0f), std::nullopt);
    }
};

// Compiles every emitter of the scene (none may fail) and loads the bytes; the loader's two
// passes must agree on the pool, which they do only if each operation's fields are read whole.
std::unique_ptr<Compiled> compile(const Scene& scene, const glm::vec3& position = glm::vec3(0.0f),
                                  const glm::quat& rotation = kIdentity)
{
    auto run = std::make_unique<Compiled>();
    run->position = position;
    run->rotation = rotation;
    run->compiler = SystemExportCompilerBin::create(scene.system);
    for (const auto& failed : run->compiler->getErrorEmitterExporters())
    {
        const EmitterExportCompilerBase& c = *failed.second;
        ADD_FAILURE() << "an emitter failed: unknown " << c.hasUnknownError() << ", blocks "
                      << c.errorBlocks().size() << ", links " << c.errorLinks().size()
                      << ", connectors " << c.errorConnectors().size();
    }
    if (run->compiler->getNumValidEmitters() != scene.system.getNumEmitters())
        return nullptr;
    run->bytes = run->compiler->exportBytes();
    run->shell = std::make_unique<Ps::MemManagedSystemShell>(
        run->bytes.data(), static_cast<uint32_t>(run->bytes.size()), context());
    EXPECT_EQ(run->shell->getUsedPoolSize(), run->shell->getPoolSize());
    run->inst =
        std::make_unique<Ps::MemManagedSystemInst>(run->shell->getSystem(), position, rotation);
    return run;
}

// The active particles of an instance, newest first.
std::vector<uint32_t> particles(const Ps::EmitterInst& inst)
{
    std::vector<uint32_t> result;
    std::optional<uint32_t> head = inst.getHead();
    if (!head)
        return result;
    for (uint32_t i = *head;; i = inst.getLink(i))
    {
        result.push_back(i);
        if (inst.getLink(i) == i)
            break;
    }
    return result;
}

// The particle data of operation `op` for each active particle, newest first.
template <class T>
std::vector<T> values(const Ps::EmitterInst& inst, unsigned int op)
{
    const Ps::Operation& operation = inst.getEmitter().getOperation(op);
    EXPECT_GE(operation.getParticleDataSize(), sizeof(T));
    std::vector<T> result;
    for (uint32_t i : particles(inst))
    {
        T value;
        std::memcpy(&value, inst.getParticleDynamicDataAt(i) + operation.getParticleDataOffset(),
                    sizeof(T));
        result.push_back(value);
    }
    return result;
}

std::vector<glm::vec3> positions(const Ps::EmitterInst& inst)
{
    std::vector<glm::vec3> result;
    for (uint32_t i : particles(inst))
        result.push_back(inst.getParticleInfoAt(i).position);
    return result;
}

bool near(float a, float b) { return std::abs(a - b) < 1e-4f; }
bool near(const glm::vec2& a, const glm::vec2& b) { return near(a.x, b.x) && near(a.y, b.y); }
bool near(const glm::vec3& a, const glm::vec3& b)
{
    return near(a.x, b.x) && near(a.y, b.y) && near(a.z, b.z);
}
bool near(const glm::quat& a, const glm::quat& b)
{
    return near(a.x, b.x) && near(a.y, b.y) && near(a.z, b.z) && near(a.w, b.w);
}

// Every value is `expected`, and there is at least one.
template <class T>
void expectAll(const std::vector<T>& got, const T& expected)
{
    EXPECT_FALSE(got.empty());
    for (const T& value : got)
        EXPECT_TRUE(near(value, expected));
}

// One effect: how it is built, where the emitter stands, what must come out of it.
struct Case
{
    const char* name;
    std::function<void(Scene&)> build;
    std::function<void(Compiled&)> check;
    glm::vec3 position{0.0f};
    glm::quat rotation = kIdentity;
};

void runCases(const std::vector<Case>& cases)
{
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        Scene scene;
        c.build(scene);
        if (testing::Test::HasFatalFailure())
            return;
        std::unique_ptr<Compiled> run = compile(scene, c.position, c.rotation);
        ASSERT_TRUE(run);
        c.check(*run);
    }
}

// Blocks that the cases look up after building.
struct Refs
{
    const Block* a = nullptr;
    const Block* b = nullptr;
};

TEST(ExportRootBlocks, GeneratorsShootAsTheirPropertiesSay)
{
    auto refs = std::make_shared<Refs>();
    runCases({
        {"periodic: two shots of three, the burst size on output 2",
         [refs](Scene& s)
         {
             BlockGenPeriodic& gen = s.periodic(10.0f, 3);
             gen.setFixedShotsEnabled(true);
             gen.setFixedShots(2u);
             s.positioner();
             refs->a = &s.paramFrom<float>(gen, 2);
         },
         [refs](Compiled& r)
         {
             r.frames(10);
             expectAll(values<float>(r.emitter(), r.op(*refs->a)), 3.0f);
             EXPECT_EQ(particles(r.emitter()).size(), 6u);
         }},
        {"periodic: a rate fed by a global parameter, for a fixed time",
         [](Scene& s)
         {
             BlockGenPeriodic& gen = s.periodic(1.0f);
             auto& rate = s.add(BlockGlobParamFloat::create());
             rate.setValue(10.0f);
             gen.setRateExternal(true);
             Scene::link(rate, 0, gen, 0);
             gen.setFixedTimeEnabled(true);
             gen.setFixedTime(0.35f);
             s.positioner();
         },
         [](Compiled& r)
         {
             // Shots at 0.1, 0.2 and 0.3 seconds; the fourth is past the time.
             r.frames(10);
             EXPECT_EQ(particles(r.emitter()).size(), 3u);
         }},
        {"distance: a burst of two for each ten units moved",
         [](Scene& s)
         {
             auto& gen = s.add(BlockGenDistance::create());
             gen.setDistance(10.0f);
             gen.setStartPhase(0.0f);
             gen.setBurst(2u);
             s.positioner();
         },
         [](Compiled& r)
         {
             r.frames(1);
             EXPECT_EQ(particles(r.emitter()).size(), 0u);
             r.position = glm::vec3(15.0f, 0.0f, 0.0f);
             r.frames(1);
             r.position = glm::vec3(30.0f, 0.0f, 0.0f);
             r.frames(1);
             EXPECT_EQ(particles(r.emitter()).size(), 6u);
         }},
    });
}

// The particle's age against a constant; then a constant 0.5 against a global parameter, where
// the order of the two inputs decides.
TEST(ExportRootBlocks, LessTerminatorEndsParticles)
{
    {
        SCOPED_TRACE("age against 0.25");
        Scene s;
        s.periodic(10.0f);
        s.positioner();
        auto& age = s.add(BlockParamLifetime::create());
        auto& term = s.add(BlockTermLess::create());
        term.setGreaterValue(0.25f);
        Scene::link(age, 0, term, 0);
        std::unique_ptr<Compiled> r = compile(s);
        ASSERT_TRUE(r);
        r->frames(20);
        const std::vector<float> ages = values<float>(r->emitter(), r->op(age));
        EXPECT_FALSE(ages.empty());
        EXPECT_LE(ages.size(), 4u);
        for (float value : ages)
            EXPECT_LE(value, 0.25f + 1e-4f);
    }
    for (const float limit : {1.0f, 0.25f})
    {
        SCOPED_TRACE(limit);
        Scene s;
        s.periodic(10.0f);
        s.positioner();
        auto& global = s.add(BlockGlobParamFloat::create());
        global.setValue(limit);
        auto& term = s.add(BlockTermLess::create());
        term.setLesserValueExternal(false);
        term.setLesserValue(0.5f);
        term.setGreaterValueExternal(true);
        Scene::link(global, 0, term, 1);
        std::unique_ptr<Compiled> r = compile(s);
        ASSERT_TRUE(r);
        r->frames(20);
        // 0.5 > 1 never ends a particle; 0.5 > 0.25 ends each at once.
        EXPECT_EQ(particles(r->emitter()).size(), limit > 0.5f ? 20u : 0u);
    }
}

// Particles follow the emitter; the emitter then jumps from y = 0 to y = 300, across the path's
// default line at y = 200, or not across a line moved to y = 1000.
TEST(ExportRootBlocks, PathTerminatorEndsParticlesThatCrossItsPath)
{
    for (const bool crossed : {true, false})
    {
        SCOPED_TRACE(crossed ? "line on the way" : "line out of the way");
        Scene s;
        s.periodic(10.0f);
        BlockPositioner& positioner = s.positioner();
        positioner.setPositionExternal(true);
        Scene::link(s.add(BlockGlobEmitterPos::create()), 0, positioner, 0);
        BlockTermPath& term = s.add(BlockTermPath::create());
        if (!crossed)
        {
            Path<glm::vec2> path;
            path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(-200.0f, 1000.0f)));
            path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(200.0f, 1000.0f)));
            term.setPath(path);
        }
        std::unique_ptr<Compiled> r = compile(s);
        ASSERT_TRUE(r);
        r->frames(5);
        const size_t before = particles(r->emitter()).size();
        EXPECT_GE(before, 4u);
        r->position = glm::vec3(0.0f, 300.0f, 0.0f);
        r->frames(1);
        // Only a particle born at the new place is left of those that crossed.
        const size_t after = particles(r->emitter()).size();
        if (crossed)
        {
            EXPECT_LE(after, 1u);
        }
        else
        {
            EXPECT_GT(after, before);
        }
    }
}

// The emitter stands at (10, 0, 0), turned a quarter about z; the start values are (5, 0, 0)
// for the position and (1, 0, 0) for the velocity.
TEST(ExportRootBlocks, PositionerAndMotionParametersPlaceParticles)
{
    const glm::vec3 at(10.0f, 0.0f, 0.0f);
    {
        SCOPED_TRACE("positioner with a constant");
        Scene s;
        s.periodic(10.0f);
        s.positioner(glm::vec3(1.0f, 2.0f, 3.0f));
        std::unique_ptr<Compiled> r = compile(s, at, kQuarterZ);
        ASSERT_TRUE(r);
        r->frames(3);
        expectAll(positions(r->emitter()), glm::vec3(1.0f, 2.0f, 3.0f));
    }
    for (const bool turned : {true, false})
    {
        SCOPED_TRACE(turned ? "position turned" : "position not turned");
        Scene s;
        s.periodic(10.0f);
        auto& start = s.add(BlockParamPosition::create());
        start.setValueExternal(false);
        start.setValue(glm::vec3(5.0f, 0.0f, 0.0f));
        start.setApplyEmitterRotation(turned);
        BlockPositioner& positioner = s.positioner();
        positioner.setPositionExternal(true);
        Scene::link(start, 1, positioner, 0);
        std::unique_ptr<Compiled> r = compile(s, at, kQuarterZ);
        ASSERT_TRUE(r);
        r->frames(3);
        expectAll(positions(r->emitter()),
                  turned ? glm::vec3(10.0f, 5.0f, 0.0f) : glm::vec3(15.0f, 0.0f, 0.0f));
    }
    // The still emitter has no velocity to add: only the turn shows, which tells the two flags
    // apart.
    for (const bool turned : {true, false})
    {
        SCOPED_TRACE(turned ? "velocity turned" : "velocity not turned, emitter's added");
        Scene s;
        s.periodic(10.0f);
        s.positioner();
        auto& velocity = s.add(BlockParamVelocity::create());
        velocity.setValueExternal(false);
        velocity.setValue(glm::vec3(1.0f, 0.0f, 0.0f));
        velocity.setAddEmitterVelocity(!turned);
        velocity.setApplyEmitterRotation(turned);
        std::unique_ptr<Compiled> r = compile(s, at, kQuarterZ);
        ASSERT_TRUE(r);
        r->frames(3);
        expectAll(values<glm::vec3>(r->emitter(), r->op(velocity)),
                  turned ? glm::vec3(0.0f, 1.0f, 0.0f) : glm::vec3(1.0f, 0.0f, 0.0f));
    }
}

// A user parameter of type T keeps its constant start value, or the value of a global
// parameter of the same type that feeds it.
template <class T>
void checkUserParameter(const T& constant, const T& global)
{
    auto refs = std::make_shared<Refs>();
    runCases({
        {"constant",
         [refs, constant](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             refs->a = &s.paramConst<T>(constant);
         },
         [refs, constant](Compiled& r)
         {
             r.frames(3);
             expectAll(values<T>(r.emitter(), r.op(*refs->a)), constant);
         }},
        {"fed by a global parameter",
         [refs, global](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             auto& source = s.add(BlockGlobParamTyped<T>::create());
             source.setValue(global);
             refs->a = &s.paramFrom<T>(source, 0);
         },
         [refs, global](Compiled& r)
         {
             r.frames(3);
             expectAll(values<T>(r.emitter(), r.op(*refs->a)), global);
         }},
    });
}

TEST(ExportRootBlocks, UserParametersOfEachTypeCarryTheirValue)
{
    {
        SCOPED_TRACE("float");
        checkUserParameter<float>(2.5f, -4.0f);
    }
    {
        SCOPED_TRACE("vec2");
        checkUserParameter<glm::vec2>(glm::vec2(1.0f, -2.0f), glm::vec2(3.0f, 4.0f));
    }
    {
        SCOPED_TRACE("vec3");
        checkUserParameter<glm::vec3>(glm::vec3(1.0f, 2.0f, 3.0f), glm::vec3(-1.0f, 0.5f, 9.0f));
    }
    {
        SCOPED_TRACE("quat");
        checkUserParameter<glm::quat>(kQuarterZ, glm::quat(0.5f, 0.5f, 0.5f, 0.5f));
    }
}

TEST(ExportRootBlocks, UpdaterRewritesItsParameterEachFrame)
{
    auto refs = std::make_shared<Refs>();
    runCases({
        {"float parameter follows the particle's age",
         [refs](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             auto& age = s.add(BlockParamLifetime::create());
             auto& param = s.paramConst<float>(-1.0f);
             auto& updater = s.add(BlockParamUserUpdater::create(param));
             Scene::link(age, 0, updater, 0);
             refs->a = &age;
             refs->b = &param;
         },
         [refs](Compiled& r)
         {
             r.frames(5);
             const std::vector<float> ages = values<float>(r.emitter(), r.op(*refs->a));
             const std::vector<float> got = values<float>(r.emitter(), r.op(*refs->b));
             ASSERT_EQ(got.size(), ages.size());
             // The oldest particles have been updated at least once.
             EXPECT_GT(ages.back(), 0.1f);
             for (size_t i = 0; i < got.size(); ++i)
                 EXPECT_TRUE(ages[i] == 0.0f || got[i] == ages[i]) << got[i] << " " << ages[i];
         }},
        {"vec3 parameter follows the emitter",
         [refs](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             auto& param = s.paramConst<glm::vec3>(glm::vec3(0.0f));
             auto& updater = s.add(BlockParamUserUpdater::create(param));
             Scene::link(s.add(BlockGlobEmitterPos::create()), 0, updater, 0);
             refs->a = &param;
         },
         [refs](Compiled& r)
         {
             r.frames(3);
             r.position = glm::vec3(0.0f, 0.0f, 7.0f);
             r.frames(2);
             const std::vector<glm::vec3> got = values<glm::vec3>(r.emitter(), r.op(*refs->a));
             ASSERT_GE(got.size(), 4u);
             EXPECT_TRUE(near(got.back(), glm::vec3(0.0f, 0.0f, 7.0f)));
         }},
    });
}

TEST(ExportRootBlocks, GlobalsReadTheEmitterInstance)
{
    auto refs = std::make_shared<Refs>();
    const glm::vec3 at(4.0f, 5.0f, 6.0f);
    runCases({
        {"position and rotation",
         [refs](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             refs->a = &s.paramFrom<glm::vec3>(s.add(BlockGlobEmitterPos::create()), 0);
             refs->b = &s.paramFrom<glm::quat>(s.add(BlockGlobEmitterRot::create()), 0);
         },
         [refs, at](Compiled& r)
         {
             r.frames(3);
             expectAll(values<glm::vec3>(r.emitter(), r.op(*refs->a)), at);
             expectAll(values<glm::quat>(r.emitter(), r.op(*refs->b)), kQuarterZ);
         },
         at, kQuarterZ},
        {"direction of a moving emitter",
         [refs](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             refs->a = &s.paramFrom<glm::vec3>(s.add(BlockGlobEmitterDir::create()), 0);
         },
         [refs](Compiled& r)
         {
             for (int i = 1; i <= 4; ++i)
             {
                 r.position = glm::vec3(static_cast<float>(i), 0.0f, 0.0f);
                 r.frames(1);
             }
             const glm::vec3 velocity = r.emitter().getEmitterVelocity();
             EXPECT_GT(velocity.x, 0.0f);
             const std::vector<glm::vec3> got = values<glm::vec3>(r.emitter(), r.op(*refs->a));
             ASSERT_FALSE(got.empty());
             EXPECT_TRUE(near(got.front(), velocity));
         }},
        {"emitter time and number of particles at each birth",
         [refs](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             refs->a = &s.paramFrom<float>(s.add(BlockGlobTime::create()), 0);
             refs->b = &s.paramFrom<float>(s.add(BlockGlobNumParticles::create()), 0);
         },
         [refs](Compiled& r)
         {
             r.frames(4);
             // One shot at the end of each frame: 0.4, 0.3, 0.2, 0.1 seconds, newest first,
             // with 4, 3, 2, 1 particles alive, the new one counted.
             const std::vector<float> times = values<float>(r.emitter(), r.op(*refs->a));
             const std::vector<float> counts = values<float>(r.emitter(), r.op(*refs->b));
             ASSERT_EQ(times.size(), 4u);
             ASSERT_EQ(counts.size(), 4u);
             for (size_t i = 0; i < 4; ++i)
             {
                 EXPECT_NEAR(times[i], 0.1f * static_cast<float>(4 - i), 1e-4f);
                 EXPECT_FLOAT_EQ(counts[i], static_cast<float>(4 - i));
             }
         }},
    });
}

// A parent emitter attaches a child to each particle and feeds the child's global parameter;
// the child's particles start with that value.
TEST(ExportRootBlocks, AttachedEmitterReceivesItsGlobalParameters)
{
    for (const bool onTerminate : {false, true})
    {
        SCOPED_TRACE(onTerminate ? "child waits for the parent's death" : "child runs");
        Scene s;
        Emitter& child = s.addEmitter("child");
        child.setStandalone(false);
        s.periodic(10.0f, 1, 1.0f, &child);
        s.positioner(glm::vec3(0.0f), &child);
        auto& global = s.add(BlockGlobParamFloat::create(), &child);
        global.setName(std::string("g"));
        auto& childParam = s.paramFrom<float>(global, 0, &child);
        // A child starts its own time at its creation; the effect's time runs on.
        auto& childTime = s.paramFrom<float>(s.add(BlockGlobTime::create(), &child), 0, &child);
        auto& effectTime =
            s.paramFrom<float>(s.add(BlockGlobSystemTime::create(), &child), 0, &child);

        s.periodic(10.0f);
        s.positioner();
        auto& seven = s.paramConst<float>(7.0f);
        auto& attach = s.add(BlockParamEmitter::create());
        boost::optional<boost::optional<boost::uuids::uuid>> attached;
        attached.emplace(child.getId());
        attach.setEmitterId(attached);
        attach.setOnTerminate(onTerminate);
        ASSERT_EQ(attach.getNumConnectors(), 1u);
        Scene::link(seven, 1, attach, BlockParamEmitter::connectorIndexOf(global));

        std::unique_ptr<Compiled> r = compile(s);
        ASSERT_TRUE(r);
        // The attached emitter is compiled first.
        EXPECT_TRUE(r->compiler->getEmitterIndex(child) == boost::make_optional(0u));
        r->frames(5);
        const std::vector<uint32_t> parents = particles(r->emitter());
        ASSERT_GE(parents.size(), 3u);
        const Ps::EmitterInst& childInst =
            *r->emitter().getParticleInfoAt(parents.back()).connectedEmitters[0];
        const std::vector<float> got = values<float>(childInst, r->op(childParam));
        if (onTerminate)
        {
            EXPECT_TRUE(got.empty());
        }
        else
        {
            expectAll(got, 7.0f);
            const std::vector<float> times = values<float>(childInst, r->op(childTime));
            const std::vector<float> effectTimes = values<float>(childInst, r->op(effectTime));
            ASSERT_EQ(times.size(), effectTimes.size());
            // The child was created a frame after the effect started, at the earliest.
            for (size_t i = 0; i < times.size(); ++i)
                EXPECT_GE(effectTimes[i] - times[i], 0.1f - 1e-4f);
        }
    }
}

// The vertices of the first quad, with the camera looking along z, x to the right.
struct Quad
{
    glm::vec3 low{1e9f};
    glm::vec3 high{-1e9f};
    uint32_t color = 0;
    glm::vec2 tex0{0.0f};
};

Quad firstQuad(const Ps::Mesh& mesh)
{
    Quad quad;
    EXPECT_GE(mesh.getNumVertices(), 4u);
    for (uint32_t v = 0; v < 4 && v < mesh.getNumVertices(); ++v)
    {
        glm::vec3 p;
        std::memcpy(&p, mesh.getVertex(v) + mesh.getPositionOffset(), sizeof(p));
        quad.low = glm::min(quad.low, p);
        quad.high = glm::max(quad.high, p);
    }
    std::memcpy(&quad.color, mesh.getVertex(0) + mesh.getColorOffset(), sizeof(quad.color));
    std::memcpy(&quad.tex0, mesh.getVertex(0) + mesh.getTexChannelsOffset(), sizeof(quad.tex0));
    return quad;
}

TEST(ExportRootBlocks, QuadsConstructorBuildsWhatItsPropertiesSay)
{
    auto refs = std::make_shared<Refs>();
    runCases({
        {"faced square of constants, red and half transparent",
         [](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner(glm::vec3(100.0f, 0.0f, 0.0f));
             auto& quads = s.add(BlockConstructQuads::create());
             quads.setSize(20.0f);
             quads.setColor(glm::vec3(1.0f, 0.0f, 0.0f));
             quads.setAlpha(0.5f);
             quads.setOrigin(glm::vec2(0.0f, 0.0f));
         },
         [](Compiled& r)
         {
             r.frames(3);
             r.construct();
             ASSERT_EQ(r.system().getNumRenderCalls(), 1u);
             EXPECT_EQ(r.system().getRenderCall(0).numPolygons, 6u);
             const Quad quad = firstQuad(r.system().getMesh(0));
             // Origin (0, 0) puts the particle at the low corner.
             EXPECT_TRUE(near(quad.low, glm::vec3(100.0f, 0.0f, 0.0f)));
             EXPECT_TRUE(near(quad.high, glm::vec3(120.0f, 20.0f, 0.0f)));
             EXPECT_EQ(quad.color, 0x7F0000FFu);
         }},
        {"free rotation, a rectangle and a cell of a grid",
         [](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             auto& quads = s.add(BlockConstructQuads::create());
             quads.setRotationType(Ps::CGO_Free);
             Scene::link(s.add(BlockGlobEmitterRot::create()), 0, quads, 2);
             quads.setSizeType(BlockConstructQuads::ST_Rect);
             quads.setSizeRect(glm::vec2(40.0f, 10.0f));
             quads.setTexOp(Ps::CTO_Grid);
             quads.setTexOpGridCols(2u);
             quads.setTexOpGridRows(4u);
             auto& cell = s.add(BlockGlobParamFloat::create());
             cell.setValue(3.0f);
             Scene::link(cell, 0, quads, 6);
         },
         [](Compiled& r)
         {
             r.frames(2);
             r.construct();
             ASSERT_EQ(r.system().getNumRenderCalls(), 1u);
             const Quad quad = firstQuad(r.system().getMesh(0));
             // The emitter's rotation turns the 40 by 10 rectangle a quarter about z.
             EXPECT_TRUE(near(quad.high - quad.low, glm::vec3(10.0f, 40.0f, 0.0f)));
             // Cell 3 of 2 columns and 4 rows: column 1 of row 1, counted from the top.
             EXPECT_TRUE(near(quad.tex0, glm::vec2(0.5f, 0.5f)));
         },
         glm::vec3(0.0f), kQuarterZ},
        {"everything fed from parameters",
         [](Scene& s)
         {
             s.periodic(10.0f);
             s.positioner();
             auto& quads = s.add(BlockConstructQuads::create());
             const Block& size = s.paramConst<float>(8.0f);
             const Block& angle = s.paramConst<float>(90.0f);
             const Block& origin = s.paramConst<glm::vec2>(glm::vec2(0.5f, 0.5f));
             const Block& color = s.paramConst<glm::vec3>(glm::vec3(0.0f, 1.0f, 0.0f));
             const Block& alpha = s.paramConst<float>(1.0f);
             quads.setSizeExternal(true);
             quads.setFacedRotationExternal(true);
             quads.setOriginExternal(true);
             quads.setColorExternal(true);
             quads.setAlphaExternal(true);
             Scene::link(angle, 1, quads, 1);
             Scene::link(origin, 1, quads, 7);
             Scene::link(size, 1, quads, 3);
             Scene::link(color, 1, quads, 4);
             Scene::link(alpha, 1, quads, 5);
         },
         [](Compiled& r)
         {
             r.frames(2);
             r.construct();
             const Quad quad = firstQuad(r.system().getMesh(0));
             EXPECT_TRUE(near(quad.low, glm::vec3(-4.0f, -4.0f, 0.0f)));
             EXPECT_TRUE(near(quad.high, glm::vec3(4.0f, 4.0f, 0.0f)));
             EXPECT_EQ(quad.color, 0xFF00FF00u);
         }},
    });
}

// A quads emitter and a strip emitter with their own textures: two meshes and two render
// styles, and each emitter draws with its own.
TEST(ExportRootBlocks, StripConstructorDrawsWithItsOwnMeshAndStyle)
{
    for (const bool freeRotation : {false, true})
    {
        SCOPED_TRACE(freeRotation ? "free rotation" : "facing the camera");
        Scene s;
        s.periodic(10.0f);
        s.positioner();
        s.add(BlockConstructQuads::create());

        Emitter& second = s.addEmitter("strip");
        s.periodic(10.0f, 1, 0.0f, &second);
        BlockPositioner& positioner = s.positioner(glm::vec3(0.0f), &second);
        positioner.setPositionExternal(true);
        Scene::link(s.add(BlockGlobEmitterPos::create(), &second), 0, positioner, 0);
        auto& strip = s.add(BlockConstructStrip::create(), &second);
        strip.setTexture(std::string("strip.png"));
        strip.setColor(glm::vec3(0.0f, 0.0f, 1.0f));
        strip.setSize(4.0f);
        strip.setTexRepeatDist(10.0f);
        if (freeRotation)
        {
            strip.setHasFreeRotation(true);
            Scene::link(s.add(BlockGlobEmitterRot::create(), &second), 0, strip, 2);
        }

        std::unique_ptr<Compiled> r = compile(s);
        ASSERT_TRUE(r);
        ASSERT_EQ(r->compiler->meshes().size(), 2u);
        ASSERT_EQ(r->compiler->renderStyles().size(), 2u);
        for (int i = 1; i <= 5; ++i)
        {
            r->position = glm::vec3(5.0f * static_cast<float>(i), 0.0f, 0.0f);
            r->frames(1);
        }
        r->construct();
        ASSERT_EQ(r->system().getNumRenderCalls(), 2u);
        const Ps::RenderCall& quads = r->system().getRenderCall(0);
        const Ps::RenderCall& ribbon = r->system().getRenderCall(1);
        EXPECT_EQ(quads.meshIndex, 0u);
        EXPECT_EQ(quads.renderStyleIndex, 0u);
        EXPECT_EQ(ribbon.meshIndex, 1u);
        EXPECT_EQ(ribbon.renderStyleIndex, 1u);
        EXPECT_GT(ribbon.numPolygons, 0u);
    }
}

}  // namespace
