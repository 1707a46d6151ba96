// The processor's floating-point control word. Transforms that compute with floating-point numbers are right
// only when it rounds to nearest; something else in the process, or a fault, may have changed it.
#pragma once

#include "base/errors/exceptions.h"

namespace trel {

// Whether the processor rounds as the program expects on the calling thread: to nearest, denormal numbers
// kept.
bool floating_point_control_is_right();
// A product in which a thread rounded wrongly. To do it again would not help.
class WronglyRounded final : public ConvolutionFailedException {
  public:
    using ConvolutionFailedException::ConvolutionFailedException;
};
// For the warnings of a run.
inline constexpr const char* kFloatingPointControlCorrupted = "The FPU Control Word has been corrupted.";

}  // namespace trel
