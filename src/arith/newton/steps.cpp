#include "arith/newton/steps.h"

#include <algorithm>
#include <bit>

#include "arith/bigfloat/number_check.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel::newton {
namespace {

// T = x + y or x - y, and the nudge.
void add_correction(const ParallelContext& parallel, BigFloat& T, const BigFloat& x, Estimate side,
                    const BigFloat& y, u64 p) {
    if (side == Estimate::under)
        T.set_add(p, parallel, x, y);
    else
        T.set_sub(p, parallel, x, y);
    if (T.L > p) T.purturb_up(0);
}

}  // namespace

// Half of a number is 2^63 of it one word down.
constexpr Word kHalf = Word(1) << 63;

void set_half(u64 p, const ParallelContext& parallel, BigFloat& T, const BigFloat& A) {
    T.set_mul_uW(p, parallel, A, kHalf);
    if (T.L != 0) T.move(-1);
}

void halve(const ParallelContext& parallel, BigFloat& T) {
    T.mul_uW(parallel, kHalf);
    if (T.L != 0) T.move(-1);
}

namespace {

// T[0..L) = the words of A / n from the top down, for the divisors that the precomputed reciprocal does not
// take. A division instruction a word.
void divide_by_large_word(const ParallelContext& parallel, BigFloat& T, const BigFloat& all, u64 n, u64 L) {
    take_up(parallel, "newton::divide_by_small()", all);
    const BigFloat A = all.kept(parallel, L);
    if (T.buffer_size < L) throw BufferTooSmallException("newton::divide_by_small()", T.buffer_size, L);
    T.T = T.buffer;
    T.L = L;
    T.exp = A.mag() - static_cast<i64>(L);
    T.sign = A.sign;
    Word rest = 0;
    for (u64 i = 0; i < L; i++) {
        const u128 x = static_cast<u128>(rest) << 64 | (i < A.L ? A.T[A.L - 1 - i] : 0);
        T.T[L - 1 - i] = static_cast<Word>(x / n);
        rest = static_cast<Word>(x % n);
    }
    if (T.T[L - 1] == 0) T.L--;
    const u64 exact = carried::sub(A.residue, carried::of_word(rest, T.exp, T.sign));
    if (carried::known(exact) && n != goldilocks::kP)
        T.residue = goldilocks::mul(exact, goldilocks::inverse(goldilocks::of_word(n)));
    else
        T.seal(parallel);
}

}  // namespace

void divide_by_small(const ParallelContext& parallel, BigFloat& T, const BigFloat& A, u64 n, i64 lowest) {
    if (n == 1) return T.set_BigFloat(A.L, parallel, A);
    // Even a quotient of one word has an empty word above it.
    if (is_zero(A, "newton::divide_by_small()")) return T.clear();
    if (A.mag() <= lowest) {
        A.verify(parallel, "a quotient's numerator below the last word");
        return T.clear();
    }
    const u64 words = std::max<u64>(static_cast<u64>(A.mag() - lowest), 2);
    if (std::has_single_bit(n)) {
        T.set_mul_uW(words, parallel, A, Word(1) << (64 - std::countr_zero(n)));
        if (T.L != 0) T.move(-1);
    } else if (n < Word(1) << 63) {
        T.set_div_sW(words - 2, parallel, A, static_cast<i64>(n));
    } else {
        divide_by_large_word(parallel, T, A, n, words);
    }
}

namespace {

void check_scratch(const MultiplyContext& context, u64 needed) {
    if (context.scratch.size() < needed)
        throw BufferTooSmallException("TransformHelper::TransformHelper()", context.scratch.size(), needed);
}

}  // namespace

HeldTransforms::HeldTransforms(const MultiplyContext& context, u64 product_words, u64 held)
    : context_(context) {
    make_transform(holder_, product_words, context);
    check_scratch(context, (held + 1) * holder_->data_bytes() + holder_->scratch_bytes());
    data_ = context_.scratch.spawn(held * holder_->data_bytes()).get();
}

// Products of the levels below run in the same memory.
Needs HeldTransforms::needs(u64 product_words, u64 held) {
    const MultiplySizes sizes = basic_table64().mSBsizes(product_words);
    return sizes.held_product(product_words).above(held * sizes.transform_words());
}

Needs window_product_needs(u64 product_words) {
    const MultiplySizes sizes = basic_table64().mSBsizes(product_words);
    return sizes.whole_product(product_words).maximum(sizes.held_product(product_words));
}

void window_product(const MultiplyContext& context, u64 product_words, BigFloat& T, const BigFloat& A, u64 pA,
                    const BigFloat& B, u64 pB, i64 ie, i64 te) {
    TransformHolder transform;
    make_transform(transform, product_words, context);
    check_scratch(context, transform->whole_bytes());
    BigFloatTransformR(*transform, nullptr).mul_rr_xx(context, T, A, pA, B, pB, ie, te);
}

void correct_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& x, Estimate side, BigFloat& y,
                   u64 p) {
    y.set_mul(previous_precision(p), context, x, T);
    add_correction(context.parallel, T, x, side, y, p);
}

void correct(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& x,
             const BigFloat& e, Estimate side, BigFloatTransformR& held, BigFloat& y, u64 p,
             CorrectionLabels labels) {
    StatusFrame frame(status, side == Estimate::over ? labels.over : labels.under, status_digits(p));
    const u64 previous = previous_precision(p);
    const i64 top = x.mag() + e.mag();
    held.mul_rf_xf(context, y, e, previous, top - static_cast<i64>(previous), top);
    add_correction(context.parallel, T, x, side, y, p);
}

}  // namespace trel::newton
