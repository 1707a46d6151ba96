#include "arith/kernels/shoup_divider.h"

#include <algorithm>
#include <initializer_list>

#include "arith/kernels/blocks.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kMinDivide = 1000;  // words of a task

// The quotient of A, or of zeros when A is null (the extending form).
Word divide_block(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r) {
    for (u64 i = n; i-- > 0;) Q[i] = divider.step(r, A == nullptr ? 0 : A[i]);
    return r;
}

// A[0..n) mod d. The steps of one chain wait for each other, so four quarters run side by side and are joined.
Word residue(const ShoupDivider& divider, const Word* A, u64 n) {
    const u64 quarter = n / 4;
    Word r0 = 0, r1 = 0, r2 = 0, r3 = 0;
    for (u64 i = n; i > 4 * quarter; i--) divider.step(r3, A[i - 1]);
    for (u64 i = quarter; i-- > 0;) {
        divider.step(r3, A[3 * quarter + i]);
        divider.step(r2, A[2 * quarter + i]);
        divider.step(r1, A[quarter + i]);
        divider.step(r0, A[i]);
    }
    const Word d = divider.divisor(), radix = divider.pow2_64_mod(quarter);
    Word r = r3;
    for (Word next : {r2, r1, r0}) r = Word((u128(divider.mulmod(r, radix)) + next) % d);
    return r;
}

void check_remainder(const ShoupDivider& divider, Word r, const char* function) {
    if (r >= divider.divisor()) throw InvalidParametersException(function, "Top word is too large.");
}

// Both passes of the parallel division. The remainder that enters each block is predicted from the residues of the
// blocks above it, and the remainder that really leaves it must be the one that enters the next.
Word divide_blocks(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r, const ParallelContext& P,
                   const char* function) {
    const u64 length = std::max((n - 1) / std::min(P.tds, kMaxBlocks) + 1, kMinDivide);
    const Blocks blocks{n, length, (n - 1) / length + 1};

    Word residues[kMaxBlocks] = {};
    if (A != nullptr) {
        parallel_for(P, blocks.count, [&](u64 k) {
            residues[k] = residue(divider, A + blocks.begin(k), blocks.size(k));
        });
    }
    Word incoming[kMaxBlocks], outgoing[kMaxBlocks], actual[kMaxBlocks];
    const Word radix = divider.pow2_64_mod(length);
    const Word d = divider.divisor();
    for (u64 k = blocks.count; k-- > 0;) {
        incoming[k] = r;
        const Word shifted =
            divider.mulmod(r, blocks.size(k) == length ? radix : divider.pow2_64_mod(blocks.size(k)));
        r = shifted >= d - residues[k] ? shifted - (d - residues[k]) : shifted + residues[k];
        outgoing[k] = r;
    }
    parallel_for(P, blocks.count, [&](u64 k) {
        const u64 begin = blocks.begin(k);
        actual[k] = divide_block(divider, Q + begin, A == nullptr ? nullptr : A + begin, blocks.size(k),
                                 incoming[k]);
    });
    for (u64 k = 0; k < blocks.count; k++) {
        if (actual[k] != outgoing[k]) throw AlgorithmFailedException(function, "Mismatching block residuals.");
    }
    return r;
}

bool run_serially(u64 n, const ParallelContext& P) { return P.tds < 3 || n < kMinDivide; }

}  // namespace

ShoupDivider::ShoupDivider(Word d) : d_(d), neg_(0 - d) {
    if (d >= Word(1) << 63) throw InvalidParametersException("ShoupDivider()", "Divisor is too large.");
    if ((d & (d - 1)) == 0) throw InvalidParametersException("ShoupDivider()", "Untested with power-of-two.");
    // d does not divide 2^64, so floor((2^64 - 1) / d) is floor(2^64 / d).
    q1_ = ~Word(0) / d;
    const Word rest = 0 - q1_ * d;
    q0_ = Word((u128(rest) << 64) / d);
}

Word ShoupDivider::pow2_64_mod(u64 n) const {
    Word result = 1;
    for (Word power = 0 - q1_ * d_; n != 0; n >>= 1) {
        if (n & 1) result = mulmod(result, power);
        power = mulmod(power, power);
    }
    return result;
}

Word divmod(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r) {
    check_remainder(divider, r, "divmod(A)");
    return divide_block(divider, Q, A, n, r);
}

Word divmod(const ShoupDivider& divider, Word* Q, u64 n, Word r) {
    check_remainder(divider, r, "divmod()");
    return divide_block(divider, Q, nullptr, n, r);
}

Word bp_div_np(const ShoupDivider& divider, Word* Q, const Word* A, u64 n, Word r, const ParallelContext& P) {
    if (run_serially(n, P)) return divmod(divider, Q, A, n, r);
    check_remainder(divider, r, "divmod(A)");
    return divide_blocks(divider, Q, A, n, r, P, "bp_div_np(A)");
}

Word bp_div_ex(const ShoupDivider& divider, Word* Q, u64 n, Word r, const ParallelContext& P) {
    if (run_serially(n, P)) return divmod(divider, Q, n, r);
    check_remainder(divider, r, "divmod()");
    return divide_blocks(divider, Q, nullptr, n, r, P, "bp_div_ex()");
}

}  // namespace trel
