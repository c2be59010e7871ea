#include "particle_layout_model/plm_project_resource_handler.h"

#include <algorithm>
#include <fstream>
#include <limits>

#include <boost/filesystem/operations.hpp>

#include "boost_ext/boost_ext_uuid.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_loader_bin_istream.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_boost.h"
#include "revision_saveload/sl_write_read_std.h"

namespace Plm
{

namespace
{

// The bytes of a file, or nothing when it can't be read.
boost::optional<std::vector<uint8_t>> readWholeFile(const boost::filesystem::path& file)
{
    std::ifstream in(file.string(), std::ios::binary | std::ios::ate);
    if (!in)
        return boost::none;
    const std::streamoff size = in.tellg();
    if (size < 0)
        return boost::none;
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size))
        return boost::none;
    return bytes;
}

using Uuid = boost::uuids::uuid;
using path = boost::filesystem::path;

Uuid newUuid() { return BoostExt::generateUuid(); }

void writePathSet(Sl::Saver& saver, const std::set<path>& paths)
{
    Sl::ScopedSaverGroup group(nullptr, saver, 0);
    saver.write("num_items", static_cast<uint32_t>(paths.size()), Sl::PH_Packed);
    for (const path& item : paths)
        Sl::write(nullptr, saver, item);
}

std::set<path> readPathSet(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    uint32_t count = 0;
    loader.read(count, Sl::PH_Packed);
    Sl::Detail::checkItemCount(loader, count);
    std::set<path> paths;
    for (uint32_t i = 0; i < count; ++i)
    {
        path item;
        Sl::read(loader, item);
        paths.insert(std::move(item));
    }
    return paths;
}

bool writeFileFromBuffer(const path& file, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(file.string(), std::ios::binary | std::ios::trunc);
    if (!out)
        return false;
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.close();
    return static_cast<bool>(out);
}

}  // namespace

const char* resourceLoadErrorText(EnumResourceLoadError error)
{
    switch (error)
    {
    case RLE_OldEditor:
        return "Resource is created with newer version of the editor";
    case RLE_Corrupted:
        break;
    }
    return "File is corrupted";
}

EnumResourceLoadError ProjectResourceHandler::loadErrorOf(const Sl::Exception& error)
{
    return dynamic_cast<const Sl::OldLoaderVersionException*>(&error) ? RLE_OldEditor
                                                                      : RLE_Corrupted;
}

// Creation.

ProjectResourceHandler::ProjectResourceHandler(Project* project, ProjectFolder* folder, path file,
                                               Private)
    : project_(project),
      folder_(folder),
      path_(std::move(file)),
      autoSavePath_(path(path_).replace_extension(getAutoSaveExtension())),
      externalDependencies_(std::make_unique<ExternalDependencies>())
{
}

ProjectResourceHandler::~ProjectResourceHandler() = default;

std::shared_ptr<ProjectResourceHandler>
ProjectResourceHandler::openFile(Project* project, ProjectFolder* folder, const path& file)
{
    auto handler = std::make_shared<ProjectResourceHandler>(project, folder, file, Private());
    if (!handler->readHeaderOnlyFromFile())
        throw Exception("Cannot open " + file.string());
    handler->fixesAfterHeaderLoaded();
    return handler;
}

std::shared_ptr<ProjectResourceHandler>
ProjectResourceHandler::createNewFile(Project* project, ProjectFolder* folder, const path& file,
                                      std::unique_ptr<ProjectResource> resource)
{
    DEBUG_ASSERT(resource);
    boost::system::error_code error;
    if (boost::filesystem::exists(file, error))
        throw Exception("A file exists already: " + file.string());
    auto handler = std::make_shared<ProjectResourceHandler>(project, folder, file, Private());
    handler->id_ = resource->getId();
    handler->type_ = resource->getType();
    handler->revision_ = newUuid();
    handler->exportRevision_ = newUuid();
    handler->takeLoadedResource(std::move(resource));
    handler->extractExternalResourcesFromLoadedResource();
    if (!handler->writeHeaderAndResourceToFile())
        throw Exception("Cannot write " + file.string());
    return handler;
}

