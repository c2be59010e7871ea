#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "particle_system/ps_mesh.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_mesh_factory.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

using Ps::Mesh;
using Ps::MeshFactoryQuads;
using Ps::MeshFactoryStrip;

TEST(PsMesh, StrideSumsTheVertexParts)
{
    const std::uint8_t channels[] = {2, 3};
    EXPECT_EQ(12u, Mesh::computeVertexStride(3, false, false, nullptr, 0));
    EXPECT_EQ(24u, Mesh::computeVertexStride(3, true, false, nullptr, 0));
    EXPECT_EQ(16u, Mesh::computeVertexStride(3, false, true, nullptr, 0));
    EXPECT_EQ(36u, Mesh::computeVertexStride(3, true, true, channels, 1));
    EXPECT_EQ(48u, Mesh::computeVertexStride(3, true, true, channels, 2));
    EXPECT_EQ(8u + 4u + 8u, Mesh::computeVertexStride(2, false, true, channels, 1));
}

TEST(PsMesh, BlockLayoutIsChannelsThenVerticesThenIndices)
{
    const std::uint8_t channels[] = {2, 4};
    const std::uint32_t size = Mesh::computePoolSize(10, 3, true, true, channels, 2, 30);
    const std::uint32_t stride = 12 + 12 + 4 + 8 + 16;
    EXPECT_EQ(2u * 4u + 10u * stride + 30u * 4u, size);

    std::vector<std::uint8_t> block(size, 0xAB);
    Mesh mesh(block.data(), 10, 3, true, true, channels, 2, 30);
    EXPECT_EQ(block.data(), mesh.getData());
    EXPECT_EQ(size, mesh.getDataSize());
    EXPECT_EQ(stride, mesh.getVertexStride());
    // The head of the channel area holds the sizes, the rest of the 8 bytes is zero.
    EXPECT_EQ(2, block[0]);
    EXPECT_EQ(4, block[1]);
    for (int i = 2; i < 8; ++i)
        EXPECT_EQ(0, block[i]) << i;
    EXPECT_EQ(block.data() + 8, mesh.getVertices());
    EXPECT_EQ(reinterpret_cast<std::uint32_t*>(block.data() + 8 + 10 * stride), mesh.getIndices());
    EXPECT_EQ(mesh.getVertices() + 3 * stride, mesh.getVertex(3));

    EXPECT_EQ(0u, mesh.getPositionOffset());
    EXPECT_EQ(12u, mesh.getNormalOffset());
    EXPECT_EQ(24u, mesh.getColorOffset());
    EXPECT_EQ(28u, mesh.getTexChannelsOffset());
    EXPECT_EQ(28u, mesh.getTexChannelOffset(0));
    EXPECT_EQ(36u, mesh.getTexChannelOffset(1));
    EXPECT_EQ(2u, mesh.getTexChannelSize(0));
    EXPECT_EQ(4u, mesh.getTexChannelSize(1));
}

TEST(PsMesh, OffsetsWithoutOptionalParts)
{
    const std::uint8_t channels[] = {2};
    std::vector<std::uint8_t> block(Mesh::computePoolSize(1, 3, false, false, channels, 1, 3));
    Mesh mesh(block.data(), 1, 3, false, false, channels, 1, 3);
    EXPECT_EQ(12u, mesh.getColorOffset());
    EXPECT_EQ(12u, mesh.getTexChannelsOffset());
    EXPECT_EQ(20u, mesh.getVertexStride());
}

