// Binomial coefficients that fit into a word.
#pragma once

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::Polynomials {

// C(n, k), 0 for k > n. Throws InvalidParametersException "Cannot go beyond degree 62." for n > 62. Any
// thread.
u64 binomial_coefficient_u64(u64 n, u64 k);

}  // namespace kalvor::Polynomials
