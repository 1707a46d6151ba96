// The rate of the time-stamp counter.
#pragma once

#include "os/types.h"

namespace trel {

// Ticks a second. Measured over a sixteenth of a second, with the calling thread pinned to one processor, on
// the first call; other calls return the same number. Any thread. Ends the process when the machine refuses.
u64 measure_tsc_frequency();

}  // namespace trel
