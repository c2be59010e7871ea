// scintari compile: compiles an effect file into the form the runtime plays.
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "scintari_command.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari compile <file.sxed> -o <out>\n"
    "\n"
    "  Compiles an effect file as the editor does for its preview and writes the compiled\n"
    "  effect, which `scintari run <out>` and `scintari render <out>` play, to <out>.\n"
    "  What keeps an emitter from compiling is printed on standard error, one line each,\n"
    "  and the emitter is left out of <out>:\n"
    "    emitter <emitter id> error: block <factory name> <block id>\n"
    "    emitter <emitter id> error: link <output block id> <connector> -> <input block id>\n"
    "                                     <connector>\n"
    "    emitter <emitter id> error: connector <block id> <connector>   an input without a\n"
    "                                     link\n"
    "    emitter <emitter id> error: emitter <name> lacks a generator, a positioner or (C#\n"
    "                                     and Unity) a terminator\n"
    "  Nothing is printed on standard output.\n"
    "\n"
    "  Exit codes: 0 compiled whole, 1 some emitter left out (or bad arguments, or a limit\n"
    "  of the compiled form broken: then nothing is written), 2 the file is refused\n"
    "  (\"File is corrupted\", \"Resource is created with newer version of the editor\",\n"
    "  or why it can't be read) or <out> can't be written.\n";

int usage(const std::string& why)
{
    std::cerr << "scintari compile: " << why << "\nusage: scintari compile <file.sxed> -o <out>\n";
    return 1;
}

int runCompile(const std::vector<std::string>& args)
{
    std::string input, output;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "-o" && i + 1 < args.size())
            output = args[++i];
        else if (input.empty())
            input = args[i];
        else
            return usage("unexpected argument: " + args[i]);
    }
    if (input.empty() || output.empty())
        return usage("an effect file and -o <out> are needed");
    if (!Scintari::isEffectFile(input))
        return usage("the file's name must end in .sxed: " + input);
    std::string why;
    const std::shared_ptr<Plm::ProjectResourceHandler> handler =
        Scintari::openEffectFile(input, why);
    if (!handler)
    {
        std::cerr << "scintari compile: " << why << "\n";
        return 2;
    }
    std::vector<uint8_t> bytes;
    bool complete = true;
    if (!Scintari::compileSystem(
            handler->getLoadedResource().castToSystemResourceChecked().getResource(), std::cerr,
            bytes, complete, why))
    {
        std::cerr << "scintari compile: " << input << ": " << why << "\n";
        return 1;
    }
    std::ofstream out(output, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
    {
        std::cerr << "scintari compile: can't write '" << output << "'\n";
        return 2;
    }
    return complete ? 0 : 1;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "compile", "compile an effect file into the form the runtime plays", help, runCompile});

}  // namespace
