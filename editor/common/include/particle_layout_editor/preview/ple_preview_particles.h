#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_editor/preview/ple_preview_renderable.h"
#include "particle_system/ps_render_config.h"

namespace Ps
{
class MemManagedSystemShell;
class MemManagedSystemInst;
class System;
class SystemInst;
}  // namespace Ps

namespace Ple
{
namespace Preview
{

class DebugMesh;
class ParticleMesh;
class Texture;

// Running figures of one value: the last one, the least, the greatest, the sum
// and the number of values taken.
template <class T>
struct StatsValue
{
    T current{};
    T min{};
    T max{};
    T sum{};
    std::uint32_t count = 0;

    void add(T value)
    {
        if (count == 0)
        {
            current = min = max = sum = value;
        }
        else
        {
            current = value;
            if (value < min)
                min = value;
            if (value > max)
                max = value;
            sum += value;
        }
        ++count;
    }
};

// The host of one compiled effect in the preview: a running instance of it,
// advanced frame by frame, and drawn with the preview's materials.
class Particles : public Renderable
{
public:
    struct EmitterStats
    {
        StatsValue<std::uint32_t> instances;
        StatsValue<std::uint32_t> particles;
        StatsValue<std::uint32_t> triangles;
    };

    struct Stats
    {
        std::vector<EmitterStats> emitters;
        StatsValue<std::uint32_t> particles;
        StatsValue<std::uint32_t> triangles;
    };

    // `textures` has one entry per texture of the effect (an entry may be null:
    // that texture is then not bound). Needs a current GL context.
    Particles(std::shared_ptr<Ps::MemManagedSystemShell> system,
              std::vector<std::shared_ptr<Texture>> textures, const glm::vec3& position,
              const glm::quat& rotation);
    ~Particles() override;

    // Advances the effect by the host's dt seconds, in whole frames of the
    // effect, with position and rotation interpolated inside the step.
    void update(float dt);
    // A new instance at the current position and rotation.
    void restart();

    void render(const RenderData& renderData) override;
    void renderDebug(const RenderData& renderData) override;

    glm::vec3 getPosition() const override { return position_; }
    void setPosition(const glm::vec3& position) override { position_ = position; }
    const glm::quat& getRotation() const { return rotation_; }
    void setRotation(const glm::quat& rotation) { rotation_ = rotation; }
    void setRenderConfig(std::optional<Ps::RenderConfig> config)
    {
        renderConfig_ = std::move(config);
    }
    const std::optional<Ps::RenderConfig>& getRenderConfig() const { return renderConfig_; }

    const Ps::System& getSystem() const;
    Ps::SystemInst& systemInst() const;

    float getSubFrameTime() const { return subFrameTime_; }
    // The statistics of the last whole second; none before the first one has passed.
    const std::optional<Stats>& getLastSecondStats() const { return lastSecondStats_; }
    const Stats& getFillingStats() const { return fillingStats_; }

    // Builds the geometry for a camera and uploads each mesh once, without
    // drawing; render() does this and then draws. Gives the camera
    // (direction, up, right) taken from a view matrix.
    void constructAndUpload(const glm::vec3& cameraDir, const glm::vec3& cameraUp,
                            const glm::vec3& cameraRight);
    // Draws the render calls built by the last construct.
    void drawRenderCalls(const RenderData& renderData);

private:
    void resetStats();
    void swapStats();

    glm::vec3 position_;
    glm::quat rotation_;
    std::shared_ptr<Ps::MemManagedSystemShell> system_;
    std::vector<std::shared_ptr<Texture>> textures_;
    std::unique_ptr<Ps::MemManagedSystemInst> inst_;
    std::vector<std::unique_ptr<ParticleMesh>> meshes_;
    std::optional<Ps::RenderConfig> renderConfig_;
    std::unique_ptr<DebugMesh> wireframeMesh_;
    std::unique_ptr<DebugMesh> positionsMesh_;
    float subFrameTime_ = 0.0f;
    float statsClock_ = 0.0f;
    Stats fillingStats_;
    std::optional<Stats> lastSecondStats_;
};

}  // namespace Preview
}  // namespace Ple
