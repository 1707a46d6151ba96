#include "constants/polynomials/simple_int.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "reference/gmp_polynomial.h"

using namespace reference;
using namespace kalvor;
using namespace kalvor::Polynomials;

namespace {

TEST(SimpleIntTest, ArithmeticMatchesGmp) {
    Random random(1);
    for (int round = 0; round < 3000; round++) {
        const u64 bits = round % 3 == 0 ? 20 : 700;
        const mpz_class a = random.number(bits), b = random.number(round % 2 == 0 ? bits : 150);
        const SimpleInt x = simple(a), y = simple(b);
        ASSERT_EQ(gmp(x), a);
        ASSERT_EQ(gmp(x + y), mpz_class(a + b));
        ASSERT_EQ(gmp(x - y), mpz_class(a - b));
        ASSERT_EQ(gmp(x * y), mpz_class(a * b));
        ASSERT_EQ(gmp(-x), mpz_class(-a));
        ASSERT_EQ(x < y, a < b);
        ASSERT_EQ(x == y, a == b);
        ASSERT_EQ(x.sign(), sgn(a));
        ASSERT_EQ(x.bit_length(), a == 0 ? 0 : mpz_sizeinbase(a.get_mpz_t(), 2));
        ASSERT_EQ(x.trailing_zeros(), a == 0 ? 0 : mpz_scan1(a.get_mpz_t(), 0));
        ASSERT_EQ(x.to_string(), a.get_str());
        const u64 shift = random.below(200);
        mpz_class shifted;
        mpz_mul_2exp(shifted.get_mpz_t(), a.get_mpz_t(), shift);
        ASSERT_EQ(gmp(x << shift), shifted);
        mpz_tdiv_q_2exp(shifted.get_mpz_t(), a.get_mpz_t(), shift);
        ASSERT_EQ(gmp(x >> shift), shifted);
        mpz_class q, r, g;
        mpz_gcd(g.get_mpz_t(), a.get_mpz_t(), b.get_mpz_t());
        ASSERT_EQ(gmp(SimpleInt::gcd(x, y)), g);
        if (b == 0) continue;
        mpz_tdiv_qr(q.get_mpz_t(), r.get_mpz_t(), a.get_mpz_t(), b.get_mpz_t());
        const SimpleInt::Division division = SimpleInt::divmod(x, y);
        ASSERT_EQ(gmp(division.quotient), q);
        ASSERT_EQ(gmp(division.remainder), r);
        const u64 m = 1 + random.below(~u64(0) - 1);
        ASSERT_EQ(mpz_of(x.magnitude_modulo(m)), mpz_class(abs(a) % mpz_of(m)));
    }
}

// Quotient words that are guessed one or two too large.
TEST(SimpleIntTest, DivisionsThatGuessWrong) {
    const mpz_class B = mpz_class(1) << 64;
    for (const mpz_class& b : {mpz_class(B * B / 2), mpz_class(B * B / 2 + 1), mpz_class(B * B - 1),
                               mpz_class(B * (B - 1)), mpz_class(B * B / 2 + B - 1)}) {
        for (const mpz_class& q : {mpz_class(1), mpz_class(B - 1), mpz_class(B), mpz_class(B * B - 1)}) {
            for (const mpz_class& r : {mpz_class(0), mpz_class(1), mpz_class(b - 1)}) {
                const mpz_class a = b * q + r;
                const SimpleInt::Division division = SimpleInt::divmod(simple(a), simple(b));
                ASSERT_EQ(gmp(division.quotient), q);
                ASSERT_EQ(gmp(division.remainder), r);
            }
        }
    }
}

TEST(SimpleIntTest, EdgesAndFailures) {
    EXPECT_EQ(SimpleInt(std::numeric_limits<i64>::min()).to_string(), "-9223372036854775808");
    EXPECT_EQ(SimpleInt::from_u64(~u64(0)).to_string(), "18446744073709551615");
    EXPECT_EQ(SimpleInt::power_of_2(64).to_string(), "18446744073709551616");
    EXPECT_TRUE(SimpleInt::from_words(true, {0, 0}).is_zero());
    EXPECT_EQ(SimpleInt::from_words(true, {0, 0}), SimpleInt());
    SimpleInt n(5);
    n += n;
    EXPECT_EQ(n, SimpleInt(10));
    n -= n;
    EXPECT_EQ(n, SimpleInt(0));
    expect_failure<trel::InvalidParametersException>("SimpleInt::divmod()", "Divide by zero.",
                                                     [] { (void)SimpleInt::divmod(5, 0); });
}

TEST(SimpleIntTest, DoubleDouble) {
    Random random(2);
    for (int round = 0; round < 500; round++) {
        const mpz_class a = random.number(900);
        if (a == 0) continue;
        const ScaledDoubleDouble x = simple(a).to_double_double();
        // |error| < 2^-104 of the number
        mpq_class got = mpq_class(x.mantissa.high) + mpq_class(x.mantissa.low);
        mpq_mul_2exp(got.get_mpq_t(), got.get_mpq_t(), static_cast<u64>(x.exponent));
        mpq_class error = abs(mpq_class(got - mpq_class(a))) / abs(mpq_class(a));
        mpq_mul_2exp(error.get_mpq_t(), error.get_mpq_t(), 104);
        ASSERT_LT(error, mpq_class(1)) << a.get_str();
        ASSERT_GE(std::fabs(x.mantissa.high), 0.5);
        ASSERT_LE(std::fabs(x.mantissa.high), 1);
    }
    EXPECT_EQ(SimpleInt(0).to_double_double().value().high, 0);
    EXPECT_EQ(SimpleInt(-3).to_double_double().value().high, -3);
    EXPECT_TRUE(std::isinf(SimpleInt::power_of_2(5000).to_double_double().value().high));
}

TEST(DyadicTest, ValuesNotForms) {
    EXPECT_EQ((Dyadic{4, 2}), (Dyadic{1, 0}));
    EXPECT_EQ((Dyadic{12, 3}).reduced().k, 1u);
    EXPECT_EQ((Dyadic{0, 9}).reduced().k, 0u);
    EXPECT_LT((Dyadic{-3, 1}), (Dyadic{-5, 2}));
    EXPECT_EQ((Dyadic{-3, 1}).floor(), SimpleInt(-2));
    EXPECT_EQ((Dyadic{-4, 1}).floor(), SimpleInt(-2));
    EXPECT_EQ((Dyadic{7, 1}).floor(), SimpleInt(3));
    Random random(3);
    for (int round = 0; round < 500; round++) {
        const Dyadic a{simple(random.number(100)), random.below(120)};
        const Dyadic b{simple(random.number(100)), random.below(120)};
        ASSERT_EQ(gmp(a + b), mpq_class(gmp(a) + gmp(b)));
        ASSERT_EQ(gmp(a - b), mpq_class(gmp(a) - gmp(b)));
        ASSERT_EQ(gmp(a.half()), mpq_class(gmp(a) / 2));
        ASSERT_EQ(a < b, gmp(a) < gmp(b));
    }
}

}  // namespace
