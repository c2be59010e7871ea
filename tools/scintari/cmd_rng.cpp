// scintari rng: prints the start of the runtime's random sequence for a seed.
#include <cinttypes>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "particle_system/ps_random_generator.h"
#include "scintari_command.h"
#include "scintari_numbers.h"

namespace
{

const char* const help =
    "scintari rng <seed> <n>\n"
    "\n"
    "  Seeds the runtime's random generator (taus88) with <seed> and prints the\n"
    "  first <n> outputs, as an effect with that fixed seed draws them.\n"
    "  <seed> is a whole number from 0 to 4294967295, decimal or hexadecimal after\n"
    "  0x; <n> is a count from 0 to 1000000.\n"
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

int usage(const std::string& why)
{
    std::cerr << "scintari rng: " << why << "\nusage: scintari rng <seed> <n>\n";
    return 1;
}

int runRng(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return usage("expected a seed and a count");
    std::uint64_t seed = 0, count = 0;
    std::string why;
    if (!Scintari::parseWhole(args[0], {"the seed", 0, 0xFFFFFFFFull, true}, seed, why) ||
        !Scintari::parseWhole(args[1], {"the count", 0, 1000000}, count, why))
        return usage(why);

    Ps::RandomGenerator words(static_cast<std::uint32_t>(seed));
    Ps::RandomGenerator floats(static_cast<std::uint32_t>(seed));
    std::printf("seed: %" PRIu32 "\n", static_cast<std::uint32_t>(seed));
    std::printf("state: %" PRIu32 " %" PRIu32 " %" PRIu32 "\n", words.getS1(), words.getS2(),
                words.getS3());
    for (std::uint64_t i = 0; i < count; ++i)
    {
        const std::uint32_t u = words.generateUint32();
        const float f = floats.generateNormFloat();
        std::printf("%" PRIu64 " %" PRIu32 " %.9g\n", i, u, static_cast<double>(f));
    }
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "rng", "print the runtime's random sequence after a seed", help, runRng});

}  // namespace
