// Plain arithmetic on word vectors (least significant first), written from the definitions with 32-bit digits, and
// the word patterns that break carries. Slow on purpose.
#pragma once

#include <random>
#include <vector>

#include "os/types.h"

namespace reference {

using trel::u32;
using trel::u64;
using trel::Word;
using Words = std::vector<Word>;

inline std::vector<u32> digits(const Words& a) {
    std::vector<u32> d(2 * a.size());
    for (u64 i = 0; i < a.size(); i++) {
        d[2 * i] = u32(a[i]);
        d[2 * i + 1] = u32(a[i] >> 32);
    }
    return d;
}

inline Words words(const std::vector<u32>& d) {
    Words a(d.size() / 2);
    for (u64 i = 0; i < a.size(); i++) a[i] = d[2 * i] | Word(d[2 * i + 1]) << 32;
    return a;
}

inline Words mul(const Words& a, const Words& b) {
    const auto x = digits(a), y = digits(b);
    std::vector<u32> p(x.size() + y.size(), 0);
    for (u64 i = 0; i < x.size(); i++) {
        u64 carry = 0;
        for (u64 j = 0; j < y.size(); j++) {
            carry += u64(x[i]) * y[j] + p[i + j];
            p[i + j] = u32(carry);
            carry >>= 32;
        }
        p[i + y.size()] = u32(carry);
    }
    return words(p);
}

// a + b + carry, equal lengths; the carry out is appended as a word.
inline Words add(const Words& a, const Words& b, u64 carry) {
    auto x = digits(a);
    const auto y = digits(b);
    for (u64 i = 0; i < x.size(); i++) {
        carry += u64(x[i]) + y[i];
        x[i] = u32(carry);
        carry >>= 32;
    }
    Words r = words(x);
    r.push_back(carry);
    return r;
}

// a - b - borrow, equal lengths; the borrow out is appended as a word.
inline Words sub(const Words& a, const Words& b, u64 borrow) {
    auto x = digits(a);
    const auto y = digits(b);
    for (u64 i = 0; i < x.size(); i++) {
        const u64 d = u64(x[i]) - y[i] - borrow;
        x[i] = u32(d);
        borrow = d >> 32 & 1;
    }
    Words r = words(x);
    r.push_back(borrow);
    return r;
}

// Random words in one of several shapes: uniform, all ones, all zeros, runs of ones and zeros, edge words.
template <class Rng>
Words pattern(u64 n, Rng& rng) {
    static constexpr Word kEdges[] = {0, 1, 2, Word(1) << 63, ~Word(0), ~Word(0) - 1, Word(1) << 32, 0xffffffff};
    Words a(n);
    switch (rng() % 8) {
        case 0:
            for (Word& w : a) w = ~Word(0);
            break;
        case 1:
            break;
        case 2:
        case 3:
            for (u64 i = 0; i < n;) {
                const Word fill = rng() % 2 ? ~Word(0) : 0;
                for (u64 run = 1 + rng() % (1 + n / 2); run > 0 && i < n; run--) a[i++] = fill;
            }
            if (n > 0 && rng() % 2) a[rng() % n] ^= Word(1) << rng() % 64;
            break;
        case 4:
            for (Word& w : a) w = kEdges[rng() % 8];
            break;
        default:
            for (Word& w : a) w = rng();
    }
    return a;
}

}  // namespace reference
