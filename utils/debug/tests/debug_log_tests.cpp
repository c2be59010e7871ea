#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "debug/debug_log.h"
#include "debug/debug_log_worker.h"
#include "debug_alloc_failure.h"
#include "debug_test_files.h"

namespace
{

bool fileExists(const std::string& path)
{
    struct stat st
    {
    };
    return ::stat(path.c_str(), &st) == 0;
}

}  // namespace

TEST(DebugLogFileName, HoldsPrefixStampAndPid)
{
    const std::string name = Debug::logFileName("editor", 1700000000, 4242);
    EXPECT_TRUE(std::regex_match(name, std::regex(R"(editor\.\d{8}-\d{6}\.4242\.log)"))) << name;
    // Two workers of different processes in the same second get different files.
    EXPECT_NE(name, Debug::logFileName("editor", 1700000000, 4243));
}

TEST(DebugLogWorker, WritesRecordsKeptBeforeStartWithLevelNumbers)
{
    TempDir dir;
    const std::size_t before = Debug::pendingRecordCount();
    DEBUG_LOG(Warning, "kept before start: warning");
    DEBUG_LOG(Info, "kept before start: info");
    DEBUG_LOG(Debug, "kept before start: debug");
    EXPECT_EQ(Debug::pendingRecordCount(), std::min(before + 3, Debug::maxPendingRecords));

    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        fileName = worker->fileName();
        ASSERT_FALSE(fileName.empty());
        EXPECT_EQ(fileName.rfind(dir.path() + "/editor.", 0), 0u) << fileName;
        EXPECT_EQ(Debug::pendingRecordCount(), 0u);
        DEBUG_LOG(Info, "logged while running");
    }
    ASSERT_TRUE(fileExists(fileName)) << "the worker leaves its file on disk";
    const std::string contents = readFile(fileName);
    EXPECT_NE(lineWith(contents, "kept before start: warning").find("WARNING 500"),
              std::string::npos);
    EXPECT_NE(lineWith(contents, "kept before start: info").find("INFO 300"), std::string::npos);
    EXPECT_NE(lineWith(contents, "kept before start: debug").find("DEBUG 100"), std::string::npos);
    const std::string running = lineWith(contents, "logged while running");
    EXPECT_NE(running.find("INFO 300"), std::string::npos);
    EXPECT_NE(running.find("debug_log_tests.cpp->"), std::string::npos) << running;
    // Order of the records is the order of logging.
    EXPECT_LT(contents.find("kept before start: warning"),
              contents.find("kept before start: debug"));
    EXPECT_LT(contents.find("kept before start: debug"), contents.find("logged while running"));
}

TEST(DebugLogWorker, RecordsAfterTheEndWaitForTheNextWorker)
{
    TempDir dir;
    std::string first;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        first = worker->fileName();
    }
    DEBUG_LOG(Warning, "after the end");
    EXPECT_GE(Debug::pendingRecordCount(), 1u);
    EXPECT_EQ(readFile(first).find("after the end"), std::string::npos);
}

TEST(DebugLogWorker, OnlyOneAtATime)
{
    TempDir dir;
    auto worker = Debug::LogWorker::create("editor", dir.path());
    EXPECT_THROW(Debug::LogWorker::create("editor", dir.path()), std::logic_error);
    worker.reset();
    EXPECT_NO_THROW(Debug::LogWorker::create("editor", dir.path()));
}

TEST(DebugLogWorker, FatalRecordIsOnDiskWhenTheExceptionArrives)
{
    TempDir dir;
    auto worker = Debug::LogWorker::create("editor", dir.path());
    // Enough traffic for the worker to lag behind, then a broken invariant.
    for (int i = 0; i < 2000; ++i)
        DEBUG_LOG(Debug, "filler record " + std::to_string(i));
    try
    {
        DEBUG_ASSERT(1 + 1 == 3);
        FAIL() << "DEBUG_ASSERT did not throw";
    }
    catch (const Debug::CheckException& e)
    {
        EXPECT_STREQ(e.what(), "DEBUG_ASSERT( 1 + 1 == 3 )");
        // The assertion waited for the flush; nothing is left to wait for.
        EXPECT_TRUE(Debug::flushLog());
        // Read while the worker still runs: the record must already be flushed.
        const std::string line =
            lineWith(readFile(worker->fileName()), "DEBUG_ASSERT( 1 + 1 == 3 )");
        EXPECT_NE(line.find("FATAL 1000"), std::string::npos) << line;
    }
}

