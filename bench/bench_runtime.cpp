// The particle runtime's inner loop: one emitter with 100,000 live particles and a realistic
// update chain (lifetime, globals, parameter updaters, position updater) and a lifetime
// terminator, against a hand-written loop doing the same arithmetic on plain arrays.
// The counter "per_particle" is the time per particle and frame.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"

namespace
{

constexpr float kFps = 60.0f;
constexpr float kLifetime = 2.0f;
constexpr float kRate = 50000.0f;  // 100,000 live particles
constexpr std::uint32_t kMaxParticles = 101000;

// --- A minimal writer of the compiled format (the tests have a complete one). ---
struct Writer
{
    Sl::SaverBinFlex s{Sl::BO_Native, Sl::TC_Off};
    void u8(std::uint8_t v) { s.write("", v); }
    void u16(std::uint16_t v) { s.write("", v, Sl::PH_Packed); }
    void u32(std::uint32_t v) { s.write("", v, Sl::PH_Packed); }
    void f32(float v) { s.write("", v); }
    void flag(bool v) { s.write("", v); }
    void in(std::uint8_t op, std::uint8_t output)
    {
        Sl::ScopedSaverGroup g(s);
        u8(op);
        u8(output);
    }
    void extRef(std::uint8_t op, std::uint8_t output)
    {
        Sl::ScopedSaverGroup g(s);
        flag(true);
        in(op, output);
    }
    void extFloat(float v)
    {
        Sl::ScopedSaverGroup g(s);
        flag(false);
        u8(0);
        Sl::ScopedSaverGroup value(s);
        f32(v);
    }
    void extVec3(const glm::vec3& v)
    {
        Sl::ScopedSaverGroup g(s);
        flag(false);
        u8(2);
        Sl::ScopedSaverGroup value(s);
        Sl::ScopedSaverGroup vec(s);
        f32(v.x);
        f32(v.y);
        f32(v.z);
    }
    template <class F>
    void op(std::uint8_t factory, F fields)
    {
        u8(factory);
        Sl::ScopedSaverGroup g(s);
        fields();
    }
    void chain(std::initializer_list<std::uint8_t> ops)
    {
        Sl::ScopedSaverGroup g(s);
        u8(static_cast<std::uint8_t>(ops.size()));
        for (std::uint8_t o : ops)
            u8(o);
    }
};

std::vector<std::uint8_t> effectBytes()
{
    Writer w;
    {
        Sl::ScopedSaverGroup revision(w.s);
        w.flag(false);
    }
    for (int i = 0; i < 4; ++i)
        w.u32(0);  // materials, textures, styles, meshes
    w.u32(1);      // emitters
    w.u8(14);
    w.u16(1);
    w.u16(1);
    w.u16(0);
    // 0 generator, 1 lifetime, 2 start position, 3 velocity, 4 emitter position, 5 emitter velocity,
    // 6 emitter rotation, 7 system time, 8 drift (vec3), 9 age copy (float), 10 drift updater,
    // 11 age updater, 12 position updater, 13 terminator.
    w.op(Ps::OF_GeneratorPeriodic,
         [&]
         {
             {
                 Sl::ScopedSaverGroup g(w.s);
                 w.flag(false);
             }
             {
                 Sl::ScopedSaverGroup g(w.s);
                 w.flag(false);
             }
             w.extFloat(kRate);
             w.f32(0.0f);
             w.u32(1);
         });
    w.op(Ps::OF_ParameterLifetime, [] {});
    w.op(Ps::OF_ParameterPositionIniter,
         [&]
         {
             w.flag(true);
             w.extVec3(glm::vec3(0.0f, 1.0f, 0.0f));
         });
    w.op(Ps::OF_ParameterVelocityIniter,
         [&]
         {
             w.extVec3(glm::vec3(1.0f, 2.0f, 0.0f));
             w.flag(true);
             w.flag(true);
         });
    w.op(Ps::OF_GlobEmitterPos, [] {});
    w.op(Ps::OF_GlobEmitterDir, [] {});
    w.op(Ps::OF_GlobEmitterRot, [] {});
    w.op(Ps::OF_GlobSystemTime, [] {});
    w.op(Ps::OF_ParameterVec3, [&] { w.extRef(2, 0); });
    w.op(Ps::OF_ParameterFloat, [&] { w.extRef(7, 0); });
    w.op(Ps::OF_ParameterUpdaterVec3,
         [&]
         {
             w.u8(8);
             w.in(4, 0);
         });
    w.op(Ps::OF_ParameterUpdaterFloat,
         [&]
         {
             w.u8(9);
             w.in(1, 0);
         });
    w.op(Ps::OF_ParameterPositionUpdater, [&] { w.extRef(8, 0); });
    w.op(Ps::OF_TerminatorLess,
         [&]
         {
             w.extRef(1, 0);
             w.extFloat(kLifetime);
         });
    w.chain({});                           // generator
    w.chain({2, 3, 7, 8, 9});              // init
    w.chain({2, 3, 8, 9});                 // init burst
    w.chain({1, 4, 5, 6, 7, 10, 11, 12});  // update
    w.chain({});                           // term
    w.chain({});                           // construct
    w.flag(true);
    w.u32(kMaxParticles);
    w.u8(0);
    w.u32(0);
    w.u32(0);  // render calls
    w.f32(kFps);
    {
        Sl::ScopedSaverGroup seed(w.s);
        w.u8(0);
        w.u32(1);
    }
    w.f32(0.0f);
    return w.s.dataAsVector();
}

void BM_RuntimeUpdate(benchmark::State& state)
{
    static Ps::MemManagedContext context;
    const std::vector<std::uint8_t> bytes = effectBytes();
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                    context.get());
    Ps::MemManagedSystemInst holder(shell.getSystem(), glm::vec3(0.0f),
                                    glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    Ps::SystemInst& inst = holder.get();
    // Fill the pool to its steady state.
    const int warmFrames = static_cast<int>(kLifetime * kFps) + 10;
    for (int f = 0; f < warmFrames; ++f)
        inst.updateFrame(glm::vec3(0.0f), glm::quat(1, 0, 0, 0));
    std::uint64_t particles = 0;
    float angle = 0.0f;
    for (auto _ : state)
    {
        angle += 0.01f;
        inst.updateFrame(glm::vec3(std::cos(angle), std::sin(angle), 0.0f),
                         glm::quat(std::cos(angle), 0.0f, 0.0f, std::sin(angle)));
        particles += inst.getStats().numParticles;
    }
    state.counters["particles"] =
        static_cast<double>(inst.getEmitterInst(0).getNumActiveParticles());
    state.counters["per_particle"] = benchmark::Counter(
        static_cast<double>(particles), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_RuntimeUpdate)->Unit(benchmark::kMillisecond);

// The same work by hand: a record per particle in an array, the emitter's values computed once
// per frame, a free list for the dead.
struct Particle
{
    float lifetime;
    glm::vec3 start;
    glm::vec3 velocity;
    glm::vec3 drift;
    float age;
    glm::vec3 position;
    bool alive;
};

void BM_HandWrittenUpdate(benchmark::State& state)
{
    std::vector<Particle> particles(kMaxParticles);
    std::vector<std::uint32_t> active;
    std::vector<std::uint32_t> free;
    active.reserve(kMaxParticles);
    for (std::uint32_t i = kMaxParticles; i-- > 0;)
        free.push_back(i);
    const float dt = 1.0f / kFps;
    float phase = 0.0f;
    float systemTime = 0.0f;
    glm::vec3 emitterPos(0.0f);
    glm::vec3 emitterVel(0.0f);
    float angle = 0.0f;
    auto frame = [&](const glm::vec3& position)
    {
        emitterVel = (position - emitterPos) / dt;
        emitterPos = position;
        float total = dt * kRate + phase;
        while (total >= 1.0f && !free.empty())
        {
            const std::uint32_t i = free.back();
            free.pop_back();
            Particle& p = particles[i];
            p.lifetime = 0.0f;
            p.start = emitterPos + glm::vec3(0.0f, 1.0f, 0.0f);
            p.velocity = glm::vec3(1.0f, 2.0f, 0.0f) + emitterVel;
            p.drift = p.start;
            p.age = systemTime;
            p.position = emitterPos;
            active.push_back(i);
            total -= 1.0f;
        }
        phase = total;
        std::uint64_t walked = 0;
        for (std::size_t k = 0; k < active.size();)
        {
            Particle& p = particles[active[k]];
            ++walked;
            p.lifetime += dt;
            p.drift = emitterPos;
            p.age = p.lifetime;
            p.position = p.drift;
            if (p.lifetime > kLifetime)
            {
                free.push_back(active[k]);
                active[k] = active.back();
                active.pop_back();
            }
            else
            {
                ++k;
            }
        }
        systemTime += dt;
        return walked;
    };
    for (int f = 0; f < static_cast<int>(kLifetime * kFps) + 10; ++f)
        frame(glm::vec3(0.0f));
    std::uint64_t walked = 0;
    for (auto _ : state)
    {
        angle += 0.01f;
        walked += frame(glm::vec3(std::cos(angle), std::sin(angle), 0.0f));
        benchmark::DoNotOptimize(particles.data());
    }
    state.counters["particles"] = static_cast<double>(active.size());
    state.counters["per_particle"] = benchmark::Counter(
        static_cast<double>(walked), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_HandWrittenUpdate)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
