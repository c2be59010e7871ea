// ps_determinism_runner <effect file> <frames> <every> <output file>
//
// Built against the runtime compiled without optimisation: loads a compiled effect, drives it
// the fixed way of ps_determinism_dump.h and writes the record to <output file>. It prints
// "optimised 0" or "optimised 1" for how this program itself was compiled, so that a caller
// can tell that it really compares two builds. Exit codes: 0 done, 1 usage, 2 input refused.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "particle_system/ps_mem_managed_context.h"
#include "ps_determinism_dump.h"

int main(int argc, char** argv)
{
    if (argc != 5)
    {
        std::cerr << "usage: ps_determinism_runner <effect file> <frames> <every> <output file>\n";
        return 1;
    }
    const unsigned long frames = std::strtoul(argv[2], nullptr, 10);
    const unsigned long every = std::strtoul(argv[3], nullptr, 10);
    std::ifstream in(argv[1], std::ios::binary);
    if (!in)
    {
        std::cerr << "error: cannot read " << argv[1] << "\n";
        return 2;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                     std::istreambuf_iterator<char>());
#ifdef __OPTIMIZE__
    std::cout << "optimised 1\n";
#else
    std::cout << "optimised 0\n";
#endif
    try
    {
        Ps::MemManagedContext context;
        Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                        context.get());
        PsDeterminism::Summary summary;
        const std::vector<uint8_t> record =
            PsDeterminism::runAndRecord(shell.getSystem(), static_cast<uint32_t>(frames),
                                        static_cast<uint32_t>(every), &summary);
        std::ofstream out(argv[4], std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(record.data()),
                  static_cast<std::streamsize>(record.size()));
        if (!out)
        {
            std::cerr << "error: cannot write " << argv[4] << "\n";
            return 2;
        }
        std::cout << "bytes " << record.size() << " max_particles " << summary.maxParticles
                  << " vertices " << summary.finalVertices << "\n";
    }
    catch (const std::exception& e)
    {
        std::cerr << "error: " << e.what() << "\n";
        return 2;
    }
    return 0;
}
