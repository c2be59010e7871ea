#include "particle_system/ps_mesh.h"

#include <new>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"

namespace Ps
{

namespace
{

// The object and its block are counted as the pool allocator would place them,
// so that a mesh made in a pool takes exactly what the pool was sized for.
uint32 meshObjectSize() { return Allocator::aligned(sizeof(Mesh)); }

}  // namespace

uint32 Mesh::computeVertexStride(uint32 positionComponents, bool hasNormals, bool hasColors,
                                 const uint8* channels, uint32 numChannels)
{
    uint32 stride = 4 * positionComponents;
    if (hasNormals)
        stride += 12;
    if (hasColors)
        stride += 4;
    for (uint32 i = 0; i < numChannels; ++i)
        stride += 4 * channels[i];
    return stride;
}

uint32 Mesh::computePoolSize(uint32 maxVertices, uint32 positionComponents, bool hasNormals,
                             bool hasColors, const uint8* channels, uint32 numChannels,
                             uint32 maxIndices)
{
    const uint32 stride =
        computeVertexStride(positionComponents, hasNormals, hasColors, channels, numChannels);
    return 4 * numChannels + maxVertices * stride + maxIndices * 4;
}

uint32 Mesh::computePoolSizeWithMeshObject(uint32 maxVertices, uint32 positionComponents,
                                           bool hasNormals, bool hasColors, const uint8* channels,
                                           uint32 numChannels, uint32 maxIndices)
{
    return meshObjectSize() +
           Allocator::aligned(computePoolSize(maxVertices, positionComponents, hasNormals,
                                              hasColors, channels, numChannels, maxIndices));
}

Mesh* Mesh::createInPool(uint8* pool, uint32 maxVertices, uint32 positionComponents,
                         bool hasNormals, bool hasColors, const uint8* channels, uint32 numChannels,
                         uint32 maxIndices)
{
    DEBUG_ASSERT(pool);
    return new (pool) Mesh(pool + meshObjectSize(), maxVertices, positionComponents, hasNormals,
                           hasColors, channels, numChannels, maxIndices);
}

Mesh::Mesh(uint8* data, uint32 maxVertices, uint32 positionComponents, bool hasNormals,
           bool hasColors, const uint8* channels, uint32 numChannels, uint32 maxIndices)
    : data_(data),
      dataSize_(computePoolSize(maxVertices, positionComponents, hasNormals, hasColors, channels,
                                numChannels, maxIndices)),
      vertices_(data + 4 * numChannels),
      numPositionComponents_(positionComponents),
      hasNormals_(hasNormals),
      hasColors_(hasColors),
      texChannels_(data),
      numTexChannels_(numChannels),
      numVertices_(0),
      maxVertices_(maxVertices),
      vertexStride_(
          computeVertexStride(positionComponents, hasNormals, hasColors, channels, numChannels)),
      indices_(nullptr),
      numIndices_(0),
      maxIndices_(maxIndices)
{
    DEBUG_ASSERT(data);
    for (uint32 i = 0; i < numChannels; ++i)
        texChannels_[i] = channels[i];
    for (uint32 i = numChannels; i < 4 * numChannels; ++i)
        texChannels_[i] = 0;
    indices_ = reinterpret_cast<uint32*>(vertices_ + maxVertices * vertexStride_);
}

uint32 Mesh::getTexChannelOffset(uint32 i) const
{
    DEBUG_ASSERT(i < numTexChannels_);
    uint32 offset = getTexChannelsOffset();
    for (uint32 c = 0; c < i; ++c)
        offset += 4 * texChannels_[c];
    return offset;
}

}  // namespace Ps
