// The rate of the time-stamp counter.
#pragma once

#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel {

// Ticks a second. Measured over a sixteenth of a second, nearly all of it asleep, with the calling thread
// pinned to one processor, on the first call; other calls return the same number. Any thread. Ends the
// process when the machine refuses.
u64 measure_tsc_frequency();

// The same against the system's wall clock instead of the performance counter.
u64 measure_tsc_frequency_by_system_clock();

// The system calls behind a measurement; tests put their own in place. Clocks answer 0 when they cannot be
// read.
struct FrequencyCalls {
    os::OsError (*get_affinity)(std::vector<u32>& processors);
    os::OsError (*set_affinity)(const std::vector<u32>& processors);
    u64 (*tsc)();
    u64 (*clock)();
    u64 (*clock_frequency)();
    // Lets at least so much time pass without using the processor; nullptr: the clock is read all the time.
    void (*pass)(double seconds) = nullptr;

    static const FrequencyCalls& of_this_machine();
};
// One measurement.
u64 measure_tsc_frequency(const FrequencyCalls& calls);

}  // namespace trel
