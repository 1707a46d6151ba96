// SHA-256 with the processor's SHA extensions. The build compiles this file alone with -msha and -msse4.1, so
// it includes intrinsics and its own header only: an inline function from elsewhere could be kept for the
// whole program in the form that it takes here.
#include <immintrin.h>

#include "base/hash/sha256_blocks.h"

namespace trel {

// The instructions want the state's words as two vectors, here with the highest lane first: a b e f and
// c d g h. One of them does two rounds, so a vector of four words of the message makes two of them.
void sha256_compress_sha(u32* state, const u8* blocks, u64 n_blocks) {
    const __m128i big_endian = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    __m128i* const words = reinterpret_cast<__m128i*>(state);

    const __m128i cdab = _mm_shuffle_epi32(_mm_loadu_si128(words), 0xB1);
    const __m128i efgh = _mm_shuffle_epi32(_mm_loadu_si128(words + 1), 0x1B);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xF0);

    for (; n_blocks > 0; n_blocks--, blocks += 64) {
        const __m128i abef_before = abef, cdgh_before = cdgh;
        __m128i w[4];
#pragma GCC unroll 16
        for (int i = 0; i < 16; i++) {
            __m128i& now = w[i % 4];
            if (i < 4) {
                now = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks + 16 * i)),
                                       big_endian);
            } else {
                const __m128i last = w[(i + 3) % 4];
                const __m128i seven_before = _mm_alignr_epi8(last, w[(i + 2) % 4], 4);
                now = _mm_add_epi32(_mm_sha256msg1_epu32(now, w[(i + 1) % 4]), seven_before);
                now = _mm_sha256msg2_epu32(now, last);
            }
            const __m128i round = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kSha256Round + 4 * i));
            const __m128i sum = _mm_add_epi32(now, round);
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0E));
        }
        abef = _mm_add_epi32(abef, abef_before);
        cdgh = _mm_add_epi32(cdgh, cdgh_before);
    }

    const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    _mm_storeu_si128(words, _mm_blend_epi16(feba, dchg, 0xF0));
    _mm_storeu_si128(words + 1, _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace trel
