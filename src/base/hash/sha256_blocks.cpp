#include "base/hash/sha256_blocks.h"

#include <immintrin.h>

#include <bit>

#include "os/cpu.h"

namespace trel {
namespace {

// The fractional parts of the cube roots of the first 64 primes.
constexpr u32 kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// The rest of the file is plain x86-64, so that it runs on any processor.
#define KALVOR_SHA256 __attribute__((target("sha,sse4.1,ssse3")))

// Words 16 to 19 of the message from words 0 to 15, the lowest first.
KALVOR_SHA256 inline __m128i next_words(__m128i w0, __m128i w4, __m128i w8, __m128i w12) {
    const __m128i sum = _mm_add_epi32(_mm_sha256msg1_epu32(w0, w4), _mm_alignr_epi8(w12, w8, 4));
    return _mm_sha256msg2_epu32(sum, w12);
}

}  // namespace

void sha256_blocks_plain(u32 state[8], const u8* data, u64 n) {
    for (; n != 0; n--, data += 64) {
        u32 w[64];
        for (int i = 0; i < 16; i++) {
            w[i] = u32(data[4 * i]) << 24 | u32(data[4 * i + 1]) << 16 | u32(data[4 * i + 2]) << 8 |
                   u32(data[4 * i + 3]);
        }
        for (int i = 16; i < 64; i++) {
            const u32 s0 = std::rotr(w[i - 15], 7) ^ std::rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            const u32 s1 = std::rotr(w[i - 2], 17) ^ std::rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        u32 a = state[0], b = state[1], c = state[2], d = state[3], e = state[4], f = state[5], g = state[6],
            h = state[7];
        for (int i = 0; i < 64; i++) {
            const u32 s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
            const u32 t1 = h + s1 + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
            const u32 s0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
            const u32 t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        const u32 sums[8] = {a, b, c, d, e, f, g, h};
        for (int i = 0; i < 8; i++) state[i] += sums[i];
    }
}

// The instructions hold the eight words of the state as (a, b, e, f) and (c, d, g, h), the first one on top.
KALVOR_SHA256 void sha256_blocks_built_in(u32 state[8], const u8* data, u64 n) {
    const __m128i bytes = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    __m128i* const place = reinterpret_cast<__m128i*>(state);
    const __m128i badc = _mm_shuffle_epi32(_mm_loadu_si128(place), 0xb1);
    const __m128i hgfe = _mm_shuffle_epi32(_mm_loadu_si128(place + 1), 0x1b);
    __m128i abef = _mm_alignr_epi8(badc, hgfe, 8);
    __m128i cdgh = _mm_blend_epi16(hgfe, badc, 0xf0);
    for (; n != 0; n--, data += 64) {
        const __m128i abef_before = abef, cdgh_before = cdgh;
        __m128i w[4];
        for (int i = 0; i < 4; i++) {
            w[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data) + i), bytes);
        }
        for (int i = 0; i < 16; i++) {
            const __m128i round =
                _mm_add_epi32(w[0], _mm_loadu_si128(reinterpret_cast<const __m128i*>(kRound) + i));
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, round);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(round, 0x0e));
            const __m128i next = next_words(w[0], w[1], w[2], w[3]);
            w[0] = w[1];
            w[1] = w[2];
            w[2] = w[3];
            w[3] = next;
        }
        abef = _mm_add_epi32(abef, abef_before);
        cdgh = _mm_add_epi32(cdgh, cdgh_before);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1b), dchg = _mm_shuffle_epi32(cdgh, 0xb1);
    _mm_storeu_si128(place, _mm_blend_epi16(feba, dchg, 0xf0));
    _mm_storeu_si128(place + 1, _mm_alignr_epi8(dchg, feba, 8));
}

bool sha256_is_built_in() {
    static const bool found = [] {
        if (os::cpuid(0).eax < 7) return false;
        const u32 one = os::cpuid(1).ecx;
        const bool ssse3 = (one >> 9 & 1) != 0, sse41 = (one >> 19 & 1) != 0;
        return ssse3 && sse41 && (os::cpuid(7).ebx >> 29 & 1) != 0;
    }();
    return found;
}

}  // namespace trel
