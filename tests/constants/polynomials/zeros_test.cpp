#include "constants/polynomials/zeros.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "base/errors/exceptions.h"
#include "constants/polynomials/complex_line.h"
#include "constants/polynomials/rounded_sturm.h"
#include "constants/polynomials/sturm_sequence.h"
#include "constants/polynomials/zero_guesses.h"
#include "reference/gmp_polynomial.h"
#include "support/effort.h"

using namespace reference;
using namespace kalvor;
using namespace kalvor::Polynomials;

namespace {

// x - a / b
IntegerPolynomial linear(const mpz_class& a, const mpz_class& b = 1) {
    return IntegerPolynomial(std::vector<SimpleInt>{simple(-a), simple(b)});
}
// The pair (a +- c i) / b
IntegerPolynomial quadratic(const mpz_class& a, const mpz_class& c, const mpz_class& b = 1) {
    return IntegerPolynomial(
        std::vector<SimpleInt>{simple(a * a + c * c), simple(-2 * a * b), simple(b * b)});
}
IntegerPolynomial monomial(u64 n, const SimpleInt& c = 1) {
    std::vector<SimpleInt> list(n + 1);
    list[n] = c;
    return IntegerPolynomial(std::move(list));
}

// The number of zeros is the degree, regions are apart, real intervals have a change of sign. Nothing here
// says that a rectangle has a zero; other tests compare with known ones.
void expect_complete(const IntegerPolynomial& p, const Zeros& zeros) {
    u64 count = 0;
    for (u64 i = 0; i < zeros.real.size(); i++) {
        const RealZero& zero = zeros.real[i];
        count += zero.multiplicity;
        if (zero.low == zero.high) {
            ASSERT_EQ(value(*zero.p, gmp(zero.low)), mpq_class(0));
        } else {
            ASSERT_LT(gmp(zero.low), gmp(zero.high));
            ASSERT_LT(sgn(value(*zero.p, gmp(zero.low))) * sgn(value(*zero.p, gmp(zero.high))), 0);
        }
        if (i > 0) {
            ASSERT_LT(gmp(zeros.real[i - 1].high), gmp(zero.low));
        }
    }
    for (u64 i = 0; i < zeros.complex.size(); i++) {
        const Rectangle& r = zeros.complex[i].box;
        count += 2 * zeros.complex[i].multiplicity;
        ASSERT_LT(r.x0, r.x1);
        ASSERT_LT(r.y0, r.y1);
        ASSERT_GT(r.y0.sign(), 0);
        for (u64 j = 0; j < i; j++) ASSERT_FALSE(r.touches(zeros.complex[j].box));
    }
    ASSERT_EQ(count, static_cast<u64>(p.degree()));
}

bool holds(const RealZero& zero, const mpq_class& x) {
    return gmp(zero.low) <= x && x <= gmp(zero.high);
}
bool holds(const ComplexZero& zero, const mpq_class& x, const mpq_class& y) {
    return gmp(zero.box.x0) < x && x < gmp(zero.box.x1) && gmp(zero.box.y0) < y && y < gmp(zero.box.y1);
}

TEST(ZerosTest, RandomProductsOfKnownZeros) {
    Random random(11);
    for (unsigned round = 0; round < 60 / kalvor_test::thinned(6); round++) {
        struct Real {
            mpq_class x;
            u64 multiplicity;
        };
        struct Pair {
            mpq_class x, y;
            u64 multiplicity;
        };
        std::vector<Real> real;
        std::vector<Pair> pairs;
        IntegerPolynomial p({-3});
        const auto is_new = [&](const mpq_class& x, const mpq_class& y) {
            for (const Real& r : real) {
                if (y == 0 && r.x == x) return false;
            }
            for (const Pair& r : pairs) {
                if (r.x == x && r.y == y) return false;
            }
            return true;
        };
        const u64 bits = round % 3 == 0 ? 4 : 20;
        for (int i = 0; i < 4; i++) {
            const mpz_class a = random.number(bits), b = 1 + abs(random.number(bits)),
                            c = 1 + abs(random.number(bits));
            const u64 m = 1 + random.below(3);
            mpq_class x(a, b), y(c, b);
            x.canonicalize();
            y.canonicalize();
            if (is_new(x, 0)) {
                real.push_back({x, m});
                p = p * power(linear(a, b), m);
            }
            if (is_new(x, y)) {
                const u64 k = 1 + random.below(3);
                pairs.push_back({x, y, k});
                p = p * power(quadratic(a, c, b), k);
            }
        }
        Zeros zeros = isolate_zeros(p, nullptr);
        expect_complete(p, zeros);
        ASSERT_EQ(zeros.real.size(), real.size());
        ASSERT_EQ(zeros.complex.size(), pairs.size());
        for (int refined = 0; refined < 2; refined++) {
            for (const Real& r : real) {
                u64 found = 0;
                for (const RealZero& zero : zeros.real) {
                    if (!holds(zero, r.x)) continue;
                    found++;
                    ASSERT_EQ(zero.multiplicity, r.multiplicity);
                }
                ASSERT_EQ(found, 1u) << round;
            }
            for (const Pair& r : pairs) {
                u64 found = 0;
                for (const ComplexZero& zero : zeros.complex) {
                    if (!holds(zero, r.x, r.y)) continue;
                    found++;
                    ASSERT_EQ(zero.multiplicity, r.multiplicity);
                }
                ASSERT_EQ(found, 1u) << round;
            }
            const Dyadic width{1, 150};
            for (RealZero& zero : zeros.real) {
                zero.refine(width);
                ASSERT_LE(zero.high - zero.low, width);
            }
            for (ComplexZero& zero : zeros.complex) {
                zero.refine(width);
                ASSERT_LE(zero.box.x1 - zero.box.x0, width);
                ASSERT_LE(zero.box.y1 - zero.box.y0, width);
            }
        }
    }
}

TEST(ZerosTest, FamousPolynomials) {
    // Wilkinson's
    IntegerPolynomial wilkinson({1});
    for (int i = 1; i <= 20; i++) wilkinson = wilkinson * linear(i);
    std::vector<RealZero> zeros = isolate_real_zeros(wilkinson);
    ASSERT_EQ(zeros.size(), 20u);
    for (int i = 1; i <= 20; i++) EXPECT_TRUE(holds(zeros[static_cast<u64>(i - 1)], i));
    // and with its famous change: 10 pairs leave the axis
    const Zeros changed = isolate_zeros(wilkinson * IntegerPolynomial({1 << 23}) - monomial(19), nullptr);
    EXPECT_EQ(changed.real.size(), 10u);
    EXPECT_EQ(changed.complex.size(), 5u);
    // Chebyshev's of degree 40: all real, between -1 and 1
    IntegerPolynomial before({1}), chebyshev({0, 1});
    for (int i = 2; i <= 40; i++) {
        IntegerPolynomial next = IntegerPolynomial({0, 2}) * chebyshev - before;
        before = chebyshev;
        chebyshev = next;
    }
    zeros = isolate_real_zeros(chebyshev);
    ASSERT_EQ(zeros.size(), 40u);
    for (u64 i = 0; i < 40; i++) {
        zeros[i].refine({1, 40});
        const double want = -std::cos(std::numbers::pi * (2 * static_cast<double>(i) + 1) / 80);
        EXPECT_NEAR(gmp(zeros[i].low).get_d(), want, 1e-11);
    }
}

TEST(ZerosTest, RootsOfUnity) {
    for (const u64 n : {3, 4, 8, 15, 30}) {
        for (const int c : {1, -1}) {
            const IntegerPolynomial p = monomial(n) + IntegerPolynomial({c});
            Zeros zeros = isolate_zeros(p, nullptr);
            expect_complete(p, zeros);
            // On the unit circle at odd or even multiples of pi / n.
            for (ComplexZero& zero : zeros.complex) {
                zero.refine({1, 60});
                const double x = gmp(zero.box.x0).get_d(), y = gmp(zero.box.y0).get_d();
                EXPECT_NEAR(x * x + y * y, 1, 1e-14);
                const double k = std::atan2(y, x) * static_cast<double>(n) / std::numbers::pi;
                EXPECT_NEAR(k, std::nearbyint(k), 1e-12);
                EXPECT_EQ(static_cast<i64>(std::nearbyint(k)) % 2 != 0, c == 1);
            }
        }
    }
}

// x^n - 2 (a x - 1)^2 has two zeros about 2 a^(-n/2 - 1) apart. (Mignotte 1974.)
TEST(ZerosTest, CloseRealZeros) {
    for (const auto& [n, bits] : {std::pair<u64, u64>{5, 30}, {12, 31}, {20, 31}}) {
        const IntegerPolynomial a = linear(1, mpz_class(1) << bits);
        const IntegerPolynomial p = monomial(n) - a * a * IntegerPolynomial({2});
        Zeros zeros = isolate_zeros(p, nullptr);
        expect_complete(p, zeros);
        const u64 distance_bits = (bits * (n + 2)) / 2 - 2;
        u64 close = 0;
        for (u64 i = 0; i < zeros.real.size(); i++) zeros.real[i].refine({1, distance_bits + 10});
        for (u64 i = 0; i + 1 < zeros.real.size(); i++) {
            close += zeros.real[i + 1].high - zeros.real[i].low < Dyadic{1, distance_bits - 6} ? 1 : 0;
        }
        EXPECT_EQ(close, 1u) << n;
    }
    // Two zeros 2^-300 apart, stated exactly.
    const mpz_class b = mpz_class(1) << 300;
    const IntegerPolynomial p = linear(b / 3, b) * linear(b / 3 + 1, b) * quadratic(1, 1);
    const Zeros zeros = isolate_zeros(p, nullptr);
    expect_complete(p, zeros);
    ASSERT_EQ(zeros.real.size(), 2u);
    EXPECT_TRUE(holds(zeros.real[0], mpq_class(b / 3, b)));
    EXPECT_TRUE(holds(zeros.real[1], mpq_class(b / 3 + 1, b)));
}

TEST(ZerosTest, CloseComplexZeros) {
    // Pairs 2^-210 apart (2^-70 under a sanitizer), and one as near to the axis, beside two real zeros.
    const mpz_class b = mpz_class(1) << 210 / kalvor_test::thinned(3);
    const IntegerPolynomial p = quadratic(3 * b, 5 * b, b) * quadratic(3 * b + 1, 5 * b, b) *
                                quadratic(7 * b, 1, b) * linear(7) * linear(-2);
    Zeros zeros = isolate_zeros(p, nullptr);
    expect_complete(p, zeros);
    ASSERT_EQ(zeros.complex.size(), 3u);
    const mpq_class unit(1, b);
    for (const auto& [x, y] : {std::pair<mpq_class, mpq_class>{3, 5}, {3 + unit, 5}, {7, unit}}) {
        u64 found = 0;
        for (const ComplexZero& zero : zeros.complex) found += holds(zero, x, y) ? 1 : 0;
        EXPECT_EQ(found, 1u);
    }
}

TEST(ZerosTest, Axes) {
    // All zeros on the imaginary axis, on the lines through +-1, and at 0.
    IntegerPolynomial p({1});
    for (int i = 1; i <= 6; i++) p = p * quadratic(0, i) * quadratic(i % 2 == 0 ? 1 : -1, i);
    expect_complete(p, isolate_zeros(p, nullptr));
    p = p * monomial(1) * linear(1) * linear(-1);
    const Zeros zeros = isolate_zeros(p, nullptr);
    expect_complete(p, zeros);
    EXPECT_EQ(zeros.real.size(), 3u);
    EXPECT_TRUE(holds(zeros.real[1], 0));
    EXPECT_TRUE(isolate_zeros(IntegerPolynomial({5}), nullptr).real.empty());
}

// Degree 62: random, equal coefficients, a leading coefficient of 2^63 - 1.
TEST(SlowZerosTest, HighDegree) {
    Random random(12);
    std::vector<IntegerPolynomial> list = {
        random.polynomial(62, 63), IntegerPolynomial(std::vector<SimpleInt>(63, 1)),
        IntegerPolynomial(std::vector<SimpleInt>(62, 1)) +
            monomial(62, SimpleInt(std::numeric_limits<i64>::max())),
        monomial(62) - power(linear(1, 1 << 30), 2) * IntegerPolynomial({2}),
        power(random.polynomial(10, 40), 3) * power(random.polynomial(8, 40), 2) * random.polynomial(16, 60)};
    for (u64 i = 0; i < list.size(); i += kalvor_test::thinned(3)) {
        expect_complete(list[i], isolate_zeros(list[i], nullptr));
    }
}

Rectangle box(i64 x0, i64 x1, i64 y0, i64 y1) {
    return {{x0, 1}, {x1, 1}, {y0, 1}, {y1, 1}};
}

TEST(ComplexZerosTest, CountsInsideRectangles) {
    // Zeros 1 + 2i, -3 + i, 2, 0 and the conjugates. Sides are in halves.
    const IntegerPolynomial p = quadratic(1, 2) * quadratic(-3, 1) * linear(2) * linear(0);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-20, 20, -20, 20)), 6u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-20, 20, 1, 20)), 2u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(1, 3, 3, 5)), 1u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(3, 5, 3, 5)), 0u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-1, 20, -20, 20)), 4u);
    // On an edge they are not inside: on the axis 0 and 2; 1 + 2i on each side in turn.
    EXPECT_EQ(count_complex_zeros_inside(p, box(-20, 20, 0, 20)), 2u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(2, 9, 3, 9)), 0u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-1, 2, 3, 9)), 0u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-1, 9, 4, 9)), 0u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-1, 9, 1, 4)), 0u);
    EXPECT_EQ(count_complex_zeros_inside(p, box(-7, 9, 1, 4)), 1u);
    expect_failure<trel::InvalidParametersException>(
        "count_complex_zeros_inside()", "A corner of the rectangle is a zero.",
        [&] { (void)count_complex_zeros_inside(p, box(0, 4, 0, 4)); });
}

