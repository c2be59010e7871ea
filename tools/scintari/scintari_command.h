#pragma once

#include <string>
#include <vector>

namespace Scintari
{

// A subcommand of the tool: `scintari <name> args...`. Its run function gets the
// arguments after the name and returns the process's exit code.
//   0  success
//   1  usage error (bad or missing arguments)
//   2  the input was refused (bad file, bad expression); the message says why
struct Command
{
    const char* name;
    const char* synopsis;  // one line, shown in the overview of `scintari --help`
    const char* help;      // full text, shown by `scintari help <name>` and `<name> --help`
    int (*run)(const std::vector<std::string>& args);
};

// Registers a command at static initialisation; used by CommandRegistration below.
void registerCommand(const Command& command);
const std::vector<Command>& commands();

struct CommandRegistration
{
    explicit CommandRegistration(const Command& command) { registerCommand(command); }
};

}  // namespace Scintari
