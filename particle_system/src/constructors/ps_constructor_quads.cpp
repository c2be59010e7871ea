#include "particle_system/constructors/ps_constructor_quads.h"

#include <cmath>
#include <cstring>

#include <glm/gtc/quaternion.hpp>
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

constexpr float kDegToRad = 0.017453292f;

// The whole frame, corner by corner: (0, 0), (0, 1), (1, 1), (1, 0).
constexpr float kRectU[4] = {0.0f, 0.0f, 1.0f, 1.0f};
constexpr float kRectV[4] = {0.0f, 1.0f, 1.0f, 0.0f};

template <class T>
void storeAt(uint8* p, const T& value)
{
    std::memcpy(p, &value, sizeof(T));
}

}  // namespace

// --- Rotation ops --------------------------------------------------------------------------

const Connection& ConstructorQuadsFacedRotationOp::getInput(uint32 i) const
{
    DEBUG_ASSERT(i == 0);
    return angle_;
}

void ConstructorQuadsFacedRotationOp::initEmitterData(void* data, EmitterInst& inst) const
{
    static_cast<Data*>(data)->angle = angle_.getPtr(inst);
}

void ConstructorQuadsFacedRotationOp::process(const void* data, const glm::mat3& camera,
                                              glm::mat3& out) const
{
    const float a = kDegToRad * *static_cast<const Data*>(data)->angle;
    const float c = std::cos(a);
    const float s = std::sin(a);
    // Each column of the camera turned in its x and y.
    for (int k = 0; k < 3; ++k)
    {
        const glm::vec3& col = camera[k];
        out[k] = glm::vec3(c * col.x - s * col.y, s * col.x + c * col.y, col.z);
    }
}

const Connection& ConstructorQuadsFreeRotationOp::getInput(uint32 i) const
{
    DEBUG_ASSERT(i == 0);
    return rotation_;
}

void ConstructorQuadsFreeRotationOp::initEmitterData(void* data, EmitterInst& inst) const
{
    static_cast<Data*>(data)->rotation = rotation_.getPtr(inst);
}

void ConstructorQuadsFreeRotationOp::process(const void* data, const glm::mat3& /*camera*/,
                                             glm::mat3& out) const
{
    out = glm::mat3_cast(*static_cast<const Data*>(data)->rotation);
}

// --- Texture ops ---------------------------------------------------------------------------

const Connection& ConstructorQuadsRectTexOp::getInput(uint32 /*i*/) const
{
    DEBUG_ASSERT(!"the whole-frame texture op has no input");
    __builtin_unreachable();
}

void ConstructorQuadsRectTexOp::process(const void* /*data*/, const TextureFrame& frame,
                                        glm::vec2 out[4]) const
{
    for (int k = 0; k < 4; ++k)
        out[k] = frame.map(kRectU[k], kRectV[k]);
}

ConstructorQuadsGridTexOp::ConstructorQuadsGridTexOp(uint32 columns, uint32 rows,
                                                     const InputDesc<float>& index)
    : columns_(columns),
      rows_(rows),
      numCells_(columns * rows),
      cellWidth_(1.0f / static_cast<float>(columns)),
      cellHeight_(1.0f / static_cast<float>(rows)),
      index_(index)
{
    DEBUG_ASSERT(columns > 0 && rows > 0);
}

const Connection& ConstructorQuadsGridTexOp::getInput(uint32 i) const
{
    DEBUG_ASSERT(i == 0);
    return index_;
}

void ConstructorQuadsGridTexOp::initEmitterData(void* data, EmitterInst& inst) const
{
    static_cast<Data*>(data)->index = index_.getPtr(inst);
}

uint32 ConstructorQuadsGridTexOp::cellOfIndex(float index) const
{
    // The comparisons come first so that a NaN or a huge value never reaches
    // the integer conversion.
    if (!(index >= 1.0f))
        return 0;
    if (index >= static_cast<float>(numCells_))
        return numCells_ - 1;
    return static_cast<uint32>(index);
}

