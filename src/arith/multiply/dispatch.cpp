#include "arith/multiply/dispatch.h"

#include <algorithm>
#include <utility>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/multiply_algorithm.h"

namespace trel {
namespace {

// Words skip .. total - 1 of A * B, cut to what can reach them; A is the longer operand.
struct CutProduct {
    u64 skip, total;
    const Word* A;
    u64 LA;
    const Word* B;
    u64 LB;

    u64 size() const { return LA + LB; }
};

// A word at index i of one operand reaches the product words i .. i + (length of the other). So with skip >
// LB the lowest skip - LB words of A matter to the kept words by their carry only, which is below one unit of
// the lowest kept word for each of the two operands. Words at and above `total` matter not at all.
CutProduct cut(u64 skip, u64 total, const Word* A, u64 LA, const Word* B, u64 LB) {
    if (LA < LB) {
        std::swap(A, B);
        std::swap(LA, LB);
    }
    if (skip > LB) {
        const u64 dA = skip - LB;
        const u64 dB = skip > LA ? skip - LA : 0;
        A += dA;
        LA -= dA;
        B += dB;
        LB -= dB;
        skip -= dA + dB;
        total -= dA + dB;
    }
    LA = std::min(LA, total);
    LB = std::min(LB, total);
    return {skip, total, A, LA, B, LB};
}

}  // namespace

void multiply_full(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB) {
    context.parallel.poll();
    const MultiplyAlgorithm& algorithm = basic_table64().get_algorithm(LA + LB);
    if (A == B && LA == LB) {
        algorithm.sqr(context, T, A, LA);
    } else {
        algorithm.mul(context, T, A, LA, B, LB);
    }
}

void square_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L) {
    if (skip >= total) return;
    context.parallel.poll();
    if (skip > L) {
        const u64 d = skip - L;
        A += d;
        L -= d;
        skip -= 2 * d;
        total -= 2 * d;
    }
    const u64 m = std::min(total, L);
    basic_table64().get_algorithm(2 * m).sqr_skip(context, T, skip, total, A, m);
}

void multiply_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                        const Word* B, u64 LB) {
    if (skip >= total) return;
    context.parallel.poll();
    if (A == B && LA == LB) return square_truncated(context, T, skip, total, A, LA);
    const CutProduct c = cut(skip, total, A, LA, B, LB);
    basic_table64().get_algorithm(c.size()).mul_skip(context, T, c.skip, c.total, c.A, c.LA, c.B, c.LB);
}

int multiply_truncated_small(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const Word* B, u64 LB) {
    if (skip >= total) return 0;
    context.parallel.poll();
    const CutProduct c = cut(skip, total, A, LA, B, LB);
    return basic_table64().get_algorithm(c.size()).mul_skip_transform(context, T, c.skip, c.total, c.A, c.LA,
                                                                      c.B, c.LB);
}

void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) {
    context.parallel.poll();
    basic_table64().get_algorithm(words).make_transform(holder, words, context);
}

u64 multiply_scratch_bytes(u64 words) {
    return basic_table64().mSBsize(words);
}

}  // namespace trel