TEST(ComplexZerosTest, RandomRectangles) {
    Random random(13);
    for (unsigned round = 0; round < 40 / kalvor_test::thinned(4); round++) {
        std::vector<std::pair<i64, i64>> zeros;
        IntegerPolynomial p({1});
        for (int i = 0; i < 5; i++) {
            const std::pair<i64, i64> z{random.small(8), 1 + static_cast<i64>(random.below(8))};
            if (std::find(zeros.begin(), zeros.end(), z) != zeros.end()) continue;
            zeros.push_back(z);
            p = p * quadratic(mpz_class(std::to_string(z.first)), mpz_class(std::to_string(z.second)));
        }
        for (int i = 0; i < 10; i++) {
            // Even numbers are on zeros' coordinates, so edges meet zeros.
            i64 x0 = random.small(18), x1 = x0 + 1 + static_cast<i64>(random.below(12));
            i64 y0 = random.small(18), y1 = y0 + 1 + static_cast<i64>(random.below(12));
            u64 want = 0;
            bool corner = false;
            for (const auto& [x, y] : zeros) {
                for (const i64 sign : {1, -1}) {
                    const i64 a = 2 * x, b = 2 * y * sign;
                    want += x0 < a && a < x1 && y0 < b && b < y1 ? 1 : 0;
                    corner = corner || ((a == x0 || a == x1) && (b == y0 || b == y1));
                }
            }
            if (corner) continue;
            ASSERT_EQ(count_complex_zeros_inside(p, box(x0, x1, y0, y1)), want) << round << " " << i;
        }
    }
}

