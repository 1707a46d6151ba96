#include "constants/polynomials/term_counts.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <functional>

#include "reference/gmp_polynomial.h"
#include "reference/real_400.h"
#include "support/effort.h"

using namespace reference;
using namespace kalvor;
using namespace kalvor::Polynomials;

namespace {

TEST(TermCountsTest, ETaylor) {
    const Real shift = Real(1) - ln(Real(2) * Real::pi()) * Real(0.5);
    const auto estimate = [&](u64 n) {
        const Real x = Real::of(n);
        return (x + Real(0.5)) * ln(x + Real(1)) - x - shift;
    };
    for (const u64 p : precisions()) {
        const u64 terms = e_taylor_terms(p), n = terms - 1;
        const Real target = bits(p) + Real(1);
        // The smallest n that reaches the target.
        ASSERT_FALSE(estimate(n) < target) << p;
        if (n > 1) {
            ASSERT_TRUE(estimate(n - 1) < target) << p;
        }
        // The first omitted term, 1 / (terms + 1)!, against the sum e - 2.
        ASSERT_TRUE(bits(p) < ln_gamma(Real::of(terms + 2)) + ln(Real(0.718))) << p;
    }
}

// A series with known products of R and Q: factors (a k + b)^m.
struct Factor {
    i64 a, b;
    u64 multiplicity;

    // ln of the product over k = 1 .. n: a^n gamma(n + 1 + b / a) / gamma(1 + b / a)
    Real product(u64 n) const {
        const Real shift = Real(1) + Real(static_cast<double>(b)) / Real(static_cast<double>(a));
        return Real(static_cast<double>(multiplicity)) * (Real::of(n) * ln(Real(static_cast<double>(a))) +
                                                          ln_gamma(Real::of(n) + shift) - ln_gamma(shift));
    }
    IntegerPolynomial polynomial() const { return power(IntegerPolynomial({b, a}), multiplicity); }
};

struct Family {
    const char* name;
    std::vector<Factor> R, Q;
    u64 degree_P;
    double P_bound;  // |P(k)| <= P_bound k^degree_P
    double sum;      // the sum is at least this
};

const Family kFamilies[] = {
    {"like Chudnovsky's", {{2, -1, 1}, {6, -5, 1}, {6, -1, 1}}, {{221939, 0, 3}}, 1, 6e8, 1e-7},
    {"zeta(3)", {{1, 0, 5}}, {{4, 2, 5}}, 2, 600, 1e-3},
    {"just converging", {{3, 0, 1}, {1, 0, 1}}, {{2, 1, 2}}, 0, 1, 0.1},
    {"sinh", {}, {{2, 0, 1}, {2, 1, 1}}, 0, 1, 0.1},
    {"1 / k!", {}, {{1, 0, 1}}, 0, 1, 0.5},
};

IntegerPolynomial product_of(const std::vector<Factor>& factors) {
    IntegerPolynomial product({1});
    for (const Factor& f : factors) product = product * f.polynomial();
    return product;
}

// The sizers of a family, and what refers to them.
class FamilySizers {
  public:
    explicit FamilySizers(const Family& family) : family_(family) {}
    HypergeometricSizes sizes() const {
        return {family_.R.empty() ? nullptr : &sizer_R_, &sizer_Q_, family_.degree_P};
    }
    // deg R - deg Q
    double degree() const { return static_cast<double>(R_.degree() - Q_.degree()); }

