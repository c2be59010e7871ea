#pragma once

#include "particle_system/ps_types.h"

namespace Ps
{

// A vertex and an index buffer in one block of memory, written by the
// constructors on the processor and uploaded by the host as it is.
//
// Layout of the block, in this order:
//   - 4 bytes reserved per texture channel; the head of that area holds one
//     byte per channel: the channel's size in floats;
//   - maxVertices * stride bytes of vertices;
//   - maxIndices * 4 bytes of indices (uint32).
// A vertex holds, in this order: the position (positionComponents floats),
// the normal (3 floats, if any), the colour (uint32 RGBA, if any) and the
// texture channels (their floats one after the other).
//
// A mesh lives in a pool (createInPool) and is never destroyed; clear() only
// resets the counts, the contents stay (the index buffer in particular is
// filled once by the mesh factory and never written again).
class Mesh
{
public:
    // Size in bytes of one vertex of the given layout.
    static uint32 computeVertexStride(uint32 positionComponents, bool hasNormals, bool hasColors,
                                      const uint8* channels, uint32 numChannels);

    // Bytes of the data block alone (a multiple of 4).
    static uint32 computePoolSize(uint32 maxVertices, uint32 positionComponents, bool hasNormals,
                                  bool hasColors, const uint8* channels, uint32 numChannels,
                                  uint32 maxIndices);

    // Bytes of the Mesh object followed by its data block, as createInPool
    // uses them: each part rounded with Allocator::aligned, so that meshes
    // placed one after the other in a pool keep the object's alignment and
    // take exactly the bytes counted for them.
    static uint32 computePoolSizeWithMeshObject(uint32 maxVertices, uint32 positionComponents,
                                                bool hasNormals, bool hasColors,
                                                const uint8* channels, uint32 numChannels,
                                                uint32 maxIndices);

    // Places the Mesh object at `pool` and its data block right behind it.
    // `pool` must hold computePoolSizeWithMeshObject(...) bytes. The counts
    // start at 0; the vertex and index contents are left as they are.
    static Mesh* createInPool(uint8* pool, uint32 maxVertices, uint32 positionComponents,
                              bool hasNormals, bool hasColors, const uint8* channels,
                              uint32 numChannels, uint32 maxIndices);

    // A mesh over a caller's data block of computePoolSize(...) bytes.
    Mesh(uint8* data, uint32 maxVertices, uint32 positionComponents, bool hasNormals,
         bool hasColors, const uint8* channels, uint32 numChannels, uint32 maxIndices);

    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    // Forgets the vertices and indices written so far; the memory keeps them.
    void clear()
    {
        numVertices_ = 0;
        numIndices_ = 0;
    }

    // The whole block, as the host may upload it.
    uint8* getData() { return data_; }
    const uint8* getData() const { return data_; }
    uint32 getDataSize() const { return dataSize_; }

    // Vertex buffer: maxVertices * stride bytes.
    uint8* getVertices() { return vertices_; }
    const uint8* getVertices() const { return vertices_; }
    uint8* getVertex(uint32 i) { return vertices_ + i * vertexStride_; }
    const uint8* getVertex(uint32 i) const { return vertices_ + i * vertexStride_; }
    uint32 getVertexStride() const { return vertexStride_; }
    uint32 getNumVertices() const { return numVertices_; }
    uint32 getMaxVertices() const { return maxVertices_; }
    void setNumVertices(uint32 n) { numVertices_ = n; }

    // Index buffer: maxIndices uint32 values.
    uint32* getIndices() { return indices_; }
    const uint32* getIndices() const { return indices_; }
    uint32 getNumIndices() const { return numIndices_; }
    uint32 getMaxIndices() const { return maxIndices_; }
    void setNumIndices(uint32 n) { numIndices_ = n; }

    // Vertex layout.
    uint32 getNumPositionComponents() const { return numPositionComponents_; }
    bool hasNormals() const { return hasNormals_; }
    bool hasColors() const { return hasColors_; }
    uint32 getNumTexChannels() const { return numTexChannels_; }
    // Size in floats of texture channel i.
    uint32 getTexChannelSize(uint32 i) const { return texChannels_[i]; }
    const uint8* getTexChannels() const { return texChannels_; }

    // Byte offsets of the parts of a vertex from its start.
    uint32 getPositionOffset() const { return 0; }
    uint32 getNormalOffset() const { return 4 * numPositionComponents_; }
    uint32 getColorOffset() const { return getNormalOffset() + (hasNormals_ ? 12 : 0); }
    uint32 getTexChannelsOffset() const { return getColorOffset() + (hasColors_ ? 4 : 0); }
    uint32 getTexChannelOffset(uint32 i) const;

private:
    uint8* data_;
    uint32 dataSize_;
    uint8* vertices_;
    uint32 numPositionComponents_;
    bool hasNormals_;
    bool hasColors_;
    uint8* texChannels_;  // at the start of the block
    uint32 numTexChannels_;
    uint32 numVertices_;
    uint32 maxVertices_;
    uint32 vertexStride_;
    uint32* indices_;
    uint32 numIndices_;
    uint32 maxIndices_;
};

}  // namespace Ps
