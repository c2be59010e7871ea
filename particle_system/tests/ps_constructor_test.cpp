// Constructors run inside a system instance: the geometry they write into
// the meshes and the render calls that construct makes of it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/constructors/ps_constructor_strip.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_render_config.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"
#include "ps_test_runtime.h"

namespace
{

using glm::vec2;
using glm::vec3;

const vec3 kRight(1, 0, 0);
const vec3 kUp(0, 1, 0);
const vec3 kDir(0, 0, -1);

// One vertex of a mesh, unpacked.
struct Vertex
{
    vec3 position;
    vec3 normal{0.0f};
    uint32_t color = 0;
    vec2 uv{0.0f};
};

Vertex vertexOf(const Ps::Mesh& mesh, uint32_t i)
{
    Vertex v;
    const uint8_t* p = mesh.getVertex(i);
    std::memcpy(&v.position, p, 12);
    if (mesh.hasNormals())
        std::memcpy(&v.normal, p + mesh.getNormalOffset(), 12);
    if (mesh.hasColors())
        std::memcpy(&v.color, p + mesh.getColorOffset(), 4);
    std::memcpy(&v.uv, p + mesh.getTexChannelsOffset(), 8);
    return v;
}

void expectNear(const vec3& expected, const vec3& actual, float tolerance = 1e-4f)
{
    EXPECT_NEAR(expected.x, actual.x, tolerance) << "x";
    EXPECT_NEAR(expected.y, actual.y, tolerance) << "y";
    EXPECT_NEAR(expected.z, actual.z, tolerance) << "z";
}

void expectNear(const vec2& expected, const vec2& actual, float tolerance = 1e-5f)
{
    EXPECT_NEAR(expected.x, actual.x, tolerance) << "u";
    EXPECT_NEAR(expected.y, actual.y, tolerance) << "v";
}

// An effect of one quads emitter that shoots `count` particles at once, at
// the emitter, in its first frame.
struct QuadsEffect
{
    PsTest::EffectWriter effect;

    explicit QuadsEffect(const PsTest::QuadsFields& fields, uint32_t count = 1)
    {
        effect.fps(10.0f).fixedSeed(5);
        effect.material(Ps::MAT_Normal);
        effect.texture("t.png");
        effect.renderStyle(0, {0});
        effect.mesh(count, Ps::MF_Quads, true, true);
        effect.renderCalls(count);
        PsTest::EmitterWriter& emitter = effect.emitter();
        emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, count, std::nullopt, 1u);
        PsTest::constructorQuads(emitter, fields);
        emitter.maxParticles(count);
    }
};

PsTest::Running runOneFrame(const std::vector<uint8_t>& bytes, const vec3& position)
{
    PsTest::Running r = PsTest::run(bytes, position);
    r.get().updateFrame(position, PsTest::kIdentity);
    return r;
}

TEST(PsConstructorQuads, CameraFacingSquareAroundTheParticle)
{
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(10.0f);
    fields.color = PsTest::Ext(vec3(1.0f, 0.0f, 0.0f));
    QuadsEffect e(fields);
    const vec3 p(100.0f, 50.0f, 7.0f);
    PsTest::Running r = runOneFrame(e.effect.bytes(), p);
    ASSERT_EQ(1u, r.emitter().getNumActiveParticles());
    r.get().construct(kDir, kUp, kRight, std::nullopt);

    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(4u, mesh.getNumVertices());
    EXPECT_EQ(6u, mesh.getNumIndices());
    const vec3 expected[4] = {p + vec3(-5, -5, 0), p + vec3(-5, 5, 0), p + vec3(5, 5, 0),
                              p + vec3(5, -5, 0)};
    const vec2 uv[4] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    for (uint32_t k = 0; k < 4; ++k)
    {
        const Vertex v = vertexOf(mesh, k);
        expectNear(expected[k], v.position);
        expectNear(kDir, v.normal);
        EXPECT_EQ(0xFF0000FFu, v.color);
        expectNear(uv[k], v.uv);
    }
    ASSERT_EQ(1u, r.get().getNumRenderCalls());
    const Ps::RenderCall& call = r.get().getRenderCall(0);
    EXPECT_EQ(0u, call.meshIndex);
    EXPECT_EQ(0u, call.renderStyleIndex);
    EXPECT_EQ(0u, call.startPolygon);
    EXPECT_EQ(2u, call.numPolygons);
    EXPECT_EQ(2u, r.get().getStats().numPolygons);
}

