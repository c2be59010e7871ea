#pragma once

#include <cstdint>
#include <utility>

#include <boost/filesystem/path.hpp>

namespace Sl
{
class Loader;
class Saver;
}  // namespace Sl

namespace Plm
{

namespace Const
{
// Where each export target writes, relative to the project's directory, in a new project.
extern const char* const exportJsRelativeRootPath;
extern const char* const exportCsRelativeRootPath;
extern const char* const exportUnityRelativeRootPath;
}  // namespace Const

// What one export target needs to know: whether it runs, and the folder (relative to the
// project's directory) that receives its files. Saved as one group of unnamed fields.
class ExportSettingsBase
{
public:
    explicit ExportSettingsBase(boost::filesystem::path relativeRootPath)
        : relativeRootPath_(std::move(relativeRootPath))
    {
    }
    virtual ~ExportSettingsBase() = default;

    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled) { enabled_ = enabled; }
    const boost::filesystem::path& getRelativeRootPath() const { return relativeRootPath_; }
    void setRelativeRootPath(const boost::filesystem::path& path) { relativeRootPath_ = path; }

protected:
    ExportSettingsBase(const ExportSettingsBase&) = default;
    ExportSettingsBase& operator=(const ExportSettingsBase&) = default;
    bool equalsBase(const ExportSettingsBase& other) const
    {
        return enabled_ == other.enabled_ && relativeRootPath_ == other.relativeRootPath_;
    }

    bool enabled_ = false;
    boost::filesystem::path relativeRootPath_;
};

class ExportSettingsCs : public ExportSettingsBase
{
public:
    explicit ExportSettingsCs(
        boost::filesystem::path relativeRootPath = Const::exportCsRelativeRootPath)
        : ExportSettingsBase(std::move(relativeRootPath))
    {
    }
    ExportSettingsCs(const ExportSettingsCs&) = default;
    ExportSettingsCs& operator=(const ExportSettingsCs&) = default;

    void save(Sl::Saver& saver) const;
    void load(Sl::Loader& loader);
    bool operator==(const ExportSettingsCs& other) const { return equalsBase(other); }
    bool operator!=(const ExportSettingsCs& other) const { return !(*this == other); }
};

class ExportSettingsUnity : public ExportSettingsBase
{
public:
    explicit ExportSettingsUnity(
        boost::filesystem::path relativeRootPath = Const::exportUnityRelativeRootPath)
        : ExportSettingsBase(std::move(relativeRootPath))
    {
    }
    ExportSettingsUnity(const ExportSettingsUnity&) = default;
    ExportSettingsUnity& operator=(const ExportSettingsUnity&) = default;

    void save(Sl::Saver& saver) const;
    void load(Sl::Loader& loader);
    bool operator==(const ExportSettingsUnity& other) const { return equalsBase(other); }
    bool operator!=(const ExportSettingsUnity& other) const { return !(*this == other); }
};

class ExportSettingsJs : public ExportSettingsBase
{
public:
    // The form of the exported script.
    enum Type : uint8_t
    {
        T_Umd = 0,  // a UMD package
        T_Xhr = 1,  // loaded by an XHR request
    };

    explicit ExportSettingsJs(
        boost::filesystem::path relativeRootPath = Const::exportJsRelativeRootPath)
        : ExportSettingsBase(std::move(relativeRootPath))
    {
    }
    ExportSettingsJs(const ExportSettingsJs&) = default;
    ExportSettingsJs& operator=(const ExportSettingsJs&) = default;

    Type getType() const { return type_; }
    void setType(Type type) { type_ = type; }

    void save(Sl::Saver& saver) const;
    // Version 0 has no type (it is then 0), version 1 has it as a bool, later ones as a byte.
    void load(Sl::Loader& loader);
    bool operator==(const ExportSettingsJs& other) const
    {
        return equalsBase(other) && type_ == other.type_;
    }
    bool operator!=(const ExportSettingsJs& other) const { return !(*this == other); }

private:
    Type type_ = T_Umd;
};

