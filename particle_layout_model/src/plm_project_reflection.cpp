// Reflection between the files of a project: which files a file reflects, bringing files in
// step with the files they reflect, cutting a file loose, and keeping the relative paths right
// when files move.

#include <algorithm>
#include <functional>
#include <set>

#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"
#include "debug/debug_check.h"
#include "debug/debug_log.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"

namespace bfs = boost::filesystem;

namespace Plm
{

void ReflectionSyncReport::addChanged(const boost::filesystem::path& file)
{
    if (std::find(changed.begin(), changed.end(), file) == changed.end())
        changed.push_back(file);
}

void ReflectionSyncReport::addProblem(const std::string& text)
{
    if (std::find(problems.begin(), problems.end(), text) == problems.end())
        problems.push_back(text);
}

namespace
{

using path = boost::filesystem::path;

void reportProblem(ReflectionSyncReport& report, const std::string& text)
{
    DEBUG_LOG(Warning, text);
    report.addProblem(text);
}

// After a failure halfway: the file goes back to its state before. If even that fails, a file
// with nothing to save is dropped from memory, so that it is read again from disk.
void restoreOrUnload(ProjectResourceHandler& handler,
                     const ProjectResourceHandler::Snapshot& snapshot, bool wasClean)
{
    try
    {
        handler.restoreSnapshot(snapshot);
        return;
    }
    catch (const std::exception& e)
    {
        DEBUG_LOG(Warning, handler.getPath().string() + ": going back failed: " + e.what());
    }
    if (wasClean)
        handler.unloadLoadedResource();
}

std::string loadFailureText(const ProjectResourceHandler& handler)
{
    const std::string why = handler.loadError() ? resourceLoadErrorText(*handler.loadError())
                                                : std::string("it can't be opened");
    return handler.getPath().string() + ": " + why + "; it can't follow its sources";
}

// The relative paths a file names that are to name other ones: the old and the new path of
// each, as `translate` gives them (no value: the path stays).
std::vector<std::pair<path, path>>
pathReplacements(const std::vector<ProjectResourceHandler::External>& externals,
                 const std::function<boost::optional<path>(const path&)>& translate)
{
    std::vector<std::pair<path, path>> replacements;
    for (const ProjectResourceHandler::External& external : externals)
    {
        const boost::optional<path> replaced = translate(external.relPath);
        if (replaced && *replaced != external.relPath)
            replacements.emplace_back(external.relPath, *replaced);
    }
    return replacements;
}

}  // namespace

// The files a passing group holds are loaded together with their sources; when it goes,
// everything it held is released and may be unloaded.
class Project::PassingGroup
{
public:
    explicit PassingGroup(Project& project) : project_(project), mask_(project.aquireGroupMask()) {}
    ~PassingGroup()
    {
        if (!mask_)
            return;
        try
        {
            project_.markAllResourcesReleased(*mask_);
            project_.releaseGroup(*mask_);
            project_.updateAllResourcesLoadState();
        }
        catch (const std::exception& e)
        {
            DEBUG_LOG(Warning,
                      std::string("releasing the files of a reflection pass: ") + e.what());
        }
    }
    PassingGroup(const PassingGroup&) = delete;
    PassingGroup& operator=(const PassingGroup&) = delete;

    // Loads the file and its sources; false when the file isn't loaded after that.
    bool hold(const path& file)
    {
        const ProjectResourceHandlerPtr handler = project_.findResourceHandlerByPath(file);
        if (!handler)
            return false;
        if (mask_)
        {
            project_.markResourceFixed(file, *mask_);
            // The load state is walked only when something is missing.
            if (!handler->isLoaded() || !sourcesLoaded(*handler))
                project_.updateAllResourcesLoadState();
        }
        return handler->isLoaded();
    }
    // The next change of the load state may unload it (a file with unsaved changes stays).
    void release(const path& file)
    {
        if (mask_)
            project_.markResourceReleased(file, *mask_);
    }

private:
    bool sourcesLoaded(const ProjectResourceHandler& handler) const
    {
        for (const ProjectResourceHandler::External& external : handler.externals())
        {
            const ResourceWrap* source =
                project_.findResourceWrap(project_.absoluteSourcePath(handler, external.relPath));
            if (source && !source->handler->isLoaded())
                return false;
        }
        return true;
    }

