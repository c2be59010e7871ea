#include "particle_system/constructors/ps_constructor_strip.h"

#include <cmath>
#include <cstring>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "debug/debug_check.h"
#include "particle_system/glm_ext_color.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_value_io.h"
#include "revision_saveload/sl_loader.h"

namespace Ps
{

namespace
{

template <class T>
void storeAt(uint8* p, const T& value)
{
    std::memcpy(p, &value, sizeof(T));
}

// The second column of the rotation matrix of q: the ribbon's side with a free rotation.
glm::vec3 sideOfRotation(const glm::quat& q)
{
    return glm::vec3(2.0f * (q.x * q.y - q.w * q.z), 1.0f - 2.0f * (q.x * q.x + q.z * q.z),
                     2.0f * (q.y * q.z + q.w * q.x));
}

}  // namespace

ConstructorStrip::ConstructorStrip(Sl::Loader& loader, EmitterFactory& emitterFactory,
                                   Allocator& allocator)
    : Constructor(sizeof(Data), sizeof(DynData), 0, 0, allocator)
{
    if (readBool(loader))
        rotation_ = emitterFactory.loadInput<glm::quat>(loader);
    size_ = emitterFactory.loadExternalInput<float>(loader, allocator);
    color_ = emitterFactory.loadExternalInput<glm::vec3>(loader, allocator);
    alpha_ = emitterFactory.loadExternalInput<float>(loader, allocator);
    texRepetition_ = emitterFactory.loadExternalInput<float>(loader, allocator);
    setMeshIndex(readU8(loader));
    setRenderStyleIndex(readU8(loader));
}

uint32 ConstructorStrip::computePoolSize(Sl::Loader& loader)
{
    uint64 size = 0;
    if (readBool(loader))
        EmitterFactory::skipInput(loader);
    size += EmitterFactory::skipExternal(loader);  // size
    size += EmitterFactory::skipExternal(loader);  // colour
    size += EmitterFactory::skipExternal(loader);  // alpha
    size += EmitterFactory::skipExternal(loader);  // texture repetition
    loader.skipUint8();                            // mesh index
    loader.skipUint8();                            // render style index
    return Allocator::checkedSize(size);
}

void ConstructorStrip::initEmitterData(EmitterInst& inst)
{
    Data& data = *static_cast<Data*>(inst.getVoidPtrStaticData(*this));
    data.rotation = rotation_ ? rotation_->getPtr(inst) : nullptr;
    data.size = size_->getPtr(inst);
    data.color = color_->getPtr(inst);
    data.alpha = alpha_->getPtr(inst);
    data.texRepetition = texRepetition_->getPtr(inst);
}

void ConstructorStrip::initParticleData(EmitterInst& inst)
{
    // A defined state before the first pre-process: no neighbour, no side.
    DynData& dyn = *static_cast<DynData*>(inst.getVoidPtrDynamicData(*this));
    dyn.prev = nullptr;
    dyn.color = 0;
    dyn.halfWidth = 0.0f;
    dyn.position = glm::vec3(0.0f);
    dyn.side = glm::vec3(0.0f);
    dyn.u = 0.0f;
    dyn.length = 0.0f;
}

void ConstructorStrip::preProcess(EmitterInst& inst, const glm::mat3& camera)
{
    const Data& data = *static_cast<const Data*>(inst.getVoidPtrStaticData(*this));
    DynData& dyn = *static_cast<DynData*>(inst.getVoidPtrDynamicData(*this));
    const glm::vec3 particlePosition = inst.getParticleInfo().position;
    const float texRepetition = *data.texRepetition;

    glm::vec3 prevPos;
    DynData* prev = static_cast<DynData*>(inst.getVoidPtrPrevParticleDynamicData(*this));
    if (prev)
    {
        // The next younger particle, already pre-processed in this walk.
        prevPos = inst.getPrevParticleInfo()->position;
        dyn.prev = prev;
        if (data.rotation)
        {
            dyn.side = sideOfRotation(*data.rotation);
        }
        else
        {
            // A segment of no length (two particles at one place, or one seen
            // end-on) has no direction of its own: it keeps the side of the
            // younger neighbour rather than a NaN that would spoil the ribbon.
            const glm::vec3 across = glm::cross(prevPos - prev->position, camera[2]);
            dyn.side =
                glm::dot(across, across) > kMinNormalFloat ? glm::normalize(across) : prev->side;
            prev->side = dyn.side;
        }
        dyn.u = prev->u + prev->length;
    }
    else
    {
        // The newest particle: the ribbon starts at the emitter.
        prevPos = inst.getEmitterPosition();
        dyn.prev = nullptr;
        // Its side is read as the far end of the next segment. With a free
        // rotation it comes from the rotation input; otherwise the next older
        // particle overwrites it with the direction of its segment.
        dyn.side = data.rotation ? sideOfRotation(*data.rotation) : glm::vec3(0.0f);
        // So that the texture doesn't slide along the ribbon while the emitter moves.
        const double travelled =
            static_cast<double>(inst.getTraveledDistance()) / static_cast<double>(texRepetition);
        dyn.u = static_cast<float>(1.0 - std::fmod(travelled, 1.0));
    }
    dyn.length = glm::length(prevPos - particlePosition) / texRepetition;
    dyn.color = GlmExt::u32_rgba_cast(glm::vec4(*data.color, *data.alpha));
    dyn.halfWidth = 0.5f * *data.size;
    dyn.position = prevPos;
}

void ConstructorStrip::processConstruct(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera,
                                        const TextureFrame& frame)
{
    const DynData& dyn = *static_cast<const DynData*>(inst.getVoidPtrDynamicData(*this));
    if (!dyn.prev)
        return;
    const DynData& prev = *dyn.prev;

    const glm::vec3 positions[5] = {
        dyn.position - dyn.side * dyn.halfWidth,    dyn.position + dyn.side * dyn.halfWidth,
        prev.position + prev.side * prev.halfWidth, prev.position,
        prev.position - prev.side * prev.halfWidth,
    };
    const uint32 colors[5] = {dyn.color, dyn.color, prev.color, prev.color, prev.color};
    const glm::vec2 texCoords[5] = {
        frame.map(dyn.u, 0.0f),  frame.map(dyn.u, 1.0f),  frame.map(prev.u, 1.0f),
        frame.map(prev.u, 0.5f), frame.map(prev.u, 0.0f),
    };

    const uint32 first = mesh.getNumVertices();
    DEBUG_ASSERT(first + 5 <= mesh.getMaxVertices());
    const uint32 stride = mesh.getVertexStride();
    const uint32 normalOffset = mesh.getNormalOffset();
    const uint32 colorOffset = mesh.getColorOffset();
    const uint32 texOffset = mesh.getTexChannelsOffset();
    const bool normals = mesh.hasNormals();
    const bool hasColors = mesh.hasColors();
    const bool texture = mesh.getNumTexChannels() > 0;
    // A strip has no normal of its own; a mesh that asks for one gets the
    // direction towards the viewer.
    const glm::vec3 normal = -camera[2];

    uint8* out = mesh.getVertex(first);
    for (int k = 0; k < 5; ++k, out += stride)
    {
        storeAt(out, positions[k]);
        if (normals)
            storeAt(out + normalOffset, normal);
        if (hasColors)
            storeAt(out + colorOffset, colors[k]);
        if (texture)
            storeAt(out + texOffset, texCoords[k]);
    }
    mesh.setNumVertices(first + 5);
    mesh.setNumIndices(mesh.getNumIndices() + 9);
}

}  // namespace Ps
