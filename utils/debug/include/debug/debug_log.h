#pragma once

#include <string>

namespace Debug {

// Log levels with the numeric values the log file records.
enum class LogLevel : int {
  Debug = 100,
  Info = 300,
  Warning = 500,
  Fatal = 1000,
};

// Writes one record through the program's logger. Before the logger is up,
// records are kept in memory and written once it starts.
void logMessage(LogLevel level, const char* file, int line, const char* function,
                const std::string& text);

}  // namespace Debug

#define DEBUG_LOG(level, text) \
  ::Debug::logMessage(::Debug::LogLevel::level, __FILE__, __LINE__, __func__, (text))
