// The terms of Huvent's series of Catalan's constant (2006), a sum of independent fractions:
//
//     (-1)^(k + 1) 2^(-6k) P(k) / Q(k),
//     Q(k) = ((2k + 1)(4k + 1)(4k + 3)(6k + 1)(6k + 5)(12k + 1)(12k + 5)(12k + 7)(12k + 11))^2,
//     P(k) of degree 16.
#pragma once

#include "arith/exact/basic_int.h"
#include "base/names/names.h"

namespace kalvor {

// P(k) and Q(k), both positive, 1 <= k < 2^52; odd k count as positive and even k as negative, and the caller
// multiplies by 2^(-6k). Throws BufferTooSmallException when a destination has less than 18 words.
void catalan_huvent_term(u64 k, BasicIntR& P, BasicIntR& Q);
constexpr bool catalan_huvent_negative(u64 k) {
    return k % 2 == 0;
}

}  // namespace kalvor
