// The single steps of the Newton iterations, apart from the recursion that feeds them. The runs call them
// with the estimate of the level below; tests call them with estimates of their own making.
//
// All numbers are positive except in division_step. T overlaps no operand, but for a divisor.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/bigfloat/big_float_transform.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/multiply/transform.h"
#include "arith/newton/division.h"
#include "arith/newton/error_term.h"
#include "arith/newton/recursion.h"
#include "arith/newton/window_difference.h"
#include "base/status/status.h"

namespace trel::newton {

// Sizes of an iteration of p words, in words: the estimate of the level below and the correction. Multiples
// of 8, so that everything cut behind them stays aligned for the vector kernels.
inline u64 estimate_words(u64 p) {
    return (p / 2 + 11) & ~u64(7);
}
inline u64 root_estimate_words(u64 p) {
    return (p / 2 + 12) & ~u64(7);
}
inline u64 correction_words(u64 p) {
    return (p / 2 + 10) & ~u64(7);
}
// The error term of a root: the window of ceil(p/2) + 3 words and the word that halving appends.
inline u64 root_error_words(u64 p) {
    return (p / 2 + 12) & ~u64(7);
}
// The nth root converges a little slower, by the factor n + 1, and starts higher.
inline u64 nth_root_basic_previous(u64 p) {
    return p < 9 ? p - 1 : p / 2 + 3;
}
// Three words more than its precision: of a large degree's root, 1.000..., one is the one before the point,
// and n times what the others miss must be small.
inline u64 nth_root_basic_estimate_words(u64 p) {
    return nth_root_basic_previous(p) + 3;
}
inline u64 nth_root_previous(u64 p) {
    return p / 2 + 3;
}
inline u64 nth_root_estimate_words(u64 p) {
    return (p / 2 + 16) & ~u64(7);
}
inline u64 nth_root_power_words(u64 p) {
    return (p + 15) & ~u64(7);
}
// The words of the estimate that an iteration of p words uses.
inline u64 used_estimate_words(u64 p) {
    return p / 2 + 3;
}

// The convolution of A x^2, or A x^n: its window begins below 2^(-64 p/2) of the product's top, and what
// folds must end below 2^(-64 p).
inline u64 window_product_words(u64 p) {
    return p + 9 + p / 2;
}

// T = A / 2 to p + 2 words.
void set_half(u64 p, const ParallelContext& parallel, BigFloat& T, const BigFloat& A);
// T / 2, exact: one more word below when the lowest bit is set.
void halve(const ParallelContext& parallel, BigFloat& T);
// T = A / n, n >= 1, with all words from position `lowest` up, however short A is. T: A.mag() - lowest + 2
// words, or A.L for n = 1.
void divide_by_small(const ParallelContext& parallel, BigFloat& T, const BigFloat& A, u64 n, i64 lowest);

// A transform together with the front part of the context's scratch: `held` forward transforms that stay, the
// rest for the operations. Throws BufferTooSmallException when the scratch is too small.
class HeldTransforms {
  public:
    HeldTransforms(const MultiplyContext& context, u64 product_words, u64 held);
    const Transform& transform() const { return *holder_; }
    void* data(u64 index) const { return static_cast<u8*>(data_) + index * holder_->data_bytes(); }
    const MultiplyContext& context() const { return context_; }

    static Needs needs(u64 product_words, u64 held);

  private:
    TransformHolder holder_;
    MultiplyContext context_;
    void* data_;
};

// T = the words [ie, te) of A B, and two below, by a convolution of product_words words of which nothing is
// kept. T overlaps no operand.
Needs window_product_needs(u64 product_words);
void window_product(const MultiplyContext& context, u64 product_words, BigFloat& T, const BigFloat& A, u64 pA,
                    const BigFloat& B, u64 pB, i64 ie, i64 te);

// The end of a level: T holds the error term, halved for a root, and becomes x + x T (under-estimate) or
// x - x T, nudged upward when it is longer than p words. y takes the product.
void correct_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& x, Estimate side, BigFloat& y,
                   u64 p);
// The same with x's held transform, announced as " U1M " or " O1M ". The error term e may stand in T.
struct CorrectionLabels {
    const char* under = " U1M ";
    const char* over = " O1M ";
};
void correct(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& x,
             const BigFloat& e, Estimate side, BigFloatTransformR& held, BigFloat& y, u64 p,
             CorrectionLabels labels = {});

// T = 1/A, exact to about p words, from x = 1/A to previous_precision(p) words. T: p + 3 words.
// Basic: T holds x on entry; two temporaries of p' + 2 words are cut from the buffer.
void reciprocal_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                           LinearWordBuffer buffer);
// With windowed products, p >= 10: correction_words(p) are cut. x: at most used_estimate_words(p) words.
void reciprocal_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                     const BigFloat& x, u64 p, LinearWordBuffer buffer);

// The same for w^(-1/2). T: p + 4 words.
void invsqrt_word_basic_step(const MultiplyContext& context, BigFloat& T, Word w, u64 p,
                             LinearWordBuffer buffer);
void invsqrt_word_step(const MultiplyContext& context, Status& status, BigFloat& T, Word w, const BigFloat& x,
                       u64 p, LinearWordBuffer buffer);

// The same for A^(-1/2). T: p + 4 words.
// Basic: T holds x on entry; two temporaries of p' + 2 words and one of p + 2 are cut from the buffer.
void invsqrt_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                        LinearWordBuffer buffer);
// With windowed products: correction_words(p) and root_error_words(p) are cut.
void invsqrt_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                  const BigFloat& x, u64 p, LinearWordBuffer buffer);

// The same for A^(-1/n). T: p + 6 words.
void nth_root_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 n, u64 p,
                         LinearWordBuffer buffer);
// p >= 10; nth_root_power_words(p) are cut; x: at most p' + 2 words
void nth_root_expanded_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                            u64 n, const BigFloat& x, u64 p, LinearWordBuffer buffer);
void nth_root_factored_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                            u64 n, const BigFloat& x, u64 p, LinearWordBuffer buffer);

// T = A/B to p words from x = 1/B to q = p/2 + 1 words (at most q + 2), p >= 10. T may stand in B's words.
// The two other temporaries are cut from the buffer.
Crossing division_step(const DivisionPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                       const BigFloat& A, const BigFloat& B, const BigFloat& x, LinearWordBuffer buffer);

// 1/A by the basic iteration without a look at a plan; T: p + 3 words.
void reciprocal_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                      LinearWordBuffer buffer);

// A^n without a look at a plan; T: p + 4 words, the buffer as many.
void power(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A, u64 n, u64 p,
           LinearWordBuffer buffer);

}  // namespace trel::newton
