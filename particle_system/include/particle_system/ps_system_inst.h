#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_types.h"

namespace Ps
{

class Emitter;
class EmitterInst;
class Mesh;
class RandomGenerator;
class System;

// One running effect. It lives in one pool of computePoolSize(system) bytes, given to the
// constructor; the two debug meshes (wireframe, positions) are the only memory outside it, made
// in the constructor. Nothing is allocated by update or construct.
// One instance is used by one thread at a time (ps_system_factory.h tells the thread rules).
//
// Time advances in whole frames of System::getFrameTime(): update() absorbs a host's variable
// step in an accumulator and interpolates the emitter's position and rotation inside the step.
class SystemInst
{
public:
    struct Stats
    {
        struct Emitter
        {
            uint32 numEmitters = 0;   // instances updated in the last simulated frame
            uint32 numParticles = 0;  // particles walked in the last simulated frame
            uint32 numPolygons = 0;   // polygons built in the last construct
        };

        std::vector<Emitter> emitters;  // one per emitter of the effect
        uint32 numParticles = 0;
        uint32 numPolygons = 0;
    };

    static uint32 computePoolSize(const System& system);
    // All that one instance takes: the object, its pool and its two debug meshes.
    static uint64 computeMemoryNeed(const System& system);
    // Throws a LimitException when computeMemoryNeed exceeds the context's memory budget.
    static void checkMemoryBudget(const System& system);

    SystemInst(uint8* pool, const System& system, const glm::vec3& position,
               const glm::quat& rotation);
    virtual ~SystemInst();
    SystemInst(const SystemInst&) = delete;
    SystemInst& operator=(const SystemInst&) = delete;

    virtual const System& getSystem() const { return system_; }
    virtual uint32 getNumMeshes() const;
    virtual Mesh& getMesh(uint32 i) const
    {
        DEBUG_ASSERT(i < numMeshes_);
        return *meshes_[i];
    }
    virtual uint32 getMaxNumRenderCalls() const;
    virtual uint32 getNumRenderCalls() const { return numRenderCalls_; }
    virtual const RenderCall& getRenderCall(uint32 i) const
    {
        DEBUG_ASSERT(i < numRenderCalls_);
        return renderCalls_[i];
    }

    // Advances the effect by dt seconds of the host: as many whole frames as the accumulated time
    // holds, with position and rotation interpolated from those of the last call. A dt that is
    // negative, not finite, or holds more than Limits::kMaxFramesPerUpdate frames is refused
    // with a LimitException and leaves the instance as it was.
    void update(const glm::vec3& position, const glm::quat& rotation, float dt);
    // Simulates one frame and returns the part of the host's time that it consumed.
    float updateFrame(const glm::vec3& position, const glm::quat& rotation);
    // Builds the geometry of all particles; independent of update.
    void construct(const glm::vec3& cameraDir, const glm::vec3& cameraUp,
                   const glm::vec3& cameraRight, const std::optional<RenderConfig>& config);

    float getTime() const { return time_; }
    void setTime(float time) { time_ = time; }
    float getSubFrameTime() const { return subFrameTime_; }
    uint32 getNumEmitterInsts() const { return numEmitterInsts_; }
    EmitterInst& getEmitterInst(uint32 i) const
    {
        DEBUG_ASSERT(i < numEmitterInsts_);
        return *emitterInsts_[i];
    }
    // The standalone instance of an emitter (null if the emitter isn't standalone).
    EmitterInst* getEmitterInst(const Emitter& emitter) const;
    RandomGenerator& getRandomGenerator() const { return *random_; }

    void pushRenderCall(uint32 meshIndex, uint32 renderStyleIndex, uint32 numPolygons,
                        std::optional<uint32> wireframeId);
    void addRenderCall(const RenderCall& call);
    void addParticleToPositionsMesh(const glm::vec3& position, uint32 id);
    // Counts one turn of a generator's loop against Limits::kMaxShotsPerCall of the current
    // update() or updateFrame() call.
    void countShot()
    {
        if (++shotsInCall_ > Limits::kMaxShotsPerCall)
            Limits::refuseShotsPerCall();
    }

    const Stats& getStats() const { return stats_; }
    Stats::Emitter& getStatsEmitter(uint32 emitterIndex) { return stats_.emitters[emitterIndex]; }
    const Mesh& getWireframeMesh() const { return *wireframeMesh_; }
    const Mesh& getPositionsMesh() const { return *positionsMesh_; }
    const glm::vec3& getLastPosition() const { return lastPosition_; }
    const glm::quat& getLastRotation() const { return lastRotation_; }

private:
    void copyToWireframe(const Mesh& mesh, uint32 numPolygons, uint32 wireframeId);
    float simulateFrame(const glm::vec3& position, const glm::quat& rotation);

    const System& system_;
    uint32 numMeshes_ = 0;
    Mesh** meshes_ = nullptr;
    Mesh* wireframeMesh_ = nullptr;
    std::unique_ptr<uint8[]> wireframeBlock_;
    Mesh* positionsMesh_ = nullptr;
    std::unique_ptr<uint8[]> positionsBlock_;
    uint32 numRenderCalls_ = 0;
    RenderCall* renderCalls_ = nullptr;
    uint32 numEmitterInsts_ = 0;
    EmitterInst** emitterInsts_ = nullptr;
    glm::vec3 lastPosition_;
    glm::quat lastRotation_;
    float subFrameTime_ = 0.0f;
    RandomGenerator* random_ = nullptr;
    float time_ = 0.0f;
    uint32 shotsInCall_ = 0;
    Stats stats_;
};

}  // namespace Ps
