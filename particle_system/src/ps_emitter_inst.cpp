#include "particle_system/ps_emitter_inst.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include <glm/geometric.hpp>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system_inst.h"

namespace Ps
{

namespace
{

bool gLinkageChecks = false;

const glm::quat kIdentity(1.0f, 0.0f, 0.0f, 0.0f);

uint32 objectSize() { return Allocator::aligned(sizeof(EmitterInst)); }

}  // namespace

uint32 EmitterInst::computeParticleDataSize(const Emitter& emitter)
{
    uint64 size = Allocator::aligned(emitter.getDynamicDataSize());
    size += Allocator::aligned(sizeof(ParticleInfo));
    size += Allocator::alignedArray(emitter.getNumConnectedEmitters(), sizeof(EmitterInst*));
    for (uint32 i = 0; i < emitter.getNumConnectedEmitters(); ++i)
    {
        size += computePoolSizeWithInstObject(*emitter.getConnectedEmitter(i).emitter);
        Allocator::checkedSize(size);
    }
    return Allocator::checkedSize(size);
}

uint32 EmitterInst::computePoolSize(const Emitter& emitter)
{
    const uint32 n = emitter.getMaxNumParticles();
    uint64 size = Allocator::aligned(emitter.getStaticDataSize());
    size += Allocator::aligned(emitter.getDynamicDataSize());
    size += Allocator::alignedArray(n, emitter.getParticleStride());
    size += Allocator::alignedArray(n, sizeof(uint32));
    size += Allocator::alignedArray(n, sizeof(SortInfo));
    return Allocator::checkedSize(size);
}

uint32 EmitterInst::computePoolSizeWithInstObject(const Emitter& emitter)
{
    return Allocator::checkedSize(static_cast<uint64>(objectSize()) + emitter.getInstPoolSize());
}

EmitterInst* EmitterInst::createInPool(uint8* pool, SystemInst& systemInst, const Emitter& emitter,
                                       const glm::vec3& position, const glm::quat& rotation)
{
    return new (pool) EmitterInst(computePoolSizeWithInstObject(emitter), systemInst, emitter,
                                  position, rotation);
}

EmitterInst::EmitterInst(uint32 poolSize, SystemInst& systemInst, const Emitter& emitter,
                         const glm::vec3& position, const glm::quat& rotation)
    : poolSize_(poolSize),
      systemInst_(&systemInst),
      emitter_(&emitter),
      particleStride_(emitter.getParticleStride()),
      dynamicSize_(emitter.getDynamicDataSize()),
      infoOffset_(Allocator::aligned(emitter.getDynamicDataSize())),
      prevPosition_(position),
      prevRotation_(rotation),
      position_(position),
      rotation_(rotation)
{
    connectedOffset_ = infoOffset_ + Allocator::aligned(sizeof(ParticleInfo));
    const uint32 n = emitter.getMaxNumParticles();
    staticData_ = reinterpret_cast<uint8*>(this) + objectSize();
    workingArea_ = staticData_ + Allocator::aligned(emitter.getStaticDataSize());
    particles_ = workingArea_ + Allocator::aligned(emitter.getDynamicDataSize());
    links_ = reinterpret_cast<uint32*>(particles_ + Allocator::alignedArray(n, particleStride_));
    sortArray_ = reinterpret_cast<SortInfo*>(reinterpret_cast<uint8*>(links_) +
                                             Allocator::alignedArray(n, sizeof(uint32)));
    reset(std::nullopt, std::nullopt);
}

RandomGenerator& EmitterInst::getRandomGenerator() const
{
    return systemInst_->getRandomGenerator();
}

uint32 EmitterInst::getMaxNumParticles() const { return emitter_->getMaxNumParticles(); }

void EmitterInst::reset(const std::optional<glm::vec3>& position,
                        const std::optional<glm::quat>& rotation)
{
    if (position)
    {
        position_ = *position;
        prevPosition_ = *position;
    }
    if (rotation)
    {
        rotation_ = *rotation;
        prevRotation_ = *rotation;
    }
    time_ = 0.0f;
    prevPositionTime_ = 0.0f;
    traveledDistance_ = 0.0f;

    const uint32 n = emitter_->getMaxNumParticles();
    for (uint32 i = 0; i + 1 < n; ++i)
        links_[i] = i + 1;
    if (n > 0)
    {
        links_[n - 1] = n - 1;
        freeHead_ = 0;
    }
    else
    {
        freeHead_.reset();
    }
    head_.reset();
    numActiveParticles_ = 0;
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;

    emitter_->initData(*this);
}

void EmitterInst::update(const std::optional<glm::vec3>& position,
                         const std::optional<glm::quat>& rotation, float dt)
{
    systemInst_->getStatsEmitter(emitter_->getIndex()).numEmitters += 1;

    if (position)
    {
        prevPositionTime_ = time_;
        if (*position != position_)
        {
            const glm::vec3 step = *position - position_;
            velocity_ = step / dt;
            traveledDistance_ += std::sqrt(step.x * step.x + step.y * step.y + step.z * step.z);
        }
        else
        {
            velocity_ = glm::vec3(0.0f);
        }
        // The start of the step just taken; a standing emitter thus has a step of length 0.
        prevPosition_ = position_;
    }
    else if (rotation)
    {
        prevPositionTime_ = time_;
        velocity_ = glm::vec3(0.0f);
    }
    if (rotation)
        prevRotation_ = rotation_;

    if (active_)
    {
        // Copies: the generator moves position_ and rotation_ while it works.
        const glm::vec3 targetPosition = position ? *position : position_;
        const glm::quat targetRotation = rotation ? *rotation : rotation_;
        emitter_->processGeneratorChain(*this, targetPosition, targetRotation, dt);
    }
    else
    {
        if (position)
            position_ = *position;
        if (rotation)
            rotation_ = *rotation;
        time_ += dt;
    }

    if (!head_)
        return;
    SystemInst::Stats::Emitter& stats = systemInst_->getStatsEmitter(emitter_->getIndex());
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    uint32 i = *head_;
    std::optional<uint32> prev;
    ParticleInfo* visited = nullptr;
    for (;;)
    {
        stats.numParticles += 1;
        const uint32 next = links_[i];
        ParticleInfo* const info = this->info(i);
        currentParticleInfo_ = info;
        prevParticleInfo_ = visited;
        if (info->waitingForDelete_)
        {
            for (uint32 c = 0; c < numConnected; ++c)
                info->connectedEmitters[c]->update(std::nullopt, std::nullopt, dt);
            if (!killParticleIfReady(i, prev))
                prev = i;
        }
        else
        {
            uint8* const record = particle(i);
            std::memcpy(workingArea_, record, dynamicSize_);
            info->dt = dt;
            emitter_->processUpdateChain(*this, dt);
            if (!emitter_->processTerminatorChain(*this, dt))
            {
                std::memcpy(record, workingArea_, dynamicSize_);
                prev = i;
            }
            else if (!killParticleIfReady(i, prev))
            {
                prev = i;
            }
        }
        visited = info;
        if (next == i)
            break;
        i = next;
    }
}

bool EmitterInst::killParticleIfReady(uint32 i, std::optional<uint32> prev)
{
    ParticleInfo* const info = this->info(i);
    if (!info->waitingForDelete_)
        emitter_->processParticleTerminationChain(*this);
    info->waitingForDelete_ = true;
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 c = 0; c < numConnected; ++c)
    {
        const EmitterInst& child = *info->connectedEmitters[c];
        if (child.isActive() || child.getNumActiveParticles() > 0)
            return false;
    }

