#pragma once

#include <memory>

#include <QObject>

class QOffscreenSurface;
class QOpenGLContext;

namespace QtExt
{

// A GL context on an offscreen surface that shares its objects with
// QOpenGLContext::globalShareContext(). Textures and buffers can be made in it
// outside any paint and used by every view of the program. A failure to create
// or make current is logged and the program goes on without it.
class OffscreenContext : public QObject
{
public:
    explicit OffscreenContext(QObject* parent = nullptr);
    ~OffscreenContext() override;

    // Makes the context current on its surface; false (logged) when it can't.
    bool makeCurrent();
    void doneCurrent();

    bool isValid() const;
    QOpenGLContext* context() const { return context_.get(); }
    QOffscreenSurface* surface() const { return surface_.get(); }

private:
    std::unique_ptr<QOffscreenSurface> surface_;
    std::unique_ptr<QOpenGLContext> context_;
};

}  // namespace QtExt
