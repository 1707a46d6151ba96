#include "arith/bigfloat/big_float.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "arith/bigfloat/number.h"
#include "arith/kernels/kernel_fixture.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/scratch.h"

using namespace trel;
using reference::magnitude_at;
using reference::shifted;
using reference::to_mpz;
using reference::Words;

namespace {

constexpr Word kOnes = ~Word(0);
const ParallelContext& parallel = serial_context();

template <class F>
void expect_too_small(const char* function, u64 size, u64 required, F&& call) {
    try {
        call();
        FAIL() << function;
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, function);
        EXPECT_EQ(e.buffer_size, size);
        EXPECT_EQ(e.required_size, required);
    }
}

TEST(BigFloatTest, FieldsAndViews) {
    Number A({0, 2, 3}, -5, true);
    EXPECT_EQ(A->mag(), -2);
    EXPECT_EQ(A->word_at(-6), 0u);
    EXPECT_EQ(A->word_at(-4), 2u);
    EXPECT_EQ(A->word_at(-3), 3u);
    EXPECT_EQ(A->word_at(-2), 0u);
    const BigFloat top = A->top(2);
    EXPECT_EQ(top.L, 2u);
    EXPECT_EQ(top.exp, -4);
    EXPECT_EQ(top.T, A->T + 1);
    EXPECT_EQ(A->top(3).L, 3u);
    EXPECT_EQ(A->top(9).exp, -5);
    A->clear();
    EXPECT_EQ(A->L, 0u);
    EXPECT_EQ(A->exp, 0);
    EXPECT_FALSE(A->sign);
}

