// The two stages of a term 2^x / m modulo 1: the power 2^x mod m, and the quotient's limbs of 48 bits. Eight
// terms are a vector; a tile of terms is brought through both stages at a time.
//
//     power     r = 2^x mod m          one of three arithmetics, by the size of m (README.md has the proofs)
//     limbs     r 2^48 = q m + r'      q is the next limb, r' goes on; q is rounded, so both are signed
//
// Limbs are added up, lane by lane, in an array of signed words: sums[8 j + lane], j = 0 the most
// significant. The caller folds it before a sum can leave 63 bits: after at most kBbpFoldTerms terms.
#pragma once

#include "base/names/names.h"
#include "base/simd/isa.h"
#include "os/types.h"

namespace kalvor {

constexpr u64 kBbpTile = 1024;
// |q| <= 2^49 + 1 in any mode, and a lane gets at most one limb of a term: of every eighth one, except in
// mode C's tail, which adds every term to lane 0.
constexpr u64 kBbpFoldTerms = u64(1) << 15;
// The largest divisors of the modes; modes A and B are proved up to here, mode C below 2^61.
constexpr u64 kBbpLimitA = (u64(1) << 49) - 1;
constexpr u64 kBbpLimitB = (u64(1) << 51) - 1;
constexpr u64 kBbpLimitC = (u64(1) << 61) - 1;

// Terms i = 0 .. n - 1 with divisors `divisor` + i `divisor_step`, odd and at least 3, and exponents
// `exponent` - i `exponent_step`, at least 1.
struct BbpTerms {
    u64 n;  // 1 .. kBbpTile
    u64 divisor, divisor_step;
    u64 exponent, exponent_step;
};

// A tile between the stages. Lanes behind the last term hold r = 0.
struct BbpTile {
    alignas(64) double r[kBbpTile];
    alignas(64) double m[kBbpTile];
    alignas(64) double inverse[kBbpTile];  // 1 / m, correctly rounded
};
struct BbpTileC {
    alignas(64) u64 r[kBbpTile];  // two's complement
    alignas(64) u64 m[kBbpTile];
    alignas(64) double inverse[kBbpTile];  // within 2^-52 of 1 / m, relatively
};

struct BbpKernels {
    const char* isa;
    // r = 2^x modulo m in every lane, |r| < 2 m: mode A and mode B. Both take the same short squarings where
    // m is at most 90,000,000 in a whole flight of vectors. Mode B corrects doublings from m = 2^50 on.
    void (*power_a)(BbpTile& tile, const BbpTerms& terms) noexcept;
    void (*power_b)(BbpTile& tile, const BbpTerms& terms) noexcept;
    // sums[8 j + lane] += limbs j = 0 .. n_limbs - 1 of the first n terms; r goes on to the limbs behind
    // them. With `last` the last limb becomes that of the truncated quotient. n is rounded up to whole
    // groups of kBbpGroup, so r must be 0 in the lanes behind.
    void (*limbs)(u64* sums, u64 n_limbs, BbpTile& tile, u64 n, bool last) noexcept;
    // The same for mode C; -m < r < 2 m. Below m = 2^30 its squarings and limbs are short ones.
    void (*power_c)(BbpTileC& tile, const BbpTerms& terms) noexcept;
    void (*limbs_c)(u64* sums, u64 n_limbs, BbpTileC& tile, u64 n, bool last) noexcept;
};

// kBbpTile is a multiple of it.
constexpr u64 kBbpGroup = 128;

const BbpKernels& bbp_kernels(Isa isa);
// The level in use.
const BbpKernels& bbp_kernels();

}  // namespace kalvor
