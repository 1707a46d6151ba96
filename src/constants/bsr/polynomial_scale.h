// How large the terms of a series with polynomials are, relative to the precision of their places: a bound of
// what the roundings of a sum are relative to.
//
// A place a of the sum is summed to p words less what log_remaining(a) leaves out. So its roundings are, in
// units of 2^(-64 p), as large as
//
//   |term k| exp(left_out(k - 1))   for a term k > a.
//
// The largest of these, over all k, is the scale. Terms near the beginning are taken one by one, the others
// by bounds.
#pragma once

#include <functional>
#include <vector>

#include "base/names/names.h"
#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::BinarySplitting {

struct ScaledTerms {
    const std::vector<i64>& P;
    const std::vector<i64>& Q;
    const std::vector<i64>* R;  // of the hypergeometric family; null for 1
    u64 power = 0;              // of the family of fractions; 0 for the others
};

// Without the tail behind the last term that is summed. Natural logarithm, never below the truth.
double log_scale_of(const ScaledTerms& terms);

}  // namespace kalvor::BinarySplitting
