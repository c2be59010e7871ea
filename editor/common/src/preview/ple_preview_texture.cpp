#include "particle_layout_editor/preview/ple_preview_texture.h"

#include <QImage>
#include <QOpenGLContext>
#include <QOpenGLTexture>

#include <boost/filesystem/operations.hpp>

#include "debug/debug_check.h"
#include "qt_ext/qt_ext_offscreen_context.h"

namespace Ple
{
namespace Preview
{

Texture::Texture(const boost::filesystem::path& path, QtExt::OffscreenContext& context)
    : path_(path), context_(&context), texture_(new QOpenGLTexture(QOpenGLTexture::Target2D))
{
    // The texture's GL name belongs to the context: it goes with it. The
    // context may announce its end twice, hence the check.
    contextConnection_ =
        QObject::connect(&context, &QObject::destroyed,
                         [this]()
                         {
                             if (context_ && texture_ && QOpenGLContext::currentContext())
                                 texture_->destroy();
                             texture_.reset();
                             context_ = nullptr;
                         });
    updateFromFile();
}

Texture::~Texture()
{
    QObject::disconnect(contextConnection_);
    if (context_ && texture_ && texture_->isCreated() && context_->makeCurrent())
        texture_->destroy();
}

int Texture::getWidth() const { return texture_ ? texture_->width() : 0; }

int Texture::getHeight() const { return texture_ ? texture_->height() : 0; }

void Texture::bind(unsigned unit)
{
    if (texture_ && texture_->isCreated())
        texture_->bind(unit, QOpenGLTexture::ResetTextureUnit);
}

QImage Texture::createDefaultImage()
{
    QImage image(kDefaultImageSize, kDefaultImageSize, QImage::Format_ARGB32);
    for (int y = 0; y < kDefaultImageSize; ++y)
    {
        for (int x = 0; x < kDefaultImageSize; ++x)
        {
            const bool red = ((x / kDefaultImageCell) + (y / kDefaultImageCell)) % 2 == 0;
            image.setPixel(x, y, red ? 0xFFFF0000u : 0x80FFFFFFu);
        }
    }
    return image;
}

void Texture::updateFromFile()
{
    boost::system::error_code error;
    const std::time_t writeTime = boost::filesystem::last_write_time(path_, error);
    if (error)
    {
        setDefaultImage(QString::fromStdString(error.message()));
        return;
    }
    if (loaded_ && lastWriteTime_ && *lastWriteTime_ == writeTime)
        return;

    const QImage image(QString::fromStdString(path_.string()));
    if (image.isNull())
    {
        setDefaultImage(QStringLiteral("not a readable image"));
        return;
    }
    upload(image.mirrored());
    lastWriteTime_ = writeTime;
    loaded_ = true;
    if (defaultImage_)
        DEBUG_LOG(Info, "Texture \"" + path_.string() + "\" loaded again");
    defaultImage_ = false;
}

void Texture::setDefaultImage(const QString& reason)
{
    // Made once per change to the default: a texture stays drawable, and the
    // log holds one line per failure, not one per poll.
    loaded_ = false;
    lastWriteTime_ = boost::none;
    if (defaultImage_)
        return;
    DEBUG_LOG(Warning, "Texture \"" + path_.string() + "\" can't be loaded (" +
                           reason.toStdString() + "); a checkerboard is shown instead");
    upload(createDefaultImage().mirrored());
    defaultImage_ = true;
}

void Texture::upload(const QImage& image)
{
    if (!context_ || !texture_ || !context_->makeCurrent())
        return;
    texture_->destroy();
    texture_->setData(image, QOpenGLTexture::DontGenerateMipMaps);
    texture_->setMinificationFilter(QOpenGLTexture::Linear);
    texture_->setMagnificationFilter(QOpenGLTexture::Linear);
}

}  // namespace Preview
}  // namespace Ple
