#include "base/clock/tsc_frequency.h"

#include <chrono>
#include <thread>

#include "base/console/console.h"
#include "os/affinity.h"
#include "os/clock.h"
#include "os/cpu.h"
#include "os/system_clock.h"

namespace trel {
namespace {

[[noreturn]] void refuse(const char* message) {
    Console::error_line(message);
    Console::fatal_exit(1);
}

constexpr double kSeconds = 1.0 / 16;

void sleep_through(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

u64 readable(u64 value) {
    if (value == 0) refuse("Unable to measure clock speed.");
    return value;
}

}  // namespace

u64 measure_tsc_frequency(const FrequencyCalls& calls) {
    // Processors of one machine may disagree about the counter, so stay on one.
    std::vector<u32> before;
    const bool known = !calls.get_affinity(before) && !before.empty();
    if (!known) Console::error_line("Unable to read thread affinity.");
    // Where that is refused, as in a sandbox, the measurement goes on from processor to processor.
    const bool pinned = known && !calls.set_affinity({before.front()});

    const u64 frequency = readable(calls.clock_frequency());
    const u64 interval = static_cast<u64>(static_cast<double>(frequency) * kSeconds);
    u64 tsc_start = calls.tsc();
    u64 start = readable(calls.clock());
    u64 ticks;
    if (calls.pass != nullptr) calls.pass(kSeconds);
    do {
        const u64 now = readable(calls.clock());
        // A wall clock may be set back meanwhile.
        if (now < start) {
            tsc_start = calls.tsc();
            start = now;
        }
        ticks = now - start;
    } while (ticks < interval);
    const u64 tsc_ticks = calls.tsc() - tsc_start;

    if (pinned && calls.set_affinity(before)) refuse("Unable to set Affinity Mask.");
    return static_cast<u64>(static_cast<double>(tsc_ticks) / static_cast<double>(ticks) *
                            static_cast<double>(frequency));
}

const FrequencyCalls& FrequencyCalls::of_this_machine() {
    static constexpr FrequencyCalls calls{os::get_thread_affinity, os::set_thread_affinity,   os::read_tsc,
                                          os::performance_counter, os::performance_frequency, sleep_through};
    return calls;
}

u64 measure_tsc_frequency() {
    static const u64 frequency = measure_tsc_frequency(FrequencyCalls::of_this_machine());
    return frequency;
}

u64 measure_tsc_frequency_by_system_clock() {
    static const u64 frequency = [] {
        FrequencyCalls calls = FrequencyCalls::of_this_machine();
        calls.clock = os::system_clock_nanoseconds;
        calls.clock_frequency = [] { return u64(1000000000); };
        return measure_tsc_frequency(calls);
    }();
    return frequency;
}

}  // namespace trel
