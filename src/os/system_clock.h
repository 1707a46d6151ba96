// The wall clock in its finest steps. It may be set, back too; intervals are measured with os/clock.h.
#pragma once

#include "os/types.h"

namespace trel::os {

// Nanoseconds since 1970-01-01 UTC; 0 when the clock cannot be read.
u64 system_clock_nanoseconds();

}  // namespace trel::os
