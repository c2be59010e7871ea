// scintari emitter: makes a new emitter through its guide, or reads a saved one, and prints its
// blocks, links and guide.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <boost/uuid/uuid_io.hpp>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_export_compiler_text.h"
#include "particle_layout_model/plm_system.h"
#include "scintari_command.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari emitter new [--name <name>] [--save <file>] [--compile <file>] [--check <target>]\n"
    "scintari emitter show <file> [--compile <file>] [--check <target>]\n"
    "\n"
    "  new: makes an emitter as the editor makes it (named \"DefaultEmitter\" unless\n"
    "  --name says otherwise), its first blocks built and linked by its guide, and\n"
    "  prints it. show: reads an emitter written by --save and prints it.\n"
    "\n"
    "  The listing, in this order:\n"
    "    emitter: <name>\n"
    "    block: <list key> <factory name> <id>\n"
    "        one line per block, in the order of the list of all blocks; <list key> is\n"
    "        the first of glob_blocks, generator_blocks, param_blocks, func_blocks,\n"
    "        terminator_blocks, positioner_blocks, construct_blocks that holds it\n"
    "    link: <output block id> <connector> -> <input block id> <connector>\n"
    "        one line per link, own links first; connectors by their fixed index\n"
    "    guide: yes | guide: no\n"
    "    section: <section> <kind> <valid|invalid>\n"
    "        the ten sections in the guide's order: custom_values, generation,\n"
    "        termination, position_start, position_change, rotation, size,\n"
    "        transparency, color, tex_mapping; <kind> is the kind chosen in the form\n"
    "        (for termination the terminators, joined by \"+\"; for custom_values their\n"
    "        count; rotation adds /faced|free/none|steady|graph when controlled, size\n"
    "        adds /none|multiplier)\n"
    "    value: <section> <kind> level <level> <valid|invalid>\n"
    "        each value of the section's form, depth first, after its section line;\n"
    "        <kind> is Fixed, Random, Graph, OverParticleLife, OverParticleTime,\n"
    "        OverParticleSpeed, OverEmitterTime, OverSystemTime, OverCustomValue,\n"
    "        CustomValue, EmitterProperty, PointFromPath, Sphere, Circle, Area,\n"
    "        PointBetweenPaths, ParticlePosition or EmitterPosition\n"
    "\n"
    "  --save <file> also writes the emitter, its blocks and its guide as the model\n"
    "  writes them in line: type tags on, little endian, group sizes packed.\n"
    "  --compile <file> also writes the compiled effect of an effect that holds just this\n"
    "  emitter, as the runtime reads it (`scintari run <file>` plays it). What keeps the\n"
    "  emitter from compiling is printed on standard error, one line each, and makes the\n"
    "  exit code 1 (the effect is then written without the emitter):\n"
    "    error: block <factory name> <id>\n"
    "    error: link <output block id> <connector> -> <input block id> <connector>\n"
    "    error: connector <block id> <connector>     an input without a link\n"
    "    error: emitter <name> lacks a generator, a positioner or (C# and Unity) a\n"
    "           terminator\n"
    "  --check <bin|js|cs|unity> prints after the listing, on standard output and in the\n"
    "  same lines, what keeps the emitter from compiling for that target, and makes the\n"
    "  exit code 1 if there is anything. The text targets (JavaScript, C#, Unity) also\n"
    "  refuse strip constructors and expressions that don't translate to their language.\n"
    "\n"
    "  A file that isn't an emitter (damaged, cut short, a block of an unknown kind,\n"
    "  links to blocks that aren't there) prints a message on standard error (exit code\n"
    "  2); it is a regular file of at most 67108864 bytes. Bad arguments: exit code 1.\n";

int usage(const std::string& why)
{
    std::cerr << "scintari emitter: " << why
              << "\nusage: scintari emitter new [--name <name>] [--save <file>] [--compile <file>]"
                 " [--check <target>]\n"
                 "       scintari emitter show <file> [--compile <file>] [--check <target>]\n";
    return 1;
}

int writeFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    if (!out)
    {
        std::cerr << "scintari emitter: can't write " << path << "\n";
        return 2;
    }
    return 0;
}

