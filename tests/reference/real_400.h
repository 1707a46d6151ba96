// Reals of 400 bits, and sizes of sums in them: for counts of terms.
#pragma once

#include <mpfr.h>

#include <vector>

#include "reference/mpz_u64.h"
#include "support/effort.h"

namespace reference {

// Reals of 400 bits, by name of the operation.
class Real {
  public:
    Real(double d = 0) {  // NOLINT: a number
        mpfr_init2(x_, 400);
        mpfr_set_d(x_, d, MPFR_RNDN);
    }
    Real(const Real& b) : Real() { mpfr_set(x_, b.x_, MPFR_RNDN); }
    Real& operator=(const Real& b) {
        mpfr_set(x_, b.x_, MPFR_RNDN);
        return *this;
    }
    ~Real() { mpfr_clear(x_); }
    static Real of(trel::u64 n) {
        Real r;
        mpfr_set_z(r.x_, mpz_of(n).get_mpz_t(), MPFR_RNDN);
        return r;
    }
    static Real ln2() {
        Real r;
        mpfr_const_log2(r.x_, MPFR_RNDN);
        return r;
    }
    static Real pi() {
        Real r;
        mpfr_const_pi(r.x_, MPFR_RNDN);
        return r;
    }
    friend Real operator+(const Real& a, const Real& b) { return apply(mpfr_add, a, b); }
    friend Real operator-(const Real& a, const Real& b) { return apply(mpfr_sub, a, b); }
    friend Real operator*(const Real& a, const Real& b) { return apply(mpfr_mul, a, b); }
    friend Real operator/(const Real& a, const Real& b) { return apply(mpfr_div, a, b); }
    friend bool operator<(const Real& a, const Real& b) { return mpfr_less_p(a.x_, b.x_) != 0; }
    friend Real ln(const Real& a) {
        Real r;
        mpfr_log(r.x_, a.x_, MPFR_RNDN);
        return r;
    }
    friend Real ln_gamma(const Real& a) {
        Real r;
        mpfr_lngamma(r.x_, a.x_, MPFR_RNDN);
        return r;
    }
    friend double number(const Real& a) { return mpfr_get_d(a.x_, MPFR_RNDN); }

  private:
    static Real apply(int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t), const Real& a,
                      const Real& b) {
        Real r;
        f(r.x_, a.x_, b.x_, MPFR_RNDN);
        return r;
    }
    mpfr_t x_;
};

// Precisions in words, of small and of very large sums.
inline std::vector<trel::u64> precisions() {
    std::vector<trel::u64> list;
    for (trel::u64 p = 1; p <= 200; p += p < 20 ? 1 : kalvor_test::thinned(7)) list.push_back(p);
    list.insert(list.end(), {100000, 1000000000, 10000000000000});
    return list;
}
// As nats.
inline Real bits(trel::u64 p) {
    return Real::of(p) * Real(64) * Real::ln2();
}

}  // namespace reference
