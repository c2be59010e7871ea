#include "render_effect.h"

#include <iostream>
#include <memory>
#include <vector>

#include <QImage>
#include <QString>

#include <boost/filesystem/path.hpp>
#include <glm/gtc/quaternion.hpp>

#include "particle_layout_editor/preview/ple_preview_materials.h"
#include "particle_layout_editor/preview/ple_preview_offscreen_renderer.h"
#include "particle_layout_editor/preview/ple_preview_particles.h"
#include "particle_layout_editor/preview/ple_preview_texture.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace ScintariRender
{

namespace
{

constexpr int kExitRefused = 2;
constexpr int kExitNoGraphics = 3;

}  // namespace

int renderEffect(const Options& options, std::ostream& out, std::ostream& err)
{
    std::vector<std::uint8_t> bytes;
    std::string why;
    // An effect file is compiled in memory; what keeps an emitter from compiling is told
    // on the error stream and the rest is drawn.
    if (!Scintari::readPlayableEffect(options.input, bytes, why, err))
    {
        err << "error: " << why << "\n";
        return kExitRefused;
    }

    Ps::MemManagedContext context;
    const std::shared_ptr<Ps::MemManagedSystemShell> shell =
        Scintari::loadEffect(bytes, context.get(), why);
    if (!shell)
    {
        err << "error: " << options.input << ": " << why << "\n";
        return kExitRefused;
    }

    std::unique_ptr<Ple::Preview::OffscreenRenderer> renderer;
    try
    {
        renderer.reset(new Ple::Preview::OffscreenRenderer);
    }
    catch (const std::exception& e)
    {
        err << "error: no OpenGL: " << e.what() << "\n";
        return kExitNoGraphics;
    }

    // Texture names are paths within the textures folder.
    const boost::filesystem::path texturesDir =
        options.texturesDir.empty() ? boost::filesystem::path(options.input).parent_path()
                                    : boost::filesystem::path(options.texturesDir);
    const Ps::System& system = shell->getSystem();
    std::vector<std::shared_ptr<Ple::Preview::Texture>> textures;
    for (Ps::uint32 i = 0; i < system.getNumTextures(); ++i)
    {
        const std::string name = system.getTexture(i);
        const boost::filesystem::path path = texturesDir / name;
        auto texture = std::make_shared<Ple::Preview::Texture>(path, renderer->getContext());
        if (texture->isDefaultImage())
            err << "warning: texture " << name << " can't be loaded from " << path.string()
                << "; drawn as a checkerboard\n";
        textures.push_back(std::move(texture));
    }

    Ple::Preview::OffscreenRenderer::View view;
    view.width = options.width;
    view.height = options.height;
    view.scale = options.scale;
    view.background = options.background;
    if (options.customCamera)
    {
        view.cameraDir = options.cameraDir;
        view.cameraUp = options.cameraUp;
        view.cameraRight = options.cameraRight;
    }

    try
    {
        renderer->makeCurrent();
        Ple::Preview::Particles particles(shell, textures, glm::vec3(0.0f),
                                          glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
        particles.update(options.time);
        for (int frame = 0; frame < options.frames; ++frame)
        {
            if (frame > 0)
                particles.update(options.every);
            const QImage image = renderer->render(view, {&particles});
            const std::string file = frameFileName(options.out, frame, options.frames);
            if (!image.save(QString::fromStdString(file), "PNG"))
            {
                err << "error: can't write " << file << "\n";
                return kExitNoGraphics;
            }
            const Ps::SystemInst& inst = particles.systemInst();
            out << "frame " << frame << " time " << inst.getTime() << " calls "
                << inst.getNumRenderCalls() << " triangles " << inst.getStats().numPolygons
                << " file " << file << "\n";
        }
    }
    catch (const Ple::Preview::OffscreenRendererException& e)
    {
        err << "error: no OpenGL: " << e.what() << "\n";
        return kExitNoGraphics;
    }
    catch (const std::exception& e)
    {
        // A broken check, or a refusal of the runtime that explains itself.
        err << "error: " << options.input << ": " << Scintari::describeFailure(e)
            << " (while it was running)\n";
        return kExitRefused;
    }
    return 0;
}

}  // namespace ScintariRender
