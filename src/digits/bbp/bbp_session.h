// A computation of hexadecimal digits of Pi behind an offset: its settings, what follows from them, and the
// run.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/bbp/bbp_formulas.h"
#include "digits/bbp/bbp_sum.h"
#include "digits/bbp/fraction_float.h"
#include "digits/bbp/summable_range.h"
#include "os/clock.h"
#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor::BBPv2 {

struct BBPSettings {
    // A thread for each active processor of all groups.
    BBPSettings();

    u64 formula = kOriginalBbp;
    u64 offset = 1000000000;
    u64 digits = 32;
    u64 threads;
    bool pin_threads = true;
    Modes modes;
};

// What a run asks of the system.
struct SessionCalls {
    u64 (*ticks)() = os::performance_counter;  // measures the time; 0: the clock cannot be read
    os::OsError (*set_affinity)(const std::vector<u32>&) = os::set_thread_affinity;

    static const SessionCalls& of_this_machine();
};

class BBPSession {
  public:
    explicit BBPSession(BBPSettings settings = {});

    const BBPSettings& settings() const { return settings_; }
    const Figures& figures() const { return figures_; }
    // Changes the settings; throws "Invalid Algorithm" as figures_of() does and leaves everything as it was.
    void update_settings(BBPSettings settings);

    // Empty when the computation can start; else "Cannot Start: No modes enabled." or
    // "Cannot Start: Divisor exceeds limit of 2^49 - 1.".
    std::string cannot_start() const;

    // Sums all sub-sums and reports: settings, sub-sums, times, digits. Throws RunStopped when the monitor
    // asks for it, and InvalidParametersException with cannot_start().
    void run(Status& status, RunMonitor& monitor,
             const SessionCalls& calls = SessionCalls::of_this_machine());

    // The total of the last run: every bit is defined by formula, offset and number of digits. Throws
    // InvalidParametersException "There is no total." before a run and after one that did not come to its
    // end.
    const FractionFloat& total() const;
    // The percentage of all terms that is summed: of a run that was stopped.
    double percent_done() const;

  private:
    double n_terms() const;  // of all sub-sums
    void print_settings(Status& status) const;
    void print_digits(Status& status) const;
    Workers workers(const SessionCalls& calls) const;

    BBPSettings settings_;
    Figures figures_;
    std::optional<FractionFloat> total_;
    u64 n_done_ = 0;  // terms, of all sub-sums
};

// Empty when a computation can start; else what BBPSession::cannot_start() says.
std::string cannot_start(const Figures& figures, const Modes& modes);

// The hexadecimal digits offset + 1 to offset + digits of Pi behind the point, upper case; for a caller that
// checks others with them. Prints nothing; `progress` is called on the calling thread, every tenth of a
// second, with the part of the terms that is summed. Throws InvalidParametersException with cannot_start()
// and "The offset is too large.", before anything is computed.
std::string pi_digits(
    u64 number, u64 offset, u64 digits, const Workers& workers, RunMonitor& monitor,
    const std::function<void(double part)>& progress = [](double) {});

}  // namespace kalvor::BBPv2
