// The two ends of a Code 17 product: the operand's words cut into points and reduced modulo each prime, and
// the residues of the product joined into words again.
//
// A point has w = 24 (a - 1) bits, so that eight points are a "group" of exactly 3 (a - 1) words. All counts
// of points here are multiples of eight, all row starts are group starts. Residues are balanced doubles, one
// array a prime, points in their natural order. Arrays of doubles start at multiples of 64 bytes and strides
// are multiples of eight.
#pragma once

#include "arith/ntt/ntt_prime_sets.h"
#include "base/simd/isa.h"
#include "os/types.h"

namespace trel {

struct C17SetConstants;  // c17_end_constants.h

// Constants of one prime set and length; a plain value that the owner of the transform keeps.
struct C17EndConstants {
    static constexpr u32 kMaxPrimes = 11;

    const C17SetConstants* set;  // lives as long as the program
    double scale[kMaxPrimes];    // 1 / (N M_i) modulo prime i, M_i the product of the others; balanced
};
// N = b 2^c, c <= set.max_exponent; the scale 1 / N of the inverse transform is folded into the
// recombination. Cheap: the tables of a set are made on its first use (any thread), then a few loads.
void make_c17_end_constants(C17EndConstants* out, const NttPrimeSet& set, u32 c);

// What runs from one block of points of a row to the next while a product is joined; all zero = nothing
// below. See c17_excess().
struct C17Carry {
    u64 middle[5][8];  // second parts of the last group's coefficients, in limbs of 48 bits
    u64 top[8];        // what stood above them
    u64 out[8];        // carries out of the points
    u64 excess[8];     // the largest parts of a coefficient above 2 w bits met so far, by lane
};

// Sums over groups that are not joined, lane by lane: coefficient = sum of y_i M_i - quotient M. Two's
// complement; of no more than kMaxGroups groups.
struct alignas(64) C17Outside {
    static constexpr u64 kMaxGroups = u64(1) << 14;

    u64 y[C17EndConstants::kMaxPrimes][8];
    u64 quotient[8];
    u64 groups;
};

struct C17EndKernels {
    // Points [j0, j0 + count) of the operand A[0..L), zero beyond its end, as limbs for reduce():
    // limbs[(k / 8 * (a - 1) + i) * 8 + k % 8] is limb i, 24 bits, of point j0 + k. Reads nothing
    // but A[0..L). One group after the other, because rows at a distance of a power of two would fight for
    // the same lines of the cache.
    void (*cut)(u32 a, const Word* A, u64 L, u64 j0, u64 count, double* limbs);
    // out[i * stride + k] = point k modulo prime number first + i of the set, i < n; magnitudes at most
    // p / 2 + 1. With two or more primes at once the limbs stay in the first cache.
    void (*reduce)(const C17EndConstants* constants, u32 first, u32 n, const double* limbs, u64 count,
                   double* out, u64 stride);
    // Joins `count` points: residues[i * stride + k] modulo prime i (any magnitude below 2^51), to the
    // 3 (a - 1) count / 8 words at out, with the carry from below; not a byte more is written. Exact for
    // coefficients from 0 to (1 - 2^-39) times the product of the primes.
    void (*recombine)(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
                      C17Carry* carry, Word* out);
    // Adds `count` points to the sums; the residues are those of recombine().
    void (*leave_out)(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
                      C17Outside* sums);
    // The words that stand above the last point: 3 (a - 1) words to add at the next group. The carry is empty
    // afterwards, except for the excess.
    void (*flush)(const C17EndConstants* constants, C17Carry* carry, Word* out);
};

// The doubles a point that cut() writes.
constexpr u32 c17_point_limbs(u32 a) {
    return a - 1;
}
// The words of a group of eight points.
constexpr u64 c17_group_words(u32 a) {
    return 3 * (u64(a) - 1);
}

// The largest part of a coefficient above its 2 w bits; above 2^63 when one was negative, i.e. lay beyond
// what the set of primes can tell. To be compared with 2^(c + ceil(log2 b) + 1).
inline u64 c17_excess(const C17Carry& carry) {
    u64 largest = 0;
    for (u64 e : carry.excess) largest = e > largest ? e : largest;
    return largest;
}

// To start in the middle of a row: recombine the group before the first wanted one with an empty carry and
// look at its words. True: the carry that this leaves is the right one, whatever stands below the group.
// False (a run of ones; never for group 0, where nothing stands below): start a group earlier.
//
// What is missing are contributions to the first two points of the group (the coefficients before spread over
// three points) and a carry, together at most 1 at the bottom of the third point; a word above it that is not
// all ones stops that.
inline bool c17_carry_is_decided(u32 a, const Word* group) {
    for (u64 i = c17_group_words(a) - 1; i * 8 >= 2 * c17_group_words(a); i--) {
        if (group[i] != ~Word(0)) return true;
    }
    return false;
}

namespace avx2 {
extern const C17EndKernels c17_end_kernels;
}
namespace avx512 {
extern const C17EndKernels c17_end_kernels;
}

// The kernels of the level in use, and of a given one.
const C17EndKernels& c17_end_kernels();
const C17EndKernels& c17_end_kernels(Isa isa);

}  // namespace trel
