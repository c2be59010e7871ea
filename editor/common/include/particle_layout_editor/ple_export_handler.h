#pragma once

#include <map>
#include <memory>
#include <vector>

#include <QObject>
#include <QString>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_system/ps_mem_managed_context.h"

namespace Plm
{
class Project;
class ProjectResourceHandler;
class SystemExportCompiler;
class SystemExportCompilerBin;
}  // namespace Plm

namespace Ps
{
class MemManagedSystemShell;
}  // namespace Ps

namespace Ple
{

// The local compilation of one effect, shared by whoever shows it: the compiled effect the
// preview plays, and the compilers whose marks the effect tree and the scheme show.
class ExportedResource
{
public:
    struct Data
    {
        // The binary compiler first, then that of each enabled text target in target order.
        std::vector<std::shared_ptr<Plm::SystemExportCompiler>> compilers;
        std::shared_ptr<Plm::SystemExportCompilerBin> binCompiler;
        // Null when the runtime refused the compiled bytes.
        std::shared_ptr<Ps::MemManagedSystemShell> shell;
    };

    // Nothing while the effect isn't loaded.
    const boost::optional<Data>& data() const { return data_; }

private:
    friend class ExportHandler;
    boost::optional<Data> data_;
};

// What the export handler needs of the project it serves.
class ExportHandlerHost
{
public:
    virtual ~ExportHandlerHost() = default;
    virtual Plm::Project& modelProject() = 0;
    // Keeps an effect loaded while it is shown, and lets it go.
    virtual void openPreviewResource(const boost::filesystem::path& path) = 0;
    virtual void closePreviewResource(const boost::filesystem::path& path) = 0;
};

// One per open project. For each effect that a part of the interface asked for, it keeps an
// up-to-date local compilation, made again whenever the effect's export revision changes. It
// never talks to the export service.
class ExportHandler : public QObject
{
    Q_OBJECT

public:
    enum EnumReexportResult
    {
        RR_Changed = 0,
        RR_Released = 1,
        RR_NotChanged = 2,
    };

    explicit ExportHandler(ExportHandlerHost& host, QObject* parent = nullptr);
    ~ExportHandler() override;

    // The shared compilation of an effect of the project (which must know the path).
    std::shared_ptr<ExportedResource>
    startHandleResourceExport(const boost::filesystem::path& path);
    // Brings every compilation up to date; lets go of those nobody holds any more.
    void updateView();

signals:
    void resourceRebuilt(const QString& path);

private:
    struct Wrap
    {
        boost::optional<boost::uuids::uuid> revision;
        std::weak_ptr<ExportedResource> resource;
    };

    EnumReexportResult reexportSystem(Wrap& wrap, const Plm::ProjectResourceHandler& handler);

    ExportHandlerHost& host_;
    Ps::MemManagedContext context_;
    std::map<boost::filesystem::path, Wrap> wraps_;
};

}  // namespace Ple
