#pragma once

// Makes one allocation of the calling thread fail, for tests of what a failure half-way
// leaves behind. The test program replaces the global operator new for this.
namespace DebugTest
{

// The allocation after `allocations` more ones of this thread throws std::bad_alloc; -1 disarms.
void failAllocationAfter(long allocations);
// True when the armed failure has happened (and disarmed itself).
bool allocationFailed();

}  // namespace DebugTest
