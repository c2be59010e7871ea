// A minimal game host of the Scintari runtime. It loads a compiled effect, plays it at a
// variable frame rate while moving the emitter, builds the geometry every frame and draws it
// with a small software renderer of its own. Built with -fno-exceptions: every refusal comes
// back as a value (particle_system/ps_system_factory.h).
//
//   minimal_host <effect.bin> [--frames N] [--every K] [--seed N] [--dt X] [--ppm FILE]
//
// --dt X drives the effect as `scintari run --update-dt X` does (fixed steps, the emitter
// standing at the origin), so that the two programs' counts can be compared.
// Exit codes: 0 done, 1 usage, 2 the file can't be read or the effect is refused, 3 a call
// of the run was refused.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_log_handler.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_system_inst.h"

#include "soft_renderer.h"

namespace
{

struct Options
{
    std::string file;
    unsigned frames = 240;
    unsigned every = 30;
    unsigned seed = 1;
    std::optional<float> dt;
    std::string ppm;
};

bool parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        char* end = nullptr;
        if ((arg == "--frames" || arg == "--every" || arg == "--seed") && value)
        {
            const unsigned long n = std::strtoul(value, &end, 0);
            if (*end || n > 0xffffffffu)
                return false;
            (arg == "--frames"  ? options.frames
             : arg == "--every" ? options.every
                                : options.seed) = static_cast<unsigned>(n);
            ++i;
        }
        else if (arg == "--dt" && value)
        {
            const float dt = std::strtof(value, &end);
            if (*end || !(dt > 0.0f))
                return false;
            options.dt = dt;
            ++i;
        }
        else if (arg == "--ppm" && value)
        {
            options.ppm = value;
            ++i;
        }
        else if (options.file.empty() && arg[0] != '-')
        {
            options.file = arg;
        }
        else
        {
            return false;
        }
    }
    return !options.file.empty() && options.every > 0;
}

// The runtime's own records (its broken checks, its warnings) go to the game's log; here,
// standard error. Called on the thread that logs.
void logToStderr(Debug::LogLevel level, const char* file, int line, const char*,
                 const std::string& text)
{
    if (level >= Debug::LogLevel::Warning)
        std::fprintf(stderr, "runtime: %s (%s:%d)\n", text.c_str(), file, line);
}

// A frame time as a game sees it: about 60 a second, uneven, with a hitch now and then.
float gameFrameTime(unsigned frame, uint32_t& random)
{
    random = random * 1664525u + 1013904223u;
    if (frame % 97 == 0)
        return 0.1f;
    return (0.6f + 0.8f * static_cast<float>(random >> 8) / 16777216.0f) / 60.0f;
}

Blend blendOf(Ps::EnumMaterial material)
{
    switch (material)
    {
    case Ps::MAT_Add:
        return Blend::Add;
    case Ps::MAT_Multiply:
        return Blend::Multiply;
    default:
        return Blend::Normal;
    }
}