TEST(ComplexZerosTest, InsideFromIndex) {
    EXPECT_EQ(compute_inside_zeros(0, 0), 0u);
    EXPECT_EQ(compute_inside_zeros(12, 2), 5u);
    const char* function = "compute_inside_zeros()";
    expect_failure<trel::AlgorithmFailedException>(function, "Cauchy Index is negative.",
                                                   [] { (void)compute_inside_zeros(-1, 0); });
    expect_failure<trel::AlgorithmFailedException>(function, "Cauchy Index is larger than edge zeros.",
                                                   [] { (void)compute_inside_zeros(2, 3); });
    expect_failure<trel::AlgorithmFailedException>(function, "Adjusted Cauchy Index is not a multiple of 2.",
                                                   [] { (void)compute_inside_zeros(4, 1); });
}

TEST(ComplexZerosTest, Failures) {
    EXPECT_EQ(complex_pairs(7, 3), 2u);
    for (const u64 real : {2, 8}) {
        expect_failure<trel::AlgorithmFailedException>("isolate_zeros_square_free()",
                                                       "The # of complex zeros is not even.",
                                                       [real] { (void)complex_pairs(7, real); });
    }
    const ComplexPoint a{{1, 0}, {0, 0}}, b{{2, 0}, {1, 0}};
    for (const IntegerPolynomial& p : {power(quadratic(0, 1), 2), power(linear(5), 2) * linear(3)}) {
        expect_failure<trel::AlgorithmFailedException>(
            "ComplexLine()", "GCD(real, imag) is not 1. Input polynomial is not square-free.",
            [&] { (void)ComplexLine(p, a, b); });
    }
    expect_failure<trel::InvalidParametersException>("SturmSequence::generate()", "Polynomial is zero.",
                                                     [] { (void)isolate_real_zeros({}); });
    // (x - 1)^2 has signs that no square-free polynomial has.
    expect_failure<trel::AlgorithmFailedException>("isolate_real_zeros()",
                                                   "Sturm sequence returned inconsistent # of sign-flips.",
                                                   [] { (void)isolate_real_zeros(power(linear(1), 2)); });
}