// The marks of one target's check: 1 if there are any.
int check(const Plm::System& system, const Plm::Emitter& emitter, const std::string& target)
{
    std::shared_ptr<Plm::SystemExportCompiler> compiler;
    if (target == "bin")
        compiler = Plm::SystemExportCompilerBin::create(system);
    else if (target == "js")
        compiler = Plm::SystemExportCompilerJs::create(system);
    else
        compiler = Plm::SystemExportCompilerCs::create(
            system, target == "unity" ? Plm::CET_Unity : Plm::CET_Generic);
    return Scintari::printMarks(std::cout, *compiler, emitter) ? 1 : 0;
}

// The compiled effect of an effect of this emitter alone; 1 if the emitter doesn't compile.
int compile(const Plm::System& system, const Plm::Emitter& emitter, const std::string& path)
{
    const std::shared_ptr<Plm::SystemExportCompilerBin> compiler =
        Plm::SystemExportCompilerBin::create(system);
    const int result = Scintari::printMarks(std::cerr, *compiler, emitter) ? 1 : 0;
    std::vector<uint8_t> bytes;
    try
    {
        bytes = compiler->exportBytes();
    }
    catch (const std::exception& e)
    {
        // A limit of the compiled format (255 operations...).
        std::cerr << "scintari emitter: can't compile: " << e.what() << "\n";
        return 1;
    }
    const int written = writeFile(path, bytes);
    return written ? written : result;
}

// The actions after the listing: writing the compiled effect, checking a target.
struct After
{
    std::string compilePath;
    std::string checkTarget;
};

int finish(const Plm::System& system, const Plm::Emitter& emitter, const After& after)
{
    int result = 0;
    if (!after.compilePath.empty())
        result = compile(system, emitter, after.compilePath);
    if (!after.checkTarget.empty())
        result = std::max(result, check(system, emitter, after.checkTarget));
    return result;
}

int show(const std::string& path, const After& after)
{
    std::vector<uint8_t> bytes;
    std::string why;
    if (!Scintari::readInputFile(path, bytes, why))
    {
        std::cerr << "scintari emitter: " << why << "\n";
        return 2;
    }
    Plm::System system;
    std::unique_ptr<Plm::Emitter> emitter;
    try
    {
        emitter = Plm::loadEmitterPlain(bytes.data(), bytes.size(), system);
    }
    catch (const std::exception& e)
    {
        std::cerr << "scintari emitter: " << path
                  << " is not an emitter: " << Scintari::describeFailure(e, "the emitter") << "\n";
        return 2;
    }
    Scintari::printEmitter(std::cout, *emitter);
    const Plm::Emitter& added = system.addEmitter(std::move(emitter));
    return finish(system, added, after);
}

int runEmitter(const std::vector<std::string>& args)
{
    if (args.empty())
        return usage("new or show?");
    if (args[0] != "new" && args[0] != "show")
        return usage("unknown subcommand: " + args[0]);
    const bool isNew = args[0] == "new";
    std::string name = "DefaultEmitter";
    std::string file, savePath;
    After after;
    for (size_t i = 1; i < args.size(); ++i)
    {
        if (args[i] == "--compile" && i + 1 < args.size())
            after.compilePath = args[++i];
        else if (args[i] == "--check" && i + 1 < args.size())
        {
            after.checkTarget = args[++i];
            const std::string& t = after.checkTarget;
            if (t != "bin" && t != "js" && t != "cs" && t != "unity")
                return usage("--check takes bin, js, cs or unity, not " + t);
        }
        else if (isNew && args[i] == "--save" && i + 1 < args.size())
            savePath = args[++i];
        else if (isNew && args[i] == "--name" && i + 1 < args.size())
            name = args[++i];
        else if (!isNew && file.empty())
            file = args[i];
        else
            return usage("unexpected argument: " + args[i]);
    }
    if (!isNew)
    {
        if (file.empty())
            return usage("show takes one file");
        return show(file, after);
    }
    Plm::System system;
    Plm::Emitter& emitter = system.addEmitter(Plm::Emitter::create(name));
    Scintari::printEmitter(std::cout, emitter);
    if (!savePath.empty())
        if (const int result = writeFile(savePath, Plm::saveEmitterPlain(emitter)))
            return result;
    return finish(system, emitter, after);
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "emitter", "make a new emitter through its guide, or show a saved one", help, runEmitter});

}  // namespace
