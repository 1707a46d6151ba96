// Vector types of the avx512 level: one 512-bit register each. See vec.h.
#pragma once

#include <immintrin.h>

#include "base/simd/kernel.h"

namespace trel::avx512 {
namespace {

struct F64x8 {
    __m512d v;
};
struct U64x8 {
    __m512i v;
};
// One bit a lane.
struct Mask8 {
    __mmask8 m;
};

// ---- memory, at any address; multiples of 64 are faster

TREL_INLINE F64x8 load(const double* p) {
    return {_mm512_loadu_pd(p)};
}
TREL_INLINE void store(double* p, F64x8 a) {
    _mm512_storeu_pd(p, a.v);
}
TREL_INLINE U64x8 load(const u64* p) {
    return {_mm512_loadu_si512(p)};
}
TREL_INLINE void store(u64* p, U64x8 a) {
    _mm512_storeu_si512(p, a.v);
}
// Lanes outside the mask: read as 0, not written, and never touched in memory. Any alignment.
TREL_INLINE F64x8 load_masked(const double* p, Mask8 m) {
    return {_mm512_maskz_loadu_pd(m.m, p)};
}
TREL_INLINE void store_masked(double* p, Mask8 m, F64x8 a) {
    _mm512_mask_storeu_pd(p, m.m, a.v);
}
TREL_INLINE U64x8 load_masked(const u64* p, Mask8 m) {
    return {_mm512_maskz_loadu_epi64(m.m, p)};
}
TREL_INLINE void store_masked(u64* p, Mask8 m, U64x8 a) {
    _mm512_mask_storeu_epi64(p, m.m, a.v);
}

// ---- doubles

TREL_INLINE F64x8 broadcast(double x) {
    return {_mm512_set1_pd(x)};
}
// Lane 0 first.
TREL_INLINE F64x8 set(double a, double b, double c, double d, double e, double f, double g, double h) {
    return {_mm512_setr_pd(a, b, c, d, e, f, g, h)};
}
TREL_INLINE F64x8 zero_f64() {
    return {_mm512_setzero_pd()};
}
TREL_INLINE F64x8 operator+(F64x8 a, F64x8 b) {
    return {_mm512_add_pd(a.v, b.v)};
}
TREL_INLINE F64x8 operator-(F64x8 a, F64x8 b) {
    return {_mm512_sub_pd(a.v, b.v)};
}
TREL_INLINE F64x8 operator*(F64x8 a, F64x8 b) {
    return {_mm512_mul_pd(a.v, b.v)};
}
TREL_INLINE F64x8 operator/(F64x8 a, F64x8 b) {
    return {_mm512_div_pd(a.v, b.v)};
}
TREL_INLINE F64x8 fma(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm512_fmadd_pd(a.v, b.v, c.v)};
}
TREL_INLINE F64x8 fms(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm512_fmsub_pd(a.v, b.v, c.v)};
}
TREL_INLINE F64x8 fnma(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm512_fnmadd_pd(a.v, b.v, c.v)};
}
TREL_INLINE F64x8 min(F64x8 a, F64x8 b) {
    return {_mm512_min_pd(a.v, b.v)};
}
TREL_INLINE F64x8 max(F64x8 a, F64x8 b) {
    return {_mm512_max_pd(a.v, b.v)};
}
// To the nearest integer, ties to even.
TREL_INLINE F64x8 round(F64x8 a) {
    return {_mm512_roundscale_pd(a.v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}
TREL_INLINE F64x8 floor(F64x8 a) {
    return {_mm512_roundscale_pd(a.v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC)};
}
TREL_INLINE F64x8 operator-(F64x8 a) {
    return {_mm512_xor_pd(a.v, _mm512_set1_pd(-0.0))};
}
TREL_INLINE F64x8 abs(F64x8 a) {
    return {_mm512_andnot_pd(_mm512_set1_pd(-0.0), a.v)};
}

// ---- words; arithmetic modulo 2^64, comparisons unsigned

TREL_INLINE U64x8 broadcast(u64 x) {
    return {_mm512_set1_epi64(static_cast<long long>(x))};
}
TREL_INLINE U64x8 set(u64 a, u64 b, u64 c, u64 d, u64 e, u64 f, u64 g, u64 h) {
    return {_mm512_setr_epi64(static_cast<long long>(a), static_cast<long long>(b), static_cast<long long>(c),
                              static_cast<long long>(d), static_cast<long long>(e), static_cast<long long>(f),
                              static_cast<long long>(g), static_cast<long long>(h))};
}
TREL_INLINE U64x8 zero_u64() {
    return {_mm512_setzero_si512()};
}
TREL_INLINE U64x8 operator+(U64x8 a, U64x8 b) {
    return {_mm512_add_epi64(a.v, b.v)};
}
TREL_INLINE U64x8 operator-(U64x8 a, U64x8 b) {
    return {_mm512_sub_epi64(a.v, b.v)};
}
// Low 64 bits of the product.
TREL_INLINE U64x8 mul_lo(U64x8 a, U64x8 b) {
    return {_mm512_mullo_epi64(a.v, b.v)};
}
// Product of the low 32 bits of each lane, all 64 bits of it.
TREL_INLINE U64x8 mul_32(U64x8 a, U64x8 b) {
    return {_mm512_mul_epu32(a.v, b.v)};
}
TREL_INLINE U64x8 operator&(U64x8 a, U64x8 b) {
    return {_mm512_and_si512(a.v, b.v)};
}
TREL_INLINE U64x8 operator|(U64x8 a, U64x8 b) {
    return {_mm512_or_si512(a.v, b.v)};
}
TREL_INLINE U64x8 operator^(U64x8 a, U64x8 b) {
    return {_mm512_xor_si512(a.v, b.v)};
}
// a without the bits of b.
TREL_INLINE U64x8 and_not(U64x8 a, U64x8 b) {
    return {_mm512_andnot_si512(b.v, a.v)};
}
// By n bits; 64 and more give 0.
TREL_INLINE U64x8 shift_left(U64x8 a, unsigned n) {
    return {_mm512_sll_epi64(a.v, _mm_cvtsi32_si128(static_cast<int>(n)))};
}
TREL_INLINE U64x8 shift_right(U64x8 a, unsigned n) {
    return {_mm512_srl_epi64(a.v, _mm_cvtsi32_si128(static_cast<int>(n)))};
}
TREL_INLINE U64x8 shift_left(U64x8 a, U64x8 n) {
    return {_mm512_sllv_epi64(a.v, n.v)};
}
TREL_INLINE U64x8 shift_right(U64x8 a, U64x8 n) {
    return {_mm512_srlv_epi64(a.v, n.v)};
}
TREL_INLINE U64x8 min(U64x8 a, U64x8 b) {
    return {_mm512_min_epu64(a.v, b.v)};
}
TREL_INLINE U64x8 max(U64x8 a, U64x8 b) {
    return {_mm512_max_epu64(a.v, b.v)};
}

// ---- masks

TREL_INLINE Mask8 equal(U64x8 a, U64x8 b) {
    return {_mm512_cmpeq_epi64_mask(a.v, b.v)};
}
TREL_INLINE Mask8 less(U64x8 a, U64x8 b) {
    return {_mm512_cmplt_epu64_mask(a.v, b.v)};
}
TREL_INLINE Mask8 greater(U64x8 a, U64x8 b) {
    return {_mm512_cmpgt_epu64_mask(a.v, b.v)};
}
TREL_INLINE Mask8 less(F64x8 a, F64x8 b) {
    return {_mm512_cmp_pd_mask(a.v, b.v, _CMP_LT_OQ)};
}
TREL_INLINE Mask8 greater(F64x8 a, F64x8 b) {
    return {_mm512_cmp_pd_mask(a.v, b.v, _CMP_GT_OQ)};
}
// Bit i of `bits` is lane i.
TREL_INLINE Mask8 mask_of_bits(unsigned bits) {
    return {static_cast<__mmask8>(bits)};
}
TREL_INLINE unsigned bits_of_mask(Mask8 m) {
    return m.m;
}
// The lowest n lanes, n <= 8.
TREL_INLINE Mask8 first_lanes(unsigned n) {
    return {static_cast<__mmask8>((1u << n) - 1)};
}
// b in the lanes of the mask, a in the others.
TREL_INLINE F64x8 select(Mask8 m, F64x8 a, F64x8 b) {
    return {_mm512_mask_blend_pd(m.m, a.v, b.v)};
}
TREL_INLINE U64x8 select(Mask8 m, U64x8 a, U64x8 b) {
    return {_mm512_mask_blend_epi64(m.m, a.v, b.v)};
}
// a + b (a - b) in the lanes of the mask, a in the others.
TREL_INLINE U64x8 add_masked(Mask8 m, U64x8 a, U64x8 b) {
    return {_mm512_mask_add_epi64(a.v, m.m, a.v, b.v)};
}
TREL_INLINE U64x8 sub_masked(Mask8 m, U64x8 a, U64x8 b) {
    return {_mm512_mask_sub_epi64(a.v, m.m, a.v, b.v)};
}

// ---- between the two

TREL_INLINE U64x8 bits_of(F64x8 a) {
    return {_mm512_castpd_si512(a.v)};
}
TREL_INLINE F64x8 f64_of_bits(U64x8 a) {
    return {_mm512_castsi512_pd(a.v)};
}
// Words below 2^52, exact.
TREL_INLINE F64x8 f64_of_52(U64x8 a) {
    return f64_of_bits(a | broadcast(u64(0x4330000000000000))) - broadcast(4503599627370496.0);
}
// Integers 0 <= a < 2^52, exact; other values in that range are rounded to nearest.
TREL_INLINE U64x8 u52_of_f64(F64x8 a) {
    return bits_of(a + broadcast(4503599627370496.0)) ^ broadcast(u64(0x4330000000000000));
}
// Integers |a| < 2^51 as two's complement words, exact; other values in that range are rounded to nearest.
TREL_INLINE U64x8 i64_of_f64(F64x8 a) {
    return bits_of(a + broadcast(kRounder)) - broadcast(kRounderBits);
}

// ---- lanes

// Lane i of the result is lane Ii of a.
template <int I0, int I1, int I2, int I3, int I4, int I5, int I6, int I7>
TREL_INLINE U64x8 permute(U64x8 a) {
    return {_mm512_permutexvar_epi64(_mm512_setr_epi64(I0, I1, I2, I3, I4, I5, I6, I7), a.v)};
}
template <int I0, int I1, int I2, int I3, int I4, int I5, int I6, int I7>
TREL_INLINE F64x8 permute(F64x8 a) {
    return {_mm512_permutexvar_pd(_mm512_setr_epi64(I0, I1, I2, I3, I4, I5, I6, I7), a.v)};
}
// Lane i of the result is lane (index i mod 8) of a.
TREL_INLINE F64x8 permute(F64x8 a, U64x8 index) {
    return {_mm512_permutexvar_pd(index.v, a.v)};
}
TREL_INLINE U64x8 permute(U64x8 a, U64x8 index) {
    return {_mm512_permutexvar_epi64(index.v, a.v)};
}
// 7, 6, ..., 0
TREL_INLINE F64x8 reverse(F64x8 a) {
    return permute<7, 6, 5, 4, 3, 2, 1, 0>(a);
}
TREL_INLINE U64x8 reverse(U64x8 a) {
    return permute<7, 6, 5, 4, 3, 2, 1, 0>(a);
}
// Lanes 2i and 2i+1 exchanged.
TREL_INLINE F64x8 swap_pairs(F64x8 a) {
    return {_mm512_permute_pd(a.v, 0x55)};
}
// Lanes 2i twice; lanes 2i+1 twice.
TREL_INLINE F64x8 dup_even(F64x8 a) {
    return {_mm512_movedup_pd(a.v)};
}
TREL_INLINE F64x8 dup_odd(F64x8 a) {
    return {_mm512_permute_pd(a.v, 0xff)};
}
// a0 b0 a2 b2 a4 b4 a6 b6; a1 b1 a3 b3 a5 b5 a7 b7
TREL_INLINE F64x8 unpack_even(F64x8 a, F64x8 b) {
    return {_mm512_unpacklo_pd(a.v, b.v)};
}
TREL_INLINE F64x8 unpack_odd(F64x8 a, F64x8 b) {
    return {_mm512_unpackhi_pd(a.v, b.v)};
}
TREL_INLINE U64x8 unpack_even(U64x8 a, U64x8 b) {
    return {_mm512_unpacklo_epi64(a.v, b.v)};
}
TREL_INLINE U64x8 unpack_odd(U64x8 a, U64x8 b) {
    return {_mm512_unpackhi_epi64(a.v, b.v)};
}

// r[i] lane j <-> r[j] lane i
TREL_INLINE void transpose(F64x8* r) {
    const __m512d a0 = _mm512_unpacklo_pd(r[0].v, r[1].v), a1 = _mm512_unpackhi_pd(r[0].v, r[1].v);
    const __m512d a2 = _mm512_unpacklo_pd(r[2].v, r[3].v), a3 = _mm512_unpackhi_pd(r[2].v, r[3].v);
    const __m512d a4 = _mm512_unpacklo_pd(r[4].v, r[5].v), a5 = _mm512_unpackhi_pd(r[4].v, r[5].v);
    const __m512d a6 = _mm512_unpacklo_pd(r[6].v, r[7].v), a7 = _mm512_unpackhi_pd(r[6].v, r[7].v);
    // 128-bit pieces: 0x88 takes pieces 0, 2 of both, 0xdd pieces 1, 3.
    const __m512d b0 = _mm512_shuffle_f64x2(a0, a2, 0x88), b2 = _mm512_shuffle_f64x2(a0, a2, 0xdd);
    const __m512d b1 = _mm512_shuffle_f64x2(a1, a3, 0x88), b3 = _mm512_shuffle_f64x2(a1, a3, 0xdd);
    const __m512d b4 = _mm512_shuffle_f64x2(a4, a6, 0x88), b6 = _mm512_shuffle_f64x2(a4, a6, 0xdd);
    const __m512d b5 = _mm512_shuffle_f64x2(a5, a7, 0x88), b7 = _mm512_shuffle_f64x2(a5, a7, 0xdd);
    r[0].v = _mm512_shuffle_f64x2(b0, b4, 0x88);
    r[1].v = _mm512_shuffle_f64x2(b1, b5, 0x88);
    r[2].v = _mm512_shuffle_f64x2(b2, b6, 0x88);
    r[3].v = _mm512_shuffle_f64x2(b3, b7, 0x88);
    r[4].v = _mm512_shuffle_f64x2(b0, b4, 0xdd);
    r[5].v = _mm512_shuffle_f64x2(b1, b5, 0xdd);
    r[6].v = _mm512_shuffle_f64x2(b2, b6, 0xdd);
    r[7].v = _mm512_shuffle_f64x2(b3, b7, 0xdd);
}
TREL_INLINE void transpose(U64x8* r) {
    F64x8 f[8];
    for (int i = 0; i < 8; i++) f[i] = f64_of_bits(r[i]);
    transpose(f);
    for (int i = 0; i < 8; i++) r[i] = bits_of(f[i]);
}

}  // namespace
}  // namespace trel::avx512
