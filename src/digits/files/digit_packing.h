// Digit values to words, the inverse of word_digits.h, and words whose digits begin in the middle of others.
//
//   decimal:      word = sum of digit[i] * 10^(18 - i), 0 <= i < 19
//   hexadecimal:  word = sum of digit[i] * 16^(15 - i), 0 <= i < 16
//
//   shift by r:   words[i]:  ....rrr|sssssss    words[i + 1]:  ....rrr|sssssss
//                 out[i]:           |sssssss                   ....rrr|
//
// Words go out low byte first, to any address.
#pragma once

#include "base/names/names.h"
#include "base/simd/isa.h"
#include "os/types.h"

namespace kalvor {

inline constexpr Word kLargestDecimalWord = 9999999999999999999ULL;  // 10^19 - 1

struct DigitPacking {
    const char* isa;
    // out[8 i .. 8 i + 8) = the word of values[19 i .. 19 i + 19). False if a value is above 9; out is then
    // unspecified.
    bool (*decimal)(u8* out, const u8* values, u64 n) noexcept;
    // The same with 16 values, false if one is above 15.
    bool (*hexadecimal)(u8* out, const u8* values, u64 n) noexcept;
    // The i-th word of out = digits r .. 18 of words[i] and digits 0 .. r - 1 of words[i + 1]. Reads n + 1
    // words, each below 10^19; 0 < r < 19.
    void (*shift_decimal)(u8* out, const Word* words, u64 n, u32 r) noexcept;
    // The same with 16 digits a word; 0 < r < 16.
    void (*shift_hexadecimal)(u8* out, const Word* words, u64 n, u32 r) noexcept;
    // Whether every word is below 10^19.
    bool (*are_decimal)(const Word* words, u64 n) noexcept;
};

const DigitPacking& digit_packing(Isa isa);
// The level in use.
const DigitPacking& digit_packing();

}  // namespace kalvor
