// scintari export: the export state of a project's effects, and the cleaning of its export
// folders.
#include <iostream>
#include <string>
#include <vector>

#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"

#include "particle_layout_model/plm_export_handler.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "scintari_command.h"
#include "scintari_model.h"

namespace
{

const char* const help =
    "scintari export status <file.sxproj>\n"
    "scintari export clean <file.sxproj> --target <js|cs|unity>\n"
    "scintari export enable|disable <file.sxproj> --target <js|cs|unity>\n"
    "\n"
    "  status: for every effect of the project (by path below its resources folder, in\n"
    "  order) and every enabled export target (cs, js, unity, in that order), one line:\n"
    "    effect <effect> target <cs|js|unity> path <exported file> class <class name>\n"
    "           version <uuid in the exported file's head|none> needs_export <yes|no>\n"
    "  <exported file> is relative to the project's folder. An effect needs export when\n"
    "  its exported file is missing, has no head, or holds another version than the\n"
    "  effect's export revision. With no target enabled: \"no export target enabled\".\n"
    "  Ends with \"summary: effects <n> need_export <n>\" (pairs of effect and target).\n"
    "\n"
    "  clean: removes, below the target's export folder, the files of the target's\n"
    "  extension that belong to no effect of the project; folders and other files stay.\n"
    "  A target that isn't enabled cleans nothing. Prints\n"
    "    Export directory is clean: <n> files deleted.\n"
    "\n"
    "  enable, disable: turns the target on or off in the project's settings and saves\n"
    "  the project file. Prints \"<target> enabled\" or \"<target> disabled\".\n"
    "\n"
    "  Exit codes: 0 done, 1 bad arguments, 2 the project file is refused.\n";

int usage(const std::string& why)
{
    std::cerr << "scintari export: " << why
              << "\nusage: scintari export status <file.sxproj>\n"
                 "       scintari export clean <file.sxproj> --target <js|cs|unity>\n"
                 "       scintari export enable|disable <file.sxproj> --target <js|cs|unity>\n";
    return 1;
}

const char* const targetNames[Plm::EH_Count] = {"cs", "js", "unity"};

int status(const Plm::Project& project)
{
    bool anyEnabled = false;
    for (unsigned int t = 0; t < Plm::EH_Count; ++t)
        anyEnabled = anyEnabled || project.exportHandler(Plm::EnumExportHandlers(t)).enabled();
    if (!anyEnabled)
        std::cout << "no export target enabled\n";
    unsigned int needing = 0;
    const Plm::ProjectSettings& settings = project.settings();
    for (const auto& item : project.resources())
    {
        const Plm::ProjectResourceHandler& handler = *item.second.handler;
        for (unsigned int t = 0; t < Plm::EH_Count; ++t)
        {
            auto& target = project.exportHandler(Plm::EnumExportHandlers(t));
            if (!target.enabled())
                continue;
            const auto* text = dynamic_cast<const Plm::TextFileExportHandler*>(&target);
            const boost::optional<boost::uuids::uuid> version =
                text ? text->cachedVersion(handler.getPath()) : boost::none;
            const bool needs = target.doesNeedExport(handler);
            needing += needs ? 1 : 0;
            const auto effect =
                BoostExt::makeRelativePath(settings.getResourcesPath(), handler.getPath())
                    .value_or(handler.getPath());
            const auto file =
                BoostExt::makeRelativePath(project.getProjectDir(), target.getExportPath(handler))
                    .value_or(target.getExportPath(handler));
            std::cout << "effect " << effect.generic_string() << " target " << targetNames[t]
                      << " path " << file.generic_string() << " class "
                      << target.getResourceClassName(handler) << " version ";
            if (version)
                std::cout << *version;
            else
                std::cout << "none";
            std::cout << " needs_export " << (needs ? "yes" : "no") << "\n";
        }
    }
    std::cout << "summary: effects " << project.resources().size() << " need_export " << needing
              << "\n";
    return 0;
}

int enable(Plm::Project& project, Plm::EnumExportHandlers target, bool on)
{
    Plm::ProjectSettings settings = project.settings();
    switch (target)
    {
    case Plm::EH_Js:
    {
        Plm::ExportSettingsJs js = settings.getExportSettingsJs();
        js.setEnabled(on);
        settings.setExportSettingsJs(js);
        break;
    }
    case Plm::EH_Cs:
    {
        Plm::ExportSettingsCs cs = settings.getExportSettingsCs();
        cs.setEnabled(on);
        settings.setExportSettingsCs(cs);
        break;
    }
    default:
    {
        Plm::ExportSettingsUnity unity = settings.getExportSettingsUnity();
        unity.setEnabled(on);
        settings.setExportSettingsUnity(unity);
        break;
    }
    }
    project.applySettings(settings);
    if (!project.saveProjectFile())
    {
        std::cerr << "scintari export: can't write " << project.getProjectPath().string() << "\n";
        return 2;
    }
    std::cout << targetNames[target] << (on ? " enabled\n" : " disabled\n");
    return 0;
}

int runExport(const std::vector<std::string>& args)
{
    const std::string command = args.empty() ? std::string() : args[0];
    const bool takesTarget = command == "clean" || command == "enable" || command == "disable";
    if (command != "status" && !takesTarget)
        return usage(args.empty() ? "status, clean, enable or disable?"
                                  : "unknown subcommand: " + command);
    std::string file, target;
    for (size_t i = 1; i < args.size(); ++i)
    {
        if (takesTarget && args[i] == "--target" && i + 1 < args.size())
            target = args[++i];
        else if (file.empty())
            file = args[i];
        else
            return usage("unexpected argument: " + args[i]);
    }
    if (file.empty())
        return usage("a project file is needed");
    int index = -1;
    if (takesTarget)
    {
        for (unsigned int t = 0; t < Plm::EH_Count; ++t)
            if (target == targetNames[t])
                index = static_cast<int>(t);
        if (index < 0)
            return usage("--target takes js, cs or unity" +
                         (target.empty() ? std::string() : ", not " + target));
    }
    std::string why;
    const std::unique_ptr<Plm::Project> project = Scintari::openProject(file, why);
    if (!project)
    {
        std::cerr << "scintari export: " << why << "\n";
        return 2;
    }
    if (command == "status")
        return status(*project);
    if (command != "clean")
        return enable(*project, Plm::EnumExportHandlers(index), command == "enable");
    const Plm::ExportHandler& handler = project->exportHandler(Plm::EnumExportHandlers(index));
    const unsigned int count = handler.enabled() ? handler.cleanExportDirectory() : 0;
    std::cout << "Export directory is clean: " << count << " files deleted.\n";
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "export", "show the export state of a project's effects, or clean an export folder", help,
    runExport});

}  // namespace
