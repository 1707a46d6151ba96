// Whether the clocks of a machine agree on how long an interval was: a clock that was tampered with shows.
#pragma once

#include <string_view>

#include "os/types.h"

namespace trel {

// A moment by three clocks; 0 where one cannot be read.
struct ClockReading {
    u64 performance = 0;  // ticks of the performance counter
    u64 tsc = 0;          // ticks of the time-stamp counter
    u64 system_ns = 0;    // the system's clock on the wall

    static ClockReading now();
};

enum class TimerCheck { passed, failed, unable, disabled_by_restart };

// "unable" when a clock or a rate (ticks a second) is 0, or the interval is shorter than 0.1 s. "passed" when
// the longest of the three times is at most 1 percent above the shortest.
TimerCheck check_timers(const ClockReading& start, const ClockReading& end, u64 performance_frequency,
                        u64 tsc_frequency);

// "Passed", "Failed", "Unable to Validate", "Disabled due to checkpoint restart"
std::string_view timer_check_text(TimerCheck check);

}  // namespace trel
