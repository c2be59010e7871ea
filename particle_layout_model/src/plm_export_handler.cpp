#include "particle_layout_model/plm_export_handler.h"

#include <algorithm>
#include <fstream>
#include <string>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"
#include "debug/debug_check.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"

namespace Plm
{

namespace
{

using path = boost::filesystem::path;

bool isClassicAlnum(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isEffect(const ProjectResourceHandler& handler) { return handler.getType() == PRT_System; }

// The effect's path below the project's resources folder.
path relativeToResources(const Project& project, const ProjectResourceHandler& handler)
{
    const boost::optional<path> relativePath =
        BoostExt::makeRelativePath(project.settings().getResourcesPath(), handler.getPath());
    DEBUG_ASSERT(relativePath);
    return *relativePath;
}

}  // namespace

std::string string2Name(const std::string& text)
{
    std::string name = text;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !isClassicAlnum(c); }, '_');
    return name;
}

// The base.

ExportHandler::ExportHandler(Project& project, std::string extension)
    : project_(project), extension_(std::move(extension))
{
}

ExportHandler::~ExportHandler() = default;

ExportHandler::path ExportHandler::getExportPath(const ProjectResourceHandler& handler) const
{
    return rootPath() / getExportRelativePath(handler);
}

void ExportHandler::removeExportedFileIfExists(const ProjectResourceHandler& handler) const
{
    boost::system::error_code error;
    boost::filesystem::remove(getExportPath(handler), error);
}

std::string ExportHandler::getResourceClassName(const ProjectResourceHandler& handler) const
{
    path relative = getExportRelativePath(handler);
    relative.replace_extension();
    return string2Name(relative.generic_string());
}

// One text file per effect.

ExportHandler::path
TextFileExportHandler::retrieveExportRelativePath(const ProjectResourceHandler& handler) const
{
    return relativeToResources(project(), handler).replace_extension(extension());
}

void TextFileExportHandler::addResource(const ProjectResourceHandler& handler)
{
    DEBUG_ASSERT(data_.find(handler.getPath()) == data_.end());
    ResourceData data;
    data.relativePath = retrieveExportRelativePath(handler);
    data_.emplace(handler.getPath(), std::move(data));
}

void TextFileExportHandler::removeResource(const path& resourcePath)
{
    const auto it = data_.find(resourcePath);
    DEBUG_ASSERT(it != data_.end());
    data_.erase(it);
}

bool TextFileExportHandler::doesHaveResource(const path& resourcePath) const
{
    boost::system::error_code error;
    return boost::filesystem::exists(resourcePath, error);
}

ExportHandler::path
TextFileExportHandler::getExportRelativePath(const ProjectResourceHandler& handler) const
{
    const auto it = data_.find(handler.getPath());
    DEBUG_ASSERT(it != data_.end());
    return it->second.relativePath;
}

boost::optional<boost::uuids::uuid>
TextFileExportHandler::cachedVersion(const path& resourcePath) const
{
    const auto it = data_.find(resourcePath);
    return it == data_.end() ? boost::none : it->second.version;
}

void TextFileExportHandler::updateExportStatus(const ProjectResourceHandler& handler)
{
    if (!isEffect(handler))
        return;
    const auto it = data_.find(handler.getPath());
    DEBUG_ASSERT(it != data_.end());
    ResourceData& data = it->second;
    const path file = rootPath() / data.relativePath;
    boost::system::error_code error;
    const bool exists = boost::filesystem::is_regular_file(file, error);
    const std::time_t time = exists && !error ? boost::filesystem::last_write_time(file, error) : 0;
    if (!exists || error)
    {
        data.time = boost::none;
        data.version = boost::none;
        return;
    }
    // Kept in 32 bits.
    const uint32_t time32 = static_cast<uint32_t>(time);
    if (data.time && *data.time == time32)
        return;
    std::ifstream in(file.string(), std::ios::binary);
    data.version = in ? readExportVersionFromFile(in) : boost::none;
    data.time = time32;
}

bool TextFileExportHandler::doesNeedExport(const ProjectResourceHandler& handler) const
{
    if (!isEffect(handler))
        return false;
    const auto it = data_.find(handler.getPath());
    DEBUG_ASSERT(it != data_.end());
    return !it->second.version || *it->second.version != handler.getExportRevision();
}

void TextFileExportHandler::writeExportVersion(std::ostream& out,
                                               const ProjectResourceHandler& handler) const
{
    out << "// " << handler.getExportRevision() << "\n\n";
}

boost::optional<boost::uuids::uuid>
TextFileExportHandler::readExportVersionFromFile(std::istream& in) const
{
    // Only the first line counts; a file written otherwise has no version.
    std::string line;
    if (!std::getline(in, line) || line.compare(0, 3, "// ") != 0)
        return boost::none;
    const std::string text = line.substr(3);
    // The standard text form and nothing else.
    if (text.size() != 36)
        return boost::none;
    try
    {
        return boost::uuids::string_generator()(text);
    }
    catch (const std::runtime_error&)
    {
        return boost::none;
    }
}

