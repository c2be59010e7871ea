#include "particle_system/ps_limits.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace Ps
{

namespace
{

[[noreturn]] void refuse(LimitException::Kind kind, const char* format, ...)
{
    char text[320];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    throw LimitException(kind, text);
}

}  // namespace

void Limits::checkFrameRate(float fps)
{
    // Written so that NaN fails it too.
    if (!(fps >= kMinFps && fps <= kMaxFps))
        refuse(LimitException::LK_FrameRate,
               "the effect's frame rate of %g frames a second lies outside the allowed range of "
               "%g to %g",
               fps, kMinFps, kMaxFps);
}

void Limits::checkPresimTime(float presimTime, float fps, float frameTime)
{
    if (!(presimTime >= 0.0f) || !std::isfinite(presimTime))
        refuse(LimitException::LK_PresimTime,
               "the effect's presimulation time of %g seconds is not a finite, non-negative "
               "number",
               presimTime);
    const double frames = framesIn(presimTime, frameTime);
    if (frames > kMaxFramesPerUpdate)
        refuse(LimitException::LK_PresimTime,
               "the effect's presimulation of %g seconds at %g frames a second holds %.0f frames, "
               "more than the allowed %u",
               presimTime, fps, frames, kMaxFramesPerUpdate);
}

void Limits::checkUpdateTime(float dt, float subFrameTime, float frameTime)
{
    if (!(dt >= 0.0f) || !std::isfinite(dt))
        refuse(LimitException::LK_UpdateTime,
               "an update step of %g seconds is not a finite, non-negative time", dt);
    const double frames = framesIn(static_cast<double>(dt) + subFrameTime, frameTime);
    if (frames > kMaxFramesPerUpdate)
        refuse(LimitException::LK_UpdateTime,
               "an update step of %g seconds holds %.0f frames of the effect, more than the "
               "allowed %u in one call",
               dt, frames, kMaxFramesPerUpdate);
}

void Limits::checkMemory(uint64 need, uint64 budget, const char* what)
{
    if (need > budget)
        refuse(LimitException::LK_MemoryBudget,
               "the memory of %s needs %llu bytes (%.1f MiB), more than the budget of %llu bytes "
               "(%.1f MiB); the host can raise the budget on the runtime's context",
               what, static_cast<unsigned long long>(need), need / 1048576.0,
               static_cast<unsigned long long>(budget), budget / 1048576.0);
}

void Limits::refuseShotsPerStep(float shots)
{
    if (std::isnan(shots))
        refuse(LimitException::LK_ShotsPerFrame,
               "a generator of the effect counts its shots with a value that is not a number");
    refuse(LimitException::LK_ShotsPerFrame,
           "a generator of the effect would shoot %.0f times in one frame, more than the allowed "
           "%.0f",
           shots, kMaxShotsPerStep);
}

void Limits::refuseShotsPerCall()
{
    refuse(LimitException::LK_ShotsPerFrame,
           "the generators of the effect would shoot more than %u times in one update",
           kMaxShotsPerCall);
}

}  // namespace Ps
