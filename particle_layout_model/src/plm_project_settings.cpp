#include "particle_layout_model/plm_project_settings.h"

#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace Const
{
const char* const exportJsRelativeRootPath = "export_js";
const char* const exportCsRelativeRootPath = "export_cs";
const char* const exportUnityRelativeRootPath = "export_unity";
}  // namespace Const

namespace
{
constexpr uint32_t kExportCsVersion = 0;
constexpr uint32_t kExportUnityVersion = 0;
constexpr uint32_t kExportJsVersion = 2;
constexpr uint32_t kSettingsVersion = 2;
}  // namespace

void ExportSettingsCs::save(Sl::Saver& saver) const
{
    Sl::ScopedSaverGroup group("export_cs", saver, kExportCsVersion);
    Sl::write(nullptr, saver, enabled_);
    Sl::write(nullptr, saver, relativeRootPath_);
}

void ExportSettingsCs::load(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, kExportCsVersion);
    Sl::read(loader, enabled_);
    Sl::read(loader, relativeRootPath_);
}

void ExportSettingsUnity::save(Sl::Saver& saver) const
{
    Sl::ScopedSaverGroup group("export_unity", saver, kExportUnityVersion);
    Sl::write(nullptr, saver, enabled_);
    Sl::write(nullptr, saver, relativeRootPath_);
}

void ExportSettingsUnity::load(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, kExportUnityVersion);
    Sl::read(loader, enabled_);
    Sl::read(loader, relativeRootPath_);
}

void ExportSettingsJs::save(Sl::Saver& saver) const
{
    Sl::ScopedSaverGroup group("export_js", saver, kExportJsVersion);
    Sl::write(nullptr, saver, enabled_);
    Sl::write(nullptr, saver, relativeRootPath_);
    Sl::write(nullptr, saver, static_cast<uint8_t>(type_));
}

void ExportSettingsJs::load(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, kExportJsVersion);
    Sl::read(loader, enabled_);
    Sl::read(loader, relativeRootPath_);
    type_ = T_Umd;
    if (group.version() == 1)
    {
        bool xhr = false;
        Sl::read(loader, xhr);
        type_ = xhr ? T_Xhr : T_Umd;
    }
    else if (group.version() >= 2)
    {
        uint8_t type = 0;
        Sl::read(loader, type);
        // A form this program doesn't know is read as the default one.
        type_ = type == T_Xhr ? T_Xhr : T_Umd;
    }
}

ProjectSettings::ProjectSettings(const path& baseDir, const path& relativeResourcesPath,
                                 const path& relativeTexturesPath)
    : baseDir_(baseDir),
      relativeResourcesPath_(relativeResourcesPath),
      relativeTexturesPath_(relativeTexturesPath)
{
    updateResourcesPathCache();
}

ProjectSettings::~ProjectSettings() = default;

void ProjectSettings::setBaseDir(const path& baseDir)
{
    baseDir_ = baseDir;
    updateResourcesPathCache();
}

void ProjectSettings::setRelativeResourcesPath(const path& relativePath)
{
    relativeResourcesPath_ = relativePath;
    updateResourcesPathCache();
}

void ProjectSettings::setRelativeTexturesPath(const path& relativePath)
{
    relativeTexturesPath_ = relativePath;
    updateResourcesPathCache();
}

void ProjectSettings::updateResourcesPathCache()
{
    resourcesPath_ = baseDir_ / relativeResourcesPath_;
    texturesPath_ = baseDir_ / relativeTexturesPath_;
}

void ProjectSettings::save(Sl::Saver& saver) const
{
    Sl::ScopedSaverGroup group("project_settings", saver, kSettingsVersion);
    Sl::write("projection", saver, static_cast<uint8_t>(projection_));
    Sl::write("proj_persp_angle", saver, projPerspectiveAngle_);
    Sl::write("proj_persp_type", saver, static_cast<uint8_t>(projPerspectiveAngleType_));
    Sl::write("flipped_y", saver, flippedY_);
    Sl::write("flipped_z", saver, flippedZ_);
    Sl::write("resources_path", saver, relativeResourcesPath_);
    exportSettingsJs_.save(saver);
    exportSettingsCs_.save(saver);
    exportSettingsUnity_.save(saver);
    Sl::write("textures_path", saver, relativeTexturesPath_);
}

void ProjectSettings::load(Sl::Loader& loader)
{
    Sl::ScopedLoaderGroup group(loader, kSettingsVersion);
    uint8_t projection = 0;
    Sl::read(loader, projection);
    Sl::read(loader, projPerspectiveAngle_);
    uint8_t angleType = 0;
    Sl::read(loader, angleType);
    Sl::read(loader, flippedY_);
    Sl::read(loader, flippedZ_);
    Sl::read(loader, relativeResourcesPath_);
    exportSettingsJs_ = ExportSettingsJs();
    exportSettingsCs_ = ExportSettingsCs();
    exportSettingsUnity_ = ExportSettingsUnity();
    if (group.version() == 0)
    {
        path jsRoot;
        Sl::read(loader, jsRoot);
        exportSettingsJs_.setRelativeRootPath(jsRoot);
    }
    else
    {
        exportSettingsJs_.load(loader);
        exportSettingsCs_.load(loader);
        if (group.version() >= 2)
            exportSettingsUnity_.load(loader);
    }
    Sl::read(loader, relativeTexturesPath_);
    // Values a later editor may add are shown as the defaults of this one.
    projection_ =
        projection <= P_Perspective ? static_cast<EnumProjection>(projection) : P_Orthographic;
    projPerspectiveAngleType_ =
        angleType <= PAT_Diagonal ? static_cast<EnumPerspAngleType>(angleType) : PAT_Vertical;
    updateResourcesPathCache();
}

bool ProjectSettings::operator==(const ProjectSettings& other) const
{
    return baseDir_ == other.baseDir_ && projection_ == other.projection_ &&
           projPerspectiveAngle_ == other.projPerspectiveAngle_ &&
           projPerspectiveAngleType_ == other.projPerspectiveAngleType_ &&
           flippedY_ == other.flippedY_ && flippedZ_ == other.flippedZ_ &&
           relativeResourcesPath_ == other.relativeResourcesPath_ &&
           relativeTexturesPath_ == other.relativeTexturesPath_ &&
           exportSettingsJs_ == other.exportSettingsJs_ &&
           exportSettingsCs_ == other.exportSettingsCs_ &&
           exportSettingsUnity_ == other.exportSettingsUnity_;
}

}  // namespace Plm