TEST(ComplexZerosTest, HighDegreeIsRemarkedOn) {
    for (const u64 degree : {31, 32}) {
        Remarks remarks;
        (void)isolate_zeros_square_free(monomial(degree) - IntegerPolynomial({2}), &remarks);
        ASSERT_EQ(remarks.size(), degree == 31 ? 0u : 1u);
        if (degree == 31) continue;
        EXPECT_EQ(remarks[0].text, "Unusual high order polynomial. May take time to process...");
        EXPECT_TRUE(remarks[0].raised);
    }
}

// The polynomial on a line that is not parallel to an axis, at three points.
TEST(ComplexLineTest, Restriction) {
    Random random(14);
    const IntegerPolynomial p = random.polynomial(7, 50);
    for (const ComplexPoint& to :
         {ComplexPoint{{7, 0}, {5, 0}}, ComplexPoint{{1, 0}, {9, 0}}, ComplexPoint{{9, 0}, {2, 0}}}) {
        const ComplexPoint from{{1, 0}, {2, 0}};
        const ComplexLine line(p, from, to);
        mpq_class factor = 0;
        for (int i = 0; i <= 2; i++) {
            const mpq_class t = gmp(line.start()) + (gmp(line.end()) - gmp(line.start())) * i / 2;
            const SimpleInt x = from.x.n + (to.x.n - from.x.n) * SimpleInt(i);
            const SimpleInt y = from.y.n + (to.y.n - from.y.n) * SimpleInt(i);
            // 2^7 p at half the sums
            const ComplexInt want = p.evaluate(ComplexInt{x + from.x.n, y + from.y.n}, 1);
            const mpq_class re = value(line.real(), t), im = value(line.imag(), t);
            ASSERT_EQ(mpq_class(re * mpq_class(gmp(want.im))), mpq_class(im * mpq_class(gmp(want.re))));
            const mpq_class ratio = re / mpq_class(gmp(want.re));
            ASSERT_GT(ratio, mpq_class(0));
            if (i > 0) {
                ASSERT_EQ(ratio, factor);
            }
            factor = ratio;
        }
    }
}

