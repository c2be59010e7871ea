// The crash hook: a probe program installs it as the editor does and crashes;
// a fake upload tool in the probe's "application folder" records how it was
// started.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include "error_handlers.h"
#include "test_files.h"

extern char** environ;

namespace
{

struct ProbeResult
{
    pid_t pid = -1;
    int status = 0;
    QByteArray out;
};

// Runs the probe with stdout into a file; waits for it.
ProbeResult runProbe(const QString& appDir, const char* mode, const QString& outFile)
{
    ProbeResult result;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const QByteArray outPath = outFile.toUtf8();
    posix_spawn_file_actions_addopen(&actions, 1, outPath.constData(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    const QByteArray dir = appDir.toUtf8();
    std::vector<char*> argv = {const_cast<char*>(CRASH_PROBE_EXE),
                               const_cast<char*>(dir.constData()), const_cast<char*>(mode),
                               nullptr};
    if (posix_spawn(&result.pid, CRASH_PROBE_EXE, &actions, nullptr, argv.data(), environ) != 0)
    {
        posix_spawn_file_actions_destroy(&actions);
        result.pid = -1;
        return result;
    }
    posix_spawn_file_actions_destroy(&actions);
    ::waitpid(result.pid, &result.status, 0);
    result.out = TestFiles::read(outFile);
    return result;
}

// Dumps of one process in the dump folder.
QStringList dumpsOf(pid_t pid)
{
    return QDir(GoogleBreakpad::dumpFolder)
        .entryList({QString("scintari.%1.*.dmp").arg(pid)}, QDir::Files);
}

class CrashHook : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(appDir_.isValid());
        ASSERT_TRUE(TestFiles::writeFakeUploadTool(appDir_.path()));
    }
    void TearDown() override
    {
        for (pid_t pid : pids_)
            for (const QString& name : dumpsOf(pid))
                QFile::remove(QDir(GoogleBreakpad::dumpFolder).filePath(name));
    }

    ProbeResult probe(const QString& appDir, const char* mode)
    {
        ProbeResult result = runProbe(appDir, mode, outDir_.filePath("probe_out.txt"));
        pids_.push_back(result.pid);
        return result;
    }

    QStringList uploadArguments() const { return TestFiles::fakeUploadArguments(appDir_.path()); }

    QTemporaryDir appDir_;
    QTemporaryDir outDir_;
    std::vector<pid_t> pids_;
};

}  // namespace

TEST_F(CrashHook, SegfaultLeavesDumpAndRunsTheUploadToolFromItsFolder)
{
    const ProbeResult r = probe(appDir_.path(), "segv");
    ASSERT_GT(r.pid, 0);
    ASSERT_TRUE(WIFSIGNALED(r.status)) << "the signal ends the process as before";
    EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);

    const QStringList dumps = dumpsOf(r.pid);
    ASSERT_EQ(dumps.size(), 1);
    const QString dumpPath = QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0]);
    const QByteArray dump = TestFiles::read(dumpPath);
    EXPECT_TRUE(dump.contains("signal: 11 (SIGSEGV)\n")) << dump.left(400).constData();
    EXPECT_TRUE(dump.contains("version: " SCINTARI_VERSION_STRING "\n"));
    EXPECT_TRUE(dump.contains("\nstack:\n#0 0x"));
    EXPECT_TRUE(dump.contains("crash_hook_probe")) << "the memory map names the executable";
    EXPECT_TRUE(dump.endsWith("end\n"));

    const QStringList expected = {"-p",     "ScintariParticles Editor",
                                  "-v",     SCINTARI_VERSION_STRING,
                                  dumpPath, SCINTARI_CRASH_COLLECTOR "/post/bp/crash/postBP.php"};
    EXPECT_EQ(uploadArguments(), expected);
    EXPECT_TRUE(r.out.startsWith("Sending core minidump:\n" +
                                 appDir_.filePath("minidump_upload").toUtf8() +
                                 " -p \"ScintariParticles Editor\""))
        << r.out.constData();
}

