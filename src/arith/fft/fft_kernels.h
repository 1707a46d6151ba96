// The vector kernels of the floating-point FFT, one table per instruction set.
//
// The transform works in C[x] / (x^M - i): M complex values z_j = x_j + i x_(j+M) stand for N = 2 M real
// points modulo x^N + 1. The ring is split by a tree of nodes x^m - c -> (x^(m/2) - s)(x^(m/2) + s), s^2 = c,
// until the nodes have degree L, the number of lanes of a vector; there the polynomials are multiplied
// directly, so no butterfly ever works across lanes. With a = 3 or 5 the first split is x^M - i into a
// factors.
//
// Data of a transform, M / L blocks of 2 L doubles: block v holds re of the coefficients v L .. v L + L - 1,
// then im. After the forward transform a node of depth d and index j of root q occupies blocks (q 2^e + j
// 2^(e-d)) .. + 2^(e-d) - 1, where every root has 2^e blocks.
//
// The top of the tree is done in one sweep: S = r0 2^log_r1 streams of `columns` blocks each; the sweep takes
// a few columns of all streams through two radices while they sit in the first cache, straight from the
// operand's bits and, backwards, straight into the product's bits. What remains is S independent sub-blocks.
#pragma once

#include "os/types.h"

namespace trel {

// Roots of a node and of its offspring: s (s^2 = c), sqrt(s), sqrt(sqrt(s)), and the last times e^(i pi/4).
struct alignas(64) FftQuad {
    double re[4];
    double im[4];
};

// Twiddle factors of one a. A node (depth d, index j) of root q has its quad in direct[q * kDirect + 2^d + j]
// when d < kLogLow; deeper ones are products hi[q * hi_stride + 2^(d - kLogLow) + (j >> kLogLow)] * low[j &
// (kLow - 1)].
struct FftTwiddles {
    static constexpr u32 kLogLow = 7;
    static constexpr u64 kLow = u64(1) << kLogLow;
    static constexpr u64 kDirect = u64(1) << kLogLow;

    const FftQuad* direct;
    const FftQuad* hi;
    const FftQuad* low;
    u64 hi_stride;
};

// Everything that the kernels know of one transform.
struct FftPlan {
    static constexpr u32 kMaxStreams = 64;

    u32 a, k, b;      // N = a 2^k points of b bits
    u32 lanes;        // L
    u32 log_blocks;   // e
    u32 r0;           // first radix: a when a != 1, else 1, 4 or 8
    u32 log_r0;       // levels of the tree that r0 stands for: 0 when a != 1
    u32 log_r1;       // second radix, 2 or 3
    u32 log_columns;  // e - log_r0 - log_r1; never 1
    u32 step;         // columns that go through the top together
    double scale;     // 1 / (a 2^e)
    FftTwiddles twiddles;

    u32 streams() const { return r0 << log_r1; }
    u64 columns() const { return u64(1) << log_columns; }
};

// The bytes lo .. hi - 1 of the product go to base + position; those below lo into the slots of the work
// area.
struct FftWindow {
    u8* base;
    u64 lo, hi;
};

struct FftKernels {
    u32 lanes;
    u32 max_log_radix;  // the largest radix that pays
    u32 min_columns;
    u32 max_step;

    // Columns [c0, c1) (multiples of plan.step) of the top sweep; operand: `bytes` bytes, little-endian.
    void (*forward_top)(const FftPlan& plan, double* data, const u8* operand, u64 bytes, u64 c0, u64 c1);
    // The rest of the tree for streams [s0, s1).
    void (*forward_streams)(const FftPlan& plan, double* data, u64 s0, u64 s1);
    // Products of the leaves of X and Y and the inverse tree up to the top, streams [s0, s1) (multiples of
    // 2^log_r1 when there is one column). work may be X or Y.
    void (*inverse_streams)(const FftPlan& plan, double* work, const double* X, const double* Y, u64 s0,
                            u64 s1);
    // Columns [c0, c1) of the inverse top sweep, rounded and joined into the window. carry[0 .. 2S) = what is
    // left over behind the last column of each point stream (streams of re, then of im). When worst is not
    // null it is raised to the largest distance from an integer.
    void (*inverse_top)(const FftPlan& plan, const FftWindow& window, double* work, u64 c0, u64 c1,
                        i64* carry, double* worst);
};

namespace avx2 {
extern const FftKernels fft_kernels;
}
namespace avx512 {
extern const FftKernels fft_kernels;
}

}  // namespace trel
