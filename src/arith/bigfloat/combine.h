// In-place sums of floating-point numbers, as the last steps of truncated merges and products need them.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// |A| += |B| or |A| -= |B| in place, B's words below A's bottom dropped; A keeps its bottom and its sign.
// Needs one word above the larger top (BufferTooSmallException). Throws UnsupportedNegativeException when |B|
// > |A| is subtracted.
void combine_ip(const ParallelContext& parallel, BigFloat& A, const BigFloat& B, bool subtract);

// A += B or A -= B with their signs, in place, B's words below A's bottom dropped; A keeps its bottom and may
// become zero. A is not zero before. Room as above.
void combine_signed_ip(const ParallelContext& parallel, BigFloat& A, const BigFloat& B, bool subtract);

// Drops A's words below the exponent `floor`, which is above its own, and moves the others to the buffer's
// start. A may become zero.
void cut_below(const ParallelContext& parallel, BigFloat& A, i64 floor);

// Gives A zero words down to the exponent `floor`, which is not above its own. BufferTooSmallException naming
// the function when A's buffer has no room for them.
void extend_down(BigFloat& A, i64 floor, const char* function);

}  // namespace trel
