// The single steps of the Newton iterations, apart from the recursion that feeds them. The runs call them
// with the estimate of the level below; tests call them with estimates of their own making.
//
// All numbers are positive except in division_step. T overlaps no operand.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/bigfloat/big_float_transform.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/multiply/transform.h"
#include "arith/newton/division.h"
#include "arith/newton/error_term.h"
#include "base/status/status.h"

namespace trel::newton {

inline constexpr u64 kTransformPrecision = 10;  // words; below it the basic iterations run

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
// The words of the estimate that an iteration of p words uses.
inline u64 used_estimate_words(u64 p) {
    return p / 2 + 3;
}

// The memory for the level below: what is left of the buffer or the result's own words, which nobody needs
// until the estimate is there.
LinearWordBuffer larger_of(const LinearWordBuffer& rest, const BigFloat& result);

// A transform together with the front part of the context's scratch: `held` forward transforms that stay, the
// rest for the operations. Throws BufferTooSmallException when the scratch is too small.
class HeldTransforms {
  public:
    HeldTransforms(const MultiplyContext& mp, u64 product_words, u64 held);
    const Transform& transform() const { return *holder_; }
    void* data(u64 index) const { return static_cast<u8*>(data_) + index * holder_->data_bytes(); }
    const MultiplyContext& context() const { return context_; }

    // Scratch bytes for a product size.
    static u64 scratch_bytes(u64 product_words, u64 held);

  private:
    TransformHolder holder_;
    MultiplyContext context_;
    void* data_;
};

// The end of a level: T holds the error term, halved for a root, and becomes x + x T (under-estimate) or
// x - x T, nudged upward when it is longer than p words. y takes the product.
void correct_basic(const MultiplyContext& mp, BigFloat& T, const BigFloat& x, Estimate side, BigFloat& y,
                   u64 p);
// The same with x's held transform, announced as " U1M " or " O1M ".
void correct(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& x, Estimate side,
             BigFloatTransformR& held, BigFloat& y, u64 p);

// T = 1/A, exact to about p words, from x = 1/A to previous_precision(p) words. T: p + 3 words.
// Basic: T holds x on entry; two temporaries of p' + 2 words are cut from the buffer.
void reciprocal_basic_step(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 p,
                           LinearWordBuffer buffer);
// With windowed products, p >= 10: correction_words(p) are cut. x: at most used_estimate_words(p) words.
void reciprocal_step(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A,
                     const BigFloat& x, u64 p, LinearWordBuffer buffer);

// The same for w^(-1/2). T: p + 4 words.
void invsqrt_word_basic_step(const MultiplyContext& mp, BigFloat& T, Word w, u64 p, LinearWordBuffer buffer);
void invsqrt_word_step(const MultiplyContext& mp, Status& status, BigFloat& T, Word w, const BigFloat& x,
                       u64 p, LinearWordBuffer buffer);

// How the remainder's window met A's: side by side, or across a multiple of 2^(64 w) with the remainder above
// or below A's window.
enum class Crossing { none, product_above, product_below };
// T = A/B to p words from x = 1/B to q = p/2 + 1 words (at most q + 2), p >= 10. x's own buffer (plan.x
// words) is overwritten; the two other temporaries are cut from the buffer.
Crossing division_step(const DivisionPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                       const BigFloat& A, const BigFloat& B, const BigFloat& x, LinearWordBuffer buffer);

// 1/A by the basic iteration without a look at a plan; T: p + 3 words.
void reciprocal_basic(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 p,
                      LinearWordBuffer buffer);

}  // namespace trel::newton