    const uint32 next = links_[i];
    const bool wasTail = next == i;
    links_[i] = freeHead_ ? *freeHead_ : i;
    freeHead_ = i;
    if (prev)
        links_[*prev] = wasTail ? *prev : next;
    else if (wasTail)
        head_.reset();
    else
        head_ = next;

    DEBUG_ASSERT(numActiveParticles_ > 0);
    --numActiveParticles_;
    if (gLinkageChecks)
        assertLinkage();
    return true;
}

void EmitterInst::shootParticles(uint32 count, float dt, float& interp)
{
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    if (count == 0 || !freeHead_)
        return;
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 n = 0; n < count && freeHead_; ++n)
    {
        const uint32 i = *freeHead_;
        if (links_[i] == i)
            freeHead_.reset();
        else
            freeHead_ = links_[i];
        links_[i] = head_ ? *head_ : i;
        head_ = i;

        interp = count == 1 ? 1.0f : static_cast<float>(n) / static_cast<float>(count - 1);

        prevParticleInfo_ = currentParticleInfo_;
        uint8* const record = particle(i);
        ParticleInfo* const info = reinterpret_cast<ParticleInfo*>(record + infoOffset_);
        currentParticleInfo_ = info;
        info->waitingForDelete_ = false;
        info->dt = dt;
        info->position = position_;
        info->connectedEmitters = reinterpret_cast<EmitterInst**>(record + connectedOffset_);
        if (numConnected)
        {
            // Each child instance is placed at once, so that no particle ever holds an unmade
            // one; the init chain's Ps::ParameterEmitterIniter makes it anew as it wants it.
            uint8* block = record + connectedOffset_ +
                           Allocator::alignedArray(numConnected, sizeof(EmitterInst*));
            for (uint32 c = 0; c < numConnected; ++c)
            {
                const Emitter& connected = *emitter_->getConnectedEmitter(c).emitter;
                info->connectedEmitters[c] =
                    createInPool(block, *systemInst_, connected, position_, kIdentity);
                block += computePoolSizeWithInstObject(connected);
            }
        }
        ++numActiveParticles_;
        emitter_->processInitChain(*this, n == 0);
        std::memcpy(record, workingArea_, dynamicSize_);
    }
}

