#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_export_compiler_text.h"

namespace Plm
{

class Project;
class ProjectResourceHandler;
class System;
class SystemExportCompiler;

// The export targets of a project, by index.
enum EnumExportHandlers
{
    EH_Cs = 0,
    EH_Js = 1,
    EH_Unity = 2,
    EH_Count = 3,
};

// Every character that is neither a letter nor a digit of the C locale becomes "_".
std::string string2Name(const std::string& text);

// One export target of a project: where the exported text file of an effect goes, which
// version of the effect it holds, whether the effect must be exported again, what the export
// service is told, and how its answer is written.
class ExportHandler
{
public:
    using path = boost::filesystem::path;
    using Params = std::vector<std::pair<std::string, std::string>>;

    // A failure to write an exported file: its code, and the path it concerns. The words
    // belong to the caller.
    enum uER
    {
        ER_CannotOpenFile = 0,
        ER_CannotCreateDirectory = 1,
    };
    struct FormatErr
    {
        uER code;
        std::vector<std::string> params;
    };

    ExportHandler(Project& project, std::string extension);
    virtual ~ExportHandler();
    ExportHandler(const ExportHandler&) = delete;
    ExportHandler& operator=(const ExportHandler&) = delete;

    // Removes the files of this target's extension under rootPath() that belong to no known
    // effect; returns how many went.
    virtual unsigned int cleanExportDirectory() const = 0;
    virtual unsigned int validatorVersion() const = 0;
    virtual bool enabled() const = 0;
    virtual path rootPath() const = 0;
    virtual void addResource(const ProjectResourceHandler& handler) = 0;
    virtual void removeResource(const path& resourcePath) = 0;
    virtual void removeAllResources() = 0;
    virtual bool doesHaveResource(const path& resourcePath) const = 0;
    virtual void updateExportStatus(const ProjectResourceHandler& handler) = 0;
    virtual path getExportRelativePath(const ProjectResourceHandler& handler) const = 0;
    virtual bool doesNeedExport(const ProjectResourceHandler& handler) const = 0;
    virtual std::string getExportServerTarget() const = 0;
    virtual std::string getExportServerTargetVersion() const = 0;
    virtual Params getExportServerParamsList(const ProjectResourceHandler& handler) const = 0;
    // Writes what the service sent for the effect behind the file's head.
    virtual void updateExportedResource(const ProjectResourceHandler& handler,
                                        const std::vector<uint8_t>& bytes,
                                        boost::optional<FormatErr>& error) = 0;
    virtual std::shared_ptr<SystemExportCompiler>
    createSystemCompiler(const System& system) const = 0;

    Project& project() const { return project_; }
    const std::string& extension() const { return extension_; }
    path getExportPath(const ProjectResourceHandler& handler) const;
    void removeExportedFileIfExists(const ProjectResourceHandler& handler) const;
    std::string getResourceClassName(const ProjectResourceHandler& handler) const;

private:
    Project& project_;
    std::string extension_;
};

// What targets with one text file per effect share. The version each exported file holds is
// cached and read again only when the file's time changes.
class TextFileExportHandler : public ExportHandler
{
public:
    using ExportHandler::ExportHandler;

    unsigned int cleanExportDirectory() const override;
    void addResource(const ProjectResourceHandler& handler) override;
    void removeResource(const path& resourcePath) override;
    void removeAllResources() override { data_.clear(); }
    bool doesHaveResource(const path& resourcePath) const override;
    void updateExportStatus(const ProjectResourceHandler& handler) override;
    path getExportRelativePath(const ProjectResourceHandler& handler) const override;
    bool doesNeedExport(const ProjectResourceHandler& handler) const override;
    void updateExportedResource(const ProjectResourceHandler& handler,
                                const std::vector<uint8_t>& bytes,
                                boost::optional<FormatErr>& error) override;

    // The exported file's path relative to rootPath(), fixed when the effect is added.
    virtual path retrieveExportRelativePath(const ProjectResourceHandler& handler) const;
    // The head of an exported file: "// ", the export revision, an empty line.
    virtual void writeExportVersion(std::ostream& out, const ProjectResourceHandler& handler) const;
    // The revision in a head, or nothing for a file without one.
    virtual boost::optional<boost::uuids::uuid> readExportVersionFromFile(std::istream& in) const;

    // The version cached for an effect, if any (for tools and tests).
    boost::optional<boost::uuids::uuid> cachedVersion(const path& resourcePath) const;

private:
    struct ResourceData
    {
        boost::optional<uint32_t> time;
        boost::optional<boost::uuids::uuid> version;
        path relativePath;
    };
    unsigned int cleanExportDirectoryRecursive(const path& root, const path& directory) const;

    std::map<path, ResourceData> data_;
};

class ExportHandlerJs final : public TextFileExportHandler
{
public:
    explicit ExportHandlerJs(Project& project) : TextFileExportHandler(project, "js") {}

    unsigned int validatorVersion() const override
    {
        return SystemExportCompilerJs::validatorVersion();
    }
    bool enabled() const override;
    path rootPath() const override;
    std::string getExportServerTarget() const override { return "JS"; }
    std::string getExportServerTargetVersion() const override { return "1.0.0"; }
    Params getExportServerParamsList(const ProjectResourceHandler& handler) const override;
    std::shared_ptr<SystemExportCompiler> createSystemCompiler(const System& system) const override;
};

// C#, generic or for Unity. The generic target puts every effect's file in one folder,
// under a flat name made of its path.
class ExportHandlerCs final : public TextFileExportHandler
{
public:
    ExportHandlerCs(Project& project, EnumCsExportType type)
        : TextFileExportHandler(project, "cs"), type_(type)
    {
    }

    static const char* effectClassNamePrefix() { return "Effect_"; }
    EnumCsExportType csType() const { return type_; }

    unsigned int validatorVersion() const override
    {
        return SystemExportCompilerCs::validatorVersion();
    }
    bool enabled() const override;
    path rootPath() const override;
    std::string getExportServerTarget() const override { return "CS"; }
    std::string getExportServerTargetVersion() const override { return "1.0.0"; }
    Params getExportServerParamsList(const ProjectResourceHandler& handler) const override;
    std::shared_ptr<SystemExportCompiler> createSystemCompiler(const System& system) const override;
    path retrieveExportRelativePath(const ProjectResourceHandler& handler) const override;

private:
    EnumCsExportType type_;
};

}  // namespace Plm
