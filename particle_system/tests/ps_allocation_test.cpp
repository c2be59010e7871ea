// The runtime allocates nothing while it runs: this test replaces the global operator new and
// delete, and the C allocation functions, with counting versions, and runs instances of a
// non-trivial effect for hundreds of frames of update and construct.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "particle_system/ps_mesh.h"
#include "test_support/ps_constructor_test_writer.h"
#include "ps_determinism_dump.h"
#include "ps_functions_effect.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

extern "C"
{
    void* __libc_malloc(size_t size);
    void* __libc_calloc(size_t count, size_t size);
    void* __libc_realloc(void* p, size_t size);
    void __libc_free(void* p);
}

namespace
{

std::atomic<bool> gCounting{false};
std::atomic<unsigned> gAllocations{0};
std::atomic<unsigned> gReleases{0};

void noteAllocation()
{
    if (gCounting.load(std::memory_order_relaxed))
        gAllocations.fetch_add(1, std::memory_order_relaxed);
}

void noteRelease(void* p)
{
    if (p && gCounting.load(std::memory_order_relaxed))
        gReleases.fetch_add(1, std::memory_order_relaxed);
}

void* allocate(std::size_t size)
{
    noteAllocation();
    void* p = __libc_malloc(size ? size : 1);
    if (!p)
        throw std::bad_alloc();
    return p;
}

void* allocateAligned(std::size_t size, std::align_val_t alignment)
{
    noteAllocation();
    void* p = nullptr;
    if (posix_memalign(&p, static_cast<std::size_t>(alignment), size ? size : 1) != 0)
        throw std::bad_alloc();
    return p;
}

}  // namespace

