#include "digits/files/word_digits.h"

#include <immintrin.h>

#include "base/simd/kernel.h"

namespace trel::TREL_ISA {
extern const kalvor::WordDigits word_digits;

namespace {

// The three digits of every number below 1000, first digit in the lowest byte.
struct Triples {
    u32 digits[1000];
};
constexpr Triples make_triples() {
    Triples t{};
    for (u32 i = 0; i < 1000; i++) t.digits[i] = i / 100 | i / 10 % 10 << 8 | i % 10 << 16;
    return t;
}
constexpr Triples kTriples = make_triples();

// Sixteen digits of two numbers below 10^8. Each step splits every lane into quotient and remainder of half
// its digits; the quotient, lower in memory, comes first. The reciprocals are exact for their ranges:
// 3518437209 = ceil(2^45 / 10^4), 5243 = ceil(2^19 / 100), 6554 = ceil(2^16 / 10).
inline __m128i sixteen_digits(u64 first, u64 second) {
    const __m128i x = _mm_set_epi64x(static_cast<long long>(second), static_cast<long long>(first));
    const __m128i q4 = _mm_srli_epi64(_mm_mul_epu32(x, _mm_set1_epi64x(3518437209LL)), 45);
    const __m128i r4 = _mm_sub_epi64(x, _mm_mul_epu32(q4, _mm_set1_epi64x(10000)));
    const __m128i y = _mm_or_si128(q4, _mm_slli_epi64(r4, 32));
    const __m128i q2 = _mm_srli_epi16(_mm_mulhi_epu16(y, _mm_set1_epi16(5243)), 3);
    const __m128i r2 = _mm_sub_epi16(y, _mm_mullo_epi16(q2, _mm_set1_epi16(100)));
    const __m128i z = _mm_or_si128(q2, _mm_slli_epi32(r2, 16));
    const __m128i q1 = _mm_mulhi_epu16(z, _mm_set1_epi16(6554));
    const __m128i r1 = _mm_sub_epi16(z, _mm_mullo_epi16(q1, _mm_set1_epi16(10)));
    return _mm_or_si128(q1, _mm_slli_epi16(r1, 8));
}

void decimal(u8* values, const Word* words, u64 n) noexcept {
    constexpr u64 k10_8 = 100000000;
    constexpr u64 k10_16 = k10_8 * k10_8;
    for (u64 i = 0; i < n; i++) {
        const u64 top = words[i] / k10_16;
        const u64 rest = words[i] % k10_16;
        const u32 head = kTriples.digits[top < 1000 ? top : 0];
        const __m128i tail = sixteen_digits(rest / k10_8, rest % k10_8);
        __builtin_memcpy(values, &head, 4);  // the fourth byte is written again below
        _mm_storeu_si128(reinterpret_cast<__m128i*>(values + 3), tail);
        values += 19;
    }
}

void hexadecimal(u8* values, const Word* words, u64 n) noexcept {
    const __m128i nibble = _mm_set1_epi8(15);
    for (u64 i = 0; i < n; i++) {
        const __m128i x = _mm_cvtsi64_si128(static_cast<long long>(__builtin_bswap64(words[i])));
        const __m128i high = _mm_and_si128(_mm_srli_epi64(x, 4), nibble);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(values),
                         _mm_unpacklo_epi8(high, _mm_and_si128(x, nibble)));
        values += 16;
    }
}

}  // namespace

constinit const kalvor::WordDigits word_digits{TREL_TEXT_OF(TREL_ISA), decimal, hexadecimal};

}  // namespace trel::TREL_ISA
