// The terms of the series of zeta(3), as magnitudes (both alternate):
//
//                                   R(k)                 Q(k)
//   Wedeniwski (1998)               -k^5 (2k - 1)^3      24 (3k + 1)(3k + 2)(4k + 1)^3 (4k + 3)^3
//   Amdeberhan, Zeilberger (1997)   -k^5                 (4k + 2)^5
//
// and P(k) = R(k) p(k) with p(k) = 126392 k^5 + 412708 k^4 + 531578 k^3 + 336367 k^2 + 104000 k + 12463 and
// p(k) = 205 k^2 + 250 k + 77. 1 <= k < 2^52, which 10^15 digits do not reach.
#pragma once

#include "arith/exact/basic_int.h"
#include "base/names/names.h"

namespace kalvor {

// A destination that is too small is an assertion failure with the name of the leaf.
void zeta3_wedeniwski_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void zeta3_az_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);

// The power of two in Q(1) ... Q(n).
u64 zeta3_wedeniwski_zero_bits(u64 n);
u64 zeta3_az_zero_bits(u64 n);

}  // namespace kalvor
