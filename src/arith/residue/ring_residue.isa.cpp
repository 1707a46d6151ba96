// Sums of every 24th and of every 16th word: of the whole words modulo 2^64, and of their high halves. Sums
// of the low halves, which tell the carries, follow from both.
#include "arith/residue/ring_residue.h"
#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

// Arrays from here on have mostly left the second cache when they are summed, because a transform has passed
// since. They are fetched kAhead words before they are read: out of the third cache that is twice as fast.
constexpr u64 kFarBlocks = (u64(1) << 12) / RingSumKernels::kBlock;
constexpr u64 kAhead = 256;

template <u32 vectors, bool ahead>
TREL_INLINE void sum(const Word* A, u64 blocks, u64* words, u64* high) {
    U64x8 w[vectors], h[vectors];
    TREL_UNROLL for (u32 i = 0; i < vectors; i++) w[i] = h[i] = zero_u64();
    for (const Word* const end = A + blocks * RingSumKernels::kBlock; A < end; A += 8 * vectors) {
        TREL_UNROLL for (u32 i = 0; i < vectors; i++) {
            if constexpr (ahead) __builtin_prefetch(A + kAhead + 8 * i);
            const U64x8 x = load(A + 8 * i);
            w[i] = w[i] + x;
            h[i] = h[i] + shift_right(x, 32);
        }
    }
    TREL_UNROLL for (u32 i = 0; i < vectors; i++) {
        store(words + 8 * i, w[i]);
        store(high + 8 * i, h[i]);
    }
}

template <u32 vectors>
TREL_INLINE void sum_of_any(const Word* A, u64 blocks, u64* words, u64* high) {
    if (blocks < kFarBlocks) {
        sum<vectors, false>(A, blocks, words, high);
    } else {
        sum<vectors, true>(A, blocks, words, high);
    }
}

void sum24(const Word* A, u64 blocks, u64* words, u64* high) {
    sum_of_any<3>(A, blocks, words, high);
}
void sum16(const Word* A, u64 blocks, u64* words, u64* high) {
    sum_of_any<2>(A, blocks, words, high);
}

}  // namespace

extern const RingSumKernels ring_sum_kernels;
constinit const RingSumKernels ring_sum_kernels{sum24, sum16};

}  // namespace trel::TREL_ISA
