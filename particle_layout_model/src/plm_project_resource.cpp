#include "particle_layout_model/plm_project_resource.h"

#include <algorithm>

#include "boost_ext/boost_ext_path.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_core.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_saver_loader_manager.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_std.h"

namespace Plm
{

namespace
{

void writeViewData(Sl::Saver& saver, const std::vector<uint8_t>& data)
{
    saver.writeBinary("view_data", data.data(), static_cast<uint32_t>(data.size()));
}

std::vector<uint8_t> readViewData(Sl::Loader& loader)
{
    const uint32_t size = loader.readBinarySize();
    // A damaged size must not allocate more than the stream can hold.
    if (size > loader.maxDataLeft())
        throw Sl::EndOfBufferException();
    std::vector<uint8_t> data(size);
    loader.readBinaryData(data.data());
    return data;
}

// The pictures of a preview scene, in drawing order: the files it depends on.
template <class F>
void forEachPicture(const Preview2::Scene& scene, const F& f)
{
    const OrderedIdListClient<Preview2::ScenePicture>& pictures = scene.pictures();
    for (unsigned int i = 0; i < pictures.size(); ++i)
        f(*scene.findObject(pictures.getId(i))->castToScenePicture());
}

}  // namespace

// Identity, view data and undo.

ProjectResource::ProjectResource(EnumProjectResourceType type, const Uuid& id)
    : type_(type),
      id_(id),
      undoManager_(std::make_unique<Sl::SaverLoaderBinManager>()),
      revisionCore_(std::make_unique<Sl::RevisionCore>(*undoManager_))
{
}

ProjectResource::ProjectResource(EnumProjectResourceType type, Sl::RevisionLoader& loader)
    : ProjectResource(type, Uuid{})
{
    Sl::ScopedLoaderGroup group(loader, 0);
    Sl::read(loader, id_);
    viewData_ = readViewData(loader);
}

ProjectResource::~ProjectResource() = default;

const ProjectResourceBlock* ProjectResource::castToBlockResource() const
{
    return const_cast<ProjectResource*>(this)->castToBlockResource();
}

const ProjectResourceEmitter* ProjectResource::castToEmitterResource() const
{
    return const_cast<ProjectResource*>(this)->castToEmitterResource();
}

const ProjectResourceSystem* ProjectResource::castToSystemResource() const
{
    return const_cast<ProjectResource*>(this)->castToSystemResource();
}

ProjectResourceBlock& ProjectResource::castToBlockResourceChecked()
{
    ProjectResourceBlock* resource = castToBlockResource();
    DEBUG_ASSERT(resource);
    return *resource;
}

const ProjectResourceBlock& ProjectResource::castToBlockResourceChecked() const
{
    return const_cast<ProjectResource*>(this)->castToBlockResourceChecked();
}

ProjectResourceEmitter& ProjectResource::castToEmitterResourceChecked()
{
    ProjectResourceEmitter* resource = castToEmitterResource();
    DEBUG_ASSERT(resource);
    return *resource;
}

const ProjectResourceEmitter& ProjectResource::castToEmitterResourceChecked() const
{
    return const_cast<ProjectResource*>(this)->castToEmitterResourceChecked();
}

ProjectResourceSystem& ProjectResource::castToSystemResourceChecked()
{
    ProjectResourceSystem* resource = castToSystemResource();
    DEBUG_ASSERT(resource);
    return *resource;
}

const ProjectResourceSystem& ProjectResource::castToSystemResourceChecked() const
{
    return const_cast<ProjectResource*>(this)->castToSystemResourceChecked();
}

const std::vector<uint8_t>* ProjectResource::getViewData() const
{
    return viewData_.empty() ? nullptr : &viewData_;
}

void ProjectResource::setViewData(const uint8_t* bytes, size_t size)
{
    viewData_.assign(bytes, bytes + size);
}

void ProjectResource::connectWithResourceHandler(ProjectResourceHandler& handler,
                                                 AccessKey<ProjectResourceHandler>)
{
    handler_ = &handler;
}

ProjectResourceHandler& ProjectResource::getResourceHandler() const
{
    DEBUG_ASSERT(handler_);
    return *handler_;
}

Project& ProjectResource::getProject() const { return getResourceHandler().getProject(); }

namespace
{

template <class T>
ReflectionSourceRef referenceTo(const ProjectResource& self, T& source)
{
    ProjectResource* other = source.getProjectResource();
    if (other == &self)
        return ReflectionSourceRef::internal(source.getId());
    DEBUG_ASSERT(other);
    const boost::optional<boost::filesystem::path> relativePath = BoostExt::makeRelativePath(
        self.getResourceHandler().getPath().parent_path(), other->getResourceHandler().getPath());
    DEBUG_ASSERT(relativePath);
    return ReflectionSourceRef::external(*relativePath);
}

}  // namespace

ReflectionSourceRef ProjectResource::getReflectionSourceRef(const Block& source) const
{
    return referenceTo(*this, source);
}

ReflectionSourceRef ProjectResource::getReflectionSourceRef(const Emitter& source) const
{
    return referenceTo(*this, const_cast<Emitter&>(source));
}

void ProjectResource::saveUndoState(Sl::RevisionSaver& saver) const
{
    if (handler_)
        handler_->saveUndo(saver, {});
    saveResource(saver);
    Sl::ScopedSaverGroup group("proj_resource", saver, 0);
    writeViewData(saver, viewData_);
}

std::vector<uint8_t> ProjectResource::loadUndoState(Sl::RevisionLoader& loader)
{
    if (handler_)
        handler_->loadUndo(loader, {});
    loadResource(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    return readViewData(loader);
}

void ProjectResource::createUndoRevision()
{
    {
        std::shared_ptr<Sl::RevisionSaver> saver = revisionCore_->createRevision();
        saveUndoState(*saver);
    }
    pendingViewData_.clear();
}

void ProjectResource::undo()
{
    std::shared_ptr<Sl::RevisionLoader> loader = revisionCore_->undo();
    std::vector<uint8_t> stateViewData = loadUndoState(*loader);
    if (!pendingViewData_.empty())
        viewData_ = std::move(pendingViewData_);
    pendingViewData_ = std::move(stateViewData);
}

void ProjectResource::redo()
{
    std::shared_ptr<Sl::RevisionLoader> loader = revisionCore_->redo();
    viewData_ = loadUndoState(*loader);
    pendingViewData_.clear();
}

bool ProjectResource::hasUndoRevisions() const { return revisionCore_->hasRevisions(); }
bool ProjectResource::isUndoPossible() const { return revisionCore_->isUndoPossible(); }
bool ProjectResource::isRedoPossible() const { return revisionCore_->isRedoPossible(); }

std::vector<uint8_t> ProjectResource::getUndoDataWithCurrentRevisionOnly() const
{
    if (!revisionCore_->hasRevisions())
        return {};
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::RevisionSaver saver(nullptr, out, nullptr);
        saveUndoState(saver);
    }
    return out.dataAsVector();
}

void ProjectResource::setUndoData(const std::vector<uint8_t>& data)
{
    revisionCore_ = std::make_unique<Sl::RevisionCore>(*undoManager_);
    Sl::LoaderBinArray in(data.data(), static_cast<uint32_t>(data.size()));
    Sl::RevisionLoader loader(nullptr, in);
    viewData_ = loadUndoState(loader);
    pendingViewData_.clear();
    notifyDeepChanged(true);
}

void ProjectResource::notifyDeepChanged(bool affectsExport)
{
    if (handler_)
        handler_->notifyResourceChanged(affectsExport, {});
}

// The file form.

void ProjectResource::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("resource", saver, 0);
    saver.write("type", static_cast<uint32_t>(type_), Sl::PH_Packed);
    {
        Sl::ScopedSaverGroup identity("proj_resource", saver, 0);
        Sl::write("id", saver, id_);
        writeViewData(saver, viewData_);
    }
    saveResource(saver);
}

