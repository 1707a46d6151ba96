// The error of a Newton iteration: what a product that should be 1 tells about the estimate that was put into
// it.
#pragma once

#include "arith/bigfloat/big_float.h"

namespace trel::newton {

// Where the product lies: the estimate is exact, too large (product > 1) or too small (product < 1).
enum class Estimate { exact, over, under };

// An estimate of p' words has an error below 2^(64 (2 - p')), relative to the product 1.
inline i64 error_bound(u64 previous_p) {
    return 2 - static_cast<i64>(previous_p);
}
// The precision from which an iteration reaches p words (p >= 1).
inline u64 previous_precision(u64 p) {
    return p == 1 ? 0 : p == 2 ? 1 : p / 2 + 1;
}

// Replaces the whole product T (about 1, all its words present) by |T - 1| and tells the side. Serves the
// basic iterations. Throws AlgorithmFailedException in the name of `function` when the units word is above 1
// or the error exceeds error_bound(previous_p).
Estimate take_error_at_units(const ParallelContext& P, BigFloat& T, u64 previous_p, const char* function);

// The same when T holds only the words of the product below position t, T >= 0: the words at and above t are
// known to be 1.000... or 0.999..., so the word at t - 1 must be zero or all ones.
Estimate take_error_below(const ParallelContext& P, BigFloat& T, i64 t, u64 previous_p, const char* function);

// Drops zero words at the top; zero gets exponent 0 and sign true.
void strip(const ParallelContext& P, BigFloat& T);

}  // namespace trel::newton
