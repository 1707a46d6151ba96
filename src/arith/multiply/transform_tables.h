// The shared tables of all algorithms, built once per computation for its largest product.
#pragma once

#include <memory>
#include <vector>

#include "arith/multiply/multiply_algorithm.h"

namespace trel {

class TransformTables {
  public:
    // Bytes for products of up to `words` words with the "Basic: 64-bit Word" table's algorithms.
    static u64 bytes(u64 words);
    TransformTables(u64 words, AlignedBufferC memory, const ParallelContext& parallel);
    // Those of one algorithm alone, whatever the table's thresholds, in table_bytes() of memory.
    TransformTables(const MultiplyAlgorithm& algorithm, u64 words, AlignedBufferC memory,
                    const ParallelContext& parallel);
    // The tables of an algorithm; nullptr when it has none here.
    const SharedTables* find(const MultiplyAlgorithm& algorithm) const;

  private:
    struct Entry {
        const MultiplyAlgorithm* algorithm;
        std::unique_ptr<SharedTables> tables;
    };
    std::vector<Entry> entries_;
};

}  // namespace trel
