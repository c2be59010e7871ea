#include "particle_layout_model/plm_project.h"

#include <fstream>
#include <iterator>
#include <set>

#include <boost/filesystem/operations.hpp>

#include "boost_ext/boost_ext_path.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace bfs = boost::filesystem;

namespace Plm
{

namespace
{

constexpr uint32_t kProjectVersion = 0;

// Far above any project file; a bound on what a wrong file makes the program read.
constexpr uintmax_t kMaxProjectFileBytes = 16u << 20;

bool readWholeFile(const bfs::path& file, std::vector<uint8_t>& data)
{
    // Only regular files: a device or a pipe could be read without end.
    boost::system::error_code error;
    if (!bfs::is_regular_file(bfs::status(file, error)))
        return false;
    std::ifstream in(file.string(), std::ios::binary);
    if (!in)
        return false;
    data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Writes beside the file and renames over it, so that a failed write leaves the old file.
bool writeWholeFile(const bfs::path& file, const std::vector<uint8_t>& data)
{
    bfs::path temp = file;
    temp += ".tmp";
    {
        std::ofstream out(temp.string(), std::ios::binary | std::ios::trunc);
        if (!out)
            return false;
        out.write(reinterpret_cast<const char*>(data.data()),
                  static_cast<std::streamsize>(data.size()));
        out.close();
        if (!out)
        {
            boost::system::error_code ignored;
            bfs::remove(temp, ignored);
            return false;
        }
    }
    boost::system::error_code error;
    bfs::rename(temp, file, error);
    if (error)
    {
        boost::system::error_code ignored;
        bfs::remove(temp, ignored);
        return false;
    }
    return true;
}

bfs::path absoluteNormalized(const bfs::path& file)
{
    return BoostExt::normalizePath(bfs::absolute(file));
}

}  // namespace

Project::Project(const path& projectFilePath, std::unique_ptr<ProjectSettings> settings, Private)
    : projectFilePath_(projectFilePath),
      projectDir_(projectFilePath.parent_path()),
      settings_(std::move(settings))
{
    DEBUG_ASSERT(projectFilePath_.is_absolute());
    DEBUG_ASSERT(settings_);
    settings_->setBaseDir(projectDir_);
    constructExportHandlers();
}

void Project::constructExportHandlers()
{
    exportHandlers_[EH_Cs] = std::make_unique<ExportHandlerCs>(*this, CET_Generic);
    exportHandlers_[EH_Js] = std::make_unique<ExportHandlerJs>(*this);
    exportHandlers_[EH_Unity] = std::make_unique<ExportHandlerCs>(*this, CET_Unity);
}

Project::~Project() = default;

std::unique_ptr<Project> Project::open(const path& projectFilePath)
{
    const path file = absoluteNormalized(projectFilePath);
    auto project = std::make_unique<Project>(
        file, std::make_unique<ProjectSettings>(file.parent_path(), path(), path()), Private());
    if (!project->loadForcedProjectFileFromDisk())
        throw Exception("Cannot open the project file " + file.string());
    project->resetRootFolder();
    return project;
}

std::unique_ptr<Project> Project::create(const path& projectFilePath,
                                         std::unique_ptr<ProjectSettings> settings)
{
    DEBUG_ASSERT(settings);
    const path file = absoluteNormalized(projectFilePath);
    auto project = std::make_unique<Project>(file, std::move(settings), Private());
    for (const path& dir :
         {project->settings().getResourcesPath(), project->settings().getTexturesPath()})
    {
        boost::system::error_code error;
        bfs::create_directories(dir, error);
        if (error || !BoostExt::dirExists(dir))
            throw Exception("Cannot create the directory " + dir.string());
    }
    if (!project->saveProjectFile())
        throw Exception("Cannot write the project file " + file.string());
    project->resetRootFolder();
    return project;
}

// The project file.

void Project::save(Sl::Saver& saver) const
{
    saver.write(nullptr, kMagic, Sl::PH_Packed);
    Sl::ScopedSaverGroup group("project", saver, kProjectVersion);
    settings_->save(saver);
}

void Project::load(Sl::Loader& loader)
{
    uint32_t magic = 0;
    loader.read(magic, Sl::PH_Packed);
    if (magic != kMagic)
        throw Sl::CorruptedDataException();
    // Read aside, so that a damaged file changes nothing.
    ProjectSettings settings(*settings_);
    {
        Sl::ScopedLoaderGroup group(loader, kProjectVersion);
        settings.load(loader);
    }
    settings.setBaseDir(projectDir_);
    *settings_ = settings;
}

bool Project::saveProjectFile()
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    save(saver);
    if (!writeWholeFile(projectFilePath_, saver.dataAsVector()))
        return false;
    projectFileTime_ = readProjectFileTime();
    projectFileNeedsSave_ = false;
    return true;
}

bool Project::loadForcedProjectFileFromDisk()
{
    boost::system::error_code error;
    const uintmax_t size = bfs::file_size(projectFilePath_, error);
    if (!error && size > kMaxProjectFileBytes)
        throw Sl::CorruptedDataException();
    std::vector<uint8_t> data;
    if (!readWholeFile(projectFilePath_, data))
        return false;
    Sl::LoaderBinArray loader(data.data(), static_cast<uint32_t>(data.size()));
    load(loader);
    projectFileTime_ = readProjectFileTime();
    projectFileNeedsSave_ = false;
    return true;
}

boost::optional<std::time_t> Project::readProjectFileTime() const
{
    boost::system::error_code error;
    const std::time_t time = bfs::last_write_time(projectFilePath_, error);
    if (error)
        return boost::none;
    return time;
}

bool Project::isProjectFileUpdatedOnDisk() const
{
    const boost::optional<std::time_t> time = readProjectFileTime();
    return !time || !projectFileTime_ || *time != *projectFileTime_;
}

void Project::applySettings(const ProjectSettings& settings)
{
    const bool resourcesMoved = settings.getResourcesPath() != settings_->getResourcesPath();
    *settings_ = settings;
    projectFileNeedsSave_ = true;
    if (resourcesMoved)
        resetRootFolder();
}

void Project::resetRootFolder()
{
    resources_.clear();
    for (const auto& target : exportHandlers_)
        target->removeAllResources();
    rootFolder_ = ProjectFolder::create(*this, settings_->getResourcesPath());
}

// Resources.

ProjectResourceHandlerPtr Project::findResourceHandlerByPath(const path& filePath) const
{
    auto it = resources_.find(filePath);
    return it == resources_.end() ? nullptr : it->second.handler;
}

ProjectResourceHandler& Project::getResourceHandlerByPath(const path& filePath) const
{
    auto it = resources_.find(filePath);
    DEBUG_ASSERT(it != resources_.end());
    return *it->second.handler;
}

Project::ResourceWrap* Project::findResourceWrap(const path& filePath)
{
    auto it = resources_.find(filePath);
    return it == resources_.end() ? nullptr : &it->second;
}

const Project::ResourceWrap* Project::findResourceWrap(const path& filePath) const
{
    auto it = resources_.find(filePath);
    return it == resources_.end() ? nullptr : &it->second;
}

Project::ResourceWrap& Project::getResourceWrap(const path& filePath)
{
    ResourceWrap* resWrap = findResourceWrap(filePath);
    DEBUG_ASSERT(resWrap);
    return *resWrap;
}

ProjectResourceHandlerPtr Project::createSystem(const std::string& name, const path& folderPath)
{
    ProjectFolder* folder = rootFolder_->findDeepFolderByPath(folderPath);
    if (!folder)
        throw ProjectResourceHandler::Exception("No folder of the project at " +
                                                folderPath.string());
    const std::string fileName =
        folder->getUniqueResourceName(name, ProjectResourceHandler::getResourceExtension());
    const std::string stem = fileName.substr(
        0, fileName.size() - std::string(ProjectResourceHandler::getResourceExtension()).size());
    ProjectResourceHandlerPtr handler = folder->createResource(
        stem, std::make_unique<ProjectResourceSystem>(Generation::simpleSystem()));
    syncResourcesWithFolders();
    return handler;
}

ProjectResourceHandlerPtr Project::getFirstUnsavedResource() const
{
    return rootFolder_->getFirstUnsavedResource();
}

bool Project::saveAllUnsavedResources()
{
    bool allSaved = true;
    for (auto& entry : resources_)
    {
        ProjectResourceHandler& handler = *entry.second.handler;
        if (handler.isLoaded() && handler.doesLoadedResourceNeedSave())
            allSaved = handler.saveUnsavedLoadedResource() && allSaved;
    }
    return allSaved;
}

bool Project::forceResaveAll()
{
    bool allSaved = true;
    for (auto& entry : resources_)
        allSaved = entry.second.handler->forceResaveLoadedResource() && allSaved;
    return allSaved;
}

// Moving and removing.

namespace
{
// True when `to` names another entry than `from`: a rename must never replace a file.
bool isTakenByAnother(const bfs::path& from, const bfs::path& to)
{
    boost::system::error_code error;
    if (!bfs::exists(bfs::symlink_status(to, error)))
        return false;
    // The same entry under a name that differs in case only, on a file system that ignores
    // case.
    return !bfs::equivalent(from, to, error) || error;
}
}  // namespace

bool Project::moveRenameResourceButNotRefresh(const path& from, const path& to)
{
    if (isTakenByAnother(from, to))
        return false;
    // The exported files' names follow the effect's path.
    if (ProjectResourceHandlerPtr handler = findResourceHandlerByPath(from))
        removeExportedFiles(*handler);
    boost::system::error_code error;
    bfs::rename(from, to, error);
    if (error)
        return false;
    // What reflects the file, and what the file reflects, name it by relative paths.
    redirectAllReflections({{from, to}});
    return true;
}

std::map<Project::path, Project::path> Project::moveRenameFolderButNotRefresh(const path& from,
                                                                              const path& to)
{
    std::map<path, path> map;
    createMoveFolderResourcesMap(from, to, map);
    if (isTakenByAnother(from, to))
        return {};
    for (const auto& moved : map)
        removeExportedFiles(getResourceHandlerByPath(moved.first));
    boost::system::error_code error;
    bfs::rename(from, to, error);
    if (error)
        map.clear();
    else
        redirectAllReflections(map);
    return map;
}

void Project::createMoveFolderResourcesMap(const path& from, const path& to,
                                           std::map<path, path>& map) const
{
    const ProjectFolder* folder = rootFolder_->findDeepFolderByPath(from);
    if (!folder)
        return;
    folder->forEachDeepResource(
        [&](const ProjectResourceHandlerPtr& handler)
        {
            const boost::optional<path> relative =
                BoostExt::makeRelativePath(from, handler->getPath());
            DEBUG_ASSERT(relative);
            map[handler->getPath()] = to / *relative;
        });
}

bool Project::removeButNotRefresh(const path& filePath)
{
    if (ProjectFolder* folder = rootFolder_->findDeepFolderByPath(filePath))
    {
        ProjectFolder* parent = folder->getParentFolder();
        DEBUG_ASSERT(parent);
        boost::system::error_code error;
        bfs::remove_all(filePath, error);
        if (error)
            return false;
        removeFolderInMemory(*parent, *folder);
        return true;
    }
    if (ProjectResourceHandlerPtr handler = findResourceHandlerByPath(filePath))
    {
        removeExportedFiles(*handler);
        boost::system::error_code error;
        bfs::remove(filePath, error);
        if (error)
            return false;
        // An auto-save left behind would bring the file back at the next opening.
        handler->removeAutoSaveIfExists();
        removeResourceInMemory(handler->getProjectFolder(), *handler);
        return true;
    }
    return false;
}

void Project::removeResourceInMemory(ProjectFolder& folder, const ProjectResourceHandler& handler)
{
    folder.removeResource(handler);
    syncResourcesWithFolders();
    updateAllResourcesLoadState();
    updateAllResourcesExportStatus();
}

void Project::removeFolderInMemory(ProjectFolder& parent, const ProjectFolder& folder)
{
    parent.removeFolder(folder);
    syncResourcesWithFolders();
    updateAllResourcesLoadState();
    updateAllResourcesExportStatus();
}

void Project::discardLoadedResourceChanges(const path& filePath)
{
    ProjectResourceHandler& handler = getResourceHandlerByPath(filePath);
    DEBUG_ASSERT(handler.isLoaded());
    if (handler.doesLoadedResourceNeedSave())
        handler.updateFromFile();
}

// Refresh.

void Project::refresh(ProjectRefreshResult& result)
{
    DEBUG_ASSERT(rootFolder_);
    DEBUG_ASSERT(rootFolder_->getPath() == settings().getResourcesPath());
    if (BoostExt::dirExists(settings().getResourcesPath()))
        rootFolder_->update(result, {});
    else
        rootFolder_->updateMarkedToDelete(result, {});
    syncResourcesWithFolders();
    updateAllResourcesLoadState();
    updateAllResourcesExportStatus();
}

void Project::updateFoldersAndResourceLoadState()
{
    if (!rootFolder_ || rootFolder_->getPath() != settings().getResourcesPath())
        resetRootFolder();
    ProjectRefreshResult ignored;
    refresh(ignored);
}

void Project::syncResourcesWithFolders()
{
    std::map<path, ResourceWrap> synced;
    rootFolder_->forEachDeepResource(
        [&](const ProjectResourceHandlerPtr& handler)
        {
            ResourceWrap& wrap = synced[handler->getPath()];
            auto old = resources_.find(handler->getPath());
            if (old != resources_.end())
                wrap = old->second;
            wrap.handler = handler;
        });
    // The export targets know the same effects.
    for (const auto& item : resources_)
        if (synced.find(item.first) == synced.end())
            for (const auto& target : exportHandlers_)
                target->removeResource(item.first);
    for (const auto& item : synced)
        if (resources_.find(item.first) == resources_.end())
            for (const auto& target : exportHandlers_)
                target->addResource(*item.second.handler);
    resources_.swap(synced);
}

// Export.

ExportHandler& Project::exportHandler(EnumExportHandlers index) const
{
    DEBUG_ASSERT(index < EH_Count);
    return *exportHandlers_[index];
}

ExportHandlerCs& Project::exportHandlerCs() const
{
    return static_cast<ExportHandlerCs&>(*exportHandlers_[EH_Cs]);
}

ExportHandlerCs& Project::exportHandlerUnity() const
{
    return static_cast<ExportHandlerCs&>(*exportHandlers_[EH_Unity]);
}

void Project::removeExportedFiles(const ProjectResourceHandler& handler) const
{
    for (const auto& target : exportHandlers_)
        if (target->enabled())
            target->removeExportedFileIfExists(handler);
}

boost::optional<std::vector<EnumExportHandlers>>
Project::doesResourceNeedExport(const ProjectResourceHandler& handler) const
{
    std::vector<EnumExportHandlers> targets;
    for (unsigned int i = 0; i < EH_Count; ++i)
        if (exportHandlers_[i]->enabled() && exportHandlers_[i]->doesNeedExport(handler))
            targets.push_back(static_cast<EnumExportHandlers>(i));
    if (targets.empty())
        return boost::none;
    return targets;
}

std::vector<std::pair<EnumExportHandlers, Project::path>>
Project::makeUnexportedResourcesList() const
{
    std::vector<std::pair<EnumExportHandlers, path>> list;
    for (const auto& item : resources_)
        for (unsigned int i = 0; i < EH_Count; ++i)
            if (exportHandlers_[i]->enabled() &&
                exportHandlers_[i]->doesNeedExport(*item.second.handler))
                list.emplace_back(static_cast<EnumExportHandlers>(i), item.first);
    return list;
}

void Project::updateAllResourcesExportStatus()
{
    for (const auto& target : exportHandlers_)
        if (target->enabled())
            for (const auto& item : resources_)
                target->updateExportStatus(*item.second.handler);
}

unsigned int Project::cleanExportDirectories() const
{
    unsigned int count = 0;
    for (const auto& target : exportHandlers_)
        if (target->enabled())
            count += target->cleanExportDirectory();
    return count;
}

// Auto-save recovery.

void Project::loadAllAutoSavesOnTop()
{
    // Auto-saves stand beside effect files, all of which are below the resources path.
    std::vector<path> autoSaves;
    {
        boost::system::error_code error;
        bfs::recursive_directory_iterator it(settings().getResourcesPath(), error);
        for (const bfs::recursive_directory_iterator end; !error && it != end; it.increment(error))
        {
            boost::system::error_code statusError;
            if (it->path().extension() == ProjectResourceHandler::getAutoSaveExtension() &&
                bfs::is_regular_file(it->status(statusError)))
                autoSaves.push_back(it->path());
        }
    }
    for (const path& autoSave : autoSaves)
    {
        std::vector<uint8_t> data;
        if (!readWholeFile(autoSave, data))
            continue;
        const path file =
            path(autoSave).replace_extension(ProjectResourceHandler::getResourceExtension());
        ProjectResourceHandlerPtr handler = findResourceHandlerByPath(file);
        if (handler)
        {
            if (!handler->load())
                continue;
        }
        else
        {
            // A file the project couldn't read keeps its auto-save for a later attempt; a new
            // effect under another name would take the auto-save from it.
            boost::system::error_code error;
            if (bfs::exists(bfs::symlink_status(file, error)))
                continue;
            try
            {
                handler = createSystem(autoSave.stem().string(), autoSave.parent_path());
            }
            catch (const ProjectResourceHandler::Exception&)
            {
                continue;
            }
        }
        try
        {
            handler->getLoadedResource().setUndoData(data);
        }
        catch (const Sl::Exception&)
        {
            // The file stands as it is on disk, and the damaged auto-save goes.
            handler->unloadLoadedResource();
            handler->removeAutoSaveIfExists();
        }
    }
}

// Groups and load state.

boost::optional<unsigned int> Project::aquireGroupMask()
{
    for (unsigned int bit = 0; bit < kMaxGroups; ++bit)
    {
        const uint32_t mask = 1u << bit;
        if ((aquiredGroupMasks_ & mask) == 0)
        {
            aquiredGroupMasks_ |= mask;
            return mask;
        }
    }
    return boost::none;
}

void Project::releaseGroup(unsigned int groupMask)
{
    DEBUG_ASSERT((aquiredGroupMasks_ & groupMask) == groupMask);
    aquiredGroupMasks_ &= ~groupMask;
}

void Project::markResourceFixed(const path& filePath, unsigned int mask)
{
    if (ResourceWrap* wrap = findResourceWrap(filePath))
        wrap->fixedMask |= mask;
}

void Project::markResourceReleased(const path& filePath, unsigned int mask)
{
    if (ResourceWrap* wrap = findResourceWrap(filePath))
        wrap->fixedMask &= ~mask;
}

void Project::markAllResourcesReleased(unsigned int mask)
{
    for (auto& entry : resources_)
        entry.second.fixedMask &= ~mask;
}

void Project::markSourcesRecursive(const ResourceWrap& wrap)
{
    const ProjectResourceHandler& handler = *wrap.handler;
    const path dir = handler.getPath().parent_path();
    for (unsigned int i = 0; i < handler.getNumExternalSources(); ++i)
    {
        const path sourcePath =
            BoostExt::normalizePath(dir / handler.getExternalSourceRelativePath(i));
        ResourceWrap* source = findResourceWrap(sourcePath);
        // A source met before has been walked already; this also ends cycles.
        if (!source || source->sourceOfFixed)
            continue;
        source->sourceOfFixed = true;
        markSourcesRecursive(*source);
    }
}

void Project::updateAllResourcesLoadState()
{
    for (auto& entry : resources_)
        entry.second.sourceOfFixed = false;
    for (auto& entry : resources_)
    {
        if (entry.second.fixedMask != 0)
            markSourcesRecursive(entry.second);
    }
    // Unloading first keeps the peak of memory low. A file with unsaved changes stays.
    for (auto& entry : resources_)
    {
        ResourceWrap& wrap = entry.second;
        ProjectResourceHandler& handler = *wrap.handler;
        if (wrap.fixedMask == 0 && !wrap.sourceOfFixed && handler.isLoaded() &&
            !handler.doesLoadedResourceNeedSave())
            handler.unloadSavedLoadedResource();
    }
    for (auto& entry : resources_)
    {
        ResourceWrap& wrap = entry.second;
        if ((wrap.fixedMask != 0 || wrap.sourceOfFixed) && !wrap.handler->isLoaded())
            wrap.handler->load();
    }
}

}  // namespace Plm
