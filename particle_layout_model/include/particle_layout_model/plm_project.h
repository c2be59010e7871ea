#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <array>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_access_key.h"
#include "particle_layout_model/plm_export_handler.h"

namespace Sl
{
class Loader;
class Saver;
}  // namespace Sl

namespace Plm
{

class ExternalResourcesMap;
class Project;
class ProjectResource;
class ProjectResourceHandler;
class ProjectSettings;

using ProjectResourceHandlerPtr = std::shared_ptr<ProjectResourceHandler>;

// What a refresh found changed on disk while the model holds unsaved changes of it: the
// caller asks the user what to keep. Everything else a refresh settles by itself.
struct ProjectRefreshResult
{
    // Folders gone from disk that still hold a loaded resource in need of saving.
    std::vector<boost::filesystem::path> foldersToDelete_;
    // Effect files gone from disk, loaded and in need of saving.
    std::vector<boost::filesystem::path> resourcesToDelete_;
    // Effect files changed on disk, loaded and in need of saving.
    std::vector<boost::filesystem::path> resourcesToUpdate_;

    bool empty() const
    {
        return foldersToDelete_.empty() && resourcesToDelete_.empty() && resourcesToUpdate_.empty();
    }
};

// What a reflection pass (or a redirection after a move) did and couldn't do.
struct ReflectionSyncReport
{
    // The effect files it changed, each once, in the order it changed them (absolute paths).
    std::vector<boost::filesystem::path> changed;
    // What it couldn't follow or refused, one text per problem, each naming its file: a
    // source that can't be loaded or is of another kind, a source the project doesn't know,
    // a cycle of reflections, a file whose synchronisation failed (it is left as it was), a
    // file that can't be written.
    std::vector<std::string> problems;

    void addChanged(const boost::filesystem::path& file);
    void addProblem(const std::string& text);
};

// A directory of the project's tree, mirroring the disk: its child directories and its
// effect files, both sorted by path.
class ProjectFolder
{
    struct Private
    {
    };

public:
    using path = boost::filesystem::path;
    using Uuid = boost::uuids::uuid;

    ProjectFolder(Project& project, ProjectFolder* parent, path folderPath, Private);
    ~ProjectFolder();
    ProjectFolder(const ProjectFolder&) = delete;
    ProjectFolder& operator=(const ProjectFolder&) = delete;

    // A root folder at an absolute path, empty until the first refresh.
    static std::unique_ptr<ProjectFolder> create(Project& project, const path& folderPath);

    Project& getProject() const { return project_; }
    ProjectFolder* getParentFolder() const { return parentFolder_; }
    std::string getName() const { return path_.filename().string(); }
    // The folder's absolute directory.
    const path& getPath() const { return path_; }

    unsigned int getNumFolders() const { return static_cast<unsigned int>(folders_.size()); }
    ProjectFolder& getFolder(unsigned int index) const;
    // A direct child, or one at any depth.
    bool hasFolder(const ProjectFolder& folder) const;
    bool hasDeepFolder(const ProjectFolder& folder) const;
    ProjectFolder* findFolderByPath(const path& folderPath) const;
    // This folder or one below it.
    ProjectFolder* findDeepFolderByPath(const path& folderPath) const;
    ProjectFolder& getDeepFolderByPath(const path& folderPath) const;

    unsigned int getNumResources() const { return static_cast<unsigned int>(resources_.size()); }
    const ProjectResourceHandlerPtr& getResource(unsigned int index) const;
    boost::optional<unsigned int> getResourceIndex(const Uuid& id) const;
    // The folder, at any depth, that holds a resource of this id.
    ProjectFolder* findFolderByResourceId(const Uuid& id);
    ProjectResourceHandlerPtr findResourceByPath(const path& filePath) const;
    ProjectResourceHandlerPtr findDeepResourceByPath(const path& filePath) const;
    // The first loaded resource in need of saving, this folder's before its children's.
    ProjectResourceHandlerPtr getFirstUnsavedResource() const;
    void collectDeepAllUnsavedResources(std::vector<ProjectResourceHandlerPtr>& list) const;
    // Every resource at any depth, this folder's before its children's.
    void forEachDeepResource(const std::function<void(const ProjectResourceHandlerPtr&)>& f) const;

