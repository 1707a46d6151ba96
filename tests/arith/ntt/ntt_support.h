// Operands, products by GMP and checked outputs for tests of the transforms.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/transform.h"
#include "base/simd/isa.h"
#include "platform/parallel/spawn_framework.h"
#include "support/scratch.h"

namespace kalvor_test {

using trel::u32;
using trel::u64;
using trel::Word;

enum class Kind { random, ones, sparse, runs };
constexpr Kind kKinds[] = {Kind::random, Kind::ones, Kind::sparse, Kind::runs};

// L words. runs: stretches of ones and zeros, which carry through whole blocks.
inline std::vector<Word> operand(Kind kind, u64 L, u64 seed) {
    std::mt19937_64 rng(seed);
    std::vector<Word> A(L, 0);
    switch (kind) {
        case Kind::random:
            for (Word& w : A) w = rng();
            break;
        case Kind::ones:
            for (Word& w : A) w = ~Word(0);
            break;
        case Kind::sparse:
            for (u64 i = 0; i < L; i += 1 + rng() % 37) A[i] = u64(1) << (rng() % 64);
            break;
        case Kind::runs:
            for (u64 i = 0; i < L;) {
                const Word fill = rng() % 2 == 0 ? 0 : ~Word(0);
                const u64 n = 1 + rng() % (1 + L / 4);
                for (u64 k = 0; k < n && i < L; k++, i++) A[i] = fill;
                if (i < L) A[i++] = rng();
            }
            break;
    }
    return A;
}

inline std::vector<Word> product(const std::vector<Word>& A, const std::vector<Word>& B) {
    std::vector<Word> C(A.size() + B.size(), 0);
    if (A.empty() || B.empty()) return C;
    const auto& longer = A.size() >= B.size() ? A : B;
    const auto& shorter = A.size() >= B.size() ? B : A;
    const auto limbs = [](const Word* p) { return reinterpret_cast<const mp_limb_t*>(p); };
    mpn_mul(reinterpret_cast<mp_limb_t*>(C.data()), limbs(longer.data()), longer.size(),
            limbs(shorter.data()), shorter.size());
    return C;
}

// A number modulo 2^61 - 1 (2^64 = 8).
inline u64 residue_61(const std::vector<Word>& A) {
    constexpr u64 p = (u64(1) << 61) - 1;
    unsigned __int128 r = 0;
    for (u64 i = A.size(); i-- > 0;) {
        r = 8 * r + A[i];
        r = (r & p) + (r >> 61);
    }
    return static_cast<u64>(r % p);
}
// Of A B.
inline u64 product_residue_61(const std::vector<Word>& A, const std::vector<Word>& B) {
    const auto r = static_cast<unsigned __int128>(residue_61(A)) * residue_61(B);
    return static_cast<u64>(r % ((u64(1) << 61) - 1));
}

// C is A B: every word by GMP, or all of them modulo 2^61 - 1, where GMP would take seconds.
inline void check_product(const std::vector<Word>& A, const std::vector<Word>& B, const std::vector<Word>& C,
                          bool by_gmp) {
    ASSERT_EQ(C.size(), A.size() + B.size());
    if (by_gmp) {
        ASSERT_EQ(C, product(A, B));
    } else {
        ASSERT_EQ(residue_61(C), product_residue_61(A, B));
    }
}

// Of the longest records the best instruction set takes all, another one that the suites are run again with
// one in eight: what it has of its own, the kernels, works on pieces.
inline bool is_for_another_level(u64 seed, trel::Isa level = trel::active_isa()) {
    return level != trel::available_isas().back() && seed % 8 != 0;
}

// Words of a window between guard words.
class Output {
  public:
    explicit Output(u64 n) : words_(n + 2, kGuard) {}
    Word* data() { return words_.data() + 1; }
    std::vector<Word> words() const { return {words_.begin() + 1, words_.end() - 1}; }
    bool guards_intact() const { return words_.front() == kGuard && words_.back() == kGuard; }

  private:
    static constexpr Word kGuard = 0x5a5a5a5a12345678;
    std::vector<Word> words_;
};

// A and B multiplied by a transform, words skip .. total - 1.
inline std::vector<Word> multiply(const trel::Transform& t, const trel::ParallelContext& parallel,
                                  const std::vector<Word>& A, const std::vector<Word>& B, u64 skip,
                                  u64 total) {
    Scratch x(t.data_bytes()), y(t.data_bytes()), scratch(t.scratch_bytes());
    Output T(total - skip);
    t.forward(parallel, x.data(), A.data(), A.size(), scratch.data());
    if (&A == &B) {
        t.inverse(parallel, T.data(), skip, total, x.data(), x.data(), x.data(), scratch.data());
    } else {
        t.forward(parallel, y.data(), B.data(), B.size(), scratch.data());
        t.inverse(parallel, T.data(), skip, total, x.data(), x.data(), y.data(), scratch.data());
    }
    EXPECT_TRUE(T.guards_intact());
    EXPECT_TRUE(x.guards_intact() && y.guards_intact() && scratch.guards_intact());
    return T.words();
}

// A product that fills the transform, checked as above, and up to 2^20 words of odd seeds a window of it, of
// even ones a square.
inline void check_long_products(const trel::Transform& t, const trel::ParallelContext& parallel,
                                const std::vector<Word>& A, const std::vector<Word>& B, u64 seed,
                                bool by_gmp) {
    const auto C = multiply(t, parallel, A, B, 0, A.size() + B.size());
    check_product(A, B, C, by_gmp);
    if (::testing::Test::HasFatalFailure() || C.size() > u64(1) << 20) return;
    if (seed % 2 == 1) {
        std::mt19937_64 rng(seed);
        const u64 skip = rng() % C.size(), total = skip + 1 + rng() % (C.size() - skip);
        ASSERT_EQ(multiply(t, parallel, A, B, skip, total),
                  std::vector<Word>(C.begin() + static_cast<std::ptrdiff_t>(skip),
                                    C.begin() + static_cast<std::ptrdiff_t>(total)))
            << skip << " .. " << total;
    } else {
        const auto S = operand(kKinds[seed / 2 % 4], t.convolution_words() / 2, seed + 2);
        check_product(S, S, multiply(t, parallel, S, S, 0, 2 * S.size()), by_gmp);
    }
}

// The product of LA and LB words, and a square, whole and in some windows.
inline void check_products(const trel::Transform& t, const trel::ParallelContext& parallel, Kind kind, u64 LA,
                           u64 LB, u64 seed) {
    const auto A = operand(kind, LA, seed), B = operand(kind, LB, seed + 1);
    const auto C = product(A, B);
    ASSERT_EQ(multiply(t, parallel, A, B, 0, LA + LB), C) << "LA=" << LA << " LB=" << LB << " seed=" << seed;
    std::mt19937_64 rng(seed);
    for (u32 i = 0; i < 2; i++) {
        u64 skip = rng() % (LA + LB), total = skip + 1 + rng() % (LA + LB - skip);
        if (i == 0) total = LA + LB;
        const std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(skip),
                                     C.begin() + static_cast<std::ptrdiff_t>(total));
        ASSERT_EQ(multiply(t, parallel, A, B, skip, total), want)
            << "LA=" << LA << " LB=" << LB << " skip=" << skip << " total=" << total << " seed=" << seed;
    }
    if (2 * LA <= t.convolution_words()) {
        ASSERT_EQ(multiply(t, parallel, A, A, 0, 2 * LA), product(A, A)) << "LA=" << LA << " seed=" << seed;
    }
}

}  // namespace kalvor_test
