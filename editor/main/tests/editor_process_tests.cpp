// Runs the editor as users do, with its home in a temporary folder and Qt's
// offscreen platform, and ends it with a signal as Ctrl+C would.
#include <signal.h>

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include "test_files.h"

namespace
{

class EditorProcess : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(home_.isValid());
        configDir_ = home_.filePath(".scintarieditor");
    }

    QProcessEnvironment environment(const QString& home) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", home);
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("XDG_RUNTIME_DIR", home_.path());
        return env;
    }

    // Starts the editor; true once its main window is shown (as its log says).
    bool start(QProcess& process, const QStringList& arguments, const QString& home,
               const QString& logFolder, QString* logPath)
    {
        process.setProcessEnvironment(environment(home));
        process.setWorkingDirectory(home_.path());
        process.start(EDITOR_EXE, arguments);
        if (!process.waitForStarted(10000))
            return false;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 30000)
        {
            for (const QString& name : TestFiles::editorLogs(logFolder))
            {
                const QString path = QDir(logFolder).filePath(name);
                if (TestFiles::read(path).contains("Main window shown"))
                {
                    *logPath = path;
                    return true;
                }
            }
            if (process.state() == QProcess::NotRunning)
                return false;
            QThread::msleep(50);
        }
        return false;
    }

    // Asks the editor to quit with `signal`; its exit code, -1 when it didn't end normally.
    int quitWith(QProcess& process, int signal)
    {
        ::kill(static_cast<pid_t>(process.processId()), signal);
        if (!process.waitForFinished(30000))
        {
            process.kill();
            process.waitForFinished();
            return -1;
        }
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    // Runs the editor to its end (for --help and the like).
    int run(const QStringList& arguments, QByteArray* out, QByteArray* err = nullptr)
    {
        QProcess process;
        QProcessEnvironment env = environment(home_.path());
        env.remove("QT_QPA_PLATFORM");  // an application object would abort without a display
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        process.setProcessEnvironment(env);
        process.start(EDITOR_EXE, arguments);
        if (!process.waitForFinished(30000))
        {
            process.kill();
            process.waitForFinished();
            return -1000;
        }
        *out = process.readAllStandardOutput();
        if (err != nullptr)
            *err = process.readAllStandardError();
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1000;
    }

    QTemporaryDir home_;
    QString configDir_;
};

// The options table, caption and two options, in 80 columns with the help
// texts in the second half, then the newline that follows the table.
void expectOptionsTable(const QByteArray& out)
{
    const QByteArray exportOption = "  --exportServer arg (=" SCINTARI_EXPORT_SERVER ")";
    // With the deployment's default address the option is wider than the first
    // column, so its help text goes to the next line, at column 40.
    ASSERT_GT(exportOption.size(), 38) << "adapt the expected table to a short default address";
    const QByteArray expected = "Available options:\n"
                                "  --help                                Produces help message.\n" +
                                exportOption + "\n" + QByteArray(40, ' ') +
                                "Export server address.\n"
                                "\n";
    EXPECT_EQ(out.toStdString(), expected.toStdString());
}

}  // namespace

TEST_F(EditorProcess, HelpPrintsTheOptionsTableAndExitsWithOne)
{
    QByteArray out;
    EXPECT_EQ(run({"--help"}, &out), 1);
    expectOptionsTable(out);
    EXPECT_FALSE(out.contains("Unable to set stylesheet")) << "no application object was made";
    // The run ended before the orderly end: its log file stays.
    const QStringList logs = TestFiles::editorLogs(configDir_);
    ASSERT_EQ(logs.size(), 1);
    EXPECT_TRUE(TestFiles::read(QDir(configDir_).filePath(logs[0])).contains("INFO 300"));
}

TEST_F(EditorProcess, UnknownOptionIsIgnored)
{
    QByteArray out;
    EXPECT_EQ(run({"--frobnicate", "--help", "--colour=green"}, &out), 1);
    expectOptionsTable(out);
    // There are no positional arguments; a stray word is ignored as well.
    EXPECT_EQ(run({"stray", "--help"}, &out), 1);
    expectOptionsTable(out);

    QProcess process;
    QString log;
    ASSERT_TRUE(start(process, {"--frobnicate=3"}, home_.path(), configDir_, &log));
    EXPECT_EQ(quitWith(process, SIGINT), 0);
}

TEST_F(EditorProcess, MalformedOptionIsRefusedWithAMessage)
{
    QByteArray out, err;
    EXPECT_EQ(run({"--exportServer"}, &out, &err), 1);
    EXPECT_TRUE(err.startsWith("the required argument for option '--exportServer' is missing\n"))
        << err.constData();
    EXPECT_TRUE(err.contains("Available options:"));
    EXPECT_EQ(run({"--exportServer", "a", "--exportServer", "b"}, &out, &err), 1);
    EXPECT_TRUE(err.contains("cannot be specified more than once")) << err.constData();
}