    // The path that leads from this folder to `folder`; no value if none can be formed.
    boost::optional<path> getRelativePath(const ProjectFolder& folder) const;
    // The file name (`name` with the extension) that no file in the directory has yet:
    // `name + extension`, else with " (1)", " (2)" and so on before the extension. Only the
    // disk decides.
    std::string getUniqueResourceName(const std::string& name, const std::string& extension) const;

    // A new effect file of this name (without extension) in this folder, saved at once.
    // Raises ProjectResourceHandler::Exception when a file stands there or can't be written.
    ProjectResourceHandlerPtr createResource(const std::string& name,
                                             std::unique_ptr<ProjectResource> resource);
    // In memory only; the project's list follows when the caller syncs it.
    void removeFolder(const ProjectFolder& folder);
    void removeResource(const ProjectResourceHandler& handler);

    // Brings this folder and those below it in line with the disk (see Project::refresh).
    void update(ProjectRefreshResult& result, AccessKey<Project>);
    // The folder is gone from disk: drops what can go, reports what can't. Returns whether
    // anything remained.
    bool updateMarkedToDelete(ProjectRefreshResult& result, AccessKey<Project>);

private:
    void updateFromDisk(ProjectRefreshResult& result);
    bool markedToDelete(ProjectRefreshResult& result);
    void sortResources();
    void sortFolders();

    Project& project_;
    ProjectFolder* parentFolder_;
    std::vector<std::unique_ptr<ProjectFolder>> folders_;
    path path_;
    std::vector<ProjectResourceHandlerPtr> resources_;
};

// A directory tree of effect files and the project file beside it. The model mirrors the tree,
// keeps one handler per effect file, and decides which files are loaded: a file is in memory
// while a group holds it, while a held file reflects it (directly or not), or while it has
// unsaved changes.
class Project
{
    struct Private
    {
    };

public:
    using path = boost::filesystem::path;
    using Uuid = boost::uuids::uuid;

    // The project file can't be read or written, or the project's directories can't be made.
    class Exception : public std::runtime_error
    {
    public:
        using std::runtime_error::runtime_error;
    };

    // One effect file as the project knows it.
    struct ResourceWrap
    {
        // The groups that hold the file in memory.
        uint32_t fixedMask = 0;
        // A held file reflects this one, directly or through others.
        bool sourceOfFixed = false;
        ProjectResourceHandlerPtr handler;
    };

    static constexpr uint32_t kMagic = 0xABCDEF98;
    static const char* getProjectExtension() { return ".sxproj"; }
    // Groups use bits 0 to 30; bit 31 is never given.
    static constexpr unsigned int kMaxGroups = 31;

    Project(const path& projectFilePath, std::unique_ptr<ProjectSettings> settings, Private);
    ~Project();
    Project(const Project&) = delete;
    Project& operator=(const Project&) = delete;

    // Reads the project file and the tree. A file that can't be opened raises Exception; one
    // that can't be read raises the Sl exception of the fault.
    static std::unique_ptr<Project> open(const path& projectFilePath);
    // Makes the resources and textures directories and the project file, and an empty tree.
    // The settings' base directory becomes the project file's directory. Raises Exception.
    static std::unique_ptr<Project> create(const path& projectFilePath,
                                           std::unique_ptr<ProjectSettings> settings);

    // The stream form of the project file, from the magic on (the header byte is the
    // saver's).
    void save(Sl::Saver& saver) const;
    // Raises Sl::CorruptedDataException on another magic, and the loader's exceptions.
    void load(Sl::Loader& loader);
    // Both record the file's time and clear the need to save. Writing returns false on
    // failure; reading returns false when the file can't be opened, and lets the Sl
    // exceptions of a damaged file through (nothing is changed then).
    bool saveProjectFile();
    bool loadForcedProjectFileFromDisk();
    bool doesProjectFileNeedSave() const { return projectFileNeedsSave_; }
    // The file's time differs from the one last read or written, or can't be told.
    bool isProjectFileUpdatedOnDisk() const;

