#include "arith/newton/reciprocal.h"

#include <algorithm>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/error_term.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {

ReciprocalPlan ReciprocalPlan::make(u64 p, u64 tds) {
    ReciprocalPlan plan;
    plan.p = p;
    plan.tds = tds;
    const u64 basic_p = std::min(p, newton::kTransformPrecision);
    plan.basic = {basic_p, tds, basic_p + 3, (basic_p + 13) & ~u64(7), product_needs(basic_p + 8)};
    plan.result = p + 19;
    plan.temporaries =
        std::max(newton::estimate_words(p) + newton::correction_words(p), plan.basic.temporaries);
    plan.products = product_needs(p + 8);
    if (p >= newton::kTransformPrecision) plan.products.take_maximum(newton::HeldTransforms::needs(p + 8, 1));
    return plan;
}

namespace {

const char kBasicRun[] = "Reciprocal_BigFloatR_E::run()";
const char kRun[] = "Reciprocal_BigFloatR::run()";

// |A|, without words that no level reads.
BigFloat magnitude_of(const ParallelContext& parallel, const BigFloat& A, u64 p) {
    BigFloat a = A.kept(parallel, p + 4);
    a.set_sign(true);
    return a;
}

const newton::Iteration kIteration = {
    kBasicRun, kRun, 3, newton::previous_precision, newton::previous_precision, newton::estimate_words};

// A is positive or zero here and below.
void run_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
               LinearWordBuffer buffer) {
    newton::basic_levels(
        kIteration, T, p,
        [&](BigFloat& start) {
            if (A.L == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
            A.check_normalization();
            const ScaledDouble top = top_as_double(A);
            start.set_double(1.0 / top.d, -top.e);
        },
        [&](BigFloat& x, u64 level) { newton::reciprocal_basic_step(context, x, A, level, buffer); });
}

void run_levels(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A, u64 p,
                LinearWordBuffer buffer) {
    newton::window_levels(
        kIteration, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) { run_basic(context, t, A, level, rest); },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            newton::reciprocal_step(context, status, t, A,
                                    x.kept(context.parallel, newton::used_estimate_words(level)), level,
                                    rest);
            status.work().add(newton::step_work(level));
        },
        newton::larger_of);
}

}  // namespace

namespace newton {

void reciprocal_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                      LinearWordBuffer buffer) {
    run_basic(context, T, magnitude_of(context.parallel, A, p), p, buffer);
    T.set_sign(A.sign);
}

void reciprocal_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                           LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    BigFloat x = carve<BigFloat>(buffer, previous + 2);
    BigFloat y = carve<BigFloat>(buffer, previous + 2);

    x.set_BigFloat(previous, parallel, T);
    T.set_mul(p, context, A.kept_if_cheap(parallel, p + 2), x);
    const Estimate side = take_error_at_units(parallel, T, previous, kBasicRun);
    correct_basic(context, T, x, side, y, p);
}

// The window [-p, t) of A x is all that is computed: with x of p/2 words and A of p words a convolution of
// about p words has it clean, two thirds of the whole product's length. x's transform serves again for the
// correction.
void reciprocal_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                     const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    const i64 t = std::min<i64>(error_bound(previous), 0);
    BigFloat y = carve<BigFloat>(buffer, correction_words(p));

    const HeldTransforms memory(context, p + 8, 1);
    BigFloatTransformR held(memory.transform(), memory.data(0), HeldWords::stay);
    {
        StatusFrame frame(status, " 0M ", status_digits(p));
        held.mul_rr_xf(memory.context(), T, x, previous, A, p, -static_cast<i64>(p), t);
    }
    T.set_sign(true);
    const Estimate side = take_error_below(parallel, T, t, previous, kRun);
    if (side == Estimate::exact) return T.set_BigFloat(p, parallel, x);

    correct(memory.context(), status, T, x, T, side, held, y, p);
}

}  // namespace newton

void Reciprocal_BigFloatR_E::run(const ReciprocalPlan& plan, const MultiplyContext& context, BigFloat& T,
                                 const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.basic.p, plan.basic.tds, p, context.parallel.tds, kBasicRun);
    newton::reciprocal_basic(context, T, A, p, buffer);
}

void Reciprocal_BigFloatR::run(const ReciprocalPlan& plan, const MultiplyContext& context, Status& status,
                               BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun);
    run_levels(context, status, T, magnitude_of(context.parallel, A, p), p, buffer);
    T.set_sign(A.sign);
}

}  // namespace trel