// The settings a project file holds: how the preview projects the scene, where effects and
// textures live (relative to the base directory, the project's own), and the export targets.
class ProjectSettings
{
public:
    using path = boost::filesystem::path;

    enum EnumProjection : uint8_t
    {
        P_Orthographic = 0,
        P_Perspective = 1,
    };
    // Which extent of the view the perspective angle spans.
    enum EnumPerspAngleType : uint8_t
    {
        PAT_Vertical = 0,
        PAT_Horizontal = 1,
        PAT_Diagonal = 2,
    };

    static constexpr float kDefaultPerspectiveAngle = 45.0f;

    ProjectSettings(const path& baseDir, const path& relativeResourcesPath,
                    const path& relativeTexturesPath);
    ProjectSettings(const ProjectSettings&) = default;
    ProjectSettings& operator=(const ProjectSettings&) = default;
    virtual ~ProjectSettings();

    const path& getBaseDir() const { return baseDir_; }
    // Renews the resources and textures paths, which hang from it.
    void setBaseDir(const path& baseDir);

    EnumProjection getProjection() const { return projection_; }
    void setProjection(EnumProjection projection) { projection_ = projection; }
    float getProjPerspectiveAngle() const { return projPerspectiveAngle_; }
    void setProjPerspectiveAngle(float angle) { projPerspectiveAngle_ = angle; }
    EnumPerspAngleType getProjPerspectiveAngleType() const { return projPerspectiveAngleType_; }
    void setProjPerspectiveAngleType(EnumPerspAngleType type) { projPerspectiveAngleType_ = type; }
    bool isFlippedY() const { return flippedY_; }
    void setFlippedY(bool flipped) { flippedY_ = flipped; }
    bool isFlippedZ() const { return flippedZ_; }
    void setFlippedZ(bool flipped) { flippedZ_ = flipped; }

    const path& getRelativeResourcesPath() const { return relativeResourcesPath_; }
    void setRelativeResourcesPath(const path& relativePath);
    const path& getRelativeTexturesPath() const { return relativeTexturesPath_; }
    void setRelativeTexturesPath(const path& relativePath);
    // The base directory joined with the relative paths.
    const path& getResourcesPath() const { return resourcesPath_; }
    const path& getTexturesPath() const { return texturesPath_; }
    void updateResourcesPathCache();

    const ExportSettingsJs& getExportSettingsJs() const { return exportSettingsJs_; }
    void setExportSettingsJs(const ExportSettingsJs& settings) { exportSettingsJs_ = settings; }
    const ExportSettingsCs& getExportSettingsCs() const { return exportSettingsCs_; }
    void setExportSettingsCs(const ExportSettingsCs& settings) { exportSettingsCs_ = settings; }
    const ExportSettingsUnity& getExportSettingsUnity() const { return exportSettingsUnity_; }
    void setExportSettingsUnity(const ExportSettingsUnity& settings)
    {
        exportSettingsUnity_ = settings;
    }

    // The "project_settings" group. The base directory isn't saved: it is the project's.
    void save(Sl::Saver& saver) const;
    // Reads versions 0 to 2; what an old version lacks takes its default.
    void load(Sl::Loader& loader);

    // Every saved field and the base directory.
    bool operator==(const ProjectSettings& other) const;
    bool operator!=(const ProjectSettings& other) const { return !(*this == other); }

private:
    path baseDir_;
    EnumProjection projection_ = P_Orthographic;
    float projPerspectiveAngle_ = kDefaultPerspectiveAngle;
    EnumPerspAngleType projPerspectiveAngleType_ = PAT_Vertical;
    bool flippedY_ = true;
    bool flippedZ_ = false;
    path relativeResourcesPath_;
    path relativeTexturesPath_;
    path resourcesPath_;
    path texturesPath_;
    ExportSettingsJs exportSettingsJs_;
    ExportSettingsCs exportSettingsCs_;
    ExportSettingsUnity exportSettingsUnity_;
};

}  // namespace Plm
