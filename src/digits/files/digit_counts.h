// How often each digit value occurs.
#pragma once

#include <array>

#include "os/types.h"

namespace kalvor {

// Counts of the digit values 0 .. radix - 1. Throws InvalidParametersException "Radix is too large." outside
// 2 .. 16.
struct DigitCounts {
    explicit DigitCounts(trel::u8 radix);
    bool operator==(const DigitCounts&) const = default;

    trel::u8 radix;
    std::array<trel::u64, 16> count{};
};

}  // namespace kalvor
