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

Block* ExternalResourcesMap::findBlock(const path& relPath) const
{
    ProjectResource* resource = findResource(relPath);
    if (!resource)
        return nullptr;
    if (ProjectResourceBlock* block = resource->castToBlockResource())
        return &block->getResource();
    reportProblem(relPath, "the source file holds no block");
    return nullptr;
}

Emitter* ExternalResourcesMap::findEmitter(const path& relPath) const
{
    ProjectResource* resource = findResource(relPath);
    if (!resource)
        return nullptr;
    if (ProjectResourceEmitter* emitter = resource->castToEmitterResource())
        return &emitter->getResource();
    reportProblem(relPath, "the source file holds no emitter");
    return nullptr;
}

System* ExternalResourcesMap::findSystem(const path& relPath) const
{
    ProjectResource* resource = findResource(relPath);
    if (!resource)
        return nullptr;
    if (ProjectResourceSystem* system = resource->castToSystemResource())
        return &system->getResource();
    reportProblem(relPath, "the source file holds no effect");
    return nullptr;
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
