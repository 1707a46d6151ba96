// The Cauchy index of a quotient of polynomials, by a Sturm sequence in rounded integers.
#pragma once

#include <optional>

#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

// Sign changes at `from` less sign changes at `to` of the Sturm sequence that begins with p0 and p1, computed
// with coefficients of about `bits` bits and a bound of their error. Empty when that is not enough to know
// every sign; a number that is returned is right.
//
// An exact sequence of degree 62 takes a second, because its coefficients grow to some ten thousand bits;
// this takes milliseconds.
std::optional<i64> rounded_cauchy_index(const IntegerPolynomial& p0, const IntegerPolynomial& p1,
                                        const Dyadic& from, const Dyadic& to, u64 bits);

}  // namespace kalvor::Polynomials
