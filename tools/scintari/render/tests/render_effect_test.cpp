// The whole road of `scintari render`: a compiled effect is loaded, run and
// drawn offscreen into PNG files.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include <QColor>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system.h"
#include "test_support/ps_constructor_test_writer.h"
#include "test_support/ps_test_effect_writer.h"
#include "render_effect.h"
#include "render_options.h"

namespace
{

// Three emitters, one quad each, 12 units wide, placed by a position updater:
// Normal at (-16, 16), Add at (16, 16), Multiply at (0, -16).
std::vector<uint8_t> threeMaterials(const std::string& textureName)
{
    PsTest::EffectWriter effect;
    effect.fps(30.0f).fixedSeed(3);
    effect.material(Ps::MAT_Normal).material(Ps::MAT_Add).material(Ps::MAT_Multiply);
    effect.texture(textureName);
    effect.renderStyle(0, {0});
    effect.renderStyle(1, {0});
    effect.renderStyle(2, {0});
    effect.mesh(3, Ps::MF_Quads, true, true);
    effect.renderCalls(3);
    const glm::vec3 places[3] = {{-16, 16, 0}, {16, 16, 0}, {0, -16, 0}};
    const glm::vec3 colors[3] = {{1, 0, 0}, {1, 0, 0}, {0.5f, 1, 0.5f}};
    const float alphas[3] = {0.5f, 0.5f, 1.0f};
    for (uint8_t i = 0; i < 3; ++i)
    {
        PsTest::EmitterWriter& emitter = effect.emitter();
        emitter.generatorPeriodic(PsTest::Ext(1.0f), 1.0f, 1, std::nullopt, 1u);
        const uint8_t place = emitter.parameterPositionUpdater(PsTest::Ext(places[i]));
        PsTest::QuadsFields fields;
        fields.size = PsTest::Ext(12.0f);
        fields.color = PsTest::Ext(colors[i]);
        fields.alpha = PsTest::Ext(alphas[i]);
        fields.style = i;
        PsTest::constructorQuads(emitter, fields);
        emitter.updateChain({place}).maxParticles(1);
    }
    return effect.bytes();
}

void writeFile(const QString& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path.toStdString(), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

QColor pixelAt(const QImage& image, float x, float y)
{
    return QColor::fromRgba(image.pixel(static_cast<int>(x + 0.5f * image.width()),
                                        static_cast<int>(0.5f * image.height() - y)));
}

void expectColorNear(int r, int g, int b, const QColor& c, int tolerance = 3)
{
    EXPECT_NEAR(r, c.red(), tolerance);
    EXPECT_NEAR(g, c.green(), tolerance);
    EXPECT_NEAR(b, c.blue(), tolerance);
}

struct Rendered
{
    int code = -1;
    std::string out;
    std::string err;
};

Rendered render(const ScintariRender::Options& options)
{
    std::ostringstream out, err;
    Rendered r;
    r.code = ScintariRender::renderEffect(options, out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
}

TEST(ScintariRender, DrawsEachMaterialOverTheBackground)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QImage white(4, 4, QImage::Format_ARGB32);
    white.fill(Qt::white);
    ASSERT_TRUE(white.save(dir.filePath("white.png")));
    writeFile(dir.filePath("effect.bin"), threeMaterials("white.png"));

    ScintariRender::Options options;
    options.input = dir.filePath("effect.bin").toStdString();
    options.out = dir.filePath("frame.png").toStdString();
    options.time = 0.5f;
    options.width = 64;
    options.height = 64;
    options.background = 0x336699;
    const Rendered r = render(options);
    if (r.code == 3)
        GTEST_SKIP() << "no OpenGL here: " << r.err;
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    EXPECT_EQ(0u, r.out.find("frame 0 time ")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find(" calls 3 triangles 6 file ")) << r.out;

    const QImage image(dir.filePath("frame.png"));
    ASSERT_FALSE(image.isNull());
    ASSERT_EQ(64, image.width());
    const float a = 127.0f / 255.0f;
    expectColorNear(static_cast<int>(a * 255 + (1 - a) * 51 + 0.5f),
                    static_cast<int>((1 - a) * 102 + 0.5f), static_cast<int>((1 - a) * 153 + 0.5f),
                    pixelAt(image, -16, 16));
    expectColorNear(static_cast<int>(51 + a * 255 + 0.5f), 102, 153, pixelAt(image, 16, 16));
    expectColorNear(static_cast<int>(51 * a + 0.5f), 102, static_cast<int>(153 * a + 0.5f),
                    pixelAt(image, 0, -16));
    expectColorNear(51, 102, 153, pixelAt(image, 0, 0), 1);
    EXPECT_EQ(255, QColor::fromRgba(image.pixel(0, 0)).alpha());
}

TEST(ScintariRender, MissingTextureDrawsTheCheckerboardWithOneWarning)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    writeFile(dir.filePath("effect.bin"), threeMaterials("nowhere/missing.png"));
    ScintariRender::Options options;
    options.input = dir.filePath("effect.bin").toStdString();
    options.out = dir.filePath("frame.png").toStdString();
    options.width = 64;
    options.height = 64;
    const Rendered r = render(options);
    if (r.code == 3)
        GTEST_SKIP() << "no OpenGL here: " << r.err;
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("warning: texture nowhere/missing.png can't be loaded from " +
                  dir.filePath("nowhere/missing.png").toStdString() + "; drawn as a checkerboard\n",
              r.err);
    const QImage image(dir.filePath("frame.png"));
    ASSERT_FALSE(image.isNull());
    // Something of the Normal quad was drawn over the black background.
    const QColor c = pixelAt(image, -16, 16);
    EXPECT_GT(c.red() + c.green() + c.blue(), 30);
}

TEST(ScintariRender, SequenceWritesNumberedFiles)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    writeFile(dir.filePath("effect.bin"), threeMaterials("white.png"));
    ScintariRender::Options options;
    options.input = dir.filePath("effect.bin").toStdString();
    options.out = dir.filePath("f%03d.png").toStdString();
    options.width = 16;
    options.height = 16;
    options.frames = 3;
    options.every = 0.1f;
    const Rendered r = render(options);
    if (r.code == 3)
        GTEST_SKIP() << "no OpenGL here: " << r.err;
    ASSERT_EQ(0, r.code) << r.err;
    for (const char* name : {"f000.png", "f001.png", "f002.png"})
        EXPECT_TRUE(QFileInfo::exists(dir.filePath(name))) << name;
    EXPECT_NE(std::string::npos, r.out.find("frame 2 time ")) << r.out;
}

