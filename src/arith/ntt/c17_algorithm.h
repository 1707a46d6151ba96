// Code 17 as a multiplication algorithm.
#pragma once

#include "arith/multiply/multiply_algorithm.h"

namespace trel {

// Short name "C17", long name "Code 17 Experiment", family "C17v1", variant "Code 17 Experiment". Needs no
// shared tables: what its primes need is made once for the process, 13 KB each.
class C17Algorithm final : public MultiplyAlgorithm {
  public:
    // Throws LimitExceededException beyond the largest product.
    MultiplySizes sizes(u64 words) const override;
    void make_transform(TransformHolder& holder, u64 words) const override;
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;
};

const MultiplyAlgorithm& c17_algorithm();

}  // namespace trel
