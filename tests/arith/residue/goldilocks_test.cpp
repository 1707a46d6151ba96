// Residues modulo 2^64 - 2^32 + 1 against GMP.
#include "arith/residue/goldilocks.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/parallel/spawn_framework.h"
#include "reference/mpz_u64.h"

namespace {

using namespace trel;
namespace g = trel::goldilocks;

using reference::mpz_of;
const mpz_class kModulus = mpz_of(g::kP);

// Random words, often at the ends of the range.
u64 some(std::mt19937_64& rng) {
    switch (rng() % 6) {
        case 0:
            return rng() % 3;
        case 1:
            return g::kP - 1 - rng() % 3;
        case 2:
            return (rng() % 2 << 32) - rng() % 2;
        default:
            return rng() % g::kP;
    }
}

TEST(GoldilocksTest, FieldOperationsAgreeWithGmp) {
    std::mt19937_64 rng(1);
    for (int i = 0; i < 20000; i++) {
        const u64 a = g::of_word(some(rng)), b = g::of_word(some(rng));
        const mpz_class A = mpz_of(a), B = mpz_of(b);
        ASSERT_TRUE(mpz_of(g::add(a, b)) == mpz_class((A + B) % kModulus)) << a << " " << b;
        ASSERT_TRUE(mpz_of(g::sub(a, b)) == mpz_class((A + kModulus - B) % kModulus)) << a << " " << b;
        ASSERT_TRUE(mpz_of(g::neg(a)) == mpz_class((kModulus - A) % kModulus)) << a << " " << b;
        ASSERT_TRUE(mpz_of(g::mul(a, b)) == mpz_class(A * B % kModulus)) << a << " " << b;
    }
}

TEST(GoldilocksTest, EveryDoubleWordIsReduced) {
    std::mt19937_64 rng(2);
    const u64 ends[] = {0, 1, 0xffffffff, 0x100000000, g::kP - 1, g::kP, g::kP + 1, ~u64(0)};
    const auto check = [](u64 high, u64 low) {
        const mpz_class right = ((mpz_of(high) << 64) + mpz_of(low)) % kModulus;
        ASSERT_TRUE(mpz_of(g::reduce(u128(high) << 64 | low)) == right) << high << " " << low;
    };
    for (const u64 high : ends) {
        for (const u64 low : ends) check(high, low);
    }
    for (int i = 0; i < 20000; i++) check(rng() >> rng() % 64, rng() >> rng() % 64);
}

TEST(GoldilocksTest, WordsOfEitherSign) {
    std::mt19937_64 rng(3);
    for (i64 k = -400; k <= 400; k++) {
        const u64 a = g::of_word(some(rng));
        mpz_class right = mpz_of(a);
        if (k >= 0) {
            right = (right << static_cast<unsigned long>(64 * k)) % kModulus;
            EXPECT_TRUE(mpz_of(g::times_words(a, k)) == right) << k;
        } else {
            EXPECT_EQ(g::times_words(g::times_words(a, k), -k), a) << k;
        }
        EXPECT_EQ(g::mul(a, a == 0 ? 0 : g::inverse(a)), a == 0 ? 0u : 1u);
    }
}

TEST(GoldilocksTest, WordsAgreeWithGmp) {
    std::mt19937_64 rng(4);
    SpawnFramework spawn(8);
    for (const u64 n : {0, 1, 2, 3, 4, 143, 144, 145, 1000, 300001}) {
        std::vector<Word> words(n + 1);
        for (Word& w : words) w = n % 2 == 0 ? ~Word(0) : rng();
        mpz_class value;
        mpz_import(value.get_mpz_t(), n, -1, 8, 0, 0, words.data());
        for (const i64 exp : {-7, -1, 0, 1, 2, 1000000007}) {
            const u64 right = g::times_words(
                [&] {
                    const mpz_class r = value % kModulus;
                    u64 w = 0;
                    mpz_export(&w, nullptr, -1, 8, 0, 0, r.get_mpz_t());
                    return w;
                }(),
                exp);
            EXPECT_EQ(g::of_words(words.data(), n, exp), right) << n << " " << exp;
            EXPECT_EQ(g::of_words(ParallelContext{&spawn, 8}, words.data(), n, exp, false), g::neg(right))
                << n << " " << exp;
        }
    }
}

TEST(GoldilocksTest, NoChangeWithin32BitsOfAWordPasses) {
    std::mt19937_64 rng(5);
    for (int i = 0; i < 20000; i++) {
        const u64 word = i % 4 == 0 ? (rng() % 2 == 0 ? 0 : ~u64(0)) : rng();
        const u64 change = (rng() & 0xffffffff) << rng() % 33;
        if (change == 0) continue;
        ASSERT_NE(g::of_word(word), g::of_word(word ^ change)) << word << " " << change;
    }
}

}  // namespace
