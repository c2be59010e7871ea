#include "particle_layout_editor/preview/ple_preview_particles.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <glm/mat4x4.hpp>
#include <glm/matrix.hpp>

#include "debug/debug_check.h"
#include "particle_layout_editor/preview/ple_preview_materials.h"
#include "particle_layout_editor/preview/ple_preview_particle_mesh.h"
#include "particle_layout_editor/preview/ple_preview_texture.h"
#include "particle_system/ps_interpolation.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace Ple
{
namespace Preview
{

Particles::Particles(std::shared_ptr<Ps::MemManagedSystemShell> system,
                     std::vector<std::shared_ptr<Texture>> textures, const glm::vec3& position,
                     const glm::quat& rotation)
    : position_(position),
      rotation_(rotation),
      system_(std::move(system)),
      textures_(std::move(textures))
{
    DEBUG_ASSERT(system_);
    resetStats();
    restart();
}

Particles::~Particles() = default;

const Ps::System& Particles::getSystem() const { return system_->getSystem(); }

Ps::SystemInst& Particles::systemInst() const { return inst_->get(); }

void Particles::restart()
{
    meshes_.clear();
    wireframeMesh_.reset();
    positionsMesh_.reset();
    inst_.reset(new Ps::MemManagedSystemInst(system_->getSystem(), position_, rotation_));
    Ps::SystemInst& inst = inst_->get();
    meshes_.reserve(inst.getNumMeshes());
    for (Ps::uint32 i = 0; i < inst.getNumMeshes(); ++i)
        meshes_.emplace_back(new ParticleMesh(inst.getMesh(i)));
    wireframeMesh_.reset(new DebugMesh(inst.getWireframeMesh()));
    positionsMesh_.reset(new DebugMesh(inst.getPositionsMesh()));
}

void Particles::resetStats()
{
    fillingStats_ = Stats();
    fillingStats_.emitters.resize(getSystem().getNumEmitters());
    statsClock_ = 0.0f;
}

void Particles::swapStats()
{
    lastSecondStats_ = std::move(fillingStats_);
    resetStats();
}

void Particles::update(float dt)
{
    Ps::SystemInst& inst = inst_->get();
    const float frameTime = getSystem().getFrameTime();
    const glm::vec3 lastPosition = inst.getLastPosition();
    const glm::quat lastRotation = inst.getLastRotation();
    float done = 0.0f;
    for (;;)
    {
        const float rest = dt - done + subFrameTime_;
        if (!(rest > frameTime))
        {
            subFrameTime_ = rest;
            return;
        }
        const float t = (subFrameTime_ + done) / dt;
        const glm::quat rotation = Ps::slerpQuat(lastRotation, rotation_, t);
        const glm::vec3 position = Ps::lerpVec3(lastPosition, position_, t);
        const float consumed = inst.updateFrame(position, rotation);
        done += consumed;

        const Ps::SystemInst::Stats& stats = inst.getStats();
        fillingStats_.particles.add(stats.numParticles);
        DEBUG_ASSERT(stats.emitters.size() == fillingStats_.emitters.size());
        for (size_t i = 0; i < stats.emitters.size(); ++i)
        {
            fillingStats_.emitters[i].instances.add(stats.emitters[i].numEmitters);
            fillingStats_.emitters[i].particles.add(stats.emitters[i].numParticles);
        }
        statsClock_ += consumed;
        if (statsClock_ > 1.0f)
            swapStats();
    }
}

void Particles::constructAndUpload(const glm::vec3& cameraDir, const glm::vec3& cameraUp,
                                   const glm::vec3& cameraRight)
{
    Ps::SystemInst& inst = inst_->get();
    inst.construct(cameraDir, cameraUp, cameraRight, renderConfig_);

    const Ps::SystemInst::Stats& systemStats = inst.getStats();
    fillingStats_.triangles.add(systemStats.numPolygons);
    if (systemStats.emitters.size() != fillingStats_.emitters.size())
        ::Debug::assertFailed("systemStats.emitters_.size() == emittersStats_.size()", __FILE__,
                              __LINE__, __func__);
    for (size_t i = 0; i < systemStats.emitters.size(); ++i)
        fillingStats_.emitters[i].triangles.add(systemStats.emitters[i].numPolygons);

    for (auto& mesh : meshes_)
        mesh->updateFromMesh();
}

void Particles::drawRenderCalls(const RenderData& renderData)
{
    if (!renderData.materials)
        return;
    QOpenGLContext* context = QOpenGLContext::currentContext();
    DEBUG_ASSERT(context);
    QOpenGLFunctions& f = *context->functions();
    f.glEnable(GL_TEXTURE_2D);

    const glm::mat4 model(1.0f);
    const Ps::System& system = getSystem();
    const Ps::SystemInst& inst = inst_->get();
    for (Ps::uint32 c = 0; c < inst.getNumRenderCalls(); ++c)
    {
        const Ps::RenderCall& call = inst.getRenderCall(c);
        const Ps::RenderStyle& style = system.getRenderStyle(call.renderStyleIndex);
        for (unsigned i = 0; i < style.numTexChannels; ++i)
        {
            const unsigned textureIndex = style.textureIndices[i];
            if (textureIndex < textures_.size() && textures_[textureIndex])
                textures_[textureIndex]->bind(i);
        }
        const Materials::BaseParticles& material =
            renderData.materials->particleMaterial(system.getMaterial(style.materialIndex));
        material.begin(renderData, model);
        meshes_[call.meshIndex]->render(
            call.startPolygon, call.numPolygons, material.getPositionAttribute(),
            material.getColorAttribute(), material.getTexCoordAttribute());
        material.end();
    }
}

void Particles::render(const RenderData& renderData)
{
    // The camera is the view's inverse: its columns are right, up and the
    // direction away from the viewer.
    const glm::mat4 inverseView = glm::inverse(renderData.view);
    const glm::vec3 cameraRight(inverseView[0]);
    const glm::vec3 cameraUp(inverseView[1]);
    const glm::vec3 cameraDir = -glm::vec3(inverseView[2]);
    constructAndUpload(cameraDir, cameraUp, cameraRight);
    drawRenderCalls(renderData);
}

void Particles::renderDebug(const RenderData& renderData)
{
    if (!renderData.materials)
        return;
    wireframeMesh_->updateFromMesh();
    positionsMesh_->updateFromMesh();
    QOpenGLContext* context = QOpenGLContext::currentContext();
    DEBUG_ASSERT(context);
    context->functions()->glDisable(GL_TEXTURE_2D);

    const glm::mat4 model(1.0f);
    const Materials::Debug& lines = renderData.materials->debug();
    lines.begin(renderData, model);
    wireframeMesh_->render(true, lines.getPositionAttribute(), lines.getColorAttribute());
    lines.end();

    const Materials::PointsDebug& points = renderData.materials->pointsDebug();
    points.begin(renderData, model);
    positionsMesh_->render(false, points.getPositionAttribute(), points.getColorAttribute());
    points.end();
}

}  // namespace Preview
}  // namespace Ple
