#include "particle_system/ps_mesh_factory.h"

#include <new>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_mesh.h"
#include "revision_saveload/sl_loader.h"

namespace Ps
{

namespace
{

// Every mesh a factory makes has a 3-component position and one texture
// channel of 2 floats.
constexpr uint32 kPositionComponents = 3;
constexpr uint8 kTexChannels[1] = {2};
constexpr uint32 kNumTexChannels = 1;

// Writes `pattern` for every particle of the mesh, each particle's copy
// shifted by its first vertex.
void fillIndexPattern(Mesh& mesh, const uint32* pattern, uint32 patternSize,
                      uint32 verticesPerParticle, uint32 numParticles)
{
    uint32* out = mesh.getIndices();
    DEBUG_ASSERT(numParticles * patternSize <= mesh.getMaxIndices());
    for (uint32 n = 0; n < numParticles; ++n)
    {
        const uint32 base = n * verticesPerParticle;
        for (uint32 k = 0; k < patternSize; ++k)
            *out++ = pattern[k] + base;
    }
}

constexpr uint32 kQuadPattern[MeshFactoryQuads::kIndicesPerParticle] = {0, 3, 1, 1, 3, 2};
constexpr uint32 kStripPattern[MeshFactoryStrip::kIndicesPerParticle] = {0, 1, 3, 3, 1, 2, 0, 3, 4};

}  // namespace

MeshFactory::MeshFactory(uint32 maxNumParticles, bool hasNormals, bool hasColors,
                         uint32 verticesPerParticle, uint32 indicesPerParticle)
    : maxNumParticles_(maxNumParticles),
      hasNormals_(hasNormals),
      hasColors_(hasColors),
      maxVertices_(maxNumParticles * verticesPerParticle),
      maxIndices_(maxNumParticles * indicesPerParticle),
      instancePoolSize_(Mesh::computePoolSizeWithMeshObject(maxVertices_, kPositionComponents,
                                                            hasNormals, hasColors, kTexChannels,
                                                            kNumTexChannels, maxIndices_))
{
}

Mesh* MeshFactory::createMesh(uint8* pool) const
{
    return Mesh::createInPool(pool, maxVertices_, kPositionComponents, hasNormals_, hasColors_,
                              kTexChannels, kNumTexChannels, maxIndices_);
}

MeshFactoryQuads::MeshFactoryQuads(uint32 maxNumParticles, bool hasNormals, bool hasColors)
    : MeshFactory(maxNumParticles, hasNormals, hasColors, kVerticesPerParticle, kIndicesPerParticle)
{
}

Mesh* MeshFactoryQuads::create(uint8* pool) const
{
    Mesh* mesh = createMesh(pool);
    fillIndexPattern(*mesh, kQuadPattern, kIndicesPerParticle, kVerticesPerParticle,
                     getMaxNumParticles());
    return mesh;
}

MeshFactoryStrip::MeshFactoryStrip(uint32 maxNumParticles, bool hasNormals, bool hasColors)
    : MeshFactory(maxNumParticles, hasNormals, hasColors, kVerticesPerParticle, kIndicesPerParticle)
{
}

Mesh* MeshFactoryStrip::create(uint8* pool) const
{
    Mesh* mesh = createMesh(pool);
    fillIndexPattern(*mesh, kStripPattern, kIndicesPerParticle, kVerticesPerParticle,
                     getMaxNumParticles());
    return mesh;
}

template <class T>
MeshFactory* MeshFactoryFactoryTyped<T>::create(Sl::Loader& loader, uint32 maxNumParticles,
                                                Allocator& allocator) const
{
    bool hasNormals = false;
    bool hasColors = false;
    loader.read(hasNormals);
    loader.read(hasColors);
    return allocator.create<T>(maxNumParticles, hasNormals, hasColors);
}

template <class T>
uint32 MeshFactoryFactoryTyped<T>::computePoolSize(Sl::Loader& loader) const
{
    loader.skipBool();
    loader.skipBool();
    return Allocator::aligned(sizeof(T));
}

template class MeshFactoryFactoryTyped<MeshFactoryQuads>;
template class MeshFactoryFactoryTyped<MeshFactoryStrip>;

}  // namespace Ps
