// The digits of a number as a file of them holds it, by MPFR and GMP.
#pragma once

#include <gmpxx.h>
#include <mpfr.h>

#include <string>

namespace kalvor_test {

inline mpz_class power_of(unsigned base, unsigned long exponent) {
    mpz_class power;
    mpz_ui_pow_ui(power.get_mpz_t(), base, exponent);
    return power;
}

// x as text, where scaled = floor(x base^digits): at least one digit stands before the point.
inline std::string with_point(const mpz_class& scaled, unsigned base, unsigned long digits) {
    std::string text = scaled.get_str(static_cast<int>(base));
    if (text.size() <= digits) text.insert(0, digits + 1 - text.size(), '0');
    text.insert(text.size() - digits, ".");
    return text;
}

// The number that `set` gives to its argument, an mpfr_ptr, to its precision. Digits beyond the last are cut
// off; 128 guard bits make a wrong last digit as unlikely as 2^-120.
template <class Set>
std::string mpfr_digits(unsigned base, unsigned long digits, const Set& set) {
    const mpz_class scale = power_of(base, digits);
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128));
    set(static_cast<mpfr_ptr>(x));
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpz_class scaled;
    mpfr_get_z(scaled.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return with_point(scaled, base, digits);
}

}  // namespace kalvor_test
