// One lane for each word of a chunk. Horner's rule in 2^16 would multiply and reduce at every chunk, but two
// steps of it multiply by 2^32, which is 2 modulo M: so the chunks of odd and even index have sums of their
// own, which only double from one pair to the next and are reduced once in sixteen.
//
// Sums that are not reduced keep 0 apart from M: every step maps only 0 to 0.
#include "platform/fileio/block_checksum.h"

#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

constexpr u64 kM = (u64(1) << 31) - 1;
constexpr u64 kLow = 0xffffffff;
constexpr u64 kPairsBetweenFolds = 16;

// Below 2^33 + a / 2^31, the same modulo M.
TREL_INLINE U64x8 fold(U64x8 a) {
    return (a & broadcast(kM)) + shift_right(a, 31u);
}
TREL_INLINE u64 fold(u64 a) {
    return (a & kM) + (a >> 31);
}

// 2 sum + 2 low half + high half: the sum doubled plus the word.
TREL_INLINE U64x8 doubled_plus_word(U64x8 sum, const u64* words) {
    const U64x8 w = load(words);
    const U64x8 half = sum + (w & broadcast(kLow));
    return half + half + shift_right(w, 32u);
}

u32 block(const u64* words, u64 n_chunks, u32 seed) {
    // The value is odd * 2^16 + even.
    U64x8 odd = zero_u64();
    U64x8 even = set(u64(0), 0, 0, 0, 0, 0, 0, u64(seed));
    if (n_chunks & 1) {
        odd = even;
        even = doubled_plus_word(zero_u64(), words);
        words += 8;
    }
    u64 pairs = n_chunks / 2;
    // Reduced sums are below 2^34, words below 2^34: sixteen doublings end below 2^51.
    for (; pairs >= kPairsBetweenFolds; pairs -= kPairsBetweenFolds) {
        TREL_UNROLL for (u64 i = 0; i < kPairsBetweenFolds; i++) {
            odd = doubled_plus_word(odd, words + 16 * i);
            even = doubled_plus_word(even, words + 16 * i + 8);
        }
        words += 16 * kPairsBetweenFolds;
        odd = fold(odd);
        even = fold(even);
    }
    for (; pairs != 0; pairs--) {
        odd = doubled_plus_word(odd, words);
        even = doubled_plus_word(even, words + 8);
        words += 16;
    }
    odd = fold(fold(odd));
    const U64x8 value = fold(fold(shift_left(odd, 16u) + fold(even)));

    u64 lanes[8];
    store(lanes, value);
    u64 sum = 0;
    for (int i = 0; i < 8; i++) sum += lanes[i] << (14 - 2 * i);
    return static_cast<u32>(fold(fold(sum)));
}

void blocks(u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed) {
    const u64* words = static_cast<const u64*>(data);
    for (u64 i = 0; i < n_blocks; i++) {
        checksums[i] = block(words, block_bytes / FileIO::kChecksumChunk, seed);
        words += block_bytes / 8;
    }
}

}  // namespace

extern const FileIO::BlockChecksum kBlockChecksum;
constinit const FileIO::BlockChecksum kBlockChecksum{blocks};

}  // namespace trel::TREL_ISA
