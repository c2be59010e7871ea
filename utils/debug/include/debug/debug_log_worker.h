#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

namespace Debug
{

// The program's log file: one asynchronous spdlog logger whose single worker
// thread writes the records into "<prefix>.<YYYYMMDD-HHMMSS>.<pid>.log" in the
// log folder. Every record is flushed to disk by the worker as soon as it is
// written, so a log file left behind by a crash is complete.
//
// Records logged while no worker runs (before start-up, after the end) are kept
// in memory, at most maxPendingRecords of the most recent ones; a worker writes
// them first, with their own time stamps, when it starts.
//
// One worker at a time: creating a second one while the first lives throws
// std::logic_error; a creation that fails (an exception out of create) leaves
// the place free and the records in memory. Destroying the worker writes what
// is queued, flushes the file and ends the worker thread; the file itself stays
// on disk. A record that another thread logs meanwhile is either written to the
// file (its call began before the end) or kept in memory for the next worker.
class LogWorker
{
public:
    // Opens the log file in logFolder (created when missing). When that folder
    // can't be used, the file goes to the current folder instead; when that
    // fails too, there is no file (fileName() is empty) and records stay in memory.
    static std::unique_ptr<LogWorker> create(const std::string& logPrefix,
                                             const std::string& logFolder);
    ~LogWorker();

    LogWorker(const LogWorker&) = delete;
    LogWorker& operator=(const LogWorker&) = delete;

    // Full path of the log file, empty when none could be opened.
    const std::string& fileName() const { return fileName_; }

private:
    struct Impl;
    explicit LogWorker(std::unique_ptr<Impl> impl, std::string fileName);

    std::unique_ptr<Impl> impl_;
    std::string fileName_;
};

// Most records kept in memory while no worker runs; older ones are dropped and
// counted, and the count is reported in the log once a worker starts.
constexpr std::size_t maxPendingRecords = 10000;

// Blocks until every record logged so far is in the log file; false when that
// took longer than 5 seconds. Returns true at once when no worker runs.
// FATAL records call it.
bool flushLog();

// Number of records kept in memory, waiting for a worker.
std::size_t pendingRecordCount();

// The file name (without folder) a worker started at `time` by process `pid`
// uses: "<prefix>.<YYYYMMDD-HHMMSS>.<pid>.log", local time.
std::string logFileName(const std::string& logPrefix, std::time_t time, long pid);

}  // namespace Debug
