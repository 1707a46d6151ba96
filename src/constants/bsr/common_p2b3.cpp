#include "constants/bsr/common_p2b3.h"

#include <cstring>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/combine.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting::CommonP2B3 {
namespace {

// Up to this many terms buffers are sized by the terms' words, above by the sizes of the series.
constexpr u64 kSmallTerms = 100;
// Zero words at the bottom of Q go in lines of 8 words from this length on, singly below.
constexpr u64 kLineWords = 256;
// What a stripped Q may still hold of zero words, in each of two factors.
constexpr u64 kUnstripped = 16;

void bind(ExactFloat& out, const BasicIntR& A) {
    out.T = out.buffer;
    out.L = A.L;
    out.exp = 0;
    out.sign = true;
    out.residue = A.residue;
}

void strip(ExactFloat& Q) {
    Q.strip_low_zeros(Q.L < kLineWords ? 1 : 8);
}

// T = A * B, placed so that an addition can grow it down to `floor`.
void multiply_above(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                    i64 floor) {
    const i64 exp = A.exp + B.exp;
    const u64 headroom = exp > floor ? static_cast<u64>(exp - floor) : 0;
    if (T.buffer_size < headroom) {
        throw BufferTooSmallException("CommonP2B3::merge()", T.buffer_size, headroom);
    }
    ExactFloat upper(T.buffer + headroom, T.buffer_size - headroom);
    upper.set_mul(context, A, B);
    upper.buffer = T.buffer;
    upper.buffer_size = T.buffer_size;
    T = upper;
}

// P = P1 Q2 placed for the addition at `floor`, Q = Q1 Q2. Q2 is transformed once.
void multiply_by_Q2(const MultiplyContext& context, ExactFloat& P, ExactFloat& Q, const ExactFloat& P1,
                    const ExactFloat& Q1, const ExactFloat& Q2, i64 floor) {
    const u64 n = std::max(P1.L, Q1.L) + Q2.L;
    if (!KeptTransform::fits(context, n, 0)) {
        multiply_above(context, P, P1, Q2, floor);
        Q.set_mul(context, Q1, Q2);
        return;
    }
    KeptTransform transform(context, n);
    ExactFloatTransformR kept(*transform.holder, transform.data, HeldWords::stay);
    kept.mul_rr_xf(transform.context, P, Q2, P1, floor);
    kept.mul_rf_xf(transform.context, Q, Q1);
}

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

// The product that T's words and P's place leave over: P += R1 P2 or P -= R1 P2, to `precision` words.
void fold_in(const MultiplyContext& context, BigFloat& P, const BigFloat& R1, const BigFloat& P2,
             u64 precision, bool subtract, BigFloat& T) {
    const i64 reach = R1.mag() + P2.mag() - P.exp;
    if (R1.L == 0 || P2.L == 0 || reach <= 0) return;
    T.set_mul(std::min(static_cast<u64>(reach), precision), context, R1, P2);
    combine_ip(context.parallel, P, T, subtract);
}

}  // namespace

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
    if (n <= kSmallTerms) {
        const Series::TermWords words = series.term_words().of(n);
        return {round_up_8(words.P + 2), round_up_8(words.Q + 2), round_up_8(words.R + 2)};
    }
    const u64 full = series.plan_words(a, b);
    const u64 zeros = series.zero_bits_Q(a, b) / 64;
    // Products are written at the sum of their factors' lengths, and sums at one more.
    return {round_up_8(full + 4), round_up_8(full - zeros + kUnstripped + 4),
            round_up_8(static_cast<u64>(words_of(series.log_size_R(a, b))) + 6)};
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
    const u64 T = float_words(precision);
    const u64 product = merge_products(sizes.left, sizes.right);
    const Needs kept = kept_product_needs(product, kAnyRoom).above(T);
    if (kept.bytes <= sizes.room) return kept;
    return product_needs(product).above(sizes.out[kQ] >= T ? 0 : T);
}

