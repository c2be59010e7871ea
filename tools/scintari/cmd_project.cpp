// scintari project: makes a project or a new effect in one, shows a project, tells what
// changed on disk since the last refresh, and brings reflected effects in step with their
// sources.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "revision_saveload/sl_exceptions.h"
#include "scintari_command.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace
{

namespace bfs = boost::filesystem;

const char* const help =
    "scintari project new <dir> [--name <name>] [--resources <path>] [--textures <path>]\n"
    "scintari project info <file.sxproj> [--heads]\n"
    "scintari project refresh <file.sxproj> [--dry-run]\n"
    "scintari project add <file.sxproj> <name> [--folder <path>]\n"
    "scintari project sync <file.sxproj>\n"
    "\n"
    "  new: makes <dir> (if it isn't there), the project file <dir>/<name>.sxproj with the\n"
    "  default settings, and its folders for effects and textures, \"effects\" and\n"
    "  \"textures\" unless --resources and --textures say otherwise (relative to <dir>).\n"
    "  <name> is the name of <dir> unless --name says otherwise. An existing project file\n"
    "  is never replaced. Prints the settings as info does.\n"
    "\n"
    "  info: reads the project file and every effect of its folder tree, and prints:\n"
    "    project: <absolute path of the project file>\n"
    "    projection: orthographic|perspective\n"
    "    perspective_angle: <degrees>\n"
    "    perspective_angle_type: vertical|horizontal|diagonal\n"
    "    flipped_y: yes|no\n"
    "    flipped_z: yes|no\n"
    "    resources: <path relative to the project's folder>\n"
    "    textures: <path relative to the project's folder>\n"
    "    export: js on|off <root folder> umd|xhr\n"
    "    export: cs on|off <root folder>\n"
    "    export: unity on|off <root folder>\n"
    "    folder: <path relative to the resources folder>\n"
    "    effect: <path relative to the resources folder> <state> <revision>[ <error>]\n"
    "        <state> is loaded (the whole effect was read), error (it wasn't; <error>\n"
    "        says why: \"Resource is created with newer version of the editor\" or \"File\n"
    "        is corrupted\") or head (--heads: only the heads of the files are read)\n"
    "    skipped: <path>       an .sxed file whose head can't be read\n"
    "  Folders and effects are listed depth first, each folder before what it holds, in\n"
    "  the order of their paths. The exit code is 2 if an effect can't be read or is\n"
    "  skipped, each named on standard error.\n"
    "\n"
    "  refresh: reads the folder tree as the editor does when it looks at the disk again,\n"
    "  and prints what changed since the last refresh of this project by this command.\n"
    "  What it knew then is kept in the refresh record <file.sxproj>.refresh beside the\n"
    "  project file (the path, revision and write time of each effect, and whether it\n"
    "  had unsaved edits); with no record every effect counts as added. Unsaved edits are those "
    "the\n"
    "  editor keeps in an auto-save file (<effect>.autosave) beside an effect. The lines,\n"
    "  each kind in the order of the paths:\n"
    "    added: <path>\n"
    "    removed: <path>\n"
    "    changed: <path>          the effect's revision or write time differs from the\n"
    "                             recorded one\n"
    "    skipped: <path>          an .sxed file whose head can't be read\n"
    "    conflict: folder <path>  a folder gone from disk that held an effect with\n"
    "                             unsaved edits\n"
    "    conflict: removed <path> an effect with unsaved edits gone from disk\n"
    "    conflict: changed <path> an effect with unsaved edits changed on disk\n"
    "    summary: added <n> removed <n> changed <n> skipped <n> conflicts <n>\n"
    "  The conflicts are what the editor asks the user about; it settles the rest by\n"
    "  itself. Then the record is written anew, unless --dry-run is given.\n"
    "\n"
    "  add: makes a new effect, as the editor's \"New effect\" makes it, in the folder\n"
    "  <path> (relative to the resources folder; the resources folder itself unless\n"
    "  --folder is given), under <name>, or \"<name> (1)\", \"<name> (2)\" and so on if a\n"
    "  file of that name is there, and prints:\n"
    "    created: <path>\n"
    "\n"
    "  sync: brings every effect that reflects another (scintari effect reflect) in step\n"
    "  with the effects it reflects, where these changed since its last synchronisation,\n"
    "  and then what reflects it in turn; each effect it changes is saved, and printed as\n"
    "    synced: <path relative to the project's folder>\n"
    "  in the order of the synchronisation. What can't be followed is named on standard\n"
    "  error, one line each, and the effect is left as it is: a source that isn't in the\n"
    "  project, can't be read or holds no effect, effects that reflect each other in a\n"
    "  circle (\"reflection cycle: a.sxed -> b.sxed -> a.sxed\"), an effect whose\n"
    "  synchronisation fails. Then the exit code is 1.\n"
    "\n"
    "  Paths are relative to the resources folder, with \"/\" between names. A project file\n"
    "  that can't be read (missing, not a regular file, damaged, cut short, of another\n"
    "  kind or of a newer version) or a damaged refresh record is refused with a message\n"
    "  naming it (exit code 2); so is a project that can't be made. Bad arguments: exit\n"
    "  code 1.\n";

const char* const kRecordHead = "scintari project refresh record 1";

int usage(const std::string& why)
{
    std::cerr << "scintari project: " << why << "; see scintari help project\n";
    return 1;
}

int refuse(const std::string& why)
{
    std::cerr << "scintari project: " << why << "\n";
    return 2;
}

std::string relativeTo(const bfs::path& base, const bfs::path& file)
{
    return BoostExt::makeRelativePath(base, file).value_or(file).generic_string();
}

std::string yesNo(bool value) { return value ? "yes" : "no"; }

const char* projectionName(Plm::ProjectSettings::EnumProjection projection)
{
    return projection == Plm::ProjectSettings::P_Perspective ? "perspective" : "orthographic";
}

const char* angleTypeName(Plm::ProjectSettings::EnumPerspAngleType type)
{
    switch (type)
    {
    case Plm::ProjectSettings::PAT_Horizontal:
        return "horizontal";
    case Plm::ProjectSettings::PAT_Diagonal:
        return "diagonal";
    default:
        return "vertical";
    }
}

void printSettings(const Plm::Project& project)
{
    const Plm::ProjectSettings& s = project.settings();
    const auto onOff = [](const Plm::ExportSettingsBase& e)
    { return e.isEnabled() ? "on" : "off"; };
    std::cout << "project: " << project.getProjectPath().string() << "\n"
              << "projection: " << projectionName(s.getProjection()) << "\n"
              << "perspective_angle: " << s.getProjPerspectiveAngle() << "\n"
              << "perspective_angle_type: " << angleTypeName(s.getProjPerspectiveAngleType())
              << "\n"
              << "flipped_y: " << yesNo(s.isFlippedY()) << "\n"
              << "flipped_z: " << yesNo(s.isFlippedZ()) << "\n"
              << "resources: " << s.getRelativeResourcesPath().generic_string() << "\n"
              << "textures: " << s.getRelativeTexturesPath().generic_string() << "\n"
              << "export: js " << onOff(s.getExportSettingsJs()) << " "
              << s.getExportSettingsJs().getRelativeRootPath().generic_string() << " "
              << (s.getExportSettingsJs().getType() == Plm::ExportSettingsJs::T_Xhr ? "xhr" : "umd")
              << "\n"
              << "export: cs " << onOff(s.getExportSettingsCs()) << " "
              << s.getExportSettingsCs().getRelativeRootPath().generic_string() << "\n"
              << "export: unity " << onOff(s.getExportSettingsUnity()) << " "
              << s.getExportSettingsUnity().getRelativeRootPath().generic_string() << "\n";
}

// Opens a project and reads its folder tree; null after a message when it is refused.
std::unique_ptr<Plm::Project> openProject(const std::string& file)
{
    std::string why;
    std::unique_ptr<Plm::Project> project = Scintari::openProject(file, why);
    if (!project)
        refuse(why);
    return project;
}

// The .sxed files below the resources folder whose head couldn't be read.
std::vector<bfs::path> skippedFiles(const Plm::Project& project)
{
    std::vector<bfs::path> skipped;
    boost::system::error_code error;
    bfs::recursive_directory_iterator it(project.settings().getResourcesPath(), error);
    for (const bfs::recursive_directory_iterator end; !error && it != end; it.increment(error))
    {
        boost::system::error_code statusError;
        if (it->path().extension() == Plm::ProjectResourceHandler::getResourceExtension() &&
            bfs::is_regular_file(it->status(statusError)) &&
            !project.findResourceHandlerByPath(it->path()))
            skipped.push_back(it->path());
    }
    std::sort(skipped.begin(), skipped.end());
    return skipped;
}

int printTree(const Plm::Project& project, const Plm::ProjectFolder& folder, bool headsOnly)
{
    const bfs::path& base = project.settings().getResourcesPath();
    int result = 0;
    if (&folder != &project.getRootFolder())
        std::cout << "folder: " << relativeTo(base, folder.getPath()) << "\n";
    for (unsigned int i = 0; i < folder.getNumResources(); ++i)
    {
        const Plm::ProjectResourceHandler& handler = *folder.getResource(i);
        std::cout << "effect: " << relativeTo(base, handler.getPath()) << " ";
        if (headsOnly)
            std::cout << "head";
        else if (handler.isLoaded())
            std::cout << "loaded";
        else
            std::cout << "error";
        std::cout << " " << handler.getRevision();
        if (!headsOnly && !handler.isLoaded())
        {
            const std::string why = handler.loadError()
                                        ? Plm::resourceLoadErrorText(*handler.loadError())
                                        : "File can't be opened";
            std::cout << " " << why;
            std::cerr << "scintari project: " << handler.getPath().string() << ": " << why << "\n";
            result = 2;
        }
        std::cout << "\n";
    }
    for (unsigned int i = 0; i < folder.getNumFolders(); ++i)
        result = std::max(result, printTree(project, folder.getFolder(i), headsOnly));
    return result;
}

int runInfo(const std::string& file, bool headsOnly)
{
    std::unique_ptr<Plm::Project> project = openProject(file);
    if (!project)
        return 2;
    if (!headsOnly)
    {
        // Held by one group, every effect is read whole, as the editor reads an open one.
        const boost::optional<unsigned int> group = project->aquireGroupMask();
        for (const auto& entry : project->resources())
            project->markResourceFixed(entry.first, *group);
        project->updateAllResourcesLoadState();
    }
    printSettings(*project);
    int result = printTree(*project, project->getRootFolder(), headsOnly);
    for (const bfs::path& skipped : skippedFiles(*project))
    {
        std::cout << "skipped: " << relativeTo(project->settings().getResourcesPath(), skipped)
                  << "\n";
        std::cerr << "scintari project: " << skipped.string()
                  << ": the head of the effect can't be read\n";
        result = 2;
    }
    return result;
}

int runNew(const std::vector<std::string>& args)
{
    if (args.size() < 2)
        return usage("new needs a folder");
    const bfs::path dir = BoostExt::normalizePath(bfs::absolute(args[1]));
    std::string name = dir.filename().string();
    std::string resources = "effects";
    std::string textures = "textures";
    for (size_t i = 2; i < args.size(); ++i)
    {
        std::string* target = args[i] == "--name"        ? &name
                              : args[i] == "--resources" ? &resources
                              : args[i] == "--textures"  ? &textures
                                                         : nullptr;
        if (!target)
            return usage("unknown option '" + args[i] + "'");
        if (i + 1 >= args.size() || args[i + 1].empty())
            return usage(args[i] + " needs a value");
        *target = args[++i];
    }
    if (name.empty() || name == "/" || name.find('/') != std::string::npos)
        return usage("'" + name + "' can't be the name of a project file");
    for (const std::string* relative : {&resources, &textures})
    {
        if (bfs::path(*relative).is_absolute())
            return usage("'" + *relative + "' must be relative to the project's folder");
    }
    const bfs::path file = dir / (name + Plm::Project::getProjectExtension());
    boost::system::error_code error;
    if (bfs::exists(bfs::symlink_status(file, error)))
        return refuse(file.string() + " exists already; it is not replaced");
    bfs::create_directories(dir, error);
    if (!BoostExt::dirExists(dir))
        return refuse("can't make the folder " + dir.string() +
                      (error ? ": " + error.message() : ""));
    try
    {
        std::unique_ptr<Plm::Project> project = Plm::Project::create(
            file, std::make_unique<Plm::ProjectSettings>(dir, resources, textures));
        printSettings(*project);
    }
    catch (const std::exception& e)
    {
        return refuse(Scintari::describeFailure(e, file.string()));
    }
    return 0;
}

// What the last refresh knew of one effect.
struct Known
{
    std::string revision;
    long long writeTime = 0;
    bool unsaved = false;

    bool sameFile(const Known& other) const
    {
        return revision == other.revision && writeTime == other.writeTime;
    }
};
using Record = std::map<std::string, Known>;

bool readRecord(const bfs::path& file, Record& record, std::string& why)
{
    boost::system::error_code error;
    if (!bfs::exists(bfs::symlink_status(file, error)))
        return true;
    std::vector<std::uint8_t> bytes;
    if (!Scintari::readInputFile(file.string(), bytes, why))
        return false;
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    std::string line;
    if (!std::getline(in, line) || line != kRecordHead)
    {
        why = "the refresh record " + file.string() + " is damaged at line 1";
        return false;
    }
    for (unsigned int number = 2; std::getline(in, line); ++number)
    {
        // <revision> <write time> <saved|unsaved> <path>
        std::istringstream fields(line);
        std::string revision, state, path;
        long long writeTime = 0;
        fields >> revision >> writeTime >> state;
        std::getline(fields >> std::ws, path);
        bool valid = fields && revision.size() == 36 && (state == "saved" || state == "unsaved") &&
                     !path.empty() && !record.count(path);
        try
        {
            boost::lexical_cast<boost::uuids::uuid>(revision);
        }
        catch (const boost::bad_lexical_cast&)
        {
            valid = false;
        }
        if (!valid)
        {
            why = "the refresh record " + file.string() + " is damaged at line " +
                  std::to_string(number);
            return false;
        }
        record[path] = Known{revision, writeTime, state == "unsaved"};
    }
    return true;
}

bool hasAutoSave(const bfs::path& effect)
{
    boost::system::error_code error;
    return bfs::is_regular_file(bfs::status(
        bfs::path(effect).replace_extension(Plm::ProjectResourceHandler::getAutoSaveExtension()),
        error));
}

int runRefresh(const std::string& file, bool dryRun)
{
    const bfs::path recordFile = bfs::path(file + ".refresh");
    Record before;
    std::string why;
    if (!readRecord(recordFile, before, why))
        return refuse(why);
    std::unique_ptr<Plm::Project> project = openProject(file);
    if (!project)
        return 2;
    const bfs::path& base = project->settings().getResourcesPath();

    Record now;
    for (const auto& entry : project->resources())
    {
        boost::system::error_code error;
        const std::time_t writeTime = bfs::last_write_time(entry.first, error);
        now[relativeTo(base, entry.first)] =
            Known{boost::lexical_cast<std::string>(entry.second.handler->getRevision()),
                  error ? 0 : static_cast<long long>(writeTime), hasAutoSave(entry.first)};
    }

    std::vector<std::string> added, removed, changed, conflicts;
    std::set<std::string> goneFolders;
    for (const auto& entry : now)
    {
        auto old = before.find(entry.first);
        if (old == before.end())
            added.push_back(entry.first);
        else if (!old->second.sameFile(entry.second))
        {
            changed.push_back(entry.first);
            if (old->second.unsaved || entry.second.unsaved)
                conflicts.push_back("changed " + entry.first);
        }
    }
    for (const auto& entry : before)
    {
        if (now.count(entry.first))
            continue;
        removed.push_back(entry.first);
        const bfs::path effect = base / entry.first;
        if (!entry.second.unsaved && !hasAutoSave(effect))
            continue;
        conflicts.push_back("removed " + entry.first);
        // The highest folder gone from disk stands for those below it.
        bfs::path gone;
        for (bfs::path dir = effect.parent_path();
             dir != base && dir.string().size() > base.string().size(); dir = dir.parent_path())
        {
            if (!BoostExt::dirExists(dir))
                gone = dir;
        }
        if (!gone.empty())
            goneFolders.insert(relativeTo(base, gone));
    }
    const std::vector<bfs::path> skipped = skippedFiles(*project);

    for (const std::string& name : added)
        std::cout << "added: " << name << "\n";
    for (const std::string& name : removed)
        std::cout << "removed: " << name << "\n";
    for (const std::string& name : changed)
        std::cout << "changed: " << name << "\n";
    for (const bfs::path& path : skipped)
        std::cout << "skipped: " << relativeTo(base, path) << "\n";
    for (const std::string& folder : goneFolders)
        std::cout << "conflict: folder " << folder << "\n";
    std::sort(conflicts.begin(), conflicts.end(),
              [](const std::string& a, const std::string& b)
              {
                  // Removals before changes, each in the order of the paths.
                  const bool aRemoved = a.compare(0, 8, "removed ") == 0;
                  const bool bRemoved = b.compare(0, 8, "removed ") == 0;
                  return aRemoved != bRemoved ? aRemoved : a < b;
              });
    for (const std::string& conflict : conflicts)
        std::cout << "conflict: " << conflict << "\n";
    std::cout << "summary: added " << added.size() << " removed " << removed.size() << " changed "
              << changed.size() << " skipped " << skipped.size() << " conflicts "
              << goneFolders.size() + conflicts.size() << "\n";

    if (dryRun)
        return 0;
    // What is still unsaved stays known as such, also for an effect gone from disk.
    Record next = now;
    for (const auto& entry : before)
    {
        if (!now.count(entry.first) && (entry.second.unsaved || hasAutoSave(base / entry.first)))
            next[entry.first] = Known{entry.second.revision, entry.second.writeTime, true};
    }
    std::ostringstream out;
    out << kRecordHead << "\n";
    for (const auto& entry : next)
        out << entry.second.revision << " " << entry.second.writeTime << " "
            << (entry.second.unsaved ? "unsaved" : "saved") << " " << entry.first << "\n";
    std::ofstream stream(recordFile.string(), std::ios::binary | std::ios::trunc);
    stream << out.str();
    stream.close();
    if (!stream)
        return refuse("can't write the refresh record " + recordFile.string());
    return 0;
}

int runAdd(const std::vector<std::string>& args)
{
    if (args.size() < 3 || args[2].empty())
        return usage("add needs a project file and a name");
    bfs::path folder;
    for (size_t i = 3; i < args.size(); ++i)
    {
        if (args[i] != "--folder")
            return usage("unknown option '" + args[i] + "'");
        if (i + 1 >= args.size())
            return usage("--folder needs a value");
        folder = args[++i];
    }
    if (args[2].find('/') != std::string::npos)
        return usage("'" + args[2] + "' can't be the name of an effect");
    std::unique_ptr<Plm::Project> project = openProject(args[1]);
    if (!project)
        return 2;
    const bfs::path& base = project->settings().getResourcesPath();
    const bfs::path dir = BoostExt::normalizePath(base / folder);
    if (!project->getRootFolder().findDeepFolderByPath(dir))
        return refuse("the project has no folder " + dir.string());
    try
    {
        Plm::ProjectResourceHandlerPtr handler = project->createSystem(args[2], dir);
        std::cout << "created: " << relativeTo(base, handler->getPath()) << "\n";
    }
    catch (const std::exception& e)
    {
        return refuse(Scintari::describeFailure(e, "the new effect"));
    }
    return 0;
}

int runSync(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return usage("sync takes one project file");
    std::unique_ptr<Plm::Project> project = openProject(args[1]);
    if (!project)
        return 2;
    Plm::ReflectionSyncReport report;
    try
    {
        project->syncAllReflections(&report);
    }
    catch (const std::exception& e)
    {
        return refuse(args[1] + ": " + Scintari::describeFailure(e, "an effect of the project"));
    }
    for (const bfs::path& changed : report.changed)
        std::cout << "synced: " << relativeTo(project->getProjectDir(), changed) << "\n";
    for (const std::string& problem : report.problems)
        std::cerr << "scintari project: " << problem << "\n";
    // A changed effect that had unsaved changes before: nothing here holds any.
    if (!project->saveAllUnsavedResources())
    {
        std::cerr << "scintari project: an effect can't be written\n";
        return 2;
    }
    return report.problems.empty() ? 0 : 1;
}

int runProject(const std::vector<std::string>& args)
{
    if (args.empty())
        return usage("a subcommand is needed: new, info, refresh, add or sync");
    const std::string& sub = args[0];
    if (sub == "new")
        return runNew(args);
    if (sub == "add")
        return runAdd(args);
    if (sub == "sync")
        return runSync(args);
    if (sub != "info" && sub != "refresh")
        return usage("unknown subcommand '" + sub + "'");
    if (args.size() < 2)
        return usage(sub + " needs a project file");
    bool flag = false;
    const char* const flagName = sub == "info" ? "--heads" : "--dry-run";
    for (size_t i = 2; i < args.size(); ++i)
    {
        if (args[i] != flagName)
            return usage("unknown option '" + args[i] + "'");
        flag = true;
    }
    try
    {
        return sub == "info" ? runInfo(args[1], flag) : runRefresh(args[1], flag);
    }
    catch (const std::exception& e)
    {
        // A check of the model that a damaged effect broke: the project is refused as a whole.
        return refuse(args[1] + ": " + Scintari::describeFailure(e, "an effect of the project"));
    }
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "project",
    "make a project or an effect in it, show one, tell what changed on disk, or sync reflections",
    help, runProject});

}  // namespace
