#include "error_handlers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/stacktrace/safe_dump_to.hpp>

#ifndef SCINTARI_VERSION_STRING
#error "SCINTARI_VERSION_STRING must be defined by the build"
#endif
#ifndef SCINTARI_CRASH_COLLECTOR
#error "SCINTARI_CRASH_COLLECTOR must be defined by the build"
#endif

namespace GoogleBreakpad
{
namespace
{

// What the dumps are sent with.
constexpr const char* productName = "ScintariParticles Editor";
constexpr const char* versionString = SCINTARI_VERSION_STRING;
constexpr const char* collectorPath = "/post/bp/crash/postBP.php";

// Owned state of the hook. executableDir stays empty until the application
// object exists: before that a crash leaves its dump and reports nothing.
std::unique_ptr<ExceptionHandler> eh;
std::unique_ptr<MinidumpDescriptor> descriptor;
std::string executableDir;
// The upload command around the dump's path, made when the program's folder becomes known,
// so that the signal handler only copies.
std::string uploadHead;
std::string uploadTail;

// The handler the signal handler serves, and a guard against a crash inside
// the crash handling.
ExceptionHandler* activeHandler = nullptr;
volatile sig_atomic_t handlingSignal = 0;

// Stack of the signal handler, so that a stack overflow can still be dumped.
// The upload command runs on it too, hence the size.
constexpr std::size_t altStackSize = 256 * 1024;
std::vector<char>& altStack()
{
    static std::vector<char> stack(altStackSize);
    return stack;
}

// Async-signal-safe output helpers: no allocation, no stdio.
struct Out
{
    int fd;
    bool ok = true;

    void bytes(const char* data, std::size_t size)
    {
        while (size > 0 && ok)
        {
            const ssize_t n = ::write(fd, data, size);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
            {
                ok = false;
                return;
            }
            data += n;
            size -= static_cast<std::size_t>(n);
        }
    }
    void text(const char* s) { bytes(s, std::strlen(s)); }
    void dec(long long value)
    {
        char buf[24];
        char* p = buf + sizeof(buf);
        const bool negative = value < 0;
        unsigned long long v = negative ? 0ULL - static_cast<unsigned long long>(value)
                                        : static_cast<unsigned long long>(value);
        do
        {
            *--p = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v != 0);
        if (negative)
            *--p = '-';
        bytes(p, static_cast<std::size_t>(buf + sizeof(buf) - p));
    }
    void hex(std::uintptr_t value)
    {
        char buf[2 + 2 * sizeof(value)];
        char* p = buf + sizeof(buf);
        do
        {
            *--p = "0123456789abcdef"[value & 0xf];
            value >>= 4;
        } while (value != 0);
        *--p = 'x';
        *--p = '0';
        bytes(p, static_cast<std::size_t>(buf + sizeof(buf) - p));
    }
};

// Appends text to a fixed buffer; allocation-free.
struct Builder
{
    char* out;
    std::size_t capacity;
    std::size_t length = 0;

