#include "particle_layout_editor/ple_export_handler.h"

#include <exception>

#include <QTimer>

#include "debug/debug_check.h"
#include "debug/debug_log.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_export_handler.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_mem_managed_system_shell.h"

namespace Ple
{

ExportHandler::ExportHandler(ExportHandlerHost& host, QObject* parent)
    : QObject(parent), host_(host)
{
}

ExportHandler::~ExportHandler() = default;

std::shared_ptr<ExportedResource>
ExportHandler::startHandleResourceExport(const boost::filesystem::path& path)
{
    Plm::ProjectResourceHandler& handler = host_.modelProject().getResourceHandlerByPath(path);
    const auto found = wraps_.find(path);
    if (found != wraps_.end())
        if (std::shared_ptr<ExportedResource> held = found->second.resource.lock())
            return held;
    auto resource = std::make_shared<ExportedResource>();
    Wrap wrap;
    wrap.resource = resource;
    host_.openPreviewResource(path);
    reexportSystem(wrap, handler);
    wraps_[path] = wrap;
    return resource;
}

ExportHandler::EnumReexportResult
ExportHandler::reexportSystem(Wrap& wrap, const Plm::ProjectResourceHandler& handler)
{
    const std::shared_ptr<ExportedResource> resource = wrap.resource.lock();
    if (!resource)
        return RR_Released;
    if (wrap.revision && *wrap.revision == handler.getExportRevision())
        return RR_NotChanged;
    if (!handler.isLoaded() || handler.getType() != Plm::PRT_System)
    {
        // Loaded again later with the same export revision, it must still be compiled again.
        wrap.revision = boost::none;
        if (!resource->data_)
            return RR_NotChanged;
        resource->data_ = boost::none;
        return RR_Changed;
    }
    wrap.revision = handler.getExportRevision();
    resource->data_.emplace();
    ExportedResource::Data& data = *resource->data_;
    const Plm::System& system =
        handler.getLoadedResource().castToSystemResourceChecked().getResource();
    data.binCompiler = Plm::SystemExportCompilerBin::create(system);
    data.compilers.push_back(data.binCompiler);
    try
    {
        const std::vector<uint8_t> bytes = data.binCompiler->exportBytes();
        data.shell = std::make_shared<Ps::MemManagedSystemShell>(
            bytes.data(), static_cast<uint32_t>(bytes.size()), context_.get());
    }
    catch (const std::exception& e)
    {
        // A limit of the compiled form, or bytes the runtime refuses: nothing to play, and the
        // marks of the compilers still tell what is wrong.
        DEBUG_LOG(Warning, "The effect " + handler.getPath().string() +
                               " can't be compiled for the preview: " + e.what());
    }
    Plm::Project& project = host_.modelProject();
    for (unsigned int i = 0; i < Plm::EH_Count; ++i)
    {
        const Plm::ExportHandler& target = project.exportHandler(Plm::EnumExportHandlers(i));
        if (target.enabled())
            data.compilers.push_back(target.createSystemCompiler(system));
    }
    return RR_Changed;
}

void ExportHandler::updateView()
{
    Plm::Project& project = host_.modelProject();
    for (auto it = wraps_.begin(); it != wraps_.end();)
    {
        const auto handler = project.findResourceHandlerByPath(it->first);
        if (!handler)
        {
            it = wraps_.erase(it);
            continue;
        }
        switch (reexportSystem(it->second, *handler))
        {
        case RR_Changed:
            emit resourceRebuilt(QString::fromStdString(it->first.string()));
            ++it;
            break;
        case RR_Released:
            host_.closePreviewResource(it->first);
            QTimer::singleShot(0, this, &ExportHandler::updateView);
            it = wraps_.erase(it);
            break;
        case RR_NotChanged:
            ++it;
            break;
        }
    }
}

}  // namespace Ple
