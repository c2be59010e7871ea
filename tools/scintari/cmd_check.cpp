// scintari check: what keeps the emitters of an effect file from compiling for one target.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_export_compiler_text.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "scintari_command.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari check <file.sxed> --target <bin|js|cs|unity>\n"
    "\n"
    "  Checks an effect file for one target as the editor does for its error marks:\n"
    "  bin, the compiled form the runtime plays; js, JavaScript; cs, C#; unity, C# for\n"
    "  Unity. The text targets also refuse strip constructors, the % operator and\n"
    "  expressions that don't translate to their language. Prints what keeps an emitter\n"
    "  from compiling, one line each, on standard output, in the emitters' order:\n"
    "    emitter <emitter id> error: block <factory name> <block id>\n"
    "    emitter <emitter id> error: link <output block id> <connector> -> <input block id>\n"
    "                                     <connector>\n"
    "    emitter <emitter id> error: connector <block id> <connector>   an input without a\n"
    "                                     link\n"
    "    emitter <emitter id> error: emitter <name> lacks a generator, a positioner or (C#\n"
    "                                     and Unity) a terminator\n"
    "\n"
    "  Exit codes: 0 nothing to tell, 1 some mark (or bad arguments), 2 the file is refused\n"
    "  (\"File is corrupted\", \"Resource is created with newer version of the editor\", or\n"
    "  why it can't be read).\n";

int usage(const std::string& why)
{
    std::cerr << "scintari check: " << why
              << "\nusage: scintari check <file.sxed> --target <bin|js|cs|unity>\n";
    return 1;
}

std::shared_ptr<Plm::SystemExportCompiler> compilerFor(const std::string& target,
                                                       const Plm::System& system)
{
    if (target == "bin")
        return Plm::SystemExportCompilerBin::create(system);
    if (target == "js")
        return Plm::SystemExportCompilerJs::create(system);
    if (target == "cs")
        return Plm::SystemExportCompilerCs::create(system, Plm::CET_Generic);
    if (target == "unity")
        return Plm::SystemExportCompilerCs::create(system, Plm::CET_Unity);
    return nullptr;
}

int runCheck(const std::vector<std::string>& args)
{
    std::string input, target;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "--target" && i + 1 < args.size())
            target = args[++i];
        else if (input.empty())
            input = args[i];
        else
            return usage("unexpected argument: " + args[i]);
    }
    if (input.empty() || target.empty())
        return usage("an effect file and --target are needed");
    if (target != "bin" && target != "js" && target != "cs" && target != "unity")
        return usage("--target takes bin, js, cs or unity, not " + target);
    if (!Scintari::isEffectFile(input))
        return usage("the file's name must end in .sxed: " + input);
    std::string why;
    const std::shared_ptr<Plm::ProjectResourceHandler> handler =
        Scintari::openEffectFile(input, why);
    if (!handler)
    {
        std::cerr << "scintari check: " << why << "\n";
        return 2;
    }
    const Plm::System& system =
        handler->getLoadedResource().castToSystemResourceChecked().getResource();
    return Scintari::printSystemMarks(std::cout, *compilerFor(target, system), system) ? 1 : 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "check", "check an effect file for one target (bin, js, cs, unity)", help, runCheck});

}  // namespace