std::shared_ptr<ProjectResourceHandler>
ProjectResourceHandler::createFromFile(Project& project, ProjectFolder& folder,
                                       const std::string& name)
{
    try
    {
        return openFile(&project, &folder, folder.getPath() / (name + getResourceExtension()));
    }
    catch (const Sl::Exception&)
    {
        // A head that can't be read: the file is skipped, and looked at again next time.
        return nullptr;
    }
}

std::shared_ptr<ProjectResourceHandler>
ProjectResourceHandler::createNew(Project& project, ProjectFolder& folder, const std::string& name,
                                  std::unique_ptr<ProjectResource> resource)
{
    return createNewFile(&project, &folder, folder.getPath() / (name + getResourceExtension()),
                         std::move(resource));
}

std::shared_ptr<ProjectResourceHandler> ProjectResourceHandler::openStandalone(const path& file)
{
    return openFile(nullptr, nullptr, file);
}

std::shared_ptr<ProjectResourceHandler>
ProjectResourceHandler::createNewStandalone(const path& file,
                                            std::unique_ptr<ProjectResource> resource)
{
    return createNewFile(nullptr, nullptr, file, std::move(resource));
}

void ProjectResourceHandler::fixesAfterHeaderLoaded()
{
    // A head of an old version lists no dependencies: they are taken from the content once.
    if (!externalsOutdated_)
        return;
    externalsOutdated_ = false;
    if (!load())
        return;
    extractExternalResourcesFromLoadedResource();
    loadedResource_.reset();
}

void ProjectResourceHandler::takeLoadedResource(std::unique_ptr<ProjectResource> resource)
{
    loadedResource_ = std::make_unique<LoadedResource>();
    loadedResource_->resource_ = std::move(resource);
    loadedResource_->resource_->connectWithResourceHandler(*this, {});
}

// Surroundings.

Project& ProjectResourceHandler::getProject() const
{
    DEBUG_ASSERT(project_);
    return *project_;
}

ProjectFolder& ProjectResourceHandler::getProjectFolder() const
{
    DEBUG_ASSERT(folder_);
    return *folder_;
}

// Load state.

bool ProjectResourceHandler::load()
{
    if (isLoaded())
        return true;
    return readHeaderAndResourceFromFile();
}

void ProjectResourceHandler::updateFromFile()
{
    if (isLoaded())
    {
        loadedResource_.reset();
        readHeaderAndResourceFromFile();
    }
    else
    {
        try
        {
            readHeaderOnlyFromFile();
        }
        catch (const Sl::Exception& error)
        {
            loadError_ = loadErrorOf(error);
        }
    }
    removeAutoSaveIfExists();
}

boost::optional<std::time_t> ProjectResourceHandler::readFileTime() const
{
    boost::system::error_code error;
    const std::time_t time = boost::filesystem::last_write_time(path_, error);
    if (error)
        return boost::none;
    return time;
}

bool ProjectResourceHandler::wasFileChangedOutside() const
{
    const boost::optional<std::time_t> time = readFileTime();
    if (!time)
        return false;
    return !fileTime_ || *fileTime_ != *time;
}

bool ProjectResourceHandler::doesLoadedResourceNeedSave() const
{
    DEBUG_ASSERT(loadedResource_);
    return !loadedResource_->savedRevision || *loadedResource_->savedRevision != revision_;
}

bool ProjectResourceHandler::saveUnsavedLoadedResource()
{
    DEBUG_ASSERT(doesLoadedResourceNeedSave());
    if (!writeHeaderAndResourceToFile())
        return false;
    removeAutoSaveIfExists();
    return true;
}

bool ProjectResourceHandler::forceResaveLoadedResource()
{
    const bool wasLoaded = isLoaded();
    if (!load())
        return false;
    const bool written = writeHeaderAndResourceToFile();
    if (written)
        removeAutoSaveIfExists();
    if (!wasLoaded)
        loadedResource_.reset();
    return written;
}

void ProjectResourceHandler::unloadLoadedResource()
{
    loadedResource_.reset();
    removeAutoSaveIfExists();
}

