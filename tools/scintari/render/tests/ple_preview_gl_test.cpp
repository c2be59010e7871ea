// Draws with the preview's materials, meshes and textures into an offscreen
// frame buffer and checks sampled pixels.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include <QColor>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_layout_editor/preview/ple_preview_materials.h"
#include "particle_layout_editor/preview/ple_preview_offscreen_renderer.h"
#include "particle_layout_editor/preview/ple_preview_particle_mesh.h"
#include "particle_layout_editor/preview/ple_preview_texture.h"
#include "particle_layout_editor/preview/ple_preview_texture_rect.h"
#include "particle_system/glm_ext_color.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system.h"

namespace
{

using Ple::Preview::Materials;
using Ple::Preview::OffscreenRenderer;
using Ple::Preview::Renderable;

// One renderer for the whole program: contexts are costly on a software
// renderer. Null when this machine gives no OpenGL context.
OffscreenRenderer* makeRenderer()
{
    try
    {
        return new OffscreenRenderer;
    }
    catch (const Ple::Preview::OffscreenRendererException&)
    {
        return nullptr;
    }
}

std::unique_ptr<OffscreenRenderer>& rendererInstance()
{
    static std::unique_ptr<OffscreenRenderer> instance;
    static bool tried = false;
    if (!tried)
    {
        tried = true;
        instance.reset(makeRenderer());
    }
    return instance;
}

OffscreenRenderer* rendererOrNull() { return rendererInstance().get(); }

// The renderer's context must go before the application does.
class RendererEnvironment : public ::testing::Environment
{
public:
    void TearDown() override { rendererInstance().reset(); }
};
const auto* const environment = ::testing::AddGlobalTestEnvironment(new RendererEnvironment);

OffscreenRenderer& renderer() { return *rendererOrNull(); }

// Every test that draws starts with this.
#define REQUIRE_GL()                                                                               \
    if (!rendererOrNull())                                                                         \
    GTEST_SKIP() << "no OpenGL context on this display"

// A quad mesh whose quads are written by hand, drawn as one render call per
// quad with the material and texture given for it.
class QuadsRenderable final : public Renderable
{
public:
    struct Quad
    {
        glm::vec2 low;
        glm::vec2 high;
        glm::vec4 color;
        unsigned material;
        Ple::Preview::Texture* texture;
    };

    explicit QuadsRenderable(std::vector<Quad> quads)
        : quads_(std::move(quads)),
          factory_(static_cast<Ps::uint32>(quads_.size()), true, true),
          pool_(factory_.getInstancePoolSizeWithObject()),
          mesh_(factory_.create(pool_.data()))
    {
        for (const Quad& q : quads_)
        {
            const glm::vec3 corners[4] = {
                glm::vec3(q.low.x, q.low.y, 0), glm::vec3(q.low.x, q.high.y, 0),
                glm::vec3(q.high.x, q.high.y, 0), glm::vec3(q.high.x, q.low.y, 0)};
            const glm::vec2 uv[4] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
            const std::uint32_t color = GlmExt::u32_rgba_cast(q.color);
            for (int k = 0; k < 4; ++k)
            {
                std::uint8_t* v = mesh_->getVertex(mesh_->getNumVertices() + k);
                std::memcpy(v, &corners[k], 12);
                const glm::vec3 normal(0, 0, 1);
                std::memcpy(v + mesh_->getNormalOffset(), &normal, 12);
                std::memcpy(v + mesh_->getColorOffset(), &color, 4);
                std::memcpy(v + mesh_->getTexChannelsOffset(), &uv[k], 8);
            }
            mesh_->setNumVertices(mesh_->getNumVertices() + 4);
            mesh_->setNumIndices(mesh_->getNumIndices() + 6);
        }
        glMesh_.reset(new Ple::Preview::ParticleMesh(*mesh_));
    }

    glm::vec3 getPosition() const override { return glm::vec3(0); }
    void setPosition(const glm::vec3&) override {}
    void render(const RenderData& data) override
    {
        glMesh_->updateFromMesh();
        for (size_t i = 0; i < quads_.size(); ++i)
        {
            quads_[i].texture->bind(0);
            const Materials::BaseParticles& material =
                data.materials->particleMaterial(quads_[i].material);
            material.begin(data, glm::mat4(1.0f));
            glMesh_->render(static_cast<unsigned>(2 * i), 2, material.getPositionAttribute(),
                            material.getColorAttribute(), material.getTexCoordAttribute());
            material.end();
        }
    }

private:
    std::vector<Quad> quads_;
    Ps::MeshFactoryQuads factory_;
    std::vector<std::uint8_t> pool_;
    Ps::Mesh* mesh_;
    std::unique_ptr<Ple::Preview::ParticleMesh> glMesh_;
};

// A texture file of one colour in a temporary folder.
std::shared_ptr<Ple::Preview::Texture> solidTexture(const QTemporaryDir& dir, const char* name,
                                                    QRgb argb)
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(QColor::fromRgba(argb));
    const QString path = dir.filePath(name);
    EXPECT_TRUE(image.save(path, "PNG"));
    auto texture =
        std::make_shared<Ple::Preview::Texture>(path.toStdString(), renderer().getContext());
    EXPECT_FALSE(texture->isDefaultImage());
    return texture;
}

