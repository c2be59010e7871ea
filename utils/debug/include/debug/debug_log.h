#pragma once

#include <string>

namespace Debug
{

// Log levels with the numeric values the log file records.
enum class LogLevel : int
{
    Debug = 100,
    Info = 300,
    Warning = 500,
    Fatal = 1000,
};

// Writes one record through the program's logger (see debug_log_worker.h).
// Before the logger is up, records are kept in memory and written once it
// starts. `file` and `function` must be static strings (the macros pass
// __FILE__ and __func__): the worker thread reads them later.
// A Fatal record is flushed to the file before this returns.
void logMessage(LogLevel level, const char* file, int line, const char* function,
                const std::string& text);

}  // namespace Debug

#define DEBUG_LOG(level, text)                                                                     \
    ::Debug::logMessage(::Debug::LogLevel::level, __FILE__, __LINE__, __func__, (text))
