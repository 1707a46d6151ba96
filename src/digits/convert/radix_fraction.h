// A binary fraction 0 <= f < 1 as the conversion sees it, and the constants of decimal radix words.
#pragma once

#include <cmath>

#include "arith/bigfloat/big_float.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::CBRv2 {

// A decimal radix word holds 19 digits. 10^19 = 2^19 * 5^19.
inline constexpr Word kRadix19 = 10000000000000000000ULL;
inline constexpr u64 kDigitsPerWord = 19;

// Radix words for a number of computed digits.
constexpr u64 radix_words(u64 compute_digits) {
    return compute_digits / kDigitsPerWord + 3;
}

// log2(radix) / 64: binary words that one radix word fills.
inline double radix_word_size(Word radix) {
    return std::log(static_cast<double>(radix)) * 1.4426950408889634 * 0.015625;
}

// Words of a fraction that n radix words and their overlap word need: two more than those n + 1 radix words
// fill.
inline u64 fraction_length(double word_size, u64 n) {
    return static_cast<u64>(std::ceil(static_cast<double>(n + 1) * word_size)) + 2;
}

// f = sum of words[i] * 2^(64 (i - L)), 0 <= i < stored. The words stored .. L - 1 at the top are zero and
// not in memory; words[L - 1] is the first word after the point. A view: owns nothing, is copied freely.
struct RadixFraction {
    const Word* words = nullptr;
    u64 stored = 0;
    u64 L = 0;

    // The fraction of |x|.
    static RadixFraction of(const BigFloat& x) {
        if (x.exp >= 0 || x.L == 0) return {};
        const u64 below = static_cast<u64>(-x.exp);
        return {x.T, below < x.L ? below : x.L, below};
    }
    // The top n words (truncation).
    RadixFraction top(u64 n) const {
        if (L <= n) return *this;
        const u64 drop = L - n;
        if (drop >= stored) return {};
        return {words + drop, stored - drop, n};
    }
    // The same value without zero words at the bottom and at the top.
    RadixFraction stripped() const {
        RadixFraction f = *this;
        while (f.stored > 0 && f.words[f.stored - 1] == 0) f.stored--;
        if (f.stored == 0) return {};
        while (f.words[0] == 0) {
            f.words++;
            f.stored--;
            f.L--;
        }
        return f;
    }
};

}  // namespace kalvor::CBRv2
