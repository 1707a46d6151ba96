#include "constants/bsr/hyperdescent.h"

#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "arith/multiply/product_needs.h"
#include "constants/bsr/merge_steps.h"

namespace kalvor::BinarySplitting::Hyperdescent {
namespace {

u64 longest_product(const MergeSizes<Family>& sizes) {
    return std::max(sizes.left[kP], sizes.left[kQ]) + sizes.right[kQ];
}

}  // namespace

Family::Words Family::capacities(const Series& series, u64 a, u64 b) {
    if (b - a <= kSmallRange) {
        const Series::TermWords words = series.term_words().of(b - a);
        return {round_up_8(words.P + 2), round_up_8(words.Q + 2)};
    }
    const u64 P = whole_words_of(series.log_size_P(a, b));
    const u64 Q = whole_words_of(series.log_size_Q(a, b));
    const u64 zeros = series.zero_bits_Q(a, b) / 64;
    // Products are written at the sum of their factors' lengths, and sums at one more.
    return {round_up_8(P + 4), round_up_8(Q - zeros + kUnstripped + 4)};
}

Needs Family::merge_needs(const MergeSizes<Family>& sizes) {
    return kept_product_needs(longest_product(sizes), sizes.room);
}

Needs Family::float_needs(const MergeSizes<Family>& sizes, u64) {
    const Needs kept = kept_product_needs(longest_product(sizes), kAnyRoom);
    return kept.bytes <= sizes.room ? kept : product_needs(longest_product(sizes));
}

void Family::leaf(const MultiplyContext& context, const Series& series, u64 a, u64 b, Exact& out, bool) {
    AlignedBufferC memory = context.scratch;
    series.leaf(a, b, out[kP], out[kQ], carve_words(memory, series.leaf_scratch_words(a, b)));
    strip_zero_words(out[kQ]);
}

void Family::merge(const MultiplyContext& context, bool subtract, const Exact& left, const Exact& right,
                   Exact& out, bool) {
    const ExactFloat& P2 = right[kP];
    multiply_both(context, out[kP], out[kQ], left[kP], left[kQ], right[kQ], P2.exp);
    out[kP].add_signed_ip(context.parallel, P2, subtract);
    strip_zero_words(out[kQ]);
}

void Family::merge_float(const MultiplyContext& context, bool subtract, const Floats& left,
                         const Floats& right, Floats& out, u64 precision, u64, bool) {
    const BigFloat &P1 = left[kP], &Q1 = left[kQ], &P2 = right[kP], &Q2 = right[kQ];
    BigFloat &P = out[kP], &Q = out[kQ];
    const u64 n = std::max(P1.L, Q1.L) + Q2.L;
    if (P1.L != 0 && KeptTransform::fits(context, n, 0)) {
        multiply_both(context, P, Q, P1, Q1, Q2, precision);
    } else {
        P.set_mul(precision, context, P1, Q2);
        Q.set_mul(precision, context, Q1, Q2);
    }
    if (is_zero(P2, "Hyperdescent::merge_float()")) return;
    if (make_room_for(context.parallel, P, P2.mag(), P2.exp, precision)) {
        combine_signed_ip(context.parallel, P, P2, subtract);
    } else {
        P.set_BigFloat(precision, context.parallel, P2);
        if (subtract) P.set_sign(!P.sign);
    }
}

}  // namespace kalvor::BinarySplitting::Hyperdescent