// Whatever the rounded sequence answers is what the exact one answers.
TEST(RoundedSturmTest, MatchesExactSequences) {
    Random random(15);
    u64 answered = 0, asked = 0;
    for (unsigned round = 0; round < 200 / kalvor_test::thinned(10); round++) {
        const u64 n = 1 + random.below(12);
        IntegerPolynomial f = random.polynomial(n, 60), g = random.polynomial(n - random.below(2), 60);
        if (round % 4 == 0) {
            const IntegerPolynomial common = random.polynomial(1 + random.below(2), 20);
            f = f * common;
            g = g * common;
        }
        const Dyadic a{random.small(300), 7}, b = a + Dyadic{1 + static_cast<i64>(random.below(300)), 6};
        const SturmSequence exact = SturmSequence::generate(f, g);
        const i64 want = static_cast<i64>(exact.sign_changes(a)) - static_cast<i64>(exact.sign_changes(b));
        for (const u64 bits : {20, 60, 150, 400, 1500}) {
            const std::optional<i64> got = rounded_cauchy_index(f, g, a, b, bits);
            asked++;
            if (!got) continue;
            answered++;
            ASSERT_EQ(*got, want) << round << " " << bits;
        }
    }
    // It does answer.
    EXPECT_GT(answered, asked / 4);
}

