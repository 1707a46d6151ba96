// The digits of a range as one integer modulo 2^61 - 1.
#pragma once

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// (hash * radix^n + the number that values[0..n) spell, first digit most significant) mod (2^61 - 1), reduced
// to [0, 2^61 - 2]; hash likewise. Values 0 .. radix - 1; radix 10 or 16.
u64 extend_digit_hash(u64 hash, const u8* values, u64 n, u32 radix);

// The same with whole words of 19 or 16 digits (word_digits.h). Any word.
u64 extend_word_hash(u64 hash, const Word* words, u64 n, u32 radix);

}  // namespace kalvor