extern "C"
{
    void* malloc(size_t size)
    {
        noteAllocation();
        return __libc_malloc(size);
    }
    void* calloc(size_t count, size_t size)
    {
        noteAllocation();
        return __libc_calloc(count, size);
    }
    void* realloc(void* p, size_t size)
    {
        noteAllocation();
        return __libc_realloc(p, size);
    }
    void free(void* p)
    {
        noteRelease(p);
        __libc_free(p);
    }
}

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return __libc_malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return __libc_malloc(size ? size : 1);
}
void* operator new(std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
void* operator new[](std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
void operator delete(void* p) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete[](void* p) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete(void* p, std::align_val_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept
{
    noteRelease(p);
    __libc_free(p);
}

namespace
{

using PsTest::EffectWriter;
using PsTest::EmitterWriter;
using PsTest::Ext;
using PsTest::In;

// A tree of two emitters with parameters, globals, updaters, both terminators and depth
// sorting. What the available readers allow: no constructors or function operations.
std::vector<uint8_t> busyEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).noSeed().presim(0.5f).renderCalls(2000);

    EmitterWriter& child = effect.emitter();  // 0
    child.generatorDistance(Ext(0.05f), 0.0f, 2);
    const uint8_t childLife = child.parameterLifetime();
    child.terminatorLess(In{childLife, 0}, Ext(0.3f));
    const uint8_t glob = child.globParam(Ext(1.0f));
    child.updateChain({childLife}).maxParticles(16).standalone(false).sorting(1);
    (void)glob;

    EmitterWriter& e = effect.emitter();                                                      // 1
    e.generatorPeriodic(Ext(240.0f), 0.0f, 3);                                                // 0
    const uint8_t life = e.parameterLifetime();                                               // 1
    const uint8_t start = e.parameterPositionIniter(true, Ext(glm::vec3(0.0f, 1.0f, 0.0f)));  // 2
    const uint8_t vel =
        e.parameterVelocityIniter(Ext(glm::vec3(1.0f, 0.5f, 0.0f)), true, true);       // 3
    const uint8_t time = e.globTime();                                                 // 4
    const uint8_t sys = e.globSystemTime();                                            // 5
    const uint8_t count = e.globNumParticles();                                        // 6
    const uint8_t epos = e.globEmitterPos();                                           // 7
    const uint8_t edir = e.globEmitterDir();                                           // 8
    const uint8_t erot = e.globEmitterRot();                                           // 9
    const uint8_t birth = e.parameter(In{time, 0}, Ps::VT_Float);                      // 10
    const uint8_t drift = e.parameter(In{epos, 0}, Ps::VT_Vec3);                       // 11
    const uint8_t upd = e.parameterUpdater(Ps::VT_Vec3, drift, In{edir, 0});           // 12
    const uint8_t posUpd = e.parameterPositionUpdater(In{drift, 0});                   // 13
    const uint8_t initer = e.parameterEmitterIniter(0, false);                         // 14
    const uint8_t runner = e.parameterEmitter(0, false);                               // 15
    const uint8_t param = e.parameterEmitterParam(Ps::VT_Float, In{sys, 0}, 0, 3, 0);  // 16
    e.terminatorLess(In{life, 0}, Ext(0.7f));                                          // 17
    e.terminatorPath({{{1, glm::vec2(0.0f, 3.0f), glm::vec2(0.6f, 0.8f), 2.0f}}});     // 18
    e.initBoth({start, vel, time, count, birth, epos, drift, initer});
    e.updateChain({life, sys, epos, edir, erot, upd, posUpd, runner, param});
    e.maxParticles(200).sorting(2).connect(0, true);
    (void)count;
    return effect.bytes();
}

TEST(PsAllocation, UpdateAndConstructAllocateNothing)
{
    // Everything is made before counting: the effect, two instances, the render configuration.
    PsTest::Running a = PsTest::run(busyEffect());
    PsTest::Running b = PsTest::run(busyEffect());
    std::optional<Ps::RenderConfig> config{Ps::RenderConfig{}};
    config->emitters.resize(2);
    for (auto& entry : config->emitters)
    {
        entry.renderPositions = true;
        entry.positionsId = 3;
    }
    const std::optional<Ps::RenderConfig> none;

    gAllocations = 0;
    gReleases = 0;
    gCounting = true;
    uint32_t maxParticles = 0;
    uint32_t maxPositions = 0;
    for (int f = 0; f < 600; ++f)
    {
        const float angle = 0.01f * static_cast<float>(f);
        const glm::vec3 position(std::cos(angle) * 3.0f, std::sin(angle) * 2.0f, 0.0f);
        const glm::quat rotation(std::cos(angle * 0.5f), 0.0f, 0.0f, std::sin(angle * 0.5f));
        a.get().update(position, rotation, 0.007f + 0.02f * static_cast<float>(f % 3));
        b.get().updateFrame(position, rotation);
        a.get().construct(glm::vec3(0, 0, 1), glm::vec3(0, 1, 0), glm::vec3(1, 0, 0), config);
        b.get().construct(glm::vec3(0, 0, -1), glm::vec3(0, 1, 0), glm::vec3(-1, 0, 0), none);
        maxParticles = std::max(maxParticles, a.get().getStats().numParticles);
        maxPositions = std::max(maxPositions, a.get().getPositionsMesh().getNumVertices());
        if (f == 300)
            b.emitter().reset(glm::vec3(0.0f), std::nullopt);
    }
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0u);
    EXPECT_EQ(gReleases.load(), 0u);
    // The effect did run: many particles, children, positions.
    EXPECT_GT(maxParticles, 100u);
    EXPECT_GT(maxPositions, 100u);
    EXPECT_GT(a.get().getStats().emitters[0].numEmitters, 10u);
}

TEST(PsAllocation, TheCounterSeesAllocations)
{
    gAllocations = 0;
    gCounting = true;
    std::vector<int>* v = new std::vector<int>(10);
    void* m = std::malloc(16);
    gCounting = false;
    std::free(m);
    delete v;
    EXPECT_EQ(gAllocations.load(), 3u);
}

// Geometry: quads (faced with a grid cell, free) and strips (camera sided, free)
// sharing meshes, with wireframes and positions asked for.
std::vector<uint8_t> constructorsEffect()
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(11).renderCalls(400);
    effect.material(Ps::MAT_Normal).material(Ps::MAT_Add);
    effect.texture("a.png");
    effect.renderStyle(0, {0});
    effect.renderStyle(1, {0});
    effect.mesh(200, Ps::MF_Quads, true, true);
    effect.mesh(200, Ps::MF_Strip, false, true);
    for (int i = 0; i < 4; ++i)
    {
        EmitterWriter& e = effect.emitter();
        e.generatorPeriodic(Ext(120.0f), 0.0f, 1);
        const uint8_t life = e.parameterLifetime();
        e.terminatorLess(In{life, 0}, Ext(0.8f));
        const uint8_t rotation = e.funcDistrib(
            Ext(glm::angleAxis(0.3f * static_cast<float>(i + 1), glm::vec3(0, 1, 0))));
        if (i < 2)
        {
            PsTest::QuadsFields fields;
            fields.style = static_cast<uint8_t>(i);
            fields.facedAngle = Ext(In{life, 0});
            if (i == 1)
            {
                fields.rotationOp = Ps::CGO_Free;
                fields.freeRotation = In{rotation, 0};
            }
            fields.texOp = Ps::CTO_Grid;
            fields.columns = 3;
            fields.rows = 2;
            fields.gridIndex = In{life, 0};
            PsTest::constructorQuads(e, fields);
        }
        else
        {
            PsTest::StripFields fields;
            fields.mesh = 1;
            fields.hasFreeRotation = i == 3;
            fields.rotation = In{rotation, 0};
            fields.size = Ext(In{life, 0});
            PsTest::constructorStrip(e, fields);
        }
        e.updateChain({life})
            .constructChain({rotation})
            .maxParticles(100)
            .sorting(static_cast<uint8_t>(i % 3));
    }
    return effect.bytes();
}