void EmitterInst::sort(const glm::vec3& cameraDir)
{
    const uint32 n = numActiveParticles_;
    if (!head_ || n == 0)
        return;
    uint32 k = 0;
    uint32 i = *head_;
    switch (emitter_->getSorting())
    {
    case ES_OlderFirst:
        for (;;)
        {
            sortArray_[k++] = {i, 0.0f};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        break;
    case ES_YoungerFirst:
        for (;;)
        {
            sortArray_[n - 1 - k++] = {i, 0.0f};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        break;
    default:
        for (;;)
        {
            sortArray_[k++] = {i, glm::dot(cameraDir, info(i)->position)};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        std::sort(sortArray_, sortArray_ + n,
                  [](const SortInfo& a, const SortInfo& b) { return a.distance > b.distance; });
        break;
    }
    DEBUG_ASSERT(k == n);
}

const RenderConfig::Emitter*
EmitterInst::configEntry(const std::optional<RenderConfig>& config) const
{
    if (!config)
        return nullptr;
    const uint32 index = emitter_->getIndex();
    DEBUG_ASSERT(index < config->emitters.size());
    return &config->emitters[index];
}

void EmitterInst::preProcessWalk(const glm::mat3& camera, bool skipWaiting)
{
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    uint32 i = *head_;
    for (;;)
    {
        ParticleInfo* const info = this->info(i);
        if (!(skipWaiting && info->waitingForDelete_))
        {
            prevParticleInfo_ = currentParticleInfo_;
            currentParticleInfo_ = info;
            DEBUG_ASSERT(!currentParticleInfo_->waitingForDelete_);
            uint8* const record = particle(i);
            std::memcpy(workingArea_, record, dynamicSize_);
            emitter_->preProcessConstructorChain(*this, camera);
            std::memcpy(record, workingArea_, dynamicSize_);
        }
        if (links_[i] == i)
            break;
        i = links_[i];
    }
}

void EmitterInst::constructParticle(uint32 i, bool preprocessed, const glm::mat3& camera)
{
    prevParticleInfo_ = currentParticleInfo_;
    currentParticleInfo_ = info(i);
    uint8* const record = particle(i);
    Constructor& constructor = *emitter_->getConstructor();
    Mesh& mesh = systemInst_->getMesh(constructor.getMeshIndex());
    std::memcpy(workingArea_, record, dynamicSize_);
    if (preprocessed)
        emitter_->processPreprocessedConstructorChain(*this, mesh, camera);
    else
        emitter_->processConstructorChain(*this, mesh, camera);
    std::memcpy(record, workingArea_, dynamicSize_);
}

void EmitterInst::construct(const glm::mat3& camera, const std::optional<RenderConfig>& config)
{
    if (!head_)
        return;
    if (emitter_->getNumConnectedEmitters() == 0)
        constructAlone(camera, config);
    else if (!emitter_->getConstructor())
        constructAsParentWithoutConstructor(camera, config);
    else
        constructAsParent(camera, config);
}

void EmitterInst::constructAlone(const glm::mat3& camera, const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    if (entry && !entry->render)
        return;
    const bool renderPositions = entry && entry->renderPositions;
    Constructor* constructor = emitter_->getConstructor();
    if (!constructor)
    {
        if (renderPositions)
        {
            sort(camera[2]);
            for (uint32 k = 0; k < numActiveParticles_; ++k)
                systemInst_->addParticleToPositionsMesh(info(sortArray_[k].index)->position,
                                                        entry->positionsId);
        }
        return;
    }
    const bool preprocessed = constructor->hasPreProcess();
    if (preprocessed)
        preProcessWalk(camera, false);
    Mesh& mesh = systemInst_->getMesh(constructor->getMeshIndex());
    const uint32 start = mesh.getNumIndices();
    sort(camera[2]);
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructParticle(i, preprocessed, camera);
        if (renderPositions)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
    }
    const uint32 polygons = (mesh.getNumIndices() - start) / 3;
    systemInst_->getStatsEmitter(emitter_->getIndex()).numPolygons += polygons;
    if (polygons)
        systemInst_->pushRenderCall(constructor->getMeshIndex(), constructor->getRenderStyleIndex(),
                                    polygons, entry ? entry->wireframeId : std::nullopt);
}

void EmitterInst::constructChildren(uint32 i, bool drawBefore, const glm::mat3& camera,
                                    const std::optional<RenderConfig>& config)
{
    const ParticleInfo& particleInfo = *info(i);
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 c = 0; c < numConnected; ++c)
        if (emitter_->getConnectedEmitter(c).drawBefore == drawBefore)
            particleInfo.connectedEmitters[c]->construct(camera, config);
}

void EmitterInst::constructAsParent(const glm::mat3& camera,
                                    const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    const bool render = !entry || entry->render;
    const bool renderPositions = render && entry && entry->renderPositions;
    Constructor& constructor = *emitter_->getConstructor();
    const bool preprocessed = constructor.hasPreProcess();
    // A particle waiting for its children to end is no longer drawn: the pre-process passes it by.
    if (render && preprocessed)
        preProcessWalk(camera, true);
    Mesh& mesh = systemInst_->getMesh(constructor.getMeshIndex());
    sort(camera[2]);
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    SystemInst::Stats::Emitter& stats = systemInst_->getStatsEmitter(emitter_->getIndex());
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructChildren(i, true, camera, config);
        const bool waiting = info(i)->waitingForDelete_;
        if (render && !waiting)
        {
            const uint32 start = mesh.getNumIndices();
            constructParticle(i, preprocessed, camera);
            const uint32 polygons = (mesh.getNumIndices() - start) / 3;
            stats.numPolygons += polygons;
            if (polygons)
                systemInst_->pushRenderCall(constructor.getMeshIndex(),
                                            constructor.getRenderStyleIndex(), polygons,
                                            entry ? entry->wireframeId : std::nullopt);
        }
        if (renderPositions && !waiting)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
        constructChildren(i, false, camera, config);
    }
}

