// Schoolbook and Karatsuba products of 64-bit word arrays: everything below the size where transforms pay off.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// T[0..n+m) = A[0..n) * B[0..m), schoolbook. n, m >= 1. T overlaps neither operand.
void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m);
// T[0..2n) = A[0..n)^2
void sqr_basecase(Word* T, const Word* A, u64 n);

// T[0..n+m) = A * B with Karatsuba above the thresholds. scratch: karatsuba_sizes(64 * (n + m)).scratch_bytes.
// T overlaps neither operand.
void mul_karatsuba(Word* T, const Word* A, u64 n, const Word* B, u64 m, Word* scratch, const ParallelContext& P);
void sqr_karatsuba(Word* T, const Word* A, u64 n, Word* scratch, const ParallelContext& P);

struct KaratsubaSizes {
    u64 output_bytes;
    u64 scratch_bytes;
};
// Sizes for a product of `bits` bits.
KaratsubaSizes karatsuba_sizes(u64 bits);

// The thresholds in words, read on every call: below them the basecase.
struct KaratsubaThresholds {
    u64 sqr32 = 10, mul32 = 14, sqr64 = 31, mul64 = 31;
};
const KaratsubaThresholds& karatsuba_thresholds();

}  // namespace trel