// What a game does with the geometry of one frame: one draw per render call, a range of
// triangles of one of the instance's meshes in one render style (blend mode and texture). A GPU
// renderer uploads mesh.getVertices() and mesh.getIndices() as they are and draws the range;
// this one reads the vertices back through the mesh's layout. Returns the vertices drawn.
uint64_t drawRenderCalls(const Ps::System& system, const Ps::SystemInst& inst,
                         SoftRenderer& renderer, float pixelsPerUnit)
{
    uint64_t drawn = 0;
    for (uint32_t c = 0; c < inst.getNumRenderCalls(); ++c)
    {
        const Ps::RenderCall& call = inst.getRenderCall(c);
        const Ps::Mesh& mesh = inst.getMesh(call.meshIndex);
        const Ps::RenderStyle& style = system.getRenderStyle(call.renderStyleIndex);
        const Blend blend = blendOf(system.getMaterial(style.materialIndex));
        // The texture coordinates are already in the atlas (setTextureFrame below).
        const bool textured = style.numTexChannels > 0 && mesh.getNumTexChannels() > 0 &&
                              mesh.getTexChannelSize(0) >= 2;
        auto vertex = [&](uint32_t index)
        {
            const uint8_t* at = mesh.getVertex(index);
            float position[3] = {0.0f, 0.0f, 0.0f};
            std::memcpy(position, at + mesh.getPositionOffset(),
                        4 * std::min<uint32_t>(3, mesh.getNumPositionComponents()));
            Vertex v{};
            v.x = renderer.width() * 0.5f + position[0] * pixelsPerUnit;
            v.y = renderer.height() * 0.5f - position[1] * pixelsPerUnit;
            v.r = v.g = v.b = v.a = 1.0f;
            if (mesh.hasColors())
            {
                const uint8_t* rgba = at + mesh.getColorOffset();
                v.r = rgba[0] / 255.0f;
                v.g = rgba[1] / 255.0f;
                v.b = rgba[2] / 255.0f;
                v.a = rgba[3] / 255.0f;
            }
            if (textured)
            {
                float uv[2];
                std::memcpy(uv, at + mesh.getTexChannelOffset(0), sizeof uv);
                v.u = uv[0];
                v.v = uv[1];
            }
            return v;
        };
        const uint32_t* indices = mesh.getIndices();
        for (uint32_t p = call.startPolygon; p < call.startPolygon + call.numPolygons; ++p)
        {
            renderer.drawTriangle(vertex(indices[3 * p]), vertex(indices[3 * p + 1]),
                                  vertex(indices[3 * p + 2]), blend, textured);
            drawn += 3;
        }
    }
    return drawn;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse(argc, argv, options))
    {
        std::fprintf(stderr, "usage: minimal_host <effect.bin> [--frames N] [--every K] "
                             "[--seed N] [--dt X] [--ppm FILE]\n");
        return 1;
    }
    Debug::setLogHandler(&logToStderr);

    std::ifstream in(options.file, std::ios::binary);
    if (!in)
    {
        std::fprintf(stderr, "minimal_host: %s: can't be read\n", options.file.c_str());
        return 2;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                     std::istreambuf_iterator<char>());

    // Ownership: the context outlives the loaded effect (shell), which outlives its instances.
    // Seeding the context makes effects without a fixed seed repeat from run to run.
    Ps::MemManagedContext context;
    context.get().seedRandom(options.seed);

    Ps::LoadResult loaded = Ps::loadSystem(bytes.data(), bytes.size(), context.get());
    if (!loaded.ok())
    {
        std::fprintf(stderr, "minimal_host: %s: the effect is refused: %s\n", options.file.c_str(),
                     loaded.error.message.c_str());
        return 2;
    }
    // The bytes can go now; the system lives in the shell's pool.
    Ps::System& system = loaded.shell->getSystem();

    // Textures: the effect names them; the game loads each one into its atlas and tells the
    // system where it lies there. This is the one change a loaded system takes, made before
    // any instance runs.
    const int width = 256, height = 256;
    SoftRenderer renderer(width, height);
    for (uint32_t t = 0; t < system.getNumTextures(); ++t)
        renderer.addTexture(system.getTexture(t));
    for (uint32_t t = 0; t < system.getNumTextures(); ++t)
    {
        const float tiles = static_cast<float>(renderer.numTiles());
        const float a[2] = {1.0f / tiles, 0.0f};
        const float b[2] = {0.0f, 1.0f};
        const float c[2] = {static_cast<float>(t) / tiles, 0.0f};
        system.setTextureFrame(t, a, b, c);
        std::printf("texture %u %s tile %u\n", t, system.getTexture(t), t);
    }
    std::printf("effect %s bytes %zu emitters %u meshes %u render_styles %u fps %g\n",
                options.file.c_str(), bytes.size(), system.getNumEmitters(), system.getNumMeshes(),
                system.getNumRenderStyles(), 1.0 / system.getFrameTime());

    const glm::quat identity(1.0f, 0.0f, 0.0f, 0.0f);
    Ps::InstResult made = Ps::createSystemInst(system, glm::vec3(0.0f), identity);
    if (!made.ok())
    {
        std::fprintf(stderr, "minimal_host: %s: no instance: %s\n", options.file.c_str(),
                     made.error.message.c_str());
        return 2;
    }
    Ps::SystemInst& inst = made.inst->get();

    // The camera looks down -z; the runtime turns faced particles towards it.
    const glm::vec3 cameraDir(0.0f, 0.0f, -1.0f), cameraUp(0.0f, 1.0f, 0.0f),
        cameraRight(1.0f, 0.0f, 0.0f);
    const float pixelsPerUnit = width / 120.0f;
    uint32_t random = options.seed;
    float gameTime = 0.0f;
    uint64_t verticesDrawn = 0;
    for (unsigned frame = 1; frame <= options.frames; ++frame)
    {
        const float dt = options.dt ? *options.dt : gameFrameTime(frame, random);
        gameTime += dt;
        const glm::vec3 position =
            options.dt ? glm::vec3(0.0f)
                       : glm::vec3(20.0f * std::cos(gameTime), 10.0f * std::sin(gameTime), 0.0f);
        Ps::HostError error = Ps::updateSystemInst(inst, position, identity, dt);
        if (!error.failed())
            error = Ps::constructSystemInst(inst, cameraDir, cameraUp, cameraRight, std::nullopt);
        if (error.failed())
        {
            std::fprintf(stderr, "minimal_host: frame %u: %s\n", frame, error.message.c_str());
            return 3;
        }
        renderer.clear(24);
        verticesDrawn += drawRenderCalls(system, inst, renderer, pixelsPerUnit);

        if (frame % options.every == 0)
        {
            uint32_t vertices = 0;
            for (uint32_t m = 0; m < inst.getNumMeshes(); ++m)
                vertices += inst.getMesh(m).getNumVertices();
            std::printf("frame %u dt %g time %g particles %u vertices %u polygons %u "
                        "render_calls %u\n",
                        frame, dt, inst.getTime(), inst.getStats().numParticles, vertices,
                        inst.getStats().numPolygons, inst.getNumRenderCalls());
        }
    }
    std::printf("end frames %u time %g particles %u polygons %u render_calls %u "
                "vertices_drawn %llu image %dx%d checksum %016llx\n",
                options.frames, inst.getTime(), inst.getStats().numParticles,
                inst.getStats().numPolygons, inst.getNumRenderCalls(),
                static_cast<unsigned long long>(verticesDrawn), width, height,
                static_cast<unsigned long long>(renderer.checksum()));
    if (!options.ppm.empty() && !renderer.writePpm(options.ppm))
    {
        std::fprintf(stderr, "minimal_host: can't write %s\n", options.ppm.c_str());
        return 1;
    }
    return 0;
}
