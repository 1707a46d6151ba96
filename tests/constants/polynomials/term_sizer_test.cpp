#include "constants/polynomials/term_sizer.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include "base/errors/exceptions.h"
#include "constants/polynomials/convergence.h"
#include "reference/gmp_polynomial.h"
#include "support/effort.h"

using namespace reference;
using namespace kalvor;
using namespace kalvor::Polynomials;

namespace {

// A number of 300 bits that can be compared with a double-double.
class LongReal {
  public:
    LongReal() {
        mpfr_init2(x_, 300);
        mpfr_set_zero(x_, 1);
    }
    ~LongReal() { mpfr_clear(x_); }
    LongReal(const LongReal&) = delete;
    mpfr_ptr get() { return x_; }

    // |x - d| / |x|
    double relative_error(const DoubleDouble& d) {
        LongReal difference;
        mpfr_sub_d(difference.get(), x_, d.high, MPFR_RNDN);
        mpfr_sub_d(difference.get(), difference.get(), d.low, MPFR_RNDN);
        if (mpfr_zero_p(x_)) return std::fabs(mpfr_get_d(difference.get(), MPFR_RNDN));
        mpfr_div(difference.get(), difference.get(), x_, MPFR_RNDN);
        return std::fabs(mpfr_get_d(difference.get(), MPFR_RNDN));
    }

