#include "particle_layout_editor/preview/ple_preview_texture_rect.h"

#include <cstdint>
#include <cstring>

#include <QOpenGLBuffer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <glm/mat4x4.hpp>

#include "debug/debug_check.h"
#include "particle_layout_editor/preview/ple_preview_materials.h"
#include "particle_layout_editor/preview/ple_preview_texture.h"

namespace Ple
{
namespace Preview
{

namespace
{

struct RectVertex
{
    float x, y, z;
    std::uint32_t color;
    float u, v;
};
static_assert(sizeof(RectVertex) == TextureRect::kVertexSize, "a picture vertex is 24 bytes");

}  // namespace

TextureRect::TextureRect(std::shared_ptr<Texture> texture, const glm::vec2& size,
                         const glm::vec3& position)
    : texture_(std::move(texture)), size_(size), position_(position)
{
}

TextureRect::~TextureRect() = default;

void TextureRect::setPosition(const glm::vec3& position)
{
    position_ = position;
    verticesOutOfDate_ = true;
}

void TextureRect::setSize(const glm::vec2& size)
{
    size_ = size;
    verticesOutOfDate_ = true;
}

void TextureRect::setTexture(std::shared_ptr<Texture> texture) { texture_ = std::move(texture); }

void TextureRect::render(const RenderData& renderData)
{
    if (!texture_ || !renderData.materials)
        return;
    QOpenGLContext* context = QOpenGLContext::currentContext();
    DEBUG_ASSERT(context);
    QOpenGLFunctions& f = *context->functions();

    if (!vertexBuffer_)
    {
        vertexBuffer_.reset(new QOpenGLBuffer(QOpenGLBuffer::VertexBuffer));
        DEBUG_VERIFY(vertexBuffer_->create());
        vertexBuffer_->setUsagePattern(QOpenGLBuffer::DynamicDraw);
        vertexBuffer_->bind();
        vertexBuffer_->allocate(6 * kVertexSize);
        vertexBuffer_->release();
        verticesOutOfDate_ = true;
    }
    if (verticesOutOfDate_ || builtForFlippedY_ != renderData.yFlipped)
    {
        const float lowX = position_.x - 0.5f * size_.x;
        const float highX = position_.x + 0.5f * size_.x;
        const float lowY = position_.y - 0.5f * size_.y;
        const float highY = position_.y + 0.5f * size_.y;
        // v is 1 at the high y, 0 at the low y; the other way round with y flipped.
        const float vHigh = renderData.yFlipped ? 0.0f : 1.0f;
        const float vLow = 1.0f - vHigh;
        const RectVertex vertices[6] = {
            {lowX, highY, 0.0f, 0xFFFFFFFFu, 0.0f, vHigh},
            {lowX, lowY, 0.0f, 0xFFFFFFFFu, 0.0f, vLow},
            {highX, highY, 0.0f, 0xFFFFFFFFu, 1.0f, vHigh},
            {highX, highY, 0.0f, 0xFFFFFFFFu, 1.0f, vHigh},
            {lowX, lowY, 0.0f, 0xFFFFFFFFu, 0.0f, vLow},
            {highX, lowY, 0.0f, 0xFFFFFFFFu, 1.0f, vLow},
        };
        vertexBuffer_->bind();
        vertexBuffer_->write(0, vertices, sizeof(vertices));
        vertexBuffer_->release();
        verticesOutOfDate_ = false;
        builtForFlippedY_ = renderData.yFlipped;
    }

    f.glEnable(GL_TEXTURE_2D);
    texture_->bind(0);
    f.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    f.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);

    const Materials::Normal& material = renderData.materials->normal();
    material.begin(renderData, glm::mat4(1.0f));
    vertexBuffer_->bind();
    f.glVertexAttribPointer(static_cast<GLuint>(material.getPositionAttribute()), 3, GL_FLOAT,
                            GL_FALSE, kVertexSize, reinterpret_cast<const void*>(0));
    f.glVertexAttribPointer(static_cast<GLuint>(material.getColorAttribute()), 4, GL_UNSIGNED_BYTE,
                            GL_TRUE, kVertexSize, reinterpret_cast<const void*>(12));
    f.glVertexAttribPointer(static_cast<GLuint>(material.getTexCoordAttribute()), 2, GL_FLOAT,
                            GL_FALSE, kVertexSize, reinterpret_cast<const void*>(16));
    f.glDrawArrays(GL_TRIANGLES, 0, 6);
    vertexBuffer_->release();
    material.end();
}

}  // namespace Preview
}  // namespace Ple