void TextFileExportHandler::updateExportedResource(const ProjectResourceHandler& handler,
                                                   const std::vector<uint8_t>& bytes,
                                                   boost::optional<FormatErr>& error)
{
    const path file = getExportPath(handler);
    boost::system::error_code code;
    boost::filesystem::create_directories(file.parent_path(), code);
    if (code)
    {
        error = FormatErr{ER_CannotCreateDirectory, {file.parent_path().string()}};
        return;
    }
    // Written whole beside the file and renamed over it: a failure leaves the old file as it
    // was, and nothing half-written.
    const path temporary = path(file).concat(".tmp");
    bool written = false;
    {
        std::ofstream out(temporary.string(), std::ios::binary | std::ios::trunc);
        if (out)
        {
            writeExportVersion(out, handler);
            out.write(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<std::streamsize>(bytes.size()));
            out.close();
            written = static_cast<bool>(out);
        }
    }
    if (written)
        boost::filesystem::rename(temporary, file, code);
    if (!written || code)
    {
        boost::system::error_code ignored;
        boost::filesystem::remove(temporary, ignored);
        error = FormatErr{ER_CannotOpenFile, {file.string()}};
        return;
    }
    // The file was just rewritten: its cached time says nothing, even when the clock's second
    // is the same as at the last write.
    const auto it = data_.find(handler.getPath());
    if (it != data_.end())
        it->second.time = boost::none;
    updateExportStatus(handler);
}

unsigned int TextFileExportHandler::cleanExportDirectory() const
{
    return cleanExportDirectoryRecursive(rootPath(), rootPath());
}

unsigned int TextFileExportHandler::cleanExportDirectoryRecursive(const path& root,
                                                                  const path& directory) const
{
    unsigned int count = 0;
    std::vector<path> doomed;
    boost::system::error_code error;
    boost::filesystem::directory_iterator it(directory, error), end;
    for (; !error && it != end; it.increment(error))
    {
        const path entry = it->path();
        boost::system::error_code status;
        if (boost::filesystem::is_directory(entry, status))
        {
            count += cleanExportDirectoryRecursive(root, entry);
            continue;
        }
        if (!boost::filesystem::is_regular_file(entry, status) ||
            entry.extension().string() != "." + extension())
            continue;
        const bool known =
            std::any_of(data_.begin(), data_.end(),
                        [&](const auto& item)
                        {
                            boost::system::error_code same;
                            return boost::filesystem::equivalent(
                                       entry, root / item.second.relativePath, same) &&
                                   !same;
                        });
        if (!known)
            doomed.push_back(entry);
    }
    for (const path& file : doomed)
    {
        boost::system::error_code removal;
        if (boost::filesystem::remove(file, removal) && !removal)
            ++count;
    }
    return count;
}

// JavaScript.

bool ExportHandlerJs::enabled() const
{
    return project().settings().getExportSettingsJs().isEnabled();
}

ExportHandler::path ExportHandlerJs::rootPath() const
{
    return project().getProjectDir() /
           project().settings().getExportSettingsJs().getRelativeRootPath();
}

ExportHandler::Params
ExportHandlerJs::getExportServerParamsList(const ProjectResourceHandler& handler) const
{
    switch (project().settings().getExportSettingsJs().getType())
    {
    case ExportSettingsJs::T_Umd:
        return {{"className", getResourceClassName(handler)}};
    case ExportSettingsJs::T_Xhr:
        return {};
    }
    DEBUG_ASSERT(false);
    return {};
}

std::shared_ptr<SystemExportCompiler>
ExportHandlerJs::createSystemCompiler(const System& system) const
{
    return SystemExportCompilerJs::create(system);
}

// C# and Unity.

bool ExportHandlerCs::enabled() const
{
    const ProjectSettings& settings = project().settings();
    return type_ == CET_Unity ? settings.getExportSettingsUnity().isEnabled()
                              : settings.getExportSettingsCs().isEnabled();
}

ExportHandler::path ExportHandlerCs::rootPath() const
{
    const ProjectSettings& settings = project().settings();
    return project().getProjectDir() /
           (type_ == CET_Unity ? settings.getExportSettingsUnity().getRelativeRootPath()
                               : settings.getExportSettingsCs().getRelativeRootPath());
}

ExportHandler::Params
ExportHandlerCs::getExportServerParamsList(const ProjectResourceHandler& handler) const
{
    return {{"className", getResourceClassName(handler)},
            {"type", type_ == CET_Unity ? "unity" : "generic"}};
}

std::shared_ptr<SystemExportCompiler>
ExportHandlerCs::createSystemCompiler(const System& system) const
{
    return SystemExportCompilerCs::create(system, type_);
}

ExportHandler::path
ExportHandlerCs::retrieveExportRelativePath(const ProjectResourceHandler& handler) const
{
    if (type_ == CET_Unity)
        return TextFileExportHandler::retrieveExportRelativePath(handler);
    // One folder for all: fx/smoke.sxed becomes Effect_fx_smoke.cs.
    path relative = relativeToResources(project(), handler);
    relative.replace_extension();
    return effectClassNamePrefix() + string2Name(relative.generic_string()) + "." + extension();
}

}  // namespace Plm
