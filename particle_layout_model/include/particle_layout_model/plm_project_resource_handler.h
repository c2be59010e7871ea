#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_project_resource.h"

namespace Sl
{
class Exception;
class Loader;
class RevisionLoader;
class RevisionSaver;
class Saver;
}  // namespace Sl

namespace Plm
{

class ExternalResourcesMap;
class Project;
class ProjectFolder;

// Why the last attempt to load a file failed.
enum EnumResourceLoadError
{
    RLE_OldEditor = 0,
    RLE_Corrupted = 1,
};

// The text the user is shown for a load error.
const char* resourceLoadErrorText(EnumResourceLoadError error);

// A file of a project for as long as the project knows it: its path, identity, revisions and
// what it depends on, all read from the head of the file. It owns the loaded content while
// the file is loaded.
//
// A handler outside any project (the command-line tool, tests) is made by the standalone
// factories; getProject() and getProjectFolder() are then broken invariants.
class ProjectResourceHandler
{
    struct Private
    {
    };

public:
    using Uuid = boost::uuids::uuid;
    using path = boost::filesystem::path;

    // A file that can't be opened or a new resource on a path that is taken.
    class Exception : public std::runtime_error
    {
    public:
        using std::runtime_error::runtime_error;
    };

    // A source this file reflects: its path relative to this file's directory, and the
    // revision of that file at the last synchronisation.
    struct External
    {
        path relPath;
        boost::optional<Uuid> revision;
    };

    // The textures and pictures that the file's blocks and scene objects name.
    struct ExternalDependencies
    {
        std::set<path> textures;
        std::set<path> pictures;
    };

    static const char* getResourceExtension() { return ".sxed"; }
    static const char* getAutoSaveExtension() { return ".autosave"; }
    // The state of a loaded file to go back to when an operation fails halfway: the content
    // and what the head holds about it. A file with nothing to save keeps no copy of its
    // content: the file on disk holds it.
    struct Snapshot
    {
        boost::optional<std::vector<uint8_t>> content;
        Uuid revision{};
        Uuid exportRevision{};
        std::vector<External> externals;
        ExternalDependencies dependencies;
    };

    static constexpr uint32_t kMagic = 0xABCDEF33;
    // The load error that a stream's exception stands for.
    static EnumResourceLoadError loadErrorOf(const Sl::Exception& error);

    ProjectResourceHandler(Project* project, ProjectFolder* folder, path file, Private);
    ~ProjectResourceHandler();
    ProjectResourceHandler(const ProjectResourceHandler&) = delete;
    ProjectResourceHandler& operator=(const ProjectResourceHandler&) = delete;

    // An existing file of a project's folder, head only. A file that can't be opened raises
    // Exception; a head that can't be read gives null.
    static std::shared_ptr<ProjectResourceHandler>
    createFromFile(Project& project, ProjectFolder& folder, const std::string& name);
    // A new file of a project's folder, saved at once. Raises Exception if a file stands
    // there or the save fails.
    static std::shared_ptr<ProjectResourceHandler>
    createNew(Project& project, ProjectFolder& folder, const std::string& name,
              std::unique_ptr<ProjectResource> resource);
    // The same two for a file outside any project. openStandalone raises the stream's
    // exception when the head can't be read (loadErrorOf names it).
    static std::shared_ptr<ProjectResourceHandler> openStandalone(const path& file);
    static std::shared_ptr<ProjectResourceHandler>
    createNewStandalone(const path& file, std::unique_ptr<ProjectResource> resource);

    Project& getProject() const;
    ProjectFolder& getProjectFolder() const;
    bool isInProject() const { return project_ != nullptr; }
    std::string getName() const { return path_.stem().string(); }
    const path& getPath() const { return path_; }
    const path& getAutoSavePath() const { return autoSavePath_; }
    const Uuid& getId() const { return id_; }
    EnumProjectResourceType getType() const { return type_; }
    const Uuid& getRevision() const { return revision_; }
    const Uuid& getExportRevision() const { return exportRevision_; }

