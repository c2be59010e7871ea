#pragma once

#include <ctime>
#include <memory>

#include <QMetaObject>
#include <QString>

#include <boost/filesystem/path.hpp>
#include <boost/optional.hpp>

class QImage;
class QOpenGLTexture;

namespace QtExt
{
class OffscreenContext;
}

namespace Ple
{
namespace Preview
{

// A texture of the preview that follows its file on disk. A file that is
// missing or can't be read shows as a red and white checkerboard; drawing
// never stops for it, and the fact is logged once per change to that state.
class Texture
{
public:
    // Side of the checkerboard image and of one of its cells, in pixels.
    static constexpr int kDefaultImageSize = 64;
    static constexpr int kDefaultImageCell = 16;

    Texture(const boost::filesystem::path& path, QtExt::OffscreenContext& context);
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    const boost::filesystem::path& getPath() const { return path_; }
    int getWidth() const;
    int getHeight() const;
    bool isDefaultImage() const { return defaultImage_; }
    bool isLoaded() const { return loaded_; }

    // Binds on a texture unit, resetting that unit's state.
    void bind(unsigned unit);
    // Reloads the image if the file's write time changed, or shows the
    // checkerboard if the file can't be had.
    void updateFromFile();

    // The checkerboard: ARGB32, opaque red and half-transparent white cells.
    static QImage createDefaultImage();

private:
    void setDefaultImage(const QString& reason);
    void upload(const QImage& image);

    boost::filesystem::path path_;
    QtExt::OffscreenContext* context_;
    std::unique_ptr<QOpenGLTexture> texture_;
    bool loaded_ = false;
    boost::optional<std::time_t> lastWriteTime_;
    bool defaultImage_ = false;
    QMetaObject::Connection contextConnection_;
};

}  // namespace Preview
}  // namespace Ple
