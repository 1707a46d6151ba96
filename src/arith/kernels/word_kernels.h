// The schoolbook products, one set for each kind of multiplication instructions: `adx` where the processor has ADX
// (two carry chains at once), `bmi2` otherwise. They are scalar, so the level of the vectors does not matter.
#pragma once

#include <vector>

#include "os/types.h"

namespace trel {

struct WordKernels {
    const char* name;

    // T[0..n+m) = A[0..n) * B[0..m), n >= m >= 1; T overlaps neither operand.
    void (*mul_basecase)(Word* T, const Word* A, u64 n, const Word* B, u64 m);
    // T[0..2n) = A[0..n)^2, n >= 1; T does not overlap A.
    void (*sqr_basecase)(Word* T, const Word* A, u64 n);
};

// The best set that this processor can run.
const WordKernels& word_kernels();
// All that it can run, for tests.
const std::vector<const WordKernels*>& available_word_kernels();

}  // namespace trel
