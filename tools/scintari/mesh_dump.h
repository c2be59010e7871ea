#pragma once

// Printing of the geometry that a system instance builds, for
// `scintari run --dump-mesh [--camera dx dy dz ux uy uz rx ry rz]`.

#include <iosfwd>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

namespace Ps
{
class SystemInst;
}

namespace Scintari
{

struct MeshDumpCamera
{
    glm::vec3 dir{0.0f, 0.0f, -1.0f};
    glm::vec3 up{0.0f, 1.0f, 0.0f};
    glm::vec3 right{1.0f, 0.0f, 0.0f};
};

// The help lines of the two options, for the run command's help text.
extern const char* const kMeshDumpHelp;

// Reads the 9 numbers after "--camera" at args[i] (i is left on the last one).
bool parseMeshDumpCamera(const std::vector<std::string>& args, size_t& i, MeshDumpCamera& camera,
                         std::string& why);

// Runs construct with the camera and prints the render calls and every
// mesh's vertices and triangles, as kMeshDumpHelp describes.
void dumpMeshes(std::ostream& out, Ps::SystemInst& inst, const MeshDumpCamera& camera);

}  // namespace Scintari
