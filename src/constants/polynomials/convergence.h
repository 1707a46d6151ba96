// The convergence of hypergeometric series.
#pragma once

#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

// Requires |R(x) / Q(x)| < 3/4 for all x >= 1, decided exactly on integers. A ratio that only tends to 3/4 is
// accepted. Throws InvalidParametersException with one of three texts.
void enforce_convergence(const IntegerPolynomial& R, const IntegerPolynomial& Q);

}  // namespace kalvor::Polynomials