TEST(ZeroGuessesTest, NearKnownZeros) {
    const IntegerPolynomial p = linear(3) * linear(-1, 1000) * quadratic(2, 5) * monomial(1);
    const std::vector<ComplexPoint> guesses = guess_zeros(p);
    ASSERT_EQ(guesses.size(), 5u);
    for (const auto& [x, y] : {std::pair{3.0, 0.0}, {-0.001, 0.0}, {2.0, 5.0}, {2.0, -5.0}, {0.0, 0.0}}) {
        double nearest = 1;
        for (const ComplexPoint& z : guesses) {
            nearest = std::min(nearest, std::hypot(gmp(z.x).get_d() - x, gmp(z.y).get_d() - y));
        }
        EXPECT_LT(nearest, 1e-6);
    }
}

TEST(ZeroGuessesTest, SimpleFractions) {
    Random random(16);
    for (int round = 0; round < 500; round++) {
        const Dyadic a{simple(random.number(90)), random.below(100)};
        const Dyadic b = a + Dyadic{simple(1 + abs(random.number(60))), random.below(150)};
        const Dyadic x = simple_between(a, b);
        ASSERT_LT(a, x);
        ASSERT_LT(x, b);
        for (u64 attempt = 0; attempt < 20; attempt++) {
            const Dyadic m = simple_middle(a, b, attempt);
            ASSERT_LT(a, m);
            ASSERT_LT(m, b);
            ASSERT_NE(m + m, a + b);
        }
    }
    EXPECT_EQ(simple_between({5, 1}, {7, 1}), (Dyadic{3, 0}));
}

TEST(IsolatingValueTest, TenDigits) {
    const auto text = [](const IntegerPolynomial& p, u64 index = 0) {
        return isolating_value(isolate_real_zeros(p)[index]);
    };
    EXPECT_EQ(text(linear(5, 2)), "2.5");
    EXPECT_EQ(text(linear(10, 3)), "3.333333333");
    EXPECT_EQ(text(linear(20, 3)), "6.666666667");
    EXPECT_EQ(text(linear(7)), "7");
    EXPECT_EQ(text(linear(0)), "0");
    EXPECT_EQ(text(linear(-100)), "-100");
    EXPECT_EQ(text(linear(1, 3000)), "0.0003333333333");
    EXPECT_EQ(text(linear(mpz_class("123456789012345"))), "123456789000000");
    EXPECT_EQ(text(linear(mpz_class("99999999999"), 10)), "10000000000");
    EXPECT_EQ(text(linear(mpz_class("100000000005"), mpz_class("100000000000"))), "1");
    EXPECT_EQ(text(IntegerPolynomial({-2, 0, 1}), 1), "1.414213562");
    EXPECT_EQ(text(IntegerPolynomial({-2, 0, 1}), 0), "-1.414213562");
}

}  // namespace
