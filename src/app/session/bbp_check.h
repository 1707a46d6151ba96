// The last hexadecimal digits of a run compared with the same digits computed another way.
#pragma once

#include <string>

#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/bbp/bbp_sum.h"
#include "digits/files/basic_digit_reader.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor {

// Positions count from 1.
struct BbpCheck {
    u64 good_through = 0;  // the last position that agreed, 0: none
    u64 mismatch = 0;      // the first that differs, 0: none

    std::string text() const;  // "Good through 1,000", "Mismatch at 1,000"
};

// Digits last - n + 1 ... last of Pi by the 7-term formula. digits: hexadecimal, with `last` digits or more;
// n: 8 to 1,048,576, at most `last`. At most 64 KiB of them are read at a time.
BbpCheck bbp_check(BasicDigitReader& digits, u64 last, u64 n, const BBPv2::Workers& workers,
                   RunMonitor& monitor);

// "BBP Check: ..."
void report(Status& status, const BbpCheck& check);

}  // namespace kalvor
