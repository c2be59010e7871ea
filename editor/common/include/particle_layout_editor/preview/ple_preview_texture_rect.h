#pragma once

#include <memory>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_editor/preview/ple_preview_renderable.h"

class QOpenGLBuffer;

namespace Ple
{
namespace Preview
{

class Texture;

// A picture of the scene: a textured rectangle around its position.
class TextureRect : public Renderable
{
public:
    // Per vertex: position (3 floats), colour (4 bytes), texture coordinates (2 floats).
    static constexpr int kVertexSize = 24;

    TextureRect(std::shared_ptr<Texture> texture, const glm::vec2& size, const glm::vec3& position);
    ~TextureRect() override;

    glm::vec3 getPosition() const override { return position_; }
    void setPosition(const glm::vec3& position) override;
    void setSize(const glm::vec2& size);
    const glm::vec2& getSize() const { return size_; }
    void setTexture(std::shared_ptr<Texture> texture);
    const std::shared_ptr<Texture>& getTexture() const { return texture_; }

    void render(const RenderData& renderData) override;

private:
    std::shared_ptr<Texture> texture_;
    glm::vec2 size_;
    glm::vec3 position_;
    std::unique_ptr<QOpenGLBuffer> vertexBuffer_;
    bool verticesOutOfDate_ = true;
    bool builtForFlippedY_ = false;
};

}  // namespace Preview
}  // namespace Ple
