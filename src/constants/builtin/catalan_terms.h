// The terms of the hypergeometric series of Catalan's constant, as magnitudes:
//
//                      R(k)                                  Q(k)
//   short              32 k^3 (2k - 1)                       9 (6k - 5)^2 (6k - 1)^2
//   long               32 k^3 (2k - 1)(4k - 3)^2 (4k - 1)^2  (8k - 7)^2 (8k - 5)^2 (8k - 3)^2 (8k - 1)^2
//   Guillera (2008)    -k^3                                  (2k + 1)^3
//   Guillera (2019)    512 k^3 (2k - 1)^3                    27 (6k - 5)^3 (6k - 1)^3
//   Lupas (2000)       -32 k^3 (2k - 1)                      (4k + 1)^2 (4k + 3)^2
//
// The first two are by Pilehrood and Pilehrood (2010). P(k) is a polynomial in these and in Guillera's of
// 2019, a polynomial times R(k) in the others. All but the short one alternate. 1 <= k < 2^52, which 10^15
// digits do not reach.
#pragma once

#include "arith/exact/basic_int.h"
#include "base/names/names.h"

namespace kalvor {

// A destination that is too small is an assertion failure with the name of the leaf.
void catalan_pilehrood_short_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void catalan_pilehrood_long_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void catalan_guillera2008_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void catalan_guillera2019_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
void catalan_lupas_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);

}  // namespace kalvor
