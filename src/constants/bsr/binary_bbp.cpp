#include "constants/bsr/binary_bbp.h"

#include "arith/multiply/product_needs.h"
#include "constants/bsr/merge_steps.h"

namespace kalvor::BinarySplitting::BinaryBBP {
namespace {

u64 longest_product(const MergeSizes<Family>& sizes) {
    return std::max({sizes.left[kP] + sizes.right[kQ], sizes.left[kQ] + sizes.right[kQ],
                     sizes.right[kP] + sizes.left[kQ]});
}

// P2 Q1, which is added to P.
u64 words_of_T(u64 P2, u64 Q1, u64 P) {
    return round_up_8(std::max(P2 + Q1, P));
}

// T = P2 Q1, P = P1 Q2 above `floor`, and Q = Q1 Q2: with the room for it Q1 and Q2 are transformed once
// each, seven transforms instead of eight.
void multiply_all(const MultiplyContext& context, ExactFloat& T, ExactFloat& P, ExactFloat& Q,
                  const BinaryBBP::Family::Exact& left, const BinaryBBP::Family::Exact& right, i64 floor) {
    const ExactFloat &P1 = left[kP], &Q1 = left[kQ], &P2 = right[kP], &Q2 = right[kQ];
    const u64 n = std::max({P1.L + Q2.L, Q1.L + Q2.L, P2.L + Q1.L});
    if (!KeptTransform::two_fit(context, n)) {
        T.set_mul(context, P2, Q1);
        return multiply_both(context, P, Q, P1, Q1, Q2, floor);
    }
    KeptTransform transform(context, n);
    MultiplyContext& inner = transform.context;
    void* const second = inner.scratch.spawn(transform.holder->data_bytes()).get();
    ExactFloatTransformR of_Q1(*transform.holder, transform.data, HeldWords::stay);
    ExactFloatTransformR of_Q2(*transform.holder, second, HeldWords::stay);
    of_Q1.mul_rr_xf(inner, T, Q1, P2);
    of_Q2.mul_rr_xf(inner, P, Q2, P1, floor);
    of_Q1.inverse_fmul(inner, Q, of_Q2);
}

}  // namespace

void set_power_and_sign(ExactFloat& P, i64 bits, bool negative) {
    P.mp2(bits, serial_context());
    if (!negative || P.L == 0) return;
    P.sign = !P.sign;
    P.residue = goldilocks::neg(P.residue);
}

Family::Words Family::capacities(const Series& series, u64 a, u64 b) {
    if (b - a <= kSmallRange) {
        const Series::TermWords words = series.words_of_terms(b - a);
        return {round_up_8(words.P + 2), round_up_8(words.Q + 2)};
    }
    const u64 P = whole_words_of(series.log_size_P(a, b));
    const u64 Q = whole_words_of(series.log_size_Q(a, b));
    const u64 zeros = series.zero_bits_Q(a, b) / 64;
    // Products are written at the sum of their factors' lengths, and sums at one more; the lowest power of
    // two lies anywhere in P's lowest word.
    return {round_up_8(P + 5), round_up_8(Q - zeros + kUnstripped + 4)};
}

// P2 Q1 stands below the products.
Needs Family::merge_needs(const MergeSizes<Family>& sizes) {
    const u64 T = words_of_T(sizes.right[kP], sizes.left[kQ], sizes.out[kP]);
    return kept_product_needs(longest_product(sizes), room_above(sizes.room, T)).above(T);
}

Needs Family::float_needs(const MergeSizes<Family>& sizes, u64 precision) {
    return float_merge_needs(longest_product(sizes), float_words(precision), sizes.bounds ? 0 : sizes.out[kQ],
                             sizes.room);
}

void Family::leaf(const MultiplyContext& context, const Series& series, u64 a, u64 b, Exact& out, bool) {
    AlignedBufferC memory = context.scratch;
    series.leaf(a, b, out[kP], out[kQ], carve_words(memory, series.leaf_scratch_words(a, b)));
    strip_zero_words(out[kQ]);
}

void Family::merge(const MultiplyContext& context, bool, const Exact& left, const Exact& right, Exact& out,
                   bool) {
    MultiplyContext inner = context;
    ExactFloat T = carve<ExactFloat>(inner.scratch, round_up_8(right[kP].L + left[kQ].L));
    // The right half's powers of two are the lower ones. Beside a zero, nothing has to grow down.
    const bool alone = left[kP].L == 0 || right[kP].L == 0;
    const ExactFloat &lower = alone ? left[kP] : right[kP], &times = alone ? right[kQ] : left[kQ];
    multiply_all(inner, T, out[kP], out[kQ], left, right, lower.exp + times.exp);
    out[kP].add_signed_ip(context.parallel, T, false);
    strip_zero_words(out[kQ]);
}

// As in the hypergeometric family, with Q1 in the place of R1.
void Family::merge_float(const MultiplyContext& context, bool, const Floats& left, const Floats& right,
                         Floats& out, u64 precision, u64, bool) {
    merge_floats(context, out[kP], out[kQ], left[kP], left[kQ], right[kQ], left[kQ], right[kP], precision,
                 float_words(precision), false);
}

}  // namespace kalvor::BinarySplitting::BinaryBBP
