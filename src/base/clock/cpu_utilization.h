// How much of the machine an interval has used.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/clock/timer.h"
#include "base/console/colors.h"
#include "os/types.h"

namespace trel {

// Percentages: of one processor, and of all of them.
struct CpuUtilization {
    bool measurable = false;  // false: the interval was too short for the system's accounting
    double total = 0;         // 100 x processor time / wall time
    double kernel = 0;        // 100 x kernel time / wall time
    double total_per_core = 0;
    double kernel_per_core = 0;
};
// n_processors 0 counts as 1.
CpuUtilization cpu_utilization(const TimeSpan& span, u64 n_processors);

// Two lines, "CPU Utilization:        " and "Multi-core Efficiency:  ", each as its pieces.
std::array<std::vector<Console::ColoredText>, 2> cpu_utilization_lines(const CpuUtilization& utilization);
// The same as plain text with the wider labels of files, without line ends.
std::array<std::string, 2> cpu_utilization_file_lines(const CpuUtilization& utilization);
// The same over all active processors of the machine.
std::array<std::vector<Console::ColoredText>, 2> cpu_utilization_lines(const TimeSpan& span);

}  // namespace trel
