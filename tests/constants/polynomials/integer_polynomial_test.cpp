#include "constants/polynomials/integer_polynomial.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "constants/polynomials/binomials.h"
#include "constants/polynomials/sturm_sequence.h"
#include "reference/gmp_polynomial.h"

using namespace reference;
using namespace kalvor;
using namespace kalvor::Polynomials;

namespace {

// Two polynomials of degree n at most are equal when they agree at n + 1 points.
TEST(IntegerPolynomialTest, ArithmeticAtPoints) {
    Random random(5);
    for (int round = 0; round < 60; round++) {
        const IntegerPolynomial a = random.polynomial(random.below(9), 90);
        const IntegerPolynomial b = random.polynomial(random.below(9), 90);
        const auto [quotient, remainder] = IntegerPolynomial::divmod(a, b);
        ASSERT_LT(remainder.degree(), std::max<i64>(b.degree(), 0));
        for (int x = -9; x <= 9; x++) {
            const mpq_class va = value(a, x), vb = value(b, x);
            ASSERT_EQ(value(a + b, x), mpq_class(va + vb));
            ASSERT_EQ(value(a - b, x), mpq_class(va - vb));
            ASSERT_EQ(value(a * b, x), mpq_class(va * vb));
            ASSERT_EQ(value(-a, x), mpq_class(-va));
            ASSERT_EQ(mpq_class(value(quotient, x) * vb + value(remainder, x)), va) << round;
            // With scales: quotients are such polynomials.
            ASSERT_EQ(value(quotient + remainder, x), mpq_class(value(quotient, x) + value(remainder, x)));
            ASSERT_EQ(value(quotient * b + remainder - a, x), mpq_class(0));
            ASSERT_EQ(mpq_class(gmp(a.evaluate(SimpleInt(x)))), va);
        }
        ASSERT_EQ(quotient * b + remainder, a);
        ASSERT_EQ(IntegerPolynomial::exact_divide(a * b, b), a);
    }
}

TEST(IntegerPolynomialTest, DivisorWithAScale) {
    // (x^2 - 1) / ((x - 1) / 3) = 3x + 3
    const auto [quotient, remainder] = IntegerPolynomial::divmod(
        IntegerPolynomial({-1, 0, 1}), IntegerPolynomial(std::vector<SimpleInt>{-1, 1}, 3));
    EXPECT_EQ(quotient, IntegerPolynomial({3, 3}));
    EXPECT_TRUE(remainder.is_zero());
}

TEST(IntegerPolynomialTest, Evaluation) {
    Random random(6);
    for (int round = 0; round < 100; round++) {
        const u64 degree = random.below(12);
        const IntegerPolynomial p = random.polynomial(degree, 70);
        const Dyadic x{simple(random.number(80)), random.below(90)};
        mpq_class want = value(p, gmp(x));
        mpq_mul_2exp(want.get_mpq_t(), want.get_mpq_t(), x.k * static_cast<u64>(p.degree()));
        ASSERT_EQ(mpq_class(gmp(p.evaluate(x))), want);
        // (re + im i)^j by repeated products
        const mpz_class re = random.number(60), im = random.number(60);
        mpz_class power_re = 1, power_im = 0, sum_re = 0, sum_im = 0;
        for (const SimpleInt& c : p.coefficients()) {
            sum_re += gmp(c) * power_re;
            sum_im += gmp(c) * power_im;
            const mpz_class next = power_re * re - power_im * im;
            power_im = power_re * im + power_im * re;
            power_re = next;
        }
        const ComplexInt got = p.evaluate(ComplexInt{simple(re), simple(im)});
        ASSERT_EQ(gmp(got.re), sum_re);
        ASSERT_EQ(gmp(got.im), sum_im);
    }
}

TEST(IntegerPolynomialTest, GreatestCommonDivisors) {
    Random random(7);
    for (int round = 0; round < 40; round++) {
        const IntegerPolynomial a = random.polynomial(1 + random.below(5), 60);
        const IntegerPolynomial b = random.polynomial(1 + random.below(5), 60);
        const IntegerPolynomial g = random.polynomial(1 + random.below(4), 60);
        // Random polynomials have none.
        ASSERT_EQ(IntegerPolynomial::gcd(a, b), IntegerPolynomial({1}));
        IntegerPolynomial want = g.primitive();
        if (want.leading().sign() < 0) want = -want;
        ASSERT_EQ(IntegerPolynomial::gcd(a * g, b * g), want);
        ASSERT_TRUE(g.is_square_free());
        ASSERT_FALSE((a * g * g).is_square_free());
    }
    // Both divisible by x + 1 modulo the prime of the quick proof only.
    const SimpleInt prime = SimpleInt::power_of_2(61) - 1;
    const IntegerPolynomial p({1, 1}), q(std::vector<SimpleInt>{SimpleInt(1) + prime, 1});
    EXPECT_EQ(IntegerPolynomial::gcd(p, q), IntegerPolynomial({1}));
    // Leading coefficients that vanish modulo the prime.
    const IntegerPolynomial big(std::vector<SimpleInt>{1, prime});
    EXPECT_EQ(IntegerPolynomial::gcd(big, big * p), big);
    EXPECT_TRUE(IntegerPolynomial::gcd({}, {}).is_zero());
}

TEST(IntegerPolynomialTest, SquareFreeFactors) {
    const IntegerPolynomial a({1, 1}), b({3, 0, 1}), c({-2, 5});
    const IntegerPolynomial p = power(a, 3) * b * power(c, 3) * power(IntegerPolynomial({1, 1, 1}), 5);
    const std::vector<PolynomialPower> factors = square_free_factors(p * IntegerPolynomial({-12}));
    ASSERT_EQ(factors.size(), 3u);
    EXPECT_EQ(factors[0].multiplicity, 1u);
    EXPECT_EQ(factors[0].factor, b);
    EXPECT_EQ(factors[1].multiplicity, 3u);
    EXPECT_EQ(factors[1].factor, a * c);
    EXPECT_EQ(factors[2].multiplicity, 5u);
    EXPECT_EQ(factors[2].factor, IntegerPolynomial({1, 1, 1}));
    EXPECT_TRUE(square_free_factors(IntegerPolynomial({7})).empty());
}

TEST(IntegerPolynomialTest, ZeroBound) {
    Random random(8);
    for (int round = 0; round < 60; round++) {
        // Known zeros a / b.
        IntegerPolynomial p({1});
        mpq_class largest = 0;
        for (u64 i = 0; i < 1 + random.below(6); i++) {
            const mpz_class a = random.number(30), b = 1 + abs(random.number(30));
            p = p * IntegerPolynomial(std::vector<SimpleInt>{simple(-a), simple(b)});
            largest = std::max(largest, mpq_class(abs(mpq_class(a, 1)) / b));
        }
        mpq_class bound = 1;
        const i64 e = p.zero_bound();
        e >= 0 ? mpq_mul_2exp(bound.get_mpq_t(), bound.get_mpq_t(), static_cast<u64>(e))
               : mpq_div_2exp(bound.get_mpq_t(), bound.get_mpq_t(), static_cast<u64>(-e));
        ASSERT_GT(bound, largest);
    }
    EXPECT_EQ(IntegerPolynomial({0, 0, 5}).zero_bound(), 0);
}

TEST(IntegerPolynomialTest, Failures) {
    const IntegerPolynomial p({1, 2, 3}), scaled(std::vector<SimpleInt>{1, 1}, 2);
    expect_failure<trel::InvalidParametersException>("IntegerPolynomial::divmod()", "Divide by zero.",
                                                     [&] { (void)IntegerPolynomial::divmod(p, {}); });
    const char* exact = "IntegerPolynomial::exact_divide()";
    for (const auto& [a, b] : {std::pair{p, scaled}, {scaled, p}}) {
        expect_failure<trel::AlgorithmFailedException>(
            exact, "Scale is not 1.", [&, a = a, b = b] { (void)IntegerPolynomial::exact_divide(a, b); });
    }
    // A remainder; and a quotient that is not integral.
    for (const auto& [a, b] :
         {std::pair{p, IntegerPolynomial({1, 1})}, {IntegerPolynomial({1, 1}), IntegerPolynomial({2, 2})}}) {
        expect_failure<trel::AlgorithmFailedException>(
            exact, "Exact division yielded non-zero modulus.",
            [&, a = a, b = b] { (void)IntegerPolynomial::exact_divide(a, b); });
    }
    expect_failure<trel::InvalidParametersException>("SturmSequence::generate()", "Polynomial is zero.",
                                                     [] { (void)SturmSequence::generate({}); });
}

TEST(SturmSequenceTest, CountsKnownZeros) {
    // (2x - 1) (x - 3)^2 (x + 7) (x^2 + x + 1), each zero once
    const IntegerPolynomial p = IntegerPolynomial({-1, 2}) * power(IntegerPolynomial({-3, 1}), 2) *
                                IntegerPolynomial({7, 1}) * IntegerPolynomial({1, 1, 1});
    const SturmSequence sequence = SturmSequence::generate(p);
    EXPECT_EQ(sequence.zeros({-100, 0}, {100, 0}), 3u);
    EXPECT_EQ(sequence.zeros({0, 0}, {1, 0}), 1u);
    EXPECT_EQ(sequence.zeros({1, 0}, {100, 0}), 1u);
    EXPECT_EQ(sequence.zeros({1, 0}, {2, 0}), 0u);
    // (a, b]: a simple zero at an end belongs to the right end.
    EXPECT_EQ(sequence.zeros({0, 0}, {1, 1}), 1u);
    EXPECT_EQ(sequence.zeros({1, 1}, {2, 0}), 0u);
    // The last is the common divisor with the derivative.
    EXPECT_EQ(sequence.last().degree(), 1);
    expect_failure<trel::AlgorithmFailedException>(
        "SturmSequence::zeros()", "Sturm sequence returned inconsistent # of sign-flips.", [&] {
            (void)sequence.zeros({100, 0}, {-100, 0});
        });
}

TEST(BinomialsTest, MatchGmp) {
    for (u64 n = 0; n <= 62; n++) {
        for (u64 k = 0; k <= n + 1; k++) {
            mpz_class want;
            mpz_bin_uiui(want.get_mpz_t(), n, k);
            ASSERT_EQ(mpz_class(std::to_string(binomial_coefficient_u64(n, k))), want) << n << " " << k;
        }
    }
    EXPECT_EQ(binomial_coefficient_u64(62, 31), 465428353255261088u);
    for (const u64 k : {0, 1, 31, 63, 64}) {
        expect_failure<trel::InvalidParametersException>("binomial_coefficient_u64()",
                                                         "Cannot go beyond degree 62.",
                                                         [k] { (void)binomial_coefficient_u64(63, k); });
    }
}

}  // namespace
