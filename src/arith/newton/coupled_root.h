// The levels of an inverse square root that carry the square root along (the coupled iteration; Harvey,
// "Faster algorithms for the square root and reciprocal of power series", 2011, counts such schemes).
//
// With x = A^(-1/2) and s = A^(1/2) to half of the words and the residual d = A - s^2, a level is
//
//   s' = s + x d / 2        two transforms beside x's
//   x' = x - x (x s' - 1)   four; the last level ends here
//   d' = A - s'^2           one, from the transform of s' that the product by x has anyway
//
// all by one convolution of p words: s'^2 is twice as long, but what folds over is A's and known. The plain
// iteration multiplies A by x^2 instead, of which a convolution of 3p/2 words is needed. Errors a and b of x
// and s, relative, become b^2/2 + a b - a^2 and - b^2/2 - a b.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/algorithm_table.h"
#include "base/status/status.h"

namespace trel::newton {

// Words from which the coupled levels run; they win from about 2500 on (bench_arith_newton: 5% at 3000, 10%
// at 16384 words, and lose 10% at 1024).
inline constexpr u64 kCoupledPrecision = 2500;

// The precisions whose levels are coupled, [first, last]: none when last < first. A residual is what a
// product leaves after it folded, so the algorithm of every level's convolution, of p + 8 words, must lose
// nothing of the fold above its lowest word (MultiplyAlgorithm::folds_within_a_word()). Plain levels stand
// above `last` and below `first`.
struct CoupledRange {
    u64 first = kCoupledPrecision;
    u64 last = 0;

    static CoupledRange of(const AlgorithmTable& table);
    bool contains(u64 p) const { return first <= p && p <= last; }
};

// What a level leaves for the next: s, exactly precision + 2 words of it, and d. Buffers:
// root_estimate_words() and root_error_words() of the next level's precision.
struct CoupledRoot {
    BigFloat& s;
    BigFloat& d;
    u64 next;  // the next level's precision
};

// From x = A^(-1/2) to p words: s = A x and its residual. Scratch: a product of 2p + 6 words, a held
// transform of p + 8.
void coupled_root_start(const MultiplyContext& context, const CoupledRoot& root, const BigFloat& A,
                        const BigFloat& x, u64 p, const char* function);
// T = A^(-1/2) to p words from x, s and d of previous_precision(p) words; s and d are used up. above: what
// the next level needs; nullptr on the last one, which keeps s' in T's words meanwhile. T: p + 4 words.
// Scratch: two held transforms of p + 8 words, on the last level one.
void coupled_root_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                       const BigFloat& x, BigFloat& s, BigFloat& d, u64 p, const CoupledRoot* above,
                       const char* function);

// T = A^(1/2) to p words: the first third of the level of p words, the only one that a square root needs.
// x, s and d as above; d is used up. T: p + 4 words. Scratch: one held transform of p + 8 words.
void coupled_root_finish(const MultiplyContext& context, BigFloat& T, const BigFloat& x, const BigFloat& s,
                         BigFloat& d, u64 p);

}  // namespace trel::newton
