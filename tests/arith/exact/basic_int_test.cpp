#include "arith/exact/basic_int.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/number.h"

using namespace trel;
using reference::to_mpz;

namespace {

mpz_class value(const BasicInt& A) {
    return to_mpz(A.T, A.L);
}

// The invariants and the residue of the value, by its definition.
void expect_sound(const BasicInt& A) {
    ASSERT_GE(A.L, 1u);
    ASSERT_NE(A.T[A.L - 1], 0u);
    const mpz_class m = (mpz_class(1) << 64) - (mpz_class(1) << 32) + 1;
    ASSERT_EQ(mpz_class(value(A) % m), to_mpz(std::vector<Word>{A.residue}));
}

// Words that provoke carries: all ones, zeros, powers of two, random.
std::vector<Word> words_of(std::mt19937_64& rng, u64 n) {
    std::vector<Word> words(n);
    const int kind = rng() % 4;
    for (Word& w : words)
        w = kind == 0 ? ~Word(0) : kind == 1 ? 0 : kind == 2 ? Word(1) << (rng() % 64) : rng();
    if (words[n - 1] == 0) words[n - 1] = 1;
    return words;
}

struct Number : kalvor_test::NumberOf<BasicIntR> {
    Number(const std::vector<Word>& words, u64 room)
        : kalvor_test::NumberOf<BasicIntR>(words, 0, true, room) {}
};

TEST(BasicIntTest, ProductsSumsAndDifferences) {
    std::mt19937_64 rng(1);
    for (int round = 0; round < 300; round++) {
        const u64 n = 1 + rng() % 30, m = 1 + rng() % n;
        Number A(words_of(rng, n), 1), B(words_of(rng, m), 1);
        const mpz_class a = value(A.value), b = value(B.value);
        std::vector<Word> buffer(2 * n);
        BasicIntR T(buffer.data(), n + m);
        T.set_mulB(A.value, B.value);
        ASSERT_EQ(value(T), mpz_class(a * b)) << n << " " << m;
        expect_sound(T);
        T.set_mulB(B.value, A.value);
        ASSERT_EQ(value(T), mpz_class(a * b));
        T = BasicIntR(buffer.data(), 2 * n);
        T.set_sqrB(A.value);
        ASSERT_EQ(value(T), mpz_class(a * a));
        expect_sound(T);
        A.value += B.value;
        ASSERT_EQ(value(A.value), mpz_class(a + b));
        expect_sound(A.value);
        // The carry may have taken the spare word, which the difference needs again.
        Number S(std::vector<Word>(A.value.T, A.value.T + A.value.L), 1);
        S.value -= B.value;
        ASSERT_EQ(value(S.value), a);
        expect_sound(S.value);
        const Word w = rng() % 3 == 0 ? 1 : rng() | 1;
        Number W(words_of(rng, n), 1);
        const mpz_class before = value(W.value);
        W.value.mul_uW(w);
        ASSERT_EQ(value(W.value), mpz_class(before * to_mpz(std::vector<Word>{w})));
        expect_sound(W.value);
    }
}

TEST(BasicIntTest, LongSumsRunOnTheParallelKernels) {
    const u64 n = BasicInt::kParallelLength + 5;
    Number A(std::vector<Word>(n, ~Word(0)), 2), B(std::vector<Word>(n, ~Word(0)), 0), one({1}, 0);
    A.value += one.value;  // the carry passes through all words
    ASSERT_EQ(A.value.L, n + 1);
    expect_sound(A.value);
    A.value -= one.value;
    ASSERT_EQ(A.value.L, n);
    A.value.add(B.value, serial_context());
    ASSERT_EQ(value(A.value), mpz_class(2 * value(B.value)));
    expect_sound(A.value);
    A.value.sub(B.value, serial_context());
    ASSERT_EQ(value(A.value), value(B.value));
    expect_sound(A.value);
}

TEST(BasicIntTest, OwningNumbersGrow) {
    BasicIntO x(~Word(0));
    EXPECT_EQ(x.buffer_size, 4u);
    mpz_class want = value(x);
    BasicIntO y(12345);
    for (int i = 0; i < 6; i++) {
        x *= y;
        want *= 12345;
        x *= x;
        want *= want;
        ASSERT_EQ(value(x), want);
        ASSERT_EQ(x.buffer_size, x.L + 2);
        expect_sound(x);
    }
}

TEST(BasicIntTest, ResiduesAtTheEndsOfTheirRange) {
    const Word P = goldilocks::kP;
    for (const Word a : {Word(1), P - 1, P, P + 1, ~Word(0), Word(1) << 63}) {
        for (const Word b : {Word(1), P - 1, P, P + 1, ~Word(0), Word(1) << 32}) {
            Number A({a}, 1), B({b}, 1);
            Word buffer[2];
            BasicIntR T(buffer, 2);
            T.set_word(a);
            expect_sound(T);
            T.set_mulB(A.value, B.value);
            expect_sound(T);
            T.set_sqrB(A.value);
            expect_sound(T);
            A.value += B.value;
            expect_sound(A.value);
        }
    }
}

template <class E, class F>
void expect_throw(F&& f, const std::string& function, const std::string& message) {
    try {
        f();
        FAIL() << "nothing thrown";
    } catch (const E& e) {
        EXPECT_EQ(e.function, function);
        EXPECT_EQ(e.message, message);
    }
}
template <class F>
void expect_too_small(F&& f, const std::string& function, u64 size, u64 required) {
    try {
        f();
        FAIL() << "nothing thrown";
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, function);
        EXPECT_EQ(e.buffer_size, size);
        EXPECT_EQ(e.required_size, required);
    }
}

TEST(BasicIntTest, Errors) {
    expect_throw<UnsupportedZeroException>([] { BasicIntO x(0); }, "BasicIntO::BasicIntO()",
                                           "Zero was encountered.");
    Number A({5, 7}, 1), B({5, 7}, 1), C({6, 7}, 1), D({1, 2, 3}, 1);
    expect_throw<UnsupportedZeroException>([&] { A.value -= B.value; }, "BasicInt::operator-=()",
                                           "Zero was encountered.");
    Number A2({5, 7}, 1);
    expect_throw<UnsupportedNegativeException>([&] { A2.value -= C.value; }, "BasicInt::operator-=()",
                                               "A negative value was encountered.");
    Number A3({5, 7}, 1);
    expect_throw<UnsupportedNegativeException>([&] { A3.value -= D.value; }, "BasicInt::operator-=()",
                                               "A negative value was encountered.");
    Number full({5, 7}, 0), small({1}, 0);
    expect_too_small([&] { full.value += small.value; }, "BasicInt::operator+=()", 2, 3);
    expect_too_small([&] { full.value -= small.value; }, "BasicInt::operator-=()", 2, 3);
    Word buffer[4];
    BasicIntR T(buffer, 3);
    expect_too_small([&] { T.set_sqrB(B.value); }, "BasicInt::set_sqrB()", 3, 4);
    expect_too_small([&] { T.set_mulB(B.value, C.value); }, "BasicIntR::set_mulB()", 3, 4);
    BasicIntR S(buffer, 1);
    expect_too_small([&] { S.set_BasicInt(B.value); }, "BasicInt::set_BasicInt()", 1, 2);
}

TEST(BasicIntDeathTest, LongerSecondOperandIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Number small({1}, 2), longer({5, 7}, 1);
    EXPECT_EXIT(
        (print_to_stderr(), small.value += longer.value), testing::ExitedWithCode(1),
        "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   BasicInt::operator\\+=\\(\\)\n");
}

}  // namespace
