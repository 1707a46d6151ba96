// Sums of hypergeometric series by their definition, in GMP integers.
#pragma once

#include <gmpxx.h>

#include "reference/mpz_u64.h"

namespace reference {

// One term's magnitudes.
struct HypergeometricTerm {
    mpz_class P, Q, R;
};

inline HypergeometricTerm chudnovsky_term(trel::u64 k) {
    const mpz_class n = mpz_of(k), R = (2 * n - 1) * (6 * n - 5) * (6 * n - 1);
    return {R * (13591409 + 545140134 * n), n * n * n * mpz_of(10939058860032000), R};
}
inline HypergeometricTerm ramanujan_term(trel::u64 k) {
    const mpz_class n = mpz_of(k), R = (2 * n - 1) * (4 * n - 3) * (4 * n - 1);
    return {R * (1103 + 26390 * n), n * n * n * mpz_of(3073907232), R};
}

// The range [a, b), one term after the other: P / Q = sum over k of s_k P(k) R(a + 1) ... R(k - 1) / (Q(a +
// 1) ... Q(k)), relative to the sign of its first term.
class HypergeometricSum {
  public:
    HypergeometricSum(HypergeometricTerm (*term)(trel::u64), bool alternating, trel::u64 a)
        : term_(term), alternating_(alternating), a_(a), b_(a) {}
    void extend() {
        const HypergeometricTerm t = term_(++b_);
        const bool negative = alternating_ && (b_ - a_ - 1) % 2 != 0;
        P = P * t.Q + (negative ? -1 : 1) * mpz_class(t.P * R);
        Q *= t.Q;
        R *= t.R;
    }

    mpz_class P = 0, Q = 1, R = 1;

  private:
    HypergeometricTerm (*term_)(trel::u64);
    bool alternating_;
    trel::u64 a_, b_;
};

// The same for long ranges.
inline HypergeometricTerm hypergeometric_range(HypergeometricTerm (*term)(trel::u64), bool alternating,
                                               trel::u64 a, trel::u64 b) {
    if (b - a == 1) return term(b);
    const trel::u64 m = a + (b - a) / 3 + 1 == b ? a + 1 : a + (b - a) / 3 + 1;
    const HypergeometricTerm x = hypergeometric_range(term, alternating, a, m);
    const HypergeometricTerm y = hypergeometric_range(term, alternating, m, b);
    const bool subtract = alternating && (m - a) % 2 != 0;
    return {x.P * y.Q + (subtract ? -1 : 1) * mpz_class(x.R * y.P), x.Q * y.Q, x.R * y.R};
}

}  // namespace reference
