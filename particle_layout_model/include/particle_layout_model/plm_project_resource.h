#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_access_key.h"
#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_preview_scene.h"

namespace Sl
{
class RevisionCore;
class RevisionLoader;
class RevisionSaver;
class SaverLoaderBinManager;
}  // namespace Sl

namespace Plm
{

class Project;
class ProjectResourceHandler;
class ExternalResourcesMap;
class ProjectResourceBlock;
class ProjectResourceEmitter;
class ProjectResourceSystem;
class System;

// The kind of a project's file; one byte in files. Every file the editor makes holds an
// effect; block files are read, saved and synchronised but never made.
enum EnumProjectResourceType : uint8_t
{
    PRT_Block = 0,
    PRT_Emitter = 1,
    PRT_System = 2,
};

// A loaded file of a project: what it holds, its undo history and the opaque state of its
// views. Its handler (which owns it) keeps what can be read from the head of the file.
class ProjectResource
{
public:
    using Uuid = boost::uuids::uuid;
    using path = boost::filesystem::path;

    ProjectResource(const ProjectResource&) = delete;
    ProjectResource& operator=(const ProjectResource&) = delete;
    virtual ~ProjectResource();

    // After the whole file has been read and the handler connected.
    virtual void postLoad() {}
    // The files this one reflects, relative to its directory, each once.
    virtual void extractExternalSources(std::vector<path>& sources) const = 0;
    // A source file moved: references to `from` now name `to`.
    virtual void replaceExternalSource(const path& from, const path& to) = 0;
    virtual void enumerateExternalDependeciesHolders(
        const std::function<void(ExternalDependencyHolder&)>& f) = 0;
    virtual void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const = 0;
    virtual ProjectResourceBlock* castToBlockResource() { return nullptr; }
    virtual ProjectResourceEmitter* castToEmitterResource() { return nullptr; }
    virtual ProjectResourceSystem* castToSystemResource() { return nullptr; }
    virtual Emitter* findEmitterById(const Uuid& id) = 0;
    virtual Block* findBlockById(const Uuid& id) = 0;
    virtual bool isDirectlyReflected() const = 0;
    // Follows the sources, external ones looked up in `map`.
    virtual void sync(const ExternalResourcesMap& map) = 0;
    // Cuts the resource loose from its sources.
    virtual void separate(const ExternalResourcesMap& map) = 0;
    // The content, without the identity that save() writes around it.
    virtual void loadResource(Sl::RevisionLoader& loader) = 0;
    virtual void saveResource(Sl::RevisionSaver& saver) const = 0;

    const ProjectResourceBlock* castToBlockResource() const;
    const ProjectResourceEmitter* castToEmitterResource() const;
    const ProjectResourceSystem* castToSystemResource() const;
    ProjectResourceBlock& castToBlockResourceChecked();
    const ProjectResourceBlock& castToBlockResourceChecked() const;
    ProjectResourceEmitter& castToEmitterResourceChecked();
    const ProjectResourceEmitter& castToEmitterResourceChecked() const;
    ProjectResourceSystem& castToSystemResourceChecked();
    const ProjectResourceSystem& castToSystemResourceChecked() const;

    EnumProjectResourceType getType() const { return type_; }
    const Uuid& getId() const { return id_; }
    // Null when there is none.
    const std::vector<uint8_t>* getViewData() const;
    void setViewData(const uint8_t* bytes, size_t size);

    void connectWithResourceHandler(ProjectResourceHandler& handler,
                                    AccessKey<ProjectResourceHandler>);
    bool hasResourceHandler() const { return handler_ != nullptr; }
    ProjectResourceHandler& getResourceHandler() const;
    Project& getProject() const;

    // How an object of this file names a source object: by id when it lies in this file,
    // else by the path from this file's directory to the other's.
    ReflectionSourceRef getReflectionSourceRef(const Block& source) const;
    ReflectionSourceRef getReflectionSourceRef(const Emitter& source) const;

    // Undo. A step stores the whole state; the view data of a step is shown one undo late,
    // so that an undo first leaves the view where the user has it.
    void createUndoRevision();
    void undo();
    void redo();
    bool hasUndoRevisions() const;
    bool isUndoPossible() const;
    bool isRedoPossible() const;
    // The present state alone, as the auto-save file holds it; empty with no history.
    std::vector<uint8_t> getUndoDataWithCurrentRevisionOnly() const;
    // A new history whose present state is read from `data`; raises Sl exceptions on bad
    // data.
    void setUndoData(const std::vector<uint8_t>& data);

    // The end of every change notification: the handler's revisions move, and the list of
    // what the file depends on is brought up to date.
    void notifyDeepChanged(bool affectsExport);

    // The "resource" group: type, identity and view data, then the content.
    void save(Sl::RevisionSaver& saver) const;
    // Reads what save() wrote; an unknown type is a damaged file.
    static std::unique_ptr<ProjectResource> createFromLoader(Sl::RevisionLoader& loader);

protected:
    ProjectResource(EnumProjectResourceType type, const Uuid& id);
    // Reads the identity and view data; the subclass then calls loadResource.
    ProjectResource(EnumProjectResourceType type, Sl::RevisionLoader& loader);

private:
    void saveUndoState(Sl::RevisionSaver& saver) const;
    std::vector<uint8_t> loadUndoState(Sl::RevisionLoader& loader);