TEST(PsConstructorQuads, FacedAngleAndOriginAndRectangle)
{
    PsTest::QuadsFields fields;
    fields.origin = PsTest::Ext(vec2(0.0f, 0.0f));
    fields.facedAngle = PsTest::Ext(90.0f);
    fields.sizeType = Ps::ConstructorQuads::ST_Rect;
    fields.size = PsTest::Ext(vec2(10.0f, 4.0f));
    fields.alpha = PsTest::Ext(0.5f);
    QuadsEffect e(fields);
    const vec3 p(1.0f, 2.0f, 3.0f);
    PsTest::Running r = runOneFrame(e.effect.bytes(), p);
    r.get().construct(kDir, kUp, kRight, std::nullopt);

    // Turned by 90 degrees: U = (0, 1, 0), V = (-1, 0, 0); origin (0, 0) puts the
    // particle at the first corner.
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(4u, mesh.getNumVertices());
    expectNear(p, vertexOf(mesh, 0).position);
    expectNear(p + vec3(-4, 0, 0), vertexOf(mesh, 1).position);
    expectNear(p + vec3(-4, 10, 0), vertexOf(mesh, 2).position);
    expectNear(p + vec3(0, 10, 0), vertexOf(mesh, 3).position);
    // 0.5 * 255 = 127.5, truncated: 127 in the alpha byte.
    EXPECT_EQ(0x7FFFFFFFu, vertexOf(mesh, 0).color);
}

TEST(PsConstructorQuads, FollowsTheCameraVectors)
{
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(2.0f);
    QuadsEffect e(fields);
    PsTest::Running r = runOneFrame(e.effect.bytes(), vec3(0.0f));
    // Looking along +x, z up, right is -y.
    const vec3 dir(1, 0, 0), up(0, 0, 1), right(0, -1, 0);
    r.get().construct(dir, up, right, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(4u, mesh.getNumVertices());
    expectNear(-right - up, vertexOf(mesh, 0).position);
    expectNear(-right + up, vertexOf(mesh, 1).position);
    expectNear(right + up, vertexOf(mesh, 2).position);
    expectNear(right - up, vertexOf(mesh, 3).position);
    expectNear(dir, vertexOf(mesh, 0).normal);
}

TEST(PsConstructorQuads, FreeRotationUsesTheQuaternion)
{
    PsTest::EffectWriter effect;
    effect.fps(10.0f).fixedSeed(5).material(Ps::MAT_Add);
    effect.texture("t.png");
    effect.renderStyle(0, {0});
    effect.mesh(1, Ps::MF_Quads, true, true);
    effect.renderCalls(1);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, 1, std::nullopt, 1u);
    const glm::quat q = glm::angleAxis(glm::radians(90.0f), vec3(1, 0, 0));
    const uint8_t rotation = emitter.funcDistrib(PsTest::Ext(q));
    PsTest::QuadsFields fields;
    fields.rotationOp = Ps::CGO_Free;
    fields.freeRotation = PsTest::In{rotation, 0};
    fields.size = PsTest::Ext(2.0f);
    PsTest::constructorQuads(emitter, fields);
    emitter.maxParticles(1);

    PsTest::Running r = runOneFrame(effect.bytes(), vec3(0.0f));
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    // Around x by 90 degrees: U = (1, 0, 0), V = (0, 0, 1), N = (0, -1, 0); the camera
    // doesn't matter.
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(4u, mesh.getNumVertices());
    expectNear(vec3(-1, 0, -1), vertexOf(mesh, 0).position);
    expectNear(vec3(-1, 0, 1), vertexOf(mesh, 1).position);
    expectNear(vec3(1, 0, 1), vertexOf(mesh, 2).position);
    expectNear(vec3(1, 0, -1), vertexOf(mesh, 3).position);
    expectNear(vec3(0, -1, 0), vertexOf(mesh, 0).normal);
}

