// Division of word arrays by one word with a precomputed 128-bit reciprocal, serial and split over tasks with
// a self-check.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// The divisor d (2 < d < 2^63, no power of two) and floor(2^128 / d) as (q1, q0). Throws
// InvalidParametersException "Divisor is too large." / "Untested with power-of-two.".
class ShoupDivider {
  public:
    explicit ShoupDivider(Word d);
    Word divisor() const { return d_; }
    Word negated() const { return neg_; }
    Word reciprocal_low() const { return q0_; }
    Word reciprocal_high() const { return q1_; }

    // Quotient of r * 2^64 + a, r < d; sets r to the remainder.
    Word step(Word& r, Word a) const {
        // With N = r 2^64 + a and v = (q1, q0), N v = r q1 2^128 + (r q0 + a q1) 2^64 + a q0, so the estimate
        // is floor(N v / 2^128) exactly. v is less than 1 below 2^128 / d, and N < d 2^64 < 2^127: N v /
        // 2^128 is less than 1/2 below N / d. So the estimate is N / d rounded down or 1 less, and the
        // remainder is below 2d < 2^64. Without the high word of a q0 it could be 2 less, for divisors above
        // 2^32. The sum fits 128 bits: it is below 2^64 (d + 2^64 / d) + 2^64.
        const Word above = Word(u128(a) * q0_ >> 64);
        const Word low = Word((u128(r) * q0_ + (u128(a) * q1_ + above)) >> 64);
        Word q = r * q1_ + low;
        Word rest = a - q * d_;
        const Word correction = 0 - Word(rest >= d_);
        q -= correction;
        rest += neg_ & correction;
        r = rest;
        return q;
    }
    // a * b mod d, a, b < d
    Word mulmod(Word a, Word b) const {
        const u128 p = u128(a) * b;
        Word r = Word(p >> 64);
        step(r, Word(p));
        return r;
    }
    // 2^(64 n) mod d
    Word pow2_64_mod(u64 n) const;

  private:
    Word d_, neg_, q0_, q1_;
};

// Q[0..n) = (r * 2^(64 n) + A) div d; returns the remainder. Q == A allowed. r < d, else
// InvalidParametersException "Top word is too large.".
Word divmod(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r);
// The same for A = 0: n further quotient words of r.
Word divmod(const ShoupDivider& divider, Word* Q, u64 n, Word r);
// Parallel forms; a block whose remainder is not the predicted one throws AlgorithmFailedException
// "Mismatching block residuals.".
Word bp_div_np(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r, const ParallelContext& P);
Word bp_div_ex(const ShoupDivider& divider, Word* Q, u64 n, Word r, const ParallelContext& P);

}  // namespace trel
