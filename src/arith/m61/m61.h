// Residues modulo M61 = 2^61 - 1, by which digits and their conversion are checked. A residue is lazily
// reduced: any value below 2^63 that is congruent; canonical() gives the one in [0, M61).
#pragma once

#include "os/types.h"

namespace trel::m61 {

inline constexpr u64 kM61 = (u64(1) << 61) - 1;

constexpr u64 fold(u64 x) {
    return (x >> 61) + (x & kM61);
}
constexpr u64 canonical(u64 x) {
    x = fold(fold(x));
    return x == kM61 ? 0 : x;
}
constexpr u64 mul(u64 a, u64 b) {
    const u128 p = u128(a) * b;
    const u64 hi = u64(p >> 64), lo = u64(p);
    return ((hi << 3) & kM61) + (hi >> 58) + (lo >> 61) + (lo & kM61);
}
constexpr u64 add(u64 a, u64 b) {
    return fold(a + b);
}
// 2^64 - 8 is 0 modulo M61, so the complement is the negation.
constexpr u64 neg(u64 a) {
    return fold(~a - 7);
}
constexpr u64 sub(u64 a, u64 b) {
    return fold(a + neg(b));
}
constexpr bool equal(u64 a, u64 b) {
    return canonical(a) == canonical(b);
}
u64 pow(u64 base, u64 exponent);
// a * 2^(64 k), k of either sign
u64 mul_pow2_64(u64 a, i64 k);
// a * 2^k, k of either sign
u64 mul_pow2(u64 a, i64 k);
// The residue of a word array (sum of words[i] * 2^(64 i)); runs at memory speed.
u64 hash_words(const Word* words, u64 n);

}  // namespace trel::m61
