// Approximations of a polynomial's zeros, to choose where to cut and where to begin a refinement.
#pragma once

#include <vector>

#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

// One approximation for each zero of a square-free polynomial of degree 1 or more, as a rule much closer to
// its zero than to every other. Nothing is proved by them. (Ehrlich 1967; Aberth 1973; starting points by the
// Newton polygon, Bini 1996.)
std::vector<ComplexPoint> guess_zeros(const IntegerPolynomial& p);

// A binary fraction of few bits strictly between a and b, a < b.
Dyadic simple_between(const Dyadic& a, const Dyadic& b);
// A binary fraction of few bits in the middle of the range from a to b, at a place that depends on `attempt`.
Dyadic simple_middle(const Dyadic& a, const Dyadic& b, u64 attempt);

}  // namespace kalvor::Polynomials