void ProjectResourceHandler::unloadSavedLoadedResource()
{
    DEBUG_ASSERT(!doesLoadedResourceNeedSave());
    unloadLoadedResource();
}

ProjectResource& ProjectResourceHandler::getLoadedResource() const
{
    DEBUG_ASSERT(loadedResource_);
    DEBUG_ASSERT(loadedResource_->resource_);
    return *loadedResource_->resource_;
}

// Sources and dependencies.

const path& ProjectResourceHandler::getExternalSourceRelativePath(unsigned int index) const
{
    DEBUG_ASSERT(index < externals_.size());
    return externals_[index].relPath;
}

void ProjectResourceHandler::replaceExternalSource(const path& from, const path& to)
{
    boost::optional<Uuid> recorded;
    for (const External& external : externals_)
        if (external.relPath == from)
            recorded = external.revision;
    getLoadedResource().replaceExternalSource(from, to);
    // The list follows the content at the change notification, where `to` comes new.
    for (External& external : externals_)
        if (external.relPath == to && !external.revision)
            external.revision = recorded;
}

bool ProjectResourceHandler::doesNeedSync(const ExternalResourcesMap& map) const
{
    for (const External& external : externals_)
    {
        const ProjectResourceHandler* source = map.findResourceHandler(external.relPath);
        if (source && (!external.revision || *external.revision != source->getRevision()))
            return true;
    }
    return false;
}

void ProjectResourceHandler::syncLoadedResource(const ExternalResourcesMap& map)
{
    getLoadedResource().sync(map);
    for (External& external : externals_)
    {
        const ProjectResourceHandler* source = map.findResourceHandler(external.relPath);
        if (!source || !source->isLoaded())
            continue;
        const bool refused = map.wasRefused(external.relPath);
        if (!refused)
            external.revision = source->getRevision();
    }
}

namespace
{

std::vector<uint8_t> saveContent(const ProjectResource& resource)
{
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, out, nullptr);
        resource.saveResource(saver);
    }
    return out.dataAsVector();
}

}  // namespace

ProjectResourceHandler::Snapshot ProjectResourceHandler::takeSnapshot() const
{
    Snapshot snapshot;
    // Writing the content costs as much as saving the file: only done where the file differs.
    if (doesLoadedResourceNeedSave())
        snapshot.content = saveContent(getLoadedResource());
    snapshot.revision = revision_;
    snapshot.exportRevision = exportRevision_;
    snapshot.externals = externals_;
    snapshot.dependencies = *externalDependencies_;
    return snapshot;
}

void ProjectResourceHandler::restoreSnapshot(const Snapshot& snapshot)
{
    std::vector<uint8_t> content;
    if (snapshot.content)
        content = *snapshot.content;
    else
    {
        // The content as the file holds it, read apart and written in the form loadResource
        // takes.
        const boost::optional<std::vector<uint8_t>> bytes = readWholeFile(path_);
        if (!bytes || bytes->size() > std::numeric_limits<uint32_t>::max())
            throw Exception("Cannot open " + path_.string());
        Sl::LoaderBinArray stream(bytes->data(), static_cast<uint32_t>(bytes->size()));
        Sl::RevisionLoader loader(nullptr, stream);
        ProjectResourceHandler scratch(nullptr, nullptr, path_, Private());
        scratch.readHeaderOnlyFromLoader(loader);
        content = saveContent(*ProjectResource::createFromLoader(loader));
    }
    {
        Sl::LoaderBinArray in(content.data(), static_cast<uint32_t>(content.size()));
        Sl::RevisionLoader loader(nullptr, in);
        getLoadedResource().loadResource(loader);
    }
    // Reading may have notified changes: the head goes back to what it was as well.
    revision_ = snapshot.revision;
    exportRevision_ = snapshot.exportRevision;
    externals_ = snapshot.externals;
    *externalDependencies_ = snapshot.dependencies;
}

