// Arithmetic on the residues that numbers carry (goldilocks.h), any of which may be unknown: what depends on
// an unknown one is unknown.
#pragma once

#include "arith/residue/goldilocks.h"

namespace trel::carried {

inline constexpr u64 kNone = goldilocks::kNone;

constexpr bool known(u64 a) {
    return a != kNone;
}
constexpr u64 add(u64 a, u64 b) {
    return known(a) && known(b) ? goldilocks::add(a, b) : kNone;
}
constexpr u64 sub(u64 a, u64 b) {
    return known(a) && known(b) ? goldilocks::sub(a, b) : kNone;
}
constexpr u64 neg(u64 a) {
    return known(a) ? goldilocks::neg(a) : kNone;
}
constexpr u64 mul(u64 a, u64 b) {
    return known(a) && known(b) ? goldilocks::mul(a, b) : kNone;
}
// a w, for a word of any value
constexpr u64 times_word(u64 a, u64 w) {
    return mul(a, goldilocks::of_word(w));
}
// a 2^(64 e)
constexpr u64 times_words(u64 a, i64 e) {
    return known(a) ? goldilocks::times_words(a, e) : kNone;
}
// w 2^(64 e) as a number of the given sign
constexpr u64 of_word(u64 w, i64 e, bool sign) {
    const u64 r = goldilocks::times_words(goldilocks::of_word(w), e);
    return sign ? r : goldilocks::neg(r);
}
// What the residue of a number becomes when its words are read from `exp` on as an integer: without sign and
// place. And back.
constexpr u64 unplaced(u64 a, i64 exp, bool sign) {
    return times_words(sign ? a : neg(a), -exp);
}
constexpr u64 placed(u64 a, i64 exp, bool sign) {
    return times_words(sign ? a : neg(a), exp);
}

}  // namespace trel::carried