TEST(PsAllocation, ConstructorsAllocateNothing)
{
    PsTest::Running r = PsTest::run(constructorsEffect());
    std::optional<Ps::RenderConfig> config{Ps::RenderConfig{}};
    config->emitters.resize(4);
    for (uint32_t i = 0; i < 4; ++i)
    {
        config->emitters[i].wireframeId = i + 1;
        config->emitters[i].renderPositions = true;
        config->emitters[i].positionsId = 7;
    }
    const std::optional<Ps::RenderConfig> none;

    gAllocations = 0;
    gReleases = 0;
    gCounting = true;
    uint32_t maxPolygons = 0;
    for (int f = 0; f < 300; ++f)
    {
        const float angle = 0.02f * static_cast<float>(f);
        r.get().updateFrame(glm::vec3(40.0f * std::cos(angle), 25.0f * std::sin(angle), 0.0f),
                            PsTest::kIdentity);
        r.get().construct(glm::vec3(0, 0, -1), glm::vec3(0, 1, 0), glm::vec3(1, 0, 0),
                          f % 2 ? config : none);
        maxPolygons = std::max(maxPolygons, r.get().getStats().numPolygons);
    }
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0u);
    EXPECT_EQ(gReleases.load(), 0u);
    // All four built geometry.
    EXPECT_GT(maxPolygons, 300u);
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_GT(r.get().getStats().emitters[i].numPolygons, 0u) << i;
}

