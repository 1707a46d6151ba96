#include "constants/builtin/leaf_words.h"

#include <gtest/gtest.h>

#include <random>

#include "reference/mpz_words.h"

using namespace kalvor;
using namespace kalvor::leaf;

namespace {

// Words of 0 and of 2^64 - 1 let carries and borrows run.
TEST(LeafWordsTest, CarriesAndBorrows) {
    std::mt19937_64 random(31);
    for (int round = 0; round < 3000; round++) {
        Word words[6];
        BasicIntR T(words, 6);
        T.L = 1 + random() % 4;
        for (u64 i = 0; i < T.L; i++) {
            const u64 kind = random() % 4;
            words[i] = kind == 0 ? 0 : kind == 1 ? ~Word(0) : kind == 2 ? random() : random() % 3;
        }
        if (words[T.L - 1] == 0) words[T.L - 1] = 1;
        T.residue = trel::goldilocks::of_words(words, T.L);
        const mpz_class before = reference::to_mpz(words, T.L);
        const Word w = random() % 2 == 0 ? random() | 1 : 1 + random() % 3;
        const mpz_class factor = reference::mpz_of(w);
        mpz_class want;
        const u64 operation = random() % 3;
        if (operation == 0) {
            want = before + factor;
            add(T, w);
        } else if (operation == 1) {
            if (before <= factor) continue;
            want = before - factor;
            subtract(T, w);
        } else {
            want = before * factor;
            multiply(T, w);
        }
        ASSERT_EQ(reference::to_mpz(words, T.L), want) << operation;
        ASSERT_NE(words[T.L - 1], 0u);
        ASSERT_EQ(T.residue, trel::goldilocks::of_words(words, T.L));
    }
}

TEST(LeafWordsTest, Numbers) {
    Word words[6];
    BasicIntR T(words, 6);
    for (const u128 x : {u128(1), u128(~Word(0)), u128(1) << 64, (u128(5) << 70) + 3}) {
        set(T, x);
        EXPECT_EQ(T.L, x >> 64 == 0 ? 1u : 2u);
        EXPECT_EQ(u128(words[0]) + (T.L == 2 ? u128(words[1]) << 64 : 0), x);
        EXPECT_EQ(T.residue, trel::goldilocks::of_words(words, T.L));
    }
    // 3 k^2 - 5 k + 7 at 2^40
    static constexpr i64 kPolynomial[] = {3, -5, 7};
    set_polynomial(T, kPolynomial, u64(1) << 40);
    EXPECT_EQ(reference::to_mpz(words, T.L), mpz_class("3626777458838389965979655"));
}

// Factors that fit into a word together, and ones that do not, up to products of exactly a word.
TEST(LeafWordsTest, Products) {
    std::mt19937_64 random(32);
    for (int round = 0; round < 3000; round++) {
        Word words[5], f[5];
        mpz_class want = 1;
        const u64 bits = 1 + random() % 64;
        for (Word& factor : f) {
            factor = (random() >> (64 - bits)) | 1;
            if (random() % 8 == 0) factor = Word(1) << (bits - 1);
            want *= reference::mpz_of(factor);
        }
        BasicIntR T(words, 5);
        set_product(T, f[0], f[1], f[2], f[3], f[4]);
        ASSERT_EQ(reference::to_mpz(words, T.L), want) << bits;
        ASSERT_NE(words[T.L - 1], 0u);
        ASSERT_EQ(T.residue, trel::goldilocks::of_words(words, T.L));
    }
}

}  // namespace