TEST(DebugLogWorker, ExplicitFlushWritesEverythingLoggedSoFar)
{
    TempDir dir;
    auto worker = Debug::LogWorker::create("editor", dir.path());
    for (int i = 0; i < 500; ++i)
        DEBUG_LOG(Info, "burst " + std::to_string(i));
    EXPECT_TRUE(Debug::flushLog()) << "the worker did not report the records flushed";
    EXPECT_NE(readFile(worker->fileName()).find("burst 499"), std::string::npos);
}

TEST(DebugLogWorker, RecordsFromSeveralThreadsAllArrive)
{
    TempDir dir;
    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        fileName = worker->fileName();
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back(
                [t]
                {
                    for (int i = 0; i < 250; ++i)
                        DEBUG_LOG(Info,
                                  "thread " + std::to_string(t) + " record " + std::to_string(i));
                });
        for (auto& th : threads)
            th.join();
    }
    const std::string contents = readFile(fileName);
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 250; i += 49)
            EXPECT_NE(contents.find("thread " + std::to_string(t) + " record " + std::to_string(i) +
                                    "\n"),
                      std::string::npos);
}

TEST(DebugLogWorker, UnusableFolderFallsBackToCurrentFolder)
{
    TempDir dir;
    const std::string blocker = dir.path() + "/not_a_folder";
    std::ofstream(blocker) << "x";
    char previous[4096];
    ASSERT_NE(::getcwd(previous, sizeof(previous)), nullptr);
    ASSERT_EQ(::chdir(dir.path().c_str()), 0);
    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", blocker + "/sub");
        fileName = worker->fileName();
        DEBUG_LOG(Info, "in the current folder");
    }
    ASSERT_EQ(::chdir(previous), 0);
    ASSERT_EQ(fileName.rfind("./editor.", 0), 0u) << fileName;
    EXPECT_NE(readFile(dir.path() + "/" + fileName.substr(2)).find("in the current folder"),
              std::string::npos);
}

TEST(DebugLogWorker, MemoryKeepsOnlyTheMostRecentRecordsAndCountsTheRest)
{
    TempDir dir;
    // Start from an empty memory.
    {
        auto drain = Debug::LogWorker::create("drain", dir.path());
    }
    const std::size_t extra = 7;
    for (std::size_t i = 0; i < Debug::maxPendingRecords + extra; ++i)
        DEBUG_LOG(Debug, "kept " + std::to_string(i));
    EXPECT_EQ(Debug::pendingRecordCount(), Debug::maxPendingRecords);
    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        fileName = worker->fileName();
    }
    const std::string contents = readFile(fileName);
    EXPECT_NE(contents.find("7 earlier records were dropped"), std::string::npos);
    EXPECT_EQ(contents.find("kept 6\n"), std::string::npos);
    EXPECT_NE(contents.find("kept 7\n"), std::string::npos);
    EXPECT_NE(contents.find("kept " + std::to_string(Debug::maxPendingRecords + extra - 1) + "\n"),
              std::string::npos);
}

