#pragma once

#include <optional>

#include <glm/vec2.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class Context;
class Emitter;
class MeshFactory;

// The blend mode of a render style.
enum EnumMaterial : uint8
{
    MAT_Normal = 0,
    MAT_Add = 1,
    MAT_Multiply = 2,
};

// How an instance seeds its random numbers: with the effect's fixed seed, or anew each time.
enum EnumSystemSeedType : uint8
{
    SST_Fixed = 0,
    SST_Random = 1,
};

// Where a texture sits in the host's atlas: a coordinate (u, v) becomes a * u + b * v + c.
struct TextureFrame
{
    glm::vec2 a{1.0f, 0.0f};
    glm::vec2 b{0.0f, 1.0f};
    glm::vec2 c{0.0f, 0.0f};

    glm::vec2 map(float u, float v) const { return a * u + b * v + c; }
};

struct RenderStyle
{
    static constexpr uint32 kMaxTexChannels = 8;

    uint16 materialIndex;
    uint8 numTexChannels;
    // The first entry selects the texture frame used by constructors.
    uint16 textureIndices[kMaxTexChannels];
};

// A compiled effect, loaded once (Ps::SystemFactory) and immutable afterwards but for the texture
// frames. It lives in one pool and holds pointers into it. Instances on different threads may
// share it (the rules are in ps_system_factory.h).
class System
{
public:
    struct Init
    {
        const Context* context = nullptr;
        uint32 numMaterials = 0;
        const EnumMaterial* materials = nullptr;
        uint32 numTextures = 0;
        const char* const* textures = nullptr;
        TextureFrame* textureFrames = nullptr;  // at least one entry, even with no textures
        uint32 numRenderStyles = 0;
        const RenderStyle* renderStyles = nullptr;
        uint32 numMeshes = 0;
        const MeshFactory* const* meshFactories = nullptr;
    };

    explicit System(const Init& init);
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    virtual uint32 getNumMaterials() const;
    virtual EnumMaterial getMaterial(uint32 i) const;
    virtual uint32 getNumTextures() const;
    virtual const char* getTexture(uint32 i) const;
    virtual void setTextureFrame(uint32 i, const float* a, const float* b, const float* c);
    virtual uint32 getNumRenderStyles() const;
    virtual const RenderStyle& getRenderStyle(uint32 i) const;
    virtual uint32 getNumMeshes() const;

    const Context& getContext() const { return *context_; }
    const TextureFrame& getTextureFrame(uint32 i) const
    {
        DEBUG_ASSERT(i < numTextures_ || i == 0);
        return textureFrames_[i];
    }
    const MeshFactory& getMeshFactory(uint32 i) const
    {
        DEBUG_ASSERT(i < numMeshes_);
        return *meshFactories_[i];
    }
    uint32 getNumEmitters() const { return numEmitters_; }
    const Emitter& getEmitter(uint32 i) const
    {
        DEBUG_ASSERT(i < numEmitters_);
        return *emitters_[i];
    }
    uint32 getEmitterIndex(const Emitter& emitter) const;
    uint32 getMaxNumRenderCalls() const { return maxNumRenderCalls_; }
    float getFrameTime() const { return frameTime_; }
    std::optional<uint32> retrieveSeed() const { return seed_; }
    float getPresimTime() const { return presimTime_; }

    // Filled by the system factory.
    void setEmitters(const Emitter* const* emitters, uint32 numEmitters);
    void setTail(uint32 maxNumRenderCalls, float frameTime, std::optional<uint32> seed,
                 float presimTime);

protected:
    ~System() = default;

private:
    const Context* context_;
    uint32 numMaterials_;
    const EnumMaterial* materials_;
    uint32 numTextures_;
    const char* const* textures_;
    TextureFrame* textureFrames_;
    uint32 numRenderStyles_;
    const RenderStyle* renderStyles_;
    uint32 numMeshes_;
    const MeshFactory* const* meshFactories_;
    const Emitter* const* emitters_ = nullptr;
    uint32 numEmitters_ = 0;
    uint32 maxNumRenderCalls_ = 0;
    float frameTime_ = 0.0f;
    std::optional<uint32> seed_;
    float presimTime_ = 0.0f;
};

}  // namespace Ps
