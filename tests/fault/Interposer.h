#pragma once

// Faults beneath the library: the fault tests link the library's layers with
// the linker's --wrap over the EGL, GL, allocation and file calls that can
// fail, so the library carries no hook and runs the paths that ship.

#include <array>
#include <cstddef>

namespace pe {
namespace fault {

// Live objects the library made through the wrapped calls and has not
// deleted: GL names and graphics-buffer or heap memory.
using Live = std::array<size_t, 5>;  // textures, fbos, programs, shaders, buffers

// Counts the fallible steps other threads than the caller's take from now
// on, and makes the failAt-th fail (0: none fails).
void Arm(int failAt);
// Stops counting; returns the steps counted.
int Disarm();
// The failed call, and the text the library's error line about it holds
// ("a|b": either); null while nothing failed.
const char* FailedCall();
const char* ExpectedLine();
Live LiveObjects();

}  // namespace fault
}  // namespace pe
