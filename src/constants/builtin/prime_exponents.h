// Rational numbers as products of prime powers: what the logarithms of integers are compared by.
//
// Pure functions, any thread.
#pragma once

#include <map>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// prime -> exponent, without exponents of zero. The number 1 is empty.
using PrimeExponents = std::map<u64, i64>;

// n = 1 .. 2^32, by trial division.
PrimeExponents factor(u64 n);
// (m + 1) / (m - 1), whose logarithm is 2 arccoth(m); m = 2 .. 2^32 - 1
PrimeExponents arccoth_ratio(u64 m);

// a *= b^c. False when an exponent leaves 64 bits; a is then undefined.
[[nodiscard]] bool multiply_power(PrimeExponents& a, const PrimeExponents& b, i64 c);

}  // namespace kalvor
