#pragma once

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace Ple
{
namespace Preview
{

class Materials;

// Something the preview view can draw: an effect or a picture.
class Renderable
{
public:
    // What one paint of the view hands to every renderable.
    struct RenderData
    {
        const Materials* materials = nullptr;
        glm::mat4 projection{1.0f};
        glm::mat4 view{1.0f};
        bool yFlipped = false;
        float viewScale = 1.0f;
        float viewWidth = 0.0f;
        float viewHeight = 0.0f;
    };

    Renderable() = default;
    Renderable(const Renderable&) = delete;
    Renderable& operator=(const Renderable&) = delete;
    virtual ~Renderable() = default;

    virtual glm::vec3 getPosition() const = 0;
    virtual void setPosition(const glm::vec3& position) = 0;
    virtual void render(const RenderData& renderData) = 0;
    // Drawn after all objects of the scene; nothing by default.
    virtual void renderDebug(const RenderData& renderData) {}
};

}  // namespace Preview
}  // namespace Ple
