#include "constants/bsr/common_p2b3.h"

#include "arith/multiply/dispatch.h"
#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/merge_steps.h"

namespace kalvor::BinarySplitting::CommonP2B3 {
namespace {

// T = R1 P2, R = R1 R2. R1 is transformed once when the common length is not much more than R needs.
void multiply_by_R1(const MultiplyContext& context, ExactFloat& T, ExactFloat& R, const ExactFloat& R1,
                    const ExactFloat& P2, const ExactFloat& R2) {
    const u64 n = R1.L + P2.L;
    if (KeptTransform::fits(context, n, 0)) {
        TransformHolder shorter;
        make_transform(shorter, R1.L + R2.L, context, Wraps::never);
        KeptTransform transform(context, n);
        // Two transforms more of the common length, or three of the own.
        if (2 * transform.holder->data_bytes() <= 3 * shorter->data_bytes()) {
            ExactFloatTransformR kept(*transform.holder, transform.data, HeldWords::stay);
            kept.mul_rr_xf(transform.context, T, R1, P2);
            kept.mul_rf_xf(transform.context, R, R2);
            return;
        }
    }
    T.set_mul(context, R1, P2);
    R.set_mul(context, R1, R2);
}

}  // namespace

// Both halves' numbers, and above them the longer half's own stack or the product that is added.
u64 Series::bsr_end_words(u64 n) const {
    if (n == 1) return 0;
    const TermWords left = term_words_.of(n / 2), right = term_words_.of(n - n / 2);
    return left.P + left.Q + left.R + right.P + right.Q + right.R +
           std::max(bsr_end_words(n - n / 2), left.R + right.P);
}

void Series::bsr_end(u64 a, u64 b, BasicIntR& P, BasicIntR& Q, BasicIntR& R, Word* scratch) const {
    if (b - a == 1) return term(b, P, Q, R);
    const u64 m = a + (b - a) / 2;
    const u64 n1 = m - a, n2 = b - m;
    const auto take = [&scratch](u64 words) {
        BasicIntR T(scratch, words);
        scratch += words;
        return T;
    };
    const TermWords left = term_words_.of(n1), right = term_words_.of(n2);
    BasicIntR P1 = take(left.P), Q1 = take(left.Q), R1 = take(left.R);
    bsr_end(a, m, P1, Q1, R1, scratch);
    BasicIntR P2 = take(right.P), Q2 = take(right.Q), R2 = take(right.R);
    bsr_end(m, b, P2, Q2, R2, scratch);
    if (R.buffer_size != 0) R.set_mulB(R1, R2);
    BasicIntR T = take(left.R + right.P);
    T.set_mulB(R1, P2);
    Q.set_mulB(Q1, Q2);
    P.set_mulB(P1, Q2);
    if (alternating() && n1 % 2 != 0) {
        P -= T;
    } else {
        P += T;
    }
}

Family::Words Family::capacities(const Series& series, u64 a, u64 b) {
    const u64 n = b - a;
    if (n <= kSmallRange) {
        const Series::TermWords words = series.term_words().of(n);
        return {round_up_8(words.P + 2), round_up_8(words.Q + 2), round_up_8(words.R + 2)};
    }
    const u64 P = whole_words_of(series.log_size_P(a, b));
    const u64 Q = whole_words_of(series.log_size_Q(a, b));
    const u64 R = whole_words_of(series.log_size_R(a, b));
    const u64 zeros = series.zero_bits_Q(a, b) / 64;
    // Products are written at the sum of their factors' lengths, and sums at one more.
    return {round_up_8(P + 4), round_up_8(Q - zeros + kUnstripped + 4), round_up_8(R + 4)};
}

namespace {

// The longest product of a merge.
u64 merge_products(const Family::Words& left, const Family::Words& right) {
    return std::max({std::max(left[kP], left[kQ]) + right[kQ], left[kR] + std::max(right[kP], right[kR])});
}

}  // namespace

// R1 P2 stands below the products.
Needs Family::merge_needs(const MergeSizes<Family>& sizes) {
    const u64 T = sizes.out[kP];
    return kept_product_needs(merge_products(sizes.left, sizes.right), room_above(sizes.room, T)).above(T);
}

Needs Family::float_needs(const MergeSizes<Family>& sizes, u64 precision) {
    return float_merge_needs(merge_products(sizes.left, sizes.right), float_words(precision),
                             sizes.bounds ? 0 : sizes.out[kQ], sizes.room);
}

void Series::term(u64, BasicIntR&, BasicIntR&, BasicIntR&) const {
    throw InvalidParametersException("CommonP2B3::Series::term()", "Not Implemented");
}

void Series::leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
                  const ParallelContext&) const {
    const auto view = [](const ExactFloat& A) { return BasicIntR(A.buffer, A.buffer_size); };
    BasicIntR p = view(P), q = view(Q), r = view(R);
    // A single term's P is computed from its R, so R needs a place even at the edge, where it is not a
    // result.
    if (edge) r = b - a == 1 ? BasicIntR(scratch, term_words_.R) : BasicIntR();
    bsr_end(a, b, p, q, r, scratch + term_words_.R);
    set_natural(P, p);
    set_natural(Q, q);
    if (!edge) set_natural(R, r);
}

void Family::leaf(const MultiplyContext& context, const Series& series, u64 a, u64 b, Exact& out, bool edge) {
    AlignedBufferC memory = context.scratch;
    Word* scratch = carve_words(memory, series.leaf_scratch_words(a, b));
    if (edge) out[kR].clear();
    series.leaf(a, b, out[kP], out[kQ], out[kR], edge, scratch, context.parallel);
    strip_zero_words(out[kQ]);
}

void Family::merge(const MultiplyContext& context, bool subtract, const Exact& left, const Exact& right,
                   Exact& out, bool edge) {
    MultiplyContext inner = context;
    const u64 n = round_up_8(left[kR].L + right[kP].L);
    ExactFloat T = carve<ExactFloat>(inner.scratch, n);
    // T's exponent, known before T is.
    const i64 floor = left[kR].L == 0 || right[kP].L == 0 ? 0 : left[kR].exp + right[kP].exp;
    const u64 longest = std::max(std::max(left[kP].L, left[kQ].L) + right[kQ].L,
                                 left[kR].L + std::max(right[kP].L, right[kR].L));
    independent_products(
        inner, longest,
        [&](const MultiplyContext& its) {
            if (edge) {
                T.set_mul(its, left[kR], right[kP]);
                out[kR].clear();
            } else {
                multiply_by_R1(its, T, out[kR], left[kR], right[kP], right[kR]);
            }
        },
        [&](const MultiplyContext& its) {
            multiply_both(its, out[kP], out[kQ], left[kP], left[kQ], right[kQ], floor);
        });
    out[kP].add_signed_ip(context.parallel, T, subtract);
    strip_zero_words(out[kQ]);
}

void Family::merge_float(const MultiplyContext& context, bool subtract, const Floats& left,
                         const Floats& right, Floats& out, u64 precision, u64 link_precision, bool edge) {
    merge_floats(context, out[kP], out[kQ], left[kP], left[kQ], right[kQ], left[kR], right[kP], precision,
                 float_words(precision), subtract);
    if (edge) {
        out[kR].clear();
    } else {
        out[kR].set_mul(link_precision, context, left[kR], right[kR]);
    }
}

}  // namespace kalvor::BinarySplitting::CommonP2B3
