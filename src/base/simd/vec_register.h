// The second shape of the vector types: F64xL and U64xL fill one register of the level with L doubles or
// words. They are vectors of the compiler's own, so + - * and for words & | << >> are built in; the other
// operations have the names and meanings of vec.h. For kernels that keep more vectors at a time than sixteen
// registers hold in pairs.
//
// A kernel file includes this header or vec.h, not both.
#pragma once

// The compiler takes the undefined operands inside its own intrinsics for mistakes.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include <immintrin.h>

#include "base/simd/kernel.h"

namespace trel::TREL_ISA {
namespace {

#if defined(TREL_ISA_avx512)

constexpr u32 L = 8;
using F64xL = __m512d;
using U64xL = u64 __attribute__((vector_size(64)));

TREL_INLINE F64xL load(const double* p) {
    return _mm512_loadu_pd(p);
}
TREL_INLINE void store(double* p, F64xL a) {
    _mm512_storeu_pd(p, a);
}
// Past the caches; where the address does not allow that, a plain store.
TREL_INLINE void stream(double* p, F64xL a) {
    if (reinterpret_cast<u64>(p) % sizeof a != 0) return store(p, a);
    _mm512_stream_pd(p, a);
}
TREL_INLINE F64xL broadcast(double x) {
    return _mm512_set1_pd(x);
}
TREL_INLINE F64xL fma(F64xL a, F64xL b, F64xL c) {
    return _mm512_fmadd_pd(a, b, c);
}
TREL_INLINE F64xL fms(F64xL a, F64xL b, F64xL c) {
    return _mm512_fmsub_pd(a, b, c);
}
TREL_INLINE F64xL fnma(F64xL a, F64xL b, F64xL c) {
    return _mm512_fnmadd_pd(a, b, c);
}
// -a b - c
TREL_INLINE F64xL fnms(F64xL a, F64xL b, F64xL c) {
    return _mm512_fnmsub_pd(a, b, c);
}
TREL_INLINE F64xL max(F64xL a, F64xL b) {
    return _mm512_max_pd(a, b);
}
TREL_INLINE F64xL round(F64xL a) {
    return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
}
TREL_INLINE F64xL abs(F64xL a) {
    return _mm512_abs_pd(a);
}
TREL_INLINE U64xL load(const u64* p) {
    return reinterpret_cast<U64xL>(_mm512_loadu_si512(p));
}
TREL_INLINE void store(u64* p, U64xL a) {
    _mm512_storeu_si512(p, reinterpret_cast<__m512i>(a));
}
TREL_INLINE U64xL broadcast(u64 x) {
    return reinterpret_cast<U64xL>(_mm512_set1_epi64(static_cast<i64>(x)));
}
// Lanes of a moved up by n, 0 < n < L, the last lanes of `before` moved in.
template <int n>
TREL_INLINE F64xL move_up(F64xL a, F64xL before) {
    return reinterpret_cast<F64xL>(
        _mm512_alignr_epi64(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(before), 8 - n));
}
TREL_INLINE void transpose(F64xL x[8]) {
    F64xL t[8], u[8];
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

#elif defined(TREL_ISA_avx2)

constexpr u32 L = 4;
using F64xL = __m256d;
using U64xL = u64 __attribute__((vector_size(32)));

TREL_INLINE F64xL load(const double* p) {
    return _mm256_loadu_pd(p);
}
TREL_INLINE void store(double* p, F64xL a) {
    _mm256_storeu_pd(p, a);
}
TREL_INLINE void stream(double* p, F64xL a) {
    if (reinterpret_cast<u64>(p) % sizeof a != 0) return store(p, a);
    _mm256_stream_pd(p, a);
}
TREL_INLINE F64xL broadcast(double x) {
    return _mm256_set1_pd(x);
}
TREL_INLINE F64xL fma(F64xL a, F64xL b, F64xL c) {
    return _mm256_fmadd_pd(a, b, c);
}
TREL_INLINE F64xL fms(F64xL a, F64xL b, F64xL c) {
    return _mm256_fmsub_pd(a, b, c);
}
TREL_INLINE F64xL fnma(F64xL a, F64xL b, F64xL c) {
    return _mm256_fnmadd_pd(a, b, c);
}
TREL_INLINE F64xL fnms(F64xL a, F64xL b, F64xL c) {
    return _mm256_fnmsub_pd(a, b, c);
}
TREL_INLINE F64xL max(F64xL a, F64xL b) {
    return _mm256_max_pd(a, b);
}
TREL_INLINE F64xL round(F64xL a) {
    return _mm256_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
}
TREL_INLINE F64xL abs(F64xL a) {
    return _mm256_andnot_pd(broadcast(-0.0), a);
}
TREL_INLINE U64xL load(const u64* p) {
    return reinterpret_cast<U64xL>(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
TREL_INLINE void store(u64* p, U64xL a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), reinterpret_cast<__m256i>(a));
}
TREL_INLINE U64xL broadcast(u64 x) {
    return reinterpret_cast<U64xL>(_mm256_set1_epi64x(static_cast<i64>(x)));
}
template <int n>
TREL_INLINE F64xL move_up(F64xL a, F64xL before) {
    const F64xL middle = _mm256_permute2f128_pd(before, a, 0x21);  // before 2, 3, a 0, 1
    if constexpr (n == 1) return _mm256_shuffle_pd(middle, a, 5);
    if constexpr (n == 3) return _mm256_shuffle_pd(before, middle, 5);
    return middle;
}
TREL_INLINE void transpose(F64xL x[4]) {
    const F64xL a = _mm256_unpacklo_pd(x[0], x[1]), b = _mm256_unpackhi_pd(x[0], x[1]);
    const F64xL c = _mm256_unpacklo_pd(x[2], x[3]), d = _mm256_unpackhi_pd(x[2], x[3]);
    x[0] = _mm256_permute2f128_pd(a, c, 0x20);
    x[1] = _mm256_permute2f128_pd(b, d, 0x20);
    x[2] = _mm256_permute2f128_pd(a, c, 0x31);
    x[3] = _mm256_permute2f128_pd(b, d, 0x31);
}

#else
#error "vec_register.h belongs in files that are compiled per instruction set"
#endif

TREL_INLINE U64xL bits_of(F64xL a) {
    return reinterpret_cast<U64xL>(a);
}

}  // namespace
}  // namespace trel::TREL_ISA
