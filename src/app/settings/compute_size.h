// From a number of decimal digits to hexadecimal digits and words.
#pragma once

#include <string>

#include "os/types.h"

namespace kalvor {

struct ComputeSize {
    trel::u64 decimal_digits;
    trel::u64 hexadecimal_digits;  // floor(D * log 10 / log 16) + 1
    trel::u64 words;               // floor(H / 16) + 3

    static ComputeSize from_decimal(trel::u64 decimal_digits);
};

inline constexpr trel::u64 kMinimumDecimalDigits = 100;

// Clamps a digit count to [100, maximum]; `warning` receives the text of the warning, which says to
// what, or becomes empty.
trel::u64 clamp_decimal_digits(trel::i64 digits, trel::u64 maximum, std::string& warning);

}  // namespace kalvor