TEST(BigFloatTest, SetBigFloatCutsToTwoExtraWords) {
    Number A({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 20, false);
    Number T(5);
    T->set_BigFloat(3, parallel, A);
    EXPECT_EQ(T->L, 5u);
    EXPECT_EQ(T->exp, 25);
    EXPECT_FALSE(T->sign);
    EXPECT_EQ(Words(T->T, T->T + 5), (Words{6, 7, 8, 9, 10}));

    std::mt19937_64 rng(1);
    for (int repeat = 0; repeat < 1000; repeat++) {
        RandomNumber B(12, rng);
        const u64 p = rng() % 14;
        Number U(std::min(B->L, p + 2));
        U->set_BigFloat(p, parallel, B);
        const Cut cut = cut_to(B, p + 2);
        expect_value(U, cut.magnitude, cut.position, B->sign);
        EXPECT_EQ(U->L, std::min(B->L, p + 2));
    }
    Number zero(0);
    T->set_BigFloat(3, parallel, zero);
    EXPECT_EQ(T->L, 0u);
    EXPECT_EQ(T->exp, 0);
}

TEST(BigFloatTest, SetDoubleIsExact) {
    struct {
        double x;
        Word word;
        i64 exp;
    } const cases[] = {
        {1.0, 1, 7},
        {std::ldexp(1.0, 64), 1, 8},
        {0.5, Word(1) << 63, 6},
        {std::ldexp(1.0, -64), 1, 6},
        {std::ldexp(1.0, -1024), Word(1), 7 - 16},
        {3.0, 3, 7},
        {4503599627370496.0, Word(1) << 52, 7},
    };
    for (const auto& c : cases) {
        for (bool sign : {true, false}) {
            Number T(1);
            T->set_double(sign ? c.x : -c.x, 7);
            EXPECT_EQ(T->L, 1u);
            EXPECT_EQ(T->T[0], c.word);
            EXPECT_EQ(T->exp, c.exp);
            EXPECT_EQ(T->sign, sign);
        }
    }
    // A subnormal keeps its bare mantissa: 3 * 2^-1074 = 3 * 2^14 * 2^(64 * -17)
    Number S(1);
    S->set_double(3 * std::numeric_limits<double>::denorm_min(), 0);
    EXPECT_EQ(S->L, 1u);
    EXPECT_EQ(S->T[0], Word(3) << 14);
    EXPECT_EQ(S->exp, -17);

    std::mt19937_64 rng(2);
    for (int repeat = 0; repeat < 2000; repeat++) {
        const double x =
            std::ldexp(1 + static_cast<double>(rng() >> 12) * 0x1p-52, static_cast<int>(rng() % 2100) - 1070);
        if (!std::isfinite(x)) continue;
        const i64 e = i64(rng() % 21) - 10;
        Number T(2);
        T->set_double(x, e);
        ASSERT_GE(T->L, 1u);
        EXPECT_NE(T->T[T->L - 1], 0u);
        EXPECT_TRUE(T->L == 1 || T->T[0] != 0);
        int binary = 0;
        const mpz_class mantissa(std::ldexp(std::frexp(x, &binary), 53));
        // x * 2^(64 * 17) is an integer, subnormal or not
        const int shift = binary - 53 + 64 * 17;
        EXPECT_EQ(magnitude_at(T, e - 17),
                  shift >= 0 ? mpz_class(mantissa << shift) : mpz_class(mantissa >> -shift))
            << x;
    }
    Number T(2);
    T->set_double(0.0, 5);
    EXPECT_EQ(T->L, 0u);
    T->set_double(-0.0, 5);
    EXPECT_EQ(T->L, 0u);
    EXPECT_THROW(T->set_double(INFINITY, 0), InvalidParametersException);
    EXPECT_THROW(T->set_double(NAN, 0), InvalidParametersException);
}

// The frame of a sum: p + 1 words below the higher magnitude, no lower than the lower exponent.
struct Frame {
    Frame(u64 p, const BigFloat& A, const BigFloat& B)
        : bottom(std::max(std::max(A.mag(), B.mag()) - i64(p + 1), std::min(A.exp, B.exp))) {}
    i64 bottom;
};

TEST(BigFloatTest, SumsAndDifferencesFollowTheFrame) {
    std::mt19937_64 rng(3);
    int cancelled = 0, carried = 0;
    for (int repeat = 0; repeat < 20000; repeat++) {
        const u64 p = rng() % 14;
        RandomNumber A(12, rng), B(12, rng);
        if (rng() % 8 == 0 && A->L == B->L) std::copy_n(A->T, A->L, B->T);
        if (rng() % 8 == 0) B->exp = A->exp;
        B->seal(parallel);
        const Frame frame(p, A, B);
        const mpz_class a = magnitude_at(A, frame.bottom), b = magnitude_at(B, frame.bottom);
        Number T(p + 2);
        T->set_uadd(p, parallel, A, B);
        expect_value(T, a + b, frame.bottom, true);
        carried += T->L == p + 2;

        if (cmp_magnitude(A, B) >= 0) {
            T->set_usub(p, parallel, A, B);
            expect_value(T, a - b, frame.bottom, true);
            cancelled += T->L == 0;
        } else {
            Number U(p + 2);
            if (a < b) {
                try {
                    U->set_usub(p, parallel, A, B);
                    ADD_FAILURE();
                } catch (const UnsupportedNegativeException& e) {
                    EXPECT_EQ(e.function, "BigFloat::set_usub()");
                    EXPECT_EQ(e.message, "A negative value was encountered.");
                }
            }
        }

        const mpz_class signed_a = A->sign ? a : -a, signed_b = B->sign ? b : -b;
        Number S(p + 2), D(p + 2);
        S->set_add(p, parallel, A, B);
        expect_value(S, abs(signed_a + signed_b), frame.bottom, signed_a + signed_b > 0);
        D->set_sub(p, parallel, A, B);
        expect_value(D, abs(signed_a - signed_b), frame.bottom, signed_a - signed_b > 0);
    }
    EXPECT_GT(cancelled, 20);
    EXPECT_GT(carried, 20);
}

TEST(BigFloatTest, SumsWithZero) {
    Number A({1, 2, 3, 4}, -4, false), zero(0);
    Number T(4);
    const mpz_class top = to_mpz(Words{2, 3, 4});
    T->set_add(1, parallel, A, zero);
    expect_value(T, top, -3, false);
    T->set_add(1, parallel, zero, A);
    expect_value(T, top, -3, false);
    T->set_sub(1, parallel, A, zero);
    expect_value(T, top, -3, false);
    T->set_sub(1, parallel, zero, A);
    expect_value(T, top, -3, true);
    T->set_uadd(1, parallel, zero, A);
    expect_value(T, top, -3, true);
    T->set_usub(1, parallel, A, zero);
    expect_value(T, top, -3, true);
    EXPECT_THROW(T->set_usub(1, parallel, zero, A), UnsupportedNegativeException);
    for (auto operation :
         {&BigFloat::set_add, &BigFloat::set_sub, &BigFloat::set_uadd, &BigFloat::set_usub}) {
        T->L = 1;
        (T.value.*operation)(1, parallel, zero, zero);
        EXPECT_EQ(T->L, 0u);
    }
    // x - x
    Number B({1, 2, 3, 4}, -4, true);
    T->set_add(2, parallel, A, B);
    EXPECT_EQ(T->L, 0u);
    EXPECT_EQ(T->exp, 0);
}

TEST(BigFloatTest, CarryOutOfASumMakesATopWord) {
    Number A({kOnes, kOnes, kOnes, kOnes}, 0, true), B({1}, 0, true);
    Number T(5);
    T->set_uadd(3, parallel, A, B);
    EXPECT_EQ(T->L, 5u);  // p + 2
    EXPECT_EQ(T->T[4], 1u);
    EXPECT_EQ(T->T[0], 0u);
}

TEST(BigFloatTest, SetRsubWorksInItsWindow) {
    std::mt19937_64 rng(4);
    for (int repeat = 0; repeat < 5000; repeat++) {
        const u64 p = rng() % 10;
        const i64 m = i64(rng() % 21) - 10;
        RandomNumber A(10, rng), B(10, rng);
        const bool sign = rng() % 2;
        Number T(p + 1);
        T->set_rsub(p, parallel, A, B, m, sign);
        const i64 low = m - i64(p + 1);
        expect_value(T, reference::low_words(magnitude_at(A, low) - magnitude_at(B, low), p + 1), low, sign);
    }
    Number A({5, 7}, 0, false), T(3);
    T->set_rsub(2, parallel, A, A, 2, false);
    EXPECT_EQ(T->L, 0u);
    EXPECT_EQ(T->exp, 0);
    EXPECT_TRUE(T->sign);
}

TEST(BigFloatTest, AddIpAndPurturbUp) {
    std::mt19937_64 rng(5);
    for (int repeat = 0; repeat < 3000; repeat++) {
        const Words words = random_words(1 + rng() % 6, rng);
        const i64 exp = i64(rng() % 9) - 4;
        const bool sign = rng() % 2;
        const u64 index = rng() % (words.size() + 1);
        const Word w = rng() % 3 ? rng() : kOnes;
        Number T(words.size() + 1);
        std::copy(words.begin(), words.end(), T->T);
        T->L = words.size();
        T->exp = exp;
        T->sign = sign;
        T->seal(parallel);
        T->add_ip(w, exp + i64(index));
        expect_value(T, to_mpz(words) + shifted(reference::mpz_of(w), i64(index)), exp, sign);

        std::copy(words.begin(), words.end(), T->T);
        T->L = words.size();
        T->seal(parallel);
        T->purturb_up(index);
        const mpz_class one = index < words.size() ? 1 : 0;
        expect_value(T, to_mpz(words) + shifted(one, i64(index)), exp, sign);
    }
    Number T(4);
    T->L = 2;
    T->T[0] = T->T[1] = kOnes;
    T->add_ip(9, 2);
    EXPECT_EQ(Words(T->T, T->T + 3), (Words{kOnes, kOnes, 9}));
    EXPECT_EQ(T->L, 3u);
    T->add_ip(0, 0);
    EXPECT_EQ(T->L, 3u);
}

TEST(BigFloatDeathTest, FatalReports) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Number A({1, 2}, 3, true), zero(1);
    const auto add = [](BigFloat& T, i64 e) {
        print_to_stderr();
        T.add_ip(1, e);
    };
    const testing::ExitedWithCode fails(1);
    const char range[] =
        "FATAL ERROR: Assertion Failure\n\nBigFloat::add_ip\\(\\): Magnitude is out of range\\.\n";
    EXPECT_EXIT(add(A, 2), fails, range);
    EXPECT_EXIT(add(A, 6), fails, range);
    EXPECT_EXIT(add(zero, 0), fails, range);
    A->T[1] = 0;
    EXPECT_EXIT(
        (print_to_stderr(), A->check_normalization()), fails,
        "FATAL ERROR: Assertion Failure\n\nBigFloat::check_normalization\\(\\): Top word is zero\\.\n");
    zero->check_normalization();
    A->L = 1;
    A->check_normalization();
}

