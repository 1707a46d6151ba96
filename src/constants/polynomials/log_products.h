// Logarithms of products over consecutive points, precise for one factor as for 10^15 of them.
#pragma once

#include "arith/estimate/double_double.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::Polynomials {

// ln(1 + t), t > -1/2, to a relative 2^-98 also for small t.
DoubleDouble ln_one_plus(const DoubleDouble& t);
// atan(t), t >= 0, to a relative 2^-98.
DoubleDouble arctangent(const DoubleDouble& t);

// ln|u + b i| + ln|u + 1 + b i| + ... of n factors; u >= 1/2, |b| <= 2^51; the absolute error is below 2^-95
// of the sum of the magnitudes. A handful of logarithms, whatever n is.
//
// Stirling's series for ln gamma(w + n) - ln gamma(w), in which nothing large cancels:
//     n ln|w + n| + (u - 1/2) ln|(w + n) / w| - b arg((w + n) / w) - n + tail(w + n) - tail(w).
// Points nearer to zero than its range are taken one by one.
DoubleDouble ln_rising_product(const DoubleDouble& u, const DoubleDouble& b, u64 n);
// The same in doubles, in a fraction of the time: the error is below 2^-44 of the sum of the magnitudes and
// 2^-20 more. n is below 2^52.
double near_ln_rising_product(double u, double b, u64 n);

}  // namespace kalvor::Polynomials