void Family::leaf(const Series& series, u64 a, u64 b, Exact& out, bool edge, AlignedBufferC memory) {
    const auto view = [](const ExactFloat& A) { return BasicIntR(A.buffer, A.buffer_size); };
    BasicIntR P = view(out[kP]), Q = view(out[kQ]), R = view(out[kR]);
    const u64 scratch_words = 4 * series.growth_words() * (b - a);
    Word* scratch = carve_words(memory, scratch_words + series.term_words().R);
    // A single term's R is made on the way to its P; it needs a place even where nobody needs it.
    if (edge) R = b - a == 1 ? BasicIntR(scratch, series.term_words().R) : BasicIntR();
    series.bsr_end(a, b, P, Q, R, scratch + series.term_words().R);
    bind(out[kP], P);
    bind(out[kQ], Q);
    if (edge) {
        out[kR].clear();
    } else {
        bind(out[kR], R);
    }
    strip(out[kQ]);
}

void Family::merge(const MultiplyContext& context, bool subtract, const Exact& left, const Exact& right,
                   Exact& out, bool edge) {
    MultiplyContext inner = context;
    const u64 n = round_up_8(left[kR].L + right[kP].L);
    ExactFloat T = carve<ExactFloat>(inner.scratch, n);
    if (edge) {
        T.set_mul(inner, left[kR], right[kP]);
        out[kR].clear();
    } else {
        multiply_by_R1(inner, T, out[kR], left[kR], right[kP], right[kR]);
    }
    multiply_by_Q2(inner, out[kP], out[kQ], left[kP], left[kQ], right[kQ], T.exp);
    if (subtract) {
        out[kP].usubAB_ip(context.parallel, T);
    } else {
        out[kP].uaddBA_ip(context.parallel, T);
    }
    strip(out[kQ]);
}

// P1 Q2 and Q1 Q2 with one transform of Q2, then R1 P2 in words of its own; or, where that does not fit, one
// product after the other, R1 P2 in the words that Q takes at the end.
void Family::merge_float(const MultiplyContext& context, bool subtract, const Floats& left,
                         const Floats& right, Floats& out, u64 precision, u64 link_precision, bool edge) {
    const BigFloat &P1 = left[kP], &Q1 = left[kQ], &R1 = left[kR];
    const BigFloat &P2 = right[kP], &Q2 = right[kQ], &R2 = right[kR];
    BigFloat &P = out[kP], &Q = out[kQ], &R = out[kR];

    MultiplyContext inner = context;
    const u64 T_words = float_words(precision);
    const u64 n = std::max(P1.L, Q1.L) + Q2.L;
    const bool kept = KeptTransform::fits(context, n, T_words);
    BigFloat T(Q.buffer, Q.buffer_size);
    if (kept || Q.buffer_size < T_words) T = carve<BigFloat>(inner.scratch, T_words);
    if (kept) {
        KeptTransform transform(inner, n);
        BigFloatTransformR held(*transform.holder, transform.data, HeldWords::stay);
        const i64 window = static_cast<i64>(precision);
        const i64 top_P = P1.mag() + Q2.mag(), top_Q = Q1.mag() + Q2.mag();
        held.mul_rr_xf(transform.context, P, Q2, Q2.L, P1, P1.L, top_P - window, top_P);
        held.mul_rf_xf(transform.context, Q, Q1, Q1.L, top_Q - window, top_Q);
    } else {
        P.set_mul(precision, inner, P1, Q2);
    }
    // Q2 may have dropped zero words, so that P1 Q2 ends above words of R1 P2 that the precision still holds.
    const i64 floor = std::max(R1.exp + P2.exp, P.mag() - static_cast<i64>(precision) - 2);
    if (P.L != 0 && P.exp > floor) extend_down(P, floor, "CommonP2B3::merge_float()");
    fold_in(inner, P, R1, P2, precision, subtract, T);
    if (!kept) Q.set_mul(precision, inner, Q1, Q2);
    if (edge) {
        R.clear();
    } else {
        R.set_mul(link_precision, inner, R1, R2);
    }
}

}  // namespace kalvor::BinarySplitting::CommonP2B3
