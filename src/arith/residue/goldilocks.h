// Residues modulo the prime P = 2^64 - 2^32 + 1, one word that a number carries from the operation that wrote
// its words to the one that reads them.
//
// Why this prime: 2 has order 192, so a multiplication by 2^(64 e), e of either sign, is one of three cheap
// ones, and a word's weight changes with its place. P divides 2^192 - 1: the residue falls out of the sums of
// every third word that the check of a product forms anyway (RingResidue). No change inside one word that
// spans at most 32 bits leaves the residue as it was.
//
// All values are canonical: below P. Any thread.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel::goldilocks {

inline constexpr u64 kP = 0xffffffff00000001;
inline constexpr u64 kEpsilon = 0xffffffff;  // 2^64 modulo P
// Stands for "not known"; it is not canonical.
inline constexpr u64 kNone = ~u64(0);

// value where the condition holds, else 0: half of the conditions below hold by chance, so that a branch
// would be foretold wrongly half of the time.
constexpr u64 where(bool condition, u64 value) {
    return (u64(0) - u64(condition)) & value;
}

constexpr u64 of_word(u64 w) {
    return w + where(w >= kP, kEpsilon);  // - P modulo 2^64
}
constexpr u64 add(u64 a, u64 b) {
    const u64 s = a + b;
    return s + where((s < a) | (s >= kP), kEpsilon);
}
constexpr u64 neg(u64 a) {
    return where(a != 0, kP - a);
}
constexpr u64 sub(u64 a, u64 b) {
    return a - b - where(a < b, kEpsilon);  // + P modulo 2^64
}
// With 2^64 = 2^32 - 1 and 2^96 = -1.
constexpr u64 reduce(u128 x) {
    const u64 low = static_cast<u64>(x), high = static_cast<u64>(x >> 64);
    const u64 high_high = high >> 32, high_low = high & kEpsilon;
    u64 t = low - high_high;
    t -= where(low < high_high, kEpsilon);  // adds P modulo 2^64
    const u64 product = (high_low << 32) - high_low;
    const u64 s = t + product;
    return of_word(s + where(s < t, kEpsilon));
}
constexpr u64 mul(u64 a, u64 b) {
    return reduce(u128(a) * b);
}
u64 pow(u64 base, u64 exponent);
// 1 / a; a != 0
u64 inverse(u64 a);
// a 2^(64 e), e of either sign
constexpr u64 times_words(u64 a, i64 e) {
    const i64 place = (e % 3 + 3) % 3;
    if (place == 0) return a;
    if (place == 1) return mul(a, kEpsilon);  // 2^64
    return neg(reduce(u128(a) << 32));        // 2^128 = -2^32
}
// The sum of words[i] 2^(64 (exp + i)), negative where sign is false. Runs at memory speed; long arrays are
// shared out to the tasks.
u64 of_words(const ParallelContext& parallel, const Word* words, u64 n, i64 exp = 0, bool sign = true);
u64 of_words(const Word* words, u64 n, i64 exp = 0, bool sign = true);

}  // namespace trel::goldilocks
