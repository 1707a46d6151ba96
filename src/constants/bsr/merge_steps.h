// Steps that the merges of several families have in common.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "arith/multiply/product_needs.h"
#include "base/names/names.h"
#include "platform/parallel/fork_join_catching.h"

namespace kalvor::BinarySplitting {

// Up to this many terms the buffers of a range are sized by its terms' words, above by the sizes of the
// series.
inline constexpr u64 kSmallRange = 100;
// What a stripped Q may still hold of zero words, in each of two factors.
inline constexpr u64 kUnstripped = 16;

// A denominator gives up the zero words at its bottom (its powers of two): in lines of 8 words, singly where
// it is short.
void strip_zero_words(ExactFloat& Q);

// Products of up to this many words are done by one task each.
inline constexpr u64 kUndividedWords = u64(1) << 13;

// a(context) and b(context), which do products of at most `words` words and need nothing of one another: as
// two tasks with half of the memory each where a product is too short to be divided among tasks and the
// halves have room for products one by one, otherwise one after the other.
template <class A, class B>
void independent_products(const MultiplyContext& context, u64 words, A&& a, B&& b) {
    const u64 tds = context.parallel.tds;
    if (tds >= 2 && words <= kUndividedWords) {
        const MemoryHalves half(context.scratch);
        if (half.first.size() >= product_needs(words).bytes) {
            return fork_join_catching(
                context.parallel, [&] { a(context.with_scratch(half.first).with_tds(tds / 2)); },
                [&] { b(context.with_scratch(half.second).with_tds(tds - tds / 2)); });
        }
    }
    a(context);
    b(context);
}

// A = B as an exact number that is not negative.
void set_natural(ExactFloat& A, const BasicInt& B);

// T = A B, placed so that an addition can grow it down to `floor`.
void multiply_above(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                    i64 floor);

// P = P1 Q2 and Q = Q1 Q2, P placed so that an addition can grow it down to `floor`. Q2 is transformed once.
// context.scratch: kept_product_needs() of the longer product.
void multiply_both(const MultiplyContext& context, ExactFloat& P, ExactFloat& Q, const ExactFloat& P1,
                   const ExactFloat& Q1, const ExactFloat& Q2, i64 floor);

// The same to `precision` words below the products' tops; P1 != 0. context.scratch: KeptTransform::fits() the
// longer product.
void multiply_both(const MultiplyContext& context, BigFloat& P, BigFloat& Q, const BigFloat& P1,
                   const BigFloat& Q1, const BigFloat& Q2, u64 precision);

// Lays P out for the sum with a number B, B != 0, of the magnitude `top` and the exponent `bottom`: it gets
// zero words below, down to what `precision` words of the sum hold, or loses words below that. false: P is
// zero or nothing of it is left, so that B takes its place.
bool make_room_for(const ParallelContext& parallel, BigFloat& P, i64 top, i64 bottom, u64 precision);

// P += A B or P -= A B, to `precision` words below the larger top. T's words are free.
void add_product(const MultiplyContext& context, BigFloat& P, const BigFloat& A, const BigFloat& B,
                 u64 precision, bool subtract, BigFloat& T);

// P = P1 Q2 + A B, or P1 Q2 - A B, and Q = Q1 Q2, to `precision` words. With the room for it Q2 is
// transformed once for its two products, and A B stands in T_words words of the scratch memory. Otherwise one
// product follows the other, and A B stands in the words that Q takes at the end, if those are as many.
// context.scratch: float_merge_needs().
void merge_floats(const MultiplyContext& context, BigFloat& P, BigFloat& Q, const BigFloat& P1,
                  const BigFloat& Q1, const BigFloat& Q2, const BigFloat& A, const BigFloat& B, u64 precision,
                  u64 T_words, bool subtract);
// longest: of its products, and of those that follow in the same memory. Q_words: of Q's buffer at the least.
// room: bytes that cost nothing.
Needs float_merge_needs(u64 longest, u64 T_words, u64 Q_words, u64 room);

}  // namespace kalvor::BinarySplitting
