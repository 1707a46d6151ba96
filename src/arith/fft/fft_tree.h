// The tree below the top: all passes of a node down to the leaves and back, and the products of the leaves.
// Kernel files only.
#pragma once

#include "arith/fft/fft_passes.h"

namespace trel::TREL_ISA {
namespace {

// The quad of a node: where it lies, or its product from two tables in `space`.
TREL_INLINE const FftQuad* quad_of(const FftPlan& plan, u64 root, u64 depth, u64 index, FftQuad* space) {
    const FftTwiddles& t = plan.twiddles;
    if (__builtin_expect(depth < FftTwiddles::kLogLow, 1)) {
        return t.direct + root * FftTwiddles::kDirect + (u64(1) << depth) + index;
    }
    const FftQuad* h = t.hi + root * t.hi_stride + (u64(1) << (depth - FftTwiddles::kLogLow)) +
                       (index >> FftTwiddles::kLogLow);
    const FftQuad* l = t.low + (index & (FftTwiddles::kLow - 1));
    const __m256d hr = _mm256_loadu_pd(h->re), hi = _mm256_loadu_pd(h->im);
    const __m256d lr = _mm256_loadu_pd(l->re), li = _mm256_loadu_pd(l->im);
    _mm256_store_pd(space->re, _mm256_fmsub_pd(hr, lr, _mm256_mul_pd(hi, li)));
    _mm256_store_pd(space->im, _mm256_fmadd_pd(hr, li, _mm256_mul_pd(hi, lr)));
    return space;
}

#if TREL_ISA_avx512
constexpr u32 kMaxLogRadix = 3;
#else
constexpr u32 kMaxLogRadix = 2;  // sixteen registers hold a radix of four
#endif

// log2 of the next radix when log_n levels are left: 8, as long as the rest can be done in 8 and 4.
TREL_INLINE u32 next_log_radix(u32 log_n) {
    if (kMaxLogRadix == 2) return log_n % 2 ? 3 : 2;
    return log_n == 2 || log_n == 4 ? 2 : 3;
}

void forward_node(const FftPlan& plan, double* data, u64 root, u32 depth, u64 index, u32 log_n) {
    FftQuad space;
    if (log_n == 3 && next_log_radix(3) == 3) {
        forward_pass<8, false>(data, kBlock, data, kBlock, 1, quad_of(plan, root, depth, index, &space));
        return;
    }
    if (log_n == 2) {
        forward_pass<4, false>(data, kBlock, data, kBlock, 1, quad_of(plan, root, depth, index, &space));
        return;
    }
    const u32 log_r = next_log_radix(log_n);
    const u64 n = u64(1) << (log_n - log_r);
    const FftQuad* q = quad_of(plan, root, depth, index, &space);
    if (log_r == 3) {
        forward_pass<8, false>(data, n * kBlock, data, n * kBlock, n, q);
    } else {
        forward_pass<4, false>(data, n * kBlock, data, n * kBlock, n, q);
    }
    for (u64 i = 0; i < u64(1) << log_r; i++) {
        forward_node(plan, data + i * n * kBlock, root, depth + log_r, (index << log_r) + i, log_n - log_r);
    }
}

// c y for c = s, -s, i s, -i s (kind 0 .. 3)
template <int kind>
TREL_INLINE Complex turned(Complex y, Complex s) {
    if constexpr (kind == 0) return {fms(s.re, y.re, s.im * y.im), fma(s.re, y.im, s.im * y.re)};
    if constexpr (kind == 1) return {fms(s.im, y.im, s.re * y.re), fnms(s.re, y.im, s.im * y.re)};
    if constexpr (kind == 2) return {fnms(s.re, y.im, s.im * y.re), fms(s.re, y.re, s.im * y.im)};
    return {fma(s.re, y.im, s.im * y.re), fms(s.im, y.im, s.re * y.re)};
}

template <u32 k>
TREL_INLINE void leaf_row(const double* x, Complex low, Complex y, F64xL& rr, F64xL& ii, F64xL& ri,
                          F64xL& ir) {
    const Complex row = {move_up<k>(y.re, low.re), move_up<k>(y.im, low.im)};
    const F64xL re = broadcast(x[k]), im = broadcast(x[L + k]);
    rr = fma(re, row.re, rr);
    ii = fma(im, row.im, ii);
    ri = fma(re, row.im, ri);
    ir = fma(im, row.re, ir);
}

// out = x y modulo t^L - c: the sum over k of x_k (y t^k). The lanes of y t^k are those of y moved up by k,
// with the top lanes of c y below them.
template <int kind>
TREL_INLINE void leaf(double* out, const double* x, const double* y_block, Complex s) {
    const Complex y = load_block(y_block);
    const Complex low = turned<kind>(y, s);
    const F64xL re = broadcast(x[0]), im = broadcast(x[L]);
    F64xL rr = re * y.re, ii = im * y.im, ri = re * y.im, ir = im * y.re;
    leaf_row<1>(x, low, y, rr, ii, ri, ir);
    leaf_row<2>(x, low, y, rr, ii, ri, ir);
    leaf_row<3>(x, low, y, rr, ii, ri, ir);
#if TREL_ISA_avx512
    leaf_row<4>(x, low, y, rr, ii, ri, ir);
    leaf_row<5>(x, low, y, rr, ii, ri, ir);
    leaf_row<6>(x, low, y, rr, ii, ri, ir);
    leaf_row<7>(x, low, y, rr, ii, ri, ir);
#endif
    store(out, {rr - ii, ri + ir});
}

TREL_INLINE void four_leaves(double* out, const double* x, const double* y, const FftQuad* q, int i) {
    const Complex s = twiddle(q, i);
    leaf<0>(out, x, y, s);
    leaf<1>(out + kBlock, x + kBlock, y + kBlock, s);
    leaf<2>(out + 2 * kBlock, x + 2 * kBlock, y + 2 * kBlock, s);
    leaf<3>(out + 3 * kBlock, x + 3 * kBlock, y + 3 * kBlock, s);
}

// The leaves below a node of R blocks.
template <int R>
TREL_INLINE void leaves(double* out, const double* x, const double* y, const FftQuad* q) {
    if constexpr (R == 4) {
        four_leaves(out, x, y, q, 1);
    } else {
        four_leaves(out, x, y, q, 2);
        four_leaves(out + 4 * kBlock, x + 4 * kBlock, y + 4 * kBlock, q, 3);
    }
}

void inverse_node(const FftPlan& plan, double* work, const double* x, const double* y, u64 root, u32 depth,
                  u64 index, u32 log_n) {
    FftQuad space;
    const FftQuad* q = quad_of(plan, root, depth, index, &space);
    if (log_n == 3 && next_log_radix(3) == 3) {
        leaves<8>(work, x, y, q);
        inverse_pass<8>(work, kBlock, work, kBlock, 1, q);
        return;
    }
    if (log_n == 2) {
        leaves<4>(work, x, y, q);
        inverse_pass<4>(work, kBlock, work, kBlock, 1, q);
        return;
    }
    const u32 log_r = next_log_radix(log_n);
    const u64 n = u64(1) << (log_n - log_r);
    for (u64 i = 0; i < u64(1) << log_r; i++) {
        const u64 o = i * n * kBlock;
        inverse_node(plan, work + o, x + o, y + o, root, depth + log_r, (index << log_r) + i, log_n - log_r);
    }
    if (log_r == 3) {
        inverse_pass<8>(work, n * kBlock, work, n * kBlock, n, q);
    } else {
        inverse_pass<4>(work, n * kBlock, work, n * kBlock, n, q);
    }
}

}  // namespace
}  // namespace trel::TREL_ISA
