// 64-bit numbers to GMP and back: its own conversions take a long, which has 32 bits on Windows.
#pragma once

#include <gmpxx.h>

#include "os/types.h"

namespace reference {

inline mpz_class mpz_of(trel::u64 value) {
    mpz_class z;
    mpz_import(z.get_mpz_t(), 1, -1, sizeof value, 0, 0, &value);
    return z;
}
inline mpz_class mpz_of_signed(trel::i64 value) {
    return value < 0 ? mpz_class(-mpz_of(-static_cast<trel::u64>(value)))
                     : mpz_of(static_cast<trel::u64>(value));
}
// z mod 2^64, z >= 0.
inline trel::u64 u64_of(const mpz_class& z) {
    mpz_class low;
    mpz_fdiv_r_2exp(low.get_mpz_t(), z.get_mpz_t(), 64);
    trel::u64 value = 0;
    mpz_export(&value, nullptr, -1, sizeof value, 0, 0, low.get_mpz_t());
    return value;
}

}  // namespace reference