// Pixel of the image at world position (x, y) for a 64 x 64 view of scale 1 centred at 0.
QColor pixelAt(const QImage& image, float x, float y)
{
    const int px = static_cast<int>(std::floor(x + 0.5f * image.width()));
    const int py = static_cast<int>(std::floor(0.5f * image.height() - y));
    return QColor::fromRgba(image.pixel(px, py));
}

void expectColorNear(int r, int g, int b, const QColor& c, int tolerance = 3)
{
    EXPECT_NEAR(r, c.red(), tolerance);
    EXPECT_NEAR(g, c.green(), tolerance);
    EXPECT_NEAR(b, c.blue(), tolerance);
}

OffscreenRenderer::View smallView()
{
    OffscreenRenderer::View view;
    view.width = 64;
    view.height = 64;
    view.background = 0x336699;  // (51, 102, 153)
    return view;
}

TEST(PleMaterialsGl, ProgramsBuildOnThisContext)
{
    REQUIRE_GL();
    const std::string description = renderer().describeContext();
    EXPECT_FALSE(description.empty());
    EXPECT_GT(renderer().getMaterials().normal().getProgram(), 0u);
    EXPECT_GE(renderer().getMaterials().pointsDebug().getPositionAttribute(), 0);
}

TEST(PleMaterialsGl, UnknownMaterialStopsAtTheAssertion)
{
    REQUIRE_GL();
    EXPECT_EQ(&renderer().getMaterials().normal(), &renderer().getMaterials().particleMaterial(0));
    EXPECT_EQ(&renderer().getMaterials().add(), &renderer().getMaterials().particleMaterial(1));
    EXPECT_EQ(&renderer().getMaterials().multiply(),
              &renderer().getMaterials().particleMaterial(2));
    EXPECT_THROW(renderer().getMaterials().particleMaterial(3), Debug::CheckException);
}

TEST(PleMaterialsGl, EmptySceneShowsTheBackground)
{
    REQUIRE_GL();
    const QImage image = renderer().render(smallView(), {});
    ASSERT_EQ(64, image.width());
    expectColorNear(51, 102, 153, QColor::fromRgba(image.pixel(0, 0)), 1);
    expectColorNear(51, 102, 153, QColor::fromRgba(image.pixel(63, 63)), 1);
}

TEST(PleMaterialsGl, NormalAddAndMultiplyBlendOverTheBackground)
{
    REQUIRE_GL();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    renderer().makeCurrent();
    auto white = solidTexture(dir, "white.png", 0xFFFFFFFF);
    renderer().makeCurrent();
    QuadsRenderable quads({
        // Normal: half-transparent red over the background.
        {{-30, 10}, {-10, 30}, {1.0f, 0.0f, 0.0f, 0.5f}, Ps::MAT_Normal, white.get()},
        // Add: half of red added.
        {{10, 10}, {30, 30}, {1.0f, 0.0f, 0.0f, 0.5f}, Ps::MAT_Add, white.get()},
        // Multiply: the background times (0.5, 1, 0.5).
        {{-30, -30}, {-10, -10}, {0.5f, 1.0f, 0.5f, 1.0f}, Ps::MAT_Multiply, white.get()},
        // Multiply with alpha 0 writes white, which leaves the background alone.
        {{10, -30}, {30, -10}, {0.0f, 0.0f, 0.0f, 0.0f}, Ps::MAT_Multiply, white.get()},
    });
    const QImage image = renderer().render(smallView(), {&quads});

    // 0.5 * 255 truncates to 127 in the vertex colour.
    const float a = 127.0f / 255.0f;
    expectColorNear(static_cast<int>(a * 255 + (1 - a) * 51 + 0.5f),
                    static_cast<int>((1 - a) * 102 + 0.5f), static_cast<int>((1 - a) * 153 + 0.5f),
                    pixelAt(image, -20, 20));
    expectColorNear(static_cast<int>(51 + a * 255 + 0.5f), 102, 153, pixelAt(image, 20, 20));
    expectColorNear(static_cast<int>(51 * a + 0.5f), 102, static_cast<int>(153 * a + 0.5f),
                    pixelAt(image, -20, -20));
    expectColorNear(51, 102, 153, pixelAt(image, 20, -20));
    // Outside the quads: the background.
    expectColorNear(51, 102, 153, pixelAt(image, 0, 0), 1);
}

