// The inner loops on word arrays that carry flags run through, in assembly: compilers do not keep a carry in
// the flags over a loop.
//
// All follow the System V calling convention on every system. Arrays are little-endian by word; T may equal
// an input unless a comment says otherwise; partial overlap is not allowed.
#pragma once

#include "os/types.h"

namespace trel {

#define TREL_ASM_FUNCTION __attribute__((sysv_abi))

extern "C" {

// T[0..n) = A[0..n) +- B[0..n) +- carry; return the carry out. Any x86-64.
u8 trel_add_n(Word* T, const Word* A, const Word* B, u64 n, u8 carry) TREL_ASM_FUNCTION;
u8 trel_sub_n(Word* T, const Word* A, const Word* B, u64 n, u8 borrow) TREL_ASM_FUNCTION;
// T[0..n) = A[0..n) * w + c; returns the top word. Needs BMI2.
Word trel_mul_1(Word* T, const Word* A, u64 n, Word w, Word c) TREL_ASM_FUNCTION;

// T[0..2n) = A[0..n)^2 for n = 4, 5; T does not overlap A. Need BMI2.
void trel_sqr_4(Word* T, const Word* A) TREL_ASM_FUNCTION;
void trel_sqr_5(Word* T, const Word* A) TREL_ASM_FUNCTION;

// Products of a block of k = 1..8 words A[0..k), held in registers, with m >= 1 words B. The accumulators are
// a window of k registers that slides over T one word a row, so that T is read and written once a row and not
// once a product.
//   fresh: T[0..m+k) = A * B            k = 1..8
//   add:   T[0..m+k) = T[0..m) + A * B  k = 4..8; T[m..m+k) is only written
using MulBlock = TREL_ASM_FUNCTION void (*)(Word* T, const Word* A, const Word* B, u64 m);
// The products of pairs of a square that have a factor in the block: A[i] * A[j] for i < k, i < j < n, n >=
// k.
//   fresh: T[0..n+k) = sum              k = 2..8
//   add:   T[0..n+k) = T[0..n) + sum    k = 4..8
using SqrBlock = TREL_ASM_FUNCTION void (*)(Word* T, const Word* A, u64 n);
// T[0..2n) = 2 T[0..2n) + sum of A[i]^2 2^(128 i), n >= 1
using SqrFinish = TREL_ASM_FUNCTION void (*)(Word* T, const Word* A, u64 n);

}  // extern "C"

// One set for processors with ADX (two carry chains at once), one for those with BMI2 only.
struct BlockProducts {
    MulBlock mul_fresh[9], mul_add[9];
    SqrBlock sqr_fresh[9], sqr_add[9];
    SqrFinish sqr_finish;
};
extern const BlockProducts kBlockProductsAdx;
extern const BlockProducts kBlockProductsBmi2;

}  // namespace trel
