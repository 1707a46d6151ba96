// The byte loops over digits: values 0 .. radix - 1 to characters and back, and counting. Each runs at memory
// speed and checks every byte.
#pragma once

#include "base/names/names.h"
#include "base/simd/isa.h"
#include "os/types.h"

namespace kalvor {

struct DigitKernels {
    const char* isa;
    // out[0..n) = the characters '0'-'9', 'a'-'f' of values[0..n). False if a value is not below the radix
    // (10 or 16); out is then unspecified. out == values is allowed, partial overlap is not.
    bool (*to_text)(char* out, const u8* values, u64 n, u32 radix) noexcept;
    // The inverse. False if a character is not a digit of the radix (upper-case letters are not).
    bool (*to_values)(u8* out, const char* text, u64 n, u32 radix) noexcept;
    // counts[v] += occurrences of v in values[0..n), for every v < radix (10 or 16). Other values are not
    // counted.
    void (*count)(u64* counts, const u8* values, u64 n, u32 radix) noexcept;
};

// Whether every value is below the radix.
bool are_digits(const u8* values, u64 n, u32 radix);

const DigitKernels& digit_kernels(Isa isa);
// The level in use.
const DigitKernels& digit_kernels();

}  // namespace kalvor
