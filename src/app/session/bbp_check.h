// The last hexadecimal digits of a run compared with the same digits computed another way.
#pragma once

#include <functional>
#include <string>

#include "app/settings/compute_settings.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/bbp/bbp_sum.h"
#include "digits/files/basic_digit_reader.h"
#include "platform/parallel/basic_parallelizer.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor {

// Which digits of a run are computed a second time, and by how many threads.
struct BbpRequest {
    u64 last = 0;    // the last hexadecimal digit of the run
    u64 digits = 0;  // how many up to it; 0: none
    u64 threads = 1;

    double seconds() const;  // how long it takes on one core of today, about
    u64 bytes() const;       // of memory
};

// A run computes so many unasked, in a twentieth of its time or a little more (docs/reliability.md, "What it
// costs").
inline constexpr u64 kHexadecimalDigitsUnasked = 32;
// The digits that the settings ask for, or else those: where the constant's digits can be computed alone,
// there are enough of them, and the user wants results verified. On as many threads as the run, less those
// that would find next to nothing to do.
BbpRequest bbp_request(const ComputeSettings& settings, const ComputeSize& size);

// Positions count from 1.
struct BbpCheck {
    u64 good_through = 0;  // the last position that agreed, 0: none
    u64 mismatch = 0;      // the first that differs, 0: none

    std::string text() const;  // "Good through 1,000", "Mismatch at 1,000"
};

// Digits last - n + 1 ... last of Pi by the 7-term formula. digits: hexadecimal, with `last` digits or more;
// n: 8 to 1,048,576, at most `last`. At most 64 KiB of them are read at a time. progress: see
// BBPv2::pi_digits().
BbpCheck bbp_check(
    BasicDigitReader& digits, u64 last, u64 n, const BBPv2::Workers& workers, RunMonitor& monitor,
    const std::function<void(double part)>& progress = [](double) {});

// The same as a part of a run, which shows and counts how far it is. Where digits differ it is done again,
// once: not only the run's digits may have been damaged. request.digits is not 0; parallel has a run.
BbpCheck bbp_check(BasicDigitReader& digits, const BbpRequest& request, Status& status,
                   const ParallelContext& parallel);

// The name of this part, and what its meter counts.
inline constexpr const char* kBbpCheckPhase = "BBP check";
inline constexpr double kBbpCheckUnits = 1000000;

// "BBP Check: ..."
void report(Status& status, const BbpCheck& check);

}  // namespace kalvor
