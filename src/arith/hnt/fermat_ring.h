// Arithmetic modulo F = 2^(64 n) + 1, in which powers of two are roots of unity and so cost a shift.
//
// An element has n + 1 words: a value below 2^(64 n) with a zero word on top, or 2^(64 n) itself as zeros
// below a one. Everything is exact, serial and takes time proportional to n (products excepted); results may
// be the same array as an operand where it is said.
#pragma once

#include "os/types.h"

namespace trel::fermat {

// r = x + y, r = x - y; r may be x or y.
void add(Word* r, const Word* x, const Word* y, u64 n);
void sub(Word* r, const Word* x, const Word* y, u64 n);
// x = -x
void negate(Word* x, u64 n);
// r = 2^e x, 0 <= e < 64 n; r is not x.
void shift(Word* r, const Word* x, u64 e, u64 n);
// r = a number of 2 n words
void reduce(Word* r, const Word* number, u64 n);

}  // namespace trel::fermat
