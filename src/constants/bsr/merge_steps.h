// Steps that the merges of several families have in common.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/names/names.h"

namespace kalvor::BinarySplitting {

// A denominator gives up the zero words at its bottom (its powers of two): in lines of 8 words, singly where
// it is short.
void strip_zero_words(ExactFloat& Q);

// A = B as an exact number that is not negative.
void set_natural(ExactFloat& A, const BasicInt& B);

// P = P1 Q2 and Q = Q1 Q2, P placed so that an addition can grow it down to `floor`. Q2 is transformed once.
// context.scratch: kept_product_needs() of the longer product.
void multiply_both(const MultiplyContext& context, ExactFloat& P, ExactFloat& Q, const ExactFloat& P1,
                   const ExactFloat& Q1, const ExactFloat& Q2, i64 floor);

// Lays P out for the sum with a number B, B != 0, of the magnitude `top` and the exponent `bottom`: it gets
// zero words below, down to what `precision` words of the sum hold, or loses words below that. false: P is
// zero or nothing of it is left, so that B takes its place.
bool make_room_for(const ParallelContext& parallel, BigFloat& P, i64 top, i64 bottom, u64 precision);

// P += A B or P -= A B, to `precision` words below the larger top. T's words are free.
void add_product(const MultiplyContext& context, BigFloat& P, const BigFloat& A, const BigFloat& B,
                 u64 precision, bool subtract, BigFloat& T);

}  // namespace kalvor::BinarySplitting