TEST(BigFloatTest, ProductsByAWord) {
    std::mt19937_64 rng(6);
    for (int repeat = 0; repeat < 3000; repeat++) {
        RandomNumber A(8, rng);
        const Word w = rng() % 4 ? rng() >> rng() % 64 : (rng() % 2 ? kOnes : rng() % 3);
        const mpz_class z = reference::mpz_of(w);
        const u64 p = rng() % 9;
        Number T(p + 2);
        T->set_mul_uW(p, parallel, A, w);
        const Cut cut = cut_to(A, p + 1);
        expect_value(T, cut.magnitude * z, cut.position, A->sign);

        Number U(A->L + 1);
        U->set_BigFloat(A->L, parallel, A);
        U->mul_uW(parallel, w);
        expect_value(U, to_mpz(A->T, A->L) * z, A->exp, A->sign);
    }
    Number T(3), zero(0);
    T->set_mul_uW(1, parallel, zero, 5);
    EXPECT_EQ(T->L, 0u);
    T->mul_uW(parallel, 5);
    EXPECT_EQ(T->L, 0u);
}

TEST(BigFloatTest, InPlaceOperationsCountFromTheBufferStart) {
    Number T(4);
    T->T = T->buffer + 2;
    T->L = 2;
    T->T[0] = T->T[1] = kOnes;
    expect_too_small("BigFloat::mul_uW()", 4, 5, [&] { T->mul_uW(parallel, 2); });
    expect_too_small("BigFloat::add_ip()", 4, 5, [&] { T->add_ip(1, 0); });
    expect_too_small("BigFloat::purturb_up()", 4, 5, [&] { T->purturb_up(0); });
    T->T = T->buffer + 1;
    T->T[0] = T->T[1] = kOnes;
    T->purturb_up(0);
    EXPECT_EQ(T->L, 3u);
    EXPECT_EQ(T->T, T->buffer + 1);
    EXPECT_EQ(Words(T->T, T->T + 3), (Words{0, 0, 1}));
}

