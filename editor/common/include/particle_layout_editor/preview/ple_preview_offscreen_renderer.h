#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

class QImage;

namespace QtExt
{
class OffscreenContext;
}

namespace Ple
{
namespace Preview
{

class Materials;
class Renderable;

// The GL context could not be made or made current.
class OffscreenRendererException : public std::runtime_error
{
public:
    explicit OffscreenRendererException(const std::string& text) : std::runtime_error(text) {}
};

// Draws renderables into an image without a window: an offscreen context that
// shares with the program's contexts, the preview's materials and a frame
// buffer object. Needs a QGuiApplication (made with shared GL contexts).
class OffscreenRenderer
{
public:
    // How the scene is seen: an orthographic view of width x height pixels,
    // `scale` world units per pixel, centred on `center`, looking along
    // `cameraDir` with `cameraUp` and `cameraRight` as the image's up and right.
    struct View
    {
        int width = 256;
        int height = 256;
        float scale = 1.0f;
        glm::vec3 center{0.0f};
        glm::vec3 cameraDir{0.0f, 0.0f, -1.0f};
        glm::vec3 cameraUp{0.0f, 1.0f, 0.0f};
        glm::vec3 cameraRight{1.0f, 0.0f, 0.0f};
        // Background colour 0xRRGGBB, drawn opaque.
        std::uint32_t background = 0x000000;
        bool yFlipped = false;
    };

    // Throws OffscreenRendererException without a usable context and
    // MaterialException when the shaders can't be built.
    OffscreenRenderer();
    ~OffscreenRenderer();
    OffscreenRenderer(const OffscreenRenderer&) = delete;
    OffscreenRenderer& operator=(const OffscreenRenderer&) = delete;

    QtExt::OffscreenContext& getContext() const { return *context_; }
    const Materials& getMaterials() const { return *materials_; }
    // Makes the offscreen context current (textures switch to it while loading).
    void makeCurrent();

    // The matrices of a view: an orthographic projection that cuts no depth,
    // and a view matrix whose inverse has the columns right, up and -dir.
    static void createMatrices(const View& view, glm::mat4& projection, glm::mat4& viewMatrix);

    // Clears to the background, draws each renderable in order (then their
    // debug drawings if asked) and reads the image back, top row first.
    QImage render(const View& view, const std::vector<Renderable*>& renderables,
                  bool withDebug = false);

    // The GL_VERSION and GL_RENDERER strings of the context.
    std::string describeContext();

private:
    std::unique_ptr<QtExt::OffscreenContext> context_;
    std::unique_ptr<Materials> materials_;
};

}  // namespace Preview
}  // namespace Ple
