#include "debug/debug_log.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/details/file_helper.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include "debug/debug_log_handler.h"
#include "debug/debug_log_worker.h"

namespace Debug
{
namespace
{

spdlog::level::level_enum toSpdLevel(LogLevel level)
{
    switch (level)
    {
    case LogLevel::Debug:
        return spdlog::level::debug;
    case LogLevel::Info:
        return spdlog::level::info;
    case LogLevel::Warning:
        return spdlog::level::warn;
    case LogLevel::Fatal:
        return spdlog::level::critical;
    }
    return spdlog::level::info;
}

// Name and number of our level, as the records show it: "WARNING 500".
const char* levelText(spdlog::level::level_enum level)
{
    switch (level)
    {
    case spdlog::level::trace:
    case spdlog::level::debug:
        return "DEBUG 100";
    case spdlog::level::info:
        return "INFO 300";
    case spdlog::level::warn:
        return "WARNING 500";
    case spdlog::level::err:
    case spdlog::level::critical:
        return "FATAL 1000";
    default:
        return "INFO 300";
    }
}

class LevelFlag final : public spdlog::custom_flag_formatter
{
public:
    void format(const spdlog::details::log_msg& msg, const std::tm&,
                spdlog::memory_buf_t& dest) override
    {
        const char* text = levelText(msg.level);
        dest.append(text, text + std::char_traits<char>::length(text));
    }
    std::unique_ptr<custom_flag_formatter> clone() const override
    {
        return std::make_unique<LevelFlag>();
    }
};

// "2026/11/23 09:30:01.123456  WARNING 500 [file.cpp->function:42]  text"
constexpr const char* recordPattern = "%Y/%m/%d %H:%M:%S.%f\t%* [%s->%!:%#]\t%v";

// A file sink that counts the records it has flushed to disk, so that
// flushLog() can wait for the asynchronous worker to catch up.
class CountingFileSink final : public spdlog::sinks::base_sink<std::mutex>
{
public:
    explicit CountingFileSink(const std::string& path)
    {
        file_.open(path, true);
        const char header[] =
            "Scintari log. Record: date time\tLEVEL NUMBER [file->function:line]\ttext. "
            "Levels: DEBUG 100, INFO 300, WARNING 500, FATAL 1000.\n";
        spdlog::memory_buf_t buf;
        buf.append(header, header + sizeof(header) - 1);
        file_.write(buf);
        file_.flush();
    }

    std::uint64_t flushedRecords()
    {
        std::lock_guard<std::mutex> lock(countMutex_);
        return flushed_;
    }

    // Waits until at least `records` records are on disk; false on time-out.
    bool waitFlushed(std::uint64_t records, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(countMutex_);
        return countChanged_.wait_for(lock, timeout, [&] { return flushed_ >= records; });
    }

protected:
    void sink_it_(const spdlog::details::log_msg& msg) override
    {
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        file_.write(formatted);
        ++written_;
    }

    void flush_() override
    {
        file_.flush();
        {
            std::lock_guard<std::mutex> lock(countMutex_);
            flushed_ = written_;
        }
        countChanged_.notify_all();
    }

private:
    spdlog::details::file_helper file_;
    std::uint64_t written_ = 0;  // guarded by the base sink's mutex
    std::mutex countMutex_;
    std::condition_variable countChanged_;
    std::uint64_t flushed_ = 0;
};

struct PendingRecord
{
    spdlog::log_clock::time_point time;
    spdlog::level::level_enum level;
    const char* file;
    int line;
    const char* function;
    std::string text;
};

// Process-wide logging state. Never destroyed, so that records logged during
// static destruction are still safe to take.
struct State
{
    std::mutex mutex;
    std::deque<PendingRecord> pending;
    std::size_t dropped = 0;
    std::shared_ptr<spdlog::async_logger> logger;
    std::shared_ptr<CountingFileSink> sink;
    std::uint64_t submitted = 0;  // records handed to the logger
    bool workerAlive = false;
    // Calls that took the logger under the mutex and use it outside it. A worker that ends
    // waits for them, so that no record reaches a logger whose thread has stopped.
    std::size_t callsInFlight = 0;
    std::condition_variable noCallsInFlight;
};

State& state()
{
    static State* s = new State;
    return *s;
}

// The logger taken for one call outside the mutex; counted as in flight until it goes.
class LoggerUse
{
public:
    // Call with s.mutex held.
    explicit LoggerUse(State& s) : s_(s), logger_(s.logger), sink_(s.sink)
    {
        if (logger_)
            ++s_.callsInFlight;
    }
    ~LoggerUse()
    {
        if (!logger_)
            return;
        std::lock_guard<std::mutex> lock(s_.mutex);
        if (--s_.callsInFlight == 0)
            s_.noCallsInFlight.notify_all();
    }
    LoggerUse(const LoggerUse&) = delete;
    LoggerUse& operator=(const LoggerUse&) = delete;

