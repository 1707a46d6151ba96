// The checks that number-theoretic transforms share.
#pragma once

#include "arith/multiply/floating_point_control.h"
#include "arith/ntt/ntt_records.h"
#include "os/types.h"

namespace trel {

// An operand or product of `words` words has to fit the convolution: otherwise throws
// ConvolutionTooSmallException "Convolution length is too small.".
void check_ntt_length(NttFamily family, u64 capacity_bits, u64 words);

// excess: the largest part above the bits of a product of two points that a coefficient has. A right
// coefficient is a sum of at most N such products, so its excess is below twice N rounded up to a power of
// two. Otherwise throws ConvolutionFailedException "Coefficient is too large." with the bound and the excess;
// when the processor rounds wrongly it prints "The FPU Control Word has been corrupted." before.
void check_ntt_coefficients(NttFamily family, const NttRecord& record, u64 excess);
// The same with a given bound; function: the short name of the algorithm.
void check_coefficients(const char* function, u64 bound, u64 excess);

// The bound: 2^(c + ceil(log2 b) + 1).
u64 ntt_excess_bound(const NttRecord& record);

}  // namespace trel