TEST(PsConstructorQuads, GridCellAndTextureFrameMoveTheCoordinates)
{
    PsTest::EffectWriter effect;
    effect.fps(10.0f).fixedSeed(5).material(Ps::MAT_Normal);
    effect.texture("atlas.png");
    effect.renderStyle(0, {0});
    effect.mesh(1, Ps::MF_Quads, true, true);
    effect.renderCalls(1);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, 1, std::nullopt, 1u);
    const uint8_t cell = emitter.funcDistrib(PsTest::Ext(7.9f));
    PsTest::QuadsFields fields;
    fields.texOp = Ps::CTO_Grid;
    fields.columns = 4;
    fields.rows = 2;
    fields.gridIndex = PsTest::In{cell, 0};
    PsTest::constructorQuads(emitter, fields);
    emitter.maxParticles(1);

    PsTest::Running r = runOneFrame(effect.bytes(), vec3(0.0f));
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(4u, mesh.getNumVertices());
    // Cell 7 of 4 x 2: the last one, bottom right.
    expectNear(vec2(0.75f, 0.0f), vertexOf(mesh, 0).uv);
    expectNear(vec2(0.75f, 0.5f), vertexOf(mesh, 1).uv);
    expectNear(vec2(1.0f, 0.5f), vertexOf(mesh, 2).uv);
    expectNear(vec2(1.0f, 0.0f), vertexOf(mesh, 3).uv);

    // The host packs the texture into an atlas: a = (0.5, 0), b = (0, 0.5), c = (0.25, 0.5).
    const float a[2] = {0.5f, 0.0f}, b[2] = {0.0f, 0.5f}, c[2] = {0.25f, 0.5f};
    r.shell->getSystem().setTextureFrame(0, a, b, c);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    expectNear(vec2(0.625f, 0.5f), vertexOf(mesh, 0).uv);
    expectNear(vec2(0.625f, 0.75f), vertexOf(mesh, 1).uv);
    expectNear(vec2(0.75f, 0.75f), vertexOf(mesh, 2).uv);
}

TEST(PsConstructorQuads, ManyParticlesGiveTwoPolygonsEachInOneCall)
{
    PsTest::QuadsFields fields;
    QuadsEffect e(fields, 25);
    PsTest::Running r = runOneFrame(e.effect.bytes(), vec3(0.0f));
    ASSERT_EQ(25u, r.emitter().getNumActiveParticles());
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    EXPECT_EQ(100u, r.get().getMesh(0).getNumVertices());
    EXPECT_EQ(150u, r.get().getMesh(0).getNumIndices());
    ASSERT_EQ(1u, r.get().getNumRenderCalls());
    EXPECT_EQ(50u, r.get().getRenderCall(0).numPolygons);
    EXPECT_EQ(50u, r.get().getStats().numPolygons);
    EXPECT_EQ(50u, r.get().getStats().emitters[0].numPolygons);
}

TEST(PsConstruct, TwiceGivesTheSameMeshesAndCalls)
{
    PsTest::QuadsFields fields;
    fields.facedAngle = PsTest::Ext(33.0f);
    QuadsEffect e(fields, 7);
    PsTest::Running r = runOneFrame(e.effect.bytes(), vec3(3.0f, 4.0f, 5.0f));
    for (int i = 0; i < 3; ++i)
        r.get().updateFrame(vec3(3.0f + i, 4.0f, 5.0f), PsTest::kIdentity);

    const vec3 dir = glm::normalize(vec3(0.2f, -0.1f, -1.0f));
    const vec3 right = glm::normalize(glm::cross(dir, kUp));
    const vec3 up = glm::cross(right, dir);
    r.get().construct(dir, up, right, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    const std::vector<uint8_t> first(
        mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices() * mesh.getVertexStride());
    const uint32_t calls = r.get().getNumRenderCalls();
    const Ps::RenderCall call = r.get().getRenderCall(0);

    r.get().construct(dir, up, right, std::nullopt);
    const std::vector<uint8_t> second(
        mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices() * mesh.getVertexStride());
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(first, second);
    ASSERT_EQ(calls, r.get().getNumRenderCalls());
    EXPECT_EQ(call.startPolygon, r.get().getRenderCall(0).startPolygon);
    EXPECT_EQ(call.numPolygons, r.get().getRenderCall(0).numPolygons);
}

// Two emitters of quads, each shooting 3 particles, with the styles given.
std::vector<uint8_t> twoEmitters(uint8_t styleOfSecond, uint8_t meshOfSecond)
{
    PsTest::EffectWriter effect;
    effect.fps(10.0f).fixedSeed(5);
    effect.material(Ps::MAT_Normal).material(Ps::MAT_Add);
    effect.texture("a.png");
    effect.renderStyle(0, {0});
    effect.renderStyle(1, {0});
    effect.mesh(6, Ps::MF_Quads, true, true);
    effect.mesh(3, Ps::MF_Quads, true, true);
    effect.renderCalls(6);
    for (uint8_t i = 0; i < 2; ++i)
    {
        PsTest::EmitterWriter& emitter = effect.emitter();
        emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, 3, std::nullopt, 1u);
        PsTest::QuadsFields fields;
        fields.style = i == 0 ? 0 : styleOfSecond;
        fields.mesh = i == 0 ? 0 : meshOfSecond;
        PsTest::constructorQuads(emitter, fields);
        emitter.maxParticles(3);
    }
    return effect.bytes();
}

