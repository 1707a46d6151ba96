// The built-in hypergeometric series by their definitions: products of linear factors of the index. Terms as
// exact integers, and logarithms of products over ranges far out.
#pragma once

#include <gmpxx.h>
#include <mpfr.h>

#include <string>
#include <vector>

#include "reference/mpz_u64.h"

namespace reference {

// (a k + b)^e
struct LinearFactor {
    long a, b;
    unsigned e;
};

class Mpfr {
  public:
    explicit Mpfr(mpfr_prec_t bits = 512) {
        mpfr_init2(x, bits);
        mpfr_set_zero(x, 1);
    }
    ~Mpfr() { mpfr_clear(x); }
    Mpfr(const Mpfr&) = delete;
    Mpfr& operator=(const Mpfr&) = delete;
    double value() const { return mpfr_get_d(x, MPFR_RNDN); }
    mpfr_t x;
};

struct SeriesDefinition {
    std::string name;
    std::string C_R;
    std::vector<LinearFactor> R;
    std::string C_Q;
    std::vector<LinearFactor> Q;
    std::vector<const char*> p;  // the highest coefficient first
    bool folded;                 // P(k) = R(k) p(k), else p(k)
    bool alternates;             // the first term is negative

    static mpz_class product(const std::string& C, const std::vector<LinearFactor>& factors,
                             const mpz_class& k) {
        mpz_class z(C);
        for (const LinearFactor& f : factors) {
            for (unsigned i = 0; i < f.e; i++) z *= f.a * k + f.b;
        }
        return z;
    }
    // Magnitudes.
    mpz_class term_R(const mpz_class& k) const { return product(C_R, R, k); }
    mpz_class term_Q(const mpz_class& k) const { return product(C_Q, Q, k); }
    mpz_class polynomial(const mpz_class& k) const {
        mpz_class z = 0;
        for (const char* c : p) z = z * k + mpz_class(c);
        return z;
    }
    mpz_class term_P(const mpz_class& k) const {
        return folded ? mpz_class(polynomial(k) * term_R(k)) : polynomial(k);
    }

    // ln of C^(b - a) times the product of the factors over a + 1 .. b.
    static void ln_product(Mpfr& sum, const std::string& C, const std::vector<LinearFactor>& factors,
                           const mpz_class& a, const mpz_class& b) {
        Mpfr part, count;
        mpfr_set_z(count.x, mpz_class(b - a).get_mpz_t(), MPFR_RNDN);
        mpfr_set_str(part.x, C.c_str(), 10, MPFR_RNDN);
        mpfr_log(part.x, part.x, MPFR_RNDN);
        mpfr_mul(sum.x, part.x, count.x, MPFR_RNDN);
        for (const LinearFactor& f : factors) {
            // a^n Gamma(b + 1 + s) / Gamma(a + 1 + s), s = b / a of the factor
            mpq_class shift(f.b, f.a);
            shift.canonicalize();
            Mpfr gamma;
            mpfr_set_si(gamma.x, f.a, MPFR_RNDN);
            mpfr_log(gamma.x, gamma.x, MPFR_RNDN);
            mpfr_mul(gamma.x, gamma.x, count.x, MPFR_RNDN);
            for (const auto& [end, up] : {std::pair{&b, true}, {&a, false}}) {
                mpq_class at = mpq_class(*end) + 1 + shift;
                mpfr_set_q(part.x, at.get_mpq_t(), MPFR_RNDN);
                mpfr_lngamma(part.x, part.x, MPFR_RNDN);
                up ? mpfr_add(gamma.x, gamma.x, part.x, MPFR_RNDN)
                   : mpfr_sub(gamma.x, gamma.x, part.x, MPFR_RNDN);
            }
            mpfr_mul_ui(gamma.x, gamma.x, f.e, MPFR_RNDN);
            mpfr_add(sum.x, sum.x, gamma.x, MPFR_RNDN);
        }
    }
    double ln_Q(const mpz_class& a, const mpz_class& b) const {
        Mpfr sum;
        ln_product(sum, C_Q, Q, a, b);
        return sum.value();
    }
    double ln_R(const mpz_class& a, const mpz_class& b) const {
        Mpfr sum;
        ln_product(sum, C_R, R, a, b);
        return sum.value();
    }
    static double ln(const mpz_class& z) {
        Mpfr x;
        mpfr_set_z(x.x, z.get_mpz_t(), MPFR_RNDN);
        mpfr_log(x.x, x.x, MPFR_RNDN);
        return x.value();
    }
    // ln |P(k) R(1) ... R(k - 1) / (Q(1) ... Q(k))|; exact to a small part of a nat while it is below 2^40.
    double ln_term(const mpz_class& k) const {
        Mpfr up, down, part;
        ln_product(up, C_R, R, 0, k - 1);
        ln_product(down, C_Q, Q, 0, k);
        mpfr_sub(up.x, up.x, down.x, MPFR_RNDN);
        mpfr_set_z(part.x, term_P(k).get_mpz_t(), MPFR_RNDN);
        mpfr_log(part.x, part.x, MPFR_RNDN);
        mpfr_add(up.x, up.x, part.x, MPFR_RNDN);
        return up.value();
    }

