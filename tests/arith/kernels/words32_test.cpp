#include "arith/kernels/words32.h"

#include <gtest/gtest.h>

#include <random>

#include "reference/words.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;
using Digits = std::vector<u32>;

constexpr u32 kCanary = 0x5ca1ab1e;

Digits random_digits(u64 n, std::mt19937_64& rng) {
    Digits d = reference::digits(pattern((n + 1) / 2, rng));
    d.resize(n);
    return d;
}

// Plain product through the word reference: padded to whole words, cut again.
Digits product(Digits a, Digits b) {
    const u64 n = a.size() + b.size();
    a.resize((a.size() + 1) / 2 * 2);
    b.resize((b.size() + 1) / 2 * 2);
    Digits p = reference::digits(reference::mul(reference::words(a), reference::words(b)));
    for (u64 i = n; i < p.size(); i++) EXPECT_EQ(p[i], 0u);
    p.resize(n);
    return p;
}

TEST(Words32Test, Linear) {
    std::mt19937_64 rng(1);
    for (u64 n = 2; n <= 60; n += 2) {
        for (int round = 0; round < 20; round++) {
            const Words a = pattern(n / 2, rng), b = pattern(n / 2, rng);
            const Digits x = reference::digits(a), y = reference::digits(b);
            const u8 carry = rng() & 1;
            Digits t(n);
            Words want = reference::add(a, b, carry);
            ASSERT_EQ(words32::add_n(t.data(), x.data(), y.data(), n, carry), want.back());
            want.pop_back();
            ASSERT_EQ(t, reference::digits(want));
            want = reference::sub(a, b, carry);
            ASSERT_EQ(words32::sub_n(t.data(), x.data(), y.data(), n, carry), want.back());
            want.pop_back();
            ASSERT_EQ(t, reference::digits(want));
            const u32 w = round % 3 ? u32(rng()) : ~u32(0);
            Digits p = product(x, {w});
            const u32 c = u32(rng());
            words32::add_word_ip(p.data(), n + 1, c);
            t = x;
            t.push_back(words32::mul_1(t.data(), t.data(), n, w, c));
            ASSERT_EQ(t, p);
        }
    }
    Digits t{0, 0, 5};
    EXPECT_EQ(words32::sub_word_ip(t.data(), 3, 1), 0);
    EXPECT_EQ(t, (Digits{~u32(0), ~u32(0), 4}));
    EXPECT_EQ(words32::sub_word_ip(t.data() + 2, 1, 5), 1);
    EXPECT_EQ(words32::add_word_ip(t.data(), 2, 1), 1);
    EXPECT_EQ(t, (Digits{0, 0, ~u32(0)}));
}

TEST(Words32Test, Products) {
    std::mt19937_64 rng(2);
    const auto check = [&](const Digits& a, const Digits& b) {
        const u64 n = a.size(), m = b.size();
        const Digits want = product(a, b);
        Digits t(n + m + 1, kCanary), scratch(words32::scratch_words(n + m) + 1, kCanary);
        words32::mul_basecase(t.data(), a.data(), n, b.data(), m);
        ASSERT_EQ(t.back(), kCanary);
        t.pop_back();
        ASSERT_EQ(t, want) << n << " " << m;
        t.assign(n + m + 1, kCanary);
        words32::mul_karatsuba(t.data(), a.data(), n, b.data(), m, scratch.data());
        ASSERT_EQ(scratch.back(), kCanary);
        ASSERT_EQ(t.back(), kCanary);
        t.pop_back();
        ASSERT_EQ(t, want) << n << " " << m;
    };
    for (u64 n = 1; n <= 100; n++) {
        for (int round = 0; round < 6; round++) {
            check(random_digits(n, rng), random_digits(n, rng));
            check(random_digits(n, rng), random_digits(1 + rng() % 300, rng));
            if (HasFatalFailure()) return;
            const Digits a = random_digits(n, rng), want = product(a, a);
            Digits t(2 * n), scratch(words32::scratch_words(2 * n));
            words32::sqr_basecase(t.data(), a.data(), n);
            ASSERT_EQ(t, want) << n;
            t.assign(2 * n, kCanary);
            words32::sqr_karatsuba(t.data(), a.data(), n, scratch.data());
            ASSERT_EQ(t, want) << n;
        }
    }
    for (u64 m : {14, 15, 27, 28, 29, 40}) {
        for (u64 n : {m + 1, 2 * m, 2 * m + 1, 3 * m, 4 * m - 1, 4 * m, 7 * m + 3}) {
            check(random_digits(n, rng), random_digits(m, rng));
            if (HasFatalFailure()) return;
        }
    }
}

}  // namespace
}  // namespace trel
