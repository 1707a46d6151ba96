#include "reference/mpfr_pi.h"

#include "reference/mpfr_digits.h"

namespace kalvor_test {
namespace {

std::string digits_of_pi(unsigned base, unsigned long n) {
    std::string text = mpfr_digits(base, n, [](mpfr_ptr x) { mpfr_const_pi(x, MPFR_RNDN); });
    mpfr_free_cache();
    return text;
}

}  // namespace

std::string mpfr_pi_decimal(unsigned long n) {
    return digits_of_pi(10, n);
}
std::string mpfr_pi_hexadecimal(unsigned long n) {
    return digits_of_pi(16, n);
}

}  // namespace kalvor_test
