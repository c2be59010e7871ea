// The text of `scintari run --dump-mesh`.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>

#include "mesh_dump.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system_inst.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"

namespace
{

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

TEST(MeshDump, PrintsCallsVerticesAndTriangles)
{
    PsTest::EffectWriter effect;
    effect.fps(10.0f).fixedSeed(1).material(Ps::MAT_Normal);
    effect.texture("t.png");
    effect.renderStyle(0, {0});
    effect.mesh(2, Ps::MF_Quads, true, true);
    effect.mesh(2, Ps::MF_Strip, false, true);
    effect.renderCalls(2);
    PsTest::EmitterWriter& emitter = effect.emitter();
    emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, 1, std::nullopt, 1u);
    PsTest::QuadsFields fields;
    fields.size = PsTest::Ext(2.0f);
    fields.color = PsTest::Ext(glm::vec3(1.0f, 0.5f, 0.0f));
    PsTest::constructorQuads(emitter, fields);
    emitter.maxParticles(1);
    const std::vector<uint8_t> bytes = effect.bytes();

    Ps::MemManagedContext context;
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<Ps::uint32>(bytes.size()),
                                    context.get());
    Ps::MemManagedSystemInst inst(shell.getSystem(), glm::vec3(1.0f, 2.0f, 3.0f),
                                  glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    inst.get().updateFrame(glm::vec3(1.0f, 2.0f, 3.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));

    std::ostringstream out;
    Scintari::dumpMeshes(out, inst.get(), Scintari::MeshDumpCamera());
    const std::vector<std::string> expected = {
        "camera dir 0 0 -1 up 0 1 0 right 1 0 0",
        "render_calls 1",
        "call 0 mesh 0 style 0 start 0 polygons 2",
        "meshes 2",
        "mesh 0 vertices 4 max 8 indices 6 max 12 stride 36 position 3 normals 1 colors 1 channels "
        "2",
        "vertex 0 pos 0 1 3 normal 0 0 -1 color 255 127 0 255 uv 0 0",
        "vertex 1 pos 0 3 3 normal 0 0 -1 color 255 127 0 255 uv 0 1",
        "vertex 2 pos 2 3 3 normal 0 0 -1 color 255 127 0 255 uv 1 1",
        "vertex 3 pos 2 1 3 normal 0 0 -1 color 255 127 0 255 uv 1 0",
        "triangle 0 0 3 1",
        "triangle 1 1 3 2",
        "mesh 1 vertices 0 max 10 indices 0 max 18 stride 24 position 3 normals 0 colors 1 "
        "channels 2",
    };
    EXPECT_EQ(expected, lines(out.str()));
}

TEST(MeshDump, CameraOptionTakesNineNumbers)
{
    Scintari::MeshDumpCamera camera;
    std::string why;
    std::vector<std::string> args = {"--camera", "1", "0", "0", "0", "0", "1", "0", "-1", "0", "x"};
    size_t i = 0;
    ASSERT_TRUE(Scintari::parseMeshDumpCamera(args, i, camera, why)) << why;
    EXPECT_EQ(9u, i);
    EXPECT_EQ(1.0f, camera.dir.x);
    EXPECT_EQ(1.0f, camera.up.z);
    EXPECT_EQ(-1.0f, camera.right.y);

    args = {"--camera", "1", "0", "zero"};
    i = 0;
    EXPECT_FALSE(Scintari::parseMeshDumpCamera(args, i, camera, why));
    EXPECT_FALSE(why.empty());
}

}  // namespace
