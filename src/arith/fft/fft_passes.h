// Passes: one radix over a row of columns. Kernel files only.
#pragma once

#include "arith/fft/fft_butterflies.h"

namespace trel::TREL_ISA {
namespace {

// One radix over n columns; the R inputs (outputs) of a column lie in_stride (out_stride) doubles apart. R =
// 3 and 5 need no quad. in == out with equal strides is in place.
template <int R, bool real, bool past_caches = false>
TREL_INLINE void forward_pass(const double* in, u64 in_stride, double* out, u64 out_stride, u64 n,
                              const FftQuad* q) {
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) {
            const double* p = in + c * kBlock + i * in_stride;
            x[i] = {load(p), real ? broadcast(0.0) : load(p + L)};
        }
        if constexpr (R == 3 || R == 5) {
            forward_odd<R, real>(x);
        } else if constexpr (R != 1) {
            forward_radix<R, real>(x, q);
        }
        for (int i = 0; i < R; i++) {
            double* p = out + c * kBlock + i * out_stride;
            if (past_caches) {
                stream(p, x[i].re);
                stream(p + L, x[i].im);
            } else {
                store(p, x[i]);
            }
        }
    }
}

template <int R>
TREL_INLINE void inverse_pass(const double* in, u64 in_stride, double* out, u64 out_stride, u64 n,
                              const FftQuad* q) {
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) x[i] = load_block(in + c * kBlock + i * in_stride);
        inverse_radix<R>(x, q);
        for (int i = 0; i < R; i++) store(out + c * kBlock + i * out_stride, x[i]);
    }
}

// The last inverse radix in place, with scaling and rounding. check: raises *worst to the largest distance of
// a value from an integer.
template <int R, bool check>
TREL_INLINE void last_pass(double* data, u64 stride, u64 n, const FftQuad* q, double scale, double* worst) {
    const F64xL factor = broadcast(scale), rounder = broadcast(kRounder);
    F64xL distance = broadcast(0.0);
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) x[i] = load_block(data + c * kBlock + i * stride);
        if constexpr (R == 3 || R == 5) {
            inverse_odd<R>(x);
        } else if constexpr (R != 1) {
            inverse_radix<R>(x, q);
        }
        for (int i = 0; i < R; i++) {
            if (check) {
                const F64xL re = x[i].re * factor, im = x[i].im * factor;
                distance = max(distance, abs(re - round(re)));
                distance = max(distance, abs(im - round(im)));
            }
            store(data + c * kBlock + i * stride,
                  {fma(x[i].re, factor, rounder), fma(x[i].im, factor, rounder)});
        }
    }
    if (check) {
        alignas(64) double d[L];
        store(d, distance);
        for (u32 i = 0; i < L; i++) {
            if (d[i] > *worst) *worst = d[i];
        }
    }
}

}  // namespace
}  // namespace trel::TREL_ISA
