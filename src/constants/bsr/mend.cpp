#include "constants/bsr/mend.h"

#include "arith/multiply/product_check.h"

namespace kalvor::BinarySplitting {

std::string range_name(u64 a, u64 b) {
    return "series, terms " + std::to_string(a + 1) + " to " + std::to_string(b);
}

bool may_mend(const ParallelContext& parallel) {
    return parallel.run == nullptr || parallel.run->checks.corrected.load() < kMaxCorrected;
}

void range_was_mended(const ParallelContext& parallel, u64 a, u64 b) {
    operation_was_corrected(parallel, "BSR_BlockB::run()", range_name(a, b));
}

}  // namespace kalvor::BinarySplitting
