// The difference of two numbers that are nearly equal, of which only the words below a position are at hand.
#pragma once

#include "arith/bigfloat/big_float.h"

namespace trel::newton {

// A view of A's words at the positions [low, high).
BigFloat words_between(const ParallelContext& P, const BigFloat& A, i64 low, i64 high);

// How two windows below position w met: side by side, or across a multiple of 2^(64 w) with B above or below
// A's window.
enum class Crossing { none, product_above, product_below };

// D = A - B. A and B are the words below w of numbers of one sign whose difference is below 2^(64 (w - 1)):
// the top words of the windows are equal or differ by a carry, and when one is all ones and the other zero
// the difference wraps once. D: precision + 2 words. Anything else is a fault: AlgorithmFailedException in
// the name of `function`.
Crossing subtract_windows(const ParallelContext& P, BigFloat& D, u64 precision, const BigFloat& A,
                          const BigFloat& B, i64 w, const char* function);

}  // namespace trel::newton
