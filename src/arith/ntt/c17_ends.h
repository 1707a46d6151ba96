// The two ends of a Code 17 product: the operand's words cut into points and reduced modulo each prime, and
// the residues of the product joined into words again.
//
// A point has w = 24 (a - 1) bits, so that eight points are a "group" of exactly 3 (a - 1) words. All counts
// of points here are multiples of eight, all row starts are group starts. Residues are balanced doubles, one
// array a prime, points in their natural order.
#pragma once

#include "arith/ntt/ntt_prime_sets.h"
#include "os/types.h"

namespace trel {

// Constants of one prime set and length, in memory of the owner of the transform (trivially destructible).
// Filled by make_c17_end_constants(); every field is the ends' own business, but for these:
struct C17EndConstants;
u64 c17_end_constants_bytes(u32 a);  // a multiple of 64
// N = b 2^c; the scale 1 / N of the inverse transform is folded into the recombination. Cheap (no power is
// computed: tables of the set are made on first use), so that a transform can be made per product.
void make_c17_end_constants(C17EndConstants* out, const NttPrimeSet& set, u32 c);

// What runs from one block of points of a row to the next while a product is joined.
struct alignas(64) C17Carry {
    u64 state[8 * 8];  // opaque; all zero = nothing below
    double excess;     // the largest part of a coefficient above 2 w bits met so far (not negative)
};

struct C17EndKernels {
    // Points [j0, j0 + count) of the operand A[0..L), zero beyond its end, as rows of limbs for reduce():
    // limbs[row * stride + k] belongs to point j0 + k, row < limb_rows(a).
    void (*cut)(u32 a, const Word* A, u64 L, u64 j0, u64 count, u64* limbs, u64 stride);
    // out[k] = point k modulo prime number `prime` of the set, balanced (|out| <= p / 2 or a little more).
    void (*reduce)(const C17EndConstants* constants, u32 prime, const u64* limbs, u64 stride, u64 count,
                   double* out);
    // Joins `count` points: residues[i * stride + k] modulo prime i (any magnitude below 2^51), to the
    // 3 (a - 1) count / 8 words at out, with the carry from below; not a byte more is written.
    void (*recombine)(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
                      C17Carry* carry, Word* out);
    // The words that stand above the last point: 3 (a - 1) words to add at the next group.
    void (*flush)(const C17EndConstants* constants, C17Carry* carry, Word* out);
};

constexpr u32 c17_limb_rows(u32 a) {
    return a;  // an upper bound of the rows that cut() writes
}

namespace avx2 {
extern const C17EndKernels c17_end_kernels;
}
namespace avx512 {
extern const C17EndKernels c17_end_kernels;
}

}  // namespace trel
