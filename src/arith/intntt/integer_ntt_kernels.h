// The inner loops of the transforms that work modulo word-sized primes in integers, for 32-bit words (primes
// below 2^31) and 64-bit words (below 2^63), once per instruction set.
//
// Products are Montgomery's (1985) with the word as radix R: a factor that is known beforehand is kept times
// R, so that its product with a plain residue is plain again. Residues live in [0, 2 p) and are cut to [0, p)
// only where a sum would leave the word: two of four corrections of a butterfly fall away (Harvey 2014).
//
// The ring x^M - 1, M = 2^c, is split by x^m - s^2 -> (x^(m/2) - s)(x^(m/2) + s). Node k of a level has
// children 2 k and 2 k + 1 and the factor W(k), a root of unity whose angle is the sum of those of the bits
// of k. So W(k) is a product of entries of tables of 256, one for each byte of k, and every transform length
// uses the same tables. Points never return to a natural order: residues of the last 256 stay transposed (16
// x 16), and the inverse undoes it.
//
// Lengths with an odd factor b are a product of a transform of b points and one of M points, without factors
// between them: point j is row j mod b, column j mod M (Good 1958).
#pragma once

#include "os/types.h"

namespace trel {

template <class W>
struct IntegerNttTypes;
template <>
struct IntegerNttTypes<u32> {
    using Wide = u64;
    using Unit = u16;
    static constexpr u32 kLimbBits = 28;  // of coefficients while they are joined: ten products fit a u64
    static constexpr u32 kMaxPrimes = 10;
    static constexpr u32 kFractionBits = 59;  // of x / p in fixed point: 10 2^59 fits a u64
};
template <>
struct IntegerNttTypes<u64> {
    using Wide = u128;
    using Unit = u32;
    static constexpr u32 kLimbBits = 60;
    static constexpr u32 kMaxPrimes = 11;
    static constexpr u32 kFractionBits = 123;
};

// The points that both ends work on at once, and columns of the shortest row.
constexpr u64 kIntegerNttBlock = 64;
constexpr u32 kIntegerNttTail = 8;  // log2 of the points that are transformed in one piece at the end

template <class W>
struct IntegerNttPrime {
    static constexpr u32 kDigits = 7;  // bytes of the largest node number

    W p;
    W inverse;  // p^-1 modulo R
    // Factors (times R): of nodes, by byte of their number, and of the inverse transform.
    const W (*node)[256];
    const W (*node_inverse)[256];
    // Factors (times R) of the last four levels: row 2^l - 1 + e holds W(2^l lane + e) for 16 lanes.
    W tail[15][16], tail_inverse[15][16];
    // Row b transforms: sums and differences of z^(i j) and z^(-i j), halved (times R); i, j = 1 .. (b - 1)
    // / 2.
    W cosine[3][3], sine[3][3];
    W units[10];  // 2^(unit bits * i) R: a point's units to its residue
    W scale[56];  // by c: what makes the inverse transform's value the factor of the recombination
};

// A prime set with the constants of its recombination. All of the Chinese remainder theorem's sum
// v = sum_i r_i (P / p_i) - k P is kept in limbs of kLimbBits.
template <class W>
struct IntegerNttSet {
    using Types = IntegerNttTypes<W>;
    static constexpr u32 kMaxLimbs = 13;

    u32 a, b;
    u32 limbs;  // ceil(a * word bits / kLimbBits)
    IntegerNttPrime<W> prime[Types::kMaxPrimes];
    W cofactor[Types::kMaxPrimes][kMaxLimbs];  // P / p_i
    W complement[kMaxLimbs];                   // 2^(limbs kLimbBits) - P
    W fraction[Types::kMaxPrimes];             // 2^kFractionBits / p_i, rounded down
};

template <class W>
struct IntegerNttKernels {
    // out[0..64) = points modulo p, below 2 p; unit i of point k: units[64 * i + k], a - 1 of them.
    void (*reduce)(const IntegerNttPrime<W>& prime, u32 a, const W* units, W* out);
    // The transforms of b points down the 64 columns of `rows` (rows[64 * r + k]).
    void (*transform_b)(const IntegerNttPrime<W>& prime, u32 b, W* rows);
    void (*inverse_b)(const IntegerNttPrime<W>& prime, u32 b, W* rows);
    // The first two levels of a row of 2^log_m points on columns [from, to) of its quarters.
    void (*forward_top)(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 from, u64 to);
    void (*inverse_top)(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 from, u64 to);
    // All levels of a node of 2^log_m points, log_m >= 8; nodes of up to 2^log_block points level by level.
    void (*forward)(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 node, u32 log_block);
    // r = inverse of the pointwise products of x and y, times 2^log_m / R; r may be x or y.
    void (*inverse)(const IntegerNttPrime<W>& prime, W* r, const W* x, const W* y, u32 log_m, u64 node,
                    u32 log_block);
    // Coefficients of 64 columns from their residues (residues[64 * i + k], unscaled), in limbs
    // (limbs[64 * l + k]).
    void (*combine)(const IntegerNttSet<W>& set, u32 c, const W* residues, W* limbs);
};

namespace avx2 {
extern const IntegerNttKernels<u32> integer_ntt32;
extern const IntegerNttKernels<u64> integer_ntt64;
}  // namespace avx2
namespace avx512 {
extern const IntegerNttKernels<u32> integer_ntt32;
extern const IntegerNttKernels<u64> integer_ntt64;
}  // namespace avx512

}  // namespace trel