void EmitterInst::constructAsParentWithoutConstructor(const glm::mat3& camera,
                                                      const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    const bool renderPositions = entry && entry->render && entry->renderPositions;
    sort(camera[2]);
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructChildren(i, true, camera, config);
        if (renderPositions && !info(i)->waitingForDelete_)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
        constructChildren(i, false, camera, config);
    }
}

void EmitterInst::assertLinkage() const
{
    const uint32 n = emitter_->getMaxNumParticles();
    // The sort array serves as the marks; it is rebuilt by each sort.
    for (uint32 i = 0; i < n; ++i)
        sortArray_[i].index = 0;
    uint32 numActive = 0;
    if (head_)
    {
        uint32 i = *head_;
        for (;;)
        {
            DEBUG_ASSERT(i < n);
            DEBUG_ASSERT(sortArray_[i].index == 0);
            sortArray_[i].index = 1;
            ++numActive;
            if (links_[i] == i)
                break;
            i = links_[i];
        }
    }
    DEBUG_ASSERT(numActive == numActiveParticles_);
    uint32 numFree = 0;
    if (freeHead_)
    {
        uint32 i = *freeHead_;
        for (;;)
        {
            DEBUG_ASSERT(i < n);
            DEBUG_ASSERT(sortArray_[i].index == 0);
            sortArray_[i].index = 2;
            ++numFree;
            if (links_[i] == i)
                break;
            i = links_[i];
        }
    }
    DEBUG_ASSERT(numActive + numFree == n);
}

void EmitterInst::setLinkageChecks(bool on) { gLinkageChecks = on; }

bool EmitterInst::linkageChecks() { return gLinkageChecks; }

}  // namespace Ps
