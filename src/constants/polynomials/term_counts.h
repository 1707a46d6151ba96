// How many terms of a series a precision needs, and what its tail still needs.
//
// In double-double, because counts of 10^15 terms decide by their last unit. p is in words of 64 bits.
#pragma once

#include "constants/polynomials/term_sizer.h"

namespace kalvor::Polynomials {

// The sum of 1 / k! (k >= 2) in the numbering of the series, where term k has the index k: the last index. By
// Stirling's estimate of ln n! against 64 p ln 2 + 1.
u64 e_taylor_terms(u64 p);

// A series whose terms are P(k) R(1) ... R(k - 1) / (Q(1) ... Q(k)).
struct HypergeometricSizes {
    const PolynomialTermSizer* R;  // null for R = 1
    const PolynomialTermSizer* Q;
    u64 degree_P;

    // The smallest n whose term is estimated below 2^(-64 (p + 2)), and one more.
    u64 terms(u64 p) const;
    // Nats that the tail from index k on still needs, 0 to those of p.
    DoubleDouble log_remaining(u64 p, u64 k) const;
    // The same from sizes in doubles, up to kNearTerms terms: above it by less than 1/32, up to p. Plans and
    // runs ask it of every range, and an answer takes two logarithms for each zero.
    static constexpr u64 kNearTerms = u64(1) << 24;
    DoubleDouble near_log_remaining(u64 p, u64 k) const;

  private:
    DoubleDouble log_term(u64 n) const;
    u64 degrees() const { return degree_P + Q->degree() + (R == nullptr ? 0 : R->degree()); }
};

// Terms that fall by 2^power each; P gets a word for each degree.
u64 binary_bbp_terms(u64 p, u64 degree_P, u64 power);
DoubleDouble binary_bbp_remaining(u64 p, u64 degree_P, u64 power, u64 k);

}  // namespace kalvor::Polynomials