TEST(PsMesh, CreateInPoolPlacesObjectBeforeBlock)
{
    const std::uint8_t channels[] = {2};
    const std::uint32_t withObject =
        Mesh::computePoolSizeWithMeshObject(7, 3, false, true, channels, 1, 21);
    const std::uint32_t blockOnly = Mesh::computePoolSize(7, 3, false, true, channels, 1, 21);
    EXPECT_GE(withObject, blockOnly + sizeof(Mesh));
    EXPECT_EQ(0u, withObject % 8);

    std::vector<std::uint8_t> pool(withObject + 16, 0xCD);
    Mesh* mesh = Mesh::createInPool(pool.data(), 7, 3, false, true, channels, 1, 21);
    EXPECT_EQ(static_cast<void*>(pool.data()), static_cast<void*>(mesh));
    EXPECT_GE(mesh->getData(), pool.data() + sizeof(Mesh));
    EXPECT_LE(mesh->getData() + mesh->getDataSize(), pool.data() + withObject);
    // Nothing beyond the stated size was touched.
    for (std::uint32_t i = withObject; i < pool.size(); ++i)
        EXPECT_EQ(0xCD, pool[i]);
    EXPECT_EQ(0u, mesh->getNumVertices());
    EXPECT_EQ(0u, mesh->getNumIndices());
    EXPECT_EQ(7u, mesh->getMaxVertices());
    EXPECT_EQ(21u, mesh->getMaxIndices());
}

TEST(PsMesh, ClearResetsCountsButKeepsContents)
{
    const std::uint8_t channels[] = {2};
    std::vector<std::uint8_t> block(Mesh::computePoolSize(4, 3, false, true, channels, 1, 6));
    Mesh mesh(block.data(), 4, 3, false, true, channels, 1, 6);
    std::memset(mesh.getVertices(), 0x11, 4 * mesh.getVertexStride());
    mesh.getIndices()[5] = 77;
    mesh.setNumVertices(4);
    mesh.setNumIndices(6);
    mesh.clear();
    EXPECT_EQ(0u, mesh.getNumVertices());
    EXPECT_EQ(0u, mesh.getNumIndices());
    EXPECT_EQ(0x11, mesh.getVertex(3)[0]);
    EXPECT_EQ(77u, mesh.getIndices()[5]);
}

template <class Factory>
Mesh* makeMesh(const Factory& factory, std::vector<std::uint8_t>& pool)
{
    pool.assign(factory.getInstancePoolSizeWithObject(), 0);
    return factory.create(pool.data());
}

TEST(PsMeshFactory, QuadsHaveFourVerticesSixIndicesAndTheirPattern)
{
    MeshFactoryQuads factory(3, true, true);
    EXPECT_EQ(3u, factory.getMaxNumParticles());
    EXPECT_TRUE(factory.hasNormals());
    EXPECT_TRUE(factory.hasColors());
    std::vector<std::uint8_t> pool;
    Mesh* mesh = makeMesh(factory, pool);
    EXPECT_EQ(12u, mesh->getMaxVertices());
    EXPECT_EQ(18u, mesh->getMaxIndices());
    EXPECT_EQ(3u, mesh->getNumPositionComponents());
    EXPECT_TRUE(mesh->hasNormals());
    EXPECT_TRUE(mesh->hasColors());
    ASSERT_EQ(1u, mesh->getNumTexChannels());
    EXPECT_EQ(2u, mesh->getTexChannelSize(0));
    EXPECT_EQ(12u + 12u + 4u + 8u, mesh->getVertexStride());
    EXPECT_EQ(0u, mesh->getNumVertices());
    EXPECT_EQ(0u, mesh->getNumIndices());

    const std::vector<std::uint32_t> expected = {0, 3, 1, 1, 3,  2, 4, 7,  5,
                                                 5, 7, 6, 8, 11, 9, 9, 11, 10};
    const std::vector<std::uint32_t> got(mesh->getIndices(), mesh->getIndices() + 18);
    EXPECT_EQ(expected, got);
}

TEST(PsMeshFactory, StripsHaveFiveVerticesNineIndicesAndTheirPattern)
{
    MeshFactoryStrip factory(2, false, true);
    std::vector<std::uint8_t> pool;
    Mesh* mesh = makeMesh(factory, pool);
    EXPECT_EQ(10u, mesh->getMaxVertices());
    EXPECT_EQ(18u, mesh->getMaxIndices());
    EXPECT_FALSE(mesh->hasNormals());
    EXPECT_TRUE(mesh->hasColors());
    EXPECT_EQ(12u + 4u + 8u, mesh->getVertexStride());
    const std::vector<std::uint32_t> expected = {0, 1, 3, 3, 1, 2, 0, 3, 4,
                                                 5, 6, 8, 8, 6, 7, 5, 8, 9};
    const std::vector<std::uint32_t> got(mesh->getIndices(), mesh->getIndices() + 18);
    EXPECT_EQ(expected, got);
}

