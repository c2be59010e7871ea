#include "particle_system/ps_system_inst.h"

#include <algorithm>
#include <cstring>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_interpolation.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_random_generator.h"
#include "particle_system/ps_system.h"

namespace Ps
{

namespace
{

// The debug meshes: 3 position components, no normals, a colour slot that holds an id, no
// texture channels.
constexpr uint32 kDebugPositionComponents = 3;

uint32 debugMeshSize(uint32 maxVertices, uint32 maxIndices)
{
    return Mesh::computePoolSizeWithMeshObject(maxVertices, kDebugPositionComponents, false, true,
                                               nullptr, 0, maxIndices);
}

std::unique_ptr<uint8[]> makeDebugMesh(uint32 maxVertices, uint32 maxIndices, Mesh*& mesh)
{
    const uint32 size = debugMeshSize(maxVertices, maxIndices);
    std::unique_ptr<uint8[]> block(new uint8[size]);
    mesh = Mesh::createInPool(block.get(), maxVertices, kDebugPositionComponents, false, true,
                              nullptr, 0, maxIndices);
    return block;
}

}  // namespace

uint32 SystemInst::computePoolSize(const System& system)
{
    uint64 size = Allocator::aligned(RandomGenerator::computePoolSize());
    size += Allocator::alignedArray(system.getNumMeshes(), sizeof(Mesh*));
    for (uint32 i = 0; i < system.getNumMeshes(); ++i)
        size += Allocator::aligned(system.getMeshFactory(i).getInstancePoolSizeWithObject());
    size += Allocator::alignedArray(system.getMaxNumRenderCalls(), sizeof(RenderCall));
    uint32 numStandalone = 0;
    for (uint32 i = 0; i < system.getNumEmitters(); ++i)
        if (system.getEmitter(i).isStandalone())
            ++numStandalone;
    size += Allocator::alignedArray(numStandalone, sizeof(EmitterInst*));
    for (uint32 i = 0; i < system.getNumEmitters(); ++i)
    {
        const Emitter& emitter = system.getEmitter(i);
        if (emitter.isStandalone())
            size += EmitterInst::computePoolSizeWithInstObject(emitter);
        Allocator::checkedSize(size);
    }
    return Allocator::checkedSize(size);
}

uint64 SystemInst::computeMemoryNeed(const System& system)
{
    // The debug meshes as the constructor sizes them: the wireframe after the meshes' vertices
    // and triangles, the positions after the deepest count of particles.
    uint64 totalVertices = 0;
    uint64 totalWireIndices = 0;
    for (uint32 i = 0; i < system.getNumMeshes(); ++i)
    {
        const MeshFactory& factory = system.getMeshFactory(i);
        totalVertices += factory.getMaxVertices();
        totalWireIndices += static_cast<uint64>(factory.getMaxIndices() / 3) * 6;
    }
    uint64 totalParticles = 0;
    for (uint32 i = 0; i < system.getNumEmitters(); ++i)
        totalParticles += system.getEmitter(i).getMaxNumParticlesDeep();
    const uint32 numPositions = Allocator::checkedSize(totalParticles);
    uint64 need = Allocator::aligned(sizeof(SystemInst));
    need += computePoolSize(system);
    need += debugMeshSize(Allocator::checkedSize(totalVertices),
                          Allocator::checkedSize(totalWireIndices));
    need += debugMeshSize(numPositions, numPositions);
    return need;
}

void SystemInst::checkMemoryBudget(const System& system)
{
    Limits::checkMemory(computeMemoryNeed(system), system.getContext().getMemoryBudget(),
                        "one instance of the effect");
}

SystemInst::SystemInst(uint8* pool, const System& system, const glm::vec3& position,
                       const glm::quat& rotation)
    : system_(system), lastPosition_(position), lastRotation_(rotation)
{
    // A host that sized the pool itself still gets the budget's refusal before the debug meshes
    // are made.
    checkMemoryBudget(system);
    stats_.emitters.resize(system.getNumEmitters());

    Allocator allocator(pool, computePoolSize(system));
    random_ = RandomGenerator::createInPool(allocator.alloc(RandomGenerator::computePoolSize()));
    if (const std::optional<uint32> seed = system.retrieveSeed())
        random_->setSeed(*seed);
    else
        random_->setSeed(system.getContext().getRandomValue());

    numMeshes_ = system.getNumMeshes();
    meshes_ = allocator.allocArray<Mesh*>(numMeshes_);
    uint64 totalVertices = 0;
    uint64 totalWireIndices = 0;
    for (uint32 i = 0; i < numMeshes_; ++i)
    {
        const MeshFactory& factory = system.getMeshFactory(i);
        meshes_[i] = factory.create(allocator.alloc(factory.getInstancePoolSizeWithObject()));
        totalVertices += meshes_[i]->getMaxVertices();
        totalWireIndices += static_cast<uint64>(meshes_[i]->getMaxIndices() / 3) * 6;
    }
    wireframeBlock_ = makeDebugMesh(Allocator::checkedSize(totalVertices),
                                    Allocator::checkedSize(totalWireIndices), wireframeMesh_);

    renderCalls_ = allocator.allocArray<RenderCall>(system.getMaxNumRenderCalls());

    for (uint32 i = 0; i < system.getNumEmitters(); ++i)
        if (system.getEmitter(i).isStandalone())
            ++numEmitterInsts_;
    emitterInsts_ = allocator.allocArray<EmitterInst*>(numEmitterInsts_);
    uint32 k = 0;
    uint64 totalParticles = 0;
    for (uint32 i = 0; i < system.getNumEmitters(); ++i)
    {
        const Emitter& emitter = system.getEmitter(i);
        totalParticles += emitter.getMaxNumParticlesDeep();
        if (!emitter.isStandalone())
            continue;
        emitterInsts_[k++] = EmitterInst::createInPool(
            allocator.alloc(EmitterInst::computePoolSizeWithInstObject(emitter)), *this, emitter,
            position, rotation);
    }
    const uint32 numPositions = Allocator::checkedSize(totalParticles);
    positionsBlock_ = makeDebugMesh(numPositions, numPositions, positionsMesh_);

    // Everything the block was sized for has been placed, and nothing else.
    DEBUG_ASSERT(allocator.getUsedSize() == allocator.getPoolSize());

    if (system.getPresimTime() > kMinNormalFloat)
        update(position, rotation, system.getPresimTime());
}

// The debug meshes go with their holders; a constructor that fails half-way (an assertion of
// the presimulation) releases them too.
SystemInst::~SystemInst() = default;

uint32 SystemInst::getNumMeshes() const { return numMeshes_; }

uint32 SystemInst::getMaxNumRenderCalls() const { return system_.getMaxNumRenderCalls(); }

EmitterInst* SystemInst::getEmitterInst(const Emitter& emitter) const
{
    for (uint32 i = 0; i < numEmitterInsts_; ++i)
        if (&emitterInsts_[i]->getEmitter() == &emitter)
            return emitterInsts_[i];
    return nullptr;
}

void SystemInst::update(const glm::vec3& position, const glm::quat& rotation, float dt)
{
    const float frameTime = system_.getFrameTime();
    // Before anything changes: a refused step leaves the instance as it was.
    Limits::checkUpdateTime(dt, subFrameTime_, frameTime);
    const float accumulated = dt + subFrameTime_;
    if (!(accumulated > frameTime))
    {
        subFrameTime_ = accumulated;
        lastPosition_ = position;
        lastRotation_ = rotation;
        return;
    }
    // Every frame of the call is placed on the way from where the emitter stood when the call
    // began (updateFrame moves the last position on), so a long call spreads its frames evenly.
    const glm::vec3 fromPosition = lastPosition_;
    const glm::quat fromRotation = lastRotation_;
    shotsInCall_ = 0;
    float done = 0.0f;
    float rest;
    do
    {
        const float t = done / dt;
        const glm::vec3 framePosition = lerpVec3(fromPosition, position, t);
        const glm::quat frameRotation = slerpQuat(fromRotation, rotation, t);
        done += simulateFrame(framePosition, frameRotation);
        rest = dt - done + subFrameTime_;
    } while (rest > frameTime);
    subFrameTime_ = rest;
    lastPosition_ = position;
    lastRotation_ = rotation;
}

float SystemInst::updateFrame(const glm::vec3& position, const glm::quat& rotation)
{
    shotsInCall_ = 0;
    return simulateFrame(position, rotation);
}

float SystemInst::simulateFrame(const glm::vec3& position, const glm::quat& rotation)
{
    for (Stats::Emitter& emitter : stats_.emitters)
    {
        emitter.numEmitters = 0;
        emitter.numParticles = 0;
    }
    const float frameTime = system_.getFrameTime();
    const float entryTime = time_;
    for (uint32 i = 0; i < numEmitterInsts_; ++i)
    {
        time_ = entryTime;
        emitterInsts_[i]->update(position, rotation, frameTime);
    }
    const float consumed = frameTime - subFrameTime_;
    time_ = entryTime + consumed;
    subFrameTime_ = 0.0f;
    lastPosition_ = position;
    lastRotation_ = rotation;
    uint32 total = 0;
    for (const Stats::Emitter& emitter : stats_.emitters)
        total += emitter.numParticles;
    stats_.numParticles = total;
    return consumed;
}

void SystemInst::construct(const glm::vec3& cameraDir, const glm::vec3& cameraUp,
                           const glm::vec3& cameraRight, const std::optional<RenderConfig>& config)
{
    for (Stats::Emitter& emitter : stats_.emitters)
        emitter.numPolygons = 0;
    numRenderCalls_ = 0;
    for (uint32 i = 0; i < numMeshes_; ++i)
        meshes_[i]->clear();
    wireframeMesh_->clear();
    positionsMesh_->clear();

    const glm::mat3 camera(cameraRight, cameraUp, cameraDir);
    for (uint32 i = 0; i < numEmitterInsts_; ++i)
        emitterInsts_[i]->construct(camera, config);

    uint32 total = 0;
    for (const Stats::Emitter& emitter : stats_.emitters)
        total += emitter.numPolygons;
    stats_.numPolygons = total;
}

void SystemInst::pushRenderCall(uint32 meshIndex, uint32 renderStyleIndex, uint32 numPolygons,
                                std::optional<uint32> wireframeId)
{
    DEBUG_ASSERT(numPolygons);
    const Mesh& mesh = getMesh(meshIndex);
    if (numRenderCalls_ == 0)
    {
        addRenderCall({meshIndex, renderStyleIndex, 0, numPolygons});
    }
    else
    {
        RenderCall& last = renderCalls_[numRenderCalls_ - 1];
        if (last.meshIndex == meshIndex && last.renderStyleIndex == renderStyleIndex)
            last.numPolygons += numPolygons;
        else
            addRenderCall(
                {meshIndex, renderStyleIndex, mesh.getNumIndices() / 3 - numPolygons, numPolygons});
    }
    if (wireframeId)
        copyToWireframe(mesh, numPolygons, *wireframeId);
}

void SystemInst::addRenderCall(const RenderCall& call)
{
    ++numRenderCalls_;
    DEBUG_ASSERT(numRenderCalls_ <= system_.getMaxNumRenderCalls());
    renderCalls_[numRenderCalls_ - 1] = call;
}

void SystemInst::copyToWireframe(const Mesh& mesh, uint32 numPolygons, uint32 wireframeId)
{
    Mesh& wire = *wireframeMesh_;
    const uint32 end = mesh.getNumIndices();
    DEBUG_ASSERT(3ull * numPolygons <= end);
    const uint32 first = end - 3 * numPolygons;
    const uint32* indices = mesh.getIndices();
    uint32 lowest = indices[first];
    uint32 highest = indices[first];
    for (uint32 k = first; k < end; ++k)
    {
        lowest = std::min(lowest, indices[k]);
        highest = std::max(highest, indices[k]);
    }
    DEBUG_ASSERT(highest < mesh.getMaxVertices());

    // The vertices the polygons use, from the lowest index to the highest, with the id in the
    // colour slot.
    const uint32 base = wire.getNumVertices();
    const uint32 count = highest - lowest + 1;
    DEBUG_ASSERT(static_cast<uint64>(base) + count <= wire.getMaxVertices());
    const uint32 components = std::min(mesh.getNumPositionComponents(), kDebugPositionComponents);
    for (uint32 v = 0; v < count; ++v)
    {
        const uint8* from = mesh.getVertex(lowest + v) + mesh.getPositionOffset();
        uint8* to = wire.getVertex(base + v);
        float position[kDebugPositionComponents] = {0.0f, 0.0f, 0.0f};
        std::memcpy(position, from, components * sizeof(float));
        std::memcpy(to + wire.getPositionOffset(), position, sizeof(position));
        std::memcpy(to + wire.getColorOffset(), &wireframeId, sizeof(uint32));
    }
    wire.setNumVertices(base + count);

    // Each triangle (a, b, c) as the lines a-b, b-c, c-a.
    const uint32 numLineIndices = wire.getNumIndices();
    DEBUG_ASSERT(static_cast<uint64>(numLineIndices) + 6ull * numPolygons <= wire.getMaxIndices());
    uint32* out = wire.getIndices() + numLineIndices;
    for (uint32 k = first; k < end; k += 3)
    {
        const uint32 a = base + (indices[k] - lowest);
        const uint32 b = base + (indices[k + 1] - lowest);
        const uint32 c = base + (indices[k + 2] - lowest);
        *out++ = a;
        *out++ = b;
        *out++ = b;
        *out++ = c;
        *out++ = c;
        *out++ = a;
    }
    wire.setNumIndices(numLineIndices + 6 * numPolygons);
}

void SystemInst::addParticleToPositionsMesh(const glm::vec3& position, uint32 id)
{
    Mesh& mesh = *positionsMesh_;
    const uint32 v = mesh.getNumVertices();
    DEBUG_ASSERT(v < mesh.getMaxVertices() && mesh.getNumIndices() < mesh.getMaxIndices());
    uint8* to = mesh.getVertex(v);
    const float xyz[kDebugPositionComponents] = {position.x, position.y, position.z};
    std::memcpy(to + mesh.getPositionOffset(), xyz, sizeof(xyz));
    std::memcpy(to + mesh.getColorOffset(), &id, sizeof(uint32));
    mesh.getIndices()[mesh.getNumIndices()] = v;
    mesh.setNumVertices(v + 1);
    mesh.setNumIndices(mesh.getNumIndices() + 1);
}

}  // namespace Ps
