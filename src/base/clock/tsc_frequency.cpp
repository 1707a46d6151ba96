#include "base/clock/tsc_frequency.h"

#include <vector>

#include "base/console/console.h"
#include "os/affinity.h"
#include "os/clock.h"
#include "os/cpu.h"

namespace trel {
namespace {

[[noreturn]] void refuse(const char* message) {
    Console::error_line(message);
    Console::fatal_exit(1);
}

u64 measure() {
    // Processors of one machine may disagree about the counter, so stay on one.
    std::vector<u32> before;
    const bool known = !os::get_thread_affinity(before) && !before.empty();
    if (!known) Console::error_line("Unable to read thread affinity.");
    if (known && os::set_thread_affinity({before.front()})) refuse("Unable to set Affinity Mask.");

    const u64 frequency = os::performance_frequency();
    if (frequency == 0) refuse("Unable to measure clock speed.");
    const u64 interval = frequency >> 4;
    const u64 tsc_start = os::read_tsc();
    const u64 start = os::performance_counter();
    u64 ticks;
    do {
        ticks = os::performance_counter() - start;
    } while (ticks < interval);
    const u64 tsc_ticks = os::read_tsc() - tsc_start;

    if (known && os::set_thread_affinity(before)) refuse("Unable to set Affinity Mask.");
    return static_cast<u64>(static_cast<double>(tsc_ticks) / static_cast<double>(ticks) *
                            static_cast<double>(frequency));
}

}  // namespace

u64 measure_tsc_frequency() {
    static const u64 frequency = measure();
    return frequency;
}

}  // namespace trel