std::unique_ptr<ProjectResource> ProjectResource::createFromLoader(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    uint32_t type = 0;
    loader.read(type, Sl::PH_Packed);
    switch (type)
    {
    case PRT_Block:
        return std::make_unique<ProjectResourceBlock>(loader);
    case PRT_Emitter:
        return std::make_unique<ProjectResourceEmitter>(loader);
    case PRT_System:
        return std::make_unique<ProjectResourceSystem>(loader);
    default:
        // A type no version of the editor wrote: the file is damaged.
        throw Sl::CorruptedDataException();
    }
}

// An effect file.

ProjectResourceSystem::ProjectResourceSystem(std::unique_ptr<System> system)
    : ProjectResource(PRT_System, system->getId()),
      system_(std::move(system)),
      scene_(std::make_unique<Preview2::Scene>())
{
    system_->connectWithProjectResource(*this, {});
    scene_->connectWithOwner(*this);
}

ProjectResourceSystem::ProjectResourceSystem(Sl::RevisionLoader& loader)
    : ProjectResource(PRT_System, loader)
{
    loadResource(loader);
}

ProjectResourceSystem::~ProjectResourceSystem() = default;

void ProjectResourceSystem::setComment(const std::string& comment)
{
    if (comment == comment_)
        return;
    comment_ = comment;
    notifyDeepChanged(false);
}

