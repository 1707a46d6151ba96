// The modular redundancy check of binary splitting.
#pragma once

#include <span>

#include "arith/exact/exact_float.h"
#include "base/names/names.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::BinarySplitting {

// Compares the residue of every result's words with the residue that was carried beside it since the leaves.
// Two parts, the first result and the others, run as two tasks from 10,000 words up. Throws
// BSRModularCheckFailedException "Modular Redundancy Check Failed" with the range and the differences modulo
// 2^64 - 2^32 + 1 (of the second part: the first that is not 0).
void kvb_Verify_BSR(u64 a, u64 b, std::span<const ExactFloat> results, const ParallelContext& parallel);

}  // namespace kalvor::BinarySplitting