    bool isLoaded() const { return static_cast<bool>(loadedResource_); }
    const boost::optional<EnumResourceLoadError>& loadError() const { return loadError_; }
    // Loads the whole file unless it is loaded; false on failure (see loadError()).
    bool load();
    // The file changed on disk: reads the head again, and the content if it is loaded;
    // the auto-save goes.
    void updateFromFile();
    bool wasFileChangedOutside() const;

    bool doesLoadedResourceNeedSave() const;
    bool saveUnsavedLoadedResource();
    bool forceResaveLoadedResource();
    void unloadLoadedResource();
    void unloadSavedLoadedResource();
    ProjectResource& getLoadedResource() const;

    // Sources this file reflects, and their recorded revisions.
    unsigned int getNumExternalSources() const
    {
        return static_cast<unsigned int>(externals_.size());
    }
    const path& getExternalSourceRelativePath(unsigned int index) const;
    const std::vector<External>& externals() const { return externals_; }
    // A source file moved: the loaded content names `to` in place of `from`. The revision
    // recorded for `from` goes with it, since the file itself is the same.
    void replaceExternalSource(const path& from, const path& to);

    // Reflection. True when a source that `map` holds has another revision than the one
    // recorded at the last synchronisation, or none was recorded.
    bool doesNeedSync(const ExternalResourcesMap& map) const;
    // The loaded content follows its sources; then each source that could be followed (loaded
    // and of the kind asked for) has its revision recorded. One that couldn't stays unrecorded,
    // so that the next pass looks at it (and reports it) again.
    void syncLoadedResource(const ExternalResourcesMap& map);

    // The loaded state, and going back to one taken before. Going back keeps the resource
    // object (and its undo history) and reads the content into it; it raises the stream's
    // exceptions, or Exception, when the file it must read can't be read.
    Snapshot takeSnapshot() const;
    void restoreSnapshot(const Snapshot& snapshot);
    const ExternalDependencies& externalDependencies() const { return *externalDependencies_; }

    void autoSaveUndoStackIfPossible() const;
    void removeAutoSaveIfExists() const;
    // The bytes the file would get now.
    std::vector<uint8_t> saveLoadedResourceToBuffer() const;

    // Called by the loaded resource on every change.
    void notifyResourceChanged(bool affectsExport, AccessKey<ProjectResource>);
    // The part of the undo state that belongs to the handler.
    void saveUndo(Sl::RevisionSaver& saver, AccessKey<ProjectResource>) const;
    void loadUndo(Sl::RevisionLoader& loader, AccessKey<ProjectResource>);

    // Reads the head alone from a loader (for tools that look at a file's bytes).
    void readHeaderOnlyFromLoader(Sl::Loader& loader);

private:
    struct LoadedResource
    {
        std::unique_ptr<ProjectResource> resource_;
        boost::optional<Uuid> savedRevision;
    };

    static std::shared_ptr<ProjectResourceHandler> openFile(Project* project, ProjectFolder* folder,
                                                            const path& file);
    static std::shared_ptr<ProjectResourceHandler>
    createNewFile(Project* project, ProjectFolder* folder, const path& file,
                  std::unique_ptr<ProjectResource> resource);

    void extractExternalResourcesFromLoadedResource();
    void fixesAfterHeaderLoaded();
    void takeLoadedResource(std::unique_ptr<ProjectResource> resource);
    void saveExternals(Sl::Saver& saver) const;
    void loadExternals(Sl::Loader& loader);
    void writeHeader(Sl::Saver& saver) const;
    std::vector<uint8_t> writeHeaderAndResourceToBuffer() const;
    bool writeHeaderAndResourceToFile();
    bool readHeaderOnlyFromFile();
    bool readHeaderAndResourceFromFile();
    boost::optional<std::time_t> readFileTime() const;

    Project* project_;
    ProjectFolder* folder_;
    path path_;
    path autoSavePath_;
    boost::optional<std::time_t> fileTime_;
    Uuid id_{};
    EnumProjectResourceType type_ = PRT_System;
    Uuid revision_{};
    Uuid exportRevision_{};
    std::vector<External> externals_;
    std::unique_ptr<ExternalDependencies> externalDependencies_;
    bool externalsOutdated_ = false;
    std::unique_ptr<LoadedResource> loadedResource_;
    boost::optional<EnumResourceLoadError> loadError_;
};

}  // namespace Plm