    ProjectResourceHandler* handler_ = nullptr;
    EnumProjectResourceType type_;
    Uuid id_{};
    std::unique_ptr<Sl::SaverLoaderBinManager> undoManager_;
    std::unique_ptr<Sl::RevisionCore> revisionCore_;
    std::vector<uint8_t> viewData_;
    std::vector<uint8_t> pendingViewData_;
};

// An effect file: the effect, the scene it is previewed in, and a comment with a video
// address that go with it.
class ProjectResourceSystem final : public ProjectResource, public Preview2::SceneOwner
{
public:
    explicit ProjectResourceSystem(std::unique_ptr<System> system);
    explicit ProjectResourceSystem(Sl::RevisionLoader& loader);
    ~ProjectResourceSystem() override;

    System& getResource() const { return *system_; }
    Preview2::Scene& getPreview() const { return *scene_; }
    const std::string& getComment() const { return comment_; }
    const std::string& getVideoUrl() const { return videoUrl_; }
    void setComment(const std::string& comment);
    void setVideoUrl(const std::string& url);

    // ProjectResource
    void postLoad() override;
    void extractExternalSources(std::vector<path>& sources) const override;
    void replaceExternalSource(const path& from, const path& to) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(ExternalDependencyHolder&)>& f) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const override;
    ProjectResourceSystem* castToSystemResource() override { return this; }
    Emitter* findEmitterById(const Uuid& id) override;
    Block* findBlockById(const Uuid& id) override;
    bool isDirectlyReflected() const override;
    void sync(const ExternalResourcesMap& map) override;
    void separate(const ExternalResourcesMap& map) override;
    void loadResource(Sl::RevisionLoader& loader) override;
    void saveResource(Sl::RevisionSaver& saver) const override;

    // SceneOwner
    ProjectResource* getProjectResource() override { return this; }
    void notifyDeepChanged(bool affectsExport) override
    {
        ProjectResource::notifyDeepChanged(affectsExport);
    }

private:
    std::unique_ptr<System> system_;
    std::unique_ptr<Preview2::Scene> scene_;
    std::string comment_;
    std::string videoUrl_;
};

// A file that holds one block.
class ProjectResourceBlock final : public ProjectResource, public BlockOwner
{
public:
    explicit ProjectResourceBlock(std::unique_ptr<Block> block);
    explicit ProjectResourceBlock(Sl::RevisionLoader& loader);
    ~ProjectResourceBlock() override;

    Block& getResource() const { return *block_; }

    // ProjectResource
    void extractExternalSources(std::vector<path>& sources) const override;
    void replaceExternalSource(const path& from, const path& to) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(ExternalDependencyHolder&)>& f) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const override;
    ProjectResourceBlock* castToBlockResource() override { return this; }
    Emitter* findEmitterById(const Uuid& id) override { return nullptr; }
    Block* findBlockById(const Uuid& id) override;
    bool isDirectlyReflected() const override;
    void sync(const ExternalResourcesMap& map) override;
    void separate(const ExternalResourcesMap& map) override;
    void loadResource(Sl::RevisionLoader& loader) override;
    void saveResource(Sl::RevisionSaver& saver) const override;

    // BlockOwner
    ProjectResource* getProjectResource() override { return this; }
    SystemResource* getSystemResource() override { return nullptr; }
    Emitter* getEmitter() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override
    {
        ProjectResource::notifyDeepChanged(affectsExport);
    }
    bool isLockedByParentReflection(const Block& block) const override { return false; }

private:
    std::unique_ptr<Block> block_;
};

// A file of one emitter. No version of the editor writes one, and its form was never fixed:
// one met in a project is refused as a damaged file.
class ProjectResourceEmitter final : public ProjectResource, public EmitterOwner
{
public:
    explicit ProjectResourceEmitter(std::unique_ptr<Emitter> emitter);
    // Reads the identity, then refuses the content (Sl::CorruptedDataException).
    explicit ProjectResourceEmitter(Sl::RevisionLoader& loader);
    ~ProjectResourceEmitter() override;

    Emitter& getResource() const { return *emitter_; }

    // ProjectResource
    void extractExternalSources(std::vector<path>& sources) const override;
    void replaceExternalSource(const path& from, const path& to) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(ExternalDependencyHolder&)>& f) override;
    void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const override;
    ProjectResourceEmitter* castToEmitterResource() override { return this; }
    Emitter* findEmitterById(const Uuid& id) override;
    Block* findBlockById(const Uuid& id) override;
    bool isDirectlyReflected() const override;
    void sync(const ExternalResourcesMap& map) override;
    void separate(const ExternalResourcesMap& map) override;
    void loadResource(Sl::RevisionLoader& loader) override;
    void saveResource(Sl::RevisionSaver& saver) const override;

    // EmitterOwner
    ProjectResource* getProjectResource() override { return this; }
    SystemResource* getSystemResource() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override
    {
        ProjectResource::notifyDeepChanged(affectsExport);
    }
    bool isLockedByParentReflection(const Emitter& emitter) const override { return false; }
    System* getSystem() override { return nullptr; }

private:
    std::unique_ptr<Emitter> emitter_;
};

}  // namespace Plm
