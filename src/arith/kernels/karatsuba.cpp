#include "arith/kernels/karatsuba.h"

#include <algorithm>
#include <utility>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"

namespace trel {
namespace {

struct Words64 {
    using W = Word;
    const ParallelContext& P;
    u64 sqr_threshold = karatsuba_thresholds().sqr64;
    u64 mul_threshold = karatsuba_thresholds().mul64;

    static u8 add_n(Word* T, const Word* A, const Word* B, u64 n) { return trel::add_n(T, A, B, n); }
    static u8 sub_n(Word* T, const Word* A, const Word* B, u64 n) { return trel::sub_n(T, A, B, n); }
    static u8 add_word(Word* T, u64 n, Word c) { return add_word_ip(T, n, c); }
    static u8 sub_word(Word* T, u64 n, Word c) { return sub_word_ip(T, n, c); }
    static void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
        trel::mul_basecase(T, A, n, B, m);
    }
    static void sqr_basecase(Word* T, const Word* A, u64 n) { trel::sqr_basecase(T, A, n); }

    bool difference_in_tasks(Word* D, const Word* low, u64 L, const Word* high, u64 H, bool low_is_larger) const {
        constexpr u64 kSerial = 0x20000;  // words of the high half
        if (H <= kSerial) return false;
        const PlacedWords a{low, L, 0}, b{high, H, 0};
        bp_sub(D, low_is_larger ? a : b, low_is_larger ? b : a, 0, 0, i64(L), P);
        return true;
    }
};

// s + s/2 + s/4 + ... from n words while at least `threshold`, each rounded up to even.
u64 sum_of_halves(u64 n, u64 threshold) {
    u64 total = 0;
    for (u64 s = n; s >= threshold; s /= 2) {
        s = (s + 1) & ~u64(1);
        total += s;
    }
    return total;
}

}  // namespace

void mul_karatsuba(Word* T, const Word* A, u64 n, const Word* B, u64 m, Word* scratch, const ParallelContext& P) {
    if (n < m) {
        std::swap(A, B);
        std::swap(n, m);
    }
    Karatsuba{Words64{P}}.mul(T, A, n, B, m, scratch);
}

void sqr_karatsuba(Word* T, const Word* A, u64 n, Word* scratch, const ParallelContext& P) {
    Karatsuba{Words64{P}}.sqr(T, A, n, scratch);
}

const KaratsubaThresholds& karatsuba_thresholds() {
    static constinit const KaratsubaThresholds thresholds;
    return thresholds;
}

KaratsubaSizes karatsuba_sizes(u64 bits) {
    const u64 w = bits / 64 + (bits % 64 != 0);
    const KaratsubaThresholds& thresholds = karatsuba_thresholds();
    const u64 sqr = 8 * sum_of_halves(w, thresholds.sqr64);
    const u64 mul = w >= thresholds.mul64 ? 16 * w + 8 * sum_of_halves(w, thresholds.mul64) : 0;
    return {(8 * w + 71) & ~u64(63), (24 * w + std::max(sqr, mul) + 71) & ~u64(63)};
}

}  // namespace trel
