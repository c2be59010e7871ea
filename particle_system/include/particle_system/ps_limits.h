#pragma once

#include <string>

#include "debug/debug_check.h"
#include "particle_system/ps_types.h"

namespace Ps
{

// The bounds within which any effect runs in bounded time and memory. Effects that stay inside
// them run exactly as they would without them; an effect beyond them is refused when it is
// loaded, and a call beyond them when it is made, with a LimitException.
//
// - Frame rate: 1 to 1000 frames a second. A slower effect would make one frame cost as much as
//   a second of shots; a faster one would spend a thousand frames on every host second.
// - Frames of one update() call, the presimulation's included: at most kMaxFramesPerUpdate (two
//   minutes at 30 fps, one at 60). The frame counter of a longer call would lose whole frames to
//   rounding, and a presimulation that long would stall the start of the effect.
// - Shots of one generator in one frame: fewer than kMaxShotsPerStep (ps_types.h); shots of all
//   the generators of an instance (connected instances included) in one update() or updateFrame()
//   call: at most kMaxShotsPerCall. A shot that finds the pool full still costs a turn of the
//   generator's loop; this bounds them. It is checked as the shots are made, so an instance
//   refused by it has run part of the call and is best dropped.
// - Memory: the host's budget on the context (Context::setMemoryBudget), by default
//   kDefaultMemoryBudget; it bounds the compiled effect's pool and the memory of each instance.
struct Limits
{
    static constexpr float kMinFps = 1.0f;
    static constexpr float kMaxFps = 1000.0f;
    static constexpr uint32 kMaxFramesPerUpdate = 3600;
    static constexpr uint32 kMaxShotsPerCall = 1u << 22;
    static constexpr uint64 kDefaultMemoryBudget = 256ull << 20;

    // The frames that `seconds` hold at frames of `frameTime`, counted alike at load and in
    // update(), so that an accepted presimulation is an accepted update() call.
    static double framesIn(double seconds, float frameTime) { return seconds / frameTime; }

    // Each check throws a LimitException when its value lies beyond its bound.
    static void checkFrameRate(float fps);
    static void checkPresimTime(float presimTime, float fps, float frameTime);
    // The step of an update() call, with the time that the instance holds from earlier calls.
    static void checkUpdateTime(float dt, float subFrameTime, float frameTime);
    // `need` bytes for `what` (words that finish "the memory of ...") against the budget.
    static void checkMemory(uint64 need, uint64 budget, const char* what);
    // A generator's count of shots in one step that is not below kMaxShotsPerStep.
    [[noreturn]] static void refuseShotsPerStep(float shots);
    [[noreturn]] static void refuseShotsPerCall();
};

// A refusal by the runtime's bounds: what() says in words what lies beyond which bound. It is a
// Debug::CheckException, so that every caller that gives up on a damaged effect gives up on
// this one too; unlike an assertion it writes no FATAL record, as the runtime's state stays
// sound.
class LimitException : public Debug::CheckException
{
public:
    enum Kind
    {
        LK_FrameRate,      // the effect's fps
        LK_PresimTime,     // the effect's presimulation time
        LK_UpdateTime,     // the dt of an update() call
        LK_MemoryBudget,   // the memory of the effect or of one instance
        LK_ShotsPerFrame,  // the shots of a generator in one frame
    };

    LimitException(Kind kind, std::string text)
        : Debug::CheckException(std::move(text)), kind_(kind)
    {
    }

    Kind getKind() const { return kind_; }

private:
    Kind kind_;
};

}  // namespace Ps
