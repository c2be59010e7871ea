// scintari effect: makes a new effect file, prints what an effect file holds, makes an effect
// that reflects another in a project, or cuts one loose.
#include <iostream>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "cmd_effect_text.h"
#include "scintari_command.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari effect new <file.sxed>\n"
    "scintari effect info <file.sxed>\n"
    "scintari effect reflect <source.sxed> -o <variant.sxed>\n"
    "scintari effect separate <file.sxed>\n"
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
    "  exit code 1.\n"
    "\n"
    "  reflect: makes <variant.sxed>, an effect that reflects <source.sxed>: it follows\n"
    "  every change of the source at each synchronisation (scintari project sync), except\n"
    "  for what is changed in the variant itself. Both files belong to one project: the\n"
    "  project file (.sxproj) in the source's folder or the nearest folder above it. The\n"
    "  source must be an effect of that project, the variant's folder a folder of its\n"
    "  effects, and the variant must not exist. The variant is filled from the source at\n"
    "  once and saved, and the command prints (paths relative to the project's folder):\n"
    "    created: <variant>\n"
    "    source: <path of the source relative to the variant's folder, as stored>\n"
    "  separate: cuts an effect of a project loose from the effect it reflects: it keeps\n"
    "  what it holds and no longer follows the source. It is saved, and the command prints\n"
    "    separated: <file>\n"
    "  For both, a file or project that can't be used is refused with a message naming it\n"
    "  (exit code 2); what the synchronisation couldn't follow is named on standard error\n"
    "  and gives exit code 1.\n";

const std::string fullHelp = std::string(help) + "\n" + Scintari::effectTextHelp;

int usage(const std::string& why)
{
    std::cerr << "scintari effect: " << why
              << "\nusage: scintari effect new <file.sxed>\n"
                 "       scintari effect info <file.sxed>\n"
                 "       scintari effect reflect <source.sxed> -o <variant.sxed>\n"
                 "       scintari effect separate <file.sxed>\n"
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

int refuse(const std::string& why)
{
    std::cerr << "scintari effect: " << why << "\n";
    return 2;
}

std::string relativeTo(const boost::filesystem::path& base, const boost::filesystem::path& file)
{
    return BoostExt::makeRelativePath(base, file).value_or(file).generic_string();
}

boost::filesystem::path absolute(const std::string& file)
{
    return BoostExt::normalizePath(boost::filesystem::absolute(file));
}

// The project of an effect file, with its folder tree read; null after a message.
std::unique_ptr<Plm::Project> projectOf(const std::string& file)
{
    std::string why;
    const std::string projectFile = Scintari::findProjectFileFor(file, why);
    if (projectFile.empty())
    {
        refuse(why);
        return nullptr;
    }
    std::unique_ptr<Plm::Project> project = Scintari::openProject(projectFile, why);
    if (!project)
        refuse(why);
    return project;
}

// The project's handler of an existing effect file; null after a message.
Plm::ProjectResourceHandlerPtr effectOf(const Plm::Project& project, const std::string& file)
{
    Plm::ProjectResourceHandlerPtr handler = project.findResourceHandlerByPath(absolute(file));
    if (!handler)
        refuse("'" + file + "' is not an effect of the project " +
               project.getProjectPath().string() + " (its effects are below " +
               project.settings().getResourcesPath().string() + ")");
    return handler;
}

int printProblems(const Plm::ReflectionSyncReport& report)
{
    for (const std::string& problem : report.problems)
        std::cerr << "scintari effect: " << problem << "\n";
    return report.problems.empty() ? 0 : 1;
}

int reflect(const std::vector<std::string>& args)
{
    std::string source, variant;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "-o" && i + 1 < args.size() && variant.empty())
            variant = args[++i];
        else if (args[i] != "-o" && source.empty())
            source = args[i];
        else
            return usage("reflect takes one source and -o <variant.sxed>");
    }
    if (source.empty() || variant.empty())
        return usage("reflect takes one source and -o <variant.sxed>");
    for (const std::string* file : {&source, &variant})
        if (!Scintari::isEffectFile(*file))
            return usage("the file's name must end in .sxed: " + *file);

    boost::system::error_code error;
    if (!boost::filesystem::is_regular_file(source, error))
        return refuse("can't open '" + source + "'");
    std::unique_ptr<Plm::Project> project = projectOf(source);
    if (!project)
        return 2;
    const Plm::ProjectResourceHandlerPtr sourceHandler = effectOf(*project, source);
    if (!sourceHandler)
        return 2;
    const boost::filesystem::path target = absolute(variant);
    if (!project->getRootFolder().findDeepFolderByPath(target.parent_path()))
        return refuse("the folder of '" + variant + "' is not a folder of the project " +
                      project->getProjectPath().string());
    if (boost::filesystem::exists(boost::filesystem::symlink_status(target, error)))
        return refuse("'" + variant + "' exists already");
    if (target == sourceHandler->getPath())
        return refuse("an effect can't reflect itself");

    Plm::ReflectionSyncReport report;
    Plm::ProjectResourceHandlerPtr made;
    try
    {
        made = project->addReflectedSystem(target.parent_path(), sourceHandler->getPath(),
                                           target.stem().string(), &report);
    }
    catch (const std::exception& e)
    {
        return refuse(Scintari::describeFailure(e, "'" + source + "'"));
    }
    std::cout << "created: " << relativeTo(project->getProjectDir(), made->getPath()) << "\n"
              << "source: "
              << BoostExt::makeRelativePath(made->getPath().parent_path(), sourceHandler->getPath())
                     ->generic_string()
              << "\n";
    return printProblems(report);
}

int separate(const std::vector<std::string>& args)
{
    if (args.size() != 1)
        return usage("separate takes one file");
    const std::string& file = args[0];
    if (!Scintari::isEffectFile(file))
        return usage("the file's name must end in .sxed: " + file);
    boost::system::error_code error;
    if (!boost::filesystem::is_regular_file(file, error))
        return refuse("can't open '" + file + "'");
    std::unique_ptr<Plm::Project> project = projectOf(file);
    if (!project)
        return 2;
    const Plm::ProjectResourceHandlerPtr handler = effectOf(*project, file);
    if (!handler)
        return 2;
    try
    {
        // Held, so that the file and its sources are loaded.
        const boost::optional<unsigned int> group = project->aquireGroupMask();
        project->markResourceFixed(handler->getPath(), *group);
        project->updateAllResourcesLoadState();
        if (!handler->isLoaded())
            return refuse("'" + file + "': " +
                          (handler->loadError() ? Plm::resourceLoadErrorText(*handler->loadError())
                                                : "can't be read"));
        std::string why;
        if (!project->separateLoadedResource(handler->getPath(), &why))
            return refuse(why);
        if (!handler->saveUnsavedLoadedResource())
            return refuse("can't write '" + file + "'");
    }
    catch (const std::exception& e)
    {
        return refuse(Scintari::describeFailure(e, "'" + file + "'"));
    }
    std::cout << "separated: " << relativeTo(project->getProjectDir(), handler->getPath()) << "\n";
    return 0;
}

int runEffect(const std::vector<std::string>& args)
{
    if (!args.empty() && (args[0] == "reflect" || args[0] == "separate"))
    {
        const std::vector<std::string> rest(args.begin() + 1, args.end());
        return args[0] == "reflect" ? reflect(rest) : separate(rest);
    }
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
    "effect",
    "make, show, dump as JSON or load from JSON an effect file; reflect one, or cut it loose",
    fullHelp.c_str(), runEffect});

}  // namespace
