// The serial kernels of every set against plain arithmetic and GMP.
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

TEST_P(WordKernelsTest, AddAndSubtract) {
    std::mt19937_64 rng(1);
    for (u64 n = 0; n <= 140; n++) {
        for (int round = 0; round < 20; round++) {
            const Words a = pattern(n, rng), b = round % 4 ? pattern(n, rng) : a;
            const u8 c = rng() & 1;
            Words t(n + 1, kCanary);
            ASSERT_EQ(k.add_n(t.data(), a.data(), b.data(), n, c), reference::add(a, b, c)[n]) << n;
            ASSERT_EQ(t[n], kCanary);
            t[n] = reference::add(a, b, c)[n];
            ASSERT_EQ(t, reference::add(a, b, c)) << n;
            Words in_place = a;
            k.add_n(in_place.data(), in_place.data(), b.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
            in_place = b;
            k.add_n(in_place.data(), a.data(), in_place.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));

            t[n] = kCanary;
            const Words want = reference::sub(a, b, c);
            ASSERT_EQ(k.sub_n(t.data(), a.data(), b.data(), n, c), want[n]) << n;
            ASSERT_EQ(t[n], kCanary);
            t[n] = want[n];
            ASSERT_EQ(t, want) << n;
            in_place = a;
            k.sub_n(in_place.data(), in_place.data(), b.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
            in_place = b;
            k.sub_n(in_place.data(), a.data(), in_place.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
        }
    }
}

TEST_P(WordKernelsTest, MultiplyByOneWord) {
    std::mt19937_64 rng(2);
    for (u64 n = 0; n <= 140; n++) {
        for (int round = 0; round < 20; round++) {
            const Words a = pattern(n, rng);
            const Word edges[] = {0, 1, ~Word(0), Word(1) << 63, rng(), rng()};
            const Word w = edges[rng() % 6], c = edges[rng() % 6];
            Words product = n == 0 ? Words{0} : reference::mul(a, {w});
            Words low(n + 1, 0);
            low[0] = c;
            Words want = reference::add(product, low, 0);
            want.pop_back();
            Words t(n + 1, kCanary);
            const Word top = k.mul_1(t.data(), a.data(), n, w, c);
            ASSERT_EQ(t[n], kCanary);
            t[n] = top;
            ASSERT_EQ(t, want) << n << " " << w << " " << c;
            Words in_place = a;
            ASSERT_EQ(k.mul_1(in_place.data(), in_place.data(), n, w, c), top);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
        }
    }
}

TEST_P(WordKernelsTest, Negate) {
    std::mt19937_64 rng(3);
    for (u64 n = 0; n <= 140; n++) {
        for (int round = 0; round < 10; round++) {
            const Words a = pattern(n, rng);
            for (u8 carry : {0, 1}) {
                // ~a + carry = (all ones - a) + carry
                Words want = reference::sub(Words(n, ~Word(0)), a, 0);
                want.pop_back();
                want = reference::add(want, Words(n, 0), carry);
                Words t(n + 1, kCanary);
                const u8 out = k.negate(t.data(), a.data(), n, carry);
                ASSERT_EQ(t[n], kCanary);
                t[n] = out;
                ASSERT_EQ(t, want) << n;
                Words in_place = a;
                k.negate(in_place.data(), in_place.data(), n, carry);
                ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
            }
        }
    }
}

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
