#include "arith/exact/exact_float.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/number.h"
#include "support/scratch.h"

using namespace trel;
using reference::to_mpz;

namespace {

// Exponents in the tests stay above this.
constexpr i64 kLow = -200;

// The signed value times 2^(-64 kLow).
mpz_class value(const ExactFloat& A) {
    const mpz_class z = reference::shifted(to_mpz(A.T, A.L), A.exp - kLow);
    return A.sign ? z : mpz_class(-z);
}
mpz_class scaled(const mpz_class& z) {
    return reference::shifted(z, -kLow);
}

void expect_sound(const ExactFloat& A) {
    ASSERT_GE(A.T, A.buffer);
    ASSERT_LE(A.T + A.L, A.buffer + A.buffer_size);
    if (A.L != 0) {
        ASSERT_NE(A.T[A.L - 1], 0u);
    }
    ASSERT_EQ(A.residue, A.computed_residue()) << A.L << " " << A.exp;
}

using Number = kalvor_test::NumberOf<ExactFloat>;

// A number of n words with room below and above them; adversarial in half of the cases.
struct RandomNumber : Number {
    RandomNumber(std::mt19937_64& rng, u64 n, i64 exp, u64 below, u64 above)
        : Number(n + below + above), below(below) {
        value.T = words.data() + below;
        value.L = n;
        value.exp = exp;
        value.sign = rng() % 2;
        const int kind = rng() % 4;
        for (u64 i = 0; i < n; i++) {
            value.T[i] = kind == 0 ? ~Word(0) : kind == 1 ? 0 : kind == 2 ? Word(1) << (rng() % 64) : rng();
        }
        if (n != 0 && value.T[n - 1] == 0) value.T[n - 1] = 1 + rng() % 3;
        value.residue = value.computed_residue();
    }
    u64 below;
};

struct Memory {
    explicit Memory(u64 words)
        : scratch(round_up_64(multiply_scratch_bytes(words)) + 64),
          context{serial_context(), scratch.view(), nullptr} {}
    Scratch scratch;
    MultiplyContext context;
};

TEST(ExactFloatTest, SetAndShift) {
    std::mt19937_64 rng(2);
    Word words[3] = {1, ~Word(0), 5};
    BasicIntR integer(words, 3);
    integer.L = 3;
    integer.residue = goldilocks::of_words(words, 3);
    for (const bool sign : {true, false}) {
        Number A(3);
        A.value.set_BasicInt(integer, sign, serial_context());
        expect_sound(A.value);
        EXPECT_EQ(value(A.value), scaled(sign ? to_mpz(words, 3) : mpz_class(-to_mpz(words, 3))));
        Number B(3);
        B.value.set_ExactFloat(A.value, serial_context());
        EXPECT_EQ(value(B.value), value(A.value));
        expect_sound(B.value);
    }
    for (int round = 0; round < 400; round++) {
        const u64 n = 1 + rng() % 12;
        RandomNumber A(rng, n, static_cast<i64>(rng() % 20) - 10, rng() % 3, 1);
        const i64 k = static_cast<i64>(rng() % 400) - 200;
        const mpz_class before = value(A.value);
        A.value.mp2(k, serial_context());
        const mpz_class want = k >= 0 ? mpz_class(before << k) : mpz_class(before >> -k);
        ASSERT_EQ(value(A.value), want) << k;
        expect_sound(A.value);
    }
    Number zero(1);
    zero.value.mp2(77, serial_context());
    EXPECT_EQ(zero.value.L, 0u);
}

TEST(ExactFloatTest, ShiftsByOneWordAndOneBit) {
    Number A(2);
    A.value.L = 1;
    A.value.T[0] = 3;
    A.value.residue = 3;
    A.value.mp2(-64, serial_context());
    EXPECT_EQ(A.value.exp, -1);
    EXPECT_EQ(A.value.T[0], 3u);
    EXPECT_EQ(A.value.residue, goldilocks::mul(3, goldilocks::inverse(goldilocks::kEpsilon)));
    A.value.mp2(64, serial_context());
    A.value.mp2(1, serial_context());
    EXPECT_EQ(A.value.exp, 0);
    EXPECT_EQ(A.value.T[0], 6u);
    EXPECT_EQ(A.value.residue, 6);
}

TEST(ExactFloatTest, SumsOfOneSign) {
    std::mt19937_64 rng(3);
    for (int round = 0; round < 500; round++) {
        RandomNumber A(rng, rng() % 9, static_cast<i64>(rng() % 20) - 10, 0, 0);
        RandomNumber B(rng, rng() % 9, static_cast<i64>(rng() % 20) - 10, 0, 0);
        if (A.value.sign != B.value.sign) {
            B.value.sign = A.value.sign;
            B.value.residue = goldilocks::neg(B.value.residue);
        }
        Number T(60);
        T.value.set_add(A.value, B.value, serial_context());
        ASSERT_EQ(value(T.value), mpz_class(value(A.value) + value(B.value))) << round;
        expect_sound(T.value);
    }
}

TEST(ExactFloatTest, SumAcrossAGapHasZeroWords) {
    Number A(1), B(1), T(8);
    A.value.T[0] = B.value.T[0] = 9;
    A.value.L = B.value.L = 1;
    A.value.sign = B.value.sign = false;
    B.value.exp = 6;
    A.value.residue = A.value.computed_residue();
    B.value.residue = B.value.computed_residue();
    T.value.set_add(B.value, A.value, serial_context());
    EXPECT_FALSE(T.value.sign);
    ASSERT_EQ(T.value.L, 7u);
    for (u64 i = 1; i < 6; i++) EXPECT_EQ(T.value.T[i], 0u);
    EXPECT_EQ(T.value.T[0], 9u);
    EXPECT_EQ(T.value.T[6], 9u);
    expect_sound(T.value);
}

// |T| op |B| with T's sign, at every relation of the two ranges.
TEST(ExactFloatTest, InPlaceSumsAndDifferences) {
    std::mt19937_64 rng(4);
    int sums = 0, differences = 0;
    for (int round = 0; round < 4000; round++) {
        const i64 exp = static_cast<i64>(rng() % 12);
        RandomNumber A(rng, rng() % 8, exp, exp, 30);  // the buffer's start is position 0
        const RandomNumber B(rng, rng() % 8, static_cast<i64>(rng() % 14), 0, 0);
        const mpz_class a = abs(value(A.value)), b = abs(value(B.value));
        const auto check = [&](const ExactFloat& T, const mpz_class& magnitude) {
            ASSERT_EQ(mpz_class(abs(value(T))), magnitude) << round;
            if (T.L != 0) {
                ASSERT_EQ(T.sign, A.value.sign);
            }
            expect_sound(T);
            ASSERT_EQ(T.Tmin(), 0);
        };
        const auto fresh = [&](std::vector<Word>& storage) {
            storage = A.words;
            ExactFloat T = A.value;
            T.buffer = storage.data();
            T.T = T.buffer + A.below;
            return T;
        };
        std::vector<Word> storage;
        ExactFloat T = fresh(storage);
        T.uaddAB_ip(serial_context(), B.value);
        check(T, a + b);
        T = fresh(storage);
        T.uaddBA_ip(serial_context(), B.value);
        check(T, a + b);
        sums++;
        T = fresh(storage);
        if (a >= b) {
            T.usubAB_ip(serial_context(), B.value);
            check(T, a - b);
            differences++;
        } else {
            EXPECT_THROW(T.usubAB_ip(serial_context(), B.value), UnsupportedNegativeException);
        }
        T = fresh(storage);
        if (b >= a) {
            T.usubBA_ip(serial_context(), B.value);
            check(T, b - a);
            differences++;
        } else {
            EXPECT_THROW(T.usubBA_ip(serial_context(), B.value), UnsupportedNegativeException);
        }
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(sums, 1000);
    EXPECT_GT(differences, 1000);
}

// A fault that makes a number vanish must not vanish with it.
TEST(ExactFloatTest, ZeroCarriesWhatItsOperandsCarry) {
    std::mt19937_64 rng(17);
    Memory memory(20);
    const RandomNumber A(rng, 3, 0, 0, 0);
    const u64 a = A.value.residue;
    Number wrong(1), T(8);
    wrong.value.residue = 5;
    T.value.set_mul(memory.context, A.value, wrong.value);
    EXPECT_EQ(T.value.L, 0u);
    EXPECT_EQ(T.value.residue, goldilocks::mul(a, 5));
    T.value.set_add(A.value, wrong.value, serial_context());
    EXPECT_EQ(T.value.residue, goldilocks::add(a, 5));
    const auto damaged = [](const ExactFloat& B) { return B.residue != B.computed_residue(); };
    const auto left = [&](auto&& operation) {
        RandomNumber N(rng, 3, 0, 1, 1);
        operation(N.value);
        return damaged(N.value);
    };
    EXPECT_TRUE(left([&](ExactFloat& N) { N.uaddAB_ip(serial_context(), wrong.value); }));
    EXPECT_TRUE(left([&](ExactFloat& N) { N.uaddBA_ip(serial_context(), wrong.value); }));
    EXPECT_TRUE(left([&](ExactFloat& N) { N.usubAB_ip(serial_context(), wrong.value); }));
    // A difference of words that are equal but should not be.
    for (const bool AB : {true, false}) {
        RandomNumber N(rng, 3, 0, 0, 1);
        Number M(3);
        M.value.set_ExactFloat(N.value, serial_context());
        M.value.residue = goldilocks::add(M.value.residue, 1);
        if (AB) {
            N.value.usubAB_ip(serial_context(), M.value);
        } else {
            N.value.usubBA_ip(serial_context(), M.value);
        }
        EXPECT_EQ(N.value.L, 0u);
        EXPECT_TRUE(damaged(N.value));
    }
}

TEST(ExactFloatTest, StripsZeroWords) {
    Number A(20);
    std::fill_n(A.words.begin(), 20, 0);
    A.value.L = 20;
    A.words[17] = 3;
    A.words[19] = 1;
    A.value.exp = 4;
    A.value.residue = A.value.computed_residue();
    const mpz_class before = value(A.value);
    A.value.strip_low_zeros(8);
    EXPECT_EQ(A.value.exp, 20);
    EXPECT_EQ(A.value.L, 4u);
    EXPECT_EQ(value(A.value), before);
    expect_sound(A.value);
    A.value.strip_low_zeros(1);
    EXPECT_EQ(A.value.exp, 21);
    EXPECT_EQ(value(A.value), before);
}

// Products below, at and above the basecase length, through the dispatcher and through transforms.
TEST(ExactFloatTest, Products) {
    std::mt19937_64 rng(5);
    const u64 largest = std::min<u64>(300, basic_table64().items().back().threshold_words);
    Memory memory(largest);
    for (int round = 0; round < 300; round++) {
        const u64 n = round < 100 ? 19 + rng() % 2 : 2 + rng() % (round < 250 ? 60 : largest - 1);
        const u64 la = 1 + rng() % (n - 1), lb = n - la;
        const RandomNumber A(rng, la, static_cast<i64>(rng() % 20) - 10, 0, 0);
        const RandomNumber B(rng, lb, static_cast<i64>(rng() % 20) - 10, 0, 0);
        Number T(n);
        T.value.set_mul(memory.context, A.value, B.value);
        ASSERT_EQ(scaled(value(T.value)), mpz_class(value(A.value) * value(B.value))) << la << " " << lb;
        expect_sound(T.value);
    }
    const Number zero(1);
    RandomNumber A(rng, 5, 3, 0, 0);
    Number T(9);
    T.value.set_mul(memory.context, A.value, zero.value);
    EXPECT_EQ(T.value.L, 0u);
    EXPECT_EQ(T.value.residue, 0u);
}

struct TransformOf {
    explicit TransformOf(u64 words, const MultiplyContext& context)
        : made(make(words, context)),
          data(holder->data_bytes()),
          work(holder->data_bytes() + holder->scratch_bytes()),
          context(context.with_scratch(work.view())),
          R(*holder, data.data()) {}
    int make(u64 words, const MultiplyContext& context) {
        make_transform(holder, words, context);
        return 0;
    }
    TransformHolder holder;
    int made;
    Scratch data, work;
    MultiplyContext context;
    ExactFloatTransformR R;
};

class ExactFloatTransformTest : public testing::TestWithParam<u64> {};

TEST_P(ExactFloatTransformTest, ProductsReuseTransforms) {
    const u64 total = GetParam();
    if (total > basic_table64().items().back().threshold_words) GTEST_SKIP() << "no algorithm of this size";
    std::mt19937_64 rng(total);
    const MultiplyContext context{serial_context(), {}, nullptr};
    for (int round = 0; round < 12; round++) {
        const u64 la = 1 + rng() % (total - 2), lb = 1 + rng() % (total - la), lc = 1 + rng() % (total - la);
        const RandomNumber A(rng, la, 3, 0, 0), B(rng, lb, -2, 0, 0), C(rng, lc, 5, 0, 0);
        TransformOf t(total, context);
        const auto expect = [&](const Number& T, const Number& X, const Number& Y) {
            ASSERT_EQ(scaled(value(T.value)), mpz_class(value(X.value) * value(Y.value))) << la << " " << lb;
            expect_sound(T.value);
            ASSERT_TRUE(t.data.guards_intact() && t.work.guards_intact());
        };
        Number T(la + lb), U(la + lc), F(la + lc + 10);
        t.R.mul_rr_xx(t.context, T.value, A.value, B.value);
        expect(T, A, B);
        t.R.mul_rr_xf(t.context, T.value, A.value, B.value);
        expect(T, A, B);
        t.R.mul_rf_xf(t.context, U.value, C.value);
        expect(U, C, A);
        // Placed so that an addition can grow it down to exponent -2.
        t.R.mul_rf_xf(t.context, F.value, C.value, -2);
        expect(F, C, A);
        EXPECT_EQ(F.value.Tmin(), -2);
        t.R.mul_rr_xx(t.context, F.value, A.value, C.value, 0);
        expect(F, A, C);
        EXPECT_EQ(F.value.Tmin(), 0);
        t.R.mul_rr_xf(t.context, F.value, A.value, C.value, 20);
        expect(F, A, C);
        EXPECT_EQ(F.value.Tmin(), 8);
        // Products of held transforms.
        TransformOf other(total, context);
        other.R.forward(other.context, B.value);
        t.R.inverse_fmul(t.context, T.value, other.R);
        expect(T, A, B);
        EXPECT_THROW(t.R.mul_rf_xf(t.context, U.value, C.value), InvalidTransformException);
        if (2 * la <= total) {
            Number S(2 * la);
            t.R.sqr_rx_xf(t.context, S.value, A.value);
            expect(S, A, A);
            EXPECT_TRUE(S.value.sign);
            t.R.mul_rf_xf(t.context, T.value, B.value);
            expect(T, B, A);
            t.R.inverse_fsqr(t.context, S.value);
            expect(S, A, A);
        }
        // The product may lie over its operands.
        RandomNumber over(rng, la, 0, 0, lb);
        const mpz_class a = value(over.value);
        t.R.mul_rr_xx(t.context, over.value, over.value, B.value);
        ASSERT_EQ(scaled(value(over.value)), mpz_class(a * value(B.value)));
        expect_sound(over.value);
        // Zero
        const Number zero(1);
        t.R.mul_rr_xf(t.context, T.value, A.value, zero.value);
        EXPECT_EQ(T.value.L, 0u);
        t.R.mul_rf_xf(t.context, T.value, B.value);
        expect(T, B, A);
        if (HasFatalFailure()) return;
    }
}
INSTANTIATE_TEST_SUITE_P(Sizes, ExactFloatTransformTest, testing::Values(10, 20, 80, 200, 1000));

TEST(ExactFloatTest, Errors) {
    std::mt19937_64 rng(6);
    const auto message = [](auto&& f) {
        try {
            f();
        } catch (const InvalidParametersException& e) {
            return e.function + " " + e.message;
        }
        return std::string("nothing");
    };
    const ParallelContext& parallel = serial_context();
    RandomNumber full(rng, 4, 0, 0, 0), tall(rng, 5, 0, 0, 0), low(rng, 2, -1, 0, 0), ok(rng, 2, 1, 0, 0);
    EXPECT_EQ(message([&] { full.value.uaddAB_ip(parallel, ok.value); }),
              "ExactFloat::uaddAB_ip() Amag >= Tmax");
    EXPECT_EQ(message([&] { full.value.uaddBA_ip(parallel, tall.value); }),
              "ExactFloat::uaddBA_ip() Bmag >= Tmax");
    EXPECT_EQ(message([&] { full.value.usubBA_ip(parallel, tall.value); }),
              "ExactFloat::usubBA_ip() Bmag > Tmax");
    ExactFloat cut = full.value;
    cut.buffer_size = 3;
    EXPECT_EQ(message([&] { cut.usubAB_ip(parallel, ok.value); }), "ExactFloat::usubAB_ip() Amag > Tmax");
    RandomNumber room(rng, 2, 0, 0, 3);
    EXPECT_EQ(message([&] { room.value.uaddAB_ip(parallel, low.value); }),
              "ExactFloat::uaddAB_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.value.uaddBA_ip(parallel, low.value); }),
              "ExactFloat::uaddBA_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.value.usubAB_ip(parallel, low.value); }),
              "ExactFloat::usubAB_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.value.usubBA_ip(parallel, low.value); }),
              "ExactFloat::usubBA_ip() Bexp < Tmin");
    Number T(20);
    ExactFloat minus = room.value;
    minus.sign = !room.value.sign;
    EXPECT_EQ(message([&] { T.value.set_add(room.value, minus, parallel); }),
              "ExactFloat::set_add() Not implemented yet.");

    const auto too_small = [](auto&& f) {
        try {
            f();
        } catch (const BufferTooSmallException& e) {
            return e.function;
        }
        return std::string("nothing");
    };
    Memory memory(20);
    Number tiny(1);
    EXPECT_EQ(too_small([&] { tiny.value.set_ExactFloat(full.value, parallel); }),
              "ExactFloat::set_ExactFloat()");
    EXPECT_EQ(too_small([&] { tiny.value.set_mul(memory.context, full.value, ok.value); }),
              "ExactFloat::set_mul()");
    EXPECT_EQ(too_small([&] { full.value.mp2(1, parallel); }), "ExactFloat::mp2()");
    const Number zero(1);
    EXPECT_EQ(too_small([&] { tiny.value.set_add(zero.value, full.value, parallel); }),
              "ExactFloat::set_ExactFloat()");
    EXPECT_EQ(too_small([&] { tiny.value.set_add(room.value, room.value, parallel); }),
              "ExactFloat::set_add()");
    Word words[2] = {1, 1};
    BasicIntR integer(words, 2);
    integer.L = 2;
    EXPECT_EQ(too_small([&] { tiny.value.set_BasicInt(integer, true, parallel); }),
              "ExactFloat::set_BasicInt()");

    TransformOf t(4, memory.context), u(6, memory.context);
    Number product(12);
    const ExactFloat& two = ok.value;  // exponent 1: products have exponent 2
    ExactFloat& none = tiny.value;
    EXPECT_EQ(too_small([&] { t.R.mul_rr_xx(t.context, none, two, two); }),
              "ExactFloatTransformR::mul_rr_xx()");
    EXPECT_EQ(too_small([&] { t.R.mul_rr_xx(t.context, none, two, two, 2); }),
              "ExactFloatTransformR::mul_rr_xx(exp)");
    EXPECT_EQ(too_small([&] { t.R.mul_rr_xf(t.context, none, two, two); }),
              "ExactFloatTransformR::mul_rr_xf()");
    EXPECT_EQ(too_small([&] { t.R.mul_rr_xf(t.context, none, two, two, -3); }),
              "ExactFloatTransformR::mul_rr_xf(exp)");
    EXPECT_EQ(too_small([&] { t.R.sqr_rx_xf(t.context, none, two); }), "ExactFloatTransformR::sqr_rx_xf()");
    t.R.forward(t.context, two);
    EXPECT_EQ(too_small([&] { t.R.mul_rf_xf(t.context, none, two); }), "ExactFloatTransformR::mul_rf_xf()");
    EXPECT_EQ(too_small([&] { t.R.mul_rf_xf(t.context, none, two, 2); }),
              "ExactFloatTransformR::mul_rf_xf(exp)");
    // The headroom counts: 4 words of product and 5 below them.
    Number nine(9);
    EXPECT_EQ(too_small([&] { t.R.mul_rf_xf(t.context, nine.value, two, -4); }),
              "ExactFloatTransformR::mul_rf_xf(exp)");
    t.R.mul_rf_xf(t.context, nine.value, two, -3);
    EXPECT_EQ(nine.value.Tmin(), -3);
    TransformOf v(4, memory.context);
    v.R.forward(v.context, two);
    EXPECT_EQ(too_small([&] { t.R.inverse_fmul(t.context, none, v.R); }),
              "ExactFloatTransformR::inverse_fmul()");
    EXPECT_EQ(too_small([&] { v.R.inverse_fsqr(v.context, none); }), "ExactFloatTransformR::inverse_fsqr()");
    try {
        t.R.mul_rr_xx(t.context, product.value, full.value, ok.value);
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 256u);
        EXPECT_EQ(e.requested_size, 384u);
    }
    t.R.forward(t.context, ok.value);
    u.R.forward(u.context, ok.value);
    EXPECT_EQ(message([&] { t.R.inverse_fmul(t.context, product.value, u.R); }),
              "ExactFloatTransformR::inverse_fmul() Mismatching Transform Parameters");
}

// Sums of numbers with any signs, in place: they grow down into the headroom, cancel to some words or to
// nothing, or turn round.
TEST(ExactFloatTest, SignedSumsInPlace) {
    std::mt19937_64 rng(31);
    u64 zeros = 0, turned = 0;
    for (int round = 0; round < 5000; round++) {
        RandomNumber a(rng, rng() % 8, static_cast<i64>(rng() % 6), 8, 16);
        RandomNumber b(rng, rng() % 8, static_cast<i64>(rng() % 6), 0, 0);
        if (rng() % 3 == 0) {
            b.value.L = std::min(a.value.L, b.value.L);
            b.value.exp = a.value.mag() - static_cast<i64>(b.value.L);
            std::copy(a.value.T + a.value.L - b.value.L, a.value.T + a.value.L, b.value.T);
            b.value.residue = b.value.computed_residue();
        }
        const bool subtract = rng() % 2, sign = a.value.sign, some = a.value.L != 0;
        const mpz_class want = subtract ? mpz_class(value(a.value) - value(b.value))
                                        : mpz_class(value(a.value) + value(b.value));
        const mpz_class x = value(a.value), y = value(b.value);
        const mpz_class over = abs(x) - abs(y);
        ASSERT_EQ(compare_magnitudes(a.value, b.value), sgn(over));
        a.value.add_signed_ip(serial_context(), b.value, subtract);
        ASSERT_EQ(value(a.value), want) << round;
        expect_sound(a.value);
        zeros += a.value.L == 0 && some ? 1 : 0;
        turned += a.value.L != 0 && some && a.value.sign != sign ? 1 : 0;
    }
    EXPECT_GT(zeros, 50u);
    EXPECT_GT(turned, 200u);
}

// A fault that makes a number vanish shows in the residue that is left.
TEST(ExactFloatTest, ASumThatVanishedKeepsItsResidue) {
    std::mt19937_64 rng(32);
    for (const bool subtract : {false, true}) {
        RandomNumber a(rng, 4, 0, 4, 4), b(rng, 4, 0, 0, 0);
        std::copy(a.value.T, a.value.T + 4, b.value.T);
        b.value.sign = a.value.sign == subtract;
        b.value.residue = goldilocks::add(b.value.computed_residue(), 1);
        a.value.add_signed_ip(serial_context(), b.value, subtract);
        EXPECT_EQ(a.value.L, 0u);
        EXPECT_NE(a.value.residue, a.value.computed_residue());
    }
}

}  // namespace
