#include "particle_layout_editor/preview/ple_preview_offscreen_renderer.h"

#include <QImage>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "particle_layout_editor/preview/ple_preview_materials.h"
#include "particle_layout_editor/preview/ple_preview_renderable.h"
#include "qt_ext/qt_ext_offscreen_context.h"

namespace Ple
{
namespace Preview
{

namespace
{

// Depth range of the orthographic view: wide enough that no z is cut.
constexpr float kOrthoNear = 3.4028235e33f;
constexpr float kOrthoFar = 3.4028235e36f;
constexpr float kOrthoEyeDistance = 1.7014116e36f;

}  // namespace

OffscreenRenderer::OffscreenRenderer() : context_(new QtExt::OffscreenContext)
{
    if (!context_->isValid() || !context_->makeCurrent())
        throw OffscreenRendererException("Can't create an OpenGL context");
    materials_.reset(new Materials);
}

OffscreenRenderer::~OffscreenRenderer()
{
    if (context_->isValid())
        context_->makeCurrent();
    materials_.reset();
}

void OffscreenRenderer::makeCurrent()
{
    if (!context_->makeCurrent())
        throw OffscreenRendererException("Can't make the OpenGL context current");
}

void OffscreenRenderer::createMatrices(const View& view, glm::mat4& projection,
                                       glm::mat4& viewMatrix)
{
    const float halfWidth = 0.5f * static_cast<float>(view.width) * view.scale;
    float halfHeight = 0.5f * static_cast<float>(view.height) * view.scale;
    if (view.yFlipped)
        halfHeight = -halfHeight;
    projection = glm::ortho(-halfWidth, halfWidth, -halfHeight, halfHeight, kOrthoNear, kOrthoFar);

    // Rows right, up and -dir, with the eye far behind the centre.
    const glm::vec3 back = -view.cameraDir;
    const glm::vec3 eye = view.center + back * kOrthoEyeDistance;
    viewMatrix = glm::mat4(1.0f);
    for (int c = 0; c < 3; ++c)
    {
        viewMatrix[c][0] = view.cameraRight[c];
        viewMatrix[c][1] = view.cameraUp[c];
        viewMatrix[c][2] = back[c];
    }
    viewMatrix[3][0] = -glm::dot(view.cameraRight, eye);
    viewMatrix[3][1] = -glm::dot(view.cameraUp, eye);
    viewMatrix[3][2] = -glm::dot(back, eye);
}

std::string OffscreenRenderer::describeContext()
{
    makeCurrent();
    QOpenGLFunctions& f = *QOpenGLContext::currentContext()->functions();
    const auto text = [&f](GLenum name)
    {
        const GLubyte* s = f.glGetString(name);
        return s ? std::string(reinterpret_cast<const char*>(s)) : std::string("?");
    };
    return text(GL_VERSION) + " / " + text(GL_RENDERER);
}

QImage OffscreenRenderer::render(const View& view, const std::vector<Renderable*>& renderables,
                                 bool withDebug)
{
    makeCurrent();
    QOpenGLFunctions& f = *QOpenGLContext::currentContext()->functions();

    QOpenGLFramebufferObjectFormat format;
    format.setAttachment(QOpenGLFramebufferObject::NoAttachment);
    QOpenGLFramebufferObject fbo(view.width, view.height, format);
    if (!fbo.isValid() || !fbo.bind())
        throw OffscreenRendererException("Can't create a frame buffer");

    f.glViewport(0, 0, view.width, view.height);
    f.glDisable(GL_DEPTH_TEST);
    f.glDisable(GL_CULL_FACE);
    f.glEnable(GL_BLEND);
    f.glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    f.glClearColor(static_cast<float>((view.background >> 16) & 0xFF) / 255.0f,
                   static_cast<float>((view.background >> 8) & 0xFF) / 255.0f,
                   static_cast<float>(view.background & 0xFF) / 255.0f, 1.0f);
    f.glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    f.glClear(GL_COLOR_BUFFER_BIT);
    // The picture stays opaque: the blending of the particles doesn't touch
    // the background's alpha.
    f.glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_FALSE);

    Renderable::RenderData data;
    data.materials = materials_.get();
    createMatrices(view, data.projection, data.view);
    data.yFlipped = view.yFlipped;
    data.viewScale = view.scale;
    data.viewWidth = static_cast<float>(view.width);
    data.viewHeight = static_cast<float>(view.height);

    for (Renderable* renderable : renderables)
        renderable->render(data);
    if (withDebug)
    {
        for (Renderable* renderable : renderables)
            renderable->renderDebug(data);
    }
    f.glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    f.glFinish();
    QImage image = fbo.toImage();
    fbo.release();
    return image;
}

}  // namespace Preview
}  // namespace Ple
