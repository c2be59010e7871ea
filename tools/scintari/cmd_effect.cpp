// scintari effect: makes a new effect file, or prints what an effect file holds.
#include <iostream>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "cmd_effect_text.h"
#include "scintari_command.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari effect new <file.sxed>\n"
    "scintari effect info <file.sxed>\n"
    "\n"
    "  new: makes an effect as the editor makes a new one (one emitter, \"DefaultEmitter\",\n"
    "  built by its guide), saves it to <file.sxed>, which must not exist, and prints it\n"
    "  as info does. info: reads an effect file and prints, in this order:\n"
    "    file: <path>\n"
    "    id: <uuid>                      the effect's identity\n"
    "    revision: <uuid>                changes with every change of the file\n"
    "    export_revision: <uuid>         changes with every change of what export makes\n"
    "    settings: fps <f> seed_type <fixed|random> fixed_seed <n> presim_time <s>\n"
    "    comment: <text>                 line breaks as \\n, backslashes as \\\\\n"
    "    video_url: <text>\n"
    "    source: <relative path>         only for an effect that reflects another\n"
    "    external: <relative path> <revision at the last synchronisation|none>\n"
    "    texture: <path>                 the textures and pictures the file depends on,\n"
    "    picture: <path>                 each once\n"
    "    block_resource: <name> <factory name> <id>\n"
    "    emitter_state: <id> <enabled|disabled>\n"
    "        then the emitter's listing, as `scintari emitter --help` tells it (emitter,\n"
    "        block, link, guide, section and value lines), for each emitter in order\n"
    "  Numbers are in C's %g form.\n"
    "\n"
    "  A file that can't be read as an effect prints on standard error\n"
    "    scintari effect: '<file>': File is corrupted\n"
    "    scintari effect: '<file>': Resource is created with newer version of the editor\n"
    "  or why it can't be read, and the exit code is 2; nothing is written. Bad arguments:\n"
    "  exit code 1.\n";

const std::string fullHelp = std::string(help) + "\n" + Scintari::effectTextHelp;

int usage(const std::string& why)
{
    std::cerr << "scintari effect: " << why
              << "\nusage: scintari effect new <file.sxed>\n"
                 "       scintari effect info <file.sxed>\n"
                 "       scintari effect dump <file.sxed>\n"
                 "       scintari effect load <file.json> -o <file.sxed> [--force]\n";
    return 1;
}

std::string escaped(const std::string& text)
{
    std::string out;
    for (char c : text)
    {
        if (c == '\n')
            out += "\\n";
        else if (c == '\\')
            out += "\\\\";
        else
            out += c;
    }
    return out;
}

void printEffect(const Plm::ProjectResourceHandler& handler)
{
    const Plm::ProjectResourceSystem& resource =
        handler.getLoadedResource().castToSystemResourceChecked();
    const Plm::System& system = resource.getResource();
    std::ostream& out = std::cout;
    out << "file: " << handler.getPath().string() << "\n"
        << "id: " << handler.getId() << "\n"
        << "revision: " << handler.getRevision() << "\n"
        << "export_revision: " << handler.getExportRevision() << "\n"
        << "settings: fps " << system.getFps() << " seed_type "
        << (system.getSeedType() == Ps::SST_Fixed ? "fixed" : "random") << " fixed_seed "
        << system.getFixedSeed() << " presim_time " << system.getPresimTime() << "\n"
        << "comment: " << escaped(resource.getComment()) << "\n"
        << "video_url: " << escaped(resource.getVideoUrl()) << "\n";
    if (const auto& source = system.getReflSourcePath())
        out << "source: " << source->string() << "\n";
    for (const Plm::ProjectResourceHandler::External& external : handler.externals())
    {
        out << "external: " << external.relPath.string() << " ";
        if (external.revision)
            out << *external.revision << "\n";
        else
            out << "none\n";
    }
    for (const auto& texture : handler.externalDependencies().textures)
        out << "texture: " << texture.string() << "\n";
    for (const auto& picture : handler.externalDependencies().pictures)
        out << "picture: " << picture.string() << "\n";
    for (unsigned int i = 0; i < system.blockResources().size(); ++i)
    {
        const Plm::SystemResource& item = system.getResourceById(system.blockResources().getId(i));
        const Plm::Block& block = system.blockResources()[i];
        out << "block_resource: " << item.getName() << " " << block.getFactoryName().str() << " "
            << block.getId() << "\n";
    }
    for (const Plm::Emitter& emitter : system.emitters())
    {
        out << "emitter_state: " << emitter.getId() << " "
            << (emitter.isEnabled() ? "enabled" : "disabled") << "\n";
        Scintari::printEmitter(out, emitter);
    }
}

int makeNew(const std::string& path)
{
    boost::system::error_code error;
    if (boost::filesystem::exists(path, error))
    {
        std::cerr << "scintari effect: '" << path << "' exists already\n";
        return 2;
    }
    std::shared_ptr<Plm::ProjectResourceHandler> handler;
    try
    {
        handler = Plm::ProjectResourceHandler::createNewStandalone(
            path, std::make_unique<Plm::ProjectResourceSystem>(Plm::Generation::simpleSystem()));
    }
    catch (const Plm::ProjectResourceHandler::Exception&)
    {
        std::cerr << "scintari effect: can't write '" << path << "'\n";
        return 2;
    }
    printEffect(*handler);
    return 0;
}

int runEffect(const std::vector<std::string>& args)
{
    if (!args.empty() && (args[0] == "dump" || args[0] == "load"))
    {
        const std::vector<std::string> rest(args.begin() + 1, args.end());
        return args[0] == "dump" ? Scintari::runEffectDump(rest) : Scintari::runEffectLoad(rest);
    }
    if (args.size() != 2)
        return usage(args.empty() ? "new or info?" : "one subcommand and one file");
    const std::string& path = args[1];
    if (!Scintari::isEffectFile(path))
        return usage("the file's name must end in .sxed: " + path);
    if (args[0] == "new")
        return makeNew(path);
    if (args[0] != "info")
        return usage("unknown subcommand: " + args[0]);
    std::string why;
    const std::shared_ptr<Plm::ProjectResourceHandler> handler =
        Scintari::openEffectFile(path, why);
    if (!handler)
    {
        std::cerr << "scintari effect: " << why << "\n";
        return 2;
    }
    printEffect(*handler);
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "effect", "make, show, dump as JSON or load from JSON an effect file", fullHelp.c_str(),
    runEffect});

}  // namespace
