#include "constants/bsr/verify_bsr.h"

#include <algorithm>

#include "arith/m61/m61.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {
namespace {

using trel::u64;

constexpr u64 kParallelWords = 10000;

u64 difference(const trel::ExactFloat& A) {
    return trel::m61::canonical(trel::m61::sub(A.computed_residue(), A.residue));
}

}  // namespace

void kvb_Verify_BSR(u64 a, u64 b, std::span<const trel::ExactFloat> results, const trel::ParallelContext& P) {
    u64 hashes[2] = {0, 0};
    u64 words = 0;
    for (const trel::ExactFloat& A : results) words = std::max(words, A.L);
    const auto first = [&] { hashes[0] = difference(results.front()); };
    const auto others = [&] {
        for (const trel::ExactFloat& A : results.subspan(1)) {
            if (hashes[1] == 0) hashes[1] = difference(A);
        }
    };
    if (words < kParallelWords || P.tds < 2) {
        first();
        others();
    } else {
        trel::fork_join(P, first, others);
    }
    if (hashes[0] != 0 || hashes[1] != 0) {
        throw trel::BSRModularCheckFailedException("kvb_Verify_BSR()", "Modular Redundancy Check Failed", a,
                                                   b, {hashes[0], hashes[1]});
    }
}

}  // namespace kalvor::BinarySplitting