TEST(PsMeshFactory, EveryIndexStaysWithinTheVertexBuffer)
{
    MeshFactoryStrip strip(50, false, true);
    MeshFactoryQuads quads(50, true, true);
    std::vector<std::uint8_t> poolA, poolB;
    for (Mesh* mesh : {makeMesh(strip, poolA), makeMesh(quads, poolB)})
    {
        for (std::uint32_t i = 0; i < mesh->getMaxIndices(); ++i)
            EXPECT_LT(mesh->getIndices()[i], mesh->getMaxVertices());
    }
}

TEST(PsMeshFactory, ZeroParticlesMakeAnEmptyMesh)
{
    MeshFactoryQuads factory(0, true, true);
    std::vector<std::uint8_t> pool;
    Mesh* mesh = makeMesh(factory, pool);
    EXPECT_EQ(0u, mesh->getMaxVertices());
    EXPECT_EQ(0u, mesh->getMaxIndices());
}

TEST(PsMeshFactory, PoolSizeCoversTheMeshExactly)
{
    MeshFactoryQuads factory(5, true, true);
    const std::uint8_t channels[] = {2};
    EXPECT_EQ(Mesh::computePoolSizeWithMeshObject(20, 3, true, true, channels, 1, 30),
              factory.getInstancePoolSizeWithObject());
}

// Mesh pool sizes for every small particle count, both kinds and every vertex
// layout: many of the data blocks are not a multiple of the allocator's
// alignment (a quad mesh of one particle without normals and colours holds
// 4 + 80 + 24 = 108 bytes).
template <class Factory>
void checkMeshesTakeTheirCountedBytesInAPool(bool hasNormals, bool hasColors)
{
    const std::uint8_t channels[] = {2};
    for (std::uint32_t particles = 0; particles < 12; ++particles)
    {
        const Factory factory(particles, hasNormals, hasColors);
        const std::uint32_t block =
            Mesh::computePoolSize(factory.getMaxVertices(), 3, hasNormals, hasColors, channels, 1,
                                  factory.getMaxIndices());
        const std::uint32_t size = factory.getInstancePoolSizeWithObject();
        EXPECT_EQ(Ps::Allocator::aligned(sizeof(Mesh)) + Ps::Allocator::aligned(block), size)
            << particles;
        EXPECT_EQ(0u, size % Ps::Allocator::kAlignment) << particles;

        // Three meshes placed one after the other, as an instance places them: each takes
        // exactly its counted bytes, stays aligned and writes nothing beyond them.
        const std::uint32_t poolSize = 3 * Ps::Allocator::aligned(size);
        std::vector<std::uint8_t> pool(poolSize + 16, 0xCD);
        Ps::Allocator allocator(pool.data(), poolSize);
        for (int m = 0; m < 3; ++m)
        {
            std::uint8_t* at = allocator.alloc(size);
            Mesh* mesh = factory.create(at);
            EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(mesh) % alignof(Mesh));
            EXPECT_EQ(at + Ps::Allocator::aligned(sizeof(Mesh)), mesh->getData());
            EXPECT_EQ(block, mesh->getDataSize());
            EXPECT_LE(mesh->getData() + mesh->getDataSize(), at + size);
        }
        EXPECT_EQ(poolSize, allocator.getUsedSize());
        for (std::uint32_t i = poolSize; i < pool.size(); ++i)
            EXPECT_EQ(0xCD, pool[i]) << particles;
    }
}