void ProjectResourceSystem::setVideoUrl(const std::string& url)
{
    if (url == videoUrl_)
        return;
    videoUrl_ = url;
    notifyDeepChanged(false);
}

void ProjectResourceSystem::postLoad() { system_->postLoad(); }

void ProjectResourceSystem::extractExternalSources(std::vector<path>& sources) const
{
    system_->extractExternalSources(sources);
}

void ProjectResourceSystem::replaceExternalSource(const path& from, const path& to)
{
    system_->replaceDeepExternalSource(from, to);
}

void ProjectResourceSystem::enumerateExternalDependeciesHolders(
    const std::function<void(ExternalDependencyHolder&)>& f)
{
    system_->enumerateExternalDependeciesHolders(f);
    forEachPicture(*scene_, f);
}

void ProjectResourceSystem::enumerateExternalDependeciesHolders(
    const std::function<void(const ExternalDependencyHolder&)>& f) const
{
    static_cast<const System&>(*system_).enumerateExternalDependeciesHolders(f);
    forEachPicture(*scene_, f);
}

Emitter* ProjectResourceSystem::findEmitterById(const Uuid& id)
{
    return system_->findEmitterById(id);
}

Block* ProjectResourceSystem::findBlockById(const Uuid& id)
{
    return system_->findDeepBlockById(id);
}

bool ProjectResourceSystem::isDirectlyReflected() const
{
    return static_cast<bool>(system_->getReflSourcePath());
}

void ProjectResourceSystem::sync(const ExternalResourcesMap& map)
{
    const auto& source = system_->getReflSourcePath();
    system_->syncDeep(source ? map.findSystem(*source) : nullptr, map);
}

void ProjectResourceSystem::separate(const ExternalResourcesMap& map) { system_->separate(map); }

void ProjectResourceSystem::loadResource(Sl::RevisionLoader& loader)
{
    // Read whole before anything is replaced: a damaged state leaves the resource as it was.
    Sl::ScopedLoaderGroup group(loader, 1);
    std::unique_ptr<System> system = System::createFromLoader(loader);
    auto scene = std::make_unique<Preview2::Scene>(loader);
    std::string comment, videoUrl;
    if (group.version() >= 1)
    {
        Sl::read(loader, comment);
        Sl::read(loader, videoUrl);
    }
    system_ = std::move(system);
    scene_ = std::move(scene);
    comment_ = std::move(comment);
    videoUrl_ = std::move(videoUrl);
    system_->connectWithProjectResource(*this, {});
    scene_->connectWithOwner(*this);
}

void ProjectResourceSystem::saveResource(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("proj_res_system", saver, 1);
    system_->save(saver);
    scene_->save(saver);
    Sl::write(nullptr, saver, comment_);
    Sl::write(nullptr, saver, videoUrl_);
}

// A block file.

ProjectResourceBlock::ProjectResourceBlock(std::unique_ptr<Block> block)
    : ProjectResource(PRT_Block, block->getId()), block_(std::move(block))
{
    block_->connectWithOwner(*this, {});
}

ProjectResourceBlock::ProjectResourceBlock(Sl::RevisionLoader& loader)
    : ProjectResource(PRT_Block, loader)
{
    loadResource(loader);
}

