#pragma once

#include <csignal>
#include <string>

// Crash reporting of the editor. A fatal signal (SIGSEGV, SIGABRT, SIGFPE,
// SIGILL, SIGBUS) writes a dump file into the dump folder: the signal, the
// version, the raw stack (frame addresses) and the process's memory map, which
// together let a developer symbolise the stack offline. Then the dump callback
// hands the file to the upload tool. When the callback reports the crash as
// handled (it returns true), the signal takes its default action and ends the
// process; otherwise it goes on to the handler that was installed before ours
// (for the editor, the default action as well).
namespace GoogleBreakpad
{

// The folder dumps go to, and the path of the dump being written.
class MinidumpDescriptor
{
public:
    explicit MinidumpDescriptor(std::string directory);

    const std::string& directory() const { return directory_; }
    // Path of the last dump written; empty before any.
    const char* path() const { return path_; }

    // Makes a new dump path in the folder for this process. Allocates nothing,
    // so the signal handler can call it.
    void makeNewPath();
    // Sets the path directly (tests and callers that wrote a dump themselves).
    void setPath(const char* path);

private:
    std::string directory_;
    char path_[4096] = {};
};

using FilterCallback = bool (*)(void* context);
using MinidumpCallback = bool (*)(const MinidumpDescriptor& descriptor, void* context,
                                  bool succeeded);

// Installs the signal handlers while it lives (when installHandler is true).
// One handler is active at a time: a newer one replaces the older one, whose
// destruction gives the signals back to what they were before it.
class ExceptionHandler
{
public:
    ExceptionHandler(const MinidumpDescriptor& descriptor, FilterCallback filter,
                     MinidumpCallback callback, void* callbackContext, bool installHandler,
                     int serverFd);
    ~ExceptionHandler();

    ExceptionHandler(const ExceptionHandler&) = delete;
    ExceptionHandler& operator=(const ExceptionHandler&) = delete;

    // Writes a dump for `signal` and runs the callback; what the signal
    // handler does. Returns the callback's result (false without a callback):
    // true when the crash counts as handled.
    bool handleSignal(int signal, const siginfo_t* info);

    // Gives `signal` back to the action it had before this handler was made.
    // Allocates nothing; the signal handler calls it for a crash not handled.
    void restorePreviousAction(int signal);

private:
    bool writeDump(int signal, const siginfo_t* info);

    MinidumpDescriptor descriptor_;
    FilterCallback filter_;
    MinidumpCallback callback_;
    void* callbackContext_;
    bool installed_ = false;
    struct sigaction previous_[5] = {};
    ExceptionHandler* previousHandler_ = nullptr;
};

// The signals that make a dump.
constexpr int fatalSignals[5] = {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS};

// Folder of the dumps.
constexpr const char* dumpFolder = "/tmp";

// Creates the descriptor for dumpFolder and the exception handler with
// dumpCallback. Calling it again replaces and destroys the earlier pair.
void initialize();

// Stores the folder of the executable; until then a crash reports nothing.
void setApplicationPath(const char* path);

// Destroys the handler and then the descriptor; safe to call when they are null.
void shutdown();

// Runs the upload tool of the executable's folder on the dump. Returns false
// when the dump failed or the folder isn't known yet; otherwise true exactly
// when the tool's exit status isn't 0.
bool dumpCallback(const MinidumpDescriptor& descriptor, void* context, bool succeeded);

// The shell command dumpCallback runs for a dump file.
std::string uploadCommand(const std::string& executableDir, const std::string& dumpPath);

// Address of the crash collector the dumps are posted to.
std::string collectorUrl();

}  // namespace GoogleBreakpad

// The crash service of other platforms; nothing to do on this one.
namespace BugSplat
{
void initialize();
void addLogFile(const char* path);
}  // namespace BugSplat