TEST(BigFloatTest, SetDivSW) {
    std::mt19937_64 rng(7);
    for (int repeat = 0; repeat < 5000; repeat++) {
        RandomNumber A(9, rng);
        const u64 p = rng() % 12;
        i64 w = i64(rng() >> rng() % 64);
        if (rng() % 3 == 0) w = i64(Word(1) << rng() % 64);
        if (rng() % 8 == 0) w = std::numeric_limits<i64>::min() + i64(rng() % 2);
        if (rng() % 2) w = i64(Word(0) - Word(w));
        if (w == 0 || w == 1) continue;
        Number T(p + 2);
        T->set_div_sW(p, parallel, A, w);
        const mpz_class divisor = reference::mpz_of(w < 0 ? Word(0) - Word(w) : Word(w));
        const i64 low = A->mag() - i64(p + 2);
        const mpz_class dividend = magnitude_at(A, low);
        expect_value(T, dividend / divisor, low, A->sign == (w > 0));
        EXPECT_EQ(T->exp, low);
        EXPECT_GE(T->L, p + 1);
    }
}

TEST(BigFloatTest, SetDivSWSpecialDivisors) {
    Number A({4, 6}, 3, true), zero(0), T(5);
    T->set_div_sW(3, parallel, A, 1);  // a copy
    EXPECT_EQ(T->L, 2u);
    EXPECT_EQ(T->exp, 3);
    T->set_div_sW(3, parallel, A, -1);  // the division's form: p + 2 words
    EXPECT_EQ(T->L, 5u);
    EXPECT_EQ(T->exp, 0);
    EXPECT_FALSE(T->sign);
    EXPECT_EQ(Words(T->T, T->T + 5), (Words{0, 0, 0, 4, 6}));
    T->set_div_sW(3, parallel, zero, 7);
    EXPECT_EQ(T->L, 0u);
    try {
        T->set_div_sW(3, parallel, zero, 0);
        FAIL();
    } catch (const ArithmeticException& e) {
        EXPECT_EQ(e.function, "BigFloat::set_div_sW()");
        EXPECT_EQ(e.message, "Divide by zero.");
    }
}