    spdlog::async_logger* logger() const { return logger_.get(); }
    CountingFileSink* sink() const { return sink_.get(); }

private:
    State& s_;
    std::shared_ptr<spdlog::async_logger> logger_;
    std::shared_ptr<CountingFileSink> sink_;
};

void keepPending(State& s, PendingRecord record)
{
    if (s.pending.size() >= maxPendingRecords)
    {
        s.pending.pop_front();
        ++s.dropped;
    }
    s.pending.push_back(std::move(record));
}

}  // namespace

struct LogWorker::Impl
{
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::shared_ptr<spdlog::async_logger> logger;
    std::shared_ptr<CountingFileSink> sink;
};

std::string logFileName(const std::string& logPrefix, std::time_t time, long pid)
{
    std::tm local{};
    localtime_r(&time, &local);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%Y%m%d-%H%M%S", &local);
    return logPrefix + "." + stamp + "." + std::to_string(pid) + ".log";
}

std::unique_ptr<LogWorker> LogWorker::create(const std::string& logPrefix,
                                             const std::string& logFolder)
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.workerAlive)
            throw std::logic_error("Debug::LogWorker: a log worker is already running");
        s.workerAlive = true;
    }
    // A creation that fails half-way gives the place back, so that a later one can start.
    struct Claim
    {
        State& s;
        bool kept = false;
        ~Claim()
        {
            if (kept)
                return;
            std::lock_guard<std::mutex> lock(s.mutex);
            s.workerAlive = false;
        }
    } claim{s};

    const std::string name =
        logFileName(logPrefix, std::time(nullptr), static_cast<long>(::getpid()));
    std::shared_ptr<CountingFileSink> sink;
    std::string path;
    for (const std::string& folder : {logFolder, std::string(".")})
    {
        std::string candidate = folder.empty() ? name : folder + "/" + name;
        try
        {
            sink = std::make_shared<CountingFileSink>(candidate);
            path = candidate;
            break;
        }
        catch (const spdlog::spdlog_ex& e)
        {
            std::fprintf(stderr, "Can't open log file %s: %s\n", candidate.c_str(), e.what());
        }
    }

    auto impl = std::make_unique<Impl>();
    if (!sink)
    {
        std::unique_ptr<LogWorker> worker(new LogWorker(std::move(impl), std::string()));
        claim.kept = true;
        return worker;
    }

    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelFlag>('*').set_pattern(recordPattern);
    sink->set_formatter(std::move(formatter));

    impl->sink = sink;
    impl->pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
    impl->logger = std::make_shared<spdlog::async_logger>(logPrefix, sink, impl->pool,
                                                          spdlog::async_overflow_policy::block);
    impl->logger->set_level(spdlog::level::trace);
    impl->logger->flush_on(spdlog::level::trace);
    // Made before anything is published, so that a failure from here on ends it in order.
    std::unique_ptr<LogWorker> worker(new LogWorker(std::move(impl), std::move(path)));
    Impl& own = *worker->impl_;

    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.submitted = 0;  // counts records of this worker's sink
        if (s.dropped != 0)
        {
            const std::string note =
                std::to_string(s.dropped) +
                " earlier records were dropped while the log file was not open";
            own.logger->log(spdlog::source_loc{__FILE__, __LINE__, "LogWorker::create"},
                            spdlog::level::warn, note);
            ++s.submitted;
            s.dropped = 0;
        }
        // The logger copies each text. A record leaves the memory only once it is queued, so
        // that a failure here keeps the rest for a later worker; the queued ones are written
        // when this one ends.
        while (!s.pending.empty())
        {
            const PendingRecord& r = s.pending.front();
            own.logger->log(r.time, spdlog::source_loc{r.file, r.line, r.function}, r.level,
                            spdlog::string_view_t(r.text));
            ++s.submitted;
            s.pending.pop_front();
        }
        s.logger = own.logger;
        s.sink = own.sink;
    }
    claim.kept = true;
    return worker;
}

LogWorker::LogWorker(std::unique_ptr<Impl> impl, std::string fileName)
    : impl_(std::move(impl)), fileName_(std::move(fileName))
{
}

LogWorker::~LogWorker()
{
    State& s = state();
    {
        std::unique_lock<std::mutex> lock(s.mutex);
        // From here on records are kept in memory; those already on their way to this
        // worker's logger get there before its thread ends.
        if (s.logger && s.logger == impl_->logger)
        {
            s.logger.reset();
            s.sink.reset();
        }
        s.noCallsInFlight.wait(lock, [&s] { return s.callsInFlight == 0; });
    }
    if (impl_->logger)
    {
        impl_->logger->flush();
        impl_->logger.reset();
        // Ending the pool lets its thread write what is queued, then joins it.
        impl_->pool.reset();
        impl_->sink->flush();
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    s.workerAlive = false;
}

bool flushLog()
{
    State& s = state();
    std::uint64_t target = 0;
    std::unique_lock<std::mutex> lock(s.mutex);
    LoggerUse use(s);
    target = s.submitted;
    lock.unlock();
    if (!use.logger())
        return true;
    use.logger()->flush();
    return use.sink()->waitFlushed(target, std::chrono::seconds(5));
}

std::size_t pendingRecordCount()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.pending.size();
}

namespace
{

// The logger's handler of the records of logMessage: to the worker, or into memory while none runs.
void logToWorker(LogLevel level, const char* file, int line, const char* function,
                 const std::string& text)
{
    State& s = state();
    const spdlog::level::level_enum spdLevel = toSpdLevel(level);
    {
        std::unique_lock<std::mutex> lock(s.mutex);
        if (!s.logger)
        {
            keepPending(
                s, PendingRecord{spdlog::log_clock::now(), spdLevel, file, line, function, text});
            return;
        }
        LoggerUse use(s);
        ++s.submitted;
        lock.unlock();
        use.logger()->log(spdlog::source_loc{file, line, function}, spdLevel, text);
    }
    if (level == LogLevel::Fatal)
        flushLog();
}

// Installed before the program's ordinary static initialisers (priority 101 is the first one
// open to programs), so that every record of a program that holds the logger, from the very
// first, reaches a worker or waits in memory for one.
__attribute__((constructor(101))) void installWorkerHandler() { setLogHandler(&logToWorker); }

}  // namespace

}  // namespace Debug
