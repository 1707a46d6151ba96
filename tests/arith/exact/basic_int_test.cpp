#include "arith/exact/basic_int.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"

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

struct Number {
    Number(const std::vector<Word>& words, u64 room)
        : storage(words.size() + room), number(storage.data(), storage.size()) {
        std::copy(words.begin(), words.end(), storage.begin());
        number.L = words.size();
        number.residue = goldilocks::of_words(words.data(), words.size());
    }
    std::vector<Word> storage;
    BasicIntR number;
};

TEST(BasicIntTest, ProductsSumsAndDifferences) {
    std::mt19937_64 rng(1);
    for (int round = 0; round < 300; round++) {
        const u64 n = 1 + rng() % 30, m = 1 + rng() % n;
        Number A(words_of(rng, n), 1), B(words_of(rng, m), 1);
        const mpz_class a = value(A.number), b = value(B.number);
        std::vector<Word> buffer(2 * n);
        BasicIntR T(buffer.data(), n + m);
        T.set_mulB(A.number, B.number);
        ASSERT_EQ(value(T), mpz_class(a * b)) << n << " " << m;
        expect_sound(T);
        T.set_mulB(B.number, A.number);
        ASSERT_EQ(value(T), mpz_class(a * b));
        T = BasicIntR(buffer.data(), 2 * n);
        T.set_sqrB(A.number);
        ASSERT_EQ(value(T), mpz_class(a * a));
        expect_sound(T);
        A.number += B.number;
        ASSERT_EQ(value(A.number), mpz_class(a + b));
        expect_sound(A.number);
        // The carry may have taken the spare word, which the difference needs again.
        Number S(std::vector<Word>(A.number.T, A.number.T + A.number.L), 1);
        S.number -= B.number;
        ASSERT_EQ(value(S.number), a);
        expect_sound(S.number);
        const Word w = rng() % 3 == 0 ? 1 : rng() | 1;
        Number W(words_of(rng, n), 1);
        const mpz_class before = value(W.number);
        W.number.mul_uW(w);
        ASSERT_EQ(value(W.number), mpz_class(before * to_mpz(std::vector<Word>{w})));
        expect_sound(W.number);
    }
}

TEST(BasicIntTest, LongSumsRunOnTheParallelKernels) {
    const u64 n = BasicInt::kParallelLength + 5;
    Number A(std::vector<Word>(n, ~Word(0)), 2), B(std::vector<Word>(n, ~Word(0)), 0), one({1}, 0);
    A.number += one.number;  // the carry passes through all words
    ASSERT_EQ(A.number.L, n + 1);
    expect_sound(A.number);
    A.number -= one.number;
    ASSERT_EQ(A.number.L, n);
    A.number.add(B.number, serial_context());
    ASSERT_EQ(value(A.number), mpz_class(2 * value(B.number)));
    expect_sound(A.number);
    A.number.sub(B.number, serial_context());
    ASSERT_EQ(value(A.number), value(B.number));
    expect_sound(A.number);
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
            T.set_mulB(A.number, B.number);
            expect_sound(T);
            T.set_sqrB(A.number);
            expect_sound(T);
            A.number += B.number;
            expect_sound(A.number);
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
    expect_throw<UnsupportedZeroException>([&] { A.number -= B.number; }, "BasicInt::operator-=()",
                                           "Zero was encountered.");
    Number A2({5, 7}, 1);
    expect_throw<UnsupportedNegativeException>([&] { A2.number -= C.number; }, "BasicInt::operator-=()",
                                               "A negative value was encountered.");
    Number A3({5, 7}, 1);
    expect_throw<UnsupportedNegativeException>([&] { A3.number -= D.number; }, "BasicInt::operator-=()",
                                               "A negative value was encountered.");
    Number full({5, 7}, 0), small({1}, 0);
    expect_too_small([&] { full.number += small.number; }, "BasicInt::operator+=()", 2, 3);
    expect_too_small([&] { full.number -= small.number; }, "BasicInt::operator-=()", 2, 3);
    Word buffer[4];
    BasicIntR T(buffer, 3);
    expect_too_small([&] { T.set_sqrB(B.number); }, "BasicInt::set_sqrB()", 3, 4);
    expect_too_small([&] { T.set_mulB(B.number, C.number); }, "BasicIntR::set_mulB()", 3, 4);
    BasicIntR S(buffer, 1);
    expect_too_small([&] { S.set_BasicInt(B.number); }, "BasicInt::set_BasicInt()", 1, 2);
}

TEST(BasicIntDeathTest, LongerSecondOperandIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Number small({1}, 2), longer({5, 7}, 1);
    EXPECT_EXIT(
        (print_to_stderr(), small.number += longer.number), testing::ExitedWithCode(1),
        "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   BasicInt::operator\\+=\\(\\)\n");
}

}  // namespace
