#include "base/clock/timer_check.h"

#include <algorithm>

#include "os/clock.h"
#include "os/cpu.h"
#include "os/system_clock.h"

namespace trel {

namespace {

constexpr double kShortestSeconds = 0.1;
constexpr double kTolerance = 0.01;

}  // namespace

ClockReading ClockReading::now() {
    return {os::performance_counter(), os::read_tsc(), os::system_clock_nanoseconds()};
}

TimerCheck check_timers(const ClockReading& start, const ClockReading& end, u64 performance_frequency,
                        u64 tsc_frequency) {
    for (const u64 value : {start.performance, start.tsc, start.system_ns, end.performance, end.tsc,
                            end.system_ns, performance_frequency, tsc_frequency}) {
        if (value == 0) return TimerCheck::unable;
    }
    // A clock that was set back gives a negative time.
    const auto seconds = [](u64 from, u64 to, double frequency) {
        return static_cast<double>(static_cast<i64>(to - from)) / frequency;
    };
    const double by_counter =
        seconds(start.performance, end.performance, static_cast<double>(performance_frequency));
    const double by_tsc = seconds(start.tsc, end.tsc, static_cast<double>(tsc_frequency));
    const double by_system = seconds(start.system_ns, end.system_ns, 1e9);
    const auto [shortest, longest] = std::minmax({by_counter, by_tsc, by_system});
    // The run's own timer says how long it was.
    if (by_counter < kShortestSeconds) return TimerCheck::unable;
    return longest <= shortest * (1 + kTolerance) ? TimerCheck::passed : TimerCheck::failed;
}

std::string_view timer_check_text(TimerCheck check) {
    switch (check) {
        case TimerCheck::passed:
            return "Passed";
        case TimerCheck::failed:
            return "Failed";
        case TimerCheck::unable:
            break;
        case TimerCheck::disabled_by_restart:
            return "Disabled due to checkpoint restart";
    }
    return "Unable to Validate";
}

}  // namespace trel
