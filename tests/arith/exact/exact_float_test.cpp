#include "arith/exact/exact_float.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
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

struct Number {
    explicit Number(u64 size, u64 below = 0) : storage(size), number(storage.data(), size), below(below) {}
    // A random number of n words; adversarial in half of the cases.
    Number(std::mt19937_64& rng, u64 n, i64 exp, u64 below, u64 above) : Number(n + below + above, below) {
        number.T = storage.data() + below;
        number.L = n;
        number.exp = exp;
        number.sign = rng() % 2;
        const int kind = rng() % 4;
        for (u64 i = 0; i < n; i++) {
            number.T[i] = kind == 0 ? ~Word(0) : kind == 1 ? 0 : kind == 2 ? Word(1) << (rng() % 64) : rng();
        }
        if (n != 0 && number.T[n - 1] == 0) number.T[n - 1] = 1 + rng() % 3;
        number.residue = number.computed_residue();
    }
    std::vector<Word> storage;
    ExactFloat number;
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
        A.number.set_BasicInt(integer, sign, serial_context());
        expect_sound(A.number);
        EXPECT_EQ(value(A.number), scaled(sign ? to_mpz(words, 3) : mpz_class(-to_mpz(words, 3))));
        Number B(3);
        B.number.set_ExactFloat(A.number, serial_context());
        EXPECT_EQ(value(B.number), value(A.number));
        expect_sound(B.number);
    }
    for (int round = 0; round < 400; round++) {
        const u64 n = 1 + rng() % 12;
        Number A(rng, n, static_cast<i64>(rng() % 20) - 10, rng() % 3, 1);
        const i64 k = static_cast<i64>(rng() % 400) - 200;
        const mpz_class before = value(A.number);
        A.number.mp2(k, serial_context());
        const mpz_class want = k >= 0 ? mpz_class(before << k) : mpz_class(before >> -k);
        ASSERT_EQ(value(A.number), want) << k;
        expect_sound(A.number);
    }
    Number zero(1);
    zero.number.mp2(77, serial_context());
    EXPECT_EQ(zero.number.L, 0u);
}

TEST(ExactFloatTest, ShiftsByOneWordAndOneBit) {
    Number A(2);
    A.number.L = 1;
    A.number.T[0] = 3;
    A.number.residue = 3;
    A.number.mp2(-64, serial_context());
    EXPECT_EQ(A.number.exp, -1);
    EXPECT_EQ(A.number.T[0], 3u);
    EXPECT_EQ(A.number.residue, goldilocks::mul(3, goldilocks::inverse(goldilocks::kEpsilon)));
    A.number.mp2(64, serial_context());
    A.number.mp2(1, serial_context());
    EXPECT_EQ(A.number.exp, 0);
    EXPECT_EQ(A.number.T[0], 6u);
    EXPECT_EQ(A.number.residue, 6);
}

TEST(ExactFloatTest, SumsOfOneSign) {
    std::mt19937_64 rng(3);
    for (int round = 0; round < 500; round++) {
        Number A(rng, rng() % 9, static_cast<i64>(rng() % 20) - 10, 0, 0);
        Number B(rng, rng() % 9, static_cast<i64>(rng() % 20) - 10, 0, 0);
        if (A.number.sign != B.number.sign) {
            B.number.sign = A.number.sign;
            B.number.residue = goldilocks::neg(B.number.residue);
        }
        Number T(60);
        T.number.set_add(A.number, B.number, serial_context());
        ASSERT_EQ(value(T.number), mpz_class(value(A.number) + value(B.number))) << round;
        expect_sound(T.number);
    }
}

TEST(ExactFloatTest, SumAcrossAGapHasZeroWords) {
    Number A(1), B(1), T(8);
    A.number.T[0] = B.number.T[0] = 9;
    A.number.L = B.number.L = 1;
    A.number.sign = B.number.sign = false;
    B.number.exp = 6;
    A.number.residue = A.number.computed_residue();
    B.number.residue = B.number.computed_residue();
    T.number.set_add(B.number, A.number, serial_context());
    EXPECT_FALSE(T.number.sign);
    ASSERT_EQ(T.number.L, 7u);
    for (u64 i = 1; i < 6; i++) EXPECT_EQ(T.number.T[i], 0u);
    EXPECT_EQ(T.number.T[0], 9u);
    EXPECT_EQ(T.number.T[6], 9u);
    expect_sound(T.number);
}