// Curves, a path, a painted area, linear and cubic noise and expressions, per particle in the
// init, update and construct chains, with quads built from them.
TEST(PsAllocation, FunctionOperationsAllocateNothing)
{
    PsTest::Running a = PsTest::run(PsTest::functionsEffect(3));
    PsTest::Running b = PsTest::run(PsTest::functionsEffect(4));
    std::optional<Ps::RenderConfig> config{Ps::RenderConfig{}};
    config->emitters.resize(1);
    config->emitters[0].wireframeId = 5;
    config->emitters[0].renderPositions = true;
    config->emitters[0].positionsId = 2;
    const std::optional<Ps::RenderConfig> none;
    // Where each particle keeps its values (life, area point, phase, cubic noise, path
    // direction), found before counting.
    Ps::EmitterInst& watched = a.emitter();
    const std::vector<PsDeterminism::ValueSlot> slots = PsDeterminism::particleValueSlots(watched);
    ASSERT_EQ(5u, slots.size());
    uint32_t numFloats = 0;
    for (const PsDeterminism::ValueSlot& slot : slots)
        numFloats += slot.size / 4;
    ASSERT_EQ(10u, numFloats);  // 1 + 2 + 1 + 3 + 3
    std::array<float, 10> lowest;
    std::array<float, 10> highest;
    lowest.fill(1e30f);
    highest.fill(-1e30f);
    glm::vec3 lowPosition(1e30f), highPosition(-1e30f);
    uint32_t lowColour = 0xffffffffu, highColour = 0;

    gAllocations = 0;
    gReleases = 0;
    gCounting = true;
    uint32_t minParticles = 0xffffffffu;
    uint32_t maxPolygons = 0;
    uint32_t maxWireframe = 0;
    for (int f = 0; f < 600; ++f)
    {
        const float angle = 0.015f * static_cast<float>(f);
        const glm::vec3 position(std::cos(angle) * 4.0f, std::sin(angle), 0.0f);
        const glm::quat rotation(std::cos(angle * 0.5f), 0.0f, std::sin(angle * 0.5f), 0.0f);
        a.get().update(position, rotation, 0.01f + 0.01f * static_cast<float>(f % 3));
        b.get().updateFrame(position, rotation);
        a.get().construct(glm::vec3(0, 0, 1), glm::vec3(0, 1, 0), glm::vec3(1, 0, 0),
                          f % 2 ? config : none);
        b.get().construct(glm::vec3(0, 0, -1), glm::vec3(0, 1, 0), glm::vec3(-1, 0, 0), config);
        if (f < 120)
            continue;  // past the start, when the pool has filled
        minParticles = std::min(minParticles, watched.getNumActiveParticles());
        maxPolygons = std::max(maxPolygons, a.get().getStats().numPolygons);
        maxWireframe = std::max(maxWireframe, b.get().getWireframeMesh().getNumVertices());
        // The active list, from the newest; it ends with a particle linked to itself.
        std::optional<uint32_t> next = watched.getHead();
        while (next)
        {
            const uint32_t i = *next;
            next = watched.getLink(i) == i ? std::nullopt
                                           : std::optional<uint32_t>(watched.getLink(i));
            const uint8_t* record = watched.getParticleDynamicDataAt(i);
            uint32_t k = 0;
            for (const PsDeterminism::ValueSlot& slot : slots)
                for (uint32_t o = 0; o < slot.size; o += 4, ++k)
                {
                    float v;
                    std::memcpy(&v, record + slot.offset + o, sizeof v);
                    lowest[k] = std::min(lowest[k], v);
                    highest[k] = std::max(highest[k], v);
                }
            const glm::vec3& p = watched.getParticleInfoAt(i).position;
            lowPosition = glm::min(lowPosition, p);
            highPosition = glm::max(highPosition, p);
        }
        const Ps::Mesh& mesh = a.get().getMesh(0);
        for (uint32_t v = 0; v < mesh.getNumVertices(); ++v)
        {
            uint32_t colour;
            std::memcpy(&colour, mesh.getVertex(v) + mesh.getColorOffset(), sizeof colour);
            lowColour = std::min(lowColour, colour & 0xffffffu);
            highColour = std::max(highColour, colour & 0xffffffu);
        }
    }
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0u);
    EXPECT_EQ(gReleases.load(), 0u);

    // The particles lived and were built: the pool stayed well filled, quads in every frame,
    // wireframes copied.
    EXPECT_GT(minParticles, 100u);
    EXPECT_GT(maxPolygons, 200u);
    EXPECT_GT(maxWireframe, 400u);
    EXPECT_GT(b.get().getStats().numParticles, 100u);
    // And the functions gave values that vary from particle to particle: age up to 1.5 s, area
    // points across the painted cells ((-4, -2) to (4, 2), the middle third unpainted), phases,
    // noise, path directions, positions, noise colours.
    EXPECT_LT(lowest[0], 0.1f);
    EXPECT_GT(highest[0], 1.3f);
    EXPECT_LT(lowest[1], -2.0f);
    EXPECT_GT(highest[1], 2.0f);
    EXPECT_LT(lowest[2], -1.0f);
    EXPECT_GT(highest[2], 1.0f);
    EXPECT_LT(lowest[3], -0.5f);
    EXPECT_GT(highest[3], 0.5f);
    for (uint32_t k = 4; k < 10; ++k)
        EXPECT_GT(highest[k] - lowest[k], 0.1f) << k;
    for (int c = 0; c < 3; ++c)
        EXPECT_GT(highPosition[c] - lowPosition[c], 1.0f) << c;
    EXPECT_NE(lowColour, highColour);
}

}  // namespace
