// How often each digit value occurs.
#pragma once

#include <array>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// Counts of the digit values 0 .. radix - 1. Throws InvalidParametersException "Radix is too large." outside
// 2 .. 16.
struct DigitCounts {
    explicit DigitCounts(u8 radix);
    bool operator==(const DigitCounts&) const = default;

    u8 radix;
    std::array<u64, 16> count{};
};

}  // namespace kalvor
