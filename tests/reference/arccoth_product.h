// Sums of arccoth by what they are the logarithm of, in GMP rationals: 2 arccoth(m) = ln((m + 1) / (m - 1)).
#pragma once

#include <gmpxx.h>

#include "constants/builtin/log_tables.h"
#include "reference/mpz_u64.h"
#include "reference/print_mpq.h"

namespace reference {

inline mpq_class mpq_of(trel::u64 n) {
    return mpq_class(mpz_of(n));
}

// q^n for any sign of n.
inline mpq_class power(const mpq_class& q, trel::i64 n) {
    mpz_class numerator, denominator;
    const auto e = static_cast<unsigned long>(n < 0 ? -n : n);
    mpz_pow_ui(numerator.get_mpz_t(), q.get_num().get_mpz_t(), e);
    mpz_pow_ui(denominator.get_mpz_t(), q.get_den().get_mpz_t(), e);
    mpq_class result(n < 0 ? denominator : numerator, n < 0 ? numerator : denominator);
    result.canonicalize();
    return result;
}

inline mpq_class arccoth_ratio(trel::u64 m) {
    mpq_class ratio(mpz_of(m + 1), mpz_of(m - 1));
    ratio.canonicalize();
    return ratio;
}

// exp(2 (c_1 arccoth(m_1) + c_2 arccoth(m_2) + ...))
inline mpq_class arccoth_product(const kalvor::LogFormula& formula) {
    mpz_class numerator = 1, denominator = 1;
    for (const kalvor::LogTerm& term : formula.terms) {
        const mpq_class factor = power(arccoth_ratio(term.m), term.c);
        numerator *= factor.get_num();
        denominator *= factor.get_den();
    }
    mpq_class result(numerator, denominator);
    result.canonicalize();
    return result;
}

}  // namespace reference
