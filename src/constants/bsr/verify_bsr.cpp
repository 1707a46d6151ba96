#include "constants/bsr/verify_bsr.h"

#include <algorithm>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {
namespace {

constexpr u64 kParallelWords = 10000;

u64 difference(const ExactFloat& A) {
    return goldilocks::sub(A.computed_residue(), A.residue);
}

}  // namespace

void kvb_Verify_BSR(u64 a, u64 b, std::span<const ExactFloat> results, const ParallelContext& parallel) {
    u64 hashes[2] = {0, 0};
    u64 words = 0;
    for (const ExactFloat& A : results) parallel.stage("range", A.T, A.L * sizeof(Word));
    if (parallel.run != nullptr) {
        parallel.run->checks.numbers.fetch_add(results.size(), std::memory_order_relaxed);
    }
    for (const ExactFloat& A : results) words = std::max(words, A.L);
    const auto first = [&] { hashes[0] = difference(results.front()); };
    const auto others = [&] {
        for (const ExactFloat& A : results.subspan(1)) {
            if (hashes[1] == 0) hashes[1] = difference(A);
        }
    };
    if (words < kParallelWords || parallel.tds < 2) {
        first();
        others();
    } else {
        fork_join(parallel, first, others);
    }
    if (hashes[0] != 0 || hashes[1] != 0) {
        throw BSRModularCheckFailedException("kvb_Verify_BSR()", "Modular Redundancy Check Failed", a, b,
                                             {hashes[0], hashes[1]});
    }
}

}  // namespace kalvor::BinarySplitting
