// From a number of decimal digits to hexadecimal digits and words.
#pragma once

#include <string>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

struct ComputeSize {
    u64 decimal_digits;
    u64 hexadecimal_digits;  // floor(D * log 10 / log 16) + 1
    u64 words;               // floor(H / 16) + 3

    static ComputeSize from_decimal(u64 decimal_digits);
};

// Clamps a digit count to [minimum, maximum], the bounds of a constant; `warning` receives the text of the
// warning, which says to what, or becomes empty.
u64 clamp_decimal_digits(i64 digits, u64 minimum, u64 maximum, std::string& warning);

}  // namespace kalvor
