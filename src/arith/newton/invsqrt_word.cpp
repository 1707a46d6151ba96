#include "arith/newton/invsqrt_word.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/error_term.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {

InvsqrtWordPlan InvsqrtWordPlan::make(u64 p, u64 tds) {
    InvsqrtWordPlan plan;
    plan.p = p;
    plan.tds = tds;
    // The basic iteration needs p + 4 words; 19 beyond p let the levels below use the result as their word
    // buffer.
    plan.result = p + 19;
    const u64 basic_p = std::min(p, newton::kTransformPrecision);
    const u64 basic_temporaries = 2 * (newton::previous_precision(std::max<u64>(basic_p, 1)) + 2);
    plan.temporaries =
        round_up_8(std::max(newton::root_estimate_words(p) + newton::correction_words(p), basic_temporaries));
    plan.products = product_needs(p + 8);
    if (p >= newton::kTransformPrecision) plan.products.take_maximum(newton::HeldTransforms::needs(p + 8, 1));
    return plan;
}

namespace {

const char kBasicRun[] = "InvsqrtWord_BigFloatR_E::run()";
const char kRun[] = "InvsqrtWord_BigFloatR::run()";

const newton::Iteration kIteration = {
    kBasicRun, kRun, 4, newton::previous_precision, newton::previous_precision, newton::root_estimate_words};

void run_basic(const MultiplyContext& context, BigFloat& T, Word w, u64 p, LinearWordBuffer buffer) {
    newton::basic_levels(
        kIteration, T, p,
        [&](BigFloat& start) {
            if (w == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
            start.set_double(1.0 / std::sqrt(static_cast<double>(w)), 0);
        },
        [&](BigFloat& x, u64 level) { newton::invsqrt_word_basic_step(context, x, w, level, buffer); });
}

void run_levels(const MultiplyContext& context, Status& status, BigFloat& T, Word w, u64 p,
                LinearWordBuffer buffer) {
    newton::window_levels(
        kIteration, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) { run_basic(context, t, w, level, rest); },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            newton::invsqrt_word_step(context, status, t, w,
                                      x.kept(context.parallel, newton::used_estimate_words(level)), level,
                                      rest);
            status.work().add(newton::step_work(level));
        },
        newton::larger_of);
}

}  // namespace

namespace newton {

void invsqrt_word_basic_step(const MultiplyContext& context, BigFloat& T, Word w, u64 p,
                             LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    BigFloat x = carve<BigFloat>(buffer, previous + 2);
    BigFloat y = carve<BigFloat>(buffer, previous + 2);

    x.set_BigFloat(previous, parallel, T);
    T.set_sqr(p, context, x);
    T.mul_uW(parallel, w);
    const Estimate side = take_error_at_units(parallel, T, previous, kBasicRun);
    halve(parallel, T);
    correct_basic(context, T, x, side, y, p);
}

// w x^2 = 1 + error: the words of the error are those of w x^2 below t, and they depend on no word of x^2 at
// or above t. x is transformed once, for the square and for the correction.
void invsqrt_word_step(const MultiplyContext& context, Status& status, BigFloat& T, Word w, const BigFloat& x,
                       u64 p, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    const i64 t = std::min<i64>(error_bound(previous), 0);
    BigFloat y = carve<BigFloat>(buffer, correction_words(p));

    const HeldTransforms memory(context, p + 8, 1);
    BigFloatTransformR held(memory.transform(), memory.data(0), HeldWords::stay);
    {
        // One word more at the bottom than a reciprocal's: the multiplication by w moves the truncation up by
        // a word.
        StatusFrame frame(status, " 0S ", status_digits(p));
        held.sqr_rx_xf(memory.context(), T, x, previous, -static_cast<i64>(p) - 1, t);
    }
    T.mul_uW(parallel, w);
    if (T.L != 0 && T.mag() > t) {
        T.residue = carried::sub(T.residue, T.residue_between(parallel, t, T.mag()));
        T.L -= static_cast<u64>(T.mag() - t);
        strip(parallel, T);
    }
    const Estimate side = take_error_below(parallel, T, t, previous, kRun);
    if (side == Estimate::exact) return T.set_BigFloat(p, parallel, x);
    halve(parallel, T);

    correct(memory.context(), status, T, x, T, side, held, y, p);
}

}  // namespace newton

void InvsqrtWord_BigFloatR_E::run(const InvsqrtWordPlan& plan, const MultiplyContext& context, BigFloat& T,
                                  Word w, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kBasicRun);
    run_basic(context, T, w, p, buffer);
}

void InvsqrtWord_BigFloatR::run(const InvsqrtWordPlan& plan, const MultiplyContext& context, Status& status,
                                BigFloat& T, Word w, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun);
    run_levels(context, status, T, w, p, buffer);
}

void invsqrt_word(const InvsqrtWordPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                  Word w, const std::string& announcement) {
    StatusSection section(status, announcement);
    StatusFrame frame(section.node(), "Iterating: ");
    const newton::RunMemory memory(context, plan.temporaries);
    InvsqrtWord_BigFloatR::run(plan, memory.context, frame.node(), T, w, plan.p, memory.temporaries);
}

}  // namespace trel
