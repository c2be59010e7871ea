#pragma once

#include <optional>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_operation.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class Emitter;
class RandomGenerator;
class SystemInst;

// The record that follows a particle's dynamic data.
struct ParticleInfo
{
    // The particle has ended but its connected instances still run.
    bool waitingForDelete_;
    // Seconds to process at this moment; for a new particle, the part of the step after its birth.
    float dt;
    // What the renderer, the sort and the attached emitters see.
    glm::vec3 position;
    // One instance per connected emitter, placed inside this particle's record.
    EmitterInst** connectedEmitters;
};

// Sort orders of an emitter's particles, which are also the orders of drawing.
enum EnumEmitterSorting : uint8
{
    ES_OlderFirst = 0,
    ES_YoungerFirst = 1,
    ES_DepthCorrect = 2,
    ES_Count = 3,
};

// One running emitter: the particles of one Ps::Emitter in one fixed block, driven through the
// emitter's chains. The block, after the object: emitter data, working area, particles (records
// of the stride), links, sort array. A particle's record holds the blocks of its connected
// emitter instances, so a tree of emitters is a single block.
//
// Active and free particles form two lists over the one links array; a list ends with an
// element linked to itself. The newest particle is the head of the active list.
class EmitterInst
{
public:
    struct SortInfo
    {
        uint32 index;
        float distance;
    };

    // The steps of one walk of the update (defined with the walk; no part of the host's API).
    struct WalkProgram;

    static EmitterInst* createInPool(uint8* pool, SystemInst& systemInst, const Emitter& emitter,
                                     const glm::vec3& position, const glm::quat& rotation);
    // The block after the object.
    static uint32 computePoolSize(const Emitter& emitter);
    // The stride of a particle record.
    static uint32 computeParticleDataSize(const Emitter& emitter);
    static uint32 computePoolSizeWithInstObject(const Emitter& emitter);

    EmitterInst(const EmitterInst&) = delete;
    EmitterInst& operator=(const EmitterInst&) = delete;

    void reset(const std::optional<glm::vec3>& position, const std::optional<glm::quat>& rotation);
    void start() { active_ = true; }
    void stop() { active_ = false; }
    bool isActive() const { return active_; }

    void update(const std::optional<glm::vec3>& position, const std::optional<glm::quat>& rotation,
                float dt);
    // Called by generators: `dt` is the part of the step after this moment; `interp` receives the
    // place of each new particle in its burst before its init chain runs.
    void shootParticles(uint32 count, float dt, float& interp);
    void construct(const glm::mat3& camera, const std::optional<RenderConfig>& config);

    uint32 getNumActiveParticles() const { return numActiveParticles_; }
    SystemInst& getSystemInst() const { return *systemInst_; }
    const Emitter& getEmitter() const { return *emitter_; }
    RandomGenerator& getRandomGenerator() const;
    uint32 getPoolSize() const { return poolSize_; }
    uint32 getParticleStride() const { return particleStride_; }

    // Addresses for the operations.
    void* getVoidPtrStaticData(const Operation& op) const
    {
        return staticData_ + op.getEmitterDataOffset();
    }
    void* getVoidPtrDynamicData(const Operation& op) const
    {
        return workingArea_ + op.getParticleDataOffset();
    }
    // The stored dynamic data of the particle processed before the current one in this walk;
    // null when there is none.
    void* getVoidPtrPrevParticleDynamicData(const Operation& op) const
    {
        return prevParticleInfo_ ? reinterpret_cast<uint8*>(prevParticleInfo_) - infoOffset_ +
                                       op.getParticleDataOffset()
                                 : nullptr;
    }
    ParticleInfo& getParticleInfo() const { return *currentParticleInfo_; }
    ParticleInfo* getPrevParticleInfo() const { return prevParticleInfo_; }

    const glm::vec3& getEmitterPosition() const { return position_; }
    const glm::quat& getEmitterRotation() const { return rotation_; }
    const glm::vec3& getPrevEmitterPosition() const { return prevPosition_; }
    const glm::quat& getPrevEmitterRotation() const { return prevRotation_; }
    float getPrevEmitterPositionTime() const { return prevPositionTime_; }
    const glm::vec3& getEmitterVelocity() const { return velocity_; }
    float getTime() const { return time_; }
    void setTime(float time) { time_ = time; }
    void setEmitterPosition(const glm::vec3& position) { position_ = position; }
    void setEmitterRotation(const glm::quat& rotation) { rotation_ = rotation; }
    float getTraveledDistance() const { return traveledDistance_; }
    // Whether a shot would make a particle: false once the pool is full.
    bool hasFreeParticle() const { return freeHead_.has_value(); }