ProjectResourceBlock::~ProjectResourceBlock() = default;

void ProjectResourceBlock::extractExternalSources(std::vector<path>& sources) const
{
    block_->extractExternalSources(sources);
}

void ProjectResourceBlock::replaceExternalSource(const path& from, const path& to)
{
    block_->replaceExternalSource(from, to);
}

void ProjectResourceBlock::enumerateExternalDependeciesHolders(
    const std::function<void(ExternalDependencyHolder&)>& f)
{
    f(*block_);
}

void ProjectResourceBlock::enumerateExternalDependeciesHolders(
    const std::function<void(const ExternalDependencyHolder&)>& f) const
{
    f(*block_);
}

Block* ProjectResourceBlock::findBlockById(const Uuid& id)
{
    return block_->getId() == id ? block_.get() : nullptr;
}

bool ProjectResourceBlock::isDirectlyReflected() const
{
    return static_cast<bool>(block_->getReflSourceRef());
}

void ProjectResourceBlock::sync(const ExternalResourcesMap& map)
{
    const auto& source = block_->getReflSourceRef();
    DEBUG_ASSERT(!source || source->isExternal());
    block_->syncDeep(nullptr, nullptr, source ? map.findBlock(*source->relPath) : nullptr);
}

void ProjectResourceBlock::separate(const ExternalResourcesMap&) { block_->separate(); }

void ProjectResourceBlock::loadResource(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    std::unique_ptr<Block> block = Block::createFromLoader(loader);
    // A kind of block this program doesn't know.
    if (!block)
        throw Sl::CorruptedDataException();
    block_ = std::move(block);
    block_->connectWithOwner(*this, {});
}

void ProjectResourceBlock::saveResource(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("proj_resource_block", saver, 0);
    block_->save(saver);
}

// An emitter file.

ProjectResourceEmitter::ProjectResourceEmitter(std::unique_ptr<Emitter> emitter)
    : ProjectResource(PRT_Emitter, emitter->getId()), emitter_(std::move(emitter))
{
    emitter_->connectWithOwner(*this);
}

ProjectResourceEmitter::ProjectResourceEmitter(Sl::RevisionLoader& loader)
    : ProjectResource(PRT_Emitter, loader)
{
    loadResource(loader);
}

ProjectResourceEmitter::~ProjectResourceEmitter() = default;

void ProjectResourceEmitter::extractExternalSources(std::vector<path>& sources) const
{
    emitter_->extractExternalSources(sources);
}

void ProjectResourceEmitter::replaceExternalSource(const path& from, const path& to)
{
    emitter_->replaceDeepExternalSource(from, to);
}

void ProjectResourceEmitter::enumerateExternalDependeciesHolders(
    const std::function<void(ExternalDependencyHolder&)>& f)
{
    emitter_->enumerateExternalDependeciesHolders(f);
}

void ProjectResourceEmitter::enumerateExternalDependeciesHolders(
    const std::function<void(const ExternalDependencyHolder&)>& f) const
{
    static_cast<const Emitter&>(*emitter_).enumerateExternalDependeciesHolders(f);
}

Emitter* ProjectResourceEmitter::findEmitterById(const Uuid& id)
{
    return emitter_->getId() == id ? emitter_.get() : nullptr;
}

Block* ProjectResourceEmitter::findBlockById(const Uuid& id) { return emitter_->findBlockById(id); }

bool ProjectResourceEmitter::isDirectlyReflected() const
{
    return static_cast<bool>(emitter_->getReflSourceRef());
}

void ProjectResourceEmitter::sync(const ExternalResourcesMap& map)
{
    const auto& source = emitter_->getReflSourceRef();
    DEBUG_ASSERT(!source || source->isExternal());
    emitter_->syncDeep(nullptr, source ? map.findEmitter(*source->relPath) : nullptr, map);
}

void ProjectResourceEmitter::separate(const ExternalResourcesMap&) { emitter_->separate(); }

void ProjectResourceEmitter::loadResource(Sl::RevisionLoader& loader)
{
    throw Sl::CorruptedDataException();
}

void ProjectResourceEmitter::saveResource(Sl::RevisionSaver& saver) const { DEBUG_ASSERT(false); }

}  // namespace Plm
