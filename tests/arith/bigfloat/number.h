// BigFloats of every shape.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "arith/bigfloat/big_float.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/number.h"

namespace trel {

using Number = kalvor_test::NumberOf<BigFloat>;

// Words with a nonzero top word; zero words at the bottom are likely.
template <class Rng>
reference::Words random_words(u64 n, Rng& rng) {
    reference::Words words = reference::pattern(n, rng);
    if (rng() % 4 == 0) std::fill_n(words.begin(), rng() % n, 0);
    if (words.back() == 0) words.back() = rng() % 2 ? 1 : rng() | 1;
    return words;
}

// A number of 1 .. longest words near exponent 0.
template <class Rng>
struct RandomNumber : Number {
    RandomNumber(u64 longest, Rng& rng)
        : Number(random_words(1 + rng() % longest, rng), i64(rng() % 17) - 8, rng() % 2) {}
};

// What A should carry: its value modulo 2^64 - 2^32 + 1.
inline u64 reference_residue(const BigFloat& A) {
    if (A.L == 0) return 0;
    const mpz_class modulus = reference::mpz_of(goldilocks::kP);
    const mpz_class two(2), exponent = reference::mpz_of(static_cast<u64>((A.exp % 3 + 3) % 3 * 64));
    mpz_class place;  // 2^192 is 1
    mpz_powm(place.get_mpz_t(), two.get_mpz_t(), exponent.get_mpz_t(), modulus.get_mpz_t());
    mpz_class r = reference::magnitude_at(A, A.exp) * place % modulus;
    if (!A.sign && r != 0) r = modulus - r;
    return reference::u64_of(r);
}

// Invariants of every result, the residue among them, and that it is (sign) magnitude * 2^(64 position).
inline void expect_value(const BigFloat& T, const mpz_class& magnitude, i64 position, bool sign) {
    EXPECT_EQ(T.residue, reference_residue(T));
    if (magnitude == 0) {
        EXPECT_EQ(T.L, 0u);
        EXPECT_EQ(T.exp, 0);
        return;
    }
    ASSERT_GT(T.L, 0u);
    EXPECT_NE(T.T[T.L - 1], 0u);
    EXPECT_EQ(T.sign, sign);
    const i64 lowest = std::min(T.exp, position);
    EXPECT_EQ(reference::magnitude_at(T, lowest), reference::shifted(magnitude, position - lowest));
}

// floor of the top n words of |A|, with their position
struct Cut {
    mpz_class magnitude;
    i64 position;
};
inline Cut cut_to(const BigFloat& A, u64 n) {
    const i64 position = A.mag() - static_cast<i64>(std::min(A.L, n));
    return {reference::magnitude_at(A, position), position};
}

}  // namespace trel