TEST(BigFloatTest, BuffersThatAreTooSmall) {
    Number A({1, 2, 3}, 0, true), B({4, 5, 6}, 0, true);
    Scratch scratch(multiply_scratch_bytes(40));
    const MultiplyContext context{parallel, scratch.view()};
    Number T(2), one(1), none(0);
    expect_too_small("BigFloat::set_BigFloat()", 2, 3, [&] { T->set_BigFloat(5, parallel, A); });
    expect_too_small("BigFloat::set_BigFloat()", 2, 3, [&] { T->set_add(5, parallel, A, none); });
    expect_too_small("BigFloat::set_BigFloat()", 2, 3, [&] { T->set_sub(5, parallel, none, A); });
    expect_too_small("BigFloat::set_BigFloat()", 2, 3, [&] { T->set_div_sW(5, parallel, A, 1); });
    expect_too_small("BigFloat::set_double()", 0, 1, [&] { none->set_double(1.0, 0); });
    expect_too_small("BigFloat::mul_uW()", 1, 2, [&] { one->set_double(1.5, 0); });
    expect_too_small("BigFloat::set_uadd()", 2, 4, [&] { T->set_uadd(5, parallel, A, B); });
    expect_too_small("BigFloat::set_usub()", 2, 3, [&] { T->set_usub(5, parallel, B, A); });
    expect_too_small("BigFloat::set_uadd()", 2, 4, [&] { T->set_add(5, parallel, A, B); });
    expect_too_small("BigFloat::set_usub()", 2, 3, [&] { T->set_sub(5, parallel, A, B); });
    expect_too_small("BigFloat::set_rsub()", 2, 6, [&] { T->set_rsub(5, parallel, A, B, 3, true); });
    expect_too_small("BigFloat::set_mul_uW()", 2, 7, [&] { T->set_mul_uW(5, parallel, A, 3); });
    expect_too_small("BigFloat::set_uadd()", 2, 7, [&] { T->set_div_sW(5, parallel, A, 3); });
    expect_too_small("BigFloat::set_mul()", 2, 6, [&] { T->set_mul(5, context, A, B); });
    expect_too_small("BigFloat::set_mul()", 2, 3, [&] { T->set_mul(1, context, A, B); });
    expect_too_small("BigFloat::set_sqr()", 2, 6, [&] { T->set_sqr(5, context, A); });
    expect_too_small("BigFloat::set_mul_small()", 2, 6, [&] { T->set_mul_small(5, context, A, B); });
}

