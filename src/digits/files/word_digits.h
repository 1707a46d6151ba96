// Radix words to digit values: 19 decimal digits or 16 hexadecimal digits a word.
//
//   decimal:      word = sum of digit[i] * 10^(18 - i), 0 <= i < 19, leading zeros kept
//   hexadecimal:  word = sum of digit[i] * 16^(15 - i), 0 <= i < 16
#pragma once

#include "base/names/names.h"
#include "base/simd/isa.h"
#include "os/types.h"

namespace kalvor {

struct WordDigits {
    const char* isa;
    // values[19 i .. 19 i + 19) = the digits of words[i], one a byte (0 .. 9); words[i] < 10^19.
    void (*decimal)(u8* values, const Word* words, u64 n) noexcept;
    // values[16 i .. 16 i + 16) = the digits of words[i] (0 .. 15).
    void (*hexadecimal)(u8* values, const Word* words, u64 n) noexcept;
};

const WordDigits& word_digits(Isa isa);
// The level in use.
const WordDigits& word_digits();

}  // namespace kalvor
