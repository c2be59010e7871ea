#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_render_config.h"
#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class Allocator;
class Context;
class Emitter;
class EmitterFactory;
class System;
class SystemInst;

// The host's calls with refusals as values (no exception reaches the caller), for a host built
// with -fno-exceptions, or one that would rather test a result than catch:
//
//   Ps::LoadResult loaded = Ps::loadSystem(bytes.data(), bytes.size(), context.get());
//   if (!loaded.ok())
//       report(loaded.error.message);   // e.g. "the data ends too early at byte 228"
//
// Each does what the throwing form does (MemManagedSystemShell's and MemManagedSystemInst's
// constructors, SystemInst::update and construct) and turns what that form would throw into a
// HostError. Each is noexcept.
//
// What can be refused where:
// - loading: damaged or cut-short data, data of a newer format, an effect beyond the runtime's
//   bounds (frame rate, presimulation) or the context's memory budget, no memory;
// - making an instance: the memory budget, no memory;
// - update: a dt that is negative, not finite or longer than Limits::kMaxFramesPerUpdate frames
//   (UpdateTime: the instance is unchanged); more shots than Limits::kMaxShotsPerCall in the one
//   call, or than kMaxShotsPerStep of one generator in one frame, which a rate driven by the
//   effect's own values can reach (Limit: the instance ran part of the call; drop it);
// - construct: nothing, for a loaded effect and a config that is empty or holds one entry per
//   emitter.
// A loaded effect's update and construct have no other refusal: the loading checks every bound
// that keeps a run sound. Failed reports a broken check of the runtime itself; its message is the
// check (the record also goes to the log handler, debug_log_handler.h).
//
// Threads: a loaded System is immutable and may be shared by instances on different threads; one
// instance (SystemInst) is used by one thread at a time. Within that rule:
// - System::setTextureFrame changes the system: call it before any instance runs.
// - Making an instance of an effect without a fixed seed draws its seed from the Context's
//   generator, which is not synchronised: make such instances one at a time (for example on the
//   loading thread). An instance of a fixed-seed effect reads the context only.
// - The log handler (debug_log_handler.h) is called on the thread that logs.
// ps_threads_test.cpp runs instances of one system on four threads under ThreadSanitizer
// (scripts/tsan.sh).
enum class HostErrorKind : uint8
{
    None = 0,
    DataEndsEarly,  // the bytes end before the effect does
    Damaged,        // the bytes are no valid compiled effect
    NewerFormat,    // a part was written by a newer version of the program
    Limit,          // beyond a bound of the runtime or the memory budget (Ps::LimitException)
    UpdateTime,     // the dt of an update: refused before anything changed
    OutOfMemory,    // an allocation failed
    Failed,         // a broken check of the runtime, or another failure
};

struct HostError
{
    HostErrorKind kind = HostErrorKind::None;
    // Why, in words, for people: "the effect is damaged at byte 1043". Empty when none.
    std::string message;
    // The byte of the compiled data where reading stopped, for the refusals of the data.
    std::optional<uint64> offset;

    bool failed() const { return kind != HostErrorKind::None; }
};

struct LoadResult
{
    std::unique_ptr<MemManagedSystemShell> shell;  // null when refused
    HostError error;

    bool ok() const { return shell != nullptr; }
};

struct InstResult
{
    std::unique_ptr<MemManagedSystemInst> inst;  // null when refused
    HostError error;

    bool ok() const { return inst != nullptr; }
};

// Loads `size` bytes of a compiled effect into a shell of its own (the bytes may go once this
// returns). The context must outlive the shell.
LoadResult loadSystem(const uint8* data, uint64 size, Context& context) noexcept;
// A running instance of a loaded system; the shell must outlive it.
InstResult createSystemInst(const System& system, const glm::vec3& position,
                            const glm::quat& rotation) noexcept;
HostError updateSystemInst(SystemInst& inst, const glm::vec3& position, const glm::quat& rotation,
                           float dt) noexcept;
HostError constructSystemInst(SystemInst& inst, const glm::vec3& cameraDir,
                              const glm::vec3& cameraUp, const glm::vec3& cameraRight,
                              const std::optional<RenderConfig>& config) noexcept;

// Reader of a compiled effect. It reads the bytes twice: computePoolSize walks them and adds up
// the exact size of the effect's pool; staticCreateFromLoader builds the objects in a pool of that
// size, in the same order. The factory itself is loader-side state, alive only during loading.
class SystemFactory
{
public:
    // Upper limit of particles of one mesh of an effect.
    static constexpr uint32 kMaxMeshParticles = 1u << 24;

    static uint32 computePoolSize(Sl::Loader& loader, const Context& context);
    static System* staticCreateFromLoader(Sl::Loader& loader, const Context& context,
                                          Allocator& allocator);

    explicit SystemFactory(const Context& context);
    ~SystemFactory();
    SystemFactory(const SystemFactory&) = delete;
    SystemFactory& operator=(const SystemFactory&) = delete;

    System* createFromLoader(Sl::Loader& loader, Allocator& allocator);

    const Context& getContext() const { return context_; }
    // An emitter earlier in the file ("emitterIndex < filledEmitters_", "index < numEmitters_").
    const Emitter& getEmitter(uint32 emitterIndex) const;
    EmitterFactory& getEmitterFactory(uint32 emitterIndex) const;

    // The tables read so far, for the checks of the emitters' readers.
    uint32 getNumMeshes() const { return numMeshes_; }
    uint32 getMeshFactoryType(uint32 meshIndex) const;
    uint32 getNumRenderStyles() const { return numRenderStyles_; }

private:
    void checkMeshCapacities() const;

    const Context& context_;
    System* system_ = nullptr;
    uint32 numMeshes_ = 0;
    std::vector<uint8> meshTypes_;
    std::vector<uint32> meshCapacities_;
    uint32 numRenderStyles_ = 0;
    uint32 numEmitters_ = 0;
    uint32 filledEmitters_ = 0;
    std::vector<std::unique_ptr<EmitterFactory>> emitterFactories_;
    const Emitter** emitters_ = nullptr;
};

}  // namespace Ps
