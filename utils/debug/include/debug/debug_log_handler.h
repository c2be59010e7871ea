#pragma once

#include <string>

#include "debug/debug_log.h"

namespace Debug
{

// Where the records of logMessage (DEBUG_LOG, and the FATAL and WARNING records of the checks in
// debug_check.h) go. The assertion library holds one handler for the whole process; without one,
// records are dropped. The program's logger (debug_log_worker.h, library Debug) installs its
// own handler before main when it is part of the program; a host of the runtime alone may set
// one to see the runtime's records, for example to route them to its own log.
//
// A handler is called on the thread that logs, possibly on several threads at once, so it must
// be thread-safe. `file` and `function` are static strings.
using LogHandler = void (*)(LogLevel level, const char* file, int line, const char* function,
                            const std::string& text);

// Installs `handler` (null: drop records) and returns the one installed before. Safe to call
// from any thread; a record being logged meanwhile goes to one of the two.
LogHandler setLogHandler(LogHandler handler) noexcept;

// The handler installed now, null when records are dropped.
LogHandler logHandler() noexcept;

}  // namespace Debug
