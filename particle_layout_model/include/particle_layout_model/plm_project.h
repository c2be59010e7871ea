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
