#include "fault/linux/reference_digits.h"

#include <gmp.h>
#include <mpfr.h>

#include <cstdlib>

namespace {

// false: the library has no such constant, or takes very long to it (zeta(3)).
bool set_value(mpfr_t x, const std::string& constant) {
    const std::size_t colon = constant.find(':');
    const std::string name = constant.substr(0, colon);
    const unsigned long argument =
        colon == std::string::npos ? 0 : std::strtoul(constant.c_str() + colon + 1, nullptr, 10);
    if (name == "pi") {
        mpfr_const_pi(x, MPFR_RNDN);
    } else if (name == "log" && argument == 2) {
        mpfr_const_log2(x, MPFR_RNDN);
    } else if (name == "log") {
        mpfr_log_ui(x, argument, MPFR_RNDN);
    } else if (name == "gamma") {
        mpfr_const_euler(x, MPFR_RNDN);
    } else if (name == "catalan") {
        mpfr_const_catalan(x, MPFR_RNDN);
    } else if (name == "e") {
        mpfr_set_ui(x, 1, MPFR_RNDN);
        mpfr_exp(x, x, MPFR_RNDN);
    } else if (name == "sqrt") {
        mpfr_sqrt_ui(x, argument, MPFR_RNDN);
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::string reference_digits(const std::string& constant, std::uint64_t digits) {
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(static_cast<double>(digits) * 3.3219280948873626) + 192);
    std::string all;
    if (set_value(x, constant)) {
        // 0.d1 d2 ... times ten to the exponent
        mpfr_exp_t exponent;
        char* const text = mpfr_get_str(nullptr, &exponent, 10, digits + 21, x, MPFR_RNDN);
        const std::string figures = text;
        mpfr_free_str(text);
        const std::size_t before = exponent > 0 ? static_cast<std::size_t>(exponent) : 0;
        const std::size_t zeros = exponent < 0 ? static_cast<std::size_t>(-exponent) : 0;
        all = (before == 0 ? "0" : figures.substr(0, before)) + "." + std::string(zeros, '0') +
              figures.substr(before, digits - zeros);
    }
    mpfr_clear(x);
    mpfr_free_cache();
    return all;
}
