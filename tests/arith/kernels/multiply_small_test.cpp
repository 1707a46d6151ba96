#include "arith/kernels/multiply_small.h"

#include <gmp.h>

#include <random>

#include "kernel_fixture.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;

constexpr Word kCanary = 0x5ca1ab1e0ddba11;

Words gmp_mul(const Words& a, const Words& b) {
    if (a.size() < b.size()) return gmp_mul(b, a);
    Words t(a.size() + b.size());
    mpn_mul(reinterpret_cast<mp_ptr>(t.data()), reinterpret_cast<mp_srcptr>(a.data()), mp_size_t(a.size()),
            reinterpret_cast<mp_srcptr>(b.data()), mp_size_t(b.size()));
    return t;
}

// The product with exactly the scratch that the size query names.
Words karatsuba(const Words& a, const Words& b, const ParallelContext& parallel) {
    const u64 n = a.size() + b.size();
    const KaratsubaSizes sizes = karatsuba_sizes(64 * n);
    EXPECT_GE(sizes.output_bytes, 8 * n);
    Words t(n + 1, kCanary), scratch(sizes.scratch_bytes / 8 + 1, kCanary);
    if (&a == &b) {
        sqr_karatsuba(t.data(), a.data(), a.size(), scratch.data(), parallel);
    } else {
        mul_karatsuba(t.data(), a.data(), a.size(), b.data(), b.size(), scratch.data(), parallel);
    }
    EXPECT_EQ(t.back(), kCanary);
    EXPECT_EQ(scratch.back(), kCanary);
    t.pop_back();
    return t;
}

TEST(BasecaseTest, EitherOperandMayBeLonger) {
    std::mt19937_64 rng(1);
    for (u64 n = 1; n <= 12; n++) {
        for (u64 m = 1; m <= 40; m++) {
            const Words a = pattern(n, rng), b = pattern(m, rng);
            Words t(n + m);
            mul_basecase(t.data(), a.data(), n, b.data(), m);
            ASSERT_EQ(t, reference::mul(a, b)) << n << " " << m;
        }
        const Words a = pattern(n, rng);
        Words t(2 * n);
        sqr_basecase(t.data(), a.data(), n);
        ASSERT_EQ(t, reference::mul(a, a));
    }
}

TEST(KaratsubaTest, SquareOfEverySize) {
    std::mt19937_64 rng(2);
    for (u64 n = 1; n <= 140; n++) {
        for (int round = 0; round < 12; round++) {
            const Words a = pattern(n, rng);
            const Words got = karatsuba(a, a, serial_context());
            ASSERT_EQ(got, gmp_mul(a, a)) << n;
            if (round == 0 && n <= 100) {
                ASSERT_EQ(got, reference::mul(a, a)) << n;
            }
        }
    }
}

TEST(KaratsubaTest, BalancedProductOfEverySize) {
    std::mt19937_64 rng(3);
    for (u64 n = 1; n <= 140; n++) {
        for (int round = 0; round < 12; round++) {
            const Words a = pattern(n, rng), b = pattern(n, rng);
            const Words got = karatsuba(a, b, serial_context());
            ASSERT_EQ(got, gmp_mul(a, b)) << n;
            if (round == 0 && n <= 100) {
                ASSERT_EQ(got, reference::mul(a, b)) << n;
            }
        }
    }
}

TEST(KaratsubaTest, UnbalancedProducts) {
    std::mt19937_64 rng(4);
    for (u64 m : {1, 2, 30, 31, 32, 33, 45, 61, 62, 63, 64, 65, 100}) {
        for (u64 n : {m, m + 1, m + 2, 2 * m - 1, 2 * m, 2 * m + 1, 3 * m - 1, 3 * m, 3 * m + 1, 4 * m - 1,
                      4 * m, 4 * m + 1, 5 * m + 7, 9 * m + 5, m + 30, m + 31, m + 32}) {
            const Words a = pattern(n, rng), b = pattern(m, rng);
            ASSERT_EQ(karatsuba(a, b, serial_context()), gmp_mul(a, b)) << n << " " << m;
            ASSERT_EQ(karatsuba(b, a, serial_context()), gmp_mul(a, b)) << n << " " << m;
        }
    }
    for (int round = 0; round < 400; round++) {
        const Words a = pattern(1 + rng() % 500, rng), b = pattern(1 + rng() % 200, rng);
        ASSERT_EQ(karatsuba(a, b, serial_context()), gmp_mul(a, b)) << a.size() << " " << b.size();
    }
}

