#pragma once

// A compiled effect whose particles are driven by the function operations with data of their
// own: curves, a path, a painted area, linear and cubic noise and expressions, in the init,
// update and construct chains, built into quads. Shared by the tests of allocation and of
// identical results across builds.

#include <cstdint>
#include <vector>

namespace PsTest
{

std::vector<uint8_t> functionsEffect(uint32_t seed);

}  // namespace PsTest
