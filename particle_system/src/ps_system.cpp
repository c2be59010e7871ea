#include "particle_system/ps_system.h"

namespace Ps
{

System::System(const Init& init)
    : context_(init.context),
      numMaterials_(init.numMaterials),
      materials_(init.materials),
      numTextures_(init.numTextures),
      textures_(init.textures),
      textureFrames_(init.textureFrames),
      numRenderStyles_(init.numRenderStyles),
      renderStyles_(init.renderStyles),
      numMeshes_(init.numMeshes),
      meshFactories_(init.meshFactories)
{
}

uint32 System::getNumMaterials() const { return numMaterials_; }

EnumMaterial System::getMaterial(uint32 i) const
{
    DEBUG_ASSERT(i < numMaterials_);
    return materials_[i];
}

uint32 System::getNumTextures() const { return numTextures_; }

const char* System::getTexture(uint32 i) const
{
    DEBUG_ASSERT(i < numTextures_);
    return textures_[i];
}

void System::setTextureFrame(uint32 i, const float* a, const float* b, const float* c)
{
    DEBUG_ASSERT(i < numTextures_);
    TextureFrame& frame = textureFrames_[i];
    frame.a = glm::vec2(a[0], a[1]);
    frame.b = glm::vec2(b[0], b[1]);
    frame.c = glm::vec2(c[0], c[1]);
}

uint32 System::getNumRenderStyles() const { return numRenderStyles_; }

const RenderStyle& System::getRenderStyle(uint32 i) const
{
    DEBUG_ASSERT(i < numRenderStyles_);
    return renderStyles_[i];
}

uint32 System::getNumMeshes() const { return numMeshes_; }

uint32 System::getEmitterIndex(const Emitter& emitter) const
{
    for (uint32 i = 0; i < numEmitters_; ++i)
        if (emitters_[i] == &emitter)
            return i;
    const bool emitterIsInSystem = false;
    DEBUG_ASSERT(emitterIsInSystem);
    return 0;
}

void System::setEmitters(const Emitter* const* emitters, uint32 numEmitters)
{
    emitters_ = emitters;
    numEmitters_ = numEmitters;
}

void System::setTail(uint32 maxNumRenderCalls, float frameTime, std::optional<uint32> seed,
                     float presimTime)
{
    maxNumRenderCalls_ = maxNumRenderCalls;
    frameTime_ = frameTime;
    seed_ = seed;
    presimTime_ = presimTime;
}

}  // namespace Ps