    // The sum of the terms a + 1 .. b relative to the sign of the first.
    struct Range {
        mpz_class P, Q, R;
    };
    Range sum(trel::u64 a, trel::u64 b) const {
        if (b - a == 1) {
            const mpz_class k = mpz_of(b);
            return {term_P(k), term_Q(k), term_R(k)};
        }
        // Not the program's places.
        const trel::u64 m = a + (b - a + 2) / 3;
        const Range x = sum(a, m), y = sum(m, b);
        const bool subtract = alternates && (m - a) % 2 != 0;
        return {x.P * y.Q + (subtract ? -1 : 1) * mpz_class(x.R * y.P), x.Q * y.Q, x.R * y.R};
    }
};

// In the order of the rows.
inline const std::vector<SeriesDefinition>& pi_definitions() {
    static const std::vector<SeriesDefinition> list = {{"Chudnovsky (1988)",
                                                        "1",
                                                        {{2, -1, 1}, {6, -5, 1}, {6, -1, 1}},
                                                        "10939058860032000",
                                                        {{1, 0, 3}},
                                                        {"545140134", "13591409"},
                                                        true,
                                                        true},
                                                       {"Ramanujan (1910)",
                                                        "1",
                                                        {{2, -1, 1}, {4, -3, 1}, {4, -1, 1}},
                                                        "3073907232",
                                                        {{1, 0, 3}},
                                                        {"26390", "1103"},
                                                        true,
                                                        false}};
    return list;
}
inline const std::vector<SeriesDefinition>& zeta3_definitions() {
    static const std::vector<SeriesDefinition> list = {
        {"Wedeniwski (1998)",
         "1",
         {{1, 0, 5}, {2, -1, 3}},
         "24",
         {{3, 1, 1}, {3, 2, 1}, {4, 1, 3}, {4, 3, 3}},
         {"126392", "412708", "531578", "336367", "104000", "12463"},
         true,
         true},
        {"Amdeberhan-Zeilberger (1997)",
         "1",
         {{1, 0, 5}},
         "1",
         {{4, 2, 5}},
         {"205", "250", "77"},
         true,
         true}};
    return list;
}
inline const std::vector<SeriesDefinition>& catalan_definitions() {
    static const std::vector<SeriesDefinition> list = {
        {"Pilehrood (2010-short)",
         "32",
         {{1, 0, 3}, {2, -1, 1}},
         "9",
         {{6, -5, 2}, {6, -1, 2}},
         {"580", "-184", "15"},
         false,
         false},
        {"Guillera (2019)",
         "512",
         {{1, 0, 3}, {2, -1, 3}},
         "27",
         {{6, -5, 3}, {6, -1, 3}},
         {"45136", "-57184", "21240", "-3160", "165"},
         false,
         true},
        {"Pilehrood (2010-long)",
         "32",
         {{1, 0, 3}, {2, -1, 1}, {4, -3, 2}, {4, -1, 2}},
         "1",
         {{8, -7, 2}, {8, -5, 2}, {8, -3, 2}, {8, -1, 2}},
         {"419840", "-915456", "782848", "-332800", "73256", "-7800", "315"},
         false,
         true},
        {"Guillera (2008)", "1", {{1, 0, 3}}, "1", {{2, 1, 3}}, {"3", "2"}, true, true},
        {"Lupas (2000)",
         "32",
         {{1, 0, 3}, {2, -1, 1}},
         "1",
         {{4, 1, 2}, {4, 3, 2}},
         {"40", "56", "19"},
         true,
         true}};
    return list;
}

}  // namespace reference
