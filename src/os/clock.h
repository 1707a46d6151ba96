// Clocks: monotonic, wall, processor time.
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

// Ticks of the system's steady performance counter and how many there are in a second. 0 if the system
// refuses, which no current system does; base/clock makes an error of it.
u64 performance_counter();
u64 performance_frequency();
// Name of the hardware clock that the system keeps time with ("tsc", "hpet", ...); empty when unknown. `root`
// is put before the path of the file it is read from (tests).
std::string clock_source_name(const std::string& root = "");

// Processor time that all threads of this process have used, in seconds.
struct ProcessTimes {
    double user = 0;
    double kernel = 0;
};
ProcessTimes process_times();

// Wall clock: seconds since 1970-01-01 UTC.
i64 unix_time();
struct LocalTime {
    int year, month, day;  // month and day from 1
    int weekday;           // 0 = Sunday
    int hour, minute, second;
};
LocalTime local_time(i64 unix_time);

}  // namespace trel::os
