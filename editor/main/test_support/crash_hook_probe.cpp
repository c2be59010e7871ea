// Installs the crash hook the way the editor does, then crashes.
//
//   crash_hook_probe <application folder or -> <segv|raise|abort|fpe|after-shutdown>
//
// With "-" the application path is never set, as in a crash early in start-up.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "error_handlers.h"

namespace {

volatile int* volatile nowhere = nullptr;
volatile int zero = 0;
volatile int seven = 7;

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: crash_hook_probe <app folder|-> <mode>\n");
    return 2;
  }
  GoogleBreakpad::initialize();
  GoogleBreakpad::initialize();  // replacing the pair must leave a working hook
  if (std::strcmp(argv[1], "-") != 0) GoogleBreakpad::setApplicationPath(argv[1]);
  std::fflush(stdout);

  const char* mode = argv[2];
  if (std::strcmp(mode, "segv") == 0) {
    *nowhere = 1;
  } else if (std::strcmp(mode, "raise") == 0) {
    std::raise(SIGSEGV);
  } else if (std::strcmp(mode, "abort") == 0) {
    std::abort();
  } else if (std::strcmp(mode, "fpe") == 0) {
    std::printf("%d\n", seven / zero);
  } else if (std::strcmp(mode, "after-shutdown") == 0) {
    GoogleBreakpad::shutdown();
    GoogleBreakpad::shutdown();  // twice is harmless
    std::raise(SIGSEGV);
  }
  std::fprintf(stderr, "still alive after mode %s\n", mode);
  return 3;
}