TEST(PsConstruct, ConsecutiveEmittersWithTheSameMeshAndStyleMakeOneCall)
{
    PsTest::Running r = runOneFrame(twoEmitters(0, 0), vec3(0.0f));
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    ASSERT_EQ(1u, r.get().getNumRenderCalls());
    EXPECT_EQ(0u, r.get().getRenderCall(0).startPolygon);
    EXPECT_EQ(12u, r.get().getRenderCall(0).numPolygons);
    EXPECT_EQ(24u, r.get().getMesh(0).getNumVertices());
}

TEST(PsConstruct, AnotherStyleStartsANewCallAtItsPolygon)
{
    PsTest::Running r = runOneFrame(twoEmitters(1, 0), vec3(0.0f));
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    ASSERT_EQ(2u, r.get().getNumRenderCalls());
    EXPECT_EQ(0u, r.get().getRenderCall(0).renderStyleIndex);
    EXPECT_EQ(6u, r.get().getRenderCall(0).numPolygons);
    EXPECT_EQ(1u, r.get().getRenderCall(1).renderStyleIndex);
    EXPECT_EQ(6u, r.get().getRenderCall(1).startPolygon);
    EXPECT_EQ(6u, r.get().getRenderCall(1).numPolygons);
}

TEST(PsConstruct, AnotherMeshStartsANewCall)
{
    PsTest::Running r = runOneFrame(twoEmitters(0, 1), vec3(0.0f));
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    ASSERT_EQ(2u, r.get().getNumRenderCalls());
    EXPECT_EQ(1u, r.get().getRenderCall(1).meshIndex);
    EXPECT_EQ(0u, r.get().getRenderCall(1).startPolygon);
    EXPECT_EQ(12u, r.get().getMesh(0).getNumVertices());
    EXPECT_EQ(12u, r.get().getMesh(1).getNumVertices());
}

TEST(PsConstruct, SkippedEmitterWritesNothing)
{
    PsTest::Running r = runOneFrame(twoEmitters(0, 0), vec3(0.0f));
    Ps::RenderConfig config;
    config.emitters.resize(2);
    config.emitters[0].render = false;
    r.get().construct(kDir, kUp, kRight, config);
    ASSERT_EQ(1u, r.get().getNumRenderCalls());
    EXPECT_EQ(6u, r.get().getRenderCall(0).numPolygons);
    EXPECT_EQ(0u, r.get().getStats().emitters[0].numPolygons);
    EXPECT_EQ(6u, r.get().getStats().emitters[1].numPolygons);
}

// --- Strips ---------------------------------------------------------------------------------

// An effect of one strip emitter shooting one particle per frame.
std::vector<uint8_t> stripEffect(uint32_t maxParticles, const PsTest::StripFields& fields,
                                 bool withRotation = false)
{
    PsTest::EffectWriter effect;
    effect.fps(10.0f).fixedSeed(5).material(Ps::MAT_Normal);
    effect.texture("ribbon.png");
    effect.renderStyle(0, {0});
    effect.mesh(maxParticles, Ps::MF_Strip, false, true);
    effect.renderCalls(maxParticles);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(10.0f), 1.0f, 1);
    PsTest::StripFields f = fields;
    if (withRotation)
    {
        const glm::quat q = glm::angleAxis(glm::radians(90.0f), vec3(0, 0, 1));
        f.hasFreeRotation = true;
        f.rotation = PsTest::In{emitter.funcDistrib(PsTest::Ext(q)), 0};
    }
    PsTest::constructorStrip(emitter, f);
    emitter.maxParticles(maxParticles);
    return effect.bytes();
}

// Runs `frames` frames with the emitter moving 10 units along x per frame.
PsTest::Running runMoving(const std::vector<uint8_t>& bytes, int frames)
{
    PsTest::Running r = PsTest::run(bytes, vec3(0.0f));
    for (int i = 1; i <= frames; ++i)
        r.get().updateFrame(vec3(10.0f * i, 0.0f, 0.0f), PsTest::kIdentity);
    return r;
}

