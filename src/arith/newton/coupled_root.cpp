#include "arith/newton/coupled_root.h"

#include <algorithm>
#include <cstring>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/newton/error_term.h"
#include "arith/newton/steps.h"
#include "base/status/status_scope.h"

namespace trel::newton {
namespace {

// Words of a level's convolution beyond its precision.
constexpr u64 kExtraWords = 8;

// Exactly n words: the square of a shorter number would fold in sight of its last words.
void set_length(const ParallelContext& parallel, BigFloat& T, u64 n) {
    if (T.L >= n) {
        T = T.kept(parallel, n);
        return;
    }
    const u64 missing = n - T.L;
    std::memmove(T.T + missing, T.T, T.L * sizeof(Word));
    std::fill_n(T.T, missing, Word(0));
    T.exp -= static_cast<i64>(missing);
    T.L = n;
}

// root.d = A - s^2 from the words that s leaves wrong down to those that the next level can use; s's
// transform stays in `held`.
void set_residual(const MultiplyContext& context, const CoupledRoot& root, BigFloatTransformR& held,
                  const BigFloat& A, u64 p, const char* function) {
    const i64 t = error_bound(p);
    BigFloat& d = root.d;
    held.sqr_rx_xf_minus(context, d, root.s, p, A, A.mag() - static_cast<i64>(root.next) - 3, A.mag() + t);
    if (d.L != 0) d.move(-A.mag());
    const Estimate side = take_error_below(context.parallel, d, t, p, function);
    if (side == Estimate::exact) return;
    d.move(A.mag());
    d.set_sign(side == Estimate::under);
}

// d = x d / 2, of which x's transform is held: what s lacks of the root. The product stands in `place` first,
// so that d's words are still there where it is wrong.
void halve_product(const MultiplyContext& context, BigFloatTransformR& held_x, const BigFloat& x, BigFloat& d,
                   u64 previous, BigFloat place) {
    if (d.L == 0) return;
    const i64 top = x.mag() + d.mag();
    held_x.mul_rf_xf(context, place, d, previous, top - static_cast<i64>(previous), top);
    d.set_BigFloat(d.buffer_size, context.parallel, place);
    halve(context.parallel, d);
}

}  // namespace

CoupledRange CoupledRange::of(const AlgorithmTable& table) {
    CoupledRange range;
    for (const AlgorithmTable::Item& item : table.items()) {
        if (item.threshold_words < range.first + kExtraWords) continue;
        if (!item.algorithm->folds_within_a_word()) break;
        range.last = item.threshold_words - kExtraWords;
    }
    return range;
}

void coupled_root_start(const MultiplyContext& context, const CoupledRoot& root, const BigFloat& A,
                        const BigFloat& x, u64 p, const char* function) {
    root.s.set_mul(p + 1, context, A.kept_if_cheap(context.parallel, p + 3), x);
    set_length(context.parallel, root.s, p + 2);
    const HeldTransforms memory(context, p + kExtraWords, 1);
    BigFloatTransformR held(memory.transform(), memory.data(0), HeldWords::stay);
    set_residual(memory.context(), root, held, A, p, function);
}

void coupled_root_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                       const BigFloat& x, BigFloat& s, BigFloat& d, u64 p, const CoupledRoot* above,
                       const char* function) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    const i64 t = error_bound(previous);
    const HeldTransforms memory(context, p + kExtraWords, above != nullptr ? 2 : 1);
    const MultiplyContext& inner = memory.context();
    BigFloatTransformR held_x(memory.transform(), memory.data(0), HeldWords::stay);
    BigFloatTransformR held_s(memory.transform(), above != nullptr ? memory.data(1) : nullptr,
                              HeldWords::stay);
    BigFloat& root = above != nullptr ? above->s : T;
    {
        StatusFrame frame(status, " 0S ", status_digits(p));
        held_x.forward(inner, x, previous);
        halve_product(inner, held_x, x, d, previous, root);
        root.set_add(p + 1, parallel, s, d);
        set_length(parallel, root, p + 2);
        if (above != nullptr) set_residual(inner, *above, held_s, A, p, function);
    }
    BigFloat& e = d;
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        const i64 bottom = -static_cast<i64>(p);
        if (above != nullptr)
            held_s.inverse_fmul(inner, e, held_x, bottom, t);
        else
            held_x.mul_rf_xf(inner, e, root, p, bottom, t);
    }
    const Estimate side = take_error_below(parallel, e, t, previous, function);
    if (side == Estimate::exact) return T.set_BigFloat(p, parallel, x);

    BigFloat y(s.buffer, s.buffer_size);
    correct(inner, status, T, x, e, side, held_x, y, p, {" U2M ", " O2M "});
}

void coupled_root_finish(const MultiplyContext& context, BigFloat& T, const BigFloat& x, const BigFloat& s,
                         BigFloat& d, u64 p) {
    const u64 previous = previous_precision(p);
    const HeldTransforms memory(context, p + kExtraWords, 1);
    BigFloatTransformR held_x(memory.transform(), memory.data(0), HeldWords::stay);
    held_x.forward(memory.context(), x, previous);
    halve_product(memory.context(), held_x, x, d, previous, T);
    T.set_add(p, context.parallel, s, d);
}

}  // namespace trel::newton
