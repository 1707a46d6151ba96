// The checks that number-theoretic transforms share.
#pragma once

#include "arith/multiply/floating_point_control.h"
#include "arith/ntt/ntt_records.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Transforms that compute in floating-point numbers are right only on threads that round to nearest, whatever
// their coefficients look like. rounded_right: every thread that took part did. Otherwise "The FPU
// Control Word has been corrupted." becomes a warning of the run; throws ConvolutionFailedException
// "Coefficient is too large." with the bound and no less than it for the excess. function: the short name of
// the algorithm.
void check_rounding(const ParallelContext& parallel, const char* function, bool rounded_right, u64 bound,
                    u64 excess);

// Families that share the vector transform: c17 and vst. Any other: throws InvalidParametersException
// (function, "Invalid Mode").
void check_vector_family(const char* function, NttFamily family);

// Memory for memory_k words of what a task leaves behind has to hold its carry_k words: otherwise throws
// AlgorithmFailedException "CarryBufferB(): memory_k < carry_k".
void check_carry_buffer(u64 memory_k, u64 carry_k);

// excess: the largest part above the bits of a product of two points that a coefficient has. A right
// coefficient is a sum of at most N such products, so its excess is below twice N rounded up to a power of
// two. Otherwise throws ConvolutionFailedException "Coefficient is too large." with the bound and the excess;
// when the processor rounds wrongly, "The FPU Control Word has been corrupted." is a warning of the run.
void check_ntt_coefficients(const ParallelContext& parallel, NttFamily family, const NttRecord& record,
                            u64 excess);
// The same with a given bound; function: the short name of the algorithm.
void check_coefficients(const ParallelContext& parallel, const char* function, u64 bound, u64 excess);

// The bound: 2^(c + ceil(log2 b) + 1).
u64 ntt_excess_bound(const NttRecord& record);

}  // namespace trel
