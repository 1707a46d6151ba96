#include "arith/m61/m61.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <random>

#include "arith/m61/hash_words.h"
#include "os/cpu.h"
#include "reference/mpz_u64.h"
#include "reference/words.h"

namespace {

using namespace trel;

constexpr u64 kM = m61::kM61;

u64 exact_mod(u128 x) {
    return u64(x % kM);
}

u64 gmp_mod(const reference::Words& a) {
    mpz_t x;
    mpz_init(x);
    mpz_import(x, a.size(), -1, 8, 0, 0, a.data());
    const mpz_class m = reference::mpz_of(kM);
    mpz_fdiv_r(x, x, m.get_mpz_t());
    const u64 r = reference::u64_of(mpz_class(x));
    mpz_clear(x);
    return r;
}

TEST(M61Test, EdgesOfCanonical) {
    EXPECT_EQ(m61::canonical(0), 0u);
    EXPECT_EQ(m61::canonical(kM), 0u);
    EXPECT_EQ(m61::canonical(kM + 1), 1u);
    EXPECT_EQ(m61::canonical(kM - 1), kM - 1);
    EXPECT_EQ(m61::canonical(8 * kM + 7), 7u);
    EXPECT_EQ(m61::canonical(~u64(0)), 7u);
    EXPECT_EQ(exact_mod(u128(1) << 64), 8u);
}

TEST(M61Test, OperationsOnLazyResidues) {
    std::mt19937_64 rng(1);
    for (int i = 0; i < 20000; i++) {
        u64 a = rng() >> 1, b = rng() >> 1;
        if (i % 3 == 0) a = (u64(1) << 63) - 1 - rng() % 16;
        if (i % 5 == 0) b = (u64(1) << 63) - 1 - rng() % 16;
        ASSERT_LT(m61::mul(a, b), u64(1) << 63);
        ASSERT_EQ(m61::canonical(m61::mul(a, b)), exact_mod(u128(a) * b)) << a << " " << b;
        ASSERT_EQ(m61::canonical(m61::add(a, b)), exact_mod(u128(a) + b));
        ASSERT_EQ(m61::canonical(m61::neg(a)), exact_mod(u128(16) * kM - a));
        ASSERT_EQ(m61::canonical(m61::sub(a, b)), exact_mod(u128(16) * kM + a - b));
        ASSERT_TRUE(m61::equal(a % kM + kM, a));
        ASSERT_FALSE(m61::equal(a, a + 1));
    }
}

TEST(M61Test, Powers) {
    std::mt19937_64 rng(2);
    EXPECT_EQ(m61::canonical(m61::pow(5, 0)), 1u);
    u64 p = 1;
    for (u64 e = 0; e < 200; e++, p = exact_mod(u128(p) * 12345)) {
        ASSERT_EQ(m61::canonical(m61::pow(12345, e)), p);
    }
    for (int i = 0; i < 100; i++) {
        const u64 a = rng() >> 1;
        ASSERT_TRUE(m61::equal(m61::pow(a % kM, kM - 1), 1)) << a;  // Fermat
    }
}

TEST(M61Test, PowersOfTwo) {
    std::mt19937_64 rng(3);
    EXPECT_TRUE(m61::equal(m61::mul_pow2_64(1, -1), u64(1) << 58));
    EXPECT_TRUE(m61::equal(m61::mul_pow2_64(1, 1), 8));
    for (i64 k = -300; k <= 300; k++) {
        const u64 a = rng() >> 1;
        const u64 eight = k >= 0 ? m61::pow(8, u64(k)) : m61::pow(u64(1) << 58, u64(-k));
        ASSERT_TRUE(m61::equal(m61::mul_pow2_64(a, k), m61::mul(a, eight))) << k;
        const u64 two = k >= 0 ? m61::pow(2, u64(k)) : m61::pow(u64(1) << 60, u64(-k));
        ASSERT_TRUE(m61::equal(m61::mul_pow2(a, k), m61::mul(a, two))) << k;
        ASSERT_LT(m61::mul_pow2(a, k), u64(1) << 63);
    }
    // The exponent 3k itself would overflow.
    const i64 big = i64(1) << 62;
    EXPECT_TRUE(m61::equal(m61::mul_pow2_64(3, big), m61::mul(3, m61::pow(8, u64(big)))));
    EXPECT_TRUE(m61::equal(m61::mul_pow2_64(m61::mul_pow2_64(3, -big), big), 3));
}

TEST(M61Test, HashWordsAgreesWithDivision) {
    std::mt19937_64 rng(4);
    EXPECT_TRUE(m61::equal(m61::hash_words(nullptr, 0), 0));
    for (u64 n = 1; n < 400; n++) {  // both sides of the vector threshold
        const auto a = reference::pattern(n, rng);
        ASSERT_LT(m61::hash_words(a.data(), n), u64(1) << 63);
        ASSERT_EQ(m61::canonical(m61::hash_words(a.data(), n)), gmp_mod(a)) << n;
    }
    for (u64 n : {1000, 4095, 4096, 4097, 100003}) {
        const auto a = reference::pattern(n, rng);
        ASSERT_EQ(m61::canonical(m61::hash_words(a.data() + 1, n - 1)),
                  gmp_mod(reference::Words(a.begin() + 1, a.end())));
        const reference::Words ones(n, ~Word(0));
        ASSERT_EQ(m61::canonical(m61::hash_words(ones.data(), n)), gmp_mod(ones));
    }
}

// Both vector loops where their instructions exist (AVX512 F and DQ for the wider one), with sums at their
// limits.
TEST(M61Test, HashBlocksOfEveryLevel) {
    std::vector<Isa> isas;
    if (is_built(Isa::avx2)) isas.push_back(Isa::avx2);
    constexpr u32 kFDq = 1u << 16 | 1u << 17;
    if (is_built(Isa::avx512) && (os::cpuid(7).ebx & kFDq) == kFDq && (os::xcr0() & 0xe6) == 0xe6)
        isas.push_back(Isa::avx512);
    std::mt19937_64 rng(5);
    for (Isa isa : isas) {
        for (u64 blocks : {1, 2, 3, 10, 100, 1000}) {
            const u64 n = blocks * m61::kHashBlock;
            const auto a = blocks == 1000 ? reference::Words(n, kM) : reference::pattern(n, rng);
            u64 sums[8];
            m61::hash_words_kernels(isa).hash_blocks(a.data(), blocks, sums);
            u64 hash = 0;
            for (u64 l = 0; l < 8; l++) {
                ASSERT_LT(sums[l], u64(1) << 63);
                hash = m61::add(hash, m61::mul_pow2_64(sums[l], i64(l)));
            }
            hash = m61::mul_pow2_64(hash, i64(n - m61::kHashBlock));
            ASSERT_EQ(m61::canonical(hash), gmp_mod(a)) << isa_name(isa) << " " << blocks;
        }
    }
}

}  // namespace
