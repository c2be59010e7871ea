#pragma once

// `scintari effect dump` and `scintari effect load`: an effect file as JSON, and back.

#include <string>
#include <vector>

namespace Scintari
{

// The lines of `scintari effect --help` for the two subcommands.
extern const char* const effectTextHelp;

// `scintari effect dump <file.sxed>`; `args` are the arguments after "dump".
int runEffectDump(const std::vector<std::string>& args);
// `scintari effect load <file.json> -o <file.sxed> [--force]`; `args` are those after "load".
int runEffectLoad(const std::vector<std::string>& args);

}  // namespace Scintari
