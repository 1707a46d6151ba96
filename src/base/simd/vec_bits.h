// Lanes of vec.h chosen by a bit of a word each: what exponentiation by squaring asks at every step. One
// instruction less for each where the level has masks.
//
// For kernel files (*.isa.cpp) only.
#pragma once

#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

#if defined(TREL_ISA_avx512)

// The lanes in which a has the bit; `bit` is the same power of two in every lane.
TREL_INLINE Mask8 has_bit(U64x8 a, U64x8 bit) {
    return {_mm512_test_epi64_mask(a.v, bit.v)};
}
// a + b in the lanes of the mask, a in the others, where -0 may lose its sign.
TREL_INLINE F64x8 add_masked(Mask8 m, F64x8 a, F64x8 b) {
    return {_mm512_mask_add_pd(a.v, m.m, a.v, b.v)};
}
// 2 a - b, rounded once, in the lanes of the mask, a in the others; a - b and 2 a - b are doubles.
TREL_INLINE F64x8 double_minus_masked(Mask8 m, F64x8 a, F64x8 b) {
    return {_mm512_mask_fmsub_pd(a.v, m.m, _mm512_set1_pd(2), b.v)};
}
// a + b in the lanes in which a is negative as a signed word, a in the others; a + b must not be negative
// where a is.
TREL_INLINE U64x8 add_where_negative(U64x8 a, U64x8 b) {
    return min(a, a + b);  // as plain words, negative ones are the largest
}
// x, which is not negative, with the sign of y.
TREL_INLINE F64x8 with_sign(F64x8 x, F64x8 y) {
    const __m512i top = _mm512_set1_epi64(static_cast<long long>(u64(1) << 63));
    constexpr int kAndOr = 0xea;  // first and second, or third
    return {_mm512_castsi512_pd(
        _mm512_ternarylogic_epi64(top, _mm512_castpd_si512(y.v), _mm512_castpd_si512(x.v), kAndOr))};
}

#else

TREL_INLINE Mask8 has_bit(U64x8 a, U64x8 bit) {
    return equal(a & bit, bit);
}
TREL_INLINE F64x8 add_masked(Mask8 m, F64x8 a, F64x8 b) {
    return a + f64_of_bits(bits_of(b) & U64x8{m.lo, m.hi});
}
TREL_INLINE F64x8 double_minus_masked(Mask8 m, F64x8 a, F64x8 b) {
    return add_masked(m, a, a - b);
}
TREL_INLINE U64x8 add_where_negative(U64x8 a, U64x8 b) {
    const U64x8 sum = a + b;
    const auto pick = [](__m256i x, __m256i y) {
        const __m256d sign = _mm256_castsi256_pd(x);
        return _mm256_castpd_si256(_mm256_blendv_pd(sign, _mm256_castsi256_pd(y), sign));
    };
    return {pick(a.lo, sum.lo), pick(a.hi, sum.hi)};
}
TREL_INLINE F64x8 with_sign(F64x8 x, F64x8 y) {
    return f64_of_bits((bits_of(y) & broadcast(u64(1) << 63)) | bits_of(x));
}

#endif

}  // namespace
}  // namespace trel::TREL_ISA
