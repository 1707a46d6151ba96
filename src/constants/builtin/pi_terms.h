// The terms of the series of Pi, as magnitudes:
//
//                             R(k)                          Q(k)
//   Chudnovsky (1988)         -(2k - 1)(6k - 5)(6k - 1)     k^3 640320^3 / 24
//   Ramanujan (1914)          (2k - 1)(4k - 3)(4k - 1)      k^3 396^4 / 8
//
// and P(k) = R(k) (13591409 + 545140134 k), R(k) (1103 + 26390 k). 1 <= k < 2^60.
#pragma once

#include "arith/exact/basic_int.h"
#include "base/names/names.h"

namespace kalvor {

// A destination that is too small is an assertion failure with the name of the leaf.
void pi_chudnovsky_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void pi_ramanujan_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);

// The power of two in Q(1) ... Q(n).
u64 pi_chudnovsky_zero_bits(u64 n);
u64 pi_ramanujan_zero_bits(u64 n);

}  // namespace kalvor
