#include "qt_ext/qt_ext_offscreen_context.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>

#include "debug/debug_check.h"

namespace QtExt
{

OffscreenContext::OffscreenContext(QObject* parent)
    : QObject(parent), surface_(new QOffscreenSurface), context_(new QOpenGLContext)
{
    QOpenGLContext* share = QOpenGLContext::globalShareContext();
    if (share)
    {
        context_->setShareContext(share);
        context_->setFormat(share->format());
        surface_->setFormat(share->format());
    }
    surface_->create();
    DEBUG_VERIFY(surface_->isValid());
    DEBUG_VERIFY(context_->create());
}

OffscreenContext::~OffscreenContext()
{
    // Objects made in this context listen to destroyed() and release their GL
    // names. QObject emits it only after the members are gone, so it is emitted
    // here once more while the context still exists and is current; listeners
    // must bear a second call.
    const bool current = isValid() && context_->makeCurrent(surface_.get());
    emit destroyed(this);
    if (current)
        context_->doneCurrent();
}

bool OffscreenContext::isValid() const { return context_->isValid() && surface_->isValid(); }

bool OffscreenContext::makeCurrent() { return DEBUG_VERIFY(context_->makeCurrent(surface_.get())); }

void OffscreenContext::doneCurrent() { context_->doneCurrent(); }

}  // namespace QtExt
