// Terms and sums of the digit extractor from their definition, with big integers: no limbs, no modes.
#pragma once

#include <gmpxx.h>

#include <string>

#include "os/types.h"
#include "reference/mpz_u64.h"

namespace reference {

inline mpz_class power_of_two(trel::u64 n) {
    mpz_class z;
    mpz_setbit(z.get_mpz_t(), n);
    return z;
}

// 2^x mod m, x >= 0
inline mpz_class bbp_power(trel::u64 x, trel::u64 m) {
    mpz_class r;
    const mpz_class two = 2;
    mpz_powm(r.get_mpz_t(), two.get_mpz_t(), mpz_of(x).get_mpz_t(), mpz_of(m).get_mpz_t());
    return r;
}

// 2^x / m modulo 1 in n_bits bits, truncated: floor(2^n_bits (2^x mod m) / m), and floor(2^n_bits / m) 2^x
// cut where x is below 1.
inline mpz_class bbp_term(trel::i64 x, trel::u64 m, trel::u64 n_bits) {
    if (x >= 1) return bbp_power(static_cast<trel::u64>(x), m) * power_of_two(n_bits) / mpz_of(m);
    const mpz_class shifted = power_of_two(n_bits) / mpz_of(m) / power_of_two(static_cast<trel::u64>(-x));
    return shifted % power_of_two(n_bits);
}

// The sum of the terms 2^(c k + e) / (a k + b), k0 <= k < k1, modulo 1.
template <class SubSum>
mpz_class bbp_sum(const SubSum& s, trel::u64 k0, trel::u64 k1, trel::u64 n_bits) {
    mpz_class sum;
    for (trel::u64 k = k0; k < k1; k++) {
        sum += bbp_term(s.c * static_cast<trel::i64>(k) + s.e, s.a * k + s.b, n_bits);
    }
    return sum % power_of_two(n_bits);
}

// A fraction of limbs of 48 bits, the most significant first.
template <class Limbs>
mpz_class mpz_of_limbs(const Limbs& limbs) {
    mpz_class z;
    for (const trel::u64 limb : limbs) z = z * power_of_two(48) + mpz_of(limb);
    return z;
}

// As many hexadecimal digits as n_bits has groups of four, upper case.
inline std::string hexadecimal_of(const mpz_class& fraction, trel::u64 n_bits) {
    mpz_class z = fraction;
    std::string text = z.get_str(-16);
    return std::string(n_bits / 4 - text.size(), '0') + text;
}

}  // namespace reference