    const path& getProjectPath() const { return projectFilePath_; }
    const path& getProjectDir() const { return projectDir_; }
    const ProjectSettings& settings() const { return *settings_; }
    ProjectFolder& getRootFolder() const { return *rootFolder_; }
    // Copies every field and marks the project file unsaved. Another resources path resets
    // the tree; the caller refreshes.
    void applySettings(const ProjectSettings& settings);

    // Resources, by absolute path.
    ProjectResourceHandlerPtr findResourceHandlerByPath(const path& filePath) const;
    ProjectResourceHandler& getResourceHandlerByPath(const path& filePath) const;
    ResourceWrap* findResourceWrap(const path& filePath);
    const ResourceWrap* findResourceWrap(const path& filePath) const;
    ResourceWrap& getResourceWrap(const path& filePath);
    const std::map<path, ResourceWrap>& resources() const { return resources_; }

    // A new effect file from the default effect, under a name made unique from `name`, in
    // the folder at `folderPath`. Raises ProjectResourceHandler::Exception if it can't be
    // written.
    ProjectResourceHandlerPtr createSystem(const std::string& name, const path& folderPath);

    ProjectResourceHandlerPtr getFirstUnsavedResource() const;
    // True when every save succeeded.
    bool saveAllUnsavedResources();
    bool forceResaveAll();

    // These change the disk and the tree and leave the rest to the next refresh.
    bool moveRenameResourceButNotRefresh(const path& from, const path& to);
    // The old and new paths of the effects moved; empty on failure.
    std::map<path, path> moveRenameFolderButNotRefresh(const path& from, const path& to);
    bool removeButNotRefresh(const path& filePath);
    void createMoveFolderResourcesMap(const path& from, const path& to,
                                      std::map<path, path>& map) const;

    // Reflection between files. A reflection that had no unsaved changes before a pass and
    // that the pass changed is saved at once; one with unsaved changes stays unsaved. A file
    // whose synchronisation fails goes back to its state before it, nothing of it is saved, and
    // the pass goes on with the others. A file in a cycle of reflections isn't synchronised.
    // Problems go to `report` when one is given, and to the log.

    // The sources of the handler's file that the project knows, under the relative paths the
    // file holds.
    void createExternalResourcesMap(const ProjectResourceHandler& handler,
                                    ExternalResourcesMap& map) const;
    // A new effect file in the folder at `folderPath` that reflects the effect file at
    // `sourcePath`, filled from it at once and saved. Its name is made unique from `name`, or
    // from the source's name when `name` is empty. Raises ProjectResourceHandler::Exception
    // when there is no such folder, the source isn't an effect of the project or can't be
    // loaded, or the file can't be written.
    ProjectResourceHandlerPtr addReflectedSystem(const path& folderPath, const path& sourcePath,
                                                 const std::string& name = std::string(),
                                                 ReflectionSyncReport* report = nullptr);
    // Loads the file and its sources for the time and synchronises it, needed or not. True
    // when it changed.
    bool syncResource(const path& filePath, ReflectionSyncReport* report = nullptr);
    // The loaded files that reflect the file, directly or through others, follow it where
    // needed; nothing is loaded or saved (for the editor while the source is edited).
    void syncLoadedReflections(const path& filePath, ReflectionSyncReport* report = nullptr);
    // Every file that reflects the file, directly or through others, loaded or not, follows
    // it where needed.
    void syncAllReflections(const path& filePath, ReflectionSyncReport* report = nullptr);
    // Every file whose sources have moved on since its last synchronisation follows them,
    // and then what reflects it. True when no file needed it. Files whose sources the
    // project doesn't know are reported and left as they are.
    bool syncAllReflections(ReflectionSyncReport* report = nullptr);
    // Cuts the loaded file loose from the files it reflects. False, with `why`, when it
    // reflects nothing or the model refuses (it is left as it was then); not saved.
    bool separateLoadedResource(const path& filePath, std::string* why = nullptr);
    // Files moved on disk (old to new absolute paths), before the next refresh: every file
    // that reflects a moved one, and every moved file that reflects another, names it by its
    // new relative path. Files that were clean are written at once; a moved file is written
    // at its new place.
    void redirectAllReflections(const std::map<path, path>& oldToNew,
                                ReflectionSyncReport* report = nullptr);

