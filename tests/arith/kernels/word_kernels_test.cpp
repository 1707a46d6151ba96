// The schoolbook products of every set against plain arithmetic and GMP.
#include "arith/kernels/word_kernels.h"

#include <gmp.h>

#include <random>

#include "kernel_fixture.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;

constexpr Word kCanary = 0x5ca1ab1e0ddba11;

class WordKernelsTest : public EveryKernelSet {};
INSTANTIATE_TEST_SUITE_P(Sets, WordKernelsTest, ::testing::ValuesIn(available_word_kernels()), kernel_set_name);

TEST_P(WordKernelsTest, SchoolbookAgainstPlainDigits) {
    std::mt19937_64 rng(4);
    for (u64 n = 1; n <= 48; n++) {
        for (u64 m = 1; m <= n; m++) {
            const Words a = pattern(n, rng), b = pattern(m, rng);
            Words t(n + m + 1, kCanary);
            k.mul_basecase(t.data(), a.data(), n, b.data(), m);
            ASSERT_EQ(t.back(), kCanary) << n << " " << m;
            t.pop_back();
            ASSERT_EQ(t, reference::mul(a, b)) << n << " " << m;
        }
    }
}

TEST_P(WordKernelsTest, SchoolbookAgainstGmp) {
    std::mt19937_64 rng(5);
    for (u64 n = 1; n <= 100; n++) {
        for (int round = 0; round < 12; round++) {
            const u64 m = round < 4 ? n : 1 + rng() % n;
            const Words a = pattern(n, rng), b = pattern(m, rng);
            Words t(n + m + 1, kCanary), want(n + m);
            k.mul_basecase(t.data(), a.data(), n, b.data(), m);
            ASSERT_EQ(t.back(), kCanary) << n << " " << m;
            mpn_mul(reinterpret_cast<mp_ptr>(want.data()), reinterpret_cast<mp_srcptr>(a.data()), mp_size_t(n),
                    reinterpret_cast<mp_srcptr>(b.data()), mp_size_t(m));
            t.pop_back();
            ASSERT_EQ(t, want) << n << " " << m;
        }
    }
}

TEST_P(WordKernelsTest, SquareAgainstPlainDigitsAndGmp) {
    std::mt19937_64 rng(6);
    for (u64 n = 1; n <= 100; n++) {
        for (int round = 0; round < 12; round++) {
            const Words a = pattern(n, rng);
            Words t(2 * n + 1, kCanary), want(2 * n);
            k.sqr_basecase(t.data(), a.data(), n);
            ASSERT_EQ(t.back(), kCanary) << n;
            mpn_sqr(reinterpret_cast<mp_ptr>(want.data()), reinterpret_cast<mp_srcptr>(a.data()), mp_size_t(n));
            t.pop_back();
            ASSERT_EQ(t, want) << n;
            if (round < 2) {
                ASSERT_EQ(t, reference::mul(a, a)) << n;
            }
        }
    }
}

}  // namespace
}  // namespace trel
