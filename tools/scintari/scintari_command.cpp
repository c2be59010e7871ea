#include "scintari_command.h"

#include <algorithm>
#include <cstring>

namespace Scintari
{

static std::vector<Command>& registry()
{
    static std::vector<Command> all;
    return all;
}

void registerCommand(const Command& command)
{
    auto& all = registry();
    all.push_back(command);
    std::sort(all.begin(), all.end(),
              [](const Command& a, const Command& b) { return std::strcmp(a.name, b.name) < 0; });
}

const std::vector<Command>& commands() { return registry(); }

}  // namespace Scintari