  private:
    mpfr_t x_;
};

// The direct sum of ln |p(k)| over a < k <= b.
void direct_sum(const IntegerPolynomial& p, u64 a, u64 b, LongReal& sum) {
    LongReal term;
    for (u64 k = a + 1; k <= b; k++) {
        mpfr_set_z(term.get(), mpz_class(abs(gmp(p.evaluate(SimpleInt::from_u64(k))))).get_mpz_t(),
                   MPFR_RNDN);
        mpfr_log(term.get(), term.get(), MPFR_RNDN);
        mpfr_add(sum.get(), sum.get(), term.get(), MPFR_RNDN);
    }
}

void expect_sizes(const IntegerPolynomial& p, const char* name) {
    const PolynomialTermSizer sizer = make_sizer("Q(x)", p, 0.0, nullptr);
    constexpr u64 kFar = 1000000000000000;
    for (const auto& [a, n] : {std::pair<u64, u64>{0, 1},
                               {0, 2},
                               {0, 100},
                               {1, 3},
                               {17, 5},
                               {0, 3000},
                               {999, 1},
                               {kFar, 1},
                               {kFar, 2},
                               {kFar - 7, 3000}}) {
        LongReal sum;
        direct_sum(p, a, a + n, sum);
        ASSERT_LT(sum.relative_error(sizer.log_size(a, a + n)), 1e-20) << name << " " << a << " " << n;
    }
}

std::vector<std::pair<const char*, IntegerPolynomial>> polynomials() {
    const SimpleInt huge = SimpleInt::power_of_2(50);
    return {
        {"x", IntegerPolynomial({0, 1})},
        {"2x - 3", IntegerPolynomial({-3, 2})},
        {"x^2 + 1", IntegerPolynomial({1, 0, 1})},
        {"(2x + 1)^3", power(IntegerPolynomial({1, 2}), 3)},
        {"near an index", IntegerPolynomial(std::vector<SimpleInt>{-(huge * 17 + 1), huge})},
        {"beyond", IntegerPolynomial(std::vector<SimpleInt>{-(huge * SimpleInt(16384) * 6 + 1), 2})},
        {"near an index, twice", power(IntegerPolynomial(std::vector<SimpleInt>{1 - huge * 5, huge}), 2)},
        {"a pair near an index",
         IntegerPolynomial(std::vector<SimpleInt>{huge * huge * 49 + 1, -(huge * huge * 14), huge * huge})},
        {"a pair far away", IntegerPolynomial(std::vector<SimpleInt>{huge * huge, 0, 1})},
        {"a pair far to the right", IntegerPolynomial({i64(1) << 42, -(i64(1) << 21), 1})},
        {"all ones", IntegerPolynomial(std::vector<SimpleInt>(20, 1))},
        {"1, 1, 1, then more", IntegerPolynomial({-1, 1}) * IntegerPolynomial({-2, 1}) *
                                       IntegerPolynomial({-3, 1}) * IntegerPolynomial({0, 1}) +
                                   IntegerPolynomial({1})},
        {"negative", IntegerPolynomial({-5, 0, 0, -7})},
    };
}

TEST(TermSizerTest, MatchDirectSums) {
    for (const auto& [name, p] : polynomials()) expect_sizes(p, name);
}

TEST(TermSizerTest, RandomPolynomials) {
    Random random(21);
    for (unsigned round = 0; round < 12 / kalvor_test::thinned(4); round++) {
        const IntegerPolynomial p = random.polynomial(1 + random.below(9), round % 2 == 0 ? 63 : 5);
        bool zero = false;
        for (int k = 1; k < 40; k++) zero = zero || p.evaluate(SimpleInt(k)).is_zero();
        if (!zero) expect_sizes(p, "random");
    }
}

TEST(SlowTermSizerTest, LongRanges) {
    for (const auto& [name, p] : polynomials()) {
        const PolynomialTermSizer sizer = make_sizer("Q(x)", p, 0.0, nullptr);
        for (const u64 a : {u64(0), u64(1000000000000000)}) {
            LongReal sum;
            direct_sum(p, a, a + 100000, sum);
            ASSERT_LT(sum.relative_error(sizer.log_size(a, a + 100000)), 1e-20) << name << " " << a;
        }
    }
}

// What plans take never falls, also where |p(k)| is 1 again and again, and covers every range.
TEST(TermSizerTest, PlansGrow) {
    for (const auto& [name, p] : polynomials()) {
        const PolynomialTermSizer sizer = make_sizer("Q(x)", p, 0.0, nullptr);
        for (const u64 from : {u64(0), u64(1) << 30, u64(1000000000000000), u64(1) << 52}) {
            DoubleDouble last = sizer.log_size_to(from);
            for (u64 k = from + 1; k <= from + 60; k++) {
                const DoubleDouble next = sizer.log_size_to(k);
                ASSERT_GE(next, last) << name << " " << k;
                last = next;
            }
            ASSERT_GE(last - sizer.log_size_to(from), sizer.log_size(from, from + 60)) << name << " " << from;
        }
    }
    const PolynomialTermSizer ones = make_sizer("Q(x)", polynomials()[11].second, 0.0, nullptr);
    EXPECT_EQ(ones.log_size(0, 0).high, 0);
    EXPECT_NEAR(ones.log_size(0, 3).high, 0, 1e-25);
    EXPECT_GE(ones.log_size(0, 3).high, 0);
}

// The sizes in doubles: right to half a nat, and what plans take of them never falls and covers every range.
TEST(TermSizerTest, SizesInDoubles) {
    for (const auto& [name, p] : polynomials()) {
        const PolynomialTermSizer sizer = make_sizer("Q(x)", p, 0.0, nullptr);
        const double each = static_cast<double>(sizer.degree() + 1) * 44.4 / 1000;
        for (const u64 a : {u64(0), u64(1), u64(4), u64(16), u64(900), u64(1) << 31, u64(1000000000000000)}) {
            for (const u64 n : {u64(1), u64(2), u64(3), u64(100), u64(12345), u64(1) << 32}) {
                ASSERT_NEAR(sizer.near_log_size(a, a + n), sizer.log_size(a, a + n).high, 0.5)
                    << name << " " << a << " " << n;
            }
        }
        EXPECT_EQ(sizer.near_log_size(7, 7), 0);
        for (const u64 from : {u64(0), u64(1) << 20, (u64(1) << 32) - 60}) {
            double last = sizer.near_log_size_to(from);
            for (u64 k = from + 1; k <= from + 60; k++) {
                const double next = sizer.near_log_size_to(k);
                ASSERT_GT(next, last) << name << " " << k;
                last = next;
            }
            ASSERT_GE(last - sizer.near_log_size_to(from), sizer.log_size(from, from + 60).high) << name;
            const double more = last - sizer.log_size_to(from + 60).high;
            ASSERT_GE(more, 0) << name;
            ASSERT_LE(more, static_cast<double>(from + 60) * each) << name;
        }
    }
}

TEST(TermSizerTest, ExtraNats) {
    const IntegerPolynomial p({1, 0, 1});
    const DoubleDouble extra = trel::dd::ln2() * DoubleDouble(10.0);
    const PolynomialTermSizer plain = make_sizer("Q(x)", p, 0.0, nullptr);
    const PolynomialTermSizer more = make_sizer("Q(x)", p, extra, nullptr);
    EXPECT_NEAR((more.log_size(3, 1003) - plain.log_size(3, 1003)).high, 10000 * std::log(2.0), 1e-9);
    EXPECT_EQ(plain.degree(), 2u);
    // ln 2 + ln 5
    EXPECT_NEAR(plain.log_size(0, 2).high, std::log(10.0), 1e-15);
}

TEST(TermSizerTest, ZerosAtTerms) {
    const auto sizer = [](const IntegerPolynomial& p, const char* name = "Q(x)") {
        (void)make_sizer(name, p, 0.0, nullptr);
    };
    const auto expect = [&](const IntegerPolynomial& p, const std::string& at) {
        expect_failure<trel::InvalidParametersException>(
            "make_sizer()", "Polynomial Q(x) is zero at x = " + at + ".", [&] { sizer(p); });
    };
    expect(IntegerPolynomial({-3, 1}), "3");
    expect(IntegerPolynomial({-1, 1}), "1");
    expect(power(IntegerPolynomial({-6, 2}), 2) * IntegerPolynomial({1, 0, 1}), "3");
    expect(IntegerPolynomial({i64(-1) << 62, 1}), "4611686018427387904");
    expect(IntegerPolynomial({-4, 1}) * IntegerPolynomial({-7, 2}) * IntegerPolynomial({-9, 2}), "4");
    expect_failure<trel::InvalidParametersException>("make_sizer()", "Polynomial R(x) is zero at x = 3.",
                                                     [&] {
                                                         sizer(IntegerPolynomial({-3, 1}), "R(x)");
                                                     });
    sizer(IntegerPolynomial({-3, 2}));
    sizer(IntegerPolynomial({3, 1}));
    sizer(IntegerPolynomial({0, 1}));
    sizer(IntegerPolynomial({7}));
    // Nearer to 3 than any interval of doubles.
    const SimpleInt b = SimpleInt::power_of_2(500);
    sizer(IntegerPolynomial(std::vector<SimpleInt>{b * 3 + 1, -b}));
}

TEST(TermSizerTest, PairsThatAreRefused) {
    const char* function = "PochhammerComplexPairSizer()";
    const ZeroPlace at_seven({7, 0}, {7, 0});
    const auto make = [](const ZeroPlace& x, const Dyadic& y) { (void)PochhammerComplexPairSizer(x, y); };
    expect_failure<trel::InvalidParametersException>(function, "Root with negative imaginary part.", [&] {
        make(at_seven, {-1, 3});
    });
    const Dyadic limit{SimpleInt::power_of_2(50), 0};
    make(at_seven, limit);
    expect_failure<trel::InvalidParametersException>(function, "Imaginary part is too large.", [&] {
        make(at_seven, limit + Dyadic{1, 80});
    });
    make(at_seven, {1, 499});
    expect_failure<trel::InvalidParametersException>(function, "Root too close to zero.", [&] {
        make(at_seven, {1, 501});
    });
    // Only term indices count, 0 is none.
    make(ZeroPlace({0, 0}, {0, 0}), {1, 501});
}

TEST(LogProductsTest, ElementaryFunctions) {
    LongReal want;
    for (const double t : {1e-30, 1e-9, 0.003, 0.0099999, 0.01000001, 0.2, 0.77, 1.0, 1.00001, 30.0, 1e20}) {
        mpfr_set_d(want.get(), t, MPFR_RNDN);
        mpfr_log1p(want.get(), want.get(), MPFR_RNDN);
        EXPECT_LT(want.relative_error(ln_one_plus(t)), 0x1p-95) << t;
        mpfr_set_d(want.get(), t, MPFR_RNDN);
        mpfr_atan(want.get(), want.get(), MPFR_RNDN);
        EXPECT_LT(want.relative_error(arctangent(t)), 0x1p-95) << t;
    }
    mpfr_set_d(want.get(), -0.005, MPFR_RNDN);
    mpfr_log1p(want.get(), want.get(), MPFR_RNDN);
    EXPECT_LT(want.relative_error(ln_one_plus(-0.005)), 0x1p-95);
    EXPECT_EQ(arctangent(0.0).high, 0);
    EXPECT_EQ(ln_one_plus(0.0).high, 0);
}

TEST(LogProductsTest, RisingProducts) {
    LongReal sum, term, part;
    for (const double u : {0.5, 0.75, 3.0, 39.9, 40.0, 1e6, 0x1p52}) {
        for (const double b : {0.0, 0x1p-60, 0.25, 38.0, 1e5, 0x1p50}) {
            for (const u64 n : {1, 2, 39, 200}) {
                mpfr_set_zero(sum.get(), 1);
                double magnitudes = 0;
                for (u64 i = 0; i < n; i++) {
                    mpfr_set_d(term.get(), u, MPFR_RNDN);
                    mpfr_add_ui(term.get(), term.get(), i, MPFR_RNDN);
                    mpfr_set_d(part.get(), b, MPFR_RNDN);
                    mpfr_hypot(term.get(), term.get(), part.get(), MPFR_RNDN);
                    mpfr_log(term.get(), term.get(), MPFR_RNDN);
                    magnitudes += std::fabs(mpfr_get_d(term.get(), MPFR_RNDN));
                    mpfr_add(sum.get(), sum.get(), term.get(), MPFR_RNDN);
                }
                const DoubleDouble got = ln_rising_product(u, b, n);
                ASSERT_NEAR(near_ln_rising_product(u, b, n), got.high, magnitudes * 0x1p-44 + 0x1p-20)
                    << u << " " << b << " " << n;
                mpfr_sub_d(sum.get(), sum.get(), got.high, MPFR_RNDN);
                mpfr_sub_d(sum.get(), sum.get(), got.low, MPFR_RNDN);
                ASSERT_LE(std::fabs(mpfr_get_d(sum.get(), MPFR_RNDN)), (magnitudes + 1) * 0x1p-95)
                    << u << " " << b << " " << n;
            }
        }
    }
}

void expect_divergence(const IntegerPolynomial& R, const IntegerPolynomial& Q, const std::string& end) {
    expect_failure<trel::InvalidParametersException>("SeriesHypergeometric_PolyData::enforce_convergence()",
                                                     "Series does not meet convergence requirements.\n"
                                                     "Requirement: |R(x)/Q(x)| < 0.75  for all x >= 1\n\n" +
                                                         end,
                                                     [&] { enforce_convergence(R, Q); });
}

TEST(ConvergenceTest, AtOne) {
    const char* text = "|R(x)/Q(x)| >= 0.75 at x = 1.";
    expect_divergence(IntegerPolynomial({3}), IntegerPolynomial({4}), text);
    expect_divergence(IntegerPolynomial({-3}), IntegerPolynomial({3, 1}), text);
    expect_divergence(IntegerPolynomial({0, 3}), IntegerPolynomial({0, 4}), text);
    expect_divergence(IntegerPolynomial({7}), IntegerPolynomial({0, 1}), text);
}

TEST(ConvergenceTest, AtZeros) {
    // 3/4 at 2.5: 4R - 3Q = 2x - 5 with R = x, Q = (2x + 5) / 3
    expect_divergence(IntegerPolynomial({0, 3}), IntegerPolynomial({5, 2}),
                      "R(x)/Q(x) >= 0.75 at or around x = 2.5.");
    expect_divergence(IntegerPolynomial({0, -3}), IntegerPolynomial({5, 2}),
                      "R(x)/Q(x) <= -0.75 at or around x = 2.5.");
    // The degree of R is higher: 4x^2 = 3x + 27 at 3
    expect_divergence(IntegerPolynomial({0, 0, 1}), IntegerPolynomial({9, 1}),
                      "R(x)/Q(x) >= 0.75 at or around x = 3.");
    // Q changes its sign at 4.5, where the ratio has a pole: 8 = 3 (9 - 2x) at 19/6
    expect_divergence(IntegerPolynomial({2}), IntegerPolynomial({9, -2}),
                      "R(x)/Q(x) >= 0.75 at or around x = 3.166666667.");
    // It touches 3/4 at 5 only: 3Q - 4R = (x - 5)^2 with Q = 4 x^2 + 4, R = 3 x^2 + 3 - (x - 5)^2 / 4
    expect_divergence(IntegerPolynomial({-13, 10, 11}), IntegerPolynomial({16, 0, 16}),
                      "R(x)/Q(x) >= 0.75 at or around x = 5.");
    // Zeros at 0 do not count: x^3 = 24 x^2.
    expect_divergence(power(IntegerPolynomial({0, 1}), 3),
                      power(IntegerPolynomial({0, 1}), 2) * IntegerPolynomial({8, 1}),
                      "R(x)/Q(x) >= 0.75 at or around x = 24.");
}

TEST(ConvergenceTest, Accepted) {
    // The ratio tends to 3/4 from below.
    enforce_convergence(IntegerPolynomial({0, 3}), IntegerPolynomial({1, 4}));
    enforce_convergence(IntegerPolynomial({0, -3}), IntegerPolynomial({1, 4}));
    // Chudnovsky's series
    enforce_convergence(
        -(IntegerPolynomial({-1, 2}) * IntegerPolynomial({-5, 6}) * IntegerPolynomial({-1, 6})),
        IntegerPolynomial({0, 0, 0, 10939058860032000}));
    enforce_convergence(IntegerPolynomial({7499}), IntegerPolynomial({10000}));
    // Above 3/4 only below 1
    enforce_convergence(IntegerPolynomial({3}), IntegerPolynomial({0, 5}));
}

}  // namespace
