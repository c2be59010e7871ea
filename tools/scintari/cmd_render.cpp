// scintari render: draws a frame of a compiled effect into a PNG file. The
// drawing needs Qt and OpenGL, which this tool doesn't link: the command runs
// the program scintari-render that stands in the same folder as the tool.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "render/render_help.h"
#include "scintari_command.h"

namespace
{

// The folder of the running executable, with a trailing slash.
std::string executableFolder()
{
    std::vector<char> buffer(4096);
    const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    if (n <= 0)
        return "./";
    const std::string path(buffer.data(), static_cast<size_t>(n));
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

int runRender(const std::vector<std::string>& args)
{
    const std::string program = executableFolder() + "scintari-render";
    if (access(program.c_str(), X_OK) != 0)
    {
        std::cerr << "scintari render: the drawing program " << program
                  << " is missing; build the target scintari-render\n";
        return 3;
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const auto& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    std::cout.flush();
    execv(program.c_str(), argv.data());
    std::cerr << "scintari render: can't run " << program << ": " << std::strerror(errno) << "\n";
    return 3;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "render", "draw a frame of a compiled effect into a PNG file (offscreen OpenGL)",
    ScintariRender::kHelp, &runRender});

}  // namespace
