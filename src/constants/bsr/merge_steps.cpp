#include "constants/bsr/merge_steps.h"

#include <algorithm>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {
namespace {

// Zero words go in lines of 8 words from this length on, singly below.
constexpr u64 kLineWords = 256;

}  // namespace

void strip_zero_words(ExactFloat& Q) {
    Q.strip_low_zeros(Q.L < kLineWords ? 1 : 8);
}

void set_natural(ExactFloat& A, const BasicInt& B) {
    A.T = A.buffer;
    A.L = B.L;
    A.exp = 0;
    A.sign = true;
    A.residue = B.residue;
}

void multiply_above(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                    i64 floor) {
    const i64 exp = A.exp + B.exp;
    const u64 headroom = exp > floor ? static_cast<u64>(exp - floor) : 0;
    if (T.buffer_size < headroom) {
        throw BufferTooSmallException("multiply_above()", T.buffer_size, headroom);
    }
    ExactFloat upper(T.buffer + headroom, T.buffer_size - headroom);
    upper.set_mul(context, A, B);
    upper.buffer = T.buffer;
    upper.buffer_size = T.buffer_size;
    T = upper;
}

void multiply_both(const MultiplyContext& context, ExactFloat& P, ExactFloat& Q, const ExactFloat& P1,
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

void multiply_both(const MultiplyContext& context, BigFloat& P, BigFloat& Q, const BigFloat& P1,
                   const BigFloat& Q1, const BigFloat& Q2, u64 precision) {
    KeptTransform transform(context, std::max(P1.L, Q1.L) + Q2.L);
    BigFloatTransformR kept(*transform.holder, transform.data, HeldWords::stay);
    const i64 window = static_cast<i64>(precision);
    const i64 top_P = P1.mag() + Q2.mag(), top_Q = Q1.mag() + Q2.mag();
    kept.mul_rr_xf(transform.context, P, Q2, Q2.L, P1, P1.L, top_P - window, top_P);
    kept.mul_rf_xf(transform.context, Q, Q1, Q1.L, top_Q - window, top_Q);
}

bool make_room_for(const ParallelContext& parallel, BigFloat& P, i64 top, i64 bottom, u64 precision) {
    const i64 window = static_cast<i64>(precision);
    // One word more than P has beside a number that is not longer.
    const i64 lowest = top - window - 3;
    if (P.L != 0 && P.exp < lowest) cut_below(parallel, P, lowest);
    if (is_zero(P, "make_room_for()")) return false;
    // A denominator may have dropped zero words, so that its product ends above words that still count.
    const i64 floor = std::max({bottom, P.mag() - window - 2, lowest});
    if (P.exp > floor) extend_down(P, floor, "make_room_for()");
    return true;
}

void add_product(const MultiplyContext& context, BigFloat& P, const BigFloat& A, const BigFloat& B,
                 u64 precision, bool subtract, BigFloat& T) {
    constexpr const char* function = "add_product()";
    if (is_zero(A, function) || is_zero(B, function)) return;
    const i64 top = A.mag() + B.mag();
    if (!make_room_for(context.parallel, P, top, A.exp + B.exp, precision)) {
        P.set_mul(precision, context, A, B);
        if (subtract && P.L != 0) P.set_sign(!P.sign);
        return;
    }
    const i64 reach = top - P.exp;
    if (reach <= 0) {
        // No sum carries their residues on.
        A.verify(context.parallel, "a factor below the sum's words");
        B.verify(context.parallel, "a factor below the sum's words");
        return;
    }
    T.set_mul(std::min(static_cast<u64>(reach), precision), context, A, B);
    combine_signed_ip(context.parallel, P, T, subtract);
}

void merge_floats(const MultiplyContext& context, BigFloat& P, BigFloat& Q, const BigFloat& P1,
                  const BigFloat& Q1, const BigFloat& Q2, const BigFloat& A, const BigFloat& B, u64 precision,
                  u64 T_words, bool subtract) {
    MultiplyContext inner = context;
    // A B is formed beside T as well.
    const u64 longest = std::max(std::max(P1.L, Q1.L) + Q2.L, A.L + B.L);
    const bool kept = P1.L != 0 && KeptTransform::fits(context, longest, T_words);
    BigFloat T(Q.buffer, Q.buffer_size);
    if (kept || Q.buffer_size < T_words) T = carve<BigFloat>(inner.scratch, T_words);
    if (kept) {
        multiply_both(inner, P, Q, P1, Q1, Q2, precision);
    } else {
        P.set_mul(precision, inner, P1, Q2);
    }
    add_product(inner, P, A, B, precision, subtract, T);
    if (!kept) Q.set_mul(precision, inner, Q1, Q2);
}

Needs float_merge_needs(u64 longest, u64 T_words, u64 Q_words, u64 room) {
    const Needs kept = kept_product_needs(longest, kAnyRoom).above(T_words);
    if (kept.bytes <= room) return kept;
    return product_needs(longest).above(Q_words >= T_words ? 0 : T_words);
}

}  // namespace kalvor::BinarySplitting
