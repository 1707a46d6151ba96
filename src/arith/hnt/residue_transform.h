// The transform of the points' residues modulo a prime Q, beside that of the points themselves.
//
// A coefficient of a cyclic convolution is a sum of products of points, whatever the transform. So its
// residue is the coefficient of the convolution of the points' residues, which Q can do itself: it has roots
// of unity of every order up to 2^32.
//
// Why not the prime by which numbers carry residues (goldilocks.h): 2 has order 192 there. The roots of the
// points' ring are powers of two and of its square root 2^(24 L) - 2^(8 L), and so a changed bit changes
// coefficients by a power of two or by the difference of two that are 16 L bits apart. Where 12 divides L
// that would be 0. Modulo Q the order of 2 is (Q - 1) / 2, more than the bits of any number.
//
// Arrays of 2^k values below Q, k <= 32; any thread. Values are multiplied by a division: there are few.
#pragma once

#include "os/types.h"

namespace trel::residue_transform {

inline constexpr u64 kQ = 0x1ffffff900000001;  // prime

// The residue of words[0..n).
u64 of_words(const Word* words, u64 n);
// From places to values at the roots, in the order that multiply() and inverse() expect.
void forward(u64* x, u32 k);
// r = x y, value by value; r may be x or y.
void multiply(u64* r, const u64* x, const u64* y, u32 k);
// Back to places, divided by 2^k.
void inverse(u64* x, u32 k);

}  // namespace trel::residue_transform