// |A| * |B| after the cuts, where the product's lowest kept word may be `low` units low.
void expect_product(const BigFloat& T, u64 p, const BigFloat& A, const BigFloat& B) {
    const Cut a = cut_to(A, p + 2), b = cut_to(B, p + 2);
    const mpz_class product = a.magnitude * b.magnitude;
    const u64 n = std::min(A.L, p + 2) + std::min(B.L, p + 2);
    const u64 dropped = n > p + 2 ? n - (p + 2) : 0;
    const i64 position = a.position + b.position + i64(dropped);
    const mpz_class exact = shifted(product, -i64(dropped));
    ASSERT_GT(T.L, 0u);
    EXPECT_NE(T.T[T.L - 1], 0u);
    EXPECT_EQ(T.exp, position);
    EXPECT_EQ(T.sign, A.sign == B.sign);
    const mpz_class low = exact - to_mpz(T.T, T.L);
    EXPECT_GE(low, 0);
    const u64 shorter = std::min(A.L, std::min(B.L, p + 2));
    EXPECT_LE(low, dropped <= shorter ? 0 : 2) << "p=" << p << " LA=" << A.L << " LB=" << B.L;
}

TEST(BigFloatTest, Products) {
    std::mt19937_64 rng(8);
    for (int repeat = 0; repeat < 6000; repeat++) {
        const u64 longest = rng() % 8 ? 14 : 39;
        const u64 p = rng() % (longest + 3);
        Number A(random_words(1 + rng() % longest, rng), i64(rng() % 17) - 8, rng() % 2);
        Number B(random_words(1 + rng() % longest, rng), i64(rng() % 17) - 8, rng() % 2);
        Scratch scratch(multiply_scratch_bytes(80));
        const MultiplyContext context{parallel, scratch.view()};
        const u64 capacity = p + 2;
        Number T(capacity);
        T->set_mul(p, context, A, B);
        expect_product(T, p, A, B);
        EXPECT_EQ(T->set_mul_small(p, context, A, B), 0);
        expect_product(T, p, A, B);
        T->set_sqr(p, context, A);
        expect_product(T, p, A, A);
        EXPECT_TRUE(T->sign);
        T->set_mul(p, context, A, A);
        expect_product(T, p, A, A);
    }
}

TEST(BigFloatTest, ProductsOfEveryAlgorithm) {
    const u64 limit = std::min<u64>(3000, basic_table64().items().back().threshold_words / 2);
    std::mt19937_64 rng(9);
    for (u64 longest = 20; longest <= limit; longest += longest / 3) {
        Scratch scratch(multiply_scratch_bytes(2 * longest + 4));
        for (int repeat = 0; repeat < 6; repeat++) {
            const MultiplyContext context{parallel.with_tds(rng() % 2 ? 1 : 7), scratch.view()};
            const u64 p = rng() % (2 * longest);
            Number A(random_words(longest, rng), 5, true);
            Number B(random_words(1 + rng() % longest, rng), -3, false);
            Number T(p + 2);
            T->set_mul(p, context, A, B);
            expect_product(T, p, A, B);
            T->set_mul_small(p, context, A, B);
            expect_product(T, p, A, B);
            T->set_sqr(p, context, B);
            expect_product(T, p, B, B);
        }
    }
}

TEST(BigFloatTest, OneWordProducts) {
    const MultiplyContext context{parallel, {}};  // no memory: the product is one instruction
    Number A({3}, 2, false), B({5}, -7, true), T(2);
    T->set_mul(0, context, A, B);
    EXPECT_EQ(T->L, 1u);
    EXPECT_EQ(T->T[0], 15u);
    EXPECT_EQ(T->exp, -5);
    EXPECT_FALSE(T->sign);
    Number C({kOnes}, 0, true);
    T->set_sqr(0, context, C);
    EXPECT_EQ(T->L, 2u);
    EXPECT_EQ(T->T[0], 1u);
    EXPECT_EQ(T->T[1], kOnes - 1);
    T->set_sqr(0, context, B);
    EXPECT_EQ(T->L, 1u);
    EXPECT_EQ(T->T[0], 25u);
    Number zero(0);
    T->set_mul(0, context, A, zero);
    EXPECT_EQ(T->L, 0u);
    T->set_sqr(0, context, zero);
    EXPECT_EQ(T->L, 0u);
    EXPECT_EQ(T->set_mul_small(0, context, zero, A), 0);
    EXPECT_EQ(T->L, 0u);
}

