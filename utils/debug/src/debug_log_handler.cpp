#include "debug/debug_log_handler.h"

#include <atomic>

namespace Debug
{
namespace
{

// Constant-initialised: a record logged by any static initialiser finds a defined value.
std::atomic<LogHandler> gHandler{nullptr};

}  // namespace

LogHandler setLogHandler(LogHandler handler) noexcept { return gHandler.exchange(handler); }

LogHandler logHandler() noexcept { return gHandler.load(std::memory_order_acquire); }

void logMessage(LogLevel level, const char* file, int line, const char* function,
                const std::string& text)
{
    if (const LogHandler handler = logHandler())
        handler(level, file, line, function, text);
}

}  // namespace Debug
