// The few vector operations that the FFT kernels are written on. Included by kernel files only: everything
// here is private to the file that includes it. Addresses that are no multiples of a vector's size are only
// slower. L lanes of doubles; VI are the same lanes as 64-bit integers.
#pragma once

// The compiler takes the undefined operands inside its own intrinsics for mistakes.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include <immintrin.h>

#include "os/types.h"

#define FFT_INLINE static inline __attribute__((always_inline))

namespace trel::TREL_ISA {
namespace {

#if TREL_ISA_avx512

constexpr u32 L = 8;
using V = __m512d;
using VI = u64 __attribute__((vector_size(64)));

FFT_INLINE V ld(const double* p) {
    return _mm512_loadu_pd(p);
}
FFT_INLINE void st(double* p, V x) {
    _mm512_storeu_pd(p, x);
}
FFT_INLINE void st_past(double* p, V x) {
    if (reinterpret_cast<u64>(p) % sizeof(V) != 0) return st(p, x);  // there is no such store
    _mm512_stream_pd(p, x);
}
FFT_INLINE V bc(double x) {
    return _mm512_set1_pd(x);
}
FFT_INLINE V add(V a, V b) {
    return _mm512_add_pd(a, b);
}
FFT_INLINE V sub(V a, V b) {
    return _mm512_sub_pd(a, b);
}
FFT_INLINE V mul(V a, V b) {
    return _mm512_mul_pd(a, b);
}
FFT_INLINE V fma(V a, V b, V c) {
    return _mm512_fmadd_pd(a, b, c);
}  // a b + c
FFT_INLINE V fnma(V a, V b, V c) {
    return _mm512_fnmadd_pd(a, b, c);
}  // c - a b
FFT_INLINE V fms(V a, V b, V c) {
    return _mm512_fmsub_pd(a, b, c);
}  // a b - c
FFT_INLINE V fnms(V a, V b, V c) {
    return _mm512_fnmsub_pd(a, b, c);
}  // -a b - c
FFT_INLINE V nearest(V a) {
    return _mm512_roundscale_pd(a, 0);
}
FFT_INLINE V larger_distance(V a, V b) {
    return _mm512_max_pd(a, _mm512_abs_pd(b));
}
FFT_INLINE VI bits_of(V a) {
    return reinterpret_cast<VI>(a);
}
FFT_INLINE VI bci(u64 x) {
    return reinterpret_cast<VI>(_mm512_set1_epi64(static_cast<i64>(x)));
}
FFT_INLINE VI ldi(const u64* p) {
    return reinterpret_cast<VI>(_mm512_loadu_si512(p));
}
FFT_INLINE void sti(u64* p, VI x) {
    _mm512_storeu_si512(p, reinterpret_cast<__m512i>(x));
}

// Lanes i >= k of b moved up by k, the top k lanes of a below them: (a, b) as one row, read k lanes before b.
template <int k>
FFT_INLINE V before(V a, V b) {
    return reinterpret_cast<V>(
        _mm512_alignr_epi64(reinterpret_cast<__m512i>(b), reinterpret_cast<__m512i>(a), 8 - k));
}

FFT_INLINE void transpose(V x[8]) {
    V t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm512_unpacklo_pd(x[i], x[i + 1]);
        t[i + 1] = _mm512_unpackhi_pd(x[i], x[i + 1]);
    }
    // t[2r + h]: columns 2c + h of rows 2r, 2r + 1 in 128-bit lane c
    for (int g = 0; g < 2; g++) {
        for (int h = 0; h < 2; h++) {
            u[4 * g + h] = _mm512_shuffle_f64x2(t[4 * g + h], t[4 * g + 2 + h], 0x88);      // columns 0, 4
            u[4 * g + 2 + h] = _mm512_shuffle_f64x2(t[4 * g + h], t[4 * g + 2 + h], 0xdd);  // columns 2, 6
        }
    }
    for (int h = 0; h < 2; h++) {
        x[h] = _mm512_shuffle_f64x2(u[h], u[4 + h], 0x88);
        x[4 + h] = _mm512_shuffle_f64x2(u[h], u[4 + h], 0xdd);
        x[2 + h] = _mm512_shuffle_f64x2(u[2 + h], u[6 + h], 0x88);
        x[6 + h] = _mm512_shuffle_f64x2(u[2 + h], u[6 + h], 0xdd);
    }
}

#else

constexpr u32 L = 4;
using V = __m256d;
using VI = u64 __attribute__((vector_size(32)));

FFT_INLINE V ld(const double* p) {
    return _mm256_loadu_pd(p);
}
FFT_INLINE void st(double* p, V x) {
    _mm256_storeu_pd(p, x);
}
FFT_INLINE void st_past(double* p, V x) {
    if (reinterpret_cast<u64>(p) % sizeof(V) != 0) return st(p, x);  // there is no such store
    _mm256_stream_pd(p, x);
}
FFT_INLINE V bc(double x) {
    return _mm256_set1_pd(x);
}
FFT_INLINE V add(V a, V b) {
    return _mm256_add_pd(a, b);
}
FFT_INLINE V sub(V a, V b) {
    return _mm256_sub_pd(a, b);
}
FFT_INLINE V mul(V a, V b) {
    return _mm256_mul_pd(a, b);
}
FFT_INLINE V fma(V a, V b, V c) {
    return _mm256_fmadd_pd(a, b, c);
}  // a b + c
FFT_INLINE V fnma(V a, V b, V c) {
    return _mm256_fnmadd_pd(a, b, c);
}  // c - a b
FFT_INLINE V fms(V a, V b, V c) {
    return _mm256_fmsub_pd(a, b, c);
}  // a b - c
FFT_INLINE V fnms(V a, V b, V c) {
    return _mm256_fnmsub_pd(a, b, c);
}  // -a b - c
FFT_INLINE V nearest(V a) {
    return _mm256_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
}
FFT_INLINE V larger_distance(V a, V b) {
    return _mm256_max_pd(a, _mm256_andnot_pd(bc(-0.0), b));
}
FFT_INLINE VI bits_of(V a) {
    return reinterpret_cast<VI>(a);
}
FFT_INLINE VI bci(u64 x) {
    return reinterpret_cast<VI>(_mm256_set1_epi64x(static_cast<i64>(x)));
}
FFT_INLINE VI ldi(const u64* p) {
    return reinterpret_cast<VI>(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
FFT_INLINE void sti(u64* p, VI x) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), reinterpret_cast<__m256i>(x));
}

// Lanes i >= k of b moved up by k, the top k lanes of a below them: (a, b) as one row, read k lanes before b.
template <int k>
FFT_INLINE V before(V a, V b) {
    const V middle = _mm256_permute2f128_pd(a, b, 0x21);  // a2 a3 b0 b1
    if constexpr (k == 1) return _mm256_shuffle_pd(middle, b, 5);
    if constexpr (k == 3) return _mm256_shuffle_pd(a, middle, 5);
    return middle;
}

FFT_INLINE void transpose(V x[4]) {
    const V a = _mm256_unpacklo_pd(x[0], x[1]), b = _mm256_unpackhi_pd(x[0], x[1]);
    const V c = _mm256_unpacklo_pd(x[2], x[3]), d = _mm256_unpackhi_pd(x[2], x[3]);
    x[0] = _mm256_permute2f128_pd(a, c, 0x20);
    x[1] = _mm256_permute2f128_pd(b, d, 0x20);
    x[2] = _mm256_permute2f128_pd(a, c, 0x31);
    x[3] = _mm256_permute2f128_pd(b, d, 0x31);
}

#endif

}  // namespace
}  // namespace trel::TREL_ISA
