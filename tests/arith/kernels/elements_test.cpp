#include "arith/kernels/elements.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/words32.h"
#include "reference/words.h"

using namespace trel;
using reference::Words;

namespace {

constexpr Word kCanary = 0x0123456789abcdef;

// Every element of A B and of A^2 by the definition, elements around both thresholds.
TEST(Elements, ProductsOf64BitWords) {
    std::mt19937_64 rng(1);
    for (u64 n : {1, 2, 3, 4, 5, 6, 8, 17, 30, 31, 32, 33, 50, 63, 64}) {
        for (u64 count : {0, 1, 2, 7}) {
            Words A(count * n), B(count * n), T(2 * count * n + 1, kCanary), S = T;
            Words scratch(karatsuba_sizes(128 * n).scratch_bytes / 8 + 1, kCanary);
            std::vector<Words> a, b;
            for (u64 i = 0; i < count; i++) {
                a.push_back(reference::pattern(n, rng));
                b.push_back(reference::pattern(n, rng));
                std::copy(a[i].begin(), a[i].end(), A.begin() + static_cast<i64>(i * n));
                std::copy(b[i].begin(), b[i].end(), B.begin() + static_cast<i64>(i * n));
            }
            mul_elements(T.data(), A.data(), B.data(), n, count, scratch.data());
            sqr_elements(S.data(), A.data(), n, count, scratch.data());
            for (u64 i = 0; i < count; i++) {
                const auto at = [&](const Words& w) {
                    return Words(w.begin() + static_cast<i64>(2 * i * n),
                                 w.begin() + static_cast<i64>(2 * (i + 1) * n));
                };
                EXPECT_EQ(at(T), reference::mul(a[i], b[i])) << n << " words, element " << i;
                EXPECT_EQ(at(S), reference::mul(a[i], a[i])) << n << " words, element " << i;
            }
            EXPECT_EQ(T.back(), kCanary);
            EXPECT_EQ(S.back(), kCanary);
            EXPECT_EQ(scratch.back(), kCanary);
        }
    }
}

TEST(Elements, ProductsOf32BitWords) {
    std::mt19937_64 rng(2);
    for (u64 n : {2, 4, 8, 10, 12, 14, 16, 22, 24, 30, 64}) {
        for (u64 count : {1, 5}) {
            std::vector<u32> A(count * n), B(count * n), T(2 * count * n + 1, 77), S = T;
            std::vector<u32> scratch(words32::scratch_words(2 * n) + 1, 77);
            for (u32& w : A) w = rng() % 3 == 0 ? ~u32(0) : static_cast<u32>(rng());
            for (u32& w : B) w = rng() % 3 == 0 ? ~u32(0) : static_cast<u32>(rng());
            words32::mul_elements(T.data(), A.data(), B.data(), n, count, scratch.data());
            words32::sqr_elements(S.data(), A.data(), n, count, scratch.data());
            for (u64 i = 0; i < count; i++) {
                const auto element = [n, i](const std::vector<u32>& w, u64 length) {
                    return reference::words({w.begin() + static_cast<i64>(i * length),
                                             w.begin() + static_cast<i64>((i + 1) * length)});
                };
                const Words a = element(A, n), b = element(B, n);
                EXPECT_EQ(element(T, 2 * n), reference::mul(a, b)) << n << " words, element " << i;
                EXPECT_EQ(element(S, 2 * n), reference::mul(a, a)) << n << " words, element " << i;
            }
            EXPECT_EQ(T.back(), 77u);
            EXPECT_EQ(S.back(), 77u);
            EXPECT_EQ(scratch.back(), 77u);
        }
    }
}

}  // namespace