TEST(PsConstructorStrip, OneParticleMakesNoTriangles)
{
    PsTest::StripFields fields;
    PsTest::Running r = runMoving(stripEffect(1, fields), 1);
    ASSERT_EQ(1u, r.emitter().getNumActiveParticles());
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    EXPECT_EQ(0u, r.get().getMesh(0).getNumVertices());
    EXPECT_EQ(0u, r.get().getMesh(0).getNumIndices());
    EXPECT_EQ(0u, r.get().getNumRenderCalls());
}

TEST(PsConstructorStrip, NParticlesGiveNMinusOneJoinedSegments)
{
    PsTest::StripFields fields;
    fields.size = PsTest::Ext(4.0f);
    fields.color = PsTest::Ext(vec3(0.0f, 1.0f, 0.0f));
    PsTest::Running r = runMoving(stripEffect(10, fields), 5);
    const uint32_t n = r.emitter().getNumActiveParticles();
    ASSERT_GE(n, 3u);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(5u * (n - 1), mesh.getNumVertices());
    EXPECT_EQ(9u * (n - 1), mesh.getNumIndices());
    ASSERT_EQ(1u, r.get().getNumRenderCalls());
    EXPECT_EQ(3u * (n - 1), r.get().getRenderCall(0).numPolygons);

    // Newest first: each particle's segment runs from its younger neighbour's place
    // towards the place before it; the newest one's record holds the emitter's place.
    const std::vector<vec3> positions = PsTest::activePositions(r.emitter());
    ASSERT_EQ(n, positions.size());
    const vec3 emitterPosition = r.emitter().getEmitterPosition();
    for (uint32_t s = 0; s + 1 < n; ++s)
    {
        // Older first sorting draws the newest first: segment s belongs to particle s + 1.
        const vec3 from = positions[s];
        const vec3 to = s == 0 ? emitterPosition : positions[s - 1];
        const Vertex v0 = vertexOf(mesh, 5 * s + 0), v1 = vertexOf(mesh, 5 * s + 1);
        const Vertex v2 = vertexOf(mesh, 5 * s + 2), v3 = vertexOf(mesh, 5 * s + 3);
        const Vertex v4 = vertexOf(mesh, 5 * s + 4);
        expectNear(from, 0.5f * (v0.position + v1.position));
        expectNear(to, v3.position);
        expectNear(to, 0.5f * (v2.position + v4.position));
        for (const Vertex& v : {v0, v1, v2, v3, v4})
            EXPECT_TRUE(std::isfinite(v.position.x) && std::isfinite(v.position.y) &&
                        std::isfinite(v.position.z));
        // Half the size to each side, across the ribbon and across the view. A
        // particle born where the emitter stands makes a segment of no length.
        if (glm::length(to - from) > 1e-3f)
        {
            EXPECT_NEAR(4.0f, glm::length(v1.position - v0.position), 1e-4f);
            EXPECT_NEAR(0.0f, glm::dot(v1.position - v0.position, to - from), 1e-3f);
        }
        EXPECT_NEAR(0.0f, glm::dot(v1.position - v0.position, kDir), 1e-4f);
        EXPECT_EQ(0xFF00FF00u, v0.color);
        EXPECT_NEAR(0.0f, v0.uv.y, 1e-6f);
        EXPECT_NEAR(1.0f, v1.uv.y, 1e-6f);
        EXPECT_NEAR(0.5f, v3.uv.y, 1e-6f);
        if (s > 0)
        {
            // The ribbon is joined: this segment's far end is the previous one's near end.
            expectNear(vertexOf(mesh, 5 * (s - 1) + 1).position, v2.position);
            expectNear(vertexOf(mesh, 5 * (s - 1) + 0).position, v4.position);
            EXPECT_NEAR(vertexOf(mesh, 5 * (s - 1) + 0).uv.x, v2.uv.x, 1e-5f);
        }
        // u grows along the ribbon by the segment's length over the repetition.
        EXPECT_NEAR(glm::length(to - from) / 30.0f, v0.uv.x - v3.uv.x, 1e-4f);
    }
}