    // Read access to the particles, for hosts and tools: the active list from the newest.
    std::optional<uint32> getHead() const { return head_; }
    uint32 getLink(uint32 i) const { return links_[i]; }
    const ParticleInfo& getParticleInfoAt(uint32 i) const { return *info(i); }
    const uint8* getParticleDynamicDataAt(uint32 i) const { return particle(i); }
    uint32 getMaxNumParticles() const;

    // How update walks the particles (see WalkProgram in the source): the general walk, one
    // virtual call per operation; a program of steps through the working area; a program on the
    // particles' records; the same by batches of particles. For tests and tools.
    enum EnumWalk : uint8
    {
        WK_General = 0,
        WK_WorkingArea = 1,
        WK_InPlace = 2,
        WK_Batches = 3,
    };
    EnumWalk getWalk() const;
    // Off: every instance takes the general walk (to compare the two).
    static void setWalkPrograms(bool on);
    static bool walkPrograms();

    // Checks both lists: every particle is in exactly one, the active count matches. Run after
    // each removal when linkage checks are on (they cost a walk over the pool).
    void assertLinkage() const;
    static void setLinkageChecks(bool on);
    static bool linkageChecks();

private:
    EmitterInst(uint32 poolSize, SystemInst& systemInst, const Emitter& emitter,
                const glm::vec3& position, const glm::quat& rotation);

    uint8* particle(uint32 i) const
    {
        return particles_ + static_cast<uint64>(i) * particleStride_;
    }
    ParticleInfo* info(uint32 i) const
    {
        return reinterpret_cast<ParticleInfo*>(particle(i) + infoOffset_);
    }

    // The walk of the update over the active list. The usual walk runs a program of steps made
    // from the update and terminator chains at the start of the walk (see WalkProgram in the
    // source); the general walk, one virtual call per operation, serves the chains too long for
    // a program and is the reference the program keeps to.
    void walkParticles(float dt);
    void walkGeneric(float dt);
    bool buildWalkProgram(WalkProgram& program) const;
    template <bool InPlace>
    void walkProgram(const WalkProgram& program, float dt);

    bool killParticleIfReady(uint32 i, std::optional<uint32> prev);
    // A particle that waits for its attached emitters during a walk.
    void stepWaitingParticle(uint32 i, ParticleInfo& info, uint32 numConnected,
                             std::optional<uint32>& prev, float dt);
    void sort(const glm::vec3& cameraDir);
    const RenderConfig::Emitter* configEntry(const std::optional<RenderConfig>& config) const;
    void preProcessWalk(const glm::mat3& camera, bool skipWaiting);
    void constructParticle(uint32 i, bool preprocessed, const glm::mat3& camera);
    void constructAlone(const glm::mat3& camera, const std::optional<RenderConfig>& config);
    void constructAsParent(const glm::mat3& camera, const std::optional<RenderConfig>& config);
    void constructAsParentWithoutConstructor(const glm::mat3& camera,
                                             const std::optional<RenderConfig>& config);
    void constructChildren(uint32 i, bool drawBefore, const glm::mat3& camera,
                           const std::optional<RenderConfig>& config);

    uint32 poolSize_;
    SystemInst* systemInst_;
    const Emitter* emitter_;
    uint32 particleStride_;
    uint32 dynamicSize_;      // bytes copied between a record and the working area
    uint32 infoOffset_;       // of the ParticleInfo in a record
    uint32 connectedOffset_;  // of the array of connected instances in a record
    uint8* staticData_;
    uint8* workingArea_;
    uint8* particles_;
    uint32* links_;
    SortInfo* sortArray_;
    ParticleInfo* currentParticleInfo_ = nullptr;
    ParticleInfo* prevParticleInfo_ = nullptr;
    std::optional<uint32> head_;
    std::optional<uint32> freeHead_;
    uint32 numActiveParticles_ = 0;
    glm::vec3 prevPosition_;
    glm::quat prevRotation_;
    float prevPositionTime_ = 0.0f;
    glm::vec3 position_;
    glm::quat rotation_;
    float time_ = 0.0f;
    glm::vec3 velocity_{0.0f};
    float traveledDistance_ = 0.0f;
    bool active_ = true;
};

template <class T>
const T* StaticOutputDesc<T>::getPtr(EmitterInst& inst) const
{
    return reinterpret_cast<const T*>(
        static_cast<const uint8*>(inst.getVoidPtrStaticData(operation_)) + offset_);
}

template <class T>
const T* DynamicOutputDesc<T>::getPtr(EmitterInst& inst) const
{
    return reinterpret_cast<const T*>(
        static_cast<const uint8*>(inst.getVoidPtrDynamicData(operation_)) + offset_);
}

}  // namespace Ps