namespace
{

// Stack addresses of a dump, innermost first.
std::vector<quint64> stackOf(const QByteArray& dump)
{
    std::vector<quint64> frames;
    const int begin = dump.indexOf("\nstack:\n");
    const int end = dump.indexOf("\nmaps:\n");
    if (begin < 0 || end < begin)
        return frames;
    for (const QByteArray& line : dump.mid(begin + 8, end - begin - 8).split('\n'))
    {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() == 2 && parts[1].startsWith("0x"))
            frames.push_back(parts[1].mid(2).toULongLong(nullptr, 16));
    }
    return frames;
}

// Whether `address` lies in an executable mapping of a file whose path ends with `file`.
bool inCodeOf(const QByteArray& dump, quint64 address, const QByteArray& file)
{
    const int begin = dump.indexOf("\nmaps:\n");
    for (const QByteArray& line : dump.mid(begin + 7).split('\n'))
    {
        const QList<QByteArray> parts = line.simplified().split(' ');
        if (parts.size() < 6 || !parts[1].contains('x') || !parts[5].endsWith(file))
            continue;
        const QList<QByteArray> range = parts[0].split('-');
        if (range.size() == 2 && address >= range[0].toULongLong(nullptr, 16) &&
            address < range[1].toULongLong(nullptr, 16))
            return true;
    }
    return false;
}

}  // namespace

TEST_F(CrashHook, DumpStackReachesThroughTheSignalIntoTheCrashingCode)
{
    const ProbeResult r = probe(appDir_.path(), "segv");
    const QStringList dumps = dumpsOf(r.pid);
    ASSERT_EQ(dumps.size(), 1);
    const QByteArray dump = TestFiles::read(QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0]));
    const std::vector<quint64> frames = stackOf(dump);
    ASSERT_GE(frames.size(), 3u) << dump.left(600).constData();
    // Innermost the hook's own frames in the probe, then the kernel's signal
    // return in the C library, then the probe's main that crashed.
    EXPECT_TRUE(inCodeOf(dump, frames[0], "/crash_hook_probe")) << dump.left(600).constData();
    bool leftTheProbe = false;
    bool backInTheProbe = false;
    for (quint64 frame : frames)
    {
        const bool inProbe = inCodeOf(dump, frame, "/crash_hook_probe");
        if (!inProbe)
            leftTheProbe = true;
        if (inProbe && leftTheProbe)
            backInTheProbe = true;
    }
    EXPECT_TRUE(backInTheProbe) << "the stack stops at the signal frame\n"
                                << dump.left(600).constData();
}

TEST_F(CrashHook, CrashNotHandledGoesOnToTheHandlerInstalledBefore)
{
    // The upload succeeds, so the callback reports the crash as not handled.
    qputenv("FAKE_UPLOAD_EXIT", "0");
    for (const char* mode : {"segv-chained", "raise-chained"})
    {
        QFile::remove(appDir_.filePath("upload_args.txt"));
        const ProbeResult r = probe(appDir_.path(), mode);
        ASSERT_TRUE(WIFEXITED(r.status)) << mode;
        EXPECT_EQ(WEXITSTATUS(r.status), 42) << mode;
        EXPECT_TRUE(r.out.startsWith("Sending core minidump:\n")) << mode << r.out.constData();
        EXPECT_TRUE(r.out.endsWith("previous handler\n")) << mode << r.out.constData();
        EXPECT_EQ(dumpsOf(r.pid).size(), 1) << mode;
        EXPECT_EQ(uploadArguments().size(), 6) << mode;
    }
    qunsetenv("FAKE_UPLOAD_EXIT");
    // Nothing reported at all: not handled either.
    const ProbeResult early = probe("-", "segv-chained");
    ASSERT_TRUE(WIFEXITED(early.status));
    EXPECT_EQ(WEXITSTATUS(early.status), 42);
    EXPECT_EQ(early.out, "previous handler\n");
}

