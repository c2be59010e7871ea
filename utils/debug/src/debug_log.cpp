#include "debug/debug_log.h"

#include <spdlog/spdlog.h>

namespace Debug {

// Minimal forwarding to spdlog's default logger; the program's start-up
// replaces the default logger with its asynchronous file logger.
void logMessage(LogLevel level, const char* file, int line, const char* function,
                const std::string& text) {
  spdlog::level::level_enum spdLevel = spdlog::level::info;
  switch (level) {
    case LogLevel::Debug: spdLevel = spdlog::level::debug; break;
    case LogLevel::Info: spdLevel = spdlog::level::info; break;
    case LogLevel::Warning: spdLevel = spdlog::level::warn; break;
    case LogLevel::Fatal: spdLevel = spdlog::level::critical; break;
  }
  spdlog::default_logger_raw()->log(spdlog::source_loc{file, line, function}, spdLevel, text);
  if (level == LogLevel::Fatal) spdlog::default_logger_raw()->flush();
}

}  // namespace Debug
