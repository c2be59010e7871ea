#pragma once

#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class Mesh;

// The kinds of mesh a compiled effect can ask for; the value is the
// "mesh_factory" byte of the compiled effect and the index of the mesh
// factory factory in the context.
enum EnumMeshFactories : uint8
{
    MF_Quads = 0,
    MF_Strip = 1,
    MF_Count = 2,
};

// One per mesh of a compiled effect: makes that mesh, with its index buffer
// filled in full, in a system instance's pool.
class MeshFactory
{
public:
    virtual ~MeshFactory() = default;

    MeshFactory(const MeshFactory&) = delete;
    MeshFactory& operator=(const MeshFactory&) = delete;

    // Places a mesh object and its block at `pool`, which must hold
    // getInstancePoolSizeWithObject() bytes, and writes the index pattern for
    // all particles. The mesh starts empty.
    virtual Mesh* create(uint8* pool) const = 0;

    // Bytes that create() takes: the Mesh object and its block.
    uint32 getInstancePoolSizeWithObject() const { return instancePoolSize_; }

    uint32 getMaxNumParticles() const { return maxNumParticles_; }
    bool hasNormals() const { return hasNormals_; }
    bool hasColors() const { return hasColors_; }
    uint32 getMaxVertices() const { return maxVertices_; }
    uint32 getMaxIndices() const { return maxIndices_; }

protected:
    MeshFactory(uint32 maxNumParticles, bool hasNormals, bool hasColors, uint32 verticesPerParticle,
                uint32 indicesPerParticle);

    // Makes the empty mesh: 3 position components and one texture channel of
    // 2 floats, normals and colours as stored.
    Mesh* createMesh(uint8* pool) const;

private:
    uint32 maxNumParticles_;
    bool hasNormals_;
    bool hasColors_;
    uint32 maxVertices_;
    uint32 maxIndices_;
    uint32 instancePoolSize_;
};

// Quads: 4 vertices and 6 indices per particle; the triangles (0, 3, 1) and
// (1, 3, 2) of each quad.
class MeshFactoryQuads : public MeshFactory
{
public:
    static constexpr EnumMeshFactories kType = MF_Quads;
    static constexpr uint32 kVerticesPerParticle = 4;
    static constexpr uint32 kIndicesPerParticle = 6;

    MeshFactoryQuads(uint32 maxNumParticles, bool hasNormals, bool hasColors);
    Mesh* create(uint8* pool) const override;
};

// Strips: 5 vertices and 9 indices per particle; the triangles (0, 1, 3),
// (3, 1, 2) and (0, 3, 4) of each segment.
class MeshFactoryStrip : public MeshFactory
{
public:
    static constexpr EnumMeshFactories kType = MF_Strip;
    static constexpr uint32 kVerticesPerParticle = 5;
    static constexpr uint32 kIndicesPerParticle = 9;

    MeshFactoryStrip(uint32 maxNumParticles, bool hasNormals, bool hasColors);
    Mesh* create(uint8* pool) const override;
};

// Reads one mesh entry of a compiled effect (after "max_num_particles" and
// "mesh_factory", which the system factory has read: "has_normals",
// "has_colors") and makes its MeshFactory. The context holds one per
// EnumMeshFactories value.
class MeshFactoryFactory
{
public:
    virtual ~MeshFactoryFactory() = default;

    virtual EnumMeshFactories getType() const = 0;
    // Reads the rest of the entry and places the factory in the allocator's pool.
    virtual MeshFactory* create(Sl::Loader& loader, uint32 maxNumParticles,
                                Allocator& allocator) const = 0;
    // Passes over the same fields and returns the bytes that create() allocates.
    virtual uint32 computePoolSize(Sl::Loader& loader) const = 0;
};

// T is MeshFactoryQuads or MeshFactoryStrip (instantiated in the source).
template <class T>
class MeshFactoryFactoryTyped : public MeshFactoryFactory
{
public:
    EnumMeshFactories getType() const override { return T::kType; }
    MeshFactory* create(Sl::Loader& loader, uint32 maxNumParticles,
                        Allocator& allocator) const override;
    uint32 computePoolSize(Sl::Loader& loader) const override;
};

extern template class MeshFactoryFactoryTyped<MeshFactoryQuads>;
extern template class MeshFactoryFactoryTyped<MeshFactoryStrip>;

using MeshFactoryFactoryQuads = MeshFactoryFactoryTyped<MeshFactoryQuads>;
using MeshFactoryFactoryStrip = MeshFactoryFactoryTyped<MeshFactoryStrip>;

}  // namespace Ps
