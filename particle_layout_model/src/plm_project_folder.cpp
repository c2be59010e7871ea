#include <algorithm>
#include <map>
#include <set>

#include <boost/filesystem/operations.hpp>
#include <boost/format.hpp>

#include "boost_ext/boost_ext_path.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "revision_saveload/sl_exceptions.h"

namespace bfs = boost::filesystem;

namespace Plm
{

namespace
{

bool isLoadedAndUnsaved(const ProjectResourceHandler& handler)
{
    return handler.isLoaded() && handler.doesLoadedResourceNeedSave();
}

// One listing of a directory: each entry's exact name and what it is. An entry counts as
// existing only under its exact name, so a name whose case changed is a removal and a new
// entry, also on file systems that ignore case.
struct DirectoryListing
{
    struct Entry
    {
        bfs::file_type type = bfs::status_error;
        bool isSymlink = false;
    };
    std::map<std::string, Entry> entries;

    // False when the directory can't be read to its end.
    bool read(const bfs::path& dir)
    {
        boost::system::error_code error;
        bfs::directory_iterator it(dir, error);
        if (error)
            return false;
        for (const bfs::directory_iterator end; it != end; it.increment(error))
        {
            if (error)
                return false;
            Entry entry;
            boost::system::error_code statusError;
            entry.type = it->status(statusError).type();
            if (statusError)
                entry.type = bfs::status_error;
            entry.isSymlink = bfs::is_symlink(it->symlink_status(statusError));
            entries.emplace(it->path().filename().string(), entry);
        }
        return !error;
    }
    bool has(const bfs::path& name, bfs::file_type type) const
    {
        auto it = entries.find(name.string());
        return it != entries.end() && it->second.type == type;
    }
};

// A linked directory that leads back up the tree would make the walk endless.
bool isLinkToAncestor(const bfs::path& link, const bfs::path& folder)
{
    boost::system::error_code error;
    const bfs::path target = bfs::canonical(link, error);
    if (error)
        return true;
    const bfs::path here = bfs::canonical(folder, error);
    if (error)
        return true;
    auto t = target.begin();
    auto h = here.begin();
    for (; t != target.end() && h != here.end(); ++t, ++h)
    {
        if (*t != *h)
            return false;
    }
    return t == target.end();
}

}  // namespace

ProjectFolder::ProjectFolder(Project& project, ProjectFolder* parent, path folderPath, Private)
    : project_(project), parentFolder_(parent), path_(std::move(folderPath))
{
    DEBUG_ASSERT(path_.is_absolute());
}

ProjectFolder::~ProjectFolder() = default;

std::unique_ptr<ProjectFolder> ProjectFolder::create(Project& project, const path& folderPath)
{
    return std::make_unique<ProjectFolder>(project, nullptr, folderPath, Private());
}

ProjectFolder& ProjectFolder::getFolder(unsigned int index) const
{
    DEBUG_ASSERT(index < folders_.size());
    return *folders_[index];
}

bool ProjectFolder::hasFolder(const ProjectFolder& folder) const
{
    return std::any_of(folders_.begin(), folders_.end(),
                       [&](const std::unique_ptr<ProjectFolder>& f) { return f.get() == &folder; });
}

bool ProjectFolder::hasDeepFolder(const ProjectFolder& folder) const
{
    for (const ProjectFolder* f = folder.parentFolder_; f; f = f->parentFolder_)
    {
        if (f == this)
            return true;
    }
    return false;
}

ProjectFolder* ProjectFolder::findFolderByPath(const path& folderPath) const
{
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
    {
        if (folder->path_ == folderPath)
            return folder.get();
    }
    return nullptr;
}

ProjectFolder* ProjectFolder::findDeepFolderByPath(const path& folderPath) const
{
    if (folderPath == path_)
        return const_cast<ProjectFolder*>(this);
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
    {
        if (ProjectFolder* found = folder->findDeepFolderByPath(folderPath))
            return found;
    }
    return nullptr;
}

ProjectFolder& ProjectFolder::getDeepFolderByPath(const path& folderPath) const
{
    ProjectFolder* folder = findDeepFolderByPath(folderPath);
    DEBUG_ASSERT(folder);
    return *folder;
}

const ProjectResourceHandlerPtr& ProjectFolder::getResource(unsigned int index) const
{
    DEBUG_ASSERT(index < resources_.size());
    return resources_[index];
}

boost::optional<unsigned int> ProjectFolder::getResourceIndex(const Uuid& id) const
{
    for (size_t i = 0; i < resources_.size(); ++i)
    {
        if (resources_[i]->getId() == id)
            return static_cast<unsigned int>(i);
    }
    return boost::none;
}

ProjectFolder* ProjectFolder::findFolderByResourceId(const Uuid& id)
{
    if (getResourceIndex(id))
        return this;
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
    {
        if (ProjectFolder* found = folder->findFolderByResourceId(id))
            return found;
    }
    return nullptr;
}

ProjectResourceHandlerPtr ProjectFolder::findResourceByPath(const path& filePath) const
{
    for (const ProjectResourceHandlerPtr& handler : resources_)
    {
        if (handler->getPath() == filePath)
            return handler;
    }
    return nullptr;
}

ProjectResourceHandlerPtr ProjectFolder::findDeepResourceByPath(const path& filePath) const
{
    if (ProjectResourceHandlerPtr handler = findResourceByPath(filePath))
        return handler;
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
    {
        if (ProjectResourceHandlerPtr handler = folder->findDeepResourceByPath(filePath))
            return handler;
    }
    return nullptr;
}

ProjectResourceHandlerPtr ProjectFolder::getFirstUnsavedResource() const
{
    for (const ProjectResourceHandlerPtr& handler : resources_)
    {
        if (isLoadedAndUnsaved(*handler))
            return handler;
    }
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
    {
        if (ProjectResourceHandlerPtr handler = folder->getFirstUnsavedResource())
            return handler;
    }
    return nullptr;
}

void ProjectFolder::collectDeepAllUnsavedResources(
    std::vector<ProjectResourceHandlerPtr>& list) const
{
    forEachDeepResource(
        [&](const ProjectResourceHandlerPtr& handler)
        {
            if (isLoadedAndUnsaved(*handler))
                list.push_back(handler);
        });
}

void ProjectFolder::forEachDeepResource(
    const std::function<void(const ProjectResourceHandlerPtr&)>& f) const
{
    for (const ProjectResourceHandlerPtr& handler : resources_)
        f(handler);
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
        folder->forEachDeepResource(f);
}

boost::optional<ProjectFolder::path>
ProjectFolder::getRelativePath(const ProjectFolder& folder) const
{
    return BoostExt::makeRelativePath(path_, folder.path_);
}

std::string ProjectFolder::getUniqueResourceName(const std::string& name,
                                                 const std::string& extension) const
{
    std::string candidate = name + extension;
    for (unsigned int number = 1;; ++number)
    {
        // A name the file system can't tell about is taken as free: making the file then
        // fails with a message, where a loop here would never end.
        boost::system::error_code error;
        if (!bfs::exists(bfs::symlink_status(path_ / candidate, error)))
            return candidate;
        candidate = name + (boost::format(" (%d)") % number).str() + extension;
    }
}

ProjectResourceHandlerPtr ProjectFolder::createResource(const std::string& name,
                                                        std::unique_ptr<ProjectResource> resource)
{
    ProjectResourceHandlerPtr handler =
        ProjectResourceHandler::createNew(project_, *this, name, std::move(resource));
    resources_.push_back(handler);
    sortResources();
    return handler;
}

void ProjectFolder::removeFolder(const ProjectFolder& folder)
{
    auto it =
        std::find_if(folders_.begin(), folders_.end(),
                     [&](const std::unique_ptr<ProjectFolder>& f) { return f.get() == &folder; });
    DEBUG_ASSERT(it != folders_.end());
    folders_.erase(it);
}

void ProjectFolder::removeResource(const ProjectResourceHandler& handler)
{
    auto it = std::find_if(resources_.begin(), resources_.end(),
                           [&](const ProjectResourceHandlerPtr& h) { return h.get() == &handler; });
    DEBUG_ASSERT(it != resources_.end());
    resources_.erase(it);
}

void ProjectFolder::update(ProjectRefreshResult& result, AccessKey<Project>)
{
    updateFromDisk(result);
}

bool ProjectFolder::updateMarkedToDelete(ProjectRefreshResult& result, AccessKey<Project>)
{
    return markedToDelete(result);
}

bool ProjectFolder::markedToDelete(ProjectRefreshResult& result)
{
    for (auto it = folders_.begin(); it != folders_.end();)
    {
        if ((*it)->markedToDelete(result))
            ++it;
        else
            it = folders_.erase(it);
    }
    for (auto it = resources_.begin(); it != resources_.end();)
    {
        if (isLoadedAndUnsaved(**it))
        {
            result.resourcesToDelete_.push_back((*it)->getPath());
            ++it;
        }
        else
        {
            it = resources_.erase(it);
        }
    }
    return !folders_.empty() || !resources_.empty();
}

void ProjectFolder::updateFromDisk(ProjectRefreshResult& result)
{
    // The directory is read once; a directory that can't be read is left as the model knows
    // it, so that nothing is dropped for a passing fault.
    DirectoryListing listing;
    if (!listing.read(path_))
        return;

    // Child folders gone from disk.
    for (auto it = folders_.begin(); it != folders_.end();)
    {
        if (listing.has((*it)->path_.filename(), bfs::directory_file))
        {
            ++it;
        }
        else if ((*it)->markedToDelete(result))
        {
            result.foldersToDelete_.push_back((*it)->path_);
            ++it;
        }
        else
        {
            it = folders_.erase(it);
        }
    }

    // Known files: gone, changed or as they were.
    for (auto it = resources_.begin(); it != resources_.end();)
    {
        ProjectResourceHandler& handler = **it;
        const bool unsaved = isLoadedAndUnsaved(handler);
        if (!listing.has(handler.getPath().filename(), bfs::regular_file))
        {
            if (unsaved)
            {
                result.resourcesToDelete_.push_back(handler.getPath());
                ++it;
            }
            else
            {
                it = resources_.erase(it);
            }
            continue;
        }
        if (handler.wasFileChangedOutside())
        {
            if (unsaved)
                result.resourcesToUpdate_.push_back(handler.getPath());
            else
                handler.updateFromFile();
        }
        ++it;
    }

    // New entries, and the folders below. Known entries are looked up by name: comparing
    // whole paths for every entry would cost more than reading the directory.
    std::map<std::string, ProjectFolder*> knownFolders;
    for (const std::unique_ptr<ProjectFolder>& folder : folders_)
        knownFolders.emplace(folder->path_.filename().string(), folder.get());
    std::set<std::string> knownFiles;
    for (const ProjectResourceHandlerPtr& handler : resources_)
        knownFiles.insert(handler->getPath().filename().string());
    for (const auto& entry : listing.entries)
    {
        const path entryPath = path_ / entry.first;
        if (entry.second.type == bfs::directory_file)
        {
            auto known = knownFolders.find(entry.first);
            ProjectFolder* folder = known == knownFolders.end() ? nullptr : known->second;
            if (!folder)
            {
                if (entry.second.isSymlink && isLinkToAncestor(entryPath, path_))
                    continue;
                folders_.push_back(
                    std::make_unique<ProjectFolder>(project_, this, entryPath, Private()));
                folder = folders_.back().get();
            }
            folder->updateFromDisk(result);
        }
        else if (entry.second.type == bfs::regular_file &&
                 bfs::path(entry.first).extension() ==
                     ProjectResourceHandler::getResourceExtension() &&
                 !knownFiles.count(entry.first))
        {
            try
            {
                ProjectResourceHandlerPtr handler = ProjectResourceHandler::createFromFile(
                    project_, *this, bfs::path(entry.first).stem().string());
                if (handler)
                    resources_.push_back(std::move(handler));
            }
            catch (const ProjectResourceHandler::Exception&)
            {
                // Gone or unreadable since the listing: it is looked at again next time.
            }
        }
    }

    sortResources();
    sortFolders();
}

// The entries of one folder share its path up to their names, so comparing the whole strings
// gives the order of path::compare, without walking the paths element by element.
void ProjectFolder::sortResources()
{
    std::sort(resources_.begin(), resources_.end(),
              [](const ProjectResourceHandlerPtr& a, const ProjectResourceHandlerPtr& b)
              { return a->getPath().native() < b->getPath().native(); });
}

void ProjectFolder::sortFolders()
{
    std::sort(folders_.begin(), folders_.end(),
              [](const std::unique_ptr<ProjectFolder>& a, const std::unique_ptr<ProjectFolder>& b)
              { return a->path_.native() < b->path_.native(); });
}

}  // namespace Plm
