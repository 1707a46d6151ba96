#include "arith/bigfloat/combine.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "number.h"
#include "reference/mpz_words.h"

using namespace trel;

TEST(CombineTest, SumsAndDifferencesInPlace) {
    std::mt19937_64 rng(8);
    for (int round = 0; round < 3000; round++) {
        const u64 la = 1 + rng() % 8, lb = 1 + rng() % 8;
        std::vector<Word> a(40), b(lb);
        const int kind = rng() % 3;
        const auto word = [&] { return kind == 0 ? ~Word(0) : kind == 1 ? Word(0) : Word(rng()); };
        for (u64 i = 0; i < la; i++) a[i] = word();
        for (Word& w : b) w = word();
        a[la - 1] |= 1;
        b[lb - 1] |= 1;
        BigFloat A(a.data(), a.size()), B(b.data(), b.size());
        A.L = la;
        B.L = lb;
        A.exp = static_cast<i64>(rng() % 12);
        B.exp = static_cast<i64>(rng() % 12);
        A.sign = true;
        const i64 bottom = A.exp;
        const mpz_class x = reference::magnitude_at(A, bottom), y = reference::magnitude_at(B, bottom);
        const bool subtract = rng() % 2;
        if (subtract && y > x) {
            if (B.mag() > A.exp) {
                EXPECT_THROW(combine_ip(serial_context(), A, B, true), UnsupportedNegativeException);
            }
            continue;
        }
        combine_ip(serial_context(), A, B, subtract);
        ASSERT_EQ(reference::magnitude_at(A, bottom), subtract ? mpz_class(x - y) : mpz_class(x + y))
            << round;
        ASSERT_EQ(A.exp, bottom);
        if (A.L != 0) {
            ASSERT_NE(A.T[A.L - 1], 0u);
        }
    }
}

// With signs; operands that cancel wholly or to some words come up by choice.
TEST(CombineTest, SignedSumsInPlace) {
    std::mt19937_64 rng(9);
    u64 zeros = 0, shorter = 0, turned = 0;
    for (int round = 0; round < 6000; round++) {
        const u64 la = 1 + rng() % 8, lb = 1 + rng() % 8;
        std::vector<Word> a(40), b(20);
        for (u64 i = 0; i < la; i++) a[i] = rng() % 3 != 0 ? rng() : ~Word(0);
        for (Word& w : b) w = rng() % 3 != 0 ? rng() : 0;
        a[la - 1] |= 1;
        b[lb - 1] |= 1;
        BigFloat A(a.data(), a.size()), B(b.data(), b.size());
        A.L = la;
        B.L = lb;
        A.exp = static_cast<i64>(rng() % 12);
        B.exp = static_cast<i64>(rng() % 12);
        if (rng() % 2 != 0) {
            // The same words from the top down, to some of them.
            B.L = A.L;
            B.exp = A.exp;
            std::copy(a.begin(), a.begin() + static_cast<long>(la), b.begin());
            b[0] ^= rng() % 3 == 0 ? 1 : 0;
            if (la > 2) b[la / 2] += rng() % 3 - 1;
            b[la - 1] |= 1;
        }
        A.sign = rng() % 2;
        B.sign = rng() % 2;
        A.seal(serial_context());
        B.seal(serial_context());
        const i64 bottom = A.exp;
        const auto value = [&](const BigFloat& X) {
            const mpz_class z = reference::magnitude_at(X, bottom);
            return X.sign ? z : mpz_class(-z);
        };
        const bool subtract = rng() % 2, sign = A.sign;
        const mpz_class want = subtract ? mpz_class(value(A) - value(B)) : mpz_class(value(A) + value(B));
        combine_signed_ip(serial_context(), A, B, subtract);
        ASSERT_EQ(value(A), want) << round;
        ASSERT_EQ(A.residue, A.computed_residue(serial_context())) << round;
        if (A.L == 0) {
            zeros++;
            continue;
        }
        ASSERT_EQ(A.exp, bottom);
        ASSERT_NE(A.T[A.L - 1], 0u);
        shorter += A.L + 1 < la ? 1 : 0;
        turned += A.sign != sign ? 1 : 0;
    }
    EXPECT_GT(zeros, 50u);
    EXPECT_GT(shorter, 50u);
    EXPECT_GT(turned, 500u);
}

TEST(CombineTest, SignedSumsNeedRoom) {
    std::vector<Word> a(4, 1), b(4, 9);
    BigFloat A(a.data(), 4), B(b.data(), 4);
    A.L = 2;
    B.L = 4;
    A.sign = B.sign = true;
    EXPECT_THROW(combine_signed_ip(serial_context(), A, B, true), BufferTooSmallException);
}

TEST(CombineTest, WordsBelowAPlaceAreCut) {
    std::mt19937_64 rng(10);
    std::vector<Word> words(20);
    for (Word& w : words) w = rng() | 1;
    for (u64 drop = 1; drop < 12; drop++) {
        std::vector<Word> a = words;
        BigFloat A(a.data(), a.size());
        A.T += 3;
        A.L = 10;
        A.exp = -4;
        A.seal(serial_context());
        const i64 floor = A.exp + static_cast<i64>(drop);
        const mpz_class want = reference::magnitude_at(A, floor);
        cut_below(serial_context(), A, floor);
        EXPECT_EQ(A.L, drop < 10 ? 10 - drop : 0);
        if (drop < 10) {
            EXPECT_EQ(reference::magnitude_at(A, floor), want);
            EXPECT_EQ(A.T, A.buffer);
            EXPECT_EQ(A.exp, floor);
        }
        EXPECT_EQ(A.residue, A.computed_residue(serial_context()));
    }
}

// Numbers whose length or exponent has changed so that nothing of them would be added or kept.
TEST(CombineTest, NumbersThatVanishAreNoticed) {
    const ParallelContext& parallel = serial_context();
    Number A({5, 6, 7}, 2, true, 8), B({1, 2, 3, 4}, 1, true);
    BigFloat gone = B.value, below = B.value;
    gone.L = 0;
    below.exp -= 64;
    for (const BigFloat& damaged : {gone, below}) {
        EXPECT_THROW(combine_ip(parallel, A, damaged, false), AlgorithmFailedException);
        EXPECT_THROW(combine_signed_ip(parallel, A, damaged, true), AlgorithmFailedException);
        BigFloat cut = damaged;
        EXPECT_THROW(cut_below(parallel, cut, 2), AlgorithmFailedException);
    }
    A->verify(parallel, "the sum");
    // Below A's words, and as it was.
    Number small({9, 9}, -2);
    combine_ip(parallel, A, small, false);
    combine_signed_ip(parallel, A, small, true);
    cut_below(parallel, small, 5);
    EXPECT_EQ(small->L, 0u);
    A->verify(parallel, "the sum");
    EXPECT_EQ(A->L, 3u);
}
