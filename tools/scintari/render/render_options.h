#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

namespace ScintariRender
{

// The command line of `scintari render`, shared by the tool's front and the
// sibling program that draws.
struct Options
{
    std::string input;
    float time = 1.0f;
    int width = 512;
    int height = 512;
    std::string out;
    bool customCamera = false;
    glm::vec3 cameraDir{0.0f, 0.0f, -1.0f};
    glm::vec3 cameraUp{0.0f, 1.0f, 0.0f};
    glm::vec3 cameraRight{1.0f, 0.0f, 0.0f};
    int frames = 1;
    float every = 1.0f / 30.0f;
    std::string texturesDir;  // empty: the folder of the input
    std::uint32_t background = 0x000000;
    float scale = 1.0f;
};

// Fills `options` from the arguments after the command's name; on failure
// returns false with the reason in `why`.
bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& why);

// The file of frame `index` of a sequence: a printf pattern ("%d", "%04d") is
// filled with the index; otherwise "_NNNN" goes before the extension. A
// single frame keeps the name as given.
// False when '%' stands in the name other than as one "%d" or "%0Nd".
bool isValidOutputName(const std::string& out);

std::string frameFileName(const std::string& out, int index, int numFrames);

}  // namespace ScintariRender