    void text(const char* s)
    {
        while (*s != '\0' && length + 1 < capacity)
            out[length++] = *s++;
        out[length] = '\0';
    }
    void dec(unsigned long long v)
    {
        char buf[24];
        int n = 0;
        do
        {
            buf[n++] = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v != 0);
        char digits[24];
        for (int i = 0; i < n; ++i)
            digits[i] = buf[n - 1 - i];
        digits[n] = '\0';
        text(digits);
    }
};

const char* signalName(int signal)
{
    switch (signal)
    {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGABRT:
        return "SIGABRT";
    case SIGFPE:
        return "SIGFPE";
    case SIGILL:
        return "SIGILL";
    case SIGBUS:
        return "SIGBUS";
    default:
        return "signal";
    }
}

void restoreDefault(int signal)
{
    struct sigaction action
    {
    };
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

void onFatalSignal(int signal, siginfo_t* info, void*)
{
    ExceptionHandler* handler = activeHandler;
    bool handled = false;
    if (handlingSignal == 0 && handler != nullptr)
    {
        handlingSignal = 1;
        handled = handler->handleSignal(signal, info);
    }
    // A handled crash ends with the signal's default action; one that isn't
    // goes on to whatever handled the signal before us.
    if (handled || handler == nullptr)
        restoreDefault(signal);
    else
        handler->restorePreviousAction(signal);
    // A fault comes again when the faulting instruction runs again after we
    // return; a signal that was sent (kill, raise, abort) has to be sent again.
    // It is blocked while we handle it, so it arrives once we have returned.
    if (info == nullptr || info->si_code <= 0 || signal == SIGABRT)
        ::raise(signal);
}

}  // namespace

MinidumpDescriptor::MinidumpDescriptor(std::string directory) : directory_(std::move(directory)) {}

void MinidumpDescriptor::makeNewPath()
{
    struct timespec now
    {
    };
    ::clock_gettime(CLOCK_REALTIME, &now);
    Builder b{path_, sizeof(path_)};
    b.text(directory_.c_str());
    b.text("/scintari.");
    b.dec(static_cast<unsigned long long>(::getpid()));
    b.text(".");
    b.dec(static_cast<unsigned long long>(now.tv_sec));
    b.text(".dmp");
}

void MinidumpDescriptor::setPath(const char* path)
{
    Builder b{path_, sizeof(path_)};
    b.text(path);
}

ExceptionHandler::ExceptionHandler(const MinidumpDescriptor& descriptor, FilterCallback filter,
                                   MinidumpCallback callback, void* callbackContext,
                                   bool installHandler, int serverFd)
    : descriptor_(descriptor),
      filter_(filter),
      callback_(callback),
      callbackContext_(callbackContext)
{
    (void)serverFd;  // dumps are always written in-process
    if (!installHandler)
        return;

    stack_t stack{};
    stack.ss_sp = altStack().data();
    stack.ss_size = altStack().size();
    stack.ss_flags = 0;
    ::sigaltstack(&stack, nullptr);

    struct sigaction action
    {
    };
    action.sa_sigaction = &onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : fatalSignals)
        sigaddset(&action.sa_mask, signal);
    for (std::size_t i = 0; i < std::size(fatalSignals); ++i)
        ::sigaction(fatalSignals[i], &action, &previous_[i]);
    installed_ = true;
    previousHandler_ = activeHandler;
    activeHandler = this;
}

ExceptionHandler::~ExceptionHandler()
{
    if (!installed_)
        return;
    if (activeHandler == this)
        activeHandler = previousHandler_;
    for (std::size_t i = 0; i < std::size(fatalSignals); ++i)
        ::sigaction(fatalSignals[i], &previous_[i], nullptr);
}

void ExceptionHandler::restorePreviousAction(int signal)
{
    if (!installed_)
        return;
    for (std::size_t i = 0; i < std::size(fatalSignals); ++i)
        if (fatalSignals[i] == signal)
            ::sigaction(signal, &previous_[i], nullptr);
}

bool ExceptionHandler::writeDump(int signal, const siginfo_t* info)
{
    descriptor_.makeNewPath();
    const int fd =
        ::open(descriptor_.path(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    Out out{fd};
    out.text("Scintari crash dump\nsignal: ");
    out.dec(signal);
    out.text(" (");
    out.text(signalName(signal));
    out.text(")\n");
    if (info != nullptr)
    {
        out.text("code: ");
        out.dec(info->si_code);
        out.text("\naddress: ");
        out.hex(reinterpret_cast<std::uintptr_t>(info->si_addr));
        out.text("\n");
    }
    out.text("product: ");
    out.text(productName);
    out.text("\nversion: ");
    out.text(versionString);
    out.text("\npid: ");
    out.dec(::getpid());
    char exe[1024];
    const ssize_t exeLength = ::readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    out.text("\nexecutable: ");
    if (exeLength > 0)
        out.bytes(exe, static_cast<std::size_t>(exeLength));

    // Raw frame addresses, innermost first; the map below places them in the
    // loaded files.
    out.text("\nstack:\n");
    const void* frames[128] = {};
    const std::size_t depth = boost::stacktrace::safe_dump_to(0, frames, sizeof(frames));
    for (std::size_t i = 0; i < depth && i < std::size(frames) && frames[i] != nullptr; ++i)
    {
        out.text("#");
        out.dec(static_cast<long long>(i));
        out.text(" ");
        out.hex(reinterpret_cast<std::uintptr_t>(frames[i]));
        out.text("\n");
    }
    out.text("maps:\n");
    const int maps = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (maps >= 0)
    {
        char buf[4096];
        for (;;)
        {
            const ssize_t n = ::read(maps, buf, sizeof(buf));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            out.bytes(buf, static_cast<std::size_t>(n));
        }
        ::close(maps);
    }
    out.text("end\n");
    const bool closed = ::close(fd) == 0;
    return out.ok && closed;
}

bool ExceptionHandler::handleSignal(int signal, const siginfo_t* info)
{
    if (filter_ != nullptr && !filter_(callbackContext_))
        return false;
    const bool succeeded = writeDump(signal, info);
    if (callback_ == nullptr)
        return false;
    return callback_(descriptor_, callbackContext_, succeeded);
}

void initialize()
{
    // Replace the earlier pair: the old handler goes before its descriptor.
    eh.reset();
    descriptor.reset();
    descriptor = std::make_unique<MinidumpDescriptor>(dumpFolder);
    eh = std::make_unique<ExceptionHandler>(*descriptor, nullptr, &dumpCallback, nullptr, true, -1);
}

namespace
{

std::string commandHead(const std::string& executableDir)
{
    const std::string tool = (boost::filesystem::path(executableDir) / "minidump_upload").string();
    return tool + " -p \"" + productName + "\"" + " -v \"" + versionString + "\"" + " \"";
}

std::string commandTail() { return "\" " + collectorUrl(); }

}  // namespace

void setApplicationPath(const char* path)
{
    executableDir = path != nullptr ? path : "";
    uploadHead = commandHead(executableDir);
    uploadTail = commandTail();
}

void shutdown()
{
    eh.reset();
    descriptor.reset();
}

std::string collectorUrl() { return std::string(SCINTARI_CRASH_COLLECTOR) + collectorPath; }

std::string uploadCommand(const std::string& executableDir, const std::string& dumpPath)
{
    return commandHead(executableDir) + dumpPath + commandTail();
}

// Runs in the signal handler, in a process that may have been stopped anywhere (inside the
// allocator, say): it allocates nothing and uses no stdio, and starts the shell with a fork
// that runs no fork handlers, then waits for it as std::system would.
bool dumpCallback(const MinidumpDescriptor& dumpDescriptor, void* context, bool succeeded)
{
    (void)context;
    if (!succeeded)
        return false;
    if (executableDir.empty())
        return false;
    static char command[3 * 4096];
    Builder builder{command, sizeof(command)};
    builder.text(uploadHead.c_str());
    builder.text(dumpDescriptor.path());
    builder.text(uploadTail.c_str());
    Out out{STDOUT_FILENO};
    out.text("Sending core minidump:\n");
    out.text(command);
    out.text("\n");
    const pid_t child = ::_Fork();
    if (child < 0)
        return true;
    if (child == 0)
    {
        ::execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return true;
    return status != 0;
}

}  // namespace GoogleBreakpad

namespace BugSplat
{

void initialize() {}

void addLogFile(const char* path) { (void)path; }

}  // namespace BugSplat