    Project& project_;
    boost::optional<unsigned int> mask_;
};

// Sources.

Project::path Project::absoluteSourcePath(const ProjectResourceHandler& handler,
                                          const path& relPath) const
{
    return BoostExt::normalizePath(handler.getPath().parent_path() / relPath);
}

void Project::createExternalResourcesMap(const ProjectResourceHandler& handler,
                                         ExternalResourcesMap& map) const
{
    for (const ProjectResourceHandler::External& external : handler.externals())
    {
        const ResourceWrap* wrap = findResourceWrap(absoluteSourcePath(handler, external.relPath));
        if (wrap && !map.findResourceHandler(external.relPath))
            map.addResource(external.relPath, wrap->handler.get());
    }
}

std::vector<Project::path> Project::findReflectionCycle(const path& filePath) const
{
    std::vector<path> chain{filePath};
    // Files whose sources have been walked without leading back.
    std::set<path> walked;
    const std::function<bool(const path&)> walk = [&](const path& file)
    {
        const ResourceWrap* wrap = findResourceWrap(file);
        if (!wrap)
            return false;
        for (const ProjectResourceHandler::External& external : wrap->handler->externals())
        {
            const path source = absoluteSourcePath(*wrap->handler, external.relPath);
            if (source == filePath)
            {
                chain.push_back(source);
                return true;
            }
            if (!walked.insert(source).second)
                continue;
            chain.push_back(source);
            if (walk(source))
                return true;
            chain.pop_back();
        }
        return false;
    };
    if (walk(filePath))
        return chain;
    return {};
}

std::vector<Project::path> Project::findDirectReflections(const path& filePath) const
{
    std::vector<path> reflections;
    for (const auto& entry : resources_)
    {
        const ProjectResourceHandler& handler = *entry.second.handler;
        for (const ProjectResourceHandler::External& external : handler.externals())
            if (absoluteSourcePath(handler, external.relPath) == filePath)
            {
                reflections.push_back(entry.first);
                break;
            }
    }
    return reflections;
}

// Synchronisation.

bool Project::syncLoadedResourceGuarded(ProjectResourceHandler& handler, bool force, bool saveClean,
                                        ReflectionSyncReport& report)
{
    DEBUG_ASSERT(handler.isLoaded());
    const std::vector<path> cycle = findReflectionCycle(handler.getPath());
    if (!cycle.empty())
    {
        std::string text = handler.getPath().string() + ": reflection cycle: ";
        for (size_t i = 0; i < cycle.size(); ++i)
        {
            const path& base = settings().getResourcesPath();
            text += (i ? " -> " : "") +
                    BoostExt::makeRelativePath(base, cycle[i]).value_or(cycle[i]).generic_string();
        }
        reportProblem(report, text + "; it is left as it is");
        return false;
    }

    ExternalResourcesMap map;
    createExternalResourcesMap(handler, map);
    if (!force && !handler.doesNeedSync(map))
        return false;
    const bool wasClean = !handler.doesLoadedResourceNeedSave();
    const Uuid revisionBefore = handler.getRevision();
    boost::optional<ProjectResourceHandler::Snapshot> before;
    try
    {
        before = handler.takeSnapshot();
        handler.syncLoadedResource(map);
    }
    catch (const std::exception& e)
    {
        // A broken rule of the model (a damaged file, or a source that doesn't hold what the
        // reflection names) or any other failure: the file goes back to where it was.
        DEBUG_LOG(Warning, handler.getPath().string() + ": synchronisation failed: " + e.what());
        if (before)
            restoreOrUnload(handler, *before, wasClean);
        else if (wasClean)
            handler.unloadLoadedResource();
        for (const std::string& problem : map.problems())
            report.addProblem(problem);
        reportProblem(report, handler.getPath().string() +
                                  ": it can't follow its sources (it or a source breaks a rule "
                                  "of the model); it is left as it was");
        return false;
    }
    for (const std::string& problem : map.problems())
        report.addProblem(problem);
    if (handler.getRevision() == revisionBefore)
        return false;
    report.addChanged(handler.getPath());
    if (saveClean && wasClean && !handler.saveUnsavedLoadedResource())
        reportProblem(report, handler.getPath().string() + ": it can't be written");
    return true;
}

void Project::processDependencies(const path& filePath, PassingGroup* group,
                                  std::vector<path>& visited, ReflectionSyncReport& report)
{
    for (const path& reflection : findDirectReflections(filePath))
    {
        // A file is met once in a walk, also where files reflect each other in a circle.
        if (std::find(visited.begin(), visited.end(), reflection) != visited.end())
            continue;
        visited.push_back(reflection);
        ProjectResourceHandlerPtr handler = findResourceHandlerByPath(reflection);
        if (!handler)
            continue;
        if (group)
        {
            // Only what needs it is loaded; the heads tell.
            ExternalResourcesMap map;
            createExternalResourcesMap(*handler, map);
            if (handler->doesNeedSync(map))
            {
                if (group->hold(reflection))
                    syncLoadedResourceGuarded(*handler, false, true, report);
                else
                    reportProblem(report, loadFailureText(*handler));
                group->release(reflection);
            }
        }
        else if (handler->isLoaded())
            syncLoadedResourceGuarded(*handler, false, false, report);
        else
            continue;
        processDependencies(reflection, group, visited, report);
    }
}

bool Project::syncResource(const path& filePath, ReflectionSyncReport* report)
{
    ReflectionSyncReport local;
    ReflectionSyncReport& out = report ? *report : local;
    ProjectResourceHandlerPtr handler = findResourceHandlerByPath(filePath);
    if (!handler)
        return false;
    PassingGroup group(*this);
    if (!group.hold(filePath))
    {
        reportProblem(out, loadFailureText(*handler));
        return false;
    }
    return syncLoadedResourceGuarded(*handler, true, true, out);
}

void Project::syncLoadedReflections(const path& filePath, ReflectionSyncReport* report)
{
    ReflectionSyncReport local;
    std::vector<path> visited{filePath};
    processDependencies(filePath, nullptr, visited, report ? *report : local);
}

void Project::syncAllReflections(const path& filePath, ReflectionSyncReport* report)
{
    ReflectionSyncReport local;
    PassingGroup group(*this);
    std::vector<path> visited{filePath};
    processDependencies(filePath, &group, visited, report ? *report : local);
}

bool Project::syncAllReflections(ReflectionSyncReport* report)
{
    ReflectionSyncReport local;
    ReflectionSyncReport& out = report ? *report : local;

    // Sources the project doesn't know: what reflects them stays as it is.
    for (const auto& entry : resources_)
    {
        const ProjectResourceHandler& handler = *entry.second.handler;
        for (const ProjectResourceHandler::External& external : handler.externals())
            if (!findResourceWrap(absoluteSourcePath(handler, external.relPath)))
                reportProblem(out, handler.getPath().string() + ": its source " +
                                       external.relPath.generic_string() +
                                       " is not in the project; it is left as it is");
    }

    const auto needsSync = [this](const ProjectResourceHandler& handler)
    {
        ExternalResourcesMap map;
        createExternalResourcesMap(handler, map);
        return handler.doesNeedSync(map);
    };
    std::set<path> needing;
    for (const auto& entry : resources_)
        if (needsSync(*entry.second.handler))
            needing.insert(entry.first);
    if (needing.empty())
        return true;

    // Sources before what reflects them, so that most files are visited once.
    std::vector<path> ordered;
    std::set<path> placed;
    const std::function<void(const path&)> place = [&](const path& file)
    {
        if (!placed.insert(file).second)
            return;
        const ProjectResourceHandler& handler = *getResourceWrap(file).handler;
        for (const ProjectResourceHandler::External& external : handler.externals())
        {
            const path source = absoluteSourcePath(handler, external.relPath);
            if (needing.count(source))
                place(source);
        }
        ordered.push_back(file);
    };
    for (const path& file : needing)
        place(file);

    // One group for the pass: each file is let go once it is done, and unloaded when the
    // next file that isn't in memory is loaded.
    PassingGroup group(*this);
    for (const path& file : ordered)
    {
        ProjectResourceHandlerPtr handler = findResourceHandlerByPath(file);
        // Followed already in the walk from one of its sources.
        if (!handler || !needsSync(*handler))
            continue;
        if (group.hold(file))
            syncLoadedResourceGuarded(*handler, true, true, out);
        else
            reportProblem(out, loadFailureText(*handler));
        group.release(file);
        std::vector<path> visited{file};
        processDependencies(file, &group, visited, out);
    }
    return false;
}

// Making and separating reflections.

ProjectResourceHandlerPtr Project::addReflectedSystem(const path& folderPath,
                                                      const path& sourcePath,
                                                      const std::string& name,
                                                      ReflectionSyncReport* report)
{
    ProjectFolder* folder = rootFolder_->findDeepFolderByPath(folderPath);
    if (!folder)
        throw ProjectResourceHandler::Exception("No folder of the project at " +
                                                folderPath.string());
    ProjectResourceHandlerPtr source = findResourceHandlerByPath(sourcePath);
    if (!source)
        throw ProjectResourceHandler::Exception(sourcePath.string() +
                                                " is not an effect of the project");
    if (source->getType() != PRT_System)
        throw ProjectResourceHandler::Exception(sourcePath.string() + " holds no effect");
    const boost::optional<path> relPath = BoostExt::makeRelativePath(folder->getPath(), sourcePath);
    if (!relPath)
        throw ProjectResourceHandler::Exception("No relative path leads from " +
                                                folder->getPath().string() + " to " +
                                                sourcePath.string());

    PassingGroup group(*this);
    if (!group.hold(sourcePath))
        throw ProjectResourceHandler::Exception(sourcePath.string() + ": " +
                                                (source->loadError()
                                                     ? resourceLoadErrorText(*source->loadError())
                                                     : "it can't be opened"));
    const System& sourceSystem =
        source->getLoadedResource().castToSystemResourceChecked().getResource();
    if (const char* reason = sourceSystem.whyNotReflectable())
        throw ProjectResourceHandler::Exception(sourcePath.string() +
                                                ": it can't be reflected: " + reason);
    std::unique_ptr<System> system = sourceSystem.reflect(*relPath);

    const std::string extension = ProjectResourceHandler::getResourceExtension();
    const std::string fileName =
        folder->getUniqueResourceName(name.empty() ? source->getName() : name, extension);
    const std::string stem = fileName.substr(0, fileName.size() - extension.size());
    ProjectResourceHandlerPtr handler =
        folder->createResource(stem, std::make_unique<ProjectResourceSystem>(std::move(system)));
    syncResourcesWithFolders();

    ReflectionSyncReport local;
    group.hold(handler->getPath());
    syncLoadedResourceGuarded(*handler, true, true, report ? *report : local);
    return handler;
}

bool Project::separateLoadedResource(const path& filePath, std::string* why)
{
    const auto refuse = [&](const std::string& text)
    {
        if (why)
            *why = filePath.string() + ": " + text;
        return false;
    };
    ProjectResourceHandlerPtr handler = findResourceHandlerByPath(filePath);
    if (!handler)
        return refuse("it is not an effect of the project");
    DEBUG_ASSERT(handler->isLoaded());
    ProjectResource& resource = handler->getLoadedResource();
    if (handler->getNumExternalSources() == 0 || !resource.isDirectlyReflected())
        return refuse("it reflects no other file");
    ExternalResourcesMap map;
    createExternalResourcesMap(*handler, map);
    const bool wasClean = !handler->doesLoadedResourceNeedSave();
    const ProjectResourceHandler::Snapshot before = handler->takeSnapshot();
    try
    {
        resource.separate(map);
    }
    catch (const std::exception& e)
    {
        DEBUG_LOG(Warning, filePath.string() + ": separation failed: " + e.what());
        restoreOrUnload(*handler, before, wasClean);
        return refuse("it can't be cut loose (it or a source breaks a rule of the model); it is "
                      "left as it was");
    }
    return true;
}

// Moving files.

void Project::redirectAllReflections(const std::map<path, path>& oldToNew,
                                     ReflectionSyncReport* report)
{
    ReflectionSyncReport local;
    ReflectionSyncReport& out = report ? *report : local;

    // Files that stay where they are and name a moved one.
    for (const auto& entry : resources_)
    {
        if (oldToNew.count(entry.first))
            continue;
        ProjectResourceHandler& handler = *entry.second.handler;
        const path dir = handler.getPath().parent_path();
        const auto replacements =
            pathReplacements(handler.externals(),
                             [&](const path& relPath) -> boost::optional<path>
                             {
                                 const auto moved =
                                     oldToNew.find(absoluteSourcePath(handler, relPath));
                                 if (moved == oldToNew.end())
                                     return boost::none;
                                 return BoostExt::makeRelativePath(dir, moved->second);
                             });
        if (replacements.empty())
            continue;
        const bool wasLoaded = handler.isLoaded();
        if (!handler.load())
        {
            reportProblem(out,
                          handler.getPath().string() + ": " +
                              (handler.loadError() ? resourceLoadErrorText(*handler.loadError())
                                                   : "it can't be opened") +
                              "; it still names the old place of a moved file");
            continue;
        }
        const bool wasClean = !handler.doesLoadedResourceNeedSave();
        const ProjectResourceHandler::Snapshot before = handler.takeSnapshot();
        try
        {
            for (const auto& replacement : replacements)
                handler.replaceExternalSource(replacement.first, replacement.second);
        }
        catch (const std::exception& e)
        {
            DEBUG_LOG(Warning, handler.getPath().string() + ": redirection failed: " + e.what());
            restoreOrUnload(handler, before, wasClean);
            reportProblem(out, handler.getPath().string() +
                                   ": it can't be changed to name the new place of a moved file");
            continue;
        }
        out.addChanged(handler.getPath());
        if (wasClean && handler.doesLoadedResourceNeedSave())
        {
            if (!handler.saveUnsavedLoadedResource())
                reportProblem(out, handler.getPath().string() + ": it can't be written");
            else if (!wasLoaded)
                handler.unloadSavedLoadedResource();
        }
    }

    // Moved files that name another one.
    for (const auto& moved : oldToNew)
        redirectMovedFile(moved.first, moved.second, oldToNew, out);
}

void Project::redirectMovedFile(const path& from, const path& to,
                                const std::map<path, path>& oldToNew, ReflectionSyncReport& report)
{
    ProjectResourceHandlerPtr known = findResourceHandlerByPath(from);
    if (!known || known->externals().empty())
        return;
    // A source as seen from the old place, where it is now, and the path to it from the new
    // place. Sources the project doesn't know stay as they are.
    const auto translate = [&](const path& relPath) -> boost::optional<path>
    {
        const path source = BoostExt::normalizePath(from.parent_path() / relPath);
        if (!findResourceWrap(source))
            return boost::none;
        const auto movedSource = oldToNew.find(source);
        return BoostExt::makeRelativePath(
            to.parent_path(), movedSource == oldToNew.end() ? source : movedSource->second);
    };

    // The file at its new place, which the next refresh reads.
    try
    {
        std::shared_ptr<ProjectResourceHandler> file = ProjectResourceHandler::openStandalone(to);
        const auto replacements = pathReplacements(file->externals(), translate);
        if (!replacements.empty())
        {
            if (!file->load())
                reportProblem(report,
                              to.string() + ": " +
                                  (file->loadError() ? resourceLoadErrorText(*file->loadError())
                                                     : "it can't be opened") +
                                  "; it still names its sources from its old place");
            else
            {
                for (const auto& replacement : replacements)
                    file->replaceExternalSource(replacement.first, replacement.second);
                report.addChanged(to);
                if (file->doesLoadedResourceNeedSave() && !file->saveUnsavedLoadedResource())
                    reportProblem(report, to.string() + ": it can't be written");
            }
        }
    }
    catch (const std::exception& e)
    {
        DEBUG_LOG(Warning, to.string() + ": " + e.what());
        reportProblem(report, to.string() +
                                  ": it can't be read; it still names its sources from its old "
                                  "place");
    }

    // Unsaved changes in memory, which the user may still save at the new place.
    if (known->isLoaded() && known->doesLoadedResourceNeedSave())
    {
        const ProjectResourceHandler::Snapshot before = known->takeSnapshot();
        try
        {
            for (const auto& replacement : pathReplacements(known->externals(), translate))
                known->replaceExternalSource(replacement.first, replacement.second);
        }
        catch (const std::exception& e)
        {
            DEBUG_LOG(Warning, from.string() + ": redirection failed: " + e.what());
            restoreOrUnload(*known, before, false);
            reportProblem(report, from.string() + ": its unsaved changes still name its sources "
                                                  "from its old place");
        }
    }
}

}  // namespace Plm
