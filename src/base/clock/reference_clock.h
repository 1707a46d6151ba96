// Which hardware clock the system measures time with, and the frequencies that tell whether clocks agree.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel {

// "HPET", "ACPI", "TSC" or empty for unknown, told from the frequencies (ticks a second) of the performance
// counter, 0 when it cannot be read, and of the time-stamp counter. Each kind of timer has a frequency of its
// own; a performance counter that is a thousandth of the time-stamp counter is made from it.
std::string reference_clock_kind(u64 performance_frequency, u64 tsc_frequency);
// The same from the system's own name of the clock ("hpet", "acpi_pm", "tsc").
std::string reference_clock_kind(std::string_view clock_source);

// The clock of this machine: by its name where the system tells it, by frequency elsewhere.
std::string get_reference_clock_kind();

// What a report shows to let a reader judge the clocks of a run.
struct ReferenceClocks {
    std::string kind;
    u64 performance_frequency = 0;       // of the performance counter
    u64 tsc_by_performance_counter = 0;  // of the time-stamp counter
    u64 tsc_by_system_clock = 0;
};
// Waits for the rates, which are measured once (tsc_frequency.h).
ReferenceClocks reference_clocks();

}  // namespace trel