  private:
    const Family& family_;
    IntegerPolynomial R_ = product_of(family_.R), Q_ = product_of(family_.Q);
    PolynomialTermSizer sizer_R_ = make_sizer("R(x)", R_, 0.0, nullptr);
    PolynomialTermSizer sizer_Q_ = make_sizer("Q(x)", Q_, 0.0, nullptr);
};

TEST(TermCountsTest, Hypergeometric) {
    for (const Family& family : kFamilies) {
        const FamilySizers sizers(family);
        const HypergeometricSizes sizes = sizers.sizes();
        const auto product = [](const std::vector<Factor>& factors, u64 n) {
            Real sum;
            for (const Factor& f : factors) sum = sum + f.product(n);
            return sum;
        };
        const auto log_term = [&](u64 n) {
            const double degrees = sizers.degree() + static_cast<double>(family.degree_P);
            return product(family.R, n) - product(family.Q, n) + Real(degrees) * ln(Real::of(n));
        };
        for (const u64 p : precisions()) {
            const u64 terms = sizes.terms(p);
            const Real target = Real(0) - bits(p + 2);
            // terms - 1 is the smallest n whose estimate is not above the target.
            ASSERT_FALSE(target < log_term(terms - 1)) << family.name << " " << p;
            if (terms > 3) {
                ASSERT_TRUE(target < log_term(terms - 2)) << family.name << " " << p;
            }
            // P(n) R(1) ... R(n - 1) / (Q(1) ... Q(n)) for the first n that is left out
            const u64 n = terms + 1;
            const Real omitted = product(family.R, terms) - product(family.Q, n) + ln(Real(family.P_bound)) +
                                 Real(static_cast<double>(family.degree_P)) * ln(Real::of(n));
            ASSERT_TRUE(omitted < ln(Real(family.sum)) - bits(p)) << family.name << " " << p;
            // What remains: everything at first, next to nothing at the end, less and less between.
            const double full = number(bits(p));
            ASSERT_NEAR(sizes.log_remaining(p, 0).high, full, 1e-9 * full);
            double last = full * (1 + 1e-12);
            for (u64 i = 1; i <= 20; i++) {
                const u64 k = terms / 20 * i;
                const double rest = sizes.log_remaining(p, k).high;
                ASSERT_LE(rest, last) << family.name << " " << p << " " << k;
                ASSERT_GE(rest, 0);
                last = rest;
            }
        }
    }
}

// What runs ask of every range is above what it stands for by next to nothing, and falls as well.
TEST(TermCountsTest, RemainingFromDoubles) {
    for (const Family& family : kFamilies) {
        const FamilySizers sizers(family);
        const HypergeometricSizes sizes = sizers.sizes();
        for (const u64 p : {u64(1), u64(20), u64(1000), u64(30000)}) {
            const u64 terms = std::min(sizes.terms(p), HypergeometricSizes::kNearTerms);
            const u64 step = std::max<u64>(1, terms / 1000);
            double last = number(bits(p)) * (1 + 1e-12);
            for (u64 k = 0; k <= terms; k += step) {
                const double exact = sizes.log_remaining(p, k).high;
                const double near = sizes.near_log_remaining(p, k).high;
                ASSERT_GE(near, exact) << family.name << " " << p << " " << k;
                ASSERT_LE(near, exact + 0x1p-5) << family.name << " " << p << " " << k;
                ASSERT_LE(near, last) << family.name << " " << p << " " << k;
                last = near;
            }
        }
    }
}

TEST(TermCountsTest, BinaryBBP) {
    for (const u64 p : precisions()) {
        for (const u64 power : {1, 3, 4, 10, 64, 1000, 1023, 1024}) {
            for (const u64 degree : {0, 1, 16, 62}) {
                const u64 terms = binary_bbp_terms(p, degree, power);
                const mpq_class quotient(mpz_of(64 * (p + degree)), mpz_of(power));
                const mpq_class distance = mpq_class(mpz_of(terms - 2)) - quotient;
                // rint: within half; exact halves may go either way at sizes where the parts round on their
                // own
                ASSERT_LE(mpq_class(abs(distance)), mpq_class(1, 2)) << p << " " << power;
                // 2^(-power (terms + 1)) (terms + 1)^degree against 2^(-64 p), degree words to spare
                const Real omitted = Real::of(power) * Real::of(terms + 1) * Real::ln2() -
                                     Real(static_cast<double>(degree)) * ln(Real::of(terms + 1));
                ASSERT_TRUE(bits(p) < omitted) << p << " " << power << " " << degree;

                ASSERT_NEAR(binary_bbp_remaining(p, degree, power, 0).high, number(bits(p)),
                            1e-9 * number(bits(p)));
                ASSERT_EQ(binary_bbp_remaining(p, degree, power, terms).high, 0);
            }
        }
    }
    // 64 * 6 / 4 + 2
    EXPECT_EQ(binary_bbp_terms(5, 1, 4), 98u);
    // 5 + 1 - 40 * 4 / 64 = 3.5 words
    EXPECT_NEAR(binary_bbp_remaining(5, 1, 4, 40).high, 3.5 * 64 * std::log(2.0), 1e-10);
}

}  // namespace