void ProjectResourceHandler::extractExternalResourcesFromLoadedResource()
{
    const ProjectResource& resource = getLoadedResource();
    std::vector<path> sources;
    resource.extractExternalSources(sources);
    externals_.erase(std::remove_if(externals_.begin(), externals_.end(),
                                    [&](const External& external) {
                                        return std::find(sources.begin(), sources.end(),
                                                         external.relPath) == sources.end();
                                    }),
                     externals_.end());
    for (const path& source : sources)
    {
        const bool known =
            std::any_of(externals_.begin(), externals_.end(),
                        [&](const External& external) { return external.relPath == source; });
        if (!known)
            externals_.push_back({source, boost::none});
    }

    ExternalDependencies& dependencies = *externalDependencies_;
    dependencies.textures.clear();
    dependencies.pictures.clear();
    resource.enumerateExternalDependeciesHolders(
        [&](const ExternalDependencyHolder& holder)
        {
            for (size_t i = 0; i < holder.numExternalTextures(); ++i)
                dependencies.textures.insert(holder.externalTexture(i));
            for (size_t i = 0; i < holder.numExternalPictures(); ++i)
                dependencies.pictures.insert(holder.externalPicture(i));
        });
}

void ProjectResourceHandler::notifyResourceChanged(bool affectsExport, AccessKey<ProjectResource>)
{
    revision_ = newUuid();
    if (affectsExport)
        exportRevision_ = newUuid();
    extractExternalResourcesFromLoadedResource();
}

// The head and the undo state.

void ProjectResourceHandler::saveExternals(Sl::Saver& saver) const
{
    Sl::ScopedSaverGroup group("externals", saver, 2);
    saver.write("count", static_cast<uint32_t>(externals_.size()), Sl::PH_Packed);
    for (const External& external : externals_)
    {
        Sl::ScopedSaverGroup item("external", saver, 0);
        Sl::write("path", saver, external.relPath);
        Sl::ScopedSaverGroup rev("rev", saver, 0);
        saver.write(nullptr, static_cast<bool>(external.revision));
        if (external.revision)
            Sl::write(nullptr, saver, *external.revision);
    }
    writePathSet(saver, externalDependencies_->textures);
    writePathSet(saver, externalDependencies_->pictures);
}

void ProjectResourceHandler::loadExternals(Sl::Loader& loader)
{
    std::vector<External> externals;
    ExternalDependencies dependencies;
    bool outdated = false;
    {
        Sl::ScopedLoaderGroup group(loader, 2);
        uint32_t count = 0;
        loader.read(count, Sl::PH_Packed);
        Sl::Detail::checkItemCount(loader, count);
        for (uint32_t i = 0; i < count; ++i)
        {
            Sl::ScopedLoaderGroup item(loader, 0);
            External external;
            Sl::read(loader, external.relPath);
            Sl::ScopedLoaderGroup rev(loader, 0);
            bool has = false;
            loader.read(has);
            if (has)
            {
                Uuid revision{};
                Sl::read(loader, revision);
                external.revision = revision;
            }
            externals.push_back(std::move(external));
        }
        if (group.version() >= 2)
        {
            dependencies.textures = readPathSet(loader);
            dependencies.pictures = readPathSet(loader);
        }
        else
            outdated = true;
    }
    externals_ = std::move(externals);
    *externalDependencies_ = std::move(dependencies);
    externalsOutdated_ = outdated;
}

void ProjectResourceHandler::writeHeader(Sl::Saver& saver) const
{
    saver.write(nullptr, kMagic, Sl::PH_Packed);
    Sl::ScopedSaverGroup group("res_handler", saver, 0);
    Sl::write("id", saver, id_);
    saver.write("type", static_cast<uint8_t>(type_));
    Sl::write("revision", saver, revision_);
    Sl::write("export_revision", saver, exportRevision_);
    saveExternals(saver);
}

void ProjectResourceHandler::readHeaderOnlyFromLoader(Sl::Loader& loader)
{
    uint32_t magic = 0;
    loader.read(magic, Sl::PH_Packed);
    if (magic != kMagic)
        throw Sl::CorruptedDataException();
    Sl::ScopedLoaderGroup group(loader, 0);
    Uuid id{}, revision{}, exportRevision{};
    uint8_t type = 0;
    Sl::read(loader, id);
    loader.read(type);
    Sl::read(loader, revision);
    Sl::read(loader, exportRevision);
    loadExternals(loader);
    id_ = id;
    type_ = static_cast<EnumProjectResourceType>(type);
    revision_ = revision;
    exportRevision_ = exportRevision;
}