TEST(PsConstructorStrip, SideIsTheWayToTheOlderEndCrossedWithTheView)
{
    PsTest::StripFields fields;
    fields.size = PsTest::Ext(4.0f);
    PsTest::Running r = runMoving(stripEffect(10, fields), 5);
    const uint32_t n = r.emitter().getNumActiveParticles();
    ASSERT_GE(n, 3u);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_EQ(5u * (n - 1), mesh.getNumVertices());
    const std::vector<vec3> positions = PsTest::activePositions(r.emitter());
    const vec3 emitterPosition = r.emitter().getEmitterPosition();
    int checked = 0;
    for (uint32_t s = 0; s + 1 < n; ++s)
    {
        const vec3 from = positions[s];
        const vec3 to = s == 0 ? emitterPosition : positions[s - 1];
        if (glm::length(to - from) <= 1e-3f)
            continue;
        // side = normalize((near end - far end) x view direction); vertex 1 lies
        // half the size along it, vertex 0 against it. The far end shares it:
        // the younger record takes the side of the older one.
        const vec3 side = glm::normalize(glm::cross(from - to, kDir));
        expectNear(4.0f * side,
                   vertexOf(mesh, 5 * s + 1).position - vertexOf(mesh, 5 * s + 0).position);
        expectNear(4.0f * side,
                   vertexOf(mesh, 5 * s + 2).position - vertexOf(mesh, 5 * s + 4).position);
        // The emitter runs along +x, so the older end lies towards -x and the
        // side, seen along -z, points down.
        expectNear(vec3(0.0f, -4.0f, 0.0f),
                   vertexOf(mesh, 5 * s + 1).position - vertexOf(mesh, 5 * s + 0).position);
        ++checked;
    }
    EXPECT_GE(checked, 2);
}

TEST(PsConstructorStrip, NewestUStartsFromTheTravelledDistance)
{
    PsTest::StripFields fields;
    fields.texRepetition = PsTest::Ext(30.0f);
    PsTest::Running r = runMoving(stripEffect(10, fields), 4);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_GE(mesh.getNumVertices(), 5u);
    const double travelled = r.emitter().getTraveledDistance();
    EXPECT_NEAR(40.0, travelled, 1e-4);
    const float expectedU = static_cast<float>(1.0 - std::fmod(travelled / 30.0, 1.0));
    // The far end of the first segment is the newest particle's record.
    EXPECT_NEAR(expectedU, vertexOf(mesh, 2).uv.x, 1e-5f);
}

TEST(PsConstructorStrip, FreeRotationGivesTheSideOfTheQuaternion)
{
    PsTest::StripFields fields;
    fields.size = PsTest::Ext(2.0f);
    PsTest::Running r = runMoving(stripEffect(10, fields, true), 3);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_GE(mesh.getNumVertices(), 5u);
    // Around z by 90 degrees: the second column is (-1, 0, 0), at both ends.
    const Vertex v0 = vertexOf(mesh, 0), v1 = vertexOf(mesh, 1);
    const Vertex v2 = vertexOf(mesh, 2), v4 = vertexOf(mesh, 4);
    expectNear(vec3(-2, 0, 0), v1.position - v0.position);
    expectNear(vec3(-2, 0, 0), v2.position - v4.position);
}

TEST(PsConstructorStrip, TextureFrameMovesItsCoordinates)
{
    PsTest::StripFields fields;
    PsTest::Running r = runMoving(stripEffect(10, fields), 3);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    ASSERT_GE(mesh.getNumVertices(), 10u);
    std::vector<vec2> plain;
    for (uint32_t i = 0; i < mesh.getNumVertices(); ++i)
        plain.push_back(vertexOf(mesh, i).uv);

    // a = (0, 1), b = (0.5, 0), c = (0.25, 0.125): u and v change places, v is halved.
    const float a[2] = {0.0f, 1.0f}, b[2] = {0.5f, 0.0f}, c[2] = {0.25f, 0.125f};
    r.shell->getSystem().setTextureFrame(0, a, b, c);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    for (uint32_t i = 0; i < mesh.getNumVertices(); ++i)
        expectNear(vec2(0.5f * plain[i].y + 0.25f, plain[i].x + 0.125f), vertexOf(mesh, i).uv);
}

TEST(PsConstructorStrip, ConstructTwiceGivesTheSameRibbon)
{
    PsTest::StripFields fields;
    PsTest::Running r = runMoving(stripEffect(10, fields), 6);
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const Ps::Mesh& mesh = r.get().getMesh(0);
    const std::vector<uint8_t> first(
        mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices() * mesh.getVertexStride());
    r.get().construct(kDir, kUp, kRight, std::nullopt);
    const std::vector<uint8_t> second(
        mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices() * mesh.getVertexStride());
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(first, second);
}

}  // namespace