void ConstructorQuadsGridTexOp::process(const void* data, const TextureFrame& frame,
                                        glm::vec2 out[4]) const
{
    const uint32 i = cellOfIndex(*static_cast<const Data*>(data)->index);
    const uint32 column = i % columns_;
    const uint32 row = i / columns_;
    const float u0 = static_cast<float>(column) / static_cast<float>(columns_);
    // Row 0 is the top of the image, as v runs upward.
    const float v0 = 1.0f - static_cast<float>(row + 1) / static_cast<float>(rows_);
    const float w = cellWidth_;
    const float h = cellHeight_;
    out[0] = frame.map(u0, v0);
    out[1] = frame.map(u0, v0 + h);
    out[2] = frame.map(u0 + w, v0 + h);
    out[3] = frame.map(u0 + w, v0);
}

// --- ConstructorQuads ----------------------------------------------------------------------

ConstructorQuads::ConstructorQuads(Sl::Loader& loader, EmitterFactory& emitterFactory,
                                   Allocator& allocator)
    : Constructor(0, 0, 0, 0, allocator)
{
    origin_ = emitterFactory.loadExternalInput<glm::vec2>(loader, allocator);

    const uint8 rotationOp = readU8(loader);
    DEBUG_ASSERT(rotationOp == CGO_Faced || rotationOp == CGO_Free);
    rotationOpType_ = static_cast<EnumConstructorQuadsRotationOp>(rotationOp);
    if (rotationOpType_ == CGO_Faced)
    {
        const InputDesc<float>* angle = emitterFactory.loadExternalInput<float>(loader, allocator);
        rotationOp_ = allocator.create<ConstructorQuadsFacedRotationOp>(*angle);
    }
    else
    {
        const InputDesc<glm::quat>* rotation = emitterFactory.loadInput<glm::quat>(loader);
        rotationOp_ = allocator.create<ConstructorQuadsFreeRotationOp>(*rotation);
    }

    const uint8 sizeType = readU8(loader);
    DEBUG_ASSERT(sizeType == ST_Square || sizeType == ST_Rect);
    rectangle_ = sizeType == ST_Rect;
    if (rectangle_)
        sizeVec2_ = emitterFactory.loadExternalInput<glm::vec2>(loader, allocator);
    else
        sizeFloat_ = emitterFactory.loadExternalInput<float>(loader, allocator);

    color_ = emitterFactory.loadExternalInput<glm::vec3>(loader, allocator);
    alpha_ = emitterFactory.loadExternalInput<float>(loader, allocator);
    setMeshIndex(readU8(loader));
    setRenderStyleIndex(readU8(loader));

    const uint8 texOp = readU8(loader);
    DEBUG_ASSERT(texOp == CTO_Rect || texOp == CTO_Grid);
    texOpType_ = static_cast<EnumConstructorQuadsTexOp>(texOp);
    if (texOpType_ == CTO_Grid)
    {
        const uint8 columns = readU8(loader);
        const uint8 rows = readU8(loader);
        DEBUG_ASSERT(columns > 0 && rows > 0);
        const InputDesc<float>* index = emitterFactory.loadInput<float>(loader);
        texOp_ = allocator.create<ConstructorQuadsGridTexOp>(columns, rows, *index);
    }
    else
    {
        texOp_ = allocator.create<ConstructorQuadsRectTexOp>();
    }

    rotationDataOffset_ = Allocator::aligned(sizeof(Data));
    texDataOffset_ = rotationDataOffset_ + Allocator::aligned(rotationOp_->getDataSize());
    setEmitterDataSize(texDataOffset_ + Allocator::aligned(texOp_->getDataSize()));
}

