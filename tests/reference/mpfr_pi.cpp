#include "reference/mpfr_pi.h"

#include <gmp.h>
#include <mpfr.h>

namespace kalvor_test {
namespace {

// floor(Pi * scale) where scale = base^n; 64 guard bits make a wrong last digit as unlikely as 2^-60.
std::string scaled_pi(unsigned long n, int base) {
    mpz_t scale, value;
    mpz_inits(scale, value, nullptr);
    mpz_ui_pow_ui(scale, static_cast<unsigned long>(base), n);
    mpfr_t pi;
    mpfr_init2(pi, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale, 2) + 64));
    mpfr_const_pi(pi, MPFR_RNDD);
    mpfr_mul_z(pi, pi, scale, MPFR_RNDD);
    mpfr_get_z(value, pi, MPFR_RNDD);
    std::string text(n + 3, '\0');
    mpz_get_str(text.data(), base, value);
    text.resize(n + 1);
    text.insert(1, ".");
    mpfr_clear(pi);
    mpfr_free_cache();
    mpz_clears(scale, value, nullptr);
    return text;
}

}  // namespace

std::string mpfr_pi_decimal(unsigned long n) {
    return scaled_pi(n, 10);
}
std::string mpfr_pi_hexadecimal(unsigned long n) {
    return scaled_pi(n, 16);
}

}  // namespace kalvor_test
