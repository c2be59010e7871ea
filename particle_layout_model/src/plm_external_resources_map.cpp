#include "particle_layout_model/plm_external_resources_map.h"

#include "debug/debug_check.h"
#include "debug/debug_log.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"

namespace Plm
{

void ExternalResourcesMap::addResource(const path& relPath, ProjectResourceHandler* handler)
{
    DEBUG_ASSERT(handler);
    DEBUG_ASSERT(externals_.find(relPath) == externals_.end());
    externals_.emplace(relPath, handler);
}

ProjectResourceHandler* ExternalResourcesMap::findResourceHandler(const path& relPath) const
{
    const auto found = externals_.find(relPath);
    return found == externals_.end() ? nullptr : found->second;
}

ProjectResource* ExternalResourcesMap::findResource(const path& relPath) const
{
    ProjectResourceHandler* handler = findResourceHandler(relPath);
    if (!handler)
        return nullptr;
    if (!handler->isLoaded())
    {
        reportProblem(relPath, "the source file can't be loaded");
        return nullptr;
    }
    return &handler->getLoadedResource();
}

template <class File>
auto* ExternalResourcesMap::findContent(const path& relPath, File* (ProjectResource::*cast)(),
                                        const char* what) const
{
    ProjectResource* resource = findResource(relPath);
    File* file = resource ? (resource->*cast)() : nullptr;
    if (resource && !file)
        reportProblem(relPath, std::string("the source file holds no ") + what);
    return file ? &file->getResource() : nullptr;
}

Block* ExternalResourcesMap::findBlock(const path& relPath) const
{
    return findContent(relPath, &ProjectResource::castToBlockResource, "block");
}

Emitter* ExternalResourcesMap::findEmitter(const path& relPath) const
{
    return findContent(relPath, &ProjectResource::castToEmitterResource, "emitter");
}

System* ExternalResourcesMap::findSystem(const path& relPath) const
{
    return findContent(relPath, &ProjectResource::castToSystemResource, "effect");
}

void ExternalResourcesMap::reportProblem(const path& relPath, const std::string& what) const
{
    refused_.insert(relPath);
    const ProjectResourceHandler* handler = findResourceHandler(relPath);
    std::string text =
        handler->getPath().string() + ": " + what + "; what reflects it is left as it is";
    DEBUG_LOG(Warning, text);
    for (const std::string& known : problems_)
        if (known == text)
            return;
    problems_.push_back(std::move(text));
}

}  // namespace Plm