TEST(DebugLogWorker, RecordsLoggedWhileTheWorkerStopsAreWrittenOrKept)
{
    TempDir dir;
    {
        auto drain = Debug::LogWorker::create("drain", dir.path());
    }
    // More threads than cores, so that some are paused between taking the logger and using it.
    constexpr int kThreads = 8;
    // Few enough that all of them fit in memory after the worker ends: none may be dropped.
    constexpr int kMaxPerThread = 1000;
    for (int round = 0; round < 40; ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        auto worker = Debug::LogWorker::create("stopping", dir.path());
        const std::string first = worker->fileName();
        std::atomic<int> logged{0};
        std::atomic<bool> stop{false};
        int counts[kThreads] = {};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back(
                [&, t]
                {
                    int i = 0;
                    for (; i < kMaxPerThread && !stop; ++i)
                    {
                        DEBUG_LOG(Info, "round " + std::to_string(round) + " thread " +
                                            std::to_string(t) + " record " + std::to_string(i));
                        ++logged;
                    }
                    counts[t] = i;
                });
        while (logged < 200)
            std::this_thread::yield();
        worker.reset();  // while the threads go on logging
        const int atTheEnd = logged;
        while (logged < atTheEnd + 100 && logged < kThreads * kMaxPerThread)
            std::this_thread::yield();
        stop = true;
        for (auto& th : threads)
            th.join();
        EXPECT_LE(Debug::pendingRecordCount(), Debug::maxPendingRecords);

        // The next worker writes what was kept in memory.
        std::string second;
        {
            auto next = Debug::LogWorker::create("next", dir.path());
            second = next->fileName();
        }
        std::map<std::string, int> seen;
        for (const std::string& file : {first, second})
        {
            std::istringstream lines(readFile(file));
            std::string line;
            while (std::getline(lines, line))
            {
                const auto at = line.find("\tround " + std::to_string(round) + " ");
                if (at != std::string::npos)
                    ++seen[line.substr(at + 1)];
            }
        }
        int missing = 0, repeated = 0;
        for (int t = 0; t < kThreads; ++t)
            for (int i = 0; i < counts[t]; ++i)
            {
                const auto it = seen.find("round " + std::to_string(round) + " thread " +
                                          std::to_string(t) + " record " + std::to_string(i));
                if (it == seen.end())
                    ++missing;
                else if (it->second != 1)
                    ++repeated;
            }
        EXPECT_EQ(missing, 0);
        EXPECT_EQ(repeated, 0);
        int total = 0;
        for (int t = 0; t < kThreads; ++t)
            total += counts[t];
        EXPECT_EQ(static_cast<int>(seen.size()), total);
    }
}

// How often `line` stands as a whole record text in the log files of `folder`.
int countInFolder(const std::string& folder, const std::string& text)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        std::istringstream lines(readFile(entry.path().string()));
        std::string line;
        while (std::getline(lines, line))
            if (line.size() > text.size() &&
                line.compare(line.size() - text.size(), text.size(), text) == 0 &&
                line[line.size() - text.size() - 1] == '\t')
                ++count;
    }
    return count;
}

TEST(DebugLogWorker, FailedCreationDoesNotBlockALaterOne)
{
    TempDir dir;
    {
        auto drain = Debug::LogWorker::create("drain", dir.path());
    }
    // Each allocation of the creation fails once, in turn, until one creation needs fewer.
    int failures = 0;
    for (long n = 0; n < 1000; ++n)
    {
        const std::string kept = "kept across failed start " + std::to_string(n);
        DEBUG_LOG(Warning, kept);
        std::unique_ptr<Debug::LogWorker> worker;
        DebugTest::failAllocationAfter(n);
        try
        {
            worker = Debug::LogWorker::create("failing", dir.path());
        }
        catch (const std::bad_alloc&)
        {
        }
        const bool failed = DebugTest::allocationFailed();
        DebugTest::failAllocationAfter(-1);
        if (!failed)
            break;
        worker.reset();
        ++failures;
        SCOPED_TRACE("allocation " + std::to_string(n) + " failed");
        {
            std::unique_ptr<Debug::LogWorker> later;
            ASSERT_NO_THROW(later = Debug::LogWorker::create("later", dir.path()));
            ASSERT_NE(later, nullptr);
            ASSERT_FALSE(later->fileName().empty());
            DEBUG_LOG(Info, "later worker " + std::to_string(n));
        }
        EXPECT_EQ(countInFolder(dir.path(), "later worker " + std::to_string(n)), 1);
        // A record kept in memory is written once: by the failed worker, or else by the later one.
        EXPECT_EQ(countInFolder(dir.path(), kept), 1);
    }
    EXPECT_GT(failures, 5) << "the creation should allocate at several places";
}
