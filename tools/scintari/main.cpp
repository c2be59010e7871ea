// scintari: compiles, simulates, inspects and renders effects without a screen.
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "scintari_command.h"
#include "scintari_input.h"

namespace
{

void printOverview(std::ostream& out)
{
    out << "Usage: scintari <command> [arguments...]\n"
           "       scintari --help | --version\n"
           "       scintari help <command>\n"
           "\n"
           "Exit codes: 0 success, 1 usage error, 2 the input was refused,\n"
           "            3 nothing could be drawn (render: no OpenGL context or no image written).\n"
           "Output is plain text, one record per line, stable between versions.\n"
           "\n"
           "Commands:\n";
    for (const auto& command : Scintari::commands())
    {
        std::string name = command.name;
        out << "  " << name << std::string(name.size() < 10 ? 10 - name.size() : 1, ' ')
            << command.synopsis << "\n";
    }
}

const Scintari::Command* findCommand(const std::string& name)
{
    for (const auto& command : Scintari::commands())
        if (name == command.name)
            return &command;
    return nullptr;
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty())
    {
        printOverview(std::cerr);
        return 1;
    }
    const std::string& first = args[0];
    if (first == "--help" || first == "-h")
    {
        printOverview(std::cout);
        for (const auto& command : Scintari::commands())
            std::cout << "\n" << command.help;
        return 0;
    }
    if (first == "--version")
    {
        std::cout << "scintari " << SCINTARI_VERSION << "\n";
        return 0;
    }
    if (first == "help")
    {
        if (args.size() < 2)
        {
            printOverview(std::cout);
            return 0;
        }
        const Scintari::Command* command = findCommand(args[1]);
        if (!command)
        {
            std::cerr << "scintari: unknown command '" << args[1] << "'\n";
            return 1;
        }
        std::cout << command->help;
        return 0;
    }
    const Scintari::Command* command = findCommand(first);
    if (!command)
    {
        std::cerr << "scintari: unknown command '" << first << "'; see scintari --help\n";
        return 1;
    }
    std::vector<std::string> rest(args.begin() + 1, args.end());
    // A help flag before "--" asks for the command's help; after it, arguments
    // belong to the command (an expression may well read "-h").
    for (const auto& arg : rest)
    {
        if (arg == "--")
            break;
        if (arg == "--help" || arg == "-h")
        {
            std::cout << command->help;
            return 0;
        }
    }
    try
    {
        return command->run(rest);
    }
    catch (const std::exception& e)
    {
        std::cerr << "scintari " << first << ": " << Scintari::describeFailure(e, "the input")
                  << "\n";
        return 2;
    }
}
