// Code 17 as a multiplication algorithm.
#pragma once

#include "arith/multiply/multiply_algorithm.h"
#include "arith/ntt/ntt_records.h"

namespace trel {

// Short name "C17", long name "Code 17 Experiment", family "C17v1", variant "Code 17 Experiment". Needs no
// shared tables: what its primes need is made once for the process, 12 KB each.
//
// "VST Algorithm" (short name "VST", family "VSTv2", variant "VST Algorithm") is the same transform with a
// list of lengths of its own.
class C17Algorithm final : public MultiplyAlgorithm {
  public:
    // family: c17 or vst; throws InvalidParametersException "Invalid Mode" for another.
    explicit C17Algorithm(NttFamily family);

    // Throws LimitExceededException beyond the largest product.
    MultiplySizes sizes(u64 words) const override;
    bool folds_within_a_word() const override { return true; }
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;

  private:
    NttFamily family_;
};

const MultiplyAlgorithm& c17_algorithm();
const MultiplyAlgorithm& vst_algorithm();

}  // namespace trel