TEST(PleMaterialsGl, TextureColourMultipliesTheVertexColour)
{
    REQUIRE_GL();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    renderer().makeCurrent();
    auto green = solidTexture(dir, "green.png", 0xFF00FF00);
    renderer().makeCurrent();
    QuadsRenderable quads(
        {{{-20, -20}, {20, 20}, {1.0f, 1.0f, 1.0f, 1.0f}, Ps::MAT_Normal, green.get()}});
    const QImage image = renderer().render(smallView(), {&quads});
    expectColorNear(0, 255, 0, pixelAt(image, 0, 0));
}

TEST(PleTextureGl, MissingFileDrawsTheCheckerboardAndRecovers)
{
    REQUIRE_GL();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("late.png");
    renderer().makeCurrent();
    auto texture =
        std::make_shared<Ple::Preview::Texture>(path.toStdString(), renderer().getContext());
    EXPECT_TRUE(texture->isDefaultImage());
    EXPECT_EQ(Ple::Preview::Texture::kDefaultImageSize, texture->getWidth());
    // Polling a file that is still missing changes nothing and stops nothing.
    texture->updateFromFile();
    EXPECT_TRUE(texture->isDefaultImage());

    renderer().makeCurrent();
    QuadsRenderable quads({{{-32, -32}, {32, 32}, {1, 1, 1, 1}, Ps::MAT_Normal, texture.get()}});
    OffscreenRenderer::View view = smallView();
    view.background = 0x000000;
    QImage image = renderer().render(view, {&quads});
    // Cells of 16 texels over 64 pixels: opaque red next to half-white.
    const QColor a = QColor::fromRgba(image.pixel(8, 8));
    const QColor b = QColor::fromRgba(image.pixel(24, 8));
    const QColor& red = a.green() < 10 ? a : b;
    const QColor& grey = a.green() < 10 ? b : a;
    expectColorNear(255, 0, 0, red);
    expectColorNear(128, 128, 128, grey, 4);

    // The file appears: the next poll loads it.
    QImage blue(4, 4, QImage::Format_ARGB32);
    blue.fill(QColor(0, 0, 255));
    ASSERT_TRUE(blue.save(path, "PNG"));
    texture->updateFromFile();
    EXPECT_FALSE(texture->isDefaultImage());
    EXPECT_EQ(4, texture->getWidth());
    renderer().makeCurrent();
    image = renderer().render(view, {&quads});
    expectColorNear(0, 0, 255, QColor::fromRgba(image.pixel(32, 32)));

    // And goes again: back to the checkerboard.
    ASSERT_TRUE(QFile::remove(path));
    texture->updateFromFile();
    EXPECT_TRUE(texture->isDefaultImage());
}

TEST(PleTextureGl, UnreadableFileDrawsTheCheckerboard)
{
    REQUIRE_GL();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("broken.png");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not an image at all");
    file.close();
    renderer().makeCurrent();
    Ple::Preview::Texture texture(path.toStdString(), renderer().getContext());
    EXPECT_TRUE(texture.isDefaultImage());
    EXPECT_FALSE(texture.isLoaded());
}

TEST(PleTextureGl, DefaultImageIsARedAndWhiteCheckerboard)
{
    const QImage image = Ple::Preview::Texture::createDefaultImage();
    ASSERT_EQ(64, image.width());
    ASSERT_EQ(64, image.height());
    EXPECT_EQ(QImage::Format_ARGB32, image.format());
    EXPECT_EQ(0xFFFF0000u, image.pixel(0, 0));
    EXPECT_EQ(0x80FFFFFFu, image.pixel(16, 0));
    EXPECT_EQ(0x80FFFFFFu, image.pixel(0, 16));
    EXPECT_EQ(0xFFFF0000u, image.pixel(17, 17));
    EXPECT_EQ(0xFFFF0000u, image.pixel(63, 63));
}

TEST(PleTextureRectGl, PictureCoversItsRectangle)
{
    REQUIRE_GL();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    renderer().makeCurrent();
    auto yellow = solidTexture(dir, "yellow.png", 0xFFFFFF00);
    renderer().makeCurrent();
    Ple::Preview::TextureRect rect(yellow, glm::vec2(20, 10), glm::vec3(10, 0, 0));
    const QImage image = renderer().render(smallView(), {&rect});
    expectColorNear(255, 255, 0, pixelAt(image, 10, 0));
    expectColorNear(255, 255, 0, pixelAt(image, 1, 4));
    expectColorNear(51, 102, 153, pixelAt(image, -2, 0), 1);
    expectColorNear(51, 102, 153, pixelAt(image, 10, 7), 1);
}

}  // namespace