void ProjectResourceHandler::saveUndo(Sl::RevisionSaver& saver, AccessKey<ProjectResource>) const
{
    Sl::ScopedSaverGroup group("handler", saver, 2);
    saveExternals(saver);
    Sl::write("revision", saver, revision_);
    Sl::write("export_revision", saver, exportRevision_);
}

void ProjectResourceHandler::loadUndo(Sl::RevisionLoader& loader, AccessKey<ProjectResource>)
{
    Sl::ScopedLoaderGroup group(loader, 2);
    loadExternals(loader);
    // The first form kept a group here that nothing reads any more.
    if (group.version() == 0)
        loader.skipGroup();
    Sl::read(loader, revision_);
    Sl::read(loader, exportRevision_);
}

// Files.

std::vector<uint8_t> ProjectResourceHandler::writeHeaderAndResourceToBuffer() const
{
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, out, nullptr);
        writeHeader(saver);
        getLoadedResource().save(saver);
    }
    return out.dataAsVector();
}

std::vector<uint8_t> ProjectResourceHandler::saveLoadedResourceToBuffer() const
{
    DEBUG_ASSERT(isLoaded());
    return writeHeaderAndResourceToBuffer();
}

bool ProjectResourceHandler::writeHeaderAndResourceToFile()
{
    if (!writeFileFromBuffer(path_, writeHeaderAndResourceToBuffer()))
        return false;
    loadedResource_->savedRevision = revision_;
    return true;
}

bool ProjectResourceHandler::readHeaderOnlyFromFile()
{
    std::ifstream in(path_.string(), std::ios::binary);
    if (!in)
        return false;
    Sl::LoaderBinIStream loader(in);
    readHeaderOnlyFromLoader(loader);
    fileTime_ = readFileTime();
    return true;
}

bool ProjectResourceHandler::readHeaderAndResourceFromFile()
{
    // Read whole first: reading the many small values from memory is several times faster
    // than through the stream.
    const boost::optional<std::vector<uint8_t>> bytes = readWholeFile(path_);
    if (!bytes)
        return false;
    try
    {
        if (bytes->size() > std::numeric_limits<uint32_t>::max())
            throw Sl::CorruptedDataException();
        Sl::LoaderBinArray stream(bytes->data(), static_cast<uint32_t>(bytes->size()));
        Sl::RevisionLoader loader(nullptr, stream);
        readHeaderOnlyFromLoader(loader);
        std::unique_ptr<ProjectResource> resource = ProjectResource::createFromLoader(loader);
        takeLoadedResource(std::move(resource));
        loadedResource_->savedRevision = revision_;
        loadError_ = boost::none;
        fileTime_ = readFileTime();
        getLoadedResource().postLoad();
        return true;
    }
    catch (const Sl::Exception& error)
    {
        loadedResource_.reset();
        loadError_ = loadErrorOf(error);
        return false;
    }
    catch (const Debug::CheckException&)
    {
        // Content that breaks a rule of the model (a damaged file that still reads as a
        // stream) is a damaged file too.
        loadedResource_.reset();
        loadError_ = RLE_Corrupted;
        return false;
    }
}

// Auto-save.

void ProjectResourceHandler::autoSaveUndoStackIfPossible() const
{
    if (!isLoaded() || !doesLoadedResourceNeedSave())
        return;
    const std::vector<uint8_t> data = getLoadedResource().getUndoDataWithCurrentRevisionOnly();
    // With no history there is no state to keep apart from the file.
    if (!data.empty())
        writeFileFromBuffer(autoSavePath_, data);
}

void ProjectResourceHandler::removeAutoSaveIfExists() const
{
    boost::system::error_code error;
    boost::filesystem::remove(autoSavePath_, error);
}

}  // namespace Plm
