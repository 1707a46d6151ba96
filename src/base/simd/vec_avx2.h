// Vector types of the avx2 level: a pair of 256-bit registers each, lanes 0 to 3 in `lo`. See vec.h; the
// operations are described beside their twins in vec_avx512.h.
#pragma once

#include <immintrin.h>

#include "base/simd/kernel.h"

namespace trel::avx2 {
namespace {

struct F64x8 {
    __m256d lo, hi;
};
struct U64x8 {
    __m256i lo, hi;
};
// All ones or all zeros in every lane.
struct Mask8 {
    __m256i lo, hi;
};

// ---- memory, at any address; multiples of 64 are faster

TREL_INLINE const __m256i* vec_address(const u64* p) {
    return reinterpret_cast<const __m256i*>(p);
}
TREL_INLINE __m256i* vec_address(u64* p) {
    return reinterpret_cast<__m256i*>(p);
}

TREL_INLINE F64x8 load(const double* p) {
    return {_mm256_loadu_pd(p), _mm256_loadu_pd(p + 4)};
}
TREL_INLINE void store(double* p, F64x8 a) {
    _mm256_storeu_pd(p, a.lo);
    _mm256_storeu_pd(p + 4, a.hi);
}
TREL_INLINE U64x8 load(const u64* p) {
    return {_mm256_loadu_si256(vec_address(p)), _mm256_loadu_si256(vec_address(p + 4))};
}
TREL_INLINE void store(u64* p, U64x8 a) {
    _mm256_storeu_si256(vec_address(p), a.lo);
    _mm256_storeu_si256(vec_address(p + 4), a.hi);
}
TREL_INLINE F64x8 load_masked(const double* p, Mask8 m) {
    return {_mm256_maskload_pd(p, m.lo), _mm256_maskload_pd(p + 4, m.hi)};
}
TREL_INLINE void store_masked(double* p, Mask8 m, F64x8 a) {
    _mm256_maskstore_pd(p, m.lo, a.lo);
    _mm256_maskstore_pd(p + 4, m.hi, a.hi);
}
TREL_INLINE U64x8 load_masked(const u64* p, Mask8 m) {
    const long long* q = reinterpret_cast<const long long*>(p);
    return {_mm256_maskload_epi64(q, m.lo), _mm256_maskload_epi64(q + 4, m.hi)};
}
TREL_INLINE void store_masked(u64* p, Mask8 m, U64x8 a) {
    long long* q = reinterpret_cast<long long*>(p);
    _mm256_maskstore_epi64(q, m.lo, a.lo);
    _mm256_maskstore_epi64(q + 4, m.hi, a.hi);
}

// ---- doubles

TREL_INLINE F64x8 broadcast(double x) {
    return {_mm256_set1_pd(x), _mm256_set1_pd(x)};
}
TREL_INLINE F64x8 set(double a, double b, double c, double d, double e, double f, double g, double h) {
    return {_mm256_setr_pd(a, b, c, d), _mm256_setr_pd(e, f, g, h)};
}
TREL_INLINE F64x8 zero_f64() {
    return {_mm256_setzero_pd(), _mm256_setzero_pd()};
}
TREL_INLINE F64x8 operator+(F64x8 a, F64x8 b) {
    return {_mm256_add_pd(a.lo, b.lo), _mm256_add_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 operator-(F64x8 a, F64x8 b) {
    return {_mm256_sub_pd(a.lo, b.lo), _mm256_sub_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 operator*(F64x8 a, F64x8 b) {
    return {_mm256_mul_pd(a.lo, b.lo), _mm256_mul_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 operator/(F64x8 a, F64x8 b) {
    return {_mm256_div_pd(a.lo, b.lo), _mm256_div_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 fma(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm256_fmadd_pd(a.lo, b.lo, c.lo), _mm256_fmadd_pd(a.hi, b.hi, c.hi)};
}
TREL_INLINE F64x8 fms(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm256_fmsub_pd(a.lo, b.lo, c.lo), _mm256_fmsub_pd(a.hi, b.hi, c.hi)};
}
TREL_INLINE F64x8 fnma(F64x8 a, F64x8 b, F64x8 c) {
    return {_mm256_fnmadd_pd(a.lo, b.lo, c.lo), _mm256_fnmadd_pd(a.hi, b.hi, c.hi)};
}
TREL_INLINE F64x8 min(F64x8 a, F64x8 b) {
    return {_mm256_min_pd(a.lo, b.lo), _mm256_min_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 max(F64x8 a, F64x8 b) {
    return {_mm256_max_pd(a.lo, b.lo), _mm256_max_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 round(F64x8 a) {
    return {_mm256_round_pd(a.lo, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC),
            _mm256_round_pd(a.hi, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}
TREL_INLINE F64x8 floor(F64x8 a) {
    return {_mm256_round_pd(a.lo, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC),
            _mm256_round_pd(a.hi, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC)};
}
TREL_INLINE F64x8 operator-(F64x8 a) {
    const __m256d sign = _mm256_set1_pd(-0.0);
    return {_mm256_xor_pd(a.lo, sign), _mm256_xor_pd(a.hi, sign)};
}
TREL_INLINE F64x8 abs(F64x8 a) {
    const __m256d sign = _mm256_set1_pd(-0.0);
    return {_mm256_andnot_pd(sign, a.lo), _mm256_andnot_pd(sign, a.hi)};
}

// ---- words

TREL_INLINE U64x8 broadcast(u64 x) {
    return {_mm256_set1_epi64x(static_cast<long long>(x)), _mm256_set1_epi64x(static_cast<long long>(x))};
}
TREL_INLINE U64x8 set(u64 a, u64 b, u64 c, u64 d, u64 e, u64 f, u64 g, u64 h) {
    return {_mm256_setr_epi64x(static_cast<long long>(a), static_cast<long long>(b),
                               static_cast<long long>(c), static_cast<long long>(d)),
            _mm256_setr_epi64x(static_cast<long long>(e), static_cast<long long>(f),
                               static_cast<long long>(g), static_cast<long long>(h))};
}
TREL_INLINE U64x8 zero_u64() {
    return {_mm256_setzero_si256(), _mm256_setzero_si256()};
}
TREL_INLINE U64x8 operator+(U64x8 a, U64x8 b) {
    return {_mm256_add_epi64(a.lo, b.lo), _mm256_add_epi64(a.hi, b.hi)};
}
TREL_INLINE U64x8 operator-(U64x8 a, U64x8 b) {
    return {_mm256_sub_epi64(a.lo, b.lo), _mm256_sub_epi64(a.hi, b.hi)};
}
TREL_INLINE U64x8 mul_32(U64x8 a, U64x8 b) {
    return {_mm256_mul_epu32(a.lo, b.lo), _mm256_mul_epu32(a.hi, b.hi)};
}
TREL_INLINE U64x8 operator&(U64x8 a, U64x8 b) {
    return {_mm256_and_si256(a.lo, b.lo), _mm256_and_si256(a.hi, b.hi)};
}
TREL_INLINE U64x8 operator|(U64x8 a, U64x8 b) {
    return {_mm256_or_si256(a.lo, b.lo), _mm256_or_si256(a.hi, b.hi)};
}
TREL_INLINE U64x8 operator^(U64x8 a, U64x8 b) {
    return {_mm256_xor_si256(a.lo, b.lo), _mm256_xor_si256(a.hi, b.hi)};
}
TREL_INLINE U64x8 and_not(U64x8 a, U64x8 b) {
    return {_mm256_andnot_si256(b.lo, a.lo), _mm256_andnot_si256(b.hi, a.hi)};
}
TREL_INLINE U64x8 shift_left(U64x8 a, unsigned n) {
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(n));
    return {_mm256_sll_epi64(a.lo, count), _mm256_sll_epi64(a.hi, count)};
}
TREL_INLINE U64x8 shift_right(U64x8 a, unsigned n) {
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(n));
    return {_mm256_srl_epi64(a.lo, count), _mm256_srl_epi64(a.hi, count)};
}
TREL_INLINE U64x8 shift_left(U64x8 a, U64x8 n) {
    return {_mm256_sllv_epi64(a.lo, n.lo), _mm256_sllv_epi64(a.hi, n.hi)};
}
TREL_INLINE U64x8 shift_right(U64x8 a, U64x8 n) {
    return {_mm256_srlv_epi64(a.lo, n.lo), _mm256_srlv_epi64(a.hi, n.hi)};
}
// lo(a) lo(b) + 2^32 (lo(a) hi(b) + hi(a) lo(b))
TREL_INLINE U64x8 mul_lo(U64x8 a, U64x8 b) {
    const U64x8 cross = mul_32(a, shift_right(b, 32)) + mul_32(shift_right(a, 32), b);
    return mul_32(a, b) + shift_left(cross, 32);
}

// ---- masks

TREL_INLINE Mask8 equal(U64x8 a, U64x8 b) {
    return {_mm256_cmpeq_epi64(a.lo, b.lo), _mm256_cmpeq_epi64(a.hi, b.hi)};
}
// The instruction compares signed words: turn the top bits over first.
TREL_INLINE Mask8 greater(U64x8 a, U64x8 b) {
    const U64x8 top = broadcast(u64(1) << 63);
    a = a ^ top;
    b = b ^ top;
    return {_mm256_cmpgt_epi64(a.lo, b.lo), _mm256_cmpgt_epi64(a.hi, b.hi)};
}
TREL_INLINE Mask8 less(U64x8 a, U64x8 b) {
    return greater(b, a);
}
TREL_INLINE Mask8 less(F64x8 a, F64x8 b) {
    return {_mm256_castpd_si256(_mm256_cmp_pd(a.lo, b.lo, _CMP_LT_OQ)),
            _mm256_castpd_si256(_mm256_cmp_pd(a.hi, b.hi, _CMP_LT_OQ))};
}
TREL_INLINE Mask8 greater(F64x8 a, F64x8 b) {
    return less(b, a);
}
TREL_INLINE Mask8 mask_of_bits(unsigned bits) {
    const U64x8 all = broadcast(u64(bits));
    const U64x8 lane = set(u64(1), 2, 4, 8, 16, 32, 64, 128);
    return equal(all & lane, lane);
}
TREL_INLINE unsigned bits_of_mask(Mask8 m) {
    return static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(m.lo))) |
           static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(m.hi))) << 4;
}
TREL_INLINE Mask8 first_lanes(unsigned n) {
    return greater(broadcast(u64(n)), set(u64(0), 1, 2, 3, 4, 5, 6, 7));
}
TREL_INLINE F64x8 select(Mask8 m, F64x8 a, F64x8 b) {
    return {_mm256_blendv_pd(a.lo, b.lo, _mm256_castsi256_pd(m.lo)),
            _mm256_blendv_pd(a.hi, b.hi, _mm256_castsi256_pd(m.hi))};
}
TREL_INLINE U64x8 select(Mask8 m, U64x8 a, U64x8 b) {
    return {_mm256_blendv_epi8(a.lo, b.lo, m.lo), _mm256_blendv_epi8(a.hi, b.hi, m.hi)};
}
TREL_INLINE U64x8 add_masked(Mask8 m, U64x8 a, U64x8 b) {
    return a + (U64x8{m.lo, m.hi} & b);
}
TREL_INLINE U64x8 sub_masked(Mask8 m, U64x8 a, U64x8 b) {
    return a - (U64x8{m.lo, m.hi} & b);
}
TREL_INLINE U64x8 min(U64x8 a, U64x8 b) {
    return select(less(a, b), b, a);
}
TREL_INLINE U64x8 max(U64x8 a, U64x8 b) {
    return select(less(a, b), a, b);
}

// ---- between the two

TREL_INLINE U64x8 bits_of(F64x8 a) {
    return {_mm256_castpd_si256(a.lo), _mm256_castpd_si256(a.hi)};
}
TREL_INLINE F64x8 f64_of_bits(U64x8 a) {
    return {_mm256_castsi256_pd(a.lo), _mm256_castsi256_pd(a.hi)};
}
TREL_INLINE F64x8 f64_of_52(U64x8 a) {
    return f64_of_bits(a | broadcast(u64(0x4330000000000000))) - broadcast(4503599627370496.0);
}
TREL_INLINE U64x8 u52_of_f64(F64x8 a) {
    return bits_of(a + broadcast(4503599627370496.0)) ^ broadcast(u64(0x4330000000000000));
}
TREL_INLINE U64x8 i64_of_f64(F64x8 a) {
    return bits_of(a + broadcast(kRounder)) - broadcast(kRounderBits);
}

// ---- lanes

// Four lanes picked from the eight of a; the compiler drops the half that no index needs.
template <int I0, int I1, int I2, int I3>
TREL_INLINE __m256d pick4(F64x8 a) {
    constexpr int kOrder = (I0 & 3) | (I1 & 3) << 2 | (I2 & 3) << 4 | (I3 & 3) << 6;
    constexpr int kFromHigh = (I0 >> 2) | (I1 >> 2) << 1 | (I2 >> 2) << 2 | (I3 >> 2) << 3;
    return _mm256_blend_pd(_mm256_permute4x64_pd(a.lo, kOrder), _mm256_permute4x64_pd(a.hi, kOrder),
                           kFromHigh);
}
template <int I0, int I1, int I2, int I3, int I4, int I5, int I6, int I7>
TREL_INLINE F64x8 permute(F64x8 a) {
    return {pick4<I0, I1, I2, I3>(a), pick4<I4, I5, I6, I7>(a)};
}
template <int I0, int I1, int I2, int I3, int I4, int I5, int I6, int I7>
TREL_INLINE U64x8 permute(U64x8 a) {
    return bits_of(permute<I0, I1, I2, I3, I4, I5, I6, I7>(f64_of_bits(a)));
}
// Lanes are moved as pairs of 32-bit pieces; bit 2 of an index chooses the half.
TREL_INLINE __m256i pick4(U64x8 a, __m256i index) {
    const __m256i low = _mm256_slli_epi64(_mm256_and_si256(index, _mm256_set1_epi64x(7)), 1);
    const __m256i pieces =
        _mm256_or_si256(_mm256_or_si256(low, _mm256_slli_epi64(low, 32)), _mm256_set1_epi64x(1LL << 32));
    const __m256i from_lo = _mm256_permutevar8x32_epi32(a.lo, pieces);
    const __m256i from_hi = _mm256_permutevar8x32_epi32(a.hi, pieces);
    const __m256i high = _mm256_slli_epi64(index, 61);
    return _mm256_castpd_si256(_mm256_blendv_pd(_mm256_castsi256_pd(from_lo), _mm256_castsi256_pd(from_hi),
                                                _mm256_castsi256_pd(high)));
}
TREL_INLINE U64x8 permute(U64x8 a, U64x8 index) {
    return {pick4(a, index.lo), pick4(a, index.hi)};
}
TREL_INLINE F64x8 permute(F64x8 a, U64x8 index) {
    return f64_of_bits(permute(bits_of(a), index));
}
TREL_INLINE F64x8 reverse(F64x8 a) {
    return {_mm256_permute4x64_pd(a.hi, 0x1b), _mm256_permute4x64_pd(a.lo, 0x1b)};
}
TREL_INLINE U64x8 reverse(U64x8 a) {
    return bits_of(reverse(f64_of_bits(a)));
}
TREL_INLINE F64x8 swap_pairs(F64x8 a) {
    return {_mm256_permute_pd(a.lo, 5), _mm256_permute_pd(a.hi, 5)};
}
TREL_INLINE F64x8 dup_even(F64x8 a) {
    return {_mm256_movedup_pd(a.lo), _mm256_movedup_pd(a.hi)};
}
TREL_INLINE F64x8 dup_odd(F64x8 a) {
    return {_mm256_permute_pd(a.lo, 15), _mm256_permute_pd(a.hi, 15)};
}
TREL_INLINE F64x8 unpack_even(F64x8 a, F64x8 b) {
    return {_mm256_unpacklo_pd(a.lo, b.lo), _mm256_unpacklo_pd(a.hi, b.hi)};
}
TREL_INLINE F64x8 unpack_odd(F64x8 a, F64x8 b) {
    return {_mm256_unpackhi_pd(a.lo, b.lo), _mm256_unpackhi_pd(a.hi, b.hi)};
}
TREL_INLINE U64x8 unpack_even(U64x8 a, U64x8 b) {
    return bits_of(unpack_even(f64_of_bits(a), f64_of_bits(b)));
}
TREL_INLINE U64x8 unpack_odd(U64x8 a, U64x8 b) {
    return bits_of(unpack_odd(f64_of_bits(a), f64_of_bits(b)));
}

TREL_INLINE void transpose4x4(__m256d& r0, __m256d& r1, __m256d& r2, __m256d& r3) {
    const __m256d a0 = _mm256_unpacklo_pd(r0, r1), a1 = _mm256_unpackhi_pd(r0, r1);
    const __m256d a2 = _mm256_unpacklo_pd(r2, r3), a3 = _mm256_unpackhi_pd(r2, r3);
    r0 = _mm256_permute2f128_pd(a0, a2, 0x20);
    r1 = _mm256_permute2f128_pd(a1, a3, 0x20);
    r2 = _mm256_permute2f128_pd(a0, a2, 0x31);
    r3 = _mm256_permute2f128_pd(a1, a3, 0x31);
}
// The four quarters are transposed in place, then the off-diagonal ones exchange places.
TREL_INLINE void transpose(F64x8* r) {
    transpose4x4(r[0].lo, r[1].lo, r[2].lo, r[3].lo);
    transpose4x4(r[0].hi, r[1].hi, r[2].hi, r[3].hi);
    transpose4x4(r[4].lo, r[5].lo, r[6].lo, r[7].lo);
    transpose4x4(r[4].hi, r[5].hi, r[6].hi, r[7].hi);
    for (int i = 0; i < 4; i++) {
        const __m256d t = r[i].hi;
        r[i].hi = r[i + 4].lo;
        r[i + 4].lo = t;
    }
}
TREL_INLINE void transpose(U64x8* r) {
    F64x8 f[8];
    for (int i = 0; i < 8; i++) f[i] = f64_of_bits(r[i]);
    transpose(f);
    for (int i = 0; i < 8; i++) r[i] = bits_of(f[i]);
}

}  // namespace
}  // namespace trel::avx2
