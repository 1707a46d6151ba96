// The lemniscate constant by MPFR.
#pragma once

#include <mpfr.h>

namespace kalvor_test {

// x = 2 Pi / AGM(1, 2^(1/2)), to x's precision (Gauss, 1799).
inline void set_lemniscate(mpfr_ptr x) {
    mpfr_t mean;
    mpfr_init2(mean, mpfr_get_prec(x));
    mpfr_sqrt_ui(mean, 2, MPFR_RNDN);
    mpfr_set_ui(x, 1, MPFR_RNDN);
    mpfr_agm(mean, x, mean, MPFR_RNDN);
    mpfr_const_pi(x, MPFR_RNDN);
    mpfr_mul_ui(x, x, 2, MPFR_RNDN);
    mpfr_div(x, x, mean, MPFR_RNDN);
    mpfr_clear(mean);
}

}  // namespace kalvor_test