    // Drops the unsaved changes of a loaded file by reading it again.
    void discardLoadedResourceChanges(const path& filePath);

    // Brings the tree in line with the disk; `result` gets what the caller must decide.
    void refresh(ProjectRefreshResult& result);
    void updateFoldersAndResourceLoadState();

    // Puts each auto-save file of the project over its effect (or makes the effect it names).
    void loadAllAutoSavesOnTop();

    // Groups: clients that want files in memory.
    boost::optional<unsigned int> aquireGroupMask();
    void releaseGroup(unsigned int groupMask);
    unsigned int getAquiredGroupMasks() const { return aquiredGroupMasks_; }
    // These change the masks alone; updateAllResourcesLoadState() acts on them.
    void markResourceFixed(const path& filePath, unsigned int mask);
    void markResourceReleased(const path& filePath, unsigned int mask);
    void markAllResourcesReleased(unsigned int mask);
    void updateAllResourcesLoadState();

    // The list of resources follows the tree: wraps of files gone from it go, new files get one.
    void syncResourcesWithFolders();

    // Export. The three targets exist whether enabled or not, and follow the resources.
    ExportHandler& exportHandler(EnumExportHandlers index) const;
    ExportHandlerCs& exportHandlerCs() const;
    ExportHandlerCs& exportHandlerUnity() const;
    // The enabled targets on which the effect needs export, or nothing if none.
    boost::optional<std::vector<EnumExportHandlers>>
    doesResourceNeedExport(const ProjectResourceHandler& handler) const;
    // For every effect and every enabled target that needs it: the target and the path.
    std::vector<std::pair<EnumExportHandlers, path>> makeUnexportedResourcesList() const;
    void updateAllResourcesExportStatus();
    // Cleans the folders of the enabled targets; the number of files removed.
    unsigned int cleanExportDirectories() const;

private:
    void constructExportHandlers();
    // Files exported for an effect that is about to move or go.
    void removeExportedFiles(const ProjectResourceHandler& handler) const;
    void resetRootFolder();
    void markSourcesRecursive(const ResourceWrap& wrap);
    void extractResourcesFromFolder(const ProjectFolder& folder);
    void removeResourceInMemory(ProjectFolder& folder, const ProjectResourceHandler& handler);
    void removeFolderInMemory(ProjectFolder& parent, const ProjectFolder& folder);
    boost::optional<std::time_t> readProjectFileTime() const;

    // Reflection.
    // A group held for the time of one operation (plm_project_reflection.cpp).
    class PassingGroup;
    path absoluteSourcePath(const ProjectResourceHandler& handler, const path& relPath) const;
    // The chain of files that leads from the file back to itself, if there is one.
    std::vector<path> findReflectionCycle(const path& filePath) const;
    // Synchronises one loaded file (only when needed unless `force`), with the rules above.
    // True when it changed.
    bool syncLoadedResourceGuarded(ProjectResourceHandler& handler, bool force, bool saveClean,
                                   ReflectionSyncReport& report);
    // The files that name the file as a source.
    std::vector<path> findDirectReflections(const path& filePath) const;
    // Follows the files that reflect the file, and then theirs: with a group, every file that
    // needs it, loaded for the time; without, the loaded ones alone, and nothing is saved.
    void processDependencies(const path& filePath, PassingGroup* group, std::vector<path>& visited,
                             ReflectionSyncReport& report);
    void redirectMovedFile(const path& from, const path& to, const std::map<path, path>& oldToNew,
                           ReflectionSyncReport& report);

    path projectFilePath_;
    path projectDir_;
    boost::optional<std::time_t> projectFileTime_;
    bool projectFileNeedsSave_ = false;
    std::unique_ptr<ProjectSettings> settings_;
    std::unique_ptr<ProjectFolder> rootFolder_;
    uint32_t aquiredGroupMasks_ = 0;
    std::map<path, ResourceWrap> resources_;
    std::array<std::unique_ptr<ExportHandler>, EH_Count> exportHandlers_;
};

}  // namespace Plm