TEST_F(CrashHook, HandledCrashEndsWithTheDefaultAction)
{
    // The upload tool fails, so the callback reports the crash as handled.
    qputenv("FAKE_UPLOAD_EXIT", "5");
    const ProbeResult r = probe(appDir_.path(), "segv-chained");
    qunsetenv("FAKE_UPLOAD_EXIT");
    ASSERT_TRUE(WIFSIGNALED(r.status)) << r.out.constData();
    EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);
    EXPECT_FALSE(r.out.contains("previous handler"));
    EXPECT_EQ(uploadArguments().size(), 6);
}

TEST_F(CrashHook, RaisedAbortAndArithmeticSignalsAreReportedToo)
{
    const struct
    {
        const char* mode;
        int signal;
        const char* text;
    } cases[] = {{"raise", SIGSEGV, "(SIGSEGV)"},
                 {"abort", SIGABRT, "(SIGABRT)"},
                 {"fpe", SIGFPE, "(SIGFPE)"}};
    for (const auto& c : cases)
    {
        QFile::remove(appDir_.filePath("upload_args.txt"));
        const ProbeResult r = probe(appDir_.path(), c.mode);
        ASSERT_TRUE(WIFSIGNALED(r.status)) << c.mode;
        EXPECT_EQ(WTERMSIG(r.status), c.signal) << c.mode;
        const QStringList dumps = dumpsOf(r.pid);
        ASSERT_EQ(dumps.size(), 1) << c.mode;
        EXPECT_TRUE(
            TestFiles::read(QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0])).contains(c.text))
            << c.mode;
        EXPECT_EQ(uploadArguments().value(4), QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0]))
            << c.mode;
    }
}

TEST_F(CrashHook, CrashBeforeTheApplicationPathLeavesTheDumpAndReportsNothing)
{
    const ProbeResult r = probe("-", "segv");
    ASSERT_TRUE(WIFSIGNALED(r.status));
    EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);
    EXPECT_EQ(dumpsOf(r.pid).size(), 1);
    EXPECT_FALSE(r.out.contains("Sending core minidump:"));
}

TEST_F(CrashHook, AfterShutdownNoDumpIsMade)
{
    const ProbeResult r = probe(appDir_.path(), "after-shutdown");
    ASSERT_TRUE(WIFSIGNALED(r.status));
    EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);
    EXPECT_TRUE(dumpsOf(r.pid).isEmpty());
    EXPECT_TRUE(uploadArguments().isEmpty());
}

TEST(DumpCallback, ReportsNothingForAFailedDumpOrAnUnknownFolder)
{
    GoogleBreakpad::MinidumpDescriptor descriptor("/tmp");
    descriptor.setPath("/tmp/none.dmp");
    GoogleBreakpad::setApplicationPath("");
    EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
    GoogleBreakpad::setApplicationPath("/nonexistent-folder");
    EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, false));
    GoogleBreakpad::setApplicationPath("");
}

TEST(DumpCallback, ResultIsTrueExactlyWhenTheToolFails)
{
    QTemporaryDir dir;
    ASSERT_TRUE(TestFiles::writeFakeUploadTool(dir.path()));
    GoogleBreakpad::MinidumpDescriptor descriptor("/tmp");
    descriptor.setPath("/tmp/some dump.dmp");
    GoogleBreakpad::setApplicationPath(dir.path().toUtf8().constData());

    qputenv("FAKE_UPLOAD_EXIT", "0");
    EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
    EXPECT_EQ(TestFiles::fakeUploadArguments(dir.path()).value(4), "/tmp/some dump.dmp")
        << "the dump path is quoted for the shell";

    qputenv("FAKE_UPLOAD_EXIT", "4");
    EXPECT_TRUE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
    qunsetenv("FAKE_UPLOAD_EXIT");
    GoogleBreakpad::setApplicationPath("");
}

TEST(DumpCallback, CommandLineOfTheUploadTool)
{
    EXPECT_EQ(GoogleBreakpad::uploadCommand("/opt/scintari/bin", "/tmp/a.dmp"),
              "/opt/scintari/bin/minidump_upload -p \"ScintariParticles Editor\" -v "
              "\"" SCINTARI_VERSION_STRING "\" \"/tmp/a.dmp\" " SCINTARI_CRASH_COLLECTOR
              "/post/bp/crash/postBP.php");
}