// Products that are not truncated and have an operand below 10 words never ask for memory.
TEST(BigFloatTest, ShortProductsUseNoScratch) {
    const MultiplyContext context{parallel, {}};
    std::mt19937_64 rng(10);
    Number A(random_words(9, rng), 0, true), B(random_words(500, rng), 0, true), T(509);
    T->set_mul(507, context, A, B);
    expect_product(T, 507, A, B);
    T->set_mul(507, context, B, A);
    expect_product(T, 507, A, B);
    T->set_sqr(16, context, A);
    expect_product(T, 16, A, A);
    // One word less of precision: truncated, so the dispatcher's.
    EXPECT_THROW(T->set_sqr(15, context, A), BufferTooSmallException);
}

TEST(BigFloatTest, ComparesMagnitudes) {
    std::mt19937_64 rng(11);
    for (int repeat = 0; repeat < 3000; repeat++) {
        RandomNumber A(5, rng), B(5, rng);
        if (rng() % 4 == 0) B->exp = A->mag() - i64(B->L);
        const int want = cmp(magnitude_at(A, -20), magnitude_at(B, -20));
        EXPECT_EQ(cmp_magnitude(A, B), (want > 0) - (want < 0));
    }
    Number A({1}, -5, false), zero(0);
    EXPECT_EQ(cmp_magnitude(A, zero), 1);
    EXPECT_EQ(cmp_magnitude(zero, A), -1);
    EXPECT_EQ(cmp_magnitude(zero, zero), 0);
}

TEST(BigFloatTest, TopAsDouble) {
    std::mt19937_64 rng(12);
    for (int repeat = 0; repeat < 3000; repeat++) {
        RandomNumber A(4, rng);
        if (rng() % 4 == 0) A->T[A->L - 1] = 1;
        const ScaledDouble top = top_as_double(A);
        EXPECT_GE(top.d, 1.0);
        EXPECT_LT(top.d, 0x1p64);
        EXPECT_EQ(top.e, A->mag() - 1);
        // d * 2^128 against |A| / 2^(64 e) * 2^128
        mpz_class d;
        mpz_set_d(d.get_mpz_t(), std::ldexp(top.d, 128));
        const mpz_class exact = magnitude_at(A, top.e - 2);
        EXPECT_LE(d, exact);
        EXPECT_LE(mpz_class((exact - d) << 52), exact);
    }
    Number one({1}, 5, false);
    EXPECT_EQ(top_as_double(one).d, 1.0);
    EXPECT_EQ(top_as_double(one).e, 5);
    Number ones({kOnes, kOnes, kOnes}, 0, true);
    EXPECT_EQ(top_as_double(ones).d, 0x1p64 - 2048);
}

TEST(BigFloatTest, DumpShowsTheTopTenWords) {
    Words words(12, 0xab);
    words[11] = 0xfedcba9876543210;
    words[1] = 0x999;
    Number A(words, -3, true);
    using Lines = std::vector<std::string>;
    Lines want{"sign: 1", "mag: 9", "exp: -3", "L: 12", "buffer_size: 12", "fedcba9876543210"};
    for (int i = 0; i < 9; i++) want.push_back("00000000000000ab");
    EXPECT_EQ(A->dump(), want);
    Number B({1}, 0, false);
    EXPECT_EQ(B->dump(),
              (Lines{"sign: 0", "mag: 1", "exp: 0", "L: 1", "buffer_size: 1", "0000000000000001"}));
}

