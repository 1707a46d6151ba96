#include "base/clock/tsc_frequency.h"

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "os/affinity.h"
#include "os/clock.h"
#include "os/cpu.h"
#include "os/system_clock.h"

namespace trel {
namespace {

constexpr double kSeconds = 1.0 / 16;
constexpr double kNanoseconds = 1e9;

// A clock that cannot be read.
struct Unreadable {};

u64 readable(u64 value) {
    if (value == 0) throw Unreadable();
    return value;
}

// Adds the two rates. False: abandoned.
bool measure_interval(const FrequencyCalls& calls, TscRates& rates) {
    const u64 frequency = readable(calls.clock_frequency());
    const u64 interval = static_cast<u64>(static_cast<double>(frequency) * kSeconds);
    u64 tsc_ticks, ticks, nanoseconds;
    bool steady;
    do {
        const u64 system_start = readable(calls.system_clock());
        const u64 tsc_start = calls.tsc();
        const u64 start = readable(calls.clock());
        if (calls.pass && !calls.pass(kSeconds)) return false;
        u64 now;
        do {
            now = readable(calls.clock());
        } while (now >= start && now - start < interval);
        tsc_ticks = calls.tsc() - tsc_start;
        const u64 system_now = readable(calls.system_clock());
        // A clock may be set back meanwhile.
        steady = now >= start && system_now > system_start;
        ticks = now - start;
        nanoseconds = system_now - system_start;
    } while (!steady);
    const double counted = static_cast<double>(tsc_ticks);
    rates.by_performance_counter =
        static_cast<u64>(counted / static_cast<double>(ticks) * static_cast<double>(frequency));
    rates.by_system_clock = static_cast<u64>(counted / static_cast<double>(nanoseconds) * kNanoseconds);
    return true;
}

}  // namespace

TscRates measure_tsc(const FrequencyCalls& calls) {
    TscRates rates;
    // Processors of one machine may disagree about the counter, so stay on one.
    std::vector<u32> before;
    rates.affinity_known = !calls.get_affinity(before) && !before.empty();
    // Where that is refused, as in a sandbox, the measurement goes on from processor to processor.
    const bool pinned = rates.affinity_known && !calls.set_affinity({before.front()});
    try {
        rates.abandoned = !measure_interval(calls, rates);
    } catch (const Unreadable&) {
        rates.failure = "Unable to measure clock speed.";
        return rates;
    }
    if (pinned && calls.set_affinity(before)) {
        rates.by_performance_counter = rates.by_system_clock = 0;
        rates.failure = "Unable to set Affinity Mask.";
    }
    return rates;
}

void TscRates::require() const {
    if (!affinity_known) Console::print_problem("Unable to read thread affinity.");
    if (failure == nullptr) return;
    Console::print_problem(failure);
    Console::fatal_exit(1);
}

const FrequencyCalls& FrequencyCalls::of_this_machine() {
    static const FrequencyCalls calls{os::get_thread_affinity,
                                      os::set_thread_affinity,
                                      os::read_tsc,
                                      os::performance_counter,
                                      os::performance_frequency,
                                      os::system_clock_nanoseconds,
                                      {}};
    return calls;
}

u64 measure_tsc_frequency() {
    return SharedTscRates::of_this_machine().wait().by_performance_counter;
}

u64 measure_tsc_frequency_by_system_clock() {
    return SharedTscRates::of_this_machine().wait().by_system_clock;
}

}  // namespace trel
