// scintari rng: prints the start of the runtime's random sequence for a seed.
#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "particle_system/ps_random_generator.h"
#include "scintari_command.h"

namespace {

const char* const help =
    "scintari rng <seed> <n>\n"
    "\n"
    "  Seeds the runtime's random generator (taus88) with <seed> and prints the\n"
    "  first <n> outputs, as an effect with that fixed seed draws them.\n"
    "  <seed> is an unsigned 32-bit number, decimal or 0x-prefixed hexadecimal;\n"
    "  <n> is a count from 0 to 1000000.\n"
    "\n"
    "  Output (exit code 0), on standard output:\n"
    "    seed: <seed, decimal>\n"
    "    state: <s1> <s2> <s3>            the three state words after seeding\n"
    "    <i> <uint32> <float>             one line per output, i from 0\n"
    "  <uint32> is the i-th generateUint32() of one generator, <float> the i-th\n"
    "  generateNormFloat() of a second generator seeded the same way (a value in\n"
    "  [0, 1), printed with 9 significant digits, \"%.9g\", so that it reads back\n"
    "  as the same float). The columns usually agree (float = uint32 times\n"
    "  2.3283064e-10) until an output rounds up to 1.0, which the float sequence\n"
    "  skips.\n"
    "\n"
    "  Bad arguments print a usage message on standard error (exit code 1).\n";

bool parseUnsigned(const std::string& text, std::uint64_t max, std::uint64_t& value) {
  if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') return false;
  // Decimal, or hexadecimal after "0x"; a leading 0 doesn't mean octal.
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* digits = text.c_str() + (hex ? 2 : 0);
  if (!std::isxdigit(static_cast<unsigned char>(*digits))) return false;
  errno = 0;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(digits, &end, hex ? 16 : 10);
  if (errno != 0 || end != text.c_str() + text.size() || v > max) return false;
  value = v;
  return true;
}

int usage(const std::string& why) {
  std::cerr << "scintari rng: " << why << "\nusage: scintari rng <seed> <n>\n";
  return 1;
}

int runRng(const std::vector<std::string>& args) {
  if (args.size() != 2) return usage("expected a seed and a count");
  std::uint64_t seed = 0, count = 0;
  if (!parseUnsigned(args[0], 0xFFFFFFFFull, seed))
    return usage("the seed must be an unsigned 32-bit number: " + args[0]);
  if (!parseUnsigned(args[1], 1000000, count))
    return usage("the count must be a number from 0 to 1000000: " + args[1]);

  Ps::RandomGenerator words(static_cast<std::uint32_t>(seed));
  Ps::RandomGenerator floats(static_cast<std::uint32_t>(seed));
  std::printf("seed: %" PRIu32 "\n", static_cast<std::uint32_t>(seed));
  std::printf("state: %" PRIu32 " %" PRIu32 " %" PRIu32 "\n", words.getS1(), words.getS2(),
              words.getS3());
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint32_t u = words.generateUint32();
    const float f = floats.generateNormFloat();
    std::printf("%" PRIu64 " %" PRIu32 " %.9g\n", i, u, static_cast<double>(f));
  }
  return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "rng", "print the runtime's random sequence after a seed", help, runRng});

}  // namespace