uint32 ConstructorQuads::computePoolSize(Sl::Loader& loader)
{
    uint64 size = EmitterFactory::skipExternal(loader);  // origin

    const uint8 rotationOp = readU8(loader);
    DEBUG_ASSERT(rotationOp == CGO_Faced || rotationOp == CGO_Free);
    if (rotationOp == CGO_Faced)
    {
        size += EmitterFactory::skipExternal(loader);
        size += Allocator::aligned(sizeof(ConstructorQuadsFacedRotationOp));
    }
    else
    {
        EmitterFactory::skipInput(loader);
        size += Allocator::aligned(sizeof(ConstructorQuadsFreeRotationOp));
    }

    const uint8 sizeType = readU8(loader);
    DEBUG_ASSERT(sizeType == ST_Square || sizeType == ST_Rect);
    size += EmitterFactory::skipExternal(loader);  // size, of either type

    size += EmitterFactory::skipExternal(loader);  // colour
    size += EmitterFactory::skipExternal(loader);  // alpha
    loader.skipUint8();                            // mesh index
    loader.skipUint8();                            // render style index

    const uint8 texOp = readU8(loader);
    DEBUG_ASSERT(texOp == CTO_Rect || texOp == CTO_Grid);
    if (texOp == CTO_Grid)
    {
        loader.skipUint8();  // columns
        loader.skipUint8();  // rows
        EmitterFactory::skipInput(loader);
        size += Allocator::aligned(sizeof(ConstructorQuadsGridTexOp));
    }
    else
    {
        size += Allocator::aligned(sizeof(ConstructorQuadsRectTexOp));
    }
    return Allocator::checkedSize(size);
}

void ConstructorQuads::initEmitterData(EmitterInst& inst)
{
    uint8* base = static_cast<uint8*>(inst.getVoidPtrStaticData(*this));
    Data& data = *reinterpret_cast<Data*>(base);
    data.origin = origin_->getPtr(inst);
    data.size = rectangle_ ? &sizeVec2_->getPtr(inst)->x : sizeFloat_->getPtr(inst);
    data.color = color_->getPtr(inst);
    data.alpha = alpha_->getPtr(inst);
    rotationOp_->initEmitterData(base + rotationDataOffset_, inst);
    texOp_->initEmitterData(base + texDataOffset_, inst);
}

void ConstructorQuads::processConstruct(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera,
                                        const TextureFrame& frame)
{
    const uint8* base = static_cast<const uint8*>(inst.getVoidPtrStaticData(*this));
    const Data& data = *reinterpret_cast<const Data*>(base);
    const glm::vec3& p = inst.getParticleInfo().position;

    const float ox = data.origin->x;
    const float oy = data.origin->y;
    const float sx = data.size[0];
    const float sy = rectangle_ ? data.size[1] : sx;

    glm::mat3 m;
    rotationOp_->process(base + rotationDataOffset_, camera, m);
    const glm::vec3& u = m[0];
    const glm::vec3& v = m[1];

    const glm::vec3 a = -u * sx * ox;
    const glm::vec3 b = u * sx * (1.0f - ox);
    const glm::vec3 c = -v * sy * oy;
    const glm::vec3 d = v * sy * (1.0f - oy);
    const glm::vec3 corners[4] = {p + a + c, p + a + d, p + b + d, p + b + c};

    glm::vec2 texCoords[4];
    texOp_->process(base + texDataOffset_, frame, texCoords);

    const uint32 first = mesh.getNumVertices();
    DEBUG_ASSERT(first + 4 <= mesh.getMaxVertices());
    const uint32 stride = mesh.getVertexStride();
    const uint32 normalOffset = mesh.getNormalOffset();
    const uint32 colorOffset = mesh.getColorOffset();
    const uint32 texOffset = mesh.getTexChannelsOffset();
    const bool normals = mesh.hasNormals();
    const bool colors = mesh.hasColors();
    const bool texture = mesh.getNumTexChannels() > 0;
    const uint32 color = colors ? GlmExt::u32_rgba_cast(glm::vec4(*data.color, *data.alpha)) : 0u;

    uint8* out = mesh.getVertex(first);
    for (int k = 0; k < 4; ++k, out += stride)
    {
        storeAt(out, corners[k]);
        if (normals)
            storeAt(out + normalOffset, m[2]);
        if (colors)
            storeAt(out + colorOffset, color);
        if (texture)
            storeAt(out + texOffset, texCoords[k]);
    }
    mesh.setNumVertices(first + 4);
    mesh.setNumIndices(mesh.getNumIndices() + 6);
}

}  // namespace Ps
