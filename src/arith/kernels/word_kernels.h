// The serial inner loops on word arrays: what every operation of this room and the small products come down to.
//
// They are scalar, so they are chosen by the processor's multiplication instructions and not by the level of its
// vectors: `adx` where it has ADX (two carry chains), `bmi2` otherwise.
//
// Word arrays are little-endian by word. Unless said otherwise an output may be the same array as an input, but
// may not overlap it partially. n may be 0. Nothing here allocates or holds state.
#pragma once

#include <vector>

#include "os/types.h"

namespace trel {

struct WordKernels {
    const char* name;

    // T[0..n) = A[0..n) +- B[0..n) +- carry (0 or 1); return the carry or borrow out.
    u8 (*add_n)(Word* T, const Word* A, const Word* B, u64 n, u8 carry);
    u8 (*sub_n)(Word* T, const Word* A, const Word* B, u64 n, u8 borrow);
    // T[0..n) = A[0..n) * w + c; returns the top word.
    Word (*mul_1)(Word* T, const Word* A, u64 n, Word w, Word c);
    // T[0..n) = ~A[0..n) + 1 when carry is 1, ~A when it is 0; returns the carry out (1 only for A = 0).
    u8 (*negate)(Word* T, const Word* A, u64 n, u8 carry);
    // T[0..n+m) = A[0..n) * B[0..m), n >= m >= 1; T overlaps neither operand.
    void (*mul_basecase)(Word* T, const Word* A, u64 n, const Word* B, u64 m);
    // T[0..2n) = A[0..n)^2, n >= 1; T does not overlap A.
    void (*sqr_basecase)(Word* T, const Word* A, u64 n);
};

// The best kernels that this processor can run.
const WordKernels& word_kernels();
// All that it can run, for tests.
const std::vector<const WordKernels*>& available_word_kernels();

}  // namespace trel