TEST(PsMeshFactory, MeshesTakeTheirCountedBytesInAPool)
{
    for (bool hasNormals : {false, true})
        for (bool hasColors : {false, true})
        {
            checkMeshesTakeTheirCountedBytesInAPool<MeshFactoryQuads>(hasNormals, hasColors);
            checkMeshesTakeTheirCountedBytesInAPool<MeshFactoryStrip>(hasNormals, hasColors);
        }
}

TEST(PsMesh, OddBlockIsRoundedAsTheAllocatorRounds)
{
    // One vertex of 3 floats and one index behind a 2-float channel: 4 + 20 + 4 = 28 bytes.
    const std::uint8_t channels[] = {2};
    ASSERT_EQ(28u, Mesh::computePoolSize(1, 3, false, false, channels, 1, 1));
    EXPECT_EQ(Ps::Allocator::aligned(sizeof(Mesh)) + Ps::Allocator::aligned(28),
              Mesh::computePoolSizeWithMeshObject(1, 3, false, false, channels, 1, 1));
    // Without channels, colours on (the debug meshes): 16 bytes a vertex, 3 indices.
    EXPECT_EQ(Ps::Allocator::aligned(sizeof(Mesh)) + Ps::Allocator::aligned(3 * 16 + 3 * 4),
              Mesh::computePoolSizeWithMeshObject(3, 3, false, true, nullptr, 0, 3));
}

// The tail of a mesh entry of a compiled effect: "has_normals", "has_colors",
// followed by a marker byte that must be left for the next reader.
std::vector<std::uint8_t> meshEntryTail(bool hasNormals, bool hasColors)
{
    Sl::SaverBinFlex saver;
    saver.write("has_normals", hasNormals);
    saver.write("has_colors", hasColors);
    saver.write("marker", std::uint8_t(0x5A));
    return saver.dataAsVector();
}

template <class Factory>
void checkFactoryFactoryReadsEntry(Ps::EnumMeshFactories type, bool hasNormals, bool hasColors)
{
    Ps::MeshFactoryFactoryTyped<Factory> factoryFactory;
    EXPECT_EQ(type, factoryFactory.getType());
    const std::vector<std::uint8_t> bytes = meshEntryTail(hasNormals, hasColors);

    Sl::LoaderBinArray sizing(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const std::uint32_t poolSize = factoryFactory.computePoolSize(sizing);
    std::uint8_t marker = 0;
    sizing.read(marker);
    EXPECT_EQ(0x5A, marker);

    std::vector<std::uint8_t> pool(poolSize);
    Ps::Allocator allocator(pool.data(), poolSize);
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    Ps::MeshFactory* factory = factoryFactory.create(loader, 9, allocator);
    EXPECT_EQ(poolSize, allocator.getUsedSize());
    marker = 0;
    loader.read(marker);
    EXPECT_EQ(0x5A, marker);

    ASSERT_NE(nullptr, dynamic_cast<Factory*>(factory));
    EXPECT_EQ(9u, factory->getMaxNumParticles());
    EXPECT_EQ(hasNormals, factory->hasNormals());
    EXPECT_EQ(hasColors, factory->hasColors());
    EXPECT_EQ(9u * Factory::kVerticesPerParticle, factory->getMaxVertices());
}

TEST(PsMeshFactoryFactory, ReadsTheEntryAndSizesThePoolExactly)
{
    checkFactoryFactoryReadsEntry<MeshFactoryQuads>(Ps::MF_Quads, true, true);
    checkFactoryFactoryReadsEntry<MeshFactoryStrip>(Ps::MF_Strip, false, true);
    checkFactoryFactoryReadsEntry<MeshFactoryQuads>(Ps::MF_Quads, false, false);
}

TEST(PsMeshFactoryFactory, TruncatedEntryRaisesEndOfBuffer)
{
    Sl::SaverBinFlex saver;
    saver.write("has_normals", true);
    const std::vector<std::uint8_t> bytes = saver.dataAsVector();
    Ps::MeshFactoryFactoryTyped<MeshFactoryStrip> factoryFactory;
    Sl::LoaderBinArray loader(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_THROW(factoryFactory.computePoolSize(loader), Sl::EndOfBufferException);
}

}  // namespace
