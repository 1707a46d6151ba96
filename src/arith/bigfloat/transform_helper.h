// A short-lived transform for squares at one precision.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/bigfloat/big_float_transform.h"

namespace trel {

// Made for one operand and precision, used for squares of operands that are no longer, on memory of the
// caller.
class TransformHelper {
  public:
    // Makes the transform of the table for a product of 2 min(p, L_A) + 6 words. context.scratch must hold
    // twice its data and its scratch, else BufferTooSmallException (bytes).
    TransformHelper(const MultiplyContext& context, const BigFloat& A, u64 p);

    // Scratch bytes for operands of `length` words at precision p.
    static u64 scratch_bytes(const MultiplyContext& context, u64 length, u64 p);

    // T = the top p words of A^2 and 2 guard words below them. T's buffer: p + 2 words (2 L_A words are
    // enough).
    void sqr(BigFloat& T, const BigFloat& A) const;

    const Transform& transform() const { return *transform_; }

  private:
    MultiplyContext context_;
    u64 p_;
    TransformHolder transform_;
};

}  // namespace trel