TEST_F(EditorProcess, NormalStartAndQuitLeavesNoLogFile)
{
    QProcess process;
    QString log;
    ASSERT_TRUE(start(process, {}, home_.path(), configDir_, &log))
        << process.readAllStandardError().constData();
    EXPECT_TRUE(QFile::exists(log));
    EXPECT_EQ(quitWith(process, SIGTERM), 0);
    EXPECT_TRUE(TestFiles::editorLogs(configDir_).isEmpty())
        << TestFiles::editorLogs(configDir_).join(",").toStdString();
    EXPECT_FALSE(process.readAllStandardOutput().contains("Unable to set stylesheet"))
        << "the dark stylesheet is in the resources";
}

TEST_F(EditorProcess, SecondStartWithExistingFolderGivesNoWarning)
{
    for (int run = 0; run < 2; ++run)
    {
        QProcess process;
        QString log;
        ASSERT_TRUE(start(process, {}, home_.path(), configDir_, &log)) << "run " << run;
        const QByteArray records = TestFiles::read(log);
        EXPECT_FALSE(records.contains("Can't create config directory")) << "run " << run;
        EXPECT_FALSE(records.contains("\tWARNING 500 [")) << "run " << run << "\n"
                                                          << records.constData();
        EXPECT_EQ(quitWith(process, SIGTERM), 0);
    }
    EXPECT_TRUE(TestFiles::editorLogs(configDir_).isEmpty());
}

TEST_F(EditorProcess, ConfigFolderThatCantBeMadeIsLoggedAndStartGoesOn)
{
    // A home that is a file: nothing can be made under it.
    const QString fileHome = home_.filePath("home-is-a-file");
    ASSERT_TRUE(TestFiles::write(fileHome, "x"));
    QProcess process;
    QString log;
    // The log file then goes to the working folder.
    ASSERT_TRUE(start(process, {}, fileHome, home_.path(), &log));
    const QByteArray records = TestFiles::read(log);
    const QByteArray expected =
        "Can't create config directory: " + QDir(fileHome).filePath(".scintarieditor").toUtf8() +
        "\n\twith error: ";
    EXPECT_TRUE(records.contains(expected)) << records.constData();
    EXPECT_TRUE(records.contains("\tWARNING 500 ["));
    EXPECT_EQ(quitWith(process, SIGTERM), 0);
    EXPECT_FALSE(QFile::exists(log));
}

TEST_F(EditorProcess, ExportServerReachesTheMainWindow)
{
    {
        QProcess process;
        QString log;
        ASSERT_TRUE(start(process, {"--exportServer", "https://export.test.example:8443"},
                          home_.path(), configDir_, &log));
        const QByteArray records = TestFiles::read(log);
        EXPECT_TRUE(records.contains("export server https://export.test.example:8443\n"))
            << records.constData();
        EXPECT_FALSE(records.contains(SCINTARI_EXPORT_SERVER));
        EXPECT_EQ(quitWith(process, SIGTERM), 0);
    }
    {
        QProcess process;
        QString log;
        ASSERT_TRUE(start(process, {}, home_.path(), configDir_, &log));
        EXPECT_TRUE(TestFiles::read(log).contains(QByteArray("export server ") +
                                                  SCINTARI_EXPORT_SERVER + "\n"));
        EXPECT_EQ(quitWith(process, SIGTERM), 0);
    }
}

TEST_F(EditorProcess, CrashLeavesDumpAndLogAndStartsTheUploadToolBesideTheProgram)
{
    // A copy of the editor in a folder of its own, with a fake upload tool
    // beside it that records its arguments.
    QTemporaryDir programDir;
    const QString program = programDir.filePath("scintari-editor");
    ASSERT_TRUE(QFile::copy(EDITOR_EXE, program));
    QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(TestFiles::writeFakeUploadTool(programDir.path()));

    QProcess process;
    process.setProcessEnvironment(environment(home_.path()));
    process.start(program, QStringList());
    ASSERT_TRUE(process.waitForStarted(10000));
    QString log;
    for (int i = 0; i < 600 && log.isEmpty(); ++i)
    {
        for (const QString& name : TestFiles::editorLogs(configDir_))
            if (TestFiles::read(QDir(configDir_).filePath(name)).contains("Main window shown"))
                log = QDir(configDir_).filePath(name);
        if (log.isEmpty())
            QThread::msleep(50);
    }
    ASSERT_FALSE(log.isEmpty());
    const auto pid = static_cast<pid_t>(process.processId());
    ::kill(pid, SIGSEGV);
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);

    const QStringList dumps =
        QDir("/tmp").entryList({QString("scintari.%1.*.dmp").arg(pid)}, QDir::Files);
    ASSERT_EQ(dumps.size(), 1);
    const QString dumpPath = QDir("/tmp").filePath(dumps[0]);
    EXPECT_TRUE(TestFiles::read(dumpPath).contains("(SIGSEGV)"));
    const QStringList args = TestFiles::fakeUploadArguments(programDir.path());
    const QStringList expected = {"-p",     "ScintariParticles Editor",
                                  "-v",     SCINTARI_VERSION_STRING,
                                  dumpPath, SCINTARI_CRASH_COLLECTOR "/post/bp/crash/postBP.php"};
    EXPECT_EQ(args, expected);
    EXPECT_TRUE(process.readAllStandardOutput().contains("Sending core minidump:\n"));
    EXPECT_TRUE(QFile::exists(log)) << "the log of a run that did not end normally stays";
    QFile::remove(dumpPath);
}
