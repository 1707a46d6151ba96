// The processor's floating-point control word. Transforms that compute with floating-point numbers are right
// only when it rounds to nearest; something else in the process, or a fault, may have changed it.
#pragma once

namespace trel {

// Whether the processor rounds as the program expects on the calling thread: to nearest, denormal numbers
// kept.
bool floating_point_control_is_right();
// For the warnings of a run.
inline constexpr const char* kFloatingPointControlCorrupted = "The FPU Control Word has been corrupted.";

}  // namespace trel
