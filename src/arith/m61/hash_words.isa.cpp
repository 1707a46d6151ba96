// Four vectors of partial sums, each multiplied by 8^-32 before the next 32 words are added: a rotation by 26
// in the ring of 61 bits (3 * -32 = -96 = 26 modulo 61). Runs at the speed of the memory.
#include "arith/m61/hash_words.h"

#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

constexpr u64 kM61 = (u64(1) << 61) - 1;

// x * 2^s for x < 2^63: at most 2^61 + 2^(s+2) for s < 58.
TREL_INLINE U64x8 rotate(U64x8 x, unsigned s, U64x8 m61) {
    return (shift_left(x, s) & m61) + shift_right(x, 61 - s);
}
TREL_INLINE U64x8 fold(U64x8 x, U64x8 m61) {
    return (x & m61) + shift_right(x, 61);
}

// A sum stays below 2^62 + 2^28 + 8.
TREL_INLINE U64x8 step(U64x8 sum, const Word* words, U64x8 m61) {
    return rotate(sum, 26, m61) + fold(load(words), m61);
}

void hash_blocks(const Word* words, u64 blocks, u64 sums[8]) {
    const U64x8 m61 = broadcast(kM61);
    U64x8 s0 = zero_u64(), s1 = s0, s2 = s0, s3 = s0;
    for (; blocks > 0; blocks--, words += 32) {
        s0 = step(s0, words, m61);
        s1 = step(s1, words + 8, m61);
        s2 = step(s2, words + 16, m61);
        s3 = step(s3, words + 24, m61);
    }
    // 8^8 = 2^24, 8^16 = 2^48, 8^24 = 2^72 = 2^11.
    const U64x8 low = fold(s0 + rotate(s1, 24, m61), m61);
    const U64x8 high = fold(rotate(s2, 48, m61) + rotate(s3, 11, m61), m61);
    store(sums, low + high);
}

}  // namespace

extern const m61::HashWords kHashWords;
constinit const m61::HashWords kHashWords{hash_blocks};

}  // namespace trel::TREL_ISA
