// Operands and buffers for tests of the FFT.
#pragma once

#include <gmp.h>

#include <cstring>
#include <random>
#include <vector>

#include "arith/fft/fft_transform.h"
#include "base/simd/isa.h"
#include "support/scratch.h"

namespace kalvor_test {

using trel::FftParameters;
using trel::u32;
using trel::u64;
using trel::Word;

enum class Kind { random, ones, high, sparse, positive, negative };

// L words; high: every b-bit field is at least 3/4 2^b; positive, negative: the largest and the smallest
// signed field.
inline std::vector<Word> operand(Kind kind, u64 L, u32 b, u64 seed) {
    std::mt19937_64 rng(seed);
    std::vector<Word> A(L, 0);
    switch (kind) {
        case Kind::random:
            for (Word& w : A) w = rng();
            break;
        case Kind::ones:
            for (Word& w : A) w = ~Word(0);
            break;
        case Kind::high:
        case Kind::positive:
        case Kind::negative:
            for (u64 bit = 0; bit + b <= 64 * L; bit += b) {
                const u64 top = u64(1) << (b - 1);
                const u64 point = kind == Kind::high       ? top + top / 2 + rng() % (top / 2)
                                  : kind == Kind::positive ? top - 1 - rng() % 4
                                                           : top + rng() % 4;
                A[bit / 64] |= point << (bit % 64);
                if (bit % 64 + b > 64) A[bit / 64 + 1] |= point >> (64 - bit % 64);
            }
            break;
        case Kind::sparse:
            for (u64 i = 0; i < L; i += 1 + rng() % 37) A[i] = u64(1) << (rng() % 64);
            break;
    }
    return A;
}

inline const mp_limb_t* limbs(const Word* p) {
    return reinterpret_cast<const mp_limb_t*>(p);
}

// The exact product by GMP.
inline std::vector<Word> product(const std::vector<Word>& A, const std::vector<Word>& B) {
    std::vector<Word> C(A.size() + B.size(), 0);
    if (A.empty() || B.empty()) return C;
    const auto& longer = A.size() >= B.size() ? A : B;
    const auto& shorter = A.size() >= B.size() ? B : A;
    mpn_mul(reinterpret_cast<mp_limb_t*>(C.data()), limbs(longer.data()), longer.size(),
            limbs(shorter.data()), shorter.size());
    return C;
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

}  // namespace kalvor_test