// Long numbers are split over tasks: carries cross the blocks.
TEST(BigFloatTest, LongOperationsOnTasks) {
    std::mt19937_64 rng(13);
    ThreadFramework threads;
    const u64 n = 70000;
    for (u64 tds : {1, 2, 7}) {
        const ParallelContext tasks{&threads, tds};
        for (int shape = 0; shape < 3; shape++) {
            Words a(n, kOnes), b(n, shape == 0 ? 0 : kOnes);
            if (shape == 0) b[0] = b[n - 1] = 1;
            if (shape == 2) {
                for (Word& w : a) w = rng();
                for (Word& w : b) w = rng();
            }
            Number A(a, 0, true), B(b, -13, true), T(n + 20);
            const mpz_class x = shifted(to_mpz(a), 13), y = to_mpz(b);
            T->set_add(n + 18, tasks, A, B);
            expect_value(T, x + y, -13, true);
            T->set_sub(n + 18, tasks, B, A);
            expect_value(T, x - y, -13, false);
            T->set_mul_uW(n + 18, tasks, A, 0xfedcba9876543211);
            expect_value(T, x * reference::mpz_of(0xfedcba9876543211ul), -13, true);
            T->set_div_sW(n + 18, tasks, A, -1000000007);
            expect_value(T, shifted(to_mpz(a), 20) / 1000000007, -20, false);
            T->set_div_sW(n, tasks, A, 1 << 20);
            expect_value(T, shifted(to_mpz(a), 2) >> 20, -2, true);
            T->set_div_sW(n - 10, tasks, A, 1 << 20);
            expect_value(T, shifted(to_mpz(a), -8) >> 20, 8, true);
            T->set_BigFloat(n - 100, tasks, A);
            expect_value(T, shifted(to_mpz(a), -98), 98, true);
        }
    }
}

// A number that has lost its words, or of which a difference is zero though its residues differ.
TEST(BigFloatTest, NumbersThatVanishAreNoticed) {
    Scratch memory(1 << 16);
    const MultiplyContext context{parallel, memory.view(), nullptr};
    Number A({5, 6, 7}, 2, true), B({1, 2, 3, 4}, 1, true), T(20);
    A->seal(parallel);
    B->seal(parallel);
    BigFloat gone = A.value;
    gone.L = 0;
    EXPECT_THROW(T->set_BigFloat(9, parallel, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_add(9, parallel, gone, B), AlgorithmFailedException);
    EXPECT_THROW(T->set_add(9, parallel, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_sub(9, parallel, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_mul(9, context, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_mul(9, context, gone, B), AlgorithmFailedException);
    EXPECT_THROW(T->set_sqr(9, context, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_uadd(9, parallel, gone, B), AlgorithmFailedException);
    EXPECT_THROW(T->set_uadd(9, parallel, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_usub(9, parallel, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_usub(9, parallel, gone, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_mul_small(9, context, B, gone), AlgorithmFailedException);
    EXPECT_THROW(T->set_mul_small(9, context, gone, B), AlgorithmFailedException);
    EXPECT_THROW(T->set_mul_uW(9, parallel, gone, 3), AlgorithmFailedException);
    EXPECT_THROW(T->set_div_sW(9, parallel, gone, 3), AlgorithmFailedException);
    BigFloat in_place = gone;
    EXPECT_THROW(in_place.mul_uW(parallel, 3), AlgorithmFailedException);

    Number C({5, 6, 7}, 2, true);
    C->seal(parallel);
    T->set_sub(9, parallel, A, C);
    EXPECT_EQ(T->L, 0u);
    C->residue ^= 16;
    EXPECT_THROW(T->set_sub(9, parallel, A, C), AlgorithmFailedException);
    // Zero is zero, and a residue that is not known says nothing.
    gone.residue = 0;
    T->set_mul(9, context, gone, B);
    EXPECT_EQ(T->L, 0u);
    gone.residue = goldilocks::kNone;
    T->set_add(9, parallel, gone, B);
    EXPECT_EQ(T->L, 4u);
}

}  // namespace