// Which half is larger decides signs; equal halves make a zero difference.
TEST(KaratsubaTest, HalvesThatAreEqualOrOrderedByOneWord) {
    for (u64 n : {31, 32, 33, 62, 63, 64, 65}) {
        const u64 L = (n + 1) / 2;
        for (Word low_top : {Word(0), Word(1), ~Word(0)}) {
            for (Word low : {Word(0), Word(4), Word(5), Word(6)}) {
                Words a(n, 5), b(n, 5);
                if (n % 2 == 1) a[L - 1] = low_top;
                a[0] = low;
                b[n - 1] = low;
                ASSERT_EQ(karatsuba(a, a, serial_context()), gmp_mul(a, a))
                    << n << " " << low_top << " " << low;
                ASSERT_EQ(karatsuba(a, b, serial_context()), gmp_mul(a, b))
                    << n << " " << low_top << " " << low;
                ASSERT_EQ(karatsuba(b, a, serial_context()), gmp_mul(a, b))
                    << n << " " << low_top << " " << low;
            }
        }
    }
}

TEST(KaratsubaTest, LargeProducts) {
    std::mt19937_64 rng(5);
    for (u64 n : {500, 1000, 1023, 2047}) {
        const Words a = pattern(n, rng), b = pattern(n, rng), ones(n, ~Word(0));
        ASSERT_EQ(karatsuba(a, b, serial_context()), gmp_mul(a, b)) << n;
        ASSERT_EQ(karatsuba(ones, ones, serial_context()), gmp_mul(ones, ones)) << n;
        ASSERT_EQ(karatsuba(a, a, serial_context()), gmp_mul(a, a)) << n;
    }
}

TEST(KaratsubaTest, ThresholdsAndSizes) {
    EXPECT_EQ(karatsuba_thresholds().sqr32, 10u);
    EXPECT_EQ(karatsuba_thresholds().mul32, 14u);
    EXPECT_EQ(karatsuba_thresholds().sqr64, 31u);
    EXPECT_EQ(karatsuba_thresholds().mul64, 31u);
    // 30 words: no level of either recursion.
    EXPECT_EQ(karatsuba_sizes(30 * 64).output_bytes, 256u);
    EXPECT_EQ(karatsuba_sizes(30 * 64).scratch_bytes, (24 * 30 + 71) / 64 * 64u);
    // 31 words: one level of 32 words; 24*31 + 16*31 + 8*32 + 71 = 1567.
    EXPECT_EQ(karatsuba_sizes(30 * 64 + 1).scratch_bytes, 1536u);
    EXPECT_EQ(karatsuba_sizes(31 * 64).scratch_bytes, 1536u);
    // 100 words: 100 + 50 = 150 words; 2400 + 1600 + 1200 + 71 = 5271.
    EXPECT_EQ(karatsuba_sizes(6400).output_bytes, 832u);
    EXPECT_EQ(karatsuba_sizes(6400).scratch_bytes, 5248u);
}

// Beyond 131072 words of high half the differences are taken by tasks.
TEST(SlowKaratsubaTest, DifferencesInTasks) {
    std::mt19937_64 rng(6);
    ReverseFramework framework;
    const u64 n = 2 * 0x20000 + 3;
    Words a(n), b(n);
    for (Word& w : a) w = rng();
    for (Word& w : b) w = rng();
    ASSERT_EQ(karatsuba(a, b, {&framework, 7}), gmp_mul(a, b));
    EXPECT_GT(framework.dispatches, 0u);
}

}  // namespace
}  // namespace trel