// |T| op |B| with T's sign, at every relation of the two ranges.
TEST(ExactFloatTest, InPlaceSumsAndDifferences) {
    std::mt19937_64 rng(4);
    int sums = 0, differences = 0;
    for (int round = 0; round < 4000; round++) {
        const i64 exp = static_cast<i64>(rng() % 12);
        Number A(rng, rng() % 8, exp, exp, 30);  // the buffer's start is position 0
        const Number B(rng, rng() % 8, static_cast<i64>(rng() % 14), 0, 0);
        const mpz_class a = abs(value(A.number)), b = abs(value(B.number));
        const auto check = [&](const ExactFloat& T, const mpz_class& magnitude) {
            ASSERT_EQ(mpz_class(abs(value(T))), magnitude) << round;
            if (T.L != 0) {
                ASSERT_EQ(T.sign, A.number.sign);
            }
            expect_sound(T);
            ASSERT_EQ(T.Tmin(), 0);
        };
        const auto fresh = [&](std::vector<Word>& storage) {
            storage = A.storage;
            ExactFloat T = A.number;
            T.buffer = storage.data();
            T.T = T.buffer + A.below;
            return T;
        };
        std::vector<Word> storage;
        ExactFloat T = fresh(storage);
        T.uaddAB_ip(serial_context(), B.number);
        check(T, a + b);
        T = fresh(storage);
        T.uaddBA_ip(serial_context(), B.number);
        check(T, a + b);
        sums++;
        T = fresh(storage);
        if (a >= b) {
            T.usubAB_ip(serial_context(), B.number);
            check(T, a - b);
            differences++;
        } else {
            EXPECT_THROW(T.usubAB_ip(serial_context(), B.number), UnsupportedNegativeException);
        }
        T = fresh(storage);
        if (b >= a) {
            T.usubBA_ip(serial_context(), B.number);
            check(T, b - a);
            differences++;
        } else {
            EXPECT_THROW(T.usubBA_ip(serial_context(), B.number), UnsupportedNegativeException);
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
    const Number A(rng, 3, 0, 0, 0);
    const u64 a = A.number.residue;
    Number wrong(1), T(8);
    wrong.number.residue = 5;
    T.number.set_mul(memory.context, A.number, wrong.number);
    EXPECT_EQ(T.number.L, 0u);
    EXPECT_EQ(T.number.residue, goldilocks::mul(a, 5));
    T.number.set_add(A.number, wrong.number, serial_context());
    EXPECT_EQ(T.number.residue, goldilocks::add(a, 5));
    const auto damaged = [](const ExactFloat& B) { return B.residue != B.computed_residue(); };
    const auto left = [&](auto&& operation) {
        Number N(rng, 3, 0, 1, 1);
        operation(N.number);
        return damaged(N.number);
    };
    EXPECT_TRUE(left([&](ExactFloat& N) { N.uaddAB_ip(serial_context(), wrong.number); }));
    EXPECT_TRUE(left([&](ExactFloat& N) { N.uaddBA_ip(serial_context(), wrong.number); }));
    EXPECT_TRUE(left([&](ExactFloat& N) { N.usubAB_ip(serial_context(), wrong.number); }));
    // A difference of words that are equal but should not be.
    for (const bool AB : {true, false}) {
        Number N(rng, 3, 0, 0, 1), M(3);
        M.number.set_ExactFloat(N.number, serial_context());
        M.number.residue = goldilocks::add(M.number.residue, 1);
        if (AB) {
            N.number.usubAB_ip(serial_context(), M.number);
        } else {
            N.number.usubBA_ip(serial_context(), M.number);
        }
        EXPECT_EQ(N.number.L, 0u);
        EXPECT_TRUE(damaged(N.number));
    }
}

TEST(ExactFloatTest, StripsZeroWords) {
    Number A(20);
    A.number.L = 20;
    A.storage[17] = 3;
    A.storage[19] = 1;
    A.number.exp = 4;
    A.number.residue = A.number.computed_residue();
    const mpz_class before = value(A.number);
    A.number.strip_low_zeros(8);
    EXPECT_EQ(A.number.exp, 20);
    EXPECT_EQ(A.number.L, 4u);
    EXPECT_EQ(value(A.number), before);
    expect_sound(A.number);
    A.number.strip_low_zeros(1);
    EXPECT_EQ(A.number.exp, 21);
    EXPECT_EQ(value(A.number), before);
}

// Products below, at and above the basecase length, through the dispatcher and through transforms.
TEST(ExactFloatTest, Products) {
    std::mt19937_64 rng(5);
    const u64 largest = std::min<u64>(300, basic_table64().items().back().threshold_words);
    Memory memory(largest);
    for (int round = 0; round < 300; round++) {
        const u64 n = round < 100 ? 19 + rng() % 2 : 2 + rng() % (round < 250 ? 60 : largest - 1);
        const u64 la = 1 + rng() % (n - 1), lb = n - la;
        const Number A(rng, la, static_cast<i64>(rng() % 20) - 10, 0, 0);
        const Number B(rng, lb, static_cast<i64>(rng() % 20) - 10, 0, 0);
        Number T(n);
        T.number.set_mul(memory.context, A.number, B.number);
        ASSERT_EQ(scaled(value(T.number)), mpz_class(value(A.number) * value(B.number))) << la << " " << lb;
        expect_sound(T.number);
    }
    const Number zero(1);
    Number A(rng, 5, 3, 0, 0), T(9);
    T.number.set_mul(memory.context, A.number, zero.number);
    EXPECT_EQ(T.number.L, 0u);
    EXPECT_EQ(T.number.residue, 0u);
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
        const Number A(rng, la, 3, 0, 0), B(rng, lb, -2, 0, 0), C(rng, lc, 5, 0, 0);
        TransformOf t(total, context);
        const auto expect = [&](const Number& T, const Number& X, const Number& Y) {
            ASSERT_EQ(scaled(value(T.number)), mpz_class(value(X.number) * value(Y.number)))
                << la << " " << lb;
            expect_sound(T.number);
            ASSERT_TRUE(t.data.guards_intact() && t.work.guards_intact());
        };
        Number T(la + lb), U(la + lc), F(la + lc + 10);
        t.R.mul_rr_xx(t.context, T.number, A.number, B.number);
        expect(T, A, B);
        t.R.mul_rr_xf(t.context, T.number, A.number, B.number);
        expect(T, A, B);
        t.R.mul_rf_xf(t.context, U.number, C.number);
        expect(U, C, A);
        // Placed so that an addition can grow it down to exponent -2.
        t.R.mul_rf_xf(t.context, F.number, C.number, -2);
        expect(F, C, A);
        EXPECT_EQ(F.number.Tmin(), -2);
        t.R.mul_rr_xx(t.context, F.number, A.number, C.number, 0);
        expect(F, A, C);
        EXPECT_EQ(F.number.Tmin(), 0);
        t.R.mul_rr_xf(t.context, F.number, A.number, C.number, 20);
        expect(F, A, C);
        EXPECT_EQ(F.number.Tmin(), 8);
        // Products of held transforms.
        TransformOf other(total, context);
        other.R.forward(other.context, B.number);
        t.R.inverse_fmul(t.context, T.number, other.R);
        expect(T, A, B);
        EXPECT_THROW(t.R.mul_rf_xf(t.context, U.number, C.number), InvalidTransformException);
        if (2 * la <= total) {
            Number S(2 * la);
            t.R.sqr_rx_xf(t.context, S.number, A.number);
            expect(S, A, A);
            EXPECT_TRUE(S.number.sign);
            t.R.mul_rf_xf(t.context, T.number, B.number);
            expect(T, B, A);
            t.R.inverse_fsqr(t.context, S.number);
            expect(S, A, A);
        }
        // The product may lie over its operands.
        Number over(rng, la, 0, 0, lb);
        const mpz_class a = value(over.number);
        t.R.mul_rr_xx(t.context, over.number, over.number, B.number);
        ASSERT_EQ(scaled(value(over.number)), mpz_class(a * value(B.number)));
        expect_sound(over.number);
        // Zero
        const Number zero(1);
        t.R.mul_rr_xf(t.context, T.number, A.number, zero.number);
        EXPECT_EQ(T.number.L, 0u);
        t.R.mul_rf_xf(t.context, T.number, B.number);
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
    Number full(rng, 4, 0, 0, 0), tall(rng, 5, 0, 0, 0), low(rng, 2, -1, 0, 0), ok(rng, 2, 1, 0, 0);
    EXPECT_EQ(message([&] { full.number.uaddAB_ip(parallel, ok.number); }),
              "ExactFloat::uaddAB_ip() Amag >= Tmax");
    EXPECT_EQ(message([&] { full.number.uaddBA_ip(parallel, tall.number); }),
              "ExactFloat::uaddBA_ip() Bmag >= Tmax");
    EXPECT_EQ(message([&] { full.number.usubBA_ip(parallel, tall.number); }),
              "ExactFloat::usubBA_ip() Bmag > Tmax");
    ExactFloat cut = full.number;
    cut.buffer_size = 3;
    EXPECT_EQ(message([&] { cut.usubAB_ip(parallel, ok.number); }), "ExactFloat::usubAB_ip() Amag > Tmax");
    Number room(rng, 2, 0, 0, 3);
    EXPECT_EQ(message([&] { room.number.uaddAB_ip(parallel, low.number); }),
              "ExactFloat::uaddAB_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.number.uaddBA_ip(parallel, low.number); }),
              "ExactFloat::uaddBA_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.number.usubAB_ip(parallel, low.number); }),
              "ExactFloat::usubAB_ip() Bexp < Tmin");
    EXPECT_EQ(message([&] { room.number.usubBA_ip(parallel, low.number); }),
              "ExactFloat::usubBA_ip() Bexp < Tmin");
    Number T(20);
    Number minus = room;
    minus.number.T = minus.storage.data();
    minus.number.sign = !room.number.sign;
    EXPECT_EQ(message([&] { T.number.set_add(room.number, minus.number, parallel); }),
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
    EXPECT_EQ(too_small([&] { tiny.number.set_ExactFloat(full.number, parallel); }),
              "ExactFloat::set_ExactFloat()");
    EXPECT_EQ(too_small([&] { tiny.number.set_mul(memory.context, full.number, ok.number); }),
              "ExactFloat::set_mul()");
    EXPECT_EQ(too_small([&] { full.number.mp2(1, parallel); }), "ExactFloat::mp2()");
    const Number zero(1);
    EXPECT_EQ(too_small([&] { tiny.number.set_add(zero.number, full.number, parallel); }),
              "ExactFloat::set_ExactFloat()");
    EXPECT_EQ(too_small([&] { tiny.number.set_add(room.number, room.number, parallel); }),
              "ExactFloat::set_add()");
    Word words[2] = {1, 1};
    BasicIntR integer(words, 2);
    integer.L = 2;
    EXPECT_EQ(too_small([&] { tiny.number.set_BasicInt(integer, true, parallel); }),
              "ExactFloat::set_BasicInt()");

    TransformOf t(4, memory.context), u(6, memory.context);
    Number product(12);
    const ExactFloat& two = ok.number;  // exponent 1: products have exponent 2
    ExactFloat& none = tiny.number;
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
    EXPECT_EQ(too_small([&] { t.R.mul_rf_xf(t.context, nine.number, two, -4); }),
              "ExactFloatTransformR::mul_rf_xf(exp)");
    t.R.mul_rf_xf(t.context, nine.number, two, -3);
    EXPECT_EQ(nine.number.Tmin(), -3);
    TransformOf v(4, memory.context);
    v.R.forward(v.context, two);
    EXPECT_EQ(too_small([&] { t.R.inverse_fmul(t.context, none, v.R); }),
              "ExactFloatTransformR::inverse_fmul()");
    EXPECT_EQ(too_small([&] { v.R.inverse_fsqr(v.context, none); }), "ExactFloatTransformR::inverse_fsqr()");
    try {
        t.R.mul_rr_xx(t.context, product.number, full.number, ok.number);
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 256u);
        EXPECT_EQ(e.requested_size, 384u);
    }
    t.R.forward(t.context, ok.number);
    u.R.forward(u.context, ok.number);
    EXPECT_EQ(message([&] { t.R.inverse_fmul(t.context, product.number, u.R); }),
              "ExactFloatTransformR::inverse_fmul() Mismatching Transform Parameters");
}

}  // namespace
