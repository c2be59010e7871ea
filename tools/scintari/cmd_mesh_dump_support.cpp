// The --dump-mesh output of `scintari run` (no command of its own).
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <ostream>

#include "mesh_dump.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_system_inst.h"
#include "scintari_numbers.h"

namespace Scintari
{

const char* const kMeshDumpHelp =
    "  --dump-mesh          after the last frame, build the geometry once and print\n"
    "                       the render calls and each mesh's vertices and triangles:\n"
    "    camera dir <x> <y> <z> up <x> <y> <z> right <x> <y> <z>\n"
    "    render_calls <n>\n"
    "    call <i> mesh <m> style <s> start <first polygon> polygons <n>\n"
    "    meshes <n>\n"
    "    mesh <i> vertices <n> max <n> indices <n> max <n> stride <bytes>\n"
    "         position <components> normals <0|1> colors <0|1> channels <floats,...>\n"
    "    vertex <j> pos <x> <y> <z> [normal <x> <y> <z>] [color <r> <g> <b> <a>]\n"
    "         [uv <u> <v>]        one line per vertex written; colour bytes 0-255;\n"
    "                            uv is the first texture channel\n"
    "    triangle <p> <a> <b> <c>  one line per triangle written (indices 3p..3p+2)\n"
    "  --camera dx dy dz ux uy uz rx ry rz\n"
    "                       view direction, up and right for --dump-mesh (default\n"
    "                       0 0 -1  0 1 0  1 0 0); each number from -1000000 to 1000000\n"
    "  Numbers are printed with 9 significant digits (\"%.9g\").\n";

namespace
{

std::string number(float v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%.9g", static_cast<double>(v));
    return buffer;
}

std::string vec(const glm::vec3& v) { return number(v.x) + " " + number(v.y) + " " + number(v.z); }

float floatAt(const uint8_t* p)
{
    float v;
    std::memcpy(&v, p, 4);
    return v;
}

}  // namespace

bool parseMeshDumpCamera(const std::vector<std::string>& args, size_t& i, MeshDumpCamera& camera,
                         std::string& why)
{
    const RealRule rule{"each number of --camera", -1e6, 1e6};
    float v[9];
    for (int k = 0; k < 9; ++k)
    {
        if (i + 1 >= args.size())
        {
            why = "--camera needs 9 numbers: direction, up, right";
            return false;
        }
        if (!parseFloat(args[i + 1], rule, v[k], why))
            return false;
        ++i;
    }
    camera.dir = glm::vec3(v[0], v[1], v[2]);
    camera.up = glm::vec3(v[3], v[4], v[5]);
    camera.right = glm::vec3(v[6], v[7], v[8]);
    return true;
}

void dumpMeshes(std::ostream& out, Ps::SystemInst& inst, const MeshDumpCamera& camera)
{
    inst.construct(camera.dir, camera.up, camera.right, std::nullopt);
    out << "camera dir " << vec(camera.dir) << " up " << vec(camera.up) << " right "
        << vec(camera.right) << "\n";
    out << "render_calls " << inst.getNumRenderCalls() << "\n";
    for (uint32_t c = 0; c < inst.getNumRenderCalls(); ++c)
    {
        const Ps::RenderCall& call = inst.getRenderCall(c);
        out << "call " << c << " mesh " << call.meshIndex << " style " << call.renderStyleIndex
            << " start " << call.startPolygon << " polygons " << call.numPolygons << "\n";
    }
    out << "meshes " << inst.getNumMeshes() << "\n";
    for (uint32_t m = 0; m < inst.getNumMeshes(); ++m)
    {
        const Ps::Mesh& mesh = inst.getMesh(m);
        out << "mesh " << m << " vertices " << mesh.getNumVertices() << " max "
            << mesh.getMaxVertices() << " indices " << mesh.getNumIndices() << " max "
            << mesh.getMaxIndices() << " stride " << mesh.getVertexStride() << " position "
            << mesh.getNumPositionComponents() << " normals " << (mesh.hasNormals() ? 1 : 0)
            << " colors " << (mesh.hasColors() ? 1 : 0) << " channels ";
        for (uint32_t t = 0; t < mesh.getNumTexChannels(); ++t)
            out << (t ? "," : "") << mesh.getTexChannelSize(t);
        if (mesh.getNumTexChannels() == 0)
            out << "-";
        out << "\n";
        for (uint32_t j = 0; j < mesh.getNumVertices(); ++j)
        {
            const uint8_t* v = mesh.getVertex(j);
            out << "vertex " << j << " pos";
            for (uint32_t k = 0; k < mesh.getNumPositionComponents(); ++k)
                out << " " << number(floatAt(v + 4 * k));
            if (mesh.hasNormals())
            {
                const uint8_t* n = v + mesh.getNormalOffset();
                out << " normal " << number(floatAt(n)) << " " << number(floatAt(n + 4)) << " "
                    << number(floatAt(n + 8));
            }
            if (mesh.hasColors())
            {
                const uint8_t* c = v + mesh.getColorOffset();
                out << " color " << unsigned(c[0]) << " " << unsigned(c[1]) << " " << unsigned(c[2])
                    << " " << unsigned(c[3]);
            }
            if (mesh.getNumTexChannels() > 0 && mesh.getTexChannelSize(0) >= 2)
            {
                const uint8_t* t = v + mesh.getTexChannelOffset(0);
                out << " uv " << number(floatAt(t)) << " " << number(floatAt(t + 4));
            }
            out << "\n";
        }
        const uint32_t* indices = mesh.getIndices();
        for (uint32_t p = 0; p * 3 + 2 < mesh.getNumIndices(); ++p)
            out << "triangle " << p << " " << indices[3 * p] << " " << indices[3 * p + 1] << " "
                << indices[3 * p + 2] << "\n";
    }
}

}  // namespace Scintari
