// Installs the crash hook the way the editor does, then crashes.
//
//   crash_hook_probe <application folder or -> <segv|raise|abort|fpe|after-shutdown|
//                                              segv-chained|raise-chained>
//
// With "-" the application path is never set, as in a crash early in start-up.
// The "-chained" modes install a SIGSEGV handler of their own before the hook;
// it prints "previous handler" and exits with 42 when the hook passes the
// crash on to it.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "error_handlers.h"

namespace
{

volatile int* volatile nowhere = nullptr;
volatile int zero = 0;
volatile int seven = 7;

void previousHandler(int)
{
    const char text[] = "previous handler\n";
    [[maybe_unused]] ssize_t n = ::write(1, text, sizeof(text) - 1);
    ::_exit(42);
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: crash_hook_probe <app folder|-> <mode>\n");
        return 2;
    }
    const char* mode = argv[2];
    if (std::strstr(mode, "-chained") != nullptr)
        std::signal(SIGSEGV, &previousHandler);
    GoogleBreakpad::initialize();
    GoogleBreakpad::initialize();  // replacing the pair must leave a working hook
    if (std::strcmp(argv[1], "-") != 0)
        GoogleBreakpad::setApplicationPath(argv[1]);
    std::fflush(stdout);

    if (std::strcmp(mode, "segv") == 0 || std::strcmp(mode, "segv-chained") == 0)
    {
        *nowhere = 1;
    }
    else if (std::strcmp(mode, "raise") == 0 || std::strcmp(mode, "raise-chained") == 0)
    {
        std::raise(SIGSEGV);
    }
    else if (std::strcmp(mode, "abort") == 0)
    {
        std::abort();
    }
    else if (std::strcmp(mode, "fpe") == 0)
    {
        std::printf("%d\n", seven / zero);
    }
    else if (std::strcmp(mode, "after-shutdown") == 0)
    {
        GoogleBreakpad::shutdown();
        GoogleBreakpad::shutdown();  // twice is harmless
        std::raise(SIGSEGV);
    }
    std::fprintf(stderr, "still alive after mode %s\n", mode);
    return 3;
}