TEST(ScintariRender, BrokenEffectIsRefused)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    std::vector<uint8_t> bytes = threeMaterials("white.png");
    bytes.resize(bytes.size() / 2);
    writeFile(dir.filePath("cut.bin"), bytes);
    ScintariRender::Options options;
    options.input = dir.filePath("cut.bin").toStdString();
    options.out = dir.filePath("frame.png").toStdString();
    const Rendered r = render(options);
    EXPECT_EQ(2, r.code);
    EXPECT_EQ(0u, r.err.find("error: ")) << r.err;
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("frame.png")));

    options.input = dir.filePath("absent.bin").toStdString();
    EXPECT_EQ(2, render(options).code);
}

TEST(ScintariRenderOptions, ParsesAndRefuses)
{
    ScintariRender::Options o;
    std::string why;
    ASSERT_TRUE(ScintariRender::parseOptions({"e.bin",   "--out",
                                              "x.png",   "--time",
                                              "2.5",     "--size",
                                              "320x200", "--camera",
                                              "1",       "0",
                                              "0",       "0",
                                              "0",       "1",
                                              "0",       "-1",
                                              "0",       "--frames",
                                              "4",       "--every",
                                              "0.5",     "--background",
                                              "FF8000",  "--scale",
                                              "2"},
                                             o, why))
        << why;
    EXPECT_EQ("e.bin", o.input);
    EXPECT_FLOAT_EQ(2.5f, o.time);
    EXPECT_EQ(320, o.width);
    EXPECT_EQ(200, o.height);
    EXPECT_TRUE(o.customCamera);
    EXPECT_FLOAT_EQ(-1.0f, o.cameraRight.y);
    EXPECT_EQ(4, o.frames);
    EXPECT_EQ(0xFF8000u, o.background);
    EXPECT_FLOAT_EQ(2.0f, o.scale);

    for (const std::vector<std::string>& bad : {std::vector<std::string>{"e.bin"},
                                                {"--out", "x.png"},
                                                {"e.bin", "--out", "x.png", "--size", "10"},
                                                {"e.bin", "--out", "x.png", "--time", "-1"},
                                                {"e.bin", "--out", "x.png", "--camera", "1", "2"},
                                                {"e.bin", "--out", "x%s.png"},
                                                {"e.bin", "--out", "x.png", "--frames", "0"},
                                                {"e.bin", "--out", "x.png", "--bogus"},
                                                {"e.bin", "--out", "x.png", "--background", "red"}})
    {
        ScintariRender::Options options;
        EXPECT_FALSE(ScintariRender::parseOptions(bad, options, why));
        EXPECT_FALSE(why.empty());
    }
}

TEST(ScintariRenderOptions, FrameFileNames)
{
    EXPECT_EQ("a/f.png", ScintariRender::frameFileName("a/f.png", 0, 1));
    EXPECT_EQ("a/f_0007.png", ScintariRender::frameFileName("a/f.png", 7, 10));
    EXPECT_EQ("a.b/f_0002", ScintariRender::frameFileName("a.b/f", 2, 3));
    EXPECT_EQ("f012.png", ScintariRender::frameFileName("f%03d.png", 12, 20));
    EXPECT_EQ("f5.png", ScintariRender::frameFileName("f%d.png", 5, 20));
}

}  // namespace
