// Lane operations of the Code 17 ends that vec.h does not have: bytes of eight points to lanes and back, and
// carries from lane to lane. Kernel files only; everything is private to the file that includes it.
//
// A "row" is 32 bytes, half a vector: half h of vector i belongs to point i + 4 h, so that 128-bit lanes
// never have to leave their half.
#pragma once

#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

#if defined(TREL_ISA_avx512)

TREL_INLINE U64x8 load_rows(const u8* low, const u8* high) {
    return {
        _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(low))),
                           _mm256_loadu_si256(reinterpret_cast<const __m256i*>(high)), 1)};
}
TREL_INLINE void store_row_low(u8* p, U64x8 a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_castsi512_si256(a.v));
}
TREL_INLINE void store_row_high(u8* p, U64x8 a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_extracti64x4_epi64(a.v, 1));
}
// The first 24 bytes of each row as four lanes of 6 bytes; bytes from `bytes` on count as zero.
template <u32 bytes>
TREL_INLINE U64x8 spread_48(U64x8 a) {
    const __m512i spread = _mm512_permutexvar_epi32(
        _mm512_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6, 8, 9, 10, 11, 11, 12, 13, 14), a.v);
    const auto lane = [](u32 first) {
        u64 index = 0;
        for (u32 q = 0; q < 8; q++) {
            const u64 from = q < 6 && first + q < bytes ? (first + q) % 12 : 0x80;
            index |= from << (8 * q);
        }
        return static_cast<long long>(index);
    };
    const __m512i index =
        _mm512_setr_epi64(lane(0), lane(6), lane(12), lane(18), lane(0), lane(6), lane(12), lane(18));
    return {_mm512_shuffle_epi8(spread, index)};
}
// The low (high) 128 bits of the rows of a, then those of b.
TREL_INLINE U64x8 join_low(U64x8 a, U64x8 b) {
    return {_mm512_permutex2var_epi64(a.v, _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13), b.v)};
}
TREL_INLINE U64x8 join_high(U64x8 a, U64x8 b) {
    return {_mm512_permutex2var_epi64(a.v, _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15), b.v)};
}
// Lanes of a moved up by n = 1 or 2, the last lanes of `before` moved in.
template <int n>
TREL_INLINE U64x8 move_up(U64x8 a, U64x8 before) {
    return {_mm512_alignr_epi64(a.v, before.v, 8 - n)};
}
// Loaded once: the compiler would rather read memory again for every use.
TREL_INLINE F64x8 loaded(F64x8 a) {
    asm("" : "+v"(a.v));
    return a;
}
TREL_INLINE bool any_of_bits(U64x8 a, U64x8 bits) {
    return _mm512_test_epi64_mask(a.v, bits.v) != 0;
}

#else

TREL_INLINE U64x8 load_rows(const u8* low, const u8* high) {
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(low)),
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(high))};
}
TREL_INLINE void store_row_low(u8* p, U64x8 a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.lo);
}
TREL_INLINE void store_row_high(u8* p, U64x8 a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.hi);
}
template <u32 bytes>
TREL_INLINE U64x8 spread_48(U64x8 a) {
    const __m256i order = _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6);
    const auto lane = [](u32 first) {
        u64 index = 0;
        for (u32 q = 0; q < 8; q++) {
            const u64 from = q < 6 && first + q < bytes ? (first + q) % 12 : 0x80;
            index |= from << (8 * q);
        }
        return static_cast<long long>(index);
    };
    const __m256i index = _mm256_setr_epi64x(lane(0), lane(6), lane(12), lane(18));
    return {_mm256_shuffle_epi8(_mm256_permutevar8x32_epi32(a.lo, order), index),
            _mm256_shuffle_epi8(_mm256_permutevar8x32_epi32(a.hi, order), index)};
}
TREL_INLINE U64x8 join_low(U64x8 a, U64x8 b) {
    return {_mm256_permute2x128_si256(a.lo, b.lo, 0x20), _mm256_permute2x128_si256(a.hi, b.hi, 0x20)};
}
TREL_INLINE U64x8 join_high(U64x8 a, U64x8 b) {
    return {_mm256_permute2x128_si256(a.lo, b.lo, 0x31), _mm256_permute2x128_si256(a.hi, b.hi, 0x31)};
}
template <int n>
TREL_INLINE U64x8 move_up(U64x8 a, U64x8 before) {
    const __m256i lo = _mm256_permute2x128_si256(before.hi, a.lo, 0x21);
    const __m256i hi = _mm256_permute2x128_si256(a.lo, a.hi, 0x21);
    if constexpr (n == 2) return {lo, hi};
    return {_mm256_alignr_epi8(a.lo, lo, 8), _mm256_alignr_epi8(a.hi, hi, 8)};
}
TREL_INLINE F64x8 loaded(F64x8 a) {
    asm("" : "+x"(a.lo), "+x"(a.hi));
    return a;
}
TREL_INLINE bool any_of_bits(U64x8 a, U64x8 bits) {
    return _mm256_testz_si256(_mm256_or_si256(a.lo, a.hi), bits.lo) == 0;
}

#endif

}  // namespace
}  // namespace trel::TREL_ISA
