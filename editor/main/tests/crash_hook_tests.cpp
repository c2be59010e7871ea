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

namespace {

const QString fakeUploadScript =
    "#!/bin/sh\n"
    "printf '%s\\n' \"$@\" > \"$(dirname \"$0\")/upload_args.txt\"\n"
    "exit \"${FAKE_UPLOAD_EXIT:-0}\"\n";

struct ProbeResult {
  pid_t pid = -1;
  int status = 0;
  QByteArray out;
};

// Runs the probe with stdout into a file; waits for it.
ProbeResult runProbe(const QString& appDir, const char* mode, const QString& outFile) {
  ProbeResult result;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const QByteArray outPath = outFile.toUtf8();
  posix_spawn_file_actions_addopen(&actions, 1, outPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const QByteArray dir = appDir.toUtf8();
  std::vector<char*> argv = {const_cast<char*>(CRASH_PROBE_EXE), const_cast<char*>(dir.constData()),
                             const_cast<char*>(mode), nullptr};
  if (posix_spawn(&result.pid, CRASH_PROBE_EXE, &actions, nullptr, argv.data(), environ) != 0) {
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
QStringList dumpsOf(pid_t pid) {
  return QDir(GoogleBreakpad::dumpFolder)
      .entryList({QString("scintari.%1.*.dmp").arg(pid)}, QDir::Files);
}

class CrashHook : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(appDir_.isValid());
    const QString script = appDir_.filePath("minidump_upload");
    ASSERT_TRUE(TestFiles::write(script, fakeUploadScript.toUtf8()));
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  }
  void TearDown() override {
    for (pid_t pid : pids_)
      for (const QString& name : dumpsOf(pid)) QFile::remove(QDir(GoogleBreakpad::dumpFolder).filePath(name));
  }

  ProbeResult probe(const QString& appDir, const char* mode) {
    ProbeResult result = runProbe(appDir, mode, outDir_.filePath("probe_out.txt"));
    pids_.push_back(result.pid);
    return result;
  }

  QStringList uploadArguments() const {
    const QByteArray text = TestFiles::read(appDir_.filePath("upload_args.txt"));
    if (text.isEmpty()) return {};
    return QString::fromUtf8(text).split('\n', Qt::SkipEmptyParts);
  }

  QTemporaryDir appDir_;
  QTemporaryDir outDir_;
  std::vector<pid_t> pids_;
};

}  // namespace

TEST_F(CrashHook, SegfaultLeavesDumpAndRunsTheUploadToolFromItsFolder) {
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

  const QStringList expected = {"-p", "ScintariParticles Editor", "-v", SCINTARI_VERSION_STRING,
                                dumpPath,
                                SCINTARI_CRASH_COLLECTOR "/post/bp/crash/postBP.php"};
  EXPECT_EQ(uploadArguments(), expected);
  EXPECT_TRUE(r.out.startsWith("Sending core minidump:\n" + appDir_.filePath("minidump_upload").toUtf8() +
                               " -p \"ScintariParticles Editor\""))
      << r.out.constData();
}

TEST_F(CrashHook, RaisedAbortAndArithmeticSignalsAreReportedToo) {
  const struct {
    const char* mode;
    int signal;
    const char* text;
  } cases[] = {{"raise", SIGSEGV, "(SIGSEGV)"}, {"abort", SIGABRT, "(SIGABRT)"}, {"fpe", SIGFPE, "(SIGFPE)"}};
  for (const auto& c : cases) {
    QFile::remove(appDir_.filePath("upload_args.txt"));
    const ProbeResult r = probe(appDir_.path(), c.mode);
    ASSERT_TRUE(WIFSIGNALED(r.status)) << c.mode;
    EXPECT_EQ(WTERMSIG(r.status), c.signal) << c.mode;
    const QStringList dumps = dumpsOf(r.pid);
    ASSERT_EQ(dumps.size(), 1) << c.mode;
    EXPECT_TRUE(TestFiles::read(QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0])).contains(c.text)) << c.mode;
    EXPECT_EQ(uploadArguments().value(4), QDir(GoogleBreakpad::dumpFolder).filePath(dumps[0])) << c.mode;
  }
}

TEST_F(CrashHook, CrashBeforeTheApplicationPathLeavesTheDumpAndReportsNothing) {
  const ProbeResult r = probe("-", "segv");
  ASSERT_TRUE(WIFSIGNALED(r.status));
  EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);
  EXPECT_EQ(dumpsOf(r.pid).size(), 1);
  EXPECT_FALSE(r.out.contains("Sending core minidump:"));
}

TEST_F(CrashHook, AfterShutdownNoDumpIsMade) {
  const ProbeResult r = probe(appDir_.path(), "after-shutdown");
  ASSERT_TRUE(WIFSIGNALED(r.status));
  EXPECT_EQ(WTERMSIG(r.status), SIGSEGV);
  EXPECT_TRUE(dumpsOf(r.pid).isEmpty());
  EXPECT_TRUE(uploadArguments().isEmpty());
}

TEST(DumpCallback, ReportsNothingForAFailedDumpOrAnUnknownFolder) {
  GoogleBreakpad::MinidumpDescriptor descriptor("/tmp");
  descriptor.setPath("/tmp/none.dmp");
  GoogleBreakpad::setApplicationPath("");
  EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
  GoogleBreakpad::setApplicationPath("/nonexistent-folder");
  EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, false));
  GoogleBreakpad::setApplicationPath("");
}

TEST(DumpCallback, ResultIsTrueExactlyWhenTheToolFails) {
  QTemporaryDir dir;
  const QString script = dir.filePath("minidump_upload");
  ASSERT_TRUE(TestFiles::write(script, fakeUploadScript.toUtf8()));
  QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  GoogleBreakpad::MinidumpDescriptor descriptor("/tmp");
  descriptor.setPath("/tmp/some dump.dmp");
  GoogleBreakpad::setApplicationPath(dir.path().toUtf8().constData());

  qputenv("FAKE_UPLOAD_EXIT", "0");
  EXPECT_FALSE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
  const QStringList args = QString::fromUtf8(TestFiles::read(dir.filePath("upload_args.txt"))).split('\n', Qt::SkipEmptyParts);
  EXPECT_EQ(args.value(4), "/tmp/some dump.dmp") << "the dump path is quoted for the shell";

  qputenv("FAKE_UPLOAD_EXIT", "4");
  EXPECT_TRUE(GoogleBreakpad::dumpCallback(descriptor, nullptr, true));
  qunsetenv("FAKE_UPLOAD_EXIT");
  GoogleBreakpad::setApplicationPath("");
}

TEST(DumpCallback, CommandLineOfTheUploadTool) {
  EXPECT_EQ(GoogleBreakpad::uploadCommand("/opt/scintari/bin", "/tmp/a.dmp"),
            "/opt/scintari/bin/minidump_upload -p \"ScintariParticles Editor\" -v \"" SCINTARI_VERSION_STRING
            "\" \"/tmp/a.dmp\" " SCINTARI_CRASH_COLLECTOR "/post/bp/crash/postBP.php");
}
